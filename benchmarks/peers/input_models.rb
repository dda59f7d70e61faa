# frozen_string_literal: true

# The meshes that simplifiers are compared on: files, and what the generator makes. Each becomes a file of the drivers'
# format (indexed_mesh.h) with positions alone: equal positions are one vertex, faces with a repeated vertex are gone.
class InputModels
  # @param folder [String] where the meshes are written
  # @param generator [String] the program peer_make_model
  def initialize(folder, generator)
    @folder = folder
    @generator = generator
  end

  # @return [Hash{String => Proc}] by name, what makes the mesh's file
  def all(files)
    names = IO.popen([@generator, '--list'], &:read).split
    files.to_h { |file| [File.basename(file, '.*'), -> { convert(file) }] }
         .merge(names.to_h { |name| [name, -> { generate(name) }] })
  end

  private

  def target(name) = File.join(@folder, "#{name}.mesh")

  def generate(name)
    path = target(name)
    system(@generator, name, path, exception: true) unless File.exist?(path)
    path
  end

  def convert(file)
    path = target(File.basename(file, '.*'))
    return path if File.exist?(path) && File.mtime(path) > File.mtime(file)

    importer = Zu::Mirel::Importer.new
    importer.import(file)
    surface = Zu::Mirel::Surface.of(importer)
    importer.close
    write(path, *joined(surface))
    path
  end

  def joined(surface)
    numbers = {}
    number_of = Array.new(surface.vertex_count) do |i|
      # Minus zero is zero.
      key = surface.positions.byteslice(12 * i, 12).unpack('f3').map { |c| c + 0.0 }.pack('f3')
      numbers[key] ||= numbers.size
    end
    faces = surface.faces.unpack('L*').map { |i| number_of[i] }.each_slice(3).select { |face| face.uniq.size == 3 }
    [numbers.keys.join, faces]
  end

  def write(path, positions, faces)
    File.binwrite(path, [positions.bytesize / 12, faces.size].pack('L2') + positions + faces.flatten.pack('L*'))
  end
end
