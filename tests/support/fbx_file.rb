# frozen_string_literal: true

# Writes small FBX files as text, in the object model of 7.x (unique ids) or of 6.x (names), for tests that need a file
# of just one shape.
#
#   file = FbxFile.new
#   red = file.material("red", diffuse: [1, 0, 0])
#   box = file.mesh("box", points: [[0, 0, 0], [1, 0, 0], [0, 1, 0]], polygons: [[0, 1, 2]])
#   file.node("first", mesh: box, materials: [red], properties: { "Lcl Translation" => [1, 2, 3] })
#   File.write(path, file.text)
class FbxFile
  # Right, up and front, each as axis number and sign.
  AXES = { z_up: { up: [2, 1], front: [1, -1], coord: [0, 1] },
           y_up: { up: [1, 1], front: [2, 1], coord: [0, 1] } }.freeze

  Item = Struct.new(:kind, :name, :subclass, :id, :body)
  # A layer element: how values map to the mesh, what refers to them, the values, and their indices.
  Element = Struct.new(:mapping, :reference, :values, :indices)
  # A text that stands without quotes, as an array's values do.
  Raw = Struct.new(:text)

  # How each type of property is declared.
  TYPES = {
    "Lcl Translation" => ["Lcl Translation", "", "A"], "Lcl Rotation" => ["Lcl Rotation", "", "A"],
    "Lcl Scaling" => ["Lcl Scaling", "", "A"]
  }.freeze

  # Colours or other vectors.
  TRIPLES = { true => ["Color", ""], false => ["Vector3D", "Vector"] }.freeze

  attr_accessor :version, :axes, :unit
  # Connections of the file's own, as written: kind, child, parent, property.
  attr_reader :connections

  def initialize(version: 7400, axes: :z_up, unit: 1.0)
    @version = version
    @axes = axes
    @unit = unit
    @items = []
    @connections = []
    @next_id = 1000
  end

  def old? = version < 7000

  # A node, below another or below the root. `mesh` may be any attribute, or several.
  def node(name, parent: nil, mesh: nil, materials: [], properties: {})
    attributes = [mesh].flatten.compact
    subclass = attributes.empty? ? "Null" : attributes.first.subclass
    own = old? && attributes.first ? attributes.first.body : []
    made = add("Model", name, subclass, [["Version", 232], properties_of(properties), *own])
    connect(made, parent)
    attributes.each { |attribute| connect(attribute, made) } unless old?
    materials.each { |material| connect(material, made) }
    made
  end

  # UVs, normals and materials are layer elements: [mapping, reference, values, indices]; a list of them makes further
  # layers. `layers: false` leaves the layers out.
  def mesh(name, points:, polygons:, uvs: nil, normals: nil, materials: nil, layers: true)
    indices = polygons.flat_map { |corners| corners[0..-2] + [-corners.last - 1] }
    body = [array("Vertices", points.flatten.map(&:to_f)), array("PolygonVertexIndex", indices)]
    body << ["GeometryVersion", 124]
    elements = { "Normal" => normals, "UV" => uvs, "Material" => materials }.transform_values { |given| elements_of(given) }
    elements.each { |kind, list| list.each_with_index { |element, at| body << layer_element(kind, at, element) } }
    body.concat(layers_of(elements)) if layers
    attribute("Geometry", name, "Mesh", body)
  end

  # A NURBS surface of order 2 through four points, cut into so many steps each way; with fewer points it is none.
  def surface(name, points:, steps: 1)
    body = [["Type", "NurbsSurface"], ["NurbsSurfaceVersion", 100], ["NurbsSurfaceOrder", 2, 2], ["Dimensions", 2, 2],
            ["Step", steps, steps], ["Form", "Open", "Open"], array("Points", points.flat_map { |point| [*point, 1] }),
            array("KnotVectorU", [0, 0, 1, 1]), array("KnotVectorV", [0, 0, 1, 1])]
    attribute("Geometry", name, "NurbsSurface", body)
  end

  # A camera, light, bone or null: node attributes without geometry.
  def attribute(kind, name, subclass, body = [])
    old? ? Item.new(kind, name, subclass, nil, body) : add(kind, name, subclass, body)
  end

  def camera(name) = attribute("NodeAttribute", name, "Camera", [["TypeFlags", "Camera"]])
  def light(name) = attribute("NodeAttribute", name, "Light", [["TypeFlags", "Light"]])

  # @param shading [String] "phong", "lambert" or another model
  # @param diffuse [Array, nil] nil leaves the property out
  def material(name, shading: "lambert", diffuse: [0.8, 0.8, 0.8], properties: {})
    properties = { "DiffuseColor" => diffuse.map(&:to_f) }.merge(properties) if diffuse
    body = [["Version", 102], ["ShadingModel", shading], ["MultiLayer", 0], properties_of(properties)]
    add("Material", name, "", body)
  end

  # A file texture on a material's channel, or inside a layered texture.
  def texture(name, on:, file: "t.png", channel: "DiffuseColor", scale: [1, 1], fields: {}, properties: {})
    body = [["Type", "TextureVideoClip"], ["Version", 202], ["TextureName", "Texture::#{name}"],
            properties_of(properties), ["FileName", file], ["RelativeFilename", File.basename(file)],
            ["ModelUVTranslation", 0.0, 0.0], ["ModelUVScaling", *scale.map(&:to_f)],
            ["Texture_Alpha_Source", "None"], ["Cropping", 0, 0, 0, 0]]
    fields.each { |field, values| body.reject! { |line| line.first == field } && body << [field, *values] }
    connect_texture(add("Texture", name, "", body), on, channel)
  end

  # @param blend_modes [Array<Integer>] one per texture that will be put inside
  def layered_texture(name, on:, blend_modes: [], channel: "DiffuseColor")
    body = [["LayeredTexture", 100], array("BlendModes", blend_modes), array("Alphas", blend_modes.map { 1.0 })]
    connect_texture(add("LayeredTexture", name, "", body), on, channel)
  end

  def procedural_texture(name, on:, channel: "DiffuseColor")
    connect_texture(add("ProceduralTexture", name, "", [["Type", "Procedural"], properties_of({})]), on, channel)
  end

  # A picture inside the file, in one or more pieces.
  def video(name, file:, content:)
    pieces = [content].pack("m0").scan(/.{1,60}/)
    body = [["Type", "Clip"], ["Filename", file], ["RelativeFilename", File.basename(file)]]
    body << ["Content", Raw.new(""), *pieces] unless content.empty?
    add("Video", name, "Clip", body)
  end

  # A shader of the material, in the language "HLSL" or "CGFX".
  def implementation(on:, language:)
    properties = { "ShaderLanguage" => language, "ShaderLanguageVersion" => "1", "RenderAPI" => "OpenGL",
                   "RenderAPIVersion" => "1", "RootBindingName" => "root" }
    made = add("Implementation", "#{language}_implementation", "", [["Version", 100], properties_of(properties)])
    @connections << ["OO", made, on, nil]
    made
  end

  def connect(child, parent)
    @connections << ["OO", child, parent, nil]
  end

  def text
    lines = ["; FBX #{version.digits.reverse.first(3).join(".")} project file", ""]
    write(lines, 0, ["FBXHeaderExtension", [["FBXHeaderVersion", 1003], ["FBXVersion", version],
                                            ["Creator", "test writer"]]])
    write(lines, 0, settings) unless old?
    write(lines, 0, ["Definitions", [["Version", 100], ["Count", @items.size]]])
    write(lines, 0, ["Objects", @items.map { |item| object(item) } + (old? ? [settings] : [])])
    write(lines, 0, ["Connections", @connections.map { |connection| connection_line(*connection) }])
    "#{lines.join("\n")}\n"
  end

  private

  def add(kind, name, subclass, body)
    Item.new(kind, name, subclass, @next_id += 1, body).tap { |item| @items << item }
  end

  def connect_texture(made, on, channel)
    inside = on.kind == "LayeredTexture"
    @connections << [inside ? "OO" : "OP", made, on, inside ? nil : channel]
    made
  end

  def object(item)
    name = "#{item.kind}::#{item.name}"
    old? ? [item.kind, name, item.subclass, item.body] : [item.kind, item.id, name, item.subclass, item.body]
  end

  def reference_to(item)
    return old? ? "Model::Scene" : 0 unless item

    old? ? "#{item.kind}::#{item.name}" : item.id
  end

  def connection_line(kind, child, parent, property)
    [old? ? "Connect" : "C", kind, reference_to(child), reference_to(parent), *property]
  end

  def settings
    axis = AXES.fetch(axes) { axes }
    properties = axis.flat_map do |which, (number, sign)|
      [["#{which.to_s.capitalize}Axis", number], ["#{which.to_s.capitalize}AxisSign", sign]]
    end.to_h
    body = [["Version", 1000], properties_of(properties.merge("UnitScaleFactor" => unit.to_f))]
    ["GlobalSettings", body]
  end

  def properties_of(values)
    [old? ? "Properties60" : "Properties70", values.map { |name, value| property(name, Array(value)) }]
  end

  def property(name, values)
    type, second, flags = TYPES.fetch(name) { declared(name, values) }
    return ["P", name, type, second, flags, *values] unless old?

    ["Property", name, type, flags, *values]
  end

  def declared(name, values)
    case values.first
    when String then ["KString", "", ""]
    when Integer then ["int", "Integer", ""]
    else values.size == 3 ? [*TRIPLES.fetch(name.end_with?("Color")), "A"] : ["double", "Number", ""]
    end
  end

  def elements_of(given)
    return [] unless given

    (given.first.is_a?(Array) ? given : [given]).map { |element| Element.new(*element) }
  end

  VALUE_NAMES = { "Normal" => "Normals", "UV" => "UV", "Material" => nil }.freeze
  INDEX_NAMES = { "Normal" => "NormalsIndex", "UV" => "UVIndex", "Material" => "Materials" }.freeze

  def layer_element(kind, at, element)
    body = [["Version", 101], ["Name", "#{kind} #{at}"], ["MappingInformationType", element.mapping],
            ["ReferenceInformationType", element.reference]]
    values = VALUE_NAMES.fetch(kind)
    body << array(values, element.values.flatten.map(&:to_f)) if values
    body << array(INDEX_NAMES.fetch(kind), element.indices) if element.indices
    ["LayerElement#{kind}", at, body]
  end

  def layers_of(elements)
    count = elements.each_value.map(&:size).max
    Array.new(count) do |layer|
      present = elements.select { |_, list| layer < list.size }
      ["Layer", layer, [["Version", 100]] + present.map do |kind, _|
        ["LayerElement", [["Type", "LayerElement#{kind}"], ["TypedIndex", layer]]]
      end]
    end
  end

  def array(name, values)
    list = Raw.new(values.join(","))
    old? ? [name, list] : [name, Raw.new("*#{values.size}"), [["a", list]]]
  end

  def write(lines, depth, element)
    name, *values = element
    children = values.pop if values.last.is_a?(Array)
    head = "#{"\t" * depth}#{name}: #{values.map { |value| show(value) }.join(", ")}"
    return lines << head unless children

    lines << "#{head} {"
    children.each { |child| write(lines, depth + 1, child) }
    lines << "#{"\t" * depth}}"
  end

  def show(value)
    case value
    when Raw then value.text
    when String then "\"#{value.gsub('"', "&quot;")}\""
    else value.to_s
    end
  end
end
