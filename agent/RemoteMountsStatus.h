#pragma once
// Whether the remote mounts of one switch are ready. The one type of the module that is no machine:
// its clients write the flags and watch `ready`, and nothing in the module reads it.

#include "agent/FabrionSm.h"
#include "platform/Velo/Entity.h"

namespace Fabrion::Agent {

// After a flag mutator that changed its flag, `ready` is true exactly when all four flags are. It
// is stored and notified before the flag that caused it is notified, and by then the flag holds its
// new value. A `ready` set by hand stands until the next change of a flag or the next
// updateReady().
class RemoteMountsStatus : public Velo::Entity {
 public:
  struct Tables;

  explicit RemoteMountsStatus(Nimbo::String switchId) : switchId_(std::move(switchId)) {}
  static Velo::Ptr<RemoteMountsStatus> create(const Nimbo::String& switchId) {
    return Velo::make<RemoteMountsStatus>(switchId);
  }

  Velo::VeloTypeBase fwkType() const override { return Velo::VeloTypeBase(remoteMountsStatusType); }
  static void* operator new(std::size_t size) { return Velo::trackedNew<RemoteMountsStatus>(size); }
  static void operator delete(void* memory, std::size_t size) noexcept {
    Velo::trackedDelete<RemoteMountsStatus>(memory, size);
  }

  VELO_ATTRIBUTE_PLAIN_(topology)
  VELO_ATTRIBUTE_PLAIN_(portVlanConfig)
  VELO_ATTRIBUTE_PLAIN_(dynVtepConfig)
  VELO_ATTRIBUTE_PLAIN_(dynVtepStatus)
  VELO_ATTRIBUTE_PLAIN_(ready)

  bool topology() const { return topology_; }
  bool portVlanConfig() const { return portVlanConfig_; }
  bool dynVtepConfig() const { return dynVtepConfig_; }
  bool dynVtepStatus() const { return dynVtepStatus_; }
  bool ready() const { return ready_; }

  void topologyIs(bool v) { flagIs(topology_, topologyAttribute::id, v); }
  void portVlanConfigIs(bool v) { flagIs(portVlanConfig_, portVlanConfigAttribute::id, v); }
  void dynVtepConfigIs(bool v) { flagIs(dynVtepConfig_, dynVtepConfigAttribute::id, v); }
  void dynVtepStatusIs(bool v) { flagIs(dynVtepStatus_, dynVtepStatusAttribute::id, v); }
  // Writes `ready` without looking at the flags.
  void readyIs(bool v);
  // Recomputes `ready` from the flags.
  void updateReady();

  VELO_KEY(Nimbo::String, switchId)

 private:
  void flagIs(bool& flag, Velo::AttributeId id, bool value);
  bool allReady() const { return topology_ && portVlanConfig_ && dynVtepConfig_ && dynVtepStatus_; }

  bool topology_ = false;
  bool portVlanConfig_ = false;
  bool dynVtepConfig_ = false;
  bool dynVtepStatus_ = false;
  bool ready_ = false;
};

}  // namespace Fabrion::Agent
