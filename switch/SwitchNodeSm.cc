#include "switch/SwitchNodeSm.h"

#include "agent/Trace.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

using Velo::required;

SwitchNodeSm::SwitchNodeSm(
    const Nimbo::String& switchId,
    const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>& portVlanConfig,
    const Velo::Ptr<VxlanController::VtepConfigDirV2>& vtepConfigDir,
    const Velo::Ptr<const VxlanController::VtepStatusDirV2>& vtepStatusDir,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<const Fabrion::Config>& config)
    : switchId_(switchId), portVlanConfig_(portVlanConfig), vtepConfigDir_(vtepConfigDir) {
  vtepStatusDir_.constructorArgumentIs(vtepStatusDir);
  networkElementCollection_.constructorArgumentIs(networkElementCollection);
  config_.constructorArgumentIs(config);
}

Velo::Ptr<SwitchNodeSm> SwitchNodeSm::SwitchNodeSmIs(
    const Nimbo::String& switchId,
    const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>& portVlanConfig,
    const Velo::Ptr<VxlanController::VtepConfigDirV2>& vtepConfigDir,
    const Velo::Ptr<const VxlanController::VtepStatusDirV2>& vtepStatusDir,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<const Fabrion::Config>& config) {
  return create(switchId, portVlanConfig, vtepConfigDir, vtepStatusDir, networkElementCollection,
                config);
}

Velo::Ptr<SwitchNodeSm> switchNodeSmFactory(
    const Nimbo::String& switchId,
    const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>& portVlanConfig,
    const Velo::Ptr<VxlanController::VtepConfigDirV2>& vtepConfigDir,
    const Velo::Ptr<const VxlanController::VtepStatusDirV2>& vtepStatusDir,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<const Fabrion::Config>& config) {
  return SwitchNodeSm::SwitchNodeSmIs(switchId, portVlanConfig, vtepConfigDir, vtepStatusDir,
                                      networkElementCollection, config);
}

void SwitchNodeSm::handleInitialized() { FABRION_TRACE(9, "%s", switchId_); }

// The port configuration outlives the machine: the switch goes on with it, and the next pass
// reconciles it.
void SwitchNodeSm::doCleanup() { FABRION_TRACE(9, "%s", switchId_); }

void SwitchNodeSm::handleNetworkElement(const Nimbo::String& name) {
  FABRION_TRACE(9, "%s %s", switchId_, name);
  const auto element = networkElementCollection()->networkElement(name);
  // An element that is removed is kept here: its output stands until another one of the name comes.
  if (!element) return;
  if (element->name() != switchId_) return;
  FABRION_TRACE(3, "%s Setting %s to %s", switchId_, name, switchId_);
  switchElementIs(element);
}

void SwitchNodeSm::handleSwitchElement() {
  FABRION_TRACE(9, "%s", switchId_);
  if (!switchElement()) return;
  // The element's machines answer inside this call, and what they bring is on the element before
  // the steps below.
  switchElement()->isSwitchElementIs(true);
  for (const Nimbo::String& name : portVlanConfig_->portAllowedVlanList().keys()) {
    if (!switchElement()->interface(name)) portVlanConfig_->portAllowedVlanListDel(name);
  }
  for (const Nimbo::String& name : portVlanConfig_->portNativeVlan().keys()) {
    if (!switchElement()->interface(name)) portVlanConfig_->portNativeVlanDel(name);
  }
  for (const Nimbo::String& name : switchElement()->interface().keys()) {
    FABRION_TRACE(3, "%s Interface: %s", switchId_, name);
    handleInterface(name);
  }
  // Built once: a VLAN that a handler takes out of the output has its turn all the same.
  const auto written = BrindleUtils::VlanIdSetIs();
  BrindleUtils::computeVlanSet(written, portVlanConfig_->vlanList().value());
  written->forEach(1, 4094, [this](U16 vlan) { handleVlan(vlan); });
  for (const U32 vlan : switchElement()->vlan().keys()) {
    FABRION_TRACE(3, "%s Vlan: %s", switchId_, vlan);
    handleVlan(vlan);
  }
  // VTEPs whose status came before the element were put off.
  for (const Nimbo::String& vtep : vtepStatusDir()->vtepStatusV2().keys()) handleVtepConfig(vtep);
}

void SwitchNodeSm::handleVlan(U32 vlan) {
  FABRION_TRACE(9, "%s %s", switchId_, vlan);
  const auto vlans = BrindleUtils::VlanIdSetIs();
  BrindleUtils::computeVlanSet(vlans, portVlanConfig_->vlanList().value());
  if (required(switchElement(), "the switch element")->vlan(vlan)) {
    FABRION_TRACE(3, "Adding VLAN: %s to vlan set %s", vlan, vlans->multiRangeString());
    vlans->doAdd(static_cast<U16>(vlan));
  } else {
    FABRION_TRACE(3, "Removing VLAN: %s from vlan set %s", vlan, vlans->multiRangeString());
    vlans->doRemove(static_cast<U16>(vlan));
  }
  portVlanConfig_->vlanListIs(ControllerProxyAgent::VlanListV1(vlans->multiRangeString()));
}

bool SwitchNodeSm::isMemberInterface(const Nimbo::String& name) const {
  const auto element = switchElement();
  if (!element) return false;
  const auto port = element->physicalInterface(name);
  if (!port) return false;
  const bool isMember = static_cast<bool>(port->portGroup());
  FABRION_TRACE(9, "%s %s", switchId_, isMember);
  return isMember;
}

// Generic access

struct SwitchNodeSm::Tables {
  using Row = Velo::TypeImpl<SwitchNodeSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&SwitchNodeSm::switchId_>("switchId"),
      Row::argument<&SwitchNodeSm::portVlanConfig_>("portVlanConfig"),
      Row::argument<&SwitchNodeSm::vtepConfigDir_>("vtepConfigDir"),
      Row::argumentReactor<&SwitchNodeSm::vtepStatusDir_>("vtepStatusDir"),
      Row::argumentReactor<&SwitchNodeSm::networkElementCollection_>("networkElementCollection"),
      Row::argumentReactor<&SwitchNodeSm::config_>("config"),
      Row::handler<&SwitchNodeSm::handleSwitchElement>("handleSwitchElement"),
      Row::settableReactor<&SwitchNodeSm::switchElement_, &SwitchNodeSm::switchElementIs,
                           &SwitchNodeSm::switchElementDel>("switchElement"),
      Row::constFunction<&SwitchNodeSm::isMemberInterface>("isMemberInterface", {"intfName"}),
      Row::reactors<&SwitchNodeSm::interface_>("interface"),
      Row::reactors<&SwitchNodeSm::physicalInterface_>("physicalInterface"),
      Row::handler<&SwitchNodeSm::handleInterface>("handleInterface", {"intfName"}),
      Row::handler<&SwitchNodeSm::handleVlan>("handleVlan", {"vlanId"}),
      Row::handler<&SwitchNodeSm::handleNetworkElement>("handleNetworkElement", {"name"}),
      Row::handler<&SwitchNodeSm::handleVtepConfig>("handleVtepConfig", {"port"}),
      Row::reactors<&SwitchNodeSm::vlanToVniMap_>("vlanToVniMap"),
      Row::handler<&SwitchNodeSm::handleStaticVniMapForDomain>("handleStaticVniMapForDomain",
                                                               {"domainName"}),
      Row::handler<&SwitchNodeSm::handleVniMapConflict>("handleVniMapConflict",
                                                        {"intfName", "vlanId"}),
      Row::handler<&SwitchNodeSm::handleNativeVlanConflict>("handleNativeVlanConflict",
                                                            {"intfName", "vlanId"}),
      Row::handler<&SwitchNodeSm::doCleanup>("doCleanup"),
      Row::handler<&SwitchNodeSm::handleInitialized>("handleInitialized"),
      Row::value<&SwitchNodeSm::initialized_>("initialized"),
  };
  static constexpr Velo::ReactorRecord reactors[] = {
      Row::reactor<VeloVtepStatusDir>("VeloVtepStatusDir", "vtepStatusDir"),
      Row::reactor<VeloNetworkElementCollection>("VeloNetworkElementCollection",
                                                 "networkElementCollection"),
      Row::reactor<VeloConfig>("VeloConfig", "config"),
      Row::reactor<VeloSwitchElement>("VeloSwitchElement", "switchElement"),
      Row::reactor<VeloInterface>("VeloInterface", "interface"),
      Row::reactor<VeloInterface::VeloDynVlan>("VeloInterface::VeloDynVlan", "dynVlan"),
      Row::reactor<VeloPhysicalInterface>("VeloPhysicalInterface", "physicalInterface"),
      Row::reactor<VeloVlanToVniMap>("VeloVlanToVniMap", "vlanToVniMap"),
  };
};

constinit const Velo::TypeRecord switchNodeSmType{
    "Fabrion::Agent::SwitchNodeSm", SwitchNodeSm::Tables::attributes,
    &Velo::TypeImpl<SwitchNodeSm>::genericIfConstructFromCtorArgs<
        Nimbo::String, Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>,
        Velo::Ptr<VxlanController::VtepConfigDirV2>,
        Velo::Ptr<const VxlanController::VtepStatusDirV2>,
        Velo::Ptr<Fabrion::NetworkElementCollection>, Velo::Ptr<const Fabrion::Config>>,
    6, SwitchNodeSm::Tables::reactors};

}  // namespace Fabrion::Agent
