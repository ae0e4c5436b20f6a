#pragma once
// The hash collection of the runtime: every collection attribute, every collection of machines and
// of reactors is one. HashMapCore.h holds slots, index and walkers, the part that does not depend
// on key and value; Hash.h says how keys are hashed.
//
//   HashMap2018      block, one allocation
//  +----------+     +------------------------------------------------+
//  | block  --+---->| size=2  used=3  first=0  capacity=4  live=101  |
//  +----------+     | walkers: o                                     |
//                   | hashes:  |  h0    |       |   h2    |          |
//                   | entries: |  k0 v0 | (gap) |   k2 v2 |          |
//                   +----------|----^-------------------------------+
//                              |    |
//                              +--> iterator <-> iterator ...  on the stack of whoever walks
//
// So with 4 slots and 8; one or two need no hashes, and more than 8 have an index besides.
//
// Order. Iteration follows the order of insertion. A key that is removed and inserted again stands
// at the end; a value that is replaced under its key keeps its place. A walk under way reaches what
// is added behind it.
//
// Iterators never keep the collection from being changed: anything may be inserted, erased,
// replaced or cleared under them, and the collection itself may die. The element on which an
// iterator stands, key and value, stays readable while the iterator stands on it, also by a plain
// reference, and stays in its place. Other nodes move when the collection grows or closes its gaps.
// In short, for a handler that calls others:
//
//   for (decltype(vlan_)::Iterator it(vlan_); it; it.advance()) {
//     const U32 id = it.currNodeMaybeStale()->key();  // readable whatever happened
//     if (auto* node = it.currNodeNonStale()) ...     // still there, with its value of now
//   }
//   for (const Nimbo::String& name : port_.keys()) drop(name);  // the same, shorter
//
// Foreign code. Destructors of keys and values run after the collection is consistent again, as the
// last thing a function does, so they may look at it, change it and destroy it. Copying and moving
// keys and values, and comparing keys, must leave it alone.
//
// Cost. Lookup is O(1), insert and erase amortised O(1): about one in as many of them as there are
// elements moves the entries, in O(size) and O(size) more per iterator; so does the replacement of
// a value on which an iterator stands. Up to eight elements, a handful of entries may move each
// time. A step of a walk is O(1) on average. Lookup and iteration allocate nothing. Not for use by
// several threads.

#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/Velo/Hash.h"
#include "platform/Velo/HashMapCore.h"
#include "platform/Velo/Relocate.h"
#include "platform/Velo/Types.h"

namespace Velo {

// `Tag` is only a name; it makes each collection a type of its own. `Key` is copyable, has
// operator== and a Velo::Hash; both are movable without exceptions, so that handing a value over,
// or moving to another block, never fails half-way. A value that cannot be copied goes with its
// element to another block, and leaves a moved-from one to an iterator that stands on it.
template <class Tag, class Key, class Value>
class HashMap2018 {
  template <bool IsConst>
  class BasicIterator;
  enum class Shows { keys, values, items };
  template <Shows What>
  class Walk;
  template <Shows What>
  class Range;

 public:
  class Node;
  // For collections that may be changed, and for any. Both change nothing themselves.
  using Iterator = BasicIterator<false>;
  using ConstIterator = BasicIterator<true>;
  // The value that an operation took out, or nothing.
  using Change = std::optional<Value>;

  HashMap2018() = default;
  HashMap2018(const HashMap2018&) = delete;
  HashMap2018& operator=(const HashMap2018&) = delete;
  // Removes all elements in order. Iterators end at their next step and keep what they stand on.
  ~HashMap2018() { clear(); }

  std::size_t size() const { return core_.size(); }
  // Elements, gaps included, for which the collection holds slots now.
  std::size_t capacity() const { return core_.capacity(); }
  bool empty() const { return core_.size() == 0; }

  // The element under the key, or null. Good until the collection is next changed, or longer while
  // an iterator stands on it. O(1).
  Node* find(const Key& key) { return static_cast<Node*>(entry(key)); }
  const Node* find(const Key& key) const { return static_cast<const Node*>(entry(key)); }

  // The value under the key, or null; good as long as a node of find(). O(1).
  Value* lookup(const Key& key) {
    Node* const node = find(key);
    return node == nullptr ? nullptr : &node->value();
  }
  const Value* lookup(const Key& key) const {
    const Node* const node = find(key);
    return node == nullptr ? nullptr : &node->value();
  }

  // `key` may be that of an element, but no part of a value here: values move. Adds an element at
  // the end. False, and nothing is changed, when the key is present; an
  // exception out of the allocation or a copy changes nothing either. Amortised O(1).
  bool insert(const Key& key, Value value) {
    const Place at = place(key);
    if (at.slot != none) return false;
    append(at, key, std::move(value));
    return true;
  }

  // Puts the value under the key and returns the one displaced. An element that was there keeps its
  // place; a new one stands at the end. An iterator on the element goes on showing the old value,
  // currNodeNonStale() the new; a value that cannot be copied goes to the caller and leaves the
  // iterator a moved-from one. An exception changes nothing. Amortised O(1), and O(size) where an
  // iterator stands on the element.
  template <class V>
  Change replace(const Key& key, V&& newValue) {
    Value value(std::forward<V>(newValue));
    const Place at = place(key);
    if (at.slot == none) {
      append(at, key, std::move(value));
      return std::nullopt;
    }
    Node* node = nodeAt(at);
    if (core_.pinned(type, at.slot)) {
      core_.unpin(type);
      node = nodeAt(place(key));
    }
    Change displaced(std::move(node->value_));
    std::destroy_at(&node->value_);
    std::construct_at(&node->value_, std::move(value));
    return displaced;
  }

  // Removes the element under the key and hands over its value; nothing when the key is absent.
  // `key` may be that of the element itself. Where an iterator stands on the element the value is
  // copied, so that it stays readable there; one that cannot be copied is moved all the same.
  // Amortised O(1).
  Change erase(const Key& key) {
    const Place at = place(key);
    if (at.slot == none) return std::nullopt;
    Node* const node = nodeAt(at);
    if (core_.pinned(type, at.slot)) {
      Change value = handOver(*node);
      core_.takeOut(type, at);
      return value;
    }
    // The key is destroyed last, after the collection has been put in order.
    Node gone(std::move(*node));
    node->~Node();
    core_.takeOut(type, at);
    return Change(std::move(gone.value_));
  }

  // Removes all elements, one after the other in order, each gone from the collection before it is
  // destroyed. What a destructor inserts meanwhile is removed as well. O(size).
  void clear() {
    if (empty()) return;
    Impl::HashMapWatch watch(core_);  // NOLINT(misc-const-correctness): others change it
    while (watch.attached() && !empty()) {
      const Place at = core_.first(type);
      Node* const node = nodeAt(at);
      if (core_.pinned(type, at.slot)) {
        core_.takeOut(type, at);
        continue;
      }
      const Node gone(std::move(*node));
      node->~Node();
      core_.takeOut(type, at);
    }
  }

  // Ranges for a range-for loop, whose variable stays readable through the body whatever happens.
  // The collection must live when the loop starts. keys() and items() show also an element that is
  // gone when the loop comes to it, as a destructor of the one before can bring about; values()
  // passes over it, and shows the value of now.
  Range<Shows::keys> keys() const { return Range<Shows::keys>(*this); }
  Range<Shows::values> values() const { return Range<Shows::values>(*this); }
  Range<Shows::items> items() const { return Range<Shows::items>(*this); }

 private:
  using Place = Impl::HashMapCore::Place;
  static constexpr U32 none = Impl::HashMapBlock::none;

  void* entry(const Key& key) const {
    return core_.lookup(
        type, [&key] { return Hash<Key>::of(key); },
        [&key](const void* node) { return static_cast<const Node*>(node)->key_ == key; });
  }
  Place place(const Key& key) const {
    return core_.find(
        type, [&key] { return Hash<Key>::of(key); },
        [&key](const void* node) { return static_cast<const Node*>(node)->key_ == key; });
  }
  Node* nodeAt(Place at) const {
    return at.slot == none ? nullptr : static_cast<Node*>(core_.entry(type, at.slot));
  }

  void append(Place at, const Key& key, Value&& value) {
    if (core_.full()) [[unlikely]]
      at = core_.make(type, Hash<Key>::of(key));
    ::new (core_.room(type)) Node(key, std::move(value));
    core_.commit(type, at);
  }
  static Change handOver(Node& node) {
    if constexpr (std::is_copy_constructible_v<Value>) {
      return Change(std::as_const(node.value_));
    } else {
      return Change(std::move(node.value_));
    }
  }

  static const Impl::HashMapType type;

  Impl::HashMapCore core_;
};

// An element.
template <class Tag, class Key, class Value>
class HashMap2018<Tag, Key, Value>::Node {
 public:
  const Key& key() const { return key_; }
  Value& value() { return value_; }
  const Value& value() const { return value_; }

 private:
  friend class HashMap2018;

  Node(const Key& key, Value&& value) : key_(key), value_(std::move(value)) {}
  Node(Node&& other) noexcept : key_(std::move(other.key_)), value_(std::move(other.value_)) {}
  ~Node() = default;

  static void relocate(void* to, void* from) noexcept {
    Node* const node = static_cast<Node*>(from);
    ::new (to) Node(std::move(*node));
    node->~Node();
  }
  static void copy(void* to, void* from) {
    Node* const node = static_cast<Node*>(from);
    if constexpr (std::is_copy_constructible_v<Value>) {
      ::new (to) Node(node->key_, Value(std::as_const(node->value_)));
    } else {
      ::new (to) Node(node->key_, std::move(node->value_));
    }
  }
  static void destroy(void* node) noexcept { static_cast<Node*>(node)->~Node(); }
  static U32 hash(const void* node) noexcept {
    return Hash<Key>::of(static_cast<const Node*>(node)->key_);
  }

  Key key_;
  [[no_unique_address]] Value value_;
};

template <class Tag, class Key, class Value>
inline constexpr Impl::HashMapType HashMap2018<Tag, Key, Value>::type = {
    sizeof(Node),
    Hash<Key>::quick,
    isRelocatable<Key>&& isRelocatable<Value> ? nullptr : &Node::relocate,  // NOLINT(misc-*)
    &Node::copy,
    &Node::destroy,
    &Node::hash};

// Stands on an element, at first the oldest, or at the end. Lives on the stack of whoever iterates,
// and may outlive the collection. The element stays in its place while an iterator stands on it.
template <class Tag, class Key, class Value>
template <bool IsConst>
class HashMap2018<Tag, Key, Value>::BasicIterator : private Impl::HashMapWalker {
  static_assert(std::is_copy_constructible_v<Key> && std::is_nothrow_move_constructible_v<Key> &&
                std::is_nothrow_move_constructible_v<Value>);
  static_assert(alignof(Node) <= alignof(U64), "nodes stand side by side in blocks");

  using Map = std::conditional_t<IsConst, const HashMap2018, HashMap2018>;
  using Element = std::conditional_t<IsConst, const Node, Node>;

 public:
  explicit BasicIterator(Map& map) { start(type, map.core_); }
  ~BasicIterator() {
    if (entry() == nullptr) return;
    if (settled()) {
      unlink();
    } else {
      end();
    }
  }

  // Stands on an element, be it there or gone; false at the end.
  explicit operator bool() const { return entry() != nullptr; }

  // The element as it now is in the collection; null when it is gone, also if its key has come back
  // at the end. After a replacement, the node of the new value, which this iterator does not hold.
  Element* currNodeNonStale() const {
    return entry() == nullptr ? nullptr : static_cast<Node*>(standing(type));
  }
  // The element as the iterator came to it, also when it is gone; null at the end.
  Element* currNodeMaybeStale() const { return static_cast<Node*>(entry()); }
  // The key of the element stood on; not at the end.
  const Key& key() const { return currNodeMaybeStale()->key_; }

  // Goes to the next element that is there, in order; then lets go of the one before. At the end
  // nothing happens.
  void advance() {
    if (stepInRun(sizeof(Node))) [[likely]]
      return;
    if (settled()) {
      step(type);
    } else if (entry() != nullptr) {
      advanceFromStale();
    }
  }

 private:
  friend class HashMap2018;

  void advanceFromStale() {
    Left left;
    stepFrom(type, left);
    drop(left);
  }
  void end() {
    Left left;
    leave(left);
    drop(left);
  }
  // Ends what nobody stands on any more. That may run foreign code: nothing is touched after it.
  static void drop(const Left& left) {
    if (left.entry == nullptr) return;
    Node* const node = static_cast<Node*>(left.entry);
    const Node gone(std::move(*node));
    node->~Node();
    release(left.block);
  }
  // From an element that is gone to the next one, from a value replaced to that of now. Either may
  // run foreign code that makes the same necessary again.
  void skipStale() {
    while (entry() != nullptr && !settled()) {
      if (standing(type) == nullptr) {
        advance();
        continue;
      }
      Left left;
      rehome(type, left);
      drop(left);
    }
  }
};

// The iterator of a range-for loop.
template <class Tag, class Key, class Value>
template <typename HashMap2018<Tag, Key, Value>::Shows What>
class HashMap2018<Tag, Key, Value>::Walk {
 public:
  decltype(auto) operator*() const {
    if constexpr (What == Shows::keys) {
      return at_.key();
    } else if constexpr (What == Shows::values) {
      return at_.currNodeMaybeStale()->value();
    } else {
      return *at_.currNodeMaybeStale();
    }
  }
  Walk& operator++() {
    at_.advance();
    // Here and not when the value is read: what is shown must be what the iterator holds.
    if constexpr (What == Shows::values) at_.skipStale();
    return *this;
  }
  friend bool operator==(const Walk& walk, std::default_sentinel_t) { return !walk.at_; }

 private:
  friend class HashMap2018;

  explicit Walk(const HashMap2018& map) : at_(map) {}

  ConstIterator at_;
};

template <class Tag, class Key, class Value>
template <typename HashMap2018<Tag, Key, Value>::Shows What>
class HashMap2018<Tag, Key, Value>::Range {
 public:
  Walk<What> begin() const { return Walk<What>(*map_); }
  std::default_sentinel_t end() const { return {}; }

 private:
  friend class HashMap2018;

  explicit Range(const HashMap2018& map) : map_(&map) {}

  const HashMap2018* map_;
};

}  // namespace Velo
