# frozen_string_literal: true

require 'json'
require 'open3'

# Finds how few faces a simplifier needs for a distance.
class FewestFaces
  PROGRAMS = { 'meshoptimizer' => 'peer_meshoptimizer', 'CGAL Garland-Heckbert' => 'peer_cgal_garland_heckbert',
               'CGAL Lindstrom-Turk' => 'peer_cgal_lindstrom_turk', 'OpenMesh quadric' => 'peer_openmesh' }.freeze
  # The largest meshes that a simplifier is run on: bisection takes a dozen runs for each tolerance.
  LIMITS = { 'CGAL Garland-Heckbert' => 1_000_000, 'CGAL Lindstrom-Turk' => 30_000,
             'OpenMesh quadric' => 30_000 }.freeze
  # The bisection ends when the face count is known to within so much.
  CLOSE = 1.01
  # A run that takes longer counts as a failure.
  LIMIT_SECONDS = 120
  # Relative error of the distances of our results, and of the others'.
  CLOSELY = 1e-4
  ROUGHLY = 0.01

  # @return [Hash] by model, simplifier and face count asked for: faces and distances reached
  attr_reader :distances

  # @param known [Hash] distances of earlier runs
  def initialize(programs, folder, known)
    @programs = programs
    @folder = folder
    @distances = known
  end

  # @return [Hash] what our build within a tolerance (a share of the diagonal, 0 for none) comes to
  def build(input, tolerance, seconds)
    output = File.join(@folder, 'tolerance.result')
    report = json_of('tolerance_build', input, tolerance, output, seconds)
    report.merge(tolerance.zero? ? {} : distance(input, output, CLOSELY).except('faces'))
  end

  # @return [Integer, nil] the fewest faces whose distance is no larger than that of our row; nil where the simplifier
  #   does not get there, or is not run
  def faces(peer, model, input, row)
    total = row['input_faces']
    return if total > LIMITS.fetch(peer, Float::INFINITY)

    seen = (@distances[model] ||= {})[peer] ||= {}
    limit = row['upper']
    within = ->(count) { (seen[count.to_s] ||= reach(peer, input, count)).then { |got| got['upper'] && got['upper'] <= limit && got['faces'] } }
    search(row['faces'], total, within)
  end

  private

  # Brackets from our count on, then halves on the scale of ratios.
  def search(start, total, within)
    start = [start, 4].max
    if (best = within.call(start))
      low, best = shrink(start, best, within)
    else
      low = start
      until best
        return if low >= total

        start = low
        high = [(low * 1.5).ceil, total].min
        (best = within.call(high)) || (low = high)
      end
    end
    high = [best, start].max
    narrow(low, high, best, within)
  end

  def shrink(start, best, within)
    low = start
    loop do
      low = (low / 1.5).floor
      return [low, best] if low < 4

      found = within.call(low)
      return [low, best] unless found

      best = found
    end
  end

  def narrow(low, high, best, within)
    high = [high, best].min
    while high > (low * CLOSE).ceil
      middle = Math.sqrt([low, 1].max * high).round.clamp(low + 1, high - 1)
      if (found = within.call(middle))
        best = [best, found].min
        high = middle
      else
        low = middle
      end
    end
    best
  end

  def reach(peer, input, count)
    output = File.join(@folder, 'tolerance.peer')
    json_of(PROGRAMS.fetch(peer), input, count, output)
    distance(input, output, ROUGHLY)
  rescue RuntimeError => e
    warn "#{peer}, #{File.basename(input)}, #{count} faces: #{e.message}"
    { 'failed' => e.message }
  end

  def distance(input, output, accuracy)
    json_of('tolerance_distance', input, output, accuracy)
  ensure
    File.delete(output) if File.exist?(output)
  end

  # The last line of JSON that a program prints.
  def json_of(program, *words)
    command = ['timeout', '--signal=KILL', LIMIT_SECONDS.to_s, File.join(@programs, program), *words.map(&:to_s)]
    output, errors, status = Open3.capture3(*command)
    line = output.lines.reverse.find { |text| text.start_with?('{') }
    return JSON.parse(line) if status.success? && line

    raise errors.lines.last&.strip || "did not end within #{LIMIT_SECONDS} s"
  end
end
