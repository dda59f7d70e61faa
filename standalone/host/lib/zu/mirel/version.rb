# frozen_string_literal: true

module Zu
  module Mirel
    # The version of the whole project.
    VERSION = '0.1.0'
  end
end
