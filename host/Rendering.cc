#include "host/Rendering.h"

#include <algorithm>
#include <set>

namespace Fabrion::Host {

namespace {

constexpr U16 highestVlan = 4094;

bool holds(const Vlans& vlans, U16 vlan) {
  return std::binary_search(vlans.begin(), vlans.end(), vlan);
}

std::string vlanWords(U32 vlan) { return "VLAN " + std::to_string(vlan); }

// Takes the outputs of one switch apart and checks what no target can word.
class PortReading {
 public:
  PortReading(const Node& node, const SwitchOutputs& outputs, Refusals& refusals)
      : where_("switch " + node.name), node_(node), outputs_(outputs), refusals_(refusals) {}

  std::vector<RenderedPort> read() {
    std::set<std::string> members;
    for (const PortGroup& group : node_.groups) {
      members.insert(group.members.begin(), group.members.end());
    }
    std::vector<RenderedPort> ports;
    for (const std::string& port : node_.ports) {
      if (members.count(port) == 0) ports.push_back(filled({port}));
    }
    for (const PortGroup& group : node_.groups) {
      ports.push_back(filled({group.name, true, group.members}));
    }
    checkVlans(where_, outputs_.vlans);
    checkNames();
    return ports;
  }

 private:
  RenderedPort filled(RenderedPort port) {
    known_.insert(port.name);
    const std::string place = placeOf(node_, port);
    const auto allowed = outputs_.allowedVlans.find(port.name);
    if (allowed != outputs_.allowedVlans.end()) port.allowed = allowed->second;
    const auto native = outputs_.nativeVlan.find(port.name);
    // 0 stands for none.
    if (native != outputs_.nativeVlan.end() && native->second != 0) port.native = native->second;
    checkVlans(place, port.allowed);
    if (port.native) checkVlans(place, {*port.native});
    for (const auto& [vtep, ports] : outputs_.vteps) {
      const auto mappings = ports.find(port.name);
      if (mappings == ports.end()) continue;
      for (const auto& [vlan, vni] : mappings->second) {
        checkVlans(place, {vlan});
        if (vni == 0) {
          refusals_.push_back(place + ", " + vlanWords(vlan) +
                              ": it is mapped to VNI 0; VXLAN networks count from 1");
        }
      }
    }
    return port;
  }

  void checkVlans(const std::string& place, const Vlans& vlans) {
    for (const U16 vlan : vlans) {
      if (vlan == 0 || vlan > highestVlan) {
        refusals_.push_back(place + ", " + vlanWords(vlan) + ": VLANs go from 1 to 4094");
      }
    }
  }

  void checkNames() {
    std::set<std::string> named;
    for (const auto& [port, vlans] : outputs_.allowedVlans) {
      if (!vlans.empty()) named.insert(port);
    }
    for (const auto& [port, vlan] : outputs_.nativeVlan) named.insert(port);
    for (const auto& [vtep, ports] : outputs_.vteps) {
      for (const auto& [port, mappings] : ports) {
        if (!mappings.empty()) named.insert(port);
      }
    }
    for (const std::string& name : named) {
      if (known_.count(name) != 0) continue;
      const bool member =
          std::find(node_.ports.begin(), node_.ports.end(), name) != node_.ports.end();
      refusals_.push_back(where_ + ", port " + name +
                          (member ? ": it has outputs of its own, and is a member of a port group"
                                  : ": it has outputs, and the switch has no such port"));
    }
  }

  const std::string where_;
  const Node& node_;
  const SwitchOutputs& outputs_;
  Refusals& refusals_;
  std::set<std::string> known_;
};

}  // namespace

bool RenderedPort::carries(U16 vlan) const { return holds(allowed, vlan) || native == vlan; }

std::string placeOf(const Node& node, const RenderedPort& port) {
  return "switch " + node.name + (port.isGroup ? ", port group " : ", port ") + port.name;
}

std::vector<RenderedPort> portsOf(const Node& node, const SwitchOutputs& outputs,
                                  Refusals& refusals) {
  return PortReading(node, outputs, refusals).read();
}

void refuseNativeNotAllowed(const Node& node, const std::vector<RenderedPort>& ports,
                            const char* why, Refusals& refusals) {
  for (const RenderedPort& port : ports) {
    if (!port.native || port.allowed.empty() || holds(port.allowed, *port.native)) continue;
    refusals.push_back(placeOf(node, port) + ", native " + vlanWords(*port.native) +
                       ": it is not among the allowed VLANs, " + listOf(port.allowed) + "; " + why);
  }
}

std::map<U16, U32> vniOfVlan(const Node& node, const std::vector<RenderedPort>& ports,
                             const SwitchOutputs::MappingsOfPort& mappings, const char* target,
                             Refusals& refusals) {
  const std::string rule =
      std::string(target) + " maps a VLAN to one VNI, on all ports of a switch";
  struct Mapped {
    U32 vni;
    const RenderedPort* by;
  };
  std::map<U16, Mapped> mapped;
  const auto vnisOn = [&mappings](const RenderedPort& port) {
    const auto found = mappings.find(port.name);
    return found == mappings.end() ? SwitchOutputs::VniOfVlan() : found->second;
  };
  for (const RenderedPort& port : ports) {
    for (const auto& [vlan, vni] : vnisOn(port)) {
      const auto& [first, isNew] = mapped.emplace(vlan, Mapped{vni, &port});
      if (isNew || first->second.vni == vni) continue;
      refusals.push_back(placeOf(node, port) + ", " + vlanWords(vlan) + ": it is mapped to VNI " +
                         std::to_string(vni) + ", and to VNI " + std::to_string(first->second.vni) +
                         " on " + first->second.by->name + "; " + rule);
    }
  }
  for (const RenderedPort& port : ports) {
    const SwitchOutputs::VniOfVlan vnis = vnisOn(port);
    for (const auto& [vlan, first] : mapped) {
      if (!port.carries(vlan) || vnis.count(vlan) != 0) continue;
      refusals.push_back(placeOf(node, port) + ", " + vlanWords(vlan) +
                         ": it is mapped to no VNI, and to VNI " + std::to_string(first.vni) +
                         " on " + first.by->name + "; " + rule);
    }
  }
  std::map<U16, U32> result;
  std::map<U32, U16> vlanOfVni;
  for (const auto& [vlan, first] : mapped) {
    result.emplace(vlan, first.vni);
    const auto& [other, isNew] = vlanOfVni.emplace(first.vni, vlan);
    if (isNew) continue;
    refusals.push_back(placeOf(node, *first.by) + ", " + vlanWords(vlan) + ": it shares VNI " +
                       std::to_string(first.vni) + " with " + vlanWords(other->second) + "; " +
                       target + " maps a VNI to one VLAN of a switch");
  }
  return result;
}

}  // namespace Fabrion::Host
