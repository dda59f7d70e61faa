# frozen_string_literal: true

require 'json'
require 'webrick'
require 'viewer/gate'
require 'viewer/messages'
require 'viewer/session'

module Viewer
  # The page's server, on the loopback address only: the page's files, and what they ask for.
  #
  # | request              | answer                                                         |
  # |----------------------|----------------------------------------------------------------|
  # | GET (nothing), FILE  | the page's files                                               |
  # | GET state            | JSON: the model, its materials, settings, formats              |
  # | GET events           | server-sent events: frame, build                               |
  # | GET frame            | the last frame (see Frame); ?edges and ?marks ask for those    |
  # | GET original         | the frame at step 0                                            |
  # | GET texture/N        | the texture of material N                                      |
  # | POST move            | a move (see Messages), answered with its frame                 |
  class Server
    MESSAGE_LIMIT = 16 << 10
    SECONDS_FOR_A_REQUEST = 30
    HEADERS = {
      'cache-control' => 'no-store',
      'content-security-policy' => "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; " \
                                   "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
      'cross-origin-resource-policy' => 'same-origin', 'referrer-policy' => 'no-referrer',
      'x-content-type-options' => 'nosniff'
    }.freeze
    BINARY = 'application/octet-stream'

    # The port is taken, or may not be.
    class PortError < StandardError; end

    # @param page [Page]
    # @param host [HostThread]
    # @param session [Session]
    # @param events [Events]
    # @param port [Integer] 0 takes any that is free
    def initialize(page:, host:, session:, events:, port: 0)
      @page = page
      @host = host
      @session = session
      @events = events
      @gate = Gate.new
      @web = listen(port)
      @gate.port = @web.config[:Port]
      @web.mount('/', Answers, self)
    end

    # @return [String] the page's address, secret and all
    def address
      @gate.address
    end

    # Answers requests on threads of its own from now on.
    def start
      @thread = Thread.new { @web.start }
      self
    end

    def stop
      @events.close
      @web.shutdown
      @thread&.join(1)
    end

    # Answers one request.
    # @param request [WEBrick::HTTPRequest]
    # @param response [WEBrick::HTTPResponse]
    def answer(request, response)
      HEADERS.each { |name, value| response[name] = value }
      path = @gate.admit(request, request.request_method == 'POST' ? MESSAGE_LIMIT : nil)
      route(request, response, path)
    rescue Gate::Refusal => e
      # What was sent is not read.
      response.keep_alive = false
      refuse(response, e.status, e.message)
    rescue Messages::Malformed => e
      refuse(response, 400, e.message)
    rescue Session::Refused, Zu::Mirel::Error => e
      refuse(response, 409, e.message)
    rescue HostThread::Stopped
      refuse(response, 503, 'the viewer has ended')
    rescue NoMemoryError
      refuse(response, 500, 'not enough memory')
    rescue StandardError => e
      refuse(response, 500, "internal error: #{e.message} (#{e.class})")
    end

    # WEBrick makes one of these for every request.
    class Answers < WEBrick::HTTPServlet::AbstractServlet
      def initialize(web, server)
        super
        @viewer = server
      end

      def service(request, response)
        @viewer.answer(request, response)
      end
    end
    private_constant :Answers

    private

    def listen(port)
      # Without this, the system would hold the end of each answer back until the page has confirmed what went before.
      at_once = ->(socket) { socket.setsockopt(Socket::IPPROTO_TCP, Socket::TCP_NODELAY, true) }
      WEBrick::HTTPServer.new(BindAddress: '127.0.0.1', Port: port, AcceptCallback: at_once, AccessLog: [],
                              Logger: WEBrick::Log.new(File::NULL), DoNotReverseLookup: true, ServerSoftware: 'mirel',
                              RequestTimeout: SECONDS_FOR_A_REQUEST)
    rescue SystemCallError => e
      raise PortError, "port #{port}: #{Zu::Mirel::Errors.reason(e)}"
    end

    def route(request, response, path)
      case [request.request_method, path]
      when ['GET', 'state'] then json(response, @host.call { @session.state })
      when ['GET', 'events'] then stream_events(response)
      when ['GET', 'frame'] then frame(request, response)
      when ['GET', 'original'] then original(request, response)
      when ['POST', 'move'] then move(request, response)
      else
        request.request_method == 'GET' ? file(response, path) : refuse(response, 404, 'no such address')
      end
    end

    def file(response, path)
      number = path[%r{\Atexture/(\d{1,6})\z}, 1]
      type, content = number ? @session.textures[number.to_i] : @page[path.empty? ? 'index.html' : path]
      return refuse(response, 404, 'no such file') unless content

      body(response, type, content)
    end

    def frame(request, response)
      layers = { edges: request.query.key?('edges'), marks: request.query.key?('marks') }
      body(response, BINARY, @host.call { @session.frame(**layers) })
    end

    def original(request, response)
      edges = request.query.key?('edges')
      body(response, BINARY, @host.call { @session.original(edges: edges) })
    end

    def move(request, response)
      message = Messages.move(request.body.to_s)
      body(response, BINARY, @host.call do
        @session.move(message.target, message.value, live: message.live, layers: message.layers)
      end)
    end

    def stream_events(response)
      response['content-type'] = 'text/event-stream'
      response.chunked = true
      response.body = ->(out) { @events.stream_to(out) }
    end

    def json(response, data)
      body(response, 'application/json', JSON.generate(data))
    end

    # @param content [String, Array<String>]
    def body(response, type, content)
      response['content-type'] = type
      return response.body = content unless content.is_a?(Array)

      # Piece by piece: together they may be hundreds of megabytes.
      response['content-length'] = content.sum(&:bytesize).to_s
      response.body = ->(out) { content.each { |piece| out.write(piece) } }
    end

    def refuse(response, status, message)
      response.status = status
      json(response, error: message.scrub)
    end
  end
end
