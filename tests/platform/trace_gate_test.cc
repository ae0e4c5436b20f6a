#include "platform/Fastmark/TraceGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "platform/Velo/Trace.h"

namespace {

using Fastmark::TraceGate;
using Fastmark::TraceGateKeeper;

struct ChangingFacility {
  static Velo::TraceHandle& handle() {
    static Velo::TraceHandle& facility = *new Velo::TraceHandle("ChangingSm", false);
    return facility;
  }
};

struct CountingFacility {
  static Velo::TraceHandle& handle() {
    ++asked;
    static Velo::TraceHandle& facility = *new Velo::TraceHandle("CountingSm", false);
    return facility;
  }
  static inline int asked = 0;
};

TEST(TraceGate, AsksForTheFacilityAtTheFirstTraceAlone) {
  const auto trace = [] { VELO_TRACE(CountingFacility, 3, "here"); };
  EXPECT_EQ(CountingFacility::asked, 0);
  trace();
  EXPECT_EQ(CountingFacility::asked, 1);
  for (int i = 0; i < 10; ++i) trace();
  EXPECT_EQ(CountingFacility::asked, 1);
}

TEST(TraceGate, ShowsTheLevelsAndTheRingWhileItIsKept) {
  std::atomic<U32> levels = 0x5;
  std::atomic<U32> others = 0;
  TraceGate gate;
  EXPECT_EQ(gate.load(), TraceGate::openBit);
  {
    const TraceGateKeeper keeper(gate, levels);
    EXPECT_EQ(gate.load(), 0x5U);
    levels = 0x203;
    TraceGate::levelsChanged(others);
    EXPECT_EQ(gate.load(), 0x5U);
    TraceGate::levelsChanged(levels);
    EXPECT_EQ(gate.load(), 0x203U);
    Fastmark::TraceHandle handle(std::make_unique<Fastmark::TraceFile>(64));
    Fastmark::defaultFastmarkHandle = &handle;
    EXPECT_EQ(gate.load(), 0x203U | TraceGate::ringBit);
    Fastmark::defaultFastmarkHandle = nullptr;
    EXPECT_EQ(gate.load(), 0x203U);
  }
  EXPECT_EQ(gate.load(), TraceGate::openBit);
  levels = 0;
  TraceGate::levelsChanged(levels);
  EXPECT_EQ(gate.load(), TraceGate::openBit);
}

TEST(TraceGate, IsOpenWhenItsFacilityHasGoneFirst) {
  TraceGate gate;
  auto levels = std::make_unique<std::atomic<U32>>(0U);
  const TraceGateKeeper keeper(gate, *levels);
  EXPECT_EQ(gate.load(), 0U);
  TraceGate::levelsGone(*levels);
  levels.reset();
  EXPECT_EQ(gate.load(), TraceGate::openBit);
  Fastmark::defaultFastmarkHandle = nullptr;  // reaches all gates that are kept
  EXPECT_EQ(gate.load(), TraceGate::openBit);
}

TEST(TraceGate, EndsRightWhenThreadsChangeWhatItShows) {
  VELO_TRACE(ChangingFacility, 3, "here");
  const auto change = [] {
    for (U32 i = 0; i < 2000; ++i) ChangingFacility::handle().levelsIs(i % 8);
    ChangingFacility::handle().levelsIs(0x10);
  };
  std::thread one(change);
  std::thread two(change);
  one.join();
  two.join();
  const TraceGate& gate = Velo::traceFacility<ChangingFacility>.gate;
  EXPECT_EQ(gate.load(), 0x10U);
  Velo::traceLevelsIs("ChangingSm", 0);
  EXPECT_EQ(gate.load(), 0U);
}

}  // namespace
