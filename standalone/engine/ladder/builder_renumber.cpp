// Closes the gaps that vertices have left.
//
// What is left of a large mesh would lie ever more thinly spread over the memory of the whole: a cache line here and
// there, each on a page of its own. So the live vertices get new numbers, in the order of the old ones, each time that
// three quarters of them are gone, and the stars are put in that order too.
#include <span>
#include <utility>
#include <vector>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

// Values per vertex, moved to the new places; that of the dead vertex, the last, is not set.
template <typename Value>
void move_down(std::vector<Value>& values, std::span<std::uint32_t const> live) {
  if (values.empty()) return;
  for (std::size_t i = 0; i < live.size(); ++i) values[i] = values[live[i]];
  values.resize(live.size() + 1);
}

}  // namespace

void LadderBuilder::renumber_vertices() {
  own_listed_ = kNone;
  std::uint32_t const slots = stars_.vertex_count();
  // Which are alive cannot be foreseen: no branches.
  std::vector<std::uint32_t> numbers(slots);
  std::vector<std::uint32_t> live(slots);
  std::uint32_t count = 0;
  for (std::uint32_t v = 0; v < slots; ++v) {
    numbers[v] = count;
    live[count] = v;
    count += (stars_.vertex(v).flags & kDead) == 0 ? 1U : 0U;
  }
  live.resize(count);
  for (std::uint32_t& base : vertex_base_) base = base < slots ? numbers[base] : count;
  for (std::uint32_t v = 0; v < slots; ++v) numbers[v] = (stars_.vertex(v).flags & kDead) == 0 ? numbers[v] : count;

  BlockedQueue queue;
  queue.start(count);
  queue_.for_each([&](BucketQueue::Entry entry, BucketQueue::Bucket bucket) {
    if ((entry.item & kComponentMark) == 0) {
      if (stars_.vertex(entry.item).bucket != bucket) return;
      entry = {numbers[entry.item], numbers[entry.partner]};
    }
    queue.push(entry, bucket);
  });
  queue_ = std::move(queue);

  stars_.renumber(numbers, live);
  move_down(origins_, live);
  move_down(attribute_values_, live);
  move_down(component_of_, live);
  move_down(obstacles_, live);
  for (Component& component : components_) component.member = numbers[component.member];
  if (options_.tolerance > 0) refused_edges_.renumber(numbers, live);
}

}  // namespace mirel::engine
