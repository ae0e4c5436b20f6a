#include "host/WhyNot.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "host/FabricText.h"
#include "host/WhyKeys.h"

namespace Fabrion::Host {

namespace {

bool holds(const Vlans& vlans, U32 vlan) {
  return std::binary_search(vlans.begin(), vlans.end(), vlan);
}

template <class Map, class Key>
auto valueAt(const Map& map, const Key& key) -> typename Map::mapped_type {
  const auto found = map.find(key);
  return found == map.end() ? typename Map::mapped_type() : found->second;
}

void add(Reason reason, std::vector<Reason>& reasons) {
  for (Reason& each : reasons) {
    if (each.kind != reason.kind || each.name != reason.name) continue;
    each.asks.insert(each.asks.end(), reason.asks.begin(), reason.asks.end());
    return;
  }
  reasons.push_back(std::move(reason));
}

Reason reasonOf(ReasonKind kind, const std::string& name = {}) {
  Reason reason;
  reason.kind = kind;
  reason.name = name;
  return reason;
}

}  // namespace

// Gathers VLANs with the same reasons into one absence, in the order in which the first ones came.
class WhyNot::Absences {
 public:
  void add(EntryKind kind, U32 vlan, const std::string& vtep, std::vector<Reason> reasons) {
    const auto [place, isNew] =
        places_.emplace(std::tuple(kind, vtep, keyOf(reasons)), absences_.size());
    if (isNew) absences_.push_back({kind, {}, vtep, std::move(reasons)});
    absences_[place->second].vlans.push_back(static_cast<U16>(vlan));
  }
  void add(Absence absence) { absences_.push_back(std::move(absence)); }
  std::vector<Absence> take() { return std::move(absences_); }

 private:
  std::map<std::tuple<EntryKind, std::string, std::string>, std::size_t> places_;
  std::vector<Absence> absences_;
};

std::vector<Absence> WhyNot::of(const std::string& interface, std::optional<U32> vlan) const {
  Absences absences;
  if (const PortGroup* const group = causes_.groupOf(interface)) {
    if (!vlan) return {};
    Reason reason = reasonOf(ReasonKind::member, group->name);
    reason.origin = group->origin;
    absences.add(EntryKind::allowed, *vlan, {}, {std::move(reason)});
    return absences.take();
  }
  const Place place = placeOf(interface);
  const std::set<U32> named = vlan ? std::set<U32>{*vlan} : namedVlans(place);
  const Vlans allowed = valueAt(outputs_.allowedVlans, interface);
  for (const U32 each : named) {
    if (holds(allowed, each)) continue;
    absences.add(EntryKind::allowed, each, {}, notAllowed(place, each, vlan.has_value()));
  }
  addNative(place, vlan, absences);
  for (const U32 each : named) addVnis(place, each, vlan.has_value(), absences);
  return absences.take();
}

WhyNot::Place WhyNot::placeOf(const std::string& interface) const {
  Place place{interface, {}, {}, {}, {}};
  const std::string& here = causes_.node().name;
  const PortGroup* const group = causes_.writtenGroup(interface);
  if (group == nullptr) {
    place.ports.push_back({here, interface});
  } else {
    for (const std::string& member : group->members) place.ports.push_back({here, member});
  }
  for (const LinkEnd& port : place.ports) {
    for (const WhyIndex::FarLink& link : index_.links(port)) place.nodes.insert(link.end.node);
    for (const PortRequest* request : index_.requests(port)) {
      for (const std::string& hostname : request->remoteHosts) {
        place.remotes.insert(hostname);
        // The element of a remote host is the host's own where both names are the same.
        const Node* const node = index_.node(hostname);
        if (node != nullptr && node->hostname == hostname) place.nodes.insert(hostname);
      }
    }
  }
  place.hostnames = place.remotes;
  for (const std::string& name : place.nodes) {
    const Node* const node = index_.node(name);
    if (node != nullptr) place.hostnames.insert(node->hostname);
  }
  return place;
}

std::set<U32> WhyNot::namedVlans(const Place& place) const {
  std::set<U32> vlans;
  for (const std::string& hostname : place.hostnames) {
    for (const HostnameRequest* request : index_.requestsFor(hostname)) {
      vlans.insert(request->vlans.begin(), request->vlans.end());
    }
  }
  for (const LinkEnd& port : place.ports) {
    for (const PortRequest* request : index_.requests(port)) {
      vlans.insert(request->vlans.begin(), request->vlans.end());
    }
  }
  return vlans;
}

std::vector<Reason> WhyNot::notAllowed(const Place& place, U32 vlan, bool everywhere) const {
  std::vector<Reason> reasons;
  for (const LinkEnd& port : place.ports) {
    for (const PortRequest* request : index_.requests(port)) {
      if (std::vector<Cause> asked = asks(*request, {vlan}); !asked.empty()) {
        Reason reason;
        reason.asks = std::move(asked);
        add(std::move(reason), reasons);
      } else if (request->nativeVlan == vlan) {
        Reason reason = reasonOf(ReasonKind::nativeAlone);
        reason.asks.push_back(asksForNative(*request));
        add(std::move(reason), reasons);
      }
    }
  }
  const auto look = [&](const HostnameRequest& request) {
    const std::vector<Cause> asked = asks(request, {vlan});
    if (!asked.empty()) addHostname(place, request, asked, reasons);
  };
  if (everywhere) {
    for (const HostnameRequest& request : index_.fabric().hostnameRequests) look(request);
  } else {
    for (const std::string& hostname : place.hostnames) {
      for (const HostnameRequest* request : index_.requestsFor(hostname)) look(*request);
    }
  }
  if (reasons.empty()) {
    Reason reason = reasonOf(ReasonKind::notAsked);
    reason.asks = asksElsewhere(place, vlan);
    reasons.push_back(std::move(reason));
  }
  return reasons;
}

void WhyNot::addHostname(const Place& place, const HostnameRequest& request,
                         const std::vector<Cause>& asked, std::vector<Reason>& reasons) const {
  const auto& nodes = index_.nodesOf(request.hostname);
  Reason reason;
  reason.hostname = request.hostname;
  reason.remote = place.remotes.contains(request.hostname);
  reason.asks = asked;
  if (nodes.empty()) {
    reason.kind = ReasonKind::noHost;
    reason.name = request.hostname;
    add(std::move(reason), reasons);
    return;
  }
  const Node* behind = nullptr;
  bool host = false;
  for (const Node* node : nodes) {
    if (host || !(place.nodes.contains(node->name) || node == &causes_.node())) continue;
    behind = node;
    host = !index_.isSwitch(*node);
  }
  if (behind != nullptr) {
    reason.kind = host ? ReasonKind::unknown : ReasonKind::isSwitch;
    if (!host) reason.name = behind->name;
    reason.origin = behind->origin;
    add(std::move(reason), reasons);
    return;
  }
  for (const Node* node : nodes) {
    Reason noLink = reason;
    noLink.kind = ReasonKind::noLink;
    noLink.name = node->name;
    for (const std::string& port : node->ports) {
      for (const WhyIndex::FarLink& link : index_.links({node->name, port})) {
        noLink.farEnds.push_back(link.end);
      }
    }
    add(std::move(noLink), reasons);
  }
}

std::vector<Cause> WhyNot::asksElsewhere(const Place& place, U32 vlan) const {
  std::vector<Cause> elsewhere;
  for (const PortRequest& request : index_.fabric().portRequests) {
    const LinkEnd port{request.switchName, request.port};
    const bool here = std::find(place.ports.begin(), place.ports.end(), port) != place.ports.end();
    if (here) continue;
    for (Cause& cause : asks(request, {vlan})) {
      cause.name = request.switchName + ":" + request.port;
      elsewhere.push_back(std::move(cause));
    }
  }
  return elsewhere;
}

void WhyNot::addNative(const Place& place, std::optional<U32> vlan, Absences& absences) const {
  if (outputs_.nativeVlan.contains(place.name)) return;
  std::set<U32> asked;
  Reason reason;
  for (const LinkEnd& port : place.ports) {
    for (const PortRequest* request : index_.requests(port)) {
      if (!request->nativeVlan) continue;
      asked.insert(*request->nativeVlan);
      reason.asks.push_back(asksForNative(*request));
    }
  }
  const Interface* const interface = causes_.interface(place.name);
  if (interface != nullptr && interface->nativeVlan().size() > 1) {
    asked.clear();
    for (const U32 each : interface->nativeVlan().keys()) asked.insert(each);
    reason = reasonOf(ReasonKind::conflict);
    for (const U32 each : asked) {
      reason.claims.push_back({each, causes_.ofNative(place.name, each)});
    }
  }
  if (asked.empty() || (vlan && !asked.contains(*vlan))) return;
  Absence absence{EntryKind::native, {}, {}, {}};
  for (const U32 each : asked) absence.vlans.push_back(static_cast<U16>(each));
  absence.reasons.push_back(std::move(reason));
  absences.add(std::move(absence));
}

bool WhyNot::isMapped(const std::string& vtep, const std::string& interface, U32 vlan) const {
  const SwitchOutputs::MappingsOfPort ports = valueAt(outputs_.vteps, vtep);
  const auto port = ports.find(interface);
  return port != ports.end() && port->second.contains(static_cast<U16>(vlan));
}

void WhyNot::addVnis(const Place& place, U32 vlan, bool askedAbout, Absences& absences) const {
  const Interface* const interface = causes_.interface(place.name);
  const Velo::Ptr<const DynamicVlan> entry = interface == nullptr ? nullptr : interface->vlan(vlan);
  if (!entry) return;
  std::set<U32> vnis;
  for (const U32 vni : entry->mappedVni().keys()) vnis.insert(vni);
  const auto absent = [&](std::vector<Reason> reasons, const std::string& vtep) {
    absences.add(EntryKind::vni, vlan, vtep, std::move(reasons));
  };
  if (vnis.empty()) {
    std::set<DomainName> domains;
    for (const Client::ClientDomain& domain : entry->domain().keys()) {
      domains.insert({std::string(domain.client().view()), std::string(domain.domain().view())});
    }
    std::vector<Reason> reasons;
    for (const DomainName& domain : domains) {
      Reason reason = reasonOf(ReasonKind::noMap, toString(domain));
      if (const StaticMap* const map = index_.map(domain)) reason.origin = map->origin;
      reason.asks = causes_.of(place.name, {vlan, std::nullopt, domain});
      reasons.push_back(std::move(reason));
    }
    if (reasons.empty() && askedAbout && !vteps_.empty()) {
      reasons.push_back(reasonOf(ReasonKind::notAsked));
    }
    if (!reasons.empty()) absent(std::move(reasons), {});
    return;
  }
  Reason reason;
  if (vnis.size() > 1 && !vteps_.empty()) {
    if (isMapped(vteps_.front(), place.name, vlan)) return;
    reason.kind = ReasonKind::conflict;
    for (const U32 vni : vnis) reason.claims.push_back({vni, causes_.of(place.name, {vlan, vni})});
    absent({std::move(reason)}, {});
    return;
  }
  for (const U32 vni : vnis) {
    const std::vector<Cause> causes = causes_.of(place.name, {vlan, vni});
    reason.asks.insert(reason.asks.end(), causes.begin(), causes.end());
  }
  if (vteps_.empty()) {
    reason.kind = ReasonKind::noVtep;
    absent({std::move(reason)}, {});
    return;
  }
  const bool first = isMapped(vteps_.front(), place.name, vlan);
  if (first) {
    reason.kind = ReasonKind::laterVtep;
    reason.name = vteps_.front();
  }
  for (const std::string& vtep : vteps_) {
    if (!isMapped(vtep, place.name, vlan)) absent({reason}, vtep);
  }
}

}  // namespace Fabrion::Host
