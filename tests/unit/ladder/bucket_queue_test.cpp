#include "standalone/engine/ladder/bucket_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace mirel::engine {
namespace {

std::vector<std::uint32_t> drain(BlockedQueue& queue) {
  std::vector<std::uint32_t> items;
  BlockedQueue::Bucket bucket = 0;
  while (queue.start_round()) {
    while (queue.find_next(bucket)) {
      items.push_back(queue.rest(bucket)[0].item);
      queue.drop(bucket, 1);
    }
  }
  return items;
}

TEST(BlockedQueueTest, OneStretchIsInOrderOfBucketsThenOfArrival) {
  BlockedQueue queue;
  queue.start(100);
  for (auto const& [item, bucket] : {std::pair{7U, 9}, {3U, 5}, {8U, 9}, {4U, 5}, {1U, 800}}) {
    queue.push({item, 0}, static_cast<BlockedQueue::Bucket>(bucket));
  }
  EXPECT_EQ(drain(queue), (std::vector<std::uint32_t>{3, 4, 7, 8, 1}));
}

TEST(BlockedQueueTest, ABucketBelowTheOneAtHandComesNext) {
  BlockedQueue queue;
  queue.start(100);
  queue.push({1, 0}, 50);
  queue.push({2, 0}, 50);
  BlockedQueue::Bucket bucket = 0;
  ASSERT_TRUE(queue.start_round());
  ASSERT_TRUE(queue.find_next(bucket));
  queue.drop(bucket, 1);
  queue.push({3, 0}, 20);
  EXPECT_EQ(drain(queue), (std::vector<std::uint32_t>{3, 2}));
}

TEST(BlockedQueueTest, StretchesTakeTurnsByRounds) {
  std::uint32_t const stretch = 1U << BlockedQueue::kStretchBits;
  BlockedQueue queue;
  queue.start(16 * stretch);
  std::uint32_t const far = 9 * stretch;
  // Both buckets of one round for the first stretch before the second's; the next round after both.
  queue.push({1, 0}, 101);
  queue.push({far, 0}, 100);
  queue.push({2, 0}, 100);
  queue.push({3, 0}, 102);
  queue.push({far + 1, 0}, 101);
  EXPECT_EQ(drain(queue), (std::vector<std::uint32_t>{2, 1, far, far + 1, 3}));
}

TEST(BlockedQueueTest, WhatIsLeftIsVisitedByStretchThenBucketThenArrival) {
  std::uint32_t const stretch = 1U << BlockedQueue::kStretchBits;
  for (std::uint32_t const stretches : {1U, 3U, 9U, 33U}) {
    BlockedQueue queue;
    queue.start(stretches * stretch);
    EXPECT_EQ(queue.is_one_stretch(), stretches == 1);
    std::uint32_t pushed = 0;
    for (std::uint32_t item = 0; item < stretches * stretch; item += 97, ++pushed) {
      queue.push({item, item + 1}, static_cast<BlockedQueue::Bucket>(item % 40));
    }
    BlockedQueue::Bucket bucket = 0;
    ASSERT_TRUE(queue.start_round());
    ASSERT_TRUE(queue.find_next(bucket));
    std::uint32_t const taken = queue.rest(bucket)[0].item;
    queue.drop(bucket, 1);
    std::vector<std::array<std::uint32_t, 3>> seen;
    queue.for_each([&](BlockedQueue::Entry const& entry, BlockedQueue::Bucket of) {
      EXPECT_EQ(entry.partner, entry.item + 1);
      EXPECT_EQ(entry.item % 40, of);
      EXPECT_NE(entry.item, taken);
      seen.push_back({entry.item / stretch, of, entry.item});
    });
    EXPECT_EQ(seen.size(), pushed - 1);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  }
}

}  // namespace
}  // namespace mirel::engine
