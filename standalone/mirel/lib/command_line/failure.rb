# frozen_string_literal: true

module CommandLine
  # What the user is told in one line; the program ends with status 1.
  class Failure < StandardError; end
end
