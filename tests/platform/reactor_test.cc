#include "platform/Velo/Reactor.h"

#include <gtest/gtest.h>

#include "tests/platform/reactor_toys.h"

namespace Toys {

using Reactors = ToyTest;

// How a reactor comes to be.

TEST_F(Reactors, AMachineReplaysWhatExistsBeforeItRuns) {
  house_->roomIs(room("hall", {1, 2}));
  house_->roomIs(room("attic"));
  const auto sm = HouseSm::create(house_);
  EXPECT_EQ(taken(),
            (Lines{"lamp 1 initialized", "lamp 2 initialized", "initialized with 2 rooms"}));
  EXPECT_TRUE(sm->hasNotificationActive());
}

TEST_F(Reactors, ReactorsAreActiveBeforeTheirMachineIs) {
  house_->roomIs(room("hall", {1}));
  const auto hall = house_->room("hall");
  theLog.at["initialized with 1 rooms"] = [&] { hall->colourIs("red"); };
  const auto sm = HouseSm::create(house_);
  EXPECT_EQ(taken(), (Lines{"lamp 1 initialized", "initialized with 1 rooms", "hall colour"}));
}

TEST_F(Reactors, AnElementThatArrivesGetsItsReactorBeforeOrAfterTheHandlerAsTheTableSays) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall"));
  house_->room("hall")->lampIs(7);
  EXPECT_EQ(taken(), (Lines{"initialized with 0 rooms", "room hall followed", "hall lamp 7 new",
                            "lamp 7 initialized"}));
  house_->room("hall")->lampDel(7);
  house_->roomDel("hall");
  EXPECT_EQ(taken(), (Lines{"hall lamp 7 had", "lamp 7 cleanup", "hall cleanup with 0 lamps",
                            "~VeloRoom", "room hall gone"}));
}

TEST_F(Reactors, AChildIsInitializedBeforeItIsInTheCollectionAndBeforeItIsNotified) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall"));
  const auto hall = house_->room("hall");
  taken();
  theLog.at["lamp 7 initialized"] = [&] {
    EXPECT_FALSE(sm->veloRoom("hall")->veloLamp(7));
    EXPECT_EQ(hall->lamp(7)->notifieeList()->size(), 1U);
    hall->lamp(7)->litIs(true);
  };
  hall->lampIs(7);
  EXPECT_EQ(taken(), (Lines{"hall lamp 7 new", "lamp 7 initialized"}));
  hall->lamp(7)->litIs(false);
  EXPECT_EQ(taken(), Lines{"lamp 7 lit"});
}

TEST_F(Reactors, AnEntityThatIsFollowedAlreadyChangesNothing) {
  const auto sm = HouseSm::create(house_);
  const auto hall = room("hall", {1});
  house_->roomIs(hall);
  const auto reactor = sm->veloRoom("hall");
  taken();
  sm->roomIs(hall);
  EXPECT_TRUE(taken().empty());
  EXPECT_EQ(sm->veloRoom("hall"), reactor);
  EXPECT_EQ(hall->notifieeList()->size(), 1U);
}

TEST_F(Reactors, ANullEntityRaisesAndNamesTheAttribute) {
  const auto sm = HouseSm::create(house_);
  try {
    sm->roomIs(nullptr);
    FAIL() << "nothing was raised";
  } catch (const Velo::NullPointerException& e) {
    EXPECT_STREQ(e.what(), "Toys::HouseSm.room: a null entity was given");
  }
  house_->roomIs(room("hall"));
  try {
    sm->veloRoom("hall")->lampIs(nullptr);
    FAIL() << "nothing was raised";
  } catch (const Velo::NullPointerException& e) {
    EXPECT_STREQ(e.what(), "Toys::HouseSm::VeloRoom.lamp: a null entity was given");
  }
}

TEST_F(Reactors, AReactorCreatedOnADyingOwnerIsAZombieAtOnce) {
  const auto sm = HouseSm::create(house_);
  sm->veloDoZombieReactors(true);
  taken();
  const auto hall = room("hall", {1});
  sm->roomIs(hall);
  EXPECT_EQ(taken(), (Lines{"lamp 1 initialized", "hall cleanup with 1 lamps", "lamp 1 cleanup"}));
  EXPECT_TRUE(sm->veloRoom("hall")->veloMarkedForDeletion());
  EXPECT_TRUE(sm->veloRoom("hall")->veloLamp(1)->veloMarkedForDeletion());
  hall->colourIs("red");
  hall->lampIs(2);
  hall->lamp(1)->litIs(true);
  EXPECT_TRUE(taken().empty());
}

TEST_F(Reactors, AConstructionThatFailsCleansUpTheChildrenAndNotItself) {
  const auto sm = HouseSm::create(house_);
  taken();
  const auto hall = room("hall", {1, 2, 3});
  theLog.at["lamp 2 initialized"] = [] { throw Velo::Exception("no"); };
  EXPECT_THROW(house_->roomIs(hall), Velo::Exception);
  EXPECT_EQ(taken(),
            (Lines{"lamp 1 initialized", "lamp 2 initialized", "lamp 1 cleanup", "~VeloRoom"}));
  EXPECT_FALSE(sm->veloRoom("hall"));
  EXPECT_TRUE(hall->notifieeList()->empty());
  EXPECT_TRUE(house_->room("hall"));  // what was written stays written
}

TEST_F(Reactors, AReactorMadeForTheKeyWhileAnotherIsBuiltGivesWayToIt) {
  const auto sm = HouseSm::create(house_);
  const auto inner = room("hall", {5});
  theLog.at["lamp 1 initialized"] = [&] { sm->roomIs(inner); };
  taken();
  sm->roomIs(room("hall", {1}));
  EXPECT_EQ(taken(), (Lines{"lamp 1 initialized", "lamp 5 initialized", "hall cleanup with 1 lamps",
                            "lamp 5 cleanup", "~VeloRoom"}));
  EXPECT_EQ(sm->veloRoom().size(), 1U);
  EXPECT_TRUE(sm->veloRoom("hall")->veloLamp(1));
}

// How a reactor ends.

TEST_F(Reactors, DeletingAnAbsentKeyReturnsNullAndRunsNothing) {
  const auto sm = HouseSm::create(house_);
  taken();
  EXPECT_FALSE(sm->roomDel("hall"));
  EXPECT_TRUE(taken().empty());
}

TEST_F(Reactors, DeletingReturnsTheEntityThatWasFollowed) {
  const auto sm = HouseSm::create(house_);
  const auto hall = room("hall");
  house_->roomIs(hall);
  EXPECT_EQ(sm->roomDel("hall"), hall);
  EXPECT_TRUE(hall->notifieeList()->empty());
}

TEST_F(Reactors, AReactorIsCleanedUpWithItsChildrenWholeAndNotificationOff) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1, 2}));
  const auto reactor = sm->veloRoom("hall");
  taken();
  theLog.at["hall cleanup with 2 lamps"] = [&] {
    EXPECT_FALSE(sm->veloRoom("hall"));
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_FALSE(reactor->veloMarkedForDeletion());
    EXPECT_FALSE(reactor->veloLamp(1)->hasNotificationActive());
    EXPECT_FALSE(reactor->veloLamp(1)->veloMarkedForDeletion());
  };
  house_->roomDel("hall");
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 2 lamps", "lamp 1 cleanup", "lamp 2 cleanup",
                            "room hall gone"}));
  EXPECT_TRUE(reactor->veloMarkedForDeletion());
  EXPECT_TRUE(reactor->veloLamp(2)->veloMarkedForDeletion());
}

TEST_F(Reactors, DeletingAllEndsThemOneByOneInOrder) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall"));
  house_->roomIs(room("attic"));
  taken();
  theLog.at["attic cleanup with 0 lamps"] = [&] { EXPECT_EQ(sm->veloRoom().size(), 0U); };
  theLog.at["hall cleanup with 0 lamps"] = [&] { EXPECT_EQ(sm->veloRoom().size(), 1U); };
  sm->roomDelAll();
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 0 lamps", "~VeloRoom", "attic cleanup with 0 lamps",
                            "~VeloRoom"}));
}

TEST_F(Reactors, DeletingTheCurrentElementInALoopOverTheCollectionEndsTheLoopNormally) {
  const auto sm = HouseSm::create(house_);
  for (const char* name : {"hall", "attic", "cellar"}) house_->roomIs(room(name));
  Lines seen;
  using Map = Velo::ReactorCollection<HouseSm::VeloRoom>::Map;
  for (Map::ConstIterator it(sm->veloRoom()); it; it.advance()) {
    sm->roomDel(it.key());
    EXPECT_EQ(it.currNodeNonStale(), nullptr);
    const auto entity = it.currNodeMaybeStale()->value()->notifier();
    EXPECT_EQ(entity->name(), it.currNodeMaybeStale()->key());
    seen.push_back(text(entity->name()));
  }
  EXPECT_EQ(seen, (Lines{"hall", "attic", "cellar"}));
  EXPECT_TRUE(sm->veloRoom().empty());
}

TEST_F(Reactors, OneThatReachesItsEndUnmarkedCleansUpThen) {
  auto reactor = Velo::make<HouseSm::VeloRoom>();
  reactor->notifierIs(house_.get());
  reactor->notifierIs(nullptr);
  reactor = nullptr;
  EXPECT_EQ(taken(), Lines{"~VeloRoom"});  // never built: nothing to clean up
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1}));
  auto held = sm->veloRoom("hall");
  taken();
  theLog.at["hall cleanup with 1 lamps"] = [] { throw Velo::Exception("no"); };
  EXPECT_THROW(sm->roomDel("hall"), Velo::Exception);
  EXPECT_FALSE(held->veloMarkedForDeletion());
  taken();
  held = nullptr;
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 1 lamps", "lamp 1 cleanup", "~VeloRoom"}));
}

// Zombies and their revival.

TEST_F(Reactors, AZombieIsNotNotifiedAndMarkingItAgainRunsNothing) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1}));
  const auto reactor = sm->veloRoom("hall");
  reactor->veloDoZombieReactors(true);
  taken();
  reactor->veloDoZombieReactors(true);
  house_->room("hall")->colourIs("red");
  house_->room("hall")->lampIs(2);
  EXPECT_TRUE(taken().empty());
}

TEST_F(Reactors, OnAttributeOfAZombieRunsNoHandlerButStillKeepsItsCollectionInLine) {
  const auto sm = HouseSm::create(house_);
  const auto hall = room("hall", {1});
  house_->roomIs(hall);
  const auto reactor = sm->veloRoom("hall");
  reactor->veloDoZombieReactors(true);
  hall->lampIs(9);
  taken();
  const U32 nine = 9;
  reactor->onAttribute(Room::lampAttribute::id, &nine);
  EXPECT_EQ(taken(), (Lines{"lamp 9 initialized", "lamp 9 cleanup"}));  // itself a zombie at once
  reactor->onAttribute(Room::colourAttribute::id, nullptr);
  EXPECT_TRUE(taken().empty());
  hall->lampDel(9);
  reactor->onAttribute(Room::lampAttribute::id, &nine);
  EXPECT_FALSE(reactor->veloLamp(9));
}

TEST_F(Reactors, OnAttributeWithoutOwnerOrWithoutEntityKeepsNothingInLine) {
  auto sm = HouseSm::create(house_);
  const auto hall = room("hall");
  house_->roomIs(hall);
  const auto reactor = sm->veloRoom("hall");
  sm->roomDel("hall");
  hall->lampIs(9);
  taken();
  const U32 nine = 9;
  reactor->onAttribute(Room::lampAttribute::id, &nine);  // without owner
  EXPECT_TRUE(taken().empty());
  sm->roomIs(hall);
  const auto second = sm->veloRoom("hall");
  second->veloDoZombieReactors(true);
  second->notifierIs(nullptr);
  taken();
  second->onAttribute(Room::lampAttribute::id, &nine);  // without entity
  EXPECT_TRUE(taken().empty());
}

TEST_F(Reactors, RevivalRunsTheCleanupAgainBeforeItClearsTheMark) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1}));
  const auto reactor = sm->veloRoom("hall");
  reactor->veloDoZombieReactors(true);
  taken();
  theLog.at["hall cleanup with 1 lamps active"] = [&] {
    EXPECT_TRUE(reactor->veloMarkedForDeletion());
  };
  reactor->veloDoZombieReactors(false);
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 1 lamps active", "lamp 1 cleanup"}));
  EXPECT_FALSE(reactor->veloMarkedForDeletion());
  EXPECT_FALSE(reactor->veloLamp(1)->veloMarkedForDeletion());
  house_->room("hall")->colourIs("red");
  house_->room("hall")->lamp(1)->litIs(true);
  EXPECT_EQ(taken(), (Lines{"hall colour", "lamp 1 lit"}));
}

// Pointing a reactor to another entity under its key.

TEST_F(Reactors, AReboundReactorKeepsItsPlaceAndAlignsItsChildren) {
  const auto sm = HouseSm::create(house_);
  const auto old = room("hall", {1, 2});
  house_->roomIs(old);
  house_->roomIs(room("attic"));
  const auto before = sm->veloRoom("hall");
  taken();
  house_->roomIs(room("hall", {2, 3}));
  EXPECT_EQ(taken(), (Lines{"lamp 2 lit", "lamp 3 initialized", "lamp 1 cleanup", "hall colour",
                            "room hall followed"}));
  EXPECT_EQ(sm->veloRoom("hall"), before);
  Lines order;
  for (const auto& name : sm->veloRoom().keys()) order.push_back(text(name));
  EXPECT_EQ(order, (Lines{"hall", "attic"}));
  old->colourIs("red");
  EXPECT_TRUE(taken().empty());
  house_->room("hall")->colourIs("red");
  EXPECT_EQ(taken(), Lines{"hall colour"});
}

TEST_F(Reactors, AReboundZombieIsRevivedWhenItsOwnerIsNotMarked) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall"));
  sm->veloRoom("hall")->veloDoZombieReactors(true);
  taken();
  house_->roomIs(room("hall", {1}));
  EXPECT_EQ(taken(),
            (Lines{"lamp 1 initialized", "lamp 1 cleanup", "hall cleanup with 1 lamps active",
                   "lamp 1 cleanup", "room hall followed"}));
  house_->room("hall")->colourIs("red");
  EXPECT_EQ(taken(), Lines{"hall colour"});
}

TEST_F(Reactors, AReboundReactorBecomesAZombieWhenItsOwnerIsMarked) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall"));
  sm->veloDoZombieReactors(true);
  taken();
  const auto other = room("hall", {1});
  sm->roomIs(other);
  EXPECT_EQ(taken(), (Lines{"lamp 1 initialized", "lamp 1 cleanup"}));
  EXPECT_TRUE(sm->veloRoom("hall")->veloMarkedForDeletion());
  EXPECT_EQ(sm->veloRoom("hall")->notifier(), other);
}

TEST_F(Reactors, AReactorThatIsLetGoOfWhileItIsReboundStaysAZombie) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1, 2}));
  const auto other = room("hall", {2, 3, 4});
  taken();
  theLog.at["lamp 3 initialized"] = [&] { sm->roomDel("hall"); };
  sm->roomIs(other);
  EXPECT_EQ(taken(), (Lines{"lamp 2 lit", "lamp 3 initialized", "hall cleanup with 2 lamps",
                            "lamp 1 cleanup", "lamp 2 cleanup", "lamp 3 cleanup", "~VeloRoom"}));
  EXPECT_TRUE(other->notifieeList()->empty());
}

TEST_F(Reactors, AReactorThatIsReboundAgainMeanwhileFollowsTheLastEntity) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1}));
  const auto last = room("hall", {7});
  taken();
  theLog.at["lamp 3 initialized"] = [&] { sm->roomIs(last); };
  sm->roomIs(room("hall", {3, 4}));
  const auto reactor = sm->veloRoom("hall");
  EXPECT_EQ(reactor->notifier(), last);
  EXPECT_FALSE(reactor->veloLamp(4));
  EXPECT_TRUE(reactor->veloLamp(7));
}

// The switch.

TEST_F(Reactors, TheSwitchOfAMachineReachesAllItsReactors) {
  const auto sm = HouseSm::create(house_);
  house_->roomIs(room("hall", {1}));
  const auto hall = house_->room("hall");
  taken();
  sm->hasNotificationActiveIs(false);
  house_->streetIs("High Street");
  hall->colourIs("red");
  hall->lamp(1)->litIs(true);
  house_->roomIs(room("attic"));
  EXPECT_TRUE(taken().empty());
  sm->hasNotificationActiveIs(true);
  house_->streetIs("Low Street");
  hall->colourIs("blue");
  hall->lamp(1)->litIs(false);
  EXPECT_EQ(taken(), (Lines{"street", "hall colour", "lamp 1 lit"}));
}

TEST_F(Reactors, AnAttributeWithoutHandlerIsIgnored) {
  const auto sm = HouseSm::create(house_);
  taken();
  const auto hall = room("hall");
  house_->roomIs(hall);
  taken();
  sm->veloRoom("hall")->onAttribute(House::streetAttribute::id, nullptr);
  EXPECT_TRUE(taken().empty());
}

}  // namespace Toys
