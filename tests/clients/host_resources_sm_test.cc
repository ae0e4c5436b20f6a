#include "clients/HostResourcesSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "elements/NetworkElementSm.h"
#include "tests/clients/clients_scene.h"
#include "tests/support/TraceCapture.h"

namespace Fabrion::Test::Clients {
namespace {

using Fabrion::Agent::HostResourcesSm;
using testing::ElementsAre;
using testing::IsEmpty;

// The merged request of the hostname db1, and the element srv7 of a host that has this hostname.
class ResourcesOfAHost : public testing::Test {
 protected:
  Velo::Ptr<HostResourcesSm> host() {
    return HostResourcesSm::HostResourcesSmIs("db1", merged_, element_);
  }
  // As a client's machine does it.
  Velo::Ptr<Fabrion::DynamicVlan> ask(U32 vlan, const char* client = "acme") {
    const auto entry = merged_->vlanIs(vlan);
    entry->referrerIs(client);
    return entry;
  }
  void askVni(U32 vlan, U32 vni, const char* client = "acme") {
    ask(vlan, client)->mappedVniIs(vni)->referrerIs(client);
  }
  void askDomain(U32 vlan, const Fabrion::Client::ClientDomain& domain,
                 const char* client = "acme") {
    ask(vlan, client)->domainIs(domain)->referrerIs(client);
  }

  const Fabrion::Client::ClientDomain red_{"shop", "red"};
  Velo::Ptr<Fabrion::ResourcesForHostname> merged_ =
      Velo::make<Fabrion::ResourcesForHostname>("db1");
  Velo::Ptr<Fabrion::NetworkElement> element_ = Velo::make<Fabrion::NetworkElement>("srv7");
};

TEST_F(ResourcesOfAHost, AMergedRequestWithoutVlansWritesNothing) {
  const TraceCapture trace;
  const auto sm = host();
  EXPECT_TRUE(sm->hasNotificationActive());
  EXPECT_TRUE(element_->vlan().empty());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ResourcesOfAHost, AMergedRequestIsCopiedOntoTheElementUnderTheHostname) {
  askVni(10, 5010);
  askDomain(10, red_);
  element_->hostnameIs("db1.example");
  const TraceCapture trace;
  const auto sm = host();
  EXPECT_THAT(names(element_->vlan(10)->referrer()), ElementsAre("db1"));
  EXPECT_THAT(names(element_->vlan(10)->mappedVni(5010)->referrer()), ElementsAre("db1"));
  EXPECT_THAT(names(element_->vlan(10)->domain(red_)->referrer()), ElementsAre("db1"));
  // The merged request itself is only read.
  EXPECT_THAT(names(merged_->vlan(10)->referrer()), ElementsAre("acme"));
  // All of it twice, first as the VLAN is followed and then as the machine starts; the domains
  // under the element's own hostname.
  const char* const domain =
      "3 HostResourcesSm::VeloHostVlan::handleVlanDomain: Adding domain shop/red for VLAN: 10 on "
      "networkElement: db1.example";
  const char* const vni = "3 HostResourcesSm::VeloHostVlan::handleMappedVni: Adding 5010 to srv7";
  EXPECT_THAT(trace.lines(),
              ElementsAre(domain, vni,
                          "3 HostResourcesSm::handleVlan: Adding VLAN: 10 to networkElement: db1",
                          domain, vni));
}

TEST_F(ResourcesOfAHost, EveryHandlerTracesItsEntry) {
  askVni(10, 5010);
  askDomain(10, red_);
  TraceCapture trace(9);
  auto sm = host();
  const std::string reactor = "9 HostResourcesSm::VeloHostVlan::";
  EXPECT_EQ(trace.lines().at(0), reactor + "handleInitialized: VLAN: 10");
  EXPECT_EQ(trace.lines().at(1), reactor + "handleVlanDomain: VLAN: 10 domain: shop/red");
  EXPECT_EQ(trace.lines().at(3), reactor + "handleMappedVni: 10 -> 5010");
  EXPECT_EQ(trace.lines().at(5), "9 HostResourcesSm::handleInitialized: srv7-db1");
  EXPECT_EQ(trace.lines().at(6), "9 HostResourcesSm::handleVlan: srv7-db1 10");
  trace.clear();
  sm->doCleanup();
  EXPECT_EQ(trace.lines().at(0), "9 HostResourcesSm::doCleanup: srv7-db1");
  EXPECT_EQ(trace.lines().at(1), reactor + "doCleanup: VLAN 10");
}

TEST_F(ResourcesOfAHost, WhatTheMergedRequestGainsLaterIsCopiedAsItComes) {
  const auto sm = host();
  ask(10);
  EXPECT_THAT(names(element_->vlan(10)->referrer()), ElementsAre("db1"));
  askVni(10, 5010);
  askDomain(10, red_);
  EXPECT_TRUE(element_->vlan(10)->mappedVni(5010));
  EXPECT_TRUE(element_->vlan(10)->domain(red_));
}

TEST_F(ResourcesOfAHost, AVniThatTheMergedRequestLosesGoesWhateverTheSourceSays) {
  askVni(10, 5010);
  const auto sm = host();
  const TraceCapture trace;
  // Withdrawn with a client's name still on it.
  const auto withdrawn = merged_->vlan(10)->mappedVniDel(5010);
  EXPECT_FALSE(withdrawn->referrer().empty());
  EXPECT_FALSE(element_->vlan(10)->mappedVni(5010));
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("3 HostResourcesSm::VeloHostVlan::handleMappedVni: Removing 5010 from srv7"));
}

TEST_F(ResourcesOfAHost, AVniThatSomebodyElseHoldsOnTheElementOnlyLosesTheHostname) {
  askVni(10, 5010);
  const auto sm = host();
  element_->vlan(10)->mappedVni(5010)->referrerIs("other");
  const TraceCapture trace;
  merged_->vlan(10)->mappedVniDel(5010);
  EXPECT_THAT(names(element_->vlan(10)->mappedVni(5010)->referrer()), ElementsAre("other"));
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ResourcesOfAHost, ADomainThatTheMergedRequestLosesGoesUnlessSomebodyElseHoldsIt) {
  const Fabrion::Client::ClientDomain blue{"shop", "blue"};
  askDomain(10, red_);
  askDomain(10, blue);
  element_->hostnameIs("db1.example");
  const auto sm = host();
  element_->vlan(10)->domain(blue)->referrerIs("other");
  const TraceCapture trace;
  merged_->vlan(10)->domainDel(red_);
  merged_->vlan(10)->domainDel(blue);
  EXPECT_FALSE(element_->vlan(10)->domain(red_));
  EXPECT_THAT(names(element_->vlan(10)->domain(blue)->referrer()), ElementsAre("other"));
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 HostResourcesSm::VeloHostVlan::handleVlanDomain: Deleting domain: "
                          "shop/red for VLAN: 10 on networkElement: db1.example"));
}

TEST_F(ResourcesOfAHost, AVlanThatTheMergedRequestLosesIsCleanedVnisFirstAndThenDeleted) {
  askVni(10, 5010);
  askDomain(10, red_);
  const auto sm = host();
  // No client wants them any more, and a client withdraws its names before the VLAN goes.
  merged_->vlan(10)->mappedVni(5010)->referrerDel("acme");
  merged_->vlan(10)->domain(red_)->referrerDel("acme");
  const TraceCapture trace;
  merged_->vlanDel(10);
  EXPECT_TRUE(element_->vlan().empty());
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("3 HostResourcesSm::handleVlan: Removing VLAN: 10 from networkElement: db1",
                  "3 HostResourcesSm::VeloHostVlan::doCleanup: Deleting 5010 from "
                  "networkElement db1",
                  "3 HostResourcesSm::VeloHostVlan::doCleanup: Deleting shop/red from "
                  "networkElement db1"));
}

TEST_F(ResourcesOfAHost, AVlanDroppedWhileItsVniStillHasAClientLeavesTheVniBehindWithoutReferrer) {
  askVni(10, 5010);
  askDomain(10, red_);
  const auto sm = host();
  element_->vlan(10)->referrerIs("other");
  const TraceCapture trace;
  merged_->vlanDel(10);
  EXPECT_THAT(names(element_->vlan(10)->referrer()), ElementsAre("other"));
  ASSERT_TRUE(element_->vlan(10)->mappedVni(5010));
  EXPECT_TRUE(element_->vlan(10)->mappedVni(5010)->referrer().empty());
  ASSERT_TRUE(element_->vlan(10)->domain(red_));
  EXPECT_TRUE(element_->vlan(10)->domain(red_)->referrer().empty());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ResourcesOfAHost, AVniThatNoClientWantsGoesEvenIfSomebodyElseHoldsItOnTheElement) {
  askVni(10, 5010);
  const auto sm = host();
  element_->vlan(10)->referrerIs("other");
  element_->vlan(10)->mappedVni(5010)->referrerIs("other");
  merged_->vlan(10)->mappedVni(5010)->referrerDel("acme");
  merged_->vlanDel(10);
  EXPECT_TRUE(element_->vlan(10));
  EXPECT_FALSE(element_->vlan(10)->mappedVni(5010));
}

TEST_F(ResourcesOfAHost, CleanupLeavesAVlanThatAnotherMachineHoldsWithItsVnis) {
  askVni(10, 5010);
  ask(20);
  const auto sm = host();
  element_->vlan(10)->referrerIs("other");
  const TraceCapture trace;
  sm->doCleanup();
  EXPECT_THAT(names(element_->vlan(10)->referrer()), ElementsAre("other"));
  EXPECT_THAT(names(element_->vlan(10)->mappedVni(5010)->referrer()), ElementsAre("db1"));
  EXPECT_FALSE(element_->vlan(20));
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ResourcesOfAHost, CleanupPassesOverAVlanThatTheElementHasLost) {
  ask(10);
  const auto sm = host();
  element_->vlanDel(10);
  sm->doCleanup();
  EXPECT_TRUE(element_->vlan().empty());
}

TEST_F(ResourcesOfAHost, TheEndAloneTakesTheHostnameOffVnisAndDomainsButNotOffTheVlan) {
  askVni(10, 5010);
  askDomain(10, red_);
  auto sm = host();
  const TraceCapture trace;
  sm = nullptr;
  EXPECT_THAT(names(element_->vlan(10)->referrer()), ElementsAre("db1"));
  EXPECT_TRUE(element_->vlan(10)->mappedVni(5010)->referrer().empty());
  EXPECT_TRUE(element_->vlan(10)->domain(red_)->referrer().empty());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ResourcesOfAHost, EveryHostOfAHostnameHasAMachineOfItsOwnOnTheOneMergedRequest) {
  ask(10);
  const auto sibling = Velo::make<Fabrion::NetworkElement>("srv8");
  auto sm = host();
  const auto smToo = HostResourcesSm::HostResourcesSmIs("db1", merged_, sibling);
  EXPECT_FALSE(sm->isFor("db1", merged_, sibling));
  EXPECT_TRUE(smToo->isFor("db1", merged_, sibling));
  sm->doCleanup();
  EXPECT_FALSE(element_->vlan(10));
  EXPECT_THAT(names(sibling->vlan(10)->referrer()), ElementsAre("db1"));
}

TEST_F(ResourcesOfAHost, AnElementThatIsThereFirstIsFilledWhenTheMergedRequestIsSetOnIt) {
  askVni(10, 5010);
  const auto elementSm = Fabrion::Agent::NetworkElementSm::NetworkElementSmIs("srv7", element_);
  EXPECT_TRUE(element_->vlan().empty());
  element_->resourcesForHostnameIs(merged_);
  ASSERT_TRUE(element_->vlan(10));
  EXPECT_THAT(names(element_->vlan(10)->mappedVni(5010)->referrer()), ElementsAre("db1"));
}

TEST_F(ResourcesOfAHost, TheVlansOfAnElementAreGoneBeforeTheMachineWhenTheMergedRequestDisappears) {
  askVni(10, 5010);
  const auto elementSm = Fabrion::Agent::NetworkElementSm::NetworkElementSmIs("srv7", element_);
  element_->resourcesForHostnameIs(merged_);
  TraceCapture trace(9);
  element_->resourcesForHostnameIs(nullptr);
  EXPECT_TRUE(element_->vlan().empty());
  EXPECT_TRUE(trace.has("9 HostResourcesSm::doCleanup: srv7-db1"));
  // Nothing listens to the merged request any more.
  trace.clear();
  ask(20);
  EXPECT_TRUE(element_->vlan().empty());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ResourcesOfAHost, ItsFactoryAndItsCreatorMakeTheSame) {
  ask(10);
  const auto sm = Fabrion::Agent::hostResourcesSmFactory("db1", merged_, element_);
  EXPECT_TRUE(sm->hasNotificationActive());
  EXPECT_TRUE(sm->isFor("db1", merged_, element_));
  EXPECT_THAT(names(element_->vlan(10)->referrer()), ElementsAre("db1"));
}

TEST_F(ResourcesOfAHost, GenericAccessReadsItsAttributesAndRunsItsCleanup) {
  ask(10);
  const auto sm = host();
  const auto& type = Fabrion::Agent::hostResourcesSmType;
  std::vector<std::string> attributes;
  for (const auto& row : type.attributes) attributes.emplace_back(row.name);
  EXPECT_THAT(attributes,
              ElementsAre("hostname", "resourcesForHostname", "networkElement", "handleVlan",
                          "hostVlan", "handleInitialized", "initialized", "doCleanup"));
  const auto op = [&](const char* attribute, Velo::AttributeOp what, void* result) {
    return Velo::genericIfAttributeOp(result, sm.get(), Velo::attributeIndex(type, attribute), what,
                                      nullptr, nullptr);
  };
  bool initialized = false;
  EXPECT_EQ(op("initialized", Velo::AttributeOp::get, &initialized), 0);
  EXPECT_TRUE(initialized);
  Velo::Ptr<const Velo::PtrInterface> element;
  EXPECT_EQ(op("networkElement", Velo::AttributeOp::get, &element), 0);
  EXPECT_TRUE(element == element_);
  EXPECT_EQ(op("doCleanup", Velo::AttributeOp::invoke, nullptr), 0);
  EXPECT_TRUE(element_->vlan().empty());
}

TEST_F(ResourcesOfAHost, ANullVlanIsRefused) {
  const auto sm = host();
  EXPECT_THROW(sm->hostVlanIs(nullptr), Velo::NullPointerException);
}

using ResourcesOfAHostDeathTest = ResourcesOfAHost;

TEST_F(ResourcesOfAHostDeathTest, AVniOrADomainForAVlanThatTheElementHasLostEndsTheProcess) {
  ask(10);
  const auto sm = host();
  element_->vlanDel(10);
  EXPECT_DEATH(askVni(10, 5010), "handleMappedVni: the VLAN of the element is missing");
  EXPECT_DEATH(askDomain(10, red_), "handleVlanDomain: the VLAN of the element is missing");
}

}  // namespace
}  // namespace Fabrion::Test::Clients
