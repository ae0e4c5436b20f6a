#include "platform/Quillo/Slab.h"

#include <cstdlib>
#include <cstring>
#include <new>

#ifdef QUILLO_FORWARDS_TO_MALLOC

namespace Quillo {

constinit Impl::SizeClass Impl::classes[largeClass] = {};
const bool Impl::forwards = true;

void* Impl::allocate(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void Impl::release(void* block) noexcept { std::free(block); }

SlabStats slabStats() {
  SlabStats stats;
  stats.forwards = true;
  return stats;
}

}  // namespace Quillo

#else

#include <cassert>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

namespace Quillo {

// Never destroyed: objects of static lifetime give their blocks back after any destructor of ours
// could have run.
constinit Impl::SizeClass Impl::classes[largeClass] = {};
const bool Impl::forwards = false;

using Impl::classes;
using Impl::classOf;
using Impl::fineClasses;
using Impl::fineMaxSize;
using Impl::FreeBlock;
using Impl::largeClass;
using Impl::SizeClass;

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

constexpr std::size_t sizeOf(U32 sizeClass) noexcept {
  if (sizeClass <= fineClasses) return std::size_t{sizeClass} * 16;
  const U32 coarse = sizeClass - fineClasses - 1;
  return (std::size_t{coarse % 4} + 5) << (8 + coarse / 4);
}
static_assert(classOf(fineMaxSize) == fineClasses && classOf(fineMaxSize + 1) == fineClasses + 1);
static_assert(classOf(slabMaxSize) == largeClass - 1 && sizeOf(largeClass - 1) == slabMaxSize);
static_assert(sizeOf(classOf(1025)) == 1280 && sizeOf(classOf(2049)) == 2560);

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

void* allocateHere(std::size_t size) {
  if (size > slabMaxSize) [[unlikely]]
    return allocateLarge(size);
  const U32 sizeClass = classOf(size);
  SizeClass& from = classes[sizeClass];
  void* block = from.freed;
  if (block != nullptr)
    from.freed = from.freed->next;
  else
    block = carve(from, sizeClass);
  ++from.handedOut;
  return block;
}

void releaseHere(void* block) noexcept {
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
  assert(to.handedOut != to.takenBack && "a block is given back that was not handed out");
  to.freed = new (block) FreeBlock{to.freed};
  ++to.takenBack;
}

}  // namespace

void* Impl::allocate(std::size_t size) {
  if (Velo::VFPtrInterface::threadSafePointers_) [[unlikely]] {
    const std::lock_guard<std::mutex> guard(lock);
    return allocateHere(size);
  }
  return allocateHere(size);
}

void Impl::release(void* block) noexcept {
  if (Velo::VFPtrInterface::threadSafePointers_) [[unlikely]] {
    const std::lock_guard<std::mutex> guard(lock);
    releaseHere(block);
    return;
  }
  releaseHere(block);
}

SlabStats slabStats() {
  std::unique_lock<std::mutex> guard(lock, std::defer_lock);
  if (Velo::VFPtrInterface::threadSafePointers_) guard.lock();
  SlabStats stats;
  stats.liveObjects = largeObjects;
  stats.liveBytes = largeBytes;
  stats.reservedBytes = arenas * arenaSize;
  for (U32 i = 1; i < largeClass; ++i) {
    const U64 live = classes[i].handedOut - classes[i].takenBack;
    stats.liveObjects += live;
    stats.liveBytes += live * sizeOf(i);
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
