#include "platform/Velo/Machine.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Velo {

namespace {

std::string plainName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return status == 0 ? text.get() : type.name();
}

}  // namespace

void throwMutatorArgNullPointerException(const std::type_info& owner, const char* attribute) {
  throwMutatorArgNullPointerException(plainName(owner).c_str(), attribute);
}

namespace Impl {

void throwMutatorReinstantiating(const std::type_info& owner, const char* attribute,
                                 const Nimbo::String& key) {
  throwMutatorReinstantiating(plainName(owner).c_str(), attribute, std::string(key.view()));
}

}  // namespace Impl

void MachineBase::hasNotificationActiveIs(bool active) {
  if (active == hasNotificationActive()) return;
  PtrInterface::hasNotificationActiveIs(active);
  groups_.each([active](Group& group) { group.activeIs(active); });
}

void MachineBase::zombieIs(bool requested, CleanupFaults faults) {
  if (veloMarkedForDeletion() == requested) return;
  groups_.each([=](Group& group) { group.zombieIs(requested, faults); });
  veloMarkedForDeletionIs(requested);
}

void MachineBase::buildReactors() {
  groups_.each([](Group& group) { group.build(); });
}

void MachineBase::replay() {
  groups_.each(
      [this](Group& target) { groups_.each([&target](Group& source) { source.fill(target); }); });
}

void MachineBase::zeroReferencesIs(bool zero) {
  if (!zero) return;
  if (built_) {
    try {
      built_ = false;  // an end that somebody interrupts by taking a reference does not begin anew
      cleanupAtEnd();
    } catch (...) {
      // The machine is ending: there is nobody left to tell, and its reactors still have to clean
      // up.
    }
  }
  zombieIs(true, CleanupFaults::keep);
  groups_.each([](Group& group) { group.dropMachines(); });
  groups_.each([](Group& group) { group.detach(); });
}

}  // namespace Velo
