// What UVs and normals have to say about a collapse.
//
// On each face an attribute is a linear function of position. Moving a vertex by x and its attribute value by d costs
// w |g x - d|^2 on a face of gradient g and weight w (the attribute quadric of Hoppe 1999, here relative to the vertex
// and memoryless like the quadrics of star_metric.h). With the value put in that is best for the place, a star says
// x^T V x, V the sum of w (g - m)(g - m)^T and m the mean gradient: the variation of the attribute over the star. It is
// part of a vertex's quadric, so that whatever is evaluated by that counts attributes too, at seams as elsewhere. It is
// worked out when a vertex is made and not at each change around it. What an edge costs beyond it is how far apart the
// values are that its two stars foretell for the place; that is asked once, of an edge that is about to collapse.
#pragma once

#include <cstdint>

namespace mirel::engine {

inline constexpr std::uint32_t kMaxAttributes = 5;  // u, v, and a normal's x, y, z

enum AttributeKind : std::uint32_t { kUvs = 1, kNormals = 2 };

// A corner: its attributes as the mesh has them, 0 where there is none, and its position.
struct alignas(32) AttributeRow {
  float values[kMaxAttributes] = {};
  float position[3] = {};
};

// Attributes that faces foretell, each times the face's weight, and the weights for UVs and for normals: of one face,
// or sums.
struct alignas(32) ForetoldRow {
  float values[kMaxAttributes] = {};
  float weights[2] = {};
  float unused = 0;
};
static_assert(sizeof(AttributeRow) == 32 && sizeof(ForetoldRow) == 32);

// What the faces around a vertex that share its values say of each attribute, as of when they were last looked at: the
// mean of its gradients, and the weight behind that.
struct alignas(32) MeanGradients {
  float along[3][8] = {};  // x, y, z, each per attribute
  float weights[8] = {};   // per attribute
};

// How the attributes run along a face, times what they are compared with lengths by: gradients, first all x, then y,
// then z; and the weight behind each.
struct FaceGradients {
  float values[4 * kMaxAttributes];
};

// A wedge of a vertex with several.
struct SeamWedge {
  AttributeRow row;
  MeanGradients gradients;
};

// A face, the corner that may move first.
struct AttributeFace {
  AttributeRow const* corners[3];
};

// By what a unit of UV space, and of a normal, is multiplied to be compared with a length.
struct AttributeScale {
  float uv = 0;
  float normal = 0;
};

}  // namespace mirel::engine
