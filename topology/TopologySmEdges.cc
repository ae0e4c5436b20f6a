// Links. Two reactors sit on each directed edge: VeloDirectedEdge follows the far ends and builds,
// VeloTopologyEdge waits for the edge to go and tears down. A far end that is taken from an edge
// which stays changes nothing.
//
// Hosts and switches are not told apart here, whatever the words of the traces: any two hosts of
// the status can be the ends of a link. What makes an element a switch is that a switch machine
// claims it.

#include "agent/Trace.h"
#include "topology/TopologySm.h"

namespace Fabrion::Agent {

using Velo::required;

void TopologySm::VeloDirectedEdge::handleToPort(
    const Velo::Ptr<const NetworkTopologyAggregatorV3::PortBase>& toPort) {
  FABRION_TRACE(9, "%s", toPort->name());
  const auto fromPort = notifier()->fromPort();
  const auto localHost = required(fromPort->host(), "the host of the local port");
  const auto remoteHost = required(toPort->host(), "the host of the remote port");
  FABRION_TRACE(2, "%s ( %s ) : %s -> %s ( %s ) : %s", localHost->hostname(), localHost->name(),
                fromPort->name(), remoteHost->hostname(), remoteHost->name(), toPort->name());
  const bool* connected = notifier()->toPort(toPort);
  if (connected == nullptr || !*connected) return;  // teardown waits for the whole edge to go
  FABRION_TRACE(2, "Connected");
  FABRION_TRACE(2, "Host name is %s", localHost->hostname());
  const auto localElement = owner().networkElementCollection_->networkElementIs(localHost->name());
  localElement->referrerIs(localHost->name(), true);
  // In spite of the words the remote element is only looked up: its own host brings it.
  FABRION_TRACE(3, "Creating physical host for %s", remoteHost->hostname());
  const auto remoteElement = owner().networkElementCollection_->networkElement(remoteHost->name());
  if (!remoteElement || !localElement) {
    // handleHost of the remote host takes the link up.
    FABRION_TRACE(2, "Disconnected");
    return;
  }
  FABRION_TRACE(3, "This port: %s", fromPort->name());
  FABRION_TRACE(3, "Remote port: %s", toPort->name());
  FABRION_TRACE(3, "Remote ne: %s", remoteElement->name());
  FABRION_TRACE(3, "Local ne: %s", localElement->name());
  const auto localInterface = localElement->physicalInterfaceIs(fromPort->name());
  const auto remoteInterface = remoteElement->physicalInterfaceIs(toPort->name());
  localInterface->discoveredElementIs(remoteElement);
  localInterface->discoveredIs(true);
  remoteInterface->discoveredElementIs(localElement);
  remoteInterface->discoveredIs(true);
  // The group of this end only; the other end gets its own when the edge from there is handled.
  const auto port = localHost->port(fromPort->name());
  if (!port) return;
  const auto topologyGroup = port->portGroup();
  if (!topologyGroup) {
    FABRION_TRACE(3, "%s does not belong to a port group", fromPort->name());
    localInterface->portGroupIs(nullptr);
    return;
  }
  FABRION_TRACE(3, "Port group: %s", topologyGroup->name());
  FABRION_TRACE(3, "This ne: %s", localElement->name());
  FABRION_TRACE(3, "Remote ne: %s", remoteElement->name());
  const auto group = localElement->portGroupIs(topologyGroup->name());
  group->memberInterfaceIs(localInterface);
  localInterface->portGroupIs(group);
}

Velo::Ptr<const NetworkTopologyAggregatorV3::PortBase> TopologySm::VeloTopologyEdge::fromPort()
    const {
  return notifier() ? notifier()->fromPort() : nullptr;
}

void TopologySm::VeloTopologyEdge::handleCleanup() {
  FABRION_TRACE(9, "%s", fromPort()->name());
  // The edge has left the status; its port and the port's host are reached through the reactor's
  // own reference.
  const auto host = fromPort()->host();
  FABRION_TRACE(9, "%s", host);
  if (!host) return;
  const auto element = owner().networkElementCollection_->networkElement(host->name());
  FABRION_TRACE(3, "Switch node: %s", element);
  if (!element) {
    FABRION_TRACE(2, "Not reacting to host -> switch edge. %s : %s", host->name(),
                  fromPort()->name());
    return;
  }
  FABRION_TRACE(2, "Edge from %s:%s deleted", host->hostname(), fromPort()->name());
  const auto interface = element->physicalInterface(fromPort()->name());
  if (!interface) return;
  interface->discoveredElementDelAll();
  if (!interface->configuredElement().empty()) {
    interface->discoveredIs(false);  // a client still holds the interface
    return;
  }
  const auto removed = element->physicalInterfaceDel(fromPort()->name());
  required(removed, "the interface that was removed")->destroy();
}

}  // namespace Fabrion::Agent
