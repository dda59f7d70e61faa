# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "conformance"
require "minitest/mock"

# Which method of the progress display each reporting function calls, with which argument.
class ProgressTest < Conformance::Test
  def target
    @target ||= Zu::Mirel::StatusProgressBar.new("target")
  end

  def test_status_goes_to_the_console_and_to_the_bar
    MirelTest.update_status("Joining Vertices...")
    assert_log <<~LOG
      Kernel.puts "Joining Vertices..."
      bar.update_message "Joining Vertices..."
    LOG
  end

  def test_status_of_two_texts_goes_to_the_bar_alone
    MirelTest.update_status_two("Reading ", "größer.obj")
    assert_log 'bar.update_message "Reading größer.obj"'
  end

  def test_texts_are_joined_by_ruby_s_own_operator
    suffix = String.new("suffix")
    MirelTest.set_task_name_suffix("name ", suffix)
    assert_raises(TypeError) { MirelTest.set_task_name_suffix("name ", 7) }
    assert_raises(TypeError) { MirelTest.set_task_name_suffix("name ", nil) }
    assert_log 'bar.task_name= "name suffix"'
    assert_equal "suffix", suffix
  end

  def test_task_of_a_target
    MirelTest.set_task(target, "Mireling Model:")
    assert_log 'target.task_name= "Mireling Model:"'
  end

  def test_task_name_of_the_bar
    MirelTest.set_task_name("Mireling Faces:")
    assert_log 'bar.task_name= "Mireling Faces:"'
  end

  def test_task_count_of_the_bar
    MirelTest.set_task_count(0)
    MirelTest.set_task_count(4_294_967_295)
    assert_log <<~LOG
      bar.task_max_count= 0
      bar.task_max_count= 4294967295
    LOG
  end

  def test_task_count_of_a_target_keeps_its_odd_name
    MirelTest.set_task_count_of(target, 7)
    assert_log "target.task_max_count== 7"
  end

  def test_update
    MirelTest.update(target)
    MirelTest.update_progress
    assert_log <<~LOG
      target.update
      bar.update
    LOG
  end

  def test_progress_in_percent
    MirelTest.set_progress(target, 40)
    assert_log "target.progress= 40"
  end

  def test_the_bar_is_found_afresh_on_every_call
    first = Zu::Mirel::StatusProgressBar.new("first")
    second = Zu::Mirel::StatusProgressBar.new("second")
    [first, second].each do |bar|
      Zu::Mirel::StatusProgressBar.stub(:instance, bar) { MirelTest.update_progress }
    end
    original = Zu::Mirel.send(:remove_const, :StatusProgressBar)
    begin
      other = Class.new { def self.instance = original_instance }
      other.define_singleton_method(:original_instance) { first }
      Zu::Mirel.const_set(:StatusProgressBar, other)
      MirelTest.update_progress
    ensure
      Zu::Mirel.send(:remove_const, :StatusProgressBar)
      Zu::Mirel.const_set(:StatusProgressBar, original)
    end
    assert_log <<~LOG
      first.update
      second.update
      first.update
    LOG
  end

  def test_a_missing_bar_raises_name_error
    original = Zu::Mirel.send(:remove_const, :StatusProgressBar)
    error = assert_raises(NameError) { MirelTest.update_status("text") }
    assert_equal :StatusProgressBar, error.name
  ensure
    Zu::Mirel.const_set(:StatusProgressBar, original)
    assert_log 'Kernel.puts "text"'
  end

  def test_a_missing_method_raises_no_method_error
    bare = Object.new
    calls = {
      update_message: -> { MirelTest.update_status("text") },
      "task_name=": -> { MirelTest.set_task_name("name") },
      "task_max_count=": -> { MirelTest.set_task_count(1) },
      update: -> { MirelTest.update_progress }
    }
    Zu::Mirel::StatusProgressBar.stub(:instance, bare) do
      calls.each { |name, call| assert_equal name, assert_raises(NoMethodError, &call).name }
    end
    targets = {
      "task_name=": -> { MirelTest.set_task(bare, "name") },
      "task_max_count==": -> { MirelTest.set_task_count_of(bare, 1) },
      update: -> { MirelTest.update(bare) },
      "progress=": -> { MirelTest.set_progress(bare, 1) }
    }
    targets.each { |name, call| assert_equal name, assert_raises(NoMethodError, &call).name }
  end
end
