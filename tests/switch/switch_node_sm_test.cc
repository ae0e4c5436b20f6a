// The switch as a whole: how its machine comes by its element, the pass, and the list of all its
// VLANs.

#include "tests/switch/SwitchScene.h"

namespace Fabrion::Test {

using testing::ElementsAre;
using testing::IsEmpty;

using SwitchNodeSm = SwitchScene;

// Its element

TEST_F(SwitchNodeSm, TheElementOfTheSwitchsNameIsClaimedAsASwitch) {
  buildMachine();
  EXPECT_FALSE(machine->switchElement());
  const TraceCapture trace;
  leaf1 = collection->networkElementIs("leaf1");
  EXPECT_EQ(machine->switchElement(), leaf1);
  EXPECT_TRUE(leaf1->isSwitchElement());
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1"));
}

TEST_F(SwitchNodeSm, AnElementOfAnotherNameChangesNothing) {
  buildMachine();
  const TraceCapture trace;
  const auto leaf2 = collection->networkElementIs("leaf2");
  EXPECT_FALSE(machine->switchElement());
  EXPECT_FALSE(leaf2->isSwitchElement());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(SwitchNodeSm, AnElementThatIsRemovedIsKeptByTheSwitch) {
  provisionLeaf1();
  leaf1->vlanIs(5);
  const TraceCapture trace;
  collection->networkElementDel("leaf1");
  EXPECT_THAT(trace.lines(), IsEmpty());
  EXPECT_EQ(machine->switchElement(), leaf1);
  EXPECT_EQ(vlanList(), "5");
  leaf1->vlanIs(6);
  EXPECT_EQ(vlanList(), "5-6");
}

TEST_F(SwitchNodeSm, AnElementThatStoodThereBeforeTheMachineIsTakenWhenItIsAnnounced) {
  leaf1 = collection->networkElementIs("leaf1");
  leaf1->vlanIs(5);
  portIs("e1")->vlanIs(5);
  buildMachine();
  EXPECT_FALSE(machine->switchElement());
  EXPECT_EQ(vlanList(), "");
  collection->networkElementAnnounce("leaf1");
  EXPECT_EQ(machine->switchElement(), leaf1);
  EXPECT_EQ(vlanList(), "5");
  EXPECT_EQ(allowed("e1"), "5");
}

TEST_F(SwitchNodeSm, ASecondNotificationOfTheSameElementRunsNoSecondPass) {
  provisionLeaf1();
  portIs("e1");
  const TraceCapture trace(9);
  collection->networkElementAnnounce("leaf1");
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 SwitchNodeSm::handleNetworkElement: leaf1 leaf1",
                          "3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1"));
}

TEST_F(SwitchNodeSm, ANewElementOfTheSameNameTakesThePlaceOfTheOldOne) {
  provisionLeaf1();
  leaf1->vlanIs(5);
  portIs("e1")->vlanIs(5);
  portIs("e2")->vlanIs(5);
  const auto old = leaf1;
  collection->networkElementDel("leaf1");
  leaf1 = collection->networkElementIs("leaf1");
  EXPECT_EQ(machine->switchElement(), leaf1);
  EXPECT_TRUE(leaf1->isSwitchElement());
  EXPECT_EQ(vlanList(), "");
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_FALSE(machine->veloInterface("e1"));
  EXPECT_FALSE(machine->veloPhysicalInterface("e1"));

  old->vlanIs(9);
  old->interface("e2")->vlanIs(9);
  EXPECT_EQ(vlanList(), "");
  EXPECT_EQ(allowed("e2"), "none");
  leaf1->vlanIs(6);
  portIs("e2")->vlanIs(6);
  EXPECT_EQ(vlanList(), "6");
  EXPECT_EQ(allowed("e2"), "6");
}

TEST_F(SwitchNodeSm, PortsOfANewElementAreFollowedBeforeThePassReachesThem) {
  provisionLeaf1();
  portIs("e1")->vlanIs(5);
  const auto replacement = Velo::make<NetworkElement>("leaf1");
  const auto port = replacement->physicalInterfaceIs("e1");
  replacement->interfaceIs(port);
  port->vlanIs(7);
  machine->switchElementIs(replacement);
  EXPECT_EQ(machine->veloInterface("e1")->notifier(), port);
  EXPECT_EQ(allowed("e1"), "7");
}

TEST_F(SwitchNodeSm, AMachineBuiltWithoutItsInputsFollowsNone) {
  machine = Agent::SwitchNodeSm::SwitchNodeSmIs("leaf1", portVlanConfig, vtepConfigDir, nullptr,
                                                nullptr, nullptr);
  EXPECT_FALSE(machine->vtepStatusDir());
  EXPECT_FALSE(machine->networkElementCollection());
  EXPECT_FALSE(machine->config());
  collection->networkElementIs("leaf1");
  EXPECT_FALSE(machine->switchElement());
}

TEST_F(SwitchNodeSm, TheFactoryMakesTheSameMachineAsTheCreator) {
  machine = Agent::switchNodeSmFactory("leaf1", portVlanConfig, vtepConfigDir, vtepStatusDir,
                                       collection, config);
  EXPECT_TRUE(machine->hasNotificationActive());
  EXPECT_EQ(machine->vtepStatusDir(), vtepStatusDir);
  EXPECT_EQ(machine->config(), config);
  leaf1 = collection->networkElementIs("leaf1");
  EXPECT_EQ(machine->switchElement(), leaf1);
}

// The pass

TEST_F(SwitchNodeSm, PortsInTheOutputThatTheElementDoesNotHaveAreRemovedByThePass) {
  allowedIs("gone1", "3");
  allowedIs("e1", "5");
  allowedIs("gone2", "4-6");
  nativeIs("gone1", 3);
  nativeIs("gone3", 4);
  leaf1 = collection->networkElementIs("leaf1");
  portIs("e1")->vlanIs(5);
  buildMachine();
  collection->networkElementAnnounce("leaf1");
  EXPECT_EQ(portVlanConfig->portAllowedVlanList().size(), 1U);
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_TRUE(portVlanConfig->portNativeVlan().empty());
}

TEST_F(SwitchNodeSm, AVlanInTheListThatHasLeftTheElementIsWalkedOnceAndFallsOut) {
  vlanListIs("5-7");
  leaf1 = collection->networkElementIs("leaf1");
  leaf1->vlanIs(6);
  buildMachine();
  const TraceCapture trace;
  collection->networkElementAnnounce("leaf1");
  EXPECT_EQ(vlanList(), "6");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1",
                          "3 SwitchNodeSm::handleVlan: Removing VLAN: 5 from vlan set 5-7",
                          "3 SwitchNodeSm::handleVlan: Adding VLAN: 6 to vlan set 6-7",
                          "3 SwitchNodeSm::handleVlan: Removing VLAN: 7 from vlan set 6-7",
                          "3 SwitchNodeSm::handleSwitchElement: leaf1 Vlan: 6",
                          "3 SwitchNodeSm::handleVlan: Adding VLAN: 6 to vlan set 6"));
}

TEST_F(SwitchNodeSm, AnEmptyListIsFilledWithTheVlansOfTheElement) {
  leaf1 = collection->networkElementIs("leaf1");
  leaf1->vlanIs(12);
  leaf1->vlanIs(5);
  buildMachine();
  const TraceCapture trace;
  collection->networkElementAnnounce("leaf1");
  EXPECT_EQ(vlanList(), "5,12");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1",
                          "3 SwitchNodeSm::handleSwitchElement: leaf1 Vlan: 12",
                          "3 SwitchNodeSm::handleVlan: Adding VLAN: 12 to vlan set ",
                          "3 SwitchNodeSm::handleSwitchElement: leaf1 Vlan: 5",
                          "3 SwitchNodeSm::handleVlan: Adding VLAN: 5 to vlan set 12"));
}

TEST_F(SwitchNodeSm, ThePassWalksTheListFrom1To4094Alone) {
  vlanListIs("0-1,4094-4096");
  leaf1 = collection->networkElementIs("leaf1");
  buildMachine();
  const TraceCapture trace;
  collection->networkElementAnnounce("leaf1");
  EXPECT_EQ(vlanList(), "0,4095-4096");
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1",
                  "3 SwitchNodeSm::handleVlan: Removing VLAN: 1 from vlan set 0-1,4094-4096",
                  "3 SwitchNodeSm::handleVlan: Removing VLAN: 4094 from vlan set 0,4094-4096"));
}

TEST_F(SwitchNodeSm, ThePassTellsOfEachInterface) {
  leaf1 = collection->networkElementIs("leaf1");
  portIs("e2");
  portIs("e1");
  buildMachine();
  const TraceCapture trace;
  collection->networkElementAnnounce("leaf1");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1",
                          "3 SwitchNodeSm::handleSwitchElement: leaf1 Interface: e2",
                          "3 SwitchNodeSm::handleSwitchElement: leaf1 Interface: e1"));
}

TEST_F(SwitchNodeSm, ThePassRunAgainLeavesTheOutputAsItIs) {
  provisionLeaf1();
  leaf1->vlanIs(5);
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->nativeVlanIs(5);
  EXPECT_EQ(access("handleSwitchElement", Velo::AttributeOp::invoke), Velo::AttributeRecord::done);
  EXPECT_EQ(vlanList(), "5");
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_EQ(native("e1"), "5");
}

TEST_F(SwitchNodeSm, AListThatIsNoVlanListEndsThePass) {
  vlanListIs("5-");
  buildMachine();
  EXPECT_THROW(collection->networkElementIs("leaf1"), Velo::RangeException);
  EXPECT_TRUE(machine->switchElement());
  EXPECT_EQ(vlanList(), "5-");
}

// The list of all VLANs

TEST_F(SwitchNodeSm, TheListFollowsTheVlansOfTheElement) {
  provisionLeaf1();
  const TraceCapture trace;
  leaf1->vlanIs(5);
  leaf1->vlanIs(6);
  leaf1->vlanIs(6);
  leaf1->vlanDel(5);
  EXPECT_EQ(vlanList(), "6");
  leaf1->vlanDel(6);
  EXPECT_EQ(vlanList(), "");
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 SwitchNodeSm::handleVlan: Adding VLAN: 5 to vlan set ",
                          "3 SwitchNodeSm::handleVlan: Adding VLAN: 6 to vlan set 5",
                          "3 SwitchNodeSm::handleVlan: Removing VLAN: 5 from vlan set 5-6",
                          "3 SwitchNodeSm::handleVlan: Removing VLAN: 6 from vlan set 6"));
}

TEST_F(SwitchNodeSm, AVlanNeitherOnTheElementNorInTheListWritesTheListUnchanged) {
  provisionLeaf1();
  vlanListIs("4,2-3,3");
  U32 vlan = 7;
  EXPECT_EQ(access("handleVlan", Velo::AttributeOp::invoke, &vlan), Velo::AttributeRecord::done);
  // The same VLANs, in the form in which they are written.
  EXPECT_EQ(vlanList(), "2-4");
}

TEST_F(SwitchNodeSm, AVlanAbove16BitsStandsInTheListByItsLower16Bits) {
  provisionLeaf1();
  leaf1->vlanIs(0x10005);
  EXPECT_EQ(vlanList(), "5");
  leaf1->vlanIs(5000);
  EXPECT_EQ(vlanList(), "5,5000");
  leaf1->vlanDel(0x10005);
  EXPECT_EQ(vlanList(), "5000");
}

// Its end

TEST_F(SwitchNodeSm, TheEndOfTheMachineLeavesThePortConfigurationAsItStands) {
  provisionLeaf1();
  leaf1->vlanIs(5);
  const auto port = portIs("e1");
  port->vlanIs(5);
  port->nativeVlanIs(6);
  const TraceCapture trace(9);
  machine = nullptr;
  EXPECT_THAT(trace.lines(), ElementsAre("9 " + ofVlan + "doCleanup: Inteface: e1 VLAN: 5"));
  EXPECT_EQ(vlanList(), "5");
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_EQ(native("e1"), "6");
  EXPECT_TRUE(leaf1->isSwitchElement());
}

TEST_F(SwitchNodeSm, NothingIsWrittenAfterTheEndOfTheMachine) {
  provisionLeaf1();
  const auto port = portIs("e1");
  machine = nullptr;
  leaf1->vlanIs(5);
  port->vlanIs(5);
  port->nativeVlanIs(5);
  port->portGroupIs(Velo::make<PortGroup>("po1"));
  collection->networkElementAnnounce("leaf1");
  EXPECT_EQ(vlanList(), "");
  EXPECT_EQ(allowed("e1"), "none");
  EXPECT_EQ(native("e1"), "none");
}

// Entries

TEST_F(SwitchNodeSm, EachHandlerTracesItsEntry) {
  const TraceCapture trace(9);
  buildMachine();
  collection->networkElementIs("leaf2");
  leaf1 = collection->networkElementIs("leaf1");
  leaf1->vlanIs(5);
  leaf1->physicalInterfaceIs("e1");
  leaf1->interfaceIs(leaf1->physicalInterface("e1"));
  EXPECT_EQ(access("doCleanup", Velo::AttributeOp::invoke), Velo::AttributeRecord::done);
  EXPECT_THAT(trace.lines(),
              ElementsAre("9 SwitchNodeSm::handleInitialized: leaf1",
                          "9 SwitchNodeSm::handleNetworkElement: leaf1 leaf2",
                          "9 SwitchNodeSm::handleNetworkElement: leaf1 leaf1",
                          "3 SwitchNodeSm::handleNetworkElement: leaf1 Setting leaf1 to leaf1",
                          "9 SwitchNodeSm::handleSwitchElement: leaf1",
                          "9 SwitchNodeSm::handleVlan: leaf1 5",
                          "3 SwitchNodeSm::handleVlan: Adding VLAN: 5 to vlan set ",
                          "9 SwitchNodeSm::handleInterface: leaf1 e1",
                          "9 SwitchNodeSm::isMemberInterface: leaf1 0",
                          "9 SwitchNodeSm::doCleanup: leaf1"));
}

// Generic access

TEST_F(SwitchNodeSm, AttributesAreNumberedAsTheyAreDeclared) {
  std::vector<std::string> names;
  for (const auto& attribute : Agent::switchNodeSmType.attributes)
    names.emplace_back(attribute.name);
  EXPECT_THAT(
      names,
      ElementsAre("switchId", "portVlanConfig", "vtepConfigDir", "vtepStatusDir",
                  "networkElementCollection", "config", "handleSwitchElement", "switchElement",
                  "isMemberInterface", "interface", "physicalInterface", "handleInterface",
                  "handleVlan", "handleNetworkElement", "handleVtepConfig", "vlanToVniMap",
                  "handleStaticVniMapForDomain", "handleVniMapConflict", "handleNativeVlanConflict",
                  "doCleanup", "handleInitialized", "initialized"));
}

TEST_F(SwitchNodeSm, HandlersNameTheirParameters) {
  std::vector<std::string> parameters;
  for (const auto& attribute : Agent::switchNodeSmType.attributes) {
    for (U32 i = 0; i < attribute.parameterCount; ++i) {
      parameters.push_back(std::string(attribute.name) + ": " + attribute.parameters[i].name +
                           ", " + attribute.parameters[i].type);
    }
  }
  EXPECT_THAT(parameters,
              ElementsAre("isMemberInterface: intfName, Nimbo::String",
                          "handleInterface: intfName, Nimbo::String", "handleVlan: vlanId, U32",
                          "handleNetworkElement: name, Nimbo::String",
                          "handleVtepConfig: port, Nimbo::String",
                          "handleStaticVniMapForDomain: domainName, Fabrion::Client::ClientDomain",
                          "handleVniMapConflict: intfName, Nimbo::String",
                          "handleVniMapConflict: vlanId, U32",
                          "handleNativeVlanConflict: intfName, Nimbo::String",
                          "handleNativeVlanConflict: vlanId, U32"));
}

TEST_F(SwitchNodeSm, AMachineMadeByGenericAccessWorksAsAnyOther) {
  Nimbo::String switchId = "leaf1";
  auto portVlan = portVlanConfig;
  auto vtepConfigs = vtepConfigDir;
  Velo::Ptr<const VxlanController::VtepStatusDirV2> vtepStatuses = vtepStatusDir;
  auto elements = collection;
  Velo::Ptr<const Config> maps = config;
  ASSERT_EQ(Agent::switchNodeSmType.constructorArguments, 6U);
  void* const args[] = {&switchId, &portVlan, &vtepConfigs, &vtepStatuses, &elements, &maps};
  const auto made = Agent::switchNodeSmType.construct(args);
  collection->networkElementIs("leaf1")->vlanIs(5);
  EXPECT_EQ(vlanList(), "5");
}

TEST_F(SwitchNodeSm, ThePassWithoutAnElementEndsAtOnce) {
  buildMachine();
  allowedIs("e1", "5");
  vlanListIs("5");
  const TraceCapture trace(9);
  EXPECT_EQ(access("handleSwitchElement", Velo::AttributeOp::invoke), Velo::AttributeRecord::done);
  EXPECT_THAT(trace.lines(), ElementsAre("9 SwitchNodeSm::handleSwitchElement: leaf1"));
  EXPECT_EQ(allowed("e1"), "5");
  EXPECT_EQ(vlanList(), "5");
}

TEST_F(SwitchNodeSm, AnElementTakenAwayLeavesTheOutputAsItStands) {
  provisionLeaf1();
  leaf1->vlanIs(5);
  const TraceCapture trace(9);
  EXPECT_EQ(access("switchElement", Velo::AttributeOp::del), Velo::AttributeRecord::done);
  EXPECT_FALSE(machine->switchElement());
  EXPECT_EQ(vlanList(), "5");
  leaf1->vlanIs(6);
  EXPECT_EQ(vlanList(), "5");
  // The second time there is nothing to take.
  EXPECT_EQ(access("switchElement", Velo::AttributeOp::del), Velo::AttributeRecord::done);
  EXPECT_THAT(trace.lines(), ElementsAre("9 SwitchNodeSm::handleSwitchElement: leaf1"));
}

TEST_F(SwitchNodeSm, AnEmptyElementTakesThePresentOneAway) {
  buildMachine();
  const TraceCapture trace(9);
  machine->switchElementIs(nullptr);
  EXPECT_THAT(trace.lines(), IsEmpty());
  leaf1 = Velo::make<NetworkElement>("leaf1");
  machine->switchElementIs(leaf1);
  machine->switchElementIs(nullptr);
  EXPECT_FALSE(machine->switchElement());
  EXPECT_THAT(trace.lines(), ElementsAre("9 SwitchNodeSm::handleSwitchElement: leaf1",
                                         "9 SwitchNodeSm::handleSwitchElement: leaf1"));
}

TEST_F(SwitchNodeSm, NullEntitiesAreRefused) {
  buildMachine();
  EXPECT_THROW(machine->interfaceIs(nullptr), Velo::NullPointerException);
  EXPECT_THROW(machine->physicalInterfaceIs(nullptr), Velo::NullPointerException);
  EXPECT_THROW(machine->vlanToVniMapIs(nullptr), Velo::NullPointerException);
}

TEST_F(SwitchNodeSm, AReactorFollowsEachStaticMap) {
  const auto blueMap = Velo::make<VlanToVniMap>(blue);
  config->vlanToVniMapIs(blueMap);
  buildMachine();
  EXPECT_EQ(machine->veloVlanToVniMap(blue)->notifier(), blueMap);
  config->vlanToVniMapIs(Velo::make<VlanToVniMap>(red));
  EXPECT_EQ(machine->veloVlanToVniMap().size(), 2U);
  const auto blueAgain = Velo::make<VlanToVniMap>(blue);
  config->vlanToVniMapIs(blueAgain);
  EXPECT_EQ(machine->veloVlanToVniMap(blue)->notifier(), blueAgain);
  config->vlanToVniMapDel(red);
  U64 count = 0;
  EXPECT_EQ(access("vlanToVniMap", Velo::AttributeOp::count, nullptr, nullptr, &count),
            Velo::AttributeRecord::done);
  EXPECT_EQ(count, 1U);
}

TEST_F(SwitchNodeSm, InitializedStaysFalse) {
  provisionLeaf1();
  bool initialized = true;
  EXPECT_EQ(access("initialized", Velo::AttributeOp::get, nullptr, nullptr, &initialized),
            Velo::AttributeRecord::done);
  EXPECT_FALSE(initialized);
}

using SwitchNodeSmDeathTest = SwitchScene;

TEST_F(SwitchNodeSmDeathTest, AVlanOfASwitchWithoutAnElementIsAFault) {
  buildMachine();
  U32 vlan = 5;
  EXPECT_DEATH(access("handleVlan", Velo::AttributeOp::invoke, &vlan),
               "the switch element is missing");
}

TEST_F(SwitchNodeSmDeathTest, AnInterfaceOfASwitchWithoutAnElementIsAFault) {
  buildMachine();
  Nimbo::String name = "e1";
  EXPECT_DEATH(access("handleInterface", Velo::AttributeOp::invoke, &name),
               "the switch element is missing");
}

}  // namespace Fabrion::Test
