// Fills the slots of the mesh SDK's interfaces that nothing calls, so that the classes behind them show only what they
// do.
#pragma once

#include "src/balancer/balancer_sdk.h"

namespace mirel::engine {

class MaterialSlots : public ab::IMaterial {
 public:
  void unusedSlot0() final {}
  void unusedSlot2() final {}
  void unusedSlot3() final {}
  void unusedSlot4() final {}
  void unusedSlot5() final {}
  void unusedSlot6() final {}
  void unusedSlot7() final {}
  void unusedSlot8() final {}
  void unusedSlot9() final {}
  void unusedSlot11() final {}
};

class MeshSlots : public ab::IMesh {
 public:
  void unusedSlot6() final {}
  void unusedSlot7() final {}
  void unusedSlot9() final {}
  void unusedSlot11() final {}
  void unusedSlot13() final {}
  void unusedSlot14() final {}
  void unusedSlot16() final {}
  void unusedSlot18() final {}
  void unusedSlot20() final {}
  void unusedSlot22() final {}
  void unusedSlot25() final {}
  void unusedSlot27() final {}
  void unusedSlot31() final {}
  void unusedSlot33() final {}
  void unusedSlot37() final {}
  void unusedSlot44() final {}
  void unusedSlot46() final {}
  void unusedSlot47() final {}
  void unusedSlot48() final {}
  void unusedSlot49() final {}
  void unusedSlot50() final {}
  void unusedSlot51() final {}
  void unusedSlot52() final {}
  void unusedSlot53() final {}
  void unusedSlot54() final {}
  void unusedSlot55() final {}
  void unusedSlot56() final {}
  void unusedSlot57() final {}
  void unusedSlot58() final {}
  void unusedSlot59() final {}
  void unusedSlot64() final {}
  void unusedSlot65() final {}
  void unusedSlot68() final {}
  void unusedSlot69() final {}
  void unusedSlot72() final {}
  void unusedSlot73() final {}
  void unusedSlot74() final {}
  void unusedSlot75() final {}
  void unusedSlot76() final {}
  void unusedSlot77() final {}
  void unusedSlot78() final {}
  void unusedSlot79() final {}
  void unusedSlot80() final {}
  void unusedSlot81() final {}
  void unusedSlot82() final {}
  void unusedSlot83() final {}
  void unusedSlot84() final {}
  void unusedSlot85() final {}
  void unusedSlot86() final {}
  void unusedSlot87() final {}
  void unusedSlot88() final {}
  void unusedSlot89() final {}
  void unusedSlot90() final {}
  void unusedSlot91() final {}
  void unusedSlot92() final {}
  void unusedSlot93() final {}
  void unusedSlot95() final {}
};

class HierarchySlots : public ab::IHierarchy {
 public:
  void unusedSlot0() final {}
  void unusedSlot1() final {}
  void unusedSlot2() final {}
  void unusedSlot3() final {}
};

class MeshDepotSlots : public ab::IMeshDepot {
 public:
  void unusedSlot2() final {}
  void unusedSlot7() final {}
  void unusedSlot9() final {}
  void unusedSlot11() final {}
  void unusedSlot13() final {}
  void unusedSlot14() final {}
  void unusedSlot15() final {}
  void unusedSlot16() final {}
  void unusedSlot18() final {}
  void unusedSlot19() final {}
  void unusedSlot20() final {}
  void unusedSlot21() final {}
};

}  // namespace mirel::engine
