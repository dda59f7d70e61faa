# frozen_string_literal: true

require 'singleton'

module Zu
  module Mirel
    # Where the native half reports what it is doing.
    #
    # Set #display to an object that is to be told; without one nothing is shown. It answers
    #   message(text)            a new phase has begun
    #   task(name)               a counted task has begun
    #   progress(done, total)    at most a hundred times per task, and at its end
    class StatusProgressBar
      include Singleton

      # @return [Object, nil]
      attr_accessor :display
      # @return [String, nil] the phase
      attr_reader :message
      # @return [String, nil] the counted task
      attr_reader :task_name
      # @return [Integer] units of the task; 0 where it is not known
      attr_reader :task_max_count
      # @return [Integer] units done
      attr_reader :count

      def initialize
        reset
      end

      # Forgets the last phase and task; the display stays.
      def reset
        @message = nil
        @task_name = nil
        self.task_max_count = 0
      end

      # @param text [String]
      def update_message(text)
        @message = text
        @display&.message(text)
      end

      # Begins a counted task.
      # @param name [String]
      def task_name=(name)
        @task_name = name
        self.task_max_count = 0
        @display&.task(name)
      end

      # @param count [Integer] units to come, each reported by one #update
      def task_max_count=(count)
        @task_max_count = count
        @count = 0
        @stride = [count / 100, 1].max
        @next_report = @stride
      end

      # One unit is done. Called once per vertex of a file, so it must cost next to nothing.
      def update
        @count += 1
        return if @count < @next_report

        report
      end

      # @param percent [Integer] of the present phase
      def progress=(percent)
        @display&.progress(percent, 100)
      end

      private

      def report
        @next_report = @count + @stride
        @next_report = @task_max_count if @count < @task_max_count && @next_report > @task_max_count
        @display&.progress(@count, @task_max_count)
      end
    end
  end
end
