#include "tests/host/RandomEdits.h"

#include <algorithm>
#include <stdexcept>
#include <variant>

#include "host/FabricDocument.h"
#include "host/FabricYaml.h"
#include "host/Generate.h"

namespace Fabrion::Test {

using namespace Host;

namespace {

Fabric generated(U64 seed) {
  GenerateOptions options;
  options.leaves = 3;
  options.spines = 1;
  options.servers = 8;
  options.clients = 3;
  options.vlans = 12;
  options.seed = seed;
  return generate(options);
}

std::string textOf(const Fabric& fabric) {
  const std::vector<std::string> texts = yamlOf(fabric);
  if (texts.size() != 1) throw std::runtime_error("more than one document");
  return texts[0];
}

template <class T>
bool holds(const std::vector<T>& values, const T& value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

template <class T, class Test>
void dropIf(std::vector<T>& from, Test test) {
  from.erase(std::remove_if(from.begin(), from.end(), test), from.end());
}

// Takes the node away, and with it all that names it.
void dropNode(Fabric& fabric, std::vector<Node>& nodes, const std::string& name) {
  dropIf(nodes, [&](const Node& one) { return one.name == name; });
  dropIf(fabric.links, [&](const Link& one) { return one.a.node == name || one.b.node == name; });
  dropIf(fabric.portRequests, [&](const PortRequest& one) { return one.switchName == name; });
}

}  // namespace

RandomEdits::RandomEdits(U64 seed)
    : random_(seed), fabric_(generated(seed)), first_(generated(seed)) {}

std::string RandomEdits::document() const { return textOf(fabric_); }

void RandomEdits::edit() {
  static constexpr Change changes[] = {&RandomEdits::vlans,
                                       &RandomEdits::vlansOfPort,
                                       &RandomEdits::vnis,
                                       &RandomEdits::domains,
                                       &RandomEdits::nativeVlan,
                                       &RandomEdits::remoteHost,
                                       &RandomEdits::hostnameRequest,
                                       &RandomEdits::portRequest,
                                       &RandomEdits::link,
                                       &RandomEdits::cable,
                                       &RandomEdits::host,
                                       &RandomEdits::hostname,
                                       &RandomEdits::switchItself,
                                       &RandomEdits::group,
                                       &RandomEdits::member,
                                       &RandomEdits::vtep,
                                       &RandomEdits::staticMap};
  for (;;) {
    Fabric next = fabric_;
    do {
      const Change change = changes[random_.below(static_cast<U32>(std::size(changes)))];
      (this->*change)(next);
    } while (chance(25));
    // What is no document is no edit. What is, counts as it is read.
    const auto read = parseFabric({{"edit.yaml", textOf(next)}});
    const Fabric* const valid = std::get_if<Fabric>(&read);
    if (valid == nullptr || *valid == fabric_) continue;
    fabric_ = *valid;
    return;
  }
}

LinkEnd RandomEdits::anyEnd(std::vector<Node>& nodes) {
  Node& node = any(nodes);
  return {node.name, any(node.ports)};
}

template <class Request>
void RandomEdits::vlansOf(Request& request) {
  const U32 vlan = 1 + random_.below(40);
  const auto at = std::lower_bound(request.vlans.begin(), request.vlans.end(), vlan);
  if (at == request.vlans.end() || *at != vlan) {
    request.vlans.insert(at, vlan);
    return;
  }
  request.vlans.erase(at);
  dropIf(request.vnis, [vlan](const VlanVni& one) { return one.vlan == vlan; });
  dropIf(request.domains, [vlan](const VlanDomain& one) { return one.vlan == vlan; });
}

template <class Request>
void RandomEdits::vnisOf(Request& request) {
  if (request.vlans.empty()) return;
  const VlanVni one{any(request.vlans), 10000 + random_.below(3)};
  if (holds(request.vnis, one)) {
    dropIf(request.vnis, [&](const VlanVni& other) { return other == one; });
  } else {
    request.vnis.push_back(one);
    std::sort(request.vnis.begin(), request.vnis.end());
  }
}

void RandomEdits::vlans(Fabric& fabric) {
  if (!fabric.hostnameRequests.empty()) vlansOf(any(fabric.hostnameRequests));
}

void RandomEdits::vlansOfPort(Fabric& fabric) {
  if (!fabric.portRequests.empty()) vlansOf(any(fabric.portRequests));
}

void RandomEdits::vnis(Fabric& fabric) {
  if (chance(50) && !fabric.portRequests.empty()) {
    vnisOf(any(fabric.portRequests));
  } else if (!fabric.hostnameRequests.empty()) {
    vnisOf(any(fabric.hostnameRequests));
  }
}

void RandomEdits::domains(Fabric& fabric) {
  if (fabric.hostnameRequests.empty() || fabric.staticMaps.empty()) return;
  HostnameRequest& request = any(fabric.hostnameRequests);
  if (request.vlans.empty()) return;
  const VlanDomain one{any(request.vlans), any(fabric.staticMaps).domain};
  if (holds(request.domains, one)) {
    dropIf(request.domains, [&](const VlanDomain& other) { return other == one; });
  } else {
    request.domains.push_back(one);
    std::sort(request.domains.begin(), request.domains.end());
  }
}

void RandomEdits::nativeVlan(Fabric& fabric) {
  if (fabric.portRequests.empty()) return;
  PortRequest& request = any(fabric.portRequests);
  if (request.nativeVlan && chance(40)) {
    request.nativeVlan = {};
  } else {
    request.nativeVlan = 1 + random_.below(3);
  }
}

void RandomEdits::remoteHost(Fabric& fabric) {
  if (fabric.portRequests.empty()) return;
  PortRequest& request = any(fabric.portRequests);
  if (!request.remoteHosts.empty() && chance(50)) {
    dropAny(request.remoteHosts);
    return;
  }
  const std::string name = "box" + std::to_string(1 + random_.below(3));
  if (!holds(request.remoteHosts, name)) request.remoteHosts.push_back(name);
  if (chance(50)) fabric.hostnameRequests.push_back({"client1", name, {1 + random_.below(40)}});
}

void RandomEdits::hostnameRequest(Fabric& fabric) {
  if (chance(50) && !fabric.hostnameRequests.empty()) {
    dropAny(fabric.hostnameRequests);
  } else if (!fabric.hosts.empty()) {
    HostnameRequest request{"client" + std::to_string(1 + random_.below(3)),
                            any(fabric.hosts).hostname,
                            {1 + random_.below(40)}};
    vnisOf(request);
    fabric.hostnameRequests.push_back(request);
  }
}

void RandomEdits::portRequest(Fabric& fabric) {
  if (chance(50) && !fabric.portRequests.empty()) {
    dropAny(fabric.portRequests);
    return;
  }
  const LinkEnd end = anyEnd(fabric.switches);
  PortRequest request{
      "client" + std::to_string(1 + random_.below(3)), end.node, end.port, {}, {}, {}};
  vlansOf(request);
  vnisOf(request);
  if (chance(30)) request.nativeVlan = 1 + random_.below(3);
  fabric.portRequests.push_back(request);
}

void RandomEdits::link(Fabric& fabric) {
  if (chance(50) && !fabric.links.empty()) {
    dropAny(fabric.links);
  } else if (!fabric.hosts.empty()) {
    fabric.links.push_back({anyEnd(fabric.switches), anyEnd(fabric.hosts)});
  }
}

// The cable goes into another port.
void RandomEdits::cable(Fabric& fabric) {
  if (!fabric.links.empty()) any(fabric.links).a = anyEnd(fabric.switches);
}

void RandomEdits::host(Fabric& fabric) {
  if (chance(50) && fabric.hosts.size() > 2) {
    dropNode(fabric, fabric.hosts, std::string(any(fabric.hosts).name));
    return;
  }
  const std::string name = "srv" + std::to_string(20 + random_.below(6));
  fabric.hosts.push_back({name, chance(70) ? name : any(fabric.hosts).hostname, {"eth0"}, {}});
  fabric.links.push_back({anyEnd(fabric.switches), {name, "eth0"}});
}

void RandomEdits::hostname(Fabric& fabric) {
  if (!fabric.hosts.empty()) {
    any(fabric.hosts).hostname = "compute" + std::to_string(1 + random_.below(9));
  }
}

// A switch goes, or one of the first that went comes back with its links.
void RandomEdits::switchItself(Fabric& fabric) {
  if (!chance(30)) return;
  const Node& one = any(first_.switches);
  if (std::any_of(fabric.switches.begin(), fabric.switches.end(),
                  [&](const Node& other) { return other.name == one.name; })) {
    if (fabric.switches.size() > 2) dropNode(fabric, fabric.switches, one.name);
    return;
  }
  fabric.switches.push_back(one);
  for (const Link& link : first_.links) {
    if (link.a.node == one.name) fabric.links.push_back(link);
  }
}

void RandomEdits::group(Fabric& fabric) {
  Node& node = any(fabric.switches);
  if (chance(40) && !node.groups.empty()) {
    dropAny(node.groups);
    return;
  }
  node.groups.push_back({"po" + std::to_string(40 + random_.below(4)), {any(node.ports)}});
}

void RandomEdits::member(Fabric& fabric) {
  Node& node = any(fabric.switches);
  if (node.groups.empty()) return;
  PortGroup& group = any(node.groups);
  if (chance(50) && group.members.size() > 1) {
    dropAny(group.members);
  } else {
    group.members.push_back(any(node.ports));
  }
}

void RandomEdits::vtep(Fabric& fabric) {
  Node& node = any(fabric.switches);
  if (chance(40) && !node.vteps.empty()) {
    dropAny(node.vteps);
  } else {
    node.vteps.push_back({"vtep" + std::to_string(30 + random_.below(4))});
  }
}

void RandomEdits::staticMap(Fabric& fabric) {
  if (fabric.staticMaps.empty()) return;
  StaticMap& map = any(fabric.staticMaps);
  if (chance(30) && map.ranges.size() > 1) {
    dropAny(map.ranges);
    return;
  }
  if (chance(50)) {
    StaticRange& range = any(map.ranges);
    const U32 up = random_.below(5);
    range.vnis.low += up;
    range.vnis.high += up;
    return;
  }
  const U32 vlan = 41 + random_.below(20);
  map.ranges.push_back({{vlan, vlan}, {20000 + vlan, 20000 + vlan}});
  std::sort(map.ranges.begin(), map.ranges.end());
}

}  // namespace Fabrion::Test
