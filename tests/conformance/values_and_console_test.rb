# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "conformance"
require "minitest/mock"

# Native values as Ruby objects, and lines on the Ruby console.
class ValuesAndConsoleTest < Conformance::Test
  def test_double_becomes_float
    assert_equal 0.1, MirelTest.from_double(0.1)
    assert_predicate MirelTest.from_double(Float::NAN), :nan?
    assert_equal Float::INFINITY, MirelTest.from_double(Float::INFINITY)
  end

  def test_float_is_widened
    value = MirelTest.from_float(0.1)
    assert_instance_of Float, value
    assert_equal [0.1].pack("f").unpack1("f"), value
    refute_equal 0.1, value
  end

  def test_unsigned_is_never_negative
    assert_equal 0, MirelTest.from_unsigned(0)
    assert_equal 4_294_967_295, MirelTest.from_unsigned(4_294_967_295)
  end

  def test_int_is_signed
    assert_equal(-2_147_483_648, MirelTest.from_int(-2_147_483_648))
    assert_equal 2_147_483_647, MirelTest.from_int(2_147_483_647)
    assert_equal(-1, MirelTest.from_int(-1))
  end

  def test_text_becomes_a_new_utf8_string
    text = MirelTest.from_text("größer")
    assert_equal "größer", text
    assert_equal Encoding::UTF_8, text.encoding
    assert_predicate text, :valid_encoding?
    refute_predicate text, :frozen?
    refute_same text, MirelTest.from_text("größer")
    assert_equal "", MirelTest.from_text("")
  end

  def test_bytes_that_are_not_utf8_are_tagged_all_the_same
    text = MirelTest.from_text("a\xFFb".b)
    assert_equal Encoding::UTF_8, text.encoding
    refute_predicate text, :valid_encoding?
    assert_equal "a\xFFb".b, text.b
  end

  def test_print
    MirelTest.print_value(:any)
    MirelTest.print_text("no newline")
    MirelTest.print_number(4_294_967_295)
    assert_log <<~LOG
      Kernel.print :any
      Kernel.print "no newline"
      Kernel.print 4294967295
    LOG
  end

  def test_printed_text_is_utf8
    encoding = nil
    Kernel.stub(:print, ->(text) { encoding = text.encoding }) { MirelTest.print_text("ü") }
    assert_equal Encoding::UTF_8, encoding
  end

  def test_puts_of_a_text_is_one_call_with_the_text_as_it_is
    MirelTest.puts_text("Error: BalancerSDK failed to initialize.\n")
    MirelTest.puts_text("a line")
    assert_log <<~'LOG'
      Kernel.puts "Error: BalancerSDK failed to initialize.\n"
      Kernel.puts "a line"
    LOG
  end

  # With the console's own puts: one line break, not two.
  def test_text_that_ends_in_a_newline_prints_one_line_break
    script = <<~SCRIPT
      module Sketchup; end; module UI; end; module Geom; end
      module Zu; module Mirel; class Importer; end; end; end
      require #{Conformance::EXTENSIONS.fetch(:mirel_test).dump}
      MirelTest.puts_text("Error: BalancerSDK failed to initialize.\\n")
      MirelTest.puts_text("next")
    SCRIPT
    output, errors, status = Conformance.run_ruby(script)
    assert status.success?, errors
    assert_equal "Error: BalancerSDK failed to initialize.\nnext\n", output
  end

  def test_puts_of_a_value_prints_what_inspect_gives
    MirelTest.puts_value(0.5)
    MirelTest.puts_value("text")
    MirelTest.puts_value(nil)
    object = Object.new
    object.define_singleton_method(:inspect) { Events.emit("object.inspect") || "shown" }
    MirelTest.puts_value(object)
    assert_log <<~'LOG'
      Kernel.puts "0.5"
      Kernel.puts "\"text\""
      Kernel.puts "nil"
      object.inspect
      Kernel.puts "shown"
    LOG
  end

  def test_label_and_number_are_three_prints
    MirelTest.puts_label_number("Num vertices:", 12)
    MirelTest.puts_label_number("Num Faces: ", 4_294_967_295)
    assert_log <<~'LOG'
      Kernel.print "Num vertices:"
      Kernel.print 12
      Kernel.print "\n"
      Kernel.print "Num Faces: "
      Kernel.print 4294967295
      Kernel.print "\n"
    LOG
  end

  def test_label_and_text_are_three_prints
    MirelTest.puts_label_text("Name: ", "value")
    assert_log <<~'LOG'
      Kernel.print "Name: "
      Kernel.print "value"
      Kernel.print "\n"
    LOG
  end

  def test_message_box
    assert_equal :pressed, MirelTest.message_box("Done")
    assert_log 'UI.messagebox "Done"'
  end

  def test_an_exception_of_the_console_passes_through
    %i[puts print].each do |name|
      Kernel.stub(name, ->(*) { raise IOError, "closed" }) do
        assert_raises(IOError) { name == :puts ? MirelTest.puts_text("x") : MirelTest.print_text("x") }
      end
    end
    MirelTest.puts_text("again")
    assert_log 'Kernel.puts "again"'
  end
end
