#include "platform/Velo/Ptr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "tests/platform/reactor_toys.h"

#if defined(__SANITIZE_ADDRESS__)
#define TOYS_ADDRESS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOYS_ADDRESS_SANITIZED 1
#endif
#endif

#ifdef TOYS_ADDRESS_SANITIZED
extern "C" int __lsan_do_recoverable_leak_check(void);
#endif

namespace Toys {

using Ptr = ToyTest;

// Writes the moments of its end to the log.
class Mortal : public Velo::PtrInterface {
 public:
  ~Mortal() override {
    theLog("destroyed");
    const Velo::Ptr<Mortal> self(this);
    theLog("held while destroyed " + std::to_string(self->referenceCount()));
  }
  void zeroReferencesIs(bool zero) override {
    if (zero) theLog("ends with " + std::to_string(referenceCount()));
    theSelf = this;
    theLog("work ended");
    theSelf = nullptr;
  }
  static inline Mortal* theSelf = nullptr;
};

TEST_F(Ptr, ANewObjectHasCountZeroAndEachPointerTakesOne) {
  auto* lamp = new Lamp(1);
  EXPECT_EQ(lamp->referenceCount(), 0U);
  const Velo::Ptr<Lamp> first(lamp);
  EXPECT_EQ(lamp->referenceCount(), 1U);
  {
    const Velo::Ptr<Lamp> second = first;
    EXPECT_EQ(lamp->referenceCount(), 2U);
  }
  EXPECT_EQ(lamp->referenceCount(), 1U);
}

TEST_F(Ptr, MovingAndSwappingTakeNoReference) {
  Velo::Ptr<Lamp> first = Velo::make<Lamp>(1U);
  Velo::Ptr<Lamp> second = std::move(first);
  EXPECT_FALSE(first);
  EXPECT_EQ(second->referenceCount(), 1U);
  first.swap(second);
  EXPECT_FALSE(second);
  EXPECT_EQ(first->referenceCount(), 1U);
}

TEST_F(Ptr, AssigningAPointerToItselfKeepsTheObject) {
  Velo::Ptr<Lamp> lamp = Velo::make<Lamp>(1U);
  const Velo::Ptr<Lamp>& same = lamp;
  lamp = same;
  EXPECT_EQ(lamp->number(), 1U);
  EXPECT_EQ(lamp->referenceCount(), 1U);
}

TEST_F(Ptr, APointerConvertsToReadOnlyAndToTheBase) {
  const auto lamp = Velo::make<Lamp>(1U);
  const Velo::Ptr<const Lamp> readOnly = lamp;
  const Velo::Ptr<const Velo::PtrInterface> base = readOnly;
  EXPECT_EQ(lamp->referenceCount(), 3U);
  EXPECT_TRUE(lamp == readOnly);
  EXPECT_TRUE(base == lamp);
}

TEST_F(Ptr, ANullPointerMayBeCopiedComparedAndPrinted) {
  const Velo::Ptr<Lamp> null;
  const Velo::Ptr<const Lamp> copy = null;
  EXPECT_FALSE(copy);
  EXPECT_TRUE(copy == nullptr);
  std::ostringstream out;
  out << copy << ' ' << Velo::make<Lamp>(7U);
  EXPECT_EQ(out.str(), "null Toys::Lamp(7)");
}

TEST_F(Ptr, TheLastReferenceEndsTheObjectWhichIsWholeWhileItEndsItsWork) {
  Velo::Ptr<Mortal> mortal = Velo::make<Mortal>();
  const Velo::Ptr<Mortal> other = mortal;
  mortal = nullptr;
  EXPECT_TRUE(taken().empty());
  const_cast<Velo::Ptr<Mortal>&>(other) = nullptr;
  EXPECT_EQ(taken(), (Lines{"ends with 1", "work ended", "destroyed", "held while destroyed 2"}));
}

TEST_F(Ptr, AReferenceTakenWhileTheObjectEndsItsWorkKeepsIt) {
  Velo::Ptr<Mortal> saved;
  theLog.at["work ended"] = [&] { saved = Velo::Ptr<Mortal>(Mortal::theSelf); };
  Velo::make<Mortal>();
  EXPECT_EQ(taken(), (Lines{"ends with 1", "work ended"}));
  EXPECT_EQ(saved->referenceCount(), 1U);
  saved = nullptr;
  EXPECT_EQ(taken(), (Lines{"ends with 1", "work ended", "destroyed", "held while destroyed 2"}));
}

TEST_F(Ptr, TheFlagsAreNoPartOfTheCount) {
  const auto lamp = Velo::make<Lamp>(1U);
  EXPECT_FALSE(lamp->veloMarkedForDeletion());
  EXPECT_FALSE(lamp->hasNotificationActive());
  lamp->veloMarkedForDeletionIs(true);
  lamp->hasNotificationActiveIs(true);
  EXPECT_EQ(lamp->referenceCount(), 1U);
  EXPECT_TRUE(lamp->veloMarkedForDeletion());
  EXPECT_TRUE(lamp->hasNotificationActive());
  lamp->veloMarkedForDeletionIs(false);
  EXPECT_FALSE(lamp->veloMarkedForDeletion());
  EXPECT_TRUE(lamp->hasNotificationActive());
}

TEST_F(Ptr, AMarkedObjectStillEndsWithItsLastReference) {
  Velo::Ptr<Mortal> mortal = Velo::make<Mortal>();
  mortal->veloMarkedForDeletionIs(true);
  mortal->hasNotificationActiveIs(true);
  mortal = nullptr;
  EXPECT_EQ(taken().back(), "held while destroyed 2");
}

TEST_F(Ptr, ReleaseHandsTheReferenceOver) {
  Velo::Ptr<Lamp> lamp = Velo::make<Lamp>(1U);
  Lamp* raw = lamp.release();
  EXPECT_FALSE(lamp);
  EXPECT_EQ(raw->referenceCount(), 1U);
  raw->referencesDec();
}

using PtrDeathTest = Ptr;

TEST_F(PtrDeathTest, ANullPointerThatIsDereferencedEndsTheProcessWithOneLine) {
  const Velo::Ptr<Lamp> null;
  EXPECT_EXIT(null->litIs(true), testing::KilledBySignal(SIGABRT),
              "^[^\n]*the object pointed to[^\n]*\n$");
}

TEST_F(PtrDeathTest, AMissingObjectThatTheOrderOfSetUpGuaranteesEndsTheProcessWithItsName) {
  EXPECT_EXIT(Velo::required(Velo::Ptr<Lamp>(), "the lamp of the hall"),
              testing::KilledBySignal(SIGABRT), "TestBody.*the lamp of the hall");
}

class ThreadSafePointers : public ToyTest {
 protected:
  ThreadSafePointers() { Velo::VFPtrInterface::threadSafePointers_ = true; }
  ~ThreadSafePointers() override { Velo::VFPtrInterface::threadSafePointers_ = false; }
};

TEST_F(ThreadSafePointers, PointersAreCopiedAndDroppedOnTwoThreadsAndNoCountIsLost) {
  const auto lamp = Velo::make<Lamp>(1U);
  std::atomic<int> ready{0};
  const auto work = [&] {
    ++ready;
    while (ready < 2) std::this_thread::yield();
    for (int i = 0; i < 100000; ++i) {
      const Velo::Ptr<Lamp> copy = lamp;
      const Velo::Ptr<const Lamp> again = copy;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(lamp->referenceCount(), 1U);
}

TEST_F(ThreadSafePointers, FlagsAndCountOfOneWordDoNotLoseEachOther) {
  const auto lamp = Velo::make<Lamp>(1U);
  std::atomic<int> ready{0};
  std::thread other([&] {
    ++ready;
    while (ready < 2) std::this_thread::yield();
    for (int i = 0; i < 100000; ++i) const Velo::Ptr<Lamp> copy = lamp;
  });
  ++ready;
  while (ready < 2) std::this_thread::yield();
  for (int i = 0; i < 100000; ++i) lamp->veloMarkedForDeletionIs((i & 1) == 0);
  other.join();
  EXPECT_EQ(lamp->referenceCount(), 1U);
  EXPECT_FALSE(lamp->veloMarkedForDeletion());
}

TEST_F(ThreadSafePointers, TheLastReferenceMayGoOnAnotherThread) {
  for (int i = 0; i < 100; ++i) {
    Velo::Ptr<Room> hall = room("hall", {1, 2});
    std::thread other([held = hall]() mutable { held = nullptr; });
    hall = nullptr;
    other.join();
  }
}

TEST_F(ThreadSafePointers, MachinesRunAsWithoutIt) {
  auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1}));
  sm = nullptr;
  EXPECT_EQ(taken(),
            (Lines{"initialized with 0 rooms", "lamp 1 initialized", "room hall followed",
                   "hall cleanup with 1 lamps", "lamp 1 cleanup", "~VeloRoom", "~HouseSm"}));
}

#ifdef TOYS_ADDRESS_SANITIZED

// What the slabs forward to malloc under a sanitizer, it sees; if that broke, no test would find a
// leak.
[[gnu::noinline]] void loseALamp() { static_cast<void>(Velo::make<Lamp>(1U).release()); }
[[gnu::noinline]] void overwriteTheStack() {
  volatile char bytes[4096];
  for (auto& byte : bytes) byte = 0;
}

TEST_F(PtrDeathTest, TheSanitizerReportsALostReference) {
  EXPECT_EXIT(
      {
        if (__lsan_do_recoverable_leak_check() != 0) std::_Exit(1);  // somebody else's
        loseALamp();
        overwriteTheStack();
        std::_Exit(__lsan_do_recoverable_leak_check() != 0 ? 23 : 0);
      },
      testing::ExitedWithCode(23), "detected memory leaks(.|\n)*trackedNew");
}

TEST_F(PtrDeathTest, TheSanitizerReportsAnObjectThatIsUsedAfterItsEnd) {
  Velo::Ptr<House> house = house_;
  Velo::Ptr<HouseSm> sm = HouseSm::create(house);
  const HouseSm* raw = sm.get();
  EXPECT_DEATH(
      {
        sm = nullptr;
        std::_Exit(static_cast<int>(raw->referenceCount()));
      },
      "heap-use-after-free");
}

#endif

}  // namespace Toys
