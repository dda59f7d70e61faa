# frozen_string_literal: true

module Zu
  module Mirel
    # What can go wrong through no fault of the program: each message is one line that names the file and the reason.
    class Error < StandardError; end

    # A file that cannot be read.
    class ImportError < Error; end

    # A result that cannot be made or written.
    class ExportError < Error; end

    # Wording of the system's errors.
    module Errors
      # @param error [SystemCallError]
      # @return [String] the reason alone, as "permission denied"
      def self.reason(error)
        text = error.class.new.message
        text.sub(/\A[A-Z](?=[a-z])/, &:downcase)
      end
    end
  end
end
