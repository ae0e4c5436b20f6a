#pragma once
// A reactor: what a machine, or another reactor, registers on an entity to be told of its changes.
//
// A reactor class derives from Reactor<itself, its owner, its entity>, states its table of
// reactions (Reaction.h) and has handlers. Everything else stands here, once: delivery by the
// table, building with children, re-binding to another entity, marking with cleanup, and the end.
//
// Marking (`veloDoZombieReactors`): delivery off, then the cleanup handler, while the children are
// whole and unmarked, then the children, and last the mark. With false it revives, and runs the
// cleanup as well.

#include <utility>

#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Fault.h"
#include "platform/Velo/Group.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/Reaction.h"

namespace Velo {

// The part of a reactor that needs no types.
class ReactorBase : public PtrInterface::NotifieeConst {
 public:
  void hasNotificationActiveIs(bool active) override;
  void onZeroReferences() override;
  void veloDoZombieReactors(bool requested) override { zombieIs(requested, CleanupFaults::pass); }

  // As veloDoZombieReactors; with `keep` each cleanup on the way down is guarded on its own.
  void zombieIs(bool requested, CleanupFaults faults);

  // For the reactor collections declared in a reactor class.
  Groups& veloGroups() { return groups_; }

 protected:
  ReactorBase() = default;

  virtual std::span<const Reaction> table() const = 0;

  // Runs the steps of the attribute's row, if there is one.
  void deliver(std::span<const Reaction> rows, AttributeId attribute, const void* key) {
    for (const Reaction& row : rows) {
      if (row.kind != Reaction::Kind::change || !(row.attribute == attribute)) continue;
      for (const Step& step : row.steps) {
        if (step.kind == Step::Kind::none) break;
        if (step.kind == Step::Kind::call && veloMarkedForDeletion()) continue;
        step.run(*this, key);
      }
      return;
    }
  }

  // Binds the new reactor, with children and the `built` step of the table. With null it stays
  // unbound, to be pointed at an entity by rebind().
  void build(const PtrInterface* entity);
  // Points to another entity: children in line, handlers of plain attributes, registered last.
  void rebind(const PtrInterface* entity);
  // Runs the follow steps that keep `target` in line.
  void fill(const Group& target);

 private:
  void cleanup(CleanupFaults faults);

  Groups groups_;
  // Construction finished; a reactor that failed before it runs no cleanup of its own.
  bool built_ = false;
};

template <class Self, class OwnerT, class EntityT>
class Reactor : public ReactorBase {
 public:
  using Owner = OwnerT;
  using Entity = EntityT;

  // The entity followed; null when there is none.
  Ptr<Entity> notifier() const { return Ptr<Entity>(entity()); }

  // Here, where the table is a constant that the compiler sees, steps become plain calls.
  void onAttribute(AttributeId attribute, const void* key) override {
    deliver(Self::reactions(), attribute, key);
  }

  static void* operator new(std::size_t size) { return trackedNew<Self>(size); }
  static void operator delete(void* memory, std::size_t size) noexcept {
    trackedDelete<Self>(memory, size);
  }

 protected:
  // The enclosing machine or reactor; ends the process when it has let go of this reactor.
  Owner& owner(const char* function = __builtin_FUNCTION()) const {
    if (ownerBase() == nullptr) fault(function, "the owner of the reactor");
    return *static_cast<Owner*>(ownerBase());
  }

  template <auto Handler>
  struct Call {
    const char* name;
  };
  template <auto Collection>
  struct Follow {
    const char* name;
  };

  template <auto Handler>
  static constexpr Call<Handler> call(const char* name) {
    return {name};
  }
  template <auto Collection>
  static constexpr Follow<Collection> follow(const char* name) {
    return {name};
  }

  template <class Attr, class... Steps>
  static constexpr Reaction on(Steps... steps) {
    static_assert(sizeof...(steps) <= Reaction::maxSteps, "a row has room for maxSteps steps");
    return Reaction{Reaction::Kind::change,
                    Attr::id,
                    std::is_void_v<typename Attr::Key>,
                    {step<Attr>(steps)...}};
  }
  template <auto Handler>
  static constexpr Reaction built(const char* name) {
    return Reaction{
        Reaction::Kind::built, {}, true, {Step{Step::Kind::call, name, &runOwn<Handler>}}};
  }
  template <auto Handler>
  static constexpr Reaction cleanup(const char* name) {
    return Reaction{
        Reaction::Kind::cleanup, {}, true, {Step{Step::Kind::call, name, &runOwn<Handler>}}};
  }

 private:
  template <class R>
  friend class SingleReactor;
  template <class R>
  friend class ReactorCollection;

  std::span<const Reaction> table() const override { return Self::reactions(); }

  Entity* entity() const { return static_cast<Entity*>(const_cast<PtrInterface*>(notifierBase())); }
  void attach(Owner* owner) {
    ownerIs(owner, std::is_base_of_v<PtrInterface::NotifieeConst, Owner>);
  }
  // Marks a reactor that has left its owner's attribute. An exception out of a cleanup passes on
  // and leaves the reactor to clean up once more as it dies, for which it needs its owner.
  void markLeft() {
    try {
      zombieIs(true, CleanupFaults::pass);
    } catch (...) {
      keepOwner();
      throw;
    }
  }

  template <class C>
  static C* receiver(PtrInterface::NotifieeConst& base) {
    auto& self = static_cast<Self&>(base);
    if constexpr (std::is_base_of_v<C, Self>) {
      return &self;
    } else {
      static_assert(std::is_same_v<C, Owner>, "a step runs on the reactor or on its owner");
      return static_cast<C*>(static_cast<Reactor&>(self).ownerBase());
    }
  }

  // Who holds the collection that a follow step keeps in line with `entity`; null when the step
  // must not run. Asked before each change of the collection: a handler that ran meanwhile may have
  // let go of the reactor, or pointed it to another entity.
  template <class Holder>
  static Holder* follower(PtrInterface::NotifieeConst& base, const Ptr<Entity>& entity) {
    const auto& self = static_cast<const Reactor&>(base);
    if (!entity || self.ownerBase() == nullptr || self.notifierBase() != entity.get())
      return nullptr;
    return receiver<Holder>(base);
  }

  template <class M>
  struct MemberOf;
  template <class C, class M>
  struct MemberOf<M C::*> {
    using Class = C;
  };

  template <auto Handler>
  static void runOwn(PtrInterface::NotifieeConst& base, const void* /*key*/) {
    (static_cast<Self&>(base).*Handler)();
  }

  template <class Attr, auto Handler>
  static constexpr Step step(Call<Handler> call) {
    return Step{Step::Kind::call, call.name,
                [](PtrInterface::NotifieeConst& base, const void* key) {
                  auto* target = receiver<typename MemberOf<decltype(Handler)>::Class>(base);
                  if (target == nullptr) return;
                  using Key = typename Attr::Key;
                  if constexpr (std::is_void_v<Key>) {
                    (target->*Handler)();
                  } else if constexpr (std::is_invocable_v<decltype(Handler), decltype(*target),
                                                           const Key&>) {
                    (target->*Handler)(*static_cast<const Key*>(key));
                  } else {
                    (target->*Handler)();
                  }
                }};
  }

  template <class Attr, auto Collection>
  static constexpr Step step(Follow<Collection> follow) {
    using Holder = typename MemberOf<decltype(Collection)>::Class;
    return Step{Step::Kind::follow,
                follow.name,
                [](PtrInterface::NotifieeConst& base, const void* key) {
                  const auto entity = static_cast<Self&>(base).notifier();
                  auto* holder = follower<Holder>(base, entity);
                  if (holder == nullptr) return;
                  const auto& at = *static_cast<const typename Attr::Key*>(key);
                  if (auto element = Attr::at(*entity, at)) {
                    (holder->*Collection).is(element);
                  } else {
                    (holder->*Collection).del(at);
                  }
                },
                [](PtrInterface::NotifieeConst& base) {
                  const auto entity = static_cast<Self&>(base).notifier();
                  if (!entity) return;
                  for (const auto& element : Attr::all(*entity).values()) {
                    auto* holder = follower<Holder>(base, entity);
                    if (holder == nullptr) return;
                    (holder->*Collection).is(element);
                  }
                },
                [](PtrInterface::NotifieeConst& base) {
                  const auto entity = static_cast<Self&>(base).notifier();
                  auto* holder = follower<Holder>(base, entity);
                  if (holder == nullptr) return;
                  for (const auto& key : (holder->*Collection).map().keys()) {
                    if (follower<Holder>(base, entity) == nullptr) return;
                    if (!Attr::at(*entity, key)) (holder->*Collection).del(key);
                  }
                },
                [](PtrInterface::NotifieeConst& base) -> const Group* {
                  auto* holder = receiver<Holder>(base);
                  return holder == nullptr ? nullptr : &(holder->*Collection);
                }};
  }
};

}  // namespace Velo
