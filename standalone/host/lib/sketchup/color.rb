# frozen_string_literal: true

module Sketchup
  # A colour of red, green, blue and alpha, each an Integer that is nominally 0 to 255.
  #
  # @example
  #   Sketchup::Color.new(255, 128, 0).to_a       # => [255, 128, 0, 255]
  #   Sketchup::Color.new('#ff8000').to_a         # => [255, 128, 0, 255]
  #   Sketchup::Color.new('Orange').to_a          # => [255, 165, 0, 255]
  class Color
    NAMES = {
      'black' => 0x000000, 'blue' => 0x0000ff, 'brown' => 0xa52a2a, 'cyan' => 0x00ffff, 'darkgray' => 0xa9a9a9,
      'gold' => 0xffd700, 'gray' => 0x808080, 'green' => 0x008000, 'lightgray' => 0xd3d3d3, 'lime' => 0x00ff00,
      'magenta' => 0xff00ff, 'maroon' => 0x800000, 'navy' => 0x000080, 'olive' => 0x808000, 'orange' => 0xffa500,
      'pink' => 0xffc0cb, 'purple' => 0x800080, 'red' => 0xff0000, 'silver' => 0xc0c0c0, 'teal' => 0x008080,
      'violet' => 0xee82ee, 'white' => 0xffffff, 'yellow' => 0xffff00
    }.freeze
    private_constant :NAMES

    # @return [Array<String>] the names that #initialize knows
    def self.names
      NAMES.keys.map(&:capitalize)
    end

    attr_reader :red, :green, :blue, :alpha

    # @overload initialize
    #   Opaque black.
    # @overload initialize(red, green, blue, alpha = 255)
    #   @param red [Integer, Float] an Integer is taken as it is, a Float is a share of 255
    # @overload initialize(array)
    #   @param array [Array] three or four such numbers
    # @overload initialize(text)
    #   @param text [String] a name, '#rrggbb' or '#rrggbbaa'
    # @overload initialize(number)
    #   @param number [Integer] 0xbbggrr
    # @overload initialize(color)
    #   @param color [Color]
    # @raise [ArgumentError] for anything else
    def initialize(*args)
      @red, @green, @blue, @alpha = components(args)
    end

    # @param value [Integer, Float]
    def red=(value)
      @red = component(value)
    end

    # @param value [Integer, Float]
    def green=(value)
      @green = component(value)
    end

    # @param value [Integer, Float]
    def blue=(value)
      @blue = component(value)
    end

    # @param value [Integer, Float]
    def alpha=(value)
      @alpha = component(value)
    end

    # @return [Array(Integer, Integer, Integer, Integer)]
    def to_a
      [red, green, blue, alpha]
    end

    # @return [Integer] 0xbbggrr
    def to_i
      (blue << 16) | (green << 8) | red
    end

    # @param weight [Float] 0 gives this colour, 1 the other
    # @return [Color]
    def blend(other, weight)
      Color.new(*to_a.zip(Color.new(other).to_a).map { |a, b| (a + (b - a) * weight).round })
    end

    def ==(other)
      other.is_a?(Color) && to_a == other.to_a
    end
    alias eql? ==

    def hash
      to_a.hash
    end

    def to_s
      "Color(#{to_a.join(', ')})"
    end
    alias inspect to_s

    private

    def components(args)
      return [0, 0, 0, 255] if args.empty?
      return from_numbers(args) if args.size > 1

      case (value = args.first)
      when Color then value.to_a
      when Array then from_numbers(value)
      when Integer then [value & 255, (value >> 8) & 255, (value >> 16) & 255, 255]
      when String then from_text(value)
      else raise ArgumentError, "no colour from #{value.class}"
      end
    end

    def from_numbers(numbers)
      raise ArgumentError, 'a colour has three or four components' unless [3, 4].include?(numbers.size)

      values = numbers.map { |value| component(value) }
      values << 255 if values.size == 3
      values
    end

    def component(value)
      return value if value.is_a?(Integer)
      return (value * 255.0).round if value.is_a?(Float) && value.finite?

      raise ArgumentError, "not a colour component: #{value.inspect}"
    end

    def from_text(text)
      digits = text[/\A#(\h{6}|\h{8})\z/, 1]
      return digits.scan(/../).map(&:hex).tap { |values| values << 255 if values.size == 3 } if digits

      number = NAMES.fetch(text.downcase) { raise ArgumentError, "unknown colour: #{text}" }
      [number >> 16, (number >> 8) & 255, number & 255, 255]
    end
  end
end
