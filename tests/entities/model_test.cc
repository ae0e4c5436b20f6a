// The derived model: mutators, their silence where nothing changes, and their notifications.

#include <gtest/gtest.h>

#include <sstream>

#include "entities/Fabrion.h"
#include "tests/support/Listener.h"

namespace Fabrion::Test {

using Lines = std::vector<std::string>;

template <class Map>
Lines keys(const Map& map) {
  Lines result;
  for (const auto& key : map.keys()) {
    std::ostringstream out;
    out << key;
    result.push_back(out.str());
  }
  return result;
}

class Model : public testing::Test {
 protected:
  Velo::Ptr<NetworkElementCollection> elements_ = Velo::make<NetworkElementCollection>();
  Velo::Ptr<NetworkElement> leaf_ = elements_->networkElementIs("leaf1");
  Velo::Ptr<NetworkElement> host_ = elements_->networkElementIs("srv1");
  Velo::Ptr<PhysicalInterface> port_ = leaf_->physicalInterfaceIs("e1");
};

TEST_F(Model, ANewElementIsNoSwitchAndHasNoHostnameAndNoRequest) {
  EXPECT_EQ(leaf_->name(), "leaf1");
  EXPECT_TRUE(leaf_->hostname().empty());
  EXPECT_FALSE(leaf_->isSwitchElement());
  EXPECT_FALSE(leaf_->resourcesForHostname());
  EXPECT_EQ(leaf_->vlan().size() + leaf_->interface().size() + leaf_->referrer().size(), 0U);
}

TEST_F(Model, ANewPortIsUndiscoveredAndInNoGroup) {
  EXPECT_FALSE(port_->discovered());
  EXPECT_FALSE(port_->isSwitchInterface());
  EXPECT_FALSE(port_->portGroup());
}

TEST_F(Model, CollectionsCreateOrReturnAndNotifyTheKeyOnce) {
  const auto listener = Listener::on<NetworkElementCollection::networkElementAttribute>(*elements_);
  listener->atLine("networkElement leaf2",
                   [&] { EXPECT_TRUE(elements_->networkElement("leaf2")); });
  const auto made = elements_->networkElementIs("leaf2");
  EXPECT_EQ(elements_->networkElementIs("leaf2"), made);
  EXPECT_EQ(listener->taken(), Lines{"networkElement leaf2"});
  listener->atLine("networkElement leaf2",
                   [&] { EXPECT_FALSE(elements_->networkElement("leaf2")); });
  EXPECT_EQ(elements_->networkElementDel("leaf2"), made);
  EXPECT_FALSE(elements_->networkElementDel("leaf2"));
  EXPECT_EQ(listener->taken(), Lines{"networkElement leaf2"});
}

TEST_F(Model, AnAnnouncementNotifiesTheKeyAndChangesNothing) {
  const auto listener = Listener::on<NetworkElementCollection::networkElementAttribute>(*elements_);
  elements_->networkElementAnnounce("leaf1");
  elements_->networkElementAnnounce("nobody");
  EXPECT_EQ(listener->taken(), (Lines{"networkElement leaf1", "networkElement nobody"}));
  EXPECT_EQ(keys(elements_->networkElement()), (Lines{"leaf1", "srv1"}));
}

TEST_F(Model, AVlanThatExistsIsReturnedWithItsReferrerAndItsCollectionsIntact) {
  const auto listener = Listener::on<NetworkElement::vlanAttribute>(*leaf_);
  const auto vlan = leaf_->vlanIs(10);
  vlan->referrerIs("e1");
  vlan->mappedVniIs(5010)->referrerIs("e1");
  vlan->domainIs(Client::ClientDomain("acme", "red"))->referrerIs("e1");
  EXPECT_EQ(leaf_->vlanIs(10), vlan);
  EXPECT_EQ(keys(vlan->referrer()), Lines{"e1"});
  EXPECT_EQ(keys(vlan->mappedVni()), Lines{"5010"});
  EXPECT_EQ(keys(vlan->domain()), Lines{"acme/red"});
  EXPECT_EQ(vlan->vlanId(), 10U);
  EXPECT_EQ(listener->taken(), Lines{"vlan 10"});
}

TEST_F(Model, AnEntryWhoseReferrerIsEmptyStandsUntilSomeoneDeletesIt) {
  const auto vlan = leaf_->vlanIs(10);
  vlan->referrerIs("e1");
  EXPECT_TRUE(vlan->referrerDel("e1"));
  EXPECT_EQ(vlan->referrer().size(), 0U);
  EXPECT_EQ(leaf_->vlan(10), vlan);
  EXPECT_EQ(leaf_->vlanDel(10), vlan);
  EXPECT_FALSE(leaf_->vlan(10));
}

TEST_F(Model, AReferrerIsASetOfNames) {
  const auto vni = leaf_->vlanIs(10)->mappedVniIs(5010);
  const auto listener = Listener::on<Client::MappedVni::referrerAttribute>(*vni);
  vni->referrerIs("ann");
  vni->referrerIs("ann");
  vni->referrerIs("bob");
  EXPECT_EQ(keys(vni->referrer()), (Lines{"ann", "bob"}));
  EXPECT_TRUE(vni->referrerDel("ann"));
  EXPECT_FALSE(vni->referrerDel("ann"));
  EXPECT_EQ(listener->taken(), (Lines{"referrer ann", "referrer bob", "referrer ann"}));
}

TEST_F(Model, EachChangeOfTheReferrerOfAnElementNotifies) {
  const auto listener = Listener::on<NetworkElement::referrerAttribute>(*leaf_);
  leaf_->referrerIs("leaf1", true);
  leaf_->referrerIs("leaf1", true);
  leaf_->referrerIs("client", true);
  leaf_->referrerDel("leaf1");
  leaf_->referrerDel("leaf1");
  EXPECT_EQ(listener->taken(), (Lines{"referrer leaf1", "referrer client", "referrer leaf1"}));
  EXPECT_EQ(keys(leaf_->referrer()), Lines{"client"});
}

TEST_F(Model, PlainAttributesOfAnElementNotifyWhenTheyChange) {
  const auto listener =
      Listener::on<NetworkElement::hostnameAttribute, NetworkElement::isSwitchElementAttribute,
                   NetworkElement::resourcesForHostnameAttribute>(*host_);
  listener->atLine("hostname", [&] { EXPECT_EQ(host_->hostname(), "web"); });
  const auto request = Velo::make<ResourcesForHostname>("web");
  for (int i = 0; i < 2; ++i) {
    host_->hostnameIs("web");
    host_->isSwitchElementIs(true);
    host_->resourcesForHostnameIs(request);
  }
  EXPECT_EQ(listener->taken(), (Lines{"hostname", "isSwitchElement", "resourcesForHostname"}));
  EXPECT_EQ(host_->resourcesForHostname(), request);
}

TEST_F(Model, TheEmptyHostnameStandsForNone) {
  const auto listener = Listener::on<NetworkElement::hostnameAttribute>(*host_);
  host_->hostnameIs("");
  EXPECT_TRUE(listener->taken().empty());
  host_->hostnameIs("web");
  host_->hostnameIs("");
  EXPECT_EQ(listener->taken(), (Lines{"hostname", "hostname"}));
  EXPECT_TRUE(host_->hostname().empty());
}

TEST_F(Model, PlainAttributesOfAPortNotifyWhenTheyChange) {
  const auto listener =
      Listener::on<Interface::isSwitchInterfaceAttribute, PhysicalInterface::discoveredAttribute,
                   PhysicalInterface::portGroupAttribute>(*port_);
  const auto group = leaf_->portGroupIs("po1");
  for (int i = 0; i < 2; ++i) {
    port_->isSwitchInterfaceIs(true);
    port_->discoveredIs(true);
    port_->portGroupIs(group);
  }
  port_->portGroupIs(nullptr);
  EXPECT_EQ(listener->taken(),
            (Lines{"isSwitchInterface", "discovered", "portGroup", "portGroup"}));
}

TEST_F(Model, ElementsAtTheFarEndStandUnderTheirOwnName) {
  const auto listener = Listener::on<PhysicalInterface::networkElementAttribute,
                                     PhysicalInterface::configuredElementAttribute,
                                     PhysicalInterface::discoveredElementAttribute>(*port_);
  for (int i = 0; i < 2; ++i) {
    port_->networkElementIs(host_);
    port_->configuredElementIs(host_);
    port_->discoveredElementIs(host_);
  }
  EXPECT_EQ(listener->taken(),
            (Lines{"networkElement srv1", "configuredElement srv1", "discoveredElement srv1"}));
  EXPECT_EQ(port_->networkElement("srv1"), host_);
  EXPECT_EQ(port_->configuredElementDel("srv1"), host_);
  EXPECT_FALSE(port_->configuredElementDel("srv1"));
  EXPECT_EQ(port_->networkElementDel("srv1"), host_);
  EXPECT_EQ(listener->taken(), (Lines{"configuredElement srv1", "networkElement srv1"}));
  EXPECT_THROW(port_->configuredElementIs(nullptr), Velo::NullPointerException);
}

TEST_F(Model, APortAndAGroupAreEntriesOfInterfaceUnderTheirNames) {
  const auto group = leaf_->portGroupIs("po1");
  const auto listener = Listener::on<NetworkElement::interfaceAttribute>(*leaf_);
  leaf_->interfaceIs(port_);
  leaf_->interfaceIs(group);
  leaf_->interfaceIs(group);
  EXPECT_EQ(leaf_->interface("e1"), port_);
  EXPECT_EQ(leaf_->interface("po1"), group);
  EXPECT_EQ(leaf_->interfaceDel("e1"), port_);
  EXPECT_EQ(listener->taken(), (Lines{"interface e1", "interface po1", "interface e1"}));
  EXPECT_EQ(leaf_->physicalInterface("e1"), port_);
}

TEST_F(Model, MembersOfAGroupStandUnderTheirOwnName) {
  const auto group = leaf_->portGroupIs("po1");
  const auto listener = Listener::on<PortGroup::memberInterfaceAttribute>(*group);
  group->memberInterfaceIs(port_);
  group->memberInterfaceIs(port_);
  EXPECT_EQ(group->memberInterface("e1"), port_);
  EXPECT_EQ(group->memberInterfaceDel("e1"), port_);
  EXPECT_FALSE(group->memberInterfaceDel("e1"));
  EXPECT_EQ(listener->taken(), (Lines{"memberInterface e1", "memberInterface e1"}));
}

TEST_F(Model, RemovingAllRemovesOneByOneInOrderEachWithItsNotification) {
  for (const U32 vlan : {30U, 10U, 20U}) {
    port_->vlanIs(vlan);
    port_->nativeVlanIs(vlan);
    leaf_->vlanIs(vlan);
  }
  port_->networkElementIs(host_);
  port_->networkElementIs(leaf_);
  port_->discoveredElementIs(host_);
  const auto group = leaf_->portGroupIs("po1");
  group->memberInterfaceIs(port_);
  group->memberInterfaceIs(leaf_->physicalInterfaceIs("e2"));

  const auto onPort = Listener::on<Interface::vlanAttribute, Interface::nativeVlanAttribute,
                                   PhysicalInterface::networkElementAttribute,
                                   PhysicalInterface::discoveredElementAttribute>(*port_);
  const auto onLeaf = Listener::on<NetworkElement::vlanAttribute>(*leaf_);
  const auto onGroup = Listener::on<PortGroup::memberInterfaceAttribute>(*group);
  onPort->atLine("vlan 30", [&] { EXPECT_EQ(keys(port_->vlan()), (Lines{"10", "20"})); });
  onPort->atLine("vlan 10", [&] { EXPECT_EQ(keys(port_->vlan()), Lines{"20"}); });
  port_->vlanDelAll();
  EXPECT_EQ(onPort->taken(), (Lines{"vlan 30", "vlan 10", "vlan 20"}));
  port_->nativeVlanDelAll();
  EXPECT_EQ(onPort->taken(), (Lines{"nativeVlan 30", "nativeVlan 10", "nativeVlan 20"}));
  port_->networkElementDelAll();
  EXPECT_EQ(onPort->taken(), (Lines{"networkElement srv1", "networkElement leaf1"}));
  port_->discoveredElementDelAll();
  EXPECT_EQ(onPort->taken(), Lines{"discoveredElement srv1"});
  leaf_->vlanDelAll();
  EXPECT_EQ(onLeaf->taken(), (Lines{"vlan 30", "vlan 10", "vlan 20"}));
  group->memberInterfaceDelAll();
  EXPECT_EQ(onGroup->taken(), (Lines{"memberInterface e1", "memberInterface e2"}));

  port_->vlanDelAll();
  leaf_->vlanDelAll();
  group->memberInterfaceDelAll();
  EXPECT_TRUE(onPort->taken().empty() && onLeaf->taken().empty() && onGroup->taken().empty());
}

TEST_F(Model, AKeyThatComesBackStandsAtTheEnd) {
  for (const U32 vlan : {1U, 2U, 3U}) leaf_->vlanIs(vlan);
  leaf_->vlanDel(1);
  leaf_->vlanIs(1);
  EXPECT_EQ(keys(leaf_->vlan()), (Lines{"2", "3", "1"}));
}

TEST_F(Model, ALookupOfAMissingKeyYieldsNullAndCreatesNothing) {
  const auto vlan = leaf_->vlanIs(10);
  EXPECT_FALSE(elements_->networkElement("nobody"));
  EXPECT_FALSE(leaf_->physicalInterface("e9") || leaf_->interface("e9") || leaf_->vlan(11));
  EXPECT_FALSE(vlan->mappedVni(5010) || vlan->domain(Client::ClientDomain()));
  EXPECT_EQ(elements_->networkElement().size(), 2U);
  EXPECT_EQ(leaf_->physicalInterface().size() + leaf_->vlan().size(), 2U);
  EXPECT_EQ(vlan->mappedVni().size() + vlan->domain().size(), 0U);
}

TEST_F(Model, ADomainOfTwoEmptyStringsIsAValidKey) {
  const auto vlan = leaf_->vlanIs(10);
  const auto domain = vlan->domainIs(Client::ClientDomain("", ""));
  EXPECT_EQ(vlan->domain(Client::ClientDomain()), domain);
  EXPECT_EQ(vlan->domainDel(Client::ClientDomain()), domain);
}

TEST_F(Model, AMergedRequestHasItsVlansAndItsReferrer) {
  const auto requests = Velo::make<RequestedResourcesCollection>();
  const auto listener =
      Listener::on<RequestedResourcesCollection::resourcesForHostnameAttribute>(*requests);
  const auto request = requests->resourcesForHostnameIs("web");
  EXPECT_EQ(requests->resourcesForHostnameIs("web"), request);
  request->referrerIs("ann");
  request->vlanIs(10)->referrerIs("ann");
  EXPECT_EQ(request->hostname(), "web");
  EXPECT_EQ(keys(request->vlan()), Lines{"10"});
  EXPECT_EQ(requests->resourcesForHostnameDel("web"), request);
  EXPECT_EQ(listener->taken(), (Lines{"resourcesForHostname web", "resourcesForHostname web"}));
}

TEST_F(Model, EntitiesPrintAsTheirOwnTypeWithTheirKey) {
  std::ostringstream out;
  const Velo::Ptr<Interface> base = port_;
  out << leaf_ << ' ' << base << ' ' << leaf_->vlanIs(10) << ' ' << elements_;
  EXPECT_EQ(
      out.str(),
      "Fabrion::NetworkElement(leaf1) Fabrion::PhysicalInterface(e1) Fabrion::DynamicVlan(10) "
      "Fabrion::NetworkElementCollection");
}

}  // namespace Fabrion::Test
