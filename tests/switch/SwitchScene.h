#pragma once
// What the tests of the switch machine stand on: the roots that a host agent holds, a switch
// "leaf1" whose machine is built on demand, static maps and VTEPs, and its output read as text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <string>

#include "platform/Velo/TypeImpl.h"
#include "switch/SwitchNodeSm.h"
#include "tests/support/TraceCapture.h"

namespace VxlanController {
inline std::ostream& operator<<(std::ostream& out, const PortVlanPairV2& pair) {
  return out << pair.port() << '/' << pair.vlan();
}
}  // namespace VxlanController

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

  // A VTEP whose status comes, with the configuration that the machine has made for it; null while
  // the machine puts it off.
  Velo::Ptr<VxlanController::VtepConfigV2> vtepIs(const char* name) {
    vtepStatusDir->vtepStatusV2Is(Velo::make<VxlanController::VtepStatusV2>(name));
    return vtepConfigDir->vtepConfig(name);
  }
  // "e1/5=1005 e2/6=1006", in the order in which they were written.
  static std::string mappings(const Velo::Ptr<VxlanController::VtepConfigV2>& vtep) {
    std::ostringstream out;
    for (const auto& entry : vtep->vlanToVniMap().items()) {
      if (out.tellp() > 0) out << ' ';
      out << entry.key() << '=' << entry.value();
    }
    return out.str();
  }
  // The VNIs of a VLAN and who holds each: "1005[tenant acme] 1006[]".
  static std::string vnis(const Velo::Ptr<DynamicVlan>& vlan) {
    std::ostringstream out;
    for (const auto& vni : vlan->mappedVni().values()) {
      out << (out.tellp() > 0 ? " " : "") << vni->vni() << '[';
      const char* gap = "";
      for (const Nimbo::String& name : vni->referrer().keys()) {
        out << gap << name;
        gap = " ";
      }
      out << ']';
    }
    return out.str();
  }
  // A VNI that some party holds.
  static void vniIs(const Velo::Ptr<DynamicVlan>& vlan, U32 vni, const char* referrer) {
    vlan->mappedVniIs(vni)->referrerIs(referrer);
  }
  // A range of the domain's static map; the map is made with its first range.
  void staticRangeIs(const Client::ClientDomain& domain, const Range& vlans, const Range& vnis) {
    if (const auto present = config->vlanToVniMap(domain)) {
      present->mapIs(vlans, vnis);
      return;
    }
    const auto map = Velo::make<VlanToVniMap>(domain);
    map->mapIs(vlans, vnis);
    config->vlanToVniMapIs(map);
  }

  // The text with which an out-of-range value is refused; empty when nothing is.
  template <class Action>
  static std::string refusal(Action&& action) {
    try {
      action();
    } catch (const Velo::RangeException& refused) {
      return refused.what();
    }
    return "";
  }

  // Generic access by the attribute's name.
  int access(const char* attribute, Velo::AttributeOp op, void* key = nullptr,
             void* value = nullptr, void* result = nullptr) {
    const U32 number = Velo::attributeIndex(Agent::switchNodeSmType, attribute);
    return Velo::genericIfAttributeOp(result, machine.get(), number, op, key, value);
  }

  int invoke(const char* handler, Nimbo::String name) {
    return access(handler, Velo::AttributeOp::invoke, &name);
  }
  int invoke(const char* handler, Nimbo::String name, U32 vlan) {
    void* keys[] = {&name, &vlan};
    return access(handler, Velo::AttributeOp::invoke, keys);
  }

  static inline const std::string vlanRefused = "Bridging::VlanIdOrNone::value > 4094 not allowed";
  static inline const std::string vniRefused =
      "Vxlan::Vni::value < Vxlan::Vni::min or > Vxlan::Vni::max not allowed";
  // How lines of one VLAN of a port begin, after their level.
  static inline const std::string ofVlan = "SwitchNodeSm::VeloInterface::VeloDynVlan::";
  static inline const std::string dirLine =
      "3 " + ofVlan +
      "handleInterfaceVniMapping: leaf1 vtepConfigDir: VxlanController::VtepConfigDirV2";
  // Two domains of one client, and one of another.
  const Client::ClientDomain blue{"tenant", "blue"};
  const Client::ClientDomain red{"tenant", "red"};
  const Client::ClientDomain acme{"acme", ""};

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

// A switch with one VTEP, and a port with one VLAN that has no VNI yet.
class SwitchVlanScene : public SwitchScene {
 protected:
  void SetUp() override {
    provisionLeaf1();
    vtep1 = vtepIs("vtep1");
    e1 = portIs("e1");
    vlan5 = e1->vlanIs(5);
  }

  Velo::Ptr<VxlanController::VtepConfigV2> vtep1;
  Velo::Ptr<PhysicalInterface> e1;
  Velo::Ptr<DynamicVlan> vlan5;
};

}  // namespace Fabrion::Test
