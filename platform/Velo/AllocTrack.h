// Counts per type of what stands in slabs, for whoever looks for a leak or for what fills the
// memory. Diagnostics alone: no logic reads the counters. The memory itself is Quillo's, see
// platform/Quillo/Slab.h; a class joins the two by
//
//   static void* operator new(std::size_t size) { return Velo::trackedNew<Machine>(size); }
//   static void operator delete(void* block, std::size_t size) noexcept {
//     Velo::trackedDelete<Machine>(block, size);
//   }
//
// Counting is atomic while Velo::VFPtrInterface::threadSafePointers_ is set and plain otherwise.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <typeinfo>
#include <vector>

#include "platform/Quillo/Slab.h"
#include "platform/Velo/Types.h"

namespace Velo {

// The record of one type. It enters the process-wide list at its type's first allocation and never
// leaves it, so records are of static lifetime, in a library that stays loaded.
class AllocTrackTypeInfo {
 public:
  constexpr AllocTrackTypeInfo() noexcept = default;
  AllocTrackTypeInfo(const AllocTrackTypeInfo&) = delete;
  AllocTrackTypeInfo& operator=(const AllocTrackTypeInfo&) = delete;

  // A record as it stood when it was read.
  struct Counts {
    std::string typeName;    // as written in the source, with its namespaces
    U64 live = 0;            // objects allocated and not yet freed
    U64 total = 0;           // objects ever allocated
    U64 allocatedBytes = 0;  // the sizes of all of them, freed ones included
  };

  // Enters an object of `size` bytes. `type` names the record; the first call decides.
  static void _trackAllocationNoOverhead(AllocTrackTypeInfo* info, const std::type_info& type,
                                         std::size_t size) noexcept {
    if (!info->listed_.load(std::memory_order_relaxed)) [[unlikely]]
      info->list(type);
    add(info->total_, 1);
    add(info->allocatedBytes_, size);
  }
  // Takes an object off again that _trackAllocationNoOverhead() entered.
  static void trackDeallocation(AllocTrackTypeInfo* info) noexcept { add(info->ended_, 1); }

  // All types of which an object was ever allocated, sorted by name.
  static std::vector<Counts> snapshot();

  // Calls visit(const Counts&) for each entry of a snapshot.
  template <class Visit>
  static void forEach(Visit&& visit) {
    for (const Counts& counts : snapshot()) visit(counts);
  }

  // Live objects of all types together.
  static U64 liveObjects() noexcept;

 private:
  // One thread needs no read-modify-write, which would cost as much as the allocation itself. The
  // counters are atomic all the same, so that a reader on another thread sees whole numbers.
  static void add(std::atomic<U64>& counter, U64 amount) noexcept {
    if (VFPtrInterface::threadSafePointers_) [[unlikely]]
      counter.fetch_add(amount, std::memory_order_release);
    else
      counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_release);
  }
  void list(const std::type_info& type) noexcept;
  U64 live() const noexcept {
    // In this order, so that no end is counted whose beginning is not.
    const U64 ended = ended_.load(std::memory_order_acquire);
    return total_.load(std::memory_order_relaxed) - ended;
  }

  std::atomic<U64> total_{0};
  std::atomic<U64> ended_{0};
  std::atomic<U64> allocatedBytes_{0};
  std::atomic<bool> listed_{false};
  const std::type_info* type_ = nullptr;  // set before the record is listed
  AllocTrackTypeInfo* next_ = nullptr;    // as type_
};

// Holds the one record of T. A member of a template, so that all libraries of a process share it.
template <class T>
struct Tracked {
  inline static constinit AllocTrackTypeInfo info;
};

template <class T>
AllocTrackTypeInfo* allocTrackTypeInfo() noexcept {
  return &Tracked<T>::info;
}

// The operator new of class T. Throws std::bad_alloc. A class derived from T that brings no
// operator of its own counts as T.
template <class T>
void* trackedNew(std::size_t size) {
  static_assert(alignof(T) <= Quillo::slabAlignment, "slabs do not align beyond slabAlignment");
  void* block = Quillo::slabAlloc(size);
  AllocTrackTypeInfo::_trackAllocationNoOverhead(allocTrackTypeInfo<T>(), typeid(T), size);
  return block;
}

// The operator delete of class T; null is let through.
template <class T>
void trackedDelete(void* block) noexcept {
  if (block == nullptr) return;
  AllocTrackTypeInfo::trackDeallocation(allocTrackTypeInfo<T>());
  Quillo::slabFree(block, typeid(T));
}
// The same with the size of the object, which is that of a class derived from T where such a one
// ends.
template <class T>
void trackedDelete(void* block, std::size_t size) noexcept {
  if (block == nullptr) return;
  AllocTrackTypeInfo::trackDeallocation(allocTrackTypeInfo<T>());
  Quillo::slabFree(block, size);
}

}  // namespace Velo
