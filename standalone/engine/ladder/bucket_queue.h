// The candidates of the ladder in buckets of nearly equal key, four to the octave, first in first out in each.
//
// A strict heap orders keys more finely than their meaning and pays a cache miss per level for it; a bucket is the
// key's exponent and two mantissa bits. Entries are never moved or removed: one that no longer speaks for its
// owner is stale, and the taker skips it.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
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

  struct Entry {
    std::uint32_t item;
    std::uint32_t partner;  // the other end of the edge that put it here, as of then; any number where there is none
  };

  void push(Entry entry, Bucket bucket) {
    Fifo& fifo = buckets_[bucket];
    if (fifo.entries.size() == fifo.entries.capacity() && fifo.head > fifo.entries.size() / 2) {
      fifo.entries.erase(fifo.entries.begin(), fifo.entries.begin() + static_cast<std::ptrdiff_t>(fifo.head));
      fifo.head = 0;
    }
    fifo.entries.push_back(entry);
    lowest_ = std::min<std::uint32_t>(lowest_, bucket);
  }

  // The lowest bucket that has an entry; false when there is none.
  bool find_lowest(Bucket& bucket) {
    for (; lowest_ < kBucketCount; ++lowest_) {
      Fifo& fifo = buckets_[lowest_];
      if (fifo.head < fifo.entries.size()) {
        bucket = static_cast<Bucket>(lowest_);
        return true;
      }
      fifo.entries = {};
      fifo.head = 0;
    }
    return false;
  }

  // What is left in a bucket, oldest first. Any push may move it.
  std::span<Entry const> rest(Bucket bucket) const {
    return std::span(buckets_[bucket].entries).subspan(buckets_[bucket].head);
  }
  // Takes the oldest entries of a bucket out.
  void drop(Bucket bucket, std::size_t count) { buckets_[bucket].head += count; }

 private:
  struct Fifo {
    std::vector<Entry> entries;
    std::size_t head = 0;
  };
  std::vector<Fifo> buckets_ = std::vector<Fifo>(kBucketCount);
  std::uint32_t lowest_ = kBucketCount;
};

}  // namespace mirel::engine
