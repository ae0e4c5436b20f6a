// The root handlers of the machine: hosts, hostnames and the first synchronisation. Its edges stand
// in TopologySmEdges.cc.

#include "topology/TopologySm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

TopologySm::TopologySm(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus)
    : networkElementCollection_(networkElementCollection),
      requestedResourcesCollection_(requestedResourcesCollection) {
  topologyStatus_.constructorArgumentIs(topologyStatus);
}

Velo::Ptr<TopologySm> TopologySm::TopologySmIs(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus) {
  return create(networkElementCollection, requestedResourcesCollection, topologyStatus);
}

Velo::Ptr<TopologySm> topologySmFactory(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus) {
  return TopologySm::TopologySmIs(networkElementCollection, requestedResourcesCollection,
                                  topologyStatus);
}

void TopologySm::handleInitialized() {
  FABRION_TRACE(9, "");
  if (initialized_) {
    FABRION_TRACE(1, "TopologySM already initialized");
    return;
  }
  // First, so that every element has its machine by the time that handleHost asks for it.
  networkElementCollectionSmIs(networkElementCollection_, requestedResourcesCollection_,
                               topologyStatus());
  if (topologyStatus()) {
    for (const Nimbo::String& name : topologyStatus()->host().keys()) handleHost(name);
  }
  if (topologyStatus()) {
    for (const Nimbo::String& hostname : topologyStatus()->hostsByHostname().keys()) {
      handleHostsByHostname(hostname);
    }
  }
  initialized_ = true;
}

void TopologySm::handleHost(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s", name);
  const auto host = topologyStatus()->host(name);
  if (!host) {
    if (const auto neSm = networkElementCollectionSm()->networkElementSm(name)) {
      neSm->topologyHostDel();
    }
    // Held across the call: with its last referrer the element may go.
    const auto element = networkElementCollection_->networkElement(name);
    if (element) element->referrerDel(name);
    return;
  }
  const auto element = networkElementCollection_->networkElementIs(name);
  element->referrerIs(name, true);
  element->hostnameIs(host->hostname());
  const auto neSm = required(networkElementCollectionSm()->networkElementSm(name), "neSm");
  neSm->topologyHostIs(topologyStatus()->host(name));
  FABRION_TRACE(3, "%s has %s physical port(s)", name, host->port().size());
  // The edges that came before this host, which had no element to join then.
  for (const auto& listed : host->port().items()) {
    const Velo::Ptr<const NetworkTopologyAggregatorV3::PortBase> port = listed.value();
    const auto edge = topologyStatus()->edge(port);
    if (!edge) {
      FABRION_TRACE(2, "Edge from %s does not exist", port->name());
      continue;
    }
    for (const auto& toPort : edge->toPort().keys()) {
      FABRION_TRACE(3, "To port: %s", toPort->name());
      required(veloDirectedEdge(port), "the reactor of the edge")->handleToPort(toPort);
      // The other direction gives the far end its port group, and takes up what it could not
      // before.
      if (const auto reverse = veloDirectedEdge(toPort)) reverse->handleToPort(port);
    }
  }
}

void TopologySm::handleHostsByHostname(const Nimbo::String& hostname) {
  FABRION_TRACE(9, "%s", hostname);
  const auto group = topologyStatus()->hostsByHostname(hostname);
  if (!group) return;
  const auto resources = requestedResourcesCollection_->resourcesForHostname(hostname);
  if (!resources) return;  // not even the hostname is written
  for (const Nimbo::String& host : group->host().keys()) {
    required(networkElementCollection_->networkElement(host), "the element of the host")
        ->hostnameIs(hostname);
    required(networkElementCollection_->networkElement(host), "the element of the host")
        ->resourcesForHostnameIs(resources);
  }
}

// The hosts of one hostname

void TopologySm::VeloHostsByHostname::handleHost(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s %s", name, notifier()->hostname());
  const auto& elements = owner().networkElementCollection_;
  if (notifier()->host(name)) {
    required(elements->networkElement(name), "the element of the host")
        ->hostnameIs(notifier()->hostname());
    const auto resources =
        owner().requestedResourcesCollection_->resourcesForHostname(notifier()->hostname());
    if (!resources) return;  // what the element has stays
    required(elements->networkElement(name), "the element of the host")
        ->resourcesForHostnameIs(resources);
    return;
  }
  const auto element = elements->networkElement(name);
  if (!element) return;
  element->hostnameIs("");
  element->resourcesForHostnameIs(nullptr);
}

// Generic access

struct TopologySm::Tables {
  using Row = Velo::TypeImpl<TopologySm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&TopologySm::networkElementCollection_>("networkElementCollection"),
      Row::argument<&TopologySm::requestedResourcesCollection_>("requestedResourcesCollection"),
      Row::argumentReactor<&TopologySm::topologyStatus_>("topologyStatus"),
      Row::ownedMachine<&TopologySm::networkElementCollectionSm_>("networkElementCollectionSm"),
      Row::handler<&TopologySm::handleHost>("handleHost", {"hostId"}),
      Row::handler<&TopologySm::handleHostsByHostname>("handleHostsByHostname", {"hostname"}),
      Row::reactors<&TopologySm::hostsByHostname_>("hostsByHostname"),
      Row::reactors<&TopologySm::directedEdge_>("directedEdge"),
      Row::reactors<&TopologySm::topologyEdge_>("topologyEdge"),
      Row::handler<&TopologySm::handleInitialized>("handleInitialized"),
      Row::value<&TopologySm::initialized_>("initialized"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloTopologyStatus>("VeloTopologyStatus", "topologyStatus"),
      Row::reactor<VeloHostsByHostname>("VeloHostsByHostname", "hostsByHostname"),
      Row::reactor<VeloDirectedEdge>("VeloDirectedEdge", "directedEdge"),
      Row::reactor<VeloTopologyEdge>("VeloTopologyEdge", "topologyEdge"),
  };
};

constinit const Velo::TypeRecord topologySmType{
    "Fabrion::Agent::TopologySm", TopologySm::Tables::attributes,
    &Velo::TypeImpl<TopologySm>::genericIfConstructFromCtorArgs<
        Velo::Ptr<Fabrion::NetworkElementCollection>,
        Velo::Ptr<Fabrion::RequestedResourcesCollection>,
        Velo::Ptr<const NetworkTopologyAggregatorV3::Status>>,
    3, TopologySm::Tables::reactors};

}  // namespace Fabrion::Agent
