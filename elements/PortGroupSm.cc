#include "elements/PortGroupSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

PortGroupSm::PortGroupSm(const Nimbo::String& intfName,
                         const Velo::Ptr<Fabrion::PortGroup>& portGroup)
    : intfName_(intfName) {
  portGroup_.constructorArgumentIs(portGroup);
}

Velo::Ptr<PortGroupSm> PortGroupSm::PortGroupSmIs(const Nimbo::String& intfName,
                                                  const Velo::Ptr<Fabrion::PortGroup>& portGroup) {
  return create(intfName, portGroup);
}

Velo::Ptr<PortGroupSm> portGroupSmFactory(const Nimbo::String& intfName,
                                          const Velo::Ptr<Fabrion::PortGroup>& portGroup) {
  return PortGroupSm::PortGroupSmIs(intfName, portGroup);
}

bool PortGroupSm::isFor(const Nimbo::String& intfName,
                        const Velo::Ptr<Fabrion::PortGroup>& portGroup) const {
  return intfName_ == intfName && this->portGroup() == portGroup;
}

void PortGroupSm::handleInitialized() {
  FABRION_TRACE(9, "%s", intfName_);
  for (const Nimbo::String& name : portGroup()->memberInterface().keys())
    handleMemberInterface(name);
}

void PortGroupSm::handleMemberInterface(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s", name);
  const auto member = portGroup()->memberInterface(name);
  if (!member) {
    FABRION_TRACE(3, "Interface: %s was deleted from %s", name, portGroup()->name());
    return;
  }
  for (const U32 vlan : member->vlan().keys()) {
    required(veloMemberInterface(name), "the member's reactor")->handleMemberInterfaceVlan(vlan);
  }
  for (const U32 vlan : member->nativeVlan().keys()) {
    required(veloMemberInterface(name), "the member's reactor")
        ->handleMemberInterfaceNativeVlan(vlan);
  }
}

void PortGroupSm::doCleanup() {
  FABRION_TRACE(9, "%s", portGroup()->name());
  portGroup()->memberInterfaceDelAll();
  portGroup()->vlanDelAll();
  portGroup()->nativeVlanDelAll();
}

// A member of the group

void PortGroupSm::VeloMemberInterface::handleMemberInterfaceVlan(U32 vlan) {
  FABRION_TRACE(9, "%s : %s", notifier()->name(), vlan);
  const auto group = owner().portGroup();
  if (notifier()->vlan(vlan)) {
    FABRION_TRACE(3, "Adding VLAN %s to %s", vlan, group->name());
    group->vlanIs(vlan)->referrerIs(notifier()->name());
    return;
  }
  const auto entry = group->vlan(vlan);
  if (!entry) return;
  entry->referrerDel(notifier()->name());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting %s from %s", vlan, group->name());
    group->vlanDel(vlan);
  }
}

void PortGroupSm::VeloMemberInterface::handleMemberInterfaceNativeVlan(U32 vlan) {
  FABRION_TRACE(9, "%s : %s", notifier()->name(), vlan);
  const auto group = owner().portGroup();
  if (!group->nativeVlan(vlan)) {
    // Whether the member still has it is not asked here: the last member to drop a VLAN that the
    // group lacks brings it back, and it stays.
    FABRION_TRACE(3, "Adding native vlan: %s to PortGroupt: %s", vlan, owner().intfName_);
    group->nativeVlanIs(vlan)->referrerIs(notifier()->name());
    return;
  }
  if (notifier()->nativeVlan(vlan)) return;
  group->nativeVlan(vlan)->referrerDel(notifier()->name());
  if (required(group->nativeVlan(vlan), "the port group's native VLAN")->referrer().empty()) {
    FABRION_TRACE(3, "Removing native VLAN: %s from %s", vlan, group->name());
    group->nativeVlanDel(vlan);
  }
}

void PortGroupSm::VeloMemberInterface::handleCleanup() {
  FABRION_TRACE(9, "%s", notifier()->name());
  const auto group = owner().portGroup();
  for (const U32 vlan : notifier()->vlan().keys()) {
    required(veloDynVlan(vlan), "the reactor of the member's VLAN")->doCleanup();
    const auto entry = group->vlan(vlan);
    if (!entry) continue;
    entry->referrerDel(notifier()->name());
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting %s from %s", vlan, group->name());
      group->vlanDel(vlan);
    }
  }
  for (const U32 vlan : notifier()->nativeVlan().keys()) {
    const auto entry = group->nativeVlan(vlan);
    if (!entry) continue;
    entry->referrerDel(notifier()->name());
    // The member's own entry decides here, not the group's.
    if (required(notifier()->nativeVlan(vlan), "the member's native VLAN")->referrer().empty()) {
      FABRION_TRACE(3, "Deleting nativeVlan %s from %s", vlan, group->name());
      group->nativeVlanDel(vlan);
    }
  }
}

// One VLAN of a member

const Nimbo::String& PortGroupSm::VeloMemberInterface::VeloDynVlan::memberName() const {
  return owner().notifier()->name();
}
Velo::Ptr<const Fabrion::DynamicVlan> PortGroupSm::VeloMemberInterface::VeloDynVlan::memberEntry()
    const {
  return owner().notifier()->vlan(vlanId());
}
Velo::Ptr<Fabrion::PortGroup> PortGroupSm::VeloMemberInterface::VeloDynVlan::portGroup() const {
  return owner().owner().portGroup();
}
U32 PortGroupSm::VeloMemberInterface::VeloDynVlan::vlanId() const {
  return notifier() ? notifier()->vlanId() : 0;
}

void PortGroupSm::VeloMemberInterface::VeloDynVlan::handleInitialized() {
  FABRION_TRACE(9, "%s : %s", memberName(), vlanId());
  portGroup()->vlanIs(vlanId())->referrerIs(memberName());
  const auto entry = required(memberEntry(), "the member's VLAN");
  for (const U32 vni : entry->mappedVni().keys()) handleDynamicVniMapping(vni);
  for (const auto& domain : entry->domain().keys()) handleVlanDomain(domain);
}

void PortGroupSm::VeloMemberInterface::VeloDynVlan::handleVlanDomain(
    const Fabrion::Client::ClientDomain& domain) {
  FABRION_TRACE(9, "VLAN: %s domain: %s", vlanId(), domain.name());
  const auto from = memberEntry();
  if (from && from->domain(domain)) {
    const auto to = portGroup()->vlan(vlanId());
    FABRION_TRACE(3, "Adding domain: %s for VLAN: %s portGroup: %s", domain.name(), vlanId(),
                  portGroup()->name());
    required(to, "the VLAN of the port group")->domainIs(domain);
    required(to->domain(domain), "the domain of the port group")->referrerIs(memberName());
    return;
  }
  const auto to = portGroup()->vlan(vlanId());
  if (!to || !to->domain(domain)) return;
  const auto entry = to->domain(domain);
  entry->referrerDel(memberName());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting domain: %s portGroup: %s", domain.name(), portGroup()->name());
    to->domainDel(domain);
  }
}

void PortGroupSm::VeloMemberInterface::VeloDynVlan::handleDynamicVniMapping(U32 vni) {
  FABRION_TRACE(9, "VLAN: %s VNI: %s", vlanId(), vni);
  const auto from = memberEntry();
  if (from && from->mappedVni(vni)) {
    const auto to = portGroup()->vlan(vlanId());
    FABRION_TRACE(3, "Adding VLAN %s to %s", vlanId(), portGroup()->name());
    required(to, "the VLAN of the port group")->mappedVniIs(vni);
    required(to->mappedVni(vni), "the VNI of the port group")->referrerIs(memberName());
    return;
  }
  const auto to = portGroup()->vlan(vlanId());
  if (!to || !to->mappedVni(vni)) return;
  to->mappedVni(vni)->referrerDel(memberName());
  if (required(to->mappedVni(vni), "the VNI of the port group")->referrer().empty()) {
    FABRION_TRACE(3, "Deleting %s <-> %s from %s", vlanId(), vni, portGroup()->name());
    to->mappedVniDel(vni);
  }
}

void PortGroupSm::VeloMemberInterface::VeloDynVlan::doCleanup() {
  FABRION_TRACE(9, "");
  const auto to = portGroup()->vlan(vlanId());
  if (!to) {
    FABRION_TRACE(3, "No portGroup vlan for %s", vlanId());
    return;
  }
  FABRION_TRACE(3, "memeber interface : %s", memberName());
  // In both walks the member's own entry decides whether the group's goes.
  for (const U32 vni : notifier()->mappedVni().keys()) {
    required(to->mappedVni(vni), "the VNI of the port group")->referrerDel(memberName());
    if (required(notifier()->mappedVni(vni), "the member's VNI")->referrer().empty()) {
      FABRION_TRACE(3, "Removing VNI %s from VLAN %s on %s", vni, vlanId(), portGroup()->name());
      to->mappedVniDel(vni);
    }
  }
  for (const auto& domain : notifier()->domain().keys()) {
    required(to->domain(domain), "the domain of the port group")->referrerDel(memberName());
    if (required(notifier()->domain(domain), "the member's domain")->referrer().empty()) {
      FABRION_TRACE(3, "Removing domain %s from VLAN %s on %s", domain.name(), vlanId(),
                    portGroup()->name());
      to->domainDel(domain);
    }
  }
}

// Generic access

struct PortGroupSm::Tables {
  using Row = Velo::TypeImpl<PortGroupSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&PortGroupSm::intfName_>("intfName"),
      Row::argumentReactor<&PortGroupSm::portGroup_>("portGroup"),
      Row::reactors<&PortGroupSm::memberInterface_>("memberInterface"),
      Row::handler<&PortGroupSm::handleMemberInterface>("handleMemberInterface", {"intfName"}),
      Row::handler<&PortGroupSm::handleInitialized>("handleInitialized"),
      Row::value<&PortGroupSm::initialized_>("initialized"),
      Row::handler<&PortGroupSm::doCleanup>("doCleanup"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloPortGroup>("VeloPortGroup", "portGroup"),
      Row::reactor<VeloMemberInterface>("VeloMemberInterface", "memberInterface"),
      Row::reactor<VeloMemberInterface::VeloDynVlan>("VeloMemberInterface::VeloDynVlan", "dynVlan"),
  };
};

constinit const Velo::TypeRecord portGroupSmType{
    "Fabrion::Agent::PortGroupSm", PortGroupSm::Tables::attributes,
    &Velo::TypeImpl<PortGroupSm>::genericIfConstructFromCtorArgs<Nimbo::String,
                                                                 Velo::Ptr<Fabrion::PortGroup>>,
    2, PortGroupSm::Tables::reactors};

}  // namespace Fabrion::Agent
