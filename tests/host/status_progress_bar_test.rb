# frozen_string_literal: true

require 'host_test'

class StatusProgressBarTest < HostTest
  # Notes what it is told.
  class Display
    attr_reader :calls

    def initialize
      @calls = []
    end

    %i[message task progress].each { |name| define_method(name) { |*arguments| @calls << [name, *arguments] } }
  end

  def setup
    super
    @bar = Zu::Mirel::StatusProgressBar.instance
    @bar.reset
    @bar.display = @display = Display.new
  end

  def teardown
    @bar.display = nil
    @bar.reset
    super
  end

  def test_messages_and_tasks_pass_through
    @bar.update_message('Joining Vertices...')
    @bar.task_name = 'Mireling Faces:'
    @bar.progress = 40
    assert_equal [[:message, 'Joining Vertices...'], [:task, 'Mireling Faces:'], [:progress, 40, 100]], @display.calls
    assert_equal 'Joining Vertices...', @bar.message
    assert_equal 'Mireling Faces:', @bar.task_name
  end

  def test_updates_are_thinned_to_a_hundred_and_the_last_one_counts
    @bar.task_max_count = 12_345
    12_345.times { @bar.update }
    assert_operator @display.calls.size, :<=, 102
    assert_operator @display.calls.size, :>=, 99
    assert_equal [:progress, 12_345, 12_345], @display.calls.last
  end

  def test_short_tasks
    @bar.task_max_count = 3
    3.times { @bar.update }
    assert_equal [1, 2, 3], @display.calls.map { |call| call[1] }
    @bar.task_max_count = 0
    2.times { @bar.update }
    assert_equal [:progress, 2, 0], @display.calls.last
  end

  def test_nothing_is_shown_without_a_display
    @bar.display = nil
    @bar.update_message('x')
    @bar.task_name = 'y'
    @bar.task_max_count = 1
    @bar.update
    assert_equal 1, @bar.count
  end

  def test_there_is_one
    assert_same @bar, Zu::Mirel::StatusProgressBar.instance
    assert_raises(NoMethodError) { Zu::Mirel::StatusProgressBar.new }
  end
end
