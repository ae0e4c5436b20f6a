#include "platform/Velo/Reactor.h"

namespace Velo {

void ReactorBase::hasNotificationActiveIs(bool active) {
  if (active == hasNotificationActive()) return;
  NotifieeConst::hasNotificationActiveIs(active);
  groups_.each([active](Group& group) { group.activeIs(active); });
}

void ReactorBase::zombieIs(bool requested, CleanupFaults faults) {
  if (veloMarkedForDeletion() == requested) return;
  if (notifierBase() != nullptr) hasNotificationActiveIs(!requested);
  cleanup(faults);
  groups_.each([=](Group& group) { group.zombieIs(requested, faults); });
  veloMarkedForDeletionIs(requested);
}

void ReactorBase::cleanup(CleanupFaults faults) {
  if (!built_) return;
  for (const Reaction& row : table()) {
    if (row.kind != Reaction::Kind::cleanup) continue;
    if (faults == CleanupFaults::pass) {
      row.steps[0].run(*this, nullptr);
      continue;
    }
    try {
      row.steps[0].run(*this, nullptr);
    } catch (...) {
      // An object is ending: there is nobody left to tell, and the others still have to clean up.
    }
  }
}

void ReactorBase::onZeroReferences() {
  zombieIs(true, CleanupFaults::keep);
  groups_.each([](Group& group) { group.detach(); });
  isRegisteredNotifieeIs(false);
}

void ReactorBase::build(const PtrInterface* entity) {
  notifierIs(entity);
  isRegisteredNotifieeIs(true);
  if (entity != nullptr) {
    for (const Reaction& row : table()) {
      for (const Step& step : row.steps) {
        // Only the reactor's own children: those of the owner are the owner's to fill.
        if (step.kind != Step::Kind::follow) continue;
        const Group* target = step.target(*this);
        bool own = false;
        groups_.each([&](Group& group) { own = own || &group == target; });
        if (own) step.fill(*this);
      }
    }
    for (const Reaction& row : table()) {
      if (row.kind == Reaction::Kind::built) row.steps[0].run(*this, nullptr);
    }
  }
  built_ = true;
}

void ReactorBase::rebind(const PtrInterface* entity) {
  if (entity == notifierBase()) return;
  notifierIs(entity);
  if (entity != nullptr) {
    for (const Reaction& row : table()) {
      for (const Step& step : row.steps) {
        if (step.kind != Step::Kind::follow) continue;
        step.fill(*this);
        step.prune(*this);
      }
    }
    for (const Reaction& row : table()) {
      if (row.kind != Reaction::Kind::change || !row.plain) continue;
      for (const Step& step : row.steps) {
        if (step.kind == Step::Kind::call && !veloMarkedForDeletion()) step.run(*this, nullptr);
      }
    }
  }
  isRegisteredNotifieeIs(true);
}

void ReactorBase::fill(const Group& target) {
  for (const Reaction& row : table()) {
    for (const Step& step : row.steps) {
      if (step.kind == Step::Kind::follow && step.target(*this) == &target) step.fill(*this);
    }
  }
}

}  // namespace Velo
