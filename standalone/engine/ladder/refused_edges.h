// Remembers which edges the tolerance has refused, as long as nothing around them changes.
//
// An edge comes up again for each dearer edge of its ends, and from either end; the question is dear and the answer the
// same while both stars are. A table with one place for each hash: what is forgotten is asked again.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace mirel::engine {

class RefusedEdges {
 public:
  // Throws std::bad_alloc.
  void start(std::uint32_t vertex_count) {
    versions_.assign(vertex_count, 0);
    entries_.assign(std::bit_ceil(std::max<std::size_t>(4 * std::size_t{vertex_count}, 16)), Entry{});
  }
  // The star of v is another one now.
  void change(std::uint32_t v) { ++versions_[v]; }
  // With a and b the same: all edges of that vertex.
  void add(std::uint32_t a, std::uint32_t b) { entries_[place(a, b)] = entry(a, b); }
  bool holds(std::uint32_t a, std::uint32_t b) const {
    Entry const& there = entries_[place(a, b)];
    Entry const asked = entry(a, b);
    return there.low == asked.low && there.high == asked.high && there.low_version == asked.low_version &&
           there.high_version == asked.high_version;
  }
  // Gives the vertices that are `live` the numbers from 0 on. `numbers`: the new ones by the old.
  void renumber(std::span<std::uint32_t const> numbers, std::span<std::uint32_t const> live) {
    RefusedEdges renumbered;
    renumbered.start(static_cast<std::uint32_t>(live.size()) + 1);
    for (std::size_t i = 0; i < live.size(); ++i) renumbered.versions_[i] = versions_[live[i]];
    for (Entry const& there : entries_) {
      if (there.low > there.high || std::max(numbers[there.low], numbers[there.high]) >= live.size()) continue;
      if (there.low_version == versions_[there.low] && there.high_version == versions_[there.high]) {
        renumbered.add(numbers[there.low], numbers[there.high]);
      }
    }
    *this = std::move(renumbered);
  }

 private:
  struct Entry {
    std::uint32_t low = 1, high = 0;  // the wrong way around: none
    std::uint32_t low_version = 0, high_version = 0;
  };

  Entry entry(std::uint32_t a, std::uint32_t b) const {
    std::uint32_t const low = std::min(a, b);
    std::uint32_t const high = std::max(a, b);
    return {low, high, versions_[low], versions_[high]};
  }
  std::size_t place(std::uint32_t a, std::uint32_t b) const {
    std::uint64_t const key = std::uint64_t{std::max(a, b)} << 32U | std::min(a, b);
    std::uint64_t const hash = key * 0x9E3779B97F4A7C15U >> 24U;
    return hash & (entries_.size() - 1);
  }

  std::vector<std::uint32_t> versions_;
  std::vector<Entry> entries_;
};

}  // namespace mirel::engine
