#pragma once
// The port VLAN configuration of a switch: an output, written by the switch's machine alone.

#include "entities/Bridging.h"
#include "platform/Velo/Entity.h"

namespace ControllerProxyAgent {

// A list of VLANs in the form of BrindleUtils::VlanIdSet::multiRangeString(). Opaque here.
class VlanListV1 {
 public:
  VlanListV1() = default;
  explicit VlanListV1(Nimbo::String list) : list_(std::move(list)) {}
  const Nimbo::String& value() const { return list_; }
  friend bool operator==(const VlanListV1&, const VlanListV1&) = default;

 private:
  Nimbo::String list_;
};

class PortVlanConfigV1 : public Velo::Entity {
  VELO_ENTITY(PortVlanConfigV1, "ControllerProxyAgent::PortVlanConfigV1")

  // Allowed VLANs by port. A port without VLANs has no entry.
  VELO_MAP(Nimbo::String, VlanListV1, portAllowedVlanList)
  // All VLANs of the switch.
  VELO_VALUE(VlanListV1, vlanList)
  // Native VLAN by port. A port without one, or with a conflict, has no entry.
  VELO_MAP(Nimbo::String, Bridging::VlanIdOrNone, portNativeVlan)
};

}  // namespace ControllerProxyAgent
