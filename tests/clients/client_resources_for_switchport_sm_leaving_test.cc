// The remote hosts of a request, and what a client that leaves a port takes along.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "clients/ClientResourcesForSwitchportSm.h"
#include "tests/clients/clients_scene.h"
#include "tests/support/TraceCapture.h"

namespace Fabrion::Test::Clients {

using testing::ElementsAre;
using testing::IsEmpty;

// Remote hosts

TEST_F(ClientOfASwitchport, ARemoteHostBecomesAnElementThatThePortHasConfigured) {
  const auto asked = request();
  const auto acme = client("acme", asked);
  asked->remoteHostIs("db1", true);
  const auto host = elements_->networkElement("db1");
  ASSERT_TRUE(host);
  EXPECT_EQ(host->hostname(), Nimbo::String("db1"));
  EXPECT_THAT(names(host->referrer()), ElementsAre("acme"));
  EXPECT_TRUE(port()->configuredElement("db1") == host);
  EXPECT_THAT(names(leaf()->referrer()), ElementsAre("acme"));
}

TEST_F(ClientOfASwitchport, ARemoteHostWithdrawnGoesAndTheClaimsOnSwitchAndPortStay) {
  const auto asked = request();
  asked->remoteHostIs("db1", true);
  const auto acme = client("acme", asked);
  asked->remoteHostDel("db1");
  EXPECT_FALSE(elements_->networkElement("db1"));
  EXPECT_TRUE(port()->configuredElement().empty());
  EXPECT_NE(leaf()->referrer("acme"), nullptr);
  EXPECT_NE(port()->referrer("acme"), nullptr);
}

TEST_F(ClientOfASwitchport, ARemoteHostThatTurnsFalseIsWithdrawn) {
  const auto asked = request();
  asked->remoteHostIs("db1", true);
  const auto acme = client("acme", asked);
  asked->remoteHostIs("db1", false);
  EXPECT_FALSE(elements_->networkElement("db1"));
  EXPECT_TRUE(port()->configuredElement().empty());
}

TEST_F(ClientOfASwitchport, TheElementOfARemoteHostThatOthersHoldStays) {
  const auto asked = request();
  asked->remoteHostIs("db1", true);
  const auto acme = client("acme", asked);
  elements_->networkElement("db1")->referrerIs("zenith", true);
  asked->remoteHostDel("db1");
  ASSERT_TRUE(elements_->networkElement("db1"));
  EXPECT_THAT(names(elements_->networkElement("db1")->referrer()), ElementsAre("zenith"));
  EXPECT_TRUE(port()->configuredElement().empty());
}

TEST_F(ClientOfASwitchport, ARemoteHostWithdrawnFromAPortOrASwitchThatIsGoneStays) {
  const auto asked = request();
  asked->remoteHostIs("db1", true);
  asked->remoteHostIs("db2", true);
  const auto acme = client("acme", asked);
  leaf()->physicalInterfaceDel("e1")->destroy();
  asked->remoteHostDel("db1");
  EXPECT_TRUE(elements_->networkElement("db1"));
  elements_->networkElementDel("leaf1")->destroy();
  asked->remoteHostDel("db2");
  EXPECT_TRUE(elements_->networkElement("db2"));
}

TEST_F(ClientOfASwitchport, AClientThatLeavesWithoutWithdrawingItsRemoteHostsLeavesThemBehind) {
  discover("e1");
  const auto asked = request();
  asked->remoteHostIs("db1", true);
  auto acme = client("acme", asked);
  acme = nullptr;
  ASSERT_TRUE(elements_->networkElement("db1"));
  EXPECT_THAT(names(elements_->networkElement("db1")->referrer()), ElementsAre("acme"));
  EXPECT_TRUE(port()->configuredElement("db1"));
  EXPECT_THAT(names(leaf()->referrer()), ElementsAre("leaf1"));
}

TEST_F(ClientOfASwitchportDeathTest, ARemoteHostThatNeverWasTrueEndsTheProcess) {
  const auto asked = request();
  const auto acme = client("acme", asked);
  EXPECT_DEATH(asked->remoteHostIs("db1", false),
               "handleRemoteHost: the element of the remote host is missing");
}

// A client leaves

TEST_F(ClientOfASwitchport, TheLastClientOfAPortThatNobodyHasSeenTakesPortAndElementAlong) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  ask(asked, 20);
  auto acme = client("acme", asked);
  const TraceCapture trace;
  acme = nullptr;
  EXPECT_TRUE(elements_->networkElement().empty());
  // The VLANs go with the port, without a line of their own.
  EXPECT_THAT(trace.lines(),
              ElementsAre(machine + "doCleanup: Deleting physicalInterface e1",
                          machine + "doCleanup: Deleting acme ref from network element leaf1",
                          machine + "doCleanup: Deleting network element leaf1"));
}

TEST_F(ClientOfASwitchport, APortThatTopologyHasFoundStaysAndIsCleanedVlanByVlan) {
  discover("e1");
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  asked->vlanIs(11);
  ask(asked, 20);
  auto acme = client("acme", asked);
  const TraceCapture trace;
  acme = nullptr;
  ASSERT_TRUE(port());
  EXPECT_TRUE(port()->referrer().empty());
  EXPECT_TRUE(port()->vlan().empty());
  EXPECT_TRUE(port()->nativeVlan().empty());
  EXPECT_THAT(trace.lines(),
              ElementsAre(reactor + "doCleanup: Deleting 5010 <-> 10 map from interface e1",
                          machine + "doCleanup: Deleting VLAN: 10 on e1",
                          machine + "doCleanup: Deleting VLAN: 11 on e1",
                          machine + "doCleanup: Deleting native VLAN: 20 on e1",
                          machine + "doCleanup: Deleting acme ref from network element leaf1"));
}

TEST_F(ClientOfASwitchport, APortThatAnotherClientHoldsKeepsWhatThatOneAskedFor) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  ask(asked, 20);
  const auto askedToo = request();
  askedToo->vlanIs(10)->mappedVniIs(5011);
  ask(askedToo, 20);
  auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  leaf()->referrerIs("leaf1", true);
  acme = nullptr;
  EXPECT_THAT(names(port()->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(port(10)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(ids(port(10)->mappedVni()), ElementsAre(5011U));
  EXPECT_THAT(names(port()->nativeVlan(20)->referrer()), ElementsAre("zenith"));
}

TEST_F(ClientOfASwitchport, AVlanOfAnotherClientOnThePortDoesNotStopTheOneThatLeaves) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto askedToo = request();
  askedToo->vlanIs(30)->mappedVniIs(5030);
  const auto zenith = client("zenith", askedToo);
  auto acme = client("acme", asked);
  leaf()->referrerIs("leaf1", true);
  const TraceCapture trace;
  acme = nullptr;
  EXPECT_THAT(ids(port()->vlan()), ElementsAre(30U));
  EXPECT_THAT(names(port(30)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(port(30)->mappedVni(5030)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(trace.lines(),
              ElementsAre(machine + "doCleanup: Deleting VLAN: 10 on e1",
                          machine + "doCleanup: Deleting acme ref from network element leaf1"));
}

TEST_F(ClientOfASwitchport, AVlanOnThePortThatNobodyHoldsGoesWithTheClientThatLeaves) {
  discover("e1");
  auto acme = client("acme", request());
  port()->vlanIs(40);
  acme = nullptr;
  EXPECT_TRUE(port()->vlan().empty());
}

TEST_F(ClientOfASwitchport, AClientThatUsesAnotherPortOfTheSwitchKeepsItsClaimOnTheElement) {
  const auto asked = request();
  asked->remoteHostIs("db1", true);
  auto first = client("acme", asked, "e1");
  const auto second = client("acme", request(), "e2");
  asked->remoteHostDel("db1");
  TraceCapture trace;
  first = nullptr;
  EXPECT_FALSE(port("e1"));
  EXPECT_TRUE(port("e2"));
  EXPECT_THAT(names(leaf()->referrer()), ElementsAre("acme"));
  EXPECT_THAT(trace.lines(), ElementsAre(machine + "doCleanup: Deleting physicalInterface e1"));
}

TEST_F(ClientOfASwitchport, TheFirstToLeaveASwitchWithoutReferrersTakesTheOtherClientsPortAlong) {
  const auto askedToo = request();
  askedToo->vlanIs(30);
  auto acme = client("acme", request(), "e1");
  const auto zenith = client("zenith", askedToo, "e2");
  EXPECT_TRUE(leaf()->referrer().empty());
  acme = nullptr;
  EXPECT_FALSE(leaf());
  // The next change of a VLAN brings element and port back.
  askedToo->vlanIs(31);
  ASSERT_TRUE(port("e2"));
  EXPECT_NE(port("e2")->referrer("zenith"), nullptr);
  EXPECT_THAT(ids(port("e2")->vlan()), ElementsAre(31U));
}

TEST_F(ClientOfASwitchport, AClientWhosePortIsGoneStillLetsGoOfTheElement) {
  const auto asked = request();
  asked->vlanIs(10);
  auto acme = client("acme", asked);
  leaf()->physicalInterfaceDel("e1");
  const TraceCapture trace;
  acme = nullptr;
  EXPECT_FALSE(leaf());
  EXPECT_THAT(trace.lines(),
              ElementsAre(machine + "doCleanup: Deleting acme ref from network element leaf1",
                          machine + "doCleanup: Deleting network element leaf1"));
}

TEST_F(ClientOfASwitchport, AClientWhoseElementIsGoneLeavesWithoutAWord) {
  const auto asked = request();
  asked->vlanIs(10);
  auto acme = client("acme", asked);
  elements_->networkElementDel("leaf1");
  const TraceCapture trace;
  acme = nullptr;
  EXPECT_FALSE(leaf());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ClientOfASwitchport, AMachineThatHasEndedHearsNoMore) {
  const auto asked = request();
  asked->vlanIs(10);
  auto acme = client("acme", asked);
  acme = nullptr;
  asked->vlan(10)->mappedVniIs(5010);
  asked->vlanIs(11);
  ask(asked, 20);
  asked->remoteHostIs("db1", true);
  EXPECT_TRUE(elements_->networkElement().empty());
}

}  // namespace Fabrion::Test::Clients
