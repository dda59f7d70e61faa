// A patch of new faces laid over the triangles of the original that it has to answer for: the distances of both
// directions at once, many points at a time, exact where it says yes.
//
// The corners of all those triangles are measured against all new faces in floats; what floats may hide is taken off
// the radius. A triangle with its corners within the radius of one face is within it everywhere (the distance to a
// convex set is convex); one that lies over two faces is cut where it passes from one to the other.
//
// The other way around: take triangles of the original whose projection to the plane of a new face has no edge without
// its mate over the face. Then every point of the face is covered by as many of them, counted with their orientation,
// as its middle (the degree of a map is constant away from the image of the boundary); where that is not 0, no point is
// farther from the original than those triangles are high above the face.
//
// What it cannot settle is left to the general tests (piece_cover.h, triangle_bvh.h).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/local_face.h"
#include "standalone/engine/deviation/original_topology.h"
#include "standalone/engine/deviation/piece_cover.h"
#include "standalone/engine/deviation/triangle_bvh.h"

namespace mirel::engine {

class PatchOverlay {
 public:
  PatchOverlay(TriangleBvh const& original, std::span<std::uint32_t const> faces);

  // Starts a question: the triangles in the slots, each once, against the new faces. Both are kept by reference. False
  // when the sizes are beyond what floats can settle.
  bool start(std::span<std::uint32_t const> slots, std::span<CoverTriangle const> fresh, double radius);
  // Whether faces around may help, and adds them; kept by reference.
  bool needs_others() const { return !far_.empty(); }
  void add_others(std::span<CoverTriangle const> around);
  // The box of the points that they might help.
  void bounds_of_far(Vec& low, Vec& high) const;
  // Whether a corner is beyond the radius of all those faces; `i`: a triangle that has it, `k`: which of its corners.
  bool find_beyond(std::size_t& i, std::size_t& k) const;
  // The corner farthest from new face j among those nearest to it; false when there is none.
  bool find_farthest(std::size_t j, std::size_t& i, std::size_t& k) const;
  // Squared distance, about, of the corner of the triangle in slots[i] that is farthest from its nearest face.
  float worst_corner(std::size_t i) const;

  // Whether the triangle in slots[i] is within the radius. `used`: one or two faces; `distance`: a bound.
  struct Cover {
    std::array<std::uint32_t, 2> faces;
    std::uint32_t count = 0;  // 0: not settled
    double distance = 0;
  };
  Cover cover(std::size_t i);

  // Whether new face j is within the radius of the original: a bound, or infinity where that is not settled.
  double distance_of_face(std::size_t j);

 private:
  struct Corner {
    std::uint32_t fresh;    // the nearest new face
    float squared;          // from it
    std::uint32_t nearest;  // of new faces and, behind them, those around
    float nearest_squared;
  };

  void list_points(std::span<std::uint32_t const> slots);
  void measure_fresh();
  void list_triangles_of_faces();
  float squared_to(std::uint32_t face, std::uint32_t point) const;
  bool cut(std::size_t i, std::uint32_t a, std::uint32_t b, double& worst) const;
  // A point in the frame of a new face.
  struct Place {
    float x, y, z;
  };
  bool places_of(std::size_t j, std::uint32_t slot, std::array<Place, 3>& places) const;
  float highest_over(std::size_t j, std::array<Place, 3> const& places) const;
  CoverTriangle const& face(std::uint32_t index) const {
    return index < fresh_.size() ? fresh_[index] : around_[index - fresh_.size()];
  }
  Vec corner(std::size_t i, std::size_t k) const { return original_.corner(slots_[i], static_cast<std::uint32_t>(k)); }

  TriangleBvh const& original_;
  OriginalTopology topology_;

  std::span<std::uint32_t const> slots_;
  std::span<CoverTriangle const> fresh_, around_;
  double radius_ = 0;
  double extent_ = 0;
  double slack_ = 0;
  float within_ = 0;  // squared radius, less what floats may hide

  std::uint32_t epoch_ = 0;
  std::vector<std::uint32_t> position_mark_, position_point_;  // per position of the original
  std::vector<std::uint32_t> slot_mark_, slot_index_;          // per slot
  std::vector<std::uint32_t> in_cover_;                        // per slot: the last face that took it
  std::uint32_t cover_stamp_ = 0;
  bool triangles_listed_ = false;

  std::vector<std::array<std::uint32_t, 3>> points_of_;  // per triangle
  std::vector<std::uint32_t> triangle_of_;               // per point: a triangle and which of its corners
  std::vector<float> x_, y_, z_;                         // points, up to full blocks
  std::size_t point_count_ = 0;
  std::vector<LocalFace> local_;                              // of new faces
  std::vector<char> flat_;                                    // whether they have a plane
  std::vector<float> place_x_, place_y_, place_z_, squared_;  // new faces x points
  std::vector<Corner> corners_;
  std::vector<std::uint32_t> far_;
  std::vector<float> far_x_, far_y_, far_z_, far_place_x_, far_place_y_, far_place_z_, far_squared_;
  Vec origin_;
  // Triangles by the new face that a corner is nearest to.
  std::vector<std::uint32_t> triangles_begin_, triangles_;
  std::vector<std::uint32_t> stack_;
};

}  // namespace mirel::engine
