# frozen_string_literal: true

require 'host_test'

# A test with an importer of its own.
class ImporterHostTest < HostTest
  def setup
    super
    @importer = Zu::Mirel::Importer.new
  end

  def teardown
    @importer.close
    super
  end
end
