// Strings and status.
#include <cstring>

#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {
namespace {

// Null for the empty text, so that nothing has to be allocated for it.
char* copy_of(const char* text) {
  if (text == nullptr || *text == '\0') return nullptr;
  std::size_t const size = std::strlen(text) + 1;
  char* const copy = static_cast<char*>(std::malloc(size));
  if (copy != nullptr) std::memcpy(copy, text, size);
  return copy;
}

}  // namespace

FbxString::FbxString() : mText(nullptr) {}
FbxString::FbxString(const char* pText) : mText(copy_of(pText)) {}
FbxString::FbxString(const FbxString& pOther) : mText(copy_of(pOther.mText)) {}
FbxString::~FbxString() {
  std::free(mText);
}

FbxString& FbxString::operator=(const FbxString& pOther) {
  if (this != &pOther) {
    char* const copy = copy_of(pOther.mText);
    std::free(mText);
    mText = copy;
  }
  return *this;
}

const char* FbxString::Buffer() const {
  return mText == nullptr ? "" : mText;
}
int FbxString::GetLen() const {
  return mText == nullptr ? 0 : static_cast<int>(std::strlen(mText));
}

FbxStatus::FbxStatus() : mCode(eSuccess) {}

void FbxStatus::Clear() {
  mCode = eSuccess;
  mText = FbxString();
}

void Internals::set_status(FbxStatus& status, FbxStatus::EStatusCode code, const std::string& text) {
  status.mCode = code;
  status.mText = FbxString(text.c_str());
}

}  // namespace fbxsdk
