#pragma once
// What the tests of the client machines have in common: a look at sets of names and ids, a party
// that acts ahead of a machine, and two clients on the ports of a switch.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "clients/ClientResourcesForSwitchportSm.h"

namespace Fabrion::Test::Clients {

template <class Set>
std::vector<std::string> names(const Set& referrer) {
  std::vector<std::string> all;
  for (const Nimbo::String& name : referrer.keys()) all.emplace_back(name.view());
  return all;
}

template <class Map>
std::vector<U32> ids(const Map& entries) {
  std::vector<U32> all;
  for (const U32 id : entries.keys()) all.push_back(id);
  return all;
}

// Another party that follows an entity, and acts on it before those who follow it later.
class Bystander : public Velo::PtrInterface::NotifieeConst {
 public:
  Bystander(const Velo::PtrInterface* entity, std::function<void()> act) : act_(std::move(act)) {
    notifierIs(entity);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Velo::AttributeId /*attribute*/, const void* /*key*/) override { act_(); }
  void veloDoZombieReactors(bool /*requested*/) override {}

 private:
  const std::function<void()> act_;
};

// Clients acme and zenith ask for things on ports of the switch leaf1.
class ClientOfASwitchport : public testing::Test {
 protected:
  using Request = Velo::Ptr<Fabrion::Client::ResourcesForSwitchport>;
  using Client = Velo::Ptr<Fabrion::Agent::ClientResourcesForSwitchportSm>;

  Request request() { return Velo::make<Fabrion::Client::ResourcesForSwitchport>(); }
  Client client(const char* name, const Request& request, const char* port = "e1") {
    return Fabrion::Agent::ClientResourcesForSwitchportSm::ClientResourcesForSwitchportSmIs(
        name, Fabrion::Client::SwitchInterface("leaf1", port), request, elements_);
  }
  static void ask(const Request& request, U32 nativeVlan) {
    request->nativeVlanIs(Velo::make<Fabrion::Client::UntaggedVlan>(nativeVlan));
  }

  Velo::Ptr<Fabrion::NetworkElement> leaf() { return elements_->networkElement("leaf1"); }
  Velo::Ptr<Fabrion::PhysicalInterface> port(const char* name = "e1") {
    return Velo::required(leaf(), "the element of the switch")->physicalInterface(name);
  }
  Velo::Ptr<Fabrion::DynamicVlan> port(U32 vlan) {
    return Velo::required(port(), "the port")->vlan(vlan);
  }
  // What topology does with a port that it finds.
  void discover(const char* name) {
    elements_->networkElementIs("leaf1")->physicalInterfaceIs(name)->discoveredIs(true);
    leaf()->referrerIs("leaf1", true);
  }

  const Fabrion::Client::ClientDomain red_{"shop", "red"};
  const Fabrion::Client::ClientDomain blue_{"shop", "blue"};
  Velo::Ptr<Fabrion::NetworkElementCollection> elements_ =
      Velo::make<Fabrion::NetworkElementCollection>();
};
using ClientOfASwitchportDeathTest = ClientOfASwitchport;

// Beginnings of the lines that the machine traces.
inline const std::string machine = "3 ClientResourcesForSwitchportSm::";
inline const std::string reactor = "3 ClientResourcesForSwitchportSm::VeloHostVlan::";

}  // namespace Fabrion::Test::Clients
