// Scenes and their global settings.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

FbxScene* FbxScene::Create(FbxManager* pManager, const char* pName) {
  FbxScene* const scene =
      Internals::create<FbxScene, Internals::SceneData>(pManager, Internals::kScene, pName == nullptr ? "" : pName);
  if (scene == nullptr) return nullptr;
  Internals::SceneData& data = Internals::data(*scene);
  data.settings = Internals::create<FbxGlobalSettings, Internals::GlobalSettingsData>(
      pManager, Internals::kGlobalSettings, "GlobalSettings");
  data.root = Internals::create<FbxNode, Internals::NodeData>(pManager, Internals::kNode, "RootNode");
  return data.settings == nullptr || data.root == nullptr ? nullptr : scene;
}

FbxGlobalSettings& FbxScene::GetGlobalSettings() {
  return *Internals::data(*this).settings;
}
FbxNode* FbxScene::GetRootNode() const {
  return Internals::data(*this).root;
}
int FbxScene::GetNodeCount() const {
  return Internals::data(*this).node_count;
}

FbxAxisSystem FbxGlobalSettings::GetAxisSystem() const {
  return Internals::data(*this).axes;
}
FbxSystemUnit FbxGlobalSettings::GetSystemUnit() const {
  return FbxSystemUnit(Internals::data(*this).unit);
}

}  // namespace fbxsdk
