// The candidates of the ladder in buckets of nearly equal key, four to the octave, first in first out in each.
//
// A strict heap orders keys more finely than their meaning and pays a cache miss per level for it; a bucket is the
// key's exponent and two mantissa bits. Entries are never moved or removed: one that no longer speaks for its
// owner is stale, and the taker skips it.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

namespace mirel::engine {

class BucketQueue {
 public:
  using Bucket = std::uint16_t;
  static constexpr std::uint32_t kBucketCount = 1024;

  // The bucket of a key >= 0.
  static Bucket bucket_of(float key) {
    return static_cast<Bucket>(std::bit_cast<std::uint32_t>(key) >> 21 & (kBucketCount - 1));
  }

  void push(std::uint32_t item, Bucket bucket) {
    buckets_[bucket].items.push_back(item);
    lowest_ = std::min<std::uint32_t>(lowest_, bucket);
  }

  // Takes the oldest entry of the lowest bucket; false when there is none.
  bool pop(std::uint32_t& item, Bucket& bucket) {
    for (; lowest_ < kBucketCount; ++lowest_) {
      Fifo& fifo = buckets_[lowest_];
      if (fifo.head < fifo.items.size()) {
        item = fifo.items[fifo.head++];
        bucket = static_cast<Bucket>(lowest_);
        return true;
      }
      fifo.items = {};
      fifo.head = 0;
    }
    return false;
  }

  // The entry `distance` places behind the one last taken, or false: to touch its memory early.
  bool peek(std::uint32_t distance, std::uint32_t& item) const {
    if (lowest_ >= kBucketCount) return false;
    Fifo const& fifo = buckets_[lowest_];
    if (fifo.head + distance >= fifo.items.size()) return false;
    item = fifo.items[fifo.head + distance];
    return true;
  }

 private:
  struct Fifo {
    std::vector<std::uint32_t> items;
    std::size_t head = 0;
  };
  std::vector<Fifo> buckets_ = std::vector<Fifo>(kBucketCount);
  std::uint32_t lowest_ = kBucketCount;
};

}  // namespace mirel::engine
