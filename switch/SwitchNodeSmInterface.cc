// One port of the switch: its allowed VLANs and its native VLAN, which are independent of each
// other.
#include "agent/Trace.h"
#include "switch/SwitchNodeSm.h"

namespace Fabrion::Agent {

using Velo::required;

void SwitchNodeSm::handleInterface(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s %s", switchId_, name);
  if (isMemberInterface(name)) return;
  const auto interface = required(switchElement(), "the switch element")->interface(name);
  if (!interface) {
    portVlanConfig_->portAllowedVlanListDel(name);
    portVlanConfig_->portNativeVlanDel(name);
    return;
  }
  // What the output holds and the interface lacks falls out here. A native VLAN left over does not:
  // only those on the interface are looked at.
  allowedVlans(name)->forEach(1, 4094, [&](U16 vlan) {
    required(veloInterface(name), "the interface's reactor")->handleVlan(vlan);
  });
  for (const U32 vlan : interface->vlan().keys()) {
    FABRION_TRACE(3, "VLAN: %s found in interface %s", vlan, name);
    required(veloInterface(name), "the interface's reactor")->handleVlan(vlan);
  }
  for (const U32 vlan : interface->nativeVlan().keys()) {
    FABRION_TRACE(3, "Native VLAN: %s found in interface %s", vlan, name);
    required(veloInterface(name), "the interface's reactor")->handleNativeVlan(vlan);
  }
}

Velo::Ptr<BrindleUtils::VlanIdSet> SwitchNodeSm::allowedVlans(const Nimbo::String& name) const {
  auto vlans = BrindleUtils::VlanIdSetIs();
  if (const auto* list = portVlanConfig_->portAllowedVlanList(name)) {
    BrindleUtils::computeVlanSet(vlans, list->value());
  }
  return vlans;
}

void SwitchNodeSm::VeloInterface::handleVlan(U32 vlan) {
  FABRION_TRACE(9, "VLAN : %s", vlan);
  const auto interface = notifier();
  SwitchNodeSm& machine = owner();
  if (machine.isMemberInterface(interface->name())) return;
  FABRION_TRACE(9, "%s %s %s", machine.switchId_, interface->name(), vlan);
  const auto vlans = machine.allowedVlans(interface->name());
  if (interface->vlan(vlan)) {
    FABRION_TRACE(2, "Adding VLAN: %s on switch: %s interface: %s", vlan, machine.switchId_,
                  interface->name());
    vlans->doAdd(static_cast<U16>(vlan));
  } else {
    FABRION_TRACE(2, "Removing VLAN: %s from switch: %s interface: %s", vlan, machine.switchId_,
                  interface->name());
    vlans->doRemove(static_cast<U16>(vlan));
  }
  if (vlans->empty()) {
    FABRION_TRACE(3, "Deleting allowedVlans from %s", interface->name());
    machine.portVlanConfig_->portAllowedVlanListDel(interface->name());
    return;
  }
  const Nimbo::String list = vlans->multiRangeString();
  FABRION_TRACE(2, "Dynvlan allowedvlan configuration: %s", list);
  FABRION_TRACE(3, "Adding allowed vlans %s on switch: %s interface: %s", list, machine.switchId_,
                interface->name());
  machine.portVlanConfig_->portAllowedVlanListIs(interface->name(),
                                                 ControllerProxyAgent::VlanListV1(list));
}

void SwitchNodeSm::VeloInterface::handleNativeVlan(U32 vlan) {
  const auto interface = notifier();
  SwitchNodeSm& machine = owner();
  FABRION_TRACE(9, "%s %s VLAN %s", machine.switchId_, interface->name(), vlan);
  if (machine.isMemberInterface(interface->name())) return;
  const auto& requested = interface->nativeVlan();
  if (requested.size() > 1) {
    machine.handleNativeVlanConflict(interface->name(), vlan);
    return;
  }
  if (requested.empty()) {
    FABRION_TRACE(3, "Removing native VLAN: %s from portVlanConfig on %s", vlan, interface->name());
    machine.portVlanConfig_->portNativeVlanDel(interface->name());
    return;
  }
  const U32 native = *requested.keys().begin();
  FABRION_TRACE(3, "Adding native VLAN: %s to interface: %s", native, interface->name());
  machine.portVlanConfig_->portNativeVlanIs(interface->name(),
                                            Bridging::VlanIdOrNone(static_cast<U16>(native)));
}

void SwitchNodeSm::VeloPhysicalInterface::handlePortGroup() {
  const auto port = notifier();
  SwitchNodeSm& machine = owner();
  FABRION_TRACE(9, "Interface: %s", port->name());
  if (!port->portGroup()) {
    FABRION_TRACE(2, "%s no longer a member interface. Reprovisioning.", port->name());
    machine.handleInterface(port->name());
    return;
  }
  FABRION_TRACE(2, "Cleaning up member interface %s", port->name());
  machine.portVlanConfig_->portAllowedVlanListDel(port->name());
  machine.portVlanConfig_->portNativeVlanDel(port->name());
  const auto vtepConfig = machine.firstVtepConfig();
  if (!vtepConfig) return;
  for (const VxlanController::PortVlanPairV2& pair : vtepConfig->vlanToVniMap().keys()) {
    if (pair.port() == port->name()) vtepConfig->vlanToVniMapDel(pair);
  }
}

}  // namespace Fabrion::Agent
