#pragma once
// A machine: a counted object with constructor attributes, reactors, owned machines and handlers.
//
// A machine class derives from Machine<itself>. Its constructor stores plain attributes and hands
// entities to their reactors (`constructorArgumentIs`); its members, declared with the lines of
// ReactorCollection.h and of this file, are the groups that the base walks. The base builds the
// machine in the fixed order
//
//   reactors on constructor arguments, each active at once; beforeReplay() where the class has it;
//   a reactor for each element of the collections followed; handleInitialized() where the class has
//   it; notifications on
//
// and ends it: doCleanup() where the class says `cleansUpAtEnd`, all reactors marked in order of
// declaration, owned machines dropped, reactors detached. Each cleanup of an end is guarded on its
// own.

#include <optional>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "platform/Nimbo/String.h"
#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Group.h"
#include "platform/Velo/HashMap2018.h"
#include "platform/Velo/ReactorCollection.h"
#include "platform/Velo/Type.h"

namespace Velo {

namespace Impl {
// Raises ReinstantiatingException for an attribute of a machine class.
[[noreturn]] void throwMutatorReinstantiating(const std::type_info& owner, const char* attribute,
                                              const Nimbo::String& key);
}  // namespace Impl

class MachineBase : public PtrInterface {
 public:
  void hasNotificationActiveIs(bool active) override;
  void zeroReferencesIs(bool zero) override;
  // Marks or revives the machine's reactors, in order of declaration, and then the machine.
  virtual void veloDoZombieReactors(bool requested) { zombieIs(requested, CleanupFaults::pass); }

  Groups& veloGroups() { return groups_; }

 protected:
  MachineBase() = default;

  // The class' doCleanup(), if the end of the machine runs it.
  virtual void cleanupAtEnd() = 0;

  void buildReactors();
  void replay();

  bool built_ =
      false;  // construction finished; a machine that failed before it runs no cleanup of its own

 private:
  void zombieIs(bool requested, CleanupFaults faults);

  Groups groups_;
};

template <class Self>
class Machine : public MachineBase {
 public:
  VeloTypeBase fwkType() const override { return VeloTypeBase(Self::veloTypeRecord()); }

  static void* operator new(std::size_t size) { return trackedNew<Self>(size); }
  static void operator delete(void* memory, std::size_t size) noexcept {
    trackedDelete<Self>(memory, size);
  }

  // The creator: makes, builds and activates a machine. An exception out of its handlers passes on
  // after the machine has ended what was built of it.
  template <class... Args>
  static Ptr<Self> create(const Args&... args) {
    Ptr<Self> machine(new Self(args...));
    machine->buildReactors();
    if constexpr (requires { machine->beforeReplay(); }) machine->beforeReplay();
    machine->replay();
    if constexpr (requires { machine->handleInitialized(); }) machine->handleInitialized();
    machine->built_ = true;
    machine->hasNotificationActiveIs(true);
    return machine;
  }

 private:
  void cleanupAtEnd() override {
    if constexpr (requires { Self::cleansUpAtEnd; }) static_cast<Self*>(this)->doCleanup();
  }
};

// One owned machine.
template <class M>
class OwnedMachine : public Group {
 public:
  template <class Owner>
  OwnedMachine(Owner& owner, const char* name) : Group(name) {
    owner.veloGroups().add(*this);
  }

  Ptr<M> machine() const { return machine_; }
  // The present machine if it was made for these very arguments, otherwise a new one in its place.
  template <class... Args>
  Ptr<M> is(const Args&... args) {
    if (machine_ && machine_->isFor(args...)) return machine_;
    Ptr<M> fresh = M::create(args...);
    const Ptr<M> old = std::exchange(machine_, fresh);
    fresh->hasNotificationActiveIs(true);
    return fresh;
  }
  // Takes the machine out and switches its notifications off; it ends with its last reference.
  Ptr<M> del() {
    Ptr<M> old = std::exchange(machine_, nullptr);
    if (old) old->hasNotificationActiveIs(false);
    return old;
  }

  // A machine's switch reaches its reactors; the machines it owns are active from their creator on.
  void activeIs(bool /*active*/) override {}
  void dropMachines() override { del(); }

 private:
  Ptr<M> machine_;
};

// Owned machines by name, one for each entity of a collection.
template <class M>
class OwnedMachines : public Group {
 public:
  using Key = Nimbo::String;
  using Map = HashMap2018<M, Key, Ptr<M>>;

  template <class Owner>
  OwnedMachines(Owner& owner, const char* name) : Group(name), ownerType_(typeid(Owner)) {
    owner.veloGroups().add(*this);
  }

  const Map& map() const { return map_; }
  Ptr<M> at(const Key& key) const {
    const Ptr<M>* machine = map_.lookup(key);
    return machine == nullptr ? Ptr<M>() : *machine;
  }
  // The machine of that name, made if there is none. Raises ReinstantiatingException when the
  // present one was made for another entity.
  template <class E>
  Ptr<M> is(const Key& name, const Ptr<E>& entity) {
    if (Ptr<M> present = at(name)) {
      if (!present->isFor(name, entity)) {
        Impl::throwMutatorReinstantiating(ownerType_, this->name(), name);
      }
      return present;
    }
    const Key key = name;
    Ptr<M> fresh = M::create(key, entity);
    const std::optional<Ptr<M>> displaced = map_.replace(key, fresh);
    return fresh;
  }
  // As OwnedMachine::del.
  Ptr<M> del(const Key& name) {
    std::optional<Ptr<M>> removed = map_.erase(name);
    if (!removed) return nullptr;
    Ptr<M> machine = std::move(*removed);
    machine->hasNotificationActiveIs(false);
    return machine;
  }
  void delAll() {
    for (const Key& key : map_.keys()) del(key);
  }

  // As for OwnedMachine.
  void activeIs(bool /*active*/) override {}
  void dropMachines() override { map_.clear(); }

 private:
  const std::type_info& ownerType_;
  Map map_;
};

}  // namespace Velo

#define VELO_OWNED_MACHINE(MachineType, attr)                         \
 public:                                                              \
  ::Velo::Ptr<MachineType> attr() const { return attr##_.machine(); } \
  template <class... Args>                                            \
  ::Velo::Ptr<MachineType> attr##Is(const Args&... args) {            \
    return attr##_.is(args...);                                       \
  }                                                                   \
  ::Velo::Ptr<MachineType> attr##Del() { return attr##_.del(); }      \
                                                                      \
 private:                                                             \
  ::Velo::OwnedMachine<MachineType> attr##_{*this, #attr};

#define VELO_OWNED_MACHINES(MachineType, attr)                                                   \
 public:                                                                                         \
  const ::Velo::OwnedMachines<MachineType>::Map& attr() const { return attr##_.map(); }          \
  ::Velo::Ptr<MachineType> attr(const ::Nimbo::String& name) const { return attr##_.at(name); }  \
  template <class E>                                                                             \
  ::Velo::Ptr<MachineType> attr##Is(const ::Nimbo::String& name, const ::Velo::Ptr<E>& entity) { \
    return attr##_.is(name, entity);                                                             \
  }                                                                                              \
  ::Velo::Ptr<MachineType> attr##Del(const ::Nimbo::String& name) { return attr##_.del(name); }  \
  void attr##DelAll() { attr##_.delAll(); }                                                      \
                                                                                                 \
 private:                                                                                        \
  ::Velo::OwnedMachines<MachineType> attr##_{*this, #attr};
