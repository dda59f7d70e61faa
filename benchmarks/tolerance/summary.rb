# frozen_string_literal: true

# Reads results of tolerance.rb and prints, as Markdown, the machine, means and every row:
#
#   ruby benchmarks/tolerance/summary.rb RESULTS.json [MORE.json...] [--update]
#
# Rows of further files are added to those of the first. --update prints nothing, but puts the tables into
# docs/benchmarks.md and the results beside this script.

require 'json'

$LOAD_PATH.unshift(__dir__, File.expand_path('../peers', __dir__))
require 'machine'
require 'tolerance_tables'

BEGIN_MARK = "<!-- made by benchmarks/tolerance/summary.rb: begin -->\n"
END_MARK = "<!-- end of tolerances -->\n"

files = ARGV.reject { |word| word.start_with?('--') }
abort 'usage: ruby benchmarks/tolerance/summary.rb RESULTS.json [MORE.json...] [--update]' if files.empty?
report, *more = files.map { |file| JSON.parse(File.read(file)) }
more.each do |other|
  report['rows'] += other['rows']
  report['distances'].merge!(other['distances'])
end
rows = report['rows']
lines = [*Machine.lines(report['machine'], report['load_before'], report['load_after']), '',
         *ToleranceTables.means(rows), '', *ToleranceTables.table(rows)]
if ARGV.include?('--update')
  text = File.expand_path('../../docs/benchmarks.md', __dir__)
  head, rest = File.read(text).split(BEGIN_MARK, 2)
  _, tail = rest&.split(END_MARK, 2)
  abort "#{text}: the marks of the tables are not there" unless tail
  File.write(text, "#{head}#{BEGIN_MARK}\n#{lines.join("\n")}\n\n#{END_MARK}#{tail}")
  File.write(File.join(__dir__, 'results.json'), ToleranceTables.json(report))
else
  puts lines
end
