# frozen_string_literal: true

require 'host_test'
require 'json'
require 'net/http'
require 'socket'
require 'viewer'

# A viewer of a small model, with its server running and a page folder of the test's own.
class ViewerTest < HostTest
  def setup
    super
    @importer = Zu::Mirel::Importer.new
    @page_folder = path('page').tap { |folder| Dir.mkdir(folder) }
    { 'index.html' => '<p>page</p>', 'page.js' => 'go()', 'notes.txt' => 'not a part of the page' }
      .each { |name, text| File.write(File.join(@page_folder, name), text) }
    write('secret.txt', 'not for the page')
  end

  def teardown
    stop
    @importer.close
    super
  end

  # @param model [String] a file
  def start(model = write('waves.obj', terrain(12)), **options)
    @importer.import(model).build_hierarchy
    @host = Viewer::HostThread.new(UI.timers)
    @events = Viewer::Events.new
    @session = Viewer::Session.new(@importer, @events)
    @server = Viewer::Server.new(page: Viewer::Page.new(@page_folder), host: @host, session: @session,
                                 events: @events, **options).start
    @thread = Thread.new { @host.run }
    @address = URI(@server.address)
  end

  def stop
    return unless @server

    @host.stop
    @thread.join
    @server.stop
    @server = nil
  end

  def origin
    "http://127.0.0.1:#{@address.port}"
  end

  def request(kind, below, body: nil, headers: {})
    request = kind.new(below.start_with?('/') ? below : @address.path + below)
    headers.each { |name, value| value.nil? ? request.delete(name) : request[name] = value }
    request.body = body if body
    Net::HTTP.start('127.0.0.1', @address.port) { |http| http.request(request) }
  end

  def get(below, **headers)
    request(Net::HTTP::Get, below, headers: headers.transform_keys { |name| name.to_s.tr('_', '-') })
  end

  def post(below, message, headers = {})
    body = message.is_a?(String) ? message : JSON.generate(message)
    request(Net::HTTP::Post, below, body: body, headers: { 'origin' => origin }.merge(headers))
  end

  # Sends bytes as they are.
  # @return [String] the answer's head, and what there is of its body
  def raw(text)
    TCPSocket.open('127.0.0.1', @address.port) do |socket|
      socket.write(text)
      socket.close_write
      socket.read.force_encoding(Encoding::UTF_8).scrub
    end
  end

  def assert_status(expected, answer, message = nil)
    assert_equal expected, answer.code.to_i, "#{message} #{answer.body.to_s.scrub[0, 300]}"
  end

  # A frame taken apart: its head, and the bytes behind it.
  def parse_frame(bytes)
    assert_equal 'MRLF', bytes[0, 4]
    length = bytes[4, 4].unpack1('V')
    assert_equal 0, length % 4
    [JSON.parse(bytes[8, length]), bytes[(8 + length)..]]
  end

  def floats(body, offset, count)
    body[offset, count * 4].unpack('e*')
  end
end
