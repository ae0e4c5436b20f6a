#pragma once
// What the tests of the switch machine stand on: the roots that a host agent holds, a switch
// "leaf1" whose machine is built on demand, and its output read as text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/Velo/TypeImpl.h"
#include "switch/SwitchNodeSm.h"
#include "tests/support/TraceCapture.h"

namespace Fabrion::Test {

class SwitchScene : public testing::Test {
 protected:
  void buildMachine() {
    machine = Agent::SwitchNodeSm::SwitchNodeSmIs("leaf1", portVlanConfig, vtepConfigDir,
                                                  vtepStatusDir, collection, config);
  }
  // The machine, with an element of its name that it has taken.
  void provisionLeaf1() {
    buildMachine();
    leaf1 = collection->networkElementIs("leaf1");
  }

  // A port as the element's own machine would file it: as a port first, then as an interface.
  Velo::Ptr<PhysicalInterface> portIs(const char* name) {
    auto port = leaf1->physicalInterfaceIs(name);
    leaf1->interfaceIs(port);
    return port;
  }
  void portDel(const char* name) {
    leaf1->physicalInterfaceDel(name);
    leaf1->interfaceDel(name);
  }

  std::string vlanList() const { return std::string(portVlanConfig->vlanList().value().view()); }
  void vlanListIs(const char* list) {
    portVlanConfig->vlanListIs(ControllerProxyAgent::VlanListV1(list));
  }
  std::string allowed(const char* port) const {
    const auto* list = portVlanConfig->portAllowedVlanList(port);
    return list == nullptr ? "none" : std::string(list->value().view());
  }
  void allowedIs(const char* port, const char* list) {
    portVlanConfig->portAllowedVlanListIs(port, ControllerProxyAgent::VlanListV1(list));
  }
  std::string native(const char* port) const {
    const auto* vlan = portVlanConfig->portNativeVlan(port);
    return vlan == nullptr ? "none" : std::to_string(vlan->value());
  }
  void nativeIs(const char* port, U32 vlan) {
    portVlanConfig->portNativeVlanIs(port, Bridging::VlanIdOrNone(vlan));
  }

  static VxlanController::PortVlanPairV2 pair(const char* port, U32 vlan) {
    return {port, Bridging::VlanIdOrNone(vlan)};
  }
  static bool maps(const Velo::Ptr<VxlanController::VtepConfigV2>& vtep, const char* port,
                   U32 vlan) {
    return vtep->vlanToVniMap(pair(port, vlan)) != nullptr;
  }

  // Generic access by the attribute's name.
  int access(const char* attribute, Velo::AttributeOp op, void* key = nullptr,
             void* value = nullptr, void* result = nullptr) {
    const U32 number = Velo::attributeIndex(Agent::switchNodeSmType, attribute);
    return Velo::genericIfAttributeOp(result, machine.get(), number, op, key, value);
  }

  const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1> portVlanConfig =
      Velo::make<ControllerProxyAgent::PortVlanConfigV1>();
  const Velo::Ptr<VxlanController::VtepConfigDirV2> vtepConfigDir =
      Velo::make<VxlanController::VtepConfigDirV2>();
  const Velo::Ptr<VxlanController::VtepStatusDirV2> vtepStatusDir =
      Velo::make<VxlanController::VtepStatusDirV2>();
  const Velo::Ptr<NetworkElementCollection> collection = Velo::make<NetworkElementCollection>();
  const Velo::Ptr<Config> config = Velo::make<Config>();
  Velo::Ptr<NetworkElement> leaf1;
  Velo::Ptr<Agent::SwitchNodeSm> machine;
};

}  // namespace Fabrion::Test
