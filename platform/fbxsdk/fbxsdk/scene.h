// A scene: global settings and a tree of nodes.
#pragma once

#include <fbxsdk/axis_system.h>
#include <fbxsdk/node.h>
#include <fbxsdk/object.h>
#include <fbxsdk/system_unit.h>

namespace fbxsdk {

class FBXSDK_DLL FbxGlobalSettings : public FbxObject {
 public:
  static const FbxClassId ClassId;
  FbxAxisSystem GetAxisSystem() const;
  FbxSystemUnit GetSystemUnit() const;

 private:
  friend struct Internals;
  FbxGlobalSettings() {}
};

class FBXSDK_DLL FbxCollection : public FbxObject {
 public:
  static const FbxClassId ClassId;

 protected:
  FbxCollection() {}
};

class FBXSDK_DLL FbxDocument : public FbxCollection {
 public:
  static const FbxClassId ClassId;

 protected:
  FbxDocument() {}
};

class FBXSDK_DLL FbxScene : public FbxDocument {
 public:
  static const FbxClassId ClassId;
  static FbxScene* Create(FbxManager* pManager, const char* pName);
  FbxGlobalSettings& GetGlobalSettings();
  FbxNode* GetRootNode() const;
  // All nodes, the root included.
  int GetNodeCount() const;

 private:
  friend struct Internals;
  FbxScene() {}
};

}  // namespace fbxsdk
