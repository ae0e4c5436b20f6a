// What each operation does in the random walk's account of the system, and how that account reads
// as a dump.
#include <algorithm>

#include "host/MachinePath.h"
#include "platform/BrindleUtils/VlanIdSet.h"
#include "tests/host/random_walk_model.h"

namespace Fabrion::Test {

namespace Op = Host::Op;
using Host::HostRequestName;
using Host::Operation;
using Host::PortName;
using Host::PortRequestName;
using Host::RequestName;

namespace {

// Of the names that the walk uses, those of switches start with s and those of ports between
// switches with u.
bool isSwitchName(const std::string& node) { return node.starts_with('s'); }
bool isUplink(const std::string& port) { return port.starts_with('u'); }

}  // namespace

struct WalkModel::Apply {
  WalkModel& to;

  // Topology

  void operator()(const Op::HostNew& op) const {
    for (const Host::GroupMembers& group : op.groups) {
      for (const std::string& port : group.ports) {
        if (std::find(op.ports.begin(), op.ports.end(), port) == op.ports.end()) {
          refuse("a member that is no port");
        }
      }
    }
    const int id = static_cast<int>(to.hosts_.size());
    to.hosts_.push_back({op.host, op.hostname});
    for (const std::string& port : op.ports) filePort(id, port);
    for (const Host::GroupMembers& group : op.groups) fileGroup(id, group.group, group.ports);
    to.namedHosts_[op.host] = {id};
  }
  void operator()(const Op::HostEnter& op) const {
    const int id = to.named(op.host).object;
    int& entry = to.hostsInStatus_.at(op.host, none);
    if (entry == id) return;
    entry = id;
    if (to.topologyRuns_) to.handleHost(op.host);
  }
  void operator()(const Op::HostLeave& op) const {
    if (!to.hostsInStatus_.erase(op.host)) return;
    if (to.topologyRuns_) to.handleHost(op.host);
  }
  void operator()(const Op::PortAdd& op) const {
    NamedHost& host = to.named(op.host);
    host.unlisted.erase(op.port);
    filePort(host.object, op.port);
  }
  void operator()(const Op::PortDel& op) const {
    if (!to.object(op.host).ports.erase(op.port)) refuse("no such port");
  }
  void operator()(const Op::GroupAdd& op) const {
    const int hostId = to.named(op.host).object;
    for (const std::string& port : op.ports) listed(hostId, port);
    const int id = fileGroup(hostId, op.group, op.ports);
    eachFollower(hostId, [&](int element) {
      to.groupIs(element, op.group);
      to.topologyGroupIs(element, id);
    });
  }
  void operator()(const Op::GroupDel& op) const {
    const int hostId = to.named(op.host).object;
    for (const auto& [name, port] : to.group(group(hostId, op.group)).members) {
      to.port(port).group = none;
    }
    to.host(hostId).groups.erase(op.group);
    eachFollower(hostId, [&](int element) {
      if (to.element(element).groups.contains(op.group)) to.groupDel(element, op.group);
      to.element(element).followedGroups.erase(op.group);
    });
  }
  void operator()(const Op::MemberAdd& op) const {
    const int hostId = to.named(op.host).object;
    const int id = group(hostId, op.group);
    const int port = listed(hostId, op.port);
    to.port(port).group = id;
    int& entry = to.group(id).members.emplace(op.port, none).first->second;
    if (entry == port) return;
    entry = port;
    to.topologyMembersChanged(id, op.port);
  }
  void operator()(const Op::MemberDel& op) const {
    const int hostId = to.named(op.host).object;
    const int id = group(hostId, op.group);
    to.port(listed(hostId, op.port)).group = none;
    if (to.group(id).members.erase(op.port) != 0) to.topologyMembersChanged(id, op.port);
  }
  void operator()(const Op::EdgeAdd& op) const {
    to.named(op.from.host);
    for (const PortName& end : op.to) {
      to.named(end.host);
      mayBeLinked(op.from, end);
    }
    const int from = to.edgePort(op.from);
    const int id = static_cast<int>(to.topologyEdges_.size());
    to.topologyEdges_.push_back({from});
    for (const PortName& end : op.to) {
      const int far = to.edgePort(end);
      to.edge(id).to.at(far, true) = true;
    }
    auto& known = to.edgesByNames_[op.from];
    std::erase_if(known, [&](int old) { return to.edge(old).from == from; });
    known.push_back(id);
    to.edgesInStatus_.at(from, none) = id;
  }
  void operator()(const Op::EdgeTo& op) const {
    const int id = to.newestEdge(op.from);
    mayBeLinked(op.from, op.to);
    int end = to.farEnd(to.edge(id), op.to);
    if (end == none) end = to.edgePort(op.to);
    const bool fresh = !to.edge(id).to.contains(end);
    bool& entry = to.edge(id).to.at(end, op.value);
    if (!fresh && entry == op.value) return;
    entry = op.value;
    if (to.topologyRuns_) to.handleToPort(id, end);
  }
  void operator()(const Op::EdgeToDel& op) const {
    Edge& edge = to.edge(to.newestEdge(op.from));
    const int end = to.farEnd(edge, op.to);
    if (end == none) refuse("no such far port");
    edge.to.erase(end);
  }
  void operator()(const Op::EdgeDel& op) const {
    const int id = to.newestEdge(op.from);
    const auto known = to.edgesByNames_.find(op.from);
    known->second.pop_back();
    if (known->second.empty()) to.edgesByNames_.erase(known);
    const int from = to.edge(id).from;
    to.edgesInStatus_.erase(from);
    if (to.topologyRuns_) to.edgeLeft(from);
  }
  void operator()(const Op::HostnameAdd& op) const {
    std::map<std::string, int> hosts;
    for (const std::string& host : op.hosts) hosts[host] = to.named(host).object;
    to.hostnames_.at(op.hostname, {}) = hosts;
    if (to.topologyRuns_) to.handleHostsByHostname(op.hostname);
  }
  void operator()(const Op::HostnameDel& op) const {
    if (!to.hostnames_.erase(op.hostname)) refuse("no such hostname");
  }
  void operator()(const Op::HostnameHostAdd& op) const {
    auto& hosts = hostname(op.hostname);
    const int id = to.named(op.host).object;
    int& entry = hosts.emplace(op.host, none).first->second;
    if (entry == id) return;
    entry = id;
    if (to.topologyRuns_) to.hostJoined(op.hostname, op.host);
  }
  void operator()(const Op::HostnameHostDel& op) const {
    if (hostname(op.hostname).erase(op.host) != 0 && to.topologyRuns_) to.hostParted(op.host);
  }

  // Requests

  void operator()(const Op::RequestNew& op) const {
    const int id = static_cast<int>(to.askedObjects_.size());
    to.askedObjects_.emplace_back();
    if (const auto* const onHost = std::get_if<HostRequestName>(&op.request)) {
      to.hostRequests_[*onHost].asked = id;
      return;
    }
    const auto& onPort = std::get<PortRequestName>(op.request);
    if (isUplink(onPort.interface)) {
      avoid("a VLAN is taken off a port whose far end is a switch while it is being filed");
    }
    to.portRequests_[onPort].asked = id;
  }
  void operator()(const Op::RequestStart& op) const {
    Request& request = to.requestNamed(op.request);
    if (request.running != none) refuse("the request runs");
    request.running = request.asked;
    const Asked what = to.asked(request.asked);
    if (const auto* const onHost = std::get_if<HostRequestName>(&op.request)) {
      to.startHostRequest(*onHost, what);
    } else {
      to.startPortRequest(std::get<PortRequestName>(op.request), what);
    }
  }
  void operator()(const Op::RequestStop& op) const {
    Request& request = to.requestNamed(op.request);
    if (request.running == none) refuse("the request does not run");
    const Asked what = to.asked(request.running);
    request.running = none;
    if (const auto* const onHost = std::get_if<HostRequestName>(&op.request)) {
      to.stopHostRequest(*onHost, what);
    } else {
      to.stopPortRequest(std::get<PortRequestName>(op.request));
    }
  }
  void operator()(const Op::VlanAdd& op) const {
    if (to.asked(to.requestNamed(op.request).asked).vlans.emplace(op.vlan, AskedVlan()).second) {
      vlanChanged(op.request, op.vlan);
    }
  }
  void operator()(const Op::VlanDel& op) const {
    if (to.asked(to.requestNamed(op.request).asked).vlans.erase(op.vlan) != 0) {
      vlanChanged(op.request, op.vlan);
    }
  }
  void operator()(const Op::VniAdd& op) const { vlan(op.request, op.vlan).vnis.insert(op.vni); }
  void operator()(const Op::VniDel& op) const { vlan(op.request, op.vlan).vnis.erase(op.vni); }
  void operator()(const Op::DomainAdd& op) const {
    auto& domains = vlan(op.request, op.vlan).domains;
    if (!domains.insert({op.domain.first, op.domain.second}).second) return;
    if (to.followed(op.request) != nullptr) to.domainChanged(op.request, op.vlan);
  }
  void operator()(const Op::DomainDel& op) const {
    auto& domains = vlan(op.request, op.vlan).domains;
    if (domains.erase({op.domain.first, op.domain.second}) == 0) return;
    if (to.followed(op.request) != nullptr) to.domainChanged(op.request, op.vlan);
  }
  void operator()(const Op::Native& op) const {
    Asked& what = to.asked(to.requestNamed(op.request).asked);
    const bool changed = op.vlan || what.native;
    what.native = op.vlan;
    const Asked* const now = to.followed(op.request);
    if (changed && now != nullptr) to.askNative(op.request, Asked(*now));
  }
  void operator()(const Op::Remote& op) const {
    Asked& what = to.asked(to.requestNamed(op.request).asked);
    const auto [entry, fresh] = what.remoteHosts.emplace(op.hostname, op.value);
    if (!fresh && entry->second == op.value) return;
    entry->second = op.value;
    remoteChanged(op.request, op.hostname);
  }
  void operator()(const Op::RemoteDel& op) const {
    Asked& what = to.asked(to.requestNamed(op.request).asked);
    if (what.remoteHosts.erase(op.hostname) != 0) remoteChanged(op.request, op.hostname);
  }

  // Static maps: which ranges they hold makes no difference to what this account follows.

  void operator()(const Op::MapAdd& op) const {
    to.maps_.insert({op.domain.first, op.domain.second});
  }
  void operator()(const Op::MapDel& op) const {
    map(op.domain);
    to.maps_.erase({op.domain.first, op.domain.second});
  }
  void operator()(const Op::RangeSet& op) const { map(op.domain); }
  void operator()(const Op::RangeDel& op) const { map(op.domain); }

  // Switches

  void operator()(const Op::SwitchNew& op) const {
    if (to.switches_.contains(op.switchName)) refuse("the switch is there");
    Switch& one = to.switches_[op.switchName];
    for (const Host::OutputPart& part : op.outputs) {
      if (const auto* const natives = std::get_if<Host::NativeVlans>(&part)) {
        for (const auto& [port, vlan] : natives->vlanOfPort) one.native[port] = vlan;
      }
      if (const auto* const list = std::get_if<Host::SwitchVlanList>(&part)) {
        const auto kept = BrindleUtils::VlanIdSetIs();
        BrindleUtils::computeVlanSet(kept, Nimbo::String(list->list));
        for (U16 vlan = 1; vlan <= 4094; ++vlan) kept->doRemove(vlan);
        one.strayVlans = std::string(kept->multiRangeString().view());
      }
      if (const auto* const vteps = std::get_if<Host::VtepMappings>(&part)) {
        for (const auto& [vtep, mappings] : vteps->mappingsOfVtep) {
          for (const auto& [port, vlan, vni] : mappings) one.vteps.at(vtep, {})[{port, vlan}] = vni;
        }
      }
    }
  }
  void operator()(const Op::SwitchStart& op) const {
    Switch& one = switchNamed(op.switchName);
    if (one.running) refuse("the switch runs");
    one.running = true;
    one.started = ++to.registrations_;
  }
  void operator()(const Op::SwitchAnnounce& op) const {
    switchNamed(op.switchName);
    to.announce(op.switchName);
  }
  void operator()(const Op::SwitchStop& op) const {
    Switch& one = switchNamed(op.switchName);
    if (!one.running) refuse("the switch does not run");
    one.running = false;
    one.element = none;
    one.followedPorts.clear();
  }
  void operator()(const Op::VtepAdd& op) const {
    Switch& one = switchNamed(op.switchName);
    one.statuses.at(op.vtep, true);
    if (one.element != none) one.vteps.at(op.vtep, {});
  }
  void operator()(const Op::VtepDel& op) const {
    switchNamed(op.switchName).statuses.erase(op.vtep);
  }
  void operator()(const Op::Mount& op) const { switchNamed(op.switchName); }
  void operator()(const Op::MountUpdate& op) const { switchNamed(op.switchName); }

  // Controller

  void operator()(const Op::TopologyStart& /*op*/) const {
    if (to.topologyRuns_) refuse("the topology runs");
    to.startTopology();
  }
  void operator()(const Op::TopologyStop& /*op*/) const {
    if (!to.topologyRuns_) refuse("the topology does not run");
    to.stopTopology();
  }
  void operator()(const Op::ElementHold& op) const {
    to.addReferrer(to.elementIs(op.element), op.referrer);
  }
  void operator()(const Op::ElementRelease& op) const {
    const int id = to.elementNamed(op.element);
    if (id == none) refuse("no such element");
    to.removeReferrer(id, op.referrer);
  }
  void operator()(const Op::Dump& /*op*/) const {}

  void operator()(const Op::Invoke& op) const {
    const std::vector<std::string> path = Host::namesOfPath(op.machine);
    const auto* const text = std::get_if<std::string>(&op.key);
    if (path[0] == "topologySm") {
      if (!to.topologyRuns_) refuse("no such machine");
      if (op.handler == "handleHost") {
        to.handleHost(*text);
      } else if (op.handler == "handleHostsByHostname") {
        to.handleHostsByHostname(*text);
      } else if (op.handler != "handleInitialized") {
        avoid("this handler");
      }
    } else if (path[0] == "networkElementSm") {
      const int id = to.elementNamed(path[1]);
      if (id == none || !to.element(id).machine) refuse("no such machine");
      if (op.handler == "handleNePortGroup" && !to.element(id).groups.contains(*text)) {
        if (!to.element(id).groupMachines.contains(*text)) fault("the port group's machine");
        avoid("this handler");
      }
      if (op.handler != "handleTopologyHost" && op.handler != "handleNePortGroup") {
        avoid("this handler");
      }
      if (op.handler == "handleNePortGroup") to.groupMachineIs(id, *text);
    } else if (path[0] == "switchNodeSm") {
      Switch& one = switchNamed(path[1]);
      if (!one.running) refuse("no such machine");
      if (op.handler == "handleSwitchElement") {
        to.pass(one);
      } else if (op.handler == "handleInterface") {
        to.handleInterface(one, *text);
      } else if (op.handler != "handleInitialized" && op.handler != "isMemberInterface") {
        avoid("this handler");
      }
    } else if (path[0] == "clientResourcesForSwitchportSm") {
      const PortRequestName name{path[1], path[2], path[3]};
      const Request& request = to.requestNamed(name);
      if (request.running == none) refuse("no such machine");
      const Asked what = to.asked(request.running);
      if (op.handler == "handleInitialized") {
        to.startPortRequest(name, what);
      } else if (op.handler == "handleNativeVlan") {
        to.askNative(name, what);
      } else if (op.handler == "handleRemoteHost") {
        to.askRemote(name, what, *text);
      } else {
        avoid("this handler");
      }
    } else if (path[0] == "clientResourcesForHostnameSm") {
      const HostRequestName name{path[1], path[2]};
      const Request& request = to.requestNamed(name);
      if (request.running == none) refuse("no such machine");
      if (op.handler != "handleInitialized") avoid("this handler");
      to.startHostRequest(name, Asked(to.asked(request.running)));
    } else {
      avoid("this machine");
    }
  }

 private:
  void filePort(int hostId, const std::string& name) const {
    to.host(hostId).ports.at(name, none) = static_cast<int>(to.topologyPorts_.size());
    to.topologyPorts_.push_back({hostId, name});
  }
  int fileGroup(int hostId, const std::string& name, const std::vector<std::string>& ports) const {
    const int id = static_cast<int>(to.topologyGroups_.size());
    to.topologyGroups_.push_back({name});
    for (const std::string& member : ports) {
      const int port = listed(hostId, member);
      to.port(port).group = id;
      to.group(id).members[member] = port;
    }
    to.host(hostId).groups.at(name, none) = id;
    return id;
  }
  int listed(int hostId, const std::string& port) const {
    const auto found = to.host(hostId).ports.find(port);
    if (found == to.host(hostId).ports.end()) refuse("no such port");
    return found->second;
  }
  int group(int hostId, const std::string& name) const {
    const auto found = to.host(hostId).groups.find(name);
    if (found == to.host(hostId).groups.end()) refuse("no such group");
    return found->second;
  }
  std::map<std::string, int>& hostname(const std::string& name) const {
    const auto found = to.hostnames_.find(name);
    if (found == to.hostnames_.end()) refuse("no such hostname");
    return found->second;
  }
  Switch& switchNamed(const std::string& name) const {
    const auto found = to.switches_.find(name);
    if (found == to.switches_.end()) refuse("no such switch");
    return found->second;
  }
  void map(const Host::DomainName& domain) const {
    if (!to.maps_.contains({domain.first, domain.second})) refuse("no such map");
  }
  AskedVlan& vlan(const RequestName& request, U32 vlan) const {
    Asked& what = to.asked(to.requestNamed(request).asked);
    const auto found = what.vlans.find(vlan);
    if (found == what.vlans.end()) refuse("no such VLAN");
    return found->second;
  }
  void vlanChanged(const RequestName& request, U32 vlan) const {
    const Asked* const now = to.followed(request);
    if (now == nullptr) return;
    const Asked what = *now;
    if (const auto* const onHost = std::get_if<HostRequestName>(&request)) {
      to.askHostVlan(*onHost, what, vlan);
    } else {
      to.askPortVlan(std::get<PortRequestName>(request), what, vlan);
    }
  }
  void remoteChanged(const PortRequestName& request, const std::string& name) const {
    const Asked* const now = to.followed(request);
    if (now != nullptr) to.askRemote(request, Asked(*now), name);
  }
  void mayBeLinked(const PortName& a, const PortName& b) const {
    if (!isSwitchName(a.host) || !isSwitchName(b.host)) return;
    if (a.host == b.host || !isUplink(a.port) || !isUplink(b.port)) {
      avoid("a VLAN is taken off a port whose far end is a switch while it is being filed");
    }
  }
  template <class F>
  void eachFollower(int hostId, F f) const {
    for (std::size_t i = 0; i < to.elementObjects_.size(); ++i) {
      if (to.elementObjects_[i].machine && to.elementObjects_[i].host == hostId) {
        f(static_cast<int>(i));
      }
    }
  }
};

void WalkModel::apply(const Operation& operation) { std::visit(Apply{*this}, operation); }

// What there is to take away

std::vector<PortName> WalkModel::edges() const {
  std::vector<PortName> names;
  for (const auto& [name, ids] : edgesByNames_) names.insert(names.end(), ids.size(), name);
  return names;
}

std::vector<std::pair<std::string, std::string>> WalkModel::hostsOfHostnames() const {
  std::vector<std::pair<std::string, std::string>> all;
  for (const auto& [hostname, hosts] : hostnames_) {
    for (const auto& [host, id] : hosts) all.emplace_back(hostname, host);
  }
  return all;
}

namespace {

template <class Map>
auto keysOf(const Map& map) {
  std::vector<typename Map::key_type> keys;
  for (const auto& [key, value] : map) keys.push_back(key);
  return keys;
}

}  // namespace

std::vector<std::string> WalkModel::hostnames() const { return keysOf(hostnames_); }
std::vector<std::string> WalkModel::hostsInStatus() const { return keysOf(hostsInStatus_); }
std::vector<std::string> WalkModel::switches() const { return keysOf(switches_); }

std::vector<std::pair<std::string, std::string>> WalkModel::groups() const {
  std::vector<std::pair<std::string, std::string>> all;
  for (const auto& [name, named] : namedHosts_) {
    for (const auto& [group, id] : host(named.object).groups) all.emplace_back(name, group);
  }
  return all;
}

std::vector<std::string> WalkModel::members(const std::string& hostName,
                                            const std::string& group) const {
  const HostObject& one = host(namedHosts_.at(hostName).object);
  std::vector<std::string> names;
  for (const auto& [name, id] : topologyGroups_[index(one.groups.find(group)->second)].members) {
    if (one.ports.contains(name)) names.push_back(name);
  }
  return names;
}

std::vector<HostRequestName> WalkModel::runningHostRequests() const {
  std::vector<HostRequestName> names;
  for (const auto& [name, request] : hostRequests_) {
    if (request.running != none) names.push_back(name);
  }
  return names;
}

std::vector<PortRequestName> WalkModel::runningPortRequests() const {
  std::vector<PortRequestName> names;
  for (const auto& [name, request] : portRequests_) {
    if (request.running != none) names.push_back(name);
  }
  return names;
}

std::vector<std::string> WalkModel::remoteHosts(const PortRequestName& request) const {
  return keysOf(askedObjects_[index(portRequests_.at(request).asked)].remoteHosts);
}

std::vector<std::pair<std::string, std::string>> WalkModel::referrers() const {
  std::vector<std::pair<std::string, std::string>> all;
  for (const auto& [name, id] : elements_) {
    for (const std::string& referrer : element(id).referrers) all.emplace_back(name, referrer);
  }
  return all;
}

// As a dump

WalkModel::Json WalkModel::portJson(const Interface& one) const {
  Json natives = Json::object();
  for (const auto& [vlan, names] : one.native) natives[std::to_string(vlan)] = names;
  return {{"configuredElement", one.configuredElements},
          {"discovered", one.discovered},
          {"discoveredElement", one.discoveredElements},
          {"isSwitchInterface", one.isSwitch},
          {"nativeVlan", natives},
          {"portGroup", one.group == none ? Json() : Json(interface(one.group).name)},
          {"referrer", one.referrers}};
}

WalkModel::Json WalkModel::groupJson(const Interface& one) const {
  Json natives = Json::object();
  for (const auto& [vlan, names] : one.native) natives[std::to_string(vlan)] = names;
  return {{"isSwitchInterface", one.isSwitch},
          {"memberInterface", keysOf(one.members)},
          {"nativeVlan", natives}};
}

WalkModel::Json WalkModel::elementJson(const Element& one) const {
  Json ports = Json::object();
  for (const auto& [name, id] : one.ports) ports[name] = portJson(interface(id));
  Json groups = Json::object();
  for (const auto& [name, id] : one.groups) groups[name] = groupJson(interface(id));
  return {{"hostname", one.hostname},
          {"interface", keysOf(one.interfaces)},
          {"isSwitchElement", one.isSwitch},
          {"physicalInterface", ports},
          {"portGroup", groups},
          {"referrer", one.referrers},
          {"resourcesForHostname",
           one.resources == none ? Json() : Json(merged(one.resources).hostname)}};
}

WalkModel::Json WalkModel::expected() const {
  Json elements = Json::object();
  Json machines = Json::object();
  for (const auto& [name, id] : elements_) {
    const Element& one = element(id);
    elements[name] = elementJson(one);
    if (!one.machine) continue;
    machines[name] = {
        {"hostResourcesSm",
         one.hostResources == none ? Json() : Json(merged(one.hostResources).hostname)},
        {"physicalInterfaceSm", one.portMachines},
        {"portGroupSm", keysOf(one.groupMachines)},
        {"topologyHost", one.host != none}};
  }
  Json requests = Json::object();
  for (const auto& [hostname, id] : merged_) {
    Json vlans = Json::object();
    for (const auto& [vlan, names] : merged(id).vlans) vlans[std::to_string(vlan)] = names;
    requests[hostname] = {{"referrer", merged(id).referrers}, {"vlan", vlans}};
  }
  Json switches = Json::object();
  Json natives = Json::object();
  Json vteps = Json::object();
  for (const auto& [name, one] : switches_) {
    if (one.running) switches[name] = {{"switchElement", one.element != none}};
    vteps[name] = namesOfVteps(one);
    natives[name] = one.native;
    if (one.native.empty()) natives[name] = Json::object();
  }
  return {
      {"machine",
       {{"networkElementSm", machines}, {"switchNodeSm", switches}, {"topologySm", topologyRuns_}}},
      {"networkElement", elements},
      {"portNativeVlan", natives},
      {"resourcesForHostname", requests},
      {"vtepConfig", vteps}};
}

WalkModel::Json WalkModel::accountedFor(Json state) {
  Json& elements = state["networkElement"];
  for (auto& element : elements) {
    element.erase("vlan");
    for (auto& port : element["physicalInterface"]) {
      port.erase("networkElement");
      port.erase("vlan");
    }
    for (auto& group : element["portGroup"]) group.erase("vlan");
  }
  for (auto& request : state["resourcesForHostname"]) {
    for (auto& vlan : request["vlan"]) vlan = Json(vlan["referrer"]);
  }
  Json natives = Json::object();
  Json vteps = Json::object();
  for (auto& [name, outputs] : state["switch"].items()) {
    natives[name] = outputs["portNativeVlan"];
    vteps[name] = namesOf(outputs["vtepConfig"]);
  }
  Json& machines = state["machine"];
  return {{"machine",
           {{"networkElementSm", machines["networkElementSm"]},
            {"switchNodeSm", machines["switchNodeSm"]},
            {"topologySm", machines["topologySm"]}}},
          {"networkElement", elements},
          {"portNativeVlan", natives},
          {"resourcesForHostname", state["resourcesForHostname"]},
          {"vtepConfig", vteps}};
}

WalkModel::Json WalkModel::namesOf(const Json& object) {
  Json names = Json::array();
  for (const auto& [name, value] : object.items()) names.push_back(name);
  return names;
}

WalkModel::Json WalkModel::namesOfVteps(const Switch& one) {
  std::set<std::string> names;
  for (const auto& [vtep, mappings] : one.vteps) names.insert(vtep);
  return names;
}

// A machine that ends takes all that it followed out of the first configuration.
std::string WalkModel::mistakeInVteps(const std::string& switchName, const Json& vteps) const {
  const auto& known = switches_.at(switchName).vteps;
  if (known.empty()) return "";
  const auto& [first, left] = *known.begin();
  if (!vteps.contains(first)) return "";  // its absence shows elsewhere
  for (const auto& [port, mappings] : vteps[first].items()) {
    for (const auto& [vlan, vni] : mappings.items()) {
      const auto found = left.find({port, static_cast<U32>(std::stoul(vlan))});
      if (found == left.end()) {
        return "VLAN " + vlan + " of " + port + " stays in the first VTEP configuration of " +
               switchName;
      }
    }
  }
  return "";
}

// What is left

WalkModel::Json WalkModel::elementsLeft() const {
  Json elements = expected()["networkElement"];
  // As the machine of an element ends it takes the VLANs and the far elements off every interface.
  for (auto& element : elements) {
    element["vlan"] = Json::object();
    for (auto& port : element["physicalInterface"]) {
      port["networkElement"] = Json::array();
      port["vlan"] = Json::object();
    }
    for (auto& group : element["portGroup"]) group["vlan"] = Json::object();
  }
  return elements;
}

// The VLANs that clients held on a port when it went, where nobody was there to take its entry
// away.
WalkModel::Json WalkModel::allowedLeft(const std::string& switchName) const {
  Json lists = Json::object();
  const int id = elementNamed(switchName);
  if (id == none) return lists;
  for (const auto& [name, interfaceId] : element(id).interfaces) {
    const auto vlans = BrindleUtils::VlanIdSetIs();
    for (const auto& [vlan, clients] : interface(interfaceId).claimed) {
      vlans->doAdd(static_cast<U16>(vlan));
    }
    if (!vlans->empty()) lists[name] = std::string(vlans->multiRangeString().view());
  }
  return lists;
}

WalkModel::Json WalkModel::outputsLeft() const {
  Json outputs = Json::object();
  for (const auto& [name, one] : switches_) {
    outputs[name] = {{"portAllowedVlanList", allowedLeft(name)},
                     {"portNativeVlan", one.native.empty() ? Json::object() : Json(one.native)},
                     {"vlanList", one.strayVlans},
                     {"vtepConfig", namesOfVteps(one)}};
  }
  return outputs;
}

std::map<std::string, U32> WalkModel::rests() const {
  std::map<std::string, U32> rests;
  for (const auto& [name, id] : elements_) {
    const Element& one = element(id);
    for (const std::string& referrer : one.referrers) {
      ++rests[referrer == name ? "a host that leaves while no topology runs, or an edge set after "
                                 "it left, keeps its name on its element"
                               : "a client that ends with remote hosts leaves its name on their "
                                 "elements and on the switch"];
    }
    for (const auto& [portName, portId] : one.ports) {
      const Interface& port = interface(portId);
      ++rests[port.discovered ? "the far port of an edge goes only with an edge of its own"
              : !port.configuredElements.empty()
                  ? "a port with a remote host outlives its edge and its clients"
                  : "a member port has an interface of its own accord"];
      if (!port.native.empty()) ++rests["by no rule: a native VLAN on a port without clients"];
    }
    for (const auto& [groupName, groupId] : one.groups) {
      ++rests["a host that leaves keeps its port groups"];
      if (!interface(groupId).native.empty()) {
        ++rests["a member that goes with its native VLAN leaves it to the group"];
      }
    }
    for (const auto& [interfaceName, interfaceId] : one.interfaces) {
      const auto port = one.ports.find(interfaceName);
      const auto group = one.groups.find(interfaceName);
      const bool stands = (port != one.ports.end() && port->second == interfaceId) ||
                          (group != one.groups.end() && group->second == interfaceId);
      if (!stands) ++rests["an interface that goes while no topology runs keeps its entry"];
    }
    if (one.resources != none) {
      ++rests["a hostname that goes with hosts in it leaves its request on their elements"];
    }
    if (one.referrers.empty() && one.interfaces.empty()) {
      ++rests["an element is looked at only when a referrer or an interface changes"];
    }
  }
  for (const auto& [name, one] : switches_) {
    if (!one.vteps.empty()) ++rests["a VTEP configuration outlives the status that brought it"];
    if (!one.strayVlans.empty()) ++rests["only VLANs 1 to 4094 of an earlier run are looked at"];
    if (!one.native.empty()) ++rests["a native VLAN is taken off an output only by its own change"];
  }
  return rests;
}

}  // namespace Fabrion::Test
