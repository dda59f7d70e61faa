// The manager and its settings.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

FbxManager::FbxManager() : mManager(nullptr) {}
FbxManager::~FbxManager() {
  delete mManager;
}

FbxManager* FbxManager::Create() {
  FbxManager* const manager = new (std::nothrow) FbxManager;
  if (manager == nullptr) return nullptr;
  manager->mManager = new (std::nothrow) Data;
  if (manager->mManager != nullptr) return manager;
  delete manager;
  return nullptr;
}

void FbxManager::Destroy() {
  for (FbxObject* const object : mManager->objects) {
    if (object != nullptr) Internals::destroy(object);
  }
  delete this;
}

void FbxManager::SetIOSettings(FbxIOSettings* pSettings) {
  mManager->settings = pSettings;
}
FbxIOSettings* FbxManager::GetIOSettings() const {
  return mManager->settings;
}

FbxIOSettings* FbxIOSettings::Create(FbxManager* pManager, const char* pName) {
  return Internals::create<FbxIOSettings, Internals::SettingsData>(pManager, Internals::kIOSettings,
                                                                   pName == nullptr ? "" : pName);
}

void FbxIOSettings::SetBoolProp(const char* pName, bool pValue) {
  if (pName != nullptr) Internals::data(*this).values[pName] = pValue;
}

bool FbxIOSettings::GetBoolProp(const char* pName, bool pDefault) const {
  const auto& values = Internals::data(*this).values;
  const auto found = pName == nullptr ? values.end() : values.find(pName);
  return found == values.end() ? pDefault : found->second;
}

}  // namespace fbxsdk
