#pragma once
// Makes the generic access of a machine class from its members: `TypeImpl<T>` has one row maker for
// each kind of attribute. A row is a struct of constants and function pointers (Type.h); the class'
// table of them, in declared order, is its place in generic access.
//
//   using Row = Velo::TypeImpl<PortGroupSm>;
//   constexpr Velo::AttributeRecord attributes[] = {
//       Row::argument<&PortGroupSm::intfName_>("intfName"), ...
//       Row::reactors<&PortGroupSm::memberInterface_>("memberInterface"),
//       Row::handler<&PortGroupSm::handleMemberInterface>("handleMemberInterface", {"intfName"}),
//       ...};

#include <initializer_list>
#include <memory>
#include <type_traits>
#include <utility>

#include "platform/Velo/Machine.h"
#include "platform/Velo/ReactorCollection.h"
#include "platform/Velo/Type.h"

namespace Velo {

// The name of a handler's parameter type; specialised beside each type that handlers take.
template <class T>
struct TypeName;
template <>
struct TypeName<U32> {
  static constexpr const char* value = "U32";
};
template <>
struct TypeName<Nimbo::String> {
  static constexpr const char* value = "Nimbo::String";
};

template <class T>
class TypeImpl {
 public:
  // Makes a machine from pointers to its constructor arguments, which have the types of the
  // creator.
  template <class... Args>
  static Ptr<PtrInterface> genericIfConstructFromCtorArgs(void* const* args) {
    return construct<Args...>(args, std::index_sequence_for<Args...>());
  }

  // A constructor argument or another plain value.
  template <auto Member>
  static constexpr AttributeRecord argument(const char* name) {
    return {name, AttributeKind::constructorArgument, &plainOp<Member>};
  }
  template <auto Member>
  static constexpr AttributeRecord value(const char* name) {
    return {name, AttributeKind::state, &plainOp<Member>};
  }
  // An attribute of an entity, with the mutator that clients use.
  template <auto Get, auto Set>
  static constexpr AttributeRecord attribute(const char* name) {
    return {name, AttributeKind::state, &attributeOp<Get, Set>};
  }
  // A reactor on a constructor argument, seen as the entity that it follows.
  template <auto Member>
  static constexpr AttributeRecord argumentReactor(const char* name) {
    return {name, AttributeKind::constructorArgument, &plainOp<Member>};
  }
  template <auto Member, auto Set, auto Del>
  static constexpr AttributeRecord settableReactor(const char* name) {
    return {name, AttributeKind::state, &settableOp<Member, Set, Del>};
  }
  template <auto Member>
  static constexpr AttributeRecord reactors(const char* name) {
    return {name, AttributeKind::collection, &collectionOp<Member>, &iterateReactors<Member>};
  }
  template <auto Member>
  static constexpr AttributeRecord ownedMachine(const char* name) {
    return {name, AttributeKind::ownedChild, &ownedOp<Member>};
  }
  template <auto Member>
  static constexpr AttributeRecord ownedMachines(const char* name) {
    return {name, AttributeKind::ownedChildren, &collectionOp<Member>, &iterateMachines<Member>};
  }
  // A handler without arguments, with one, or with two; `names` are those of its parameters.
  template <auto Handler>
  static constexpr AttributeRecord handler(const char* name,
                                           std::initializer_list<const char*> names = {}) {
    return invocable(name, AttributeKind::handler, &handlerOp<Handler>, Handler, names);
  }
  // A handler with a form that takes an argument and a form that takes none.
  template <auto Handler, auto Bare>
  static constexpr AttributeRecord handlerWithBareForm(const char* name,
                                                       std::initializer_list<const char*> names) {
    AttributeRecord row =
        invocable(name, AttributeKind::handler, &bareFormOp<Handler, Bare>, Handler, names);
    row.argumentOptional = true;
    return row;
  }
  // One reactor class, for the wiring.
  template <class R>
  static constexpr ReactorRecord reactor(const char* name, const char* heldIn) {
    return {name, &R::Entity::veloTypeRecord_, heldIn, &R::reactions};
  }
  template <auto Function>
  static constexpr AttributeRecord constFunction(const char* name,
                                                 std::initializer_list<const char*> names) {
    return invocable(name, AttributeKind::constFunction, &handlerOp<Function>, Function, names);
  }

 private:
  static constexpr int done = AttributeRecord::done;
  static constexpr int unsupported = AttributeRecord::unsupported;

  static T& self(PtrInterface* object) { return static_cast<T&>(*object); }

  template <class... Args, std::size_t... I>
  static Ptr<PtrInterface> construct(void* const* args, std::index_sequence<I...>) {
    return T::create(*static_cast<const Args*>(args[I])...);
  }

  template <class V>
  static void give(void* result, const V& value) {
    *static_cast<V*>(result) = value;
  }
  template <class E>
  static void give(void* result, const Ptr<E>& entity) {
    *static_cast<Ptr<const PtrInterface>*>(result) = entity;
  }
  template <class R>
  static void give(void* result, const SingleReactor<R>& reactor) {
    give(result, reactor.entity());
  }

  template <auto Member>
  static int plainOp(void* result, PtrInterface* object, AttributeOp op, void* /*key*/,
                     void* /*value*/) {
    if (op != AttributeOp::get) return unsupported;
    give(result, self(object).*Member);
    return done;
  }

  template <auto Get, auto Set>
  static int attributeOp(void* result, PtrInterface* object, AttributeOp op, void* /*key*/,
                         void* value) {
    using V = std::remove_cvref_t<decltype((self(object).*Get)())>;
    if (op == AttributeOp::get) {
      give(result, (self(object).*Get)());
    } else if (op == AttributeOp::set) {
      if constexpr (std::is_null_pointer_v<decltype(Set)>) {
        return unsupported;
      } else {
        (self(object).*Set)(*static_cast<const V*>(value));
      }
    } else {
      return unsupported;
    }
    return done;
  }

  template <auto Member, auto Set, auto Del>
  static int settableOp(void* result, PtrInterface* object, AttributeOp op, void* /*key*/,
                        void* value) {
    using Value = decltype((self(object).*Member).entity());
    switch (op) {
      case AttributeOp::get:
        give(result, (self(object).*Member).entity());
        return done;
      case AttributeOp::set:
        (self(object).*Set)(*static_cast<const Value*>(value));
        return done;
      case AttributeOp::del:
        (self(object).*Del)();
        return done;
      default:
        return unsupported;
    }
  }

  template <class R>
  static Ptr<const PtrInterface> element(
      const Ptr<R>& reactor) requires std::is_base_of_v<ReactorBase, R> {
    return reactor ? Ptr<const PtrInterface>(reactor->notifier()) : nullptr;
  }
  template <class M>
  static Ptr<PtrInterface> element(
      const Ptr<M>& machine) requires std::is_base_of_v<MachineBase, M> {
    return machine;
  }

  // Reactors and owned machines alike: both are found, counted and removed by key.
  template <auto Member>
  static int collectionOp(void* result, PtrInterface* object, AttributeOp op, void* key,
                          void* value) {
    auto& collection = self(object).*Member;
    using Collection = std::remove_reference_t<decltype(collection)>;
    using Key = typename Collection::Key;
    switch (op) {
      case AttributeOp::get: {
        if (key == nullptr) return unsupported;
        auto found = element(collection.at(*static_cast<const Key*>(key)));
        *static_cast<decltype(found)*>(result) = found;
        return done;
      }
      case AttributeOp::set:
        if constexpr (requires { typename Collection::Entity; }) {
          collection.is(*static_cast<const Ptr<typename Collection::Entity>*>(value));
          return done;
        }
        return unsupported;
      case AttributeOp::del:
        if (key == nullptr) {
          collection.delAll();
        } else {
          collection.del(*static_cast<const Key*>(key));
        }
        return done;
      case AttributeOp::count:
        *static_cast<U64*>(result) = collection.map().size();
        return done;
      case AttributeOp::secondSize:
        *static_cast<U64*>(result) = collection.map().capacity();
        return done;
      case AttributeOp::contains:
        if (key == nullptr) return unsupported;
        *static_cast<bool*>(result) =
            collection.map().lookup(*static_cast<const Key*>(key)) != nullptr;
        return done;
      default:
        return unsupported;
    }
  }

  template <auto Member>
  static int ownedOp(void* result, PtrInterface* object, AttributeOp op, void* /*key*/,
                     void* /*value*/) {
    switch (op) {
      case AttributeOp::get:
        *static_cast<Ptr<PtrInterface>*>(result) = (self(object).*Member).machine();
        return done;
      case AttributeOp::del:
        (self(object).*Member).del();
        return done;
      default:
        return unsupported;
    }
  }

  template <class... Params>
  static constexpr AttributeRecord invocable(const char* name, AttributeKind kind,
                                             decltype(AttributeRecord::op) op,
                                             void (T::*)(Params...),
                                             std::initializer_list<const char*> names) {
    return withParameters<Params...>({name, kind, op}, names);
  }
  template <class Result, class... Params>
  static constexpr AttributeRecord invocable(const char* name, AttributeKind kind,
                                             decltype(AttributeRecord::op) op,
                                             Result (T::*)(Params...) const,
                                             std::initializer_list<const char*> names) {
    return withParameters<Params...>({name, kind, op}, names);
  }
  template <class... Params>
  static constexpr AttributeRecord withParameters(AttributeRecord row,
                                                  std::initializer_list<const char*> names) {
    const char* const types[] = {TypeName<std::remove_cvref_t<Params>>::value..., nullptr};
    for (const char* parameter : names) {
      row.parameters[row.parameterCount] = {parameter, types[row.parameterCount]};
      ++row.parameterCount;
    }
    return row;
  }

  template <auto Handler>
  static int handlerOp(void* result, PtrInterface* object, AttributeOp op, void* key,
                       void* /*value*/) {
    if (op != AttributeOp::invoke) return unsupported;
    if constexpr (!requires { (self(object).*Handler)(); }) {
      if (key == nullptr) return unsupported;  // there is no form without an argument
    }
    run(result, self(object), Handler, key);
    return done;
  }
  template <auto Handler, auto Bare>
  static int bareFormOp(void* result, PtrInterface* object, AttributeOp op, void* key,
                        void* /*value*/) {
    if (op != AttributeOp::invoke) return unsupported;
    if (key == nullptr) {
      (self(object).*Bare)();
    } else {
      run(result, self(object), Handler, key);
    }
    return done;
  }

  static void run(void* /*result*/, T& object, void (T::*handler)(), void* /*key*/) {
    (object.*handler)();
  }
  template <class P>
  static void run(void* /*result*/, T& object, void (T::*handler)(P), void* key) {
    (object.*handler)(*static_cast<const std::remove_cvref_t<P>*>(key));
  }
  template <class P, class Q>
  static void run(void* /*result*/, T& object, void (T::*handler)(P, Q), void* key) {
    void* const* keys = static_cast<void* const*>(key);
    (object.*handler)(*static_cast<const std::remove_cvref_t<P>*>(keys[0]),
                      *static_cast<const std::remove_cvref_t<Q>*>(keys[1]));
  }
  template <class Result, class P>
  static void run(void* result, T& object, Result (T::*function)(P) const, void* key) {
    const Result value = (object.*function)(*static_cast<const std::remove_cvref_t<P>*>(key));
    if (result != nullptr) *static_cast<Result*>(result) = value;
  }

  // Both walks stand on the stale-safe iterator of the map.
  template <class Collection>
  class Iterator : public GenericIterator {
   public:
    explicit Iterator(Collection& collection) : at_(collection.map()) {}
    bool nonnull() const override { return static_cast<bool>(at_); }
    const void* key() override {
      if (!at_) return nullptr;
      if constexpr (requires { typename Collection::Entity; }) {
        const auto entity = at_.currNodeMaybeStale()->value()->notifier();
        key_ = entity ? entity->veloKey() : typename Collection::Key();
        return &key_;
      } else {
        return &at_.currNodeMaybeStale()->key();
      }
    }
    Ptr<const PtrInterface> object() const override {
      const auto* node = at_.currNodeNonStale();
      return node == nullptr ? nullptr : Ptr<const PtrInterface>(element(node->value()));
    }
    void inc() override { at_.advance(); }

   private:
    typename Collection::Map::ConstIterator at_;
    typename Collection::Key key_{};
  };

  template <auto Member>
  static std::unique_ptr<GenericIterator> iterateReactors(PtrInterface* object) {
    return iterator(self(object).*Member);
  }
  template <auto Member>
  static std::unique_ptr<GenericIterator> iterateMachines(PtrInterface* object) {
    return iterator(self(object).*Member);
  }
  template <class Collection>
  static std::unique_ptr<GenericIterator> iterator(Collection& collection) {
    return std::make_unique<Iterator<Collection>>(collection);
  }
};

}  // namespace Velo
