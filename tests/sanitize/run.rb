# frozen_string_literal: true

# The extension, the engine and the readers inside Ruby under the address, leak and undefined-behaviour sanitizers:
#
#   ruby tests/sanitize/run.rb BUILD_DIR       a build with MIREL_SANITIZE=address,undefined and clang

require "fileutils"
require "minitest/autorun"
require "open3"
require "tmpdir"

BUILD = File.expand_path(ARGV.shift || abort("usage: run.rb BUILD_DIR"))
ENV["MIREL_SHARED"] ||= ""
require_relative "../end_to_end/support/models"
require_relative "../support/fbx_file"

class SanitizeTest < Minitest::Test
  CYCLES = 100
  # Ruby itself leaks at its end; a leak is ours where one of these asked for the memory.
  OURS = /\A(mirel|mirel_host|libbalancer|libfbxsdk|libmirelread|libsketchup)\.so\z/
  NEUTRAL = /\A(libclang_rt|libasan|libstdc\+\+|libc\+\+)/

  def setup
    @runtime = `clang -print-file-name=libclang_rt.asan-#{`uname -m`.strip}.so`.strip
    skip "clang brings no shared sanitizer run-time" unless File.exist?(@runtime)
  end

  def test_many_cycles_leave_nothing_behind
    Dir.mktmpdir("mirel-sanitize") do |folder|
      make_models(folder)
      out, err, status = run_cycles(folder)
      assert status.success?, err
      assert_includes out, "all cycles done", err
      refute_match(/AddressSanitizer|runtime error:/, err.gsub(/SUMMARY: AddressSanitizer: \d+ byte\(s\) leaked.*/, ""))
      leaks = err.split("\n\n").grep(/(Direct|Indirect) leak of/)
      refute_empty leaks.grep(/leak of \d+ byte\(s\) in \d+ object/), "the leak made on purpose was not found: #{err}"
      assert_match(/leak of (424242|848484|1272726|1696968) byte/, err)
      assert_empty leaks.select { |leak| OURS.match?(origin(leak)) }
    end
  end

  private

  def run_cycles(folder)
    options = "detect_leaks=1:exitcode=0:symbolize=0:detect_stack_use_after_return=0:handle_segv=1"
    environment = { "LD_PRELOAD" => @runtime, "ASAN_OPTIONS" => options, "MIREL_BUILD" => BUILD,
                    "UBSAN_OPTIONS" => "print_stacktrace=1:halt_on_error=1" }
    Open3.capture3(environment, RbConfig.ruby, File.join(__dir__, "cycles.rb"), folder, CYCLES.to_s)
  end

  # The library nearest to the allocation that is neither the sanitizer's nor the language's.
  def origin(leak)
    modules = leak.scan(%r{^\s+#\d+ 0x\h+ .*?\(([^()+]+)\+0x\h+\)}).flatten.map { |path| File.basename(path) }
    modules.grep_v(NEUTRAL).first.to_s
  end

  # Quads with UVs and normals in two materials, below a node that turns them.
  def fbx_field
    points, = Models.terrain_arrays(4)
    quads = (0...4).to_a.product((0...4).to_a).map { |r, c| [r * 5 + c, r * 5 + c + 1, r * 5 + c + 6, r * 5 + c + 5] }
    file = FbxFile.new(axes: :y_up)
    mesh = file.mesh("field", points: points, polygons: quads, normals: ["ByPolygonVertex", "Direct", [[0, 0, 1]] * 64],
                              uvs: ["ByPolygonVertex", "IndexToDirect", [[0, 0], [1, 0.5]], [0, 1] * 32],
                              materials: ["ByPolygon", "IndexToDirect", nil, [0, 1] * 8])
    painted = file.material("painted")
    file.texture("paint", on: painted)
    above = file.node("above", properties: { "Lcl Rotation" => [10.0, 20.0, 30.0] })
    2.times { |n| file.node("node #{n}", parent: above, mesh: mesh, materials: [painted, file.material("plain")]) }
    file.text
  end

  def make_models(folder)
    points, faces = Models.terrain_arrays(12)
    files = {
      "terrain.obj" => Models.terrain(12), "terrain.ply" => Models.terrain_ply(12),
      "terrain.stl" => Models.stl(faces.map { |face| face.flat_map { |k| points[k] } }),
      "quads.ply" => "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\nproperty float z\n" \
                     "element face 1\nproperty list uchar int vertex_indices\nend_header\n" \
                     "0 0 0\n1 0 0\n1 1 0.2\n0 1 0\n4 0 1 2 3\n",
      "field.fbx" => fbx_field, "cut.fbx" => fbx_field[0, 900],
      "index.obj" => "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2 9\n", "empty.obj" => "",
      "cut.ply" => Models.terrain_ply(12, body_bytes: 2100)
    }
    files.each { |name, content| File.binwrite(File.join(folder, name), content) }
  end
end
