# frozen_string_literal: true

require 'host_test'
require 'viewer'

# The one thread of the model, and what waits for it.
class ViewerHostThreadTest < HostTest
  def setup
    super
    @timers = UI::Timers.new
    @host = Viewer::HostThread.new(@timers)
  end

  def running
    thread = Thread.new { @host.run }
    yield thread
  ensure
    @host.stop
    thread.join
  end

  def test_work_is_done_on_the_hosts_thread_and_answered
    running do |thread|
      assert_same thread, @host.call { Thread.current }
      assert_equal [0, 1, 2, 3], Array.new(4) { |n| Thread.new { @host.call { n } } }.map(&:value)
    end
  end

  def test_what_the_work_raises_is_raised_where_it_was_asked_for
    running do
      error = assert_raises(IOError) { @host.call { raise IOError, 'mine' } }
      assert_equal 'mine', error.message
      assert_raises(NoMemoryError) { @host.call { raise NoMemoryError } }
      assert_equal 1, @host.call { 1 }
    end
  end

  def test_timers_fire_between_jobs_on_the_same_thread
    running do |thread|
      fired = Thread::Queue.new
      @host.call { @timers.start(0.01) { fired << Thread.current } }
      assert_same thread, fired.pop
      assert_equal 2, @host.call { 2 }
    end
  end

  def test_what_waits_at_the_end_is_turned_away
    inside = Thread::Queue.new
    go_on = Thread::Queue.new
    running do
      first = Thread.new { @host.call { inside << true && go_on.pop } }
      inside.pop
      second = Thread.new { assert_raises(Viewer::HostThread::Stopped) { @host.call { flunk } } }
      sleep(0.01) until second.stop?
      @host.stop
      go_on << :done
      assert_equal :done, first.value
      second.join
    end
    assert_raises(Viewer::HostThread::Stopped) { @host.call { flunk } }
  end
end
