// Named, typed values of an object, to which other objects (textures) may be connected.
#pragma once

#include <fbxsdk/foundation.h>
#include <fbxsdk/math.h>

namespace fbxsdk {

class FbxObject;
class FbxClassId;

enum EFbxType {
  eFbxUndefined,
  eFbxChar,
  eFbxUChar,
  eFbxShort,
  eFbxUShort,
  eFbxUInt,
  eFbxLongLong,
  eFbxULongLong,
  eFbxHalfFloat,
  eFbxBool,
  eFbxInt,
  eFbxFloat,
  eFbxDouble,
  eFbxDouble2,
  eFbxDouble3,
  eFbxDouble4,
  eFbxDouble4x4,
  eFbxEnum = 17,
  eFbxEnumM = -17,
  eFbxString = 18,
  eFbxTime,
  eFbxReference,
  eFbxBlob,
  eFbxDistance,
  eFbxDateTime,
  eFbxTypeCount = 24
};

class FbxDataType {
 public:
  explicit FbxDataType(EFbxType pType = eFbxUndefined) : mType(pType) {}
  EFbxType GetType() const { return mType; }
  bool Valid() const { return mType != eFbxUndefined; }

 private:
  EFbxType mType;
};

// A handle: copying it copies no value. An invalid one answers with empty values.
class FBXSDK_DLL FbxProperty {
 public:
  FbxProperty() : mOwner(nullptr), mValue(nullptr) {}
  bool IsValid() const { return mValue != nullptr; }
  FbxString GetName() const;
  FbxDataType GetPropertyDataType() const;

  // The value converted to T; an empty value where it cannot be.
  template <class T>
  T Get() const {
    T value{};
    Read(value);
    return value;
  }

  // Objects of the class T that are connected to this property, in order.
  template <class T>
  int GetSrcObjectCount() const;
  template <class T>
  T* GetSrcObject(int pIndex = 0) const;

 private:
  friend struct Internals;
  void Read(FbxBool& pValue) const;
  void Read(FbxInt& pValue) const;
  void Read(FbxDouble& pValue) const;
  void Read(FbxDouble2& pValue) const;
  void Read(FbxDouble3& pValue) const;
  void Read(FbxDouble4& pValue) const;
  void Read(FbxString& pValue) const;
  int CountSources(const FbxClassId& pClass) const;
  FbxObject* FindSource(const FbxClassId& pClass, int pIndex) const;

  const FbxObject* mOwner;
  const PropertyValue* mValue;
};

template <class T>
class FbxPropertyT : public FbxProperty {
 public:
  FbxPropertyT() {}
  FbxPropertyT(const FbxProperty& pProperty) : FbxProperty(pProperty) {}
  T Get() const { return FbxProperty::Get<T>(); }
};

}  // namespace fbxsdk
