# frozen_string_literal: true

require "conformance"

# Loading the extension: the method table, what the library exports, and what it asks for.
class EntryTest < Conformance::Test
  # The whole table in order of definition, with arities.
  TABLE = {
    import_obj: 1, import_ply: 1, go_to_step: 1, make_decimation_step: 1, make_refinement_step: 1,
    make_highest_resolution: 0, make_lowest_resolution: 0, go_to_faces: 1, get_hierachy_steps: 0, draw: 1,
    get_uvs: 0, export_skp: 4, count_faces: 0, get_current_step: 0, get_balancer_mesh: 1, export_obj: 1,
    get_remapped_mesh: 0, clear_balancer: 0, get_triangles: 2, get_mesh_bounds: 1, get_points: 2,
    init_mesh_depot: 0, init_simplify: 0, import_fbx: 1
  }.freeze
  LIBRARY = Conformance::EXTENSIONS.fetch(:mirel)

  # Functions of the interpreter that Ruby 2.7 offers to extensions.
  RUBY_2_7 = %w[
    rb_Float rb_alloc_tmp_buffer rb_ary_cat rb_ary_entry rb_ary_new rb_ary_new_capa rb_ary_new_from_values rb_ary_push rb_ary_store
    rb_block_given_p rb_cObject rb_cTime rb_check_type rb_const_get rb_define_method rb_eArgError rb_eRuntimeError
    rb_eTypeError rb_enc_associate_index rb_enc_find_index rb_fix2int rb_float_new rb_float_value rb_free_tmp_buffer rb_funcall rb_funcallv
    rb_eSysStackError rb_global_variable rb_hash_aref rb_int2big rb_int2inum rb_intern2 rb_ivar_get rb_ivar_set rb_jump_tag rb_mKernel
    rb_memerror rb_num2dbl rb_num2int rb_num2uint rb_obj_class rb_protect rb_raise rb_str_cat rb_str_new rb_str_new_cstr
    rb_str_new_frozen rb_str_new_static rb_string_value_cstr rb_uint2big rb_uint2inum rb_yield ruby_stack_check
  ].freeze

  CONSTANTS = {
    "Sketchup" => "module Sketchup; end", "UI" => "module UI; end", "Geom" => "module Geom; end",
    "Zu" => "module Zu; end", "Mirel" => "module Zu; module Mirel; end; end",
    "Importer" => "class Zu::Mirel::Importer; end"
  }.freeze

  def run_tool(*command)
    output, status = Open3.capture2e(*command)
    assert status.success?, output
    output
  rescue Errno::ENOENT
    skip "#{command.first} is not installed"
  end

  def dynamic_section
    skip "not an ELF system" unless RUBY_PLATFORM.include?("linux")
    run_tool("readelf", "-d", LIBRARY)
  end

  def test_arities
    TABLE.each_key do |name|
      assert_equal TABLE.fetch(name), Zu::Mirel::Importer.instance_method(name).arity, name
    end
  end

  def test_methods_are_defined_in_the_order_of_the_table
    script = <<~SCRIPT
      #{CONSTANTS.values.join("\n")}
      class Zu::Mirel::Importer
        ADDED = []
        def self.method_added(name) = ADDED << name
      end
      require #{LIBRARY.dump}
      puts Zu::Mirel::Importer::ADDED
    SCRIPT
    output, errors, status = Conformance.run_ruby(script)
    assert status.success?, errors
    assert_equal TABLE.keys, output.split.map(&:to_sym)
  end

  def test_steps_method_keeps_its_spelling
    assert Zu::Mirel::Importer.method_defined?(:get_hierachy_steps)
    refute Zu::Mirel::Importer.method_defined?(:get_hierarchy_steps)
  end

  CONSTANTS.each_key do |missing|
    define_method("test_load_without_#{missing}_raises_name_error") do
      present = CONSTANTS.take_while { |name, _| name != missing }.map(&:last)
      script = <<~SCRIPT
        #{present.join("\n")}
        begin
          require #{LIBRARY.dump}
          puts "loaded"
        rescue NameError => error
          puts error.class, error.name
        end
      SCRIPT
      output, errors, status = Conformance.run_ruby(script)
      assert status.success?, errors
      assert_equal ["NameError", missing], output.split
    end
  end

  def test_load_succeeds_once_the_missing_class_exists
    script = <<~SCRIPT
      #{CONSTANTS.values[0..-2].join("\n")}
      begin
        require #{LIBRARY.dump}
      rescue NameError
        #{CONSTANTS.fetch("Importer")}
        puts require #{LIBRARY.dump}
        puts Zu::Mirel::Importer.new.init_mesh_depot
      end
    SCRIPT
    output, errors, status = Conformance.run_ruby(script)
    assert status.success?, errors
    assert_equal %w[true true], output.split
  end

  def test_load_does_nothing_else
    script = <<~SCRIPT
      require "recorder"
      require "stand_ins"
      require #{LIBRARY.dump}
      Recorder.take_log.each { |line| STDOUT.puts line }
    SCRIPT
    output, errors, status = Conformance.run_ruby(script)
    assert status.success?, errors
    assert_equal "", output
  end

  def test_loads_in_a_process_without_functions_of_the_host
    script = <<~SCRIPT
      require "fiddle"
      #{CONSTANTS.values.join("\n")}
      found = %w[SUInitialize SUModelCreate SUModelSaveToFile].select do |name|
        Fiddle::Handle::DEFAULT[name]
      rescue Fiddle::DLError
        nil
      end
      require #{LIBRARY.dump}
      p found, Zu::Mirel::Importer.new.init_mesh_depot
    SCRIPT
    output, errors, status = Conformance.run_ruby(script)
    assert status.success?, errors
    assert_equal "[]\ntrue\n", output
  end

  def test_the_recording_library_took_the_place_of_the_sdk
    importer.init_mesh_depot
    assert_includes log, "IBalancerSDK.initialize"
  end

  def test_exports_only_the_entry
    skip "not an ELF system" unless RUBY_PLATFORM.include?("linux")
    symbols = run_tool("nm", "-D", "--defined-only", LIBRARY).lines.map { |line| line.split.last }
    assert_equal ["Init_mirel"], symbols
  end

  def test_needs_the_sdks_by_soname_and_no_ruby_library
    needed = dynamic_section.scan(/\(NEEDED\).*\[(.*)\]/).flatten
    assert_includes needed, "libbalancer.so"
    assert_includes needed, "libfbxsdk.so"
    assert_empty needed.grep(/ruby/)
    assert_empty needed.grep(/sketchup/i)
  end

  def test_finds_libraries_beside_itself_but_after_the_loader_s_own_path
    section = dynamic_section
    assert_equal ["$ORIGIN"], section.scan(/\(RUNPATH\).*\[(.*)\]/).flatten
    refute_match(/\(RPATH\)/, section)
  end

  def test_functions_are_bound_lazily
    refute_match(/BIND_NOW|FLAGS_1.*NOW/, dynamic_section)
  end

  def test_calls_nothing_of_ruby_newer_than_2_7
    symbols = run_tool("nm", "-D", "--undefined-only", LIBRARY).lines.map { |line| line.split.last[/\A[^@]+/] }
    used = symbols.grep(/\A_?(rb|ruby|onig)_/).map { |name| name.delete_prefix("_") }
    refute_empty used
    assert_empty used - RUBY_2_7
  end
end
