# frozen_string_literal: true

# The native model export with the real Ruby half: processor seconds and memory from the call to the saved file.
#
#   ruby benchmarks/export/export_scene.rb BUILD_DIR MODEL OUTPUT [RUNS]
#
# The model is exported as it is read, with soften_edges at 30 degrees.
ENV['MIREL_BUILD'] = File.expand_path(ARGV.shift)
model, output, runs = ARGV
$LOAD_PATH.unshift(File.expand_path('../../standalone/host/lib', __dir__))
require 'mirel'

importer = Zu::Mirel::Importer.new(soften_edges: true)
importer.import(model)
before = Zu::Mirel::Native.peak_memory
times = Array.new(Integer(runs || 5)) do
  started = Process.clock_gettime(Process::CLOCK_PROCESS_CPUTIME_ID)
  importer.export_scene(output)
  Process.clock_gettime(Process::CLOCK_PROCESS_CPUTIME_ID) - started
end
raise "#{output} was not written" unless File.size?(output)

puts format('%<faces>d faces: %<times>s s, median %<median>.2f s; peak memory %<before>.0f -> %<after>.0f MB',
            faces: importer.count_faces, times: times.map { |time| time.round(2) }.join(', '),
            median: times.sort[times.size / 2], before: before / 1e6, after: Zu::Mirel::Native.peak_memory / 1e6)
