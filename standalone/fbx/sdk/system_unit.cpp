// Length units.
#include <fbxsdk/system_unit.h>

#include <algorithm>
#include <cmath>

namespace fbxsdk {

const FbxSystemUnit FbxSystemUnit::mm(0.1);
const FbxSystemUnit FbxSystemUnit::cm(1.0);
const FbxSystemUnit FbxSystemUnit::dm(10.0);
const FbxSystemUnit FbxSystemUnit::m(100.0);
const FbxSystemUnit FbxSystemUnit::km(100000.0);
const FbxSystemUnit FbxSystemUnit::Inch(2.54);
const FbxSystemUnit FbxSystemUnit::Foot(30.48);
const FbxSystemUnit FbxSystemUnit::Mile(160934.4);
const FbxSystemUnit FbxSystemUnit::Yard(91.44);

FbxSystemUnit::FbxSystemUnit(double pScaleFactor, double pMultiplier)
    : mScaleFactor(pScaleFactor), mMultiplier(pMultiplier) {}

bool FbxSystemUnit::operator==(const FbxSystemUnit& pOther) const {
  // Some tools store the factor as a 32-bit float.
  auto const near = [](double a, double b) { return std::abs(a - b) <= 1e-6 * std::max(std::abs(a), std::abs(b)); };
  return near(mScaleFactor, pOther.mScaleFactor) && near(mMultiplier, pOther.mMultiplier);
}

}  // namespace fbxsdk
