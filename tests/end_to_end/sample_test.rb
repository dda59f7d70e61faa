# frozen_string_literal: true

require "digest"
require "program_test"

# The sample model in examples/ is what its script makes.
class SampleTest < ProgramTest
  parallelize_me!

  FOLDER = File.dirname(Models::SAMPLE)

  def test_the_script_makes_the_same_bytes
    assert system("ruby", File.expand_path("../make_sample.rb", FOLDER), @folder, out: File::NULL)
    assert_equal Dir.children(FOLDER).sort, Dir.children(@folder).sort
    # PNG data depend on the version of zlib; what is compressed does not.
    Dir.children(FOLDER).grep_v(/\.png\z/).each do |name|
      assert_equal File.binread(File.join(FOLDER, name)), File.binread(path(name)), name
    end
  end

  def test_it_has_what_a_sample_needs
    report = MeshReport.of(Models::SAMPLE)
    assert_operator report["faces"], :>, 50_000
    assert_operator report["materials"].size, :>=, 3
    assert_operator report["uvs"], :>, 0
    assert_sound report
    assert_equal 1, File.foreach(Models::SAMPLE).count { |line| line.start_with?("o ") }
    textures = File.read(File.join(FOLDER, "lighthouse.mtl")).scan(/^map_Kd (.+)$/).flatten
    refute_empty textures
    textures.each { |name| assert_equal "\x89PNG".b, File.binread(File.join(FOLDER, name), 4) }
  end
end
