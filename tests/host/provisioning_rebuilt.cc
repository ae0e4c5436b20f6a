// The side of the account that knows no history: what stands asked for, what it gives when asked
// for at once, and how far the outputs are from that.
#include <algorithm>

#include "platform/BrindleUtils/VlanIdSet.h"
#include "tests/host/provisioning_account.h"
#include "tests/host/provisioning_rules.h"

namespace Fabrion::Test {

namespace Op = Host::Op;
using Host::DomainName;
using Host::HostRequestName;
using Host::Operation;
using Host::PortName;
using Host::PortRequestName;
using namespace ProvisioningRules;

namespace {

const char* const group = "po1";

std::string listOf(const std::set<U32>& vlans) {
  const auto set = BrindleUtils::VlanIdSetIs();
  for (const U32 vlan : vlans) set->doAdd(static_cast<U16>(vlan));
  return std::string(set->multiRangeString().view());
}

}  // namespace

ProvisioningAccount::Json ProvisioningAccount::Outputs::json() const {
  Json json = {{"portAllowedVlanList", Json::object()},
               {"portNativeVlan", Json::object()},
               {"vlanList", listOf(vlans)},
               {"vtepConfig", Json::object()}};
  for (const auto& [port, list] : allowed) json["portAllowedVlanList"][port] = listOf(list);
  for (const auto& [port, vlan] : native) json["portNativeVlan"][port] = vlan;
  for (const auto& [vtep, mapping] : vteps) {
    Json& of = json["vtepConfig"][vtep] = Json::object();
    for (const auto& [pair, vni] : mapping) of[pair.first][std::to_string(pair.second)] = vni;
  }
  return json;
}

ProvisioningAccount::Operations ProvisioningAccount::fabric() {
  Operations made = {
      Op::TopologyStart{}, Op::HostNew{"s1", "s1.example", {"e1", "e2", "e3"}, {{group, {}}}},
      Op::HostNew{"s2", "s2.example", {"e1", "e2"}, {}},
      Op::HostNew{"h1", "web", {"eth0", "eth1"}, {}}, Op::HostNew{"h2", "db", {"eth0"}, {}}};
  for (const char* host : {"s1", "s2", "h1", "h2"}) made.push_back(Op::HostEnter{host});
  made.push_back(Op::HostnameAdd{"web", {"h1"}});
  made.push_back(Op::HostnameAdd{"db", {"h2"}});
  const std::pair<PortName, PortName> links[] = {{{"s1", "e1"}, {"h1", "eth0"}},
                                                 {{"s2", "e1"}, {"h1", "eth1"}},
                                                 {{"s1", "e2"}, {"h2", "eth0"}}};
  for (const auto& [from, to] : links) {
    made.push_back(Op::EdgeAdd{from});
    made.push_back(Op::EdgeTo{from, to, true});
    made.push_back(Op::EdgeAdd{to});
    made.push_back(Op::EdgeTo{to, from, true});
  }
  return made;
}

ProvisioningAccount::ProvisioningAccount() {
  // The port group came with the host, its ports with the edges.
  for (const char* port : {group, "e1", "e2"}) switches_["s1"].ports.at(port, {});
  switches_["s2"].ports.at("e1", {});
}

bool ProvisioningAccount::allows(const Operation& operation) const {
  const auto request = [this](const Host::RequestName& name) -> const Request* {
    if (const auto* const onHost = std::get_if<HostRequestName>(&name)) {
      const auto found = hostRequests_.find(*onHost);
      return found == hostRequests_.end() ? nullptr : &found->second;
    }
    const auto found = portRequests_.find(std::get<PortRequestName>(name));
    return found == portRequests_.end() ? nullptr : &found->second;
  };
  const auto asks = [&](const Host::RequestName& name, U32 vlan) {
    const Request* const one = request(name);
    return one != nullptr && one->vlans.contains(vlan);
  };
  return std::visit(
      [&]<class T>(const T& op) {
        if constexpr (std::is_same_v<T, Op::SwitchStart>) {
          return !switches_.at(op.switchName).running;
        } else if constexpr (std::is_same_v<T, Op::SwitchStop>) {
          return switches_.at(op.switchName).running;
        } else if constexpr (std::is_same_v<T, Op::MapDel> || std::is_same_v<T, Op::RangeSet> ||
                             std::is_same_v<T, Op::RangeDel>) {
          return maps_.contains(op.domain);
        } else if constexpr (std::is_same_v<T, Op::RequestNew>) {
          return request(op.request) == nullptr;
        } else if constexpr (std::is_same_v<T, Op::RequestStart>) {
          return request(op.request) != nullptr && !request(op.request)->running;
        } else if constexpr (std::is_same_v<T, Op::RequestStop>) {
          return request(op.request) != nullptr && request(op.request)->running;
        } else if constexpr (std::is_same_v<T, Op::VlanAdd> || std::is_same_v<T, Op::VlanDel>) {
          return request(op.request) != nullptr;
        } else if constexpr (std::is_same_v<T, Op::Native>) {
          // A port group keeps native VLANs of its members by rules that WalkModel knows.
          const bool mayBeMember = op.request.switchName == "s1" && op.request.interface != "e3";
          return request(op.request) != nullptr && !mayBeMember;
        } else if constexpr (std::is_same_v<T, Op::VniAdd> || std::is_same_v<T, Op::VniDel> ||
                             std::is_same_v<T, Op::DomainAdd> || std::is_same_v<T, Op::DomainDel>) {
          return asks(op.request, op.vlan);
        } else if constexpr (std::is_same_v<T, Op::MemberAdd> || std::is_same_v<T, Op::MemberDel>) {
          return op.host == "s1" && op.group == group && op.port != "e3";
        } else {
          return std::is_same_v<T, Op::TopologyStop> || std::is_same_v<T, Op::SwitchAnnounce> ||
                 std::is_same_v<T, Op::VtepAdd> || std::is_same_v<T, Op::VtepDel> ||
                 std::is_same_v<T, Op::MapAdd>;
        }
      },
      operation);
}

std::vector<std::string> ProvisioningAccount::followed() const {
  std::vector<std::string> names;
  for (const auto& [name, one] : switches_) {
    if (one.taken) names.push_back(name);
  }
  return names;
}

// The first range that holds the VLAN decides alone.
U32 ProvisioningAccount::staticVni(const DomainName& domain, U32 vlan) const {
  const auto found = maps_.find(domain);
  if (found == maps_.end()) return 0;
  for (const auto& [range, vnis] : found->second) {
    if (vlan < range.first || vlan > range.second) continue;
    const U32 vni = vnis.low + (vlan - range.first);
    return vni > vnis.high ? 0 : vni;
  }
  return 0;
}

ProvisioningAccount::AskedVlans ProvisioningAccount::askedOn(const std::string& name,
                                                             const std::string& port) const {
  AskedVlans asked;
  if (!topologyRuns_) return asked;
  const auto add = [&](const Request& request) {
    if (!request.running) return;
    for (const auto& [vlan, of] : request.vlans) {
      asked[vlan].vnis.insert(of.vnis.begin(), of.vnis.end());
      asked[vlan].domains.insert(of.domains.begin(), of.domains.end());
    }
  };
  if (port == group) {
    for (const std::string& one : switches_.at(name).members) {
      for (const auto& [vlan, of] : askedOn(name, one)) {
        asked[vlan].vnis.insert(of.vnis.begin(), of.vnis.end());
        asked[vlan].domains.insert(of.domains.begin(), of.domains.end());
      }
    }
    return asked;
  }
  for (const auto& [request, one] : portRequests_) {
    if (request.switchName == name && request.interface == port) add(one);
  }
  for (const auto& [request, one] : hostRequests_) {
    if (request.hostname == "web" ? port == "e1" : name == "s1" && port == "e2") add(one);
  }
  return asked;
}

std::set<U32> ProvisioningAccount::wantedVnis(const std::string& name, const std::string& port,
                                              U32 vlan) const {
  const AskedVlans all = askedOn(name, port);
  const auto found = all.find(vlan);
  if (found == all.end()) return {};
  std::set<U32> vnis = found->second.vnis;
  for (const DomainName& domain : found->second.domains) {
    if (const U32 vni = staticVni(domain, vlan); vni != 0) vnis.insert(vni);
  }
  return vnis;
}

ProvisioningAccount::Operations ProvisioningAccount::standing() const {
  Operations made;
  if (topologyRuns_) made = fabric();
  for (const auto& [domain, ranges] : maps_) {
    Op::MapAdd map{domain, {}};
    for (const auto& [range, vnis] : ranges) {
      map.ranges.push_back({{range.first, range.second}, vnis});
    }
    made.push_back(map);
  }
  for (const std::string& port : switches_.at("s1").members) {
    made.push_back(Op::MemberAdd{"s1", group, port});
  }
  const auto ask = [&](const Host::RequestName& name, const Request& request) {
    if (!request.running) return;
    made.push_back(Op::RequestNew{name});
    for (const auto& [vlan, of] : request.vlans) {
      made.push_back(Op::VlanAdd{name, vlan});
      for (const U32 vni : of.vnis) made.push_back(Op::VniAdd{name, vlan, vni});
      for (const DomainName& domain : of.domains) {
        made.push_back(Op::DomainAdd{name, vlan, domain});
      }
    }
    if (request.native) {
      made.push_back(Op::Native{std::get<PortRequestName>(name), request.native});
    }
    made.push_back(Op::RequestStart{name});
  };
  for (const auto& [name, request] : hostRequests_) ask(name, request);
  for (const auto& [name, request] : portRequests_) ask(name, request);
  for (const auto& [name, one] : switches_) {
    made.push_back(Op::SwitchNew{name});
    for (const auto& [vtep, there] : one.statuses) made.push_back(Op::VtepAdd{name, vtep});
  }
  for (const std::string& name : followed()) {
    made.push_back(Op::SwitchStart{name});
    made.push_back(Op::SwitchAnnounce{name});
  }
  return made;
}

ProvisioningAccount::Outputs ProvisioningAccount::rebuilt(const std::string& name) const {
  const Switch& one = switches_.at(name);
  Outputs made;
  if (!topologyRuns_) {
    // Only a client's request brings the element, with a port that nothing provisions.
    const bool isThere = std::any_of(
        portRequests_.begin(), portRequests_.end(),
        [&](const auto& of) { return of.second.running && of.first.switchName == name; });
    if (!isThere) return made;
  }
  for (const auto& [vtep, there] : one.statuses) made.vteps.at(vtep, {});
  for (const auto& [port, entry] : one.ports) {
    const AskedVlans asked = askedOn(name, port);
    for (const auto& [vlan, of] : asked) {
      if (port != group) made.vlans.insert(vlan);
      if (member(one, port)) continue;
      made.allowed[port].insert(vlan);
      const std::set<U32> vnis = wantedVnis(name, port, vlan);
      if (vnis.size() != 1) continue;
      for (auto& [vtep, mapping] : made.vteps) mapping[{port, vlan}] = *vnis.begin();
    }
    std::set<U32> natives;
    for (const auto& [request, of] : portRequests_) {
      if (request.switchName == name && request.interface == port && of.running &&
          of.native.value_or(0) != 0) {
        natives.insert(*of.native);
      }
    }
    if (topologyRuns_ && natives.size() == 1) made.native[port] = *natives.begin();
  }
  return made;
}

std::vector<ProvisioningAccount::Difference> ProvisioningAccount::differences(
    const std::string& name) const {
  const Switch& one = switches_.at(name);
  const Outputs& now = one.outputs;
  const Outputs then = rebuilt(name);
  std::vector<Difference> all;
  const auto outOfLists = [](U32 vlan) { return vlan == 0 || vlan > 4094; };
  const auto eachDifference = [](const std::set<U32>& a, const std::set<U32>& b, auto f) {
    std::set<U32> either = a;
    either.insert(b.begin(), b.end());
    for (const U32 vlan : either) {
      if (a.contains(vlan) != b.contains(vlan)) f(vlan);
    }
  };
  eachDifference(now.vlans, then.vlans, [&](U32 vlan) {
    Names rules;
    if (outOfLists(vlan)) rules.insert(listsUpTo4094);
    all.push_back({"vlanList " + std::to_string(vlan), rules});
  });

  Names ports;
  for (const auto* const outputs : {&now, &then}) {
    for (const auto& [port, list] : outputs->allowed) ports.insert(port);
    for (const auto& [port, vlan] : outputs->native) ports.insert(port);
  }
  for (const std::string& port : ports) {
    const auto listed = [&](const Outputs& outputs) {
      const auto found = outputs.allowed.find(port);
      return found == outputs.allowed.end() ? std::set<U32>() : found->second;
    };
    eachDifference(listed(now), listed(then), [&](U32 vlan) {
      Names rules;
      if (member(one, port)) {
        rules.insert(membersAreSilent);
      } else if (outOfLists(vlan)) {
        rules.insert(listsUpTo4094);
      }
      all.push_back({"portAllowedVlanList " + port + " " + std::to_string(vlan), rules});
    });
    const auto native = [&](const Outputs& outputs) {
      const auto found = outputs.native.find(port);
      return found == outputs.native.end() ? std::optional<U32>() : found->second;
    };
    if (native(now) == native(then)) continue;
    Names rules;
    if (member(one, port)) {
      rules.insert(membersAreSilent);
    } else if (one.ports.contains(port) && one.ports.find(port)->second.native.empty()) {
      rules.insert(nativesOfTheModel);
    } else if (!topologyRuns_ && one.ports.contains(port)) {
      rules.insert(topologyLeaves);
    }
    all.push_back({"portNativeVlan " + port, rules});
  }

  for (const auto& [vtep, mapping] : now.vteps) {
    if (!then.vteps.contains(vtep)) {
      Names rules;
      if (!one.statuses.contains(vtep)) {
        rules.insert(statusGone);
      } else if (!topologyRuns_) {
        rules.insert(topologyLeaves);
      }
      all.push_back({"vtepConfig " + vtep, rules});
      continue;
    }
    const Mapping& other = then.vteps.find(vtep)->second;
    std::set<std::pair<std::string, U32>> pairs;
    for (const Mapping* const each : {&mapping, &other}) {
      for (const auto& [pair, vni] : *each) pairs.insert(pair);
    }
    for (const auto& pair : pairs) {
      const auto a = mapping.find(pair);
      const auto b = other.find(pair);
      if (a != mapping.end() && b != other.end() && a->second == b->second) continue;
      const auto& [port, vlan] = pair;
      Names rules;
      if (const auto noted = one.rules.find({vtep, port, vlan}); noted != one.rules.end()) {
        rules = noted->second;
      }
      // What the VLAN has in the model is not what it should have.
      std::set<U32> vnis;
      if (const auto at = one.ports.find(port); at != one.ports.end()) {
        const auto entry = at->second.vlans.find(vlan);
        if (entry != at->second.vlans.end()) {
          for (const auto& [vni, names] : entry->second.vnis) vnis.insert(vni);
        }
      }
      const auto noted = one.vniRules.find(pair);
      if (vnis != wantedVnis(name, port, vlan) && noted != one.vniRules.end()) {
        rules.insert(noted->second.begin(), noted->second.end());
      }
      if (member(one, port) && rules.empty() && one.rules.contains({"", port, 0})) {
        rules.insert(membersAreSilent);
      }
      all.push_back({"vtepConfig " + vtep + " " + port + " " + std::to_string(vlan), rules});
    }
  }
  for (const auto& [vtep, mapping] : then.vteps) {
    if (!now.vteps.contains(vtep)) all.push_back({"vtepConfig " + vtep + " is missing", {}});
  }
  return all;
}

}  // namespace Fabrion::Test
