# frozen_string_literal: true

require 'optparse'

module CommandLine
  # Numbers on the command line, with their ranges. Each method gives the value or raises
  # OptionParser::InvalidArgument, which names the option and the text.
  module Quantity
    LARGEST_COUNT = 0xffffffff

    # A number or a percentage; `share` is then the fraction that it stands for.
    Relative = Struct.new(:value, :share)

    module_function

    # @return [Integer] from 1
    def count(text)
      number = Integer(text, 10)
      return number if (1..LARGEST_COUNT).cover?(number)

      raise OptionParser::InvalidArgument, "#{text} (a count is from 1 to #{LARGEST_COUNT})"
    rescue ArgumentError
      raise OptionParser::InvalidArgument, "#{text} (not a whole number)"
    end

    # @return [Integer] 1 to 65535
    def port(text)
      number = Integer(text, 10)
      return number if (1..65_535).cover?(number)

      raise OptionParser::InvalidArgument, "#{text} (a port is from 1 to 65535)"
    rescue ArgumentError
      raise OptionParser::InvalidArgument, "#{text} (not a whole number)"
    end

    # @return [Float] above 0 and up to 1
    def ratio(text)
      number = relative(text)
      share = number.share || number.value
      return share if share.positive? && share <= 1

      raise OptionParser::InvalidArgument, "#{text} (a ratio is above 0 and up to 1, or 100%)"
    end

    # @return [Relative] above 0: model units, or a percentage of the diagonal
    def length_or_share(text)
      number = relative(text)
      raise OptionParser::InvalidArgument, "#{text} (must be above 0)" unless (number.share || number.value).positive?

      number
    end

    # @return [Float] from 0, up to a limit
    def threshold(text, limit = Float::MAX)
      number = float(text)
      raise OptionParser::InvalidArgument, "#{text} (must be 0 or more)" if number.negative?
      raise OptionParser::InvalidArgument, "#{text} (must be #{limit} or less)" if number > limit

      number
    end

    def relative(text)
      return Relative.new(float(text), nil) unless text.end_with?('%')

      Relative.new(nil, float(text, text.delete_suffix('%')) / 100)
    end

    # @param text [String] what the user wrote, for the message
    def float(text, digits = text)
      number = Float(digits)
      raise OptionParser::InvalidArgument, "#{text} (not finite)" unless number.finite?

      number
    rescue ArgumentError
      raise OptionParser::InvalidArgument, "#{text} (not a number)"
    end
  end
end
