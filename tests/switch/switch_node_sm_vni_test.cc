// One VLAN of one port: how static maps bring VNIs to it, how its VNIs come to the oldest VTEP
// configuration, and when they leave it.

#include "tests/support/Listener.h"
#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

class SwitchVnis : public SwitchVlanScene {
 protected:
  static inline const std::string mapping = "3 " + ofVlan + "handleInterfaceVniMapping: leaf1 ";
};

// Domains

TEST_F(SwitchVnis, ADomainWithAStaticMapBringsItsVniToTheVlanAndToTheVtep) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const TraceCapture trace;
  vlan5->domainIs(blue);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 " + ofVlan + "handleVlanDomain: Adding static 5 <-> 1005 mapping ",
                          dirLine, mapping + "Mapping VLAN 5 to VNI 1005 on interface e1"));
}

TEST_F(SwitchVnis, ADomainThatLeavesItsVlanTakesItsVniAndTheMappingWithIt) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  vlan5->domainIs(blue);
  const TraceCapture trace;
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 " + ofVlan + "handleVlanDomain: Removing 5 <-> 1005 mapping ", dirLine,
                          mapping + "Removing VLAN: 5 mapping from interface e1"));
}

TEST_F(SwitchVnis, ADomainThatLeavesTakesItsNameFromEveryVniOfTheVlan) {
  // The map names none of them any more.
  vlan5->domainIs(blue);
  vniIs(vlan5, 1001, "tenant");
  vniIs(vlan5, 1002, "tenant");
  vniIs(vlan5, 1002, "acme");
  vniIs(vlan5, 1003, "acme");
  vniIs(vlan5, 1004, "tenant");
  const auto vlan6 = e1->vlanIs(6);
  vniIs(vlan6, 1001, "tenant");
  const TraceCapture trace;
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "1002[acme] 1003[acme]");
  EXPECT_EQ(vnis(vlan6), "1001[tenant]");
  EXPECT_TRUE(trace.has("3 " + ofVlan + "handleVlanDomain: Removing 5 <-> 1001 mapping "));
  EXPECT_TRUE(trace.has("3 " + ofVlan + "handleVlanDomain: Removing 5 <-> 1004 mapping "));
  EXPECT_FALSE(trace.has("Removing 5 <-> 1002"));
  EXPECT_FALSE(trace.has("Removing 5 <-> 1003"));
}

TEST_F(SwitchVnis, AVniThatAClientHoldsTooOutlivesTheDomainAndStaysMapped) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  vniIs(vlan5, 1005, "acme");
  vlan5->domainIs(blue);
  EXPECT_EQ(vnis(vlan5), "1005[acme tenant]");
  const TraceCapture trace;
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "1005[acme]");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(SwitchVnis, AVniThatNobodyHoldsGoesWithAnyDomainThatLeaves) {
  vlan5->mappedVniIs(1005);
  vlan5->domainIs(acme);
  EXPECT_EQ(vnis(vlan5), "1005[]");
  vlan5->domainDel(acme);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchVnis, ADomainOnTheVlanThatHasNoVniForItChangesNothing) {
  staticRangeIs(blue, Range(6, 9), Range(1006, 1009));
  vniIs(vlan5, 1005, "tenant");
  const TraceCapture trace;
  vlan5->domainIs(blue);
  vlan5->domainIs(acme);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(SwitchVnis, TwoDomainsOfOneClientHoldAVniUnderOneName) {
  staticRangeIs(blue, Range(5, 5), Range(1005, 1005));
  vlan5->domainIs(blue);
  vlan5->domainIs(red);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  // The one that leaves takes the name of the other, too.
  vlan5->domainDel(red);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_TRUE(vlan5->domain(blue));
}

TEST_F(SwitchVnis, ADomainThatLeavesAndStillHasAMapLosesItsVniAllTheSame) {
  staticRangeIs(blue, Range(5, 5), Range(1005, 1005));
  vlan5->domainIs(blue);
  vlan5->domainDel(blue);
  EXPECT_EQ(config->vniForVlan(blue, 5), 1005U);
  EXPECT_EQ(vnis(vlan5), "");
  vlan5->domainIs(blue);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
}

// VNIs and the VTEP configuration

TEST_F(SwitchVnis, AVniThatGoesFromAVlanWithTwoLeavesTheSurvivorWritten) {
  vniIs(vlan5, 1005, "acme");
  vniIs(vlan5, 2005, "acme");
  EXPECT_EQ(mappings(vtep1), "");
  // What stands there by then is taken away before the survivor is written.
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  vtep1->vlanToVniMapIs(pair("e1", 6), Vxlan::Vni(9));
  const TraceCapture trace;
  vlan5->mappedVniDel(1005);
  EXPECT_EQ(mappings(vtep1), "e1/6=9 e1/5=2005");
  EXPECT_THAT(trace.lines(),
              ElementsAre(dirLine, mapping + "Removing VLAN: 5 mapping from interface e1",
                          mapping + "Mapping VLAN 5 to VNI 2005 on interface e1"));
}

TEST_F(SwitchVnis, TheLastVniThatGoesLeavesNoMapping) {
  vniIs(vlan5, 1005, "acme");
  const TraceCapture trace;
  vlan5->mappedVniDel(1005);
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre(dirLine, mapping + "Removing VLAN: 5 mapping from interface e1"));
}

TEST_F(SwitchVnis, AVlanOfAMemberKeepsItsVniInTheModelAlone) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  const TraceCapture trace;
  vlan5->domainIs(blue);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 " + ofVlan + "handleVlanDomain: Adding static 5 <-> 1005 mapping "));
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
}

TEST_F(SwitchVnis, VnisThatStoodOnTheVlanBeforeThePortCameWaitForAVtepStatus) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto e2 = leaf1->physicalInterfaceIs("e2");
  vniIs(e2->vlanIs(6), 7006, "acme");
  e2->vlanIs(7)->domainIs(blue);
  leaf1->interfaceIs(e2);
  // The VLAN's domains have brought its VNI to the model, not to the VTEP.
  EXPECT_EQ(vnis(e2->vlan(7)), "1007[tenant]");
  EXPECT_EQ(mappings(vtep1), "");
  vtepIs("vtep1");
  EXPECT_EQ(mappings(vtep1), "e2/6=7006 e2/7=1007");
}

TEST_F(SwitchVnis, VnisThatStoodOnTheVlanBeforeThePortCameCountAtTheNextChange) {
  const auto e2 = leaf1->physicalInterfaceIs("e2");
  const auto vlan6 = e2->vlanIs(6);
  vniIs(vlan6, 7006, "acme");
  vniIs(vlan6, 8006, "acme");
  leaf1->interfaceIs(e2);
  EXPECT_EQ(mappings(vtep1), "");
  vlan6->mappedVniDel(7006);
  EXPECT_EQ(mappings(vtep1), "e2/6=8006");
}

TEST_F(SwitchVnis, APortReplacedUnderItsNameIsFollowedWithoutAWalkOfItsDomains) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  vniIs(vlan5, 3005, "acme");
  leaf1->physicalInterfaceDel("e1");
  const auto fresh = leaf1->physicalInterfaceIs("e1");
  const auto freshVlan5 = fresh->vlanIs(5);
  freshVlan5->domainIs(blue);
  fresh->vlanIs(6)->domainIs(blue);
  leaf1->interfaceIs(fresh);
  // VLAN 5 had a reactor, which now follows the new entry; VLAN 6 got a new one.
  EXPECT_EQ(vnis(freshVlan5), "");
  EXPECT_EQ(vnis(fresh->vlan(6)), "1006[tenant]");
  EXPECT_EQ(mappings(vtep1), "e1/5=3005");
  vniIs(freshVlan5, 4005, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=4005");
  vlan5->mappedVniDel(3005);
  EXPECT_EQ(mappings(vtep1), "e1/5=4005");
}

TEST_F(SwitchVnis, Vlan0IsMappedLikeAnyOther) {
  vniIs(e1->vlanIs(0), 1000, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/0=1000");
  e1->vlanDel(0);
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchVnis, OnlyTheOldestVtepConfigurationIsWritten) {
  const auto vtep0 = vtepIs("vtep0");
  vniIs(vlan5, 1005, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  EXPECT_EQ(mappings(vtep0), "");
  // It goes from the oldest alone as well.
  vtep0->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  vlan5->mappedVniDel(1005);
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_EQ(mappings(vtep0), "e1/5=9");
  // Once it has gone, the next in age is the oldest.
  vtepConfigDir->vtepConfigDel("vtep1");
  vniIs(vlan5, 2005, "acme");
  EXPECT_EQ(mappings(vtep0), "e1/5=2005");
}

TEST_F(SwitchVnis, VnisThatChangeOnAVlanThatIsJustLeavingAreNoConflictAndLeaveNoMapping) {
  const auto e2 = leaf1->physicalInterfaceIs("e2");
  // Hears of the VLAN's removal before the machine does, which still follows the VLAN.
  const auto first = Listener::on<Interface::vlanAttribute>(*e2);
  leaf1->interfaceIs(e2);
  const auto vlan6 = e2->vlanIs(6);
  vniIs(vlan6, 1006, "acme");
  EXPECT_EQ(mappings(vtep1), "e2/6=1006");
  const TraceCapture trace;
  first->atLine("vlan 6", [&] {
    vniIs(vlan6, 2006, "acme");
    EXPECT_EQ(mappings(vtep1), "");
    EXPECT_THAT(trace.lines(),
                ElementsAre(dirLine, mapping + "Removing VLAN: 6 mapping from interface e2"));
  });
  e2->vlanDel(6);
  EXPECT_THAT(first->taken(), ElementsAre("vlan 6", "vlan 6"));
  EXPECT_EQ(mappings(vtep1), "");
}

// Bounds

TEST_F(SwitchVnis, AVniAbove24BitsIsRefusedAfterItsLine) {
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vlan5->mappedVniIs(0x1000000); }), vniRefused);
  EXPECT_EQ(mappings(vtep1), "e1/5=9");
  EXPECT_THAT(trace.lines(),
              ElementsAre(dirLine, mapping + "Mapping VLAN 5 to VNI 16777216 on interface e1"));
  EXPECT_EQ(vnis(vlan5), "16777216[]");
}

TEST_F(SwitchVnis, VnisFrom0To24BitsAreWritten) {
  vniIs(vlan5, 0, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=0");
  vlan5->mappedVniDel(0);
  vniIs(vlan5, 0xffffff, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/5=16777215");
}

TEST_F(SwitchVnis, ASurvivorAbove24BitsIsRefusedAfterTheMappingHasGone) {
  vlan5->mappedVniIs(1005);
  vlan5->mappedVniIs(0x1000000);
  vtep1->vlanToVniMapIs(pair("e1", 5), Vxlan::Vni(9));
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vlan5->mappedVniDel(1005); }), vniRefused);
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre(dirLine, mapping + "Removing VLAN: 5 mapping from interface e1",
                          mapping + "Mapping VLAN 5 to VNI 16777216 on interface e1"));
}

TEST_F(SwitchVnis, AVlanAbove4094IsRefusedBeforeTheLineOfItsMapping) {
  const auto vlan4095 = e1->vlanIs(4095);
  const TraceCapture trace;
  EXPECT_EQ(refusal([&] { vlan4095->mappedVniIs(1005); }), vlanRefused);
  EXPECT_THAT(trace.lines(), ElementsAre(dirLine));
  EXPECT_EQ(refusal([&] { vlan4095->mappedVniDel(1005); }), vlanRefused);
  EXPECT_THAT(trace.lines(), ElementsAre(dirLine, dirLine));
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchVnis, AVlanIsTestedBeforeItsVni) {
  const auto vlan4095 = e1->vlanIs(4095);
  EXPECT_EQ(refusal([&] { vlan4095->mappedVniIs(0x1000000); }), vlanRefused);
}

TEST_F(SwitchVnis, Vlan4094IsMapped) {
  vniIs(e1->vlanIs(4094), 1005, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/4094=1005");
}

TEST_F(SwitchVnis, AVlanAbove16BitsIsMappedByItsLower16Bits) {
  const TraceCapture trace;
  vniIs(e1->vlanIs(0x10007), 1005, "acme");
  EXPECT_EQ(mappings(vtep1), "e1/7=1005");
  EXPECT_EQ(trace.lines().back(), mapping + "Mapping VLAN 65543 to VNI 1005 on interface e1");
  e1->vlanDel(0x10007);
  EXPECT_EQ(mappings(vtep1), "");
  const auto vlan4095 = e1->vlanIs(0x10fff);
  EXPECT_EQ(refusal([&] { vlan4095->mappedVniIs(1005); }), vlanRefused);
}

// Entries

TEST_F(SwitchVnis, EachHandlerOfAVlanTracesItsEntry) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto e2 = leaf1->physicalInterfaceIs("e2");
  e2->vlanIs(7)->domainIs(red);
  e2->vlan(7)->domainIs(acme);
  TraceCapture trace(9);
  leaf1->interfaceIs(e2);
  EXPECT_THAT(std::vector<std::string>(trace.lines().begin(), trace.lines().begin() + 3),
              ElementsAre("9 " + ofVlan + "handleInitialized: inteface: e2 VLAN: 7",
                          "9 " + ofVlan + "handleVlanDomain: leaf1 domainName : tenant/red",
                          "9 " + ofVlan + "handleVlanDomain: leaf1 domainName : acme"));
  trace.clear();
  vlan5->domainIs(blue);
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 " + ofVlan + "handleVlanDomain: leaf1 domainName : tenant/blue",
                          "3 " + ofVlan + "handleVlanDomain: Adding static 5 <-> 1005 mapping ",
                          "9 " + ofVlan + "handleInterfaceVniMapping: VLAN: 5 VNI: 1005",
                          "9 SwitchNodeSm::isMemberInterface: leaf1 0", dirLine,
                          mapping + "Mapping VLAN 5 to VNI 1005 on interface e1"));
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  trace.clear();
  vlan5->mappedVniDel(1005);
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 " + ofVlan + "handleInterfaceVniMapping: VLAN: 5 VNI: 1005",
                          "9 SwitchNodeSm::isMemberInterface: leaf1 1"));
}

// No VTEP configuration yet

class SwitchVnisWithoutVtep : public SwitchScene {
 protected:
  void SetUp() override {
    provisionLeaf1();
    vlan5 = portIs("e1")->vlanIs(5);
  }
  Velo::Ptr<DynamicVlan> vlan5;
};

TEST_F(SwitchVnisWithoutVtep, AVniChangesInTheModelAndIsPutOff) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const TraceCapture trace;
  vlan5->domainIs(blue);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_TRUE(vtepConfigDir->vtepConfig().empty());
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("3 " + ofVlan + "handleVlanDomain: Adding static 5 <-> 1005 mapping ", dirLine,
                  "3 " + ofVlan +
                      "handleInterfaceVniMapping: leaf1 vtepConfig is not present. "
                      "Deferring..."));
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
}

TEST_F(SwitchVnisWithoutVtep, NoBoundIsTestedWhileThereIsNoVtep) {
  const auto vlan4095 = leaf1->interface("e1")->vlanIs(4095);
  EXPECT_EQ(refusal([&] { vlan4095->mappedVniIs(0x1000000); }), "");
  EXPECT_EQ(refusal([&] { leaf1->interface("e1")->vlanDel(4095); }), "");
}

using SwitchVnisDeathTest = SwitchScene;

TEST_F(SwitchVnisDeathTest, ADomainOfASwitchWithoutAConfigurationIsAFault) {
  machine = Agent::SwitchNodeSm::SwitchNodeSmIs("leaf1", portVlanConfig, vtepConfigDir,
                                                vtepStatusDir, collection, nullptr);
  leaf1 = collection->networkElementIs("leaf1");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  EXPECT_DEATH(vlan5->domainIs(blue), "is missing");
}

TEST_F(SwitchVnisDeathTest, ADomainThatComesToAVlanThatIsJustLeavingIsAFault) {
  provisionLeaf1();
  const auto e1 = leaf1->physicalInterfaceIs("e1");
  const auto first = Listener::on<Interface::vlanAttribute>(*e1);
  leaf1->interfaceIs(e1);
  const auto vlan5 = e1->vlanIs(5);
  first->atLine("vlan 5", [&] {
    EXPECT_DEATH(vlan5->domainIs(blue), "the VLAN of the interface is missing");
  });
  e1->vlanDel(5);
  EXPECT_THAT(first->taken(), ElementsAre("vlan 5", "vlan 5"));
}

}  // namespace Fabrion::Test
