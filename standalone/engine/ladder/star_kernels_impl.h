// The kernels for any width. Included by one file for each width, and by nothing else; only templates of the width
// and plain data are used, so that no function compiled for a wider machine can stand in for another's.
#pragma once

#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/star_kernels.h"

namespace mirel::engine::kernels {

template <int width>
inline __attribute__((always_inline)) MaskLanes<width> lane_numbers() {
  MaskLanes<width> numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  return numbers;
}

template <int width>
bool has_closed_fans(StarEntry const* star, std::uint32_t count) {
  using M = MaskLanes<width>;
  M wrong = {};
  for (std::uint32_t first = 0; first < count; first += width) {
    M previous;
    for (std::uint32_t k = 0; k < width; ++k) previous[k] = static_cast<std::int32_t>(star[first + k].previous);
    M partners = {};
    M same = {};
    for (std::uint32_t i = 0; i < count; ++i) {
      partners -= previous == static_cast<std::int32_t>(star[i].next);
      same -= previous == static_cast<std::int32_t>(star[i].previous);
    }
    M const valid = lane_numbers<width>() < static_cast<std::int32_t>(count - first);
    wrong |= valid & ((partners != 1) | (same != 1));
  }
  return lane_bits(wrong) == 0;
}

template <int width>
bool pair_faces(StarEntry const* star, std::uint32_t count, std::uint32_t* partners) {
  using M = MaskLanes<width>;
  static_assert(kMostPaired % Stars::kRow == 0 && kMostPaired < 32);
  M previous[kMostPaired / width];
  for (std::uint32_t first = 0; first < count; first += width) {
    for (std::uint32_t k = 0; k < width; ++k) {
      previous[first / width][k] = static_cast<std::int32_t>(star[first + k].previous);
    }
  }
  std::uint32_t const all_bits = (1U << count) - 1;
  std::uint32_t paired = 0;
  bool sound = true;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t found = 0;
    for (std::uint32_t first = 0; first < count; first += width) {
      found |= lane_bits(previous[first / width] == static_cast<std::int32_t>(star[i].next)) << first;
    }
    found &= all_bits;
    sound = sound && found != 0 && (found & (found - 1)) == 0;
    partners[i] = static_cast<std::uint32_t>(__builtin_ctz(found | 1U << 31));
    paired |= found;
  }
  return sound && paired == all_bits;
}

template <int width>
std::uint32_t count_shared(StarEntry const* a, std::uint32_t count_a, StarEntry const* b, std::uint32_t count_b) {
  using M = MaskLanes<width>;
  std::uint32_t shared = 0;
  for (std::uint32_t first = 0; first < count_a; first += width) {
    M ids;
    for (std::uint32_t k = 0; k < width; ++k) ids[k] = static_cast<std::int32_t>(a[first + k].next);
    M found = {};
    for (std::uint32_t i = 0; i < count_b; ++i) found |= ids == static_cast<std::int32_t>(b[i].next);
    found &= lane_numbers<width>() < static_cast<std::int32_t>(count_a - first);
    shared += static_cast<std::uint32_t>(__builtin_popcount(lane_bits(found)));
  }
  return shared;
}

template <int width>
std::uint32_t find_face(StarEntry const* star, std::uint32_t count, std::uint32_t face) {
  using M = MaskLanes<width>;
  for (std::uint32_t first = 0; first < count; first += width) {
    M corners;
    for (std::uint32_t k = 0; k < width; ++k) corners[k] = static_cast<std::int32_t>(star[first + k].face_corner);
    M const found = ((corners ^ static_cast<std::int32_t>(face << 2)) & ~3) == 0;
    M const valid = lane_numbers<width>() < static_cast<std::int32_t>(count - first);
    unsigned const bits = lane_bits(found & valid);
    if (bits != 0) return first + static_cast<std::uint32_t>(__builtin_ctz(bits));
  }
  return count;
}

// Which words of one of the three vectors that `width` entries fill name a vertex. A constant: put together at run time
// it would be stored word by word and loaded at once, which waits until the stores are done.
template <int width>
inline __attribute__((always_inline)) MaskLanes<width> vertex_words(int part) {
  MaskLanes<width> words = {};
  for (int k = 0; k < width; ++k) words[k] = (part * width + k) % 3 == 2 ? 0 : -1;
  return words;
}

template <int width>
void rename_in_ring(Vertex const* vertices, StarEntry* entries, StarEntry const* star, std::uint32_t count,
                    std::uint32_t from, std::uint32_t to) {
  using M = MaskLanes<width>;
  static_assert(sizeof(StarEntry) == 12 && width <= Stars::kRow);
  // As many entries as there are lanes are three times as many words; every third is no vertex.
  M const change = M{} + static_cast<std::int32_t>(from ^ to);
  M const changes[3] = {change & vertex_words<width>(0), change & vertex_words<width>(1),
                        change & vertex_words<width>(2)};
  for (std::uint32_t i = 0; i < count; ++i) {
    Vertex const& vertex = vertices[star[i].next];
    StarEntry* const block = entries + vertex.star_begin;
    for (std::uint32_t first = 0; first < vertex.star_count; first += width) {
      char* const bytes = reinterpret_cast<char*>(block + first);
      // One by one: an array of them would go through memory in parts.
      for (std::size_t part = 0; part < 3; ++part) {
        M words;
        __builtin_memcpy(&words, bytes + part * sizeof(M), sizeof(M));
        words ^= (words == static_cast<std::int32_t>(from)) & changes[part];
        __builtin_memcpy(bytes + part * sizeof(M), &words, sizeof(M));
      }
    }
  }
}

// The twelve floats of a row or of a vertex, in as few vectors as the width allows.
template <int width>
struct RowLanes {
  FloatLanes<width> low[8 / width];
  Lanes high;

  inline __attribute__((always_inline)) void load(float const* from) {
    __builtin_memcpy(low, from, sizeof(low));
    __builtin_memcpy(&high, from + 8, sizeof(high));
  }
  inline __attribute__((always_inline)) void store(float* to) const {
    __builtin_memcpy(to, low, sizeof(low));
    __builtin_memcpy(to + 8, &high, sizeof(high));
  }
  inline __attribute__((always_inline)) void add(RowLanes const& other) {
    for (int k = 0; k < 8 / width; ++k) low[k] += other.low[k];
    high += other.high;
  }
};

template <int width>
RingState change_ring(Vertex* vertices, Fan const& fan, FaceRow const* changes, BucketQueue::Bucket set_aside,
                      std::uint32_t skipped) {
  RingState state;
  for (std::uint32_t i = 0; i < fan.count; ++i) {
    StarEntry const& face = fan.faces[i];
    RowLanes<width> change, row;
    change.load(changes[i].values);
    for (std::uint32_t const v : {face.next, face.previous}) {
      Vertex& vertex = vertices[v];
      bool const hub = vertex.star_count >= Stars::kHub;
      std::uint8_t const flags = vertex.flags;
      state.flags |= flags;
      state.any_set_aside |= vertex.bucket == set_aside;
      state.any_hub |= hub;
      vertex.flags = static_cast<std::uint8_t>(flags & ~kFresh);
      if ((flags & skipped) != 0 && !hub) continue;
      row.load(&vertex.x);
      row.add(change);
      row.store(&vertex.x);
    }
  }
  return state;
}

}  // namespace mirel::engine::kernels
