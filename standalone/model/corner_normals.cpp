#include "standalone/model/corner_normals.h"

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

double corner_angle(SUPoint3D const& at, SUPoint3D const& before, SUPoint3D const& after) {
  SUVector3D const a = {before.x - at.x, before.y - at.y, before.z - at.z};
  SUVector3D const b = {after.x - at.x, after.y - at.y, after.z - at.z};
  SUVector3D const cross = {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
  return std::atan2(std::hypot(cross.x, cross.y, cross.z), a.x * b.x + a.y * b.y + a.z * b.z);
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
    for (std::uint32_t place = 0; place < face.corner_count; ++place) {
      auto const point = [&](std::uint32_t other) -> SUPoint3D const& {
        return entities.vertices[entities.corners[face.first_corner + other % face.corner_count].vertex];
      };
      double const angle = corner_angle(point(place), point(place + face.corner_count - 1), point(place + 1));
      std::uint32_t const corner = face.first_corner + place;
      std::uint32_t const group = find_group(result.groups, corner);
      result.groups[corner] = group;
      CornerNormals::Normal& sum = result.normals[group];
      sum.x += static_cast<float>(normal.x * angle);
      sum.y += static_cast<float>(normal.y * angle);
      sum.z += static_cast<float>(normal.z * angle);
    }
  }
  for (CornerNormals::Normal& normal : result.normals) {
    float const length = std::hypot(normal.x, normal.y, normal.z);
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
