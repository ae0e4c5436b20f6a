// Static maps: which VNIs the configuration gives to the VLANs of a client domain. A domain that
// comes to a VLAN asks for its VNI there (SwitchNodeSmVni.cc); here a change of the maps finds the
// VLANs that it concerns.
#include "agent/Trace.h"
#include "switch/SwitchNodeSm.h"

namespace Fabrion::Agent {

using Velo::required;

void SwitchNodeSm::handleStaticVniMapForDomain(const Fabrion::Client::ClientDomain& domain) {
  FABRION_TRACE(9, "%s domainName : %s", switchId_, domain.name());
  if (const auto vniMap = config()->vlanToVniMap(domain)) {
    for (const Fabrion::Range& range : vniMap->map().keys()) {
      required(veloVlanToVniMap(domain), "the reactor of the domain's map")
          ->handleStaticVniMapForVlanRange(range);
    }
    return;
  }
  FABRION_TRACE(2, "%s There is no VLAN to VNI mapping for domain '%s'", switchId_, domain.name());
  if (!switchElement()) return;
  // On every VLAN, whether the domain is on it or not: its name must not stay on a VNI.
  for (const Nimbo::String& name : switchElement()->interface().keys()) {
    const auto walked = required(switchElement()->interface(name), "the interface walked");
    for (const U32 vlan : walked->vlan().keys()) {
      const auto walkedVlan = required(walked->vlan(vlan), "the VLAN walked");
      for (const U32 vni : walkedVlan->mappedVni().keys()) {
        const auto interface = required(switchElement()->interface(name), "the interface");
        const auto dynVlan = required(interface->vlan(vlan), "the VLAN of the interface");
        const auto mappedVni = required(dynVlan->mappedVni(vni), "the VNI of the VLAN");
        mappedVni->referrerDel(domain.client());
        if (mappedVni->referrer().empty()) dynVlan->mappedVniDel(vni);
      }
    }
  }
}

Fabrion::Client::ClientDomain SwitchNodeSm::VeloVlanToVniMap::domainName() const {
  return notifier() ? notifier()->domain() : Fabrion::Client::ClientDomain();
}

// Added, changed or removed, and whether a VLAN carries the domain: the handler of each VLAN
// decides that. So a range that has gone changes nothing while the domain is on the VLAN.
void SwitchNodeSm::VeloVlanToVniMap::handleStaticVniMapForVlanRange(const Fabrion::Range& range) {
  const SwitchNodeSm& machine = owner();
  FABRION_TRACE(9, "%s [ %s ] vlan mapping is changing for %s %s", machine.switchId_,
                domainName().name(), range.lower(), range.upper());
  const auto vniMap = machine.config()->vlanToVniMap(domainName());
  const Fabrion::Range* const filed = vniMap ? vniMap->map(range) : nullptr;
  const Fabrion::Range vnis = filed == nullptr ? Fabrion::Range() : *filed;
  FABRION_TRACE(2, "%s Vlan range %s %s is now mapped to %s %s", machine.switchId_, range.lower(),
                range.upper(), vnis.lower(), vnis.upper());
  const auto element = machine.switchElement();
  if (!element) {
    FABRION_TRACE(2, "Switch element does not exist for %s", machine.switchId_);
    return;
  }
  for (const Nimbo::String& name : element->interface().keys()) {
    const auto interface = required(element->interface(name), "the interface walked");
    for (const U32 vlan : interface->vlan().keys()) {
      if (!range.holds(vlan)) continue;
      const auto port = required(machine.veloInterface(name), "the interface's reactor");
      required(port->veloDynVlan(vlan), "the reactor of the interface's VLAN")
          ->handleVlanDomain(domainName());
    }
  }
}

}  // namespace Fabrion::Agent
