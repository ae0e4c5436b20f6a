// The VTEPs of the switch. A status that comes brings the VTEP's configuration into being and fills
// it with all that is mapped now; that is the only place where one is made. One that goes leaves
// its configuration as it stands.
#include "agent/Trace.h"
#include "switch/SwitchNodeSm.h"

namespace Fabrion::Agent {

using Velo::required;

void SwitchNodeSm::handleVtepConfig(const Nimbo::String& port) {
  FABRION_TRACE(9, "%s %s", switchId_, port);
  if (!switchElement()) {
    FABRION_TRACE(2, "%s Switch element has not been set yet. Deferring...", switchId_);
    return;
  }
  if (!vtepStatusDir()->vtepStatusV2(port)) {
    FABRION_TRACE(2, "%s Vtep %s deleted", switchId_, port);
    return;
  }
  const auto vtepConfig = vtepConfigDir_->vtepConfigIs(port);
  for (const Nimbo::String& name : switchElement()->interface().keys()) {
    if (isMemberInterface(name)) continue;
    const auto interface =
        required(switchElement()->interface(name), "the interface of the switch element");
    for (const U32 vlan : interface->vlan().keys()) {
      const auto pair = pairOf(name, vlan);
      const auto dynVlan = required(interface->vlan(vlan), "the VLAN of the interface");
      // Taken out of the oldest configuration, and not written to this one.
      if (dynVlan->mappedVni().size() > 1) {
        handleVniMapConflict(name, vlan);
        continue;
      }
      for (const U32 vni : dynVlan->mappedVni().keys()) {
        FABRION_TRACE(3, "%s Mapping %s to %s on interface %s", switchId_, vlan, vni, name);
        vtepConfig->vlanToVniMapIs(pair, Vxlan::Vni(vni));
      }
    }
  }
}

Velo::Ptr<VxlanController::VtepConfigV2> SwitchNodeSm::firstVtepConfig() const {
  const auto& vtepConfigs = vtepConfigDir_->vtepConfig();
  return vtepConfigs.empty() ? nullptr : *vtepConfigs.values().begin();
}

VxlanController::PortVlanPairV2 SwitchNodeSm::pairOf(const Nimbo::String& port, U32 vlan) {
  return {port, Bridging::VlanIdOrNone(static_cast<U16>(vlan))};
}

}  // namespace Fabrion::Agent
