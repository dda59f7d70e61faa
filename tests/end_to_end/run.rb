# frozen_string_literal: true

# Runs the program as a user does, on real and on broken files:
#
#   ruby tests/end_to_end/run.rb BUILD_DIR [NAME...] [-- OPTIONS]     NAME: help, reduction, … (all without)
#
# OPTIONS are minitest's. Models come from examples/, from Debian's assimp-testmodels and from MIREL_SHARED (default: the
# folder `shared` beside the checkout). What is not there is skipped.

require "minitest"

root = File.expand_path("../..", __dir__)
ENV["MIREL_BUILD"] = File.expand_path(ARGV.shift || File.join(root, "build"))
ENV["MIREL_SHARED"] ||= File.expand_path("../shared", root)
names = ARGV.take_while { |argument| argument != "--" }
options = ARGV.drop(names.size + 1)
ARGV.clear

$LOAD_PATH.unshift(File.join(__dir__, "support"))
names = ["*"] if names.empty?
files = names.flat_map { |name| Dir[File.join(__dir__, "#{name}_test.rb")] }.sort
abort "run.rb: no such test file: #{names.join(', ')}" if files.empty?

files.each { |file| require file }
exit Minitest.run(options)
