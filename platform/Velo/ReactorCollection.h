#pragma once
// The attributes of a machine or a reactor that hold reactors.
//
// `SingleReactor` is for one entity, given to the constructor or set later; `ReactorCollection` for
// one reactor per element of a collection, under the element's key. Both are declared with the
// lines at the end of this file, which yield the storage and the operations under their names.

#include <optional>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "platform/Velo/Exceptions.h"
#include "platform/Velo/HashMap2018.h"
#include "platform/Velo/Reactor.h"
#include "platform/Velo/Type.h"

namespace Velo {

// Raises NullPointerException for an attribute of a machine or reactor class.
[[noreturn]] void throwMutatorArgNullPointerException(const std::type_info& owner,
                                                      const char* attribute);

template <class R>
class SingleReactor : public Group {
 public:
  using Entity = typename R::Entity;
  using Owner = typename R::Owner;

  SingleReactor(Owner& owner, const char* name) : Group(name), owner_(owner) {
    owner.veloGroups().add(*this);
  }

  // A constructor argument: build() makes its reactor, which follows it for the machine's life.
  void constructorArgumentIs(Ptr<Entity> entity) { argument_ = std::move(entity); }

  // The entity followed; null when there is no reactor.
  Ptr<Entity> entity() const { return reactor_ ? reactor_->notifier() : Ptr<Entity>(); }
  Ptr<R> reactor() const { return reactor_; }

  // Follows `entity` from now on, or nothing with null, then runs `handler` of the owner. An entity
  // that is followed already changes nothing and runs nothing.
  void is(const Ptr<Entity>& entity, void (Owner::*handler)()) {
    if (this->entity() == entity && (entity || !reactor_)) return;
    const Ptr<const PtrInterface> owner(&owner_);
    if (!entity) {
      const Ptr<R> old = std::exchange(reactor_, nullptr);
      old->markLeft();
      (owner_.*handler)();
      old->attach(nullptr);
      return;
    }
    if (!reactor_) {
      const Ptr<R> fresh(new R);
      fresh->attach(&owner_);
      fresh->build(nullptr);
      fresh->hasNotificationActiveIs(true);
      reactor_ = fresh;
    }
    const Ptr<R> held = reactor_;
    held->rebind(entity.get());
    // One that a handler has let go of meanwhile stays as it is: only what is followed may be
    // revived.
    if (held == reactor_) held->zombieIs(owner_.veloMarkedForDeletion(), CleanupFaults::pass);
    (owner_.*handler)();
  }

  // Stops following, then runs `handler` of the owner. Nothing happens when nothing is followed.
  Ptr<Entity> del(void (Owner::*handler)()) {
    if (!reactor_) return nullptr;
    const Ptr<const PtrInterface> owner(&owner_);
    const Ptr<R> old = std::exchange(reactor_, nullptr);
    Ptr<Entity> entity = old->notifier();
    old->markLeft();
    (owner_.*handler)();
    old->attach(nullptr);
    old->hasNotificationActiveIs(false);
    return entity;
  }

  void build() override {
    if (!argument_) return;
    const Ptr<R> fresh(new R);
    fresh->attach(&owner_);
    fresh->build(std::exchange(argument_, nullptr).get());
    fresh->hasNotificationActiveIs(true);
    reactor_ = fresh;
  }
  void fill(const Group& target) override {
    const Ptr<R> held = reactor_;
    if (held) held->fill(target);
  }
  void activeIs(bool active) override {
    if (reactor_) reactor_->hasNotificationActiveIs(active);
  }
  void zombieIs(bool requested, CleanupFaults faults) override {
    const Ptr<R> held = reactor_;
    if (held) held->zombieIs(requested, faults);
  }
  void detach() override {
    const Ptr<R> held = std::exchange(reactor_, nullptr);
    if (held) held->attach(nullptr);
  }

 private:
  Owner& owner_;
  Ptr<Entity> argument_;
  Ptr<R> reactor_;
};

template <class R>
class ReactorCollection : public Group {
 public:
  using Entity = typename R::Entity;
  using Owner = typename R::Owner;
  using Key = std::remove_cvref_t<decltype(std::declval<const Entity&>().veloKey())>;
  using Map = HashMap2018<R, Key, Ptr<R>>;

  ReactorCollection(Owner& owner, const char* name) : Group(name), owner_(owner) {
    owner.veloGroups().add(*this);
  }

  const Map& map() const { return map_; }
  // The reactor at the key, null when there is none.
  Ptr<R> at(const Key& key) const {
    const Ptr<R>* reactor = map_.lookup(key);
    return reactor == nullptr ? Ptr<R>() : *reactor;
  }

  // Gives the entity its reactor. One that follows it already is left alone; one that follows
  // another entity under the same key is pointed to this one. Raises NullPointerException.
  void is(const Ptr<Entity>& entity) {
    if (!entity) throwMutatorArgNullPointerException(typeid(Owner), name());
    const Ptr<const PtrInterface> owner(&owner_);
    const Ptr<Entity> held = entity;
    const Key& key = held->veloKey();
    if (const Ptr<R> present = at(key)) {
      if (present->notifier() == held) return;
      present->rebind(held.get());
      // One that a handler has let go of meanwhile stays as it is: only what is followed may be
      // revived.
      if (at(key) == present)
        present->zombieIs(owner_.veloMarkedForDeletion(), CleanupFaults::pass);
      return;
    }
    const Ptr<R> fresh(new R);
    fresh->attach(&owner_);
    fresh->build(held.get());
    fresh->hasNotificationActiveIs(true);
    const std::optional<Ptr<R>> displaced = map_.replace(key, fresh);
    fresh->zombieIs(owner_.veloMarkedForDeletion(), CleanupFaults::pass);
    if (displaced) {
      // A handler that ran while the reactor was built has made one for the same key.
      (*displaced)->markLeft();
      (*displaced)->attach(nullptr);
    }
  }

  // Lets go of the reactor at the key: marks it, which runs its cleanup with the owner still known,
  // detaches it and returns the entity it followed. Null, and nothing happens, when there is none.
  Ptr<Entity> del(const Key& key) {
    std::optional<Ptr<R>> removed = map_.erase(key);
    if (!removed) return nullptr;
    const Ptr<const PtrInterface> owner(&owner_);
    const Ptr<R> reactor = std::move(*removed);
    reactor->markLeft();
    reactor->attach(nullptr);
    reactor->hasNotificationActiveIs(false);
    return reactor->notifier();
  }

  void delAll() {
    for (const Key& key : map_.keys()) del(key);
  }

  void activeIs(bool active) override {
    for (const Ptr<R>& reactor : map_.values()) reactor->hasNotificationActiveIs(active);
  }
  void zombieIs(bool requested, CleanupFaults faults) override {
    for (const Ptr<R>& reactor : map_.values()) reactor->zombieIs(requested, faults);
  }
  void detach() override {
    for (const Ptr<R>& reactor : map_.values()) reactor->attach(nullptr);
    map_.clear();
  }

 private:
  Owner& owner_;
  Map map_;
};

}  // namespace Velo

// A reactor on a constructor argument.
#define VELO_REACTOR(ReactorType, attr)                                      \
 public:                                                                     \
  ::Velo::Ptr<ReactorType::Entity> attr() const { return attr##_.entity(); } \
                                                                             \
 private:                                                                    \
  ::Velo::SingleReactor<ReactorType> attr##_{*this, #attr};

// A reactor on an entity that is set and taken away while the machine runs; `handler` runs at each
// change.
#define VELO_SETTABLE_REACTOR(ReactorType, attr, handler)                                         \
 public:                                                                                          \
  ::Velo::Ptr<ReactorType::Entity> attr() const { return attr##_.entity(); }                      \
  void attr##Is(const ::Velo::Ptr<ReactorType::Entity>& entity) { attr##_.is(entity, &handler); } \
  ::Velo::Ptr<ReactorType::Entity> attr##Del() { return attr##_.del(&handler); }                  \
                                                                                                  \
 private:                                                                                         \
  ::Velo::SingleReactor<ReactorType> attr##_{*this, #attr};

// A reactor for each element of a collection; `veloName` looks one up.
#define VELO_REACTORS(ReactorType, attr, veloName)                                              \
 public:                                                                                        \
  void attr##Is(const ::Velo::Ptr<ReactorType::Entity>& entity) { attr##_.is(entity); }         \
  ::Velo::Ptr<ReactorType::Entity> attr##Del(                                                   \
      const ::Velo::ReactorCollection<ReactorType>::Key& key) {                                 \
    return attr##_.del(key);                                                                    \
  }                                                                                             \
  void attr##DelAll() { attr##_.delAll(); }                                                     \
  ::Velo::Ptr<ReactorType> veloName(const ::Velo::ReactorCollection<ReactorType>::Key& key)     \
      const {                                                                                   \
    return attr##_.at(key);                                                                     \
  }                                                                                             \
  const ::Velo::ReactorCollection<ReactorType>::Map& veloName() const { return attr##_.map(); } \
                                                                                                \
 private:                                                                                       \
  ::Velo::ReactorCollection<ReactorType> attr##_{*this, #attr};
