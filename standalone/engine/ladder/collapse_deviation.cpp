// What a collapse costs beyond its quadric: how far it takes the surface at one point.
//
// The quadric weighs planes by the size of their faces, and so what is small or thin in all directions (tips, rods,
// ends of plates) costs it next to nothing: along a rod all planes but those of its cap are silent. Such a collapse is
// held against the distance that it is seen to make, with the weight that a face of the mean size would have.
#include <algorithm>
#include <cmath>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

// Squared deviation times what a mean face weighs to key. On smooth ground the quadric alone comes to about 3.
constexpr float kDeviationWeight = 4;
// How much of the deviation that an end has already, as its key tells it, adds to that of the collapse.
constexpr float kDeviationHistory = 0.5F;
// Stars less flat than this, or of small faces, are measured; the quadric speaks for the others. 1 is flat.
constexpr float kFlatStar = 0.9F;
constexpr float kFlatStarCubed = kFlatStar * kFlatStar * kFlatStar;
// Sum of the traces of two regular stars of mean faces: 20.
constexpr float kSmallStars = 8;
// Times what a mean face weighs and kTurns: what faces that turn cost. More costs mean error.
constexpr float kTurnWeight = 0.3F;

// Deviations below this come from rounding as well as from the collapse.
constexpr float kNoise = 4e-6F;

// A quadric in single precision is off by so much of its trace in any direction.
constexpr float kEpsilon = 6e-8F;
// On a plane, deviations above this are no noise.
constexpr float kFlatNoise = 1e-6F;
// Times the length of an edge to the power of six: the traces of its stars to the power of four are less where faces
// are thin. 14,000 where they are equilateral.
constexpr float kRegularStars = 350;
// The share of a quadric's trace that planes which are as good as one have along their normal.
constexpr float kOnePlane = 0.999F;

float trace(Vertex const& v) {
  return v.quadric[0] + v.quadric[3] + v.quadric[5];
}

}  // namespace

void LadderBuilder::measure_faces() {
  float const area = static_cast<float>(area_) / static_cast<float>(std::max(live_faces_, 1U));
  face_plane_ = std::sqrt(area) * std::sqrt(std::sqrt(area));
  per_face_area_ = 1 / area;
  per_face_plane_ = 1 / face_plane_;
}

// Whether the sum of the faces' cross products is about as long as if all lay in one plane and were of one size.
bool LadderBuilder::is_flat(Vertex const& v, float trace) const {
  float const length2 = v.normal[0] * v.normal[0] + v.normal[1] * v.normal[1] + v.normal[2] * v.normal[2];
  auto const count = static_cast<float>(v.star_count);
  // Both in faces of the mean size. A face weighs its area's power of 3/4, so n faces that are alike have a length of n
  // times the power of 4/3 of their mean weight: l^3 n = w^4, and here the squares of both sides.
  float const length = (length2 * per_face_area_) * per_face_area_;
  float const weight = trace * per_face_plane_;
  float const weight2 = weight * weight;
  return length * length * length * (count * count) >=
         kFlatStarCubed * kFlatStarCubed * (weight2 * weight2) * (weight2 * weight2);
}

// Where all faces around an edge lie in one plane that is not parallel to the axes, its key is what rounding makes of
// nothing: it would be another one each time, and the vertices would be filed anew and again. All such edges count as
// equal, as they do where the plane is parallel to the axes.
float LadderBuilder::key_on_plane(float key, std::uint32_t a, std::uint32_t b) const {
  Vertex const& va = stars_.vertex(a);
  Vertex const& vb = stars_.vertex(b);
  float q[6];
  for (std::size_t i = 0; i < 6; ++i) q[i] = va.quadric[i] + vb.quadric[i];
  float const planes = q[0] + q[3] + q[5];
  float const length2 = squared_length(vb.position() - va.position());
  if (!(key < planes * std::min(kEpsilon * length2, kFlatNoise * kFlatNoise))) return key;
  // Long edges of thin faces are off by more than these are wide: there even a noisy key says something.
  float const planes2 = planes * planes;
  if (kRegularStars * length2 * length2 * length2 > planes2 * planes2) return key;
  // At an edge or a corner other planes speak too, and what they say is not lost in the first one's rounding.
  Vec3 const n = {va.normal[0] + vb.normal[0], va.normal[1] + vb.normal[1], va.normal[2] + vb.normal[2]};
  float const along =
      n.x * (q[0] * n.x + 2 * (q[1] * n.y + q[2] * n.z)) + n.y * (q[3] * n.y + 2 * q[4] * n.z) + q[5] * n.z * n.z;
  return along > kOnePlane * planes * squared_length(n) ? kKeyFloor : key;
}

// Keys from here on are never held to be noise: this is large for the quadrics and edges of mean faces.
void LadderBuilder::measure_noise() {
  measure_faces();
  noise_limit_ = 40 * face_plane_ * std::min(2 * kEpsilon / per_face_area_, kFlatNoise * kFlatNoise);
}

// What a deviation, squared, costs by itself.
float LadderBuilder::deviation_key(float squared) const {
  return kDeviationWeight * face_plane_ * squared;
}

// What deviations by no more than rounding may cost.
float LadderBuilder::noise_key() const {
  return deviation_key(kNoise * kNoise);
}

// The key of the collapse that `check` has just allowed, which so far is that of the two quadrics: with what attributes
// add to it, and at least what its deviation asks for.
float LadderBuilder::final_key(float key, std::uint32_t a, std::uint32_t b) const {
  key += attribute_cost_ + kTurnWeight * face_plane_ * merged_sums_.values[kTurns];
  Vertex const& va = stars_.vertex(a);
  Vertex const& vb = stars_.vertex(b);
  float const trace_a = trace(va);
  float const trace_b = trace(vb);
  bool const small = trace_a + trace_b < kSmallStars * face_plane_;
  if (!small && is_flat(va, trace_a) && is_flat(vb, trace_b)) return key;
  // What is collapsed into a hub stands again and again before the same faces: too many to measure each time.
  if (stars_.is_hub(a) || stars_.is_hub(b) || !(face_plane_ > 0)) return key;
  FanDistances const squared = kernels_.fan_distances(stars_.vertices(), fan_);
  float const weight = kDeviationWeight * face_plane_;
  float const before_a = kDeviationHistory * std::sqrt(va.error / weight);
  float const before_b = kDeviationHistory * std::sqrt(vb.error / weight);
  float const deviation = std::max({std::sqrt(squared.a) + before_a, std::sqrt(squared.b) + before_b,
                                    std::sqrt(squared.place) + std::max(before_a, before_b)});
  if (deviation < kNoise) return key;
  return std::max(key, weight * deviation * deviation);
}

}  // namespace mirel::engine
