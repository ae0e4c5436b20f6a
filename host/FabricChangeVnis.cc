// The half of a step that concerns VNIs, domains, static maps and VTEPs.
#include <algorithm>
#include <set>
#include <tuple>
#include <type_traits>
#include <variant>

#include "host/FabricChange.h"
#include "host/FabricChangeNames.h"

namespace Fabrion::Host {

namespace {

// Whether `to` has new ranges and all that `from` has, as they are.
bool isGrown(const StaticMap& from, const StaticMap& to) {
  return std::includes(to.ranges.begin(), to.ranges.end(), from.ranges.begin(), from.ranges.end());
}

Op::MapAdd filed(const StaticMap& map) {
  Op::MapAdd op{map.domain, {}};
  for (const StaticRange& range : map.ranges) op.ranges.push_back({range.vlans, range.vnis});
  return op;
}

template <class F>
void eachRequest(const Fabric& fabric, const F& f) {
  for (const PortRequest& request : fabric.portRequests) f(request);
  for (const HostnameRequest& request : fabric.hostnameRequests) f(request);
}

// The domains of both sides, those of static maps included, by their first field.
std::map<std::string, std::set<DomainName>> domainsByFirst(const Fabric& from, const Fabric& to) {
  std::map<std::string, std::set<DomainName>> domains;
  for (const Fabric* fabric : {&from, &to}) {
    eachRequest(*fabric, [&](const auto& request) {
      const DomainName* last = nullptr;
      for (const VlanDomain& each : request.domains) {
        if (last == nullptr || *last != each.domain) {
          domains[each.domain.first].insert(each.domain);
        }
        last = &each.domain;
      }
    });
    for (const StaticMap& map : fabric->staticMaps) domains[map.domain.first].insert(map.domain);
  }
  return domains;
}

// First fields of domains by which others keep VNIs alive too: other domains, clients on ports.
std::set<std::string> sharedNames(const Fabric& from, const Fabric& to) {
  const auto domains = domainsByFirst(from, to);
  std::set<std::string> shared;
  for (const auto& [first, all] : domains) {
    if (all.size() > 1) shared.insert(first);
  }
  for (const Fabric* fabric : {&from, &to}) {
    for (const PortRequest& request : fabric->portRequests) {
      if (!request.vnis.empty() && domains.contains(request.client)) shared.insert(request.client);
    }
  }
  return shared;
}

// The hosts and switches whose ports, port groups or edges the operations change.
std::set<std::string> changedNodes(const std::vector<Operation>& operations) {
  std::set<std::string> names;
  for (const Operation& operation : operations) {
    std::visit(
        [&](const auto& one) {
          if constexpr (requires { one.from.host; }) {
            names.insert(one.from.host);
          } else if constexpr (requires { one.host; }) {
            names.insert(one.host);
          }
        },
        operation);
  }
  return names;
}

}  // namespace

template <class Request>
void FabricChange::withdrawVnis(const Request& before, const Request* after) {
  static const Request nothing;
  const Request& kept = after == nullptr ? nothing : *after;
  for (const VlanVni& each : missingIn(kept.vnis, before.vnis)) {
    add(Op::VniDel{nameOf(before), each.vlan, each.vni});
  }
  for (const VlanDomain& each : missingIn(kept.domains, before.domains)) {
    add(Op::DomainDel{nameOf(before), each.vlan, each.domain});
  }
}

template <class Request>
void FabricChange::placeVnis(const Request& after, const Request* before) {
  static const Request nothing;
  const Request& old = before == nullptr ? nothing : *before;
  for (const VlanVni& each : missingIn(old.vnis, after.vnis)) {
    add(Op::VniAdd{nameOf(after), each.vlan, each.vni});
  }
  for (const VlanDomain& each : missingIn(old.domains, after.domains)) {
    add(Op::DomainAdd{nameOf(after), each.vlan, each.domain});
  }
}

template void FabricChange::withdrawVnis(const PortRequest&, const PortRequest*);
template void FabricChange::withdrawVnis(const HostnameRequest&, const HostnameRequest*);
template void FabricChange::placeVnis(const PortRequest&, const PortRequest*);
template void FabricChange::placeVnis(const HostnameRequest&, const HostnameRequest*);

void FabricChange::shareDomains(const Sides& sides) {
  std::set<std::tuple<PortRequestName, VlanDomain>> again;
  for (const PortRequest& request : sides.current.portRequests) {
    if (request.domains.empty()) continue;
    const PortRequest* after = sides.after.request(request);
    static const PortRequest nothing;
    const auto given =
        missingIn(after == nullptr ? nothing.domains : after->domains, request.domains);
    if (given.empty()) continue;
    for (const PortRequest* other : sides.before.requestsOn({request.switchName, request.port})) {
      const PortRequest* stays = sides.after.request(*other);
      if (stays == nullptr) continue;
      for (const VlanDomain& each : given) {
        const auto has = [&](const PortRequest& one) {
          return std::binary_search(one.domains.begin(), one.domains.end(), each);
        };
        if (has(*other) && has(*stays)) again.emplace(nameOf(*other), each);
      }
    }
  }
  for (const auto& [request, each] : again) {
    add(Op::DomainDel{request, each.vlan, each.domain});
    add(Op::DomainAdd{request, each.vlan, each.domain});
  }
}

void FabricChange::loseMaps(const Sides& sides) {
  for (const StaticMap& map : sides.current.staticMaps) {
    const StaticMap* after = sides.after.map(map.domain);
    if (after == nullptr || !isGrown(map, *after)) add(Op::MapDel{map.domain});
  }
}

void FabricChange::gainMaps(const Sides& sides) {
  for (const StaticMap& map : sides.next.staticMaps) {
    const StaticMap* before = sides.before.map(map.domain);
    if (before == nullptr || !isGrown(*before, map)) {
      add(filed(map));
      continue;
    }
    for (const StaticRange& range : missingIn(before->ranges, map.ranges)) {
      add(Op::RangeSet{map.domain, range.vlans, range.vnis});
    }
  }
}

void FabricChange::claimAgain(const Sides& sides) {
  if (operations_.empty() || sides.current == Fabric{}) return;
  const std::set<std::string> shared = sharedNames(sides.current, sides.next);
  if (shared.empty()) return;
  // All leave before one comes back: each that leaves takes the VNIs of the others once more.
  std::vector<Operation> back;
  eachRequest(sides.next, [&](const auto& request) {
    for (const VlanDomain& each : request.domains) {
      if (!shared.contains(each.domain.first)) continue;
      add(Op::DomainDel{nameOf(request), each.vlan, each.domain});
      back.emplace_back(Op::DomainAdd{nameOf(request), each.vlan, each.domain});
    }
  });
  for (Operation& each : back) operations_.push_back(std::move(each));
  for (const PortRequest& request : sides.next.portRequests) {
    const PortRequest* before = sides.before.request(request);
    if (before == nullptr || !shared.contains(request.client)) continue;
    for (const VlanVni& each : request.vnis) {
      if (!std::binary_search(before->vnis.begin(), before->vnis.end(), each)) continue;
      add(Op::VniDel{nameOf(request), each.vlan, each.vni});
      add(Op::VniAdd{nameOf(request), each.vlan, each.vni});
    }
  }
}

void FabricChange::fileVteps(const Sides& sides) {
  const bool changed = !operations_.empty();
  const std::set<std::string> touched = changedNodes(operations_);
  for (const Node& node : sides.next.switches) {
    const Node* before = sides.before.switchOf(node.name);
    static const std::vector<Vtep> none;
    const auto& standing = before == nullptr ? none : before->vteps;
    for (const Vtep& vtep : standing) {
      if (!holds(node.vteps, vtep)) add(Op::VtepDel{node.name, vtep.name});
    }
    if (node.vteps.empty()) continue;
    auto& made = vtepsMade_[node.name];
    for (const Vtep& vtep : node.vteps) made.insert(vtep.name);
    const bool fillAgain = changed && (made.size() > 1 || touched.contains(node.name));
    for (const Vtep& vtep : node.vteps) {
      if (fillAgain || !holds(standing, vtep)) add(Op::VtepAdd{node.name, vtep.name});
    }
  }
}

}  // namespace Fabrion::Host
