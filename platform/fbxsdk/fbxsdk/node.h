// A node of the scene's tree: a transform, materials, and attributes such as meshes.
#pragma once

#include <fbxsdk/math.h>
#include <fbxsdk/object.h>

namespace fbxsdk {

class FbxNodeAttribute;
class FbxSurfaceMaterial;

class FBXSDK_DLL FbxNode : public FbxObject {
 public:
  static const FbxClassId ClassId;
  enum EPivotSet { eSourcePivot, eDestinationPivot };

  FbxNode* GetParent() const;
  int GetChildCount(bool pRecursive = false) const;
  // Null beyond the end, here and below.
  FbxNode* GetChild(int pIndex) const;
  int GetMaterialCount() const;
  FbxSurfaceMaterial* GetMaterial(int pIndex) const;
  int GetNodeAttributeCount() const;
  FbxNodeAttribute* GetNodeAttributeByIndex(int pIndex) const;
  // The first attribute.
  FbxNodeAttribute* GetNodeAttribute() const;

  // Translation, rotation with its offsets, pivots, pre- and post-rotation, and scaling; valid until the next call.
  FbxAMatrix& EvaluateLocalTransform(FbxTime pTime = FBXSDK_TIME_INFINITE, EPivotSet pPivotSet = eSourcePivot,
                                     bool pApplyTarget = false, bool pForceEval = false);
  // The offset of the node's attributes, which its children do not inherit.
  FbxVector4 GetGeometricTranslation(EPivotSet pPivotSet) const;
  FbxVector4 GetGeometricRotation(EPivotSet pPivotSet) const;
  FbxVector4 GetGeometricScaling(EPivotSet pPivotSet) const;

 private:
  friend struct Internals;
  FbxNode() {}
};

}  // namespace fbxsdk
