# frozen_string_literal: true

require 'openssl'
require 'securerandom'

module Viewer
  # Who may ask. The viewer listens on the loopback address, but any page in any browser of this machine can send
  # requests there: so a request has to name this server as its host, come from its own page where it comes from a
  # page at all, and know the secret that is part of the page's address.
  class Gate
    # A request that is refused, with the status that says so.
    class Refusal < StandardError
      attr_reader :status

      def initialize(status, message)
        super(message)
        @status = status
      end
    end

    # @return [String] the secret
    attr_reader :token

    def initialize
      @token = SecureRandom.urlsafe_base64(24)
    end

    # @param port [Integer] where the server listens
    attr_writer :port

    # @return [String] where the page is
    def address
      "http://127.0.0.1:#{@port}/#{token}/"
    end

    # @param request [WEBrick::HTTPRequest]
    # @return [String] the path below the secret
    # @raise [Refusal]
    def admit(request)
      raise Refusal.new(403, 'this host is not served') unless hosts.include?(request['host'])
      raise Refusal.new(403, 'another origin') unless own_origin?(request)

      # CONNECT names a host, no path.
      below_token(request.path.to_s)
    end

    # Before anything of the message is read.
    # @param request [WEBrick::HTTPRequest]
    # @param limit [Integer, nil] the most bytes of a message; nil where the request brings none
    # @raise [Refusal]
    def check_size(request, limit)
      raise Refusal.new(411, 'a message tells its length') if request['transfer-encoding']

      size = request['content-length']
      if limit.nil?
        raise Refusal.new(413, 'this request takes no message') unless [nil, '0'].include?(size)
      else
        raise Refusal.new(411, 'a message tells its length') unless size&.match?(/\A\d{1,15}\z/)
        raise Refusal.new(413, "a message is #{limit} bytes at most") if size.to_i > limit
      end
    end

    private

    def hosts
      @hosts ||= ["127.0.0.1:#{@port}", "localhost:#{@port}"]
    end

    # Browsers name the origin in every request that changes something, and in all that another site makes.
    def own_origin?(request)
      origin = request['origin']
      return false if origin.nil? && request.request_method != 'GET'
      return false unless origin.nil? || hosts.any? { |host| origin == "http://#{host}" }

      # An address that was typed or opened from a program comes from "none".
      [nil, 'same-origin', 'none'].include?(request['sec-fetch-site'])
    end

    def below_token(path)
      given, rest = path.delete_prefix('/').split('/', 2)
      known = given && given.bytesize == token.bytesize && OpenSSL.fixed_length_secure_compare(given, token)
      raise Refusal.new(404, 'no such address') unless known && rest

      rest
    end
  end
end
