# frozen_string_literal: true

# Results of pictures.rb as the tables of docs/benchmarks.md.
class PictureTable
  BEGIN_MARK = "<!-- made by benchmarks/pictures/pictures.rb: begin -->\n"
  END_MARK = "<!-- pictures end -->\n"
  # A result with more faces than asked for by this factor does not compete.
  REACHED = 1.01

  # @param rows [Array<Hash>] one for each simplifier, model and share
  def initialize(rows)
    @rows = rows
    @names = rows.map { |row| row['simplifier'] }.uniq
  end

  # @return [Array<String>]
  def lines
    versions = @rows.map { |row| row.values_at('simplifier', 'version').join(' ') }.uniq
    ["#{versions.join(', ')}. Each cell: mean absolute difference (0 to 255, less is closer) / SSIM (1 is alike); the " \
     'best of a row is bold. Where a simplifier ended early, the faces that it reached are told and it does not compete.',
     '', "| model | faces | to | #{@names.join(' | ')} |", "|---|--:|--:|#{'---|' * @names.size}", *groups]
  end

  # Puts the table between its marks in a text.
  def updated(text)
    head, rest = text.split(BEGIN_MARK, 2)
    _, tail = rest&.split(END_MARK, 2)
    raise ArgumentError, 'the marks of the table are not there' unless tail

    "#{head}#{BEGIN_MARK}\n#{lines.join("\n")}\n\n#{END_MARK}#{tail}"
  end

  private

  def groups
    @rows.group_by { |row| row.values_at('model', 'share') }.map do |(model, share), rows|
      fair = rows.select { |row| reached?(row) }
      least = fair.map { |row| row['difference'].round(2) }.min
      most = fair.map { |row| row['similarity'].round(4) }.max
      cells = @names.map { |name| cell(rows.find { |row| row['simplifier'] == name }, least, most) }
      "| #{model} | #{grouped(rows.first['input_faces'])} | #{format('%g', 100 * share)} % | #{cells.join(' | ')} |"
    end
  end

  def cell(row, least, most)
    return '–' unless row

    difference = bold(format('%.2f', row['difference']), reached?(row) && row['difference'].round(2) <= least)
    similarity = bold(format('%.4f', row['similarity']), reached?(row) && row['similarity'].round(4) >= most)
    "#{difference} / #{similarity}#{" (#{grouped(row['faces'])} faces)" unless reached?(row)}"
  end

  def bold(text, best) = best ? "**#{text}**" : text

  def reached?(row) = row['faces'] <= (row['target_faces'] * REACHED) + 2

  def grouped(number) = number.to_s.gsub(/(\d)(?=(\d{3})+\z)/, '\1,')
end
