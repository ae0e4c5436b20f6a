// A small controller around Fabrion: it loads the machines, lets them run on one switch, and prints
// each change of what the switch is to be told. docs/embedding.md explains it step by step.
//
// Data flows through entities alone. The controller writes the inputs; the machines, which it knows
// by name and never by header, write the outputs; and a machine of its own, OutputSm, follows
// those.

#include <iostream>

#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "entities/VxlanController.h"
#include "platform/Velo/Machine.h"
#include "platform/Velo/ModuleFile.h"

namespace {

using ControllerProxyAgent::PortVlanConfigV1;
using Fabrion::Client::ResourcesForSwitchport;
using Fabrion::Client::SwitchInterface;
using Nimbo::String;
using Velo::Ptr;
using VxlanController::VtepConfigDirV2;
using VxlanController::VtepConfigV2;
using VxlanController::VtepStatusDirV2;

// Follows both outputs of one switch. A reactor names in its table what it reacts to; a handler is
// given the key alone and reads what stands there now, so it serves additions and removals alike.
class OutputSm : public Velo::Machine<OutputSm> {
 public:
  static const Velo::TypeRecord& veloTypeRecord() {
    static const Velo::TypeRecord record{"OutputSm"};
    return record;
  }
  OutputSm(const Ptr<const PortVlanConfigV1>& vlans, const Ptr<const VtepConfigDirV2>& vteps) {
    portVlanConfig_.constructorArgumentIs(vlans);
    vtepConfigDir_.constructorArgumentIs(vteps);
  }

  struct VeloPortVlanConfig : Velo::Reactor<VeloPortVlanConfig, OutputSm, const PortVlanConfigV1> {
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<PortVlanConfigV1::portAllowedVlanListAttribute>(
              call<&OutputSm::handleAllowed>("handleAllowed")),
          on<PortVlanConfigV1::portNativeVlanAttribute>(
              call<&OutputSm::handleNative>("handleNative")),
          on<PortVlanConfigV1::vlanListAttribute>(call<&OutputSm::handleVlans>("handleVlans"))};
      return rows;
    }
  };
  // Keeps one VeloVtepConfig for each VTEP configuration of the directory.
  struct VeloVtepConfigDir : Velo::Reactor<VeloVtepConfigDir, OutputSm, const VtepConfigDirV2> {
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<VtepConfigDirV2::vtepConfigAttribute>(follow<&OutputSm::vtepConfig_>("vtepConfig"))};
      return rows;
    }
  };
  struct VeloVtepConfig : Velo::Reactor<VeloVtepConfig, OutputSm, const VtepConfigV2> {
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {on<VtepConfigV2::vlanToVniMapAttribute>(
          call<&VeloVtepConfig::handleMapping>("handleMapping"))};
      return rows;
    }
    void handleMapping(const VxlanController::PortVlanPairV2& pair) {
      std::cout << "  " << notifier()->name() << ": " << pair.port() << " VLAN " << pair.vlan();
      const Vxlan::Vni* const vni = notifier()->vlanToVniMap(pair);
      vni == nullptr ? std::cout << " unmapped\n" : std::cout << " -> VNI " << *vni << '\n';
    }
  };

 private:
  void handleAllowed(const String& port) {
    const auto* const list = portVlanConfig()->portAllowedVlanList(port);
    std::cout << "  " << port << ": VLANs " << (list == nullptr ? "none" : list->value()) << '\n';
  }
  void handleNative(const String& port) {
    const auto* const vlan = portVlanConfig()->portNativeVlan(port);
    std::cout << "  " << port << ": native VLAN ";
    vlan == nullptr ? std::cout << "none\n" : std::cout << *vlan << '\n';
  }
  void handleVlans() {
    std::cout << "  all VLANs: '" << portVlanConfig()->vlanList().value() << "'\n";
  }

  VELO_REACTOR(VeloPortVlanConfig, portVlanConfig)
  VELO_REACTOR(VeloVtepConfigDir, vtepConfigDir)
  VELO_REACTORS(VeloVtepConfig, vtepConfig, veloVtepConfig)
};

void control(const std::string& modulePath) {
  const Velo::VeloModule& machines = Velo::loadModule(modulePath, "FabrionSm");

  // The roots: the model, in which the machines work, the inputs, and the outputs of one switch.
  const auto elements = Velo::make<Fabrion::NetworkElementCollection>();
  const auto resources = Velo::make<Fabrion::RequestedResourcesCollection>();
  const Ptr<const Fabrion::Config> config = Velo::make<Fabrion::Config>();
  const Ptr<const NetworkTopologyAggregatorV3::Status> topology =
      Velo::make<NetworkTopologyAggregatorV3::Status>();
  const auto vlans = Velo::make<PortVlanConfigV1>();
  const auto vteps = Velo::make<VtepConfigDirV2>();
  const auto vtepStatus = Velo::make<VtepStatusDirV2>();

  // Machines start in any order and end with their last reference.
  const auto watcher = OutputSm::create(vlans, vteps);
  const String leaf1("leaf1");
  auto topologySm =
      Velo::construct(machines, "Fabrion::Agent::TopologySm", elements, resources, topology);
  auto switchSm = Velo::construct(machines, "Fabrion::Agent::SwitchNodeSm", leaf1, vlans, vteps,
                                  Ptr<const VtepStatusDirV2>(vtepStatus), elements, config);

  std::cout << "acme asks for VLAN 10, untagged, on port e1 of leaf1\n";
  const auto request = Velo::make<ResourcesForSwitchport>();
  request->vlanIs(10)->mappedVniIs(10010);
  request->nativeVlanIs(Velo::make<Fabrion::Client::UntaggedVlan>(U32{10}));
  auto requestSm = Velo::construct(machines, "Fabrion::Agent::ClientResourcesForSwitchportSm",
                                   String("acme"), SwitchInterface(leaf1, "e1"),
                                   Ptr<const ResourcesForSwitchport>(request), elements);

  std::cout << "the switch has a VTEP\n";
  vtepStatus->vtepStatusV2Is(Velo::make<VxlanController::VtepStatusV2>("vtep1"));

  std::cout << "acme asks for VLAN 20 as well\n";
  request->vlanIs(20)->mappedVniIs(10020);

  // Generic access: the machine's tables stand in for its header.
  bool isMember = false;
  String port("e1");
  const U32 function = Velo::attributeIndex(*switchSm->fwkType().record(), "isMemberInterface");
  Velo::genericIfAttributeOp(&isMember, switchSm.get(), function, Velo::AttributeOp::invoke, &port,
                             nullptr);
  std::cout << "e1 is " << (isMember ? "" : "not ") << "in a port group\n";

  std::cout << "acme withdraws\n";
  requestSm = nullptr;
  std::cout << "the end\n";
  switchSm = nullptr;
  topologySm = nullptr;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) throw Velo::Exception("usage: controller PATH/FabrionSm.so");
  control(argv[1]);
} catch (const std::exception& failed) {
  std::cerr << failed.what() << '\n';
  return 1;
}
