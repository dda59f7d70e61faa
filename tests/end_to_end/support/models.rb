# frozen_string_literal: true

# Where models are found, and models made on the spot.
module Models
  SHARED = File.join(ENV.fetch("MIREL_SHARED"), "models")
  ASSIMP = Dir["/usr/share/assimp/models", "/usr/{share,local/share}/assimp*/{test/,}models"].first
  SAMPLE = File.expand_path("../../../examples/lighthouse/lighthouse.obj", __dir__)

  module_function

  def shared(name) = File.join(SHARED, name)

  def assimp(name) = File.join(ASSIMP.to_s, name)

  # A wavy grid of 2 * cells * cells triangles over a square of side 10, as OBJ text.
  def terrain(cells, amplitude: 0.3)
    lines = []
    (0..cells).each do |row|
      (0..cells).each do |column|
        x, y = 10.0 * column / cells, 10.0 * row / cells
        lines << format("v %.5f %.5f %.5f", x, y, amplitude * Math.sin(1.3 * x) * Math.cos(1.7 * y))
      end
    end
    cells.times do |row|
      cells.times do |column|
        a = row * (cells + 1) + column + 1
        lines << "f #{a} #{a + 1} #{a + cells + 2}" << "f #{a} #{a + cells + 2} #{a + cells + 1}"
      end
    end
    lines.join("\n") << "\n"
  end

  # Positions and faces (0-based) of a grid with ridges.
  def terrain_arrays(cells)
    points = (0..cells).flat_map { |r| (0..cells).map { |c| [10.0 * c / cells, 10.0 * r / cells, Math.sin(c * 0.7)] } }
    faces = cells.times.flat_map do |r|
      cells.times.flat_map do |c|
        a = r * (cells + 1) + c
        [[a, a + 1, a + cells + 2], [a, a + cells + 2, a + cells + 1]]
      end
    end
    [points, faces]
  end

  # It as binary little-endian PLY (32-bit floats, lists of three ints), cut off after so many bytes of the body.
  def terrain_ply(cells, body_bytes: nil)
    points, faces = terrain_arrays(cells)
    header = ["ply", "format binary_little_endian 1.0", "element vertex #{points.size}", "property float x",
              "property float y", "property float z", "element face #{faces.size}",
              "property list uchar int vertex_indices", "end_header"].join("\n") << "\n"
    body = points.flatten.pack("e*") + faces.map { |face| [3, *face].pack("Cl<3") }.join
    header.b + body[0, body_bytes || body.bytesize]
  end

  def obj(points, faces)
    points.map { |p| "v #{p.join(' ')}\n" }.join + faces.map { |f| "f #{f.map { |k| k + 1 }.join(' ')}\n" }.join
  end

  def off(points, faces)
    "OFF\n#{points.size} #{faces.size} 0\n#{points.map { |p| "#{p.join(' ')}\n" }.join}" +
      faces.map { |f| "3 #{f.join(' ')}\n" }.join
  end

  # A fan of `pages` triangles around one edge.
  def fan(pages)
    lines = ["v 0 0 0", "v 0 0 1"]
    pages.times do |k|
      angle = 2 * Math::PI * k / pages
      lines << format("v %.6f %.6f 0.5", Math.cos(angle), Math.sin(angle))
    end
    pages.times { |k| lines << "f 1 2 #{k + 3}" }
    lines.join("\n") << "\n"
  end

  # Binary STL of triangles given as arrays of nine numbers.
  def stl(triangles)
    ["made for a test".ljust(80, "\0"), [triangles.size].pack("V"),
     *triangles.map { |t| [0.0, 0.0, 0.0, *t].pack("e12") + [0].pack("v") }].join
  end
end
