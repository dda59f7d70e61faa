// Transformations that no translation, rotation and scale make, split into two that they do.
#pragma once

#include <SketchUpAPI/sketchup.h>

namespace mirel::model {

struct SplitTransform {
  bool is_split = false;
  SUTransformation outer;  // axes at right angles, of any length
  SUTransformation inner;  // a rotation or reflection
};

// outer * inner is the transformation, up to rounding. One whose axes are at right angles is not split: outer is the
// transformation then, and inner the identity. By the eigenvectors of its square (Jacobi's rotations).
SplitTransform split_shear(SUTransformation const& transform);

// Of a transformation whose axes are at right angles: those without length get one that is nothing beside the others,
// so that the transformation stays a translation, rotation and scale for readers that divide by the lengths.
SUTransformation with_thickness(SUTransformation const& transform);

}  // namespace mirel::model
