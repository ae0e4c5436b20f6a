// The slab allocator: alignment, reuse, sizes on both sides of every border, and threads.
#include "platform/Quillo/Slab.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include "platform/Velo/PtrInterface.h"

// Null unless a leak checker is linked in.
extern "C" __attribute__((weak)) void __lsan_do_leak_check();

namespace {

using Quillo::slabAlloc;
using Quillo::slabFree;
using Quillo::slabStats;

U8* bytes(void* block) { return static_cast<U8*>(block); }

void freeBlock(void* block) { slabFree(block, typeid(int)); }

bool forwards() { return slabStats().forwards; }

// Sets the flag for the life of a test.
class ThreadSafe {
 public:
  ThreadSafe() { Velo::VFPtrInterface::threadSafePointers_ = true; }
  ~ThreadSafe() { Velo::VFPtrInterface::threadSafePointers_ = false; }
  ThreadSafe(const ThreadSafe&) = delete;
  ThreadSafe& operator=(const ThreadSafe&) = delete;
};

TEST(Slab, EverySizeIsAlignedAndWritableToItsEnd) {
  std::vector<void*> blocks;
  std::vector<std::size_t> sizes;
  for (std::size_t size = 0; size <= 2 * Quillo::slabMaxSize; size += size < 1100 ? 1 : 37) {
    void* block = slabAlloc(size);
    ASSERT_NE(block, nullptr);
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % Quillo::slabAlignment, 0U) << size;
    std::memset(block, static_cast<int>(sizes.size() % 251), size);
    blocks.push_back(block);
    sizes.push_back(size);
  }
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    for (std::size_t j = 0; j < sizes[i]; ++j)
      ASSERT_EQ(bytes(blocks[i])[j], i % 251) << "block of " << sizes[i] << " was overwritten";
    freeBlock(blocks[i]);
  }
}

TEST(Slab, BlocksOfSizeZeroAreDistinct) {
  void* a = slabAlloc(0);
  void* b = slabAlloc(0);
  EXPECT_NE(a, b);
  freeBlock(a);
  freeBlock(b);
}

TEST(Slab, TheBlockGivenBackLastIsHandedOutFirst) {
  if (forwards()) GTEST_SKIP() << "this build passes everything to malloc";
  void* a = slabAlloc(48);
  void* b = slabAlloc(48);
  freeBlock(a);
  freeBlock(b);
  EXPECT_EQ(slabAlloc(33), b);  // 33 to 48 bytes are one class
  EXPECT_EQ(slabAlloc(48), a);
  freeBlock(a);
  freeBlock(b);
}

TEST(Slab, ABlockIsNotHandedOutForAnotherClass) {
  if (forwards()) GTEST_SKIP() << "this build passes everything to malloc";
  void* a = slabAlloc(48);
  freeBlock(a);
  void* smaller = slabAlloc(32);
  void* larger = slabAlloc(49);
  EXPECT_NE(smaller, a);
  EXPECT_NE(larger, a);
  freeBlock(smaller);
  freeBlock(larger);
}

TEST(Slab, StatsCountWhatIsLiveRoundedUpToTheClass) {
  if (forwards()) GTEST_SKIP() << "this build passes everything to malloc";
  const auto before = slabStats();
  const std::size_t large = 3 * Quillo::slabMaxSize + 1;
  const std::vector<std::size_t> sizes = {1, 17, 1024, 1025, Quillo::slabMaxSize, large};
  std::vector<void*> blocks;
  for (const std::size_t size : sizes) blocks.push_back(slabAlloc(size));
  const auto during = slabStats();
  EXPECT_EQ(during.liveObjects - before.liveObjects, sizes.size());
  EXPECT_EQ(during.liveBytes - before.liveBytes, 16 + 32 + 1024 + 1280 + 8192 + large);
  EXPECT_GT(during.reservedBytes, 0U);
  for (void* block : blocks) freeBlock(block);
  const auto after = slabStats();
  EXPECT_EQ(after.liveObjects, before.liveObjects);
  EXPECT_EQ(after.liveBytes, before.liveBytes);
}

TEST(Slab, AClassThatFreesAsMuchAsItTakesReservesNoMore) {
  if (forwards()) GTEST_SKIP() << "this build passes everything to malloc";
  const auto churn = [] {
    std::vector<void*> blocks;
    for (int i = 0; i < 3000; ++i) blocks.push_back(slabAlloc(200));
    for (void* block : blocks) freeBlock(block);
  };
  churn();
  const U64 reserved = slabStats().reservedBytes;
  for (int i = 0; i < 20; ++i) churn();
  EXPECT_EQ(slabStats().reservedBytes, reserved);
}

TEST(Slab, NullIsLetThrough) {
  const auto before = slabStats().liveObjects;
  slabFree(nullptr, typeid(int));
  Quillo::slabFreeOrStdFree(nullptr);
  EXPECT_EQ(slabStats().liveObjects, before);
}

TEST(Slab, ASizeThatNoSystemHasRaisesBadAlloc) {
  if (forwards() || __lsan_do_leak_check != nullptr)
    GTEST_SKIP() << "a sanitizer's malloc ends the process instead";
  const auto before = slabStats();
  // Through volatile: a size known to be absurd is a warning of its own.
  volatile std::size_t most = std::numeric_limits<std::size_t>::max();
  EXPECT_THROW(slabAlloc(most), std::bad_alloc);
  EXPECT_THROW(slabAlloc(most - (std::size_t{64} << 10)), std::bad_alloc);
  EXPECT_THROW(slabAlloc(most / 2), std::bad_alloc);
  EXPECT_THROW(slabAlloc(most / 4), std::bad_alloc);  // a size that reaches the system
  EXPECT_EQ(slabStats().liveObjects, before.liveObjects);
  EXPECT_EQ(slabStats().liveBytes, before.liveBytes);
}

TEST(Slab, ABlockIsFilledWithItsPattern) {
  for (const std::size_t size : {1UL, 64UL, 5000UL, 100000UL}) {
    // Twice, so that the second stands in what the first one left.
    for (const U8 pattern : {U8{0xab}, U8{0}}) {
      void* block = Quillo::slabAllocOrStdMalloc(size, pattern);
      for (std::size_t i = 0; i < size; ++i) ASSERT_EQ(bytes(block)[i], pattern);
      Quillo::slabFreeOrStdFree(block);
    }
  }
}

TEST(Slab, ARandomWalkNeverHandsOutWhatIsInUse) {
  const U32 seed = 20240917;
  std::mt19937 random(seed);
  struct Live {
    std::size_t size;
    U8 mark;
  };
  std::map<U8*, Live> live;
  for (int step = 0; step < 20000; ++step) {
    if (live.size() < 300 && random() % 5 < 3) {
      const bool large = random() % 50 == 0;
      const std::size_t size = large ? random() % 200000 : random() % 1500;
      U8* block = bytes(slabAlloc(size));
      const auto above = live.lower_bound(block);
      if (above != live.end()) {
        ASSERT_LE(block + size, above->first) << "step " << step << " of seed " << seed;
      }
      if (above != live.begin()) {
        const auto below = std::prev(above);
        ASSERT_LE(below->first + below->second.size, block)
            << "step " << step << " of seed " << seed;
      }
      const auto mark = static_cast<U8>(random());
      std::memset(block, mark, size);
      ASSERT_TRUE(live.emplace(block, Live{size, mark}).second);
    } else if (!live.empty()) {
      auto victim = live.begin();
      std::advance(victim, static_cast<long>(random() % live.size()));
      const auto [size, mark] = victim->second;
      if (size != 0) {
        ASSERT_EQ(victim->first[0], mark) << "step " << step << " of seed " << seed;
        ASSERT_EQ(victim->first[size - 1], mark) << "step " << step << " of seed " << seed;
      }
      freeBlock(victim->first);
      live.erase(victim);
    }
  }
  for (const auto& [block, what] : live) freeBlock(block);
}

TEST(Slab, ABlockMayBeGivenBackOnAnotherThreadWhileTheFlagIsSet) {
  const ThreadSafe flag;
  const auto before = slabStats();
  const auto work = [](U32 seed) {
    std::mt19937 random(seed);
    std::vector<U8*> mine;
    for (int step = 0; step < 5000; ++step) {
      if (mine.size() < 50 && random() % 2 == 0) {
        U8* block = bytes(slabAlloc(64));
        std::memset(block, static_cast<int>(seed), 64);
        mine.push_back(block);
      } else if (!mine.empty()) {
        U8* block = mine.back();
        for (int i = 0; i < 64; ++i) ASSERT_EQ(block[i], seed) << "two threads share a block";
        freeBlock(block);
        mine.pop_back();
      }
    }
    for (U8* block : mine) freeBlock(block);
  };
  std::vector<void*> handedOver;
  for (int i = 0; i < 1000; ++i) handedOver.push_back(slabAlloc(64));
  std::vector<std::thread> threads;
  for (U32 seed = 1; seed <= 3; ++seed) threads.emplace_back(work, seed);
  threads.emplace_back([&handedOver] {
    for (void* block : handedOver) freeBlock(block);
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(slabStats().liveObjects, before.liveObjects);
}

TEST(Slab, ABlockTakenWithoutTheFlagMayBeGivenBackWithIt) {
  const auto before = slabStats();
  void* block = slabAlloc(80);
  {
    const ThreadSafe flag;
    std::thread([block] { freeBlock(block); }).join();
  }
  EXPECT_EQ(slabStats().liveObjects, before.liveObjects);
}

}  // namespace
