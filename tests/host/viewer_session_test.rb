# frozen_string_literal: true

require 'viewer_test'

# What a page gets: frames that are what was drawn, and moves along the hierarchy.
class ViewerSessionTest < ViewerTest
  def test_the_first_frame_is_what_was_drawn
    start
    head, body = parse_frame(get('frame').body)
    assert_equal 288, head['faces']
    assert_equal [{ 'role' => 'faces', 'primitive' => 4, 'color' => [255, 255, 255, 255], 'count' => 864, 'offset' => 0 }],
                 head['batches'].reject { |batch| batch['role'] == 'bounds' }
    drawn = @importer.triangles.flatten(1).flatten.pack('e*').unpack('e*')
    assert_equal drawn, floats(body, 0, 864 * 3)
    assert_equal [[864]], head['meshes'].map { |mesh| mesh['corners'] }
    assert_nil head['meshes'][0]['uvs']
  end

  def test_edges_and_marks_go_along_where_they_are_asked_for
    start
    head, body = parse_frame(get('frame?edges=1&marks=1').body)
    edges = head['batches'].find { |batch| batch['role'] == 'edges' }
    assert_equal [1, 288 * 6, [0, 0, 0, 255]], edges.values_at('primitive', 'count', 'color')
    assert_equal @importer.lines.flatten.pack('e*').unpack('e*'), floats(body, edges['offset'], 288 * 18)
    kinds = body[head['meshes'][0]['marks'], 864].bytes
    assert_equal 48, kinds.count { |kind| kind & 1 != 0 }
  end

  def test_uvs_and_normals_are_those_of_the_drawn_corners
    start(textured)
    head, body = parse_frame(get('frame').body)
    faces = head['batches'].select { |batch| batch['role'] == 'faces' }
    assert_equal [[255, 0, 0, 255], [0, 0, 255, 127]], faces.map { |batch| batch['color'] }
    positions = faces.flat_map { |batch| floats(body, batch['offset'], batch['count'] * 3) }.each_slice(3).to_a
    mesh = head['meshes'][0]
    assert_equal [3, 3], mesh['corners']
    uvs = floats(body, mesh['uvs'], 12).each_slice(2).to_a
    # The file gives each corner its x and y as UV.
    assert_equal positions.map { |x, y, _| [x, y] }, uvs
    assert_equal [[0.0, 0.0, 1.0]] * 6, floats(body, mesh['normals'], 18).each_slice(3).to_a
    assert_equal [0, 1], mesh['materials']
  end

  def test_textures_are_served_by_number
    start(textured)
    assert_equal ['image/png', nil], JSON.parse(get('state').body)['materials'].map { |material| material['texture'] }
    assert_equal ['image/png', 'PNG'], get('texture/0').then { |r| [r['content-type'], r.body] }
    assert_status 404, get('texture/1')
    assert_status 404, get('texture/2')
  end

  def test_moves_are_the_native_ones
    start
    steps = @importer.get_hierachy_steps
    [[{ to: 'faces', value: 100 }, ->(head) { assert_operator head['faces'], :<=, 100 }],
     [{ to: 'lowest' }, ->(head) { assert_equal steps, head['step'] }],
     [{ to: 'finer', value: 2 }, ->(head) { assert_equal steps - 2, head['step'] }],
     [{ to: 'coarser', value: 1 }, ->(head) { assert_equal steps - 1, head['step'] }],
     [{ to: 'coarser' }, ->(head) { assert_equal steps, head['step'] }],
     [{ to: 'highest' }, ->(head) { assert_equal [0, 288], head.values_at('step', 'faces') }],
     [{ to: 'coarser' }, ->(head) { assert_equal((steps * 0.08).round, head['step']) }],
     [{ to: 'step', value: 7 }, ->(head) { assert_equal 7, head['step'] }],
     [{ to: 'step', value: 0xffffffff }, ->(head) { assert_equal steps, head['step'] }]].each do |message, check|
      answer = post('move', message)
      assert_status 200, answer, message.inspect
      head, body = parse_frame(answer.body)
      check.call(head)
      assert_equal @importer.triangles.flatten.pack('e*').bytesize, head['faces'] * 36
      assert_equal @importer.triangles.flatten.pack('e*'), body[head['batches'][0]['offset'], head['faces'] * 36]
    end
    assert_equal @importer.why_stopped, parse_frame(get('frame').body)[0]['stopped']
    refute_nil @importer.why_stopped
  end

  def test_a_slide_draws_points_and_the_faces_follow
    start
    number = parse_frame(get('frame').body)[0]['number']
    head, body = parse_frame(post('move', { to: 'faces', value: 60, live: true }).body)
    assert head['points_only']
    points = head['batches'].find { |batch| batch['role'] == 'points' }
    assert_equal [0, [0, 0, 0, 255]], points.values_at('primitive', 'color')
    assert_equal points['count'] * 3, floats(body, points['offset'], points['count'] * 3).size
    assert_equal number + 1, head['number']
    deadline = Process.clock_gettime(Process::CLOCK_MONOTONIC) + 20
    head = parse_frame(get('frame').body)[0] while head['points_only'] && Process.clock_gettime(Process::CLOCK_MONOTONIC) < deadline
    refute head['points_only']
    assert_equal number + 2, head['number']
    assert_operator head['faces'], :<=, 60
  end

  def test_events_tell_of_frames
    start
    TCPSocket.open('127.0.0.1', @address.port) do |socket|
      socket.write("GET #{@address.path}events HTTP/1.1\r\nHost: 127.0.0.1:#{@address.port}\r\n\r\n")
      received = +''
      received << socket.readpartial(4096) until received.include?(': here')
      assert_match(/content-type: text\/event-stream/i, received)
      post('move', { to: 'lowest' })
      received << socket.readpartial(4096) until received.include?("event: frame\n") && received.include?('"number":2')
      assert_includes received, 'data: {"number":2,"points_only":false}'
    end
  end

  def test_events_tell_of_another_hierarchy
    start
    TCPSocket.open('127.0.0.1', @address.port) do |socket|
      socket.write("GET #{@address.path}events HTTP/1.1\r\nHost: 127.0.0.1:#{@address.port}\r\n\r\n")
      received = +''
      received << socket.readpartial(4096) until received.include?(': here')
      answer = JSON.parse(post('rebuild', { maintain_normals: false }).body)
      received << socket.readpartial(4096) until received[/event: rebuilt\ndata: .*\n/]
      assert_includes received, %(event: rebuilt\ndata: {"loads":#{answer['loads']}})
    end
  end

  def test_the_original_is_drawn_aside
    start
    post('move', { to: 'faces', value: 50 })
    before, drawn = parse_frame(get('frame').body)
    head, body = parse_frame(get('original').body)
    assert_equal [288, 0], head.values_at('faces', 'step')
    assert_equal 864 * 12, body[head['batches'][0]['offset'], 864 * 12].bytesize
    after, drawn_again = parse_frame(get('frame').body)
    assert_equal before.values_at('step', 'faces', 'batches'), after.values_at('step', 'faces', 'batches')
    assert_equal drawn, drawn_again
    assert_operator after['faces'], :<=, 50
  end

  def test_a_mesh_that_is_placed_twice_has_its_attributes_once
    start(textured)
    twice = @importer.instances.first.definition
    @host.call do
      @importer.root.entities << Zu::Mirel::Instance.new('again', twice, Geom::Transformation.translation([5, 0, 0]))
    end
    head, body = parse_frame(post('move', { to: 'highest' }).body)
    first, second = head['meshes']
    assert_equal first.values_at('uvs', 'normals', 'corners'), second.values_at('uvs', 'normals', 'corners')
    assert_equal [5.0, 0.0, 0.0], second['transformation'][12, 3]
    faces = head['batches'].select { |batch| batch['role'] == 'faces' }
    assert_equal 4, faces.size
    shift = floats(body, faces[2]['offset'], 9).zip(floats(body, faces[0]['offset'], 9)).map { |a, b| a - b }
    assert_equal [5.0, 0.0, 0.0] * 3, shift
    answer, = parse_frame(get('distances').body)
    assert_equal 4, answer['faces']
  end

  def test_an_empty_face_set_has_no_batch_and_shifts_nothing
    # A set that goes as the mesh gets coarser, before one that stays.
    lines = terrain(8).lines
    points, faces = lines.partition { |line| line.start_with?('v') }
    file = write('two.obj', (points + ["usemtl small\n", faces[0], "usemtl large\n"] + faces[1..]).join)
    start(file)
    head, = parse_frame(post('move', { to: 'lowest' }).body)
    drawn = head['batches'].select { |batch| batch['role'] == 'faces' }.map { |batch| batch['count'] }
    corners = head['meshes'][0]['corners']
    assert_equal 2, corners.size
    assert_includes corners, 0, 'the model was to lose a set'
    assert_equal corners.reject(&:zero?), drawn
  end

  def test_distances_are_those_of_the_vertices_from_the_original
    start
    head, body = parse_frame(get('distances').body)
    assert_equal [169, 288], head.values_at('vertices', 'faces')
    assert_equal [0.0], floats(body, head['distances'], 169).uniq
    drawn, = parse_frame(post('move', { to: 'faces', value: 40 }).body)
    head, body = parse_frame(get('distances').body)
    assert_equal [drawn['vertices'], drawn['faces']], head.values_at('vertices', 'faces')
    distances = floats(body, head['distances'], head['vertices'])
    assert_operator distances.max, :>, 0.0
    assert_operator distances.max, :<, 3.0
    corners = body[head['corners'], head['faces'] * 12].unpack('L<*')
    positions = Zu::Mirel::Engine.positions(0).unpack('e*').each_slice(3).to_a
    # In the order in which the corners were drawn.
    assert_equal @importer.triangles.flatten(1).map { |corner| corner.pack('e3').unpack('e3') }, corners.map { |v| positions[v] }
    assert_equal drawn['step'], @importer.get_current_step
  end

  def test_a_rebuild_changes_the_settings_and_keeps_the_count
    start
    post('move', { to: 'faces', value: 60 })
    state = JSON.parse(get('state').body)
    assert_equal({ 'maintain_uvs' => true, 'maintain_normals' => 'auto', 'lock_surface_boundaries' => false,
                   'prevent_xy_foldovers' => false, 'prevent_uv_foldovers' => false, 'join_vertices_threshold' => 0.0,
                   'join_normals_threshold' => 5.0, 'join_uvs_threshold' => 0.0001, 'error_tolerance' => nil },
                 state['settings'])
    answer = post('rebuild', { lock_surface_boundaries: true, error_tolerance: 0.5, maintain_normals: false })
    assert_status 200, answer
    state = JSON.parse(answer.body)
    assert_equal [true, 0.5, false, 5.0], state['settings'].values_at('lock_surface_boundaries', 'error_tolerance',
                                                                      'maintain_normals', 'join_normals_threshold')
    assert_equal 2, state['loads']
    assert_operator state['build_seconds'], :>, 0
    head, = parse_frame(get('frame').body)
    assert_operator head['deviation'], :<=, 0.5
    assert_operator head['faces'], :>=, 60, 'the locked boundary alone needs more'
    assert_operator parse_frame(get('frame?marks=1').body)[0]['faces'], :<, 288
  end

  def test_the_deviation_is_measured_when_asked_and_kept
    start
    assert_equal({ 'step' => 0, 'loads' => 1, 'deviation' => 0.0 }, JSON.parse(get('deviation').body))
    post('move', { to: 'faces', value: 60 })
    head, = parse_frame(get('frame').body)
    assert_nil head['deviation']
    measured = JSON.parse(get('deviation').body)
    assert_equal head['step'], measured['step']
    assert_operator measured['deviation'], :>, 0
    head, = parse_frame(get('frame').body)
    assert_equal measured['deviation'], head['deviation']
    post('rebuild', { lock_surface_boundaries: true })
    post('move', { to: 'step', value: head['step'] })
    head, = parse_frame(get('frame').body)
    assert_nil head['deviation'], 'another hierarchy'
  end

  def test_moves_go_on_while_the_deviation_is_measured
    start
    post('move', { to: 'faces', value: 100 })
    step = parse_frame(get('frame').body)[0]['step']
    measurement = @session.deviation_measurement
    post('move', { to: 'faces', value: 60 })
    measured = Thread.new { measurement.call }.value
    assert_equal step, measured[:step]
    @session.deviation_measured(measured)
    post('move', { to: 'step', value: step })
    assert_equal measured[:deviation], parse_frame(get('frame').body)[0]['deviation']
  end

  def test_joining_less_than_before_brings_back_what_was_joined
    start
    post('rebuild', { join_vertices_threshold: 3 })
    assert_operator JSON.parse(get('state').body)['faces_prepared'], :<, 288
    post('rebuild', { join_vertices_threshold: 0 })
    assert_equal 288, JSON.parse(get('state').body)['faces_prepared']
  end

  def test_settings_out_of_range_change_nothing
    start
    before = get('state').body
    { { join_normals_threshold: 181 } => 409, { error_tolerance: 0 } => 409, { error_tolerance: -1 } => 409,
      { maintain_uvs: false, join_uvs_threshold: -1 } => 409, { error_tolerance: '1' } => 400, { maintain_uvs: nil } => 400,
      { face_limit: 5 } => 400, { maintain_normals: 'some' } => 400 }.each do |settings, status|
      answer = post('rebuild', settings)
      assert_status status, answer, settings.inspect
      refute_empty JSON.parse(answer.body)['error']
      assert_equal before, get('state').body
    end
    assert_status 400, post('rebuild', '{"error_tolerance":1e999}')
  end

  def test_a_model_that_has_gone_is_told_and_can_come_back
    start(file = write('waves.obj', terrain(12)))
    File.rename(file, path('away.obj'))
    assert_status 409, (answer = post('rebuild', {}))
    assert_match(/waves\.obj: no such file/, JSON.parse(answer.body)['error'])
    %w[frame original distances download/obj].each { |below| assert_status 409, get(below), below }
    assert_status 409, post('move', { to: 'lowest' })
    refute JSON.parse(get('state').body)['loaded']
    File.rename(path('away.obj'), file)
    assert_status 200, post('rebuild', {})
    assert_equal 288, parse_frame(get('frame').body)[0]['faces']
  end

  def test_events_tell_of_a_builds_phases
    start
    received = Thread::Queue.new
    out = Object.new.tap { |stream| stream.define_singleton_method(:write) { |text| received << text } }
    reader = Thread.new { @events.stream_to(out) }
    received.pop # the stream is open
    Zu::Mirel::StatusProgressBar.instance.display = Viewer::BuildNews.new(@events)
    post('rebuild', {})
    @events.close
    reader.join
    told = Array.new(received.size) { received.pop }.grep(/event: build/).join
    assert_includes told, '"text":"Building Simplification Hierarchy..."'
  ensure
    Zu::Mirel::StatusProgressBar.instance.display = nil
  end

  def test_downloads_are_what_the_program_writes
    start
    head, = parse_frame(post('move', { to: 'faces', value: 100 }).body)
    formats = JSON.parse(get('state').body)['formats'].map { |format| format['extension'] }
    assert_equal Zu::Mirel::SceneOutput.formats.keys.map { |extension| extension.delete('.') }, formats
    assert_includes formats, 'glb'
    formats.each do |extension|
      answer = get("download/#{extension}")
      assert_status 200, answer, extension
      assert_match(/\Aattachment; filename\*=UTF-8''waves-#{head['faces']}\.(#{extension}|zip)\z/, answer['content-disposition'])
      refute_empty answer.body
    end
    assert_equal head['faces'], get('download/obj').body.scan(/^f /).size
    %w[download/exe download/ download/../obj download/obj/x].each { |below| assert_status 404, get(below), below }
  end

  def test_several_files_come_as_an_archive
    start(textured(real_png))
    answer = get('download/obj')
    assert_status 200, answer
    assert_match(/square-2\.zip\z/, answer['content-disposition'])
    names = []
    Zip::InputStream.open(StringIO.new(answer.body)) do |zip|
      while (entry = zip.get_next_entry)
        names << entry.name
      end
    end
    assert_includes names, 'square-2.obj'
    assert_operator names.size, :>, 1
  end

  def test_names_that_are_no_file_names_are_sent_as_they_are
    start(write("ü \"1\".obj", terrain(4)))
    assert_equal "attachment; filename*=UTF-8''#{ERB::Util.url_encode('ü "1"-32.obj')}", get('download/obj')['content-disposition']
  end

  private

  # 1 x 1, grey.
  def real_png
    chunk = ->(kind, data) { [data.bytesize].pack('N') + kind + data + [Zlib.crc32(kind + data)].pack('N') }
    "\x89PNG\r\n\x1a\n".b + chunk.call('IHDR', [1, 1, 8, 0, 0, 0, 0].pack('N2C5')) +
      chunk.call('IDAT', Zlib.deflate("\0\x80".b)) + chunk.call('IEND', '')
  end

  def textured(picture = 'PNG')
    write('paint.png', picture)
    write('paint.mtl', "newmtl a\nKd 1 0 0\nmap_Kd paint.png\nnewmtl b\nKd 0 0 1\nd 0.5\n")
    write('square.obj', "mtllib paint.mtl\n" + [[0, 0], [1, 0], [1, 1], [0, 1]].map { |x, y| "v #{x} #{y} 0\nvt #{x} #{y}\n" }.join +
                        "vn 0 0 1\nusemtl a\nf 1/1/1 2/2/1 3/3/1\nusemtl b\nf 1/1/1 3/3/1 4/4/1\n")
  end
end
