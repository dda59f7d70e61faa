# frozen_string_literal: true

require 'json'

module Viewer
  # What a page takes in one answer: a head in JSON, then the buffers that a graphics card takes, as they are.
  #
  #   bytes 0..3   'MRLF'
  #   bytes 4..7   length of the head, little-endian
  #   bytes 8..    the head, filled up with blanks to a multiple of 4
  #   then         the buffers one after another, each begun at a multiple of 4; the head names them by where they
  #                begin, counted from the first one
  class Package
    MAGIC = 'MRLF'

    def initialize
      @buffers = []
      @size = 0
    end

    # @param data [String] binary
    # @return [Integer] where it begins
    def add(data)
      begin_at = @size
      gap = -data.bytesize % 4
      @buffers << data
      @buffers << "\0".b * gap if gap.positive?
      @size += data.bytesize + gap
      begin_at
    end

    # @param head [Hash]
    # @return [Array<String>] binary; to be written one after another
    def encode(head)
      text = JSON.generate(head)
      text << ' ' * (-text.bytesize % 4)
      [MAGIC.b + [text.bytesize].pack('V') + text.b, *@buffers]
    end
  end
end
