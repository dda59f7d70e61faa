#include "standalone/engine/ladder/stars.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/star_kernels.h"

namespace mirel::engine {

namespace {

// Marks the first entry of a live star while the store is compacted; face indices stay below it.
constexpr std::uint32_t kHeadMark = 0x80000000U;
constexpr std::size_t in_rows(std::size_t count) {
  return (count + Stars::kRow - 1) / Stars::kRow * Stars::kRow;
}

// A little more than is needed at once: stars that outgrow their rows go to the end, away from their neighbours.
constexpr std::size_t with_room(std::size_t size) {
  return in_rows(size + size / 8 + 64);
}

}  // namespace

Stars::Store Stars::allocate(std::size_t capacity) {
  return Store(static_cast<StarEntry*>(::operator new[](capacity * sizeof(StarEntry), kLine)));
}

void Stars::build(std::uint32_t vertex_count, std::span<std::uint32_t const> triangles,
                  std::span<std::uint32_t const> faces) {
  static_assert(kRow * sizeof(StarEntry) % 32 == 0);
  kernels_ = &star_kernels();
  // Where the next entry of each star goes: apart from the vertices, as sixteen times as many fit into the cache.
  std::vector<std::uint32_t> next(vertex_count, 0);
  for (std::uint32_t const v : triangles) ++next[v];
  vertices_.assign(vertex_count, Vertex{});
  std::size_t begin = 0;
  for (std::uint32_t v = 0; v < vertex_count; ++v) {
    Vertex& vertex = vertices_[v];
    std::size_t const room = in_rows(next[v]);
    vertex.star_begin = static_cast<std::uint32_t>(begin);
    vertex.star_count = next[v];
    vertex.slack = static_cast<std::uint8_t>(room - next[v]);
    next[v] = static_cast<std::uint32_t>(begin);
    begin += room;
  }
  used_ = begin;
  capacity_ = with_room(used_);
  entries_ = allocate(capacity_);
  constexpr std::size_t kAhead = std::size_t{3} * 16;
  auto const fill = [&](auto const& number_of) {
    for (std::size_t corner = 0; corner < triangles.size(); corner += 3) {
      for (std::size_t k = 0; k < 3 && corner + kAhead + k < triangles.size(); ++k) {
        __builtin_prefetch(&entries_[next[triangles[corner + kAhead + k]]], 1);
      }
      std::uint32_t const v[3] = {triangles[corner], triangles[corner + 1], triangles[corner + 2]};
      std::uint32_t const face = number_of(corner / 3);
      for (std::uint32_t k = 0; k < 3; ++k) {
        entries_[next[v[k]]++] = {v[(k + 1) % 3], v[(k + 2) % 3], face << 2 | k};
      }
    }
  };
  if (faces.empty()) {
    fill([](std::size_t place) { return static_cast<std::uint32_t>(place); });
  } else {
    fill([faces](std::size_t place) { return faces[place]; });
  }
  for (std::uint32_t v = 0; v < vertex_count; ++v) {
    std::fill_n(entries_.get() + next[v], vertices_[v].slack, StarEntry{});
    if (is_hub(v)) index_hub(v);
  }
}

void Stars::index_hub(std::uint32_t v) {
  std::uint32_t place = 0;
  for (StarEntry const& entry : star(v)) hub_places_[std::uint64_t{v} << 32 | entry.face()] = place++;
}

// Where the entry of a face stands; the number of entries where there is none.
std::size_t Stars::place_of(std::uint32_t v, std::uint32_t face) const {
  std::uint32_t const count = vertices_[v].star_count;
  if (count >= kHub) {
    auto const found = hub_places_.find(std::uint64_t{v} << 32 | face);
    return found == hub_places_.end() ? count : found->second;
  }
  return kernels_->find_face(entries_.get() + vertices_[v].star_begin, count, face);
}

void Stars::remove(std::uint32_t v, std::uint32_t face) {
  std::uint32_t const count = vertices_[v].star_count;
  StarEntry* const entries = entries_.get() + vertices_[v].star_begin;
  std::size_t const place = place_of(v, face);
  if (place >= count) return;
  entries[place] = entries[count - 1];
  if (count >= kHub) {
    hub_places_[std::uint64_t{v} << 32 | entries[place].face()] = static_cast<std::uint32_t>(place);
    hub_places_.erase(std::uint64_t{v} << 32 | face);
  }
  --vertices_[v].star_count;
  if (vertices_[v].slack < 255) ++vertices_[v].slack;
}

void Stars::rename(std::uint32_t v, std::uint32_t face, std::uint32_t from, std::uint32_t to) {
  std::size_t const place = place_of(v, face);
  if (place >= vertices_[v].star_count) return;
  StarEntry& entry = entries_[vertices_[v].star_begin + place];
  (entry.next == from ? entry.next : entry.previous) = to;
}

void Stars::rename(std::uint32_t v, std::uint32_t from, std::uint32_t to) {
  std::uint32_t const count = vertices_[v].star_count;
  StarEntry* const entries = entries_.get() + vertices_[v].star_begin;
  // Four entries are twelve words; every third is no vertex.
  static_assert(kBlock * sizeof(StarEntry) == 3 * sizeof(LaneMask));
  constexpr LaneMask kVertices[3] = {{-1, -1, 0, -1}, {-1, 0, -1, -1}, {0, -1, -1, 0}};
  LaneMask const change = LaneMask{} + static_cast<std::int32_t>(from ^ to);
  for (std::size_t i = 0; i < count; i += kBlock) {
    LaneMask words[3];
    std::memcpy(words, static_cast<void const*>(entries + i), sizeof(words));
    for (std::size_t k = 0; k < 3; ++k) {
      words[k] ^= (words[k] == static_cast<std::int32_t>(from)) & kVertices[k] & change;
    }
    std::memcpy(static_cast<void*>(entries + i), words, sizeof(words));
  }
}

void Stars::assign(std::uint32_t v, std::span<StarEntry const> entries) {
  Vertex& vertex = vertices_[v];
  auto const count = static_cast<std::uint32_t>(entries.size());
  std::uint32_t const capacity = vertex.star_count + vertex.slack;
  if (count > capacity) {
    std::size_t const room = in_rows(count);
    if (used_ + room > capacity_) {
      vertex.star_count = 0;
      compact();
      // A store that stays nearly full would be compacted at every step.
      if (used_ + room + capacity_ / 16 > capacity_) grow(in_rows(capacity_ + capacity_ / 4 + count));
    }
    vertex.star_begin = static_cast<std::uint32_t>(used_);
    std::fill_n(entries_.get() + used_ + count, room - count, StarEntry{});
    used_ += room;
    vertex.slack = static_cast<std::uint8_t>(room - count);
  } else {
    vertex.slack = static_cast<std::uint8_t>(std::min<std::uint32_t>(capacity - count, 255));
  }
  vertex.star_count = count;
  std::copy(entries.begin(), entries.end(), entries_.get() + vertex.star_begin);
  if (count >= kHub) index_hub(v);
}

void Stars::renumber(std::span<std::uint32_t const> numbers, std::span<std::uint32_t const> live) {
  // Stars lie in no order of their own: reading them is what takes the time.
  constexpr std::size_t kAhead = 24;
  std::size_t size = 0;
  for (std::uint32_t const v : live) size += in_rows(vertices_[v].star_count);
  std::size_t const capacity = with_room(size);
  Store entries = allocate(capacity);
  std::size_t begin = 0;
  for (std::size_t i = 0; i < live.size(); ++i) {
    if (i + kAhead < live.size()) fetch(live[i + kAhead]);
    Vertex vertex = vertices_[live[i]];
    StarEntry* to = entries.get() + begin;
    for (StarEntry const& entry : star(live[i])) {
      *to++ = {numbers[entry.next], numbers[entry.previous], entry.face_corner};
    }
    std::size_t const room = in_rows(vertex.star_count);
    vertex.star_begin = static_cast<std::uint32_t>(begin);
    vertex.slack = static_cast<std::uint8_t>(room - vertex.star_count);
    std::fill_n(to, vertex.slack, StarEntry{});
    begin += room;
    vertices_[i] = vertex;
  }
  vertices_.resize(live.size() + 1);
  vertices_.back() = Vertex{};
  vertices_.back().flags = kDead;
  entries_ = std::move(entries);
  capacity_ = capacity;
  used_ = begin;
  if (hub_places_.empty()) return;
  hub_places_.clear();
  for (std::uint32_t v = 0; v < live.size(); ++v) {
    if (is_hub(v)) index_hub(v);
  }
}

void Stars::grow(std::size_t capacity) {
  Store larger = allocate(capacity);
  std::copy_n(entries_.get(), used_, larger.get());
  entries_ = std::move(larger);
  capacity_ = capacity;
}

// Slides the rows of live stars together in place. Each live star's first entry is made to name its owner while the
// owner's star_begin keeps what stood there, so one sweep over the store finds every star in its order.
void Stars::compact() {
  for (std::uint32_t v = 0; v < vertices_.size(); ++v) {
    Vertex& vertex = vertices_[v];
    if (vertex.star_count == 0) {
      vertex.slack = 0;
      continue;
    }
    std::uint32_t const head = vertex.star_begin;
    vertex.star_begin = entries_[head].face_corner;
    entries_[head].face_corner = kHeadMark | v;
  }
  std::size_t to = 0;
  for (std::size_t from = 0; from < used_;) {
    if ((entries_[from].face_corner & kHeadMark) == 0) {
      from += kRow;
      continue;
    }
    Vertex& vertex = vertices_[entries_[from].face_corner & ~kHeadMark];
    entries_[from].face_corner = vertex.star_begin;
    vertex.star_begin = static_cast<std::uint32_t>(to);
    std::size_t const room = in_rows(vertex.star_count);
    std::copy_n(entries_.get() + static_cast<std::ptrdiff_t>(from), room,
                entries_.get() + static_cast<std::ptrdiff_t>(to));
    vertex.slack = static_cast<std::uint8_t>(room - vertex.star_count);
    to += room;
    from += room;
  }
  used_ = to;
}

}  // namespace mirel::engine
