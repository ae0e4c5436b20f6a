#include "clients/HostResourcesSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

HostResourcesSm::HostResourcesSm(
    const Nimbo::String& hostname,
    const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::NetworkElement>& networkElement)
    : hostname_(hostname), networkElement_(networkElement) {
  resourcesForHostname_.constructorArgumentIs(resourcesForHostname);
}

Velo::Ptr<HostResourcesSm> HostResourcesSm::HostResourcesSmIs(
    const Nimbo::String& hostname,
    const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::NetworkElement>& networkElement) {
  return create(hostname, resourcesForHostname, networkElement);
}

Velo::Ptr<HostResourcesSm> hostResourcesSmFactory(
    const Nimbo::String& hostname,
    const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::NetworkElement>& networkElement) {
  return HostResourcesSm::HostResourcesSmIs(hostname, resourcesForHostname, networkElement);
}

bool HostResourcesSm::isFor(
    const Nimbo::String& hostname,
    const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::NetworkElement>& networkElement) const {
  return hostname_ == hostname && this->resourcesForHostname() == resourcesForHostname &&
         networkElement_ == networkElement;
}

void HostResourcesSm::handleInitialized() {
  FABRION_TRACE(9, "%s-%s", networkElement_->name(), hostname_);
  for (const U32 vlanId : resourcesForHostname()->vlan().keys()) {
    handleVlan(vlanId);
    required(veloHostVlan(vlanId), "the reactor of the merged VLAN")->handleInitialized();
  }
  initialized_ = true;
}

void HostResourcesSm::handleVlan(U32 vlanId) {
  FABRION_TRACE(9, "%s-%s %s", networkElement_->name(), hostname_, vlanId);
  if (resourcesForHostname()->vlan(vlanId)) {
    FABRION_TRACE(3, "Adding VLAN: %s to networkElement: %s", vlanId, hostname_);
    networkElement_->vlanIs(vlanId)->referrerIs(hostname_);
    return;
  }
  const auto entry = networkElement_->vlan(vlanId);
  if (!entry) return;
  entry->referrerDel(hostname_);
  if (!entry->referrer().empty()) return;
  FABRION_TRACE(3, "Removing VLAN: %s from networkElement: %s", vlanId, hostname_);
  required(veloHostVlan(vlanId), "the reactor of the merged VLAN")->doCleanup();
  networkElement_->vlanDel(vlanId);
}

void HostResourcesSm::doCleanup() {
  FABRION_TRACE(9, "%s-%s", networkElement_->name(), hostname_);
  for (const U32 vlanId : resourcesForHostname()->vlan().keys()) {
    const auto entry = networkElement_->vlan(vlanId);
    if (!entry) continue;
    entry->referrerDel(hostname_);
    if (entry->referrer().empty()) {
      required(veloHostVlan(vlanId), "the reactor of the merged VLAN")->doCleanup();
      networkElement_->vlanDel(vlanId);
    }
  }
}

// One VLAN of the merged request

const Nimbo::String& HostResourcesSm::VeloHostVlan::hostname() const { return owner().hostname_; }
const Velo::Ptr<Fabrion::NetworkElement>& HostResourcesSm::VeloHostVlan::networkElement() const {
  return owner().networkElement_;
}
U32 HostResourcesSm::VeloHostVlan::vlanId() const { return notifier() ? notifier()->vlanId() : 0; }

void HostResourcesSm::VeloHostVlan::handleInitialized() {
  FABRION_TRACE(9, "VLAN: %s", vlanId());
  // Written here and not through the machine's handleVlan: what follows needs the entry, whatever
  // the request says by now.
  networkElement()->vlanIs(vlanId())->referrerIs(hostname());
  for (const auto& domain : notifier()->domain().keys()) handleVlanDomain(domain);
  for (const U32 vni : notifier()->mappedVni().keys()) handleMappedVni(vni);
}

void HostResourcesSm::VeloHostVlan::handleMappedVni(U32 vni) {
  FABRION_TRACE(9, "%s -> %s", vlanId(), vni);
  const auto to = networkElement()->vlan(vlanId());
  if (notifier()->mappedVni(vni)) {
    FABRION_TRACE(3, "Adding %s to %s", vni, networkElement()->name());
    required(to, "the VLAN of the element")->mappedVniIs(vni)->referrerIs(hostname());
    return;
  }
  const auto entry = required(to, "the VLAN of the element")->mappedVni(vni);
  if (!entry) return;
  entry->referrerDel(hostname());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Removing %s from %s", vni, networkElement()->name());
    to->mappedVniDel(vni);
  }
}

void HostResourcesSm::VeloHostVlan::handleVlanDomain(const Fabrion::Client::ClientDomain& domain) {
  FABRION_TRACE(9, "VLAN: %s domain: %s", vlanId(), domain.name());
  const auto to = networkElement()->vlan(vlanId());
  if (notifier()->domain(domain)) {
    FABRION_TRACE(3, "Adding domain %s for VLAN: %s on networkElement: %s", domain.name(), vlanId(),
                  networkElement()->hostname());
    required(to, "the VLAN of the element")->domainIs(domain)->referrerIs(hostname());
    return;
  }
  const auto entry = required(to, "the VLAN of the element")->domain(domain);
  if (!entry) return;
  entry->referrerDel(hostname());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting domain: %s for VLAN: %s on networkElement: %s", domain.name(),
                  vlanId(), networkElement()->hostname());
    to->domainDel(domain);
  }
}

void HostResourcesSm::VeloHostVlan::doCleanup() {
  FABRION_TRACE(9, "VLAN %s", vlanId());
  const auto to = networkElement()->vlan(vlanId());
  if (!to) return;
  // In both walks the merged VLAN's own entry decides whether the element's goes: while a client
  // still asks for it there, the element keeps it, even without a referrer.
  for (const auto& vni : notifier()->mappedVni().items()) {
    const auto entry = to->mappedVni(vni.key());
    if (!entry) continue;
    entry->referrerDel(hostname());
    if (vni.value()->referrer().empty()) {
      FABRION_TRACE(3, "Deleting %s from networkElement %s", vni.key(), hostname());
      to->mappedVniDel(vni.key());
    }
  }
  for (const auto& domain : notifier()->domain().items()) {
    const auto entry = to->domain(domain.key());
    if (!entry) continue;
    entry->referrerDel(hostname());
    if (domain.value()->referrer().empty()) {
      FABRION_TRACE(3, "Deleting %s from networkElement %s", domain.key().name(), hostname());
      to->domainDel(domain.key());
    }
  }
}

// Generic access

struct HostResourcesSm::Tables {
  using Row = Velo::TypeImpl<HostResourcesSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&HostResourcesSm::hostname_>("hostname"),
      Row::argumentReactor<&HostResourcesSm::resourcesForHostname_>("resourcesForHostname"),
      Row::argument<&HostResourcesSm::networkElement_>("networkElement"),
      Row::handler<&HostResourcesSm::handleVlan>("handleVlan", {"vlanId"}),
      Row::reactors<&HostResourcesSm::hostVlan_>("hostVlan"),
      Row::handler<&HostResourcesSm::handleInitialized>("handleInitialized"),
      Row::value<&HostResourcesSm::initialized_>("initialized"),
      Row::handler<&HostResourcesSm::doCleanup>("doCleanup"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloResourcesForHostname>("VeloResourcesForHostname", "resourcesForHostname"),
      Row::reactor<VeloHostVlan>("VeloHostVlan", "hostVlan"),
  };
};

constinit const Velo::TypeRecord hostResourcesSmType{
    "Fabrion::Agent::HostResourcesSm", HostResourcesSm::Tables::attributes,
    &Velo::TypeImpl<HostResourcesSm>::genericIfConstructFromCtorArgs<
        Nimbo::String, Velo::Ptr<const Fabrion::ResourcesForHostname>,
        Velo::Ptr<Fabrion::NetworkElement>>,
    3, HostResourcesSm::Tables::reactors};

}  // namespace Fabrion::Agent
