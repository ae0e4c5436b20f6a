#pragma once
// The part of HashMap2018.h, where it is drawn, that does not depend on key and value: the block of
// slots, its index, and the walkers that stand on it. Kept apart so that growth and compaction are
// compiled once and not for each collection; what a lookup or a step runs through is inline here.
//
// Slots [0, used) hold the elements in order of insertion; a removed one leaves a null node behind.
// The index holds 2 * capacity words for linear probing; a word has the slot's number in its low
// bits and the hash's own high bits above, so that a mismatch is seen without a look at the slot.
//
// Invariants: size counts the nodes in [0, used); if size > 0 then the slots `first` and `used` - 1
// hold nodes, else first == used == 0. The index, if any, holds each slot that has a node once, and
// nothing else. A walker stands on a slot that has a node, or is marked as gone.

#include <cstddef>

#include "platform/Velo/Types.h"

namespace Velo::Impl {

// Head of a block; the arrays follow it in the same allocation.
struct HashMapBlock {
  U32 size;
  U32 used;
  U32 first;
  U32 capacity;  // a power of two, at least 4

  // Up to here a scan over the hashes, one or two cache lines, beats an index.
  static constexpr U32 scannedCapacity = 8;
  // Never a slot's number.
  static constexpr U32 none = 0xffffffffU;
  // A word of the index that is not taken. No word with a slot in it equals this: slots end below
  // `capacity`, the mask lies above.
  static constexpr U32 vacant = 0xffffffffU;

  U32* hashes() { return reinterpret_cast<U32*>(this + 1); }
  void** nodes() { return reinterpret_cast<void**>(hashes() + capacity); }
  U32* index() { return reinterpret_cast<U32*>(nodes() + capacity); }
  bool indexed() const { return capacity > scannedCapacity; }
  // Of places in the index, and of the slot's number in a word of it.
  U32 mask() const { return 2 * capacity - 1; }
};

class HashMapCore;

// A place in a collection that follows its changes. The collection's list points at it, so it
// cannot move. Once the walk has ended, or the collection has died, it is linked nowhere.
class HashMapWalker {
 public:
  HashMapWalker(const HashMapWalker&) = delete;
  HashMapWalker& operator=(const HashMapWalker&) = delete;

 protected:
  HashMapWalker() = default;
  ~HashMapWalker() { leave(); }

  bool attached() const { return core_ != nullptr; }
  void join(const HashMapCore& core);
  void leave();
  // The node of the first element, or null; then the walker is not linked.
  void* start(const HashMapCore& core);
  // The next node, or null at the end; then the walker is no longer linked. O(1) on average.
  void* step();
  // The node now in the slot of the element stood on; null when the element is gone.
  void* standing() const;

 private:
  friend class HashMapCore;

  const HashMapCore* core_ = nullptr;
  HashMapWalker* next_ = nullptr;
  HashMapWalker** link_ = nullptr;  // what points here
  U32 position_ = 0;
  bool gone_ = false;  // the element has been removed; the walk goes on with `position_` itself
};

// Tells a function that runs foreign code whether the collection has outlived it.
class HashMapWatch : private HashMapWalker {
 public:
  explicit HashMapWatch(const HashMapCore& core) { join(core); }
  using HashMapWalker::attached;
};

// Slots and index. Owns the block, not the nodes.
class HashMapCore {
 public:
  HashMapCore() = default;
  HashMapCore(const HashMapCore&) = delete;
  HashMapCore& operator=(const HashMapCore&) = delete;
  // Cuts the walkers loose; the collection has emptied itself before.
  ~HashMapCore();

  U32 size() const { return block_ == nullptr ? 0 : block_->size; }
  U32 capacity() const { return block_ == nullptr ? 0 : block_->capacity; }
  void* node(U32 slot) const { return block_->nodes()[slot]; }

  // The slot of the element with this hash for whose node `matches` holds, or HashMapBlock::none.
  // With `Exact` equal hashes are equal keys. O(1).
  template <bool Exact, class Matches>
  U32 find(U32 hash, Matches matches) const;

  // Adds an element behind all others; the key must be absent. Throws, without a change,
  // std::bad_alloc, and std::length_error above 2^30 slots. Amortised O(1).
  void append(U32 hash, void* node) {
    if (block_ == nullptr || block_->used == block_->capacity) makeRoom();
    const U32 slot = block_->used++;
    block_->hashes()[slot] = hash;
    block_->nodes()[slot] = node;
    ++block_->size;
    if (block_->indexed()) enter(*block_, slot);
  }
  // Puts another node of the same key into the slot. O(1).
  void exchange(U32 slot, void* node) { block_->nodes()[slot] = node; }
  // Removes the element in the slot. Amortised O(1), and O(walkers) at that.
  void takeOut(U32 slot) noexcept;
  // Removes the first element and returns its node; there must be one. Amortised O(1).
  void* takeFirst() noexcept {
    void* const first = node(block_->first);
    takeOut(block_->first);
    return first;
  }

 private:
  friend class HashMapWalker;

  static HashMapBlock* allocate(U32 capacity);
  static void enter(HashMapBlock& block, U32 slot) noexcept;
  static void withdraw(HashMapBlock& block, U32 slot) noexcept;
  void makeRoom();
  void thinOut() noexcept;
  void settle(HashMapBlock& to) noexcept;

  HashMapBlock* block_ = nullptr;
  mutable HashMapWalker* walkers_ = nullptr;
};

template <bool Exact, class Matches>
U32 HashMapCore::find(U32 hash, Matches matches) const {
  HashMapBlock* const block = block_;
  if (block == nullptr) return HashMapBlock::none;
  void* const* const nodes = block->nodes();
  if (!block->indexed()) {
    const U32* const hashes = block->hashes();
    for (U32 slot = 0; slot < block->used; ++slot) {
      if (hashes[slot] == hash && nodes[slot] != nullptr && (Exact || matches(nodes[slot]))) {
        return slot;
      }
    }
    return HashMapBlock::none;
  }
  const U32* const index = block->index();
  const U32 mask = block->mask();
  for (U32 at = hash & mask;; at = (at + 1) & mask) {
    const U32 word = index[at];
    if (word == HashMapBlock::vacant) return HashMapBlock::none;
    // The node is what the caller wants in any case, so an exact hash gains nothing here.
    if (((word ^ hash) & ~mask) == 0 && matches(nodes[word & mask])) return word & mask;
  }
}

// A walker on the stack is meant to be pointed at by the collection; ~HashMapWalker() ends it.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
inline void HashMapWalker::join(const HashMapCore& core) {
  core_ = &core;
  next_ = core.walkers_;
  link_ = &core.walkers_;
  if (next_ != nullptr) next_->link_ = &next_;
  core.walkers_ = this;
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

inline void HashMapWalker::leave() {
  if (core_ == nullptr) return;
  *link_ = next_;
  if (next_ != nullptr) next_->link_ = link_;
  core_ = nullptr;
}

inline void* HashMapWalker::start(const HashMapCore& core) {
  if (core.size() == 0) return nullptr;
  join(core);
  position_ = core.block_->first;
  return core.node(position_);
}

inline void* HashMapWalker::step() {
  if (core_ == nullptr) return nullptr;
  if (HashMapBlock* const block = core_->block_) {
    void* const* const nodes = block->nodes();
    for (U32 at = gone_ ? position_ : position_ + 1; at < block->used; ++at) {
      if (nodes[at] == nullptr) continue;
      position_ = at;
      gone_ = false;
      return nodes[at];
    }
  }
  leave();
  return nullptr;
}

inline void* HashMapWalker::standing() const {
  return core_ == nullptr || gone_ ? nullptr : core_->node(position_);
}

}  // namespace Velo::Impl
