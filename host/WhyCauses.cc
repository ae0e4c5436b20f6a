#include "host/WhyCauses.h"

#include <algorithm>

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

Nimbo::String nimbo(const std::string& text) { return Nimbo::String(text); }
std::string plain(const Nimbo::String& text) { return std::string(text.view()); }

Client::ClientDomain modelled(const DomainName& domain) {
  return {nimbo(domain.first), nimbo(domain.second)};
}

template <class Collection>
std::vector<std::string> sortedKeys(const Collection& names) {
  std::vector<std::string> sorted;
  for (const Nimbo::String& name : names.keys()) sorted.push_back(plain(name));
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

bool holds(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

Cause leftOver(const std::string& referrer) { return causeOf(CauseKind::leftOver, referrer); }

std::vector<Cause> orLeftOver(std::vector<Cause> causes) {
  if (causes.empty()) causes.push_back(leftOver({}));
  return causes;
}

void append(const std::vector<Cause>& more, std::vector<Cause>& causes) {
  causes.insert(causes.end(), more.begin(), more.end());
}

template <class Request>
std::vector<Origin> originsIn(const Request& request, const Wanted& wanted) {
  if (wanted.vni) {
    const VlanVni sought{wanted.vlan, *wanted.vni};
    const auto found = std::lower_bound(request.vnis.begin(), request.vnis.end(), sought);
    if (found == request.vnis.end() || *found != sought) return {};
    return {found->origin};
  }
  if (wanted.domain) {
    const VlanDomain sought{wanted.vlan, *wanted.domain};
    const auto found = std::lower_bound(request.domains.begin(), request.domains.end(), sought);
    if (found == request.domains.end() || *found != sought) return {};
    return {found->origin};
  }
  if (!std::binary_search(request.vlans.begin(), request.vlans.end(), wanted.vlan)) return {};
  return request.vlanOrigins.of(wanted.vlan);
}

template <class Request>
std::vector<Cause> asksIn(CauseKind kind, const std::string& name, const Request& request,
                          const Wanted& wanted) {
  std::vector<Cause> causes;
  for (const Origin& origin : originsIn(request, wanted)) {
    causes.push_back(causeOf(kind, name, request.client, origin));
  }
  return causes;
}

}  // namespace

Cause causeOf(CauseKind kind, const std::string& name, const std::string& client,
              const Origin& origin) {
  Cause cause;
  cause.kind = kind;
  cause.name = name;
  cause.client = client;
  cause.origin = origin;
  return cause;
}

std::vector<Cause> asks(const PortRequest& request, const Wanted& wanted) {
  return asksIn(CauseKind::portRequest, request.port, request, wanted);
}

std::vector<Cause> asks(const HostnameRequest& request, const Wanted& wanted) {
  return asksIn(CauseKind::hostnameRequest, request.hostname, request, wanted);
}

Cause asksForNative(const PortRequest& request) {
  return causeOf(CauseKind::portRequest, request.port, request.client, request.nativeOrigin);
}

std::vector<std::string> sortedNames(const DynamicVlan& vlan, const Wanted& wanted) {
  if (wanted.vni) {
    const Velo::Ptr<const Client::MappedVni> vni = vlan.mappedVni(*wanted.vni);
    return vni ? sortedKeys(vni->referrer()) : std::vector<std::string>();
  }
  if (wanted.domain) {
    const Velo::Ptr<const Client::Domain> domain = vlan.domain(modelled(*wanted.domain));
    return domain ? sortedKeys(domain->referrer()) : std::vector<std::string>();
  }
  return sortedKeys(vlan.referrer());
}

const Interface* WhyCauses::interface(const std::string& name) const {
  return element_ == nullptr ? nullptr : element_->interface(nimbo(name)).get();
}

const PhysicalInterface* WhyCauses::port(const std::string& name) const {
  return element_ == nullptr ? nullptr : element_->physicalInterface(nimbo(name)).get();
}

const PortGroup* WhyCauses::writtenGroup(const std::string& name) const {
  for (const PortGroup& group : node_.groups) {
    if (group.name == name) return &group;
  }
  return nullptr;
}

const PortGroup* WhyCauses::groupOf(const std::string& port) const {
  for (const PortGroup& group : node_.groups) {
    if (holds(group.members, port)) return &group;
  }
  return nullptr;
}

std::vector<Cause> WhyCauses::of(const std::string& interface, const Wanted& wanted) const {
  if (const PhysicalInterface* const found = port(interface)) {
    return orLeftOver(ofPort(*found, wanted, Maps::tell));
  }
  const Velo::Ptr<const Fabrion::PortGroup> group =
      element_ == nullptr ? nullptr : element_->portGroup(nimbo(interface));
  return group ? orLeftOver(ofGroup(*group, wanted)) : orLeftOver({});
}

std::vector<Cause> WhyCauses::ofPort(const PhysicalInterface& port, const Wanted& wanted,
                                     Maps maps) const {
  std::vector<Cause> causes;
  const Velo::Ptr<const DynamicVlan> vlan = port.vlan(wanted.vlan);
  if (!vlan) return causes;
  for (const std::string& referrer : sortedNames(*vlan, wanted)) {
    std::vector<Cause> found;
    addPortRequests(port, referrer, wanted, found);
    addFarElement(port, referrer, wanted, found);
    const std::size_t others = found.size();
    addStaticMaps(port, referrer, wanted, found);
    if (maps == Maps::leave && found.size() > others) {
      found.resize(others);
    } else if (found.empty()) {
      found.push_back(leftOver(referrer));
    }
    append(found, causes);
  }
  return causes;
}

void WhyCauses::addPortRequests(const PhysicalInterface& port, const std::string& referrer,
                                const Wanted& wanted, std::vector<Cause>& causes) const {
  const LinkEnd here{node_.name, plain(port.name())};
  // A domain that clients ask for on the port stands under its own name and not under theirs.
  const bool byDomain = wanted.domain && toString(*wanted.domain) == referrer;
  for (const PortRequest* request : index_.requests(here)) {
    if (wanted.domain ? !byDomain : request->client != referrer) continue;
    append(asks(*request, wanted), causes);
  }
}

void WhyCauses::addFarElement(const PhysicalInterface& port, const std::string& referrer,
                              const Wanted& wanted, std::vector<Cause>& causes) const {
  const Velo::Ptr<const NetworkElement> far = port.networkElement(nimbo(referrer));
  if (!far) return;
  const std::vector<Cause> because = ofHostname(*far, wanted);
  if (because.empty()) return;
  const LinkEnd here{node_.name, plain(port.name())};
  Cause cause = causeOf(CauseKind::link, referrer);
  cause.hostname = plain(far->hostname());
  cause.port = here.port;
  cause.because = because;
  for (const WhyIndex::FarLink& link : index_.links(here)) {
    if (link.end.node != referrer) continue;
    cause.farEnd = link.end;
    cause.origin = link.origin;
    causes.push_back(cause);
  }
  cause.kind = CauseKind::remoteHost;
  cause.farEnd = {};
  for (const PortRequest* request : index_.requests(here)) {
    if (!holds(request->remoteHosts, referrer)) continue;
    cause.client = request->client;
    cause.origin = request->origin;
    causes.push_back(cause);
  }
}

void WhyCauses::addStaticMaps(const Interface& interface, const std::string& referrer,
                              const Wanted& wanted, std::vector<Cause>& causes) const {
  const Velo::Ptr<const DynamicVlan> vlan = interface.vlan(wanted.vlan);
  if (!wanted.vni || !vlan) return;
  std::vector<DomainName> domains;
  for (const Client::ClientDomain& domain : vlan->domain().keys()) {
    if (domain.client().view() != referrer) continue;
    domains.push_back({plain(domain.client()), plain(domain.domain())});
  }
  std::sort(domains.begin(), domains.end());
  for (const DomainName& domain : domains) {
    const StaticMap* const map = index_.map(domain);
    const StaticRange* const range = map == nullptr ? nullptr : rangeOf(*map, wanted.vlan);
    if (range == nullptr || range->vnis.low + (wanted.vlan - range->vlans.low) != *wanted.vni) {
      continue;
    }
    Cause cause = causeOf(CauseKind::staticMap, toString(domain), {}, range->origin);
    cause.vlans = range->vlans;
    cause.vnis = {range->vnis.low, range->vnis.low + (range->vlans.high - range->vlans.low)};
    cause.because = of(plain(interface.name()), {wanted.vlan, std::nullopt, domain});
    causes.push_back(std::move(cause));
  }
}

std::vector<Cause> WhyCauses::ofHostname(const NetworkElement& element,
                                         const Wanted& wanted) const {
  std::vector<Cause> causes;
  const Velo::Ptr<const DynamicVlan> vlan = element.vlan(wanted.vlan);
  const Velo::Ptr<const ResourcesForHostname> merged = element.resourcesForHostname();
  if (!vlan || !merged) return causes;
  const std::string hostname = plain(merged->hostname());
  const Velo::Ptr<const DynamicVlan> asked = merged->vlan(wanted.vlan);
  if (!asked || !holds(sortedNames(*vlan, wanted), hostname)) return causes;
  for (const std::string& client : sortedNames(*asked, wanted)) {
    const HostnameRequest* const request = index_.request(client, hostname);
    if (request != nullptr) append(asks(*request, wanted), causes);
  }
  return causes;
}

std::vector<Cause> WhyCauses::ofGroup(const Fabrion::PortGroup& group, const Wanted& wanted) const {
  std::vector<Cause> causes;
  const Velo::Ptr<const DynamicVlan> vlan = group.vlan(wanted.vlan);
  if (!vlan) return causes;
  const PortGroup* const written = writtenGroup(plain(group.name()));
  std::vector<Cause> fromMaps;
  std::vector<Cause> unexplained;
  const std::vector<std::string> referrers = sortedNames(*vlan, wanted);
  for (const std::string& referrer : referrers) {
    const std::size_t before = fromMaps.size();
    addStaticMaps(group, referrer, wanted, fromMaps);
    const bool member = written != nullptr && holds(written->members, referrer);
    if (!member && fromMaps.size() == before) unexplained.push_back(leftOver(referrer));
  }
  if (written != nullptr) {
    const Maps maps = fromMaps.empty() ? Maps::tell : Maps::leave;
    for (const std::string& member : written->members) {
      if (!holds(referrers, member)) continue;
      const PhysicalInterface* const at = port(member);
      Cause cause = causeOf(CauseKind::member, written->name, {}, written->origin);
      cause.port = member;
      if (at != nullptr) cause.because = ofPort(*at, wanted, maps);
      if (!cause.because.empty()) {
        causes.push_back(std::move(cause));
      } else if (maps == Maps::tell) {
        unexplained.push_back(leftOver(member));
      }
    }
  }
  causes.insert(causes.end(), fromMaps.begin(), fromMaps.end());
  causes.insert(causes.end(), unexplained.begin(), unexplained.end());
  return causes;
}

std::vector<Cause> WhyCauses::ofNative(const std::string& interface, U32 vlan) const {
  std::vector<Cause> causes;
  if (const PhysicalInterface* const at = port(interface)) {
    const Velo::Ptr<const Client::UntaggedVlan> native = at->nativeVlan(vlan);
    if (!native) return orLeftOver({});
    for (const std::string& client : sortedKeys(native->referrer())) {
      const PortRequest* const request = index_.request(client, {node_.name, interface});
      const bool explains = request != nullptr && request->nativeVlan == vlan;
      causes.push_back(explains ? asksForNative(*request) : leftOver(client));
    }
    return orLeftOver(std::move(causes));
  }
  // Of the members, as the group remembers only the one that asked first.
  const PortGroup* const written = writtenGroup(interface);
  if (written == nullptr) return orLeftOver({});
  for (const std::string& member : written->members) {
    const PhysicalInterface* const at = port(member);
    if (at == nullptr || !at->nativeVlan(vlan)) continue;
    Cause cause = causeOf(CauseKind::member, interface, {}, written->origin);
    cause.port = member;
    cause.because = ofNative(member, vlan);
    causes.push_back(std::move(cause));
  }
  return orLeftOver(std::move(causes));
}

std::vector<Cause> WhyCauses::ofCarried(U32 vlan) const {
  std::vector<Cause> causes;
  const Velo::Ptr<const DynamicVlan> entry = element_ == nullptr ? nullptr : element_->vlan(vlan);
  if (!entry) return orLeftOver({});
  const std::vector<std::string> referrers = sortedNames(*entry, {vlan});
  std::vector<Cause> asked = ofHostname(*element_, {vlan});
  for (const std::string& name : node_.ports) {
    if (!holds(referrers, name)) continue;
    Cause cause = causeOf(CauseKind::port, name);
    cause.because = of(name, {vlan});
    causes.push_back(std::move(cause));
  }
  for (const std::string& referrer : referrers) {
    const bool told =
        holds(node_.ports, referrer) || (!asked.empty() && referrer == asked.front().name);
    if (!told) causes.push_back(leftOver(referrer));
  }
  causes.insert(causes.end(), asked.begin(), asked.end());
  return orLeftOver(std::move(causes));
}

}  // namespace Fabrion::Host
