# frozen_string_literal: true

require 'viewer_test'

# Who gets an answer from the viewer, and what is refused.
class ViewerServerTest < ViewerTest
  def test_it_listens_on_the_loopback_address_only
    start
    assert_match %r{\Ahttp://127\.0\.0\.1:\d+/[\w-]{32}/\z}, @server.address
    listening = File.read('/proc/net/tcp').scan(/^\s*\d+: (\h{8}):(\h{4}) \S+ 0A/)
                    .select { |_, port| port.hex == @address.port }
    assert_equal ['0100007F'], listening.map(&:first)
  end

  def test_a_port_that_is_taken_is_told
    start
    error = assert_raises(Viewer::Server::PortError) do
      Viewer::Server.new(page: nil, host: nil, session: nil, events: nil, port: @address.port)
    end
    assert_match(/port #{@address.port}: address already in use/i, error.message)
  end

  def test_the_pages_files_are_served_by_name
    start
    assert_equal ['<p>page</p>', 'text/html; charset=utf-8'], get('').then { |r| [r.body, r['content-type']] }
    assert_equal ['go()', 'text/javascript; charset=utf-8'], get('page.js').then { |r| [r.body, r['content-type']] }
    assert_match(/default-src 'none'/, get('')['content-security-policy'])
    assert_equal 'no-referrer', get('')['referrer-policy']
  end

  def test_paths_outside_the_pages_files_are_refused
    start
    ['notes.txt', '../secret.txt', '..%2fsecret.txt', '%2e%2e/secret.txt', 'x/../../secret.txt', '..\\secret.txt',
     '/etc/passwd', 'page.js/', 'page.js%00.html', './/page.js/../../secret.txt', 'index.html/../../secret.txt',
     'texture/0', 'texture/-1', 'texture/../secret.txt', 'texture/99999999', 'picture'].each do |below|
      answer = raw("GET #{below.start_with?('/') ? below : @address.path + below} HTTP/1.1\r\n" \
                   "Host: 127.0.0.1:#{@address.port}\r\nConnection: close\r\n\r\n")
      assert_match(%r{\AHTTP/1\.1 (400|404) }, answer, below)
      refute_includes answer, 'not for the page', below
      refute_includes answer, 'not a part', below
      refute_includes answer, 'root:', below
    end
  end

  def test_a_wrong_or_missing_secret_is_refused
    start
    ['/', '/state', "/#{'x' * 32}/state", "/#{'x' * 31}/state", "/#{@address.path.delete('/')[0..-2]}/state",
     @address.path.chomp('/')].each do |place|
      assert_status 404, get(place), place
    end
    assert_status 404, request(Net::HTTP::Post, "/#{'x' * 32}/move", body: '{"to":"lowest"}',
                                                                     headers: { 'origin' => origin })
    assert_equal 0, JSON.parse(get('state').body)['head']['step']
  end

  def test_another_host_is_refused
    start
    ['evil.example', "evil.example:#{@address.port}", '127.0.0.1', "127.0.0.1:#{@address.port + 1}", ''].each do |host|
      assert_status 403, get('state', host: host), host
    end
    assert_match(%r{\AHTTP/1\.1 40[03] }, raw("GET #{@address.path}state HTTP/1.1\r\n\r\n"))
    assert_status 200, get('state', host: "localhost:#{@address.port}")
  end

  def test_another_origin_is_refused
    start
    ['https://evil.example', 'null', "http://127.0.0.1:#{@address.port + 1}", "https://127.0.0.1:#{@address.port}",
     "http://127.0.0.1:#{@address.port}.evil.example"].each do |other|
      assert_status 403, get('state', origin: other), other
      assert_status 403, post('move', { to: 'lowest' }, 'origin' => other), other
    end
    assert_status 403, post('move', { to: 'lowest' }, 'origin' => nil)
    %w[cross-site same-site].each { |site| assert_status 403, get('state', sec_fetch_site: site), site }
    %w[same-origin none].each { |site| assert_status 200, get('state', sec_fetch_site: site), site }
    assert_equal 0, JSON.parse(get('state').body)['head']['step']
  end

  def test_an_oversized_message_is_refused_unread
    start
    limit = Viewer::Server::MESSAGE_LIMIT
    head = "POST #{@address.path}move HTTP/1.1\r\nHost: 127.0.0.1:#{@address.port}\r\nOrigin: #{origin}\r\n"
    # The body is never sent: an answer shows that nobody waits for it.
    assert_match(/\AHTTP\/1\.1 413 /, raw("#{head}Content-Length: #{limit + 1}\r\n\r\n"))
    assert_match(/\AHTTP\/1\.1 413 /, raw("#{head}Content-Length: 99999999999999\r\n\r\n"))
    assert_match(/\AHTTP\/1\.1 4(00|11) /, raw("#{head}Content-Length: -5\r\n\r\n"))
    assert_match(/\AHTTP\/1\.1 4(00|11) /, raw("#{head}\r\n"))
    assert_match(/\AHTTP\/1\.1 411 /, raw("#{head}Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n"))
    assert_match(/\AHTTP\/1\.1 413 /, raw("GET #{@address.path}state HTTP/1.1\r\nHost: 127.0.0.1:#{@address.port}\r\n" \
                                          "Content-Length: 5\r\n\r\nhello"))
    assert_status 200, post('move', " #{JSON.generate(to: 'lowest')}".rjust(limit))
  end

  def test_malformed_messages_are_refused_with_a_reason
    start
    { '' => 'JSON', '{' => 'JSON', 'null' => 'object', '[]' => 'object', '"lowest"' => 'object', "\xff\xfe" => 'JSON',
      '{}' => 'to is', '{"to":"away"}' => 'to is', '{"to":["faces"]}' => 'to is', '{"to":"faces"}' => 'needs a value',
      '{"to":"faces","value":-1}' => 'whole number', '{"to":"faces","value":4294967296}' => 'whole number',
      '{"to":"faces","value":1.5}' => 'whole number', '{"to":"faces","value":"5"}' => 'whole number',
      '{"to":"step","value":null}' => 'needs a value', '{"to":"lowest","live":"yes"}' => 'true or false',
      '{"to":"lowest","edges":1}' => 'true or false', '{"to":"lowest","then":"more"}' => 'unknown: then',
      "{\"to\":#{'[' * 50}#{']' * 50}}" => 'JSON' }.each do |text, reason|
      answer = post('move', text)
      assert_status 400, answer, text
      assert_includes JSON.parse(answer.body)['error'], reason, text
    end
    assert_equal 0, JSON.parse(get('state').body)['head']['step']
  end

  def test_what_is_no_request_of_the_web_does_no_harm
    start
    ["\0\0\0\0\r\n\r\n", "GET\r\n\r\n", "GET #{'x' * 100_000} HTTP/1.1\r\n\r\n", "\r\n" * 1000,
     "GET / HTTP/1.1\r\n#{"a: b\r\n" * 50_000}\r\n", 'POST'].each do |noise|
      raw(noise)
    rescue Errno::ECONNRESET, Errno::EPIPE
      next
    end
    assert_status 200, get('state')
  end

  def test_other_methods_are_refused
    start
    [Net::HTTP::Put, Net::HTTP::Delete, Net::HTTP::Options].each do |kind|
      answer = request(kind, 'state', body: kind == Net::HTTP::Put ? 'x' : nil, headers: { 'origin' => origin })
      assert_includes [404, 405, 411, 413], answer.code.to_i, kind.name
    end
  end

  def test_a_tunnel_is_refused
    start
    assert_match(%r{\AHTTP/1\.1 40\d }, raw("CONNECT 127.0.0.1:#{@address.port} HTTP/1.1\r\n" \
                                            "Host: 127.0.0.1:#{@address.port}\r\nOrigin: #{origin}\r\n\r\n"))
  end

  def test_any_number_of_connections_that_say_nothing_leaves_the_page_its_answers
    start
    page = Net::HTTP.start('127.0.0.1', @address.port)
    assert_equal '200', page.get("#{@address.path}state").code
    idle = Array.new(400) do |i|
      TCPSocket.new('127.0.0.1', @address.port).tap { |socket| socket.write('GET /') if i.odd? }
    rescue Errno::ECONNRESET, Errno::EPIPE
      nil
    end
    Timeout.timeout(20) do
      assert_status 200, get('state')
      # The page's own connection is as it was.
      assert_equal '200', page.get("#{@address.path}state").code
    end
    assert_predicate page, :started?
  ensure
    idle&.each { |socket| socket&.close }
    page&.finish
  end

  def test_pictures_are_taken_only_where_one_was_asked_for
    start
    assert_status 404, post('picture', 'PNG')
    assert_status 404, post('failure', 'no')
    stop
    pictures = Thread::Queue.new
    start(pictures: pictures)
    assert_status 200, post('picture', "\x89PNG".b.ljust(Viewer::Server::MESSAGE_LIMIT * 2, '.'))
    assert_status 200, post('failure', 'why')
    kind, bytes = pictures.pop
    assert_equal [:picture, Viewer::Server::MESSAGE_LIMIT * 2], [kind, bytes.bytesize]
    assert_equal [:failure, 'why'], pictures.pop
    assert_match(/\AHTTP\/1\.1 413 /, raw("POST #{@address.path}picture HTTP/1.1\r\nHost: 127.0.0.1:#{@address.port}\r\n" \
                                          "Origin: #{origin}\r\nContent-Length: #{Viewer::Server::PICTURE_LIMIT + 1}\r\n\r\n"))
  end

  def test_a_page_that_is_missing_says_why
    Dir.mkdir(path('empty'))
    error = assert_raises(Viewer::Page::Missing) { Viewer::Page.new(path('empty')) }
    assert_match(/it has not been built; build it with scripts\/build-viewer/, error.message)
    write('empty/error.txt', "npm could not fetch three.js\n")
    error = assert_raises(Viewer::Page::Missing) { Viewer::Page.new(path('empty')) }
    assert_match(/npm could not fetch three\.js; build/, error.message)
  end

  def test_after_the_end_requests_are_turned_away
    start
    @host.stop
    @thread.join
    assert_status 503, get('frame')
  end
end
