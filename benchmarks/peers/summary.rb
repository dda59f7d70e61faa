# frozen_string_literal: true

# Reads results of peers.rb and prints, as Markdown, geometric means, where the engine is behind, and memory:
#
#   ruby benchmarks/peers/summary.rb RESULTS.json [--figures] [--runs] [--update]
#
# --figures adds a table for each figure of error, --runs one of all runs. --update prints nothing, but puts the summary
# into docs/benchmarks.md, the figures into docs/peer-figures.md and the results beside this script. Times are left out
# where the machine was busy when they were taken.

require 'fileutils'
require 'json'

$LOAD_PATH.unshift(__dir__)
require 'document'

HEAD = <<~TEXT
  # Error figures beside other simplifiers

  Every run of [benchmarks.md](benchmarks.md#beside-other-simplifiers). The least of a row is bold; where a simplifier
  ended early, the faces that it reached are told and it does not compete. Made by `benchmarks/peers/summary.rb`.

TEXT

file = ARGV.find { |word| !word.start_with?('--') }
abort 'usage: ruby benchmarks/peers/summary.rb RESULTS.json [--figures] [--runs] [--update]' unless file
document = Document.new(JSON.parse(File.read(file)))
if ARGV.include?('--update')
  docs = File.expand_path('../../docs', __dir__)
  text = File.join(docs, 'benchmarks.md')
  File.write(text, document.updated(File.read(text)))
  File.write(File.join(docs, 'peer-figures.md'), "#{HEAD}#{document.figures.join("\n").strip}\n")
  kept = File.join(__dir__, 'results.json')
  FileUtils.cp(file, kept) unless File.identical?(file, kept)
else
  puts document.summary
  puts '', document.figures if ARGV.include?('--figures')
  puts '', document.runs if ARGV.include?('--runs')
end
