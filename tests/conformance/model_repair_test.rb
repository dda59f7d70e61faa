# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require_relative "support/sketchup_recorder"
# A host that can repair models.
SketchupRecorder.load("libsketchup_repair")
require "export_test"

# SUModelFixErrors, which not every host has.
class ModelRepairTest < ExportTest
  def test_the_model_is_repaired_before_its_materials_are_named
    export(node("root"))
    lines = log
    from = lines.index("importer.progress= 40")
    assert_equal ["importer.progress= 40", "SUModelFixErrors", "importer.importing_external_file?"], lines[from..from + 2]
  end

  def test_its_result_is_not_read
    assert_equal true, export(node("root"))
    assert_equal true, MirelTest.fix_errors
  end
end
