#pragma once
// VTEP status of a switch, an input, and its VTEP configuration, an output.

#include <compare>

#include "entities/Bridging.h"
#include "entities/Vxlan.h"
#include "platform/Velo/Entity.h"
#include "platform/Velo/Hash.h"

namespace VxlanController {

// Key of a mapping: a port's name and a VLAN.
class PortVlanPairV2 {
 public:
  PortVlanPairV2() = default;
  PortVlanPairV2(Nimbo::String port, Bridging::VlanIdOrNone vlan)
      : port_(std::move(port)), vlan_(vlan) {}
  const Nimbo::String& port() const { return port_; }
  Bridging::VlanIdOrNone vlan() const { return vlan_; }
  U32 hash(U32 seed) const {
    return Velo::hashU32(vlan_.value(), Velo::hashBytes(port_.view(), seed));
  }
  friend auto operator<=>(const PortVlanPairV2&, const PortVlanPairV2&) = default;

 private:
  Nimbo::String port_;
  Bridging::VlanIdOrNone vlan_;
};

class VtepConfigV2 : public Velo::Entity {
  VELO_ENTITY(VtepConfigV2, "VxlanController::VtepConfigV2")
  VELO_KEY(Nimbo::String, name)
  VELO_MAP(PortVlanPairV2, Vxlan::Vni, vlanToVniMap)

 public:
  explicit VtepConfigV2(Nimbo::String name) : name_(std::move(name)) {}
};

class VtepConfigDirV2 : public Velo::Entity {
  VELO_ENTITY(VtepConfigDirV2, "VxlanController::VtepConfigDirV2")
  VELO_CHILDREN(Nimbo::String, VtepConfigV2, vtepConfig)
};

// Its presence is all that counts here.
class VtepStatusV2 : public Velo::Entity {
  VELO_ENTITY(VtepStatusV2, "VxlanController::VtepStatusV2")
  VELO_KEY(Nimbo::String, name)

 public:
  explicit VtepStatusV2(Nimbo::String name) : name_(std::move(name)) {}
};

class VtepStatusDirV2 : public Velo::Entity {
  VELO_ENTITY(VtepStatusDirV2, "VxlanController::VtepStatusDirV2")
  VELO_ENTRIES(Nimbo::String, VtepStatusV2, vtepStatusV2)
};

}  // namespace VxlanController
