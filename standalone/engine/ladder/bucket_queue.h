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
  // Calls visit(entry, bucket) for all entries, bucket by bucket, oldest first.
  template <typename Visit>
  void for_each(Visit const& visit) const {
    for (std::uint32_t bucket = lowest_; bucket < kBucketCount; ++bucket) {
      for (Entry const& entry : rest(static_cast<Bucket>(bucket))) visit(entry, static_cast<Bucket>(bucket));
    }
  }

 private:
  struct Fifo {
    std::vector<Entry> entries;
    std::size_t head = 0;
  };
  std::vector<Fifo> buckets_ = std::vector<Fifo>(kBucketCount);
  std::uint32_t lowest_ = kBucketCount;
};

// One queue for each stretch of vertices in memory order, so that the work on a mesh beyond the cache stays within it
// for a while: in each round every stretch, one after the other, is taken through the same few buckets. Between two
// rounds no stretch is ahead of another; a mesh that fits into the cache is one stretch, in the order of its keys
// alone.
class BlockedQueue {
 public:
  using Bucket = BucketQueue::Bucket;
  using Entry = BucketQueue::Entry;
  // Buckets of a round: half an octave of keys, which costs no error; an octave in meshes of many stretches, where the
  // way through memory counts for more.
  static constexpr std::uint32_t kRound = 2;
  static constexpr std::uint32_t kLongRound = 4;
  static constexpr std::size_t kManyStretches = 32;
  // Vertices of a stretch: about a megabyte with their stars.
  static constexpr std::uint32_t kStretchBits = 13;
  // So many vertices are one stretch still.
  static constexpr std::uint32_t kLargestStretch = 2U << kStretchBits;

  void start(std::uint32_t vertex_count) {
    shift_ = kStretchBits;
    std::uint32_t const count = vertex_count <= kLargestStretch ? 1 : ((vertex_count - 1) >> kStretchBits) + 1;
    while (count == 1 && (vertex_count >> shift_) > 0) ++shift_;
    queues_.resize(count);
  }
  // An item is a vertex, or above them all.
  void push(Entry entry, Bucket bucket) {
    queues_[std::min<std::size_t>(entry.item >> shift_, queues_.size() - 1)].push(entry, bucket);
  }

  // Begins a round; false when all stretches are empty.
  bool start_round() {
    current_ = 0;
    std::uint32_t lowest = BucketQueue::kBucketCount;
    Bucket bucket = 0;
    for (BucketQueue& queue : queues_) {
      if (queue.find_lowest(bucket)) lowest = std::min<std::uint32_t>(lowest, bucket);
    }
    if (lowest == BucketQueue::kBucketCount) return false;
    std::uint32_t const round = queues_.size() < kManyStretches ? kRound : kLongRound;
    ceiling_ = lowest / round * round + round;
    return true;
  }
  // Goes to the bucket that is next in the round; false when the round is over.
  bool find_next(Bucket& bucket) {
    for (; current_ < queues_.size(); ++current_) {
      if (queues_[current_].find_lowest(bucket) && bucket < ceiling_) return true;
    }
    return false;
  }
  // Of the stretch at hand.
  std::span<Entry const> rest(Bucket bucket) const { return queues_[current_].rest(bucket); }
  void drop(Bucket bucket, std::size_t count) { queues_[current_].drop(bucket, count); }

  bool is_one_stretch() const { return queues_.size() == 1; }
  // Calls visit(entry, bucket) for all entries, stretch by stretch.
  template <typename Visit>
  void for_each(Visit const& visit) const {
    for (BucketQueue const& queue : queues_) queue.for_each(visit);
  }

 private:
  std::vector<BucketQueue> queues_ = std::vector<BucketQueue>(1);
  std::uint32_t shift_ = 31;
  std::size_t current_ = 0;
  std::uint32_t ceiling_ = 0;
};

}  // namespace mirel::engine
