# frozen_string_literal: true

require 'fileutils'
require 'tmpdir'
require 'zu/mirel/captured_scene'
require 'zu/mirel/engine'
require 'zu/mirel/errors'
require 'zu/mirel/fbx_loading'
require 'zu/mirel/no_faces_error'
require 'zu/mirel/ply_header'
require 'zu/mirel/preview'
require 'zu/mirel/scene_callbacks'
require 'zu/mirel/scene_export'
require 'zu/mirel/scene_frame'
require 'zu/mirel/scene_reader'
require 'zu/mirel/settings'

module Zu
  module Mirel
    # One model on its way from a file, or from polygon meshes, to fewer faces and back to a file.
    #
    # The native half adds the methods that do the work (import_obj, init_simplify, go_to_faces, count_faces, ...);
    # this class holds the settings, receives the scene and wraps the common road in #import, #reduce and #save.
    # The native half has one state per process, so only one Importer may have a model at a time: making another one
    # load takes the model of the first away.
    class Importer
      # What Engine::LadderEnd counts, by name.
      RULES = { tolerance: 'tolerance', locked_boundary: 'locked boundary', foldover: 'fold-over',
                topology: 'topology' }.freeze
      private_constant :RULES

      include Settings
      include SceneCallbacks
      include SceneFrame
      include SceneExport
      include FbxLoading
      include Preview

      # @return [String, nil] the file that was imported
      attr_reader :path
      # @return [Integer] faces as imported, polygons cut into triangles
      attr_reader :faces_before
      # @return [Integer, nil] points of the file, as far as known
      attr_reader :points_before
      # @return [Integer, nil] faces that were left when the hierarchy was ready: duplicates and slivers are gone
      attr_reader :total_original_faces
      # @return [Integer, nil] peak memory of the process that read another format, in bytes
      attr_reader :reader_bytes

      # @param settings [Hash] settings to change, by name: Importer.new(maintain_uvs: false)
      def initialize(**settings)
        reset_settings
        settings.each { |name, value| public_send(:"#{name}=", value) }
        @triangles = []
        @lines = []
        @mesh_points = []
        @source_has_normals = true
        @faces_before = 0
        reset_scene('')
      end

      # Finds out, before any work, what would keep a file from being read.
      # @param path [String]
      # @raise [ImportError]
      def self.check_readable(path)
        stat = File.stat(path)
        reason = if stat.directory? then 'it is a directory'
                 elsif !stat.file? then 'it is not a regular file'
                 elsif !stat.readable? then 'permission denied'
                 elsif stat.zero? then 'it is empty'
                 end
        raise ImportError, "#{path}: #{reason}" if reason
      rescue SystemCallError => e
        raise ImportError, "#{path}: #{Errors.reason(e)}"
      end

      # Loads a file in place of what was there: OBJ, PLY and FBX by the native importers, anything else through polygon
      # meshes.
      # @param path [String, Pathname]
      # @param faces_required [Boolean] whether an FBX scene without faces is refused
      # @return [self]
      # @raise [ImportError, NoFacesError] with one line that names the file and the reason
      def import(path, faces_required: true)
        # A name is bytes; tagged so, it can stand in a message beside any text.
        path = File.path(path).dup.force_encoding(Encoding::UTF_8)
        begin_load(path, File.basename(path, '.*'))
        self.class.check_readable(path)
        case File.extname(path).downcase(:ascii)
        when '.obj' then import_with_obj_loader(path)
        when '.ply' then import_with_ply_loader(path)
        when '.fbx' then import_with_fbx_importer(path)
        else capture_file(path)
        end
        finish_load(faces_required: faces_required || !fbx_facts)
      rescue ImportError => e
        close
        raise e.class, e.message.start_with?(path, path.scrub) ? e.message : "#{path}: #{e.message}"
      end

      # Captures polygon meshes in place of what was there.
      # @param meshes [Hash{Material, Object => Array<Geom::PolygonMesh>}] of triangles, by material
      # @param name [String]
      # @return [self]
      # @raise [NoFacesError] where there is no triangle
      def capture(meshes, name: 'Mesh')
        begin_load(nil, name)
        capture_meshes(meshes)
        finish_load
      end

      # Builds the hierarchy and moves to the wanted number of faces.
      # @param faces [Integer, nil] no more faces than this; nil takes the coarsest mesh that the tolerance allows
      # @param ratio [Numeric, nil] instead of faces: a share of the imported faces, above 0 and up to 1
      # @param tolerance [Numeric, nil] model units; nil leaves the setting as it is
      # @return [Integer] the number of faces reached, which is more than asked for where the hierarchy ends earlier
      # @raise [Error] where there is no model, no usable face, or not enough memory
      def reduce(faces: nil, ratio: nil, tolerance: nil)
        raise ArgumentError, 'give faces or ratio, not both' if faces && ratio
        raise ArgumentError, "not a number of faces: #{faces.inspect}" unless faces.nil? || face_count?(faces)

        self.error_tolerance = tolerance if tolerance
        faces ||= faces_at(ratio) if ratio
        build_hierarchy
        faces ? go_to_faces(faces) : make_lowest_resolution
        count_faces
      end

      # @param ratio [Numeric] a share of the imported faces, above 0 and up to 1
      # @return [Integer] the most faces that are no more than it; 0 where it is less than one face
      def faces_at(ratio)
        raise ArgumentError, "a ratio is above 0 and up to 1, not #{ratio}" unless ratio.positive? && ratio <= 1

        (faces_before * ratio).floor
      end

      # Prepares the meshes and builds the hierarchy with the present settings. The mesh is then at the step that the
      # setting face_limit asks for: step 0, the whole mesh, by default.
      # @return [self]
      # @raise [Error] where there is no model, no usable face, or not enough memory
      def build_hierarchy
        raise Error, 'nothing has been imported' unless loaded?
        raise Error, "#{title}: not enough memory to build the simplification hierarchy" unless init_simplify

        refuse_unusable if total_original_faces.zero?
        self
      end

      # Tells at once, without a build, whether there is anything to reduce.
      # @return [self]
      # @raise [NoFacesError]
      def check_usable
        counts = definitions.map { |definition| Engine.usable_face_count(definition.balancer_mesh_index) }
        refuse_unusable if counts.all? { |count| count&.zero? }
        self
      end

      # Why the mesh has no fewer faces: nil where the hierarchy goes on.
      # @return [String, nil]
      def why_stopped
        return unless get_current_step == get_hierachy_steps

        rules = Engine.ladder_end
        return 'no further edge can be collapsed' unless rules

        reasons = { 'the tolerance' => rules.tolerance, 'locked boundaries' => rules.locked_boundary,
                    'faces that would fold over' => rules.foldover, 'the topology of the surface' => rules.topology }
        reasons = reasons.reject { |_, count| count.zero? }.map { |reason, count| "#{reason} (#{count} edges)" }
        reasons.empty? ? 'no edge is left to collapse' : "the edges left are held by #{reasons.join(', ')}"
      end

      # The rule that holds most of the edges at the coarsest step.
      # @return ['tolerance', 'locked boundary', 'fold-over', 'topology', nil] nil where the hierarchy goes on, where no
      #   edge is left, and where it is not known
      def rule_that_stopped
        return unless get_current_step == get_hierachy_steps

        counts = Engine.ladder_end.to_h
        rule, count = counts.max_by { |_, edges| edges }
        RULES.fetch(rule) if count&.positive?
      end

      # How far the meshes at the current step may be from the imported ones, in either direction.
      # @param measure [Boolean] find it out where it is not known, which may take longer than the hierarchy did
      # @return [Float, nil] in the units of the meshes; nil where it is not known
      def deviation_bound(measure: true)
        return if deviation_unknowable?

        step = get_current_step
        measure ? Engine.deviation_bound(step) : Engine.known_deviation_bound(step)
      end

      # @return [Boolean] whether a mesh has vanished from a scene that puts meshes at places of their own: the meshes
      #   alone do not tell how far it is from the others
      def deviation_unknowable?
        vanished = definitions.any? { |definition| Engine.vertex_count(definition.balancer_mesh_index)&.zero? }
        vanished && placements.any? { |_, place| place != IDENTITY }
      end

      # Writes the scene as it is now, in the format of the file's extension: see SceneOutput.formats. A file that exists
      # is replaced only by a complete one.
      # @param path [String]
      # @return [self]
      # @raise [ExportError] with one line that names the file and the reason
      def save(path)
        SceneOutput.write(self, path)
        self
      end

      # Writes the mesh alone, without materials, as it is now. A file that exists is replaced only by a complete one.
      # @param path [String]
      # @return [self]
      # @raise [ExportError] with one line that names the file and the reason
      def save_obj(path)
        ObjOutput.new(self).write(path)
        self
      end

      # @return [Geom::BoundingBox, nil] of all meshes where the scene puts them, at the current step; nil where it is
      #   not known
      def bounds
        boxes = placements.map { |definition, place| placed_bounds(definition.balancer_mesh_index, place) }
        return if boxes.any?(&:nil?)

        boxes.reject(&:empty?).each_with_object(Geom::BoundingBox.new) { |box, all| all.add(box) }
      end

      # @return [Integer, nil] vertices of all meshes at the current step, each mesh once; nil where it is not known
      def count_vertices
        counts = definitions.map { |definition| Engine.vertex_count(definition.balancer_mesh_index) }
        counts.sum unless counts.any?(&:nil?)
      end

      # @return [Boolean] whether a model is there
      def loaded?
        @mesh_depot_in_memory ? true : false
      end

      # Frees the model. The importer can load another.
      def close
        return unless loaded?

        hide
        clear_balancer
        @mesh_depot_in_memory = false
        remove_textures
      end

      def inspect
        "#<#{self.class} #{path || 'without a file'}, #{definitions.size} meshes>"
      end

      # @!group Called by CapturedScene

      # @param meshes [Hash{Material, Object => Array<Geom::PolygonMesh>}]
      # @return [Integer] the number of the mesh in the native half
      def capture_shape(meshes)
        @source_has_normals ||= meshes.each_value.any? { |list| list.any?(&:normals_given?) }
        get_balancer_mesh(meshes)
      end

      # @return [String] a folder that goes with the model
      def texture_folder
        @texture_folder ||= Dir.mktmpdir('mirel-textures-').tap { |folder| at_exit { FileUtils.rm_rf(folder) } }
      end

      # @!endgroup

      # Whether the model brought normals that say more than its faces do.
      def source_has_normals?
        @source_has_normals
      end

      private

      def remove_textures
        FileUtils.rm_rf(@texture_folder) if @texture_folder
        @texture_folder = nil
      end

      def refuse_unusable
        close
        raise NoFacesError, "#{title}: it has no faces with three different corners and finite coordinates"
      end

      def title
        path || root.name
      end

      def begin_load(path, name)
        close
        @path = path
        @importing_external_file = !path.nil?
        @source_has_normals = true
        reset_frame
        @faces_before = 0
        @points_before = nil
        @total_original_faces = nil
        @reader_bytes = nil
        reset_scene(name)
        StatusProgressBar.instance.reset
      end

      def finish_load(faces_required: true)
        @faces_before = count_faces
        if @faces_before.zero? && faces_required
          close
          raise NoFacesError, "#{title}: it has no faces"
        end
        @points_before ||= count_vertices
        self
      end

      def import_with_obj_loader(path)
        return if import_obj(path)

        reason = Engine.load_error || 'it is not an OBJ file that can be read'
        raise ImportError, reason
      end

      # The native importer takes the common layout only; the general reader takes the rest.
      def import_with_ply_loader(path)
        header = PlyHeader.read(path)
        raise NoFacesError, 'it has no faces (a point cloud)' if header.faces.zero?
        return if native_ply?(path)

        StatusProgressBar.instance.reset
        reset_scene(File.basename(path, '.*'))
        clear_balancer
        header.check_body(path)
        capture_file(path, header)
      end

      def native_ply?(path)
        import_ply(path)
      rescue NoFacesError
        false
      end

      def capture_file(path, ply_header = nil)
        StatusProgressBar.instance.update_message('Reading File...')
        scene = SceneReader.read(path)
        ply_header&.check(scene)
        @points_before = scene.source_points
        @reader_bytes = scene.reader_bytes
        raise NoFacesError, 'it has no faces' if scene.shapes.empty?

        StatusProgressBar.instance.update_message('Mireling Model...')
        begin_capture
        self.meters_per_unit = scene.meters_per_unit
        self.up_axis = scene.z_up ? :z : :y
        @root = CapturedScene.new(scene, self, File.dirname(path)).build(@scene_name)
        # A normal per facet is all that STL can say.
        @source_has_normals = false if File.extname(path).casecmp?('.stl')
      end

      def capture_meshes(meshes)
        begin_capture
        index = capture_shape(meshes)
        used = meshes.keys.map { |key| key.is_a?(Material) ? key : new_material(key.to_s, nil, nil) }
        materials.concat(used - materials)
        add_instance(get_mesh_name(nil, 0), IDENTITY, index, used, root)
      end

      def begin_capture
        raise Error, 'the mesh library does not start' unless init_mesh_depot

        @source_has_normals = false
      end

      def placed_bounds(mesh, place)
        return Engine.placed_bounds(mesh, place) unless place == IDENTITY

        respond_to?(:get_mesh_bounds) ? get_mesh_bounds(mesh) : Engine.bounds(mesh)
      end
    end
  end
end

require 'zu/mirel/scene_output'
