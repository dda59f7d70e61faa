# frozen_string_literal: true

module Viewer
  # Connections that have not shown the secret yet. Any program of this machine can open them by the hundred and say
  # nothing; each keeps a thread of the server's. Where there are too many, the one that has waited longest has to go,
  # so that the page always gets through.
  class Newcomers
    # More than all browsers of a user open at once, and far fewer than the server's threads.
    MOST = 40

    def initialize
      @lock = Mutex.new
      @waiting = []
    end

    # @param socket [TCPSocket] just accepted
    def arrive(socket)
      @lock.synchronize do
        @waiting.reject!(&:closed?)
        @waiting << socket
        dismiss(@waiting.shift) while @waiting.size > MOST
      end
    end

    # The connection has shown the secret: it may stay for as long as it likes.
    def admit(socket)
      @lock.synchronize { @waiting.delete(socket) }
    end

    private

    # Its thread then reads the end, and closes it.
    def dismiss(socket)
      socket.shutdown(Socket::SHUT_RDWR)
    rescue SystemCallError, IOError
      nil # it has gone by itself
    end
  end
end
