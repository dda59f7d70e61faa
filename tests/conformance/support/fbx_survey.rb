# frozen_string_literal: true

# What an FBX import announces and leaves in the depot, in plain numbers: the receiver of the callbacks, and the
# arithmetic on the meshes.
class FbxSurvey < Zu::Mirel::Importer
  Node = Struct.new(:name, :parent, :matrix, :materials, :material_names, :offset)
  Mesh = Struct.new(:name, :index)
  Placed = Struct.new(:node, :mesh)
  Material = Struct.new(:name, :color, :texture, :scale)

  attr_reader :unit, :nodes, :meshes, :instances, :materials, :lines

  def initialize
    super
    @nodes = []
    @meshes = []
    @instances = []
    @materials = []
    @material_places = {}
    @slots = []
    @balancer_meshes = {}
  end

  def survey(path)
    Recorder.lines.clear
    result = import_fbx(path)
    @lines = Recorder.lines.map { |line| line[/\AKernel\.puts (.*)/, 1]&.undump }.compact
    result
  end

  def set_unit(code) = @unit = code
  def default_unit = 99
  def maintain_uvs? = true
  def maintain_normals? = true
  def apply_uv_texture? = true
  def get_root_definition = -1

  def scale_of_trans(_transformation)
    @slots = []
  end

  # Asked twice for each slot: for the node, and for the hand-over.
  def get_material_name(name, identifier)
    @slots << [name, identifier]
    identifier
  end

  def add_material(identifier, color, texture, _, scale_u, scale_v)
    return if @material_places.key?(identifier)

    @material_places[identifier] = materials.size
    materials << Material.new(@slots.last.first, color.components, texture, [scale_u, scale_v])
  end

  def get_mesh_name(name, identifier)
    @mesh_name = name
    identifier
  end

  def add_mesh(key, index, _)
    @balancer_meshes[key] = FbxStandIns::MeshRecord.new(index)
    meshes << Mesh.new(@mesh_name, index)
  end

  def calc_geometric_transform(*numbers, _name) = @offset = numbers

  def add_instance(name, transformation, mesh, _materials, parent)
    if mesh
      nodes[parent].offset = @offset
      instances << Placed.new(parent, meshes.index { |known| known.index == mesh })
      return
    end
    slots = @slots.each_slice(2).map(&:first)
    nodes << Node.new(name, parent, transformation.numbers, slots.map { |_, id| @material_places[id] }, slots.map(&:first))
    nodes.size - 1
  end

  # The matrix that takes points of a node's meshes to the world.
  def world(node)
    matrix = multiply(nodes[node].matrix, offset_matrix(nodes[node].offset))
    node = nodes[node].parent
    while node >= 0
      matrix = multiply(nodes[node].matrix, matrix)
      node = nodes[node].parent
    end
    matrix
  end

  private

  # Column by column, the translation last: first the second, then the first.
  def multiply(a, b)
    (0...16).map { |at| (0...4).sum { |k| a[k * 4 + at % 4] * b[at / 4 * 4 + k] } }
  end

  def offset_matrix((tx, ty, tz, rx, ry, rz, sx, sy, sz))
    turn = [[0, rx], [1, ry], [2, rz]].map { |axis, degrees| rotation(axis, degrees * Math::PI / 180) }
    turns = multiply(turn[2], multiply(turn[1], turn[0]))
    scaled = multiply(turns, [sx, 0, 0, 0, 0, sy, 0, 0, 0, 0, sz, 0, 0, 0, 0, 1])
    scaled[12, 3] = [tx, ty, tz]
    scaled
  end

  def rotation(axis, angle)
    matrix = [1.0, 0, 0, 0, 0, 1.0, 0, 0, 0, 0, 1.0, 0, 0, 0, 0, 1.0]
    a, b = [0, 1, 2] - [axis]
    a, b = b, a if axis == 1
    matrix[a * 5] = matrix[b * 5] = Math.cos(angle)
    matrix[a * 4 + b] = Math.sin(angle)
    matrix[b * 4 + a] = -Math.sin(angle)
    matrix
  end
end

# A mesh of the depot.
class DepotMesh
  ENGINE = Fiddle.dlopen("libbalancer.so")
  NORMALS = Fiddle::Function.new(ENGINE["mirel_engine_corner_normals"], [-Fiddle::TYPE_INT], Fiddle::TYPE_VOIDP)

  attr_reader :points, :faces, :sets, :uvs, :normals

  def initialize(index)
    points, faces, sets, uvs = MirelTest.depot_mesh(index)
    @points = points.unpack("f*").each_slice(3).to_a
    @faces = faces.unpack("L*").each_slice(3).to_a
    @sets = sets.unpack("L*")
    @uvs = uvs.unpack("f*").each_slice(6).map { |values| values.each_slice(2).to_a unless values.first.nan? }
    given = NORMALS.call(index)
    @normals = given.null? ? nil : given[0, @faces.size * 36].unpack("f*").each_slice(9).map { |n| n.each_slice(3).to_a }
  end

  def box(matrix = nil)
    all = matrix ? points.map { |point| DepotMesh.apply(matrix, point) } : points
    columns = all.transpose
    columns.map(&:min) + columns.map(&:max)
  end

  def area(matrix = nil)
    placed = matrix ? points.map { |point| DepotMesh.apply(matrix, point) } : points
    faces.sum do |corners|
      a, b, c = placed.values_at(*corners)
      Math.sqrt(cross(minus(b, a), minus(c, a)).sum { |value| value * value }) / 2
    end
  end

  # About the middle of the box.
  def volume
    low, high = box.each_slice(3).to_a
    middle = low.zip(high).map { |a, b| (a + b) / 2 }
    faces.sum do |corners|
      a, b, c = points.values_at(*corners).map { |point| minus(point, middle) }
      cross(b, c).zip(a).sum { |x, y| x * y } / 6
    end
  end

  def self.apply(m, (x, y, z))
    (0..2).map { |row| m[row] * x + m[4 + row] * y + m[8 + row] * z + m[12 + row] }
  end

  private

  def minus(a, b) = a.zip(b).map { |x, y| x - y }
  def cross((a, b, c), (d, e, f)) = [b * f - c * e, c * d - a * f, a * e - b * d]
end
