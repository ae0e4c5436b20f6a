#include "clients/ClientResourcesForHostnameSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

ClientResourcesForHostnameSm::ClientResourcesForHostnameSm(
    const Nimbo::String& name, const Nimbo::String& client,
    const Velo::Ptr<const Fabrion::Client::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& allRequestedResourcesCollection)
    : name_(name),
      client_(client),
      allRequestedResourcesCollection_(allRequestedResourcesCollection) {
  resourcesForHostname_.constructorArgumentIs(resourcesForHostname);
}

Velo::Ptr<ClientResourcesForHostnameSm>
ClientResourcesForHostnameSm::ClientResourcesForHostnameSmIs(
    const Nimbo::String& name, const Nimbo::String& client,
    const Velo::Ptr<const Fabrion::Client::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& allRequestedResourcesCollection) {
  return create(name, client, resourcesForHostname, allRequestedResourcesCollection);
}

Velo::Ptr<ClientResourcesForHostnameSm> clientResourcesForHostnameSmFactory(
    const Nimbo::String& name, const Nimbo::String& client,
    const Velo::Ptr<const Fabrion::Client::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& allRequestedResourcesCollection) {
  return ClientResourcesForHostnameSm::ClientResourcesForHostnameSmIs(
      name, client, resourcesForHostname, allRequestedResourcesCollection);
}

const Nimbo::String& ClientResourcesForHostnameSm::hostname() const {
  return resourcesForHostname()->hostname();
}
Velo::Ptr<Fabrion::ResourcesForHostname> ClientResourcesForHostnameSm::mergedRequest() const {
  return allRequestedResourcesCollection_->resourcesForHostname(hostname());
}

void ClientResourcesForHostnameSm::handleInitialized() {
  FABRION_TRACE(9, "");
  // The only claim on the merged request itself; its VLANs are claimed one by one.
  allRequestedResourcesCollection_->resourcesForHostnameIs(hostname())->referrerIs(client_);
  for (const U32 vlanId : resourcesForHostname()->vlan().keys()) handleVlan(vlanId);
  initialized_ = true;
}

void ClientResourcesForHostnameSm::handleVlan(U32 vlanId) {
  FABRION_TRACE(9, "VLAN : %s", vlanId);
  const auto merged = allRequestedResourcesCollection_->resourcesForHostnameIs(hostname());
  if (resourcesForHostname()->vlan(vlanId)) {
    FABRION_TRACE(3, "Adding client VLAN %s to global host resources: %s", vlanId, hostname());
    merged->vlanIs(vlanId)->referrerIs(client_);
    return;
  }
  const auto entry = merged->vlan(vlanId);
  if (!entry) return;
  entry->referrerDel(client_);
  if (!entry->referrer().empty()) return;
  FABRION_TRACE(3, "Removing VLAN %s from global host resource %s", vlanId, hostname());
  required(veloHostVlan(vlanId), "the reactor of the requested VLAN")->doCleanup();
  merged->vlanDel(vlanId);
}

void ClientResourcesForHostnameSm::doCleanup() {
  FABRION_TRACE(9, "");
  const auto merged = mergedRequest();
  if (!merged) return;
  for (const U32 vlanId : resourcesForHostname()->vlan().keys()) {
    const auto entry = merged->vlan(vlanId);
    if (!entry) continue;
    FABRION_TRACE(3, "Deleting %s from vlan %s referrer", client_, vlanId);
    required(veloHostVlan(vlanId), "the reactor of the requested VLAN")->doCleanup();
    entry->referrerDel(client_);
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting vlan %s in %s", vlanId, client_);
      merged->vlanDel(vlanId);
    }
  }
  merged->referrerDel(client_);
  if (!merged->referrer().empty()) return;
  FABRION_TRACE(3, "Deleting ResourcesForHostname %s", hostname());
  allRequestedResourcesCollection_->resourcesForHostnameDel(hostname());
}

// One VLAN of the request

const Nimbo::String& ClientResourcesForHostnameSm::VeloHostVlan::client() const {
  return owner().client_;
}
U32 ClientResourcesForHostnameSm::VeloHostVlan::vlanId() const {
  return notifier() ? notifier()->vlanId() : 0;
}

void ClientResourcesForHostnameSm::VeloHostVlan::handleInitialized() {
  FABRION_TRACE(9, "VLAN: %s", vlanId());
  owner().handleVlan(vlanId());
  for (const auto& domain : notifier()->domain().keys()) handleVlanDomain(domain);
  for (const U32 vni : notifier()->mappedVni().keys()) handleMappedVni(vni);
}

void ClientResourcesForHostnameSm::VeloHostVlan::handleMappedVni(U32 vni) {
  FABRION_TRACE(9, "VLAN : %s", vlanId());
  const auto merged = owner().mergedRequest();
  if (!merged) return;
  const auto to = merged->vlan(vlanId());
  if (!to) return;
  if (notifier()->mappedVni(vni)) {
    FABRION_TRACE(3, "Adding VNI: %s mapped to VLAN: %s to global resources collection.", vni,
                  vlanId());
    to->mappedVniIs(vni)->referrerIs(client());
    return;
  }
  const auto entry = to->mappedVni(vni);
  if (!entry) return;
  entry->referrerDel(client());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting VNI: %s mapped to VLAN: %s from global resources collection.", vni,
                  vlanId());
    to->mappedVniDel(vni);
  }
}

void ClientResourcesForHostnameSm::VeloHostVlan::handleVlanDomain(
    const Fabrion::Client::ClientDomain& domain) {
  FABRION_TRACE(9, "VLAN: %s domain: %s", vlanId(), domain.name());
  const auto merged = owner().mergedRequest();
  // Asked of the machine's request and not of the VLAN followed: a VLAN that is withdrawn takes its
  // domains along.
  const auto from = owner().resourcesForHostname()->vlan(vlanId());
  if (from && from->domain(domain)) {
    FABRION_TRACE(3, "Adding domain: %s to VLAN : %s in global resources", domain.name(), vlanId());
    required(required(merged, "the merged request")->vlan(vlanId()),
             "the VLAN of the merged request")
        ->domainIs(domain)
        ->referrerIs(client());
    return;
  }
  const auto to = required(required(merged, "the merged request")->vlan(vlanId()),
                           "the VLAN of the merged request");
  const auto entry = to->domain(domain);
  if (!entry) return;
  entry->referrerDel(client());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Removing domain: %s from VLAN : %s", domain.name(), vlanId());
    to->domainDel(domain);
  }
}

void ClientResourcesForHostnameSm::VeloHostVlan::doCleanup() {
  FABRION_TRACE(9, "VLAN: %s", vlanId());
  const auto merged = owner().allRequestedResourcesCollection_->resourcesForHostname(owner().name_);
  if (!merged) return;
  const auto to = merged->vlan(vlanId());
  if (!to) return;
  for (const U32 vni : notifier()->mappedVni().keys()) {
    const auto entry = to->mappedVni(vni);
    if (!entry) continue;
    entry->referrerDel(client());
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting mapped VNI %s from VLAN %s in global resource", vni, vlanId());
      to->mappedVniDel(vni);
    }
  }
  for (const auto& domain : notifier()->domain().keys()) {
    const auto entry = to->domain(domain);
    if (!entry) continue;
    entry->referrerDel(client());
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting domain '%s' for VLAN: %s in global resource", domain.name(),
                    vlanId());
      to->domainDel(domain);
    }
  }
}

// Generic access

struct ClientResourcesForHostnameSm::Tables {
  using Row = Velo::TypeImpl<ClientResourcesForHostnameSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&ClientResourcesForHostnameSm::name_>("name"),
      Row::argument<&ClientResourcesForHostnameSm::client_>("client"),
      Row::argumentReactor<&ClientResourcesForHostnameSm::resourcesForHostname_>(
          "resourcesForHostname"),
      Row::argument<&ClientResourcesForHostnameSm::allRequestedResourcesCollection_>(
          "allRequestedResourcesCollection"),
      Row::handler<&ClientResourcesForHostnameSm::handleVlan>("handleVlan", {"vlanId"}),
      Row::reactors<&ClientResourcesForHostnameSm::hostVlan_>("hostVlan"),
      Row::handler<&ClientResourcesForHostnameSm::handleInitialized>("handleInitialized"),
      Row::value<&ClientResourcesForHostnameSm::initialized_>("initialized"),
      Row::handler<&ClientResourcesForHostnameSm::doCleanup>("doCleanup"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloResourcesForHostname>("VeloResourcesForHostname", "resourcesForHostname"),
      Row::reactor<VeloHostVlan>("VeloHostVlan", "hostVlan"),
  };
};

constinit const Velo::TypeRecord clientResourcesForHostnameSmType{
    "Fabrion::Agent::ClientResourcesForHostnameSm",
    ClientResourcesForHostnameSm::Tables::attributes,
    &Velo::TypeImpl<ClientResourcesForHostnameSm>::genericIfConstructFromCtorArgs<
        Nimbo::String, Nimbo::String, Velo::Ptr<const Fabrion::Client::ResourcesForHostname>,
        Velo::Ptr<Fabrion::RequestedResourcesCollection>>,
    4, ClientResourcesForHostnameSm::Tables::reactors};

}  // namespace Fabrion::Agent
