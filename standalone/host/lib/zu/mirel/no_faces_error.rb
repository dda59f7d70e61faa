# frozen_string_literal: true

require_relative 'errors'

module Zu
  module Mirel
    # Raised for a file that has no faces, as a point cloud. The native PLY import raises it too.
    class NoFacesError < ImportError; end
  end
end
