// VTEPs of a switch: what a status brings into being, what waits for it, what is written to which
// configuration, and what runs meanwhile.

#include <algorithm>

#include "elements/NetworkElementCollectionSm.h"
#include "elements/PortGroupSm.h"
#include "tests/support/Listener.h"
#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

class SwitchVteps : public SwitchScene {
 protected:
  // Two ports with a mapped VLAN each.
  void mapTwoPorts() {
    vniIs(portIs("e1")->vlanIs(5), 1005, "acme");
    vniIs(portIs("e2")->vlanIs(6), 1006, "acme");
  }
  Velo::Ptr<VxlanController::VtepConfigV2> configOf(const char* name) {
    return vtepConfigDir->vtepConfig(name);
  }
  static inline const std::string line = "SwitchNodeSm::handleVtepConfig: leaf1 ";
  static inline const std::string deferred =
      "2 " + line + "Switch element has not been set yet. Deferring...";
};

// What a status does

TEST_F(SwitchVteps, AStatusBringsAConfigurationWithAllThatIsMappedNow) {
  provisionLeaf1();
  mapTwoPorts();
  leaf1->interface("e2")->vlanIs(7);
  EXPECT_TRUE(vtepConfigDir->vtepConfig().empty());
  const TraceCapture trace;
  const auto vtep1 = vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
  EXPECT_THAT(trace.lines(), ElementsAre("3 " + line + "Mapping 5 to 1005 on interface e1",
                                         "3 " + line + "Mapping 6 to 1006 on interface e2"));
}

TEST_F(SwitchVteps, AStatusOfASwitchWithoutPortsBringsAnEmptyConfiguration) {
  provisionLeaf1();
  EXPECT_EQ(mappings(vtepIs("vtep1")), "");
}

TEST_F(SwitchVteps, AStatusThatComesAgainWritesTheSameOnceMore) {
  provisionLeaf1();
  mapTwoPorts();
  TraceCapture trace;
  const auto vtep1 = vtepIs("vtep1");
  const auto first = trace.lines();
  trace.clear();
  const auto listener =
      Listener::on<VxlanController::VtepConfigDirV2::vtepConfigAttribute>(*vtepConfigDir);
  EXPECT_EQ(vtepIs("vtep1"), vtep1);
  EXPECT_EQ(invoke("handleVtepConfig", "vtep1"), Velo::AttributeRecord::done);
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
  EXPECT_THAT(listener->taken(), IsEmpty());
  ASSERT_EQ(trace.lines().size(), 4U);
  EXPECT_THAT(std::vector<std::string>(trace.lines().begin(), trace.lines().begin() + 2), first);
  EXPECT_THAT(std::vector<std::string>(trace.lines().begin() + 2, trace.lines().end()), first);
}

TEST_F(SwitchVteps, AStatusThatComesAgainFillsUpItsConfigurationAndTakesNothingAway) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep1 = vtepIs("vtep1");
  vtep1->vlanToVniMapDel(pair("e1", 5));
  vtep1->vlanToVniMapIs(pair("e2", 6), Vxlan::Vni(9));
  vtep1->vlanToVniMapIs(pair("e2", 7), Vxlan::Vni(9));
  vtep1->vlanToVniMapIs(pair("e9", 5), Vxlan::Vni(9));
  vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep1), "e2/6=1006 e2/7=9 e9/5=9 e1/5=1005");
}

TEST_F(SwitchVteps, AStatusThatGoesLeavesItsConfigurationAndTheMappings) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep1 = vtepIs("vtep1");
  const TraceCapture trace;
  vtepStatusDir->vtepStatusV2Del("vtep1");
  EXPECT_EQ(configOf("vtep1"), vtep1);
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
  EXPECT_THAT(trace.lines(), ElementsAre("2 " + line + "Vtep vtep1 deleted"));
  // Single writes reach it still.
  vniIs(leaf1->interface("e1")->vlanIs(8), 1008, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006 e1/8=1008");
}

TEST_F(SwitchVteps, AMembersVlansAreLeftOut) {
  provisionLeaf1();
  mapTwoPorts();
  leaf1->physicalInterface("e1")->portGroupIs(Velo::make<PortGroup>("po1"));
  const TraceCapture trace;
  EXPECT_EQ(mappings(vtepIs("vtep1")), "e2/6=1006");
  EXPECT_THAT(trace.lines(), ElementsAre("3 " + line + "Mapping 6 to 1006 on interface e2"));
}

TEST_F(SwitchVteps, APortThatHasLeftItsGroupIsMappedAgainByTheNextStatus) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep1 = vtepIs("vtep1");
  const auto e1 = leaf1->physicalInterface("e1");
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  EXPECT_EQ(mappings(vtep1), "e2/6=1006");
  e1->portGroupIs(nullptr);
  EXPECT_EQ(mappings(vtep1), "e2/6=1006");
  vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep1), "e2/6=1006 e1/5=1005");
}

TEST_F(SwitchVteps, APortThatHasLeftItsGroupIsMappedAgainByTheNextChangeOfItsVnis) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep1 = vtepIs("vtep1");
  const auto e1 = leaf1->physicalInterface("e1");
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  e1->portGroupIs(nullptr);
  vniIs(e1->vlan(5), 2005, "acme");
  e1->vlan(5)->mappedVniDel(1005);
  EXPECT_EQ(mappings(vtep1), "e2/6=1006 e1/5=2005");
}

// Two VTEPs

TEST_F(SwitchVteps, OfTwoVtepsEachIsFilledUnderItsNameAndOnlyTheOldestIsKeptUp) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep2 = vtepIs("vtep2");
  const auto vtep1 = vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep2), "e1/5=1005 e2/6=1006");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
  vniIs(leaf1->interface("e1")->vlanIs(7), 1007, "acme");
  leaf1->interface("e1")->vlan(5)->mappedVniDel(1005);
  portDel("e2");
  EXPECT_EQ(mappings(vtep2), "e1/7=1007");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
  // The status of the newer one fills it up under its own name; what has gone stays there.
  vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006 e1/7=1007");
}

TEST_F(SwitchVteps, ThePassFillsTheConfigurationOfEachVtepWhoseStatusIsThere) {
  leaf1 = Velo::make<NetworkElement>("leaf1");
  mapTwoPorts();
  buildMachine();
  vtepIs("vtep2");
  vtepIs("vtep1");
  machine->switchElementIs(leaf1);
  EXPECT_EQ(mappings(configOf("vtep2")), "e1/5=1005 e2/6=1006");
  EXPECT_EQ(mappings(configOf("vtep1")), "e1/5=1005 e2/6=1006");
}

// What waits for what

TEST_F(SwitchVteps, AStatusBeforeTheElementIsPutOffAndMadeUpForByThePass) {
  buildMachine();
  const TraceCapture trace;
  EXPECT_FALSE(vtepIs("vtep1"));
  EXPECT_TRUE(vtepConfigDir->vtepConfig().empty());
  EXPECT_THAT(trace.lines(), ElementsAre(deferred));
  leaf1 = Velo::make<NetworkElement>("leaf1");
  mapTwoPorts();
  machine->switchElementIs(leaf1);
  EXPECT_EQ(mappings(configOf("vtep1")), "e1/5=1005 e2/6=1006");
}

TEST_F(SwitchVteps, AStatusThatGoesBeforeTheElementIsPutOffAsWell) {
  buildMachine();
  vtepIs("vtep1");
  const TraceCapture trace;
  vtepStatusDir->vtepStatusV2Del("vtep1");
  EXPECT_THAT(trace.lines(), ElementsAre(deferred));
  leaf1 = collection->networkElementIs("leaf1");
  EXPECT_TRUE(vtepConfigDir->vtepConfig().empty());
}

TEST_F(SwitchVteps, AStatusThatStoodBeforeTheMachineWaitsForThePass) {
  vtepIs("vtep1");
  const TraceCapture trace;
  buildMachine();
  EXPECT_THAT(trace.lines(), IsEmpty());
  collection->networkElementIs("leaf1");
  EXPECT_TRUE(configOf("vtep1"));
}

TEST_F(SwitchVteps, AVniBeforeTheVtepIsPutOffAndMadeUpForByItsStatus) {
  provisionLeaf1();
  const TraceCapture trace;
  mapTwoPorts();
  const std::string put =
      "3 " + ofVlan + "handleInterfaceVniMapping: leaf1 vtepConfig is not present. Deferring...";
  EXPECT_EQ(std::count(trace.lines().begin(), trace.lines().end(), put), 2);
  EXPECT_TRUE(vtepConfigDir->vtepConfig().empty());
  EXPECT_EQ(mappings(vtepIs("vtep1")), "e1/5=1005 e2/6=1006");
}

TEST_F(SwitchVteps, AMapBeforeTheElementIsPutOffAndMadeUpForByTheVlansThatCome) {
  buildMachine();
  const TraceCapture trace;
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  EXPECT_TRUE(trace.has("Switch element does not exist for leaf1"));
  leaf1 = collection->networkElementIs("leaf1");
  const auto e1 = leaf1->physicalInterfaceIs("e1");
  e1->vlanIs(5)->domainIs(blue);
  EXPECT_EQ(vnis(e1->vlan(5)), "");
  leaf1->interfaceIs(e1);
  EXPECT_EQ(vnis(e1->vlan(5)), "1005[tenant]");
}

// Bounds

TEST_F(SwitchVteps, AVlanAbove4094EndsTheWalkAndWhatWasWrittenStays) {
  provisionLeaf1();
  mapTwoPorts();
  const auto e3 = portIs("e3");
  vniIs(e3->vlanIs(7), 1007, "acme");
  e3->vlanIs(4095);  // without a VNI
  vniIs(e3->vlanIs(8), 1008, "acme");
  vniIs(portIs("e4")->vlanIs(5), 1005, "acme");
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vtepIs("vtep1"); }), vlanRefused);
  const auto vtep1 = configOf("vtep1");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006 e3/7=1007");
  EXPECT_THAT(trace.lines(), ElementsAre("3 " + line + "Mapping 5 to 1005 on interface e1",
                                         "3 " + line + "Mapping 6 to 1006 on interface e2",
                                         "3 " + line + "Mapping 7 to 1007 on interface e3"));
  // The next run writes the rest.
  vtepConfigDir->vtepConfigDel("vtep1");
  e3->vlanDel(4095);
  EXPECT_EQ(mappings(vtepIs("vtep1")), "e1/5=1005 e2/6=1006 e3/7=1007 e3/8=1008 e4/5=1005");
}

TEST_F(SwitchVteps, AVniAbove24BitsEndsTheWalkAfterItsLine) {
  provisionLeaf1();
  mapTwoPorts();
  const auto e3 = portIs("e3");
  e3->vlanIs(7)->mappedVniIs(0x1000000);
  vniIs(portIs("e4")->vlanIs(5), 1005, "acme");
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vtepIs("vtep1"); }), vniRefused);
  EXPECT_EQ(mappings(configOf("vtep1")), "e1/5=1005 e2/6=1006");
  EXPECT_THAT(trace.lines(), ElementsAre("3 " + line + "Mapping 5 to 1005 on interface e1",
                                         "3 " + line + "Mapping 6 to 1006 on interface e2",
                                         "3 " + line + "Mapping 7 to 16777216 on interface e3"));
}

TEST_F(SwitchVteps, AVlanIsTestedBeforeItsVniAndBeforeItsConflict) {
  provisionLeaf1();
  const auto vlan4095 = portIs("e1")->vlanIs(4095);
  vlan4095->mappedVniIs(0x1000000);
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vtepIs("vtep1"); }), vlanRefused);
  EXPECT_THAT(trace.lines(), IsEmpty());
  vtepConfigDir->vtepConfigDel("vtep1");
  vlan4095->mappedVniIs(1005);
  EXPECT_EQ(refusal([&] { vtepIs("vtep2"); }), vlanRefused);
  EXPECT_FALSE(trace.has("Conflict"));
}

TEST_F(SwitchVteps, TheBoundsThemselvesAreWritten) {
  provisionLeaf1();
  const auto e1 = portIs("e1");
  e1->vlanIs(0)->mappedVniIs(0);
  e1->vlanIs(4094)->mappedVniIs(0xffffff);
  e1->vlanIs(0x10007)->mappedVniIs(1007);
  EXPECT_EQ(mappings(vtepIs("vtep1")), "e1/0=0 e1/4094=16777215 e1/7=1007");
}

TEST_F(SwitchVteps, AMembersVlanAbove4094IsNotTested) {
  provisionLeaf1();
  const auto e1 = portIs("e1");
  e1->vlanIs(4095);
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  EXPECT_EQ(refusal([&] { vtepIs("vtep1"); }), "");
}

TEST_F(SwitchVteps, AnElementWithAVlanAbove4094IsRefusedToWhoBringsIt) {
  leaf1 = Velo::make<NetworkElement>("leaf1");
  mapTwoPorts();
  portIs("e3")->vlanIs(4095);
  buildMachine();
  vtepIs("vtep1");
  EXPECT_EQ(refusal([&] { machine->switchElementIs(leaf1); }), vlanRefused);
  EXPECT_EQ(machine->switchElement(), leaf1);
  EXPECT_EQ(mappings(configOf("vtep1")), "e1/5=1005 e2/6=1006");
}

// What runs on what

TEST_F(SwitchVteps, AClaimedElementsMachinesAnswerBeforeTheOutputIsExamined) {
  const auto requests = Velo::make<RequestedResourcesCollection>();
  const auto topology = Velo::make<NetworkTopologyAggregatorV3::Status>();
  const auto elements = Agent::NetworkElementCollectionSm::NetworkElementCollectionSmIs(
      collection, requests, topology);
  leaf1 = collection->networkElementIs("leaf1");
  leaf1->referrerIs("test", true);
  const auto srv1 = collection->networkElementIs("srv1");
  srv1->referrerIs("test", true);
  vniIs(srv1->vlanIs(7), 1007, "acme");
  const auto e1 = leaf1->physicalInterfaceIs("e1");
  e1->discoveredElementIs(srv1);
  // The port is on the element and not among its interfaces until the machines have answered.
  leaf1->interfaceDel("e1");
  EXPECT_TRUE(e1->vlan().empty());
  nativeIs("e1", 9);
  nativeIs("gone", 9);
  allowedIs("e1", "3");
  vtepIs("vtep1");
  buildMachine();
  TraceCapture trace;
  collection->networkElementAnnounce("leaf1");
  // A native VLAN left over on a port that is there stays; had it been looked at first, it had
  // gone.
  EXPECT_EQ(native("e1"), "9");
  EXPECT_EQ(native("gone"), "none");
  EXPECT_EQ(allowed("e1"), "7");
  EXPECT_EQ(vlanList(), "7");
  EXPECT_EQ(vnis(e1->vlan(7)), "1007[srv1]");
  EXPECT_EQ(mappings(configOf("vtep1")), "e1/7=1007");
  const auto at = [&](const std::string& wanted) {
    return std::find(trace.lines().begin(), trace.lines().end(), wanted) - trace.lines().begin();
  };
  const auto setting = at("3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1");
  const auto answer = at("3 NetworkElementSm::handleIsSwitchElement: NE Physical Interfaces: 1");
  const auto followed = at(
      "2 SwitchNodeSm::VeloInterface::handleVlan: Adding VLAN: 7 on switch: leaf1 interface: e1");
  const auto walked = at("3 SwitchNodeSm::handleSwitchElement: leaf1 Interface: e1");
  const auto last = at("3 " + line + "Mapping 7 to 1007 on interface e1");
  EXPECT_LT(setting, answer);
  EXPECT_LT(answer, followed);
  EXPECT_LT(followed, walked);
  EXPECT_LT(walked, last);
  EXPECT_LT(last, static_cast<std::ptrdiff_t>(trace.lines().size()));
  machine = nullptr;
}

TEST_F(SwitchVteps, AStaticVniOfAMemberReachesItsGroupAndTheVtepInOneCall) {
  provisionLeaf1();
  const auto vtep1 = vtepIs("vtep1");
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto e1 = portIs("e1");
  const auto po1 = leaf1->portGroupIs("po1");
  leaf1->interfaceIs(po1);
  e1->portGroupIs(po1);
  po1->memberInterfaceIs(e1);
  const auto group = Agent::PortGroupSm::PortGroupSmIs("po1", po1);
  const auto vlan5 = e1->vlanIs(5);
  EXPECT_EQ(mappings(vtep1), "");
  vlan5->domainIs(blue);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_TRUE(po1->vlan(5)->domain(blue));
  EXPECT_EQ(mappings(vtep1), "po1/5=1005");
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(mappings(vtep1), "");
  po1->memberInterfaceDelAll();
  e1->portGroupIs(nullptr);
}

TEST_F(SwitchVteps, AChangeOfTheOutputRunsNothing) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep1 = vtepIs("vtep1");
  const TraceCapture trace(9);
  allowedIs("e1", "9");
  nativeIs("e1", 9);
  vlanListIs("9");
  portVlanConfig->portAllowedVlanListDel("e1");
  portVlanConfig->portNativeVlanDel("e1");
  vtep1->vlanToVniMapIs(pair("e1", 9), Vxlan::Vni(9));
  vtep1->vlanToVniMapDel(pair("e1", 5));
  vtepConfigDir->vtepConfigIs("vtep2");
  vtepConfigDir->vtepConfigDel("vtep2");
  EXPECT_THAT(trace.lines(), IsEmpty());
  EXPECT_EQ(mappings(vtep1), "e2/6=1006 e1/9=9");
}

TEST_F(SwitchVteps, ThePassRunAgainChangesNothingInTheVteps) {
  provisionLeaf1();
  mapTwoPorts();
  const auto vtep1 = vtepIs("vtep1");
  vniIs(leaf1->interface("e1")->vlanIs(7), 1007, "acme");
  vniIs(leaf1->interface("e1")->vlan(7), 2007, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
  const auto listener = Listener::on<VxlanController::VtepConfigV2::vlanToVniMapAttribute>(*vtep1);
  EXPECT_EQ(access("handleSwitchElement", Velo::AttributeOp::invoke), Velo::AttributeRecord::done);
  EXPECT_THAT(listener->taken(), IsEmpty());
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/6=1006");
}

// Entries

TEST_F(SwitchVteps, AStatusTracesItsEntry) {
  provisionLeaf1();
  const TraceCapture trace(9);
  vtepIs("vtep1");
  vtepStatusDir->vtepStatusV2Del("vtep1");
  EXPECT_THAT(trace.lines(), ElementsAre("9 " + line + "vtep1", "9 " + line + "vtep1",
                                         "2 " + line + "Vtep vtep1 deleted"));
}

TEST_F(SwitchVteps, NoConfigurationIsMadeAfterTheEndOfTheMachine) {
  provisionLeaf1();
  machine = nullptr;
  EXPECT_FALSE(vtepIs("vtep1"));
}

}  // namespace Fabrion::Test
