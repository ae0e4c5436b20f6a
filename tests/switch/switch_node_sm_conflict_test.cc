// Requests on one port that contradict each other: two VNIs on a VLAN, two native VLANs. Nobody
// wins, and the conflict ends when those who asked change what they ask for.

#include "tests/support/Listener.h"
#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

class SwitchConflicts : public SwitchScene {
 protected:
  void SetUp() override { provisionLeaf1(); }

  static std::string vniConflict(const char* vlan, const char* count, const char* vnis,
                                 const char* port = "e1") {
    return std::string("0 SwitchNodeSm::handleVniMapConflict: Conflict is detected in VLAN ") +
           vlan + " mapping on switch leaf1 interface " + port + " There are " + count +
           " different VNIs (" + vnis + ") are requested to map on same VLAN. Removing mapping " +
           "for VLAN " + vlan + " from interface " + port;
  }
  static std::string nativeConflict(const char* count, const char* vlans) {
    return std::string("0 SwitchNodeSm::handleNativeVlanConflict: Conflict is detected for ") +
           "setting native vlan on interface e1. There are " + count + " different nativeVlans ( " +
           vlans + " ) requested to be configured on the " +
           "interface. Removing nativeVlan from e1 because of conflict.";
  }
  static inline const std::string mapping = "3 " + ofVlan + "handleInterfaceVniMapping: leaf1 ";
};

// Two VNIs on a VLAN

TEST_F(SwitchConflicts, ASecondVniOfAVlanTakesItsMappingAway) {
  const auto vtep1 = vtepIs("vtep1");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  vniIs(vlan5, 1005, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  const TraceCapture trace;
  vniIs(vlan5, 2005, "acme");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(), ElementsAre(dirLine, vniConflict("5", "2", "1005, 2005")));
}

TEST_F(SwitchConflicts, AConflictOfVnisTouchesNoOtherVlanAndNoOtherPort) {
  const auto vtep1 = vtepIs("vtep1");
  const auto e1 = portIs("e1");
  const auto e2 = portIs("e2");
  vniIs(e1->vlanIs(5), 1005, "acme");
  vniIs(e1->vlanIs(6), 1006, "acme");
  vniIs(e2->vlanIs(5), 1005, "acme");
  vniIs(e1->vlan(5), 2005, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/6=1006 e2/5=1005");
  EXPECT_EQ(allowed("e1"), "5-6");
}

TEST_F(SwitchConflicts, NoVniIsPreferredByItsValueItsAgeOrWhoHoldsIt) {
  const auto vtep1 = vtepIs("vtep1");
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto e1 = portIs("e1");
  // The smaller first and the smaller last; a static one first and a static one last.
  vniIs(e1->vlanIs(5), 500, "acme");
  e1->vlan(5)->domainIs(blue);
  e1->vlanIs(6)->domainIs(blue);
  vniIs(e1->vlan(6), 500, "acme");
  vniIs(e1->vlanIs(7), 2007, "acme");
  e1->vlan(7)->domainIs(blue);
  e1->vlanIs(8)->domainIs(blue);
  vniIs(e1->vlan(8), 2008, "acme");
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchConflicts, TheModelKeepsAllVnisThatAreInConflict) {
  vtepIs("vtep1");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  vniIs(vlan5, 1005, "acme");
  vniIs(vlan5, 2005, "tenant");
  EXPECT_EQ(vnis(vlan5), "1005[acme] 2005[tenant]");
}

TEST_F(SwitchConflicts, OfThreeVnisTwoThatAreLeftAreStillAConflictAndOneIsWritten) {
  const auto vtep1 = vtepIs("vtep1");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  for (const U32 vni : {1005U, 2005U, 3005U}) vniIs(vlan5, vni, "acme");
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  const TraceCapture trace;
  vlan5->mappedVniDel(1005);
  // Deleted again, and nothing written.
  EXPECT_EQ(mappings(vtep1), "");
  vlan5->mappedVniDel(3005);
  EXPECT_EQ(mappings(vtep1), "e1/5=2005");
  EXPECT_THAT(trace.lines(), ElementsAre(dirLine, vniConflict("5", "2", "2005, 3005"), dirLine,
                                         mapping + "Removing VLAN: 5 mapping from interface e1",
                                         mapping + "Mapping VLAN 5 to VNI 2005 on interface e1"));
}

TEST_F(SwitchConflicts, AVtepThatComesFindsTheConflictAndLeavesThePairOut) {
  const auto vlan5 = portIs("e1")->vlanIs(5);
  vniIs(vlan5, 1005, "acme");
  vniIs(vlan5, 2005, "acme");
  vniIs(portIs("e2")->vlanIs(6), 1006, "acme");
  const TraceCapture trace;
  const auto vtep1 = vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep1), "e2/6=1006");
  EXPECT_THAT(trace.lines(),
              ElementsAre(vniConflict("5", "2", "1005, 2005"),
                          "3 SwitchNodeSm::handleVtepConfig: leaf1 Mapping 6 to 1006 on "
                          "interface e2"));
}

TEST_F(SwitchConflicts, AVtepThatComesTakesAConflictOutOfTheOldestConfiguration) {
  const auto vtep1 = vtepIs("vtep1");
  const auto vtep2 = vtepIs("vtep2");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  vniIs(vlan5, 1005, "acme");
  vniIs(vlan5, 2005, "acme");
  for (const auto& vtep : {vtep1, vtep2}) vtep->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  vtepIs("vtep2");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_EQ(mappings(vtep2), "e1/5=9");
}

TEST_F(SwitchConflicts, AConflictOfVnisIsNotLookedAtAgainByItself) {
  const auto vtep1 = vtepIs("vtep1");
  const auto e1 = portIs("e1");
  const auto vlan5 = e1->vlanIs(5);
  vniIs(vlan5, 1005, "acme");
  vniIs(vlan5, 2005, "acme");
  const TraceCapture trace;
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  vniIs(e1->vlanIs(6), 1006, "acme");
  vlan5->mappedVni(1005)->referrerIs("tenant");
  EXPECT_EQ(mappings(vtep1), "e1/5=9 e1/6=1006");
  EXPECT_FALSE(trace.has("Conflict"));
}

TEST_F(SwitchConflicts, AMemberWithTwoVnisIsNoConflict) {
  const auto e1 = portIs("e1");
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  vniIs(e1->vlanIs(5), 1005, "acme");
  const auto vtep1 = vtepIs("vtep1");
  const TraceCapture trace;
  vniIs(e1->vlan(5), 2005, "acme");
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  vtepIs("vtep1");
  EXPECT_THAT(trace.lines(), IsEmpty());
  EXPECT_EQ(mappings(vtep1), "e1/5=9");
}

TEST_F(SwitchConflicts, AConflictOnVlan4095IsTracedBeforeItIsRefused) {
  const auto vlan4095 = portIs("e1")->vlanIs(4095);
  vlan4095->mappedVniIs(1005);
  vlan4095->mappedVniIs(2005);
  vtepConfigDir->vtepConfigIs("vtep1");
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vlan4095->mappedVniIs(3005); }), vlanRefused);
  EXPECT_THAT(trace.lines(), ElementsAre(dirLine, vniConflict("4095", "3", "1005, 2005, 3005")));
}

TEST_F(SwitchConflicts, VnisInConflictAreNotTested) {
  vtepIs("vtep1");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  vniIs(vlan5, 1005, "acme");
  EXPECT_EQ(refusal([&] { vlan5->mappedVniIs(0x1000000); }), "");
}

TEST_F(SwitchConflicts, AConflictOnAPortThatHasGoneFromTheElementIsTracedAndNothingMore) {
  const auto e1 = portIs("e1");
  const auto vlan5 = e1->vlanIs(5);
  // Hears of the port's removal before the machine does, which still follows the port.
  machine = nullptr;
  const auto first = Listener::on<NetworkElement::interfaceAttribute>(*leaf1);
  buildMachine();
  collection->networkElementAnnounce("leaf1");
  const auto vtep1 = vtepIs("vtep1");
  vniIs(vlan5, 1005, "acme");
  TraceCapture trace;
  first->atLine("interface e1", [&] {
    vniIs(vlan5, 2005, "acme");
    EXPECT_THAT(trace.lines(), ElementsAre(dirLine,
                                           "3 SwitchNodeSm::handleVniMapConflict: vtepConfig: "
                                           "VxlanController::VtepConfigV2(vtep1) interface: null"));
    EXPECT_EQ(mappings(vtep1), "e1/5=1005");
    trace.clear();
  });
  leaf1->interfaceDel("e1");
  EXPECT_THAT(first->taken(), ElementsAre("interface e1"));
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchConflicts, AConflictInvokedWithoutAVtepNamesThePort) {
  portIs("e1")->vlanIs(5);
  const TraceCapture trace(9);
  EXPECT_EQ(invoke("handleVniMapConflict", "e1", 5), Velo::AttributeRecord::done);
  EXPECT_EQ(invoke("handleVniMapConflict", "e9", 5), Velo::AttributeRecord::done);
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 SwitchNodeSm::handleVniMapConflict: Interface: e1 VLAN: 5",
                          "3 SwitchNodeSm::handleVniMapConflict: vtepConfig: null interface: "
                          "Fabrion::PhysicalInterface(e1)",
                          "9 SwitchNodeSm::handleVniMapConflict: Interface: e9 VLAN: 5",
                          "3 SwitchNodeSm::handleVniMapConflict: vtepConfig: null interface: "
                          "null"));
}

TEST_F(SwitchConflicts, AConflictInvokedOnAVlanWithoutVnisNamesNone) {
  const auto vtep1 = vtepIs("vtep1");
  portIs("e1")->vlanIs(5);
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  const TraceCapture trace;
  EXPECT_EQ(invoke("handleVniMapConflict", "e1", 5), Velo::AttributeRecord::done);
  EXPECT_THAT(trace.lines(), ElementsAre(vniConflict("5", "0", "")));
  EXPECT_EQ(mappings(vtep1), "");
}

// Two native VLANs on a port

TEST_F(SwitchConflicts, ASecondNativeVlanOfAPortTakesTheFirstOneAway) {
  const auto e1 = portIs("e1");
  e1->nativeVlanIs(6);
  const TraceCapture trace(9);
  e1->nativeVlanIs(5);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 SwitchNodeSm::VeloInterface::handleNativeVlan: leaf1 e1 VLAN 5",
                          "9 SwitchNodeSm::isMemberInterface: leaf1 0",
                          "9 SwitchNodeSm::handleNativeVlanConflict: Interface: e1 VLAN: 5",
                          nativeConflict("2", "6, 5")));
}

TEST_F(SwitchConflicts, AConflictOfNativeVlansTouchesNoOtherPortAndNoAllowedVlan) {
  const auto e1 = portIs("e1");
  e1->vlanIs(5);
  portIs("e2")->nativeVlanIs(5);
  e1->nativeVlanIs(5);
  e1->nativeVlanIs(6);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_EQ(native("e2"), "5");
  EXPECT_EQ(allowed("e1"), "5");
}

TEST_F(SwitchConflicts, NoNativeVlanIsPreferredByItsValueOrAge) {
  const auto e1 = portIs("e1");
  const auto e2 = portIs("e2");
  e1->nativeVlanIs(5);
  e1->nativeVlanIs(6);
  e2->nativeVlanIs(6);
  e2->nativeVlanIs(5);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_EQ(native("e2"), "none");
}

TEST_F(SwitchConflicts, TheModelKeepsAllNativeVlansThatAreInConflict) {
  const auto e1 = portIs("e1");
  e1->nativeVlanIs(5);
  e1->nativeVlanIs(6);
  EXPECT_TRUE(e1->nativeVlan(5));
  EXPECT_TRUE(e1->nativeVlan(6));
}

TEST_F(SwitchConflicts, TheNativeVlanThatIsLeftIsWritten) {
  const auto e1 = portIs("e1");
  for (const U32 vlan : {5U, 6U, 7U}) e1->nativeVlanIs(vlan);
  nativeIs("e1", 9);
  const TraceCapture trace;
  e1->nativeVlanDel(6);
  EXPECT_EQ(native("e1"), "none");
  e1->nativeVlanDel(5);
  EXPECT_EQ(native("e1"), "7");
  EXPECT_THAT(trace.lines(),
              ElementsAre(nativeConflict("2", "5, 7"),
                          "3 SwitchNodeSm::VeloInterface::handleNativeVlan: Adding native VLAN: 7 "
                          "to interface: e1"));
}

TEST_F(SwitchConflicts, AConflictOfNativeVlansIsNotLookedAtAgainByItself) {
  const auto e1 = portIs("e1");
  e1->nativeVlanIs(5);
  e1->nativeVlanIs(6);
  const TraceCapture trace;
  nativeIs("e1", 9);
  e1->vlanIs(5);
  portIs("e2")->nativeVlanIs(5);
  EXPECT_EQ(native("e1"), "9");
  EXPECT_FALSE(trace.has("Conflict"));
}

TEST_F(SwitchConflicts, ThePassFindsAConflictOfNativeVlansOnceForEachOfThem) {
  const auto e1 = portIs("e1");
  e1->nativeVlanIs(5);
  e1->nativeVlanIs(6);
  nativeIs("e1", 9);
  const TraceCapture trace;
  EXPECT_EQ(access("handleSwitchElement", Velo::AttributeOp::invoke), Velo::AttributeRecord::done);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleSwitchElement: leaf1 Interface: e1",
                          "3 SwitchNodeSm::handleInterface: Native VLAN: 5 found in interface e1",
                          nativeConflict("2", "5, 6"),
                          "3 SwitchNodeSm::handleInterface: Native VLAN: 6 found in interface e1",
                          nativeConflict("2", "5, 6")));
}

TEST_F(SwitchConflicts, NativeVlansInConflictAreNotTestedAndASurvivorIs) {
  const auto e1 = portIs("e1");
  e1->nativeVlanIs(5);
  EXPECT_EQ(refusal([&] { e1->nativeVlanIs(4095); }), "");
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { e1->nativeVlanDel(5); }), vlanRefused);
  EXPECT_EQ(native("e1"), "none");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::VeloInterface::handleNativeVlan: Adding native VLAN: "
                          "4095 to interface: e1"));
}

TEST_F(SwitchConflicts, NativeVlan0IsWritten) {
  portIs("e1")->nativeVlanIs(0);
  EXPECT_EQ(native("e1"), "0");
}

}  // namespace Fabrion::Test
