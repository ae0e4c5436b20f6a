#include "platform/Quillo/Slab.h"

#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUILLO_FORWARDS_TO_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define QUILLO_FORWARDS_TO_MALLOC 1
#endif
#endif

#ifdef QUILLO_FORWARDS_TO_MALLOC

namespace Quillo {

void* slabAlloc(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void slabFree(void* block, const std::type_info&) noexcept { std::free(block); }

void slabFreeOrStdFree(void* block) noexcept { std::free(block); }

SlabStats slabStats() {
  SlabStats stats;
  stats.forwards = true;
  return stats;
}

}  // namespace Quillo

#else

#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

#include "platform/Velo/PtrInterface.h"

namespace Quillo {

namespace {

//  arena, 1 MiB          chunk, 64 KiB, aligned to its size
//  +-------+-------+--   +--------+-------+-------+-------+----------------+
//  | chunk | chunk | ..  | header | block | block | block | not yet carved |
//  +-------+-------+--   +--------+-------+-------+-------+----------------+
//
// All blocks of a chunk are of one size class. Masking the address of a block gives the header of
// its chunk and so its class: blocks carry no header of their own. A block above slabMaxSize stands
// in a chunk of its own, which is as long as it has to be and goes back to the system. Blocks are
// carved one by one, so that memory which no block has reached stays untouched.

constexpr std::size_t chunkSize = std::size_t{64} * 1024;
constexpr std::size_t arenaSize = 16 * chunkSize;

struct alignas(64) Chunk {
  std::size_t blockSize;
  U32 sizeClass;
  // The chunk taken from the system before this one. No code walks it: it keeps every arena
  // reachable for a leak checker even when all its blocks are.
  Chunk* olderArena;
};
static_assert(sizeof(Chunk) % slabAlignment == 0);

struct FreeBlock {
  FreeBlock* next;
};

// Up to 1024 bytes, classes 1 to 64 in steps of 16; from there on four classes to each doubling,
// 1280, 1536, 1792, 2048, 2560 and so on, so that no block is more than a quarter too large.
constexpr std::size_t fineMaxSize = 1024;
constexpr U32 fineClasses = 64;
constexpr U32 largeClass = 77;

constexpr U32 classOf(std::size_t size) noexcept {
  if (size <= fineMaxSize) return size == 0 ? 1 : static_cast<U32>((size + 15) / 16);
  const auto width = static_cast<U32>(std::bit_width(size - 1));
  const auto quarter = static_cast<U32>((size - 1) >> (width - 3));  // 4 to 7
  return fineClasses + 1 + (width - 11) * 4 + (quarter - 4);
}

constexpr std::size_t sizeOf(U32 sizeClass) noexcept {
  if (sizeClass <= fineClasses) return std::size_t{sizeClass} * 16;
  const U32 coarse = sizeClass - fineClasses - 1;
  return (std::size_t{coarse % 4} + 5) << (8 + coarse / 4);
}
static_assert(classOf(fineMaxSize) == fineClasses && classOf(fineMaxSize + 1) == fineClasses + 1);
static_assert(classOf(slabMaxSize) == largeClass - 1 && sizeOf(largeClass - 1) == slabMaxSize);
static_assert(sizeOf(classOf(1025)) == 1280 && sizeOf(classOf(2049)) == 2560);

struct SizeClass {
  FreeBlock* freed = nullptr;
  char* uncarved = nullptr;  // the rest of the youngest chunk of the class
  char* uncarvedEnd = nullptr;
  U64 live = 0;
};

// Never destroyed: objects of static lifetime give their blocks back after any destructor of ours
// could have run.
constinit std::array<SizeClass, largeClass> classes{};
constinit char* arena = nullptr;
constinit char* arenaEnd = nullptr;
constinit Chunk* youngestArena = nullptr;
constinit U64 arenas = 0;
constinit U64 largeObjects = 0;
constinit U64 largeBytes = 0;
constinit std::mutex lock;

Chunk* chunkOf(void* block) noexcept {
  const auto offset = reinterpret_cast<std::uintptr_t>(block) & (chunkSize - 1);
  return reinterpret_cast<Chunk*>(static_cast<char*>(block) - offset);
}

Chunk* takeChunk() {
  Chunk* olderArena = nullptr;
  const bool startsArena = arena == arenaEnd;
  if (startsArena) {
    auto* fresh = static_cast<char*>(std::aligned_alloc(chunkSize, arenaSize));
    if (fresh == nullptr) throw std::bad_alloc();
    arena = fresh;
    arenaEnd = fresh + arenaSize;
    ++arenas;
    olderArena = youngestArena;
  }
  auto* chunk = new (arena) Chunk{0, 0, olderArena};
  if (startsArena) youngestArena = chunk;
  arena += chunkSize;
  return chunk;
}

void* carve(SizeClass& from, U32 sizeClass) {
  const std::size_t blockSize = sizeOf(sizeClass);
  if (static_cast<std::size_t>(from.uncarvedEnd - from.uncarved) < blockSize) {
    Chunk* chunk = takeChunk();
    chunk->blockSize = blockSize;
    chunk->sizeClass = sizeClass;
    from.uncarved = reinterpret_cast<char*>(chunk + 1);
    from.uncarvedEnd = reinterpret_cast<char*>(chunk) + chunkSize;
  }
  return std::exchange(from.uncarved, from.uncarved + blockSize);
}

void* allocateLarge(std::size_t size) {
  constexpr std::size_t most = std::numeric_limits<std::ptrdiff_t>::max() - 2 * chunkSize;
  if (size > most) throw std::bad_alloc();
  // aligned_alloc() wants a multiple of the alignment; pages that are never touched cost nothing.
  const std::size_t whole = (sizeof(Chunk) + size + chunkSize - 1) & ~(chunkSize - 1);
  void* chunk = std::aligned_alloc(chunkSize, whole);
  if (chunk == nullptr) throw std::bad_alloc();
  new (chunk) Chunk{size, largeClass, nullptr};
  ++largeObjects;
  largeBytes += size;
  return static_cast<char*>(chunk) + sizeof(Chunk);
}

inline void* allocate(std::size_t size) {
  if (size > slabMaxSize) [[unlikely]]
    return allocateLarge(size);
  const U32 sizeClass = classOf(size);
  SizeClass& from = classes[sizeClass];
  void* block = from.freed;
  if (block != nullptr) [[likely]]
    from.freed = from.freed->next;
  else
    block = carve(from, sizeClass);
  ++from.live;
  return block;
}

inline void release(void* block) noexcept {
  Chunk* chunk = chunkOf(block);
#ifndef NDEBUG
  // Whoever reads a freed object shall meet an address that faults, not one that almost works.
  std::memset(block, 0xdd, chunk->blockSize);
#endif
  if (chunk->sizeClass == largeClass) [[unlikely]] {
    --largeObjects;
    largeBytes -= chunk->blockSize;
    std::free(chunk);
    return;
  }
  SizeClass& to = classes[chunk->sizeClass];
  assert(to.live != 0 && "a block is given back that was not handed out");
  to.freed = new (block) FreeBlock{to.freed};
  --to.live;
}

}  // namespace

void* slabAlloc(std::size_t size) {
  if (Velo::VFPtrInterface::threadSafePointers_) [[unlikely]] {
    const std::lock_guard<std::mutex> guard(lock);
    return allocate(size);
  }
  return allocate(size);
}

void slabFreeOrStdFree(void* block) noexcept {
  if (block == nullptr) return;
  if (Velo::VFPtrInterface::threadSafePointers_) [[unlikely]] {
    const std::lock_guard<std::mutex> guard(lock);
    release(block);
    return;
  }
  release(block);
}

void slabFree(void* block, const std::type_info&) noexcept { slabFreeOrStdFree(block); }

SlabStats slabStats() {
  std::unique_lock<std::mutex> guard(lock, std::defer_lock);
  if (Velo::VFPtrInterface::threadSafePointers_) guard.lock();
  SlabStats stats;
  stats.liveObjects = largeObjects;
  stats.liveBytes = largeBytes;
  stats.reservedBytes = arenas * arenaSize;
  for (U32 i = 1; i < largeClass; ++i) {
    stats.liveObjects += classes[i].live;
    stats.liveBytes += classes[i].live * sizeOf(i);
  }
  return stats;
}

}  // namespace Quillo

#endif  // QUILLO_FORWARDS_TO_MALLOC

namespace Quillo {

void* slabAllocOrStdMalloc(std::size_t size, U8 pattern) {
  void* block = slabAlloc(size);
  std::memset(block, pattern, size);
  return block;
}

}  // namespace Quillo
