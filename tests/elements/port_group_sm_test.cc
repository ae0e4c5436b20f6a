#include "elements/PortGroupSm.h"

#include "tests/elements/elements_scene.h"

namespace Fabrion::Test::Elements {
namespace {

using Agent::PortGroupSm;

// One port group, po1, and two ports, e1 and e2, that may be its members.
class PortGroups : public testing::Test {
 protected:
  void start() { machine_ = PortGroupSm::PortGroupSmIs("po1", po1_); }

  // A VLAN with one VNI and one domain on a member, held there under `referrer`.
  static void request(const Velo::Ptr<PhysicalInterface>& member, U32 vlan, U32 vni,
                      const char* referrer) {
    const auto entry = member->vlanIs(vlan);
    entry->referrerIs(referrer);
    entry->mappedVniIs(vni)->referrerIs(referrer);
    entry->domainIs(red)->referrerIs(referrer);
  }

  Velo::Ptr<PortGroup> po1_ = Velo::make<PortGroup>("po1");
  Velo::Ptr<PhysicalInterface> e1_ = Velo::make<PhysicalInterface>("e1");
  Velo::Ptr<PhysicalInterface> e2_ = Velo::make<PhysicalInterface>("e2");
  Velo::Ptr<PortGroupSm> machine_;
};

TEST_F(PortGroups, WhatStandsOnAMemberIsCopiedUpToTheGroupUnderTheMembersName) {
  start();
  request(e1_, 10, 5010, "acme");
  e1_->nativeVlanIs(20);
  const TraceCapture trace;
  po1_->memberInterfaceIs(e1_);
  EXPECT_EQ(vlans(po1_), "10[e1] 5010[e1] acme/red[e1]");
  EXPECT_EQ(nativeVlans(po1_), "20[e1]");
  const std::string ofVlan = "3 PortGroupSm::VeloMemberInterface::VeloDynVlan::";
  const std::string ofMember = "3 PortGroupSm::VeloMemberInterface::";
  EXPECT_EQ(trace.lines(),
            (Lines{ofVlan + "handleDynamicVniMapping: Adding VLAN 10 to po1",
                   ofVlan + "handleVlanDomain: Adding domain: acme/red for VLAN: 10 portGroup: po1",
                   ofMember + "handleMemberInterfaceVlan: Adding VLAN 10 to po1",
                   ofMember + "handleMemberInterfaceNativeVlan: "
                              "Adding native vlan: 20 to PortGroupt: po1"}));
  // Nothing flows back.
  EXPECT_EQ(vlans(e1_), "10[acme] 5010[acme] acme/red[acme]");
}

TEST_F(PortGroups, TheMembersThatTheGroupHasAtTheStartAreCopied) {
  request(e1_, 10, 5010, "acme");
  e1_->nativeVlanIs(20);
  po1_->memberInterfaceIs(e1_);
  start();
  EXPECT_EQ(vlans(po1_), "10[e1] 5010[e1] acme/red[e1]");
  EXPECT_EQ(nativeVlans(po1_), "20[e1]");
}

TEST_F(PortGroups, MembersThatAreNoSwitchPortsAreCollectedAsWell) {
  e1_->isSwitchInterfaceIs(false);
  start();
  po1_->memberInterfaceIs(e1_);
  e1_->vlanIs(10);
  EXPECT_EQ(vlans(po1_), "10[e1]");
}

TEST_F(PortGroups, TheInitializedFlagStaysFalse) {
  po1_->memberInterfaceIs(e1_);
  start();
  bool initialized = true;
  EXPECT_EQ(
      Velo::genericIfAttributeOp(&initialized, machine_.get(), attribute(machine_, "initialized"),
                                 Velo::AttributeOp::get, nullptr, nullptr),
      Velo::AttributeRecord::done);
  EXPECT_FALSE(initialized);
}

TEST_F(PortGroups, AVlanOfTwoMembersGoesWithTheSecond) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  e1_->vlanIs(10);
  e2_->vlanIs(10);
  EXPECT_EQ(vlans(po1_), "10[e1 e2]");
  const TraceCapture trace;
  e1_->vlanDel(10);
  EXPECT_EQ(vlans(po1_), "10[e2]");
  e2_->vlanDel(10);
  EXPECT_EQ(vlans(po1_), "");
  const std::string ofVlan = "3 PortGroupSm::VeloMemberInterface::VeloDynVlan::doCleanup: ";
  EXPECT_EQ(trace.lines(), (Lines{ofVlan + "memeber interface : e1",
                                  "3 PortGroupSm::VeloMemberInterface::handleMemberInterfaceVlan: "
                                  "Deleting 10 from po1",
                                  ofVlan + "No portGroup vlan for 10"}));
}

TEST_F(PortGroups, TheNativeVlanOfTwoMembersGoesWithTheFirstAndComesBackWithTheSecond) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  const TraceCapture trace;
  e1_->nativeVlanIs(20);
  e2_->nativeVlanIs(20);
  EXPECT_EQ(nativeVlans(po1_), "20[e1]");
  e1_->nativeVlanDel(20);
  EXPECT_EQ(nativeVlans(po1_), "");
  e2_->nativeVlanDel(20);
  EXPECT_EQ(nativeVlans(po1_), "20[e2]");
  const std::string handler =
      "3 PortGroupSm::VeloMemberInterface::handleMemberInterfaceNativeVlan: ";
  EXPECT_EQ(trace.lines(), (Lines{handler + "Adding native vlan: 20 to PortGroupt: po1",
                                  handler + "Removing native VLAN: 20 from po1",
                                  handler + "Adding native vlan: 20 to PortGroupt: po1"}));
}

TEST_F(PortGroups, AMemberThatDropsANativeVlanWhichTheGroupLacksAddsItToTheGroup) {
  start();
  po1_->memberInterfaceIs(e1_);
  e1_->nativeVlanIs(20);
  po1_->nativeVlanDel(20);
  e1_->nativeVlanDel(20);
  EXPECT_EQ(nativeVlans(po1_), "20[e1]");
}

TEST_F(PortGroups, ANativeVlanThatSomebodyElseHoldsOnTheGroupStaysThere) {
  start();
  po1_->memberInterfaceIs(e1_);
  e1_->nativeVlanIs(20);
  po1_->nativeVlan(20)->referrerIs("other");
  e1_->nativeVlanDel(20);
  EXPECT_EQ(nativeVlans(po1_), "20[other]");
}

TEST_F(PortGroups, AMemberThatLeavesTakesItsNameOffEachVlanThatItContributed) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  request(e1_, 10, 5010, "acme");
  request(e2_, 10, 5010, "acme");
  request(e1_, 30, 5030, "acme");
  const TraceCapture trace;
  po1_->memberInterfaceDel("e1");
  EXPECT_EQ(vlans(po1_), "10[e2] 5010[e2] acme/red[e2]");
  const std::string ofVlan = "3 PortGroupSm::VeloMemberInterface::VeloDynVlan::doCleanup: ";
  EXPECT_EQ(trace.lines(),
            (Lines{ofVlan + "memeber interface : e1", ofVlan + "memeber interface : e1",
                   "3 PortGroupSm::VeloMemberInterface::handleCleanup: Deleting 30 from po1",
                   ofVlan + "memeber interface : e1", ofVlan + "No portGroup vlan for 30",
                   "3 PortGroupSm::handleMemberInterface: Interface: e1 was deleted from po1"}));
}

TEST_F(PortGroups, TheMembersOwnEntriesDecideWhetherTheGroupsVnisAndDomainsGoWithIt) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  e2_->vlanIs(10);
  // Nobody holds the member's own VNI and domain.
  e1_->vlanIs(10)->mappedVniIs(5010);
  e1_->vlan(10)->domainIs(red);
  EXPECT_EQ(vlans(po1_), "10[e2 e1] 5010[e1] acme/red[e1]");
  po1_->vlan(10)->mappedVni(5010)->referrerIs("other");  // not asked
  const TraceCapture trace;
  e1_->vlanDel(10);
  EXPECT_EQ(vlans(po1_), "10[e2]");
  const std::string ofVlan = "3 PortGroupSm::VeloMemberInterface::VeloDynVlan::doCleanup: ";
  EXPECT_EQ(trace.lines(), (Lines{ofVlan + "memeber interface : e1",
                                  ofVlan + "Removing VNI 5010 from VLAN 10 on po1",
                                  ofVlan + "Removing domain acme/red from VLAN 10 on po1"}));
}

TEST_F(PortGroups, AVniThatIsStillHeldOnTheMemberStaysOnTheGroupWithoutReferrer) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  e2_->vlanIs(10);
  request(e1_, 10, 5010, "acme");
  e1_->vlanDel(10);
  EXPECT_EQ(vlans(po1_), "10[e2] 5010[] acme/red[]");
}

TEST_F(PortGroups, TheGroupsNativeVlanGoesWithAMemberOnlyIfNobodyHoldsTheMembersOwn) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  e1_->nativeVlanIs(20)->referrerIs("acme");
  e2_->nativeVlanIs(30);
  po1_->nativeVlan(30)->referrerIs("other");  // not asked
  const TraceCapture trace;
  po1_->memberInterfaceDel("e1");
  EXPECT_EQ(nativeVlans(po1_), "20[]; 30[e2 other]");
  po1_->memberInterfaceDel("e2");
  EXPECT_EQ(nativeVlans(po1_), "20[]");
  EXPECT_EQ(trace.lines(),
            (Lines{"3 PortGroupSm::handleMemberInterface: Interface: e1 was deleted from po1",
                   "3 PortGroupSm::VeloMemberInterface::handleCleanup: "
                   "Deleting nativeVlan 30 from po1",
                   "3 PortGroupSm::handleMemberInterface: Interface: e2 was deleted from po1"}));
}

TEST_F(PortGroups, VnisComeAndGoWithTheLastMemberThatHasThem) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  e1_->vlanIs(10)->mappedVniIs(5010);
  e2_->vlanIs(10)->mappedVniIs(5010);
  EXPECT_EQ(vlans(po1_), "10[e1 e2] 5010[e1 e2]");
  const TraceCapture trace;
  e1_->vlan(10)->mappedVniDel(5010);
  EXPECT_EQ(vlans(po1_), "10[e1 e2] 5010[e2]");
  e2_->vlan(10)->mappedVniDel(5010);
  EXPECT_EQ(vlans(po1_), "10[e1 e2]");
  EXPECT_EQ(trace.lines(),
            Lines{"3 PortGroupSm::VeloMemberInterface::VeloDynVlan::handleDynamicVniMapping: "
                  "Deleting 10 <-> 5010 from po1"});
}

TEST_F(PortGroups, DomainsComeAndGoWithTheLastMemberThatHasThem) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  e1_->vlanIs(10)->domainIs(red);
  e2_->vlanIs(10)->domainIs(red);
  EXPECT_EQ(vlans(po1_), "10[e1 e2] acme/red[e1 e2]");
  const TraceCapture trace;
  e1_->vlan(10)->domainDel(red);
  EXPECT_EQ(vlans(po1_), "10[e1 e2] acme/red[e2]");
  e2_->vlan(10)->domainDel(red);
  EXPECT_EQ(vlans(po1_), "10[e1 e2]");
  EXPECT_EQ(trace.lines(),
            Lines{"3 PortGroupSm::VeloMemberInterface::VeloDynVlan::handleVlanDomain: "
                  "Deleting domain: acme/red portGroup: po1"});
}

TEST_F(PortGroups, TheEndOfTheGroupRemovesEverythingWhoeverHoldsIt) {
  start();
  po1_->memberInterfaceIs(e1_);
  po1_->memberInterfaceIs(e2_);
  request(e1_, 10, 5010, "acme");
  e2_->nativeVlanIs(20)->referrerIs("acme");
  po1_->vlan(10)->referrerIs("other");
  po1_->vlanIs(40)->referrerIs("other");
  machine_->doCleanup();
  EXPECT_EQ(names(po1_->memberInterface()), Lines());
  EXPECT_EQ(vlans(po1_), "");
  EXPECT_EQ(nativeVlans(po1_), "");
  EXPECT_EQ(vlans(e1_), "10[acme] 5010[acme] acme/red[acme]");
  EXPECT_EQ(nativeVlans(e2_), "20[acme]");
}

TEST_F(PortGroups, TheEndOfTheMachineAloneTakesBackWhatTheMembersContributed) {
  start();
  po1_->memberInterfaceIs(e1_);
  e1_->vlanIs(10);
  po1_->vlanIs(40)->referrerIs("other");
  machine_ = nullptr;
  EXPECT_EQ(vlans(po1_), "40[other]");
  EXPECT_EQ(names(po1_->memberInterface()), Lines{"e1"});
}

TEST_F(PortGroups, ANullMemberIsRefused) {
  start();
  EXPECT_THROW(machine_->memberInterfaceIs(nullptr), Velo::NullPointerException);
}

TEST_F(PortGroups, AVniOrADomainThatTheGroupHasLostEndsTheProcessWhenTheMemberLeaves) {
  start();
  po1_->memberInterfaceIs(e1_);
  e1_->vlanIs(10)->mappedVniIs(5010);
  po1_->vlan(10)->mappedVniDel(5010);
  EXPECT_DEATH(po1_->memberInterfaceDel("e1"), "the VNI of the port group is missing");
  po1_->vlan(10)->mappedVniIs(5010);
  e1_->vlan(10)->domainIs(red);
  po1_->vlan(10)->domainDel(red);
  EXPECT_DEATH(po1_->memberInterfaceDel("e1"), "the domain of the port group is missing");
  po1_->vlan(10)->domainIs(red);  // or the end of the machine would meet the same
}

TEST_F(PortGroups, TheFactoryMakesTheSameMachineAsTheCreator) {
  machine_ = Agent::portGroupSmFactory("po1", po1_);
  po1_->memberInterfaceIs(e1_);
  e1_->vlanIs(10);
  EXPECT_EQ(vlans(po1_), "10[e1]");
  EXPECT_TRUE(machine_->isFor("po1", po1_));
  EXPECT_FALSE(machine_->isFor("po2", po1_));
}

TEST_F(PortGroups, GenericAccessNamesTheAttributesInTheirOrder) {
  EXPECT_EQ(attributesOf(Agent::portGroupSmType),
            (Lines{"intfName", "portGroup", "memberInterface",
                   "handleMemberInterface(Nimbo::String intfName)", "handleInitialized",
                   "initialized", "doCleanup"}));
}

}  // namespace
}  // namespace Fabrion::Test::Elements
