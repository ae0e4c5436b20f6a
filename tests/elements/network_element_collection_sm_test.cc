// Which elements have a machine, which are still needed, and how a hostname's request reaches them.
// Most scenarios run under TopologySm, which owns the machine; where it would get in the way the
// machine stands alone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Velo/TypeImpl.h"
#include "tests/support/TraceCapture.h"
#include "tests/topology/TopologyScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The machine without its owner.
class LoneCollection {
 public:
  const Velo::Ptr<Fabrion::NetworkElementCollection> elements =
      Velo::make<Fabrion::NetworkElementCollection>();
  const Velo::Ptr<Fabrion::RequestedResourcesCollection> requests =
      Velo::make<Fabrion::RequestedResourcesCollection>();
  const Velo::Ptr<Topology::Status> status = Velo::make<Topology::Status>();
  Velo::Ptr<Agent::NetworkElementCollectionSm> machine;

  void start() { machine = Agent::networkElementCollectionSmFactory(elements, requests, status); }
};

}  // namespace

// Machines of elements

TEST(NetworkElementCollectionSm, AnElementHasAMachineAsSoonAsItStandsInTheCollection) {
  LoneCollection lone;
  lone.start();
  const auto element = lone.elements->networkElementIs("srv1");
  ASSERT_TRUE(lone.machine->networkElementSm("srv1"));
  EXPECT_EQ(element, lone.machine->networkElementSm("srv1")->networkElement());
  EXPECT_FALSE(lone.machine->networkElementSm("srv1")->topologyHost());
  EXPECT_FALSE(lone.machine->networkElementSm("srv2"));
}

TEST(NetworkElementCollectionSm, AnElementOfADiscoveredHostIsHandedThatHost) {
  LoneCollection lone;
  lone.start();
  lone.status->hostIs(Velo::make<Topology::Host>("srv1"));
  EXPECT_TRUE(lone.elements->networkElement().empty());
  TraceCapture trace(9);
  lone.elements->networkElementIs("srv1");
  EXPECT_EQ(lone.status->host("srv1"), lone.machine->networkElementSm("srv1")->topologyHost());
  // Once for the host that is new to the machine, and once more in any case.
  std::size_t runs = 0;
  for (const std::string& line : trace.lines()) {
    if (line == "9 NetworkElementSm::handleTopologyHost: srv1") ++runs;
  }
  EXPECT_EQ(2U, runs);
}

TEST(NetworkElementCollectionSm,
     ElementsAndRequestsThatStoodThereBeforeAreTakenUpInItsConstructor) {
  LoneCollection lone;
  const auto srv1 = Velo::make<Topology::Host>("srv1");
  const auto srv2 = Velo::make<Topology::Host>("srv2");
  lone.status->hostIs(srv1);
  lone.status->hostsByHostnameIs(Velo::make<Topology::HostsByHostname>("pool"));
  lone.status->hostsByHostname("pool")->hostIs(srv1);
  lone.status->hostsByHostname("pool")->hostIs(srv2);
  lone.elements->networkElementIs("srv1");
  lone.elements->networkElementIs("other");
  const auto request = lone.requests->resourcesForHostnameIs("pool");
  TraceCapture trace(9);
  lone.start();
  EXPECT_THAT(keysOf(lone.machine->networkElementSm()), ElementsAre("srv1", "other"));
  EXPECT_THAT(keysOf(lone.machine->veloNetworkElement()), ElementsAre("srv1", "other"));
  EXPECT_EQ(srv1, lone.machine->networkElementSm("srv1")->topologyHost());
  // srv2 has no element, and is skipped.
  EXPECT_EQ(request, lone.elements->networkElement("srv1")->resourcesForHostname());
  EXPECT_THAT(linesOf(trace.lines(), "NetworkElementCollectionSm"),
              ElementsAre("9 NetworkElementCollectionSm::handleInitialized: ",
                          "9 NetworkElementCollectionSm::handleNetworkElement: srv1",
                          "9 NetworkElementCollectionSm::handleNetworkElement: other",
                          "9 NetworkElementCollectionSm::handleResourcesForHostname: pool"));
}

TEST(NetworkElementCollectionSm, ItsInitializationMayBeRepeated) {
  LoneCollection lone;
  lone.start();
  lone.elements->networkElementIs("srv1");
  const auto machine = lone.machine->networkElementSm("srv1");
  const U32 handler =
      Velo::attributeIndex(Agent::networkElementCollectionSmType, "handleInitialized");
  ASSERT_EQ(Velo::AttributeRecord::done,
            Velo::genericIfAttributeOp(nullptr, lone.machine.get(), handler,
                                       Velo::AttributeOp::invoke, nullptr, nullptr));
  EXPECT_EQ(machine, lone.machine->networkElementSm("srv1"));
}

TEST(NetworkElementCollectionSm, AMachineOfThatNameForAnotherElementIsRefused) {
  LoneCollection lone;
  lone.start();
  const auto element = lone.elements->networkElementIs("srv1");
  const auto machine = lone.machine->networkElementSm("srv1");
  EXPECT_EQ(machine, lone.machine->networkElementSmIs("srv1", element));
  const auto other = Velo::make<Fabrion::NetworkElement>("srv1");
  EXPECT_THROW(lone.machine->networkElementSmIs("srv1", other), Velo::ReinstantiatingException);
  EXPECT_EQ(machine, lone.machine->networkElementSm("srv1"));
}

TEST(NetworkElementCollectionSm, ItIsMadeByNameThroughGenericAccessLikeThroughItsFactory) {
  LoneCollection lone;
  lone.elements->networkElementIs("srv1");
  auto elements = lone.elements;
  auto requests = lone.requests;
  Velo::Ptr<const Topology::Status> status = lone.status;
  void* const arguments[] = {&elements, &requests, &status};
  ASSERT_EQ(3U, Agent::networkElementCollectionSmType.constructorArguments);
  const auto machine = Agent::networkElementCollectionSmType.construct(arguments);
  EXPECT_TRUE(machine->hasNotificationActive());
  U64 count = 0;
  const U32 machines =
      Velo::attributeIndex(Agent::networkElementCollectionSmType, "networkElementSm");
  ASSERT_EQ(Velo::AttributeRecord::done,
            Velo::genericIfAttributeOp(&count, machine.get(), machines, Velo::AttributeOp::count,
                                       nullptr, nullptr));
  EXPECT_EQ(1U, count);
}

TEST(NetworkElementCollectionSm, GenericAccessFindsItsAttributesInDeclaredOrder) {
  const auto& type = Agent::networkElementCollectionSmType;
  std::vector<std::string> names;
  for (const auto& attribute : type.attributes) names.emplace_back(attribute.name);
  EXPECT_THAT(names, ElementsAre("networkElementCollection", "requestedResourcesCollection",
                                 "topologyStatus", "networkElementSm", "handleNetworkElement",
                                 "handleResourcesForHostname", "networkElement",
                                 "handleInitialized", "initialized"));
  EXPECT_STREQ("hostId", type.attributes[4].parameters[0].name);
  EXPECT_STREQ("hostname", type.attributes[5].parameters[0].name);
}

// Elements that are needed, and those that are not

TEST(NetworkElementCollectionSm, TheElementOfAHostGoesWithItsLastReferrerInOneNestedStep) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "compute1");
  EXPECT_TRUE(scene.elementMachine("srv1"));
  EXPECT_EQ(scene.status->host("srv1"), scene.elementMachine("srv1")->topologyHost());
  TraceCapture trace(9);
  scene.element("srv1")->referrerDel("srv1");
  EXPECT_FALSE(scene.element("srv1"));
  EXPECT_FALSE(scene.elementMachine("srv1"));
  const std::string by = "NetworkElementCollectionSm::";
  std::vector<std::string> order = linesOf(trace.lines(), "NetworkElementCollectionSm");
  EXPECT_THAT(order,
              ElementsAre("9 " + by + "VeloNetworkElement::deleteIfNotNecessary: srv1",
                          "3 " + by + "VeloNetworkElement::deleteIfNotNecessary: Deleting srv1",
                          "9 " + by + "handleNetworkElement: srv1",
                          "9 " + by + "VeloNetworkElement::handleCleanup: srv1"));
  EXPECT_TRUE(trace.has("9 NetworkElementSm::doCleanup: srv1"));
}

TEST(NetworkElementCollectionSm, AnElementWithAConfiguredInterfaceStaysWhenItsHostGoes) {
  TopologyScene scene;
  scene.start();
  scene.entered("leaf1", "leaf1.example", {"e1"});
  const auto remote = scene.elements->networkElementIs("remote");
  remote->referrerIs("acme", true);
  scene.element("leaf1")->physicalInterfaceIs("e1")->configuredElementIs(remote);
  scene.leave("leaf1");
  ASSERT_TRUE(scene.element("leaf1"));
  EXPECT_THAT(keysOf(scene.element("leaf1")->interface()), ElementsAre("e1"));
  EXPECT_TRUE(scene.elementMachine("leaf1"));
}

TEST(NetworkElementCollectionSm, TheLastInterfaceMayGoWhileAReferrerStandsAndThenTheReferrer) {
  LoneCollection lone;
  lone.start();
  const auto element = lone.elements->networkElementIs("srv1");
  element->physicalInterfaceIs("eth0");
  element->referrerIs("acme", true);
  TraceCapture trace;
  element->physicalInterfaceDel("eth0");
  EXPECT_TRUE(element->interface().empty());
  EXPECT_TRUE(lone.elements->networkElement("srv1"));
  EXPECT_FALSE(trace.has("Deleting srv1"));
  element->referrerDel("acme");
  EXPECT_FALSE(lone.elements->networkElement("srv1"));
  EXPECT_FALSE(lone.machine->networkElementSm("srv1"));
}

TEST(NetworkElementCollectionSm, TheReferrerMayGoWhileAPortGroupStandsAndThenTheGroup) {
  LoneCollection lone;
  lone.start();
  const auto element = lone.elements->networkElementIs("leaf1");
  element->referrerIs("acme", true);
  element->portGroupIs("po1");
  element->referrerDel("acme");
  EXPECT_TRUE(lone.elements->networkElement("leaf1"));
  element->portGroupDel("po1");
  EXPECT_FALSE(lone.elements->networkElement("leaf1"));
}

TEST(NetworkElementCollectionSm, AReferrerThatIsAddedToAnElementWithoutInterfacesDeletesNothing) {
  LoneCollection lone;
  lone.start();
  const auto element = lone.elements->networkElementIs("srv1");
  TraceCapture trace(9);
  element->referrerIs("acme", true);
  EXPECT_EQ(element, lone.elements->networkElement("srv1"));
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("9 NetworkElementCollectionSm::VeloNetworkElement::deleteIfNotNecessary: srv1"));
}

TEST(NetworkElementCollectionSm, AnElementThatNeverHadReferrerOrInterfaceStays) {
  LoneCollection lone;
  lone.elements->networkElementIs("before");
  lone.start();
  lone.elements->networkElementIs("after");
  EXPECT_THAT(keysOf(lone.elements->networkElement()), ElementsAre("before", "after"));
  // Nothing but the two keeps an element or lets it go.
  lone.elements->networkElement("after")->hostnameIs("name");
  lone.elements->networkElement("after")->hostnameIs("");
  EXPECT_TRUE(lone.elements->networkElement("after"));
}

TEST(NetworkElementCollectionSm, AnElementThatSomebodyElseDeletesTakesItsMachineWithIt) {
  LoneCollection lone;
  lone.start();
  const auto element = lone.elements->networkElementIs("remote");
  element->referrerIs("acme", true);
  element->vlanIs(10);
  TraceCapture trace;
  lone.elements->networkElementDel("remote");
  EXPECT_FALSE(lone.machine->networkElementSm("remote"));
  EXPECT_TRUE(element->vlan().empty());
  EXPECT_FALSE(trace.has("Deleting remote"));
  // It is no longer followed, and its last referrer may go.
  element->referrerDel("acme");
  EXPECT_THAT(linesOf(trace.lines(), "NetworkElementCollectionSm"), IsEmpty());
}

TEST(NetworkElementCollectionSm, AnElementThatComesBackUnderItsNameIsAnotherWithAMachineOfItsOwn) {
  LoneCollection lone;
  lone.start();
  const auto first = lone.elements->networkElementIs("srv1");
  first->referrerIs("acme", true);
  const auto firstMachine = lone.machine->networkElementSm("srv1");
  first->referrerDel("acme");
  const auto second = lone.elements->networkElementIs("srv1");
  EXPECT_NE(first, second);
  ASSERT_TRUE(lone.machine->networkElementSm("srv1"));
  EXPECT_NE(firstMachine, lone.machine->networkElementSm("srv1"));
  EXPECT_EQ(second, lone.machine->networkElementSm("srv1")->networkElement());
}

// Requests for hostnames

TEST(NetworkElementCollectionSm, ARequestReachesTheElementsOfAllHostsOfItsHostname) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "pool");
  scene.entered("srv2", "pool");
  scene.entered("srv3", "other");
  scene.group("pool", {"srv1", "srv2"});
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  EXPECT_EQ(request, scene.element("srv1")->resourcesForHostname());
  EXPECT_EQ(request, scene.element("srv2")->resourcesForHostname());
  EXPECT_FALSE(scene.element("srv3")->resourcesForHostname());
}

TEST(NetworkElementCollectionSm, ARequestThatGoesIsTakenFromAllElementsOfTheGroup) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "pool");
  scene.entered("srv2", "pool");
  scene.group("pool", {"srv1", "srv2"});
  scene.requests->resourcesForHostnameIs("pool");
  ASSERT_TRUE(scene.element("srv1")->resourcesForHostname());
  scene.requests->resourcesForHostnameDel("pool");
  EXPECT_FALSE(scene.element("srv1")->resourcesForHostname());
  EXPECT_FALSE(scene.element("srv2")->resourcesForHostname());
  EXPECT_EQ("pool", scene.element("srv1")->hostname());
}

TEST(NetworkElementCollectionSm,
     ARequestForAHostnameThatNoHostHasChangesNothingUntilSuchAHostIsSeen) {
  TopologyScene scene;
  scene.start();
  scene.entered("srv1", "other");
  TraceCapture trace(9);
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 NetworkElementCollectionSm::handleResourcesForHostname: pool"));
  EXPECT_FALSE(scene.element("srv1")->resourcesForHostname());
  scene.entered("srv2", "pool");
  scene.group("pool", {"srv2"});
  EXPECT_EQ(request, scene.element("srv2")->resourcesForHostname());
}

TEST(NetworkElementCollectionSm, AHostOfTheGroupWithoutAnElementIsSkipped) {
  TopologyScene scene;
  scene.start();
  scene.host("srv1", "pool");
  scene.entered("srv2", "pool");
  scene.group("pool", {"srv1", "srv2"});
  const auto request = scene.requests->resourcesForHostnameIs("pool");
  EXPECT_FALSE(scene.element("srv1"));
  EXPECT_EQ(request, scene.element("srv2")->resourcesForHostname());
}

// Order of the two steps, and the end

TEST(NetworkElementCollectionSm, AnElementHasItsMachineBeforeItIsFollowed) {
  const auto rows = Agent::NetworkElementCollectionSm::VeloNetworkElementCollection::reactions();
  ASSERT_EQ(1U, rows.size());
  EXPECT_STREQ("handleNetworkElement", rows[0].steps[0].name);
  EXPECT_STREQ("networkElement", rows[0].steps[1].name);
}

TEST(NetworkElementCollectionSm, ItsEndCleansUpEveryElementAndLeavesItInTheCollection) {
  LoneCollection lone;
  lone.start();
  lone.elements->networkElementIs("srv1")->referrerIs("acme", true);
  lone.elements->networkElementIs("srv2")->vlanIs(10);
  TraceCapture trace(9);
  lone.machine = nullptr;
  EXPECT_THAT(keysOf(lone.elements->networkElement()), ElementsAre("srv1", "srv2"));
  EXPECT_TRUE(lone.elements->networkElement("srv2")->vlan().empty());
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 NetworkElementCollectionSm::VeloNetworkElement::handleCleanup: srv1",
                          "9 NetworkElementSm::doCleanup: srv1",
                          "9 NetworkElementCollectionSm::VeloNetworkElement::handleCleanup: srv2",
                          "9 NetworkElementSm::doCleanup: srv2"));
  trace.clear();
  lone.elements->networkElementIs("srv3");
  lone.elements->networkElement("srv1")->referrerDel("acme");
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST(NetworkElementCollectionSmDeathTest, AnElementWithoutATopologyStatusEndsTheProcess) {
  LoneCollection lone;
  lone.machine = Agent::networkElementCollectionSmFactory(lone.elements, lone.requests, nullptr);
  EXPECT_DEATH(lone.elements->networkElementIs("srv1"), "is missing");
}

TEST(NetworkElementCollectionSmDeathTest, AnElementWhoseMachineHasGoneEndsTheProcessAsItLeaves) {
  LoneCollection lone;
  lone.start();
  lone.elements->networkElementIs("srv1");
  EXPECT_DEATH(
      {
        lone.machine->networkElementSmDel("srv1");
        lone.elements->networkElementDel("srv1");
      },
      "handleCleanup: the machine of the element is missing");
}

}  // namespace Fabrion::Test
