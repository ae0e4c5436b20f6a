#pragma once
// Someone who follows the outputs of a controller, and turns to those of the next one when they are
// handed over: keeps a journal of the entries that come and go, each at the moment it does.

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "host/Controller.h"
#include "host/Outputs.h"
#include "platform/Velo/Entity.h"

namespace Fabrion::Test {

class OutputFollower {
 public:
  using Entries = std::set<std::string>;

  OutputFollower() = default;
  OutputFollower(const OutputFollower&) = delete;
  OutputFollower& operator=(const OutputFollower&) = delete;

  void follow(const Host::Controller& controller) {
    controller_ = &controller;
    reactors_.clear();
    followed_.clear();
    look();
  }

  const Entries& entries() const { return entries_; }
  // "+ ENTRY" and "- ENTRY", in their order, since the last call.
  std::vector<std::string> taken() { return std::exchange(journal_, {}); }

  static Entries entriesOf(const Host::FabricOutputs& outputs) {
    Entries entries;
    for (const auto& [name, one] : outputs) {
      for (const U16 vlan : one.vlans) entries.insert(name + " vlan " + std::to_string(vlan));
      for (const auto& [port, vlans] : one.allowedVlans) {
        for (const U16 vlan : vlans) {
          entries.insert(name + " " + port + " allows " + std::to_string(vlan));
        }
      }
      for (const auto& [port, vlan] : one.nativeVlan) {
        entries.insert(name + " " + port + " native " + std::to_string(vlan));
      }
      for (const auto& [vtep, ports] : one.vteps) {
        for (const auto& [port, vnis] : ports) {
          for (const auto& [vlan, vni] : vnis) {
            entries.insert(name + " " + vtep + " " + port + " " + std::to_string(vlan) + " to " +
                           std::to_string(vni));
          }
        }
      }
    }
    return entries;
  }

 private:
  class Reactor : public Velo::PtrInterface::NotifieeConst {
   public:
    Reactor(const Velo::Entity& entity, OutputFollower& owner) : owner_(owner) {
      notifierIs(&entity);
      isRegisteredNotifieeIs(true);
      hasNotificationActiveIs(true);
    }
    void onAttribute(Velo::AttributeId /*attribute*/, const void* /*key*/) override {
      owner_.look();
    }
    void veloDoZombieReactors(bool requested) override { veloMarkedForDeletionIs(requested); }

   private:
    OutputFollower& owner_;
  };

  void add(const Velo::Entity& entity) {
    if (followed_.insert(&entity).second) reactors_.push_back(Velo::make<Reactor>(entity, *this));
  }

  void look() {
    for (const auto& [name, one] : controller_->switches()) {
      add(*one.portVlanConfig);
      add(*one.vtepConfigDir);
      for (const auto& vtep : one.vtepConfigDir->vtepConfig().items()) add(*vtep.value());
    }
    Entries now = entriesOf(Host::outputsOf(*controller_));
    for (const std::string& entry : entries_) {
      if (!now.contains(entry)) journal_.push_back("- " + entry);
    }
    for (const std::string& entry : now) {
      if (!entries_.contains(entry)) journal_.push_back("+ " + entry);
    }
    entries_ = std::move(now);
  }

  const Host::Controller* controller_ = nullptr;
  std::vector<Velo::Ptr<Reactor>> reactors_;
  std::set<const Velo::Entity*> followed_;
  Entries entries_;
  std::vector<std::string> journal_;
};

}  // namespace Fabrion::Test
