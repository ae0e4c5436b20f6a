// The cleanup of a VLAN of a port: when its mapping goes, and who hears of a VLAN that is out of
// range then.

#include <algorithm>

#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;

using SwitchVlanCleanup = SwitchVlanScene;

TEST_F(SwitchVlanCleanup, AVlanThatLeavesThePortTakesItsMappingWithIt) {
  vniIs(vlan5, 1005, "acme");
  vniIs(e1->vlanIs(6), 1006, "acme");
  const TraceCapture trace(9);
  e1->vlanDel(5);
  EXPECT_EQ(mappings(vtep1), "e1/6=1006");
  EXPECT_EQ(trace.lines().back(), "9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 5");
  // The model's entry is as it was, and nobody follows it.
  EXPECT_EQ(vnis(vlan5), "1005[acme]");
  vniIs(vlan5, 2005, "acme");
  vlan5->mappedVniDel(1005);
  EXPECT_EQ(mappings(vtep1), "e1/6=1006");
}

TEST_F(SwitchVlanCleanup, AVlanThatLeavesAMemberTakesItsMappingWithItAllTheSame) {
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  e1->vlanDel(5);
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchVlanCleanup, APortThatGoesTakesTheMappingsOfItsVlansWithIt) {
  vniIs(vlan5, 1005, "acme");
  vniIs(e1->vlanIs(6), 1006, "acme");
  vniIs(portIs("e2")->vlanIs(5), 1005, "acme");
  const TraceCapture trace(9);
  leaf1->interfaceDel("e1");
  EXPECT_EQ(mappings(vtep1), "e2/5=1005");
  ASSERT_GE(trace.lines().size(), 3U);
  EXPECT_EQ(trace.lines()[0], "9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 5");
  EXPECT_EQ(trace.lines()[1], "9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 6");
  EXPECT_EQ(trace.lines()[2], "9 SwitchNodeSm::handleInterface: leaf1 e1");
}

TEST_F(SwitchVlanCleanup, TheEndOfTheMachineTakesTheMappingsOfAllVlansWithIt) {
  vniIs(vlan5, 1005, "acme");
  vniIs(portIs("e2")->vlanIs(6), 1006, "acme");
  vtep1->vlanToVniMapIs(pair("e9", 5), Vxlan::Vni(9));
  const auto vtep2 = vtepIs("vtep2");
  const TraceCapture trace(9);
  machine = nullptr;
  // What no VLAN of the model answers for stays, and so do the other configurations.
  EXPECT_EQ(mappings(vtep1), "e9/5=9");
  EXPECT_EQ(mappings(vtep2), "e1/5=1005 e2/6=1006");
  EXPECT_EQ(vnis(vlan5), "1005[acme]");
  EXPECT_THAT(trace.lines(), ElementsAre("9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 5",
                                         "9 " + ofVlan + "doCleanup: Inteface: e2 VLAN: 6"));
  vniIs(vlan5, 2005, "acme");
  EXPECT_EQ(mappings(vtep1), "e9/5=9");
}

TEST_F(SwitchVlanCleanup, ACleanupWithoutAVtepConfigurationChangesNothing) {
  const auto vlan4095 = e1->vlanIs(4095);
  vtepConfigDir->vtepConfigDel("vtep1");
  const TraceCapture trace(9);
  EXPECT_EQ(refusal([&] { e1->vlanDel(4095); }), "");
  EXPECT_EQ(trace.lines().back(), "9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 4095");
}

TEST_F(SwitchVlanCleanup, Vlan4095ThatLeavesThePortIsRefusedToWhoRemovesIt) {
  e1->vlanIs(4095);
  EXPECT_EQ(allowed("e1"), "5,4095");
  const TraceCapture trace(9);
  EXPECT_EQ(refusal([&] { e1->vlanDel(4095); }), vlanRefused);
  // What was done before stays done, and the reactor has gone: its cleanup ran again as it died.
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_FALSE(e1->vlan(4095));
  EXPECT_FALSE(machine->veloInterface("e1")->veloDynVlan(4095));
  const std::string cleanup = "9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 4095";
  EXPECT_EQ(std::count(trace.lines().begin(), trace.lines().end(), cleanup), 2);
}

TEST_F(SwitchVlanCleanup, APortThatGoesWithVlan4095IsRefusedAndItsOtherMappingsGo) {
  vniIs(vlan5, 1005, "acme");
  e1->vlanIs(4095);
  vniIs(e1->vlanIs(6), 1006, "acme");
  EXPECT_EQ(refusal([&] { leaf1->interfaceDel("e1"); }), vlanRefused);
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_FALSE(machine->veloInterface("e1"));
  // The handler that would have emptied the port's output was not reached.
  EXPECT_EQ(allowed("e1"), "5-6,4095");
}

TEST_F(SwitchVlanCleanup, TheEndOfTheMachineKeepsTheRefusalOfVlan4095In) {
  e1->vlanIs(4095);
  vniIs(vlan5, 1005, "acme");
  vniIs(e1->vlanIs(6), 1006, "acme");
  vniIs(portIs("e2")->vlanIs(6), 1006, "acme");
  EXPECT_EQ(refusal([&] { machine = nullptr; }), "");
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchVlanCleanup, AMachineThatIsRevivedCleansUpOnceMore) {
  vniIs(vlan5, 1005, "acme");
  machine->veloDoZombieReactors(true);
  EXPECT_EQ(mappings(vtep1), "");
  vlan5->mappedVniDel(1005);
  vniIs(vlan5, 2005, "acme");
  EXPECT_EQ(mappings(vtep1), "");
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  const TraceCapture trace(9);
  machine->veloDoZombieReactors(false);
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(), ElementsAre("9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 5"));
  vniIs(vlan5, 3005, "acme");
  vlan5->mappedVniDel(2005);
  EXPECT_EQ(mappings(vtep1), "e1/5=3005");
  // Neither marking nor reviving does anything twice.
  machine->veloDoZombieReactors(false);
  EXPECT_EQ(mappings(vtep1), "e1/5=3005");
}

TEST_F(SwitchVlanCleanup, AMachineRevivedWithVlan4095RefusesIt) {
  e1->vlanIs(4095);
  EXPECT_EQ(refusal([&] { machine->veloDoZombieReactors(true); }), vlanRefused);
}

TEST_F(SwitchVlanCleanup, AVlanReactorThatFollowsNothingCleansUpForVlan0) {
  vtep1->vlanToVniMapIs(pair("e1", 0), Vxlan::Vni(9));
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  machine->veloInterface("e1")->veloDynVlan(5)->notifierIs(nullptr);
  const TraceCapture trace(9);
  e1->vlanDel(5);
  EXPECT_EQ(mappings(vtep1), "e1/5=9");
  EXPECT_EQ(trace.lines().back(), "9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 0");
}

}  // namespace Fabrion::Test
