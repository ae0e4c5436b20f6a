// Static maps of client domains: how a change of the configuration finds the VLANs that it
// concerns.

#include <algorithm>

#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

class SwitchStaticMaps : public SwitchVlanScene {
 protected:
  Velo::Ptr<VlanToVniMap> blueMap() { return config->vlanToVniMap(blue); }
  // The line of a range and what it is mapped to.
  static std::string changed(const char* what) {
    return std::string("2 SwitchNodeSm::VeloVlanToVniMap::handleStaticVniMapForVlanRange: leaf1 ") +
           "Vlan range " + what;
  }
  static std::string adding(const char* what) {
    return "3 " + ofVlan + "handleVlanDomain: Adding static " + what + " mapping ";
  }
  static std::string mapping(const char* what) {
    return "3 " + ofVlan + "handleInterfaceVniMapping: leaf1 " + what;
  }
  static inline const std::string noMap =
      "2 SwitchNodeSm::handleStaticVniMapForDomain: leaf1 There is no VLAN to VNI mapping for "
      "domain 'tenant/blue'";
};

// Ranges that come

TEST_F(SwitchStaticMaps, AMapOfADomainThatNoVlanCarriesIsOnlyTraced) {
  vniIs(vlan5, 7005, "acme");
  const TraceCapture trace;
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  EXPECT_EQ(vnis(vlan5), "7005[acme]");
  EXPECT_EQ(mappings(vtep1), "e1/5=7005");
  EXPECT_THAT(trace.lines(), ElementsAre(changed("5 9 is now mapped to 1005 1009")));
}

TEST_F(SwitchStaticMaps, ARangeThatComesGivesItsVniToEachOfItsVlansThatCarriesTheDomain) {
  vlan5->domainIs(blue);
  e1->vlanIs(6);  // without the domain
  portIs("e2")->vlanIs(9)->domainIs(blue);
  staticRangeIs(blue, Range(20, 29), Range(1020, 1029));
  const TraceCapture trace;
  blueMap()->mapIs(Range(5, 9), Range(1005, 1009));
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(vnis(e1->vlan(6)), "");
  EXPECT_EQ(vnis(leaf1->interface("e2")->vlan(9)), "1009[tenant]");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e2/9=1009");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(changed("5 9 is now mapped to 1005 1009"), adding("5 <-> 1005"), dirLine,
                  mapping("Mapping VLAN 5 to VNI 1005 on interface e1"), adding("9 <-> 1009"),
                  dirLine, mapping("Mapping VLAN 9 to VNI 1009 on interface e2")));
}

TEST_F(SwitchStaticMaps, AMapThatComesWithSeveralRangesBringsThemAll) {
  vlan5->domainIs(blue);
  e1->vlanIs(20)->domainIs(blue);
  const auto map = Velo::make<VlanToVniMap>(blue);
  map->mapIs(Range(20, 29), Range(1020, 1029));
  map->mapIs(Range(5, 9), Range(1005, 1009));
  const TraceCapture trace;
  config->vlanToVniMapIs(map);
  EXPECT_EQ(mappings(vtep1), "e1/20=1020 e1/5=1005");
  ASSERT_EQ(trace.lines().size(), 8U);
  EXPECT_EQ(trace.lines()[0], changed("20 29 is now mapped to 1020 1029"));
  EXPECT_EQ(trace.lines()[4], changed("5 9 is now mapped to 1005 1009"));
}

TEST_F(SwitchStaticMaps, AnEmptyMapChangesNothing) {
  vlan5->domainIs(blue);
  const TraceCapture trace(9);
  config->vlanToVniMapIs(Velo::make<VlanToVniMap>(blue));
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_THAT(trace.lines(), ElementsAre("9 SwitchNodeSm::handleStaticVniMapForDomain: leaf1 "
                                         "domainName : tenant/blue"));
}

TEST_F(SwitchStaticMaps, ARangeReachesAMembersVlanInTheModelAlone) {
  vlan5->domainIs(blue);
  e1->portGroupIs(Velo::make<PortGroup>("po1"));
  const TraceCapture trace;
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre(changed("5 9 is now mapped to 1005 1009"), adding("5 <-> 1005")));
}

TEST_F(SwitchStaticMaps, ARangeOfVlansThatNoPortHasChangesNothing) {
  vlan5->domainIs(blue);
  const TraceCapture trace;
  staticRangeIs(blue, Range(6, 4000), Range(1006, 5000));
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(e1->vlan().size(), 1U);
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(), ElementsAre(changed("6 4000 is now mapped to 1006 5000")));
}

TEST_F(SwitchStaticMaps, ARangeOfEqualBoundsHoldsItsOneVlan) {
  const auto vlan4 = e1->vlanIs(4);
  const auto vlan6 = e1->vlanIs(6);
  for (const auto& vlan : {vlan4, vlan5, vlan6}) vlan->domainIs(blue);
  TraceCapture trace(9);
  staticRangeIs(blue, Range(5, 5), Range(1005, 1005));
  EXPECT_EQ(vnis(vlan4), "");
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(vnis(vlan6), "");
  // The VLANs beside the range are not even asked.
  const std::string asked = "9 " + ofVlan + "handleVlanDomain: leaf1 domainName : tenant/blue";
  EXPECT_EQ(std::count(trace.lines().begin(), trace.lines().end(), asked), 1);
}

TEST_F(SwitchStaticMaps, BothBoundsOfARangeBelongToIt) {
  for (const U32 vlan : {3U, 4U, 6U, 7U}) e1->vlanIs(vlan)->domainIs(blue);
  staticRangeIs(blue, Range(4, 6), Range(1004, 1006));
  EXPECT_EQ(mappings(vtep1), "e1/4=1004 e1/6=1006");
}

TEST_F(SwitchStaticMaps, ARangeOfADomainThatIsNotOnTheVlanTakesTheNameOfTheClientsOtherDomain) {
  // Both hold VNIs under their client's name, and a domain that is not there lets go of it.
  vlan5->domainIs(red);
  staticRangeIs(red, Range(5, 9), Range(1005, 1009));
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  const TraceCapture trace;
  staticRangeIs(blue, Range(5, 9), Range(2005, 2009));
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre(changed("5 9 is now mapped to 2005 2009"),
                          "3 " + ofVlan + "handleVlanDomain: Removing 5 <-> 1005 mapping ", dirLine,
                          mapping("Removing VLAN: 5 mapping from interface e1")));
}

// Ranges that change and go

TEST_F(SwitchStaticMaps, ARangeThatGoesWhileTheDomainsMapStaysLeavesItsVnisMapped) {
  vlan5->domainIs(blue);
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const TraceCapture trace;
  blueMap()->mapDel(Range(5, 9));
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  EXPECT_THAT(trace.lines(), ElementsAre(changed("5 9 is now mapped to 0 0")));
  // It goes with the domain.
  vlan5->domainDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchStaticMaps, AVniWhoseRangeHasGoneGoesWithTheWholeMap) {
  vlan5->domainIs(blue);
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  blueMap()->mapDel(Range(5, 9));
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  const TraceCapture trace;
  config->vlanToVniMapDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_TRUE(vlan5->domain(blue));
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre(noMap, dirLine, mapping("Removing VLAN: 5 mapping from interface e1")));
}

TEST_F(SwitchStaticMaps, ARangeGivenOtherVnisPutsItsVlansInConflict) {
  vlan5->domainIs(blue);
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const TraceCapture trace;
  blueMap()->mapIs(Range(5, 9), Range(2005, 2009));
  EXPECT_EQ(vnis(vlan5), "1005[tenant] 2005[tenant]");
  EXPECT_EQ(mappings(vtep1), "");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(changed("5 9 is now mapped to 2005 2009"), adding("5 <-> 2005"), dirLine,
                  "0 SwitchNodeSm::handleVniMapConflict: Conflict is detected in VLAN 5 "
                  "mapping on switch leaf1 interface e1 There are 2 different VNIs (1005, 2005) "
                  "are requested to map on same VLAN. Removing mapping for VLAN 5 from "
                  "interface e1"));
}

TEST_F(SwitchStaticMaps, AMapReplacedByAnotherBringsItsRangesAndForgetsNone) {
  vlan5->domainIs(blue);
  e1->vlanIs(20)->domainIs(blue);
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto old = blueMap();
  const auto fresh = Velo::make<VlanToVniMap>(blue);
  fresh->mapIs(Range(20, 29), Range(1020, 1029));
  config->vlanToVniMapIs(fresh);
  EXPECT_EQ(mappings(vtep1), "e1/5=1005 e1/20=1020");
  // The old one is followed no more.
  const TraceCapture trace;
  old->mapIs(Range(30, 39), Range(1030, 1039));
  EXPECT_THAT(trace.lines(), IsEmpty());
  fresh->mapIs(Range(30, 39), Range(1030, 1039));
  EXPECT_THAT(trace.lines(), ElementsAre(changed("30 39 is now mapped to 1030 1039")));
}

// Maps that go

TEST_F(SwitchStaticMaps, AVniThatAClientHoldsTooOutlivesTheMap) {
  vlan5->domainIs(blue);
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  vniIs(vlan5, 1005, "acme");
  const TraceCapture trace;
  config->vlanToVniMapDel(blue);
  EXPECT_EQ(vnis(vlan5), "1005[acme]");
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
  EXPECT_THAT(trace.lines(), ElementsAre(noMap));
}

TEST_F(SwitchStaticMaps, AMapThatGoesTakesItsNameFromEveryVniOfTheSwitch) {
  // Neither the domain nor the range has to be on the VLAN, and a member's VLAN counts as well.
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  vniIs(vlan5, 7005, "tenant");
  vniIs(vlan5, 8005, "acme");
  vniIs(e1->vlanIs(20), 7020, "tenant");
  const auto e2 = portIs("e2");
  e2->vlanIs(5)->domainIs(blue);
  vniIs(e2->vlan(5), 7005, "acme");
  e2->portGroupIs(Velo::make<PortGroup>("po1"));
  EXPECT_EQ(vnis(e2->vlan(5)), "1005[tenant] 7005[acme]");
  config->vlanToVniMapDel(blue);
  EXPECT_EQ(vnis(vlan5), "8005[acme]");
  EXPECT_EQ(vnis(e1->vlan(20)), "");
  EXPECT_EQ(vnis(e2->vlan(5)), "7005[acme]");
  EXPECT_EQ(mappings(vtep1), "e1/5=8005");
}

TEST_F(SwitchStaticMaps, AMapThatGoesTakesTheNameOfTheClientsOtherDomain) {
  staticRangeIs(blue, Range(5, 9), Range(2005, 2009));
  vlan5->domainIs(red);
  staticRangeIs(red, Range(5, 9), Range(1005, 1009));
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  config->vlanToVniMapDel(blue);
  EXPECT_EQ(vnis(vlan5), "");
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchStaticMaps, AMapThatGoesAndComesAgainBringsTheVniBack) {
  vlan5->domainIs(blue);
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto map = blueMap();
  config->vlanToVniMapDel(blue);
  EXPECT_EQ(mappings(vtep1), "");
  config->vlanToVniMapIs(map);
  EXPECT_EQ(mappings(vtep1), "e1/5=1005");
}

// Bounds

TEST_F(SwitchStaticMaps, AVniAbove24BitsThatAMapBringsIsRefusedToWhoChangesTheMap) {
  vlan5->domainIs(blue);
  e1->vlanIs(6)->domainIs(blue);
  EXPECT_EQ(refusal([&] { staticRangeIs(blue, Range(5, 9), Range(0x1000000, 0x1000004)); }),
            vniRefused);
  // The VNI stands in the model, not yet held by anybody; VLAN 6 was not reached.
  EXPECT_EQ(vnis(vlan5), "16777216[]");
  EXPECT_EQ(vnis(e1->vlan(6)), "");
  EXPECT_EQ(mappings(vtep1), "");
}

TEST_F(SwitchStaticMaps, Vlan4095ThatLosesItsMapIsRefused) {
  const auto vlan4095 = e1->vlanIs(4095);
  vtepConfigDir->vtepConfigDel("vtep1");
  vlan4095->domainIs(blue);
  staticRangeIs(blue, Range(4095, 4095), Range(1005, 1005));
  vtepConfigDir->vtepConfigIs("vtep1");
  EXPECT_EQ(refusal([&] { config->vlanToVniMapDel(blue); }), vlanRefused);
  EXPECT_EQ(vnis(vlan4095), "");
}

// Entries

TEST_F(SwitchStaticMaps, EachHandlerOfAMapTracesItsEntry) {
  TraceCapture trace(9);
  const auto map = Velo::make<VlanToVniMap>(acme);
  map->mapIs(Range(20, 29), Range(1020, 1029));
  config->vlanToVniMapIs(map);
  map->mapDel(Range(20, 29));
  config->vlanToVniMapDel(acme);
  const std::string range =
      "9 SwitchNodeSm::VeloVlanToVniMap::handleStaticVniMapForVlanRange: leaf1 [ acme ] vlan "
      "mapping is changing for 20 29";
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("9 SwitchNodeSm::handleStaticVniMapForDomain: leaf1 domainName : acme", range,
                  changed("20 29 is now mapped to 1020 1029"), range,
                  changed("20 29 is now mapped to 0 0"),
                  "9 SwitchNodeSm::handleStaticVniMapForDomain: leaf1 domainName : acme",
                  "2 SwitchNodeSm::handleStaticVniMapForDomain: leaf1 There is no VLAN to VNI "
                  "mapping for domain 'acme'"));
}

TEST_F(SwitchStaticMaps, AReactorOfNoMapNamesAnEmptyDomain) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const auto reactor = machine->veloVlanToVniMap(blue);
  EXPECT_EQ(reactor->domainName(), blue);
  reactor->notifierIs(nullptr);
  EXPECT_EQ(reactor->domainName(), Client::ClientDomain("", ""));
}

// Before the element

using SwitchStaticMapsWithoutElement = SwitchScene;

TEST_F(SwitchStaticMapsWithoutElement, AMapThatChangesIsTracedAndNothingMore) {
  buildMachine();
  const TraceCapture trace;
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "2 SwitchNodeSm::VeloVlanToVniMap::handleStaticVniMapForVlanRange: leaf1 Vlan range 5 9 "
          "is now mapped to 1005 1009",
          "2 SwitchNodeSm::VeloVlanToVniMap::handleStaticVniMapForVlanRange: Switch element does "
          "not exist for leaf1"));
  EXPECT_TRUE(vtepConfigDir->vtepConfig().empty());
}

TEST_F(SwitchStaticMapsWithoutElement, AMapThatGoesEndsAfterTheLineThatThereIsNone) {
  buildMachine();
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const TraceCapture trace;
  config->vlanToVniMapDel(blue);
  EXPECT_THAT(trace.lines(), ElementsAre("2 SwitchNodeSm::handleStaticVniMapForDomain: leaf1 There "
                                         "is no VLAN to VNI mapping for domain 'tenant/blue'"));
}

TEST_F(SwitchStaticMapsWithoutElement, AMapThatStoodBeforeTheMachineRunsNoHandler) {
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  const TraceCapture trace(9);
  buildMachine();
  EXPECT_TRUE(machine->veloVlanToVniMap(blue));
  EXPECT_THAT(trace.lines(), ElementsAre("9 SwitchNodeSm::handleInitialized: leaf1"));
}

TEST_F(SwitchStaticMapsWithoutElement, VlansOfTheElementThatComesAskForTheirVnis) {
  buildMachine();
  staticRangeIs(blue, Range(5, 9), Range(1005, 1009));
  vtepIs("vtep1");
  leaf1 = Velo::make<NetworkElement>("leaf1");
  const auto vlan5 = portIs("e1")->vlanIs(5);
  vlan5->domainIs(blue);
  machine->switchElementIs(leaf1);
  EXPECT_EQ(vnis(vlan5), "1005[tenant]");
  EXPECT_EQ(mappings(vtepConfigDir->vtepConfig("vtep1")), "e1/5=1005");
}

}  // namespace Fabrion::Test
