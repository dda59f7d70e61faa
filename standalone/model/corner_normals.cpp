#include "standalone/model/corner_normals.h"

#include <algorithm>
#include <cmath>

namespace mirel::model {

namespace {

std::uint32_t find_group(std::vector<std::uint32_t>& groups, std::uint32_t corner) {
  while (groups[corner] != corner) {
    groups[corner] = groups[groups[corner]];
    corner = groups[corner];
  }
  return corner;
}

void join(std::vector<std::uint32_t>& groups, std::uint32_t a, std::uint32_t b) {
  a = find_group(groups, a);
  b = find_group(groups, b);
  groups[a > b ? a : b] = a > b ? b : a;
}

// The face's corner at the vertex, as a number among all corners.
std::uint32_t corner_at(Entities const& entities, Face const& face, std::uint32_t vertex) {
  std::uint32_t corner = face.first_corner;
  std::uint32_t const last = face.first_corner + face.corner_count - 1;
  while (corner < last && entities.corners[corner].vertex != vertex) {
    ++corner;
  }
  return corner;
}

// In radians; only a weight, so that small errors do no harm.
float corner_angle(SUVector3D const& to_before, SUVector3D const& to_after) {
  double const dot = to_before.x * to_after.x + to_before.y * to_after.y + to_before.z * to_after.z;
  double const lengths = vector_length(to_before) * vector_length(to_after);
  return lengths > 0 ? std::acos(static_cast<float>(std::clamp(dot / lengths, -1.0, 1.0))) : 0.0F;
}

void join_smooth_corners(Entities const& entities, std::vector<std::uint32_t>& groups) {
  for (std::size_t number = 0; number < entities.edges.size(); ++number) {
    Edge const& edge = entities.edges[number];
    if (edge.is_smooth == 0 || edge.face_count != 2 || edge.faces[0] == edge.faces[1]) {
      continue;
    }
    Face const& first = entities.faces[edge.faces[0]];
    Face const& second = entities.faces[edge.faces[1]];
    for (std::uint32_t const vertex : edge.vertices) {
      join(groups, corner_at(entities, first, vertex), corner_at(entities, second, vertex));
    }
  }
}

}  // namespace

CornerNormals compute_corner_normals(Entities const& entities) {
  CornerNormals result;
  auto const corner_count = static_cast<std::uint32_t>(entities.corners.size());
  result.groups.resize(corner_count);
  for (std::uint32_t corner = 0; corner < corner_count; ++corner) {
    result.groups[corner] = corner;
  }
  join_smooth_corners(entities, result.groups);
  result.normals.assign(corner_count, {0, 0, 0});
  for (std::size_t number = 0; number < entities.faces.size(); ++number) {
    Face const& face = entities.faces[number];
    SUVector3D const normal = face_normal(entities, face);
    auto const point = [&](std::uint32_t place) -> SUPoint3D const& {
      return entities.vertices[entities.corners[face.first_corner + place].vertex];
    };
    auto const between = [](SUPoint3D const& from, SUPoint3D const& to) {
      return SUVector3D{to.x - from.x, to.y - from.y, to.z - from.z};
    };
    SUVector3D arriving = between(point(face.corner_count - 1), point(0));
    for (std::uint32_t place = 0; place < face.corner_count; ++place) {
      SUVector3D const leaving = between(point(place), point(place + 1 == face.corner_count ? 0 : place + 1));
      float const angle = corner_angle({-arriving.x, -arriving.y, -arriving.z}, leaving);
      arriving = leaving;
      std::uint32_t const corner = face.first_corner + place;
      std::uint32_t const group = find_group(result.groups, corner);
      result.groups[corner] = group;
      CornerNormals::Normal& sum = result.normals[group];
      sum.x += static_cast<float>(normal.x) * angle;
      sum.y += static_cast<float>(normal.y) * angle;
      sum.z += static_cast<float>(normal.z) * angle;
    }
  }
  for (CornerNormals::Normal& normal : result.normals) {
    float const length = std::sqrt(normal.x * normal.x + normal.y * normal.y + normal.z * normal.z);
    if (length > 1e-6F) {
      normal = {normal.x / length, normal.y / length, normal.z / length};
    } else {
      // Opposite faces cancel out, and faces without area have none: some unit vector must do.
      normal = {0, 0, 1};
    }
  }
  return result;
}

}  // namespace mirel::model
