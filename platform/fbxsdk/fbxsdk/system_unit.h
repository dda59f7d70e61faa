// The length unit of a scene.
#pragma once

#include <fbxsdk/foundation.h>

namespace fbxsdk {

class FBXSDK_DLL FbxSystemUnit {
 public:
  // In centimetres.
  FbxSystemUnit(double pScaleFactor = 1.0, double pMultiplier = 1.0);
  double GetScaleFactor() const { return mScaleFactor; }
  double GetMultiplier() const { return mMultiplier; }
  bool operator==(const FbxSystemUnit& pOther) const;
  bool operator!=(const FbxSystemUnit& pOther) const { return !(*this == pOther); }

  static const FbxSystemUnit mm;
  static const FbxSystemUnit dm;
  static const FbxSystemUnit cm;
  static const FbxSystemUnit m;
  static const FbxSystemUnit km;
  static const FbxSystemUnit Inch;
  static const FbxSystemUnit Foot;
  static const FbxSystemUnit Mile;
  static const FbxSystemUnit Yard;

 private:
  double mScaleFactor;
  double mMultiplier;
};

}  // namespace fbxsdk
