# frozen_string_literal: true

module Viewer
  # The one thread on which the model lives. The native half has one state per process and no locks, so the threads
  # that answer requests hand their work over and wait.
  class HostThread
    Job = Struct.new(:work, :done, :value, :error)
    private_constant :Job

    # The viewer is ending.
    class Stopped < StandardError; end

    # @param timers [UI::Timers] fired on this thread too
    def initialize(timers)
      @timers = timers
      @jobs = []
      @lock = Mutex.new
      @changed = ConditionVariable.new
      @stopped = false
    end

    # Runs the block on the host's thread.
    # @return what the block returns
    # @raise what the block raises; Stopped where it will not run any more
    def call(&work)
      job = Job.new(work, false)
      @lock.synchronize do
        raise Stopped if @stopped

        @jobs << job
        @changed.broadcast
        @changed.wait(@lock) until job.done
      end
      raise job.error if job.error

      job.value
    end

    # Does the jobs and fires the timers until #stop.
    def run
      until @stopped
        job = next_job
        job ? finish(job) : @timers.run
      end
    ensure
      refuse_the_rest
    end

    # May be called from a signal handler's thread.
    def stop
      @lock.synchronize do
        @stopped = true
        @changed.broadcast
      end
    end

    private

    # Waits for a job, or for the next timer.
    def next_job
      @lock.synchronize do
        seconds = @timers.seconds_left
        @changed.wait(@lock, seconds) if @jobs.empty? && !@stopped && seconds != 0.0
        @jobs.shift unless @stopped
      end
    end

    def finish(job)
      begin
        job.value = job.work.call
      rescue StandardError, NoMemoryError => e
        job.error = e
      end
      settle(job)
    end

    def settle(job)
      @lock.synchronize do
        job.done = true
        @changed.broadcast
      end
    end

    def refuse_the_rest
      @lock.synchronize do
        @stopped = true
        @jobs.each do |job|
          job.error = Stopped.new
          job.done = true
        end
        @jobs.clear
        @changed.broadcast
      end
    end
  end
end
