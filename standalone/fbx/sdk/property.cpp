// Reading a property's value.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

FbxString FbxProperty::GetName() const {
  return mValue == nullptr ? FbxString() : FbxString(mValue->name.c_str());
}
FbxDataType FbxProperty::GetPropertyDataType() const {
  return FbxDataType(mValue == nullptr ? eFbxUndefined : mValue->type);
}

void FbxProperty::Read(FbxBool& pValue) const {
  pValue = mValue != nullptr && mValue->numbers[0] != 0;
}
void FbxProperty::Read(FbxInt& pValue) const {
  if (mValue == nullptr || !(mValue->numbers[0] > -2147483649.0 && mValue->numbers[0] < 2147483648.0)) return;
  pValue = static_cast<int>(mValue->numbers[0]);
}
void FbxProperty::Read(FbxDouble& pValue) const {
  if (mValue != nullptr) pValue = mValue->numbers[0];
}
void FbxProperty::Read(FbxDouble2& pValue) const {
  for (int k = 0; mValue != nullptr && k < 2; ++k) pValue[k] = mValue->numbers[k];
}
void FbxProperty::Read(FbxDouble3& pValue) const {
  for (int k = 0; mValue != nullptr && k < 3; ++k) pValue[k] = mValue->numbers[k];
}
void FbxProperty::Read(FbxDouble4& pValue) const {
  for (int k = 0; mValue != nullptr && k < 4; ++k) pValue[k] = mValue->numbers[k];
}
void FbxProperty::Read(FbxString& pValue) const {
  if (mValue != nullptr) pValue = FbxString(mValue->text.c_str());
}

int FbxProperty::CountSources(const FbxClassId& pClass) const {
  return mValue == nullptr ? 0 : Internals::count_sources(*mOwner, mValue->name.c_str(), pClass);
}
FbxObject* FbxProperty::FindSource(const FbxClassId& pClass, int pIndex) const {
  return mValue == nullptr ? nullptr : Internals::find_source(*mOwner, mValue->name.c_str(), pClass, pIndex);
}

}  // namespace fbxsdk
