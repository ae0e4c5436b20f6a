// The counts per type: what enters the list, what a class with its own operators leaves there.
#include "platform/Velo/AllocTrack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/Velo/PtrInterface.h"

namespace AllocTrackTest {

template <class Self>
struct Counted {
  static void* operator new(std::size_t size) { return Velo::trackedNew<Self>(size); }
  static void operator delete(void* block) noexcept { Velo::trackedDelete<Self>(block); }
};

struct Machine : Counted<Machine> {
  virtual ~Machine() = default;
  char fields[100] = {};
};
struct SpecialMachine : Machine {  // brings no operators of its own
  char more[100] = {};
};
struct Zebra : Counted<Zebra> {};
struct Ant : Counted<Ant> {};
struct NeverMade : Counted<NeverMade> {};
struct Shared : Counted<Shared> {};
template <class Key>
struct Reactor : Counted<Reactor<Key>> {};
struct Failing : Counted<Failing> {
  Failing() { throw std::runtime_error("no"); }
};

}  // namespace AllocTrackTest

namespace {

using Counts = Velo::AllocTrackTypeInfo::Counts;
using namespace AllocTrackTest;

std::optional<Counts> countsOf(const std::string& typeName) {
  std::optional<Counts> found;
  Velo::AllocTrackTypeInfo::forEach([&](const Counts& counts) {
    if (counts.typeName == typeName) found = counts;
  });
  return found;
}

TEST(AllocTrack, ATypeOfWhichNothingWasMadeIsNotListed) {
  EXPECT_FALSE(countsOf("AllocTrackTest::NeverMade").has_value());
  EXPECT_NE(Velo::allocTrackTypeInfo<NeverMade>(), Velo::allocTrackTypeInfo<Machine>());
}

TEST(AllocTrack, LiveFallsOnAFreeAndTheTotalsStay) {
  const std::string name = "AllocTrackTest::Machine";
  const U64 liveOfAll = Velo::AllocTrackTypeInfo::liveObjects();
  auto first = std::make_unique<Machine>();
  const Counts one = countsOf(name).value();
  auto second = std::make_unique<Machine>();
  EXPECT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), liveOfAll + 2);
  EXPECT_EQ(countsOf(name)->live, one.live + 1);
  first.reset();
  second.reset();
  const Counts none = countsOf(name).value();
  EXPECT_EQ(none.live, one.live - 1);
  EXPECT_EQ(none.total, one.total + 1);
  EXPECT_EQ(none.allocatedBytes, one.allocatedBytes + sizeof(Machine));
  EXPECT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), liveOfAll);
}

TEST(AllocTrack, ADerivedClassWithoutOperatorsCountsAsItsBaseWithItsOwnSize) {
  auto base = std::make_unique<Machine>();
  const Counts before = countsOf("AllocTrackTest::Machine").value();
  std::unique_ptr<Machine> derived = std::make_unique<SpecialMachine>();
  const Counts after = countsOf("AllocTrackTest::Machine").value();
  EXPECT_EQ(after.live, before.live + 1);
  EXPECT_EQ(after.allocatedBytes, before.allocatedBytes + sizeof(SpecialMachine));
  EXPECT_FALSE(countsOf("AllocTrackTest::SpecialMachine").has_value());
  derived.reset();
  EXPECT_EQ(countsOf("AllocTrackTest::Machine")->live, before.live);
}

TEST(AllocTrack, TypesAreWalkedByNameWhateverWasMadeFirst) {
  auto zebra = std::make_unique<Zebra>();
  auto reactor = std::make_unique<Reactor<U32>>();
  auto ant = std::make_unique<Ant>();
  std::vector<std::string> names;
  Velo::AllocTrackTypeInfo::forEach([&](const Counts& c) { names.push_back(c.typeName); });
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(std::count(names.begin(), names.end(), "AllocTrackTest::Ant"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "AllocTrackTest::Zebra"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "AllocTrackTest::Reactor<unsigned int>"), 1);
}

TEST(AllocTrack, AnObjectWhoseConstructorThrowsIsTakenOffAgain) {
  const U64 blocks = Quillo::slabStats().liveObjects;
  EXPECT_THROW(std::make_unique<Failing>(), std::runtime_error);
  const Counts counts = countsOf("AllocTrackTest::Failing").value();
  EXPECT_EQ(counts.live, 0U);
  EXPECT_GE(counts.total, 1U);
  EXPECT_EQ(Quillo::slabStats().liveObjects, blocks);
}

TEST(AllocTrack, DeletingNullCountsNothing) {
  auto kept = std::make_unique<Ant>();
  const U64 live = countsOf("AllocTrackTest::Ant")->live;
  Velo::trackedDelete<Ant>(nullptr);
  EXPECT_EQ(countsOf("AllocTrackTest::Ant")->live, live);
}

TEST(AllocTrack, CountsOfSeveralThreadsAddUpWhileTheFlagIsSet) {
  Velo::VFPtrInterface::threadSafePointers_ = true;
  constexpr U64 each = 5000;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([] {
      for (U64 n = 0; n < each; ++n) {
        auto kept = std::make_unique<Shared>();
        auto other = std::make_unique<Shared>();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  Velo::VFPtrInterface::threadSafePointers_ = false;
  const Counts counts = countsOf("AllocTrackTest::Shared").value();
  EXPECT_EQ(counts.live, 0U);
  EXPECT_EQ(counts.total, 3 * 2 * each);
  EXPECT_EQ(counts.allocatedBytes, 3 * 2 * each * sizeof(Shared));
}

}  // namespace
