# frozen_string_literal: true

# Polygon reduction from Ruby, without a host.
#
# Loads the geometry library, the Ruby half of the extension (Zu::Mirel) and the native half. The native libraries
# are looked for in $MIREL_BUILD/lib, else in build/lib of this checkout.
#
# @example Reduce a file to 5,000 faces
#   require 'mirel'
#
#   importer = Zu::Mirel::Importer.new
#   importer.lock_surface_boundaries = true
#   begin
#     importer.import('bunny.obj')                     # OBJ, PLY, STL, glTF, DAE, ...
#     importer.reduce(faces: 5_000)
#     importer.save_obj('bunny-small.obj')
#     puts "#{importer.faces_before} -> #{importer.count_faces} faces"
#     warn "stopped early: #{importer.why_stopped}" if importer.count_faces > 5_000
#   rescue Zu::Mirel::Error => e                       # unreadable, no faces, no room on the disk, ...
#     abort "mirel: #{e.message}"
#   ensure
#     importer.close
#   end
$LOAD_PATH.unshift(__dir__) unless $LOAD_PATH.include?(__dir__)
require 'zu/mirel/native'

$LOAD_PATH.push(Zu::Mirel::Native.library_dir) unless $LOAD_PATH.include?(Zu::Mirel::Native.library_dir)
require 'sketchup'
require 'ui'
require 'geom'
require 'zu/mirel/version'
require 'zu/mirel/errors'
require 'zu/mirel/no_faces_error'
require 'zu/mirel/status_progress_bar'
require 'zu/mirel/importer'

Zu::Mirel::Native.load
