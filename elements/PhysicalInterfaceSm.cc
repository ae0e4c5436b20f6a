#include "elements/PhysicalInterfaceSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

PhysicalInterfaceSm::PhysicalInterfaceSm(
    const Nimbo::String& intfName, const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface)
    : intfName_(intfName) {
  physicalInterface_.constructorArgumentIs(physicalInterface);
}

Velo::Ptr<PhysicalInterfaceSm> PhysicalInterfaceSm::PhysicalInterfaceSmIs(
    const Nimbo::String& intfName, const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface) {
  return create(intfName, physicalInterface);
}

Velo::Ptr<PhysicalInterfaceSm> physicalInterfaceSmFactory(
    const Nimbo::String& intfName, const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface) {
  return PhysicalInterfaceSm::PhysicalInterfaceSmIs(intfName, physicalInterface);
}

bool PhysicalInterfaceSm::isFor(
    const Nimbo::String& intfName,
    const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface) const {
  return intfName_ == intfName && this->physicalInterface() == physicalInterface;
}

void PhysicalInterfaceSm::handleIsSwitchInterface() {
  FABRION_TRACE(9, "%s", intfName_);
  const auto interface = physicalInterface();
  for (const auto& name : interface->networkElement().keys()) handleNetworkElement(name);
}

void PhysicalInterfaceSm::handleNetworkElement(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s on %s", name, intfName_);
  if (!physicalInterface()->networkElement(name)) {
    // Its reactor has gone already and has cleaned up.
    FABRION_TRACE(3, "Host deleted from interface %s", physicalInterface()->name());
    return;
  }
  FABRION_TRACE(3, "Host added");
  const auto element = required(physicalInterface()->networkElement(name), "the far element");
  FABRION_TRACE(3, "Vlans required for the host [ %s ] : %s", name, element->vlan().size());
  for (const U32 vlan : element->vlan().keys()) {
    required(veloNetworkElement(name), "the far element's reactor")->handleVlan(vlan);
    const auto reactor = required(veloNetworkElement(name), "the far element's reactor");
    required(reactor->veloDynVlan(vlan), "the reactor of the far element's VLAN")
        ->handleInitialized();
  }
}

void PhysicalInterfaceSm::handleConfiguredElement(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s on %s", name, intfName_);
  const auto interface = physicalInterface();
  if (const auto element = interface->configuredElement(name)) {
    interface->networkElementIs(element);
    return;
  }
  // It stays through the other relation.
  if (interface->discoveredElement(name)) return;
  FABRION_TRACE(3, "Removing network elements %s from %s", name, interface->name());
  interface->networkElementDel(name);
}

void PhysicalInterfaceSm::handleDiscoveredElement(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s on %s", name, intfName_);
  const auto interface = physicalInterface();
  if (const auto element = interface->discoveredElement(name)) {
    interface->networkElementIs(element);
    return;
  }
  if (interface->configuredElement(name)) return;
  FABRION_TRACE(3, "Removing network elements %s from %s", name, interface->name());
  interface->networkElementDel(name);
}

void PhysicalInterfaceSm::doCleanup() { FABRION_TRACE(9, "%s", intfName_); }

// A far element

void PhysicalInterfaceSm::VeloNetworkElement::handleIsSwitchElement() {
  const auto element = notifier();
  FABRION_TRACE(9, "%s:%s", element->name(), owner().intfName_);
  if (element->isSwitchElement()) {
    FABRION_TRACE(9, "%s : True", element->name());
  } else {
    FABRION_TRACE(9, "%s : False", element->name());
  }
  for (const U32 vlan : element->vlan().keys()) {
    handleVlan(vlan);
    required(veloDynVlan(vlan), "the reactor of the far element's VLAN")->handleInitialized();
  }
}

void PhysicalInterfaceSm::VeloNetworkElement::handleVlan(U32 vlan) {
  const auto element = notifier();
  FABRION_TRACE(9, "%s : %s %s VLAN: %s", element->name(), element->hostname(), owner().intfName_,
                vlan);
  const auto interface = owner().physicalInterface();
  if (!interface->isSwitchInterface()) {
    FABRION_TRACE(3, "Ignoring vlan on %s since this is not a switch interface.", element->name());
    return;
  }
  if (element->vlan(vlan) && !element->isSwitchElement()) {
    FABRION_TRACE(3, "Adding vlan %s to %s", vlan, owner().intfName_);
    interface->vlanIs(vlan)->referrerIs(element->name());
    return;
  }
  const auto entry = interface->vlan(vlan);
  if (!entry) return;
  entry->referrerDel(element->name());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting vlan %s from %s", vlan, owner().intfName_);
    interface->vlanDel(vlan);
  }
}

void PhysicalInterfaceSm::VeloNetworkElement::handleCleanup() {
  const auto element = notifier();
  FABRION_TRACE(9, "%s", element->name());
  const auto interface = owner().physicalInterface();
  for (const U32 vlan : element->vlan().keys()) {
    const auto entry = interface->vlan(vlan);
    if (!entry) continue;
    required(veloDynVlan(vlan), "the reactor of the far element's VLAN")->doCleanup();
    entry->referrerDel(element->name());
    // The far element's own entry decides here, not the interface's: an entry with no referrer left
    // stays on the interface while the element is still asked for the VLAN.
    if (required(element->vlan(vlan), "the far element's VLAN")->referrer().empty()) {
      FABRION_TRACE(3, "Deleting VLAN %s from %s", vlan, owner().intfName_);
      interface->vlanDel(vlan);
    }
  }
}

// One VLAN of a far element

Velo::Ptr<const Fabrion::NetworkElement>
PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::element() const {
  return owner().notifier();
}
Velo::Ptr<Fabrion::PhysicalInterface>
PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::physicalInterface() const {
  return owner().owner().physicalInterface();
}
const Nimbo::String& PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::intfName() const {
  return owner().owner().intfName_;
}
U32 PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::vlanId() const {
  return notifier() ? notifier()->vlanId() : 0;
}

void PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::handleInitialized() {
  const auto far = element();
  FABRION_TRACE(9, "%s : %s %s VLAN: %s", far->name(), far->hostname(), intfName(), vlanId());
  if (!physicalInterface()->isSwitchInterface()) {
    FABRION_TRACE(3, "Ignoring vni on %s since this is not a switch interface.", far->name());
    return;
  }
  if (far->isSwitchElement()) {
    // Nothing is taken back either: names that this element left on domains and VNIs stay.
    initialized_ = true;
    return;
  }
  const auto to = physicalInterface()->vlanIs(vlanId());
  to->referrerIs(far->name());
  const auto from = required(far->vlan(vlanId()), "the far element's VLAN");
  for (const auto& domain : from->domain().keys()) {
    FABRION_TRACE(3, "Adding domain %s to %s", domain.name(), intfName());
    to->domainIs(domain)->referrerIs(far->name());
  }
  for (const U32 vni : from->mappedVni().keys()) {
    FABRION_TRACE(3, "Adding VNI: %s mapped to VLAN: %s on interface: %s", vni, vlanId(),
                  intfName());
    to->mappedVniIs(vni);
    required(to->mappedVni(vni), "the VNI of the interface")->referrerIs(far->name());
  }
  initialized_ = true;
}

void PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::handleVlanDomain(
    const Fabrion::Client::ClientDomain& domain) {
  const auto far = element();
  FABRION_TRACE(9, "%s : %s %s VLAN: %s", far->name(), far->hostname(), intfName(), vlanId());
  if (!physicalInterface()->isSwitchInterface()) {
    FABRION_TRACE(3, "Ignoring vni on %s since this is not a switch interface.", far->name());
    return;
  }
  const auto to = physicalInterface()->vlan(vlanId());
  const auto from = far->vlan(vlanId());
  if (from && from->domain(domain) && !far->isSwitchElement()) {
    FABRION_TRACE(3, "Adding domain %s to %s", domain.name(), intfName());
    required(to, "the VLAN of the interface")->domainIs(domain);
    required(to->domain(domain), "the domain of the interface")->referrerIs(far->name());
    return;
  }
  // A far element that is a switch may have had no VLAN copied at all.
  if (!to || !to->domain(domain)) return;
  const auto entry = to->domain(domain);
  entry->referrerDel(far->name());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting domain %s from %s", domain.name(), intfName());
    to->domainDel(domain);
  }
}

void PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::handleDynamicVniMapping(U32 vni) {
  const auto far = element();
  FABRION_TRACE(9, "%s : %s %s VLAN: %s VNI: %s", far->name(), far->hostname(), intfName(),
                vlanId(), vni);
  if (!physicalInterface()->isSwitchInterface()) {
    FABRION_TRACE(3, "Ignoring vni on %s since this is not a switch interface.", far->name());
    return;
  }
  const auto to = physicalInterface()->vlan(vlanId());
  const auto from = far->vlan(vlanId());
  if (from && from->mappedVni(vni) && !far->isSwitchElement()) {
    FABRION_TRACE(3, "Adding VNI: %s mapped to VLAN: %s on interface: %s", vni, vlanId(),
                  intfName());
    required(to, "the VLAN of the interface")->mappedVniIs(vni);
    required(to->mappedVni(vni), "the VNI of the interface")->referrerIs(far->name());
    return;
  }
  if (!to || !to->mappedVni(vni)) return;
  to->mappedVni(vni)->referrerDel(far->name());
  if (required(to->mappedVni(vni), "the VNI of the interface")->referrer().empty()) {
    FABRION_TRACE(3, "Removing VNI: %s from VLAN: %s on %s", vni, vlanId(), intfName());
    to->mappedVniDel(vni);
  }
}

void PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::doCleanup() {
  const auto far = element();
  FABRION_TRACE(9, "");
  FABRION_TRACE(3, "%s : %s %s VLAN %s", far->name(), far->hostname(), intfName(), vlanId());
  const auto to = physicalInterface()->vlan(vlanId());
  if (!to) return;
  for (const U32 vni : notifier()->mappedVni().keys()) {
    if (!to->mappedVni(vni)) continue;
    to->mappedVni(vni)->referrerDel(far->name());
    if (required(to->mappedVni(vni), "the VNI of the interface")->referrer().empty()) {
      to->mappedVniDel(vni);
    }
  }
  for (const auto& domain : notifier()->domain().keys()) {
    if (!to->domain(domain)) continue;
    to->domain(domain)->referrerDel(far->name());
    if (required(to->domain(domain), "the domain of the interface")->referrer().empty()) {
      to->domainDel(domain);
    }
  }
}

// Generic access

struct PhysicalInterfaceSm::Tables {
  using Row = Velo::TypeImpl<PhysicalInterfaceSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&PhysicalInterfaceSm::intfName_>("intfName"),
      Row::argumentReactor<&PhysicalInterfaceSm::physicalInterface_>("physicalInterface"),
      Row::handler<&PhysicalInterfaceSm::handleIsSwitchInterface>("handleIsSwitchInterface"),
      Row::reactors<&PhysicalInterfaceSm::networkElement_>("networkElement"),
      Row::handler<&PhysicalInterfaceSm::handleNetworkElement>("handleNetworkElement", {"name"}),
      Row::handler<&PhysicalInterfaceSm::handleConfiguredElement>("handleConfiguredElement",
                                                                  {"ceName"}),
      Row::handler<&PhysicalInterfaceSm::handleDiscoveredElement>("handleDiscoveredElement",
                                                                  {"deName"}),
      Row::handler<&PhysicalInterfaceSm::doCleanup>("doCleanup"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloPhysicalInterface>("VeloPhysicalInterface", "physicalInterface"),
      Row::reactor<VeloNetworkElement>("VeloNetworkElement", "networkElement"),
      Row::reactor<VeloNetworkElement::VeloDynVlan>("VeloNetworkElement::VeloDynVlan", "dynVlan"),
  };
};

constinit const Velo::TypeRecord physicalInterfaceSmType{
    "Fabrion::Agent::PhysicalInterfaceSm", PhysicalInterfaceSm::Tables::attributes,
    &Velo::TypeImpl<PhysicalInterfaceSm>::genericIfConstructFromCtorArgs<
        Nimbo::String, Velo::Ptr<Fabrion::PhysicalInterface>>,
    2, PhysicalInterfaceSm::Tables::reactors};

}  // namespace Fabrion::Agent
