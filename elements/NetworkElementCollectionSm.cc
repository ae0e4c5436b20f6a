#include "elements/NetworkElementCollectionSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

NetworkElementCollectionSm::NetworkElementCollectionSm(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus)
    : topologyStatus_(topologyStatus) {
  networkElementCollection_.constructorArgumentIs(networkElementCollection);
  requestedResourcesCollection_.constructorArgumentIs(requestedResourcesCollection);
}

Velo::Ptr<NetworkElementCollectionSm> NetworkElementCollectionSm::NetworkElementCollectionSmIs(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus) {
  return create(networkElementCollection, requestedResourcesCollection, topologyStatus);
}

Velo::Ptr<NetworkElementCollectionSm> networkElementCollectionSmFactory(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus) {
  return NetworkElementCollectionSm::NetworkElementCollectionSmIs(
      networkElementCollection, requestedResourcesCollection, topologyStatus);
}

bool NetworkElementCollectionSm::isFor(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus) const {
  return this->networkElementCollection() == networkElementCollection &&
         this->requestedResourcesCollection() == requestedResourcesCollection &&
         topologyStatus_ == topologyStatus;
}

void NetworkElementCollectionSm::handleInitialized() {
  FABRION_TRACE(9, "");
  for (const Nimbo::String& name : networkElementCollection()->networkElement().keys()) {
    handleNetworkElement(name);
  }
  for (const Nimbo::String& hostname :
       requestedResourcesCollection()->resourcesForHostname().keys()) {
    handleResourcesForHostname(hostname);
  }
  initialized_ = true;
}

void NetworkElementCollectionSm::handleNetworkElement(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s", name);
  const auto element = networkElementCollection()->networkElement(name);
  if (!element) return;  // its reactor ends the machine
  networkElementSmIs(name, element);
  const auto host = topologyStatus_->host(name);
  if (!host) return;  // one that a client asked for; the host may still come
  required(networkElementSm(name), "the machine of the element")->topologyHostIs(host);
  // A new host has made this run already; one that the machine had before has not.
  required(networkElementSm(name), "the machine of the element")->handleTopologyHost();
}

void NetworkElementCollectionSm::handleResourcesForHostname(const Nimbo::String& hostname) {
  FABRION_TRACE(9, "%s", hostname);
  // Null clears the attribute: the request has gone.
  const auto resources = requestedResourcesCollection()->resourcesForHostname(hostname);
  const auto group = topologyStatus_->hostsByHostname(hostname);
  if (!group) return;  // hosts that come later get the resources from TopologySm
  for (const Nimbo::String& host : group->host().keys()) {
    const auto element = networkElementCollection()->networkElement(host);
    if (element) element->resourcesForHostnameIs(resources);
  }
}

// One element

void NetworkElementCollectionSm::VeloNetworkElement::deleteIfNotNecessary() {
  FABRION_TRACE(9, "%s", notifier()->name());
  if (!notifier()->referrer().empty() || !notifier()->interface().empty()) return;
  FABRION_TRACE(3, "Deleting %s", notifier()->name());
  const auto collection = owner().networkElementCollection();
  const auto element = required(collection->networkElement(notifier()->name()), "the element");
  // Ends the element's machine and detaches this reactor: from here on only `element` is used.
  collection->networkElementDel(element->name());
  // A second time, after the one in the machine's cleanup.
  element->destroy();
}

void NetworkElementCollectionSm::VeloNetworkElement::handleCleanup() {
  FABRION_TRACE(9, "%s", notifier()->name());
  required(owner().networkElementSm(notifier()->name()), "the machine of the element")->doCleanup();
  owner().networkElementSmDel(notifier()->name());
}

// Generic access

struct NetworkElementCollectionSm::Tables {
  using Row = Velo::TypeImpl<NetworkElementCollectionSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argumentReactor<&NetworkElementCollectionSm::networkElementCollection_>(
          "networkElementCollection"),
      Row::argumentReactor<&NetworkElementCollectionSm::requestedResourcesCollection_>(
          "requestedResourcesCollection"),
      Row::argument<&NetworkElementCollectionSm::topologyStatus_>("topologyStatus"),
      Row::ownedMachines<&NetworkElementCollectionSm::networkElementSm_>("networkElementSm"),
      Row::handler<&NetworkElementCollectionSm::handleNetworkElement>("handleNetworkElement",
                                                                      {"hostId"}),
      Row::handler<&NetworkElementCollectionSm::handleResourcesForHostname>(
          "handleResourcesForHostname", {"hostname"}),
      Row::reactors<&NetworkElementCollectionSm::networkElement_>("networkElement"),
      Row::handler<&NetworkElementCollectionSm::handleInitialized>("handleInitialized"),
      Row::value<&NetworkElementCollectionSm::initialized_>("initialized"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloNetworkElementCollection>("VeloNetworkElementCollection",
                                                 "networkElementCollection"),
      Row::reactor<VeloRequestedResourcesCollection>("VeloRequestedResourcesCollection",
                                                     "requestedResourcesCollection"),
      Row::reactor<VeloNetworkElement>("VeloNetworkElement", "networkElement"),
  };
};

constinit const Velo::TypeRecord networkElementCollectionSmType{
    "Fabrion::Agent::NetworkElementCollectionSm", NetworkElementCollectionSm::Tables::attributes,
    &Velo::TypeImpl<NetworkElementCollectionSm>::genericIfConstructFromCtorArgs<
        Velo::Ptr<Fabrion::NetworkElementCollection>,
        Velo::Ptr<Fabrion::RequestedResourcesCollection>,
        Velo::Ptr<const NetworkTopologyAggregatorV3::Status>>,
    3, NetworkElementCollectionSm::Tables::reactors};

}  // namespace Fabrion::Agent
