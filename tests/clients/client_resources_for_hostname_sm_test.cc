#include "clients/ClientResourcesForHostnameSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "elements/NetworkElementCollectionSm.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "tests/clients/clients_scene.h"
#include "tests/support/TraceCapture.h"

namespace Fabrion::Test::Clients {
namespace {

using Fabrion::Agent::ClientResourcesForHostnameSm;
using testing::ElementsAre;
using testing::IsEmpty;

// Clients acme and zenith ask for things on the hosts of the hostname db1.
class ClientOfAHostname : public testing::Test {
 protected:
  using Request = Velo::Ptr<Fabrion::Client::ResourcesForHostname>;
  using Client = Velo::Ptr<ClientResourcesForHostnameSm>;

  Request request() { return Velo::make<Fabrion::Client::ResourcesForHostname>("db1"); }
  Client client(const char* name, const Request& request) {
    return ClientResourcesForHostnameSm::ClientResourcesForHostnameSmIs("db1", name, request, all_);
  }
  Velo::Ptr<Fabrion::ResourcesForHostname> merged() { return all_->resourcesForHostname("db1"); }
  Velo::Ptr<Fabrion::DynamicVlan> merged(U32 vlan) {
    return Velo::required(merged(), "the merged request")->vlan(vlan);
  }

  const Fabrion::Client::ClientDomain red_{"shop", "red"};
  const Fabrion::Client::ClientDomain blue_{"shop", "blue"};
  Velo::Ptr<Fabrion::RequestedResourcesCollection> all_ =
      Velo::make<Fabrion::RequestedResourcesCollection>();
};

TEST_F(ClientOfAHostname, ARequestWithoutVlansMakesAndClaimsTheMergedRequestAndLeavesItEmpty) {
  const auto acme = client("acme", request());
  ASSERT_TRUE(merged());
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("acme"));
  EXPECT_TRUE(merged()->vlan().empty());
}

TEST_F(ClientOfAHostname, ARequestIsMergedUnderTheNameOfTheClientWithItsVlansVnisAndDomains) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  const TraceCapture trace;
  const auto acme = client("acme", asked);
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("acme"));
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("acme"));
  EXPECT_THAT(names(merged(10)->mappedVni(5010)->referrer()), ElementsAre("acme"));
  EXPECT_THAT(names(merged(10)->domain(red_)->referrer()), ElementsAre("acme"));
  // The VLAN once more at the end, its VNIs and domains not.
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "3 ClientResourcesForHostnameSm::handleVlan: Adding client VLAN 10 to global host "
          "resources: db1",
          "3 ClientResourcesForHostnameSm::VeloHostVlan::handleVlanDomain: Adding domain: "
          "shop/red to VLAN : 10 in global resources",
          "3 ClientResourcesForHostnameSm::VeloHostVlan::handleMappedVni: Adding VNI: 5010 "
          "mapped to VLAN: 10 to global resources collection.",
          "3 ClientResourcesForHostnameSm::handleVlan: Adding client VLAN 10 to global host "
          "resources: db1"));
}

TEST_F(ClientOfAHostname, EveryHandlerTracesItsEntry) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  TraceCapture trace(9);
  auto acme = client("acme", asked);
  const std::string reactor = "9 ClientResourcesForHostnameSm::VeloHostVlan::";
  EXPECT_EQ(trace.lines().at(0), reactor + "handleInitialized: VLAN: 10");
  EXPECT_EQ(trace.lines().at(1), "9 ClientResourcesForHostnameSm::handleVlan: VLAN : 10");
  EXPECT_EQ(trace.lines().at(3), reactor + "handleVlanDomain: VLAN: 10 domain: shop/red");
  EXPECT_EQ(trace.lines().at(5), reactor + "handleMappedVni: VLAN : 10");
  EXPECT_EQ(trace.lines().at(7), "9 ClientResourcesForHostnameSm::handleInitialized: ");
  trace.clear();
  acme = nullptr;
  EXPECT_EQ(trace.lines().at(0), "9 ClientResourcesForHostnameSm::doCleanup: ");
  EXPECT_EQ(trace.lines().at(2), reactor + "doCleanup: VLAN: 10");
}

TEST_F(ClientOfAHostname, AHostnameThatNoTopologyKnowsHasItsMergedRequestAndNothingElse) {
  const auto elements = Velo::make<Fabrion::NetworkElementCollection>();
  const auto topology = Velo::make<NetworkTopologyAggregatorV3::Status>();
  const auto elementsSm = Fabrion::Agent::NetworkElementCollectionSm::NetworkElementCollectionSmIs(
      elements, all_, topology);
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  EXPECT_TRUE(merged(10));
  EXPECT_TRUE(elements->networkElement().empty());
}

TEST_F(ClientOfAHostname, TwoClientsHoldOneVlanAndOneVniAndTheLastToLeaveDeletesThemInsideOut) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  auto acme = client("acme", asked);
  auto zenith = client("zenith", asked);
  EXPECT_EQ(merged()->vlan().size(), 1U);
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("acme", "zenith"));
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("acme", "zenith"));
  EXPECT_EQ(merged(10)->mappedVni().size(), 1U);
  EXPECT_THAT(names(merged(10)->mappedVni(5010)->referrer()), ElementsAre("acme", "zenith"));

  TraceCapture trace;
  acme = nullptr;
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(merged(10)->mappedVni(5010)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(trace.lines(), ElementsAre("3 ClientResourcesForHostnameSm::doCleanup: Deleting acme "
                                         "from vlan 10 referrer"));

  trace.clear();
  zenith = nullptr;
  EXPECT_FALSE(merged());
  EXPECT_THAT(
      trace.lines(),
      ElementsAre(
          "3 ClientResourcesForHostnameSm::doCleanup: Deleting zenith from vlan 10 referrer",
          "3 ClientResourcesForHostnameSm::VeloHostVlan::doCleanup: Deleting mapped VNI 5010 from "
          "VLAN 10 in global resource",
          "3 ClientResourcesForHostnameSm::doCleanup: Deleting vlan 10 in zenith",
          "3 ClientResourcesForHostnameSm::doCleanup: Deleting ResourcesForHostname db1"));
}

TEST_F(ClientOfAHostname, TheVniOfTheClientThatLeavesGoesAndThatOfTheOtherStays) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  const auto askedToo = request();
  askedToo->vlanIs(10)->mappedVniIs(5011);
  auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  EXPECT_EQ(merged(10)->mappedVni().size(), 2U);
  acme = nullptr;
  EXPECT_FALSE(merged(10)->mappedVni(5010));
  EXPECT_THAT(names(merged(10)->mappedVni(5011)->referrer()), ElementsAre("zenith"));
}

TEST_F(ClientOfAHostname, AVlanThatOnlyTheLeaverAskedForGoesAndTheMergedRequestStays) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto askedToo = request();
  askedToo->vlanIs(20);
  auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  acme = nullptr;
  EXPECT_FALSE(merged(10));
  EXPECT_TRUE(merged(20));
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("zenith"));
}

TEST_F(ClientOfAHostname, ADomainTakenFromAVlanLosesTheNameOfThatClientAlone) {
  const auto asked = request();
  asked->vlanIs(10)->domainIs(red_);
  const auto askedToo = request();
  askedToo->vlanIs(10)->domainIs(red_);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  EXPECT_THAT(names(merged(10)->domain(red_)->referrer()), ElementsAre("acme", "zenith"));

  TraceCapture trace;
  asked->vlan(10)->domainDel(red_);
  EXPECT_THAT(names(merged(10)->domain(red_)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("acme", "zenith"));
  EXPECT_THAT(trace.lines(), IsEmpty());

  askedToo->vlan(10)->domainDel(red_);
  EXPECT_FALSE(merged(10)->domain(red_));
  EXPECT_TRUE(merged(10));
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("3 ClientResourcesForHostnameSm::VeloHostVlan::handleVlanDomain: Removing "
                  "domain: shop/red from VLAN : 10"));
}

TEST_F(ClientOfAHostname, ADomainGivenToAVlanThatTheRequestHasJustLostIsNotAdded) {
  const auto asked = request();
  const auto vlan = asked->vlanIs(10);
  const auto askedToo = request();
  askedToo->vlanIs(10);
  const auto zenith = client("zenith", askedToo);
  const auto early = Velo::make<Bystander>(asked.get(), [&] { vlan->domainIs(red_); });
  const auto acme = client("acme", asked);
  const TraceCapture trace;
  asked->vlanDel(10);
  EXPECT_FALSE(merged(10)->domain(red_));
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ClientOfAHostname, AVniTakenFromAVlanLosesTheNameOfThatClientAlone) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  const auto askedToo = request();
  askedToo->vlanIs(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);

  TraceCapture trace;
  asked->vlan(10)->mappedVniDel(5010);
  EXPECT_THAT(names(merged(10)->mappedVni(5010)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(trace.lines(), IsEmpty());

  askedToo->vlan(10)->mappedVniDel(5010);
  EXPECT_FALSE(merged(10)->mappedVni(5010));
  EXPECT_THAT(trace.lines(),
              ElementsAre("3 ClientResourcesForHostnameSm::VeloHostVlan::handleMappedVni: Deleting "
                          "VNI: 5010 mapped to VLAN: 10 from global resources collection."));
}

TEST_F(ClientOfAHostname, AVlanThatTheLastClientWithdrawsIsCleanedVnisFirstAndThenDeleted) {
  const auto asked = request();
  asked->vlanIs(10)->domainIs(red_);
  asked->vlan(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto vlan = merged(10);
  const TraceCapture trace;
  asked->vlanDel(10);
  EXPECT_FALSE(merged(10));
  EXPECT_TRUE(vlan->mappedVni().empty());
  EXPECT_TRUE(vlan->domain().empty());
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("acme"));
  EXPECT_THAT(
      trace.lines(),
      ElementsAre("3 ClientResourcesForHostnameSm::handleVlan: Removing VLAN 10 from global "
                  "host resource db1",
                  "3 ClientResourcesForHostnameSm::VeloHostVlan::doCleanup: Deleting mapped "
                  "VNI 5010 from VLAN 10 in global resource",
                  "3 ClientResourcesForHostnameSm::VeloHostVlan::doCleanup: Deleting domain "
                  "'shop/red' for VLAN: 10 in global resource"));
}

TEST_F(ClientOfAHostname, AVlanWithdrawnWhileAnotherClientKeepsItLosesWhatItsClientAloneAskedFor) {
  const auto asked = request();
  asked->vlanIs(10)->domainIs(red_);
  asked->vlan(10)->mappedVniIs(5010);
  const auto askedToo = request();
  askedToo->vlanIs(10)->domainIs(blue_);
  askedToo->vlan(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto zenith = client("zenith", askedToo);
  asked->vlanDel(10);
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(merged(10)->mappedVni(5010)->referrer()), ElementsAre("zenith"));
  EXPECT_FALSE(merged(10)->domain(red_));
  EXPECT_THAT(names(merged(10)->domain(blue_)->referrer()), ElementsAre("zenith"));
  // The client still holds the merged request.
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("acme", "zenith"));
}

TEST_F(ClientOfAHostname, AVlanIsWithdrawnAndAskedForAgain) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  const auto acme = client("acme", asked);
  const auto withdrawn = asked->vlanDel(10);
  withdrawn->mappedVniIs(5999);  // nobody listens to it any more
  EXPECT_FALSE(merged(10));
  asked->vlanIs(10)->mappedVniIs(5011);
  EXPECT_TRUE(merged(10)->mappedVni(5011));
  EXPECT_FALSE(merged(10)->mappedVni(5010));
  EXPECT_FALSE(merged(10)->mappedVni(5999));
}

TEST_F(ClientOfAHostname, AWithdrawalBringsBackAMergedRequestThatIsGoneAndNobodyHoldsIt) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  all_->resourcesForHostnameDel("db1");
  asked->vlanDel(10);
  ASSERT_TRUE(merged());
  EXPECT_TRUE(merged()->referrer().empty());
  EXPECT_TRUE(merged()->vlan().empty());
}

TEST_F(ClientOfAHostname, AVniForAMergedRequestOrAVlanThatIsGoneChangesAndTracesNothing) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  const TraceCapture trace;
  merged()->vlanDel(10);
  asked->vlan(10)->mappedVniIs(5010);
  EXPECT_TRUE(merged()->vlan().empty());
  all_->resourcesForHostnameDel("db1");
  asked->vlan(10)->mappedVniIs(5011);
  EXPECT_FALSE(merged());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ClientOfAHostname, AClientWhoseMergedRequestIsGoneLeavesWithoutAWord) {
  const auto asked = request();
  asked->vlanIs(10);
  auto acme = client("acme", asked);
  all_->resourcesForHostnameDel("db1");
  const TraceCapture trace;
  acme = nullptr;
  EXPECT_FALSE(merged());
  EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ClientOfAHostname, ALeavingClientPassesOverAVlanThatTheMergedRequestHasLost) {
  const auto asked = request();
  asked->vlanIs(10);
  asked->vlanIs(20);
  auto acme = client("acme", asked);
  merged()->vlanDel(10);
  const TraceCapture trace;
  acme = nullptr;
  EXPECT_FALSE(merged());
  EXPECT_FALSE(trace.has("vlan 10"));
  EXPECT_TRUE(trace.has("Deleting vlan 20 in acme"));
}

TEST_F(ClientOfAHostname, AMachineNamedForAnotherHostnameLeavesItsNamesOnVnisAndDomains) {
  const auto asked = request();
  asked->vlanIs(10)->mappedVniIs(5010);
  asked->vlan(10)->domainIs(red_);
  const auto askedToo = request();
  askedToo->vlanIs(10);
  auto acme =
      ClientResourcesForHostnameSm::ClientResourcesForHostnameSmIs("db2", "acme", asked, all_);
  const auto zenith = client("zenith", askedToo);
  acme = nullptr;
  EXPECT_THAT(names(merged()->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("zenith"));
  EXPECT_THAT(names(merged(10)->mappedVni(5010)->referrer()), ElementsAre("acme"));
  EXPECT_THAT(names(merged(10)->domain(red_)->referrer()), ElementsAre("acme"));
  EXPECT_FALSE(all_->resourcesForHostname("db2"));
}

TEST_F(ClientOfAHostname, AMachineThatHasEndedHearsNoMore) {
  const auto asked = request();
  asked->vlanIs(10);
  auto acme = client("acme", asked);
  acme = nullptr;
  asked->vlan(10)->mappedVniIs(5010);
  asked->vlanIs(20);
  EXPECT_FALSE(merged());
}

TEST_F(ClientOfAHostname, ItsFactoryAndItsCreatorMakeTheSame) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = Fabrion::Agent::clientResourcesForHostnameSmFactory("db1", "acme", asked, all_);
  const auto zenith = client("zenith", asked);
  EXPECT_TRUE(acme->hasNotificationActive());
  EXPECT_TRUE(zenith->hasNotificationActive());
  EXPECT_THAT(names(merged(10)->referrer()), ElementsAre("acme", "zenith"));
}

TEST_F(ClientOfAHostname, GenericAccessReadsItsAttributesAndRunsItsCleanup) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  const auto& type = Fabrion::Agent::clientResourcesForHostnameSmType;
  std::vector<std::string> attributes;
  for (const auto& row : type.attributes) attributes.emplace_back(row.name);
  EXPECT_THAT(attributes, ElementsAre("name", "client", "resourcesForHostname",
                                      "allRequestedResourcesCollection", "handleVlan", "hostVlan",
                                      "handleInitialized", "initialized", "doCleanup"));
  const auto op = [&](const char* attribute, Velo::AttributeOp what, void* result) {
    return Velo::genericIfAttributeOp(result, acme.get(), Velo::attributeIndex(type, attribute),
                                      what, nullptr, nullptr);
  };
  Nimbo::String name;
  EXPECT_EQ(op("client", Velo::AttributeOp::get, &name), 0);
  EXPECT_EQ(name, Nimbo::String("acme"));
  bool initialized = false;
  EXPECT_EQ(op("initialized", Velo::AttributeOp::get, &initialized), 0);
  EXPECT_TRUE(initialized);
  U64 count = 0;
  EXPECT_EQ(op("hostVlan", Velo::AttributeOp::count, &count), 0);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(op("doCleanup", Velo::AttributeOp::invoke, nullptr), 0);
  EXPECT_FALSE(merged());
}

TEST_F(ClientOfAHostname, ANullVlanIsRefused) {
  const auto acme = client("acme", request());
  EXPECT_THROW(acme->hostVlanIs(nullptr), Velo::NullPointerException);
}

using ClientOfAHostnameDeathTest = ClientOfAHostname;

TEST_F(ClientOfAHostnameDeathTest, ADomainForAMergedRequestOrAVlanThatIsGoneEndsTheProcess) {
  const auto asked = request();
  asked->vlanIs(10);
  const auto acme = client("acme", asked);
  merged()->vlanDel(10);
  EXPECT_DEATH(asked->vlan(10)->domainIs(red_), "handleVlanDomain: the VLAN of the merged request");
  all_->resourcesForHostnameDel("db1");
  EXPECT_DEATH(asked->vlan(10)->domainIs(red_), "handleVlanDomain: the merged request is missing");
}

TEST_F(ClientOfAHostnameDeathTest, ARequestIsMandatory) {
  EXPECT_DEATH(client("acme", nullptr), "is missing");
}

}  // namespace
}  // namespace Fabrion::Test::Clients
