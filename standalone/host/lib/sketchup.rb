# frozen_string_literal: true

require_relative 'sketchup/camera'
require_relative 'sketchup/color'
require_relative 'sketchup/view'

# The part of the host's own module that a mesh and its preview need.
module Sketchup
  class << self
    # @return [String] the text below the viewport
    attr_reader :status_text

    # @param text [String]
    def status_text=(text)
      @status_text = text.to_s
    end
  end
  self.status_text = ''
end
