# frozen_string_literal: true

require_relative 'sketchup/color'

# The part of the host's own module that a mesh needs.
module Sketchup
end
