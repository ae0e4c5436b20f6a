#pragma once
// A discovered topology and the derived model, as a host agent holds them, for the scenarios of
// TopologySm and of the machines under it. Whoever tests says what is discovered, in the words of a
// cabling plan, and looks at the model.

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "topology/TopologySm.h"

namespace Fabrion::Test {

namespace Topology = NetworkTopologyAggregatorV3;

// The keys of a collection of the model, in its order.
template <class Map>
std::vector<std::string> keysOf(const Map& map) {
  std::vector<std::string> keys;
  for (const auto& key : map.keys()) keys.emplace_back(key.view());
  return keys;
}

// Those of the lines that the functions of one class wrote; `scope` is as in "TopologySm".
inline std::vector<std::string> linesOf(const std::vector<std::string>& lines,
                                        const std::string& scope) {
  std::vector<std::string> found;
  for (const std::string& line : lines) {
    if (line.compare(2, scope.size() + 2, scope + "::") == 0) found.push_back(line);
  }
  return found;
}

class TopologyScene {
 public:
  const Velo::Ptr<Fabrion::NetworkElementCollection> elements =
      Velo::make<Fabrion::NetworkElementCollection>();
  const Velo::Ptr<Fabrion::RequestedResourcesCollection> requests =
      Velo::make<Fabrion::RequestedResourcesCollection>();
  const Velo::Ptr<Topology::Status> status = Velo::make<Topology::Status>();
  Velo::Ptr<Agent::TopologySm> machine;

  void start() { machine = Agent::topologySmFactory(elements, requests, status); }
  void stop() { machine = nullptr; }

  // A host that is discovered later, by enter().
  Velo::Ptr<Topology::Host> host(const char* name, const char* hostname,
                                 std::initializer_list<const char*> ports = {}) {
    const auto host = Velo::make<Topology::Host>(name);
    host->hostnameIs(hostname);
    for (const char* port : ports) host->portIs(Velo::make<Topology::Port>(*host, port));
    return hosts_[name] = host;
  }
  void enter(const char* name) { status->hostIs(hosts_.at(name)); }
  void leave(const char* name) { status->hostDel(name); }
  // A host that stands in the status already.
  void entered(const char* name, const char* hostname,
               std::initializer_list<const char*> ports = {}) {
    host(name, hostname, ports);
    enter(name);
  }
  Velo::Ptr<Topology::Port> port(const char* host, const char* port) const {
    return hosts_.at(host)->port(port);
  }

  // What `from` sees at its far end. The edge is entered first, and empty, unless it is there.
  void sees(const Velo::Ptr<const Topology::PortBase>& from,
            const Velo::Ptr<const Topology::PortBase>& to, bool connected = true) {
    edge(from)->toPortIs(to, connected);
  }
  void seesNothing(const Velo::Ptr<const Topology::PortBase>& from) { status->edgeDel(from); }
  Velo::Ptr<Topology::DirectedEdge> edge(const Velo::Ptr<const Topology::PortBase>& from) {
    if (!status->edge(from)) status->edgeIs(Velo::make<Topology::DirectedEdge>(from));
    return status->edge(from);
  }
  // Both directions of a cable.
  void cable(const char* host, const char* port, const char* otherHost, const char* otherPort) {
    sees(this->port(host, port), this->port(otherHost, otherPort));
    sees(this->port(otherHost, otherPort), this->port(host, port));
  }

  // A port group of a host with its members, known on the side of the group and on that of the
  // ports.
  Velo::Ptr<Topology::PortGroup> portGroup(const char* host, const char* name,
                                           std::initializer_list<const char*> members) {
    const auto group = Velo::make<Topology::PortGroup>(name);
    for (const char* member : members) {
      group->memberPortIs(port(host, member));
      port(host, member)->portGroupIs(group);
    }
    hosts_.at(host)->portGroupIs(group);
    return group;
  }

  // A group that is filed with its hosts in it.
  Velo::Ptr<Topology::HostsByHostname> group(const char* hostname,
                                             std::initializer_list<const char*> hosts) {
    const auto group = Velo::make<Topology::HostsByHostname>(hostname);
    for (const char* host : hosts) group->hostIs(hosts_.at(host));
    status->hostsByHostnameIs(group);
    return group;
  }

  Velo::Ptr<Fabrion::NetworkElement> element(const char* name) const {
    return elements->networkElement(name);
  }
  Velo::Ptr<Fabrion::PhysicalInterface> interface(const char* element, const char* port) const {
    return this->element(element)->physicalInterface(port);
  }
  // The machine of the element, null when there is none.
  Velo::Ptr<Agent::NetworkElementSm> elementMachine(const char* name) const {
    return machine->networkElementCollectionSm()->networkElementSm(name);
  }

  // A host that has gone from the status, or never entered it.
  Velo::Ptr<Topology::Host> hostObject(const char* name) const { return hosts_.at(name); }
  void forgetHost(const char* name) { hosts_.erase(name); }

 private:
  std::map<std::string, Velo::Ptr<Topology::Host>> hosts_;
};

}  // namespace Fabrion::Test
