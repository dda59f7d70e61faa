# frozen_string_literal: true

require "fiddle"

# Scripts the recording mesh SDK and reads its log; the stand-ins add their own lines to the same log, so that one
# list shows every call of either side in order.
module Recorder
  # The soname: the very library that the extension was bound to.
  LIBRARY = Fiddle.dlopen("libbalancer.so")

  def self.function(name, arguments, result = Fiddle::TYPE_VOID)
    Fiddle::Function.new(LIBRARY["recorder_#{name}"], arguments, result)
  end
  private_class_method :function

  POINTER = Fiddle::TYPE_VOIDP
  RESET = function("reset", [])
  ENABLE = function("enable", [Fiddle::TYPE_INT])
  NOTE = function("note", [POINTER])
  TAKE_LOG = function("take_log", [], POINTER)
  ANSWER = function("answer", [POINTER, Fiddle::TYPE_DOUBLE])
  TEXT = function("text", [POINTER, POINTER])
  FLOATS = function("floats", [POINTER, POINTER, -Fiddle::TYPE_INT])
  INDICES = function("indices", [POINTER, POINTER, -Fiddle::TYPE_INT])
  THROW = function("throw", [POINTER, POINTER])

  NULL_INDEX = 0xFFFFFFFF

  class << self
    def reset = RESET.call
    def enable(enabled) = ENABLE.call(enabled ? 1 : 0)
    def note(line) = NOTE.call(line)
    def take_log = TAKE_LOG.call.to_s.force_encoding("UTF-8").lines(chomp: true)
    def answer(key, value) = ANSWER.call(key, value.to_f)
    def text(key, text) = TEXT.call(key, text)
    def floats(key, values) = FLOATS.call(key, values&.pack("f*"), values ? values.size : 0)
    def indices(key, values) = INDICES.call(key, values&.pack("L*"), values ? values.size : 0)
    def throw_error(key, text) = THROW.call(key, text)
    def throw_out_of_memory(key) = THROW.call(key, nil)

    # The text that a line of the log shows as `inspect` does.
    def unquote(shown) = shown.start_with?('"') ? shown.undump : shown

    # A whole remap table: `entries` per mesh vertex (nil for none).
    def remap(key, entries)
      indices(key, entries.map { |entry| entry || NULL_INDEX })
      answer("#{key}.count", entries.compact.uniq.size)
    end
  end
end
