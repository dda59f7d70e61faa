// The transform of a node as FBX stores it, and the matrix that it stands for.
#pragma once

#include <fbxsdk/math.h>

#include <array>

namespace mirel::fbx {

using Vector3 = std::array<double, 3>;

// Values are those of the file's enumeration.
enum class RotationOrder { kXyz, kXzy, kYzx, kYxz, kZxy, kZyx, kSphericXyz };

// Angles in degrees.
struct Transform {
  Vector3 translation = {0, 0, 0};
  Vector3 rotation = {0, 0, 0};
  Vector3 scaling = {1, 1, 1};
  Vector3 rotation_offset = {0, 0, 0};
  Vector3 rotation_pivot = {0, 0, 0};
  Vector3 pre_rotation = {0, 0, 0};
  Vector3 post_rotation = {0, 0, 0};
  Vector3 scaling_offset = {0, 0, 0};
  Vector3 scaling_pivot = {0, 0, 0};
  Vector3 geometric_translation = {0, 0, 0};
  Vector3 geometric_rotation = {0, 0, 0};
  Vector3 geometric_scaling = {1, 1, 1};
  RotationOrder order = RotationOrder::kXyz;
  // Pre- and post-rotation and the order count only where it is set.
  bool rotation_active = false;
};

// Translation, rotation offset, rotation pivot, pre-rotation, rotation, inverse post-rotation, back from the pivot,
// scaling offset, scaling pivot, scaling, back from that pivot.
fbxsdk::FbxAMatrix local_matrix(Transform const& transform);
// What the first does and then the second: row vectors.
fbxsdk::FbxAMatrix product(fbxsdk::FbxAMatrix const& first, fbxsdk::FbxAMatrix const& second);

}  // namespace mirel::fbx
