#pragma once
// Follows chosen attributes of one entity and writes down each notification, "vlan 10",
// "discovered"; a test may look at the entity at that very moment.

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"

namespace Fabrion::Test {

class Listener : public Velo::PtrInterface::NotifieeConst {
 public:
  // One attribute to follow: Listener::to<NetworkElement::vlanAttribute>().
  struct Row {
    Velo::AttributeId id;
    std::string (*key)(const void* key);
  };
  template <class Attribute>
  static Row to() {
    return {Attribute::id, [](const void* key) {
              return print(static_cast<const typename Attribute::Key*>(key));
            }};
  }

  Listener(const Velo::PtrInterface& entity, std::vector<Row> rows) : rows_(std::move(rows)) {
    notifierIs(&entity);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  template <class... Attributes>
  static Velo::Ptr<Listener> on(const Velo::PtrInterface& entity) {
    return Velo::make<Listener>(entity, std::vector<Row>{to<Attributes>()...});
  }

  std::vector<std::string> taken() { return std::exchange(lines_, {}); }
  // Runs once, in the notification that writes this line.
  void atLine(const std::string& line, std::function<void()> action) {
    at_[line] = std::move(action);
  }

  void onAttribute(Velo::AttributeId attribute, const void* key) override {
    for (const Row& row : rows_) {
      if (!(row.id == attribute)) continue;
      const std::string line = attribute.name() + row.key(key);
      lines_.push_back(line);
      if (auto found = at_.extract(line)) found.mapped()();
    }
  }
  void veloDoZombieReactors(bool requested) override { veloMarkedForDeletionIs(requested); }

 private:
  template <class Key>
  static std::string print(const Key* key) {
    std::ostringstream out;
    out << ' ' << *key;
    return out.str();
  }
  static std::string print(const void* /*no key*/) { return ""; }

  std::vector<Row> rows_;
  std::vector<std::string> lines_;
  std::map<std::string, std::function<void()>> at_;
};

}  // namespace Fabrion::Test
