# frozen_string_literal: true

require 'fiddle'
require 'zu/mirel/native'

module Zu
  module Mirel
    # What the library that writes models tells beyond the host's C API. Another library may stand in its place, or
    # none at all; then no format can be written.
    module ModelLibrary
      class << self
        # @return [Array<String>] extensions, with the dot
        def extensions
          @extensions ||= text('mirel_model_formats').split.map { |extension| ".#{extension}" }.freeze
        end

        # Tells what the models saved from now on mean.
        # @param name [String] of the outermost node
        # @param meters_per_unit [Float]
        # @param y_up [Boolean] whether y points up in them, or else z
        # @param normals [Boolean] whether files get corner normals
        # @param folder [String] where the files are going to be in the end
        def describe_scene(name:, meters_per_unit:, y_up:, normals:, folder:)
          set_scene(name.delete("\0"), meters_per_unit, y_up ? 1 : 0, normals ? 1 : 0, folder)
        end

        # Back to what the host's models mean.
        def forget_scene
          set_scene(nil, 0.0, 0, 1, nil)
        end

        # @return [String, nil] why the last file was not written, or what had to be left out of it
        def message
          message = text('mirel_model_message')
          message unless message.empty?
        end

        private

        def set_scene(*values)
          types = [Fiddle::TYPE_VOIDP, Fiddle::TYPE_DOUBLE, Fiddle::TYPE_INT, Fiddle::TYPE_INT, Fiddle::TYPE_VOIDP]
          function('mirel_model_set_scene', types, Fiddle::TYPE_VOID).call(*values)
        end

        def text(name)
          return '' unless library

          function(name, [], Fiddle::TYPE_VOIDP).call.to_s.force_encoding(Encoding::UTF_8).scrub
        end

        def function(name, types, result)
          @functions ||= {}
          @functions[name] ||= Fiddle::Function.new(library[name], types, result)
        end

        def library
          @library ||= Native.open('libsketchup')
        end
      end
    end
  end
end
