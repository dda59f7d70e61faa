# frozen_string_literal: true

require 'fileutils'
require 'tmpdir'
require 'zu/mirel/errors'
require 'zu/mirel/model_library'
require 'zu/mirel/obj_output'
require 'zu/mirel/scene_reader'

module Zu
  module Mirel
    # Writes an importer's scene, in the format of the file's extension, so that the output is complete or untouched.
    #
    # The native half tells of no file that was not written, so everything is written into a new folder beside the
    # target, under the names that it is going to have; it is read again and held against the scene; and only then it
    # takes its place, the main file last.
    class SceneOutput
      NAMES = { '.glb' => 'glTF 2.0, one file', '.gltf' => 'glTF 2.0 with side files', '.dae' => 'COLLADA',
                '.obj' => 'Wavefront OBJ', '.ply' => 'PLY', '.stl' => 'STL' }.freeze
      # These know no axes, and y up is the custom.
      WITHOUT_AXES = %w[.obj .ply .stl].freeze
      TEXTURED = %w[.glb .gltf .dae .obj].freeze
      # How far the bounds of the file may be from the scene's, as a share of the diagonal.
      BOUNDS_SHARE = 1e-5
      MISSING_TEXTURE = 'Failed to Create Texture from File'
      # How often the names of textures are chosen anew when somebody else takes them meanwhile.
      MOST_ATTEMPTS = 20
      # A texture's name has been taken since it was chosen.
      NameTaken = Class.new(StandardError)
      private_constant :MOST_ATTEMPTS, :NameTaken, :NAMES, :WITHOUT_AXES, :TEXTURED, :BOUNDS_SHARE, :MISSING_TEXTURE

      # What was written: counts of the whole scene (normals and uvs are nil where they were not counted), its bounds as
      # a Geom::BoundingBox, bytes of all files together, the names of the side files, what was left out, and how many
      # positions the file's digits made equal to others (nil where they were not counted).
      Result = Struct.new(:vertices, :normals, :uvs, :faces, :bytes, :bounds, :side_files, :remarks,
                          :positions_merged, keyword_init: true)

      class << self
        # @return [Hash{String => String}] what each extension that can be written stands for
        def formats
          known = ModelLibrary.extensions | ['.obj']
          NAMES.select { |extension, _| known.include?(extension) }
        end

        # Finds out, before any work, what would keep the file from being written.
        # @param path [String]
        # @return [String] the file itself, where the path is a link
        # @raise [ExportError]
        def check_target(path)
          unless formats.key?(extension(path))
            raise ExportError, "#{path}: this format cannot be written; the extensions known are " \
                               "#{formats.keys.join(', ')}"
          end
          ObjOutput.check_target(path)
        end

        # @param importer [Importer]
        # @param path [String]
        # @return [Result]
        # @raise [ExportError]
        def write(importer, path)
          new(importer).write(path)
        end

        # @return [String] in small letters, with the dot
        def extension(path)
          File.extname(path).downcase(:ascii)
        end
      end

      # @param importer [Importer] with a model
      def initialize(importer)
        @importer = importer
      end

      # Finds out, before the work is done, what keeps the scene from being written whatever the file.
      # @param path [String] the output
      # @raise [ExportError]
      def check_scene(path)
        file = missing_texture if TEXTURED.include?(self.class.extension(path))
        raise ExportError, "#{@importer.path || path}: #{texture_reason(file)}" if file
      end

      # @param path [String]
      # @return [Result]
      # @raise [ExportError]
      def write(path)
        raise ExportError, "#{path}: cannot be written: nothing has been imported" unless @importer.loaded?

        target = self.class.check_target(path)
        return write_mesh(path) if mesh_only?(path)

        check_scene(path)
        write_with_textures(path, target)
      rescue SystemCallError => e
        ObjOutput.fail_for(path, Errors.reason(e))
      ensure
        FileUtils.remove_entry(@folder, true) if @folder
      end

      private

      # One mesh that looks like nothing in particular, where it is: the native OBJ export says all there is.
      def mesh_only?(path)
        return false unless self.class.extension(path) == '.obj'

        # Corners have their UVs in the form that the preparation gives them.
        meshes = @importer.placements
        return false unless meshes.size == 1 && !turned?(path) && @importer.total_original_faces

        definition, place = meshes.first
        place == IDENTITY && definition.balancer_mesh_index.zero? &&
          definition.materials.size <= 1 && definition.materials.compact.all?(&:plain?)
      end

      def turned?(path)
        WITHOUT_AXES.include?(self.class.extension(path)) && !@importer.y_up?
      end

      def write_mesh(path)
        written = ObjOutput.new(@importer).write(path)
        Result.new(**written.to_h, side_files: [], remarks: mesh_remarks + digit_remarks(written.positions_merged))
      end

      def digit_remarks(merged)
        return [] if merged.zero?

        ["#{merged} distinct #{merged == 1 ? 'position is' : 'positions are'} equal to others in its six significant " \
         'digits; move the model nearer to the origin, or write .glb']
      end

      def write_with_textures(path, target)
        @placed = []
        attempts = 0
        begin
          write_scene(path, target)
        rescue NameTaken => e
          fail_for(path, "#{e.message}: somebody else keeps writing it") if (attempts += 1) == MOST_ATTEMPTS
          FileUtils.remove_entry(@folder, true)
          retry
        end
      end

      def write_scene(path, target)
        @folder = Dir.mktmpdir('.mirel-', File.dirname(target))
        file = File.join(@folder, File.basename(target))
        export(path, file, target)
        fail_for(path, ModelLibrary.message || 'no file was made') unless File.file?(file)
        remarks = [ModelLibrary.message].compact + mesh_remarks + texture_remarks
        survey = SceneReader.survey(file)
        compare(path, survey)
        result = result_of(file, survey, remarks)
        finish(path, file, target)
        result.side_files |= @placed
        result
      rescue ImportError => e
        fail_for(path, "what was written cannot be read again: #{e.message}")
      end

      def export(path, file, target)
        @importer.leave_out_textures = !TEXTURED.include?(self.class.extension(path))
        ModelLibrary.describe_scene(name: @importer.root.name, meters_per_unit: @importer.meters_per_unit,
                                    y_up: @importer.y_up? || turned?(path),
                                    normals: @importer.maintain_normals != false, folder: File.dirname(target))
        @importer.export_scene(file, turned?(path) ? SceneFrame::Z_UP_TO_Y_UP : IDENTITY)
      rescue RuntimeError => e
        lost = missing_texture if e.message == MISSING_TEXTURE
        fail_for(path, lost ? texture_reason(lost) : e.message)
      ensure
        ModelLibrary.forget_scene
        @importer.leave_out_textures = false
      end

      def mesh_remarks
        count = @importer.meshes_left_out
        return [] if count.zero?

        ["#{count} #{count == 1 ? 'mesh' : 'meshes'} of the file left out: far more memory than its size lets expect"]
      end

      def texture_remarks
        return [] unless @importer.textures_written?

        @importer.missing_textures.map { |name| "the texture #{name} was not found: left out" } +
          (@importer.scaled_textures - @importer.missing_textures).map do |name|
            "the texture #{name} has a scale of its own, which is not written"
          end
      end

      # @return [String, nil] the first texture in use that is not there
      def missing_texture
        return unless @importer.textures_written?

        used = @importer.definitions.flat_map(&:materials).compact.uniq
        used.filter_map(&:texture_file).find { |file| !File.file?(file) || !File.readable?(file) || File.zero?(file) }
      end

      def texture_reason(file)
        "#{MISSING_TEXTURE}: #{file}: #{file_reason(file)}"
      end

      def file_reason(file)
        File.open(file, 'rb') { |stream| stream.read(1) ? 'it is not a regular file' : 'it is empty' }
      rescue SystemCallError => e
        Errors.reason(e)
      end

      def fail_for(path, reason)
        ObjOutput.fail_for(path, reason)
      end

      # --- reading again -----------------------------------------------------------------------------------------

      def compare(path, survey)
        faces = expected_faces
        if faces && faces != survey.faces
          fail_for(path, "the file came out with #{survey.faces} faces in place of #{faces}")
        end
        box = expected_bounds(path)
        return unless box && !box.empty?

        fail_for(path, 'the file came out with other bounds') unless close?(box, survey.bounds)
      end

      def expected_faces
        counts = @importer.placements.map { |definition, _| Engine.usable_face_count(definition.balancer_mesh_index) }
        counts.sum unless counts.any?(&:nil?)
      end

      # As a reader of the file has them: glTF is in meters and y up, COLLADA says what it is in.
      def expected_bounds(path)
        to_file = file_transformation(path)
        boxes = @importer.placements.map do |definition, place|
          Engine.placed_bounds(definition.balancer_mesh_index, to_file * place)
        end
        return if boxes.any?(&:nil?)

        boxes.reject(&:empty?).each_with_object(Geom::BoundingBox.new) { |box, all| all.add(box) }
      end

      def file_transformation(path)
        return IDENTITY if self.class.extension(path) == '.dae'
        return turned?(path) ? SceneFrame::Z_UP_TO_Y_UP : IDENTITY if WITHOUT_AXES.include?(self.class.extension(path))

        scale = Geom::Transformation.scaling(@importer.meters_per_unit)
        @importer.y_up? ? scale : SceneFrame::Z_UP_TO_Y_UP * scale
      end

      def close?(box, other)
        limit = [box.diagonal * BOUNDS_SHARE, Float::MIN].max
        [box.min, box.max].zip([other.min, other.max]).all? do |a, b|
          a.to_a.zip(b.to_a).all? { |x, y| (x - y).abs <= limit + (x.abs * Float::EPSILON * (2**30)) }
        end
      end

      def result_of(file, survey, remarks)
        files = Dir.children(@folder).sort
        bytes = files.sum { |name| File.size(File.join(@folder, name)) }
        counts = { vertices: @importer.count_vertices, faces: survey.faces }
        counts = ObjOutput.counts_of(file) if self.class.extension(file) == '.obj'
        Result.new(**counts, bytes: bytes, bounds: survey.bounds, side_files: files - [File.basename(file)],
                             remarks: remarks)
      end

      # --- into place ----------------------------------------------------------------------------------------------

      # Side files first, so that the main file never names one that is not there; and textures before those that go
      # with the main file alone, since another program may have taken the name of one.
      def finish(path, file, target)
        names = Dir.children(@folder).sort - [File.basename(file)]
        places = names.to_h { |name| [name, File.join(File.dirname(target), name)] }
        in_the_way = places.values.find { |place| File.directory?(place) }
        fail_for(path, "#{in_the_way} is a directory") if in_the_way

        own, textures = names.partition { |name| File.basename(name, '.*') == File.basename(file, '.*') }
        textures.each { |name| place_texture(File.join(@folder, name), places[name]) }
        own.each { |name| ObjOutput.put_in_place(File.join(@folder, name), places[name]) }
        ObjOutput.put_in_place(file, target)
      end

      # Another run may write into the same folder: a picture that is there is never replaced.
      def place_texture(file, place)
        File.open(file, 'rb', &:fsync)
        File.link(file, place)
        @placed << File.basename(place)
      rescue Errno::EEXIST
        raise NameTaken, place unless FileUtils.identical?(file, place)
      rescue Errno::EPERM, Errno::ENOTSUP, Errno::ENOSYS, Errno::EMLINK, NotImplementedError
        File.rename(file, place) # a file system that knows no links
        @placed << File.basename(place)
      end
    end
  end
end
