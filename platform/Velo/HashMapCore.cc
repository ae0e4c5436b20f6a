// Growth, compaction and removal: what changes slots, and the walkers with them.

#include "platform/Velo/HashMapCore.h"

#include <algorithm>
#include <bit>
#include <new>
#include <stdexcept>

#include "platform/Quillo/Slab.h"

namespace Velo::Impl {
namespace {

constexpr U32 firstCapacity = 4;
constexpr U32 lastCapacity = 1U << 30;

}  // namespace

HashMapCore::~HashMapCore() {
  while (walkers_ != nullptr) walkers_->leave();
  Quillo::slabFreeOrStdFree(block_);
}

// Every byte is set to the pattern, so the index comes as all vacant.
HashMapBlock* HashMapCore::allocate(U32 capacity) {
  const std::size_t indexWords = capacity > HashMapBlock::scannedCapacity ? 2 : 0;
  const std::size_t bytes =
      sizeof(HashMapBlock) +
      std::size_t{capacity} * (sizeof(U32) + sizeof(void*) + indexWords * sizeof(U32));
  void* const memory = Quillo::slabAllocOrStdMalloc(bytes, 0xff);
  return ::new (memory) HashMapBlock{0, 0, 0, capacity};
}

void HashMapCore::enter(HashMapBlock& block, U32 slot) noexcept {
  U32* const index = block.index();
  const U32 mask = block.mask();
  const U32 hash = block.hashes()[slot];
  U32 at = hash & mask;
  while (index[at] != HashMapBlock::vacant) at = (at + 1) & mask;
  index[at] = (hash & ~mask) | slot;
}

// Closes the gap by moving back each word that would no longer be found behind it. So the index
// never wears out, however often one key comes and goes.
void HashMapCore::withdraw(HashMapBlock& block, U32 slot) noexcept {
  U32* const index = block.index();
  const U32* const hashes = block.hashes();
  const U32 mask = block.mask();
  U32 gap = hashes[slot] & mask;
  // A vacant word reads as slot `mask`, which is none.
  while ((index[gap] & mask) != slot) gap = (gap + 1) & mask;
  for (U32 at = (gap + 1) & mask; index[at] != HashMapBlock::vacant; at = (at + 1) & mask) {
    const U32 home = hashes[index[at] & mask] & mask;
    if (((at - home) & mask) < ((at - gap) & mask)) continue;
    index[gap] = index[at];
    gap = at;
  }
  index[gap] = HashMapBlock::vacant;
}

void HashMapCore::takeOut(U32 slot) noexcept {
  HashMapBlock& block = *block_;
  for (HashMapWalker* walker = walkers_; walker != nullptr; walker = walker->next_) {
    if (walker->position_ == slot) walker->gone_ = true;
  }
  if (block.indexed()) withdraw(block, slot);
  void** const nodes = block.nodes();
  nodes[slot] = nullptr;
  if (--block.size == 0) {
    // A block without an index is kept: many collections fill and drain for ever, and it is 64 or
    // 112 bytes.
    block.first = 0;
    block.used = 0;
    for (HashMapWalker* walker = walkers_; walker != nullptr; walker = walker->next_) {
      walker->position_ = 0;
    }
    if (block.indexed()) {
      block_ = nullptr;
      Quillo::slabFreeOrStdFree(&block);
    }
    return;
  }
  while (nodes[block.first] == nullptr) ++block.first;
  if (slot + 1 == block.used) {
    while (nodes[block.used - 1] == nullptr) --block.used;
    for (HashMapWalker* walker = walkers_; walker != nullptr; walker = walker->next_) {
      walker->position_ = std::min(walker->position_, block.used);
    }
  }
  // Among few slots the gaps cost nothing; they go when the block is full.
  if (block.indexed() && block.used - block.size > block.used / 2) thinOut();
}

// The slots are used up. Where a quarter of them are gaps, closing these makes room enough.
void HashMapCore::makeRoom() {
  if (block_ == nullptr) {
    block_ = allocate(firstCapacity);
    return;
  }
  const U32 capacity = block_->capacity;
  if (block_->size <= capacity / 4 * 3) {
    settle(*block_);
    return;
  }
  if (capacity == lastCapacity) throw std::length_error("Velo::HashMap2018: too many elements");
  settle(*allocate(2 * capacity));
}

// More gaps than elements: closes them, in a block of no more than twice to four times the
// elements. A smaller one is a saving, not a need, so without memory for it the present one stays.
void HashMapCore::thinOut() noexcept {
  const U32 capacity = std::max(firstCapacity, std::bit_ceil(2 * block_->size));
  HashMapBlock* to = block_;
  if (capacity < block_->capacity) {
    try {
      to = allocate(capacity);
    } catch (const std::bad_alloc&) {
    }
  }
  settle(*to);
}

// Moves the elements, without the gaps, to the front of `to`, which may be the present block, and
// takes that as the block. Order and walkers stay with the elements. O(capacity) plus
// O(used) per walker.
void HashMapCore::settle(HashMapBlock& to) noexcept {
  HashMapBlock& from = *block_;
  void** const nodes = from.nodes();
  for (HashMapWalker* walker = walkers_; walker != nullptr; walker = walker->next_) {
    const auto isElement = [](const void* node) { return node != nullptr; };
    walker->position_ =
        static_cast<U32>(std::count_if(nodes, nodes + walker->position_, isElement));
  }
  U32 slots = 0;
  for (U32 slot = from.first; slot < from.used; ++slot) {
    if (nodes[slot] == nullptr) continue;
    to.hashes()[slots] = from.hashes()[slot];
    to.nodes()[slots] = nodes[slot];
    ++slots;
  }
  to.size = slots;
  to.used = slots;
  to.first = 0;
  if (to.indexed()) {
    if (&to == &from) std::fill_n(to.index(), to.mask() + 1, HashMapBlock::vacant);
    for (U32 slot = 0; slot < slots; ++slot) enter(to, slot);
  }
  if (&to == &from) return;
  block_ = &to;
  Quillo::slabFreeOrStdFree(&from);
}

}  // namespace Velo::Impl
