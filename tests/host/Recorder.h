#pragma once
// Writes down what one entity notifies, for tests of what an operation does and in which order.

#include <functional>
#include <string>
#include <vector>

#include "platform/Velo/Entity.h"

namespace Fabrion::Test {

class Recorder : public Velo::PtrInterface::NotifieeConst {
 public:
  // The log outlives the recorder. `look`, where given, adds what it sees at the moment of a
  // notification.
  static Velo::Ptr<Recorder> on(const Velo::Entity& entity, std::vector<std::string>& log,
                                std::function<std::string()> look = {}) {
    auto recorder = Velo::make<Recorder>(log, std::move(look));
    recorder->notifierIs(&entity);
    recorder->isRegisteredNotifieeIs(true);
    recorder->hasNotificationActiveIs(true);
    return recorder;
  }

  Recorder(std::vector<std::string>& log, std::function<std::string()> look)
      : log_(log), look_(std::move(look)) {}

  void onAttribute(Velo::AttributeId attribute, const void* /*key*/) override {
    log_.push_back(look_ ? attribute.name() + (" " + look_()) : attribute.name());
  }
  void veloDoZombieReactors(bool /*requested*/) override {}

 private:
  std::vector<std::string>& log_;
  std::function<std::string()> look_;
};

}  // namespace Fabrion::Test
