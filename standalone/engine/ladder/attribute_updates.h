// Keeping attribute sums up to date, in lanes of four.
#pragma once

#include <cstddef>
#include <cstring>

#include "standalone/engine/ladder/attribute_metric.h"
#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

// Adds a row to sums.
inline void add(AttributeRow const& row, AttributeSums& sums) {
  for (std::size_t part = 0; part < 24; part += 4) {
    Lanes a, b;
    std::memcpy(&a, sums.floats + part, sizeof(a));
    std::memcpy(&b, row.values + part, sizeof(b));
    a += b;
    std::memcpy(sums.floats + part, &a, sizeof(a));
  }
}

inline void subtract(AttributeRow const& row, AttributeSums& sums) {
  for (std::size_t part = 0; part < 24; part += 4) {
    Lanes a, b;
    std::memcpy(&a, sums.floats + part, sizeof(a));
    std::memcpy(&b, row.values + part, sizeof(b));
    a -= b;
    std::memcpy(sums.floats + part, &a, sizeof(a));
  }
}

// Adds what a face says now less what it said before to the sums of two of its corners.
inline void add_change(AttributeRow const& before, AttributeRow const& after, AttributeSums& first,
                       AttributeSums& second) {
  for (std::size_t part = 0; part < 24; part += 4) {
    Lanes was, change, sum;
    std::memcpy(&was, before.values + part, sizeof(was));
    std::memcpy(&change, after.values + part, sizeof(change));
    change -= was;
    AttributeSums* const both[] = {&first, &second};
    for (AttributeSums* const sums : both) {
      std::memcpy(&sum, sums->floats + part, sizeof(sum));
      sum += change;
      std::memcpy(sums->floats + part, &sum, sizeof(sum));
    }
  }
}

}  // namespace mirel::engine
