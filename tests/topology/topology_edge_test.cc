// Links: what an edge of the status leaves in the model, and what goes with it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TraceCapture.h"
#include "tests/topology/TopologyScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A switch and a host, with no cable yet.
class TopologyEdge : public testing::Test {
 protected:
  TopologyEdge() {
    scene.start();
    scene.entered("leaf1", "leaf1.example", {"e1", "e2"});
    scene.entered("srv1", "compute1", {"eth0"});
  }

  TopologyScene scene;
};

using TopologyEdgeDeathTest = TopologyEdge;

}  // namespace

// Building

TEST_F(TopologyEdge, ALinkGivesEachEndAnInterfaceThatHasDiscoveredTheOtherElement) {
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"));
  ASSERT_TRUE(scene.interface("leaf1", "e1"));
  ASSERT_TRUE(scene.interface("srv1", "eth0"));
  EXPECT_EQ(scene.element("srv1"), scene.interface("leaf1", "e1")->discoveredElement("srv1"));
  EXPECT_EQ(scene.element("leaf1"), scene.interface("srv1", "eth0")->discoveredElement("leaf1"));
  EXPECT_TRUE(scene.interface("leaf1", "e1")->discovered());
  EXPECT_TRUE(scene.interface("srv1", "eth0")->discovered());
  EXPECT_THAT(keysOf(scene.element("leaf1")->interface()), ElementsAre("e1"));
}

TEST_F(TopologyEdge, ALinkIsToldStepByStep) {
  scene.edge(scene.port("leaf1", "e1"));
  TraceCapture trace(9);
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"));
  const std::string by = " TopologySm::VeloDirectedEdge::handleToPort: ";
  EXPECT_THAT(
      linesOf(trace.lines(), "TopologySm"),
      ElementsAre("9" + by + "eth0",
                  "2" + by + "leaf1.example ( leaf1 ) : e1 -> compute1 ( srv1 ) : eth0",
                  "2" + by + "Connected", "2" + by + "Host name is leaf1.example",
                  "3" + by + "Creating physical host for compute1", "3" + by + "This port: e1",
                  "3" + by + "Remote port: eth0", "3" + by + "Remote ne: srv1",
                  "3" + by + "Local ne: leaf1", "3" + by + "e1 does not belong to a port group"));
}

TEST_F(TopologyEdge, ALinkOfAPortInAGroupPutsTheLocalInterfaceIntoTheGroup) {
  scene.portGroup("leaf1", "po1", {"e1"});
  scene.portGroup("srv1", "bond0", {"eth0"});
  scene.edge(scene.port("leaf1", "e1"));
  TraceCapture trace;
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"));
  const auto group = scene.element("leaf1")->portGroup("po1");
  ASSERT_TRUE(group);
  EXPECT_EQ(scene.interface("leaf1", "e1"), group->memberInterface("e1"));
  EXPECT_EQ(group, scene.interface("leaf1", "e1")->portGroup());
  const std::string by = " TopologySm::VeloDirectedEdge::handleToPort: ";
  auto lines = linesOf(trace.lines(), "TopologySm");
  lines.erase(lines.begin(), lines.begin() + 8);
  EXPECT_THAT(lines, ElementsAre("3" + by + "Port group: po1", "3" + by + "This ne: leaf1",
                                 "3" + by + "Remote ne: srv1"));
}

TEST_F(TopologyEdge, OnlyTheLocalEndGetsItsGroupUntilTheOtherDirectionIsSeen) {
  // The groups are known to the ports alone, so that the links are the only way for them to come.
  scene.port("leaf1", "e1")->portGroupIs(Velo::make<Topology::PortGroup>("po1"));
  scene.port("srv1", "eth0")->portGroupIs(Velo::make<Topology::PortGroup>("bond0"));
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"));
  EXPECT_TRUE(scene.element("leaf1")->portGroup("po1"));
  EXPECT_FALSE(scene.element("srv1")->portGroup("bond0"));
  scene.sees(scene.port("srv1", "eth0"), scene.port("leaf1", "e1"));
  ASSERT_TRUE(scene.element("srv1")->portGroup("bond0"));
  EXPECT_EQ(scene.element("srv1")->portGroup("bond0"),
            scene.interface("srv1", "eth0")->portGroup());
}

TEST_F(TopologyEdge, TwoHostsThatAreNoSwitchesAreLinkedInTheSameWay) {
  scene.entered("srv2", "compute2", {"eth0"});
  scene.cable("srv1", "eth0", "srv2", "eth0");
  EXPECT_THAT(keysOf(scene.interface("srv1", "eth0")->discoveredElement()), ElementsAre("srv2"));
  EXPECT_THAT(keysOf(scene.interface("srv2", "eth0")->discoveredElement()), ElementsAre("srv1"));
  EXPECT_FALSE(scene.element("srv1")->isSwitchElement());
  EXPECT_FALSE(scene.interface("srv1", "eth0")->isSwitchInterface());
}

TEST_F(TopologyEdge, AnInterfaceThatSeesTwoElementsHasDiscoveredBoth) {
  scene.entered("srv2", "compute2", {"eth0"});
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"));
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv2", "eth0"));
  EXPECT_THAT(keysOf(scene.interface("leaf1", "e1")->discoveredElement()),
              ElementsAre("srv1", "srv2"));
}

TEST_F(TopologyEdge, ALinkToAHostThatIsNotThereYetLeavesNoInterface) {
  scene.host("srv9", "compute9", {"eth0"});
  scene.edge(scene.port("leaf1", "e1"));
  TraceCapture trace;
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv9", "eth0"));
  EXPECT_FALSE(scene.element("srv9"));
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
  const std::string by = " TopologySm::VeloDirectedEdge::handleToPort: ";
  EXPECT_THAT(
      linesOf(trace.lines(), "TopologySm"),
      ElementsAre("2" + by + "leaf1.example ( leaf1 ) : e1 -> compute9 ( srv9 ) : eth0",
                  "2" + by + "Connected", "2" + by + "Host name is leaf1.example",
                  "3" + by + "Creating physical host for compute9", "2" + by + "Disconnected"));
}

TEST_F(TopologyEdge, ALinkOfAHostThatIsNotThereYetMakesItsElementWithItsReferrer) {
  scene.host("srv9", "compute9", {"eth0"});
  scene.sees(scene.port("srv9", "eth0"), scene.port("leaf1", "e1"));
  ASSERT_TRUE(scene.element("srv9"));
  EXPECT_THAT(keysOf(scene.element("srv9")->referrer()), ElementsAre("srv9"));
  EXPECT_EQ("", scene.element("srv9")->hostname());
  EXPECT_THAT(keysOf(scene.element("srv9")->physicalInterface()), ElementsAre("eth0"));
}

TEST_F(TopologyEdge, AHostThatArrivesAfterItsEdgesReplaysThemInBothDirections) {
  scene.host("leaf9", "leaf9.example", {"e1"});
  scene.host("srv9", "compute9", {"eth0"});
  scene.port("leaf9", "e1")->portGroupIs(Velo::make<Topology::PortGroup>("po1"));
  scene.port("srv9", "eth0")->portGroupIs(Velo::make<Topology::PortGroup>("bond0"));
  // Both edges are filed with their far end in them, so that nothing is seen of them by themselves.
  const auto there = Velo::make<Topology::DirectedEdge>(scene.port("leaf9", "e1"));
  there->toPortIs(scene.port("srv9", "eth0"), true);
  const auto back = Velo::make<Topology::DirectedEdge>(scene.port("srv9", "eth0"));
  back->toPortIs(scene.port("leaf9", "e1"), true);
  scene.status->edgeIs(there);
  scene.status->edgeIs(back);
  EXPECT_FALSE(scene.element("leaf9"));
  EXPECT_FALSE(scene.element("srv9"));
  TraceCapture trace;
  scene.enter("srv9");
  EXPECT_TRUE(trace.has("3 TopologySm::handleHost: To port: e1"));
  // The other direction made the element of leaf9, whose own host has still to come.
  EXPECT_THAT(keysOf(scene.element("leaf9")->referrer()), ElementsAre("leaf9"));
  scene.enter("leaf9");
  EXPECT_TRUE(trace.has("3 TopologySm::handleHost: To port: eth0"));
  EXPECT_THAT(keysOf(scene.interface("leaf9", "e1")->discoveredElement()), ElementsAre("srv9"));
  EXPECT_THAT(keysOf(scene.interface("srv9", "eth0")->discoveredElement()), ElementsAre("leaf9"));
  ASSERT_TRUE(scene.interface("leaf9", "e1")->portGroup());
  ASSERT_TRUE(scene.interface("srv9", "eth0")->portGroup());
  EXPECT_EQ("po1", scene.interface("leaf9", "e1")->portGroup()->name());
  EXPECT_EQ("bond0", scene.interface("srv9", "eth0")->portGroup()->name());
}

TEST_F(TopologyEdge, ALinkThatWaitedForItsRemoteHostIsTakenUpInBothDirectionsByThatHost) {
  scene.host("srv9", "compute9", {"eth0"});
  scene.port("leaf1", "e1")->portGroupIs(Velo::make<Topology::PortGroup>("po1"));
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv9", "eth0"));
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
  const auto back = Velo::make<Topology::DirectedEdge>(scene.port("srv9", "eth0"));
  back->toPortIs(scene.port("leaf1", "e1"), true);
  scene.status->edgeIs(back);
  TraceCapture trace;
  scene.enter("srv9");
  ASSERT_TRUE(scene.interface("leaf1", "e1"));
  EXPECT_THAT(keysOf(scene.interface("leaf1", "e1")->discoveredElement()), ElementsAre("srv9"));
  EXPECT_THAT(keysOf(scene.interface("srv9", "eth0")->discoveredElement()), ElementsAre("leaf1"));
  EXPECT_EQ(scene.element("leaf1")->portGroup("po1"), scene.interface("leaf1", "e1")->portGroup());
  // Its own direction first.
  std::vector<std::string> links;
  for (const std::string& line : trace.lines()) {
    if (line.find(" -> ") != std::string::npos) links.push_back(line.substr(line.find(": ") + 2));
  }
  EXPECT_THAT(links, ElementsAre("compute9 ( srv9 ) : eth0 -> leaf1.example ( leaf1 ) : e1",
                                 "leaf1.example ( leaf1 ) : e1 -> compute9 ( srv9 ) : eth0"));
}

TEST_F(TopologyEdge, AHostThatWaitsOnOneDirectionAloneIsNotLinkedByItsArrival) {
  // Only leaf1 has an edge, and it is the edges of the arriving host that are replayed.
  scene.host("srv9", "compute9", {"eth0"});
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv9", "eth0"));
  TraceCapture trace;
  scene.enter("srv9");
  EXPECT_TRUE(trace.has("2 TopologySm::handleHost: Edge from eth0 does not exist"));
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
}

TEST_F(TopologyEdge, AnEntryWithTheValueFalseCountsAsAbsent) {
  scene.edge(scene.port("leaf1", "e1"));
  TraceCapture trace;
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"), false);
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
  EXPECT_THAT(trace.lines(),
              ElementsAre("2 TopologySm::VeloDirectedEdge::handleToPort: leaf1.example ( "
                          "leaf1 ) : e1 -> compute1 ( srv1 ) : eth0"));
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"), true);
  EXPECT_TRUE(scene.interface("leaf1", "e1"));
}

TEST_F(TopologyEdge, TakingTheFarEndFromAnEdgeThatStaysChangesNothing) {
  scene.cable("leaf1", "e1", "srv1", "eth0");
  TraceCapture trace(9);
  scene.edge(scene.port("leaf1", "e1"))->toPortDel(scene.port("srv1", "eth0"));
  const std::string by = " TopologySm::VeloDirectedEdge::handleToPort: ";
  EXPECT_THAT(trace.lines(),
              ElementsAre("9" + by + "eth0",
                          "2" + by + "leaf1.example ( leaf1 ) : e1 -> compute1 ( srv1 ) : eth0"));
  EXPECT_THAT(keysOf(scene.interface("leaf1", "e1")->discoveredElement()), ElementsAre("srv1"));
  EXPECT_TRUE(scene.interface("leaf1", "e1")->discovered());
  EXPECT_TRUE(scene.interface("srv1", "eth0")->discovered());
}

TEST_F(TopologyEdge, AReplayOfALinkWritesTheSameAgainAndNobodyIsTold) {
  scene.cable("leaf1", "e1", "srv1", "eth0");
  const auto interface = scene.interface("leaf1", "e1");
  TraceCapture trace(9);
  scene.machine->handleHost("srv1");
  EXPECT_EQ(interface, scene.interface("leaf1", "e1"));
  EXPECT_THAT(linesOf(trace.lines(), "PhysicalInterfaceSm"), IsEmpty());
  EXPECT_THAT(linesOf(trace.lines(), "NetworkElementCollectionSm"), IsEmpty());
}

TEST_F(TopologyEdge, APortThatIsNotListedByItsHostIsLinkedWithoutAGroup) {
  const auto hidden = Velo::make<Topology::Port>(*scene.hostObject("leaf1"), "e9");
  hidden->portGroupIs(Velo::make<Topology::PortGroup>("po1"));
  scene.edge(hidden);
  TraceCapture trace;
  scene.sees(hidden, scene.port("srv1", "eth0"));
  EXPECT_THAT(keysOf(scene.interface("leaf1", "e9")->discoveredElement()), ElementsAre("srv1"));
  EXPECT_FALSE(scene.interface("leaf1", "e9")->portGroup());
  EXPECT_FALSE(scene.element("leaf1")->portGroup("po1"));
  EXPECT_EQ("3 TopologySm::VeloDirectedEdge::handleToPort: Local ne: leaf1",
            linesOf(trace.lines(), "TopologySm").back());
}

TEST_F(TopologyEdge, APortThatHasLeftItsGroupIsTakenOutOfItButStaysListedAsAMember) {
  const auto group = scene.portGroup("leaf1", "po1", {"e1"});
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"));
  scene.port("leaf1", "e1")->portGroupIs(nullptr);
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"), false);
  scene.sees(scene.port("leaf1", "e1"), scene.port("srv1", "eth0"), true);
  EXPECT_FALSE(scene.interface("leaf1", "e1")->portGroup());
  EXPECT_TRUE(scene.element("leaf1")->portGroup("po1")->memberInterface("e1"));
  group->memberPortDel("e1");
  EXPECT_FALSE(scene.element("leaf1")->portGroup("po1")->memberInterface("e1"));
}

// Tearing down

TEST_F(TopologyEdge, AnEdgeThatGoesTakesTheInterfaceThatRestsOnDiscoveryAlone) {
  scene.cable("leaf1", "e1", "srv1", "eth0");
  TraceCapture trace(9);
  scene.seesNothing(scene.port("leaf1", "e1"));
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
  EXPECT_TRUE(scene.element("leaf1")->interface().empty());
  EXPECT_THAT(keysOf(scene.element("leaf1")->referrer()), ElementsAre("leaf1"));
  const std::string by = " TopologySm::VeloTopologyEdge::handleCleanup: ";
  EXPECT_THAT(linesOf(trace.lines(), "TopologySm"),
              ElementsAre("9" + by + "e1", "9" + by + "NetworkTopologyAggregatorV3::Host(leaf1)",
                          "3" + by + "Switch node: Fabrion::NetworkElement(leaf1)",
                          "2" + by + "Edge from leaf1.example:e1 deleted"));
}

TEST_F(TopologyEdge, TheFarInterfaceGoesWithTheEdgeOfItsOwn) {
  scene.cable("leaf1", "e1", "srv1", "eth0");
  scene.seesNothing(scene.port("leaf1", "e1"));
  ASSERT_TRUE(scene.interface("srv1", "eth0"));
  EXPECT_THAT(keysOf(scene.interface("srv1", "eth0")->discoveredElement()), ElementsAre("leaf1"));
  EXPECT_TRUE(scene.interface("srv1", "eth0")->discovered());
  scene.seesNothing(scene.port("srv1", "eth0"));
  EXPECT_FALSE(scene.interface("srv1", "eth0"));
}

TEST_F(TopologyEdge, AnInterfaceOfASwitchThatGoesTakesItsMachineWithIt) {
  scene.element("leaf1")->isSwitchElementIs(true);
  scene.cable("leaf1", "e1", "srv1", "eth0");
  EXPECT_TRUE(scene.elementMachine("leaf1")->physicalInterfaceSm("e1"));
  scene.seesNothing(scene.port("leaf1", "e1"));
  EXPECT_FALSE(scene.elementMachine("leaf1")->physicalInterfaceSm("e1"));
  EXPECT_TRUE(scene.element("leaf1")->interface().empty());
}

TEST_F(TopologyEdge, AnInterfaceWithAConfiguredElementStaysWithItsVlansWhenItsEdgeGoes) {
  scene.element("leaf1")->isSwitchElementIs(true);
  scene.cable("leaf1", "e1", "srv1", "eth0");
  const auto interface = scene.interface("leaf1", "e1");
  const auto configured = scene.elements->networkElementIs("remote");
  configured->referrerIs("acme", true);
  interface->configuredElementIs(configured);
  interface->vlanIs(10)->referrerIs("acme");
  scene.seesNothing(scene.port("leaf1", "e1"));
  EXPECT_EQ(interface, scene.interface("leaf1", "e1"));
  EXPECT_FALSE(interface->discovered());
  EXPECT_TRUE(interface->discoveredElement().empty());
  EXPECT_THAT(keysOf(interface->configuredElement()), ElementsAre("remote"));
  EXPECT_TRUE(interface->vlan(10));
  EXPECT_EQ(interface, scene.element("leaf1")->interface("e1"));
}

TEST_F(TopologyEdge, TheLastInterfaceTakesAnElementWithoutReferrerWithIt) {
  scene.cable("leaf1", "e1", "srv1", "eth0");
  scene.leave("srv1");
  ASSERT_TRUE(scene.element("srv1"));
  TraceCapture trace;
  scene.seesNothing(scene.port("srv1", "eth0"));
  EXPECT_FALSE(scene.element("srv1"));
  EXPECT_FALSE(scene.elementMachine("srv1"));
  EXPECT_TRUE(trace.has(
      "3 NetworkElementCollectionSm::VeloNetworkElement::deleteIfNotNecessary: Deleting srv1"));
}

TEST_F(TopologyEdge, AnEdgeWhoseElementHasGoneIsOnlyToldOf) {
  scene.edge(scene.port("srv1", "eth0"));
  scene.leave("srv1");
  ASSERT_FALSE(scene.element("srv1"));
  TraceCapture trace;
  scene.seesNothing(scene.port("srv1", "eth0"));
  const std::string by = " TopologySm::VeloTopologyEdge::handleCleanup: ";
  EXPECT_THAT(trace.lines(),
              ElementsAre("3" + by + "Switch node: null",
                          "2" + by + "Not reacting to host -> switch edge. srv1 : eth0"));
}

TEST_F(TopologyEdge, AnEdgeThatNeverLinkedGoesWithoutAChange) {
  scene.edge(scene.port("leaf1", "e2"));
  TraceCapture trace;
  scene.seesNothing(scene.port("leaf1", "e2"));
  EXPECT_EQ("2 TopologySm::VeloTopologyEdge::handleCleanup: Edge from leaf1.example:e2 deleted",
            trace.lines().back());
  EXPECT_TRUE(scene.element("leaf1"));
}

TEST_F(TopologyEdge, AnEdgeOfAPortWithoutAHostGoesInSilence) {
  const auto orphan = Velo::make<Topology::Port>(*Velo::make<Topology::Host>("gone"), "p1");
  ASSERT_FALSE(orphan->host());
  scene.edge(orphan);
  TraceCapture trace(9);
  scene.seesNothing(orphan);
  const std::string by = "9 TopologySm::VeloTopologyEdge::handleCleanup: ";
  EXPECT_THAT(trace.lines(), ElementsAre(by + "p1", by + "null"));
}

TEST_F(TopologyEdge, AHostThatHasLeftIsKnownToItsEdgesUntilTheyGo) {
  scene.cable("leaf1", "e1", "srv1", "eth0");
  const auto port = scene.port("srv1", "eth0");
  scene.leave("srv1");
  scene.forgetHost("srv1");
  ASSERT_TRUE(scene.interface("srv1", "eth0"));
  EXPECT_TRUE(scene.element("srv1")->referrer().empty());
  ASSERT_TRUE(port->host());
  TraceCapture trace;
  scene.status->edgeDelAll();
  EXPECT_TRUE(trace.has("handleCleanup: Edge from compute1:eth0 deleted"));
  EXPECT_FALSE(scene.element("srv1"));
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
  EXPECT_FALSE(port->host());
}

TEST_F(TopologyEdge, AnEdgeIsFollowedOnceItIsThereAndNoLongerWhenItHasGone) {
  const auto edge = scene.edge(scene.port("leaf1", "e1"));
  scene.seesNothing(scene.port("leaf1", "e1"));
  TraceCapture trace(9);
  edge->toPortIs(scene.port("srv1", "eth0"), true);
  EXPECT_THAT(trace.lines(), IsEmpty());
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
}

TEST_F(TopologyEdgeDeathTest, ALinkToAPortWithoutAHostEndsTheProcess) {
  const auto orphan = Velo::make<Topology::Port>(*Velo::make<Topology::Host>("gone"), "p1");
  scene.edge(scene.port("leaf1", "e1"));
  EXPECT_DEATH(scene.sees(scene.port("leaf1", "e1"), orphan),
               "handleToPort: the host of the remote port is missing");
}

}  // namespace Fabrion::Test
