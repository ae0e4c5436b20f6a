// What happens seldom: growth, compaction and removal, which change slots and the walkers with
// them, and the steps of a walker whose entry has gone or moved.

#include "platform/Velo/HashMapCore.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "platform/Quillo/Slab.h"

namespace Velo::Impl {
namespace {

constexpr U32 firstCapacity = 1;
constexpr U32 lastCapacity = 1U << 30;

}  // namespace

// -------------------------------------------------------------------------------------------------
// Blocks

HashMapBlock* HashMapCore::allocate(const HashMapType& type, U32 capacity) {
  const HashMapBlock shape(capacity);
  std::size_t bytes = sizeof(HashMapBlock) + shape.entriesEnd(type);
  if (shape.indexed() && !type.quick) bytes += std::size_t{capacity} * sizeof(U32);
  if (capacity > 64) bytes += capacity / 8;
  if (capacity > 64 && bytes > Quillo::slabMaxSize) {
    // Fresh memory of the system is zero, which spares the touch of an index as long as this.
    void* const memory = std::calloc(1, bytes);
    if (memory == nullptr) throw std::bad_alloc();
    auto* const block = ::new (memory) HashMapBlock(capacity);
    block->bucketMaskIs();
    block->bytesIs(bytes);
    return block;
  }
  auto* const block = ::new (Quillo::slabAlloc(bytes)) HashMapBlock(capacity);
  // Counts are zero then, the index is all vacant, and hashes of elements to come are compared
  // before they are set.
  std::memset(static_cast<void*>(block + 1), 0, block->entriesAt());
  if (block->indexed()) block->bucketMaskIs();
  if (capacity > 64) {
    block->bytesIs(bytes);
    block->liveUpTo(type, 0);
  }
  return block;
}

void HashMapWalker::release(HashMapBlock* block) noexcept {
  if (block != nullptr && block->capacity() > 64 && block->bytes() > Quillo::slabMaxSize) {
    std::free(block);
  } else {
    Quillo::slabFreeOrStdFree(block);
  }
}

void HashMapBlock::liveUpTo(const HashMapType& type, U32 count) {
  if (!indexed()) {
    fewLive_ = static_cast<U8>((U32{1} << count) - 1);
    return;
  }
  U64* const words = liveWords(type);
  for (U32 word = 0; word < std::max(1U, capacity() / 64); ++word) {
    const U32 left = count > word * 64 ? count - word * 64 : 0;
    words[word] = left >= 64 ? ~U64{0} : (U64{1} << left) - 1;
  }
}

U32 HashMapBlock::nextLiveAfterGap(const HashMapType& type, U32 from) {
  const U64* const words = liveWords(type);
  const U32 end = (counts().used + 63) / 64;
  U32 word = from / 64;
  U64 bits = words[word] & (~U64{0} << (from % 64));
  while (bits == 0) {
    if (++word >= end) return none;
    bits = words[word];
  }
  return word * 64 + static_cast<U32>(std::countr_zero(bits));
}

U32 HashMapBlock::rank(const HashMapType& type, U32 slot) {
  if (!indexed()) return static_cast<U32>(std::popcount(fewLive_ & ((U32{1} << slot) - 1)));
  const U64* const words = liveWords(type);
  U32 count = 0;
  for (U32 word = 0; word < slot / 64; ++word)
    count += static_cast<U32>(std::popcount(words[word]));
  if (slot % 64 == 0) return count;
  return count + static_cast<U32>(std::popcount(words[slot / 64] & ((U64{1} << (slot % 64)) - 1)));
}

U32 HashMapCore::vacancy(HashMapBlock& block, U32 hash) noexcept {
  if (!block.indexed()) return 0;
  for (U32 at = hash & block.bucketMask();; at = (at + 1) & block.bucketMask()) {
    const U32 vacant = block.buckets()[at].tagged(Bucket::vacant);
    if (vacant != 0) return (at << Bucket::log) + static_cast<U32>(std::countr_zero(vacant));
  }
}

void HashMapCore::fillIndex(const HashMapType& type, HashMapBlock& block) noexcept {
  for (U32 slot = 0; slot < block.size; ++slot) {
    const U32 hash = block.hashAt(type, slot);
    block.placeIs(vacancy(block, hash), HashMapBlock::tagOf(hash), slot);
  }
}

HashMapCore::~HashMapCore() {
  if (block_ == nullptr) return;
  bool stoodIn = false;
  for (HashMapWalker* walker = block_->walkers; walker != nullptr; walker = walker->next_) {
    walker->core_ = nullptr;
    walker->unsettle(0);
    stoodIn = stoodIn || walker->home_ == block_;
  }
  if (!stoodIn) HashMapWalker::release(block_);
}

// -------------------------------------------------------------------------------------------------
// Growth and compaction

// The slots are used up. Where half of them are gaps, closing these makes room enough.
void HashMapCore::makeRoom(const HashMapType& type) {
  if (block_ == nullptr) {
    block_ = allocate(type, firstCapacity);
    return;
  }
  const U32 capacity = block_->capacity();
  // Without an index that is worth it for a single gap: a handful of entries moves.
  if (block_->size < capacity && !block_->indexed() && block_->walkers == nullptr)
    return closeGaps(type);
  if (block_->size <= capacity / 2) {
    if (block_->walkers == nullptr) return closeGaps(type);
    return settle(type, capacity);
  }
  if (capacity == lastCapacity) throw std::length_error("Velo::HashMap2018: too many elements");
  settle(type, 2 * capacity);
}

// Goes to a new block of this capacity, without the gaps; order and walkers stay with the elements.
// Pinned entries are copied, and stay behind for their walkers. O(capacity), and O(size) for each
// walker. An exception changes nothing, unless values had to be moved because they cannot be
// copied.
void HashMapCore::settle(const HashMapType& type, U32 capacity) {
  HashMapBlock& from = *block_;
  HashMapBlock& to = *allocate(type, capacity);
  U32 copied = 0;
  try {
    for (HashMapWalker* walker = from.walkers; walker != nullptr; walker = walker->next_) {
      if (!walker->settled()) continue;
      bool isFirst = true;
      for (const HashMapWalker* other = from.walkers; other != walker; other = other->next_) {
        isFirst = isFirst && !(other->settled() && other->entry_ == walker->entry_);
      }
      if (!isFirst) continue;
      const U32 rank = from.rank(type, walker->position(type));
      type.copy(to.entry(type, rank), walker->entry_);
      to.liveIs(type, rank, true);
      ++copied;
    }
  } catch (...) {
    for (U32 slot = 0; copied != 0; ++slot) {
      if (!to.isLive(type, slot)) continue;
      type.destroy(to.entry(type, slot));
      --copied;
    }
    HashMapWalker::release(&to);
    throw;
  }
  moveTo(type, to);
}

void HashMapCore::moveTo(const HashMapType& type, HashMapBlock& to) noexcept {
  HashMapBlock& from = *block_;
  bool stoodIn = false;
  for (HashMapWalker* walker = from.walkers; walker != nullptr; walker = walker->next_) {
    if (walker->home_ == nullptr) continue;
    stoodIn = stoodIn || walker->home_ == &from;
    walker->unsettle(from.rank(type, walker->position(type)));
  }
  const bool asBytes = type.relocate == nullptr;
  if (asBytes && !stoodIn && from.size == from.used()) {
    std::memcpy(to.entry(type, 0), from.entry(type, 0), std::size_t{from.size} * type.entrySize);
    if (to.keepsHashes(type)) {
      for (U32 slot = 0; slot < from.size; ++slot) to.hashes(type)[slot] = from.hashAt(type, slot);
    }
    to.size = from.size;
  } else {
    for (U32 slot = from.nextLive(type, from.first()); slot != HashMapBlock::none;
         slot = from.nextLive(type, slot + 1)) {
      const U32 rank = to.size++;
      if (to.keepsHashes(type)) to.hashes(type)[rank] = from.hashAt(type, slot);
      if (stoodIn && to.isLive(type, rank)) continue;  // copied before
      if (asBytes) {
        std::memcpy(to.entry(type, rank), from.entry(type, slot), type.entrySize);
      } else {
        type.relocate(to.entry(type, rank), from.entry(type, slot));
      }
    }
  }
  to.usedIs(to.size);
  to.liveUpTo(type, to.size);
  if (to.indexed()) fillIndex(type, to);
  to.walkers = from.walkers;
  block_ = &to;
  if (!stoodIn) HashMapWalker::release(&from);
}

// Within the block, which nobody stands in.
void HashMapCore::closeGaps(const HashMapType& type) noexcept {
  HashMapBlock& block = *block_;
  if (!block.indexed() && type.relocate == nullptr && block.size + 1 == block.used()) {
    // A single gap, as a small collection has that is always full: all behind it moves at once.
    const U32 gap = block.firstGap();
    std::memmove(block.entry(type, gap), block.entry(type, gap + 1),
                 std::size_t{block.size - gap} * type.entrySize);
    if (block.keepsHashes(type)) {
      U32* const hashes = block.hashes(type);
      for (U32 slot = gap; slot < block.size; ++slot) hashes[slot] = hashes[slot + 1];
    }
  } else {
    U32 rank = 0;
    for (U32 slot = block.nextLive(type, block.first()); slot != HashMapBlock::none;
         slot = block.nextLive(type, slot + 1)) {
      if (slot != rank) {
        if (block.keepsHashes(type)) block.hashes(type)[rank] = block.hashes(type)[slot];
        if (type.relocate == nullptr) {
          std::memcpy(block.entry(type, rank), block.entry(type, slot), type.entrySize);
        } else {
          type.relocate(block.entry(type, rank), block.entry(type, slot));
        }
      }
      ++rank;
    }
  }
  block.usedIs(block.size);
  block.firstIs(0);
  block.liveUpTo(type, block.size);
  if (!block.indexed()) return;
  std::memset(static_cast<void*>(block.buckets()), 0, block.indexBytes());
  fillIndex(type, block);
}

// -------------------------------------------------------------------------------------------------
// Removal

bool HashMapCore::isPinned(const void* entry) const noexcept {
  for (const HashMapWalker* walker = block_->walkers; walker != nullptr; walker = walker->next_) {
    if (walker->settled() && walker->entry_ == entry) return true;
  }
  return false;
}

HashMapCore::Place HashMapCore::first(const HashMapType& type) const {
  HashMapBlock& block = *block_;
  const U32 slot = block.nextLive(type, block.first());
  if (!block.indexed()) return {slot, 0};
  const U32 hash = block.hashAt(type, slot);
  for (U32 at = hash & block.bucketMask();; at = (at + 1) & block.bucketMask()) {
    const Bucket& bucket = block.buckets()[at];
    for (U32 found = bucket.tagged(HashMapBlock::tagOf(hash)); found != 0; found &= found - 1) {
      const auto place = static_cast<U32>(std::countr_zero(found));
      if (bucket.slots[place] == slot) return {slot, (at << Bucket::log) + place, hash};
    }
  }
}

// What a removal leaves to do besides: walkers, and what the slots are used for.
void HashMapCore::tidyAfter(const HashMapType& type, U32 slot) noexcept {
  HashMapBlock& block = *block_;
  const void* const entry = block.walkers == nullptr ? nullptr : block.entry(type, slot);
  for (HashMapWalker* walker = block.walkers; walker != nullptr; walker = walker->next_) {
    if (walker->home_ == nullptr || walker->gone_) continue;
    if (walker->home_ == &block ? walker->entry_ == entry : walker->resume_ == slot) {
      walker->gone_ = true;
      walker->unsettle(slot);
    } else if (walker->entry_ < entry && entry <= walker->last_) {
      walker->lastSlot_ = slot - 1;
      walker->last_ = block.entry(type, slot - 1);
    }
  }
  if (block.size == 0) {
    block.firstIs(block.used());
    if (block.walkers == nullptr) emptied();
    return;
  }
  if (slot == block.first()) block.firstIs(block.nextLive(type, slot + 1));
  // Slots behind the last element are used again at once, if no pinned entry may stand there. Not
  // so with an index: that each slot is used once bounds the marks in it.
  if (!block.indexed()) {
    if (slot + 1 == block.used() && block.walkers == nullptr) {
      U32 used = slot;
      while (!block.isLive(type, used - 1)) --used;
      block.usedIs(used);
    }
    return;
  }
  // Mostly gaps, which a walk has to pass: closes them, in a smaller block. That is a saving, not a
  // need, so without memory for it the present one stays.
  if (block.size < block.used() / 4) {
    try {
      settle(type, std::max(HashMapBlock::smallCapacity, std::bit_ceil(2 * block.size)));
    } catch (...) {
    }
  }
}

// A small block is kept: many collections fill and drain for ever.
void HashMapCore::emptied() noexcept {
  if (block_->indexed()) {
    HashMapWalker::release(block_);
    block_ = nullptr;
    return;
  }
  block_->usedIs(0);
  block_->firstIs(0);
}

// -------------------------------------------------------------------------------------------------
// Walkers

HashMapWatch::~HashMapWatch() {
  Left nothing;
  leave(nothing);
}

bool HashMapWalker::accompanied(const void* entry) const {
  const auto standsThere = [this, entry](const HashMapWalker& other) {
    return other.home_ == home_ && (entry == nullptr || other.entry_ == entry);
  };
  for (const HashMapWalker* other = next_; other != nullptr; other = other->next_) {
    if (standsThere(*other)) return true;
  }
  for (const HashMapWalker* other = previous_; other != nullptr; other = other->previous_) {
    if (standsThere(*other)) return true;
  }
  return false;
}

U32 HashMapWalker::position(const HashMapType& type) const {
  if (!settled_) return resume_;
  const auto ahead = static_cast<const char*>(last_) - static_cast<const char*>(entry_);
  return lastSlot_ - static_cast<U32>(static_cast<std::size_t>(ahead) / type.entrySize);
}

HashMapWalker::Left HashMapWalker::toLeave() const {
  Left left;
  if (home_ == nullptr || settled() || accompanied(entry_)) return left;
  left.entry = entry_;
  const bool retired = core_ == nullptr || home_ != core_->block_;
  if (retired && !accompanied(nullptr)) left.block = home_;
  return left;
}

void HashMapWalker::stepFrom(const HashMapType& type, Left& left) {
  left = toLeave();
  if (core_ != nullptr) {
    HashMapBlock& block = *core_->block_;
    // Nothing is live below the first.
    const U32 from = gone_ ? std::max(resume_, block.first()) : position(type) + 1;
    const U32 next = block.nextLive(type, from);
    if (next != HashMapBlock::none) {
      gone_ = false;
      standOn(type, &block, next);
      return;
    }
  }
  leave(left);
}

void HashMapWalker::rehome(const HashMapType& type, Left& left) {
  left = toLeave();
  standOn(type, core_->block_, resume_);
}

void HashMapWalker::leave(Left& left) {
  left = toLeave();
  const HashMapCore* const core = core_;
  unlink();
  if (core == nullptr || core->block_->walkers != nullptr) return;
  // What a collection does once it is empty had to wait for those who stood in it. The entry that
  // was left is in a block that must outlast it: then the block goes with the entry.
  if (core->block_->size != 0) return;
  auto& self = const_cast<HashMapCore&>(*core);
  if (left.entry != nullptr && left.block == nullptr && self.block_->indexed()) {
    left.block = self.block_;
    self.block_ = nullptr;
    return;
  }
  self.emptied();
}

}  // namespace Velo::Impl
