// The manager and its settings.
#include <algorithm>

#include "standalone/fbx/mirel_fbx.h"
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {
namespace {

// Whoever leaves a manager behind finds it here; never freed, so that this list outlives them all.
std::vector<FbxManager*>& live_managers() {
  static auto* const managers = new std::vector<FbxManager*>;
  return *managers;
}

}  // namespace

FbxManager::FbxManager() : mManager(nullptr) {}
FbxManager::~FbxManager() {
  delete mManager;
}

FbxManager* FbxManager::Create() {
  FbxManager* const manager = new (std::nothrow) FbxManager;
  if (manager == nullptr) return nullptr;
  try {
    manager->mManager = new Data;
    live_managers().push_back(manager);
    return manager;
  } catch (const std::bad_alloc&) {
    delete manager;
    return nullptr;
  }
}

void FbxManager::Destroy() {
  for (FbxObject* const object : mManager->objects) {
    if (object != nullptr) Internals::destroy(object);
  }
  std::vector<FbxManager*>& managers = live_managers();
  managers.erase(std::find(managers.begin(), managers.end(), this));
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

extern "C" FBXSDK_DLL int mirel_fbx_live_managers() {
  return static_cast<int>(fbxsdk::live_managers().size());
}
