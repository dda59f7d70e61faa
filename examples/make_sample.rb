#!/usr/bin/env ruby
# frozen_string_literal: true

# Makes the sample model: a lighthouse on a rock, as one Wavefront OBJ mesh with ten materials.
#
#   ruby examples/make_sample.rb [FOLDER]      default: examples/lighthouse
#
# Writes lighthouse.obj, lighthouse.mtl and four PNG textures. Lengths are metres, Y is up, the rock stands in the
# origin. The model has what makes reduction hard on purpose: a rough height field beside flat walls, thin rails,
# many separate parts, UV seams where textures wrap, creases, an open border around the sea. Every run writes the
# same bytes: the noise comes from integer hashes, not from a random generator.

require "fileutils"
require "zlib"

# Smooth value noise over integer lattices.
module Noise
  module_function

  # A number in 0..1 that depends on nothing but its arguments.
  def hash(x, y, z)
    n = (x * 374_761_393 + y * 668_265_263 + z * 2_147_483_647 + 1_013_904_223) & 0xFFFFFFFF
    n = ((n ^ (n >> 13)) * 1_274_126_177) & 0xFFFFFFFF
    n = ((n ^ (n >> 16)) * 2_246_822_519) & 0xFFFFFFFF
    (n ^ (n >> 15)) / 4_294_967_295.0
  end

  # -1..1. `period`, in lattice cells, makes x and y repeat, so that a texture tiles.
  def value(x, y, z = 0.0, period: nil)
    xi, yi, zi = x.floor, y.floor, z.floor
    fx, fy, fz = [x - xi, y - yi, z - zi].map { |t| t * t * (3 - 2 * t) }
    corner = lambda do |dx, dy, dz|
      cx, cy = xi + dx, yi + dy
      cx, cy = cx % period, cy % period if period
      hash(cx, cy, zi + dz)
    end
    blend = ->(a, b, t) { a + (b - a) * t }
    plane = lambda do |dz|
      blend[blend[corner[0, 0, dz], corner[1, 0, dz], fx], blend[corner[0, 1, dz], corner[1, 1, dz], fx], fy]
    end
    2 * blend[plane[0], plane[1], fz] - 1
  end

  # Octaves of noise, each twice as fine and half as strong.
  def fractal(x, y, z = 0.0, octaves: 5, period: nil)
    sum = 0.0
    octaves.times { |o| sum += value(x * 2**o, y * 2**o, z * 2**o + 17 * o, period: period && period * 2**o) / 2**o }
    sum / 2
  end
end

# Positions, UVs and normals, each written once however many corners use it, and the triangles of each material.
class Model
  attr_reader :positions, :uvs, :normals, :faces

  def initialize
    @positions, @uvs, @normals = {}, {}, {}
    @faces = Hash.new { |sets, material| sets[material] = [] }
  end

  # A grid of rows x columns quads; the block gives [[x, y, z], [u, v]] for row 0..rows and column 0..columns.
  # Seen from outside, rows run upwards and columns to the left (around a turning body: from X towards Z). Quads
  # that shrink to a line are left out and those that shrink to a triangle are one, so poles are fine.
  def grid(material, rows, columns)
    corners = Array.new(rows + 1) { |row| Array.new(columns + 1) { |column| yield(row, column) } }
    keys = corners.map { |line| line.map { |position, _| text(position, 4) } }
    normals = Hash.new { |sums, key| sums[key] = [0.0, 0.0, 0.0] }
    triangles = []
    rows.times do |row|
      columns.times do |column|
        quad = [[row, column], [row + 1, column], [row + 1, column + 1], [row, column + 1]]
        # Alternate diagonals look less combed.
        halves = (row + column).even? ? [[0, 1, 2], [0, 2, 3]] : [[0, 1, 3], [1, 2, 3]]
        halves.each do |half|
          triangle = half.map { |k| quad[k] }
          next if triangle.map { |r, c| keys[r][c] }.uniq.size < 3

          normal = cross(*triangle.map { |r, c| corners[r][c][0] })
          triangle.each { |r, c| normals[keys[r][c]].then { |sum| 3.times { |k| sum[k] += normal[k] } } }
          triangles << triangle
        end
      end
    end
    triangles.each do |triangle|
      @faces[material] << triangle.map do |r, c|
        position, uv = corners[r][c]
        [number(@positions, text(position, 4)), number(@uvs, text(uv, 4)),
         number(@normals, text(unit(normals[keys[r][c]]), 3))]
      end
    end
  end

  # A body that turns around the vertical axis through (x, z): the profile is a list of [radius, y, v], upwards.
  def lathe(material, profile, segments, x: 0.0, z: 0.0, turns: 1.0)
    grid(material, profile.size - 1, segments) do |row, column|
      radius, y, v = profile[row]
      angle = 2 * Math::PI * (column % segments) / segments
      [[x + radius * Math.cos(angle), y, z + radius * Math.sin(angle)], [turns * column / segments, v]]
    end
  end

  # A tube of `radius` along a list of points; closed when the last point is the first.
  def tube(material, path, radius, segments)
    closed = path.first == path.last
    grid(material, path.size - 1, segments) do |row, column|
      before = path[closed ? (row - 1) % (path.size - 1) : [row - 1, 0].max]
      after = path[closed ? (row + 1) % (path.size - 1) : [row + 1, path.size - 1].min]
      axis = unit(3.times.map { |k| after[k] - before[k] })
      side = unit(axis[1].abs > 0.9 ? [axis[1], -axis[0], 0.0] : [-axis[2], 0.0, axis[0]])
      up = [axis[1] * side[2] - axis[2] * side[1], axis[2] * side[0] - axis[0] * side[2],
            axis[0] * side[1] - axis[1] * side[0]]
      angle = -2 * Math::PI * (column % segments) / segments
      here = closed && row == path.size - 1 ? path.first : path[row]
      [3.times.map { |k| here[k] + radius * (Math.cos(angle) * side[k] + Math.sin(angle) * up[k]) },
       [row.to_f / (path.size - 1), column.to_f / segments]]
    end
  end

  # A flat quad of rows x columns cells: its lower left corner seen from outside, and its sides.
  def quad(material, corner, up, right, rows: 1, columns: 1, tile: 1.0)
    length = ->(vector) { Math.sqrt(vector.sum { |c| c * c }) }
    grid(material, rows, columns) do |row, column|
      s, t = row.to_f / rows, 1 - column.to_f / columns
      position = 3.times.map { |k| corner[k] + s * up[k] + t * right[k] }
      position = yield(position, s, t) if block_given?
      [position, [t * length[right] / tile, s * length[up] / tile]]
    end
  end

  # An upright box with its centre at the bottom; `turn` in radians around it.
  def box(material, centre, width, height, depth, turn: 0.0, tile: 1.0)
    cos, sin = Math.cos(turn), Math.sin(turn)
    at = lambda do |x, y, z|
      [centre[0] + cos * x * width / 2 - sin * z * depth / 2, centre[1] + y * height,
       centre[2] + sin * x * width / 2 + cos * z * depth / 2]
    end
    [[[-1, 0, 1], [-1, 1, 1], [1, 0, 1]], [[1, 0, 1], [1, 1, 1], [1, 0, -1]], [[1, 0, -1], [1, 1, -1], [-1, 0, -1]],
     [[-1, 0, -1], [-1, 1, -1], [-1, 0, 1]], [[-1, 1, 1], [-1, 1, -1], [1, 1, 1]]].each do |corners|
      a, b, c = corners.map { |corner| at[*corner] }
      quad(material, a, 3.times.map { |k| b[k] - a[k] }, 3.times.map { |k| c[k] - a[k] }, tile: tile)
    end
  end

  def face_count = @faces.values.sum(&:size)

  def write(path, library:, name:)
    File.open(path, "wb") do |file|
      file.puts "# A lighthouse on a rock: metres, Y up. Made by examples/make_sample.rb.", "mtllib #{library}",
                "o #{name}"
      @positions.each_key { |line| file.puts "v #{line}" }
      @uvs.each_key { |line| file.puts "vt #{line}" }
      @normals.each_key { |line| file.puts "vn #{line}" }
      @faces.each do |material, triangles|
        file.puts "usemtl #{material}"
        triangles.each { |corners| file.puts "f #{corners.map { |c| c.join('/') }.join(' ')}" }
      end
    end
  end

  private

  def number(table, key) = table[key] ||= table.size + 1

  # "-0.000" and "0.000" are one number.
  def text(numbers, digits)
    numbers.map { |n| (n.round(digits) + 0.0).then { |r| Kernel.format("%.#{digits}f", r.zero? ? 0.0 : r) } }.join(" ")
  end

  def cross(a, b, c)
    ux, uy, uz = 3.times.map { |k| b[k] - a[k] }
    vx, vy, vz = 3.times.map { |k| c[k] - a[k] }
    [uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx]
  end

  def unit(vector)
    length = Math.sqrt(vector.sum { |c| c * c })
    length.zero? ? [0.0, 1.0, 0.0] : vector.map { |c| c / length }
  end
end

# 8-bit RGB images, written as PNG.
module Image
  module_function

  # The block gives [red, green, blue], each 0..1, for x and y in 0...size; row 0 is the top.
  def write(path, size)
    rows = Array.new(size) do |y|
      # Few levels: the eye does not see it, and the file is a third of the size.
      [0, *Array.new(size) { |x| yield(x, y).map { |c| (c.clamp(0.0, 1.0) * 31).round * 255 / 31 } }].flatten.pack("C*")
    end
    File.binwrite(path, ["\x89PNG\r\n\x1A\n".b, chunk("IHDR", [size, size, 8, 2, 0, 0, 0].pack("N2C5")),
                         chunk("IDAT", Zlib::Deflate.deflate(rows.join, 9)), chunk("IEND", "")].join)
  end

  def chunk(type, data) = [data.bytesize].pack("N") + type + data + [Zlib.crc32(type + data)].pack("N")
end

# The parts of the scene. Heights: the sea is at 0, the top of the rock at about 6, the lamp at about 25.
class Lighthouse
  TOWER_FOOT = 5.2
  TOWER_TOP = 22.0

  attr_reader :model

  def initialize
    @model = Model.new
    rock
    boulders
    sea
    tower
    gallery
    lantern
    cottage
    stairs
  end

  private

  # The rock's height: a plateau that carries the buildings, cliffs with ledges, and a foot below the water.
  def height(x, z)
    radius = Math.sqrt(x * x + z * z)
    edge = radius + 2.6 * Noise.fractal(x * 0.13, z * 0.13, 3.0, octaves: 4)
    drop = ((edge - 9.0) / 8.0).clamp(0.0, 1.0)
    drop = drop * drop * (3 - 2 * drop)
    ledges = 0.9 * Noise.fractal(x * 0.35, z * 0.35, 9.0) * (0.25 + 1.5 * drop * (1 - drop) * 2)
    base = 5.4 - 8.4 * drop
    step = (base / 1.1).floor * 1.1
    base = 0.45 * base + 0.55 * (step + 1.1 * (((base - step) / 1.1)**4)) if drop.positive? && drop < 1
    flat = ((radius - 5.5) / 3.0).clamp(0.0, 1.0)
    5.3 + (base + ledges - 5.3) * flat + 0.05 * Noise.fractal(x * 1.7, z * 1.7, 5.0)
  end

  def rock
    rings, segments = 84, 168
    model.grid("rock", rings, segments) do |row, column|
      radius = 20.0 * (1 - row.to_f / rings)
      angle = 2 * Math::PI * (column % segments) / segments
      x, z = radius * Math.cos(angle), radius * Math.sin(angle)
      [[x, height(x, z), z], [x / 6.0, z / 6.0 + height(x, z) / 9.0]]
    end
  end

  def boulders
    18.times do |k|
      angle = 2 * Math::PI * (k + 0.7 * Noise.hash(k, 1, 0)) / 18
      distance = 14.5 + 5.0 * Noise.hash(k, 2, 0)
      size = 0.6 + 1.3 * Noise.hash(k, 3, 0)
      centre = [distance * Math.cos(angle), -0.1, distance * Math.sin(angle)]
      model.grid("rock", 12, 18) do |row, column|
        polar = Math::PI * (row / 12.0 - 0.5)
        turn = 2 * Math::PI * (column % 18) / 18
        way = [Math.cos(polar) * Math.cos(turn), Math.sin(polar), Math.cos(polar) * Math.sin(turn)]
        way[0] = way[2] = 0.0 if [0, 12].include?(row)
        reach = size * (1 + 0.45 * Noise.fractal(*way.map { |c| 1.6 * c + 7 * k }, octaves: 3))
        [[centre[0] + reach * way[0], centre[1] + 0.75 * reach * way[1], centre[2] + reach * way[2]],
         [column / 18.0 * 2, row / 12.0]]
      end
    end
  end

  def sea
    rings, segments = 44, 128
    model.grid("sea", rings, segments) do |row, column|
      radius = 10.0 + 32.0 * (1 - row.to_f / rings)
      angle = 2 * Math::PI * (column % segments) / segments
      x, z = radius * Math.cos(angle), radius * Math.sin(angle)
      swell = 0.22 * Math.sin(0.55 * x + 0.2 * z) + 0.16 * Math.sin(0.31 * z - 0.42 * x + 1.0)
      [[x, swell + 0.25 * Noise.fractal(x * 0.4, z * 0.4, 2.0, octaves: 3), z], [x / 10.0, z / 10.0]]
    end
  end

  # Courses of stone, each a little rounded, on a spreading foot.
  def tower
    rows = 132
    profile = Array.new(rows + 1) do |row|
      s = row.to_f / rows
      radius = 3.1 - 1.15 * s + 0.55 * Math.exp(-9 * s)
      radius -= 0.045 if (row % 4).zero?
      [radius, TOWER_FOOT + (TOWER_TOP - TOWER_FOOT) * s, s]
    end
    model.lathe("tower", profile, 72)
    door
  end

  def door
    model.box("wood", [3.25, TOWER_FOOT - 0.1, 0.0], 0.7, 2.5, 1.3, tile: 2.0)
    model.box("metal", [3.35, TOWER_FOOT + 2.4, 0.0], 0.9, 0.2, 1.7)
  end

  def gallery
    floor = TOWER_TOP
    model.lathe("metal", [[1.95, floor - 0.7, 0], [2.3, floor - 0.35, 0.2], [2.95, floor - 0.12, 0.4],
                          [3.05, floor, 0.6], [3.05, floor + 0.16, 0.8], [1.5, floor + 0.16, 1]], 72)
    28.times do |k|
      angle = 2 * Math::PI * k / 28
      x, z = 2.9 * Math.cos(angle), 2.9 * Math.sin(angle)
      model.lathe("metal", [[0.045, floor + 0.16, 0], [0.03, floor + 0.5, 0.3], [0.06, floor + 0.6, 0.5],
                            [0.03, floor + 0.7, 0.6], [0.03, floor + 1.2, 1]], 10, x: x, z: z)
    end
    [[0.55, 0.03], [1.22, 0.06]].each do |height, radius|
      ring = Array.new(113) do |k|
        angle = 2 * Math::PI * (k % 112) / 112
        [2.9 * Math.cos(angle), floor + 0.16 + height - 0.16, 2.9 * Math.sin(angle)]
      end
      model.tube("metal", ring, radius, 8)
    end
  end

  def lantern
    floor = TOWER_TOP + 0.16
    model.lathe("tower", [[1.55, floor, 0.92], [1.55, floor + 0.6, 0.98], [1.45, floor + 0.6, 0.99]], 48)
    model.lathe("glass", [[1.45, floor + 0.6, 0], [1.45, floor + 1.5, 0.5], [1.45, floor + 2.4, 1]], 48)
    12.times do |k|
      angle = 2 * Math::PI * k / 12
      x, z = 1.48 * Math.cos(angle), 1.48 * Math.sin(angle)
      model.tube("metal", [[x, floor + 0.6, z], [x, floor + 1.5, z], [x, floor + 2.4, z]], 0.05, 8)
    end
    lamp = Array.new(25) { |k| [0.55 * Math.sin(Math::PI * k / 24), floor + 1.5 - 0.8 * Math.cos(Math::PI * k / 24), k / 24.0] }
    lamp[0][0] = lamp[-1][0] = 0.0
    # Rings of a lens.
    lamp.each_with_index { |point, k| point[0] *= 1.12 if k.odd? }
    model.lathe("lamp", lamp, 36)
    dome = Array.new(17) do |k|
      s = k / 16.0
      [1.75 * Math.cos(s * Math::PI / 2)**0.8, floor + 2.4 + 1.25 * Math.sin(s * Math::PI / 2), s]
    end
    dome[-1][0] = 0.12
    model.lathe("roof", dome, 48)
    model.lathe("metal", [[0.12, floor + 3.65, 0], [0.28, floor + 3.85, 0.3], [0.12, floor + 4.1, 0.6],
                          [0.03, floor + 4.2, 0.7], [0.02, floor + 5.6, 0.9], [0.0, floor + 5.7, 1]], 16)
  end

  def cottage
    x, y, z = -6.2, 4.9, 2.2
    model.box("plaster", [x, y, z], 4.2, 2.6, 6.0, tile: 3.0)
    ridge = y + 4.4
    # Gables, then two roof sides of waved tiles, then the chimney.
    [[1, 3.0], [-1, -3.0]].each do |side, dz|
      low, high = [x - 2.1 * side, y + 2.6, z + dz], [x + 2.1 * side, y + 2.6, z + dz]
      model.grid("plaster", 1, 1) do |row, column|
        point = row.zero? ? (column.zero? ? high : low) : [x, ridge - 0.15, z + dz]
        [point, [(point[0] - x) / 3.0, (point[1] - y) / 3.0]]
      end
    end
    [1, -1].each do |side|
      eave = [x + 2.5 * side, y + 2.3, z + 3.3 * side]
      model.quad("roof", eave, [-2.5 * side, ridge - eave[1], 0.0], [0.0, 0.0, -6.6 * side], rows: 24, columns: 66,
                                                                                            tile: 2.0) do |p, s, t|
        wave = 0.05 * Math.sin(2 * Math::PI * 22 * t).abs + 0.05 * (1 - (s * 8) % 1.0)
        s == 1.0 ? p : [p[0] + 0.55 * wave * side, p[1] + 0.8 * wave, p[2]]
      end
    end
    model.box("plaster", [x + 0.9, y + 3.2, z - 1.6], 0.7, 1.9, 0.7, tile: 3.0)
    model.box("wood", [x + 2.12, y - 0.1, z + 0.8], 0.1, 2.1, 1.0, tile: 2.0)
    [-1.6, 2.2].each { |dz| model.box("glass", [x + 2.12, y + 0.9, z + dz], 0.08, 1.0, 0.9) }
  end

  # From the door to the cottage, and from the cottage down to the water.
  def stairs
    14.times do |k|
      s = k / 13.0
      x, z = 3.9 - 0.2 * s + 5.5 * s, 1.0 + 11.5 * s * s
      model.box("stone", [x, height(x, z) - 0.35, z], 1.5, 0.6, 0.8, turn: 0.5 - 0.9 * s, tile: 1.5)
    end
  end
end

MATERIALS = {
  "rock" => { colour: [0.80, 0.76, 0.70], texture: "rock.png" },
  "sea" => { colour: [0.75, 0.88, 0.95], texture: "sea.png" },
  "tower" => { colour: [1.0, 1.0, 1.0], texture: "tower.png" },
  "roof" => { colour: [1.0, 0.95, 0.9], texture: "roof.png" },
  "metal" => { colour: [0.16, 0.19, 0.22] },
  "glass" => { colour: [0.70, 0.85, 0.90], opacity: 0.4 },
  "lamp" => { colour: [1.0, 0.93, 0.62] },
  "plaster" => { colour: [0.93, 0.91, 0.86] },
  "wood" => { colour: [0.36, 0.22, 0.13] },
  "stone" => { colour: [0.58, 0.56, 0.53] }
}.freeze

def write_materials(path)
  File.open(path, "wb") do |file|
    MATERIALS.each do |name, material|
      file.puts "newmtl #{name}", "Kd #{material[:colour].map { |c| format('%.2f', c) }.join(' ')}"
      file.puts "d #{material[:opacity]}" if material[:opacity]
      file.puts "map_Kd #{material[:texture]}" if material[:texture]
    end
  end
end

def write_textures(folder)
  Image.write(File.join(folder, "rock.png"), 192) do |x, y|
    grain = Noise.fractal(x / 24.0, y / 24.0, 1.0, octaves: 4, period: 8)
    crack = Noise.value(x / 32.0, y / 12.0, 4.0, period: 6).abs < 0.06 ? 0.18 : 0.0
    shade = 0.55 + 0.4 * grain - crack
    [shade, shade * 0.96, shade * 0.88]
  end
  Image.write(File.join(folder, "sea.png"), 192) do |x, y|
    swell = Noise.fractal(x / 24.0, y / 24.0, 6.0, octaves: 4, period: 8)
    foam = swell > 0.52 ? 0.35 : 0.0
    [0.10 + 0.12 * swell + foam, 0.34 + 0.16 * swell + foam, 0.46 + 0.18 * swell + foam]
  end
  # Once around and from foot to top: red and white bands of brick, with a row of windows in each white one.
  Image.write(File.join(folder, "tower.png"), 384) do |x, y|
    band = (384 - y) * 7 / 384
    course = y / 6
    joint = (y % 6).zero? || ((x + (course.odd? ? 8 : 0)) % 16).zero?
    window = band.odd? && [[48, 0], [176, 0], [304, 0]].any? do |wx, _|
      (x - wx).abs < 7 && ((384 - y) % (384.0 / 7) - 27).abs < 15
    end
    shade = 0.93 + 0.07 * Noise.hash(x / 16, course, 2) - (joint ? 0.14 : 0.0)
    if window then [0.12, 0.15, 0.2]
    elsif band.odd? then [shade * 0.96, shade * 0.95, shade * 0.91]
    else [shade * 0.74, shade * 0.15, shade * 0.13]
    end
  end
  Image.write(File.join(folder, "roof.png"), 128) do |x, y|
    row = y / 16
    joint = (y % 16) < 2 || ((x + (row.odd? ? 8 : 0)) % 16) < 1
    shade = 0.75 + 0.2 * Noise.hash((x + (row.odd? ? 8 : 0)) / 16 % 8, row, 5) - (joint ? 0.25 : 0.0)
    [shade * 0.72, shade * 0.33, shade * 0.24]
  end
end

if $PROGRAM_NAME == __FILE__
  folder = ARGV.fetch(0, File.join(__dir__, "lighthouse"))
  FileUtils.mkdir_p(folder)
  lighthouse = Lighthouse.new
  lighthouse.model.write(File.join(folder, "lighthouse.obj"), library: "lighthouse.mtl", name: "lighthouse")
  write_materials(File.join(folder, "lighthouse.mtl"))
  write_textures(folder)
  puts "#{lighthouse.model.face_count} faces, #{lighthouse.model.positions.size} vertices in #{folder}"
end
