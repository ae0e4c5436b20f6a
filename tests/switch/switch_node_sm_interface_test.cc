// One port of a switch: its allowed VLANs, its native VLAN, and what membership in a port group
// does to both.

#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

class SwitchInterfaces : public SwitchScene {
 protected:
  void SetUp() override { provisionLeaf1(); }

  bool isMember(const char* name) {
    Nimbo::String key = name;
    bool result = false;
    EXPECT_EQ(access("isMemberInterface", Velo::AttributeOp::invoke, &key, nullptr, &result),
              Velo::AttributeRecord::done);
    return result;
  }

  const Velo::Ptr<PortGroup> po1 = Velo::make<PortGroup>("po1");
};

// Allowed VLANs

TEST_F(SwitchInterfaces, AVlanOfAPortIsAllowedOnIt) {
  const auto port = portIs("e1");
  const TraceCapture trace;
  port->vlanIs(5);
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "2 SwitchNodeSm::VeloInterface::handleVlan: Adding VLAN: 5 on switch: leaf1 interface: "
          "e1",
          "2 SwitchNodeSm::VeloInterface::handleVlan: Dynvlan allowedvlan configuration: 5",
          "3 SwitchNodeSm::VeloInterface::handleVlan: Adding allowed vlans 5 on switch: leaf1 "
          "interface: e1"));
}

TEST_F(SwitchInterfaces, AVlanThatLeavesAPortIsNoLongerAllowedOnIt) {
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->vlanIs(6);
  port->vlanIs(9);
  EXPECT_EQ(allowed("e1"), "5-6,9");
  const TraceCapture trace;
  port->vlanDel(5);
  EXPECT_EQ(allowed("e1"), "6,9");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "2 SwitchNodeSm::VeloInterface::handleVlan: Removing VLAN: 5 from switch: leaf1 "
          "interface: e1",
          "2 SwitchNodeSm::VeloInterface::handleVlan: Dynvlan allowedvlan configuration: 6,9",
          "3 SwitchNodeSm::VeloInterface::handleVlan: Adding allowed vlans 6,9 on switch: "
          "leaf1 interface: e1"));
}

TEST_F(SwitchInterfaces, TheLastVlanOfAPortTakesTheEntryWithIt) {
  const auto port = portIs("e1");
  port->vlanIs(5);
  const TraceCapture trace;
  port->vlanDel(5);
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("2 SwitchNodeSm::VeloInterface::handleVlan: Removing VLAN: 5 from switch: leaf1 "
                  "interface: e1",
                  "3 SwitchNodeSm::VeloInterface::handleVlan: Deleting allowedVlans from e1"));
}

TEST_F(SwitchInterfaces, AVlanThatLeavesAPortWithoutAnEntryChangesNothing) {
  const auto port = portIs("e1");
  port->vlanIs(5);
  portIs("e2")->vlanIs(5);
  portVlanConfig->portAllowedVlanListDel("e1");
  const TraceCapture trace;
  port->vlanDel(5);
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_EQ(allowed("e2"), "5");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("2 SwitchNodeSm::VeloInterface::handleVlan: Removing VLAN: 5 from switch: leaf1 "
                  "interface: e1",
                  "3 SwitchNodeSm::VeloInterface::handleVlan: Deleting allowedVlans from e1"));
}

TEST_F(SwitchInterfaces, AVlanAbove16BitsIsAllowedByItsLower16Bits) {
  const auto port = portIs("e1");
  port->vlanIs(0x10005);
  EXPECT_EQ(allowed("e1"), "5");
  port->vlanIs(5000);
  EXPECT_EQ(allowed("e1"), "5,5000");
  port->vlanDel(0x10005);
  EXPECT_EQ(allowed("e1"), "5000");
}

TEST_F(SwitchInterfaces, AStaleAllowedVlanFallsOutWithoutANotificationOfIt) {
  allowedIs("e1", "0,4-6,4095");
  const auto port = leaf1->physicalInterfaceIs("e1");
  port->vlanIs(5);
  const TraceCapture trace;
  leaf1->interfaceIs(port);
  EXPECT_EQ(allowed("e1"), "0,5,4095");
  EXPECT_TRUE(trace.has("Removing VLAN: 4 from switch: leaf1 interface: e1"));
  EXPECT_TRUE(trace.has("Removing VLAN: 6 from switch: leaf1 interface: e1"));
  EXPECT_FALSE(trace.has("VLAN: 0 "));
  EXPECT_FALSE(trace.has("VLAN: 4095 "));
}

TEST_F(SwitchInterfaces, AnEntryOfStaleVlansAloneGoes) {
  allowedIs("e1", "4-6");
  portIs("e1");
  EXPECT_EQ(allowed("e1"), "none");
}

// The port as a whole

TEST_F(SwitchInterfaces, APortThatComesBringsWhatIsOnIt) {
  const auto port = leaf1->physicalInterfaceIs("e1");
  port->vlanIs(5);
  port->nativeVlanIs(6);
  const TraceCapture trace;
  leaf1->interfaceIs(port);
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_EQ(native("e1"), "6");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "3 SwitchNodeSm::handleInterface: VLAN: 5 found in interface e1",
          "2 SwitchNodeSm::VeloInterface::handleVlan: Adding VLAN: 5 on switch: leaf1 interface: "
          "e1",
          "2 SwitchNodeSm::VeloInterface::handleVlan: Dynvlan allowedvlan configuration: 5",
          "3 SwitchNodeSm::VeloInterface::handleVlan: Adding allowed vlans 5 on switch: leaf1 "
          "interface: e1",
          "3 SwitchNodeSm::handleInterface: Native VLAN: 6 found in interface e1",
          "3 SwitchNodeSm::VeloInterface::handleNativeVlan: Adding native VLAN: 6 to interface: "
          "e1"));
}

TEST_F(SwitchInterfaces, APortThatGoesTakesItsOutputWithIt) {
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->nativeVlanIs(6);
  portIs("e2")->vlanIs(5);
  portDel("e1");
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_EQ(native("e1"), "none");
  EXPECT_EQ(allowed("e2"), "5");
  port->vlanIs(7);
  port->nativeVlanIs(7);
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_EQ(native("e1"), "none");
}

TEST_F(SwitchInterfaces, APortReplacedUnderItsNameIsProvisionedAnew) {
  const auto old = portIs("e1");
  old->vlanIs(5);
  leaf1->physicalInterfaceDel("e1");
  const auto fresh = leaf1->physicalInterfaceIs("e1");
  fresh->vlanIs(7);
  leaf1->interfaceIs(fresh);
  EXPECT_EQ(allowed("e1"), "7");
  old->vlanIs(8);
  EXPECT_EQ(allowed("e1"), "7");
}

TEST_F(SwitchInterfaces, APortGroupIsProvisionedLikeAPort) {
  const auto group = leaf1->portGroupIs("po2");
  leaf1->interfaceIs(group);
  group->vlanIs(5);
  group->nativeVlanIs(5);
  EXPECT_FALSE(isMember("po2"));
  EXPECT_EQ(allowed("po2"), "5");
  EXPECT_EQ(native("po2"), "5");
}

TEST_F(SwitchInterfaces, ANativeVlanLeftOverStaysWhileThePortHasNone) {
  nativeIs("e1", 6);
  portIs("e1");
  EXPECT_EQ(native("e1"), "6");
}

// Native VLANs

TEST_F(SwitchInterfaces, TheNativeVlanOfAPortIsWrittenAndRemoved) {
  const auto port = portIs("e1");
  const TraceCapture trace;
  port->nativeVlanIs(5);
  EXPECT_EQ(native("e1"), "5");
  EXPECT_EQ(allowed("e1"), "none");
  port->nativeVlanDel(5);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "3 SwitchNodeSm::VeloInterface::handleNativeVlan: Adding native VLAN: 5 to interface: e1",
          "3 SwitchNodeSm::VeloInterface::handleNativeVlan: Removing native VLAN: 5 from "
          "portVlanConfig on e1"));
}

TEST_F(SwitchInterfaces, TwoNativeVlansLeaveNoneAndTheSurvivorIsWritten) {
  const auto port = portIs("e1");
  port->nativeVlanIs(5);
  const TraceCapture trace;
  port->nativeVlanIs(6);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_EQ(port->nativeVlan().size(), 2U);
  port->nativeVlanDel(5);
  EXPECT_EQ(native("e1"), "6");
  EXPECT_THAT(trace.lines(),
              ElementsAre("0 SwitchNodeSm::handleNativeVlanConflict: Conflict is detected for "
                          "setting native vlan on "
                          "interface e1. There are 2 different nativeVlans ( 5, 6 ) requested to "
                          "be configured on the "
                          "interface. Removing nativeVlan from e1 because of conflict.",
                          "3 SwitchNodeSm::VeloInterface::handleNativeVlan: Adding native VLAN: 6 "
                          "to interface: e1"));
}

TEST_F(SwitchInterfaces, OfThreeNativeVlansTwoThatAreLeftAreStillAConflict) {
  const auto port = portIs("e1");
  for (const U32 vlan : {5U, 6U, 7U}) port->nativeVlanIs(vlan);
  const TraceCapture trace;
  port->nativeVlanDel(5);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_TRUE(trace.has("There are 2 different nativeVlans ( 6, 7 ) requested"));
}

TEST_F(SwitchInterfaces, ANativeVlanAbove4094IsRefusedAndTheOldOneStays) {
  const auto port = portIs("e1");
  nativeIs("e1", 5);
  const TraceCapture trace;
  try {
    port->nativeVlanIs(4095);
    ADD_FAILURE() << "VLAN 4095 was taken";
  } catch (const Velo::RangeException& refusal) {
    EXPECT_STREQ(refusal.what(), "Bridging::VlanIdOrNone::value > 4094 not allowed");
  }
  EXPECT_EQ(native("e1"), "5");
  EXPECT_TRUE(trace.has("Adding native VLAN: 4095 to interface: e1"));
  port->nativeVlanDel(4095);
  port->nativeVlanIs(4094);
  EXPECT_EQ(native("e1"), "4094");
}

TEST_F(SwitchInterfaces, ANativeVlanAbove16BitsIsWrittenByItsLower16Bits) {
  const auto port = portIs("e1");
  const TraceCapture trace;
  port->nativeVlanIs(0x10005);
  EXPECT_EQ(native("e1"), "5");
  EXPECT_TRUE(trace.has("Adding native VLAN: 65541 to interface: e1"));
}

// Members of port groups

TEST_F(SwitchInterfaces, APortIsAMemberWhileItHasAGroup) {
  const auto port = portIs("e1");
  EXPECT_FALSE(isMember("e1"));
  port->portGroupIs(po1);
  EXPECT_TRUE(isMember("e1"));
  port->portGroupIs(nullptr);
  EXPECT_FALSE(isMember("e1"));
  EXPECT_FALSE(isMember("unknown"));
}

TEST_F(SwitchInterfaces, NoPortIsAMemberOfASwitchWithoutAnElement) {
  const auto port = portIs("e1");
  port->portGroupIs(po1);
  machine->switchElementDel();
  EXPECT_FALSE(isMember("e1"));
}

TEST_F(SwitchInterfaces, APortThatJoinsAGroupLosesItsOutput) {
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->nativeVlanIs(6);
  portIs("e2")->vlanIs(5);
  const TraceCapture trace;
  port->portGroupIs(po1);
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_EQ(native("e1"), "none");
  EXPECT_EQ(allowed("e2"), "5");
  EXPECT_THAT(trace.lines(), ElementsAre("2 SwitchNodeSm::VeloPhysicalInterface::handlePortGroup: "
                                         "Cleaning up member interface e1"));
}

TEST_F(SwitchInterfaces, APortThatJoinsAGroupLosesItsMappingsInTheOldestVtepConfiguration) {
  const auto oldest = vtepConfigDir->vtepConfigIs("vtep9");
  const auto newer = vtepConfigDir->vtepConfigIs("vtep1");
  for (const auto& vtep : {oldest, newer}) {
    for (const U32 vlan : {5U, 6U, 7U})
      vtep->vlanToVniMapIs(pair("e1", vlan), Vxlan::Vni(1000 + vlan));
    vtep->vlanToVniMapIs(pair("e10", 5), Vxlan::Vni(1005));
  }
  // VLAN 6 is not on the port: whatever bears the port's name goes.
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->portGroupIs(po1);
  EXPECT_EQ(oldest->vlanToVniMap().size(), 1U);
  EXPECT_TRUE(maps(oldest, "e10", 5));
  EXPECT_EQ(newer->vlanToVniMap().size(), 4U);
}

TEST_F(SwitchInterfaces, NothingIsProvisionedOnAMember) {
  const auto port = portIs("e1");
  port->portGroupIs(po1);
  allowedIs("e1", "9");
  nativeIs("e1", 9);
  const TraceCapture trace;
  port->vlanIs(5);
  port->nativeVlanIs(6);
  port->nativeVlanIs(7);
  Nimbo::String name = "e1";
  EXPECT_EQ(access("handleInterface", Velo::AttributeOp::invoke, &name),
            Velo::AttributeRecord::done);
  EXPECT_EQ(allowed("e1"), "9");
  EXPECT_EQ(native("e1"), "9");
  EXPECT_THAT(trace.lines(), IsEmpty());
  // Neither is anything taken away when the interface itself goes.
  leaf1->interfaceDel("e1");
  EXPECT_EQ(allowed("e1"), "9");
  EXPECT_EQ(native("e1"), "9");
}

TEST_F(SwitchInterfaces, APortThatLeavesItsGroupGetsBackExactlyItsVlans) {
  const auto vtep = vtepConfigDir->vtepConfigIs("vtep1");
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->vlanIs(6);
  port->vlanIs(6)->mappedVniIs(1006);
  vtep->vlanToVniMapIs(pair("e1", 6), Vxlan::Vni(1006));
  port->portGroupIs(po1);
  port->vlanDel(5);
  port->vlanIs(8);
  port->nativeVlanIs(8);
  EXPECT_EQ(allowed("e1"), "none");
  const TraceCapture trace;
  port->portGroupIs(nullptr);
  EXPECT_EQ(allowed("e1"), "6,8");
  EXPECT_EQ(native("e1"), "8");
  EXPECT_TRUE(vtep->vlanToVniMap().empty());
  ASSERT_FALSE(trace.lines().empty());
  EXPECT_EQ(
      trace.lines().front(),
      "2 SwitchNodeSm::VeloPhysicalInterface::handlePortGroup: e1 no longer a member interface. "
      "Reprovisioning.");
}

TEST_F(SwitchInterfaces, APortThatMovesToAnotherGroupStaysAMember) {
  const auto port = portIs("e1");
  port->portGroupIs(po1);
  port->vlanIs(5);
  const TraceCapture trace;
  port->portGroupIs(Velo::make<PortGroup>("po2"));
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_THAT(trace.lines(), ElementsAre("2 SwitchNodeSm::VeloPhysicalInterface::handlePortGroup: "
                                         "Cleaning up member interface e1"));
}

TEST_F(SwitchInterfaces, APortThatComesAsAMemberIsNotCleanedUpAndStaysSilent) {
  allowedIs("e1", "9");
  const auto replacement = Velo::make<NetworkElement>("leaf1");
  const auto port = replacement->physicalInterfaceIs("e1");
  port->portGroupIs(po1);
  port->vlanIs(5);
  port->nativeVlanIs(5);
  replacement->interfaceIs(port);
  const TraceCapture trace;
  machine->switchElementIs(replacement);
  port->vlanIs(6);
  EXPECT_EQ(allowed("e1"), "9");
  EXPECT_EQ(native("e1"), "none");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleSwitchElement: leaf1 Interface: e1"));
}

TEST_F(SwitchInterfaces, APortReplacedByAMemberOfTheSameNameIsCleanedUp) {
  const auto old = portIs("e1");
  old->vlanIs(5);
  EXPECT_EQ(allowed("e1"), "5");
  const auto replacement = Velo::make<NetworkElement>("leaf1");
  const auto port = replacement->physicalInterfaceIs("e1");
  port->portGroupIs(po1);
  replacement->interfaceIs(port);
  const TraceCapture trace;
  machine->switchElementIs(replacement);
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_TRUE(trace.has("handlePortGroup: Cleaning up member interface e1"));
}

// Entries

TEST_F(SwitchInterfaces, EachHandlerOfAPortTracesItsEntry) {
  const auto port = portIs("e1");
  const TraceCapture trace(9);
  port->vlanIs(5);
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "9 SwitchNodeSm::VeloInterface::handleVlan: VLAN : 5",
          "9 SwitchNodeSm::isMemberInterface: leaf1 0",
          "9 SwitchNodeSm::VeloInterface::handleVlan: leaf1 e1 5",
          "2 SwitchNodeSm::VeloInterface::handleVlan: Adding VLAN: 5 on switch: leaf1 interface: "
          "e1",
          "2 SwitchNodeSm::VeloInterface::handleVlan: Dynvlan allowedvlan configuration: 5",
          "3 SwitchNodeSm::VeloInterface::handleVlan: Adding allowed vlans 5 on switch: leaf1 "
          "interface: e1",
          "9 " + ofVlan + "handleInitialized: inteface: e1 VLAN: 5"));
}

TEST_F(SwitchInterfaces, EachHandlerOfAMemberTracesItsEntry) {
  const auto port = portIs("e1");
  port->portGroupIs(po1);
  const TraceCapture trace(9);
  port->vlanIs(5);
  port->nativeVlanIs(6);
  port->portGroupIs(Velo::make<PortGroup>("po2"));
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 SwitchNodeSm::VeloInterface::handleVlan: VLAN : 5",
                          "9 SwitchNodeSm::isMemberInterface: leaf1 1",
                          "9 " + ofVlan + "handleInitialized: inteface: e1 VLAN: 5",
                          "9 SwitchNodeSm::VeloInterface::handleNativeVlan: leaf1 e1 VLAN 6",
                          "9 SwitchNodeSm::isMemberInterface: leaf1 1",
                          "9 SwitchNodeSm::VeloPhysicalInterface::handlePortGroup: Interface: e1",
                          "2 SwitchNodeSm::VeloPhysicalInterface::handlePortGroup: Cleaning up "
                          "member interface e1"));
}

TEST_F(SwitchInterfaces, AConflictTracesItsEntryAndMayBeInvoked) {
  const auto port = portIs("e1");
  port->nativeVlanIs(5);
  Nimbo::String name = "e1";
  U32 vlan = 7;
  void* keys[] = {&name, &vlan};
  const TraceCapture trace(9);
  EXPECT_EQ(access("handleNativeVlanConflict", Velo::AttributeOp::invoke, keys),
            Velo::AttributeRecord::done);
  ASSERT_EQ(trace.lines().size(), 2U);
  EXPECT_EQ(trace.lines()[0], "9 SwitchNodeSm::handleNativeVlanConflict: Interface: e1 VLAN: 7");
  EXPECT_EQ(native("e1"), "none");
}

}  // namespace Fabrion::Test
