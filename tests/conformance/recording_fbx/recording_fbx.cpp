// Stands before the FBX library, notes what the importer asks of it in the recording SDK's log, and passes it on. For
// what no result shows: names, settings, flags, the order of making and freeing. To be preloaded.
#include <dlfcn.h>
#include <fbxsdk.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/conformance/recording_sdk/recorder.h"

namespace {

void note(std::string const& line) {
  recorder_note(("fbx." + line).c_str());
}

std::string flag(bool value) {
  return value ? "true" : "false";
}

// The library's own function of that name. Member functions take their object as the first argument.
template <class Function>
Function* next(char const* symbol) {
  void* const found = dlsym(RTLD_NEXT, symbol);
  if (found == nullptr) {
    std::fprintf(stderr, "no %s in the FBX library\n", symbol);
    std::abort();
  }
  return reinterpret_cast<Function*>(found);
}

}  // namespace

namespace fbxsdk {

FbxManager* FbxManager::Create() {
  note("FbxManager::Create");
  return next<FbxManager*()>("_ZN6fbxsdk10FbxManager6CreateEv")();
}

void FbxManager::Destroy() {
  note("FbxManager::Destroy");
  next<void(FbxManager*)>("_ZN6fbxsdk10FbxManager7DestroyEv")(this);
}

void FbxManager::SetIOSettings(FbxIOSettings* pSettings) {
  note(std::string("SetIOSettings ") + pSettings->GetName());
  next<void(FbxManager*, FbxIOSettings*)>("_ZN6fbxsdk10FbxManager13SetIOSettingsEPNS_13FbxIOSettingsE")(this,
                                                                                                        pSettings);
}

FbxIOSettings* FbxIOSettings::Create(FbxManager* pManager, const char* pName) {
  note(std::string("FbxIOSettings::Create \"") + pName + '"');
  return next<FbxIOSettings*(FbxManager*, const char*)>("_ZN6fbxsdk13FbxIOSettings6CreateEPNS_10FbxManagerEPKc")(
      pManager, pName);
}

void FbxIOSettings::SetBoolProp(const char* pName, bool pValue) {
  note(std::string("SetBoolProp ") + pName + ' ' + flag(pValue));
  next<void(FbxIOSettings*, const char*, bool)>("_ZN6fbxsdk13FbxIOSettings11SetBoolPropEPKcb")(this, pName, pValue);
}

FbxImporter* FbxImporter::Create(FbxManager* pManager, const char* pName) {
  note(std::string("FbxImporter::Create \"") + pName + '"');
  return next<FbxImporter*(FbxManager*, const char*)>("_ZN6fbxsdk11FbxImporter6CreateEPNS_10FbxManagerEPKc")(pManager,
                                                                                                             pName);
}

bool FbxImporter::Initialize(const char* pFileName, int pFileFormat, FbxIOSettings* pSettings) {
  note("Initialize " + std::to_string(pFileFormat) + ' ' + pSettings->GetName());
  return next<bool(FbxImporter*, const char*, int, FbxIOSettings*)>(
      "_ZN6fbxsdk11FbxImporter10InitializeEPKciPNS_13FbxIOSettingsE")(this, pFileName, pFileFormat, pSettings);
}

bool FbxImporter::Import(FbxDocument* pDocument, bool pNonBlocking) {
  note(std::string("Import ") + pDocument->GetName() + ' ' + flag(pNonBlocking));
  return next<bool(FbxImporter*, FbxDocument*, bool)>("_ZN6fbxsdk11FbxImporter6ImportEPNS_11FbxDocumentEb")(
      this, pDocument, pNonBlocking);
}

void FbxImporter::GetFileVersion(int& pMajor, int& pMinor, int& pRevision) {
  note("GetFileVersion");
  next<void(FbxImporter*, int&, int&, int&)>("_ZN6fbxsdk11FbxImporter14GetFileVersionERiS1_S1_")(this, pMajor, pMinor,
                                                                                                 pRevision);
}

FbxScene* FbxScene::Create(FbxManager* pManager, const char* pName) {
  note(std::string("FbxScene::Create \"") + pName + '"');
  return next<FbxScene*(FbxManager*, const char*)>("_ZN6fbxsdk8FbxScene6CreateEPNS_10FbxManagerEPKc")(pManager, pName);
}

void FbxObject::Destroy(bool pRecursive) {
  note(std::string("Destroy ") + GetClassId().GetName() + ' ' + flag(pRecursive));
  next<void(FbxObject*, bool)>("_ZN6fbxsdk9FbxObject7DestroyEb")(this, pRecursive);
}

void FbxAxisSystem::ConvertScene(FbxScene* pScene) const {
  note(std::string("ConvertScene ") + (this == &FbxAxisSystem::MayaZUp ? "MayaZUp" : "?"));
  next<void(const FbxAxisSystem*, FbxScene*)>("_ZNK6fbxsdk13FbxAxisSystem12ConvertSceneEPNS_8FbxSceneE")(this, pScene);
}

FbxNodeAttribute* FbxGeometryConverter::Triangulate(FbxNodeAttribute* pNodeAttribute, bool pReplace, bool pLegacy) {
  note(std::string("Triangulate ") + pNodeAttribute->GetName() + ' ' + flag(pReplace) + ' ' + flag(pLegacy));
  return next<FbxNodeAttribute*(FbxGeometryConverter*, FbxNodeAttribute*, bool, bool)>(
      "_ZN6fbxsdk20FbxGeometryConverter11TriangulateEPNS_16FbxNodeAttributeEbb")(this, pNodeAttribute, pReplace,
                                                                                 pLegacy);
}

FbxAMatrix& FbxNode::EvaluateLocalTransform(FbxTime pTime, EPivotSet pPivotSet, bool pApplyTarget, bool pForceEval) {
  note("EvaluateLocalTransform " + std::to_string(pTime.Get()) + ' ' + std::to_string(static_cast<int>(pPivotSet)) +
       ' ' + flag(pApplyTarget) + ' ' + flag(pForceEval));
  return next<FbxAMatrix&(FbxNode*, FbxTime, EPivotSet, bool, bool)>(
      "_ZN6fbxsdk7FbxNode22EvaluateLocalTransformENS_7FbxTimeENS0_9EPivotSetEbb")(this, pTime, pPivotSet, pApplyTarget,
                                                                                  pForceEval);
}

FbxVector4 FbxNode::GetGeometricTranslation(EPivotSet pPivotSet) const {
  note("GetGeometricTranslation " + std::to_string(static_cast<int>(pPivotSet)));
  return next<FbxVector4(const FbxNode*, EPivotSet)>("_ZNK6fbxsdk7FbxNode23GetGeometricTranslationENS0_9EPivotSetE")(
      this, pPivotSet);
}

FbxVector4 FbxNode::GetGeometricRotation(EPivotSet pPivotSet) const {
  note("GetGeometricRotation " + std::to_string(static_cast<int>(pPivotSet)));
  return next<FbxVector4(const FbxNode*, EPivotSet)>("_ZNK6fbxsdk7FbxNode20GetGeometricRotationENS0_9EPivotSetE")(
      this, pPivotSet);
}

FbxVector4 FbxNode::GetGeometricScaling(EPivotSet pPivotSet) const {
  note("GetGeometricScaling " + std::to_string(static_cast<int>(pPivotSet)));
  return next<FbxVector4(const FbxNode*, EPivotSet)>("_ZNK6fbxsdk7FbxNode19GetGeometricScalingENS0_9EPivotSetE")(
      this, pPivotSet);
}

}  // namespace fbxsdk
