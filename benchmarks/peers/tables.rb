# frozen_string_literal: true

# Results as Markdown: every run, and the summary over models.
module Tables
  OURS = 'Mirel'
  # By how much more faces than asked for a result may have and still count as having reached its target.
  REACHED = 1.02
  # Below these, of the diagonal or in degrees, a figure is rounding, and its ratio to another one says nothing.
  LEAST = { 'rms' => 1e-7, 'max' => 1e-6, 'normal_degrees' => 0.05 }.freeze
  TITLES = { 'rms' => 'RMS', 'max' => 'maximum', 'normal_degrees' => 'normals' }.freeze

  module_function

  def runs(rows)
    lines = ['| model | faces | target | simplifier | faces reached | ms | M faces/s | peak MB | RMS % | maximum % | ' \
             'normals ° | new non-manifold edges |', '|---|--:|--:|---|--:|--:|--:|--:|--:|--:|--:|--:|']
    lines + rows.map { |row| "| #{run(row).join(' | ')} |" }
  end

  def run(row)
    start = [row['model'], grouped(row['input_faces']), grouped(row['target_faces']), row['peer']]
    return [*start, row['failed'], *([''] * 7)] if row['failed']

    times = row['busy'] ? %w[– –] : [format('%.1f', row['ms']), format('%.2f', row['million_faces_per_second'])]
    [*start, grouped(row['faces']), *times, (row['peak_bytes'] / 1e6).round, format('%.3g', 100 * row['rms']),
     format('%.3g', 100 * row['max']), format('%.3g', row['normal_degrees']), row['new_non_manifold_edges']]
  end

  # Errors as geometric means of the ratio to the least error that any of the other simplifiers has on the same model
  # at the same target; speed as geometric mean.
  def summary(rows, speeds: true)
    shares = rows.map { |row| row['share'] }.uniq.sort.reverse
    lines = ["| simplifier | #{"M faces/s at #{percents(shares)} | " if speeds}RMS | maximum | normals | " \
             'new non-manifold edges in |', "|---|#{'---|' if speeds}---|---|---|---|"]
    rows.map { |row| row['peer'] }.uniq.each do |peer|
      cells = LEAST.keys.map { |metric| ratios(rows, peer, shares, metric) }
      cells.unshift(mean_speeds(rows, peer, shares)) if speeds
      own = rows.select { |row| row['peer'] == peer && !row['failed'] }
      bad = own.count { |row| row['new_non_manifold_edges'].positive? }
      lines << "| #{[peer, *cells, "#{bad} of #{own.size}"].join(' | ')} |"
    end
    lines
  end

  # One figure of every run, a column for each simplifier; the least of a row in bold. `factor` 100 gives percent.
  def figures(rows, metric, factor)
    peers = rows.map { |row| row['peer'] }.uniq
    lines = ["| mesh | faces | #{peers.join(' | ')} |", "|---|--:|#{'--:|' * peers.size}"]
    lines + rows.group_by { |row| row.values_at('model', 'target_faces') }.map do |(model, target), group|
      least = group.select { |row| reached?(row) }.map { |row| row[metric] }.min
      cells = peers.map { |peer| figure(group.find { |row| row['peer'] == peer }, metric, factor, least) }
      "| #{[model, grouped(target), *cells].join(' | ')} |"
    end
  end

  def figure(row, metric, factor, least)
    return '–' if row.nil? || row['failed']

    text = format('%.3g', factor * row[metric])
    return "#{text} at #{grouped(row['faces'])}" unless reached?(row)

    row[metric] <= least ? "**#{text}**" : text
  end

  def percents(shares) = shares.map { |share| "#{format('%g', 100 * share)} %" }.join(' / ')

  def mean_speeds(rows, peer, shares)
    by_share(shares) do |share|
      geometric_mean(rows.select { |row| row['peer'] == peer && row['share'] == share }
                         .reject { |row| row['failed'] || row['busy'] }.map { |row| row['million_faces_per_second'] })
    end
  end

  def ratios(rows, peer, shares, metric)
    by_share(shares) do |share|
      geometric_mean(rows.select { |row| row['peer'] == peer && row['share'] == share }
                         .map { |row| ratio(rows, row, metric) }.compact)
    end
  end

  # What the stages of the engine take, over all meshes: filling and reading back are copying.
  def stages(rows)
    ours = rows.select { |row| row['stages_ms'] && !row['busy'] }
    return [] if ours.empty?

    ladder = geometric_mean(ours.map { |row| row['input_faces'] / row['stages_ms']['ladder'] / 1000 })
    shares = %w[fill prepare move].map do |stage|
      share = geometric_mean(ours.map { |row| row['stages_ms'][stage] / row['stages_ms']['ladder'] })
      format('%<stage>s %<share>.0f %%', stage: stage, share: 100 * share)
    end
    [format('%<name>s, first runs: the ladder alone %<speed>.2f M faces/s; beside it %<shares>s of its time',
            name: OURS, speed: ladder, shares: shares.join(', '))]
  end

  def by_share(shares)
    shares.map { |share| yield(share)&.then { |value| format('%.2f', value) } || '–' }.join(' / ')
  end

  # Where our result is behind: rows of model, target, metric, ratio, and who is best.
  def losses(rows, limits = { 'rms' => 1.01, 'max' => 1.1, 'normal_degrees' => 1.01 })
    ours = rows.select { |row| row['peer'] == OURS }
    limits.flat_map do |metric, limit|
      ours.filter_map do |row|
        value = ratio(rows, row, metric)
        next unless value && value > limit

        { 'model' => row['model'], 'share' => row['share'], 'metric' => metric, 'ratio' => value,
          'best' => best(rows, row, metric)['peer'] }
      end
    end
  end

  # @return [Float, nil] the figure over the best of the others; nil where one of them is missing or rounding
  def ratio(rows, row, metric)
    other = best(rows, row, metric)
    return if other.nil? || !reached?(row)
    return if [row, other].all? { |each| each[metric] < LEAST[metric] }

    [row[metric], LEAST[metric]].max / [other[metric], LEAST[metric]].max
  end

  # The best of the other simplifiers; for a peer, ours does not count.
  def best(rows, row, metric)
    rows.select { |each| each['model'] == row['model'] && each['share'] == row['share'] && each['peer'] != OURS }
        .select { |each| reached?(each) }.min_by { |each| each[metric] }
  end

  # A coarser mesh than asked for has reached the target too; it is not to be favoured for that.
  def reached?(row)
    !row['failed'] && row['faces'] <= (row['target_faces'] * REACHED) + 2
  end

  def geometric_mean(values)
    values = values.select(&:positive?)
    Math.exp(values.sum { |value| Math.log(value) } / values.size) unless values.empty?
  end

  def grouped(number) = number.to_s.gsub(/(\d)(?=(\d{3})+\z)/, '\1,')
end
