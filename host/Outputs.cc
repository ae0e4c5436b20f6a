#include "host/Outputs.h"

#include "platform/BrindleUtils/VlanIdSet.h"

namespace Fabrion::Host {

namespace {

constexpr U16 lowest = 0;
constexpr U16 highest = 0xffff;

SwitchOutputs outputsOf(const Switches::Switch& one) {
  SwitchOutputs outputs;
  const ControllerProxyAgent::PortVlanConfigV1& config = *one.portVlanConfig;
  for (const auto& entry : config.portAllowedVlanList().items()) {
    outputs.allowedVlans.emplace(entry.key().view(), vlansOf(entry.value().value().view()));
  }
  for (const auto& entry : config.portNativeVlan().items()) {
    outputs.nativeVlan.emplace(entry.key().view(), entry.value().value());
  }
  outputs.vlans = vlansOf(config.vlanList().value().view());
  for (const auto& vtep : one.vtepConfigDir->vtepConfig().items()) {
    SwitchOutputs::MappingsOfPort& ports = outputs.vteps[std::string(vtep.key().view())];
    for (const auto& entry : vtep.value()->vlanToVniMap().items()) {
      ports[std::string(entry.key().port().view())].emplace(entry.key().vlan().value(),
                                                            entry.value().value());
    }
  }
  return outputs;
}

}  // namespace

std::string listOf(const Vlans& vlans) {
  const auto set = BrindleUtils::VlanIdSetIs();
  for (const U16 vlan : vlans) set->doAdd(vlan);
  return std::string(set->multiRangeString().view());
}

Vlans vlansOf(std::string_view list) {
  const auto set = BrindleUtils::VlanIdSetIs();
  set->multiRangeStringIs(Nimbo::String(list));
  Vlans vlans;
  set->forEach(lowest, highest, [&vlans](U16 vlan) { vlans.push_back(vlan); });
  return vlans;
}

FabricOutputs outputsOf(const Controller& controller) {
  FabricOutputs outputs;
  for (const auto& [name, one] : controller.switches()) outputs.emplace(name, outputsOf(one));
  return outputs;
}

}  // namespace Fabrion::Host
