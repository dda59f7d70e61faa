// The owner of all objects, the settings of an import, and the importer.
#pragma once

#include <fbxsdk/object.h>

namespace fbxsdk {

class FbxDocument;
class FbxIOSettings;

class FBXSDK_DLL FbxManager {
 public:
  // Null when memory runs out.
  static FbxManager* Create();
  // Frees the manager and every object made on it.
  void Destroy();
  void SetIOSettings(FbxIOSettings* pSettings);
  FbxIOSettings* GetIOSettings() const;
  FbxManager(const FbxManager&) = delete;
  FbxManager& operator=(const FbxManager&) = delete;

 private:
  FbxManager();
  ~FbxManager();
  friend struct Internals;
  struct Data;
  Data* mManager;
};

class FBXSDK_DLL FbxIOSettings : public FbxObject {
 public:
  static const FbxClassId ClassId;
  static FbxIOSettings* Create(FbxManager* pManager, const char* pName);
  // Names are paths whose parts are divided by '|'.
  void SetBoolProp(const char* pName, bool pValue);
  bool GetBoolProp(const char* pName, bool pDefault) const;

 private:
  friend struct Internals;
  FbxIOSettings() {}
};

class FBXSDK_DLL FbxIOBase : public FbxObject {
 public:
  static const FbxClassId ClassId;
  FbxStatus& GetStatus();

 protected:
  FbxIOBase() {}
};

class FBXSDK_DLL FbxImporter : public FbxIOBase {
 public:
  static const FbxClassId ClassId;
  static FbxImporter* Create(FbxManager* pManager, const char* pName);
  // Opens the file and tells whether it is one that can be read; the format -1 is found from the file.
  bool Initialize(const char* pFileName, int pFileFormat = -1, FbxIOSettings* pSettings = nullptr);
  bool Import(FbxDocument* pDocument, bool pNonBlocking = false);
  // Of the file, valid after Initialize: 7400 is 7, 4, 0.
  void GetFileVersion(int& pMajor, int& pMinor, int& pRevision);

 private:
  friend struct Internals;
  FbxImporter() {}
};

}  // namespace fbxsdk
