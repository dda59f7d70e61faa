# frozen_string_literal: true

# The viewer's server: a model that is moved along its hierarchy and drawn into a view, for a page in a browser.
#
# @example
#   host = Viewer::HostThread.new(UI.timers)
#   events = Viewer::Events.new
#   session = Viewer::Session.new(importer, events)     # an importer with a hierarchy
#   server = Viewer::Server.new(page: Viewer::Page.new, host: host, session: session, events: events).start
#   puts server.address
#   host.run                                            # until host.stop
#   server.stop
require 'viewer/browser'
require 'viewer/build_news'
require 'viewer/chromium'
require 'viewer/events'
require 'viewer/host_thread'
require 'viewer/page'
require 'viewer/server'
require 'viewer/session'
