// Opening a file and reading it into a scene.
#include "standalone/fbx/sdk/importer.h"

#include <limits>

#include "standalone/fbx/document.h"
#include "standalone/fbx/file_bytes.h"
#include "standalone/fbx/last_file.h"
#include "standalone/fbx/scene/scene_builder.h"

namespace fbxsdk {
namespace {

// What tells form and version.
constexpr std::size_t kHeadSize = 8192;
constexpr int kOldestVersion = 6000;
constexpr int kNewestVersion = 7999;

}  // namespace

FbxStatus& FbxIOBase::GetStatus() {
  return Internals::data(*this).status;
}

FbxImporter* FbxImporter::Create(FbxManager* pManager, const char* pName) {
  return Internals::create<FbxImporter, Internals::ImporterData>(pManager, Internals::kImporter,
                                                                 pName == nullptr ? "" : pName);
}

bool FbxImporter::Initialize(const char* pFileName, int, FbxIOSettings*) {
  Internals::ImporterData& importer = Internals::data(*this);
  importer.status.Clear();
  importer.path.clear();
  importer.version = 0;
  try {
    std::string const path = pFileName == nullptr ? "" : pFileName;
    mirel::fbx::FileBytes head;
    std::string error;
    if (!head.read(path, kHeadSize, error)) {
      Internals::set_status(importer.status, FbxStatus::eFailure, error);
      return false;
    }
    if (!mirel::fbx::is_binary(head.view()) && !mirel::fbx::is_text(head.view())) {
      Internals::set_status(importer.status, FbxStatus::eInvalidFile, "Not an FBX file");
      return false;
    }
    int const version = mirel::fbx::find_version(head.view());
    // Text says what it is by its objects; the binary kind cannot be taken apart without.
    bool const needs_none = version == 0 && !mirel::fbx::is_binary(head.view());
    if (!needs_none && (version < kOldestVersion || version > kNewestVersion)) {
      std::string const text = version == 0 ? "The file does not tell its version"
                                            : "Files of version " + std::to_string(version / 1000) + "." +
                                                  std::to_string(version / 100 % 10) + " are not supported";
      Internals::set_status(importer.status, FbxStatus::eInvalidFileVersion, text);
      return false;
    }
    importer.path = path;
    importer.version = version;
    return true;
  } catch (std::exception const& error) {
    Internals::set_status(importer.status, FbxStatus::eFailure, error.what());
    return false;
  }
}

bool FbxImporter::Import(FbxDocument* pDocument, bool) {
  Internals::ImporterData& importer = Internals::data(*this);
  FbxScene* const scene = FbxCast<FbxScene>(pDocument);
  if (scene == nullptr || importer.path.empty()) {
    Internals::set_status(importer.status, FbxStatus::eInvalidParameter,
                          scene == nullptr ? "There is no scene to import into" : "No file is open");
    return false;
  }
  importer.status.Clear();
  try {
    mirel::fbx::FileBytes bytes;
    std::string error;
    if (!bytes.read(importer.path, std::numeric_limits<std::size_t>::max() / 2, error)) {
      Internals::set_status(importer.status, FbxStatus::eFailure, error);
      return false;
    }
    std::unique_ptr<mirel::fbx::ElementTree> const tree = mirel::fbx::read_elements(bytes.view());
    mirel::fbx::Document const document(*tree);
    mirel::fbx::build_scene(document, importer.manager, scene);
    // Tree and bytes go before anything is cut into triangles.
    tree->budget.give_back(tree->size_in_memory() + bytes.view().size());
    mirel::fbx::note_last_file(document, *scene);
    return true;
  } catch (std::bad_alloc const&) {
    Internals::set_status(importer.status, FbxStatus::eInsufficientMemory, "There is not enough memory for the file");
  } catch (std::exception const& error) {
    Internals::set_status(importer.status, FbxStatus::eInvalidFile, error.what());
  }
  return false;
}

void FbxImporter::GetFileVersion(int& pMajor, int& pMinor, int& pRevision) {
  int const version = Internals::data(*this).version;
  pMajor = version / 1000;
  pMinor = version / 100 % 10;
  pRevision = version / 10 % 10;
}

}  // namespace fbxsdk
