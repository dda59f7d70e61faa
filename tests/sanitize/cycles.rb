# frozen_string_literal: true

# What sanitize_test.rb runs under the sanitizers: the whole road, many times over.
#
#   ruby cycles.rb FOLDER CYCLES

require_relative "../../standalone/host/lib/mirel"

folder, cycles = ARGV
models = %w[terrain.obj terrain.ply terrain.stl quads.ply field.fbx].map { |name| File.join(folder, name) }
broken = %w[index.obj cut.ply empty.obj cut.fbx].map { |name| File.join(folder, name) }

importer = Zu::Mirel::Importer.new
Integer(cycles).times do |cycle|
  importer.import(models[cycle % models.size])
  importer.lock_surface_boundaries = cycle.odd?
  importer.reduce(ratio: 0.3, tolerance: (cycle % 3).zero? ? 0.2 : nil)
  importer.make_lowest_resolution
  importer.make_highest_resolution
  importer.go_to_step(cycle)
  importer.save_obj(File.join(folder, "out.obj")) if (cycle % 10).zero?
  importer.close
  begin
    importer.import(broken[cycle % broken.size])
    abort "#{broken[cycle % broken.size]} was taken"
  rescue Zu::Mirel::Error
    importer.close
  end
end

# A leak to be found: it shows that the search works.
malloc = Fiddle::Function.new(Fiddle::Handle::DEFAULT["malloc"], [Fiddle::TYPE_SIZE_T], Fiddle::TYPE_VOIDP)
4.times { malloc.call(424_242) }
puts "all cycles done"
