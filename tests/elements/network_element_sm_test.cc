#include "elements/NetworkElementSm.h"

#include "tests/elements/elements_scene.h"

namespace Fabrion::Test::Elements {
namespace {

using Agent::NetworkElementSm;
namespace Topology = NetworkTopologyAggregatorV3;

// One element, leaf1, and what topology says of a host of that name.
class NetworkElements : public testing::Test {
 protected:
  ~NetworkElements() override {
    machine_ = nullptr;
    // Ports and groups know each other in circles.
    for (const auto& port : leaf1_->physicalInterface().values()) port->portGroupIs(nullptr);
    for (const auto& group : leaf1_->portGroup().values()) group->memberInterfaceDelAll();
  }

  void start() { machine_ = NetworkElementSm::NetworkElementSmIs("leaf1", leaf1_); }
  void claim() { leaf1_->isSwitchElementIs(true); }

  // A topology host with one port group and its member ports.
  static Velo::Ptr<Topology::Host> host(const char* group,
                                        std::initializer_list<const char*> ports) {
    const auto host = Velo::make<Topology::Host>("leaf1");
    host->portGroupIs(Velo::make<Topology::PortGroup>(group));
    for (const char* port : ports) member(host, group, port);
    return host;
  }
  static void member(const Velo::Ptr<Topology::Host>& host, const char* group, const char* name) {
    const auto port = Velo::make<Topology::Port>(*host, name);
    host->portIs(port);
    port->portGroupIs(host->portGroup(group));
    host->portGroup(group)->memberPortIs(port);
  }
  static void memberGoes(const Velo::Ptr<Topology::Host>& host, const char* group,
                         const char* name) {
    host->port(name)->portGroupIs(nullptr);
    host->portGroup(group)->memberPortDel(name);
  }

  Velo::Ptr<PhysicalInterface> port(const char* name) { return leaf1_->physicalInterface(name); }
  Velo::Ptr<PortGroup> group(const char* name) { return leaf1_->portGroup(name); }
  // The group that the port is a member of, empty for none.
  std::string groupOf(const char* name) {
    const auto of = port(name)->portGroup();
    return of ? std::string(of->name().view()) : "";
  }

  Velo::Ptr<NetworkElement> leaf1_ = Velo::make<NetworkElement>("leaf1");
  Velo::Ptr<NetworkElement> srv1_ = Velo::make<NetworkElement>("srv1");
  Velo::Ptr<NetworkElementSm> machine_;
};

// Ports

TEST_F(NetworkElements, APortOfAnElementThatIsNoSwitchIsAnInterfaceAndNothingMore) {
  start();
  const auto e1 = leaf1_->physicalInterfaceIs("e1");
  EXPECT_EQ(leaf1_->interface("e1"), e1);
  EXPECT_FALSE(e1->isSwitchInterface());
  // No machine of the port: nobody moves a far element on.
  e1->discoveredElementIs(srv1_);
  EXPECT_EQ(names(e1->networkElement()), Lines());
  const TraceCapture trace;
  e1->vlanIs(10);
  e1->vlanDel(10);
  EXPECT_EQ(vlans(leaf1_), "");
  const std::string ignoring =
      "3 NetworkElementSm::VeloPhysicalInterface::handleVlan: Ignoring 10 on non-switch element";
  EXPECT_EQ(trace.lines(), (Lines{ignoring, ignoring}));
}

TEST_F(NetworkElements, ASwitchThatIsClaimedCollectsTheVlansOfThePortsThatItHas) {
  start();
  leaf1_->physicalInterfaceIs("e1")->vlanIs(10);
  leaf1_->physicalInterfaceIs("e2")->vlanIs(10);
  port("e2")->vlanIs(20);
  const TraceCapture trace;
  claim();
  EXPECT_EQ(vlans(leaf1_), "10[e1 e2]; 20[e2]");
  EXPECT_TRUE(port("e1")->isSwitchInterface());
  EXPECT_TRUE(port("e2")->isSwitchInterface());
  const std::string handler = "3 NetworkElementSm::VeloPhysicalInterface::handleVlan: ";
  const std::string claimed = "3 NetworkElementSm::handleIsSwitchElement: ";
  EXPECT_EQ(trace.lines(),
            (Lines{claimed + "NE Physical Interfaces: 2", claimed + "NE Port Groups: 0",
                   claimed + "NE Interfaces: 2", handler + "Adding VLAN 10 to leaf1",
                   handler + "Adding VLAN 10 to leaf1", handler + "Adding VLAN 20 to leaf1"}));
}

TEST_F(NetworkElements, ASwitchThatIsClaimedCopiesWhatTheFarElementsOfItsPortsRequire) {
  srv1_->vlanIs(10);
  const auto srv2 = Velo::make<NetworkElement>("srv2");
  srv2->vlanIs(20);
  start();
  leaf1_->physicalInterfaceIs("e1")->discoveredElementIs(srv1_);
  port("e1")->configuredElementIs(srv2);
  claim();
  EXPECT_EQ(names(port("e1")->networkElement()), (Lines{"srv2", "srv1"}));
  EXPECT_EQ(vlans(port("e1")), "20[srv2]; 10[srv1]");
  EXPECT_EQ(vlans(leaf1_), "20[e1]; 10[e1]");
}

TEST_F(NetworkElements, APortThatComesToASwitchGetsItsMachineAtOnce) {
  start();
  claim();
  const auto e1 = leaf1_->physicalInterfaceIs("e1");
  EXPECT_TRUE(e1->isSwitchInterface());
  srv1_->vlanIs(10);
  e1->discoveredElementIs(srv1_);
  EXPECT_EQ(vlans(leaf1_), "10[e1]");
}

TEST_F(NetworkElements, AVlanOfTwoPortsLeavesTheSwitchWithTheSecond) {
  start();
  claim();
  leaf1_->physicalInterfaceIs("e1")->vlanIs(10);
  leaf1_->physicalInterfaceIs("e2")->vlanIs(10);
  EXPECT_EQ(vlans(leaf1_), "10[e1 e2]");
  const TraceCapture trace;
  port("e1")->vlanDel(10);
  EXPECT_EQ(vlans(leaf1_), "10[e2]");
  port("e2")->vlanDel(10);
  EXPECT_EQ(vlans(leaf1_), "");
  EXPECT_EQ(trace.lines(), Lines{"3 NetworkElementSm::VeloPhysicalInterface::handleVlan: "
                                 "Deleting 10 from leaf1"});
}

TEST_F(NetworkElements, APortThatLeavesIsCleanedUpBeforeItsMachineAndItsInterfaceGo) {
  start();
  claim();
  const auto topology = host("po1", {"e1", "e2"});
  machine_->topologyHostIs(topology);
  const auto e1 = port("e1");
  srv1_->vlanIs(10)->referrerIs("compute1");
  e1->discoveredElementIs(srv1_);
  e1->vlanIs(20);
  port("e2")->vlanIs(20);
  EXPECT_EQ(vlans(leaf1_), "10[e1]; 20[e1 e2]");
  EXPECT_EQ(names(e1->networkElement()), Lines{"srv1"});
  const TraceCapture trace;
  leaf1_->physicalInterfaceDel("e1");
  EXPECT_EQ(vlans(leaf1_), "20[e2]");
  EXPECT_EQ(names(e1->networkElement()), Lines());
  EXPECT_EQ(vlans(e1), "");
  EXPECT_EQ(e1->portGroup(), nullptr);
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines{"e2"});
  EXPECT_EQ(names(leaf1_->interface()), (Lines{"po1", "e2"}));
  const std::string cleanup = "3 NetworkElementSm::VeloPhysicalInterface::handleCleanup: ";
  Lines ofTheElement;
  for (const auto& line : trace.lines()) {
    if (line.find("NetworkElementSm::") == 2 || line.find("was deleted from") != line.npos ||
        line.find("Host deleted") != line.npos) {
      ofTheElement.push_back(line);
    }
  }
  EXPECT_EQ(ofTheElement,
            (Lines{cleanup + "Deleting 10 from leaf1",
                   "3 PhysicalInterfaceSm::handleNetworkElement: Host deleted from interface e1",
                   cleanup + "Deleting e1 from port group po1",
                   "3 PortGroupSm::handleMemberInterface: Interface: e1 was deleted from po1",
                   "3 NetworkElementSm::handlePhysicalInterface: Deleted e1 from leaf1"}));
  // Its machine has gone: a far element stays where it is.
  e1->discoveredElementDelAll();
  e1->discoveredElementIs(srv1_);
  EXPECT_EQ(names(e1->networkElement()), Lines());
}

TEST_F(NetworkElements, AnElementThatIsNoSwitchKeepsNoVlansFromAnEarlierLife) {
  leaf1_->vlanIs(10)->referrerIs("e1");
  leaf1_->interfaceIs(leaf1_->physicalInterfaceIs("e1"));
  port("e1")->vlanIs(10);
  start();
  EXPECT_EQ(vlans(leaf1_), "");
  EXPECT_EQ(vlans(port("e1")), "");
}

TEST_F(NetworkElements, AnElementThatIsNoSwitchAnyMoreLosesItsVlans) {
  start();
  claim();
  leaf1_->physicalInterfaceIs("e1")->vlanIs(10);
  leaf1_->portGroupIs("po1")->vlanIs(20);
  leaf1_->isSwitchElementIs(false);
  EXPECT_EQ(vlans(leaf1_), "");
  EXPECT_EQ(vlans(port("e1")), "");
  EXPECT_EQ(vlans(group("po1")), "");
}

TEST_F(NetworkElements, AnElementThatIsASwitchAlreadyIsReplayedAtTheStart) {
  claim();
  leaf1_->physicalInterfaceIs("e1")->vlanIs(10);
  port("e1")->discoveredElementIs(srv1_);
  leaf1_->portGroupIs("po1");
  start();
  EXPECT_EQ(vlans(leaf1_), "10[e1]");
  EXPECT_EQ(names(port("e1")->networkElement()), Lines{"srv1"});
  EXPECT_EQ(names(leaf1_->interface()), (Lines{"e1", "po1"}));
  EXPECT_TRUE(group("po1")->isSwitchInterface());
}

// Port groups

TEST_F(NetworkElements, APortGroupOfAnyElementIsAnInterfaceAndCollectsItsMembersVlans) {
  start();
  const auto po1 = leaf1_->portGroupIs("po1");
  EXPECT_EQ(leaf1_->interface("po1"), po1);
  po1->memberInterfaceIs(leaf1_->physicalInterfaceIs("e1"));
  port("e1")->vlanIs(10);
  EXPECT_EQ(vlans(po1), "10[e1]");
  const TraceCapture trace;
  leaf1_->portGroupDel("po1");
  EXPECT_EQ(trace.lines().front(),
            "3 NetworkElementSm::handleNePortGroup: Deleting po1 from leaf1");
  EXPECT_EQ(names(leaf1_->interface()), Lines{"e1"});
  EXPECT_EQ(names(po1->memberInterface()), Lines());
  EXPECT_EQ(vlans(po1), "");
  EXPECT_EQ(vlans(port("e1")), "10[]");
}

TEST_F(NetworkElements, AMemberPortOfATopologyGroupBecomesAPortWithoutAnyEdge) {
  start();
  const auto topology = host("po1", {"e1"});
  machine_->topologyHostIs(topology);
  ASSERT_TRUE(port("e1"));
  EXPECT_EQ(groupOf("e1"), "po1");
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines{"e1"});
  EXPECT_FALSE(port("e1")->discovered());
  member(topology, "po1", "e2");
  EXPECT_EQ(groupOf("e2"), "po1");
  EXPECT_EQ(names(group("po1")->memberInterface()), (Lines{"e1", "e2"}));
}

TEST_F(NetworkElements, AMemberPortThatLeavesTheTopologyGroupStaysAPort) {
  start();
  const auto topology = host("po1", {"e1", "e2"});
  machine_->topologyHostIs(topology);
  const auto e1 = port("e1");
  memberGoes(topology, "po1", "e1");
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines{"e2"});
  EXPECT_EQ(port("e1"), e1);
  EXPECT_EQ(groupOf("e1"), "");
}

TEST_F(NetworkElements, AMemberPortThatLeavesWhenThePortHasGoneIsNotMadeAgain) {
  start();
  const auto topology = host("po1", {"e1", "e2"});
  machine_->topologyHostIs(topology);
  leaf1_->physicalInterfaceDel("e1");
  memberGoes(topology, "po1", "e1");
  EXPECT_EQ(names(leaf1_->physicalInterface()), Lines{"e2"});
}

TEST_F(NetworkElements, AMemberPortThatLeavesMakesAGroupThatTheElementLacks) {
  start();
  const auto topology = host("po1", {"e1"});
  machine_->topologyHostIs(topology);
  leaf1_->portGroupDel("po1");
  memberGoes(topology, "po1", "e1");
  EXPECT_EQ(names(leaf1_->portGroup()), Lines{"po1"});
}

TEST_F(NetworkElements, APortThatComesAfterItsGroupGetsItsMembership) {
  start();
  const auto topology = host("po1", {"e1"});
  machine_->topologyHostIs(topology);
  leaf1_->physicalInterfaceDel("e1");
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines());
  leaf1_->physicalInterfaceIs("e1");
  EXPECT_EQ(groupOf("e1"), "po1");
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines{"e1"});
}

TEST_F(NetworkElements, APortGroupThatTheTopologyHostGainsIsMirroredWithItsMembers) {
  start();
  const auto topology = host("po1", {});
  machine_->topologyHostIs(topology);
  const auto po2 = Velo::make<Topology::PortGroup>("po2");
  const auto e3 = Velo::make<Topology::Port>(*topology, "e3");
  topology->portIs(e3);
  e3->portGroupIs(po2);
  po2->memberPortIs(e3);
  topology->portGroupIs(po2);
  EXPECT_EQ(names(leaf1_->portGroup()), (Lines{"po1", "po2"}));
  EXPECT_EQ(groupOf("e3"), "po2");
}

TEST_F(NetworkElements, APortGroupThatTheTopologyHostLosesIsCleanedUpBeforeItEnds) {
  start();
  claim();
  const auto topology = host("po1", {"e1"});
  machine_->topologyHostIs(topology);
  port("e1")->vlanIs(10);
  const auto po1 = group("po1");
  EXPECT_EQ(vlans(po1), "10[e1]");
  const TraceCapture trace;
  topology->portGroupDel("po1");
  EXPECT_EQ(names(leaf1_->portGroup()), Lines());
  EXPECT_EQ(names(leaf1_->interface()), Lines{"e1"});
  EXPECT_EQ(names(po1->memberInterface()), Lines());
  EXPECT_EQ(vlans(po1), "");
  ASSERT_GE(trace.lines().size(), 3U);
  EXPECT_EQ(trace.lines()[0],
            "3 NetworkElementSm::handleTopologyPortGroup: leaf1 deleting port group po1");
  EXPECT_EQ(trace.lines()[1], "3 NetworkElementSm::handleNePortGroup: Deleting po1 from leaf1");
  EXPECT_EQ(trace.lines().back(),
            "3 PortGroupSm::handleMemberInterface: Interface: e1 was deleted from po1");
}

TEST_F(NetworkElements, APortGroupThatIsLostTwiceIsDeletedOnce) {
  start();
  const auto topology = host("po1", {});
  machine_->topologyHostIs(topology);
  leaf1_->portGroupDel("po1");
  const TraceCapture trace;
  topology->portGroupDel("po1");
  EXPECT_EQ(trace.lines(),
            Lines{"3 NetworkElementSm::handleTopologyPortGroup: leaf1 deleting port group po1"});
}

// The topology host

TEST_F(NetworkElements, AHostThatGoesLeavesAllPortGroups) {
  start();
  const auto topology = host("po1", {"e1"});
  machine_->topologyHostIs(topology);
  EXPECT_EQ(machine_->topologyHostDel(), topology);
  EXPECT_EQ(machine_->topologyHost(), nullptr);
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines{"e1"});
  // The host is not followed any more, its groups are.
  topology->portGroupIs(Velo::make<Topology::PortGroup>("po2"));
  EXPECT_EQ(names(leaf1_->portGroup()), Lines{"po1"});
  member(topology, "po1", "e2");
  EXPECT_EQ(groupOf("e2"), "po1");
}

TEST_F(NetworkElements, AHostThatComesBackIsReconciledByTheNamesOfItsGroups) {
  start();
  const auto before = host("po1", {"e1"});
  before->portGroupIs(Velo::make<Topology::PortGroup>("po2"));
  machine_->topologyHostIs(before);
  machine_->topologyHostDel();
  const auto after = host("po1", {"e1", "e3"});
  machine_->topologyHostIs(after);
  EXPECT_EQ(machine_->topologyHost(), after);
  // The element's groups stay; a group that only changes hands replays no members.
  EXPECT_EQ(names(leaf1_->portGroup()), (Lines{"po1", "po2"}));
  EXPECT_FALSE(port("e3"));
  member(after, "po1", "e4");
  EXPECT_EQ(groupOf("e4"), "po1");
  // What the old host says counts no more.
  member(before, "po1", "e5");
  member(before, "po2", "e6");
  EXPECT_FALSE(port("e5"));
  EXPECT_FALSE(port("e6"));
}

TEST_F(NetworkElements, AHostMayBeExchangedForAnother) {
  start();
  const auto before = host("po1", {"e1"});
  const auto after = host("po2", {"e2"});
  machine_->topologyHostIs(before);
  machine_->topologyHostIs(after);
  EXPECT_EQ(names(leaf1_->portGroup()), (Lines{"po1", "po2"}));
  EXPECT_EQ(groupOf("e2"), "po2");
  member(before, "po1", "e3");
  EXPECT_FALSE(port("e3"));
}

TEST_F(NetworkElements, TheHostThatIsSetAlreadyRunsNoHandler) {
  start();
  const auto topology = host("po1", {});
  const TraceCapture trace(9);
  machine_->topologyHostIs(nullptr);
  machine_->topologyHostDel();
  EXPECT_EQ(trace.lines(), Lines());
  machine_->topologyHostIs(topology);
  EXPECT_TRUE(trace.has("9 NetworkElementSm::handleTopologyHost: leaf1"));
  leaf1_->portGroupDel("po1");
  const std::size_t before = trace.lines().size();
  machine_->topologyHostIs(topology);
  EXPECT_EQ(trace.lines().size(), before);
  EXPECT_EQ(names(leaf1_->portGroup()), Lines());
  machine_->topologyHostIs(nullptr);
  EXPECT_EQ(trace.lines().back(), "9 NetworkElementSm::handleTopologyPortGroup: leaf1");
}

// Requests for a hostname

TEST_F(NetworkElements, ARequestThatIsSetReachesTheElementAndGoesWhenItIsCleared) {
  start();
  leaf1_->hostnameIs("compute1");
  const auto resources = Velo::make<ResourcesForHostname>("compute1");
  resources->vlanIs(10)->mappedVniIs(5010);
  leaf1_->resourcesForHostnameIs(resources);
  EXPECT_EQ(vlans(leaf1_), "10[compute1] 5010[compute1]");
  resources->vlanIs(20);
  EXPECT_EQ(vlans(leaf1_), "10[compute1] 5010[compute1]; 20[compute1]");
  leaf1_->resourcesForHostnameIs(nullptr);
  EXPECT_EQ(vlans(leaf1_), "");
  resources->vlanIs(30);
  EXPECT_EQ(vlans(leaf1_), "");
}

TEST_F(NetworkElements, ARequestThatIsReplacedIsFollowedInPlaceOfTheOldOne) {
  start();
  const auto first = Velo::make<ResourcesForHostname>("compute1");
  const auto second = Velo::make<ResourcesForHostname>("compute2");
  leaf1_->resourcesForHostnameIs(first);
  leaf1_->resourcesForHostnameIs(second);
  second->vlanIs(20);
  first->vlanIs(10);
  EXPECT_EQ(vlans(leaf1_), "20[compute2]");
}

TEST_F(NetworkElements, ARequestThatStandsBeforeTheMachineWaitsForItsNextChange) {
  const auto resources = Velo::make<ResourcesForHostname>("compute1");
  resources->vlanIs(10);
  leaf1_->resourcesForHostnameIs(resources);
  start();
  EXPECT_EQ(vlans(leaf1_), "");
  const auto other = Velo::make<ResourcesForHostname>("compute1");
  other->vlanIs(20);
  leaf1_->resourcesForHostnameIs(other);
  EXPECT_EQ(vlans(leaf1_), "20[compute1]");
}

TEST_F(NetworkElements, ARequestThatIsClearedWithoutHavingBeenSeenEndsTheProcess) {
  leaf1_->resourcesForHostnameIs(Velo::make<ResourcesForHostname>("compute1"));
  start();
  EXPECT_DEATH(leaf1_->resourcesForHostnameIs(nullptr), "the machine of the request is missing");
}

// Owned machines, the end, generic access

TEST_F(NetworkElements, AMachineIsNotMadeAgainForAnotherObjectUnderItsName) {
  start();
  claim();
  const auto e1 = leaf1_->physicalInterfaceIs("e1");
  const auto po1 = leaf1_->portGroupIs("po1");
  EXPECT_EQ(machine_->physicalInterfaceSmIs("e1", e1), machine_->physicalInterfaceSm("e1"));
  EXPECT_EQ(machine_->portGroupSmIs("po1", po1), machine_->portGroupSm("po1"));
  EXPECT_THROW(machine_->physicalInterfaceSmIs("e1", Velo::make<PhysicalInterface>("e1")),
               Velo::ReinstantiatingException);
  EXPECT_THROW(machine_->portGroupSmIs("po1", Velo::make<PortGroup>("po1")),
               Velo::ReinstantiatingException);
}

TEST_F(NetworkElements, TheCleanupOfTheMachineEmptiesTheElement) {
  start();
  claim();
  leaf1_->vlanIs(10)->referrerIs("other");
  machine_->doCleanup();
  EXPECT_EQ(vlans(leaf1_), "");
  machine_->doCleanup();  // an element may be told twice that it is over
}

TEST_F(NetworkElements, TheEndOfTheMachineCleansUpEachPort) {
  start();
  claim();
  const auto topology = host("po1", {"e1"});
  machine_->topologyHostIs(topology);
  const auto e1 = port("e1");
  srv1_->vlanIs(10)->referrerIs("compute1");
  e1->discoveredElementIs(srv1_);
  machine_ = nullptr;
  EXPECT_EQ(vlans(leaf1_), "");
  EXPECT_EQ(vlans(e1), "");
  EXPECT_EQ(names(e1->networkElement()), Lines());
  EXPECT_EQ(e1->portGroup(), nullptr);
  EXPECT_EQ(names(group("po1")->memberInterface()), Lines());
  // The ports and their entries are the element's own.
  EXPECT_EQ(names(leaf1_->interface()), (Lines{"po1", "e1"}));
}

TEST_F(NetworkElements, TheFactoryMakesTheSameMachineAsTheCreator) {
  machine_ = Agent::networkElementSmFactory("leaf1", leaf1_);
  EXPECT_EQ(leaf1_->interface("e1"), nullptr);
  leaf1_->physicalInterfaceIs("e1");
  EXPECT_EQ(names(leaf1_->interface()), Lines{"e1"});
  EXPECT_TRUE(machine_->isFor("leaf1", leaf1_));
  EXPECT_FALSE(machine_->isFor("leaf1", srv1_));
}

TEST_F(NetworkElements, GenericAccessNamesTheAttributesInTheirOrder) {
  EXPECT_EQ(attributesOf(Agent::networkElementSmType),
            (Lines{"name", "networkElement", "topologyHost", "physicalInterfaceSm", "portGroupSm",
                   "hostResourcesSm", "handleTopologyHost", "handleIsSwitchElement",
                   "handleResourcesForHostname", "physicalInterface",
                   "handleInterface(Nimbo::String intfName)",
                   "handlePhysicalInterface(Nimbo::String intfName)",
                   "handleNePortGroup(Nimbo::String intfName)",
                   "handleTopologyPortGroup(Nimbo::String pgName)", "portGroup",
                   "handleInitialized", "initialized", "doCleanup"}));
}

TEST_F(NetworkElements, GenericAccessSetsTheTopologyHostAndReplaysOneGroupOrAll) {
  start();
  const auto topology = host("po1", {});
  topology->portGroupIs(Velo::make<Topology::PortGroup>("po2"));
  Velo::Ptr<const Topology::Host> value = topology;
  const U32 topologyHost = attribute(machine_, "topologyHost");
  ASSERT_EQ(Velo::genericIfAttributeOp(nullptr, machine_.get(), topologyHost,
                                       Velo::AttributeOp::set, nullptr, &value),
            Velo::AttributeRecord::done);
  EXPECT_EQ(names(leaf1_->portGroup()), (Lines{"po1", "po2"}));

  const U32 handler = attribute(machine_, "handleTopologyPortGroup");
  leaf1_->portGroupDel("po1");
  leaf1_->portGroupDel("po2");
  Nimbo::String name = "po2";
  Velo::genericIfAttributeOp(nullptr, machine_.get(), handler, Velo::AttributeOp::invoke, &name,
                             nullptr);
  EXPECT_EQ(names(leaf1_->portGroup()), Lines{"po2"});
  Velo::genericIfAttributeOp(nullptr, machine_.get(), handler, Velo::AttributeOp::invoke, nullptr,
                             nullptr);
  EXPECT_EQ(names(leaf1_->portGroup()), (Lines{"po2", "po1"}));

  ASSERT_EQ(Velo::genericIfAttributeOp(nullptr, machine_.get(), topologyHost,
                                       Velo::AttributeOp::del, nullptr, nullptr),
            Velo::AttributeRecord::done);
  EXPECT_EQ(machine_->topologyHost(), nullptr);
}

TEST_F(NetworkElements, TheStartTracesTheReplayOfGroupsBeforeThatOfTheSwitch) {
  const TraceCapture trace(9);
  start();
  EXPECT_EQ(trace.lines(), (Lines{"9 NetworkElementSm::handleTopologyPortGroup: leaf1",
                                  "9 NetworkElementSm::handleInitialized: leaf1",
                                  "9 NetworkElementSm::handleIsSwitchElement: leaf1 : False"}));
}

}  // namespace
}  // namespace Fabrion::Test::Elements
