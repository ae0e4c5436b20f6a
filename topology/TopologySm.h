#pragma once
// The machine of the topology, and the root of all element machines: it keeps the network elements
// in step with what was discovered. Each host gets an element of its name, kept alive by a referrer
// of that name; hostnames and what is requested for them reach the elements; a link becomes a
// physical interface at each end (TopologySmEdges.cc).
//
// A host has two names. `name` is its key in the status and the name of its element; `hostname` is
// what clients address it by, and several hosts may share one.
//
// It owns the NetworkElementCollectionSm, and reaches into it for the machine of a host's element.

#include "agent/FabrionSm.h"
#include "elements/NetworkElementCollectionSm.h"
#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class TopologySm : public Velo::Machine<TopologySm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return topologySmType; }

  // With a null status the machine follows nothing.
  TopologySm(const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
             const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
             const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus);
  static Velo::Ptr<TopologySm> TopologySmIs(
      const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
      const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
      const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus);

  class VeloTopologyStatus : public Velo::Reactor<VeloTopologyStatus, TopologySm,
                                                  const NetworkTopologyAggregatorV3::Status> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<NetworkTopologyAggregatorV3::Status::hostAttribute>(
              call<&TopologySm::handleHost>("handleHost")),
          // An edge that comes has no far ends yet; what it has when it is taken up late is
          // replayed by handleHost.
          on<NetworkTopologyAggregatorV3::Status::edgeAttribute>(
              follow<&TopologySm::directedEdge_>("directedEdge"),
              follow<&TopologySm::topologyEdge_>("topologyEdge")),
          on<NetworkTopologyAggregatorV3::Status::hostsByHostnameAttribute>(
              call<&TopologySm::handleHostsByHostname>("handleHostsByHostname"),
              follow<&TopologySm::hostsByHostname_>("hostsByHostname")),
      };
      return rows;
    }
  };

  class VeloHostsByHostname
      : public Velo::Reactor<VeloHostsByHostname, TopologySm,
                             const NetworkTopologyAggregatorV3::HostsByHostname> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<NetworkTopologyAggregatorV3::HostsByHostname::hostAttribute>(
              call<&VeloHostsByHostname::handleHost>("handleHost")),
          // No cleanup: the elements of a group that goes with hosts in it keep what they have.
      };
      return rows;
    }

    void handleHost(const Nimbo::String& name);
  };

  // Builds: what the edge sees becomes interfaces at both ends.
  class VeloDirectedEdge : public Velo::Reactor<VeloDirectedEdge, TopologySm,
                                                const NetworkTopologyAggregatorV3::DirectedEdge> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<NetworkTopologyAggregatorV3::DirectedEdge::toPortAttribute>(
              call<&VeloDirectedEdge::handleToPort>("handleToPort")),
      };
      return rows;
    }

    // Safe to repeat. Both ports must have their hosts.
    void handleToPort(const Velo::Ptr<const NetworkTopologyAggregatorV3::PortBase>& toPort);
  };

  // Tears down: waits for the edge to leave the status, or for the machine to end.
  class VeloTopologyEdge : public Velo::Reactor<VeloTopologyEdge, TopologySm,
                                                const NetworkTopologyAggregatorV3::DirectedEdge> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          cleanup<&VeloTopologyEdge::handleCleanup>("handleCleanup"),
      };
      return rows;
    }

    // The local end; null when no edge is followed.
    Velo::Ptr<const NetworkTopologyAggregatorV3::PortBase> fromPort() const;

    void handleCleanup();
  };

  void handleHost(const Nimbo::String& name);
  void handleHostsByHostname(const Nimbo::String& hostname);
  void handleInitialized();

 private:
  const Velo::Ptr<Fabrion::NetworkElementCollection> networkElementCollection_;
  const Velo::Ptr<Fabrion::RequestedResourcesCollection> requestedResourcesCollection_;
  VELO_REACTOR(VeloTopologyStatus, topologyStatus)
  VELO_OWNED_MACHINE(NetworkElementCollectionSm, networkElementCollectionSm)
  VELO_REACTORS(VeloHostsByHostname, hostsByHostname, veloHostsByHostname)
  VELO_REACTORS(VeloDirectedEdge, directedEdge, veloDirectedEdge)
  VELO_REACTORS(VeloTopologyEdge, topologyEdge, veloTopologyEdge)
  bool initialized_ = false;
};

Velo::Ptr<TopologySm> topologySmFactory(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus);

}  // namespace Fabrion::Agent
