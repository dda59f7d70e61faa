# frozen_string_literal: true

require 'json'

module Viewer
  # News for the open pages: a new frame, the phases of a build. Each page reads a stream of server-sent events.
  class Events
    # What a page that does not read may fall behind.
    LONGEST_QUEUE = 200
    # A line now and then shows whether the page is still there.
    SECONDS_BETWEEN_SIGNS = 15

    def initialize
      @lock = Mutex.new
      @streams = []
      @closed = false
    end

    # @param name [String]
    # @param data [Hash]
    def publish(name, data)
      text = "event: #{name}\ndata: #{JSON.generate(data)}\n\n"
      @lock.synchronize { @streams.each { |stream| stream << text if stream.size < LONGEST_QUEUE } }
    end

    # Writes events until the page has gone or the viewer ends.
    # @param out [#write]
    def stream_to(out)
      queue = open_stream
      out.write(": here\n\n")
      while (text = next_text(queue))
        out.write(text)
      end
    rescue SystemCallError, IOError
      nil # the page has gone
    ensure
      @lock.synchronize { @streams.delete(queue) }
    end

    def close
      @lock.synchronize do
        @closed = true
        @streams.each { |stream| stream << nil }
      end
    end

    private

    def open_stream
      queue = Thread::Queue.new
      @lock.synchronize do
        @streams << queue
        queue << nil if @closed
      end
      queue
    end

    # Queue#pop takes no timeout before Ruby 3.2.
    def next_text(queue)
      waited = 0
      while queue.empty?
        return ": here\n\n" if waited >= SECONDS_BETWEEN_SIGNS

        sleep(0.02)
        waited += 0.02
      end
      queue.pop
    end
  end
end
