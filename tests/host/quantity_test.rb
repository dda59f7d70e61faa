# frozen_string_literal: true

require 'host_test'
require 'command_line/quantity'

class QuantityTest < HostTest
  Quantity = CommandLine::Quantity

  def refuse(method, *texts)
    texts.each do |text|
      error = assert_raises(OptionParser::InvalidArgument, text) { Quantity.public_send(method, text) }
      assert_includes error.message, text
    end
  end

  def test_count
    assert_equal [1, 4_294_967_295, 1000], %w[1 4294967295 1000].map { |text| Quantity.count(text) }
    refuse :count, '0', '-1', '1.5', 'x', '', '4294967296', '0x10'
  end

  def test_port
    assert_equal [1, 8080, 65_535], %w[1 8080 65535].map { |text| Quantity.port(text) }
    refuse :port, '0', '65536', '-1', 'http', '', '8e3'
  end

  def test_ratio
    assert_equal [1.0, 0.25, 0.25, 1.0, 0.005], %w[1 0.25 25% 100% 0.5%].map { |text| Quantity.ratio(text) }
    refuse :ratio, '0', '1.01', '101%', '-1', '%', 'x', 'NaN', '1e400'
  end

  def test_length_or_share
    assert_equal [0.5, nil], Quantity.length_or_share('0.5').to_a
    assert_equal [nil, 0.005], Quantity.length_or_share('0.5%').to_a
    refuse :length_or_share, '0', '0%', '-1', 'x%', '1e999'
  end

  def test_threshold
    assert_equal [0.0, 3.5], %w[0 3.5].map { |text| Quantity.threshold(text) }
    assert_equal 180.0, Quantity.threshold('180', 180)
    refuse :threshold, '-0.1', 'x', '1e999'
    assert_raises(OptionParser::InvalidArgument) { Quantity.threshold('181', 180) }
  end
end
