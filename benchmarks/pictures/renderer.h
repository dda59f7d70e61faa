// Draws a textured mesh in software, the same on every machine and for every simplifier: parallel projection, a depth
// buffer, bilinear textures that repeat, light from the interpolated normals, both sides of a face, nine samples for
// each pixel.
#pragma once

#include <array>
#include <span>

#include "benchmarks/pictures/likeness.h"
#include "benchmarks/pictures/textured_mesh.h"

namespace mirel::pictures {

using Direction = std::array<double, 3>;

struct Camera {
  std::array<double, 3> centre{};  // of the picture, model units
  double reach = 1;                // from the centre to a border of the picture, model units
  Direction towards{0, 0, 1};      // from the model to the eye, unit length
};

inline constexpr std::uint32_t kPictureSize = 320;  // pixels in width and height

// Eight cameras, one for each octant, that show all of a mesh.
std::array<Camera, 8> cameras_around(TexturedMesh const& mesh);

Picture draw(TexturedMesh const& mesh, std::span<Texture const> textures, Camera const& camera,
             std::uint32_t size = kPictureSize);

}  // namespace mirel::pictures
