# frozen_string_literal: true

# Tests of the Ruby library (standalone/host) and of the command line program's parts, in one process:
#
#   ruby tests/host/run.rb BUILD_DIR [NAME...]     NAME: geom, importer, … (all without)
#
# Models come from Debian's assimp-testmodels and from MIREL_SHARED (default: the folder `shared` beside the
# checkout). What is not there is skipped.

require 'minitest'

root = File.expand_path('../..', __dir__)
ENV['MIREL_BUILD'] = File.expand_path(ARGV.shift || File.join(root, 'build'))
ENV['MIREL_SHARED'] ||= File.expand_path('../shared', root)
names = ARGV.reject { |argument| argument.start_with?('-') }
ARGV.reject! { |argument| names.include?(argument) }

$LOAD_PATH.unshift(File.join(__dir__, 'support'), File.join(root, 'standalone/host/lib'), File.join(root, 'standalone/mirel/lib'),
                   File.join(root, 'standalone/viewer/lib'))
names = ['*'] if names.empty?
files = names.flat_map { |name| Dir[File.join(__dir__, "#{name}_test.rb")] }.sort
abort "run.rb: no such test file: #{names.join(', ')}" if files.empty?

require 'mirel'
files.each { |file| require file }
exit Minitest.run(ARGV)
