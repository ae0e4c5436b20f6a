// The slab allocator. Machines, reactors and the blocks of the hash collections live and die with
// every event, so each size class keeps its freed blocks in a list and hands the last one out
// again, still warm. Counting per type is a layer above: platform/Velo/AllocTrack.h.
//
// Which threads: any thread while Velo::VFPtrInterface::threadSafePointers_ is set, at the price of
// a lock; otherwise only one, at no price. The flag may change while no other thread uses slabs.
//
// Under an address, thread or memory sanitizer all of this is plain malloc and free, so that the
// sanitizer sees each object.
#pragma once

#include <bit>
#include <cstddef>
#include <new>
#include <typeinfo>

#include "platform/Velo/PtrInterface.h"
#include "platform/Velo/Types.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUILLO_FORWARDS_TO_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define QUILLO_FORWARDS_TO_MALLOC 1
#endif
#endif

namespace Quillo {

// Every block is aligned to this, and to no more.
inline constexpr std::size_t slabAlignment = 16;

// Blocks above this size are not kept in slabs but come from, and go back to, the system.
inline constexpr std::size_t slabMaxSize = 8192;

// At least `size` bytes, uninitialised; a block of its own also for size 0. The caller gives it
// back with slabFree(). Throws std::bad_alloc when the system has no memory left. O(1).
void* slabAlloc(std::size_t size);

// Gives back a block of slabAlloc(); null is let through. `type` is that of the object which stood
// there; it serves a debugger that stops here, and nothing reads it. O(1).
void slabFree(void* block, const std::type_info& type) noexcept;
// As above for a caller who knows the size that was asked for, which spares a look at the block's
// chunk. Null is not let through.
void slabFree(void* block, std::size_t size) noexcept;

// As slabAlloc(), with each of the `size` bytes set to `pattern`. Given back with
// slabFreeOrStdFree().
void* slabAllocOrStdMalloc(std::size_t size, U8 pattern);

// Gives back a block of slabAlloc() or slabAllocOrStdMalloc(), for a caller who does not know its
// size; null is let through.
void slabFreeOrStdFree(void* block) noexcept;

// What the allocator holds at this moment. All zero where `forwards` is set.
struct SlabStats {
  U64 liveObjects = 0;    // blocks handed out and not yet given back, of all sizes
  U64 liveBytes = 0;      // their bytes, each rounded up to its size class
  U64 reservedBytes = 0;  // taken from the system for slabs; never returned to it
  bool forwards = false;  // this build passes everything to malloc and free
};
SlabStats slabStats();

// -------------------------------------------------------------------------------------------------
// What a block comes and goes by is inline: where the size is known, it is a handful of
// instructions.

namespace Impl {

// Up to 1024 bytes, classes 1 to 64 in steps of 16; from there on four classes to each doubling,
// 1280, 1536, 1792, 2048, 2560 and so on, so that no block is more than a quarter too large.
inline constexpr std::size_t fineMaxSize = 1024;
inline constexpr U32 fineClasses = 64;
inline constexpr U32 largeClass = 77;

constexpr U32 classOf(std::size_t size) noexcept {
  if (size <= fineMaxSize) return size == 0 ? 1 : static_cast<U32>((size + 15) / 16);
  const auto width = static_cast<U32>(std::bit_width(size - 1));
  const auto quarter = static_cast<U32>((size - 1) >> (width - 3));  // 4 to 7
  return fineClasses + 1 + (width - 11) * 4 + (quarter - 4);
}

struct FreeBlock {
  FreeBlock* next;
};

// Two counts that only rise, rather than one that goes up and down: what comes and goes at once
// then waits for neither.
struct SizeClass {
  FreeBlock* freed = nullptr;
  U64 handedOut = 0;
  U64 takenBack = 0;
  char* uncarved = nullptr;  // the rest of the youngest chunk of the class
  char* uncarvedEnd = nullptr;
};
extern SizeClass classes[largeClass];

// Whether the library was built to forward. A program may be built otherwise than the library: so
// blocks are always given out and taken back as the library says.
extern const bool forwards;

void* allocate(std::size_t size);
void release(void* block) noexcept;

}  // namespace Impl

inline void* slabAlloc(std::size_t size) {
#ifndef QUILLO_FORWARDS_TO_MALLOC
  if (size <= slabMaxSize && !Velo::VFPtrInterface::threadSafePointers_) [[likely]] {
    Impl::SizeClass& from = Impl::classes[Impl::classOf(size)];
    if (Impl::FreeBlock* const block = from.freed; block != nullptr) [[likely]] {
      from.freed = block->next;
      ++from.handedOut;
      return block;
    }
  }
#endif
  return Impl::allocate(size);
}

inline void slabFree(void* block, [[maybe_unused]] std::size_t size) noexcept {
#if !defined(QUILLO_FORWARDS_TO_MALLOC) && defined(NDEBUG)
  if (size <= slabMaxSize && !Velo::VFPtrInterface::threadSafePointers_ && !Impl::forwards)
      [[likely]] {
    Impl::SizeClass& to = Impl::classes[Impl::classOf(size)];
    to.freed = ::new (block) Impl::FreeBlock{to.freed};
    ++to.takenBack;
    return;
  }
#endif
  Impl::release(block);
}

inline void slabFreeOrStdFree(void* block) noexcept {
  if (block != nullptr) Impl::release(block);
}

inline void slabFree(void* block, const std::type_info& /*type*/) noexcept {
  slabFreeOrStdFree(block);
}

}  // namespace Quillo
