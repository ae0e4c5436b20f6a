#include "elements/PhysicalInterfaceSm.h"

#include "tests/elements/elements_scene.h"

namespace Fabrion::Test::Elements {
namespace {

using Agent::PhysicalInterfaceSm;

// One port, e1, and two far elements, srv1 with the hostname compute1 and srv2 without one.
class PhysicalInterfaces : public testing::Test {
 protected:
  PhysicalInterfaces() {
    srv1_->hostnameIs("compute1");
    e1_->isSwitchInterfaceIs(true);
  }

  void start() { machine_ = PhysicalInterfaceSm::PhysicalInterfaceSmIs("e1", e1_); }

  // Asks for a VLAN with one VNI and one domain on a far element, as a request does.
  static void request(const Velo::Ptr<NetworkElement>& element, U32 vlan, U32 vni) {
    const auto entry = element->vlanIs(vlan);
    entry->referrerIs("compute1");
    entry->mappedVniIs(vni);
    entry->domainIs(red);
  }

  Velo::Ptr<PhysicalInterface> e1_ = Velo::make<PhysicalInterface>("e1");
  Velo::Ptr<NetworkElement> srv1_ = Velo::make<NetworkElement>("srv1");
  Velo::Ptr<NetworkElement> srv2_ = Velo::make<NetworkElement>("srv2");
  Velo::Ptr<PhysicalInterfaceSm> machine_;
};

TEST_F(PhysicalInterfaces, WhatAFarElementRequiresIsCopiedOntoTheSwitchPortUnderItsName) {
  start();
  request(srv1_, 10, 5010);
  const TraceCapture trace;
  e1_->discoveredElementIs(srv1_);
  EXPECT_EQ(names(e1_->networkElement()), Lines{"srv1"});
  EXPECT_EQ(vlans(e1_), "10[srv1] 5010[srv1] acme/red[srv1]");
  // The VLAN's own reactor copies first, then the handler goes over everything once more.
  const std::string copy = "VeloNetworkElement::VeloDynVlan::handleInitialized: ";
  EXPECT_EQ(
      trace.lines(),
      (Lines{
          "3 PhysicalInterfaceSm::" + copy + "Adding domain acme/red to e1",
          "3 PhysicalInterfaceSm::" + copy + "Adding VNI: 5010 mapped to VLAN: 10 on interface: e1",
          "3 PhysicalInterfaceSm::handleNetworkElement: Host added",
          "3 PhysicalInterfaceSm::handleNetworkElement: Vlans required for the host [ srv1 ] : 1",
          "3 PhysicalInterfaceSm::VeloNetworkElement::handleVlan: Adding vlan 10 to e1",
          "3 PhysicalInterfaceSm::" + copy + "Adding domain acme/red to e1",
          "3 PhysicalInterfaceSm::" + copy +
              "Adding VNI: 5010 mapped to VLAN: 10 on interface: e1"}));
}

TEST_F(PhysicalInterfaces, TheFarElementsThatThePortHasAtTheStartAreCopiedWithoutAHandler) {
  request(srv1_, 10, 5010);
  e1_->networkElementIs(srv1_);
  e1_->configuredElementIs(srv2_);
  const TraceCapture trace;
  start();
  EXPECT_EQ(vlans(e1_), "10[srv1] 5010[srv1] acme/red[srv1]");
  EXPECT_FALSE(trace.has("Host added"));
  EXPECT_FALSE(trace.has("Adding vlan"));
  // Those that stand in a relation only wait for a change of it.
  EXPECT_EQ(names(e1_->networkElement()), Lines{"srv1"});
}

TEST_F(PhysicalInterfaces, APortThatIsNoSwitchPortGetsNothingUntilItBecomesOne) {
  e1_->isSwitchInterfaceIs(false);
  start();
  {
    const TraceCapture trace;
    request(srv1_, 10, 5010);
    e1_->discoveredElementIs(srv1_);
    request(srv2_, 20, 5020);
    e1_->configuredElementIs(srv2_);
    srv1_->vlan(10)->mappedVniIs(5011);
    srv1_->vlan(10)->domainIs(blue);
    EXPECT_EQ(vlans(e1_), "");
    EXPECT_TRUE(
        trace.has("3 PhysicalInterfaceSm::VeloNetworkElement::handleVlan: "
                  "Ignoring vlan on srv1 since this is not a switch interface."));
    for (const char* handler :
         {"handleInitialized", "handleVlanDomain", "handleDynamicVniMapping"}) {
      EXPECT_TRUE(
          trace.has(std::string("3 PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::") +
                    handler + ": Ignoring vni on srv1 since this is not a switch interface."))
          << handler;
    }
  }
  e1_->isSwitchInterfaceIs(true);
  EXPECT_EQ(vlans(e1_),
            "10[srv1] 5010[srv1] 5011[srv1] acme/red[srv1] acme/blue[srv1]; "
            "20[srv2] 5020[srv2] acme/red[srv2]");
}

TEST_F(PhysicalInterfaces, WhatWasCopiedStaysWhenThePortIsNoSwitchPortAnyMore) {
  start();
  request(srv1_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  e1_->isSwitchInterfaceIs(false);
  EXPECT_EQ(vlans(e1_), "10[srv1] 5010[srv1] acme/red[srv1]");
  srv1_->vlan(10)->mappedVniDel(5010);
  srv1_->vlan(10)->domainDel(red);
  EXPECT_EQ(vlans(e1_), "10[srv1] 5010[srv1] acme/red[srv1]");
  srv1_->vlanDel(10);
  EXPECT_EQ(vlans(e1_), "10[srv1] 5010[srv1] acme/red[srv1]");
}

TEST_F(PhysicalInterfaces, AFarElementThatIsASwitchContributesNothing) {
  srv1_->isSwitchElementIs(true);
  start();
  request(srv1_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  request(srv1_, 20, 5020);
  EXPECT_EQ(names(e1_->networkElement()), Lines{"srv1"});
  EXPECT_EQ(vlans(e1_), "");
}

TEST_F(PhysicalInterfaces, AFarElementThatIsASwitchMayGainAndLoseVnisAndDomains) {
  srv1_->isSwitchElementIs(true);
  start();
  request(srv1_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  srv1_->vlan(10)->mappedVniIs(5011);
  srv1_->vlan(10)->domainIs(blue);
  srv1_->vlan(10)->mappedVniDel(5010);
  srv1_->vlan(10)->domainDel(red);
  srv1_->vlanDel(10);
  EXPECT_EQ(vlans(e1_), "");
}

TEST_F(PhysicalInterfaces,
       AnElementThatBecomesASwitchLosesItsVlansButNotItsNameOnVnisOfOthersVlans) {
  start();
  request(srv1_, 10, 5010);
  request(srv1_, 20, 5020);
  e1_->discoveredElementIs(srv1_);
  e1_->vlan(10)->referrerIs("acme");
  const TraceCapture trace;
  srv1_->isSwitchElementIs(true);
  EXPECT_EQ(vlans(e1_), "10[acme] 5010[srv1] acme/red[srv1]");
  EXPECT_EQ(
      trace.lines(),
      Lines{"3 PhysicalInterfaceSm::VeloNetworkElement::handleVlan: Deleting vlan 20 from e1"});
  // And back: nothing is left undone.
  srv1_->isSwitchElementIs(false);
  EXPECT_EQ(vlans(e1_),
            "10[acme srv1] 5010[srv1] acme/red[srv1]; 20[srv1] 5020[srv1] acme/red[srv1]");
}

TEST_F(PhysicalInterfaces, AnElementConfiguredAndDiscoveredLeavesOnlyWhenBothHaveLostIt) {
  start();
  const std::string removing = "Removing network elements srv1 from e1";
  const TraceCapture trace;
  e1_->configuredElementIs(srv1_);
  e1_->discoveredElementIs(srv1_);
  e1_->configuredElementDel("srv1");
  EXPECT_EQ(names(e1_->networkElement()), Lines{"srv1"});
  EXPECT_FALSE(trace.has(removing));
  e1_->discoveredElementDelAll();
  EXPECT_EQ(names(e1_->networkElement()), Lines());
  EXPECT_TRUE(trace.has("3 PhysicalInterfaceSm::handleDiscoveredElement: " + removing));
  EXPECT_TRUE(
      trace.has("3 PhysicalInterfaceSm::handleNetworkElement: Host deleted from interface e1"));

  e1_->discoveredElementIs(srv1_);
  e1_->configuredElementIs(srv1_);
  e1_->discoveredElementDelAll();
  EXPECT_EQ(names(e1_->networkElement()), Lines{"srv1"});
  e1_->configuredElementDel("srv1");
  EXPECT_EQ(names(e1_->networkElement()), Lines());
  EXPECT_TRUE(trace.has("3 PhysicalInterfaceSm::handleConfiguredElement: " + removing));
}

TEST_F(PhysicalInterfaces, TheSecondRelationLeavesAnElementThatIsThereInPlace) {
  start();
  e1_->configuredElementIs(srv1_);
  const TraceCapture trace;
  e1_->discoveredElementIs(srv1_);
  EXPECT_EQ(trace.lines(), Lines());
}

TEST_F(PhysicalInterfaces, TwoElementsThatRequireOneVlanHoldItTogether) {
  start();
  request(srv1_, 10, 5010);
  request(srv2_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  e1_->discoveredElementIs(srv2_);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2] 5010[srv1 srv2] acme/red[srv1 srv2]");
  srv1_->vlanDel(10);
  EXPECT_EQ(vlans(e1_), "10[srv2] 5010[srv2] acme/red[srv2]");
  srv2_->vlanDel(10);
  EXPECT_EQ(vlans(e1_), "");
}

TEST_F(PhysicalInterfaces, AVlanThatAnElementRequiresLaterComesAndGoes) {
  start();
  e1_->discoveredElementIs(srv1_);
  const TraceCapture trace;
  srv1_->vlanIs(10);
  EXPECT_EQ(vlans(e1_), "10[srv1]");
  srv1_->vlanDel(10);
  EXPECT_EQ(vlans(e1_), "");
  EXPECT_EQ(
      trace.lines(),
      (Lines{"3 PhysicalInterfaceSm::VeloNetworkElement::handleVlan: Adding vlan 10 to e1",
             "3 PhysicalInterfaceSm::VeloNetworkElement::handleVlan: Deleting vlan 10 from e1",
             "3 PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::doCleanup: "
             "srv1 : compute1 e1 VLAN 10"}));
}

TEST_F(PhysicalInterfaces, DomainsComeAndGoWithTheLastElementThatRequiresThem) {
  start();
  srv1_->vlanIs(10);
  srv2_->vlanIs(10);
  e1_->discoveredElementIs(srv1_);
  e1_->discoveredElementIs(srv2_);
  const TraceCapture trace;
  srv1_->vlan(10)->domainIs(red);
  srv2_->vlan(10)->domainIs(red);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2] acme/red[srv1 srv2]");
  srv1_->vlan(10)->domainDel(red);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2] acme/red[srv2]");
  srv2_->vlan(10)->domainDel(red);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2]");
  const std::string handler =
      "3 PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::handleVlanDomain: ";
  EXPECT_EQ(trace.lines(), (Lines{handler + "Adding domain acme/red to e1",
                                  handler + "Adding domain acme/red to e1",
                                  handler + "Deleting domain acme/red from e1"}));
}

TEST_F(PhysicalInterfaces, VnisComeAndGoWithTheLastElementThatRequiresThem) {
  start();
  srv1_->vlanIs(10);
  srv2_->vlanIs(10);
  e1_->discoveredElementIs(srv1_);
  e1_->discoveredElementIs(srv2_);
  const TraceCapture trace;
  srv1_->vlan(10)->mappedVniIs(5010);
  srv2_->vlan(10)->mappedVniIs(5010);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2] 5010[srv1 srv2]");
  srv1_->vlan(10)->mappedVniDel(5010);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2] 5010[srv2]");
  srv2_->vlan(10)->mappedVniDel(5010);
  EXPECT_EQ(vlans(e1_), "10[srv1 srv2]");
  const std::string handler =
      "3 PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::handleDynamicVniMapping: ";
  EXPECT_EQ(trace.lines(), (Lines{handler + "Adding VNI: 5010 mapped to VLAN: 10 on interface: e1",
                                  handler + "Adding VNI: 5010 mapped to VLAN: 10 on interface: e1",
                                  handler + "Removing VNI: 5010 from VLAN: 10 on e1"}));
}

TEST_F(PhysicalInterfaces,
       AnElementThatLeavesWhileItIsStillAskedForAVlanLeavesTheVlanWithoutReferrer) {
  start();
  request(srv1_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  const TraceCapture trace;
  e1_->discoveredElementDelAll();
  // VNIs and domains go without a word; the reactor of the VLAN cleans up twice.
  EXPECT_EQ(vlans(e1_), "10[]");
  const std::string cleanup =
      "3 PhysicalInterfaceSm::VeloNetworkElement::VeloDynVlan::doCleanup: srv1 : compute1 e1 VLAN "
      "10";
  EXPECT_EQ(trace.lines(),
            (Lines{"3 PhysicalInterfaceSm::handleDiscoveredElement: "
                   "Removing network elements srv1 from e1",
                   cleanup, cleanup,
                   "3 PhysicalInterfaceSm::handleNetworkElement: Host deleted from interface e1"}));
}

TEST_F(PhysicalInterfaces, AnElementThatLeavesWhenNobodyAsksItForAVlanTakesTheVlanAway) {
  start();
  srv1_->vlanIs(10);
  e1_->discoveredElementIs(srv1_);
  e1_->vlan(10)->referrerIs("acme");  // not asked: the far element's own entry decides
  const TraceCapture trace;
  e1_->discoveredElementDelAll();
  EXPECT_EQ(vlans(e1_), "");
  EXPECT_TRUE(trace.has(
      "3 PhysicalInterfaceSm::VeloNetworkElement::handleCleanup: Deleting VLAN 10 from e1"));
  EXPECT_FALSE(trace.has("Deleting vlan 10"));
}

TEST_F(PhysicalInterfaces, AVniThatAnotherElementRequiresTooSurvivesTheOneThatLeaves) {
  start();
  request(srv1_, 10, 5010);
  request(srv2_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  e1_->configuredElementIs(srv2_);
  e1_->discoveredElementDelAll();
  EXPECT_EQ(vlans(e1_), "10[srv2] 5010[srv2] acme/red[srv2]");
}

TEST_F(PhysicalInterfaces, AVlanThatThePortHasLostIsPassedOverWhenTheElementLeaves) {
  start();
  request(srv1_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  e1_->vlanDel(10);
  e1_->discoveredElementDelAll();
  EXPECT_EQ(vlans(e1_), "");
}

TEST_F(PhysicalInterfaces, TheEndOfTheMachineTakesBackWhatItCopied) {
  start();
  srv1_->vlanIs(10);
  request(srv1_, 20, 5020);
  e1_->discoveredElementIs(srv1_);
  machine_ = nullptr;
  EXPECT_EQ(vlans(e1_), "20[]");
  EXPECT_EQ(names(e1_->networkElement()), Lines{"srv1"});
  // Nothing follows the element from now on.
  srv1_->vlanIs(30);
  EXPECT_EQ(vlans(e1_), "20[]");
}

TEST_F(PhysicalInterfaces, AnElementReplacedUnderItsNameIsFollowedInsteadOfTheOldOne) {
  start();
  e1_->configuredElementIs(srv1_);
  const auto other = Velo::make<NetworkElement>("srv1");
  other->vlanIs(20);
  e1_->configuredElementIs(other);
  EXPECT_EQ(vlans(e1_), "20[srv1]");
  srv1_->vlanIs(30);
  EXPECT_EQ(vlans(e1_), "20[srv1]");
  other->vlanIs(40);
  EXPECT_EQ(vlans(e1_), "20[srv1]; 40[srv1]");
}

TEST_F(PhysicalInterfaces, ANullElementIsRefused) {
  start();
  EXPECT_THROW(machine_->networkElementIs(nullptr), Velo::NullPointerException);
}

TEST_F(PhysicalInterfaces, ADomainOrAVniForAVlanThatThePortHasLostEndsTheProcess) {
  start();
  srv1_->vlanIs(10);
  e1_->discoveredElementIs(srv1_);
  e1_->vlanDel(10);
  EXPECT_DEATH(srv1_->vlan(10)->domainIs(red), "the VLAN of the interface is missing");
  EXPECT_DEATH(srv1_->vlan(10)->mappedVniIs(5010), "the VLAN of the interface is missing");
}

TEST_F(PhysicalInterfaces, TheFactoryMakesTheSameMachineAsTheCreator) {
  machine_ = Agent::physicalInterfaceSmFactory("e1", e1_);
  srv1_->vlanIs(10);
  e1_->discoveredElementIs(srv1_);
  EXPECT_EQ(vlans(e1_), "10[srv1]");
  EXPECT_TRUE(machine_->isFor("e1", e1_));
  EXPECT_FALSE(machine_->isFor("e2", e1_));
}

TEST_F(PhysicalInterfaces, GenericAccessNamesTheAttributesInTheirOrder) {
  EXPECT_EQ(attributesOf(Agent::physicalInterfaceSmType),
            (Lines{"intfName", "physicalInterface", "handleIsSwitchInterface", "networkElement",
                   "handleNetworkElement(Nimbo::String name)",
                   "handleConfiguredElement(Nimbo::String ceName)",
                   "handleDiscoveredElement(Nimbo::String deName)", "doCleanup"}));
}

TEST_F(PhysicalInterfaces, TheMachinesOwnCleanupIsReachedGenericallyAndOnlyTraces) {
  start();
  request(srv1_, 10, 5010);
  e1_->discoveredElementIs(srv1_);
  const TraceCapture trace(9);
  EXPECT_EQ(Velo::genericIfAttributeOp(nullptr, machine_.get(), attribute(machine_, "doCleanup"),
                                       Velo::AttributeOp::invoke, nullptr, nullptr),
            Velo::AttributeRecord::done);
  EXPECT_EQ(trace.lines(), Lines{"9 PhysicalInterfaceSm::doCleanup: e1"});
  EXPECT_EQ(vlans(e1_), "10[srv1] 5010[srv1] acme/red[srv1]");
}

}  // namespace
}  // namespace Fabrion::Test::Elements
