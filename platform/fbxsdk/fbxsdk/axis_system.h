// Which way is up, which is front, and the handedness of a scene.
#pragma once

#include <fbxsdk/foundation.h>

namespace fbxsdk {

class FbxScene;

class FBXSDK_DLL FbxAxisSystem {
 public:
  enum EUpVector : int { eXAxis = 1, eYAxis = 2, eZAxis = 3 };
  // Even is the first, odd the second of the two axes left over, in the order X, Y, Z.
  enum EFrontVector : int { eParityEven = 1, eParityOdd = 2 };
  enum ECoordSystem { eRightHanded, eLeftHanded };

  FbxAxisSystem();
  // The vectors may be negated: an axis with the other sign.
  FbxAxisSystem(EUpVector pUpVector, EFrontVector pFrontVector, ECoordSystem pCoordSystem);
  bool operator==(const FbxAxisSystem& pOther) const;
  bool operator!=(const FbxAxisSystem& pOther) const { return !(*this == pOther); }
  EUpVector GetUpVector(int& pSign) const;
  EFrontVector GetFrontVector(int& pSign) const;
  ECoordSystem GetCoorSystem() const { return mCoordSystem; }
  // Turns the scene to this system by the transforms of the root's children; lengths and meshes stay.
  void ConvertScene(FbxScene* pScene) const;

  static const FbxAxisSystem MayaZUp;
  static const FbxAxisSystem MayaYUp;

 private:
  friend struct Internals;
  // The signed axes, 1 to 3, of right, up and front.
  int mRight;
  int mUp;
  int mFront;
  ECoordSystem mCoordSystem;
};

}  // namespace fbxsdk
