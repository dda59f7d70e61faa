// Opening a file and reading it into a scene.
#include "standalone/fbx/sdk/importer.h"

namespace fbxsdk {

FbxStatus& FbxIOBase::GetStatus() {
  return Internals::data(*this).status;
}

FbxImporter* FbxImporter::Create(FbxManager* pManager, const char* pName) {
  return Internals::create<FbxImporter, Internals::ImporterData>(pManager, Internals::kImporter,
                                                                 pName == nullptr ? "" : pName);
}

bool FbxImporter::Initialize(const char* pFileName, int, FbxIOSettings*) {
  Internals::ImporterData& importer = Internals::data(*this);
  importer.path = pFileName == nullptr ? "" : pFileName;
  Internals::set_status(importer.status, FbxStatus::eFailure, "This build reads no FBX files yet");
  return false;
}

bool FbxImporter::Import(FbxDocument*, bool) {
  return false;
}

void FbxImporter::GetFileVersion(int& pMajor, int& pMinor, int& pRevision) {
  int const version = Internals::data(*this).version;
  pMajor = version / 1000;
  pMinor = version / 100 % 10;
  pRevision = version / 10 % 10;
}

}  // namespace fbxsdk
