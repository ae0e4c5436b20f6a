// Static configuration, and what clients ask for.

#include <gtest/gtest.h>

#include <sstream>

#include "entities/Fabrion.h"
#include "tests/support/Listener.h"

namespace Fabrion {

using Test::Listener;
using Lines = std::vector<std::string>;

class Configuration : public testing::Test {
 protected:
  Configuration() { config_->vlanToVniMapIs(map_); }

  const Client::ClientDomain red_{"acme", "red"};
  Velo::Ptr<Config> config_ = Velo::make<Config>();
  Velo::Ptr<VlanToVniMap> map_ = Velo::make<VlanToVniMap>(red_);
};

TEST_F(Configuration, TheVniIsAsFarAboveItsRangeAsTheVlanIsAboveItsOwn) {
  map_->mapIs(Range(100, 199), Range(5000, 5099));
  EXPECT_EQ(config_->vniForVlan(red_, 100), 5000U);
  EXPECT_EQ(config_->vniForVlan(red_, 142), 5042U);
  EXPECT_EQ(config_->vniForVlan(red_, 199), 5099U);
}

TEST_F(Configuration, AVlanThatNoRangeHoldsHasVniZero) {
  map_->mapIs(Range(100, 199), Range(5000, 5099));
  EXPECT_EQ(config_->vniForVlan(red_, 99), 0U);
  EXPECT_EQ(config_->vniForVlan(red_, 200), 0U);
}

TEST_F(Configuration, AnUnknownDomainHasVniZero) {
  map_->mapIs(Range(100, 199), Range(5000, 5099));
  EXPECT_EQ(config_->vniForVlan(Client::ClientDomain("acme", "blue"), 100), 0U);
  EXPECT_EQ(config_->vniForVlan(Client::ClientDomain(), 100), 0U);
  EXPECT_EQ(Velo::make<Config>()->vniForVlan(red_, 100), 0U);
}

TEST_F(Configuration, AVniThatPassesItsRangeIsZero) {
  map_->mapIs(Range(100, 199), Range(5000, 5009));
  EXPECT_EQ(config_->vniForVlan(red_, 109), 5009U);
  EXPECT_EQ(config_->vniForVlan(red_, 110), 0U);
}

TEST_F(Configuration, AVniThatPassesThirtyTwoBitsIsZero) {
  map_->mapIs(Range(0, 10), Range(0xfffffffe, 0xffffffff));
  EXPECT_EQ(config_->vniForVlan(red_, 1), 0xffffffffU);
  EXPECT_EQ(config_->vniForVlan(red_, 2), 0U);
}

TEST_F(Configuration, OfOverlappingRangesTheFirstFiledThatHoldsTheVlanDecidesAlone) {
  map_->mapIs(Range(150, 160), Range(7000, 7004));
  map_->mapIs(Range(100, 199), Range(5000, 5099));
  EXPECT_EQ(config_->vniForVlan(red_, 149), 5049U);
  EXPECT_EQ(config_->vniForVlan(red_, 150), 7000U);
  EXPECT_EQ(config_->vniForVlan(red_, 155), 0U);  // not 5055
  map_->mapDel(Range(150, 160));
  EXPECT_EQ(config_->vniForVlan(red_, 155), 5055U);
}

TEST_F(Configuration, ARangeHoldsBothItsBounds) {
  const Range range(10, 20);
  EXPECT_TRUE(range.holds(10) && range.holds(15) && range.holds(20));
  EXPECT_FALSE(range.holds(9) || range.holds(21));
  EXPECT_FALSE(Range(20, 10).holds(15));
  EXPECT_TRUE(Range().holds(0));
  EXPECT_EQ(Range(10, 20), range);
  EXPECT_EQ(Range(10, 20).hash(1), range.hash(1));
  EXPECT_NE(Range(20, 10).hash(1), range.hash(1));
  EXPECT_NE(range.hash(2), range.hash(1));
}

TEST_F(Configuration, MapsNotifyTheirChangesAndNothingElse) {
  const auto onConfig = Listener::on<Config::vlanToVniMapAttribute>(*config_);
  config_->vlanToVniMapIs(map_);
  const Client::ClientDomain blue("acme", "blue");
  config_->vlanToVniMapIs(Velo::make<VlanToVniMap>(blue));
  config_->vlanToVniMapDel(blue);
  config_->vlanToVniMapDel(blue);
  EXPECT_EQ(onConfig->taken(), (Lines{"vlanToVniMap acme/blue", "vlanToVniMap acme/blue"}));
  EXPECT_EQ(config_->vlanToVniMap(red_), map_);
}

TEST(ClientDomains, TheNameIsTheFirstFieldThenASlashAndTheSecondUnlessThatIsEmpty) {
  EXPECT_EQ(Client::ClientDomain("acme", "red").name(), "acme/red");
  EXPECT_EQ(Client::ClientDomain("acme", "").name(), "acme");
  EXPECT_EQ(Client::ClientDomain("", "red").name(), "/red");
  EXPECT_EQ(Client::ClientDomain().name(), "");
}

TEST(ClientDomains, DomainsAreComparedAndHashedAsAWhole) {
  const Client::ClientDomain domain("acme", "red");
  EXPECT_EQ(domain.client(), "acme");
  EXPECT_EQ(domain.domain(), "red");
  EXPECT_EQ(domain, Client::ClientDomain("acme", "red"));
  EXPECT_NE(domain, Client::ClientDomain("acme", "blue"));
  EXPECT_NE(domain, Client::ClientDomain("acmer", "ed"));
  EXPECT_LT(Client::ClientDomain("acme", "blue"), domain);
  EXPECT_LT(domain, Client::ClientDomain("bolt", ""));
  EXPECT_EQ(domain.hash(3), Client::ClientDomain("acme", "red").hash(3));
  EXPECT_NE(domain.hash(3), Client::ClientDomain("acmer", "ed").hash(3));
  EXPECT_NE(domain.hash(3), domain.hash(4));
}

TEST(Requests, APortIsNamedBySwitchAndInterface) {
  const Client::SwitchInterface port("leaf1", "e1");
  EXPECT_EQ(port.switchId(), "leaf1");
  EXPECT_EQ(port.intfName(), "e1");
  EXPECT_EQ(port, Client::SwitchInterface("leaf1", "e1"));
  EXPECT_FALSE(port == Client::SwitchInterface("leaf1", "e2"));
}

TEST(Requests, ARequestForAHostNotifiesItsVlansAndTheyTheirVnisAndDomains) {
  const auto request = Velo::make<Client::ResourcesForHostname>("web");
  const auto onRequest = Listener::on<Client::ResourcesForHostname::vlanAttribute>(*request);
  const auto vlan = request->vlanIs(10);
  EXPECT_EQ(request->vlanIs(10), vlan);
  const auto onVlan =
      Listener::on<Client::DynamicVlan::mappedVniAttribute, Client::DynamicVlan::domainAttribute>(
          *vlan);
  vlan->mappedVniIs(5010);
  vlan->mappedVniIs(5010);
  vlan->domainIs(Client::ClientDomain("acme", "red"));
  vlan->mappedVniDel(5010);
  EXPECT_EQ(onVlan->taken(), (Lines{"mappedVni 5010", "domain acme/red", "mappedVni 5010"}));
  request->vlanDel(10);
  EXPECT_EQ(onRequest->taken(), (Lines{"vlan 10", "vlan 10"}));
}

TEST(Requests, ARequestForAPortNotifiesItsNativeVlanItsVlansAndItsRemoteHosts) {
  using Request = Client::ResourcesForSwitchport;
  const auto request = Velo::make<Request>();
  const auto listener = Listener::on<Request::nativeVlanAttribute, Request::vlanAttribute,
                                     Request::remoteHostAttribute>(*request);
  EXPECT_FALSE(request->nativeVlan());
  const auto native = Velo::make<Client::UntaggedVlan>(20U);
  for (int i = 0; i < 2; ++i) {
    request->nativeVlanIs(native);
    request->vlanIs(10);
    request->remoteHostIs("web", false);
  }
  EXPECT_EQ(listener->taken(), (Lines{"nativeVlan", "vlan 10", "remoteHost web"}));
  ASSERT_NE(request->remoteHost("web"), nullptr);
  EXPECT_FALSE(*request->remoteHost("web"));
  request->remoteHostIs("web", true);
  request->nativeVlanIs(nullptr);
  EXPECT_EQ(listener->taken(), (Lines{"remoteHost web", "nativeVlan"}));
}

}  // namespace Fabrion
