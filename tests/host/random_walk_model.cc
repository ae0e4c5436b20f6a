#include "tests/host/random_walk_model.h"

#include <algorithm>

namespace Fabrion::Test {

namespace Op = Host::Op;
using Host::HostRequestName;
using Host::Operation;
using Host::PortName;
using Host::PortRequestName;
using Host::RequestName;

void WalkModel::refuse(const std::string& why) { throw Objection{Objection::Kind::refused, why}; }
void WalkModel::fault(const std::string& what) { throw Objection{Objection::Kind::fault, what}; }
void WalkModel::avoid(const std::string& why) { throw Objection{Objection::Kind::avoided, why}; }

std::optional<WalkModel::Objection> WalkModel::objection(const Operation& operation) const {
  try {
    WalkModel(*this).apply(operation);
  } catch (const Objection& why) {
    return why;
  }
  return {};
}

// Topology input

WalkModel::NamedHost& WalkModel::named(const std::string& host) {
  const auto found = namedHosts_.find(host);
  if (found == namedHosts_.end()) refuse("no such host");
  return found->second;
}

int WalkModel::edgePort(const PortName& name) {
  NamedHost& host = named(name.host);
  const auto& listed = this->host(host.object).ports;
  if (const auto found = listed.find(name.port); found != listed.end()) return found->second;
  const auto [at, fresh] =
      host.unlisted.emplace(name.port, static_cast<int>(topologyPorts_.size()));
  if (fresh) topologyPorts_.push_back({host.object, name.port});
  return at->second;
}

int WalkModel::newestEdge(const PortName& from) {
  const auto found = edgesByNames_.find(from);
  if (found == edgesByNames_.end()) refuse("no such edge");
  return found->second.back();
}

int WalkModel::farEnd(const Edge& edge, const PortName& to) const {
  for (const auto& [end, value] : edge.to) {
    if (port(end).name == to.port && host(port(end).host).name == to.host) return end;
  }
  return none;
}

int WalkModel::elementNamed(const std::string& name) const {
  const auto found = elements_.find(name);
  return found == elements_.end() ? none : found->second;
}

// The machine of the topology

void WalkModel::handleHost(const std::string& name) {
  const auto found = hostsInStatus_.find(name);
  if (found == hostsInStatus_.end()) {
    const int id = elementNamed(name);
    if (id == none) return;
    element(id).host = none;
    removeReferrer(id, name);
    return;
  }
  const int hostId = found->second;
  const int id = elementIs(name);
  addReferrer(id, name);
  element(id).hostname = host(hostId).hostname;
  topologyHostIs(id, hostId);
  const auto ports = host(hostId).ports;
  for (const auto& [portName, from] : ports) {
    const auto filed = edgesInStatus_.find(from);
    if (filed == edgesInStatus_.end()) continue;
    const auto ends = edge(filed->second).to;
    for (const auto& [to, value] : ends) {
      handleToPort(filed->second, to);
      const auto reverse = edgesInStatus_.find(to);
      if (reverse != edgesInStatus_.end()) handleToPort(reverse->second, from);
    }
  }
}

void WalkModel::handleToPort(int edgeId, int to) {
  const auto connected = edge(edgeId).to.find(to);
  if (connected == edge(edgeId).to.end() || !connected->second) return;
  const int from = edge(edgeId).from;
  const std::string localName = host(port(from).host).name;
  const std::string remoteName = host(port(to).host).name;
  const int local = elementIs(localName);
  addReferrer(local, localName);
  const int remote = elementNamed(remoteName);
  if (remote == none) return;
  const int localPort = portIs(local, port(from).name);
  const int remotePort = portIs(remote, port(to).name);
  interface(localPort).discoveredElements.insert(remoteName);
  interface(localPort).discovered = true;
  interface(remotePort).discoveredElements.insert(localName);
  interface(remotePort).discovered = true;
  const auto& listed = host(port(from).host).ports;
  const auto found = listed.find(port(from).name);
  if (found == listed.end()) return;
  const int topologyGroup = port(found->second).group;
  if (topologyGroup == none) {
    portGroupOf(localPort, none);
    return;
  }
  const int group = groupIs(local, this->group(topologyGroup).name);
  memberIs(group, localPort);
  portGroupOf(localPort, group);
}

void WalkModel::edgeLeft(int from) {
  const int id = elementNamed(host(port(from).host).name);
  if (id == none) return;
  const auto found = element(id).ports.find(port(from).name);
  if (found == element(id).ports.end()) return;
  Interface& one = interface(found->second);
  one.discoveredElements.clear();
  if (!one.configuredElements.empty()) {
    one.discovered = false;
    return;
  }
  portDel(id, port(from).name);
}

void WalkModel::handleHostsByHostname(const std::string& hostname) {
  const auto found = hostnames_.find(hostname);
  const auto resources = merged_.find(hostname);
  if (found == hostnames_.end() || resources == merged_.end()) return;
  const auto members = found->second;
  for (const auto& [name, hostId] : members) {
    const int id = elementNamed(name);
    if (id == none) fault("the element of the host");
    element(id).hostname = hostname;
    resourcesAre(id, resources->second);
  }
}

void WalkModel::hostJoined(const std::string& hostname, const std::string& name) {
  const int id = elementNamed(name);
  if (id == none) fault("the element of the host");
  element(id).hostname = hostname;
  const auto resources = merged_.find(hostname);
  if (resources != merged_.end()) resourcesAre(id, resources->second);
}

void WalkModel::hostParted(const std::string& name) {
  const int id = elementNamed(name);
  if (id == none) return;
  element(id).hostname.clear();
  resourcesAre(id, none);
}

void WalkModel::handleResources(const std::string& hostname) {
  const auto resources = merged_.find(hostname);
  const auto group = hostnames_.find(hostname);
  if (group == hostnames_.end()) return;
  for (const auto& [name, hostId] : group->second) {
    const int id = elementNamed(name);
    if (id != none) resourcesAre(id, resources == merged_.end() ? none : resources->second);
  }
}

void WalkModel::startTopology() {
  topologyRuns_ = true;
  topologyStarted_ = ++registrations_;
  const auto elements = elements_;
  for (const auto& [name, id] : elements) startMachine(id);
  const auto all = merged_;
  for (const auto& [hostname, id] : all) handleResources(hostname);
  const auto entered = hostsInStatus_;
  for (const auto& [name, id] : entered) handleHost(name);
  const auto groups = hostnames_;
  for (const auto& [hostname, hosts] : groups) handleHostsByHostname(hostname);
}

void WalkModel::stopTopology() {
  const auto edges = edgesInStatus_;
  for (const auto& [from, id] : edges) edgeLeft(from);
  const auto elements = elements_;
  for (const auto& [name, id] : elements) endMachine(id);
  topologyRuns_ = false;
}

// The machines of elements

int WalkModel::elementIs(const std::string& name) {
  if (const int present = elementNamed(name); present != none) return present;
  const int id = static_cast<int>(elementObjects_.size());
  elementObjects_.push_back({name});
  elements_[name] = id;
  const auto found = switches_.find(name);
  if (found != switches_.end() && found->second.started < topologyStarted_) announce(name);
  if (topologyRuns_) startMachine(id);
  announce(name);
  return id;
}

void WalkModel::startMachine(int id) {
  element(id).machine = true;
  element(id).registered = ++registrations_;
  if (element(id).isSwitch) {
    becomesSwitch(id);
  } else {
    for (const auto& [name, one] : element(id).interfaces) interface(one).claimed.clear();
  }
  const auto found = hostsInStatus_.find(element(id).name);
  if (found != hostsInStatus_.end()) topologyHostIs(id, found->second);
}

void WalkModel::endMachine(int id) {
  element(id).host = none;
  const auto ports = element(id).ports;
  for (const auto& [name, portId] : ports) {
    interface(portId).claimed.clear();
    if (const int group = interface(portId).group; group != none) {
      memberDel(group, name);
      portGroupOf(portId, none);
    }
  }
  element(id).followedGroups.clear();
  element(id).portMachines.clear();
  const auto groups = element(id).groupMachines;
  element(id).groupMachines.clear();
  for (const auto& [name, groupId] : groups) {
    const auto members = interface(groupId).members;
    for (const auto& [member, portId] : members) memberParts(groupId, portId);
    interface(groupId).machine = false;
  }
  element(id).hostResources = none;
  element(id).machine = false;
}

void WalkModel::removeElement(int id) {
  elements_.erase(element(id).name);
  element(id).gone = true;
  if (element(id).machine) endMachine(id);
}

void WalkModel::deleteIfNotNecessary(int id) {
  const Element& one = element(id);
  if (!topologyRuns_ || one.gone || !one.referrers.empty() || !one.interfaces.empty()) return;
  removeElement(id);
}

void WalkModel::addReferrer(int id, const std::string& name) { element(id).referrers.insert(name); }

void WalkModel::removeReferrer(int id, const std::string& name) {
  if (element(id).referrers.erase(name) != 0) deleteIfNotNecessary(id);
}

void WalkModel::resourcesAre(int id, int mergedId) {
  Element& one = element(id);
  if (one.resources == mergedId) return;
  one.resources = mergedId;
  if (!one.machine) return;
  if (mergedId == none && one.hostResources == none) fault("the machine of the request");
  one.hostResources = mergedId;
}

void WalkModel::becomesSwitch(int id) {
  const auto ports = element(id).ports;
  for (const auto& [name, portId] : ports) handlePort(id, name);
  const auto groups = element(id).groups;
  for (const auto& [name, groupId] : groups) groupMachineIs(id, name);
  for (const auto& [name, one] : element(id).interfaces) interface(one).isSwitch = true;
}

int WalkModel::portIs(int id, const std::string& name) {
  const auto found = element(id).ports.find(name);
  if (found != element(id).ports.end()) return found->second;
  const int portId = static_cast<int>(interfaces_.size());
  interfaces_.push_back({name});
  element(id).ports[name] = portId;
  const auto follow = [&](bool before) {
    for (auto& [switchName, one] : switches_) {
      if (!one.running || one.element != id) continue;
      if ((one.registered < element(id).registered || !element(id).machine) == before) {
        one.followedPorts[name] = portId;
      }
    }
  };
  follow(true);
  if (element(id).machine) handlePort(id, name);
  follow(false);
  return portId;
}

void WalkModel::portDel(int id, const std::string& name) {
  const int portId = element(id).ports.at(name);
  element(id).ports.erase(name);
  const auto follow = [&](bool before) {
    for (auto& [switchName, one] : switches_) {
      if (!one.running || one.element != id) continue;
      if ((one.registered < element(id).registered || !element(id).machine) == before) {
        one.followedPorts.erase(name);
      }
    }
  };
  follow(true);
  if (element(id).machine) {
    interface(portId).claimed.clear();
    if (const int group = interface(portId).group; group != none) {
      memberDel(group, name);
      portGroupOf(portId, none);
    }
    element(id).portMachines.erase(name);
    interfaceDel(id, name);
  }
  follow(false);
}

// A port of the element is there: what its machine does about it.
void WalkModel::handlePort(int id, const std::string& name) {
  interfaceIs(id, name, element(id).ports.at(name));
  if (const int hostId = element(id).host; hostId != none) {
    const auto listed = host(hostId).ports.find(name);
    if (listed != host(hostId).ports.end() && port(listed->second).group != none) {
      const auto& followed = element(id).followedGroups;
      const auto reactor = followed.find(group(port(listed->second).group).name);
      if (reactor != followed.end()) handleMemberPort(id, reactor->second, name);
    }
  }
  if (element(id).isSwitch) element(id).portMachines.insert(name);
}

int WalkModel::groupIs(int id, const std::string& name) {
  const auto found = element(id).groups.find(name);
  if (found != element(id).groups.end()) return found->second;
  const int groupId = static_cast<int>(interfaces_.size());
  interfaces_.push_back({name, true});
  element(id).groups[name] = groupId;
  if (element(id).machine) groupMachineIs(id, name);
  return groupId;
}

// A port group of the element is there: what its machine does about it.
void WalkModel::groupMachineIs(int id, const std::string& name) {
  const int groupId = element(id).groups.at(name);
  interfaceIs(id, name, groupId);
  if (!element(id).groupMachines.emplace(name, groupId).second) return;
  interface(groupId).machine = true;
  const auto members = interface(groupId).members;
  for (const auto& [member, portId] : members) {
    const auto natives = interface(portId).native;
    for (const auto& [vlan, names] : natives) memberNative(groupId, portId, vlan);
  }
}

void WalkModel::groupDel(int id, const std::string& name) {
  const int groupId = element(id).groups.at(name);
  element(id).groups.erase(name);
  if (!element(id).machine) return;
  if (!element(id).groupMachines.contains(name)) fault("the port group's machine");
  const auto members = interface(groupId).members;
  for (const auto& [member, portId] : members) memberDel(groupId, member);
  const auto natives = interface(groupId).native;
  for (const auto& [vlan, names] : natives) {
    interface(groupId).native.erase(vlan);
    nativeChanged(groupId, vlan);
  }
  interfaceDel(id, name);
  interface(groupId).machine = false;
  element(id).groupMachines.erase(name);
}

void WalkModel::interfaceIs(int id, const std::string& name, int interfaceId) {
  const auto found = element(id).interfaces.find(name);
  if (found != element(id).interfaces.end() && found->second == interfaceId) return;
  element(id).interfaces[name] = interfaceId;
  if (element(id).machine) interface(interfaceId).isSwitch = element(id).isSwitch;
  for (auto& [switchName, one] : switches_) {
    if (one.running && one.element == id) handleInterface(one, name);
  }
}

void WalkModel::interfaceDel(int id, const std::string& name) {
  if (element(id).interfaces.erase(name) == 0) return;
  for (auto& [switchName, one] : switches_) {
    if (one.running && one.element == id) handleInterface(one, name);
  }
  deleteIfNotNecessary(id);
}

void WalkModel::portGroupOf(int portId, int groupId) {
  if (interface(portId).group == groupId) return;
  interface(portId).group = groupId;
  for (auto& [switchName, one] : switches_) {
    const auto found = one.followedPorts.find(interface(portId).name);
    if (one.running && found != one.followedPorts.end() && found->second == portId) {
      handlePortGroup(one, interface(portId).name);
    }
  }
}

// Port groups and native VLANs

void WalkModel::memberIs(int groupId, int portId) {
  int& entry = interface(groupId).members.emplace(interface(portId).name, none).first->second;
  if (entry == portId) return;
  entry = portId;
  if (!interface(groupId).machine) return;
  const auto natives = interface(portId).native;
  for (const auto& [vlan, names] : natives) memberNative(groupId, portId, vlan);
}

void WalkModel::memberDel(int groupId, const std::string& name) {
  const auto found = interface(groupId).members.find(name);
  if (found == interface(groupId).members.end()) return;
  const int portId = found->second;
  interface(groupId).members.erase(found);
  if (interface(groupId).machine) memberParts(groupId, portId);
}

// What the group keeps depends on whether the member's own entry has a referrer.
void WalkModel::memberParts(int groupId, int portId) {
  const auto natives = interface(portId).native;
  for (const auto& [vlan, names] : natives) {
    auto& kept = interface(groupId).native;
    const auto found = kept.find(vlan);
    if (found == kept.end()) continue;
    found->second.erase(interface(portId).name);
    if (!names.empty()) continue;
    kept.erase(found);
    nativeChanged(groupId, vlan);
  }
}

void WalkModel::memberNative(int groupId, int portId, U32 vlan) {
  auto& natives = interface(groupId).native;
  const auto found = natives.find(vlan);
  if (found == natives.end()) {
    natives[vlan];
    nativeChanged(groupId, vlan);
    interface(groupId).native[vlan].insert(interface(portId).name);
    return;
  }
  if (interface(portId).native.contains(vlan)) return;
  found->second.erase(interface(portId).name);
  if (!found->second.empty()) return;
  natives.erase(found);
  nativeChanged(groupId, vlan);
}

void WalkModel::nativeChanged(int interfaceId, U32 vlan) {
  const std::string name = interface(interfaceId).name;
  if (!interface(interfaceId).isGroup) {
    for (std::size_t i = 0; i < interfaces_.size(); ++i) {
      if (!interfaces_[i].machine) continue;
      const auto found = interfaces_[i].members.find(name);
      if (found != interfaces_[i].members.end() && found->second == interfaceId) {
        memberNative(static_cast<int>(i), interfaceId, vlan);
      }
    }
  }
  for (auto& [switchName, one] : switches_) {
    if (!one.running || one.element == none) continue;
    const auto& followed = element(one.element).interfaces;
    const auto found = followed.find(name);
    if (found != followed.end() && found->second == interfaceId) handleNative(one, name);
  }
}

// The topology's port groups on the element

void WalkModel::topologyHostIs(int id, int hostId) {
  if (element(id).host == hostId) return;
  element(id).host = hostId;
  const auto groups = host(hostId).groups;
  for (const auto& [name, groupId] : groups) topologyGroupIs(id, groupId);
  std::erase_if(element(id).followedGroups,
                [&](const auto& followed) { return !groups.contains(followed.first); });
  for (const auto& [name, groupId] : groups) groupIs(id, name);
}

void WalkModel::topologyGroupIs(int id, int groupId) {
  const std::string name = group(groupId).name;
  if (const auto found = element(id).followedGroups.find(name);
      found != element(id).followedGroups.end()) {
    found->second = groupId;  // one that only changes whom it follows replays nothing
    return;
  }
  const auto members = group(groupId).members;
  for (const auto& [member, portId] : members) handleMemberPort(id, groupId, member);
  element(id).followedGroups[name] = groupId;
}

void WalkModel::handleMemberPort(int id, int groupId, const std::string& name) {
  const int onElement = groupIs(id, group(groupId).name);
  if (group(groupId).members.contains(name)) {
    const int portId = portIs(id, name);
    memberIs(onElement, portId);
    portGroupOf(portId, onElement);
    return;
  }
  memberDel(onElement, name);
  const auto found = element(id).ports.find(name);
  if (found != element(id).ports.end()) portGroupOf(found->second, none);
}

void WalkModel::topologyMembersChanged(int groupId, const std::string& name) {
  for (std::size_t i = 0; i < elementObjects_.size(); ++i) {
    if (!elementObjects_[i].machine) continue;
    const auto& followed = elementObjects_[i].followedGroups;
    const auto found = followed.find(group(groupId).name);
    if (found != followed.end() && found->second == groupId) {
      handleMemberPort(static_cast<int>(i), groupId, name);
    }
  }
}

// The machines of switches

void WalkModel::announce(const std::string& name) {
  const int id = elementNamed(name);
  const auto found = switches_.find(name);
  if (id != none && found != switches_.end() && found->second.running) {
    takeElement(found->second, id);
  }
}

void WalkModel::takeElement(Switch& one, int id) {
  if (one.element == id) return;
  const auto before = one.followedPorts;
  one.element = id;
  one.registered = ++registrations_;
  one.followedPorts = element(id).ports;
  for (const auto& [name, portId] : before) {
    const auto now = one.followedPorts.find(name);
    if (now != one.followedPorts.end() && now->second != portId) handlePortGroup(one, name);
  }
  pass(one);
}

void WalkModel::pass(Switch& one) {
  if (one.element == none) return;
  const int id = one.element;
  if (!element(id).isSwitch) {
    element(id).isSwitch = true;
    if (element(id).machine) becomesSwitch(id);
  }
  std::erase_if(one.native,
                [&](const auto& output) { return !element(id).interfaces.contains(output.first); });
  const auto interfaces = element(id).interfaces;
  for (const auto& [name, interfaceId] : interfaces) handleInterface(one, name);
  for (const auto& [vtep, there] : one.statuses) one.vteps.at(vtep, {});
}

void WalkModel::handleInterface(Switch& one, const std::string& name) {
  if (one.element == none) fault("the switch element");
  const Element& of = element(one.element);
  if (isMember(of, name)) return;
  const auto found = of.interfaces.find(name);
  if (found == of.interfaces.end()) {
    one.native.erase(name);
    return;
  }
  // One that the output holds and the interface lacks is not looked at.
  if (!interface(found->second).native.empty()) handleNative(one, name);
}

void WalkModel::handleNative(Switch& one, const std::string& name) {
  const Element& of = element(one.element);
  if (isMember(of, name)) return;
  const auto& natives = interface(of.interfaces.at(name)).native;
  if (natives.size() == 1) {
    one.native[name] = natives.begin()->first;
  } else {
    one.native.erase(name);
  }
}

void WalkModel::handlePortGroup(Switch& one, const std::string& name) {
  if (interface(one.followedPorts.at(name)).group == none) {
    handleInterface(one, name);
  } else {
    one.native.erase(name);
  }
}

bool WalkModel::isMember(const Element& of, const std::string& name) const {
  const auto found = of.ports.find(name);
  return found != of.ports.end() && interface(found->second).group != none;
}

// The machines of clients

int WalkModel::mergedIs(const std::string& hostname) {
  const auto found = merged_.find(hostname);
  if (found != merged_.end()) return found->second;
  const int id = static_cast<int>(mergedObjects_.size());
  mergedObjects_.push_back({hostname});
  merged_.at(hostname, id);
  if (topologyRuns_) handleResources(hostname);
  return id;
}

void WalkModel::askHostVlan(const HostRequestName& request, const Asked& what, U32 vlan) {
  Merged& to = merged(mergedIs(request.hostname));
  if (what.vlans.contains(vlan)) {
    to.vlans[vlan].insert(request.client);
    return;
  }
  const auto found = to.vlans.find(vlan);
  if (found == to.vlans.end()) return;
  found->second.erase(request.client);
  if (found->second.empty()) to.vlans.erase(found);
}

void WalkModel::startHostRequest(const HostRequestName& request, const Asked& what) {
  const int id = mergedIs(request.hostname);
  merged(id).referrers.insert(request.client);
  for (const auto& [vlan, asked] : what.vlans) askHostVlan(request, what, vlan);
}

void WalkModel::stopHostRequest(const HostRequestName& request, const Asked& what) {
  const auto found = merged_.find(request.hostname);
  if (found == merged_.end()) return;
  Merged& from = merged(found->second);
  for (const auto& [vlan, asked] : what.vlans) {
    const auto entry = from.vlans.find(vlan);
    if (entry == from.vlans.end()) continue;
    entry->second.erase(request.client);
    if (entry->second.empty()) from.vlans.erase(entry);
  }
  from.referrers.erase(request.client);
  if (!from.referrers.empty()) return;
  merged_.erase(request.hostname);
  if (topologyRuns_) handleResources(request.hostname);
}

int WalkModel::requestedPort(const PortRequestName& request) const {
  const int id = elementNamed(request.switchName);
  if (id == none) return none;
  const auto found = element(id).ports.find(request.interface);
  return found == element(id).ports.end() ? none : found->second;
}

void WalkModel::askPortVlan(const PortRequestName& request, const Asked& what, U32 vlan) {
  Interface& on = interface(portIs(elementIs(request.switchName), request.interface));
  on.referrers.insert(request.client);
  if (what.vlans.contains(vlan)) {
    on.claimed[vlan].insert(request.client);
    return;
  }
  const auto found = on.claimed.find(vlan);
  if (found == on.claimed.end()) return;
  found->second.erase(request.client);
  if (found->second.empty()) on.claimed.erase(found);
}

void WalkModel::askNative(const PortRequestName& request, const Asked& what) {
  if (elementNamed(request.switchName) == none) fault("the element of the switch");
  const int id = requestedPort(request);
  if (id == none) fault("the port of the switch");
  const auto present = interface(id).native;
  for (const auto& [vlan, names] : present) {
    Names& now = interface(id).native.at(vlan);
    now.erase(request.client);
    if (!now.empty()) continue;
    interface(id).native.erase(vlan);
    nativeChanged(id, vlan);
  }
  const U32 wanted = what.native.value_or(0);
  if (wanted == 0) return;
  if (interface(id).native.emplace(wanted, Names()).second) nativeChanged(id, wanted);
  interface(id).native.at(wanted).insert(request.client);
}

void WalkModel::askRemote(const PortRequestName& request, const Asked& what,
                          const std::string& name) {
  const auto asked = what.remoteHosts.find(name);
  if (asked != what.remoteHosts.end() && asked->second) {
    const int id = elementIs(request.switchName);
    addReferrer(id, request.client);
    const int portId = portIs(id, request.interface);
    interface(portId).referrers.insert(request.client);
    const int far = elementIs(name);
    element(far).hostname = name;
    addReferrer(far, request.client);
    interface(portId).configuredElements.insert(name);
    return;
  }
  const int portId = requestedPort(request);
  if (portId == none) return;
  const int far = elementNamed(name);
  if (far == none) fault("the element of the remote host");
  removeReferrer(far, request.client);
  if (element(far).referrers.empty() && elementNamed(name) != none) {
    removeElement(elementNamed(name));
  }
  interface(portId).configuredElements.erase(name);
}

void WalkModel::startPortRequest(const PortRequestName& request, const Asked& what) {
  Interface& on = interface(portIs(elementIs(request.switchName), request.interface));
  on.referrers.insert(request.client);
  for (const auto& [vlan, asked] : what.vlans) askPortVlan(request, what, vlan);
  askNative(request, what);
  for (const auto& [name, value] : what.remoteHosts) askRemote(request, what, name);
}

void WalkModel::stopPortRequest(const PortRequestName& request) {
  const int id = elementNamed(request.switchName);
  if (id == none) return;
  if (const int portId = requestedPort(request); portId != none) {
    interface(portId).referrers.erase(request.client);
    if (interface(portId).referrers.empty() && !interface(portId).discovered) {
      portDel(id, request.interface);
    } else {
      auto& claimed = interface(portId).claimed;
      for (auto claim = claimed.begin(); claim != claimed.end();) {
        claim->second.erase(request.client);
        claim = claim->second.empty() ? claimed.erase(claim) : std::next(claim);
      }
      const auto natives = interface(portId).native;
      for (const auto& [vlan, names] : natives) {
        Names& now = interface(portId).native.at(vlan);
        now.erase(request.client);
        if (!now.empty()) continue;
        interface(portId).native.erase(vlan);
        nativeChanged(portId, vlan);
      }
    }
  }
  for (const auto& [name, portId] : element(id).ports) {
    if (interface(portId).referrers.contains(request.client)) return;
  }
  removeReferrer(id, request.client);
  const int now = elementNamed(request.switchName);
  if (element(id).referrers.empty() && now != none) removeElement(now);
}

void WalkModel::domainChanged(const RequestName& request, U32 vlan) {
  const auto* const onPort = std::get_if<PortRequestName>(&request);
  if (onPort == nullptr) return;
  const int portId = requestedPort(*onPort);
  if (portId == none) fault("a port whose request has a domain");
  if (!interface(portId).claimed.contains(vlan)) fault("a VLAN whose request has a domain");
}

WalkModel::Request& WalkModel::requestNamed(const RequestName& request) {
  if (const auto* const onHost = std::get_if<HostRequestName>(&request)) {
    const auto found = hostRequests_.find(*onHost);
    if (found == hostRequests_.end()) refuse("no such request");
    return found->second;
  }
  const auto found = portRequests_.find(std::get<PortRequestName>(request));
  if (found == portRequests_.end()) refuse("no such request");
  return found->second;
}

WalkModel::Asked* WalkModel::followed(const RequestName& request) {
  const Request& one = requestNamed(request);
  return one.running == one.asked && one.running != none ? &asked(one.asked) : nullptr;
}

}  // namespace Fabrion::Test
