# frozen_string_literal: true

# Reads results of peers.rb and prints, as Markdown, geometric means, each run, and where the engine is behind:
#
#   ruby benchmarks/peers/summary.rb RESULTS.json [--figures] [--runs]
#
# --figures adds a table for each figure of error, --runs one of all runs.

require 'json'

$LOAD_PATH.unshift(__dir__)
require 'tables'

file = ARGV.find { |word| !word.start_with?('--') }
abort 'usage: ruby benchmarks/peers/summary.rb RESULTS.json [--figures] [--runs]' unless file
rows = JSON.parse(File.read(file))['rows']
large, others = rows.partition { |row| row['input_faces'] > 1_000_000 }
heading = "#{others.map { |row| row['model'] }.uniq.size} meshes of up to a million faces:"
{ heading => others, 'Larger ones:' => large }.reject { |_, part| part.empty? }.each do |title, part|
  puts title, '', Tables.summary(part), '', Tables.stages(part), ''
end
puts 'Behind the best of the others (RMS and normals by more than 1 %, maximum by more than 10 %):', ''
puts '| mesh | target | figure | ratio | best |', '|---|--:|---|--:|---|'
Tables.losses(rows).sort_by { |loss| -loss['ratio'] }.each do |loss|
  puts "| #{loss['model']} | #{format('%g', 100 * loss['share'])} % | #{Tables::TITLES[loss['metric']]} | " \
       "#{format('%.3f', loss['ratio'])} | #{loss['best']} |"
end
if ARGV.include?('--figures')
  { 'rms' => ['RMS, % of the diagonal', 100], 'max' => ['Maximum, % of the diagonal', 100],
    'normal_degrees' => ['Normals, degrees', 1] }.each do |metric, (title, factor)|
    puts '', "#{title}:", '', Tables.figures(rows, metric, factor)
  end
end
puts '', Tables.runs(rows) if ARGV.include?('--runs')
