# frozen_string_literal: true

require 'digest'
require 'etc'
require 'json'
require 'open3'
require 'timeout'

# Runs the simplifiers and measures what they did.
class Drivers
  # How the simplifiers are called in tables, and their programs.
  PROGRAMS = { 'Mirel' => 'peer_mirel', 'meshoptimizer' => 'peer_meshoptimizer',
               'CGAL Lindstrom-Turk' => 'peer_cgal_lindstrom_turk',
               'CGAL Garland-Heckbert' => 'peer_cgal_garland_heckbert', 'OpenMesh quadric' => 'peer_openmesh' }.freeze
  BLENDER = 'Blender decimate'
  NAMES = [*PROGRAMS.keys, BLENDER].freeze
  # A run that takes longer is given up.
  LIMIT_SECONDS = 300

  # @param programs [String] the build's folder of programs
  # @param folder [String] where results go
  # @param seconds [Float] repeats end when a driver has worked that long
  # @param runs [Integer] the most repeats
  def initialize(programs, folder, seconds:, runs:, samples:)
    @programs = programs
    @folder = folder
    @seconds = seconds
    @runs = runs
    @samples = samples
    @measured = {}
  end

  # Error figures that need not be measured again where a driver's result is the same file.
  def reuse(rows)
    rows.each { |row| @measured[row['digest']] = row.slice(*ERRORS) if row['digest'] && row['samples'] == @samples }
  end
  ERRORS = %w[faces vertices rms mean max normal_degrees new_non_manifold_edges border_edges degenerate_faces].freeze

  # @return [Boolean]
  def installed?(name)
    command(name).then { |words| words && Open3.capture2e('which', words.first).last.success? }
  end

  # @return [Hash] one row of results
  def run(name, model, input, share)
    faces = File.binread(input, 4, 4).unpack1('L')
    target = [(faces * share).floor, 1].max
    row = { 'model' => model, 'peer' => name, 'share' => share, 'input_faces' => faces, 'target_faces' => target }
    output = File.join(@folder, "#{model}.#{name.tr(' ', '-')}.#{share}.mesh")
    row.merge(drive(name, input, target, output, faces), errors(input, output))
  rescue Timeout::Error
    row.merge('failed' => "took more than #{LIMIT_SECONDS} s")
  rescue RuntimeError => e
    row.merge('failed' => e.message)
  end

  private

  def command(name)
    return [File.join(@programs, PROGRAMS.fetch(name))] unless name == BLENDER

    ['blender', '-b', '--factory-startup', '--python', File.join(__dir__, 'drive_blender.py'), '--']
  end

  def drive(name, input, target, output, faces)
    report = json_of(*command(name), input, target, output, @seconds, @runs)
    milliseconds = median(report['processor_ms'])
    { 'version' => report['version'], 'ms' => milliseconds, 'wall_ms' => median(report['wall_ms']),
      'runs' => report['processor_ms'].size, 'all_ms' => report['processor_ms'].map { |value| value.round(3) },
      'million_faces_per_second' => faces / milliseconds / 1000, 'peak_bytes' => report['peak_bytes'] }
      .merge(report.slice('stages_ms', 'refused_faces'))
  end

  def errors(input, output)
    digest = Digest::SHA256.hexdigest(File.binread(input) + File.binread(output))[0, 16]
    @measured[digest] ||= json_of(File.join(@programs, 'peer_measure'), input, output, @samples)
    @measured[digest].merge('digest' => digest, 'samples' => @samples)
  ensure
    File.delete(output) if File.exist?(output)
  end

  # The last line of JSON that a program prints.
  def json_of(*words)
    output, errors, status = nil
    Timeout.timeout(LIMIT_SECONDS) { output, errors, status = Open3.capture3(*words.map(&:to_s)) }
    line = output.lines.reverse.find { |text| text.start_with?('{') }
    return JSON.parse(line) if status.success? && line

    raise status.signaled? ? "ended by signal #{Signal.signame(status.termsig)}" : errors.lines.last.to_s.strip
  end

  def median(values)
    sorted = values.sort
    (sorted[(sorted.size - 1) / 2] + sorted[sorted.size / 2]) / 2.0
  end
end
