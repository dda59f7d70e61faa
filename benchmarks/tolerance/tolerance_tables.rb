# frozen_string_literal: true

require 'json'

# Results of tolerance.rb as JSON and as Markdown.
module ToleranceTables
  module_function

  # A line for each row: small to keep, and readable as a difference.
  def json(report)
    head = JSON.pretty_generate(report.except('rows', 'distances')).delete_suffix("\n}")
    rows = report['rows'].map { |row| "    #{row.to_json}" }
    distances = report['distances'].flat_map do |model, peers|
      ["    #{model.to_json}: {\n#{peers.map { |peer, seen| "      #{peer.to_json}: #{seen.to_json}" }.join(",\n")}\n    }"]
    end
    "#{head},\n  \"rows\": [\n#{rows.join(",\n")}\n  ],\n  \"distances\": {\n#{distances.join(",\n")}\n  }\n}\n"
  end

  def table(rows)
    ['| mesh | faces | tolerance % | faces left | distance / tolerance | bound / tolerance | s | factor | fewest of the ' \
     'others | ratio |', '|---|--:|--:|--:|--:|--:|--:|--:|---|--:|', *rows.map { |each| "| #{row(each).join(' | ')} |" }]
  end

  def row(row)
    share = row['percent'] / 100
    name, fewest = row['peers'].min_by(&:last)
    [row['model'], row['input_faces'], format('%g', row['percent']), row['faces'], format('%.3f', row['upper'] / share),
     format('%.3f', row['bound'] / row['tolerance']), format('%.2f', row['seconds']), format('%.1f', row['factor']),
     name ? "#{fewest} (#{name})" : '–', name ? format('%.2f', ratio(row)) : '–']
  end

  # @return [Float, nil] our faces over the fewest of the others
  def ratio(row)
    fewest = row['peers'].values.min
    row['faces'] / fewest.to_f if fewest
  end

  def means(rows)
    lines = ['| tolerance % | meshes | factor | faces to the fewest of the others | above 1.2 |', '|--:|--:|--:|--:|--:|']
    groups = rows.group_by { |row| row['percent'] }.sort.map { |percent, group| [format('%g', percent), group] }
    [*groups, ['all', rows]].each do |title, group|
      ratios = group.filter_map { |row| ratio(row) }
      lines << "| #{title} | #{group.size} | #{mean(group.map { |row| row['factor'] }, 1)} | #{mean(ratios, 2)} | " \
               "#{ratios.count { |value| value > 1.2 }} |"
    end
    lines
  end

  def mean(values, digits)
    return '–' if values.empty?

    format("%.#{digits}f", Math.exp(values.sum { |value| Math.log(value) } / values.size))
  end
end
