# frozen_string_literal: true

require 'host_test'
$LOAD_PATH.unshift(File.expand_path('../../benchmarks/peers', __dir__))
require 'document'

# How results of the benchmark beside other simplifiers become ratios and means.
class PeerTablesTest < HostTest
  def row(peer, rms, model: 'ball', share: 0.1, faces: 100, **more)
    { 'model' => model, 'peer' => peer, 'share' => share, 'input_faces' => 1000, 'target_faces' => 100,
      'faces' => faces, 'rms' => rms, 'max' => 4 * rms, 'normal_degrees' => 5.0, 'ms' => 2.0, 'peak_bytes' => 3e6,
      'million_faces_per_second' => 0.5, 'new_non_manifold_edges' => 0 }.merge(more.transform_keys(&:to_s))
  end

  def test_a_ratio_is_to_the_best_of_the_others
    rows = [row('Mirel', 0.003), row('one', 0.002), row('two', 0.004)]
    assert_in_delta 1.5, Tables.ratio(rows, rows[0], 'rms')
    assert_in_delta 1.0, Tables.ratio(rows, rows[1], 'rms')
    assert_in_delta 2.0, Tables.ratio(rows, rows[2], 'rms')
  end

  def test_other_targets_other_models_failures_and_early_ends_do_not_count
    rows = [row('Mirel', 0.003), row('one', 0.002), row('two', 0.001, faces: 105), row('three', 0.001, share: 0.5),
            row('four', 0.001, model: 'box'), { 'model' => 'ball', 'peer' => 'five', 'share' => 0.1, 'failed' => 'no' }]
    assert_in_delta 1.5, Tables.ratio(rows, rows[0], 'rms')
    assert_nil Tables.ratio(rows, rows[2], 'rms')
    assert_nil Tables.ratio(rows, rows[5], 'rms')
  end

  def test_figures_that_are_rounding_have_no_ratio
    rows = [row('Mirel', 2e-8), row('one', 1e-9)]
    assert_nil Tables.ratio(rows, rows[0], 'rms')
    # One of them is more than rounding: the other counts as the least figure.
    assert_in_delta 3, Tables.ratio([row('Mirel', 3e-7), row('one', 1e-9)], row('Mirel', 3e-7), 'rms')
  end

  def test_losses
    rows = [row('Mirel', 0.0022), row('one', 0.002), row('Mirel', 0.002, model: 'box'), row('one', 0.002, model: 'box')]
    losses = Tables.losses(rows)
    assert_equal([['ball', 'rms', 'one']], losses.map { |loss| loss.values_at('model', 'metric', 'best') })
    assert_in_delta 1.1, losses[0]['ratio']
  end

  def test_times_of_a_busy_machine_are_not_told
    rows = [row('Mirel', 0.004), row('one', 0.002, busy: true)]
    assert_includes Tables.summary(rows), '| one | – | 1.00 | 1.00 | 1.00 | 0 of 1 |'
    assert_includes Tables.runs(rows).last, '| one | 100 | – | – | 3 | 0.2 |'
  end

  def test_stages
    assert_empty Tables.stages([row('one', 0.1)])
    rows = [row('Mirel', 0.1, stages_ms: { 'fill' => 1.0, 'prepare' => 2.0, 'ladder' => 10.0, 'move' => 0.5 })]
    assert_equal ['Mirel, first runs: the ladder alone 0.10 M faces/s; beside it fill 10 %, prepare 20 %, move 5 % ' \
                  'of its time'], Tables.stages(rows)
  end

  def test_figures_side_by_side
    rows = [row('Mirel', 0.004), row('one', 0.002), row('two', 0.001, faces: 200)]
    assert_equal ['| mesh | faces | Mirel | one | two |', '|---|--:|--:|--:|--:|',
                  '| ball | 100 | 0.4 | **0.2** | 0.1 at 200 |'], Tables.figures(rows, 'rms', 100)
  end

  def test_summary_and_runs
    rows = [row('Mirel', 0.004), row('one', 0.002), row('Mirel', 0.001, model: 'box'), row('one', 0.002, model: 'box'),
            { 'model' => 'box', 'peer' => 'two', 'share' => 0.1, 'input_faces' => 1000, 'target_faces' => 100,
              'failed' => 'crashed' }]
    summary = Tables.summary(rows)
    assert_includes summary, '| Mirel | 0.50 | 1.00 | 1.00 | 1.00 | 0 of 2 |'
    assert_includes summary, '| two | – | – | – | – | 0 of 0 |'
    assert_includes Tables.runs(rows)[2], '| ball | 1,000 | 100 | Mirel | 100 | 2.0 | 0.50 | 3 | 0.4 | 1.6 | 5 | 0 |'
    assert_includes Tables.runs(rows).last, 'crashed'
    assert_equal [12], Tables.runs(rows).map { |line| line.count('|') - 1 }.uniq
  end

  def report(load)
    { 'machine' => { 'processor' => 'a processor', 'processors' => 2, 'memory_bytes' => 8e9, 'system' => 'Linux',
                     'compiler' => 'c++', 'flags' => '-O3', 'commit' => 'abc' },
      'load_before' => load, 'load_after' => load, 'absent' => ['two'],
      'rows' => [row('Mirel', 0.0022, version: '1'), row('one', 0.002, version: '2')] }
  end

  def test_the_document_tells_times_of_a_quiet_machine_only
    quiet = Document.new(report('0.2')).summary.join("\n")
    busy = Document.new(report('6.9')).summary.join("\n")
    assert_includes quiet, '| Mirel | 0.50 | 1.10 | 1.10 | 1.00 | 0 of 1 |'
    assert_includes busy, '| Mirel | 1.10 | 1.10 | 1.00 | 0 of 1 |'
    assert_includes busy, 'the machine was busy'
    [quiet, busy].each do |text|
      assert_includes text, '| ball | 10 % | RMS | 1.100 | one |'
      assert_includes text, "- Mirel 1, one 2\n- two: not installed"
      assert_includes text, "1 mesh of up to a million faces:\n"
      assert_includes text, '- Mirel: 3000'
    end
  end

  def test_the_document_takes_its_place_in_a_text
    document = Document.new(report('0.2'))
    text = "above\n#{Document::BEGIN_MARK}what was there\n#{Document::END_MARK}below\n"
    once = document.updated(text)
    assert_equal once, document.updated(once)
    assert_match(/\Aabove\n.*a processor.*below\n\z/m, once)
    refute_includes once, 'what was there'
    assert_raises(ArgumentError) { document.updated('nothing') }
  end
end
