// Hosts, hostnames, and the start and the end of TopologySm. Links have a file of their own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Velo/TypeImpl.h"
#include "tests/support/TraceCapture.h"
#include "tests/topology/TopologyScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool isInitialized(const Velo::Ptr<Agent::TopologySm>& machine) {
  const U32 attribute = Velo::attributeIndex(Agent::topologySmType, "initialized");
  bool value = false;
  EXPECT_EQ(Velo::AttributeRecord::done,
            Velo::genericIfAttributeOp(&value, machine.get(), attribute, Velo::AttributeOp::get,
                                       nullptr, nullptr));
  return value;
}

void invoke(const Velo::Ptr<Agent::TopologySm>& machine, const char* handler) {
  EXPECT_EQ(Velo::AttributeRecord::done,
            Velo::genericIfAttributeOp(nullptr, machine.get(),
                                       Velo::attributeIndex(Agent::topologySmType, handler),
                                       Velo::AttributeOp::invoke, nullptr, nullptr));
}

}  // namespace

// Start

TEST(TopologySm, AnEmptyStatusGivesAnInitializedMachineWithAChildAndNoElement) {
  TopologyScene scene;
  scene.start();
  EXPECT_TRUE(isInitialized(scene.machine));
  EXPECT_TRUE(scene.machine->networkElementCollectionSm());
  EXPECT_TRUE(scene.elements->networkElement().empty());
}

TEST(TopologySm, WhatIsDiscoveredBeforeTheStartIsTakenUpByIt) {
  TopologyScene scene;
  scene.entered("leaf1", "leaf1.example", {"e1", "e2"});
  scene.entered("srv1", "compute1", {"eth0"});
  scene.cable("leaf1", "e1", "srv1", "eth0");
  scene.start();
  ASSERT_THAT(keysOf(scene.elements->networkElement()), ElementsAre("leaf1", "srv1"));
  EXPECT_THAT(keysOf(scene.element("leaf1")->referrer()), ElementsAre("leaf1"));
  EXPECT_THAT(keysOf(scene.element("srv1")->referrer()), ElementsAre("srv1"));
  EXPECT_EQ("leaf1.example", scene.element("leaf1")->hostname());
  EXPECT_EQ("compute1", scene.element("srv1")->hostname());
  EXPECT_THAT(keysOf(scene.element("leaf1")->physicalInterface()), ElementsAre("e1"));
  EXPECT_THAT(keysOf(scene.element("srv1")->physicalInterface()), ElementsAre("eth0"));
  EXPECT_THAT(keysOf(scene.interface("leaf1", "e1")->discoveredElement()), ElementsAre("srv1"));
  EXPECT_THAT(keysOf(scene.interface("srv1", "eth0")->discoveredElement()), ElementsAre("leaf1"));
}

TEST(TopologySm, ElementsThatStoodThereBeforeHaveTheirMachineByTheTimeOfTheFirstHost) {
  TopologyScene scene;
  scene.elements->networkElementIs("remote");
  scene.elements->networkElementIs("srv1");
  scene.entered("srv1", "compute1");
  TraceCapture trace(9);
  scene.start();
  EXPECT_TRUE(scene.elementMachine("remote"));
  EXPECT_TRUE(scene.elementMachine("srv1"));
  std::vector<std::string> order;
  for (const std::string& line : trace.lines()) {
    if (line == "9 NetworkElementCollectionSm::handleNetworkElement: remote" ||
        line == "9 NetworkElementCollectionSm::handleNetworkElement: srv1" ||
        line == "9 TopologySm::handleHost: srv1") {
      order.push_back(line);
    }
  }
  EXPECT_THAT(order, ElementsAre("9 NetworkElementCollectionSm::handleNetworkElement: remote",
                                 "9 NetworkElementCollectionSm::handleNetworkElement: srv1",
                                 "9 TopologySm::handleHost: srv1"));
}

TEST(TopologySm, GroupsAreTakenUpAtTheStartAfterTheHosts) {
  TopologyScene scene;
  scene.entered("srv1", "compute1");
  scene.group("compute1", {"srv1"});
  scene.requests->resourcesForHostnameIs("compute1");
  TraceCapture trace(9);
  scene.start();
  EXPECT_EQ(scene.requests->resourcesForHostname("compute1"),
            scene.element("srv1")->resourcesForHostname());
  EXPECT_THAT(linesOf(trace.lines(), "TopologySm"),
              ElementsAre("9 TopologySm::handleInitialized: ", "9 TopologySm::handleHost: srv1",
                          "3 TopologySm::handleHost: srv1 has 0 physical port(s)",
                          "9 TopologySm::handleHostsByHostname: compute1"));
}

TEST(TopologySm, ASecondInitializationIsReportedAndIgnored) {
  TopologyScene scene;
  scene.entered("srv1", "compute1", {"eth0"});
  scene.start();
  const auto child = scene.machine->networkElementCollectionSm();
  TraceCapture trace;
  invoke(scene.machine, "handleInitialized");
  EXPECT_THAT(trace.lines(),
              ElementsAre("1 TopologySm::handleInitialized: TopologySM already initialized"));
  EXPECT_EQ(child, scene.machine->networkElementCollectionSm());
}

TEST(TopologySm, WithoutAStatusNothingIsFollowed) {
  TopologyScene scene;
  scene.machine = Agent::topologySmFactory(scene.elements, scene.requests, nullptr);
  EXPECT_TRUE(isInitialized(scene.machine));
  EXPECT_FALSE(scene.machine->topologyStatus());
  scene.entered("srv1", "compute1");
  EXPECT_TRUE(scene.elements->networkElement().empty());
}

TEST(TopologySm, TheSameChildIsGivenForTheSameArgumentsAndANewOneForOthers) {
  TopologyScene scene;
  scene.start();
  const Velo::Ptr<const Topology::Status> status = scene.status;
  const auto child = scene.machine->networkElementCollectionSm();
  EXPECT_EQ(child,
            scene.machine->networkElementCollectionSmIs(scene.elements, scene.requests, status));
  const auto others = Velo::make<Fabrion::NetworkElementCollection>();
  const auto second = scene.machine->networkElementCollectionSmIs(others, scene.requests, status);
  EXPECT_NE(child, second);
  EXPECT_EQ(second, scene.machine->networkElementCollectionSm());
  EXPECT_TRUE(second->hasNotificationActive());
}

TEST(TopologySm, ItIsMadeByNameThroughGenericAccessLikeThroughItsFactory) {
  TopologyScene scene;
  scene.entered("srv1", "compute1");
  auto elements = scene.elements;
  auto requests = scene.requests;
  Velo::Ptr<const Topology::Status> status = scene.status;
  void* const arguments[] = {&elements, &requests, &status};
  ASSERT_EQ(3U, Agent::topologySmType.constructorArguments);
  const auto machine = Agent::topologySmType.construct(arguments);
  EXPECT_STREQ("Fabrion::Agent::TopologySm", machine->fwkType().name());
  EXPECT_TRUE(machine->hasNotificationActive());
  EXPECT_THAT(keysOf(scene.elements->networkElement()), ElementsAre("srv1"));
}

TEST(TopologySm, GenericAccessFindsItsAttributesInDeclaredOrder) {
  std::vector<std::string> names;
  for (const auto& attribute : Agent::topologySmType.attributes) names.emplace_back(attribute.name);
  EXPECT_THAT(names, ElementsAre("networkElementCollection", "requestedResourcesCollection",
                                 "topologyStatus", "networkElementCollectionSm", "handleHost",
                                 "handleHostsByHostname", "hostsByHostname", "directedEdge",
                                 "topologyEdge", "handleInitialized", "initialized"));
  EXPECT_STREQ("hostId", Agent::topologySmType.attributes[4].parameters[0].name);
  EXPECT_STREQ("hostname", Agent::topologySmType.attributes[5].parameters[0].name);
}

// Hosts

TEST(TopologySm, AHostThatEntersGetsAnElementWithItsNameAsReferrerAndItsHostname) {
  TopologyScene scene;
  scene.start();
  TraceCapture trace;
  scene.entered("srv1", "compute1", {"eth0", "eth1"});
  ASSERT_TRUE(scene.element("srv1"));
  EXPECT_THAT(keysOf(scene.element("srv1")->referrer()), ElementsAre("srv1"));
  EXPECT_EQ("compute1", scene.element("srv1")->hostname());
  EXPECT_EQ(scene.status->host("srv1"), scene.elementMachine("srv1")->topologyHost());
  EXPECT_THAT(linesOf(trace.lines(), "TopologySm"),
              ElementsAre("3 TopologySm::handleHost: srv1 has 2 physical port(s)",
                          "2 TopologySm::handleHost: Edge from eth0 does not exist",
                          "2 TopologySm::handleHost: Edge from eth1 does not exist"));
}

TEST(TopologySm, AHostThatEntersTakesOverAnElementThatAClientMade) {
  TopologyScene scene;
  scene.start();
  const auto made = scene.elements->networkElementIs("srv1");
  made->referrerIs("acme", true);
  made->hostnameIs("srv1");
  EXPECT_FALSE(scene.elementMachine("srv1")->topologyHost());
  scene.entered("srv1", "compute1");
  EXPECT_EQ(made, scene.element("srv1"));
  EXPECT_THAT(keysOf(made->referrer()), ElementsAre("acme", "srv1"));
  EXPECT_EQ("compute1", made->hostname());
  EXPECT_EQ(scene.status->host("srv1"), scene.elementMachine("srv1")->topologyHost());
}

TEST(TopologySm, AHostThatIsReplacedUnderItsNameBringsItsNewHostname) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  scene.entered("srv1", "compute2");
  EXPECT_EQ("compute2", scene.element("srv1")->hostname());
  EXPECT_EQ(scene.hostObject("srv1"), scene.elementMachine("srv1")->topologyHost());
}

TEST(TopologySm, AHostnameThatAloneChangesIsNotSeen) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  scene.hostObject("srv1")->hostnameIs("compute2");
  EXPECT_EQ("compute1", scene.element("srv1")->hostname());
}

TEST(TopologySm, TheElementOfAHostThatLeavesGoesWithItsLastReferrer) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  const auto element = scene.element("srv1");
  scene.leave("srv1");
  EXPECT_FALSE(scene.element("srv1"));
  EXPECT_FALSE(scene.elementMachine("srv1"));
  EXPECT_TRUE(element->referrer().empty());
}

TEST(TopologySm, AHostThatDisappearsAndReturnsIsFollowedAnew) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1", {"eth0"});
  scene.element("srv1")->referrerIs("acme", true);
  const auto machine = scene.elementMachine("srv1");
  scene.leave("srv1");
  EXPECT_THAT(keysOf(scene.element("srv1")->referrer()), ElementsAre("acme"));
  EXPECT_EQ(machine, scene.elementMachine("srv1"));
  EXPECT_FALSE(machine->topologyHost());
  scene.portGroup("srv1", "unseen", {"eth0"});
  EXPECT_FALSE(scene.element("srv1")->portGroup("unseen"));
  scene.enter("srv1");
  EXPECT_THAT(keysOf(scene.element("srv1")->referrer()), ElementsAre("acme", "srv1"));
  EXPECT_EQ(machine, scene.elementMachine("srv1"));
  EXPECT_EQ(scene.hostObject("srv1"), machine->topologyHost());
  EXPECT_TRUE(scene.element("srv1")->portGroup("unseen"));
  scene.portGroup("srv1", "seen", {"eth0"});
  EXPECT_TRUE(scene.element("srv1")->portGroup("seen"));
}

TEST(TopologySm, AnElementThatInterfacesKeepAliveKeepsItsHostnameUntilItsGroupClearsIt) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  const auto group = scene.group("compute1", {"srv1"});
  scene.element("srv1")->physicalInterfaceIs("eth0");
  scene.leave("srv1");
  ASSERT_TRUE(scene.element("srv1"));
  EXPECT_TRUE(scene.element("srv1")->referrer().empty());
  EXPECT_EQ("compute1", scene.element("srv1")->hostname());
  group->hostDel("srv1");
  EXPECT_EQ("", scene.element("srv1")->hostname());
}

TEST(TopologySm, AHostWithoutAnElementLeavesInSilence) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  scene.elements->networkElementDel("srv1");
  TraceCapture trace(9);
  scene.leave("srv1");
  EXPECT_THAT(trace.lines(), ElementsAre("9 TopologySm::handleHost: srv1"));
}

TEST(TopologySmDeathTest, AHostWhoseElementHasNoMachineEndsTheProcess) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  EXPECT_DEATH(
      {
        scene.machine->networkElementCollectionSm()->networkElementSmDel("srv1");
        scene.entered("srv1", "compute1");
      },
      "handleHost: neSm is missing");
}

TEST(TopologySmDeathTest, AHostThatJoinsAGroupBeforeItEntersEndsTheProcess) {
  TopologyScene scene;
  scene.start();
  scene.host("srv1", "compute1");
  const auto group = scene.group("compute1", {});
  EXPECT_DEATH(group->hostIs(scene.hostObject("srv1")),
               "handleHost: the element of the host is missing");
}

TEST(TopologySmDeathTest, AGroupWithARequestAndAHostThatDidNotEnterEndsTheProcess) {
  TopologyScene scene;
  scene.start();
  scene.host("srv1", "compute1");
  scene.requests->resourcesForHostnameIs("compute1");
  EXPECT_DEATH(scene.group("compute1", {"srv1"}),
               "handleHostsByHostname: the element of the host is missing");
}

// Hostnames

TEST(TopologySm, AGroupWithARequestBringsHostnameAndRequestToTheElementsOfItsHosts) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "one");
  scene.entered("srv2", "two");
  scene.entered("srv3", "three");
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  TraceCapture trace(9);
  scene.group("pool", {"srv1", "srv2"});
  EXPECT_EQ("pool", scene.element("srv1")->hostname());
  EXPECT_EQ("pool", scene.element("srv2")->hostname());
  EXPECT_EQ(request, scene.element("srv1")->resourcesForHostname());
  EXPECT_EQ(request, scene.element("srv2")->resourcesForHostname());
  EXPECT_EQ("three", scene.element("srv3")->hostname());
  EXPECT_FALSE(scene.element("srv3")->resourcesForHostname());
  EXPECT_THAT(linesOf(trace.lines(), "TopologySm"),
              ElementsAre("9 TopologySm::handleHostsByHostname: pool"));
}

TEST(TopologySm, AGroupWithoutARequestLeavesItsElementsUntouched) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "one");
  const auto request = scene.requests->resourcesForHostnameIs("one");
  scene.group("one", {"srv1"});
  scene.group("pool", {"srv1"});
  EXPECT_EQ("one", scene.element("srv1")->hostname());
  EXPECT_EQ(request, scene.element("srv1")->resourcesForHostname());
}

TEST(TopologySm, AHostThatJoinsAGroupTakesItsHostnameAndItsRequest) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "one");
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  const auto group = scene.group("pool", {});
  TraceCapture trace(9);
  group->hostIs(scene.hostObject("srv1"));
  EXPECT_EQ("pool", scene.element("srv1")->hostname());
  EXPECT_EQ(request, scene.element("srv1")->resourcesForHostname());
  EXPECT_THAT(linesOf(trace.lines(), "TopologySm"),
              ElementsAre("9 TopologySm::VeloHostsByHostname::handleHost: srv1 pool"));
}

TEST(TopologySm, AHostThatJoinsAGroupWithoutARequestKeepsTheRequestThatItHas) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "one");
  const auto request = scene.requests->resourcesForHostnameIs("one");
  scene.group("one", {"srv1"});
  const auto group = scene.group("pool", {});
  group->hostIs(scene.hostObject("srv1"));
  EXPECT_EQ("pool", scene.element("srv1")->hostname());
  EXPECT_EQ(request, scene.element("srv1")->resourcesForHostname());
}

TEST(TopologySm, AHostThatLeavesAGroupLosesHostnameAndRequestAndTheOthersKeepTheirs) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "pool");
  scene.entered("srv2", "pool");
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  const auto group = scene.group("pool", {"srv1", "srv2"});
  group->hostDel("srv1");
  EXPECT_EQ("", scene.element("srv1")->hostname());
  EXPECT_FALSE(scene.element("srv1")->resourcesForHostname());
  EXPECT_EQ("pool", scene.element("srv2")->hostname());
  EXPECT_EQ(request, scene.element("srv2")->resourcesForHostname());
}

TEST(TopologySm, AHostThatHasGoneBeforeItLeavesItsGroupDoesNoHarm) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "pool");
  const auto group = scene.group("pool", {"srv1"});
  scene.leave("srv1");
  ASSERT_FALSE(scene.element("srv1"));
  group->hostDel("srv1");
  EXPECT_FALSE(scene.element("srv1"));
}

TEST(TopologySm, AGroupThatEmptiesAndGoesHasClearedItsHostsOneByOne) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "pool");
  scene.entered("srv2", "pool");
  scene.requests->resourcesForHostnameIs("pool");
  const auto group = scene.group("pool", {"srv1", "srv2"});
  TraceCapture trace(9);
  group->hostDelAll();
  scene.status->hostsByHostnameDel("pool");
  EXPECT_THAT(linesOf(trace.lines(), "TopologySm"),
              ElementsAre("9 TopologySm::VeloHostsByHostname::handleHost: srv1 pool",
                          "9 TopologySm::VeloHostsByHostname::handleHost: srv2 pool",
                          "9 TopologySm::handleHostsByHostname: pool"));
  EXPECT_EQ("", scene.element("srv1")->hostname());
  EXPECT_EQ("", scene.element("srv2")->hostname());
  EXPECT_FALSE(scene.element("srv1")->resourcesForHostname());
  EXPECT_FALSE(scene.element("srv2")->resourcesForHostname());
}

TEST(TopologySm, AGroupThatGoesWithHostsInItClearsNothingAndIsNoLongerFollowed) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "pool");
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  const auto group = scene.group("pool", {"srv1"});
  scene.status->hostsByHostnameDel("pool");
  EXPECT_EQ("pool", scene.element("srv1")->hostname());
  EXPECT_EQ(request, scene.element("srv1")->resourcesForHostname());
  group->hostDel("srv1");
  EXPECT_EQ("pool", scene.element("srv1")->hostname());
}

// No scenario tells the two orders apart today, so the table itself is held.
TEST(TopologySm, AGroupIsHandledBeforeItIsFollowedAndAnEdgeIsFollowedTwiceAndNotHandled) {
  const auto rows = Agent::TopologySm::VeloTopologyStatus::reactions();
  ASSERT_EQ(3U, rows.size());
  EXPECT_STREQ("handleHost", rows[0].steps[0].name);
  EXPECT_STREQ("directedEdge", rows[1].steps[0].name);
  EXPECT_STREQ("topologyEdge", rows[1].steps[1].name);
  EXPECT_STREQ("handleHostsByHostname", rows[2].steps[0].name);
  EXPECT_STREQ("hostsByHostname", rows[2].steps[1].name);
}

// End

TEST(TopologySm, ItsEndTearsDownTheDiscoveredInterfacesAndLeavesElementsAndReferrers) {
  TopologyScene scene;
  scene.start();
  scene.entered("leaf1", "leaf1.example", {"e1"});
  scene.entered("srv1", "compute1", {"eth0"});
  scene.cable("leaf1", "e1", "srv1", "eth0");
  scene.stop();
  ASSERT_THAT(keysOf(scene.elements->networkElement()), ElementsAre("leaf1", "srv1"));
  EXPECT_THAT(keysOf(scene.element("leaf1")->referrer()), ElementsAre("leaf1"));
  EXPECT_EQ("compute1", scene.element("srv1")->hostname());
  EXPECT_TRUE(scene.element("leaf1")->physicalInterface().empty());
  EXPECT_TRUE(scene.element("srv1")->physicalInterface().empty());
}

TEST(TopologySm, ItsEndDropsItsChildAfterTheEdgesHaveBeenTornDown) {
  TopologyScene scene;
  scene.start();
  scene.entered("leaf1", "leaf1.example", {"e1"});
  scene.entered("srv1", "compute1", {"eth0"});
  scene.cable("leaf1", "e1", "srv1", "eth0");
  TraceCapture trace(9);
  scene.stop();
  std::vector<std::string> order;
  for (const std::string& line : trace.lines()) {
    if (line.find("TopologySm::VeloTopologyEdge::handleCleanup: e") != std::string::npos ||
        line.find("NetworkElementSm::handlePhysicalInterface:") == 2 ||
        line.find("NetworkElementCollectionSm::VeloNetworkElement::handleCleanup:") == 2) {
      order.push_back(line);
    }
  }
  EXPECT_THAT(order,
              ElementsAre("9 TopologySm::VeloTopologyEdge::handleCleanup: e1",
                          "9 NetworkElementSm::handlePhysicalInterface: e1",
                          "3 NetworkElementSm::handlePhysicalInterface: Deleted e1 from leaf1",
                          "9 TopologySm::VeloTopologyEdge::handleCleanup: eth0",
                          "9 NetworkElementSm::handlePhysicalInterface: eth0",
                          "3 NetworkElementSm::handlePhysicalInterface: Deleted eth0 from srv1",
                          "9 NetworkElementCollectionSm::VeloNetworkElement::handleCleanup: leaf1",
                          "9 NetworkElementCollectionSm::VeloNetworkElement::handleCleanup: srv1"));
}

TEST(TopologySm, AfterItsEndNothingIsFollowed) {
  TopologyScene scene;
  scene.start();
  scene.stop();
  TraceCapture trace(9);
  scene.entered("srv1", "compute1", {"eth0"});
  scene.group("compute1", {"srv1"});
  EXPECT_TRUE(scene.elements->networkElement().empty());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST(TopologySm, ASecondMachineTakesUpWhatTheFirstLeft) {
  TopologyScene scene;
  scene.start();
  scene.entered("leaf1", "leaf1.example", {"e1"});
  scene.entered("srv1", "compute1", {"eth0"});
  scene.cable("leaf1", "e1", "srv1", "eth0");
  scene.stop();
  scene.start();
  EXPECT_THAT(keysOf(scene.interface("leaf1", "e1")->discoveredElement()), ElementsAre("srv1"));
  EXPECT_THAT(keysOf(scene.interface("srv1", "eth0")->discoveredElement()), ElementsAre("leaf1"));
  EXPECT_THAT(keysOf(scene.element("leaf1")->interface()), ElementsAre("e1"));
}

}  // namespace Fabrion::Test
