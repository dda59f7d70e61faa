// Vectors, colours and matrices of doubles.
#pragma once

#include <fbxsdk/foundation.h>

namespace fbxsdk {

template <class T>
class FbxVectorTemplate2 {
 public:
  FbxVectorTemplate2() : mData{} {}
  FbxVectorTemplate2(T pX, T pY) : mData{pX, pY} {}
  T& operator[](int pIndex) { return mData[pIndex]; }
  const T& operator[](int pIndex) const { return mData[pIndex]; }
  T mData[2];
};

template <class T>
class FbxVectorTemplate3 {
 public:
  FbxVectorTemplate3() : mData{} {}
  FbxVectorTemplate3(T pX, T pY, T pZ) : mData{pX, pY, pZ} {}
  T& operator[](int pIndex) { return mData[pIndex]; }
  const T& operator[](int pIndex) const { return mData[pIndex]; }
  T mData[3];
};

template <class T>
class FbxVectorTemplate4 {
 public:
  FbxVectorTemplate4() : mData{} {}
  FbxVectorTemplate4(T pX, T pY, T pZ, T pW) : mData{pX, pY, pZ, pW} {}
  T& operator[](int pIndex) { return mData[pIndex]; }
  const T& operator[](int pIndex) const { return mData[pIndex]; }
  T mData[4];
};

typedef FbxVectorTemplate2<FbxDouble> FbxDouble2;
typedef FbxVectorTemplate3<FbxDouble> FbxDouble3;
typedef FbxVectorTemplate4<FbxDouble> FbxDouble4;
typedef FbxVectorTemplate4<FbxDouble4> FbxDouble4x4;

class FbxVector2 : public FbxDouble2 {
 public:
  FbxVector2() {}
  FbxVector2(double pX, double pY) : FbxDouble2(pX, pY) {}
};

class FbxVector4 : public FbxDouble4 {
 public:
  FbxVector4() {}
  FbxVector4(double pX, double pY, double pZ, double pW = 1.0) : FbxDouble4(pX, pY, pZ, pW) {}
};

// Components are 0 to 1 by convention only. Black and opaque unless set.
class FbxColor {
 public:
  FbxColor() : mRed(0), mGreen(0), mBlue(0), mAlpha(1) {}
  FbxColor(double pRed, double pGreen, double pBlue, double pAlpha = 1.0)
      : mRed(pRed), mGreen(pGreen), mBlue(pBlue), mAlpha(pAlpha) {}
  void Set(double pRed, double pGreen, double pBlue, double pAlpha = 1.0) { *this = {pRed, pGreen, pBlue, pAlpha}; }

  double mRed;
  double mGreen;
  double mBlue;
  double mAlpha;
};

// An affine transformation of row vectors; the identity unless set.
class FbxAMatrix : public FbxDouble4x4 {
 public:
  FbxAMatrix() { SetIdentity(); }
  double Get(int pRow, int pColumn) const { return mData[pRow][pColumn]; }
  void SetIdentity() {
    for (int row = 0; row < 4; ++row) {
      for (int column = 0; column < 4; ++column) mData[row][column] = row == column ? 1.0 : 0.0;
    }
  }
};

}  // namespace fbxsdk
