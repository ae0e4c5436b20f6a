#include "host/HandOver.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

namespace Fabrion::Host {

namespace {

template <class Map>
Map commonEntries(const Map& a, const Map& b) {
  Map common;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(),
                        std::inserter(common, common.end()));
  return common;
}

SwitchOutputs commonOf(const SwitchOutputs& right, const SwitchOutputs& present) {
  SwitchOutputs common;
  const auto vlans = [](const Vlans& a, const Vlans& b) {
    Vlans both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(both));
    return both;
  };
  common.vlans = vlans(right.vlans, present.vlans);
  for (const auto& [port, list] : right.allowedVlans) {
    const auto other = present.allowedVlans.find(port);
    if (other == present.allowedVlans.end()) continue;
    Vlans both = vlans(list, other->second);
    if (!both.empty()) common.allowedVlans.emplace(port, std::move(both));
  }
  common.nativeVlan = commonEntries(right.nativeVlan, present.nativeVlan);
  for (const auto& [vtep, ports] : right.vteps) {
    SwitchOutputs::MappingsOfPort& mappings = common.vteps[vtep];
    const auto other = present.vteps.find(vtep);
    if (other == present.vteps.end()) continue;
    for (const auto& [port, vnis] : ports) {
      const auto there = other->second.find(port);
      if (there == other->second.end()) continue;
      SwitchOutputs::VniOfVlan both = commonEntries(vnis, there->second);
      if (!both.empty()) mappings.emplace(port, std::move(both));
    }
  }
  return common;
}

std::vector<VniMapping> mappingsOf(const SwitchOutputs& outputs, const std::string& vtep) {
  std::vector<VniMapping> mappings;
  const auto ports = outputs.vteps.find(vtep);
  if (ports == outputs.vteps.end()) return mappings;
  for (const auto& [port, vnis] : ports->second) {
    for (const auto& [vlan, vni] : vnis) mappings.push_back({port, vlan, vni});
  }
  return mappings;
}

Outputs partsOf(const SwitchOutputs& outputs, const Node& node) {
  AllowedVlanLists allowed;
  for (const auto& [port, vlans] : outputs.allowedVlans) {
    allowed.listOfPort.emplace_back(port, listOf(vlans));
  }
  NativeVlans natives;
  for (const auto& [port, vlan] : outputs.nativeVlan) natives.vlanOfPort.emplace_back(port, vlan);
  VtepMappings vteps;
  for (const Vtep& vtep : node.vteps) {
    if (!outputs.vteps.contains(vtep.name)) continue;
    vteps.mappingsOfVtep.emplace_back(vtep.name, mappingsOf(outputs, vtep.name));
  }
  Outputs parts;
  if (!allowed.listOfPort.empty()) parts.emplace_back(std::move(allowed));
  if (!natives.vlanOfPort.empty()) parts.emplace_back(std::move(natives));
  if (!outputs.vlans.empty()) parts.emplace_back(SwitchVlanList{listOf(outputs.vlans)});
  if (!vteps.mappingsOfVtep.empty()) parts.emplace_back(std::move(vteps));
  return parts;
}

}  // namespace

FabricOutputs commonOf(const FabricOutputs& right, const FabricOutputs& present) {
  FabricOutputs common;
  static const SwitchOutputs none;
  for (const auto& [name, one] : right) {
    const auto other = present.find(name);
    common.emplace(name, commonOf(one, other == present.end() ? none : other->second));
  }
  return common;
}

Rebuilding handedOver(std::vector<Operation> operations, const Fabric& fabric,
                      const FabricOutputs& kept) {
  Rebuilding result;
  for (Operation& operation : operations) {
    auto* const made = std::get_if<Op::SwitchNew>(&operation);
    if (made == nullptr) {
      result.rest.push_back(std::move(operation));
      continue;
    }
    const auto outputs = kept.find(made->switchName);
    const auto node =
        std::find_if(fabric.switches.begin(), fabric.switches.end(),
                     [made](const Node& one) { return one.name == made->switchName; });
    if (outputs != kept.end() && node != fabric.switches.end()) {
      made->outputs = partsOf(outputs->second, *node);
    }
    result.outputs.push_back(std::move(operation));
  }
  return result;
}

}  // namespace Fabrion::Host
