#!/usr/bin/env ruby
# frozen_string_literal: true

# Writes seed files for the fuzzers: make_corpus.rb FOLDER makes FOLDER/obj, FOLDER/mtl, FOLDER/ply,
# FOLDER/fbx and FOLDER/picture, and FOLDER/fbx.dict with the words of its format.
# Each seed shows a form that a mutation would hardly hit by itself.

require "fileutils"
require_relative "../support/fbx_writer"

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

# Pictures of two by two pixels.
def tga(kind, depth, body, palette_size: 0, descriptor: 0)
  [0, palette_size.zero? ? 0 : 1, kind, 0, palette_size, palette_size.zero? ? 0 : 24, 0, 0, 2, 2, depth, descriptor]
    .pack("C3S<2CS<4C2") + body.pack("C*")
end

def bmp(depth, compression, colors, body, masks: [])
  head = colors.pack("L<*") + masks.pack("L<*")
  start = 54 + head.size
  ["BM", start + body.size, 0, start, 40, 2, 2, 1, depth, compression, body.size, 0, 0, colors.size, 0]
    .pack("a2L<6S<2L<6") + head + body.pack("C*")
end

GREY_RAMP = [0, 0x555555, 0xAAAAAA, 0xFFFFFF].freeze
PICTURES = {
  "tga_colors" => tga(2, 24, (1..12).to_a), "tga_opacity" => tga(2, 32, (1..16).to_a, descriptor: 0x28),
  "tga_runs" => tga(10, 16, [0x81, 1, 2, 1, 3, 4, 5, 6]), "tga_grey" => tga(3, 8, [1, 2, 3, 4], descriptor: 0x10),
  "tga_palette" => tga(1, 8, [*1..12, 0, 1, 2, 3], palette_size: 4),
  "tga_palette_runs" => tga(9, 8, [*1..6, 0x83, 1], palette_size: 2),
  "bmp_bit" => bmp(1, 0, GREY_RAMP[0, 2], [0x40, 0, 0, 0, 0x80, 0, 0, 0]),
  "bmp_colors" => bmp(24, 0, [], [1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0]),
  "bmp_palette" => bmp(4, 0, GREY_RAMP, [0x12, 0, 0, 0, 0x30, 0, 0, 0]),
  "bmp_runs8" => bmp(8, 1, GREY_RAMP, [2, 1, 0, 0, 0, 2, 1, 2, 0, 2, 0, 0, 0, 1]),
  "bmp_runs4" => bmp(4, 2, GREY_RAMP, [2, 0x12, 0, 0, 0, 3, 0x12, 0x30, 0, 1]),
  "bmp_masks" => bmp(16, 3, [], [*1..8], masks: [0xF800, 0x7E0, 0x1F])
}.freeze

# A scene with everything that is read, in the two object models.
module FbxSeeds
  module_function

  def property(name, type, *values) = ["P", [name, type, "", "", *values]]
  def old_property(name, type, *values) = ["Property", [name, type, "", *values]]

  def layers
    [["LayerElementNormal", [0], [["MappingInformationType", ["ByPolygonVertex"]],
                                  ["ReferenceInformationType", ["IndexToDirect"]],
                                  ["Normals", [[0.0, 0.0, 1.0]]], ["NormalsIndex", [[0] * 9]]]],
     ["LayerElementUV", [0], [["Name", ["map1"]], ["MappingInformationType", ["ByPolygonVertex"]],
                              ["ReferenceInformationType", ["IndexToDirect"]],
                              ["UV", [[0.0, 0.0, 1.0, 0.0, 1.0, 1.0]]], ["UVIndex", [[0, 1, 2, 0, 1, 2, 0, 1, 2]]]]],
     ["LayerElementMaterial", [0], [["MappingInformationType", ["ByPolygon"]],
                                    ["ReferenceInformationType", ["IndexToDirect"]], ["Materials", [[0, 1, 0]]]]],
     ["LayerElementTexture", [0], [["MappingInformationType", ["ByPolygon"]], ["TextureId", [[0, 0, 1]]]]],
     ["Layer", [0], %w[Normal UV Material].map do |kind|
       ["LayerElement", [], [["Type", ["LayerElement#{kind}"]], ["TypedIndex", [0]]]]
     end]]
  end

  # A concave polygon, a quad with a point that is not there, and a line.
  def mesh
    [["Vertices", [[0.0, 0.0, 0.0, 3.0, 0.0, 0.0, 3.0, 3.0, 0.0, 1.0, 1.0, 0.0, 0.0, 3.0, 0.0]]],
     ["PolygonVertexIndex", [[0, 1, 2, 3, -5, 0, 1, 9, -3, 0, -2]]], *layers]
  end

  def surface
    [["NurbsSurfaceOrder", [3, 2]], ["Dimensions", [3, 2]], ["Step", [2, 2]], ["Form", %w[Open Periodic]],
     ["Points", [[0.0, 0.0, 0.0, 1.0, 1.0, 0.0, 1.0, 0.5, 2.0, 0.0, 0.0, 1.0,
                  0.0, 1.0, 0.0, 1.0, 1.0, 1.0, 1.0, 0.5, 2.0, 1.0, 0.0, 1.0]]],
     ["KnotVectorU", [[0.0, 0.0, 0.0, 1.0, 1.0, 1.0]]], ["KnotVectorV", [[0.0, 1.0, 2.0, 3.0, 4.0]]], *layers]
  end

  def transform
    [["Lcl Translation", 1.0, 2.0, 3.0], ["Lcl Rotation", 30.0, 40.0, 50.0], ["Lcl Scaling", 1.0, -2.0, 0.5],
     ["PreRotation", 90.0, 0.0, 0.0], ["PostRotation", 0.0, 10.0, 0.0], ["RotationPivot", 1.0, 0.0, 0.0],
     ["ScalingOffset", 0.0, 1.0, 0.0], ["GeometricTranslation", 0.0, 0.0, 1.0]]
  end

  def settings
    [["UpAxis", 2], ["UpAxisSign", -1], ["FrontAxis", 0], ["FrontAxisSign", 1], ["CoordAxis", 1], ["CoordAxisSign", 1]]
  end

  def new_scene
    moved = transform.map { |name, *values| property(name, "Vector3D", *values) }
    [["GlobalSettings", [], [["Properties70", [], settings.map { |name, value| property(name, "int", value) } +
                                                  [property("UnitScaleFactor", "double", 2.54)]]]],
     ["Definitions", [], [["ObjectType", ["Material"], [["PropertyTemplate", ["FbxSurfacePhong"], [
       ["Properties70", [], [property("DiffuseColor", "Color", 0.1, 0.2, 0.3)]]
     ]]]]]],
     ["Objects", [], [
       ["Geometry", [10, "Geometry::g", "Mesh"], mesh], ["Geometry", [11, "Geometry::n", "NurbsSurface"], surface],
       ["Geometry", [12, "Geometry::p", "Patch"], surface],
       ["Model", [20, "Model::a \"b\"", "Mesh"],
        [["Properties70", [], [property("RotationOrder", "enum", 3), property("RotationActive", "bool", 1), *moved]]]],
       ["Model", [21, "Model::c", "Null"], []], ["NodeAttribute", [13, "NodeAttribute::l", "Light"], []],
       ["Material", [30, "Material::m", ""], [["ShadingModel", ["phong"]]]],
       ["Material", [31, "Material::u", ""], [["ShadingModel", ["unknown"]]]],
       ["Texture", [40, "Texture::t", ""], [
         ["Properties70", [], [property("CurrentMappingType", "enum", 1), property("Scaling", "Vector", 2.0, 3.0, 1.0)]],
         ["FileName", ["C:\\x\\y.png"]], ["Cropping", [0, 1, 2, 3]], ["Texture_Alpha_Source", ["None"]]
       ]],
       ["LayeredTexture", [41, "LayeredTexture::l", ""], [["BlendModes", [[4, 99]]]]],
       ["Implementation", [50, "Implementation::i", ""],
        [["Properties70", [], [property("ShaderLanguage", "KString", "HLSL")]]]]
     ]],
     ["Connections", [], [
       ["OO", 20, 0], ["OO", 21, 20], ["OO", 10, 20], ["OO", 10, 21], ["OO", 11, 21], ["OO", 12, 21], ["OO", 13, 21],
       ["OO", 30, 20], ["OO", 31, 20], ["OP", 41, 30, "DiffuseColor"], ["OO", 40, 41], ["OO", 31, 50], ["OO", 20, 21]
     ].map { |values| ["C", values] }]]
  end

  def old_scene
    moved = transform.map { |name, *values| old_property(name, "Vector3D", *values) }
    [["Objects", [], [
      ["Model", ["Model::a", "Mesh"], [["Properties60", [], moved], *mesh]],
      ["Model", ["Model::n", "NurbsSurface"], surface],
      ["Model", ["Model::c", "Camera"], []],
      ["Material", ["Material::m", ""], [["ShadingModel", ["lambert"]],
                                         ["Properties60", [], [old_property("Diffuse", "Vector3D", 1.0, 0.5, 0.0)]]]],
      ["Texture", ["Texture::t", ""], [["FileName", ["t.png"]], ["ModelUVScaling", [2, 3]]]],
      ["GlobalSettings", [], [["Properties60", [], settings.map { |name, value| old_property(name, "int", value) }]]]
    ]],
     ["Connections", [], [
       ["OO", "Model::a", "Model::Scene"], ["OO", "Model::n", "Model::a"], ["OO", "Model::c", "Model::n"],
       ["OO", "Material::m", "Model::a"], ["OO", "Texture::t", "Model::a"]
     ].map { |values| ["Connect", values] }]]
  end

  def all
    { "text" => FbxWriter.text(new_scene), "text_old" => FbxWriter.text(old_scene, version: 6100),
      "text_odd" => "; FBX 7.4.0\nA: , 1, nan, -1.#IND ,2,3,\n4,5\nB: *3 {\n a: 1,2\n}\nC: T, \"&lf;\", -x { D: }\n",
      "binary" => FbxWriter.binary(new_scene), "binary_deflated" => FbxWriter.binary(new_scene, deflate: true),
      "binary_wide" => FbxWriter.binary(new_scene, version: 7700, deflate: true),
      "binary_big_endian" => FbxWriter.binary(new_scene, version: 7500, big_endian: true),
      "binary_old" => FbxWriter.binary(old_scene, version: 6100) }
  end
end

folder = ARGV.fetch(0)
{ "obj" => OBJ, "mtl" => MTL, "ply" => PLY, "fbx" => FbxSeeds.all, "picture" => PICTURES }.each do |kind, seeds|
  FileUtils.mkdir_p(File.join(folder, kind))
  seeds.each { |name, text| File.binwrite(File.join(folder, kind, name), text) }
end

# Small files of other programs, where they are.
models = File.join(ENV.fetch("MIREL_SHARED", File.expand_path("../../../shared", __dir__)), "models", "fbx", "**", "*.fbx")
Dir.glob(models).select { |path| File.size(path) <= 16_384 }.each do |path|
  File.binwrite(File.join(folder, "fbx", "model_#{File.basename(path, '.fbx')}"), File.binread(path))
end

# Names that a mutation would hardly spell.
words = FbxSeeds.all.values_at("text", "text_old").flat_map { |text| text.scan(/[A-Za-z][A-Za-z0-9_]{3,}/) }.uniq.sort
File.write(File.join(folder, "fbx.dict"), words.map { |word| "\"#{word}\"\n" }.join)
