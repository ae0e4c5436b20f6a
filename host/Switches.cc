#include "host/Switches.h"

#include <algorithm>
#include <vector>

#include "host/BadJournal.h"

namespace Fabrion::Host {

namespace {

using Nimbo::String;

// Writes what an earlier run left.
struct FillIn {
  Switches::Switch& to;

  void operator()(const AllowedVlanLists& part) const {
    for (const auto& [port, list] : part.listOfPort) {
      to.portVlanConfig->portAllowedVlanListIs(String(port),
                                               ControllerProxyAgent::VlanListV1(String(list)));
    }
  }
  void operator()(const NativeVlans& part) const {
    for (const auto& [port, vlan] : part.vlanOfPort) {
      to.portVlanConfig->portNativeVlanIs(String(port), Bridging::VlanIdOrNone(vlan));
    }
  }
  void operator()(const SwitchVlanList& part) const {
    to.portVlanConfig->vlanListIs(ControllerProxyAgent::VlanListV1(String(part.list)));
  }
  void operator()(const VtepMappings& part) const {
    for (const auto& [vtep, mappings] : part.mappingsOfVtep) {
      const auto config = to.vtepConfigDir->vtepConfigIs(String(vtep));
      for (const VniMapping& one : mappings) {
        // One after the other, so that of two values out of range the first written is reported.
        const Bridging::VlanIdOrNone vlan(one.vlan);
        const Vxlan::Vni vni(one.vni);
        config->vlanToVniMapIs(VxlanController::PortVlanPairV2(String(one.port), vlan), vni);
      }
    }
  }
};

}  // namespace

Switches::Switch& Switches::named(const std::string& name) {
  const auto found = switches_.find(name);
  if (found == switches_.end()) throw BadJournal("there is no switch " + inQuotes(name));
  return found->second;
}

Machine Switches::machine(const std::string& name) const {
  const auto found = switches_.find(name);
  return found == switches_.end() ? Machine() : found->second.machine;
}

void Switches::apply(const Op::SwitchNew& op) {
  if (switches_.find(op.switchName) != switches_.end()) {
    throw BadJournal("the switch " + inQuotes(op.switchName) + " is there already");
  }
  Switch fresh{Velo::make<ControllerProxyAgent::PortVlanConfigV1>(),
               Velo::make<VxlanController::VtepConfigDirV2>(),
               Velo::make<VxlanController::VtepStatusDirV2>()};
  Switch& made = switches_.emplace(op.switchName, std::move(fresh)).first->second;
  for (const OutputPart& part : op.outputs) std::visit(FillIn{made}, part);
}

void Switches::apply(const Op::SwitchStart& op, const Velo::VeloModule& module) {
  Switch& one = named(op.switchName);
  if (one.machine) throw BadJournal("the switch " + inQuotes(op.switchName) + " runs already");
  const String switchId(op.switchName);
  const Velo::Ptr<const VxlanController::VtepStatusDirV2> vtepStatusDir = one.vtepStatusDir;
  one.machine = Machine::make(
      module, "SwitchNodeSm",
      {&switchId, &one.portVlanConfig, &one.vtepConfigDir, &vtepStatusDir, &elements_, &config_});
  one.started = ++starts_;
}

void Switches::apply(const Op::SwitchAnnounce& op) {
  named(op.switchName);
  elements_->networkElementAnnounce(String(op.switchName));
}

void Switches::apply(const Op::SwitchStop& op) {
  Switch& one = named(op.switchName);
  if (!one.machine) throw BadJournal("the switch " + inQuotes(op.switchName) + " does not run");
  one.machine = Machine();
}

void Switches::apply(const Op::VtepAdd& op) {
  named(op.switchName)
      .vtepStatusDir->vtepStatusV2Is(Velo::make<VxlanController::VtepStatusV2>(String(op.vtep)));
}

void Switches::apply(const Op::VtepDel& op) {
  named(op.switchName).vtepStatusDir->vtepStatusV2Del(String(op.vtep));
}

Machine& Switches::mounts(const std::string& name, const Velo::VeloModule& module) {
  Switch& one = named(name);
  if (!one.mounts) {
    const String switchId(name);
    one.mounts = Machine::make(module, "RemoteMountsStatus", {&switchId});
  }
  return one.mounts;
}

void Switches::apply(const Op::Mount& op, const Velo::VeloModule& module) {
  mounts(op.switchName, module).flagIs(mountFlagNames[static_cast<std::size_t>(op.flag)], op.value);
}

void Switches::apply(const Op::MountUpdate& op, const Velo::VeloModule& module) {
  mounts(op.switchName, module).invoke("updateReady", {});
}

void Switches::stopAll() {
  std::vector<Switch*> running;
  for (auto& [name, one] : switches_) {
    if (one.machine) running.push_back(&one);
  }
  std::sort(running.begin(), running.end(),
            [](const Switch* a, const Switch* b) { return a->started < b->started; });
  for (Switch* one : running) one->machine = Machine();
}

}  // namespace Fabrion::Host
