#include "clients/ClientResourcesForSwitchportSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/clients/clients_scene.h"
#include "tests/support/TraceCapture.h"

namespace Fabrion::Test::Clients {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// A request arrives

TEST_F(ClientOfASwitchport, ARequestForASwitchThatNobodyHasSeenMakesTheElementAndThePort) {
  const auto acme = client("acme", request());
  ASSERT_TRUE(port());
  EXPECT_FALSE(port()->discovered());
  EXPECT_NE(port()->referrer("acme"), nullptr);
  // Without a remote host the client has no claim on the element.
  EXPECT_TRUE(leaf()->referrer().empty());
  EXPECT_TRUE(port()->vlan().empty());
  EXPECT_TRUE(port()->nativeVlan().empty());
}

TEST_F(ClientOfASwitchport, ARequestIsWrittenUnderTheClientsNameAndItsDomainsUnderTheirOwn) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  ask(asked, 20);
  const TraceCapture trace;
  const auto acme = client("acme", asked);
  EXPECT_THAT(names(port(10)->referrer()), ElementsAre("acme"));
  EXPECT_THAT(names(port(10)->mappedVni(5010)->referrer()), ElementsAre("acme"));
  EXPECT_THAT(names(port(10)->domain(red_)->referrer()), ElementsAre("shop/red"));
  EXPECT_THAT(names(port()->nativeVlan(20)->referrer()), ElementsAre("acme"));
  // All of it as the VLAN is followed, and again as the machine starts.
  const std::string vlan = machine + "handleVlan: Adding VLAN: 10 to interface: e1";
  const std::string entry = reactor + "handleVlanDomain: VLAN: 10 domain: shop/red";
  const std::string domain =
      reactor + "handleVlanDomain: Adding domain: shop/red for VLAN: 10 on e1";
  const std::string vni = reactor + "handleMappedVni: Adding VLAN : 10 VNI : 5010 to e1";
  EXPECT_THAT(trace.lines(),
              ElementsAre(vlan, entry, domain, vni, vlan, vlan, entry, domain, vni,
                          machine + "handleNativeVlan: Adding native vlan 20 to e1"));
}

TEST_F(ClientOfASwitchport, EveryHandlerTracesItsEntryAtLevelNineButForTheOneOfDomains) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  asked->remoteHostIs("db1", true);
  TraceCapture trace(9);
  auto acme = client("acme", asked);
  const std::string atMachine = "9 ClientResourcesForSwitchportSm::";
  const std::string atReactor = "9 ClientResourcesForSwitchportSm::VeloHostVlan::";
  EXPECT_EQ(trace.lines().at(0), atReactor + "handleInitialized: VLAN: 10");
  EXPECT_EQ(trace.lines().at(1), atMachine + "handleVlan: VLAN : 10");
  EXPECT_EQ(trace.lines().at(3), reactor + "handleVlanDomain: VLAN: 10 domain: shop/red");
  EXPECT_EQ(trace.lines().at(5), atReactor + "handleMappedVni: VLAN : 10 VNI: 5010");
  EXPECT_EQ(trace.lines().at(7), atMachine + "handleInitialized: ");
  EXPECT_THAT(trace.lines(),
              Contains(atMachine + "handleNativeVlan: switchId: leaf1 Interface: e1"));
  EXPECT_EQ(trace.lines().back(), atMachine + "handleRemoteHost: host : db1");
  trace.clear();
  asked->remoteHostDel("db1");
  EXPECT_THAT(trace.lines(), ElementsAre(atMachine + "handleRemoteHost: host : db1",
                                         atMachine + "handleRemoteHost: switchID: leaf1"));
  trace.clear();
  acme = nullptr;
  EXPECT_EQ(trace.lines().front(), atMachine + "doCleanup: ");
  EXPECT_EQ(trace.lines().back(), atReactor + "doCleanup: VLAN: 10");
}

TEST_F(ClientOfASwitchport, WhatTheRequestGainsLaterIsWrittenAsItComes) {
  const auto asked = request();
  const auto acme = client("acme", asked);
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  ask(asked, 20);
  EXPECT_TRUE(port(10)->mappedVni(5010));
  EXPECT_TRUE(port(10)->domain(red_));
  EXPECT_THAT(ids(port()->nativeVlan()), ElementsAre(20U));
}

// VLANs

TEST_F(ClientOfASwitchport, TwoClientsHoldOneVlanAndTheOneThatWithdrawsTakesItsNameFromTheVnis) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->mappedVniIs(5011);
  const auto askedToo = request();
  askedToo->vlanIs(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  EXPECT_THAT(ids(port()->vlan()), ElementsAre(10U));
  EXPECT_THAT(names(port(10)->referrer()), ElementsAre("acme", "zenith"));
  EXPECT_THAT(names(port(10)->mappedVni(5010)->referrer()), ElementsAre("acme", "zenith"));

  const TraceCapture trace;
  asked->vlanDel(10);
  EXPECT_THAT(names(port(10)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(port(10)->mappedVni(5010)->referrer()), ElementsAre("zenith"));
  EXPECT_FALSE(port(10)->mappedVni(5011));
  EXPECT_THAT(trace.lines(),
              ElementsAre(reactor + "doCleanup: Deleting 5011 <-> 10 map from interface e1"));
}

TEST_F(ClientOfASwitchport, AVlanThatTheLastClientWithdrawsGoesAsAWhole) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  const auto acme = client("acme", asked);
  const auto vlan = port(10);
  const TraceCapture trace;
  asked->vlanDel(10);
  EXPECT_FALSE(port(10));
  // The cleanup of the VLAN finds it gone, so what is on it is not taken apart.
  EXPECT_TRUE(vlan->mappedVni(5010));
  EXPECT_TRUE(vlan->domain(red_));
  EXPECT_THAT(trace.lines(),
              ElementsAre(machine + "handleVlan: Removing VLAN: 10 from interface: e1"));
}

TEST_F(ClientOfASwitchport, AVlanIsWithdrawnAndAskedForAgain) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto withdrawn = asked->vlanDel(10);
  withdrawn->mappedVniIs(5999);  // nobody listens to it any more
  EXPECT_FALSE(port(10));
  asked->vlanIs(10)->mappedVniIs(5011);
  EXPECT_THAT(ids(port(10)->mappedVni()), ElementsAre(5011U));
}

TEST_F(ClientOfASwitchport, AVlanNeitherOnThePortNorInTheRequestChangesOnlyTheReferrerOfThePort) {
  const auto acme = client("acme", request());
  port()->referrerDel("acme");
  U32 vlan = 99;
  const auto& type = Fabrion::Agent::clientResourcesForSwitchportSmType;
  EXPECT_EQ(
      Velo::genericIfAttributeOp(nullptr, acme.get(), Velo::attributeIndex(type, "handleVlan"),
                                 Velo::AttributeOp::invoke, &vlan, nullptr),
      0);
  EXPECT_NE(port()->referrer("acme"), nullptr);
  EXPECT_TRUE(port()->vlan().empty());
}

// VNIs

TEST_F(ClientOfASwitchport, AVniTakenFromAVlanLosesTheNameOfThatClientAlone) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  const auto askedToo = request();
  askedToo->vlanIs(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  const TraceCapture trace;
  asked->vlan(10)->mappedVniDel(5010);
  EXPECT_THAT(names(port(10)->mappedVni(5010)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(trace.lines(), IsEmpty());
  askedToo->vlan(10)->mappedVniDel(5010);
  EXPECT_TRUE(port(10)->mappedVni().empty());
  EXPECT_THAT(trace.lines(), ElementsAre(reactor + "handleMappedVni: Removing existing VNI 5010"));
}

TEST_F(ClientOfASwitchport, AVniForAVlanAPortOrAnElementThatIsGoneSaysSoAndChangesNothing) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  TraceCapture trace;
  port()->vlanDel(10);
  asked->vlan(10)->mappedVniIs(5010);
  EXPECT_THAT(trace.lines(),
              ElementsAre(reactor + "handleMappedVni: Vlan not found on e1 on leaf1"));
  EXPECT_TRUE(port()->vlan().empty());

  trace.clear();
  leaf()->physicalInterfaceDel("e1");
  asked->vlan(10)->mappedVniIs(5011);
  EXPECT_THAT(trace.lines(),
              ElementsAre(reactor + "handleMappedVni: No interface found for e1 on leaf1"));
  EXPECT_FALSE(port());

  trace.clear();
  elements_->networkElementDel("leaf1");
  asked->vlan(10)->mappedVniIs(5012);
  EXPECT_THAT(trace.lines(),
              ElementsAre(reactor + "handleMappedVni: No network element found for leaf1"));
  EXPECT_FALSE(leaf());
}

// Domains

TEST_F(ClientOfASwitchport, ADomainTakenFromAVlanGoesWhenNoOtherNameIsLeft) {
  const auto asked = request();
  asked->vlanIs(10)->domainIs(red_);
  asked->vlan(10)->domainIs(blue_);
  const auto acme = client("acme", asked);
  port(10)->domain(blue_)->referrerIs("other");
  const TraceCapture trace;
  asked->vlan(10)->domainDel(red_);
  asked->vlan(10)->domainDel(blue_);
  EXPECT_FALSE(port(10)->domain(red_));
  EXPECT_THAT(names(port(10)->domain(blue_)->referrer()), ElementsAre("other"));
  EXPECT_TRUE(port(10));
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(reactor + "handleVlanDomain: VLAN: 10 domain: shop/red",
                  reactor + "handleVlanDomain: Deleting domain: shop/red for VLAN: 10 on e1",
                  reactor + "handleVlanDomain: VLAN: 10 domain: shop/blue"));
}

TEST_F(ClientOfASwitchport, TheFirstOfTwoClientsToRemoveADomainDeletesItForBoth) {
  const auto asked = request();
  asked->vlanIs(10)->domainIs(red_);
  const auto askedToo = request();
  askedToo->vlanIs(10)->domainIs(red_);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  EXPECT_THAT(names(port(10)->domain(red_)->referrer()), ElementsAre("shop/red"));
  asked->vlan(10)->domainDel(red_);
  EXPECT_FALSE(port(10)->domain(red_));
  EXPECT_TRUE(askedToo->vlan(10)->domain(red_));
}

TEST_F(ClientOfASwitchport, ADomainOfAClientThatWithdrawsItsVlanStaysWhileAnotherKeepsTheVlan) {
  const auto asked = request();
  asked->vlanIs(10)->domainIs(red_);
  const auto askedToo = request();
  askedToo->vlanIs(10);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  asked->vlanDel(10);
  ASSERT_TRUE(port(10)->domain(red_));
  EXPECT_THAT(names(port(10)->domain(red_)->referrer()), ElementsAre("shop/red"));
  askedToo->vlanDel(10);
  EXPECT_FALSE(port(10));
}

TEST_F(ClientOfASwitchport, ADomainGivenToAVlanThatTheRequestHasJustLostIsNotAdded) {
  const auto asked = request();
  const auto vlan = asked->vlanIs(10);
  const auto askedToo = request();
  askedToo->vlanIs(10);
  const auto zenith = client("zenith", askedToo);
  const auto early = Velo::make<Bystander>(asked.get(), [&] { vlan->domainIs(red_); });
  const auto acme = client("acme", asked);
  const TraceCapture trace;
  asked->vlanDel(10);
  EXPECT_FALSE(port(10)->domain(red_));
  EXPECT_THAT(trace.lines(), ElementsAre(reactor + "handleVlanDomain: VLAN: 10 domain: shop/red"));
}

TEST_F(ClientOfASwitchport, ADomainNamedLikeItsClientIsCleanedUpAndAheadOfTheVnis) {
  const Fabrion::Client::ClientDomain own("acme", "");
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(own);
  const auto askedToo = request();
  askedToo->vlanIs(10);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  const TraceCapture trace;
  asked->vlanDel(10);
  EXPECT_FALSE(port(10)->domain(own));
  EXPECT_FALSE(port(10)->mappedVni(5010));
  EXPECT_THAT(trace.lines(),
              ElementsAre(reactor + "doCleanup: Deleting 'acme' from VLAN 10",
                          reactor + "doCleanup: Deleting 5010 <-> 10 map from interface e1"));
}

// Native VLAN

TEST_F(ClientOfASwitchport, ANativeVlanOfZeroMeansNoneAndTheOneBeforeGoes) {
  const auto asked = request();
  ask(asked, 20);
  const auto acme = client("acme", asked);
  const TraceCapture trace;
  ask(asked, 0);
  EXPECT_TRUE(port()->nativeVlan().empty());
  EXPECT_THAT(trace.lines(), ElementsAre(machine + "handleNativeVlan: Removing native VLAN: 20 "
                                                   "from interface: e1"));
}

TEST_F(ClientOfASwitchport, ANativeVlanIsTakenBack) {
  const auto asked = request();
  ask(asked, 20);
  const auto acme = client("acme", asked);
  asked->nativeVlanIs(nullptr);
  EXPECT_TRUE(port()->nativeVlan().empty());
}

TEST_F(ClientOfASwitchport, AChangedNativeVlanIsWithdrawnFirstAndClaimedAfterwards) {
  const auto asked = request();
  ask(asked, 10);
  const auto acme = client("acme", asked);
  const TraceCapture trace;
  ask(asked, 20);
  EXPECT_THAT(ids(port()->nativeVlan()), ElementsAre(20U));
  EXPECT_THAT(trace.lines(),
              ElementsAre(machine + "handleNativeVlan: Removing native VLAN: 10 from interface: e1",
                          machine + "handleNativeVlan: Adding native vlan 20 to e1"));
}

TEST_F(ClientOfASwitchport, AChangedNativeVlanLeavesTheOneThatAnotherClientAlsoHas) {
  const auto asked = request();
  ask(asked, 10);
  const auto askedToo = request();
  ask(askedToo, 10);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  ask(asked, 20);
  EXPECT_THAT(ids(port()->nativeVlan()), ElementsAre(10U, 20U));
  EXPECT_THAT(names(port()->nativeVlan(10)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(port()->nativeVlan(20)->referrer()), ElementsAre("acme"));
}

TEST_F(ClientOfASwitchport, TheSweepOfNativeVlansTakesOneThatNobodyHolds) {
  const auto asked = request();
  const auto acme = client("acme", asked);
  port()->nativeVlanIs(30);
  ask(asked, 20);
  EXPECT_THAT(ids(port()->nativeVlan()), ElementsAre(20U));
}

// Ways to make and to reach it

TEST_F(ClientOfASwitchport, ItsFactoryAndItsCreatorMakeTheSame) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = Fabrion::Agent::clientResourcesForSwitchportSmFactory(
      "acme", Fabrion::Client::SwitchInterface("leaf1", "e1"), asked, elements_);
  const auto zenith = client("zenith", asked);
  EXPECT_TRUE(acme->hasNotificationActive());
  EXPECT_TRUE(zenith->hasNotificationActive());
  EXPECT_THAT(names(port(10)->referrer()), ElementsAre("acme", "zenith"));
}

TEST_F(ClientOfASwitchport, GenericAccessReadsItsAttributesAndRunsItsHandlers) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  const auto& type = Fabrion::Agent::clientResourcesForSwitchportSmType;
  std::vector<std::string> attributes;
  for (const auto& row : type.attributes) attributes.emplace_back(row.name);
  EXPECT_THAT(attributes,
              ElementsAre("client", "intf", "resourcesForSwitchport", "networkElementCollection",
                          "handleVlan", "handleNativeVlan", "handleRemoteHost", "hostVlan",
                          "handleInitialized", "initialized", "doCleanup"));
  const auto op = [&](const char* attribute, Velo::AttributeOp what, void* result) {
    return Velo::genericIfAttributeOp(result, acme.get(), Velo::attributeIndex(type, attribute),
                                      what, nullptr, nullptr);
  };
  Fabrion::Client::SwitchInterface intf;
  EXPECT_EQ(op("intf", Velo::AttributeOp::get, &intf), 0);
  EXPECT_EQ(intf, Fabrion::Client::SwitchInterface("leaf1", "e1"));
  bool initialized = false;
  EXPECT_EQ(op("initialized", Velo::AttributeOp::get, &initialized), 0);
  EXPECT_TRUE(initialized);
  EXPECT_EQ(type.attributes[Velo::attributeIndex(type, "handleRemoteHost")].parameters[0].name,
            std::string("host"));
  EXPECT_EQ(op("doCleanup", Velo::AttributeOp::invoke, nullptr), 0);
  EXPECT_FALSE(leaf());
}

TEST_F(ClientOfASwitchport, ANullVlanIsRefused) {
  const auto acme = client("acme", request());
  EXPECT_THROW(acme->hostVlanIs(nullptr), Velo::NullPointerException);
}

TEST_F(ClientOfASwitchportDeathTest, ANativeVlanForAPortOrASwitchThatIsGoneEndsTheProcess) {
  const auto asked = request();
  const auto acme = client("acme", asked);
  leaf()->physicalInterfaceDel("e1");
  EXPECT_DEATH(ask(asked, 20), "handleNativeVlan: the port of the switch is missing");
  elements_->networkElementDel("leaf1");
  EXPECT_DEATH(ask(asked, 20), "handleNativeVlan: the element of the switch is missing");
}

TEST_F(ClientOfASwitchportDeathTest, ADomainForAVlanAPortOrASwitchThatIsGoneEndsTheProcess) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  port()->vlanDel(10);
  EXPECT_DEATH(asked->vlan(10)->domainIs(red_), "handleVlanDomain: the VLAN of the port");
  leaf()->physicalInterfaceDel("e1");
  EXPECT_DEATH(asked->vlan(10)->domainIs(red_), "handleVlanDomain: the port of the switch");
  elements_->networkElementDel("leaf1");
  EXPECT_DEATH(asked->vlan(10)->domainIs(red_), "handleVlanDomain: the element of the switch");
}

TEST_F(ClientOfASwitchportDeathTest, ARequestIsMandatory) {
  EXPECT_DEATH(client("acme", nullptr), "is missing");
}

}  // namespace Fabrion::Test::Clients
