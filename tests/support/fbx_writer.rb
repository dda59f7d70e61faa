# frozen_string_literal: true

require "zlib"

# Writes small FBX files for tests: one tree of elements in the text form, or in the binary one of either word size and
# byte order. An element is [name, values, children]; a value is an Integer, Float, String, true or false, or an Array of
# numbers, which stands for an array of the binary form.
module FbxWriter
  MAGIC = "Kaydara FBX Binary  \0\x1A".b

  module_function

  def text(elements, version: 7400)
    digits = version.digits.reverse
    "; FBX #{digits[0]}.#{digits[1]}.#{digits[2]} project file\n#{elements.map { |element| lines(element, 0) }.join}"
  end

  def lines(element, depth)
    name, values, children = element
    indent = "\t" * depth
    arrays, plain = (values || []).partition { |value| value.is_a?(Array) }
    list = plain.map { |value| text_value(value) } + arrays.map { |array| "*#{array.size}" }
    line = "#{indent}#{name}: #{list.join(",")}"
    inner = (children || []).map { |child| lines(child, depth + 1) }.join
    inner += arrays.map { |array| "#{indent}\ta: #{array.join(",")}\n" }.join
    return "#{line}\n" if inner.empty? && children.nil?

    "#{line} {\n#{inner}#{indent}}\n"
  end

  def text_value(value)
    case value
    when String then "\"#{value.gsub('"', "&quot;")}\""
    when true, false then value ? "T" : "F"
    else value.to_s
    end
  end

  # deflate: true packs arrays. Strings of the form "Class::name" become "name\0\1Class".
  def binary(elements, version: 7400, big_endian: false, deflate: false)
    Binary.new(version, big_endian, deflate).file(elements)
  end

  class Binary
    def initialize(version, big_endian, deflate)
      @wide = version >= 7500
      @version = version
      @big = big_endian
      @deflate = deflate
    end

    def file(elements)
      bytes = MAGIC + [@big ? 1 : 0].pack("C") + word(@version)
      elements.each { |element| bytes << record(element, bytes.bytesize) }
      bytes << ("\0" * head_size)
    end

    private

    def head_size = @wide ? 25 : 13
    def word(value) = [value].pack(@big ? "L>" : "L<")
    def long(value) = [value].pack(@big ? "q>" : "q<")
    def field(value) = @wide ? long(value) : word(value)

    def record(element, position)
      name, values, children = element
      packed = (values || []).map { |value| packed(value) }
      body = packed.join
      start = position + head_size + name.bytesize + body.bytesize
      inner = "".b
      (children || []).each { |child| inner << record(child, start + inner.bytesize) }
      inner << ("\0" * head_size) if children
      field(start + inner.bytesize) + field(packed.size) + field(body.bytesize) + [name.bytesize].pack("C") + name.b +
        body + inner
    end

    def packed(value)
      case value
      when true, false then "C#{value ? "\1" : "\0"}".b
      when Integer then value.abs < 2**31 ? "I".b + word(value & 0xFFFFFFFF) : "L".b + long(value)
      when Float then "D".b + [value].pack(@big ? "G" : "E")
      when Array then packed_array(value)
      else
        text = value.sub(/\A([A-Za-z]+)::(.*)\z/m, "\\2\0\1\\1").b
        "S".b + word(text.bytesize) + text
      end
    end

    def packed_array(numbers)
      real = numbers.any?(Float)
      raw = numbers.pack(real ? (@big ? "G*" : "E*") : (@big ? "l>*" : "l<*"))
      bytes = @deflate ? Zlib::Deflate.deflate(raw) : raw
      (real ? "d" : "i").b + word(numbers.size) + word(@deflate ? 1 : 0) + word(bytes.bytesize) + bytes
    end
  end
end
