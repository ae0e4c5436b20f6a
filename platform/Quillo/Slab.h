// The slab allocator. Machines, reactors and the buckets of the hash collections live and die with
// every event, so each size class keeps its freed blocks in a list and hands the last one out
// again, still warm. Counting per type is a layer above: platform/Velo/AllocTrack.h.
//
// Which threads: any thread while Velo::VFPtrInterface::threadSafePointers_ is set, at the price of
// a lock; otherwise only one, at no price. The flag may change while no other thread uses slabs.
//
// Under an address, thread or memory sanitizer all of this is plain malloc and free, so that the
// sanitizer sees each object.
#pragma once

#include <cstddef>
#include <typeinfo>

#include "platform/Velo/Types.h"

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

// As slabAlloc(), with each of the `size` bytes set to `pattern`. Given back with
// slabFreeOrStdFree().
void* slabAllocOrStdMalloc(std::size_t size, U8 pattern);

// Gives back a block of slabAllocOrStdMalloc(); null is let through.
void slabFreeOrStdFree(void* block) noexcept;

// What the allocator holds at this moment. All zero where `forwards` is set.
struct SlabStats {
  U64 liveObjects = 0;    // blocks handed out and not yet given back, of all sizes
  U64 liveBytes = 0;      // their bytes, each rounded up to its size class
  U64 reservedBytes = 0;  // taken from the system for slabs; never returned to it
  bool forwards = false;  // this build passes everything to malloc and free
};
SlabStats slabStats();

}  // namespace Quillo
