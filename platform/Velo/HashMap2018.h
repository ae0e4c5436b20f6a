#pragma once
// The hash collection of the runtime: every collection attribute, every collection of machines and
// of reactors is one. HashMapCore.h holds slots, index and walkers, the part that does not depend
// on key and value; Hash.h says how keys are hashed.
//
//   HashMap2018         block, one allocation                  nodes, one allocation each
//  +-----------+     +----------------------------------+
//  | block   --+---->| size=2  used=3  first=0          |
//  | walkers --+--+  | capacity=4                       |     +------------+------+---------+
//  +-----------+  |  | hashes:  h0  |  h1  |  h2  |  -  |  +->| references | key0 | value0  |
//                 |  | nodes:    o  | null |  o   |  -  |  |  +------------+------+---------+
//                 |  |           |             |        |  |     ^ one by the collection, one
//                 |  |           +-------------|--------+--+     | by each iterator on it
//                 |  |                         +--------+---> ...
//                 |  | index: above 8 slots only        |
//                 |  +----------------------------------+
//                 +--> iterator <-> iterator ...  on the stack of whoever walks
//
// Order. Iteration follows the order of insertion. A key that is removed and inserted again stands
// at the end; a value that is replaced under its key keeps its place. A walk under way reaches what
// is added behind it.
//
// Iterators never keep the collection from being changed: anything may be inserted, erased,
// replaced or cleared under them, and the collection itself may die. The element on which an
// iterator stands, key and value, stays readable while the iterator stands on it, also by a plain
// reference. Nodes never move. In short, for a handler that calls others:
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
// elements moves the slots, in O(size) and O(size) more per iterator. A step of a walk is O(1) on
// average. Lookup and iteration allocate nothing. Not for use by several threads.

#include <cstddef>
#include <iterator>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/Quillo/Slab.h"
#include "platform/Velo/Hash.h"
#include "platform/Velo/HashMapCore.h"
#include "platform/Velo/Types.h"

namespace Velo {

// `Tag` is only a name; it makes each collection a type of its own. `Key` is copyable, has
// operator== and a Velo::Hash; `Value` is movable without exceptions, so that handing a value over
// never fails half-way.
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

  // The element under the key, or null. Good until the element is removed or its value replaced, or
  // longer while an iterator stands on it. O(1).
  Node* find(const Key& key) { return seek(key); }
  const Node* find(const Key& key) const { return seek(key); }

  // The value under the key, or null; good as long as a node of find(). O(1).
  Value* lookup(const Key& key) {
    Node* const node = seek(key);
    return node == nullptr ? nullptr : &node->value();
  }
  const Value* lookup(const Key& key) const {
    const Node* const node = seek(key);
    return node == nullptr ? nullptr : &node->value();
  }

  // Adds an element at the end. False, and nothing is changed, when the key is present; an
  // exception out of the allocation or a copy changes nothing either. Amortised O(1).
  bool insert(const Key& key, Value value) {
    const U32 hash = Hash<Key>::of(key);
    if (seekSlot(key, hash) != none) return false;
    append(hash, key, std::move(value));
    return true;
  }

  // Puts the value under the key and returns the one displaced. An element that was there keeps its
  // place; a new one stands at the end. An iterator on the element goes on showing the old value,
  // currNodeNonStale() the new; a value that cannot be copied goes to the caller and leaves the
  // iterator a moved-from one. An exception changes nothing. Amortised O(1).
  template <class V>
  Change replace(const Key& key, V&& newValue) {
    Value value(std::forward<V>(newValue));
    const U32 hash = Hash<Key>::of(key);
    const U32 slot = seekSlot(key, hash);
    if (slot == none) {
      append(hash, key, std::move(value));
      return std::nullopt;
    }
    Node* const old = nodeAt(slot);
    if constexpr (std::is_nothrow_move_assignable_v<Value>) {
      if (old->references_ == 1) {
        Change displaced(std::move(old->value_));
        old->value_ = std::move(value);
        return displaced;
      }
    }
    NewNode fresh(old->key_, std::move(value));
    Change displaced = handOver(*old);
    core_.exchange(slot, fresh.release());
    drop(old);
    return displaced;
  }

  // Removes the element under the key and hands over its value; nothing when the key is absent.
  // `key` may be that of the element itself. Where an iterator stands on the element the value is
  // copied, so that it stays readable there; one that cannot be copied is moved all the same.
  // Amortised O(1).
  Change erase(const Key& key) {
    const U32 slot = seekSlot(key, Hash<Key>::of(key));
    if (slot == none) return std::nullopt;
    Node* const old = nodeAt(slot);
    Change value = handOver(*old);
    core_.takeOut(slot);
    drop(old);
    return value;
  }

  // Removes all elements, one after the other in order, each gone from the collection before it is
  // destroyed. What a destructor inserts meanwhile is removed as well. O(size).
  void clear() {
    if (empty()) return;
    const Impl::HashMapWatch watch(core_);
    while (watch.attached() && !empty()) drop(static_cast<Node*>(core_.takeFirst()));
  }

  // Ranges for a range-for loop, whose variable stays readable through the body whatever happens.
  // The collection must live when the loop starts. keys() and items() show also an element that is
  // gone when the loop comes to it, as a destructor of the one before can bring about; values()
  // passes over it, and shows the value of now.
  Range<Shows::keys> keys() const { return Range<Shows::keys>(*this); }
  Range<Shows::values> values() const { return Range<Shows::values>(*this); }
  Range<Shows::items> items() const { return Range<Shows::items>(*this); }

 private:
  class NewNode;
  static constexpr U32 none = Impl::HashMapBlock::none;

  U32 seekSlot(const Key& key, U32 hash) const {
    return core_.template find<Hash<Key>::exact>(
        hash, [&key](const void* node) { return static_cast<const Node*>(node)->key_ == key; });
  }
  Node* seek(const Key& key) const {
    const U32 slot = seekSlot(key, Hash<Key>::of(key));
    return slot == none ? nullptr : nodeAt(slot);
  }
  Node* nodeAt(U32 slot) const { return static_cast<Node*>(core_.node(slot)); }

  void append(U32 hash, const Key& key, Value&& value) {
    NewNode node(key, std::move(value));
    core_.append(hash, node.get());
    node.release();
  }
  static Change handOver(Node& node) {
    if constexpr (std::is_copy_constructible_v<Value>) {
      if (node.references_ != 1) return Change(std::as_const(node.value_));
    }
    return Change(std::move(node.value_));
  }
  // May run foreign code, which may destroy the collection: nothing is touched after it.
  static void drop(Node* node) {
    if (--node->references_ != 0) return;
    node->~Node();
    Quillo::slabFreeOrStdFree(node);
  }

  Impl::HashMapCore core_;
};

// An element. Its address holds for its life, whatever happens to the collection around it.
template <class Tag, class Key, class Value>
class HashMap2018<Tag, Key, Value>::Node {
  static_assert(std::is_copy_constructible_v<Key> && std::is_nothrow_move_constructible_v<Value>);

 public:
  const Key& key() const { return key_; }
  Value& value() { return value_; }
  const Value& value() const { return value_; }

 private:
  friend class HashMap2018;

  Node(const Key& key, Value&& value) : key_(key), value_(std::move(value)) {}
  ~Node() = default;

  mutable U32 references_ = 1;
  Key key_;
  Value value_;
};

// A node on its way into the collection.
template <class Tag, class Key, class Value>
class HashMap2018<Tag, Key, Value>::NewNode {
 public:
  NewNode(const Key& key, Value&& value) {
    static_assert(alignof(Node) <= Quillo::slabAlignment);
    void* const memory = Quillo::slabAllocOrStdMalloc(sizeof(Node), 0);
    try {
      node_ = ::new (memory) Node(key, std::move(value));
    } catch (...) {
      Quillo::slabFreeOrStdFree(memory);
      throw;
    }
  }
  NewNode(const NewNode&) = delete;
  NewNode& operator=(const NewNode&) = delete;
  ~NewNode() {
    if (node_ != nullptr) drop(node_);
  }

  Node* get() const { return node_; }
  Node* release() { return std::exchange(node_, nullptr); }

 private:
  Node* node_;
};

// Stands on an element, at first the oldest, or at the end. Lives on the stack of whoever iterates,
// and may outlive the collection. Takes a reference on its element; linked into the collection
// until the walk has ended.
template <class Tag, class Key, class Value>
template <bool IsConst>
class HashMap2018<Tag, Key, Value>::BasicIterator : private Impl::HashMapWalker {
  using Map = std::conditional_t<IsConst, const HashMap2018, HashMap2018>;
  using Element = std::conditional_t<IsConst, const Node, Node>;

 public:
  explicit BasicIterator(Map& map) : node_(static_cast<Node*>(start(map.core_))) { hold(); }
  ~BasicIterator() {
    leave();
    if (node_ != nullptr) drop(node_);
  }

  // Stands on an element, be it there or gone; false at the end.
  explicit operator bool() const { return node_ != nullptr; }

  // The element as it now is in the collection; null when it is gone, also if its key has come back
  // at the end. After a replacement, the node of the new value, which this iterator does not hold.
  Element* currNodeNonStale() const { return static_cast<Node*>(standing()); }
  // The element as the iterator came to it, also when it is gone; null at the end.
  Element* currNodeMaybeStale() const { return node_; }
  // The key of the element stood on; not at the end.
  const Key& key() const { return node_->key_; }

  // Goes to the next element that is there, in order; then lets go of the one before. At the end
  // nothing happens.
  void advance() {
    Node* const left = node_;
    node_ = static_cast<Node*>(step());
    hold();
    if (left != nullptr) drop(left);
  }

 private:
  friend class HashMap2018;

  void hold() {
    if (node_ != nullptr) ++node_->references_;
  }
  // From an element that is gone to the next one, from a value replaced to that of now. Either may
  // run foreign code that makes the same necessary again.
  void skipStale() {
    while (node_ != nullptr) {
      Node* const now = static_cast<Node*>(standing());
      if (now == node_) return;
      if (now == nullptr) {
        advance();
        continue;
      }
      Node* const left = node_;
      node_ = now;
      hold();
      drop(left);
    }
  }

  Node* node_;
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
