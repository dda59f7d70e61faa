// What everything in a scene is: an object with a class, a name, an identifier, properties and connections.
#pragma once

#include <fbxsdk/foundation.h>
#include <fbxsdk/property.h>

namespace fbxsdk {

class FbxManager;

// A class at run time.
class FBXSDK_DLL FbxClassId {
 public:
  constexpr FbxClassId() : mInfo(nullptr) {}
  // Whether this class is the other one or derives from it.
  bool Is(const FbxClassId& pId) const;
  bool operator==(const FbxClassId& pOther) const { return mInfo == pOther.mInfo; }
  bool operator!=(const FbxClassId& pOther) const { return mInfo != pOther.mInfo; }
  bool IsValid() const { return mInfo != nullptr; }
  const char* GetName() const;

 private:
  friend struct Internals;
  constexpr explicit FbxClassId(const ClassInfo* pInfo) : mInfo(pInfo) {}
  const ClassInfo* mInfo;
};

class FBXSDK_DLL FbxObject {
 public:
  static const FbxClassId ClassId;
  FbxObject(const FbxObject&) = delete;
  FbxObject& operator=(const FbxObject&) = delete;

  FbxClassId GetClassId() const;
  bool Is(const FbxClassId& pId) const { return GetClassId().Is(pId); }
  template <class T>
  bool Is() const {
    return Is(T::ClassId);
  }
  // Without the class prefix of the file; empty when it has none, never null.
  const char* GetName() const;
  // Unique within the manager; so are the low 32 bits.
  FbxUInt64 GetUniqueID() const;
  // Invalid when there is none of that name.
  FbxProperty FindProperty(const char* pName, bool pCaseSensitive = true) const;
  // Objects of the class T that are connected to this one itself, in order: the layers of a layered texture.
  template <class T>
  int GetSrcObjectCount() const {
    return CountSources(T::ClassId);
  }
  template <class T>
  T* GetSrcObject(int pIndex = 0) const {
    return static_cast<T*>(FindSource(T::ClassId, pIndex));
  }
  void Destroy(bool pRecursive = false);

 protected:
  FbxObject();
  ~FbxObject();
  friend struct Internals;
  struct Data;
  Data* mObject;

 private:
  int CountSources(const FbxClassId& pClass) const;
  FbxObject* FindSource(const FbxClassId& pClass, int pIndex) const;
};

// The object as the class T, null when it is none.
template <class T>
T* FbxCast(FbxObject* pObject) {
  return pObject != nullptr && pObject->Is(T::ClassId) ? static_cast<T*>(pObject) : nullptr;
}
template <class T>
const T* FbxCast(const FbxObject* pObject) {
  return pObject != nullptr && pObject->Is(T::ClassId) ? static_cast<const T*>(pObject) : nullptr;
}

template <class T>
int FbxProperty::GetSrcObjectCount() const {
  return CountSources(T::ClassId);
}
template <class T>
T* FbxProperty::GetSrcObject(int pIndex) const {
  return static_cast<T*>(FindSource(T::ClassId, pIndex));
}

}  // namespace fbxsdk
