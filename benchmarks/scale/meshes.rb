# frozen_string_literal: true

# Closed surfaces of any size: a torus with ripples of many wavelengths, 2 * rows * columns triangles.
class RippledTorus
  attr_reader :rows, :columns

  # faces: about that many; the exact number is `face_count`.
  def initialize(faces)
    @rows = Math.sqrt(faces / 4.0).round
    @columns = faces / 2 / @rows
  end

  def face_count = 2 * rows * columns

  # Positions only, or with UVs (a seam around each way) and normals per vertex.
  def write_obj(path, attributes: false)
    File.open(path, "wb") do |file|
      file.puts "o torus"
      each_row { |points| file.write(points.map { |p| format("v %.6f %.6f %.6f\n", *p) }.join) }
      if attributes
        (0..rows).each do |r|
          file.write((0..columns).map { |c| format("vt %.6f %.6f\n", c.fdiv(columns), r.fdiv(rows)) }.join)
        end
        each_row(radius_scale: 0.0) { |points| file.write(points.map { |p| format("vn %.4f %.4f %.4f\n", *p) }.join) }
      end
      each_quad do |corners|
        words = corners.map do |r, c|
          vertex = r % rows * columns + c % columns + 1
          attributes ? "#{vertex}/#{r * (columns + 1) + c + 1}/#{vertex}" : vertex
        end
        file.write("f #{words[0]} #{words[1]} #{words[2]}\nf #{words[0]} #{words[2]} #{words[3]}\n")
      end
    end
  end

  def write_stl(path)
    points = []
    each_row { |row| points.concat(row.map { |p| p.pack("e3") }) }
    at = ->(r, c) { points[r % rows * columns + c % columns] }
    File.open(path, "wb") do |file|
      file.write("a rippled torus".ljust(80), [face_count].pack("V"))
      none = [0.0, 0.0, 0.0].pack("e3")
      each_quad do |corners|
        a, b, c, d = corners.map { |r, column| at[r, column] }
        file.write(none, a, b, c, "\0\0", none, a, c, d, "\0\0")
      end
    end
  end

  private

  # radius_scale 0 gives the normals of the torus without its ripples.
  def each_row(radius_scale: 1.0)
    cosines = Array.new(columns) { |c| 2 * Math::PI * c / columns }.map { |a| [a, Math.cos(a), Math.sin(a)] }
    rows.times do |r|
      turn = 2 * Math::PI * r / rows
      cos, sin = Math.cos(turn), Math.sin(turn)
      yield(cosines.map do |angle, x, y|
        ripple = 0.08 * Math.sin(9 * turn + 4 * angle) + 0.02 * Math.sin(57 * angle - 31 * turn) +
                 0.003 * Math.sin(331 * turn) * Math.sin(241 * angle)
        tube = radius_scale.zero? ? 1.0 : 1.0 + ripple
        ring = (radius_scale * 3) + tube * cos
        [ring * x, ring * y, tube * sin]
      end)
    end
  end

  def each_quad
    rows.times do |r|
      columns.times { |c| yield [[r, c], [r, c + 1], [r + 1, c + 1], [r + 1, c]] }
    end
  end
end
