#include "host/FabricChange.h"

#include <algorithm>

#include "host/FabricChangeNames.h"

namespace Fabrion::Host {

namespace {

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

const PortGroup* findGroup(const Node& node, const std::string& name) {
  const auto found = std::find_if(node.groups.begin(), node.groups.end(),
                                  [&](const PortGroup& group) { return group.name == name; });
  return found == node.groups.end() ? nullptr : &*found;
}

// A VNI or a domain may come to any port, by a link or a group.
bool hasVnis(const Fabric& fabric) {
  const auto asks = [](const auto& request) {
    return !request.vnis.empty() || !request.domains.empty();
  };
  return std::any_of(fabric.portRequests.begin(), fabric.portRequests.end(), asks) ||
         std::any_of(fabric.hostnameRequests.begin(), fabric.hostnameRequests.end(), asks);
}

}  // namespace

bool FabricChange::Sides::replaced(const std::string& node) const {
  const Node* const from = before.node(node);
  const Node* const to = after.node(node);
  return from != nullptr && (to == nullptr || to->hostname != from->hostname);
}

std::vector<Operation> FabricChange::to(const Fabric& next) {
  operations_.clear();
  shaken_.clear();
  rebuilt_.clear();
  if (!started_) add(Op::TopologyStart{});
  started_ = true;
  {
    const Sides sides(current_, next);
    withdrawRequests(sides);
    shareDomains(sides);
    loseMaps(sides);
    loseLinks(sides);
    loseNodes(sides);
    gainNodes(sides);
    gainLinks(sides);
    placeRequests(sides);
    gainMaps(sides);
    startSwitches(sides);
    claimAgain(sides);
    fileVteps(sides);
  }
  current_ = next;
  return std::move(operations_);
}

void FabricChange::withdrawRequests(const Sides& sides) {
  for (const PortRequest& request : sides.current.portRequests) {
    const PortRequest* after = sides.after.request(request);
    const std::vector<std::string> none;
    for (const std::string& hostname :
         namesMissingIn(after == nullptr ? none : after->remoteHosts, request.remoteHosts)) {
      withdrawRemoteHost(request, hostname, sides);
    }
    withdrawVnis(request, after);
    if (after == nullptr) {
      if (request.nativeVlan) add(Op::Native{nameOf(request), {}});
      add(Op::RequestStop{nameOf(request)});
      shaken_.insert({request.switchName, request.port});
      continue;
    }
    for (const U32 vlan : missingIn(after->vlans, request.vlans)) {
      add(Op::VlanDel{nameOf(request), vlan});
    }
  }
  for (const HostnameRequest& request : sides.current.hostnameRequests) {
    const HostnameRequest* after = sides.after.request(request);
    withdrawVnis(request, after);
    if (after == nullptr) {
      add(Op::RequestStop{nameOf(request)});
      continue;
    }
    for (const U32 vlan : missingIn(after->vlans, request.vlans)) {
      add(Op::VlanDel{nameOf(request), vlan});
    }
  }
}

void FabricChange::withdrawRemoteHost(const PortRequest& request, const std::string& hostname,
                                      const Sides& sides) {
  add(Op::RemoteDel{nameOf(request), hostname});
  for (const PortRequest* other : sides.before.withRemoteHost(hostname)) {
    const bool sharesPort = other->switchName == request.switchName && other->port == request.port;
    const bool sharesClient = other->client == request.client;
    if (sharesPort == sharesClient) continue;
    const PortRequest* after = sides.after.request(*other);
    const bool stays = after != nullptr && holds(after->remoteHosts, hostname);
    // Requests are withdrawn in their order, so one that follows still claims it.
    if (stays || (sharesClient && other > &request)) {
      add(Op::Invoke{pathOf(*other), "handleRemoteHost", hostname});
    }
  }
}

void FabricChange::loseLinks(const Sides& sides) {
  for (const auto& [port, far] : sides.before.farEnds()) {
    const auto still = sides.after.farEnds().find(port);
    const bool stands = still != sides.after.farEnds().end() && !sides.replaced(port.node) &&
                        std::all_of(far.begin(), far.end(), [&](const LinkEnd& end) {
                          return holds(still->second, end) && !sides.replaced(end.node);
                        });
    if (stands) continue;
    withoutNatives(port, sides, [&, &at = port] { loseEdge(at, sides); });
  }
}

void FabricChange::loseEdge(const LinkEnd& port, const Sides& sides) {
  add(Op::EdgeDel{nameOf(port)});
  edges_.erase(port);
  shaken_.insert(port);
  // With no remote host configured there the interface is gone now, and with it what clients had on
  // it.
  const auto& requests = sides.before.requestsOn(port);
  const bool configured =
      std::any_of(requests.begin(), requests.end(), [&](const PortRequest* request) {
        const PortRequest* kept = sides.after.request(*request);
        return kept != nullptr &&
               std::any_of(
                   request->remoteHosts.begin(), request->remoteHosts.end(),
                   [&](const std::string& hostname) { return holds(kept->remoteHosts, hostname); });
      });
  if (configured) return;
  for (const PortRequest* request : requests) {
    if (sides.after.request(*request) == nullptr) continue;
    add(Op::Invoke{pathOf(*request), "handleInitialized", {}});
  }
}

void FabricChange::withoutNatives(const LinkEnd& port, const Sides& sides,
                                  const std::function<void()>& f) {
  std::vector<const PortRequest*> natives;
  if (sides.before.isMember(port)) {
    for (const PortRequest* request : sides.before.requestsOn(port)) {
      if (!request->nativeVlan || sides.after.request(*request) == nullptr) continue;
      natives.push_back(request);
      add(Op::Native{nameOf(*request), {}});
    }
  }
  f();
  for (const PortRequest* request : natives) add(Op::Native{nameOf(*request), request->nativeVlan});
}

void FabricChange::loseGroup(const Node& node, const PortGroup& group) {
  for (const std::string& port : group.members) add(Op::MemberDel{node.name, group.name, port});
  add(Op::GroupDel{node.name, group.name});
}

void FabricChange::loseNodes(const Sides& sides) {
  std::set<std::string> emptied;
  eachNode(sides.current, [&](const Node& node) {
    if (!sides.replaced(node.name)) return;
    add(Op::HostnameHostDel{node.hostname, node.name});
    const auto& sharing = sides.before.nodesOf(node.hostname);
    const bool wanted = std::any_of(sharing.begin(), sharing.end(), [&](const Node* other) {
      return !sides.replaced(other->name);
    });
    if (!wanted) emptied.insert(node.hostname);
  });
  for (const std::string& hostname : emptied) add(Op::HostnameDel{hostname});
  eachNode(sides.current, [&](const Node& node) {
    const Node* after = sides.replaced(node.name) ? nullptr : sides.after.node(node.name);
    loseMembers(node, after, sides);
    if (after == nullptr) {
      add(Op::HostLeave{node.name});
      return;
    }
    for (const std::string& port : namesMissingIn(after->ports, node.ports)) {
      add(Op::PortDel{node.name, port});
    }
  });
  for (const Node& node : sides.current.switches) {
    if (sides.after.switchOf(node.name) != nullptr) continue;
    add(Op::SwitchStop{node.name});
    for (const Vtep& vtep : node.vteps) add(Op::VtepDel{node.name, vtep.name});
    add(Op::ElementRelease{node.name, agentReferrer});
  }
}

void FabricChange::loseMembers(const Node& node, const Node* after, const Sides& sides) {
  for (const PortGroup& group : node.groups) {
    const PortGroup* kept = after == nullptr ? nullptr : findGroup(*after, group.name);
    if (kept == nullptr) {
      loseGroup(node, group);
      continue;
    }
    const auto leaving = namesMissingIn(kept->members, group.members);
    if (!leaving.empty() && hasVnis(sides.current)) {
      loseGroup(node, group);
      rebuilt_.emplace(node.name, group.name);
      continue;
    }
    for (const std::string& port : leaving) {
      withoutNatives({node.name, port}, sides, [&, &at = port] {
        add(Op::MemberDel{node.name, group.name, at});
      });
    }
  }
}

void FabricChange::gainNodes(const Sides& sides) {
  for (const Node& node : sides.next.switches) {
    if (sides.before.switchOf(node.name) != nullptr) continue;
    if (switchesMade_.insert(node.name).second) add(Op::SwitchNew{node.name});
    add(Op::ElementHold{node.name, agentReferrer});
  }
  std::map<std::string, std::vector<std::string>> joining;  // hosts that enter a hostname's group
  std::set<std::string> standing;                           // hostnames whose group stands
  eachNode(sides.current, [&](const Node& node) {
    if (!sides.replaced(node.name)) standing.insert(node.hostname);
  });
  eachNode(sides.next, [&](const Node& node) {
    const Node* before = sides.replaced(node.name) ? nullptr : sides.before.node(node.name);
    if (before != nullptr) return gainOn(node, *before, sides);
    Op::HostNew host{node.name, node.hostname, node.ports, {}};
    for (const PortGroup& group : node.groups) host.groups.push_back({group.name, group.members});
    add(std::move(host));
    add(Op::HostEnter{node.name});
    joining[node.hostname].push_back(node.name);
  });
  for (const auto& [hostname, hosts] : joining) {
    if (!standing.contains(hostname)) {
      add(Op::HostnameAdd{hostname, hosts});
      continue;
    }
    for (const std::string& host : hosts) add(Op::HostnameHostAdd{hostname, host});
  }
}

void FabricChange::gainOn(const Node& node, const Node& before, const Sides& sides) {
  for (const std::string& port : namesMissingIn(before.ports, node.ports)) {
    add(Op::PortAdd{node.name, port});
  }
  for (const PortGroup& group : node.groups) {
    const PortGroup* old = findGroup(before, group.name);
    if (old == nullptr || rebuilt_.contains({node.name, group.name})) {
      add(Op::GroupAdd{node.name, group.name, group.members});
      continue;
    }
    for (const std::string& port : group.members) {
      if (!holds(old->members, port)) {
        add(Op::MemberAdd{node.name, group.name, port});
      } else if (isForsaken({node.name, port}, sides)) {
        add(Op::MemberDel{node.name, group.name, port});
        add(Op::MemberAdd{node.name, group.name, port});
      }
    }
  }
}

bool FabricChange::isForsaken(const LinkEnd& port, const Sides& sides) const {
  return shaken_.contains(port) && !sides.after.farEnds().contains(port) &&
         sides.after.requestsOn(port).empty();
}

void FabricChange::gainLinks(const Sides& sides) {
  for (const auto& [port, far] : sides.after.farEnds()) {
    const bool stands = !edges_.insert(port).second;
    if (!stands) add(Op::EdgeAdd{nameOf(port)});
    const auto known = sides.before.farEnds().find(port);
    for (const LinkEnd& end : far) {
      if (stands && known != sides.before.farEnds().end() && holds(known->second, end)) continue;
      add(Op::EdgeTo{nameOf(port), nameOf(end), true});
    }
  }
}

void FabricChange::placeRequests(const Sides& sides) {
  for (const PortRequest& request : sides.next.portRequests) {
    const PortRequest* before = sides.before.request(request);
    static const PortRequest nothing;
    const PortRequest& old = before == nullptr ? nothing : *before;
    if (before == nullptr) add(Op::RequestNew{nameOf(request)});
    for (const U32 vlan : missingIn(old.vlans, request.vlans)) {
      add(Op::VlanAdd{nameOf(request), vlan});
    }
    placeVnis(request, before);
    if (request.nativeVlan != old.nativeVlan) add(Op::Native{nameOf(request), request.nativeVlan});
    for (const std::string& hostname : namesMissingIn(old.remoteHosts, request.remoteHosts)) {
      add(Op::Remote{nameOf(request), hostname, true});
    }
    if (before == nullptr) add(Op::RequestStart{nameOf(request)});
  }
  for (const HostnameRequest& request : sides.next.hostnameRequests) {
    const HostnameRequest* before = sides.before.request(request);
    static const HostnameRequest nothing;
    const HostnameRequest& old = before == nullptr ? nothing : *before;
    if (before == nullptr) add(Op::RequestNew{nameOf(request)});
    for (const U32 vlan : missingIn(old.vlans, request.vlans)) {
      add(Op::VlanAdd{nameOf(request), vlan});
    }
    placeVnis(request, before);
    if (before == nullptr) add(Op::RequestStart{nameOf(request)});
  }
}

void FabricChange::startSwitches(const Sides& sides) {
  for (const Node& node : sides.next.switches) {
    if (sides.before.switchOf(node.name) != nullptr) continue;
    add(Op::SwitchStart{node.name});
    add(Op::SwitchAnnounce{node.name});
  }
}

}  // namespace Fabrion::Host
