# frozen_string_literal: true

require 'command_line/failure'

module CommandLine
  # What the commands that show the viewer's page share.
  module ViewerLibrary
    private

    # @raise [Failure]
    def load_viewer
      $LOAD_PATH.unshift(File.expand_path('../../../viewer/lib', __dir__))
      require 'viewer'
    rescue LoadError => e
      raise Failure, "the viewer needs the Ruby libraries webrick and rubyzip; run scripts/setup (#{e.message.lines.first&.chomp})"
    end

    # @return [Viewer::Page]
    # @raise [Failure] where it has not been built, with the reason
    def viewer_page
      Viewer::Page.new
    rescue Viewer::Page::Missing => e
      raise Failure, e.message
    end

    # Serves the page for as long as the block runs.
    # @yieldparam server [Viewer::Server]
    # @yieldparam host [Viewer::HostThread] to be run by the block
    # @return what the block returns
    def serving(importer, page, **options)
      host = Viewer::HostThread.new(UI.timers)
      events = Viewer::Events.new
      session = Viewer::Session.new(importer, events, build_seconds: @phases.seconds)
      console.display&.clear
      Zu::Mirel::StatusProgressBar.instance.display = Viewer::BuildNews.new(events)
      server = Viewer::Server.new(page: page, host: host, session: session, events: events, **options).start
      yield server, host
    rescue Viewer::Server::PortError => e
      raise Failure, e.message
    ensure
      server&.stop
    end
  end
end
