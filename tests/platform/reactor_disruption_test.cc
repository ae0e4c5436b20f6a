// What handlers and cleanups may do to the reactors around them: drop them, add to them, throw.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/platform/reactor_toys.h"

namespace Toys {

class Disruptions : public ToyTest {
 protected:
  Disruptions() {
    house_->roomIs(hall_);
    house_->roomIs(attic_);
    sm_ = HouseSm::create(house_);
    taken();
  }
  ~Disruptions() override { theLog.at.clear(); }

  static std::function<void()> fail() {
    return [] { throw Velo::Exception("no"); };
  }

  Velo::Ptr<Room> hall_ = room("hall", {1, 2});
  Velo::Ptr<Room> attic_ = room("attic");
  Velo::Ptr<HouseSm> sm_;
};

TEST_F(Disruptions, AHandlerMayDropItsOwnMachine) {
  theLog.at["lamp 1 lit"] = [&] {
    sm_ = nullptr;
    theLog("still here");
  };
  hall_->lamp(1)->litIs(true);
  EXPECT_EQ(taken(), (Lines{"lamp 1 lit", "still here", "hall cleanup with 2 lamps",
                            "lamp 1 cleanup", "lamp 2 cleanup", "attic cleanup with 0 lamps",
                            "~VeloRoom", "~VeloRoom", "~HouseSm"}));
}

TEST_F(Disruptions, AMachineDroppedInANestedDeliveryEndsWithItsOutermostFrame) {
  theLog.at["street"] = [&] {
    theLog.at["hall colour"] = [&] { sm_ = nullptr; };
    hall_->colourIs("red");
    theLog("inner ended");
  };
  house_->streetIs("High Street");
  EXPECT_EQ(taken(), (Lines{"street", "hall colour", "inner ended", "hall cleanup with 2 lamps",
                            "lamp 1 cleanup", "lamp 2 cleanup", "attic cleanup with 0 lamps",
                            "~VeloRoom", "~VeloRoom", "~HouseSm"}));
}

TEST_F(Disruptions, AHandlerMayDropItsOwnReactor) {
  theLog.at["hall colour"] = [&] {
    sm_->roomDel("hall");
    theLog("still here");
  };
  hall_->colourIs("red");
  EXPECT_EQ(taken(), (Lines{"hall colour", "hall cleanup with 2 lamps", "lamp 1 cleanup",
                            "lamp 2 cleanup", "still here", "~VeloRoom"}));
}

TEST_F(Disruptions, TheStepsBehindAHandlerThatDropsItsReactorDoNothing) {
  theLog.at["hall lamp 7 new"] = [&] { sm_->roomDel("hall"); };
  hall_->lampIs(7);
  EXPECT_EQ(taken(), (Lines{"hall lamp 7 new", "hall cleanup with 2 lamps", "lamp 1 cleanup",
                            "lamp 2 cleanup", "~VeloRoom"}));
}

TEST_F(Disruptions, AHandlerOfAChildMayDropTheReactorAbove) {
  theLog.at["lamp 1 lit"] = [&] {
    sm_->roomDel("hall");
    theLog("still here");
  };
  hall_->lamp(1)->litIs(true);
  EXPECT_EQ(taken(), (Lines{"lamp 1 lit", "hall cleanup with 2 lamps", "lamp 1 cleanup",
                            "lamp 2 cleanup", "still here", "~VeloRoom"}));
}

TEST_F(Disruptions, AHandlerMayDropTheNextMachineWhichIsNotCalledThen) {
  auto next = HouseSm::create(house_);
  const Velo::Ptr<Watcher> last = Watcher::on(*house_, "last");
  taken();
  theLog.at["street"] = [&] { next = nullptr; };
  house_->streetIs("High Street");
  const Lines lines = taken();
  EXPECT_EQ(lines.front(), "street");
  EXPECT_EQ(lines.back(), "last street");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "street"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "~HouseSm"), 1);
}

TEST_F(Disruptions, AHandlerMayDropThePreviousMachine) {
  const auto second = HouseSm::create(house_);
  taken();
  theLog.at["street"] = [&] { theLog.at["street"] = [&] { sm_ = nullptr; }; };
  house_->streetIs("High Street");
  const Lines lines = taken();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "street"), 2);
  EXPECT_EQ(lines.back(), "~HouseSm");
  house_->streetIs("Low Street");
  EXPECT_EQ(taken(), Lines{"street"});
}

TEST_F(Disruptions, AHandlerMayDropTheEntity) {
  const Velo::Ptr<Watcher> last = Watcher::on(*hall_, "last");
  theLog.at["hall colour"] = [&] {
    house_->roomDel("hall");
    hall_ = nullptr;
    theLog("still here");
  };
  hall_->colourIs("red");
  EXPECT_EQ(taken(),
            (Lines{"hall colour", "hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup",
                   "room hall gone", "still here", "~VeloRoom", "last colour"}));
}

TEST_F(Disruptions, AHandlerMayMakeAMachineWhichIsNotToldByThatDelivery) {
  Velo::Ptr<HouseSm> second;
  theLog.at["street"] = [&] { second = HouseSm::create(house_); };
  house_->streetIs("High Street");
  EXPECT_EQ(taken(), (Lines{"street", "lamp 1 initialized", "lamp 2 initialized",
                            "initialized with 2 rooms"}));
  house_->streetIs("Low Street");
  EXPECT_EQ(taken(), (Lines{"street", "street"}));
}

TEST_F(Disruptions, AHandlerMaySwitchTheNextMachineOff) {
  const auto next = HouseSm::create(house_);
  taken();
  theLog.at["street"] = [&] { next->hasNotificationActiveIs(false); };
  house_->streetIs("High Street");
  EXPECT_EQ(taken(), Lines{"street"});
}

TEST_F(Disruptions, ADeliveryMayRunTheSameReactorNested) {
  theLog.at["hall colour"] = [&] { hall_->colourIs("blue"); };
  hall_->colourIs("red");
  EXPECT_EQ(taken(), (Lines{"hall colour", "hall colour"}));
}

TEST_F(Disruptions, AnElementThatLeavesWhileItArrivesIsGoneWhenTheOuterHandlerReadsIt) {
  theLog.at["lamp 5 initialized"] = [&] { house_->roomDel("cellar"); };
  house_->roomIs(room("cellar", {5}));
  // The inner removal found no reactor yet; the one under construction came to stand without its
  // entity.
  EXPECT_EQ(taken(), (Lines{"lamp 5 initialized", "room cellar gone", "room cellar followed"}));
  EXPECT_FALSE(house_->room("cellar"));
  sm_->roomDel("cellar");
  EXPECT_EQ(taken().size(), 3U);
}

// Exceptions.

TEST_F(Disruptions, AnExceptionOutOfAHandlerReachesTheMutatorAndLaterNotifieesAreNotCalled) {
  const Velo::Ptr<Watcher> last = Watcher::on(*hall_, "last");
  theLog.at["hall colour"] = fail();
  EXPECT_THROW(hall_->colourIs("red"), Velo::Exception);
  EXPECT_EQ(taken(), Lines{"hall colour"});
  EXPECT_EQ(hall_->colour(), "red");
  hall_->colourIs("blue");
  EXPECT_EQ(taken(), (Lines{"hall colour", "last colour"}));
}

TEST_F(Disruptions, AnExceptionOutOfAHandlerSkipsTheStepsBehindIt) {
  theLog.at["hall lamp 7 new"] = fail();
  EXPECT_THROW(hall_->lampIs(7), Velo::Exception);
  EXPECT_FALSE(sm_->veloRoom("hall")->veloLamp(7));
  EXPECT_TRUE(hall_->lamp(7));
}

TEST_F(Disruptions, AHandlerMayDropItsMachineAndThrow) {
  theLog.at["street"] = [&] {
    sm_ = nullptr;
    throw Velo::Exception("no");
  };
  EXPECT_THROW(house_->streetIs("High Street"), Velo::Exception);
  EXPECT_EQ(taken().back(), "~HouseSm");
  EXPECT_TRUE(house_->notifieeList()->empty());
}

TEST_F(Disruptions, AnExceptionOutOfACleanupReachesTheMutatorAndTheCleanupRunsOnceMore) {
  theLog.at["hall cleanup with 2 lamps"] = fail();
  EXPECT_THROW(house_->roomDel("hall"), Velo::Exception);
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "hall cleanup with 2 lamps",
                            "lamp 1 cleanup", "lamp 2 cleanup", "~VeloRoom"}));
  EXPECT_FALSE(sm_->veloRoom("hall"));
  EXPECT_FALSE(house_->room("hall"));
}

TEST_F(Disruptions, AnExceptionOutOfTheCleanupOfAChildLetsTheReactorCleanUpOnceMoreToo) {
  theLog.at["lamp 2 cleanup"] = fail();
  EXPECT_THROW(house_->roomDel("hall"), Velo::Exception);
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup",
                            "hall cleanup with 2 lamps", "lamp 2 cleanup", "~VeloRoom"}));
}

TEST_F(Disruptions, AReactorWhoseCleanupFailedKeepsItsOwnerForTheOneThatIsLeft) {
  auto held = sm_->veloRoom("hall");
  theLog.at["hall cleanup with 2 lamps"] = fail();
  EXPECT_THROW(sm_->roomDel("hall"), Velo::Exception);
  sm_ = nullptr;
  taken();
  held = nullptr;
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup",
                            "~VeloRoom", "attic cleanup with 0 lamps", "~VeloRoom", "~HouseSm"}));
}

TEST_F(Disruptions, ACleanupThatFailsInItsOwnDeliveryRunsOnceMoreAsTheFrameEnds) {
  theLog.at["hall colour"] = [&] {
    theLog.at["hall cleanup with 2 lamps"] = fail();
    try {
      sm_->roomDel("hall");
    } catch (const Velo::Exception&) {
      theLog("kept in");
    }
  };
  hall_->colourIs("red");
  EXPECT_EQ(taken(),
            (Lines{"hall colour", "hall cleanup with 2 lamps", "kept in",
                   "hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup", "~VeloRoom"}));
}

TEST_F(Disruptions, DuringTheEndOfAMachineEachCleanupIsGuardedOnItsOwn) {
  theLog.at["hall cleanup with 2 lamps"] = fail();
  theLog.at["lamp 1 cleanup"] = fail();
  theLog.at["attic cleanup with 0 lamps"] = fail();
  EXPECT_NO_THROW(sm_ = nullptr);
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup",
                            "attic cleanup with 0 lamps", "~VeloRoom", "~VeloRoom", "~HouseSm"}));
}

TEST_F(Disruptions, ACleanupDuringTheEndMayThrowThroughADelivery) {
  const Velo::Ptr<Watcher> watcher = Watcher::on(*attic_, "watcher");
  theLog.at["watcher colour"] = fail();
  theLog.at["hall cleanup with 2 lamps"] = [&] { attic_->colourIs("red"); };
  EXPECT_NO_THROW(sm_ = nullptr);
  // The machine's other reactor still runs; what follows the failing notifiee does not.
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "attic colour", "watcher colour",
                            "lamp 1 cleanup", "lamp 2 cleanup", "attic cleanup with 0 lamps",
                            "~VeloRoom", "~VeloRoom", "~HouseSm"}));
}

TEST_F(Disruptions, ACleanupMayDeleteItsSiblingDuringTheEnd) {
  HouseSm* const raw = sm_.get();
  theLog.at["hall cleanup with 2 lamps"] = [raw] { raw->roomDel("attic"); };
  sm_ = nullptr;
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "attic cleanup with 0 lamps", "~VeloRoom",
                            "lamp 1 cleanup", "lamp 2 cleanup", "~VeloRoom", "~HouseSm"}));
}

TEST_F(Disruptions, ACleanupMayAddASiblingDuringTheEndWhichIsMarkedInItsTurn) {
  HouseSm* const raw = sm_.get();
  theLog.at["hall cleanup with 2 lamps"] = [&, raw] { raw->roomIs(room("cellar")); };
  sm_ = nullptr;
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup",
                            "attic cleanup with 0 lamps", "cellar cleanup with 0 lamps",
                            "~VeloRoom", "~VeloRoom", "~VeloRoom", "~HouseSm"}));
}

}  // namespace Toys
