// Figures on how far one surface is from another: by samples, and by bounds where exactness is asked for.
#pragma once

#include "standalone/compare/mirel_compare.h"
#include "standalone/compare/surface.h"

namespace mirel::compare {

// Both surfaces have an area. Throws std::bad_alloc.
MirelCompareResult compare(Surface const& first, Surface const& second, MirelCompareOptions const& options);

}  // namespace mirel::compare
