# frozen_string_literal: true

require 'json'

module Viewer
  # Takes a page's messages apart. What is not exactly a message is refused before anything is done.
  module Messages
    LARGEST_COUNT = 0xffffffff
    TARGETS = %w[faces step coarser finer lowest highest].freeze
    NEED_VALUE = %w[faces step].freeze

    # Not a message, with the reason.
    class Malformed < StandardError; end

    # What a move says.
    Move = Struct.new(:target, :value, :live, :layers)

    module_function

    # @param text [String] as {"to": "faces", "value": 5000, "live": true, "edges": false, "marks": false}
    # @return [Move]
    # @raise [Malformed]
    def move(text)
      message = object(text, %w[to value live edges marks])
      target = message['to']
      raise Malformed, "to is one of #{TARGETS.join(', ')}" unless TARGETS.include?(target)

      value = message['value']
      raise Malformed, "value is a whole number from 0 to #{LARGEST_COUNT}" unless value.nil? || count?(value)
      raise Malformed, "#{target} needs a value" if value.nil? && NEED_VALUE.include?(target)

      Move.new(target, value, flag(message, 'live'), { edges: flag(message, 'edges'), marks: flag(message, 'marks') })
    end

    # @param text [String] JSON
    # @param names [Array<String>] the members that there may be
    # @return [Hash]
    def object(text, names)
      message = JSON.parse(text.dup.force_encoding(Encoding::UTF_8), max_nesting: 4)
      raise Malformed, 'a message is an object' unless message.is_a?(Hash)

      unknown = message.keys - names
      raise Malformed, "unknown: #{unknown.first.scrub[0, 40]}" unless unknown.empty?

      message
    rescue JSON::ParserError, EncodingError
      raise Malformed, 'a message is JSON'
    end

    def count?(value)
      value.is_a?(Integer) && (0..LARGEST_COUNT).cover?(value)
    end

    def flag(message, name)
      value = message.fetch(name, false)
      raise Malformed, "#{name} is true or false" unless [true, false].include?(value)

      value
    end
  end
end
