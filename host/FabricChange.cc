#include "host/FabricChange.h"

#include <algorithm>

namespace Fabrion::Host {

namespace {

const Node* find(const std::vector<Node>& nodes, const std::string& name) {
  const auto found =
      std::find_if(nodes.begin(), nodes.end(), [&](const Node& node) { return node.name == name; });
  return found == nodes.end() ? nullptr : &*found;
}

const PortGroup* findGroup(const Node& node, const std::string& name) {
  const auto found = std::find_if(node.groups.begin(), node.groups.end(),
                                  [&](const PortGroup& group) { return group.name == name; });
  return found == node.groups.end() ? nullptr : &*found;
}

const PortRequest* find(const std::vector<PortRequest>& requests, const PortRequest& like) {
  const auto found =
      std::find_if(requests.begin(), requests.end(), [&](const PortRequest& request) {
        return request.client == like.client && request.switchName == like.switchName &&
               request.port == like.port;
      });
  return found == requests.end() ? nullptr : &*found;
}

const HostnameRequest* find(const std::vector<HostnameRequest>& requests,
                            const HostnameRequest& like) {
  const auto found =
      std::find_if(requests.begin(), requests.end(), [&](const HostnameRequest& request) {
        return request.client == like.client && request.hostname == like.hostname;
      });
  return found == requests.end() ? nullptr : &*found;
}

template <class T>
bool holds(const std::vector<T>& list, const T& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

PortRequestName nameOf(const PortRequest& request) {
  return {request.client, request.switchName, request.port};
}
HostRequestName nameOf(const HostnameRequest& request) {
  return {request.client, request.hostname};
}
PortName nameOf(const LinkEnd& end) { return {end.node, end.port}; }

std::string pathOf(const PortRequest& request) {
  const auto escaped = [](const std::string& name) {
    std::string text;
    for (const char c : name) {
      if (c == '~') {
        text += "~0";
      } else if (c == '/') {
        text += "~1";
      } else {
        text += c;
      }
    }
    return text;
  };
  return "clientResourcesForSwitchportSm/" + escaped(request.client) + "/" +
         escaped(request.switchName) + "/" + escaped(request.port);
}

// Switches and hosts alike are hosts of the topology.
void eachNode(const Fabric& fabric, const std::function<void(const Node&)>& f) {
  for (const Node& node : fabric.switches) f(node);
  for (const Node& node : fabric.hosts) f(node);
}

const Node* findNode(const Fabric& fabric, const std::string& name) {
  const Node* node = find(fabric.switches, name);
  return node != nullptr ? node : find(fabric.hosts, name);
}

bool isMember(const Fabric& fabric, const LinkEnd& port) {
  const Node* const node = findNode(fabric, port.node);
  return node != nullptr &&
         std::any_of(node->groups.begin(), node->groups.end(),
                     [&](const PortGroup& group) { return holds(group.members, port.port); });
}

// A hostname that changes needs a new host object, whose ports are new too.
bool replaced(const Fabric& from, const Fabric& to, const std::string& name) {
  const Node* before = findNode(from, name);
  const Node* after = findNode(to, name);
  return before != nullptr && (after == nullptr || after->hostname != before->hostname);
}

// The far ends of each port, in the order written.
std::map<LinkEnd, std::vector<LinkEnd>> farEndsOf(const Fabric& fabric) {
  std::map<LinkEnd, std::vector<LinkEnd>> ends;
  for (const Link& link : fabric.links) {
    if (!holds(ends[link.a], link.b)) ends[link.a].push_back(link.b);
    if (!holds(ends[link.b], link.a)) ends[link.b].push_back(link.a);
  }
  return ends;
}

}  // namespace

std::vector<Operation> FabricChange::to(const Fabric& next) {
  operations_.clear();
  shaken_.clear();
  if (!started_) add(Op::TopologyStart{});
  started_ = true;
  withdrawRequests(next);
  loseLinks(next);
  loseNodes(next);
  gainNodes(next);
  gainLinks(next);
  placeRequests(next);
  startSwitches(next);
  current_ = next;
  return std::move(operations_);
}

void FabricChange::withdrawRequests(const Fabric& next) {
  for (const PortRequest& request : current_.portRequests) {
    const PortRequest* after = find(next.portRequests, request);
    for (const std::string& hostname : request.remoteHosts) {
      if (after == nullptr || !holds(after->remoteHosts, hostname)) {
        withdrawRemoteHost(request, hostname, next);
      }
    }
    if (after == nullptr) {
      if (request.nativeVlan) add(Op::Native{nameOf(request), {}});
      add(Op::RequestStop{nameOf(request)});
      shaken_.insert({request.switchName, request.port});
      continue;
    }
    for (const U32 vlan : request.vlans) {
      if (!holds(after->vlans, vlan)) add(Op::VlanDel{nameOf(request), vlan});
    }
  }
  for (const HostnameRequest& request : current_.hostnameRequests) {
    const HostnameRequest* after = find(next.hostnameRequests, request);
    if (after == nullptr) {
      add(Op::RequestStop{nameOf(request)});
      continue;
    }
    for (const U32 vlan : request.vlans) {
      if (!holds(after->vlans, vlan)) add(Op::VlanDel{nameOf(request), vlan});
    }
  }
}

void FabricChange::withdrawRemoteHost(const PortRequest& request, const std::string& hostname,
                                      const Fabric& next) {
  add(Op::RemoteDel{nameOf(request), hostname});
  for (const PortRequest& other : current_.portRequests) {
    const bool sharesPort = other.switchName == request.switchName && other.port == request.port;
    const bool sharesClient = other.client == request.client;
    if (sharesPort == sharesClient || !holds(other.remoteHosts, hostname)) continue;
    const PortRequest* after = find(next.portRequests, other);
    const bool stays = after != nullptr && holds(after->remoteHosts, hostname);
    // Requests are withdrawn in their order, so one that follows still claims it.
    if (stays || (sharesClient && &other > &request)) {
      add(Op::Invoke{pathOf(other), "handleRemoteHost", hostname});
    }
  }
}

void FabricChange::loseLinks(const Fabric& next) {
  const FarEnds before = farEndsOf(current_);
  const FarEnds after = farEndsOf(next);
  for (const auto& [port, far] : before) {
    const auto still = after.find(port);
    const bool stands = still != after.end() && !replaced(current_, next, port.node) &&
                        std::all_of(far.begin(), far.end(), [&](const LinkEnd& end) {
                          return holds(still->second, end) && !replaced(current_, next, end.node);
                        });
    if (stands) continue;
    withoutNatives(port, next, [&, &at = port] { loseEdge(at, next); });
  }
}

void FabricChange::loseEdge(const LinkEnd& port, const Fabric& next) {
  add(Op::EdgeDel{nameOf(port)});
  edges_.erase(port);
  shaken_.insert(port);
  // With no remote host configured there the interface is gone now, and with it what clients had on
  // it.
  const bool configured = std::any_of(
      current_.portRequests.begin(), current_.portRequests.end(), [&](const PortRequest& r) {
        const PortRequest* kept = find(next.portRequests, r);
        return r.switchName == port.node && r.port == port.port && kept != nullptr &&
               std::any_of(
                   r.remoteHosts.begin(), r.remoteHosts.end(),
                   [&](const std::string& hostname) { return holds(kept->remoteHosts, hostname); });
      });
  if (configured) return;
  for (const PortRequest& request : current_.portRequests) {
    if (request.switchName != port.node || request.port != port.port) continue;
    if (find(next.portRequests, request) == nullptr) continue;
    add(Op::Invoke{pathOf(request), "handleInitialized", {}});
  }
}

void FabricChange::withoutNatives(const LinkEnd& port, const Fabric& next,
                                  const std::function<void()>& f) {
  std::vector<const PortRequest*> natives;
  if (isMember(current_, port)) {
    for (const PortRequest& request : current_.portRequests) {
      const bool here = request.switchName == port.node && request.port == port.port;
      if (!here || !request.nativeVlan || find(next.portRequests, request) == nullptr) continue;
      natives.push_back(&request);
      add(Op::Native{nameOf(request), {}});
    }
  }
  f();
  for (const PortRequest* request : natives) add(Op::Native{nameOf(*request), request->nativeVlan});
}

void FabricChange::loseGroup(const Node& node, const PortGroup& group) {
  for (const std::string& port : group.members) add(Op::MemberDel{node.name, group.name, port});
  add(Op::GroupDel{node.name, group.name});
}

void FabricChange::leaveHostname(const Node& node, std::set<std::string>& emptied,
                                 const Fabric& next) {
  add(Op::HostnameHostDel{node.hostname, node.name});
  bool wanted = false;
  const auto look = [&](const Node& other) {
    const bool stays = other.name != node.name && other.hostname == node.hostname &&
                       !replaced(current_, next, other.name);
    wanted = wanted || stays;
  };
  eachNode(current_, look);
  if (!wanted) emptied.insert(node.hostname);
}

void FabricChange::loseNodes(const Fabric& next) {
  std::set<std::string> emptied;
  eachNode(current_, [&](const Node& node) {
    if (!replaced(current_, next, node.name)) return;
    leaveHostname(node, emptied, next);
  });
  for (const std::string& hostname : emptied) add(Op::HostnameDel{hostname});
  eachNode(current_, [&](const Node& node) {
    const Node* after = findNode(next, node.name);
    const bool goes = replaced(current_, next, node.name);
    for (const PortGroup& group : node.groups) {
      const PortGroup* kept = goes ? nullptr : findGroup(*after, group.name);
      if (kept == nullptr) {
        loseGroup(node, group);
        continue;
      }
      for (const std::string& port : group.members) {
        if (holds(kept->members, port)) continue;
        withoutNatives({node.name, port}, next, [&] {
          add(Op::MemberDel{node.name, group.name, port});
        });
      }
    }
    if (goes) {
      add(Op::HostLeave{node.name});
      return;
    }
    for (const std::string& port : node.ports) {
      if (!holds(after->ports, port)) add(Op::PortDel{node.name, port});
    }
  });
  for (const Node& node : current_.switches) {
    if (find(next.switches, node.name) != nullptr) continue;
    add(Op::SwitchStop{node.name});
    add(Op::ElementRelease{node.name, agentReferrer});
  }
}

void FabricChange::gainNodes(const Fabric& next) {
  for (const Node& node : next.switches) {
    if (find(current_.switches, node.name) != nullptr) continue;
    if (switchesMade_.insert(node.name).second) add(Op::SwitchNew{node.name});
    add(Op::ElementHold{node.name, agentReferrer});
  }
  std::map<std::string, std::vector<std::string>> joining;  // hosts that enter a hostname's group
  std::set<std::string> standing;                           // hostnames whose group stands
  eachNode(current_, [&](const Node& node) {
    if (!replaced(current_, next, node.name)) standing.insert(node.hostname);
  });
  eachNode(next, [&](const Node& node) {
    const Node* before =
        replaced(current_, next, node.name) ? nullptr : findNode(current_, node.name);
    if (before == nullptr) {
      Op::HostNew host{node.name, node.hostname, node.ports, {}};
      for (const PortGroup& group : node.groups) host.groups.push_back({group.name, group.members});
      add(std::move(host));
      add(Op::HostEnter{node.name});
      joining[node.hostname].push_back(node.name);
      return;
    }
    for (const std::string& port : node.ports) {
      if (!holds(before->ports, port)) add(Op::PortAdd{node.name, port});
    }
    for (const PortGroup& group : node.groups) {
      const PortGroup* old = findGroup(*before, group.name);
      if (old == nullptr) {
        add(Op::GroupAdd{node.name, group.name, group.members});
        continue;
      }
      for (const std::string& port : group.members) {
        if (!holds(old->members, port)) {
          add(Op::MemberAdd{node.name, group.name, port});
        } else if (isForsaken({node.name, port}, next)) {
          add(Op::MemberDel{node.name, group.name, port});
          add(Op::MemberAdd{node.name, group.name, port});
        }
      }
    }
  });
  for (const auto& [hostname, hosts] : joining) {
    if (!standing.contains(hostname)) {
      add(Op::HostnameAdd{hostname, hosts});
      continue;
    }
    for (const std::string& host : hosts) add(Op::HostnameHostAdd{hostname, host});
  }
}

bool FabricChange::isForsaken(const LinkEnd& port, const Fabric& next) const {
  if (!shaken_.contains(port)) return false;
  const bool linked = std::any_of(next.links.begin(), next.links.end(), [&](const Link& link) {
    return link.a == port || link.b == port;
  });
  return !linked && std::none_of(next.portRequests.begin(), next.portRequests.end(),
                                 [&](const PortRequest& request) {
                                   return request.switchName == port.node &&
                                          request.port == port.port;
                                 });
}

void FabricChange::gainLinks(const Fabric& next) {
  const FarEnds before = farEndsOf(current_);
  for (const auto& [port, far] : farEndsOf(next)) {
    const bool stands = !edges_.insert(port).second;
    if (!stands) add(Op::EdgeAdd{nameOf(port)});
    const auto known = before.find(port);
    for (const LinkEnd& end : far) {
      if (stands && known != before.end() && holds(known->second, end)) continue;
      add(Op::EdgeTo{nameOf(port), nameOf(end), true});
    }
  }
}

void FabricChange::placeRequests(const Fabric& next) {
  for (const PortRequest& request : next.portRequests) {
    const PortRequest* before = find(current_.portRequests, request);
    static const PortRequest nothing;
    const PortRequest& old = before == nullptr ? nothing : *before;
    if (before == nullptr) add(Op::RequestNew{nameOf(request)});
    for (const U32 vlan : request.vlans) {
      if (!holds(old.vlans, vlan)) add(Op::VlanAdd{nameOf(request), vlan});
    }
    if (request.nativeVlan != old.nativeVlan) add(Op::Native{nameOf(request), request.nativeVlan});
    for (const std::string& hostname : request.remoteHosts) {
      if (!holds(old.remoteHosts, hostname)) add(Op::Remote{nameOf(request), hostname, true});
    }
    if (before == nullptr) add(Op::RequestStart{nameOf(request)});
  }
  for (const HostnameRequest& request : next.hostnameRequests) {
    const HostnameRequest* before = find(current_.hostnameRequests, request);
    static const HostnameRequest nothing;
    const HostnameRequest& old = before == nullptr ? nothing : *before;
    if (before == nullptr) add(Op::RequestNew{nameOf(request)});
    for (const U32 vlan : request.vlans) {
      if (!holds(old.vlans, vlan)) add(Op::VlanAdd{nameOf(request), vlan});
    }
    if (before == nullptr) add(Op::RequestStart{nameOf(request)});
  }
}

void FabricChange::startSwitches(const Fabric& next) {
  std::vector<std::string> fresh;
  for (const Node& node : next.switches) {
    if (find(current_.switches, node.name) == nullptr) fresh.push_back(node.name);
  }
  for (const std::string& name : fresh) {
    add(Op::SwitchStart{name});
    add(Op::SwitchAnnounce{name});
  }
}

}  // namespace Fabrion::Host
