# frozen_string_literal: true

require 'host_test'

class SettingsTest < HostTest
  Importer = Zu::Mirel::Importer

  def test_defaults
    importer = Importer.new
    assert_equal [true, true, false, false, false, false],
                 [importer.maintain_uvs?, importer.maintain_normals?, importer.lock_surface_boundaries?,
                  importer.prevent_xy_foldovers?, importer.prevent_uv_foldovers?, importer.use_tolerance?]
    assert_equal [0.0, 5.0, 0.0001, 0, 0.0],
                 [importer.join_vertices_threshold, importer.join_normals_threshold, importer.join_uvs_threshold,
                  importer.face_limit, importer.get_scaled_error_tolerance]
  end

  # The native half takes nothing but true for yes.
  def test_flags_are_true_or_false
    importer = Importer.new
    %i[maintain_uvs maintain_normals lock_surface_boundaries prevent_xy_foldovers prevent_uv_foldovers].each do |name|
      importer.public_send(:"#{name}=", 1)
      assert_same true, importer.public_send(:"#{name}?"), name.to_s
      importer.public_send(:"#{name}=", nil)
      assert_same false, importer.public_send(:"#{name}?"), name.to_s
    end
  end

  def test_settings_by_name
    importer = Importer.new(maintain_uvs: false, join_vertices_threshold: 1, error_tolerance: 0.5, face_limit: 7)
    assert_equal [false, 1.0, 0.5, 7],
                 [importer.maintain_uvs?, importer.join_vertices_threshold, importer.get_scaled_error_tolerance, importer.face_limit]
    assert_same true, importer.use_tolerance?
    importer.reset_settings
    assert_same false, importer.use_tolerance?
    assert_raises(NoMethodError) { Importer.new(nonsense: 1) }
  end

  def test_ranges
    importer = Importer.new
    { join_vertices_threshold: [-1, Float::NAN, Float::INFINITY, 'x', nil], join_normals_threshold: [-0.1, 180.1],
      join_uvs_threshold: [-1], error_tolerance: [0, -1, 1e-46, 'x'], face_limit: [-1, 2**32, 1.5, nil] }.each do |name, values|
      values.each { |value| assert_raises(ArgumentError, "#{name} #{value}") { importer.public_send(:"#{name}=", value) } }
    end
    importer.face_limit = 2**32 - 1
    importer.join_normals_threshold = 180
    importer.error_tolerance = nil
  end

  # 0 would be no bound at all, and more than the tolerance is not within it.
  def test_the_tolerance_is_rounded_down_to_single_precision
    importer = Importer.new
    { 0.5 => 0.5, 0.1 => 0.09999999403953552, 0.3 => 0.30000001192092896 - (2**-25), 2**-149 => 2**-149,
      2e-45 => 2**-149, 1e39 => 3.4028234663852886e38 }.each do |value, single|
      importer.error_tolerance = value
      assert_equal single, importer.get_scaled_error_tolerance
    end
  end
end
