# frozen_string_literal: true

require 'json'

module Viewer
  # Takes a page's messages apart. What is not exactly a message is refused before anything is done.
  module Messages
    LARGEST_COUNT = 0xffffffff
    TARGETS = %w[faces step coarser finer lowest highest].freeze
    NEED_VALUE = %w[faces step].freeze

    FLAG = ->(value) { [true, false].include?(value) }
    NUMBER = ->(value) { value.is_a?(Numeric) && value.finite? }
    # The settings of a build, and what each may be; their ranges are the importer's to know.
    SETTINGS = {
      maintain_uvs: FLAG, maintain_normals: ->(value) { FLAG.call(value) || value == 'auto' },
      lock_surface_boundaries: FLAG, prevent_xy_foldovers: FLAG, prevent_uv_foldovers: FLAG,
      join_vertices_threshold: NUMBER, join_normals_threshold: NUMBER, join_uvs_threshold: NUMBER,
      error_tolerance: ->(value) { value.nil? || NUMBER.call(value) }
    }.freeze

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

    # @param text [String] as {"maintain_uvs": true, "error_tolerance": null}; what is left out stays as it is
    # @return [Hash{Symbol => Object}]
    # @raise [Malformed]
    def settings(text)
      message = object(text, SETTINGS.keys.map(&:to_s)).transform_keys(&:to_sym)
      message.each do |name, value|
        raise Malformed, "#{name} cannot be #{value.inspect[0, 40]}" unless SETTINGS[name].call(value)
      end
      message[:maintain_normals] = :auto if message[:maintain_normals] == 'auto'
      message
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
