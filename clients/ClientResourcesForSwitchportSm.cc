#include "clients/ClientResourcesForSwitchportSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

ClientResourcesForSwitchportSm::ClientResourcesForSwitchportSm(
    const Nimbo::String& client, const Fabrion::Client::SwitchInterface& intf,
    const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>& resourcesForSwitchport,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection)
    : client_(client), intf_(intf), networkElementCollection_(networkElementCollection) {
  resourcesForSwitchport_.constructorArgumentIs(resourcesForSwitchport);
}

Velo::Ptr<ClientResourcesForSwitchportSm>
ClientResourcesForSwitchportSm::ClientResourcesForSwitchportSmIs(
    const Nimbo::String& client, const Fabrion::Client::SwitchInterface& intf,
    const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>& resourcesForSwitchport,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection) {
  return create(client, intf, resourcesForSwitchport, networkElementCollection);
}

Velo::Ptr<ClientResourcesForSwitchportSm> clientResourcesForSwitchportSmFactory(
    const Nimbo::String& client, const Fabrion::Client::SwitchInterface& intf,
    const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>& resourcesForSwitchport,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection) {
  return ClientResourcesForSwitchportSm::ClientResourcesForSwitchportSmIs(
      client, intf, resourcesForSwitchport, networkElementCollection);
}

Velo::Ptr<Fabrion::NetworkElement> ClientResourcesForSwitchportSm::elementIs() const {
  return networkElementCollection_->networkElementIs(intf_.switchId());
}
Velo::Ptr<Fabrion::NetworkElement> ClientResourcesForSwitchportSm::element() const {
  return networkElementCollection_->networkElement(intf_.switchId());
}

void ClientResourcesForSwitchportSm::handleInitialized() {
  FABRION_TRACE(9, "");
  elementIs()->physicalInterfaceIs(intf_.intfName())->referrerIs(client_, true);
  for (const U32 vlanId : resourcesForSwitchport()->vlan().keys()) {
    handleVlan(vlanId);
    required(veloHostVlan(vlanId), "the reactor of the requested VLAN")->handleInitialized();
  }
  handleNativeVlan();
  for (const Nimbo::String& host : resourcesForSwitchport()->remoteHost().keys()) {
    handleRemoteHost(host);
  }
  initialized_ = true;
}

void ClientResourcesForSwitchportSm::handleVlan(U32 vlanId) {
  FABRION_TRACE(9, "VLAN : %s", vlanId);
  // A withdrawal passes here as well, and may bring back an element or a port that was gone.
  const auto port = elementIs()->physicalInterfaceIs(intf_.intfName());
  port->referrerIs(client_, true);
  if (resourcesForSwitchport()->vlan(vlanId)) {
    FABRION_TRACE(3, "Adding VLAN: %s to interface: %s", vlanId, port->name());
    port->vlanIs(vlanId)->referrerIs(client_);
    return;
  }
  const auto entry = port->vlan(vlanId);
  if (!entry) return;
  entry->referrerDel(client_);
  if (!entry->referrer().empty()) return;
  FABRION_TRACE(3, "Removing VLAN: %s from interface: %s", vlanId, port->name());
  port->vlanDel(vlanId);
}

void ClientResourcesForSwitchportSm::handleNativeVlan() {
  FABRION_TRACE(9, "switchId: %s Interface: %s", intf_.switchId(), intf_.intfName());
  const auto port = required(
      required(element(), "the element of the switch")->physicalInterface(intf_.intfName()),
      "the port of the switch");
  const auto native = resourcesForSwitchport()->nativeVlan();
  const U32 wanted = native ? native->vlanId() : 0;
  // Nobody remembers which one was written last, so the client is taken off all of them.
  for (const U32 vlanId : port->nativeVlan().keys()) {
    const auto entry = required(port->nativeVlan(vlanId), "the native VLAN of the port");
    entry->referrerDel(client_);
    if (!entry->referrer().empty()) continue;
    FABRION_TRACE(3, "Removing native VLAN: %s from interface: %s", vlanId, intf_.intfName());
    port->nativeVlanDel(vlanId);
  }
  if (wanted == 0) return;
  FABRION_TRACE(3, "Adding native vlan %s to %s", wanted, intf_.intfName());
  port->nativeVlanIs(wanted);
  required(port->nativeVlan(wanted), "the native VLAN of the port")->referrerIs(client_);
}

void ClientResourcesForSwitchportSm::handleRemoteHost(const Nimbo::String& host) {
  FABRION_TRACE(9, "host : %s", host);
  const bool* const wanted = resourcesForSwitchport()->remoteHost(host);
  if (wanted != nullptr && *wanted) {
    const auto element = elementIs();
    element->referrerIs(client_, true);
    const auto port = element->physicalInterfaceIs(intf_.intfName());
    port->referrerIs(client_, true);
    const auto hostElement = networkElementCollection_->networkElementIs(host);
    hostElement->hostnameIs(host);
    hostElement->referrerIs(client_, true);
    port->configuredElementIs(hostElement);
    return;
  }
  // What the addition put on the switch's element and on the port stays until doCleanup().
  const auto element = this->element();
  if (!element) return;
  FABRION_TRACE(9, "switchID: %s", intf_.switchId());
  const auto port = element->physicalInterface(intf_.intfName());
  if (!port) return;
  const auto hostElement =
      required(networkElementCollection_->networkElement(host), "the element of the remote host");
  hostElement->referrerDel(client_);
  // Others react to the same change and may have deleted the element by now.
  if (hostElement->referrer().empty() && networkElementCollection_->networkElement(host)) {
    networkElementCollection_->networkElementDel(host)->destroy();
  }
  port->configuredElementDel(host);
}

void ClientResourcesForSwitchportSm::doCleanup() {
  FABRION_TRACE(9, "");
  const auto element = this->element();
  if (!element) return;
  const auto port = element->physicalInterface(intf_.intfName());
  if (port) port->referrerDel(client_);
  if (port && port->referrer().empty() && !port->discovered()) {
    // The VLANs go with the port.
    FABRION_TRACE(3, "Deleting physicalInterface %s", intf_.intfName());
    required(element->physicalInterfaceDel(intf_.intfName()), "the port of the switch")->destroy();
  } else if (port) {
    for (const U32 vlanId : port->vlan().keys()) {
      const auto entry = required(port->vlan(vlanId), "the VLAN of the port");
      // A VLAN of other clients alone has no reactor here, and nothing of this client to clean up.
      if (const auto reactor = veloHostVlan(vlanId)) reactor->doCleanup();
      entry->referrerDel(client_);
      if (entry->referrer().empty()) {
        FABRION_TRACE(3, "Deleting VLAN: %s on %s", vlanId, intf_.intfName());
        port->vlanDel(vlanId);
      }
    }
    for (const U32 vlanId : port->nativeVlan().keys()) {
      const auto entry = required(port->nativeVlan(vlanId), "the native VLAN of the port");
      entry->referrerDel(client_);
      if (entry->referrer().empty()) {
        FABRION_TRACE(3, "Deleting native VLAN: %s on %s", vlanId, intf_.intfName());
        port->nativeVlanDel(vlanId);
      }
    }
  }
  for (const auto& other : element->physicalInterface().values()) {
    // Another machine of this client still uses the switch.
    if (other->referrer(client_) != nullptr) return;
  }
  FABRION_TRACE(3, "Deleting %s ref from network element %s", client_, intf_.switchId());
  element->referrerDel(client_);
  if (!element->referrer().empty()) return;
  FABRION_TRACE(3, "Deleting network element %s", intf_.switchId());
  // Others react to the same change and may have deleted the element by now.
  if (networkElementCollection_->networkElement(intf_.switchId())) {
    networkElementCollection_->networkElementDel(intf_.switchId())->destroy();
  }
}

// One allowed VLAN of the request

const Nimbo::String& ClientResourcesForSwitchportSm::VeloHostVlan::client() const {
  return owner().client_;
}
U32 ClientResourcesForSwitchportSm::VeloHostVlan::vlanId() const {
  return notifier() ? notifier()->vlanId() : 0;
}

void ClientResourcesForSwitchportSm::VeloHostVlan::handleInitialized() {
  FABRION_TRACE(9, "VLAN: %s", vlanId());
  owner().handleVlan(vlanId());
  for (const auto& domain : notifier()->domain().keys()) handleVlanDomain(domain);
  for (const U32 vni : notifier()->mappedVni().keys()) handleMappedVni(vni);
}

void ClientResourcesForSwitchportSm::VeloHostVlan::handleMappedVni(U32 vni) {
  FABRION_TRACE(9, "VLAN : %s VNI: %s", vlanId(), vni);
  const auto& intf = owner().intf_;
  const auto element = owner().element();
  if (!element) {
    FABRION_TRACE(3, "No network element found for %s", intf.switchId());
    return;
  }
  const auto port = element->physicalInterface(intf.intfName());
  if (!port) {
    FABRION_TRACE(3, "No interface found for %s on %s", intf.intfName(), intf.switchId());
    return;
  }
  const auto to = port->vlan(vlanId());
  if (!to) {
    FABRION_TRACE(3, "Vlan not found on %s on %s", intf.intfName(), intf.switchId());
    return;
  }
  if (notifier()->mappedVni(vni)) {
    FABRION_TRACE(3, "Adding VLAN : %s VNI : %s to %s", vlanId(), vni, port->name());
    to->mappedVniIs(vni)->referrerIs(client());
    return;
  }
  const auto entry = to->mappedVni(vni);
  if (!entry) return;
  entry->referrerDel(client());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Removing existing VNI %s", vni);
    to->mappedVniDel(vni);
  }
}

void ClientResourcesForSwitchportSm::VeloHostVlan::handleVlanDomain(
    const Fabrion::Client::ClientDomain& domain) {
  FABRION_TRACE(3, "VLAN: %s domain: %s", vlanId(), domain.name());
  const auto element = required(owner().element(), "the element of the switch");
  const auto port =
      required(element->physicalInterface(owner().intf_.intfName()), "the port of the switch");
  const auto to = port->vlan(vlanId());
  // Asked of the machine's request and not of the VLAN followed: a VLAN that is withdrawn takes its
  // domains along.
  const auto from = owner().resourcesForSwitchport()->vlan(vlanId());
  if (from && from->domain(domain)) {
    FABRION_TRACE(3, "Adding domain: %s for VLAN: %s on %s", domain.name(), vlanId(), port->name());
    // Under its own name, so clients that share a domain share its one referrer.
    required(to, "the VLAN of the port")->domainIs(domain)->referrerIs(domain.name());
    return;
  }
  const auto entry = required(to, "the VLAN of the port")->domain(domain);
  if (!entry) return;
  entry->referrerDel(domain.name());
  if (entry->referrer().empty()) {
    FABRION_TRACE(3, "Deleting domain: %s for VLAN: %s on %s", domain.name(), vlanId(),
                  port->name());
    to->domainDel(domain);
  }
}

void ClientResourcesForSwitchportSm::VeloHostVlan::doCleanup() {
  FABRION_TRACE(9, "VLAN: %s", vlanId());
  const auto element = owner().element();
  if (!element) return;
  const auto port = element->physicalInterface(owner().intf_.intfName());
  if (!port) return;
  const auto to = port->vlan(vlanId());
  if (!to) return;
  for (const auto& domain : notifier()->domain().keys()) {
    const auto entry = to->domain(domain);
    if (!entry) continue;
    // The client's name, where handleVlanDomain() wrote the domain's: the entry stays unless the
    // two are the same.
    entry->referrerDel(client());
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting '%s' from VLAN %s", domain.name(), vlanId());
      to->domainDel(domain);
    }
  }
  for (const U32 vni : notifier()->mappedVni().keys()) {
    const auto entry = to->mappedVni(vni);
    if (!entry) continue;
    entry->referrerDel(client());
    if (entry->referrer().empty()) {
      FABRION_TRACE(3, "Deleting %s <-> %s map from interface %s", vni, vlanId(), port->name());
      to->mappedVniDel(vni);
    }
  }
}

// Generic access

struct ClientResourcesForSwitchportSm::Tables {
  using Row = Velo::TypeImpl<ClientResourcesForSwitchportSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&ClientResourcesForSwitchportSm::client_>("client"),
      Row::argument<&ClientResourcesForSwitchportSm::intf_>("intf"),
      Row::argumentReactor<&ClientResourcesForSwitchportSm::resourcesForSwitchport_>(
          "resourcesForSwitchport"),
      Row::argument<&ClientResourcesForSwitchportSm::networkElementCollection_>(
          "networkElementCollection"),
      Row::handler<&ClientResourcesForSwitchportSm::handleVlan>("handleVlan", {"vlanId"}),
      Row::handler<&ClientResourcesForSwitchportSm::handleNativeVlan>("handleNativeVlan"),
      Row::handler<&ClientResourcesForSwitchportSm::handleRemoteHost>("handleRemoteHost", {"host"}),
      Row::reactors<&ClientResourcesForSwitchportSm::hostVlan_>("hostVlan"),
      Row::handler<&ClientResourcesForSwitchportSm::handleInitialized>("handleInitialized"),
      Row::value<&ClientResourcesForSwitchportSm::initialized_>("initialized"),
      Row::handler<&ClientResourcesForSwitchportSm::doCleanup>("doCleanup"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloResourcesForSwitchport>("VeloResourcesForSwitchport",
                                               "resourcesForSwitchport"),
      Row::reactor<VeloHostVlan>("VeloHostVlan", "hostVlan"),
  };
};

constinit const Velo::TypeRecord clientResourcesForSwitchportSmType{
    "Fabrion::Agent::ClientResourcesForSwitchportSm",
    ClientResourcesForSwitchportSm::Tables::attributes,
    &Velo::TypeImpl<ClientResourcesForSwitchportSm>::genericIfConstructFromCtorArgs<
        Nimbo::String, Fabrion::Client::SwitchInterface,
        Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>,
        Velo::Ptr<Fabrion::NetworkElementCollection>>,
    4, ClientResourcesForSwitchportSm::Tables::reactors};

}  // namespace Fabrion::Agent
