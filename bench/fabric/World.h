#pragma once
// A whole system built from a Fabric, as the host agent builds it, but with the entities at hand:
// what is measured goes straight to a request or to the topology status, and no name is looked up.

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/fabric/Meter.h"
#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/FabrionClient.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "entities/VxlanController.h"
#include "host/Fabric.h"
#include "host/Machine.h"
#include "platform/Velo/Module.h"

namespace Bench {

namespace Topology = NetworkTopologyAggregatorV3;
using Fabrion::Host::Fabric;
using Fabrion::Host::Machine;

class World {
 public:
  struct Switch {
    Nimbo::String name;
    Velo::Ptr<Topology::Host> host;
    Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1> portVlanConfig;
    Velo::Ptr<VxlanController::VtepConfigDirV2> vtepConfigDir;
    Velo::Ptr<VxlanController::VtepStatusDirV2> vtepStatusDir;
    Machine machine = {};
  };
  struct HostnameRequest {
    Velo::Ptr<Fabrion::Client::ResourcesForHostname> object;
    Machine machine = {};
  };
  struct PortRequest {
    Velo::Ptr<Fabrion::Client::ResourcesForSwitchport> object;
    Machine machine = {};
  };

  // Builds the whole, the switch machines last, and tells `meter` of each operation: of each change
  // that an event journal would write as a line of its own.
  World(const Fabric& fabric, Meter& meter);
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  // Ends in the order of the host agent: requests, switches, topology.
  ~World();

  // In the order of the fabric.
  std::vector<Switch> switches;
  std::vector<Velo::Ptr<Topology::Host>> hosts;
  std::vector<HostnameRequest> hostnameRequests;
  std::vector<PortRequest> portRequests;

  const Velo::Ptr<Topology::Status> status = Velo::make<Topology::Status>();
  const Velo::Ptr<Fabrion::Config> config = Velo::make<Fabrion::Config>();
  const Velo::Ptr<Fabrion::NetworkElementCollection> elements =
      Velo::make<Fabrion::NetworkElementCollection>();
  const Velo::Ptr<Fabrion::RequestedResourcesCollection> resources =
      Velo::make<Fabrion::RequestedResourcesCollection>();

  // Both directions.
  void link(const Velo::Ptr<Topology::Port>& a, const Velo::Ptr<Topology::Port>& b);
  void unlink(const Velo::Ptr<Topology::Port>& a, const Velo::Ptr<Topology::Port>& b);

 private:
  void addNodes(const Fabric& fabric, Meter& meter);
  void addLinks(const Fabric& fabric, Meter& meter);
  void addRequests(const Fabric& fabric, Meter& meter);
  void startSwitches(const Fabric& fabric, Meter& meter);
  Velo::Ptr<Topology::Port> portAt(const Fabrion::Host::LinkEnd& end) const;

  const Velo::VeloModule& module_;
  std::unordered_map<std::string, Velo::Ptr<Topology::Host>> byName_;
  Machine topologySm_;
};

// What stands in the outputs of all switches.
struct Counts {
  U64 vlansOfPorts = 0;  // pairs of a port or port group and a VLAN that it allows
  U64 mappings = 0;      // pairs of a port and a VLAN with a VNI, in the first VTEP of each switch
};
Counts countOutputs(const World& world);

}  // namespace Bench
