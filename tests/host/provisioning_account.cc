// What the operations do in the account: requests, the model on the ports, and what of it the
// machines of switches write.
#include "tests/host/provisioning_account.h"

#include <algorithm>

#include "platform/BrindleUtils/VlanIdSet.h"
#include "tests/host/provisioning_rules.h"

namespace Fabrion::Test {

namespace Op = Host::Op;
using Host::DomainName;
using Host::HostRequestName;
using Host::NumberRange;
using Host::PortRequestName;
using namespace ProvisioningRules;

namespace {

const char* const group = "po1";

bool holds(const NumberRange& range, U32 vlan) { return range.low <= vlan && vlan <= range.high; }
// A port with a host behind it is there without clients.
bool hasHost(const std::string& port, const std::string& switchName) {
  return port == "e1" || (switchName == "s1" && port == "e2");
}

}  // namespace

// The model

bool ProvisioningAccount::onElement(const Switch& one, U32 vlan) const {
  return std::any_of(one.ports.begin(), one.ports.end(), [&](const auto& entry) {
    return entry.first != group && entry.second.vlans.contains(vlan);
  });
}

ProvisioningAccount::Vlan* ProvisioningAccount::vlanOf(Switch& one, const std::string& port,
                                                       U32 vlan) const {
  const auto found = one.ports.find(port);
  if (found == one.ports.end()) return nullptr;
  const auto entry = found->second.vlans.find(vlan);
  return entry == found->second.vlans.end() ? nullptr : &entry->second;
}

void ProvisioningAccount::vlanIs(Switch& one, const std::string& port, U32 vlan,
                                 const std::string& referrer) {
  auto& vlans = one.ports.find(port)->second.vlans;
  if (vlans.try_emplace(vlan).second) {
    if (member(one, port)) vlanIs(one, group, vlan, port);
    if (one.taken) {
      if (port != group) list(one, vlan);
      allow(one, port, vlan);
      one.followed.insert({port, vlan});
    }
  }
  vlanOf(one, port, vlan)->referrers.insert(referrer);
}

void ProvisioningAccount::vlanDel(Switch& one, const std::string& port, U32 vlan) {
  auto& vlans = one.ports.find(port)->second.vlans;
  const Vlan gone = vlans.at(vlan);
  vlans.erase(vlan);
  one.vniRules.erase({port, vlan});
  if (member(one, port)) {
    vlanReferrerDel(one, group, vlan, port);
    memberVlanCleanup(one, port, vlan, gone);
  }
  if (!one.taken) return;
  if (port != group) list(one, vlan);
  allow(one, port, vlan);
  one.followed.erase({port, vlan});
  firstDel(one, port, vlan);
}

void ProvisioningAccount::vlanReferrerDel(Switch& one, const std::string& port, U32 vlan,
                                          const std::string& referrer) {
  Vlan* const entry = vlanOf(one, port, vlan);
  if (entry == nullptr) return;
  entry->referrers.erase(referrer);
  if (entry->referrers.empty()) vlanDel(one, port, vlan);
}

void ProvisioningAccount::vniIs(Switch& one, const std::string& port, U32 vlan, U32 vni,
                                const std::string& referrer) {
  if (vlanOf(one, port, vlan)->vnis.try_emplace(vni).second) {
    if (member(one, port)) vniIs(one, group, vlan, vni, port);
    handleMapping(one, port, vlan, vni);
  }
  vlanOf(one, port, vlan)->vnis.at(vni).insert(referrer);
}

void ProvisioningAccount::vniDel(Switch& one, const std::string& port, U32 vlan, U32 vni) {
  vlanOf(one, port, vlan)->vnis.erase(vni);
  if (member(one, port)) vniReferrerDel(one, group, vlan, vni, port);
  handleMapping(one, port, vlan, vni);
}

void ProvisioningAccount::vniReferrerDel(Switch& one, const std::string& port, U32 vlan, U32 vni,
                                         const std::string& referrer, const char* rule) {
  Vlan* const entry = vlanOf(one, port, vlan);
  if (entry == nullptr || !entry->vnis.contains(vni)) return;
  const bool held = entry->vnis.at(vni).erase(referrer) != 0;
  if (held && rule != nullptr) {
    const auto name = std::find_if(switches_.begin(), switches_.end(),
                                   [&](const auto& other) { return &other.second == &one; });
    if (wantedVnis(name->first, port, vlan).contains(vni)) note(one, port, vlan, rule);
  }
  if (entry->vnis.at(vni).empty()) vniDel(one, port, vlan, vni);
}

void ProvisioningAccount::domainIs(Switch& one, const std::string& port, U32 vlan,
                                   const DomainName& domain, const std::string& referrer) {
  if (vlanOf(one, port, vlan)->domains.try_emplace(domain).second) {
    if (member(one, port)) domainIs(one, group, vlan, domain, port);
    if (one.taken) handleVlanDomain(one, port, vlan, domain);
  }
  vlanOf(one, port, vlan)->domains.at(domain).insert(referrer);
}

void ProvisioningAccount::domainReferrerDel(Switch& one, const std::string& port, U32 vlan,
                                            const DomainName& domain, const std::string& referrer) {
  Vlan* entry = vlanOf(one, port, vlan);
  if (entry == nullptr || !entry->domains.contains(domain)) return;
  entry->domains.at(domain).erase(referrer);
  if (!entry->domains.at(domain).empty()) return;
  entry->domains.erase(domain);
  if (member(one, port)) domainReferrerDel(one, group, vlan, domain, port);
  if (one.taken) {
    handleVlanDomain(one, port, vlan, domain);
    return;
  }
  for (const auto& [vni, names] : entry->vnis) {
    if (names.contains(domain.first)) note(one, port, vlan, mapsWhileStopped);
  }
}

void ProvisioningAccount::note(Switch& one, const std::string& port, U32 vlan, const char* rule) {
  one.vniRules[{port, vlan}].insert(rule);
  if (member(one, port)) one.vniRules[{group, vlan}].insert(rule);
}

// Members of the port group

void ProvisioningAccount::joins(Switch& one, const std::string& port) {
  if (!one.members.insert(port).second) return;
  const auto vlans = one.ports.find(port)->second.vlans;
  for (const auto& [vlan, entry] : vlans) {
    vlanIs(one, group, vlan, port);
    for (const auto& [vni, names] : entry.vnis) vniIs(one, group, vlan, vni, port);
    for (const auto& [domain, names] : entry.domains) domainIs(one, group, vlan, domain, port);
    const auto noted = one.vniRules.find({port, vlan});
    if (noted != one.vniRules.end()) {
      one.vniRules[{group, vlan}].insert(noted->second.begin(), noted->second.end());
    }
  }
  if (!one.taken) {
    one.rules[{"", port, 0}].insert(membersAreSilent);
    return;
  }
  one.outputs.allowed.erase(port);
  one.outputs.native.erase(port);
  if (one.outputs.vteps.empty()) return;
  const Mapping first = one.outputs.vteps.begin()->second;
  for (const auto& [pair, vni] : first) {
    if (pair.first == port) firstDel(one, port, pair.second);
  }
  for (const auto& [vtep, mapping] : one.outputs.vteps) {
    for (const auto& [pair, vni] : mapping) {
      if (pair.first == port) one.rules[{vtep, port, pair.second}].insert(firstVtepOnly);
    }
  }
}

void ProvisioningAccount::parts(Switch& one, const std::string& port) {
  if (!one.members.contains(port)) return;
  const auto vlans = one.ports.find(port)->second.vlans;
  for (const auto& [vlan, entry] : vlans) {
    memberVlanCleanup(one, port, vlan, entry);
    vlanReferrerDel(one, group, vlan, port);
  }
  one.members.erase(port);
  if (!one.taken) return;
  handleInterface(one, port);
  for (const auto& [vlan, entry] : vlans) {
    for (const auto& [vtep, mapping] : one.outputs.vteps) {
      one.rules[{vtep, port, vlan}].insert(partedPortsWait);
    }
  }
}

// The member's own entry decides whether the group's goes.
void ProvisioningAccount::memberVlanCleanup(Switch& one, const std::string& port, U32 vlan,
                                            const Vlan& of) {
  if (vlanOf(one, group, vlan) == nullptr) return;
  for (const auto& [vni, names] : of.vnis) {
    Vlan& to = *vlanOf(one, group, vlan);
    to.vnis.at(vni).erase(port);
    if (names.empty()) {
      vniDel(one, group, vlan, vni);
    } else if (to.vnis.at(vni).empty()) {
      note(one, group, vlan, groupsKeep);
    }
  }
  for (const auto& [domain, names] : of.domains) {
    Vlan& to = *vlanOf(one, group, vlan);
    to.domains.at(domain).erase(port);
    if (names.empty()) {
      domainReferrerDel(one, group, vlan, domain, port);
    } else if (to.domains.at(domain).empty()) {
      note(one, group, vlan, groupsKeep);
    }
  }
}

void ProvisioningAccount::portDel(Switch& one, const std::string& port) {
  if (one.taken) {
    const auto followed = one.followed;
    for (const auto& pair : followed) {
      if (pair.first != port) continue;
      one.followed.erase(pair);
      firstDel(one, port, pair.second);
    }
  }
  const Port gone = one.ports.find(port)->second;
  one.ports.erase(port);
  for (const auto& [vlan, entry] : gone.vlans) {
    one.vniRules.erase({port, vlan});
    if (one.taken) list(one, vlan);
  }
  if (!one.taken) return;
  one.outputs.allowed.erase(port);
  one.outputs.native.erase(port);
}

// The machines of switches

void ProvisioningAccount::take(Switch& one) {
  if (!one.running || one.taken) return;
  one.taken = true;
  one.followed.clear();
  for (const auto& [port, entry] : one.ports) {
    const auto vlans = entry.vlans;
    for (const auto& [vlan, of] : vlans) {
      for (const auto& [domain, names] : of.domains) handleVlanDomain(one, port, vlan, domain);
      one.followed.insert({port, vlan});
    }
  }
  const auto isGone = [&](const auto& output) { return !one.ports.contains(output.first); };
  std::erase_if(one.outputs.allowed, isGone);
  std::erase_if(one.outputs.native, isGone);
  for (const auto& [port, entry] : one.ports) handleInterface(one, port);
  for (U32 vlan = 1; vlan <= 4094; ++vlan) list(one, vlan);
  for (const auto& [vtep, there] : one.statuses) handleVtep(one, vtep);
}

void ProvisioningAccount::stop(Switch& one) {
  one.running = false;
  if (!one.taken) return;
  const auto followed = one.followed;
  for (const auto& [port, vlan] : followed) firstDel(one, port, vlan);
  one.followed.clear();
  one.taken = false;
}

void ProvisioningAccount::handleInterface(Switch& one, const std::string& port) {
  if (member(one, port)) return;
  for (U32 vlan = 1; vlan <= 4094; ++vlan) allow(one, port, vlan);
  if (!one.ports.find(port)->second.native.empty()) handleNative(one, port);
}

void ProvisioningAccount::allow(Switch& one, const std::string& port, U32 vlan) {
  if (member(one, port)) return;
  if (vlanOf(one, port, vlan) != nullptr) {
    one.outputs.allowed[port].insert(vlan);
    return;
  }
  const auto found = one.outputs.allowed.find(port);
  if (found == one.outputs.allowed.end()) return;
  found->second.erase(vlan);
  if (found->second.empty()) one.outputs.allowed.erase(found);
}

void ProvisioningAccount::list(Switch& one, U32 vlan) {
  if (onElement(one, vlan)) {
    one.outputs.vlans.insert(vlan);
  } else {
    one.outputs.vlans.erase(vlan);
  }
}

void ProvisioningAccount::handleNative(Switch& one, const std::string& port) {
  const auto& natives = one.ports.find(port)->second.native;
  if (natives.size() == 1) {
    one.outputs.native[port] = natives.begin()->first;
  } else {
    one.outputs.native.erase(port);
  }
}

void ProvisioningAccount::handleVlanDomain(Switch& one, const std::string& port, U32 vlan,
                                           const DomainName& domain) {
  const U32 vni = staticVni(domain, vlan);
  const Vlan& entry = *vlanOf(one, port, vlan);
  if (entry.domains.contains(domain)) {
    if (vni != 0) vniIs(one, port, vlan, vni, domain.first);
    return;
  }
  const auto vnis = entry.vnis;
  for (const auto& [mapped, names] : vnis) {
    vniReferrerDel(one, port, vlan, mapped, domain.first, domainsShareAName);
  }
}

void ProvisioningAccount::handleMapping(Switch& one, const std::string& port, U32 vlan, U32 vni) {
  if (!one.followed.contains({port, vlan}) || member(one, port)) return;
  const auto& vnis = vlanOf(one, port, vlan)->vnis;
  if (vnis.size() > 1) {
    firstDel(one, port, vlan);
  } else if (vnis.contains(vni)) {
    firstIs(one, port, vlan, vni);
  } else {
    firstDel(one, port, vlan);
    if (vnis.size() == 1) firstIs(one, port, vlan, vnis.begin()->first);
  }
}

void ProvisioningAccount::handleVtep(Switch& one, const std::string& vtep) {
  if (!one.taken) return;
  one.outputs.vteps.at(vtep, {});
  for (const auto& [port, entry] : one.ports) {
    if (member(one, port)) continue;
    for (const auto& [vlan, of] : entry.vlans) {
      if (of.vnis.size() > 1) firstDel(one, port, vlan);
      if (of.vnis.size() != 1) continue;
      one.outputs.vteps.find(vtep)->second[{port, vlan}] = of.vnis.begin()->first;
      one.rules.erase({vtep, port, vlan});
    }
  }
}

void ProvisioningAccount::firstIs(Switch& one, const std::string& port, U32 vlan, U32 vni) {
  if (one.outputs.vteps.empty()) return;
  firstDel(one, port, vlan);
  one.outputs.vteps.begin()->second[{port, vlan}] = vni;
}

void ProvisioningAccount::firstDel(Switch& one, const std::string& port, U32 vlan) {
  bool first = true;
  for (auto& [vtep, mapping] : one.outputs.vteps) {
    if (first) {
      mapping.erase({port, vlan});
      one.rules.erase({vtep, port, vlan});
    } else {
      one.rules[{vtep, port, vlan}].insert(firstVtepOnly);
    }
    first = false;
  }
}

// A change of the domain's map: `ranges` of VLANs are looked at again.
void ProvisioningAccount::mapChanged(const DomainName& domain, const Ranges& before,
                                     const std::vector<NumberRange>& ranges) {
  const auto vniBefore = [&](U32 vlan) {
    const Ranges now = maps_.contains(domain) ? maps_.find(domain)->second : Ranges();
    maps_.at(domain, {}) = before;
    const U32 vni = staticVni(domain, vlan);
    maps_.find(domain)->second = now;
    return vni;
  };
  for (auto& [name, one] : switches_) {
    for (const auto& [port, entry] : one.ports) {
      const auto vlans = entry.vlans;
      for (const auto& [vlan, of] : vlans) {
        const U32 old = vniBefore(vlan);
        if (of.domains.contains(domain) && old != staticVni(domain, vlan)) {
          note(one, port, vlan, one.taken ? rangesLeaveTheirVni : mapsWhileStopped);
        }
        for (const NumberRange& range : ranges) {
          if (one.taken && holds(range, vlan)) handleVlanDomain(one, port, vlan, domain);
        }
      }
    }
  }
}

void ProvisioningAccount::mapGone(const DomainName& domain) {
  for (auto& [name, one] : switches_) {
    for (const auto& [port, entry] : one.ports) {
      const auto vlans = entry.vlans;
      for (const auto& [vlan, of] : vlans) {
        for (const auto& [vni, names] : of.vnis) {
          if (one.taken) {
            vniReferrerDel(one, port, vlan, vni, domain.first, domainsShareAName);
          } else if (names.contains(domain.first)) {
            note(one, port, vlan, mapsWhileStopped);
          }
        }
      }
    }
  }
}

// Clients

void ProvisioningAccount::startPort(const PortRequestName& name) {
  Switch& one = switches_.at(name.switchName);
  Request& request = portRequests_.at(name);
  one.ports.at(name.interface, {}).clients.insert(name.client);
  for (const auto& [vlan, asked] : request.vlans) {
    vlanIs(one, name.interface, vlan, name.client);
    for (const auto& domain : asked.domains) {
      domainIs(one, name.interface, vlan, domain, nameOf(domain));
    }
    for (const U32 vni : asked.vnis) vniIs(one, name.interface, vlan, vni, name.client);
  }
  askNative(name, request);
}

void ProvisioningAccount::stopPort(const PortRequestName& name) {
  Switch& one = switches_.at(name.switchName);
  Port& port = one.ports.find(name.interface)->second;
  port.clients.erase(name.client);
  if (port.clients.empty() && !hasHost(name.interface, name.switchName)) {
    portDel(one, name.interface);
    return;
  }
  const Request& request = portRequests_.at(name);
  for (const auto& [vlan, asked] : request.vlans) {
    portVlanCleanup(one, name, vlan, asked);
    vlanReferrerDel(one, name.interface, vlan, name.client);
  }
  askNative(name, {});
}

// A VLAN of the request that goes, while others may keep it on the port.
void ProvisioningAccount::portVlanCleanup(Switch& one, const PortRequestName& name, U32 vlan,
                                          const AskedVlan& asked) {
  if (vlanOf(one, name.interface, vlan) == nullptr) return;
  for (const auto& domain : asked.domains) {
    domainReferrerDel(one, name.interface, vlan, domain, name.client);
    const Vlan& entry = *vlanOf(one, name.interface, vlan);
    if (entry.domains.contains(domain)) note(one, name.interface, vlan, portDomainsStay);
  }
  for (const U32 vni : asked.vnis) {
    vniReferrerDel(one, name.interface, vlan, vni, name.client, domainsShareAName);
  }
}

void ProvisioningAccount::askNative(const PortRequestName& name, const Request& request) {
  Switch& one = switches_.at(name.switchName);
  auto& natives = one.ports.find(name.interface)->second.native;
  const auto changed = [&] {
    if (one.taken) handleNative(one, name.interface);
  };
  const auto before = natives;
  for (const auto& [vlan, names] : before) {
    natives.at(vlan).erase(name.client);
    if (!natives.at(vlan).empty()) continue;
    natives.erase(vlan);
    changed();
  }
  if (request.native.value_or(0) == 0) return;
  if (natives.try_emplace(*request.native).second) changed();
  natives.at(*request.native).insert(name.client);
}

template <class F>
void ProvisioningAccount::behind(const std::string& hostname, F f) {
  if (hostname == "web") {
    for (const char* name : {"s1", "s2"}) f(switches_.at(name), "e1", "h1");
  } else {
    f(switches_.at("s1"), "e2", "h2");
  }
}

void ProvisioningAccount::hostVlanIs(const HostRequestName& name, U32 vlan) {
  if (merged_[name.hostname].try_emplace(vlan).second) {
    behind(name.hostname,
           [&](Switch& one, const char* port, const char* host) { vlanIs(one, port, vlan, host); });
  }
  merged_[name.hostname].at(vlan).referrers.insert(name.client);
}

void ProvisioningAccount::hostVniIs(const HostRequestName& name, U32 vlan, U32 vni) {
  auto& vnis = merged_[name.hostname].at(vlan).vnis;
  if (vnis.try_emplace(vni).second) {
    behind(name.hostname, [&](Switch& one, const char* port, const char* host) {
      vniIs(one, port, vlan, vni, host);
    });
  }
  vnis.at(vni).insert(name.client);
}

void ProvisioningAccount::hostVniDel(const HostRequestName& name, U32 vlan, U32 vni) {
  auto& vnis = merged_[name.hostname].at(vlan).vnis;
  vnis.at(vni).erase(name.client);
  if (!vnis.at(vni).empty()) return;
  vnis.erase(vni);
  behind(name.hostname, [&](Switch& one, const char* port, const char* host) {
    vniReferrerDel(one, port, vlan, vni, host);
  });
}

void ProvisioningAccount::hostDomainIs(const HostRequestName& name, U32 vlan,
                                       const DomainName& domain) {
  auto& domains = merged_[name.hostname].at(vlan).domains;
  if (domains.try_emplace(domain).second) {
    behind(name.hostname, [&](Switch& one, const char* port, const char* host) {
      domainIs(one, port, vlan, domain, host);
    });
  }
  domains.at(domain).insert(name.client);
}

void ProvisioningAccount::hostDomainDel(const HostRequestName& name, U32 vlan,
                                        const DomainName& domain) {
  auto& domains = merged_[name.hostname].at(vlan).domains;
  domains.at(domain).erase(name.client);
  if (!domains.at(domain).empty()) return;
  domains.erase(domain);
  behind(name.hostname, [&](Switch& one, const char* port, const char* host) {
    domainReferrerDel(one, port, vlan, domain, host);
  });
}

void ProvisioningAccount::hostVlanDel(const HostRequestName& name, U32 vlan,
                                      const AskedVlan& asked) {
  for (const U32 vni : asked.vnis) hostVniDel(name, vlan, vni);
  for (const auto& domain : asked.domains) hostDomainDel(name, vlan, domain);
  auto& vlans = merged_[name.hostname];
  vlans.at(vlan).referrers.erase(name.client);
  if (!vlans.at(vlan).referrers.empty()) return;
  vlans.erase(vlan);
  behind(name.hostname, [&](Switch& one, const char* port, const char* host) {
    vlanReferrerDel(one, port, vlan, host);
  });
}

// Operations

struct ProvisioningAccount::Apply {
  ProvisioningAccount& to;

  template <class T>
  void operator()(const T& /*op*/) const {}

  // Nothing moves VLANs any more, and all are taken off the ports, as is what edges brought.
  void operator()(const Op::TopologyStop& /*op*/) const {
    to.topologyRuns_ = false;
    for (auto& [name, one] : to.switches_) {
      for (const char* port : {"e1", "e2", "e3", group}) {
        const auto found = one.ports.find(port);
        if (found == one.ports.end()) continue;
        const auto vlans = found->second.vlans;
        for (const auto& [vlan, entry] : vlans) {
          if (to.vlanOf(one, port, vlan) != nullptr) to.vlanDel(one, port, vlan);
        }
        one.members.erase(port);
        if (hasHost(port, name)) to.portDel(one, port);
      }
    }
  }

  void operator()(const Op::SwitchNew& op) const {
    Switch& one = to.switches_.at(op.switchName);
    Outputs& outputs = one.outputs;
    const auto vlansOf = [](const std::string& text) {
      const auto set = BrindleUtils::VlanIdSetIs();
      BrindleUtils::computeVlanSet(set, Nimbo::String(text));
      std::set<U32> vlans;
      set->forEach(0, 4095, [&](U16 vlan) { vlans.insert(vlan); });
      return vlans;
    };
    for (const Host::OutputPart& part : op.outputs) {
      if (const auto* const lists = std::get_if<Host::AllowedVlanLists>(&part)) {
        for (const auto& [port, text] : lists->listOfPort) outputs.allowed[port] = vlansOf(text);
      } else if (const auto* const natives = std::get_if<Host::NativeVlans>(&part)) {
        for (const auto& [port, vlan] : natives->vlanOfPort) outputs.native[port] = vlan;
      } else if (const auto* const list = std::get_if<Host::SwitchVlanList>(&part)) {
        outputs.vlans = vlansOf(list->list);
      } else {
        for (const auto& [vtep, mappings] : std::get<Host::VtepMappings>(part).mappingsOfVtep) {
          for (const auto& [port, vlan, vni] : mappings) {
            outputs.vteps.at(vtep, {})[{port, vlan}] = vni;
            one.rules[{vtep, port, vlan}].insert(vtepsOnlyAdd);
          }
        }
      }
    }
  }
  void operator()(const Op::SwitchStart& op) const {
    to.switches_.at(op.switchName).running = true;
  }
  void operator()(const Op::SwitchAnnounce& op) const { to.take(to.switches_.at(op.switchName)); }
  void operator()(const Op::SwitchStop& op) const { to.stop(to.switches_.at(op.switchName)); }
  void operator()(const Op::VtepAdd& op) const {
    Switch& one = to.switches_.at(op.switchName);
    one.statuses.at(op.vtep, true);
    to.handleVtep(one, op.vtep);
  }
  void operator()(const Op::VtepDel& op) const {
    to.switches_.at(op.switchName).statuses.erase(op.vtep);
  }
  void operator()(const Op::MemberAdd& op) const { to.joins(to.switches_.at(op.host), op.port); }
  void operator()(const Op::MemberDel& op) const { to.parts(to.switches_.at(op.host), op.port); }

  void operator()(const Op::MapAdd& op) const {
    Ranges& ranges = to.maps_.at(op.domain, {});
    const Ranges before = ranges;
    ranges = {};
    std::vector<NumberRange> changed;
    for (const Host::RangeMapping& mapping : op.ranges) {
      ranges.at({mapping.vlan.low, mapping.vlan.high}, {}) = mapping.vni;
      changed.push_back(mapping.vlan);
    }
    to.mapChanged(op.domain, before, changed);
  }
  void operator()(const Op::MapDel& op) const {
    to.maps_.erase(op.domain);
    to.mapGone(op.domain);
  }
  void operator()(const Op::RangeSet& op) const {
    Ranges& ranges = to.maps_.find(op.domain)->second;
    const Ranges before = ranges;
    const auto found = ranges.find({op.vlan.low, op.vlan.high});
    if (found != ranges.end() && found->second == op.vni) return;
    ranges.at({op.vlan.low, op.vlan.high}, {}) = op.vni;
    to.mapChanged(op.domain, before, {op.vlan});
  }
  void operator()(const Op::RangeDel& op) const {
    Ranges& ranges = to.maps_.find(op.domain)->second;
    const Ranges before = ranges;
    if (ranges.erase({op.vlan.low, op.vlan.high})) to.mapChanged(op.domain, before, {op.vlan});
  }

  void operator()(const Op::RequestNew& op) const { request(op.request); }
  void operator()(const Op::RequestStart& op) const {
    Request& one = request(op.request);
    one.running = true;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      to.startPort(*onPort);
      return;
    }
    const auto& name = std::get<HostRequestName>(op.request);
    for (const auto& [vlan, asked] : one.vlans) {
      to.hostVlanIs(name, vlan);
      for (const auto& domain : asked.domains) to.hostDomainIs(name, vlan, domain);
      for (const U32 vni : asked.vnis) to.hostVniIs(name, vlan, vni);
    }
  }
  void operator()(const Op::RequestStop& op) const {
    Request& one = request(op.request);
    one.running = false;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      to.stopPort(*onPort);
      return;
    }
    for (const auto& [vlan, asked] : one.vlans) {
      to.hostVlanDel(std::get<HostRequestName>(op.request), vlan, asked);
    }
  }
  void operator()(const Op::VlanAdd& op) const {
    Request& one = request(op.request);
    if (!one.vlans.try_emplace(op.vlan).second || !one.running) return;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      to.vlanIs(to.switches_.at(onPort->switchName), onPort->interface, op.vlan, onPort->client);
    } else {
      to.hostVlanIs(std::get<HostRequestName>(op.request), op.vlan);
    }
  }
  void operator()(const Op::VlanDel& op) const {
    Request& one = request(op.request);
    const auto found = one.vlans.find(op.vlan);
    if (found == one.vlans.end()) return;
    const AskedVlan asked = found->second;
    one.vlans.erase(found);
    if (!one.running) return;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      Switch& on = to.switches_.at(onPort->switchName);
      to.vlanReferrerDel(on, onPort->interface, op.vlan, onPort->client);
      to.portVlanCleanup(on, *onPort, op.vlan, asked);
    } else {
      to.hostVlanDel(std::get<HostRequestName>(op.request), op.vlan, asked);
    }
  }
  void operator()(const Op::VniAdd& op) const {
    Request& one = request(op.request);
    if (!one.vlans.at(op.vlan).vnis.insert(op.vni).second || !one.running) return;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      to.vniIs(to.switches_.at(onPort->switchName), onPort->interface, op.vlan, op.vni,
               onPort->client);
    } else {
      to.hostVniIs(std::get<HostRequestName>(op.request), op.vlan, op.vni);
    }
  }
  void operator()(const Op::VniDel& op) const {
    Request& one = request(op.request);
    if (one.vlans.at(op.vlan).vnis.erase(op.vni) == 0 || !one.running) return;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      to.vniReferrerDel(to.switches_.at(onPort->switchName), onPort->interface, op.vlan, op.vni,
                        onPort->client, domainsShareAName);
    } else {
      to.hostVniDel(std::get<HostRequestName>(op.request), op.vlan, op.vni);
    }
  }
  void operator()(const Op::DomainAdd& op) const {
    Request& one = request(op.request);
    if (!one.vlans.at(op.vlan).domains.insert(op.domain).second || !one.running) return;
    if (const auto* const onPort = std::get_if<PortRequestName>(&op.request)) {
      to.domainIs(to.switches_.at(onPort->switchName), onPort->interface, op.vlan, op.domain,
                  nameOf(op.domain));
    } else {
      to.hostDomainIs(std::get<HostRequestName>(op.request), op.vlan, op.domain);
    }
  }
  void operator()(const Op::DomainDel& op) const {
    Request& one = request(op.request);
    if (one.vlans.at(op.vlan).domains.erase(op.domain) == 0 || !one.running) return;
    const auto* const onPort = std::get_if<PortRequestName>(&op.request);
    if (onPort == nullptr) {
      to.hostDomainDel(std::get<HostRequestName>(op.request), op.vlan, op.domain);
      return;
    }
    for (const auto& [name, other] : to.portRequests_) {
      const auto found = other.vlans.find(op.vlan);
      if (other.running && name.switchName == onPort->switchName &&
          name.interface == onPort->interface && found != other.vlans.end() &&
          found->second.domains.contains(op.domain)) {
        to.note(to.switches_.at(name.switchName), name.interface, op.vlan, portDomainsAreShared);
      }
    }
    to.domainReferrerDel(to.switches_.at(onPort->switchName), onPort->interface, op.vlan, op.domain,
                         nameOf(op.domain));
  }
  void operator()(const Op::Native& op) const {
    Request& one = request(op.request);
    const bool changed = op.vlan || one.native;
    one.native = op.vlan;
    if (changed && one.running) to.askNative(op.request, one);
  }

 private:
  Request& request(const Host::RequestName& name) const {
    if (const auto* const onHost = std::get_if<HostRequestName>(&name)) {
      return to.hostRequests_[*onHost];
    }
    return to.portRequests_[std::get<PortRequestName>(name)];
  }
};

void ProvisioningAccount::apply(const Host::Operation& operation) {
  std::visit(Apply{*this}, operation);
}

}  // namespace Fabrion::Test
