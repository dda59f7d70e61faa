// Cuts polygons into triangles.
#pragma once

#include <fbxsdk/math.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mirel::fbx {

// Every polygon of n corners becomes n - 2 triangles of its own corners, so that whatever hangs on a corner stays:
// corners that coincide or lie on a line are kept, which is why no general tessellator does this. Simple polygons come
// out without overlaps, concave ones and ones with bridges to their holes too; of polygons that cross themselves only
// the number of triangles is certain. The work is bounded by the number of corners times a constant.
class PolygonCutter {
 public:
  // Appends the triangles as numbers of the polygon's corners, 0 to `count` - 1; `count` is 3 or more. Corner k lies at
  // points[corners[k]].
  void cut(fbxsdk::FbxVector4 const* points, int const* corners, std::size_t count,
           std::vector<std::uint32_t>& triangles);

 private:
  struct Point {
    double x;
    double y;
  };
  using Index = std::uint32_t;

  // To the plane in which the polygon is largest; false when it has no area.
  bool project(fbxsdk::FbxVector4 const* points, int const* corners, std::size_t count);
  bool is_convex() const;
  void fan(std::vector<Index>& triangles) const;
  void clip_ears(std::vector<Index>& triangles);
  void sort_into_grid();
  // Twice the signed area.
  double area(Index a, Index b, Index c) const;
  bool holds_corner(Index a, Index b, Index c);
  bool is_inside(Index corner, Index a, Index b, Index c) const;
  std::size_t column(double x) const;
  std::size_t row(double y) const;

  std::vector<Point> flat_;
  std::vector<Index> previous_;
  std::vector<Index> next_;
  std::vector<char> is_gone_;
  std::vector<Index> queue_;
  std::vector<char> is_queued_;
  // Reflex corners by cell of a grid, for polygons of many corners.
  std::vector<Index> cell_starts_;
  std::vector<Index> cell_corners_;
  std::size_t side_ = 0;
  Point low_ = {0, 0};
  double columns_per_unit_ = 0;
  double rows_per_unit_ = 0;
  std::size_t work_left_ = 0;
};

}  // namespace mirel::fbx
