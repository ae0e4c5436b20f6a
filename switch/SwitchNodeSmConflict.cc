// Requests on one port that contradict each other. Nobody wins: what was written goes, the requests
// stay, and the conflict lasts until those who asked change what they ask for.
#include <string>

#include "agent/Trace.h"
#include "switch/SwitchNodeSm.h"

namespace Fabrion::Agent {

using Velo::required;

namespace {

// "5, 6": the keys in order of iteration.
template <class Map>
std::string joinedKeys(const Map& map) {
  std::string text;
  for (const U32 key : map.keys()) {
    if (!text.empty()) text += ", ";
    text += std::to_string(key);
  }
  return text;
}

}  // namespace

void SwitchNodeSm::handleVniMapConflict(const Nimbo::String& name, U32 vlan) {
  FABRION_TRACE(9, "Interface: %s VLAN: %s", name, vlan);
  const auto vtepConfig = firstVtepConfig();
  const auto element = required(switchElement(), "the switch element");
  const auto interface = element->interface(name);
  if (!vtepConfig || !interface) {
    FABRION_TRACE(3, "vtepConfig: %s interface: %s", vtepConfig, interface);
    return;
  }
  const auto dynVlan = required(interface->vlan(vlan), "the VLAN of the interface");
  FABRION_TRACE(0,
                "Conflict is detected in VLAN %s mapping on switch %s interface %s There are %s "
                "different VNIs (%s) are requested to map on same VLAN. Removing mapping for VLAN "
                "%s from interface %s",
                vlan, element->name(), name, dynVlan->mappedVni().size(),
                joinedKeys(dynVlan->mappedVni()), vlan, name);
  vtepConfig->vlanToVniMapDel(pairOf(name, vlan));
}

void SwitchNodeSm::handleNativeVlanConflict(const Nimbo::String& name, U32 vlan) {
  FABRION_TRACE(9, "Interface: %s VLAN: %s", name, vlan);
  const auto element = required(switchElement(), "the switch element");
  const auto interface = required(element->interface(name), "the interface of the switch element");
  FABRION_TRACE(
      0,
      "Conflict is detected for setting native vlan on interface %s. There are %s different "
      "nativeVlans ( %s ) requested to be configured on the interface. Removing nativeVlan from %s "
      "because of conflict.",
      name, interface->nativeVlan().size(), joinedKeys(interface->nativeVlan()), name);
  portVlanConfig_->portNativeVlanDel(name);
}

}  // namespace Fabrion::Agent
