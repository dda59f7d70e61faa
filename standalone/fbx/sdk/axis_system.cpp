// Axis systems.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

const FbxAxisSystem FbxAxisSystem::MayaZUp(FbxAxisSystem::eZAxis,
                                           static_cast<FbxAxisSystem::EFrontVector>(-FbxAxisSystem::eParityOdd),
                                           FbxAxisSystem::eRightHanded);
const FbxAxisSystem FbxAxisSystem::MayaYUp(FbxAxisSystem::eYAxis, FbxAxisSystem::eParityOdd,
                                           FbxAxisSystem::eRightHanded);

FbxAxisSystem::FbxAxisSystem() : FbxAxisSystem(eYAxis, eParityOdd, eRightHanded) {}

FbxAxisSystem::FbxAxisSystem(EUpVector pUpVector, EFrontVector pFrontVector, ECoordSystem pCoordSystem)
    : mRight(1), mUp(2), mFront(3), mCoordSystem(pCoordSystem) {
  int const up = std::abs(static_cast<int>(pUpVector));
  int const parity = std::abs(static_cast<int>(pFrontVector));
  if (up < 1 || up > 3 || parity < 1 || parity > 2) return;
  int const first = up == 1 ? 2 : 1;
  int const second = up == 3 ? 2 : 3;
  mUp = static_cast<int>(pUpVector);
  mFront = (parity == 1 ? first : second) * (static_cast<int>(pFrontVector) < 0 ? -1 : 1);
  // Right is up x front, turned round where the system is left-handed.
  int const left_over = 6 - up - std::abs(mFront);
  bool const cyclic = std::abs(mFront) == up % 3 + 1;
  int sign = cyclic ? 1 : -1;
  if (mUp < 0) sign = -sign;
  if (mFront < 0) sign = -sign;
  if (pCoordSystem == eLeftHanded) sign = -sign;
  mRight = left_over * sign;
}

FbxAxisSystem Internals::axis_system(int right, int up, int front) {
  FbxAxisSystem axes;
  axes.mRight = right;
  axes.mUp = up;
  axes.mFront = front;
  bool const cyclic = std::abs(front) == std::abs(up) % 3 + 1;
  bool const positive = (right > 0) == ((up > 0) == (front > 0));
  axes.mCoordSystem = cyclic == positive ? FbxAxisSystem::eRightHanded : FbxAxisSystem::eLeftHanded;
  return axes;
}

int Internals::axis(const FbxAxisSystem& axes, int which) {
  return which == 0 ? axes.mRight : which == 1 ? axes.mUp : axes.mFront;
}

bool FbxAxisSystem::operator==(const FbxAxisSystem& pOther) const {
  return mRight == pOther.mRight && mUp == pOther.mUp && mFront == pOther.mFront;
}

FbxAxisSystem::EUpVector FbxAxisSystem::GetUpVector(int& pSign) const {
  pSign = mUp < 0 ? -1 : 1;
  return static_cast<EUpVector>(std::abs(mUp));
}

FbxAxisSystem::EFrontVector FbxAxisSystem::GetFrontVector(int& pSign) const {
  pSign = mFront < 0 ? -1 : 1;
  int const first = std::abs(mUp) == 1 ? 2 : 1;
  return std::abs(mFront) == first ? eParityEven : eParityOdd;
}

void FbxAxisSystem::ConvertScene(FbxScene* pScene) const {
  if (pScene == nullptr) return;
  FbxAxisSystem& source = Internals::data(pScene->GetGlobalSettings()).axes;
  if (source == *this) return;
  // What each axis of the scene becomes.
  FbxAMatrix turn;
  for (int which = 0; which < 3; ++which) {
    int const from = Internals::axis(source, which);
    int const to = Internals::axis(*this, which);
    int const row = std::abs(from) - 1;
    for (int column = 0; column < 3; ++column) turn[row][column] = 0;
    turn[row][std::abs(to) - 1] = (from > 0) == (to > 0) ? 1.0 : -1.0;
  }
  const FbxNode* const root = pScene->GetRootNode();
  for (FbxNode* const child : Internals::data(*root).children) {
    FbxAMatrix& local = Internals::data(*child).local;
    local = mirel::fbx::product(local, turn);
  }
  source = *this;
}

}  // namespace fbxsdk
