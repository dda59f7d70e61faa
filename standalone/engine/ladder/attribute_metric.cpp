#include "standalone/engine/ladder/attribute_metric.h"

#include <cstddef>
#include <cstring>

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

void add(AttributeRow const& row, AttributeSums& sums) {
  float* const floats = sums.floats;
  for (std::size_t part = 0; part < 24; part += 4) {
    Lanes a, b;
    std::memcpy(&a, floats + part, sizeof(a));
    std::memcpy(&b, row.values + part, sizeof(b));
    a += b;
    std::memcpy(floats + part, &a, sizeof(a));
  }
}

void subtract(AttributeRow const& other, AttributeRow& row) {
  for (std::size_t part = 0; part < 24; part += 4) {
    Lanes a, b;
    std::memcpy(&a, row.values + part, sizeof(a));
    std::memcpy(&b, other.values + part, sizeof(b));
    a -= b;
    std::memcpy(row.values + part, &a, sizeof(a));
  }
}

}  // namespace mirel::engine
