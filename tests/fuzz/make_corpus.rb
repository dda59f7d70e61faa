#!/usr/bin/env ruby
# frozen_string_literal: true

# Writes seed files for the fuzzers: make_corpus.rb FOLDER makes FOLDER/obj, FOLDER/mtl and FOLDER/ply.
# Each seed shows a form that a mutation would hardly hit by itself.

require "fileutils"

SQUARE = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
GRID = Array.new(81) { |k| "v #{k % 9} #{k / 9} 0\n" }.join
OBJ = {
  "corners" => "#{SQUARE}vt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 1\nf 1 2 3\nf 1/1 2/2 3/3\nf 1//1 2//1 3//1\n" \
               "f 1/1/1 2/2/1 3/3/1\n",
  "negative" => "#{SQUARE}f -4 -3 -2 -1\n",
  "forward" => "f 1 2 3 4 5\n#{SQUARE}v -1 0.5 0\n",
  "objects" => "#{SQUARE}o a\nusemtl m\nf 1 2 3\no b\ng x\ns 1\nusemtl n\nf 1 3 4\nusemtl m\nf 2 3 4\n",
  "lines" => "\xEF\xBB\xBFv 0 0 \\\n0\r\nv 1 0 0\rv 1 1 0 1 0.5 0.25\n# c \\\nf 1 2 \\\n3\nmtllib a b.mtl c.mtl\nl 1 2",
  "concave" => "v 0 0 0\nv 3 0 0\nv 3 1 0\nv 1 1 0\nv 1 3 0\nv 0 3 0\nf 1 2 3 4 5 6\n",
  "keyhole" => "v 0 0 1\nv 4 0 1\nv 4 4 1\nv 0 4 1\nv 1 1 1\nv 1 3 1\nv 3 3 1\nv 3 1 1\nf 1 2 3 4 1 5 6 7 8 5\n",
  "numbers" => "v nan inf -1.#IND\nv 1e400 .5 -5.e-3\nv 0.1234567890123456789012 +1 1E5\nf 1 2 3\n",
  "large" => "#{GRID}f #{Array.new(81) { |k| (k * 7 % 81) + 1 }.join(' ')}\n",
  "binary" => "\x7FELF\x02\x01\x00\x00"
}.freeze
MTL = {
  "plain" => "a\nnewmtl a\nKd 1 0.5 0\nd 0.5\nmap_Kd a.png\nnewmtl b c\nKd 0.5\nTr 0.25\n",
  "options" => "a\nnewmtl a\nmap_Kd -s 1 1 1 -o 0.5 -mm 0 1 -clamp on -blendu off -imfchan r -bm 1 C:\\x y.png\n" \
               "d -halo 0.5\n",
  "names" => "a b.mtl c.mtl d\r\nnewmtl a\rKd \\\n1 1 1\r\nmap_Kd \"a b.png\"\n"
}.freeze

MESH = "element vertex 3\nproperty float x\nproperty float y\nproperty float z\n" \
       "element face 1\nproperty list uchar int vertex_indices\n"
MORE = "element camera 1\nproperty list ushort double d\n" \
       "element vertex 1\nproperty float nx\nproperty float x\nproperty char c\nproperty float y\nproperty float z\n" \
       "property float ny\nproperty float nz\nproperty float u\nproperty float v\n" \
       "element face 2\nproperty uint8 f\nproperty list int32 uint16 vertex_indices\nproperty list int8 float64 t\n"

def ply(format, elements, body)
  "ply\nformat #{format} 1.0\ncomment c\n#{elements}end_header\n".b + body.b
end

# 32-bit integers, 16-bit integers, floats and doubles in one byte order.
def binary_seeds(format, long, short, single, double)
  mesh = [0, 0, 0, 1, 0, 0, 0, 1, 0, 3, 0, 1, 2].pack("#{single}9C#{long}3")
  more = [2, 1.0, 2.0].pack("#{short}#{double}2") +
         [1, 2, 3, 4, 5, 6, 7, 8, 9].pack("#{single}2c#{single}6") +
         [1, 4, 0, 1, 2, 3, 1, 0.5].pack("C#{long}#{short}4c#{double}") +
         [2, 3, 0, 0, 0, 0].pack("C#{long}#{short}3c")
  { format => ply(format, MESH, mesh), "#{format}_more" => ply(format, MORE, more) }
end

PLY = {
  "text" => ply("ascii", MESH, "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n"),
  "text_more" => ply("ascii", MORE, "2 1 2\n1 2 3 4 5 6 7 8 9\n1 4 0 1 2 3 1 0.5\n2 3 0 0 0 0\n"),
  **binary_seeds("binary_little_endian", "l<", "S<", "e", "E"),
  **binary_seeds("binary_big_endian", "l>", "S>", "g", "G")
}.freeze

folder = ARGV.fetch(0)
{ "obj" => OBJ, "mtl" => MTL, "ply" => PLY }.each do |kind, seeds|
  FileUtils.mkdir_p(File.join(folder, kind))
  seeds.each { |name, text| File.binwrite(File.join(folder, kind, name), text) }
end
