// One VLAN of one port and its VNI: what the static map of a client domain gives is brought to the
// model in the domain's name, and what the model holds, whoever asked for it, goes to the oldest
// VTEP configuration.
#include "agent/Trace.h"
#include "switch/SwitchNodeSm.h"

namespace Fabrion::Agent {

using Velo::required;

const Nimbo::String& SwitchNodeSm::VeloInterface::VeloDynVlan::intfName() const {
  return owner().notifier()->name();
}
U32 SwitchNodeSm::VeloInterface::VeloDynVlan::vlanId() const {
  return notifier() ? notifier()->vlanId() : 0;
}
Velo::Ptr<Fabrion::DynamicVlan> SwitchNodeSm::VeloInterface::VeloDynVlan::dynVlan() const {
  return owner().notifier()->vlan(vlanId());
}

void SwitchNodeSm::VeloInterface::VeloDynVlan::handleInitialized() {
  FABRION_TRACE(9, "inteface: %s VLAN: %s", intfName(), vlanId());
  const auto dv = required(dynVlan(), "the VLAN of the interface");
  for (const auto& domain : dv->domain().keys()) handleVlanDomain(domain);
}

void SwitchNodeSm::VeloInterface::VeloDynVlan::handleVlanDomain(
    const Fabrion::Client::ClientDomain& domain) {
  const SwitchNodeSm& machine = owner().owner();
  FABRION_TRACE(9, "%s domainName : %s", machine.switchId_, domain.name());
  const auto dv = required(dynVlan(), "the VLAN of the interface");
  const U32 vni = machine.config()->vniForVlan(domain, vlanId());
  if (vni != 0 && dv->domain(domain)) {
    FABRION_TRACE(3, "Adding static %s <-> %s mapping ", vlanId(), vni);
    dv->mappedVniIs(vni)->referrerIs(domain.client());
    return;
  }
  // The VNI that the map gave before stays until the domain leaves the VLAN, or its map goes.
  if (dv->domain(domain)) return;
  // Of every VNI: the map may not name those any more that it gave once.
  for (const U32 mapped : dv->mappedVni().keys()) {
    const auto entry = required(dv->mappedVni(mapped), "the VNI of the VLAN");
    entry->referrerDel(domain.client());
    if (!entry->referrer().empty()) continue;
    FABRION_TRACE(3, "Removing %s <-> %s mapping ", vlanId(), mapped);
    dv->mappedVniDel(mapped);
  }
}

void SwitchNodeSm::VeloInterface::VeloDynVlan::handleInterfaceVniMapping(U32 vni) {
  const SwitchNodeSm& machine = owner().owner();
  FABRION_TRACE(9, "VLAN: %s VNI: %s", vlanId(), vni);
  if (machine.isMemberInterface(intfName())) return;
  const auto vtepConfig = machine.firstVtepConfig();
  FABRION_TRACE(3, "%s vtepConfigDir: %s", machine.switchId_, machine.vtepConfigDir_);
  if (!vtepConfig) {
    FABRION_TRACE(3, "%s vtepConfig is not present. Deferring...", machine.switchId_);
    return;
  }
  const auto dv = dynVlan();
  if (dv && dv->mappedVni().size() > 1) {
    owner().owner().handleVniMapConflict(intfName(), vlanId());
    return;
  }
  const auto pair = pairOf(intfName(), vlanId());
  if (dv && dv->mappedVni(vni)) {
    FABRION_TRACE(3, "%s Mapping VLAN %s to VNI %s on interface %s", machine.switchId_, vlanId(),
                  vni, intfName());
    vtepConfig->vlanToVniMapIs(pair, Vxlan::Vni(vni));
    return;
  }
  FABRION_TRACE(3, "%s Removing VLAN: %s mapping from interface %s", machine.switchId_, vlanId(),
                intfName());
  vtepConfig->vlanToVniMapDel(pair);
  // The one that is left of a conflict, or of a change from one VNI to another.
  if (dv && dv->mappedVni().size() == 1) {
    const U32 survivor = *dv->mappedVni().keys().begin();
    FABRION_TRACE(3, "%s Mapping VLAN %s to VNI %s on interface %s", machine.switchId_, vlanId(),
                  survivor, intfName());
    vtepConfig->vlanToVniMapIs(pair, Vxlan::Vni(survivor));
  }
}

void SwitchNodeSm::VeloInterface::VeloDynVlan::doCleanup() {
  FABRION_TRACE(9, "Inteface: %s VLAN: %s", intfName(), vlanId());
  const auto vtepConfig = owner().owner().firstVtepConfig();
  if (!vtepConfig) return;
  vtepConfig->vlanToVniMapDel(pairOf(intfName(), vlanId()));
}

}  // namespace Fabrion::Agent
