# frozen_string_literal: true

module Zu
  module Mirel
    # What a reduction keeps and what it may change. The native half asks for each setting when it needs it.
    #
    # | setting                    | default | range and unit                                               |
    # |----------------------------|---------|--------------------------------------------------------------|
    # | maintain_uvs               | true    | true or false                                                |
    # | maintain_normals           | :auto   | true, false, or :auto: where the file has normals of its own |
    # | join_vertices_threshold    | 0.0     | 0 or more, model units; 0 joins exact duplicates             |
    # | join_normals_threshold     | 5.0     | 0 to 180, degrees                                            |
    # | join_uvs_threshold         | 0.0001  | 0 or more, UV units (1 is the texture's whole width)         |
    # | lock_surface_boundaries    | false   | true or false                                                |
    # | prevent_xy_foldovers       | false   | true or false                                                |
    # | prevent_uv_foldovers       | false   | true or false                                                |
    # | error_tolerance            | nil     | above 0, model units; nil for none                           |
    # | face_limit                 | 0       | 0 to 4294967295; 0 for none                                  |
    # | soften_edges               | false   | true or false: in model files, edges by smooth_angle         |
    # | smooth_angle               | 30.0    | 0 to 180, degrees between two faces that look round          |
    # | materials_both_sides       | :auto   | true, false, or :auto: unless the file shows fronts only     |
    # | write_textures             | true    | true or false                                                |
    module Settings
      LARGEST_FACE_LIMIT = 0xffffffff

      attr_reader :maintain_uvs, :maintain_normals, :join_vertices_threshold, :join_normals_threshold,
                  :join_uvs_threshold, :lock_surface_boundaries, :prevent_xy_foldovers, :prevent_uv_foldovers,
                  :error_tolerance, :face_limit, :soften_edges, :materials_both_sides, :write_textures

      # Puts every setting back to its default.
      def reset_settings
        @maintain_uvs = true
        @maintain_normals = :auto
        @join_vertices_threshold = 0.0
        @join_normals_threshold = 5.0
        @join_uvs_threshold = 0.0001
        @lock_surface_boundaries = false
        @prevent_xy_foldovers = false
        @prevent_uv_foldovers = false
        @error_tolerance = nil
        @face_limit = 0
        @soften_edges = false
        @smooth_angle = 30.0
        @materials_both_sides = :auto
        @write_textures = true
      end

      # @!group Flags

      %i[maintain_uvs lock_surface_boundaries prevent_xy_foldovers prevent_uv_foldovers soften_edges
         write_textures].each do |name|
        define_method(:"#{name}=") { |value| instance_variable_set(:"@#{name}", value ? true : false) }
        define_method(:"#{name}?") { instance_variable_get(:"@#{name}") }
      end

      # @param value [Boolean, :auto]
      def maintain_normals=(value)
        @maintain_normals = value == :auto ? :auto : !!value
      end

      # @return [Boolean]
      def maintain_normals?
        @maintain_normals == :auto ? source_has_normals? : @maintain_normals
      end

      # @param value [Boolean, :auto]
      def materials_both_sides=(value)
        @materials_both_sides = value == :auto ? :auto : !!value
      end

      # @return [Boolean]
      def use_tolerance?
        !@error_tolerance.nil?
      end

      # @!endgroup

      # @param value [Numeric] model units
      # @raise [ArgumentError] outside the range
      def join_vertices_threshold=(value)
        @join_vertices_threshold = number_within(value, 0..Float::MAX, 'join_vertices_threshold')
      end

      # @param value [Numeric] degrees
      # @raise [ArgumentError] outside the range
      def join_normals_threshold=(value)
        @join_normals_threshold = number_within(value, 0..180, 'join_normals_threshold')
      end

      # @param value [Numeric] UV units
      # @raise [ArgumentError] outside the range
      def join_uvs_threshold=(value)
        @join_uvs_threshold = number_within(value, 0..Float::MAX, 'join_uvs_threshold')
      end

      # Up to this angle between two faces their edge is softened.
      # @param radians [Boolean] or else degrees
      # @return [Float]
      def smooth_angle(radians = false)
        radians ? @smooth_angle * Math::PI / 180 : @smooth_angle
      end

      # @param value [Numeric] degrees
      # @raise [ArgumentError] outside the range
      def smooth_angle=(value)
        @smooth_angle = number_within(value, 0..180, 'smooth_angle')
      end

      # @param value [Numeric, nil] model units
      # @raise [ArgumentError] outside the range
      def error_tolerance=(value)
        value &&= number_within(value, 0..Float::MAX, 'error_tolerance')
        if value && single_up_to(value).zero?
          raise ArgumentError, "error_tolerance must be above 0 in single precision, not #{value}"
        end

        @error_tolerance = value
      end

      # The tolerance in the units of the meshes in the native half, which are the model's. The native half takes it in
      # single precision, and rounding up would allow more than what was asked for.
      # @return [Float]
      def get_scaled_error_tolerance
        single_up_to(@error_tolerance || 0.0)
      end

      # @param value [Integer]
      # @raise [ArgumentError] outside the range
      def face_limit=(value)
        unless face_count?(value)
          raise ArgumentError, "face_limit must be an Integer from 0 to #{LARGEST_FACE_LIMIT}, not #{value.inspect}"
        end

        @face_limit = value
      end

      private

      def face_count?(value)
        value.is_a?(Integer) && (0..LARGEST_FACE_LIMIT).cover?(value)
      end

      # @param value [Float] from 0
      # @return [Float] the largest finite number of single precision that is not above
      def single_up_to(value)
        number = [value].pack('e').unpack1('e')
        return number unless number > value || number.infinite?

        [[number].pack('e').unpack1('V') - 1].pack('V').unpack1('e')
      end

      def number_within(value, range, name)
        number = Float(value)
        return number if range.cover?(number)

        raise ArgumentError, "#{name} must be from #{range.begin} to #{range.end}, not #{value}"
      rescue TypeError
        raise ArgumentError, "#{name} must be a number, not #{value.inspect}"
      end
    end
  end
end
