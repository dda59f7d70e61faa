// Basic types, strings, time and status of the FBX SDK.
#pragma once

#if defined(_WIN32)
#define FBXSDK_DLL
#else
#define FBXSDK_DLL __attribute__((visibility("default")))
#endif

namespace fbxsdk {

// Defined by the library alone: its way to what is private here, and what it keeps of classes and properties.
struct Internals;
struct ClassInfo;
struct PropertyValue;

typedef bool FbxBool;
typedef int FbxInt;
typedef double FbxDouble;
typedef long long FbxInt64;
typedef long long FbxLongLong;
typedef unsigned long long FbxUInt64;

// A text that owns its bytes (UTF-8, ended by a null byte).
class FBXSDK_DLL FbxString {
 public:
  FbxString();
  FbxString(const char* pText);
  FbxString(const FbxString& pOther);
  FbxString& operator=(const FbxString& pOther);
  ~FbxString();
  // Never null.
  const char* Buffer() const;
  operator const char*() const { return Buffer(); }
  int GetLen() const;
  bool IsEmpty() const { return GetLen() == 0; }

 private:
  char* mText;
};

// A time on the SDK's own scale; only the infinite time, which stands for "without animation", means something here.
class FbxTime {
 public:
  FbxTime(FbxLongLong pTime = 0) : mTime(pTime) {}
  FbxLongLong Get() const { return mTime; }
  void Set(FbxLongLong pTime) { mTime = pTime; }
  bool operator==(const FbxTime& pOther) const { return mTime == pOther.mTime; }

 private:
  FbxLongLong mTime;
};

#define FBXSDK_TIME_INFINITE fbxsdk::FbxTime(0x7FFFFFFFFFFFFFFFLL)

// How the last operation of an object ended.
class FBXSDK_DLL FbxStatus {
 public:
  enum EStatusCode {
    eSuccess = 0,
    eFailure,
    eInsufficientMemory,
    eInvalidParameter,
    eIndexOutOfRange,
    ePasswordError,
    eInvalidFileVersion,
    eInvalidFile,
    eSceneCheckFail
  };
  FbxStatus();
  bool Error() const { return mCode != eSuccess; }
  EStatusCode GetCode() const { return mCode; }
  void Clear();
  // Empty when there is no error; never null.
  const char* GetErrorString() const { return mText.Buffer(); }

 private:
  friend struct Internals;
  EStatusCode mCode;
  FbxString mText;
};

}  // namespace fbxsdk
