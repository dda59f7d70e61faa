# frozen_string_literal: true

require 'fiddle'
require 'zu/mirel/native'

module Zu
  module Mirel
    # What this project's own FBX library tells of the file that it read last, beyond its contract with the extension.
    # Another library may stand in its place, so the answer may be nil.
    module FbxLibrary
      # version           as 7400
      # ascii             whether the file is text
      # creator           the library or tool that wrote it, "" where it does not say
      # application       the application that it was written from, "" where it does not say
      # axes              where right, up and front are, as "+X"
      # unit_centimeters  the length of a unit
      Facts = Struct.new(:version, :ascii, :creator, :application, :axes, :unit_centimeters, keyword_init: true)

      AXES = %w[X Y Z].freeze
      private_constant :AXES

      class << self
        # @return [Facts, nil]
        def facts
          version = call('version', Fiddle::TYPE_INT)
          return if version.nil? || version.zero?

          axes = %i[right up front].each_with_index.to_h { |name, which| [name, axis(which)] }
          Facts.new(version: version, ascii: call('is_ascii', Fiddle::TYPE_INT) == 1, axes: axes,
                    creator: text('creator'), application: text('application'),
                    unit_centimeters: call('unit', Fiddle::TYPE_DOUBLE))
        rescue Fiddle::DLError
          nil
        end

        # @return [Integer] how many meshes of the file were not imported for want of memory; 0 where that is not known
        def shapes_left_out
          call('shapes_left_out', Fiddle::TYPE_INT) || 0
        rescue Fiddle::DLError
          0
        end

        # Writes the pictures that the file has inside into a folder.
        # @return [Integer, nil] how many there were; nil where that is not known
        def extract_media(path, folder)
          library = Native.loaded('libfbxsdk')
          return unless library

          types = [Fiddle::TYPE_VOIDP, Fiddle::TYPE_VOIDP]
          count = Fiddle::Function.new(library['mirel_fbx_extract_media'], types, Fiddle::TYPE_INT).call(path, folder)
          count unless count.negative?
        rescue Fiddle::DLError
          nil
        end

        private

        def text(name)
          call(name, Fiddle::TYPE_VOIDP).to_s.force_encoding(Encoding::UTF_8).scrub
        end

        def axis(which)
          number = call('axis', Fiddle::TYPE_INT, which)
          "#{number.negative? ? '-' : '+'}#{AXES.fetch(number.abs - 1, '?')}"
        end

        def call(name, result, *arguments)
          library = Native.loaded('libfbxsdk')
          return unless library

          types = [Fiddle::TYPE_INT] * arguments.size
          Fiddle::Function.new(library["mirel_fbx_#{name}"], types, result).call(*arguments)
        end
      end
    end
  end
end
