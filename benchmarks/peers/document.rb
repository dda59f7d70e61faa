# frozen_string_literal: true

require 'machine'
require 'tables'

# Results of peers.rb as the text of docs/: a summary for benchmarks.md, every figure for peer-figures.md.
class Document
  # Above this load average times say more about the machine than about the program.
  BUSY = 1.5
  LARGE = 1_000_000
  BEGIN_MARK = "<!-- made by benchmarks/peers/summary.rb: begin -->\n"
  END_MARK = "<!-- end -->\n"

  # Whether the times of results are worth nothing.
  def self.busy?(report) = report['load_before'].to_f > BUSY

  # @param report [Hash] the results
  def initialize(report)
    @report = report
    @rows = report['rows']
    @large, @others = @rows.partition { |row| row['input_faces'] > LARGE }
  end

  # @return [Array<String>] lines
  def summary
    [*machine, '', *part("#{meshes(@others)} of up to a million faces", @others),
     *part("#{meshes(@large)} of more", @large), *losses, '', *memory]
  end

  # @return [Array<String>] lines
  def figures
    { 'rms' => ['RMS, % of the diagonal', 100], 'max' => ['Maximum, % of the diagonal', 100],
      'normal_degrees' => ['Normals, degrees', 1] }
      .flat_map { |metric, (title, factor)| ["#{title}:", '', *Tables.figures(@rows, metric, factor), ''] }
  end

  # @return [Array<String>] lines
  def runs = Tables.runs(@rows)

  # Puts the summary between its marks in a text.
  def updated(text)
    head, rest = text.split(BEGIN_MARK, 2)
    _, tail = rest&.split(END_MARK, 2)
    raise ArgumentError, 'the marks of the summary are not there' unless tail

    "#{head}#{BEGIN_MARK}\n#{summary.join("\n")}\n\n#{END_MARK}#{tail}"
  end

  private

  def busy? = self.class.busy?(@report)

  def meshes(rows)
    count = rows.map { |row| row['model'] }.uniq.size
    "#{count} mesh#{'es' unless count == 1}"
  end

  def machine
    versions = @rows.select { |row| row['version'] }.map { |row| row.values_at('peer', 'version').join(' ') }.uniq
    absent = @report['absent'].map { |name| "- #{name}: not installed" }
    [*Machine.lines(@report['machine'], @report['load_before'], @report['load_after']), "- #{versions.join(', ')}",
     *absent, *("- the machine was busy, so times are not told" if busy?)]
  end

  def part(title, rows)
    return [] if rows.empty?

    ["#{title}:", '', *Tables.summary(rows, speeds: !busy?), '', *(Tables.stages(rows) + [''] unless busy?)]
  end

  def losses
    found = Tables.losses(@rows).sort_by { |loss| -loss['ratio'] }
    ['Where the engine is behind the best of the others, by more than 1 % (RMS, normals) or 10 % (maximum):', '',
     '| mesh | target | figure | ratio | best |', '|---|--:|---|--:|---|',
     *found.map { |loss| "| #{loss['model']} | #{format('%g', 100 * loss['share'])} % | " \
                         "#{Tables::TITLES[loss['metric']]} | #{format('%.3f', loss['ratio'])} | #{loss['best']} |" }]
  end

  def memory
    rows = @rows.select { |row| row['peak_bytes']&.positive? }
    return [] if rows.empty?

    largest = rows.map { |row| row['input_faces'] }.max
    each = rows.select { |row| row['input_faces'] == largest }.group_by { |row| row['peer'] }.map do |peer, own|
      "- #{peer}: #{(own.map { |row| row['peak_bytes'] }.max / largest.to_f).round}"
    end
    ["Peak memory above the input, bytes for each of #{Tables.grouped(largest)} faces:", '', *each]
  end
end
