# frozen_string_literal: true

require 'erb'
require 'json'
require 'webrick'
require 'viewer/gate'
require 'viewer/messages'
require 'viewer/newcomers'
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
  # | GET distances        | distances from the original (see Distances)                    |
  # | GET deviation        | JSON: a bound on the deviation of the present step, measured   |
  # | GET texture/N        | the texture of material N                                      |
  # | GET download/FORMAT  | the model in that format, as a file to save                    |
  # | POST move            | a move (see Messages), answered with its frame                 |
  # | POST rebuild         | settings (see Messages), answered with the new state           |
  # | POST picture         | a picture that was asked for with the page's address           |
  # | POST failure         | why there will be none                                         |
  class Server
    MESSAGE_LIMIT = 16 << 10
    PICTURE_LIMIT = 256 << 20
    SECONDS_FOR_A_REQUEST = 30
    # Each takes a thread and a file; streams of events last as long as their page.
    MOST_CONNECTIONS = 250
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
    # @param pictures [#<<, nil] gets [:picture, bytes] or [:failure, reason] from a page that makes a picture
    def initialize(page:, host:, session:, events:, port: 0, pictures: nil)
      @pictures = pictures
      @page = page
      @host = host
      @session = session
      @events = events
      @gate = Gate.new
      @measuring = Mutex.new
      @newcomers = Newcomers.new
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
      path = @gate.admit(request)
      @newcomers.admit(Thread.current[:WEBrickSocket])
      @gate.check_size(request, limit(request, path))
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

    def limit(request, path)
      return unless request.request_method == 'POST'

      path == 'picture' && @pictures ? PICTURE_LIMIT : MESSAGE_LIMIT
    end

    def listen(port)
      WEBrick::HTTPServer.new(BindAddress: '127.0.0.1', Port: port, AcceptCallback: method(:accepted), AccessLog: [],
                              Logger: WEBrick::Log.new(File::NULL), DoNotReverseLookup: true, ServerSoftware: 'mirel',
                              RequestTimeout: SECONDS_FOR_A_REQUEST, MaxClients: MOST_CONNECTIONS)
    rescue SystemCallError => e
      raise PortError, "port #{port}: #{Zu::Mirel::Errors.reason(e)}"
    end

    def accepted(socket)
      # Without this, the system would hold the end of each answer back until the page has confirmed what went before.
      socket.setsockopt(Socket::IPPROTO_TCP, Socket::TCP_NODELAY, true)
      @newcomers.arrive(socket)
    end

    def route(request, response, path)
      case [request.request_method, path]
      when ['GET', 'state'] then json(response, @host.call { @session.state })
      when ['GET', 'events'] then stream_events(response)
      when ['GET', 'frame'] then frame(request, response)
      when ['GET', 'original'] then original(request, response)
      when ['GET', 'distances'] then body(response, BINARY, @host.call { @session.distances })
      when ['GET', 'deviation'] then json(response, deviation)
      when ['POST', 'move'] then move(request, response)
      when ['POST', 'rebuild'] then rebuild(request, response)
      when ['POST', 'picture'], ['POST', 'failure'] then picture(request, response, path.to_sym)
      else other(request, response, path)
      end
    end

    def other(request, response, path)
      return refuse(response, 404, 'no such address') unless request.request_method == 'GET'

      extension = path[%r{\Adownload/(\w+)\z}, 1]
      return download(response, extension) if extension && Downloads.formats.key?(extension)

      file(response, path)
    end

    # Measured on this request's thread, so that the model can be moved meanwhile; one at a time.
    def deviation
      @measuring.synchronize do
        measurement = @host.call { @session.deviation_measurement }
        measured = measurement.call
        @host.call { @session.deviation_measured(measured) }
      end
    end

    def download(response, extension)
      file = @host.call { @session.download(extension) }
      response['content-disposition'] = "attachment; filename*=UTF-8''#{ERB::Util.url_encode(file.name)}"
      body(response, BINARY, file.content)
    end

    def rebuild(request, response)
      settings = Messages.settings(request.body.to_s)
      json(response, @host.call { @session.rebuild(settings) })
    end

    def picture(request, response, kind)
      return refuse(response, 404, 'no picture was asked for') unless @pictures

      @pictures << [kind, request.body.to_s.b]
      json(response, {})
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
