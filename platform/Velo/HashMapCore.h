#pragma once
// The part of HashMap2018.h, where it is drawn, that does not depend on key and value but for a
// table of functions: the block of entries, its index, and the walkers that stand on it. What
// happens seldom, growth and compaction above all, is compiled once and not for each collection;
// what a lookup or a step runs through is inline here.
//
// Slots [0, used) hold the entries in order of insertion; a removed one leaves a gap, which the
// live bits tell. Most collections of a fabric hold an element or two: they are searched by their
// keys alone. Up to 8 slots a lookup compares all hashes at once. Above, an index serves it: a
// bucket, as long as a cache line, for every eight slots, with room for the numbers of twelve and a
// tag, bits of the hash, for each. Its tags are compared at once, so that a mismatch is seen
// without a look at the entry. A search goes on to the next bucket while there is no vacant place.
// Removal leaves a mark in a bucket without one; the marks go when the slots are used up, before
// they can crowd the index.
//
// An entry on which a walker stands is pinned: it stays where it is until the walker has left, also
// when it is removed, or when the collection moves to another block. Such a block, retired, belongs
// to the walkers that stand in it.
//
// Invariants: size counts the live bits in [0, used); no live slot is below `first`. The index, if
// any, holds each live slot once. A walker's entry is constructed, whatever has become of it.

#include <bit>
#include <cstddef>
#include <cstring>

#include "platform/Velo/Types.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Velo::Impl {

// What the core has to know of the entries of one kind of collection.
struct HashMapType {
  U32 entrySize;
  // No hashes are kept beside an index, as they are soon computed.
  bool quick;
  // Moves an entry to raw memory and ends the one it came from. Null where copying the bytes does.
  void (*relocate)(void* to, void* from) noexcept;
  // Copies an entry to raw memory, or moves its value where that cannot be copied. May throw.
  void (*copy)(void* to, void* from);
  void (*destroy)(void* entry) noexcept;
  U32 (*hash)(const void* entry) noexcept;
};

class HashMapWalker;

//  tiny:     head | entries[1 or 2]
//  small:    head | hashes[4 or 8] | entries[capacity]
//  indexed:  head | counts | buckets[capacity / 8] | entries[capacity]
//                          | hashes[capacity] unless quick | live bits[capacity] above 64
class HashMapBlock {
 public:
  static constexpr U32 tinyLog = 1;
  static constexpr U32 smallLog = 3;
  static constexpr U32 smallCapacity = 1U << smallLog;
  // Never a slot's number.
  static constexpr U32 none = 0xffffffffU;

  struct Bucket {
    static constexpr U32 places = 12;
    static constexpr U32 log = 4;  // places are numbered as if there were 16
    // Tags of places without an element. The tag of an element has its top bit set.
    static constexpr U8 vacant = 0;
    static constexpr U8 removed = 1;
    static constexpr U8 taken = 0x80;

    U8 tags[16];  // the last four are never used
    U32 slots[places];

    // The places with this tag, as bits.
    U32 tagged(U8 tag) const {
#ifdef __SSE2__
      const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(tags));
      const __m128i same = _mm_cmpeq_epi8(all, _mm_set1_epi8(static_cast<char>(tag)));
      return static_cast<U32>(_mm_movemask_epi8(same)) & ((U32{1} << places) - 1);
#else
      U32 found = 0;
      for (U32 i = 0; i < places; ++i) found |= U32{tags[i] == tag} << i;
      return found;
#endif
    }
  };
  static constexpr U32 slotsOfBucket = 8;

  // Of a block with this capacity, a power of two, empty.
  explicit HashMapBlock(U32 capacity) : capacityLog_(static_cast<U8>(std::countr_zero(capacity))) {}

  HashMapWalker* walkers = nullptr;  // the youngest; of the block that the collection has now
  U32 size = 0;

  U32 capacity() const { return U32{1} << capacityLog_; }
  bool tiny() const { return capacityLog_ <= tinyLog; }
  bool indexed() const { return capacityLog_ > smallLog; }
  // Slots in use, gaps among them included.
  U32 used() const { return indexed() ? counts().used : fewUsed_; }
  void usedIs(U32 used) {
    if (indexed()) {
      counts().used = used;
    } else {
      fewUsed_ = static_cast<U8>(used);
    }
  }
  // The search for the first live slot may begin here.
  U32 first() const { return indexed() ? counts().first : fewFirst_; }
  void firstIs(U32 first) {
    if (indexed()) {
      counts().first = first;
    } else {
      fewFirst_ = static_cast<U8>(first);
    }
  }
  // Of a block above 64 slots: its size in bytes.
  U64 bytes() const { return counts().live; }
  void bytesIs(U64 bytes) { counts().live = bytes; }

  // Of an indexed block.
  Bucket* buckets() { return reinterpret_cast<Bucket*>(tail() + sizeof(Counts)); }
  U32 bucketMask() const { return counts().bucketMask; }
  void bucketMaskIs() { counts().bucketMask = capacity() / slotsOfBucket - 1; }
  std::size_t indexBytes() const { return capacity() / slotsOfBucket * sizeof(Bucket); }
  static U8 tagOf(U32 hash) { return static_cast<U8>((hash >> 25) | Bucket::taken); }
  Bucket& bucketAt(U32 place) { return buckets()[place >> Bucket::log]; }
  void placeIs(U32 place, U8 tag, U32 slot) {
    Bucket& bucket = bucketAt(place);
    const U32 at = place & ((U32{1} << Bucket::log) - 1);
    bucket.tags[at] = tag;
    bucket.slots[at] = slot;
  }

  // From the end of the head on.
  std::size_t entriesAt() const {
    if (indexed()) return sizeof(Counts) + indexBytes();
    return tiny() ? 0 : capacity() * sizeof(U32);
  }
  void* entry(const HashMapType& type, U32 slot) {
    return tail() + entriesAt() + std::size_t{slot} * type.entrySize;
  }
  std::size_t entriesEnd(const HashMapType& type) const {
    return entriesAt() + std::size_t{capacity()} * type.entrySize;
  }
  bool keepsHashes(const HashMapType& type) const { return indexed() ? !type.quick : !tiny(); }
  // Only where hashes are kept.
  U32* hashes(const HashMapType& type) {
    return reinterpret_cast<U32*>(indexed() ? tail() + entriesEnd(type) : tail());
  }
  U32 hashAt(const HashMapType& type, U32 slot) {
    return keepsHashes(type) ? hashes(type)[slot] : type.hash(entry(type, slot));
  }

  bool isLive(const HashMapType& type, U32 slot) {
    if (!indexed()) return ((fewLive_ >> slot) & 1) != 0;
    return ((liveWords(type)[slot / 64] >> (slot % 64)) & 1) != 0;
  }
  void liveIs(const HashMapType& type, U32 slot, bool alive) {
    if (!indexed()) {
      const U32 bit = U32{1} << slot;
      fewLive_ = static_cast<U8>(alive ? fewLive_ | bit : fewLive_ & ~bit);
      return;
    }
    U64& word = liveWords(type)[slot / 64];
    const U64 bit = U64{1} << (slot % 64);
    word = alive ? word | bit : word & ~bit;
  }
  // The slots below `count` are live, and no others.
  void liveUpTo(const HashMapType& type, U32 count);
  // The first live slot from `from` on, or `none`. O(1) without gaps.
  U32 nextLive(const HashMapType& type, U32 from) {
    if (!indexed()) {
      const U32 rest = U32{fewLive_} >> from;
      return rest == 0 ? none : from + static_cast<U32>(std::countr_zero(rest));
    }
    if (from >= counts().used) return none;
    if (size == counts().used) return from;
    return nextLiveAfterGap(type, from);
  }
  // The last slot of a run of live ones that begins with `slot`, as far as it is told at once.
  U32 lastOfRun(const HashMapType& type, U32 slot) {
    U64 rest = 0;
    if (!indexed()) {
      rest = U64{fewLive_} >> slot;
    } else {
      if (size == counts().used) return size - 1;
      rest = liveWords(type)[slot / 64] >> (slot % 64);
    }
    return slot + static_cast<U32>(std::countr_one(rest)) - 1;
  }
  // The first slot that is not live. Of a block without index.
  U32 firstGap() const { return static_cast<U32>(std::countr_one(fewLive_)); }
  // Live slots below `slot`.
  U32 rank(const HashMapType& type, U32 slot);

  // The slots of a block without index that may hold the element with this hash, as bits.
  U32 candidates(U32 hash) {
    if (tiny()) return fewLive_;
    const auto* const all = reinterpret_cast<const U32*>(tail());
    U32 found = equal(all, hash);
    if (capacityLog_ == smallLog) found |= equal(all + 4, hash) << 4;
    return found & fewLive_;
  }

 private:
  struct Counts {
    U32 used = 0;
    U32 first = 0;
    U64 live = 0;  // the bits of up to 64 slots; of more the bytes of the block
    U32 bucketMask = 0;
    // Buckets begin 48 bytes from the block's begin. A block that malloc maps begins 16 bytes
    // behind the begin of a page, so that there each bucket is a cache line.
    U32 unused[3] = {};
  };
  static_assert(sizeof(Counts) % alignof(U64) == 0);

  char* tail() { return reinterpret_cast<char*>(this + 1); }
  Counts& counts() { return *reinterpret_cast<Counts*>(tail()); }
  const Counts& counts() const { return *reinterpret_cast<const Counts*>(this + 1); }
  U64* liveWords(const HashMapType& type) {
    if (capacityLog_ <= 6) return &counts().live;
    const std::size_t hashBytes = type.quick ? 0 : std::size_t{capacity()} * sizeof(U32);
    return reinterpret_cast<U64*>(tail() + entriesEnd(type) + hashBytes);
  }
  U32 nextLiveAfterGap(const HashMapType& type, U32 from);

  // Of four numbers, as bits, those that equal `wanted`.
  static U32 equal(const U32* four, U32 wanted) {
#ifdef __SSE2__
    const __m128i present = _mm_loadu_si128(reinterpret_cast<const __m128i*>(four));
    const __m128i same = _mm_cmpeq_epi32(present, _mm_set1_epi32(static_cast<int>(wanted)));
    return static_cast<U32>(_mm_movemask_ps(_mm_castsi128_ps(same)));
#else
    U32 found = 0;
    for (U32 i = 0; i < 4; ++i) found |= U32{four[i] == wanted} << i;
    return found;
#endif
  }

  U8 capacityLog_;
  // Of up to 8 slots; of more see counts().
  U8 fewUsed_ = 0;
  U8 fewFirst_ = 0;
  U8 fewLive_ = 0;
};

static_assert(sizeof(HashMapBlock) % alignof(U64) == 0 && sizeof(HashMapBlock::Bucket) == 64);

class HashMapCore;

// A place in a collection that follows its changes. The walkers of a collection are linked, so one
// cannot move. Once the walk has ended it is linked nowhere; when the collection has died it still
// stands on its entry and knows its siblings.
//
// A step is short as long as the walker knows entries ahead of it that lie side by side and are
// live, a run. Whatever changes one of these ends the run before it.
class HashMapWalker {
 public:
  HashMapWalker(const HashMapWalker&) = delete;
  HashMapWalker& operator=(const HashMapWalker&) = delete;

 protected:
  HashMapWalker() = default;
  ~HashMapWalker() = default;

  // What a walker leaves behind and has to end: an entry that is gone or has moved on, and a
  // retired block. Either may be null.
  struct Left {
    void* entry = nullptr;
    HashMapBlock* block = nullptr;
  };

  bool attached() const { return core_ != nullptr; }
  // Whether the walker stands on an entry that is where a lookup finds it.
  bool settled() const { return settled_; }
  // The entry stood on, be it there or gone; null at the end.
  void* entry() const { return entry_; }
  // Goes to the next entry of the run; false, and it stays, where that ends.
  bool stepInRun(std::size_t entrySize) {
    if (entry_ == last_) return false;
    entry_ = static_cast<char*>(entry_) + entrySize;
    return true;
  }
  void join(const HashMapCore& core);
  void unlink();

  // Stands on the first entry, or at the end; then the walker is not linked.
  void start(const HashMapType& type, const HashMapCore& core);
  // Goes on where a run ended: to the next entry, or to the end; then the walker is no longer
  // linked. Only if settled(). O(1) on average.
  void step(const HashMapType& type);
  // As step(), in any state. What was left is the caller's to end, last of all.
  void stepFrom(const HashMapType& type, Left& left);
  // Goes to where the entry stood on is now; it must be there.
  void rehome(const HashMapType& type, Left& left);
  // Ends the walk.
  void leave(Left& left);
  // The entry that is now in the place of the one stood on; null when that is gone.
  void* standing(const HashMapType& type) const;
  // Gives back a block that nobody stands in any more; null is let through.
  static void release(HashMapBlock* block) noexcept;

 private:
  friend class HashMapCore;

  // What becomes free when this walker leaves its place.
  Left toLeave() const;
  // Whether another walker stands in the block, on this entry of it unless that is null.
  bool accompanied(const void* entry) const;
  // Stands on the live entry in this slot of the collection's block.
  void standOn(const HashMapType& type, HashMapBlock* block, U32 slot);
  // Where the walk is in the block that the collection has now.
  U32 position(const HashMapType& type) const;
  // The entry is no longer the one that a lookup finds.
  void unsettle(U32 resume) {
    settled_ = false;
    last_ = entry_;
    resume_ = resume;
  }

  const HashMapCore* core_ = nullptr;
  HashMapWalker* next_ = nullptr;
  HashMapWalker* previous_ = nullptr;
  HashMapBlock* home_ = nullptr;  // where the entry stood on is; null for a mere watch
  void* entry_ = nullptr;
  void* last_ = nullptr;  // of the run; unless settled the entry stood on
  U32 lastSlot_ = 0;      // of the run, if settled
  U32 resume_ = 0;        // unless settled: position()
  bool gone_ = false;     // the element has been removed; the walk goes on with `resume_` itself
  bool settled_ = false;
};

// Tells a function that runs foreign code whether the collection, which is not empty, has outlived
// it.
class HashMapWatch : private HashMapWalker {
 public:
  explicit HashMapWatch(const HashMapCore& core) { join(core); }
  ~HashMapWatch();
  using HashMapWalker::attached;
};

// Entries and index. Owns the blocks, and the entries in so far as it moves them; the collection
// makes them and ends them.
class HashMapCore {
 public:
  HashMapCore() = default;
  HashMapCore(const HashMapCore&) = delete;
  HashMapCore& operator=(const HashMapCore&) = delete;
  // Cuts the walkers loose; the collection has emptied itself before.
  ~HashMapCore();

  U32 size() const { return block_ == nullptr ? 0 : block_->size; }
  U32 capacity() const { return block_ == nullptr ? 0 : block_->capacity(); }

  // A slot, and where the index names it. For an element that is absent the slot is `none`, `at`
  // the place that it would take in an index, and `hash` its hash, unless the block does
  // without both.
  struct Place {
    U32 slot = HashMapBlock::none;
    U32 at = 0;
    U32 hash = 0;
  };
  // The entry for which `matches` holds, among those of hash `hashOf()`, or null. O(1).
  template <class HashOf, class Matches>
  void* lookup(const HashMapType& type, HashOf hashOf, Matches matches) const;
  // As lookup(), for who means to change something there.
  template <class HashOf, class Matches>
  Place find(const HashMapType& type, HashOf hashOf, Matches matches) const;
  void* entry(const HashMapType& type, U32 slot) const { return block_->entry(type, slot); }

  // Whether it takes another block, or closing the gaps of this, to add an element.
  bool full() const { return block_ == nullptr || block_->used() == block_->capacity(); }
  // Makes room for an element of this hash that is absent, where the core is full. Throws
  // std::bad_alloc, std::length_error above 2^30 slots, and what copying a pinned entry throws.
  // Amortised O(1).
  Place make(const HashMapType& type, U32 hash) {
    makeRoom(type);
    return {HashMapBlock::none, vacancy(*block_, hash), hash};
  }
  // The room behind all others for an element that is absent. Nothing is changed that shows until
  // commit().
  void* room(const HashMapType& type) const { return block_->entry(type, block_->used()); }
  // The entry has been built in the room, `place` being what find() or make() said of it.
  void commit(const HashMapType& type, Place place) {
    HashMapBlock& block = *block_;
    const U32 slot = block.used();
    block.usedIs(slot + 1);
    ++block.size;
    block.liveIs(type, slot, true);
    if (block.keepsHashes(type)) block.hashes(type)[slot] = place.hash;
    if (block.indexed()) block.placeIs(place.at, HashMapBlock::tagOf(place.hash), slot);
  }

  // Whether a walker stands on the very entry in the slot.
  bool pinned(const HashMapType& type, U32 slot) const {
    return block_->walkers != nullptr && isPinned(block_->entry(type, slot));
  }
  // Moves to another block, so that no entry is pinned any more. May throw as make() does.
  void unpin(const HashMapType& type) { settle(type, block_->capacity()); }
  // Removes the element. Its entry stays as it is where it is pinned; otherwise it is the caller's,
  // who has moved it away before. Amortised O(1), and O(walkers) at that.
  void takeOut(const HashMapType& type, Place place) noexcept {
    HashMapBlock& block = *block_;
    block.liveIs(type, place.slot, false);
    --block.size;
    if (block.indexed()) {
      // A search never goes past a bucket with a vacant place.
      const bool ends = block.bucketAt(place.at).tagged(Bucket::vacant) != 0;
      block.placeIs(place.at, ends ? Bucket::vacant : Bucket::removed, 0);
      if (block.walkers == nullptr && place.slot != block.first() && block.size >= block.used() / 4)
          [[likely]]
        return;
    }
    tidyAfter(type, place.slot);
  }
  // The first element; there must be one.
  Place first(const HashMapType& type) const;

 private:
  friend class HashMapWalker;
  using Bucket = HashMapBlock::Bucket;

  template <class Matches>
  void* lookupFurther(const HashMapType& type, U32 hash, Matches matches) const;
  // Where the index has place for an element with this hash.
  static U32 vacancy(HashMapBlock& block, U32 hash) noexcept;
  // Of a block without gaps whose index is vacant.
  static void fillIndex(const HashMapType& type, HashMapBlock& block) noexcept;
  static HashMapBlock* allocate(const HashMapType& type, U32 capacity);
  bool isPinned(const void* entry) const noexcept;
  void makeRoom(const HashMapType& type);
  void settle(const HashMapType& type, U32 capacity);
  void closeGaps(const HashMapType& type) noexcept;
  void moveTo(const HashMapType& type, HashMapBlock& to) noexcept;
  // After the last element has gone, once nobody stands in the collection.
  void emptied() noexcept;
  void tidyAfter(const HashMapType& type, U32 slot) noexcept;

  HashMapBlock* block_ = nullptr;
};

// What a lookup finds nearly always stands here; the rest, a search that goes on, is find()'s.
template <class HashOf, class Matches>
inline void* HashMapCore::lookup(const HashMapType& type, HashOf hashOf, Matches matches) const {
  HashMapBlock* const block = block_;
  if (block == nullptr) return nullptr;
  if (block->tiny()) {
    auto* const entries = static_cast<char*>(block->entry(type, 0));
    const U32 live = block->candidates(0);
    if ((live & 1) != 0 && matches(entries)) return entries;
    if ((live & 2) != 0 && matches(entries + type.entrySize)) return entries + type.entrySize;
    return nullptr;
  }
  const U32 hash = hashOf();
  if (!block->indexed()) {
    auto* const entries = static_cast<char*>(block->entry(type, 0));
    for (U32 found = block->candidates(hash); found != 0; found &= found - 1) {
      void* const entry = entries + static_cast<U32>(std::countr_zero(found)) * type.entrySize;
      if (matches(entry)) return entry;
    }
    return nullptr;
  }
  HashMapBlock::Bucket* const buckets = block->buckets();
  const std::size_t mask = block->bucketMask();
  const HashMapBlock::Bucket& bucket = buckets[hash & mask];
  auto* const entries = reinterpret_cast<char*>(buckets + mask + 1);
  for (U32 found = bucket.tagged(HashMapBlock::tagOf(hash)); found != 0; found &= found - 1) {
    const auto place = static_cast<U32>(std::countr_zero(found));
    void* const entry = entries + std::size_t{bucket.slots[place]} * type.entrySize;
    if (matches(entry)) [[likely]]
      return entry;
  }
  if (bucket.tagged(Bucket::vacant) != 0) [[likely]]
    return nullptr;
  return lookupFurther(type, hash, matches);
}

template <class Matches>
[[gnu::noinline]] void* HashMapCore::lookupFurther(const HashMapType& type, U32 hash,
                                                   Matches matches) const {
  const Place place = find(
      type, [hash] { return hash; }, matches);
  return place.slot == HashMapBlock::none ? nullptr : block_->entry(type, place.slot);
}

template <class HashOf, class Matches>
inline HashMapCore::Place HashMapCore::find(const HashMapType& type, HashOf hashOf,
                                            Matches matches) const {
  HashMapBlock* const block = block_;
  if (block == nullptr) return {};
  if (!block->indexed()) {
    const bool tiny = block->tiny();
    const U32 hash = tiny ? 0 : hashOf();
    for (U32 found = block->candidates(hash); found != 0; found &= found - 1) {
      const auto slot = static_cast<U32>(std::countr_zero(found));
      if (matches(block->entry(type, slot))) return {slot, 0, hash};
    }
    return {HashMapBlock::none, 0, hash};
  }
  const U32 hash = hashOf();
  const HashMapBlock::Bucket* const buckets = block->buckets();
  const U32 mask = block->bucketMask();
  const auto* const entries = reinterpret_cast<const char*>(buckets + std::size_t{mask} + 1);
  const U8 tag = HashMapBlock::tagOf(hash);
  for (U32 at = hash & mask;; at = (at + 1) & mask) {
    const Bucket& bucket = buckets[at];
    for (U32 found = bucket.tagged(tag); found != 0; found &= found - 1) {
      const auto place = static_cast<U32>(std::countr_zero(found));
      const U32 slot = bucket.slots[place];
      if (matches(entries + std::size_t{slot} * type.entrySize)) [[likely]]
        return {slot, (at << Bucket::log) + place, hash};
    }
    const U32 vacant = bucket.tagged(Bucket::vacant);
    if (vacant != 0) [[likely]] {
      const auto place = static_cast<U32>(std::countr_zero(vacant));
      return {HashMapBlock::none, (at << Bucket::log) + place, hash};
    }
  }
}

// A walker on the stack is meant to be pointed at by the collection; it is unlinked before it ends.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
inline void HashMapWalker::join(const HashMapCore& core) {
  core_ = &core;
  next_ = core.block_->walkers;
  if (next_ != nullptr) next_->previous_ = this;
  core.block_->walkers = this;
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

inline void HashMapWalker::unlink() {
  if (previous_ != nullptr) {
    previous_->next_ = next_;
  } else if (core_ != nullptr) {
    core_->block_->walkers = next_;
  }
  if (next_ != nullptr) next_->previous_ = previous_;
  core_ = nullptr;
  next_ = nullptr;
  previous_ = nullptr;
  home_ = nullptr;
  entry_ = nullptr;
  last_ = nullptr;
  settled_ = false;
}

inline void HashMapWalker::standOn(const HashMapType& type, HashMapBlock* block, U32 slot) {
  home_ = block;
  entry_ = block->entry(type, slot);
  lastSlot_ = block->lastOfRun(type, slot);
  last_ = static_cast<char*>(entry_) + std::size_t{lastSlot_ - slot} * type.entrySize;
  settled_ = true;
}

inline void HashMapWalker::start(const HashMapType& type, const HashMapCore& core) {
  HashMapBlock* const block = core.block_;
  if (block == nullptr || block->size == 0) return;
  join(core);
  standOn(type, block, block->nextLive(type, block->first()));
}

inline void HashMapWalker::step(const HashMapType& type) {
  const U32 next = home_->nextLive(type, lastSlot_ + 1);
  if (next == HashMapBlock::none) {
    unlink();
  } else {
    standOn(type, home_, next);
  }
}

inline void* HashMapWalker::standing(const HashMapType& type) const {
  if (core_ == nullptr || gone_) return nullptr;
  HashMapBlock* const block = core_->block_;
  return home_ == block ? entry_ : block->entry(type, resume_);
}

}  // namespace Velo::Impl
