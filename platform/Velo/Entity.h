#pragma once
// The base of all entities, and the declaration of their attributes.
//
// An entity declares each attribute once, with one of the VELO_ lines at the end of this file. The
// line yields the storage, the accessor and the mutators under their names, and the type
// `xxxAttribute` by which a reactor's table names the attribute. All mutators go through the
// templates below: compare, store, notify stand once for each kind of attribute, and a value that
// is in place already notifies nobody.
//
//   VELO_KEY(Type, name)            fixed at creation
//   VELO_VALUE(Type, attr)          attr() attrIs(v): a plain value
//   VELO_POINTER(Type, attr)        attr() attrIs(p): a reference to an entity, may be null
//   VELO_CHILDREN(Key, Type, attr)  attr() attr(key) attrIs(key) attrDel(key) attrDelAll():
//                                   entities made here, by key
//   VELO_ENTRIES(Key, Type, attr)   attr() attr(key) attrIs(p) attrDel(key) attrDelAll():
//                                   entities filed under their own key
//   VELO_MAP(Key, Value, attr)      attr() attr(key) attrIs(key, v) attrDel(key) attrDelAll():
//                                   values
//   VELO_NAMES(attr)                attr() attr(name) attrIs(name) attrDel(name): a set of names
//
// The end of an entity: `destroy()` says that it is over, and may be said twice. Entities hold each
// other in circles (an interface knows the element at its far end, whose interface knows the
// first), so one that is over, has left the collection it lived in and is followed by nobody lets
// go of those references (`veloRelease`). Until all three hold it stays readable as it was.

#include <iosfwd>
#include <optional>
#include <ostream>
#include <type_traits>
#include <utility>

#include "platform/Nimbo/String.h"
#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Exceptions.h"
#include "platform/Velo/HashMap2018.h"
#include "platform/Velo/NotifieeList.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/Type.h"

namespace Velo {

class Entity : public PtrInterface {
 public:
  NotifieeList* notifieeList() const override { return &notifiees_; }
  void veloUnfollowed() const override { const_cast<Entity*>(this)->releaseIfOver(); }

  // The owning collection's word that the entity stands in it or has left it.
  void veloFiledIs(bool filed);

 protected:
  Entity() = default;

  // Tells the notifiees, in the middle of which this entity may lose its last other reference.
  void notify(AttributeId attribute, const void* key = nullptr) const {
    if (notifiees_.idle()) return;
    const Ptr<const Entity> self(this);
    notifiees_.visit(attribute, key);
  }
  // See the head of this file; the public destroy() of the entities that have one.
  void endIs();
  // Lets go of the references that may be part of a circle. Notifies nobody.
  virtual void veloRelease() {}

 private:
  template <class, class, class>
  friend class Children;
  template <class, class, class>
  friend class Entries;
  template <class, class, class>
  friend class Values;
  template <class>
  friend class Plain;

  void releaseIfOver();

  bool over_ = false;
  bool filed_ = false;
  mutable NotifieeList notifiees_;
};

// A plain value or a pointer.
template <class T>
class Plain {
 public:
  Plain() = default;
  explicit Plain(T initial) : value_(std::move(initial)) {}
  const T& get() const { return value_; }
  void is(const Entity& self, AttributeId id, const T& value) {
    if (value_ == value) return;
    // The old value goes after the notification: what it refers to may be what the change is about.
    [[maybe_unused]] const T old = std::exchange(value_, value);
    self.notify(id);
  }
  // Without a word; for the end of an entity.
  void forget() { value_ = T(); }

 private:
  T value_{};
};

// Entities made, owned and removed here.
template <class Tag, class Key, class Child>
class Children {
 public:
  using Map = HashMap2018<Tag, Key, Ptr<Child>>;
  Children() = default;
  Children(const Children&) = delete;
  Children& operator=(const Children&) = delete;
  ~Children() { forget(); }

  const Map& map() const { return map_; }
  Ptr<Child> at(const Key& key) const {
    const Ptr<Child>* child = map_.lookup(key);
    return child == nullptr ? Ptr<Child>() : *child;
  }
  Ptr<Child> is(const Entity& self, AttributeId id, const Key& key) {
    if (const Ptr<Child>* present = map_.lookup(key); present != nullptr) return *present;
    Ptr<Child> child(new Child(key));
    map_.insert(key, child);
    child->veloFiledIs(true);
    self.notify(id, &child->veloKey());
    return child;
  }
  Ptr<Child> del(const Entity& self, AttributeId id, const Key& key) {
    std::optional<Ptr<Child>> removed = map_.erase(key);
    if (!removed) return nullptr;
    Ptr<Child> child = std::move(*removed);
    child->veloFiledIs(false);
    self.notify(id, &child->veloKey());
    return child;
  }
  void delAll(const Entity& self, AttributeId id) {
    for (const Key& key : map_.keys()) del(self, id, key);
  }
  // Without a word; the children are over with the collection.
  void forget() {
    for (const Ptr<Child>& child : map_.values()) {
      child->veloFiledIs(false);
      if constexpr (requires { child->destroy(); }) child->destroy();
    }
    map_.clear();
  }

 private:
  Map map_;
};

// Entities that others own too, each under its own key.
template <class Tag, class Key, class Child>
class Entries {
 public:
  using Map = HashMap2018<Tag, Key, Ptr<Child>>;

  const Map& map() const { return map_; }
  Ptr<Child> at(const Key& key) const {
    const Ptr<Child>* child = map_.lookup(key);
    return child == nullptr ? Ptr<Child>() : *child;
  }
  Ptr<Child> is(const Entity& self, AttributeId id, const Ptr<Child>& child) {
    if (!child) throwMutatorArgNullPointerException(self.fwkType().name(), id.name());
    Ptr<Child> held = child;
    if (at(held->veloKey()) == held) return held;
    [[maybe_unused]] const auto displaced = map_.replace(held->veloKey(), held);
    self.notify(id, &held->veloKey());
    return held;
  }
  Ptr<Child> del(const Entity& self, AttributeId id, const Key& key) {
    std::optional<Ptr<Child>> removed = map_.erase(key);
    if (!removed) return nullptr;
    Ptr<Child> child = std::move(*removed);
    self.notify(id, &child->veloKey());
    return child;
  }
  void delAll(const Entity& self, AttributeId id) {
    for (const Key& key : map_.keys()) del(self, id, key);
  }
  void forget() { map_.clear(); }

 private:
  Map map_;
};

// Values under keys of any kind.
template <class Tag, class Key, class Value>
class Values {
 public:
  using Map = HashMap2018<Tag, Key, Value>;

  const Map& map() const { return map_; }
  const Value* at(const Key& key) const { return map_.lookup(key); }
  void is(const Entity& self, AttributeId id, const Key& key, const Value& value) {
    if (const Value* present = map_.lookup(key); present != nullptr && *present == value) return;
    // The notification outlives the caller's key, which may stand in an entry that a handler
    // removes.
    const Key own = key;
    [[maybe_unused]] const auto displaced = map_.replace(own, value);
    self.notify(id, &own);
  }
  bool del(const Entity& self, AttributeId id, const Key& key) {
    if (map_.lookup(key) == nullptr) return false;
    const Key own = key;
    [[maybe_unused]] const auto removed = map_.erase(own);
    self.notify(id, &own);
    return true;
  }
  void delAll(const Entity& self, AttributeId id) {
    for (const Key& key : map_.keys()) del(self, id, key);
  }
  void forget() { map_.clear(); }

 private:
  Map map_;
};

// A collection without values still has to store something.
struct Present {
  friend constexpr bool operator==(Present, Present) = default;
};

}  // namespace Velo

// First line of every entity: its full name, and memory from the tracked slabs.
#define VELO_ENTITY(Type, fullName)                                                               \
 public:                                                                                          \
  inline static const ::Velo::TypeRecord veloTypeRecord_{fullName};                               \
  ::Velo::VeloTypeBase fwkType() const override { return ::Velo::VeloTypeBase(veloTypeRecord_); } \
  static void* operator new(std::size_t size) { return ::Velo::trackedNew<Type>(size); }          \
  static void operator delete(void* memory, std::size_t size) noexcept {                          \
    ::Velo::trackedDelete<Type>(memory, size);                                                    \
  }                                                                                               \
                                                                                                  \
 private:

// How a table of reactions names an attribute and reads it.
#define VELO_ATTRIBUTE_PLAIN_(attr)                   \
  struct attr##Attribute {                            \
    using Key = void;                                 \
    static constexpr ::Velo::Attribute record{#attr}; \
    static constexpr ::Velo::AttributeId id{record};  \
  };
#define VELO_ATTRIBUTE_KEYED_(KeyType, attr)          \
  struct attr##Attribute {                            \
    using Key = KeyType;                              \
    static constexpr ::Velo::Attribute record{#attr}; \
    static constexpr ::Velo::AttributeId id{record};  \
    template <class E>                                \
    static const auto& all(E& entity) {               \
      return entity.attr();                           \
    }                                                 \
    template <class E>                                \
    static auto at(E& entity, const Key& key) {       \
      return entity.attr(key);                        \
    }                                                 \
  };

#define VELO_KEY(KeyType, attr)                       \
 public:                                              \
  const KeyType& attr() const { return attr##_; }     \
  const KeyType& veloKey() const { return attr##_; }  \
  void veloPrint(std::ostream& out) const override {  \
    out << fwkType().name() << '(' << attr##_ << ')'; \
  }                                                   \
                                                      \
 private:                                             \
  const KeyType attr##_;

#define VELO_VALUE(Type, attr)                                                        \
 public:                                                                              \
  VELO_ATTRIBUTE_PLAIN_(attr)                                                         \
  const Type& attr() const { return attr##_.get(); }                                  \
  void attr##Is(const Type& value) { attr##_.is(*this, attr##Attribute::id, value); } \
                                                                                      \
 private:                                                                             \
  ::Velo::Plain<Type> attr##_;

#define VELO_POINTER(Type, attr)                                                                   \
 public:                                                                                           \
  VELO_ATTRIBUTE_PLAIN_(attr)                                                                      \
  ::Velo::Ptr<Type> attr() { return attr##_.get(); }                                               \
  ::Velo::Ptr<std::add_const_t<Type>> attr() const { return attr##_.get(); }                       \
  void attr##Is(const ::Velo::Ptr<Type>& value) { attr##_.is(*this, attr##Attribute::id, value); } \
                                                                                                   \
 private:                                                                                          \
  ::Velo::Plain<::Velo::Ptr<Type>> attr##_;

#define VELO_CHILDREN(KeyType, Type, attr)                                                       \
 public:                                                                                         \
  struct attr##Tag;                                                                              \
  VELO_ATTRIBUTE_KEYED_(KeyType, attr)                                                           \
  const auto& attr() const { return attr##_.map(); }                                             \
  ::Velo::Ptr<Type> attr(const KeyType& key) { return attr##_.at(key); }                         \
  ::Velo::Ptr<std::add_const_t<Type>> attr(const KeyType& key) const { return attr##_.at(key); } \
  ::Velo::Ptr<Type> attr##Is(const KeyType& key) {                                               \
    return attr##_.is(*this, attr##Attribute::id, key);                                          \
  }                                                                                              \
  ::Velo::Ptr<Type> attr##Del(const KeyType& key) {                                              \
    return attr##_.del(*this, attr##Attribute::id, key);                                         \
  }                                                                                              \
  void attr##DelAll() { attr##_.delAll(*this, attr##Attribute::id); }                            \
                                                                                                 \
 private:                                                                                        \
  ::Velo::Children<attr##Tag, KeyType, Type> attr##_;

#define VELO_ENTRIES(KeyType, Type, attr)                                                        \
 public:                                                                                         \
  struct attr##Tag;                                                                              \
  VELO_ATTRIBUTE_KEYED_(KeyType, attr)                                                           \
  const auto& attr() const { return attr##_.map(); }                                             \
  ::Velo::Ptr<Type> attr(const KeyType& key) { return attr##_.at(key); }                         \
  ::Velo::Ptr<std::add_const_t<Type>> attr(const KeyType& key) const { return attr##_.at(key); } \
  ::Velo::Ptr<Type> attr##Is(const ::Velo::Ptr<Type>& entry) {                                   \
    return attr##_.is(*this, attr##Attribute::id, entry);                                        \
  }                                                                                              \
  ::Velo::Ptr<Type> attr##Del(const KeyType& key) {                                              \
    return attr##_.del(*this, attr##Attribute::id, key);                                         \
  }                                                                                              \
  void attr##DelAll() { attr##_.delAll(*this, attr##Attribute::id); }                            \
                                                                                                 \
 private:                                                                                        \
  ::Velo::Entries<attr##Tag, KeyType, Type> attr##_;

#define VELO_MAP(KeyType, Type, attr)                                                         \
 public:                                                                                      \
  struct attr##Tag;                                                                           \
  VELO_ATTRIBUTE_KEYED_(KeyType, attr)                                                        \
  const auto& attr() const { return attr##_.map(); }                                          \
  const Type* attr(const KeyType& key) const { return attr##_.at(key); }                      \
  void attr##Is(const KeyType& key, const Type& value) {                                      \
    attr##_.is(*this, attr##Attribute::id, key, value);                                       \
  }                                                                                           \
  bool attr##Del(const KeyType& key) { return attr##_.del(*this, attr##Attribute::id, key); } \
  void attr##DelAll() { attr##_.delAll(*this, attr##Attribute::id); }                         \
                                                                                              \
 private:                                                                                     \
  ::Velo::Values<attr##Tag, KeyType, Type> attr##_;

#define VELO_NAMES(attr)                                                                      \
 public:                                                                                      \
  struct attr##Tag;                                                                           \
  VELO_ATTRIBUTE_KEYED_(::Nimbo::String, attr)                                                \
  const auto& attr() const { return attr##_.map(); }                                          \
  const ::Velo::Present* attr(const ::Nimbo::String& name) const { return attr##_.at(name); } \
  void attr##Is(const ::Nimbo::String& name) {                                                \
    attr##_.is(*this, attr##Attribute::id, name, ::Velo::Present());                          \
  }                                                                                           \
  bool attr##Del(const ::Nimbo::String& name) {                                               \
    return attr##_.del(*this, attr##Attribute::id, name);                                     \
  }                                                                                           \
                                                                                              \
 private:                                                                                     \
  ::Velo::Values<attr##Tag, ::Nimbo::String, ::Velo::Present> attr##_;
