#include "bench/fabric/World.h"

#include "host/Module.h"
#include "platform/BrindleUtils/VlanIdSet.h"

namespace Bench {

namespace {

using Fabrion::Host::loadModule;
using Fabrion::Host::Node;
using Nimbo::String;

constexpr const char* agentReferrer = "fabrion";

Velo::Ptr<Topology::Host> hostOf(const Node& node) {
  auto host = Velo::make<Topology::Host>(String(node.name));
  host->hostnameIs(String(node.hostname));
  for (const std::string& port : node.ports) {
    host->portIs(Velo::make<Topology::Port>(*host, String(port)));
  }
  for (const Fabrion::Host::PortGroup& members : node.groups) {
    const auto group = Velo::make<Topology::PortGroup>(String(members.name));
    for (const std::string& name : members.members) {
      const Velo::Ptr<Topology::Port> port = host->port(String(name));
      port->portGroupIs(group);
      group->memberPortIs(port);
    }
    host->portGroupIs(group);
  }
  return host;
}

Fabrion::Client::ClientDomain domainOf(const Fabrion::Host::DomainName& name) {
  return {String(name.first), String(name.second)};
}

}  // namespace

World::World(const Fabric& fabric, Meter& meter) : module_(loadModule("")) {
  const Velo::Ptr<const Topology::Status> input = status;
  topologySm_ = Machine::make(module_, "TopologySm", {&elements, &resources, &input});
  addNodes(fabric, meter);
  addLinks(fabric, meter);
  addRequests(fabric, meter);
  startSwitches(fabric, meter);
  meter.end();
}

World::~World() {
  for (HostnameRequest& request : hostnameRequests) request.machine = Machine();
  for (PortRequest& request : portRequests) request.machine = Machine();
  for (Switch& one : switches) one.machine = Machine();
  topologySm_ = Machine();
}

void World::addNodes(const Fabric& fabric, Meter& meter) {
  meter.stepIs("switches");
  for (const Node& node : fabric.switches) {
    switches.push_back({String(node.name),
                        {},
                        Velo::make<ControllerProxyAgent::PortVlanConfigV1>(),
                        Velo::make<VxlanController::VtepConfigDirV2>(),
                        Velo::make<VxlanController::VtepStatusDirV2>()});
    meter.operation();
    elements->networkElementIs(String(node.name))->referrerIs(String(agentReferrer), true);
    meter.operation();
  }
  meter.stepIs("hosts");
  const auto enter = [&](const Node& node) {
    auto host = hostOf(node);
    meter.operation();
    status->hostIs(host);
    meter.operation();
    byName_.emplace(node.name, host);
    return host;
  };
  for (std::size_t i = 0; i < switches.size(); ++i) switches[i].host = enter(fabric.switches[i]);
  for (const Node& node : fabric.hosts) hosts.push_back(enter(node));
  meter.stepIs("hostnames");
  std::map<std::string, Velo::Ptr<Topology::HostsByHostname>> groups;
  for (const auto* nodes : {&fabric.switches, &fabric.hosts}) {
    for (const Node& node : *nodes) {
      auto& group = groups[node.hostname];
      if (!group) group = Velo::make<Topology::HostsByHostname>(String(node.hostname));
      group->hostIs(byName_.at(node.name));
    }
  }
  for (const auto& [hostname, group] : groups) {
    status->hostsByHostnameIs(group);
    meter.operation();
  }
}

Velo::Ptr<Topology::Port> World::portAt(const Fabrion::Host::LinkEnd& end) const {
  return byName_.at(end.node)->port(String(end.port));
}

void World::addLinks(const Fabric& fabric, Meter& meter) {
  meter.stepIs("links");
  for (const Fabrion::Host::Link& one : fabric.links) {
    link(portAt(one.a), portAt(one.b));
    for (int operation = 0; operation < 4; ++operation) meter.operation();
  }
}

void World::link(const Velo::Ptr<Topology::Port>& a, const Velo::Ptr<Topology::Port>& b) {
  for (const auto& [from, to] : {std::pair(a, b), std::pair(b, a)}) {
    const auto edge = Velo::make<Topology::DirectedEdge>(from);
    status->edgeIs(edge);
    edge->toPortIs(to, true);
  }
}

void World::unlink(const Velo::Ptr<Topology::Port>& a, const Velo::Ptr<Topology::Port>& b) {
  status->edgeDel(a);
  status->edgeDel(b);
}

void World::addRequests(const Fabric& fabric, Meter& meter) {
  meter.stepIs("requests");
  const auto fill = [&](const auto& request, const auto& object) {
    meter.operation();
    for (const U32 vlan : request.vlans) {
      object->vlanIs(vlan);
      meter.operation();
    }
    for (const auto& one : request.vnis) {
      object->vlan(one.vlan)->mappedVniIs(one.vni);
      meter.operation();
    }
    for (const auto& one : request.domains) {
      object->vlan(one.vlan)->domainIs(domainOf(one.domain));
      meter.operation();
    }
  };
  for (const auto& request : fabric.portRequests) {
    const String client(request.client);
    const Fabrion::Client::SwitchInterface port{String(request.switchName), String(request.port)};
    const auto object = Velo::make<Fabrion::Client::ResourcesForSwitchport>();
    fill(request, object);
    if (request.nativeVlan) {
      object->nativeVlanIs(Velo::make<Fabrion::Client::UntaggedVlan>(*request.nativeVlan));
      meter.operation();
    }
    const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport> input = object;
    portRequests.push_back({object, Machine::make(module_, "ClientResourcesForSwitchportSm",
                                                  {&client, &port, &input, &elements})});
    meter.operation();
  }
  for (const auto& request : fabric.hostnameRequests) {
    const String machineName(request.hostname);
    const String client(request.client);
    const auto object = Velo::make<Fabrion::Client::ResourcesForHostname>(machineName);
    fill(request, object);
    const Velo::Ptr<const Fabrion::Client::ResourcesForHostname> input = object;
    hostnameRequests.push_back(
        {object, Machine::make(module_, "ClientResourcesForHostnameSm",
                               {&machineName, &client, &input, &resources})});
    meter.operation();
  }
}

void World::startSwitches(const Fabric& fabric, Meter& meter) {
  meter.stepIs("maps and VTEPs");
  for (const Fabrion::Host::StaticMap& one : fabric.staticMaps) {
    const auto map = Velo::make<Fabrion::VlanToVniMap>(domainOf(one.domain));
    for (const auto& range : one.ranges) {
      map->mapIs({range.vlans.low, range.vlans.high}, {range.vnis.low, range.vnis.high});
    }
    config->vlanToVniMapIs(map);
    meter.operation();
  }
  for (std::size_t i = 0; i < switches.size(); ++i) {
    for (const Fabrion::Host::Vtep& vtep : fabric.switches[i].vteps) {
      switches[i].vtepStatusDir->vtepStatusV2Is(
          Velo::make<VxlanController::VtepStatusV2>(String(vtep.name)));
      meter.operation();
    }
  }
  meter.stepIs("switch machines");
  const Velo::Ptr<const Fabrion::Config> maps = config;
  for (Switch& one : switches) {
    const Velo::Ptr<const VxlanController::VtepStatusDirV2> vteps = one.vtepStatusDir;
    one.machine = Machine::make(
        module_, "SwitchNodeSm",
        {&one.name, &one.portVlanConfig, &one.vtepConfigDir, &vteps, &elements, &maps});
    meter.operation();
    elements->networkElementAnnounce(one.name);
    meter.operation();
  }
}

Counts countOutputs(const World& world) {
  Counts counts;
  for (const World::Switch& one : world.switches) {
    for (const auto& list : one.portVlanConfig->portAllowedVlanList().values()) {
      const auto vlans = BrindleUtils::VlanIdSetIs();
      BrindleUtils::computeVlanSet(vlans, list.value());
      vlans->forEach(0, 0xfffe, [&](U16) { ++counts.vlansOfPorts; });
    }
    for (const auto& vtep : one.vtepConfigDir->vtepConfig().values()) {
      counts.mappings += vtep->vlanToVniMap().size();
      break;
    }
  }
  return counts;
}

}  // namespace Bench
