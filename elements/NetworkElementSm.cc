#include "elements/NetworkElementSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

NetworkElementSm::NetworkElementSm(const Nimbo::String& name,
                                   const Velo::Ptr<Fabrion::NetworkElement>& networkElement)
    : name_(name) {
  networkElement_.constructorArgumentIs(networkElement);
}

Velo::Ptr<NetworkElementSm> NetworkElementSm::NetworkElementSmIs(
    const Nimbo::String& name, const Velo::Ptr<Fabrion::NetworkElement>& networkElement) {
  return create(name, networkElement);
}

Velo::Ptr<NetworkElementSm> networkElementSmFactory(
    const Nimbo::String& name, const Velo::Ptr<Fabrion::NetworkElement>& networkElement) {
  return NetworkElementSm::NetworkElementSmIs(name, networkElement);
}

bool NetworkElementSm::isFor(const Nimbo::String& name,
                             const Velo::Ptr<Fabrion::NetworkElement>& networkElement) const {
  return name_ == name && this->networkElement() == networkElement;
}

// A request that the element holds by now starts nothing: only its next change does.
void NetworkElementSm::handleInitialized() {
  FABRION_TRACE(9, "%s", name_);
  handleIsSwitchElement();
  initialized_ = true;
}

void NetworkElementSm::handleIsSwitchElement() {
  const auto element = networkElement();
  FABRION_TRACE(9, "%s%s", element->name(), element->isSwitchElement() ? " : True" : " : False");
  if (!element->isSwitchElement()) {
    for (const auto& interface : element->interface().values()) interface->vlanDelAll();
    element->vlanDelAll();
    return;
  }
  FABRION_TRACE(3, "NE Physical Interfaces: %s", element->physicalInterface().size());
  FABRION_TRACE(3, "NE Port Groups: %s", element->portGroup().size());
  FABRION_TRACE(3, "NE Interfaces: %s", element->interface().size());
  for (const auto& name : element->physicalInterface().keys()) handlePhysicalInterface(name);
  for (const auto& name : element->portGroup().keys()) handleNePortGroup(name);
  for (const auto& name : element->interface().keys()) handleInterface(name);
}

void NetworkElementSm::handlePhysicalInterface(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s", name);
  const auto element = networkElement();
  const auto interface = element->physicalInterface(name);
  if (!interface) {
    // Its reactor has gone already and has cleaned up.
    FABRION_TRACE(3, "Deleted %s from %s", name, element->name());
    physicalInterfaceSmDel(name);
    element->interfaceDel(name);
    return;
  }
  element->interfaceIs(interface);
  // A port that comes after its group gets its membership here.
  if (const auto host = topologyHost()) {
    const auto port = host->port(name);
    const auto group = port ? port->portGroup() : nullptr;
    const auto reactor = group ? veloPortGroup(group->name()) : nullptr;
    if (reactor) reactor->handleMemberPort(name);
  }
  if (!element->isSwitchElement()) return;
  physicalInterfaceSmIs(name, interface);
  // What happened before the machine was there; each is safe to repeat.
  for (const auto& far : interface->configuredElement().keys()) {
    required(physicalInterfaceSm(name), "the port's machine")->handleConfiguredElement(far);
  }
  for (const auto& far : interface->discoveredElement().keys()) {
    required(physicalInterfaceSm(name), "the port's machine")->handleDiscoveredElement(far);
  }
  for (const U32 vlan : interface->vlan().keys()) {
    required(veloPhysicalInterface(name), "the port's reactor")->handleVlan(vlan);
  }
}

void NetworkElementSm::handleNePortGroup(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s", name);
  const auto element = networkElement();
  if (const auto group = element->portGroup(name)) {
    element->interfaceIs(group);
    portGroupSmIs(name, group);
    return;
  }
  FABRION_TRACE(3, "Deleting %s from %s", name, element->name());
  required(portGroupSm(name), "the port group's machine")->doCleanup();
  element->interfaceDel(name);
  portGroupSmDel(name);
}

void NetworkElementSm::handleInterface(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s", name);
  const auto element = networkElement();
  const auto interface = element->interface(name);
  if (!interface) return;
  interface->isSwitchInterfaceIs(element->isSwitchElement());
}

void NetworkElementSm::handleTopologyPortGroup(const Nimbo::String& name) {
  const auto element = networkElement();
  FABRION_TRACE(9, "%s %s", element->name(), name);
  if (required(topologyHost(), "the topology host")->portGroup(name)) {
    element->portGroupIs(name);
    return;
  }
  FABRION_TRACE(3, "%s deleting port group %s", element->name(), name);
  if (const auto group = element->portGroup(name)) {
    element->portGroupDel(name);
    group->destroy();
  }
}

void NetworkElementSm::handleTopologyPortGroup() {
  FABRION_TRACE(9, "%s", name_);
  const auto host = topologyHost();
  if (!host) return;
  for (const auto& name : host->portGroup().keys()) handleTopologyPortGroup(name);
}

void NetworkElementSm::handleTopologyHost() {
  FABRION_TRACE(9, "%s", name_);
  handleTopologyPortGroup();
}

void NetworkElementSm::handleResourcesForHostname() {
  const auto element = networkElement();
  FABRION_TRACE(9, "%s", element->hostname());
  if (const auto resources = element->resourcesForHostname()) {
    hostResourcesSmIs(resources->hostname(), resources, element);
    return;
  }
  required(hostResourcesSm(), "the machine of the request")->doCleanup();
  hostResourcesSmDel();
}

void NetworkElementSm::doCleanup() {
  FABRION_TRACE(9, "%s", name_);
  networkElement()->vlanDelAll();
  networkElement()->destroy();
}

// A port group of the topology host

void NetworkElementSm::VeloPortGroup::handleMemberPort(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s : %s", notifier()->name(), name);
  const auto element = owner().networkElement();
  // The group is made on the way out as well.
  const auto group = element->portGroupIs(notifier()->name());
  if (notifier()->memberPort(name)) {
    // A member port is a port of the element whether or not it has an edge.
    const auto interface = element->physicalInterfaceIs(name);
    group->memberInterfaceIs(interface);
    interface->portGroupIs(group);
    return;
  }
  group->memberInterfaceDel(name);
  if (const auto interface = element->physicalInterface(name)) interface->portGroupIs(nullptr);
}

void NetworkElementSm::VeloPortGroup::handleMemberPort() {
  FABRION_TRACE(9, "%s", notifier()->name());
  for (const auto& name : notifier()->memberPort().keys()) handleMemberPort(name);
}

// A port of the element

void NetworkElementSm::VeloPhysicalInterface::handleVlan(U32 vlan) {
  FABRION_TRACE(9, "%s : %s : %s", owner().name_, notifier()->name(), vlan);
  const auto element = owner().networkElement();
  if (!element->isSwitchElement()) {
    FABRION_TRACE(3, "Ignoring %s on non-switch element", vlan);
    return;
  }
  if (notifier()->vlan(vlan)) {
    FABRION_TRACE(3, "Adding VLAN %s to %s", vlan, element->name());
    element->vlanIs(vlan)->referrerIs(notifier()->name());
    return;
  }
  const auto entry = element->vlan(vlan);
  if (!entry) return;
  entry->referrerDel(notifier()->name());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting %s from %s", vlan, element->name());
    element->vlanDel(vlan);
  }
}

void NetworkElementSm::VeloPhysicalInterface::handleCleanup() {
  const auto interface = notifier();
  FABRION_TRACE(9, "%s", interface->name());
  const auto element = owner().networkElement();
  for (const U32 vlan : interface->vlan().keys()) {
    const auto entry = element->vlan(vlan);
    if (!entry) continue;
    entry->referrerDel(interface->name());
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting %s from %s", vlan, element->name());
      element->vlanDel(vlan);
    }
  }
  interface->networkElementDelAll();
  interface->vlanDelAll();
  if (const auto group = interface->portGroup()) {
    FABRION_TRACE(3, "Deleting %s from port group %s", interface->name(), group->name());
    group->memberInterfaceDel(interface->name());
    interface->portGroupIs(nullptr);
  }
}

// Generic access

struct NetworkElementSm::Tables {
  using Row = Velo::TypeImpl<NetworkElementSm>;
  static constexpr auto handleOnePortGroup =
      static_cast<void (NetworkElementSm::*)(const Nimbo::String&)>(
          &NetworkElementSm::handleTopologyPortGroup);
  static constexpr auto handleAllPortGroups =
      static_cast<void (NetworkElementSm::*)()>(&NetworkElementSm::handleTopologyPortGroup);
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&NetworkElementSm::name_>("name"),
      Row::argumentReactor<&NetworkElementSm::networkElement_>("networkElement"),
      Row::settableReactor<&NetworkElementSm::topologyHost_, &NetworkElementSm::topologyHostIs,
                           &NetworkElementSm::topologyHostDel>("topologyHost"),
      Row::ownedMachines<&NetworkElementSm::physicalInterfaceSm_>("physicalInterfaceSm"),
      Row::ownedMachines<&NetworkElementSm::portGroupSm_>("portGroupSm"),
      Row::ownedMachine<&NetworkElementSm::hostResourcesSm_>("hostResourcesSm"),
      Row::handler<&NetworkElementSm::handleTopologyHost>("handleTopologyHost"),
      Row::handler<&NetworkElementSm::handleIsSwitchElement>("handleIsSwitchElement"),
      Row::handler<&NetworkElementSm::handleResourcesForHostname>("handleResourcesForHostname"),
      Row::reactors<&NetworkElementSm::physicalInterface_>("physicalInterface"),
      Row::handler<&NetworkElementSm::handleInterface>("handleInterface", {"intfName"}),
      Row::handler<&NetworkElementSm::handlePhysicalInterface>("handlePhysicalInterface",
                                                               {"intfName"}),
      Row::handler<&NetworkElementSm::handleNePortGroup>("handleNePortGroup", {"intfName"}),
      Row::handlerWithBareForm<handleOnePortGroup, handleAllPortGroups>("handleTopologyPortGroup",
                                                                        {"pgName"}),
      Row::reactors<&NetworkElementSm::portGroup_>("portGroup"),
      Row::handler<&NetworkElementSm::handleInitialized>("handleInitialized"),
      Row::value<&NetworkElementSm::initialized_>("initialized"),
      Row::handler<&NetworkElementSm::doCleanup>("doCleanup"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloNetworkElement>("VeloNetworkElement", "networkElement"),
      Row::reactor<VeloTopologyHost>("VeloTopologyHost", "topologyHost"),
      Row::reactor<VeloPhysicalInterface>("VeloPhysicalInterface", "physicalInterface"),
      Row::reactor<VeloPortGroup>("VeloPortGroup", "portGroup"),
  };
};

constinit const Velo::TypeRecord networkElementSmType{
    "Fabrion::Agent::NetworkElementSm", NetworkElementSm::Tables::attributes,
    &Velo::TypeImpl<NetworkElementSm>::genericIfConstructFromCtorArgs<
        Nimbo::String, Velo::Ptr<Fabrion::NetworkElement>>,
    2, NetworkElementSm::Tables::reactors};

}  // namespace Fabrion::Agent
