#include "host/Interruptions.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "platform/Velo/Entity.h"

namespace Fabrion::Host {

// What is told of the changes of one entity. A change is told when it has been made, so what stands
// then is what the entity says.
class Interruptions::Follower : public Velo::PtrInterface::NotifieeConst {
 public:
  void veloDoZombieReactors(bool requested) override { veloMarkedForDeletionIs(requested); }

 protected:
  Follower(const Velo::Entity& entity, std::size_t& count) : count_(count) {
    notifierIs(&entity);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }

  void went(std::size_t number) { count_ += number; }
  // Only those of `list` that stand are still worth a look.
  void keep(Vlans& list, const Vlans& standing) {
    Vlans left;
    std::set_intersection(list.begin(), list.end(), standing.begin(), standing.end(),
                          std::back_inserter(left));
    went(list.size() - left.size());
    list = std::move(left);
  }
  // The value under the key has to be `standing`, null for none.
  template <class Map, class Value>
  void keep(Map& map, const typename Map::key_type& key, const Value* standing) {
    const auto found = map.find(key);
    if (found == map.end()) return;
    if (standing != nullptr && standing->value() == found->second) return;
    went(1);
    map.erase(found);
  }

 private:
  std::size_t& count_;
};

class Interruptions::OfPorts : public Follower {
 public:
  using Config = ControllerProxyAgent::PortVlanConfigV1;

  OfPorts(const Config& config, SwitchOutputs& staying, std::size_t& count)
      : Follower(config, count), config_(config), staying_(staying) {}

  void onAttribute(Velo::AttributeId attribute, const void* key) override {
    if (attribute == Config::vlanListAttribute::id) {
      if (!staying_.vlans.empty()) keep(staying_.vlans, vlansOf(config_.vlanList().value().view()));
      return;
    }
    const auto& port = *static_cast<const Nimbo::String*>(key);
    if (attribute == Config::portNativeVlanAttribute::id) {
      keep(staying_.nativeVlan, std::string(port.view()), config_.portNativeVlan(port));
      return;
    }
    const auto list = staying_.allowedVlans.find(std::string(port.view()));
    if (list == staying_.allowedVlans.end() || list->second.empty()) return;
    const auto* const standing = config_.portAllowedVlanList(port);
    keep(list->second, standing == nullptr ? Vlans() : vlansOf(standing->value().view()));
  }

 private:
  const Config& config_;
  SwitchOutputs& staying_;
};

// The mappings of one VTEP.
class Interruptions::OfMappings : public Follower {
 public:
  OfMappings(const VxlanController::VtepConfigV2& config, SwitchOutputs::MappingsOfPort& staying,
             std::size_t& count)
      : Follower(config, count), config_(config), staying_(staying) {}

  void onAttribute(Velo::AttributeId /*attribute*/, const void* key) override {
    const auto& at = *static_cast<const VxlanController::PortVlanPairV2*>(key);
    const auto port = staying_.find(std::string(at.port().view()));
    if (port != staying_.end()) keep(port->second, at.vlan().value(), config_.vlanToVniMap(at));
  }

 private:
  const VxlanController::VtepConfigV2& config_;
  SwitchOutputs::MappingsOfPort& staying_;
};

// VTEPs that go with all their mappings.
class Interruptions::OfVteps : public Follower {
 public:
  OfVteps(const VxlanController::VtepConfigDirV2& configs, SwitchOutputs& staying,
          std::size_t& count)
      : Follower(configs, count), configs_(configs), staying_(staying) {}

  void onAttribute(Velo::AttributeId /*attribute*/, const void* key) override {
    const auto& name = *static_cast<const Nimbo::String*>(key);
    const auto vtep = staying_.vteps.find(std::string(name.view()));
    if (vtep == staying_.vteps.end() || configs_.vtepConfig(name)) return;
    for (const auto& [port, mappings] : vtep->second) went(mappings.size());
    vtep->second.clear();
  }

 private:
  const VxlanController::VtepConfigDirV2& configs_;
  SwitchOutputs& staying_;
};

template <class Made, class... Arguments>
void Interruptions::follow(Arguments&&... arguments) {
  followers_.push_back(Velo::make<Made>(std::forward<Arguments>(arguments)..., count_));
}

Interruptions::Interruptions(const Controller& controller, FabricOutputs staying)
    : staying_(std::move(staying)) {
  for (auto& [name, outputs] : staying_) {
    const auto found = controller.switches().find(name);
    if (found == controller.switches().end()) continue;
    const Switches::Switch& one = found->second;
    follow<OfPorts>(std::as_const(*one.portVlanConfig), outputs);
    follow<OfVteps>(std::as_const(*one.vtepConfigDir), outputs);
    for (auto& [vtep, mappings] : outputs.vteps) {
      if (mappings.empty()) continue;
      const auto config = one.vtepConfigDir->vtepConfig(Nimbo::String(vtep));
      if (config) follow<OfMappings>(std::as_const(*config), mappings);
    }
  }
}

Interruptions::~Interruptions() = default;

}  // namespace Fabrion::Host
