#include "platform/Velo/Entity.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/platform/reactor_toys.h"

namespace Toys {

class Entities : public ToyTest {
 protected:
  Velo::Ptr<Watcher> houseWatcher_ = Watcher::on(*house_, "house");
  Velo::Ptr<Room> hall_ = room("hall");
  Velo::Ptr<Watcher> hallWatcher_ = Watcher::on(*hall_, "hall");
  Velo::Ptr<Cupboard> cupboard_ = Velo::make<Cupboard>();
  Velo::Ptr<Watcher> cupboardWatcher_ = Watcher::on(*cupboard_, "cupboard");
};

TEST_F(Entities, AChangeIsStoredBeforeItIsNotified) {
  theLog.at["hall colour"] = [&] { EXPECT_EQ(hall_->colour(), "red"); };
  hall_->colourIs("red");
  theLog.at["hall lamp"] = [&] { EXPECT_TRUE(hall_->lamp(1)); };
  hall_->lampIs(1);
  theLog.at["hall lamp"] = [&] { EXPECT_FALSE(hall_->lamp(1)); };
  hall_->lampDel(1);
  EXPECT_EQ(taken(), (Lines{"hall colour", "hall lamp", "hall lamp"}));
}

TEST_F(Entities, AValueThatIsInPlaceAlreadyNotifiesNobody) {
  hall_->colourIs("red");
  const auto lamp = hall_->lampIs(1);
  house_->roomIs(hall_);
  cupboard_->roomIs(hall_);
  cupboard_->openIs("left", true);
  cupboard_->referrerIs("ann");
  taken();
  hall_->colourIs("red");
  EXPECT_EQ(hall_->lampIs(1), lamp);
  house_->roomIs(hall_);
  cupboard_->roomIs(hall_);
  cupboard_->openIs("left", true);
  cupboard_->referrerIs("ann");
  EXPECT_TRUE(taken().empty());
}

TEST_F(Entities, RemovingWhatIsAbsentNotifiesNobody) {
  EXPECT_FALSE(hall_->lampDel(1));
  EXPECT_FALSE(house_->roomDel("hall"));
  EXPECT_FALSE(cupboard_->openDel("left"));
  EXPECT_FALSE(cupboard_->referrerDel("ann"));
  hall_->lampDelAll();
  house_->roomDelAll();
  EXPECT_TRUE(taken().empty());
}

TEST_F(Entities, ALookupOfAMissingKeyYieldsNullAndCreatesNothing) {
  EXPECT_FALSE(hall_->lamp(1));
  EXPECT_EQ(hall_->lamp().size(), 0U);
  EXPECT_EQ(cupboard_->open("left"), nullptr);
  EXPECT_EQ(cupboard_->open().size(), 0U);
  EXPECT_TRUE(taken().empty());
}

TEST_F(Entities, ARemovedElementIsHandedOver) {
  house_->roomIs(hall_);
  EXPECT_EQ(house_->roomDel("hall"), hall_);
  const auto lamp = hall_->lampIs(1);
  EXPECT_EQ(hall_->lampDel(1), lamp);
  EXPECT_TRUE(cupboard_->referrerDel("ann") == false);
  cupboard_->referrerIs("ann");
  EXPECT_TRUE(cupboard_->referrerDel("ann"));
}

TEST_F(Entities, AnEntryIsStoredUnderItsOwnKeyAndAReplacedOneKeepsItsPlace) {
  house_->roomIs(hall_);
  house_->roomIs(room("attic"));
  const auto other = room("hall");
  taken();
  house_->roomIs(other);
  EXPECT_EQ(taken(), Lines{"house room"});
  EXPECT_EQ(house_->room("hall"), other);
  Lines order;
  for (const auto& name : house_->room().keys()) order.push_back(text(name));
  EXPECT_EQ(order, (Lines{"hall", "attic"}));
}

TEST_F(Entities, AnEntryThatIsNullRaisesAndNamesTypeAndAttribute) {
  try {
    house_->roomIs(nullptr);
    FAIL() << "nothing was raised";
  } catch (const Velo::NullPointerException& e) {
    EXPECT_STREQ(e.what(), "Toys::House.room: a null entity was given");
  }
}

TEST_F(Entities, AReferenceMayBeTakenAway) {
  cupboard_->roomIs(hall_);
  cupboard_->roomIs(nullptr);
  cupboard_->roomIs(nullptr);
  EXPECT_EQ(taken(), (Lines{"cupboard room", "cupboard room"}));
  EXPECT_FALSE(cupboard_->room());
}

TEST_F(Entities, AValueUnderAKeyThatChangesIsNotified) {
  cupboard_->openIs("left", true);
  cupboard_->openIs("left", false);
  EXPECT_EQ(*cupboard_->open("left"), false);
  EXPECT_EQ(taken(), (Lines{"cupboard open", "cupboard open"}));
}

TEST_F(Entities, RemovingAllGoesOneByOneInOrder) {
  for (const U32 lamp : {3U, 1U, 2U}) hall_->lampIs(lamp);
  taken();
  theLog.at["hall lamp"] = [&] {
    EXPECT_EQ(hall_->lamp().size(), 2U);
    EXPECT_FALSE(hall_->lamp(3));
    theLog.at["hall lamp"] = [&] {
      EXPECT_EQ(hall_->lamp().size(), 1U);
      EXPECT_TRUE(hall_->lamp(2));
    };
  };
  hall_->lampDelAll();
  EXPECT_EQ(taken(), (Lines{"hall lamp", "hall lamp", "hall lamp"}));
}

TEST_F(Entities, RemovingAllStopsWhenTheEntityGoesMeanwhile) {
  for (const U32 lamp : {1U, 2U, 3U}) hall_->lampIs(lamp);
  taken();
  Room* const raw = hall_.get();
  theLog.at["hall lamp"] = [&] {
    hall_ = nullptr;
    hallWatcher_->notifierIs(nullptr);
  };
  raw->lampDelAll();
  EXPECT_EQ(taken(), Lines{"hall lamp"});
}

TEST_F(Entities, AnEntityMayLoseItsLastReferenceInItsOwnNotification) {
  Room* const raw = hall_.get();
  theLog.at["hall colour"] = [&] {
    hall_ = nullptr;
    hallWatcher_->notifierIs(nullptr);
  };
  raw->colourIs("red");
  EXPECT_EQ(taken(), Lines{"hall colour"});
}

TEST_F(Entities, TheOldValueOfAReferenceLivesThroughTheNotification) {
  auto attic = room("attic");
  const Room* const raw = attic.get();
  cupboard_->roomIs(attic);
  attic = nullptr;
  theLog.at["cupboard room"] = [&] { EXPECT_EQ(raw->referenceCount(), 1U); };
  taken();
  cupboard_->roomIs(hall_);
  EXPECT_EQ(taken(), Lines{"cupboard room"});
}

TEST_F(Entities, AKeyThatStandsInTheRemovedElementStaysReadable) {
  house_->roomIs(room("attic"));
  const auto& key = house_->room("attic")->name();
  EXPECT_TRUE(house_->roomDel(key));
  hall_->lampIs(1);
  for (const U32& lamp : hall_->lamp().keys()) EXPECT_TRUE(hall_->lampDel(lamp));
}

TEST_F(Entities, AnElementThatGoesInTheNotificationOfItsArrivalIsStillReturned) {
  theLog.at["hall lamp"] = [&] { hall_->lampDel(4); };
  const auto lamp = hall_->lampIs(4);
  EXPECT_EQ(lamp->number(), 4U);
  EXPECT_FALSE(hall_->lamp(4));
}

TEST_F(Entities, AnEntityPrintsAsItsTypeWithItsKeyOrAlone) {
  std::ostringstream out;
  out << hall_ << ' ' << house_ << ' ' << Velo::Ptr<const Velo::PtrInterface>(hall_->lampIs(7));
  EXPECT_EQ(out.str(), "Toys::Room(hall) Toys::House Toys::Lamp(7)");
}

TEST_F(Entities, AnEntityOfAReadOnlyPointerIsReadOnly) {
  const Velo::Ptr<const Room> readOnly = hall_;
  hall_->lampIs(1);
  static_assert(std::is_same_v<decltype(readOnly->lamp(1U)), Velo::Ptr<const Lamp>>);
  static_assert(std::is_same_v<decltype(hall_->lamp(1U)), Velo::Ptr<Lamp>>);
  EXPECT_EQ(readOnly->lamp(1)->number(), 1U);
}

}  // namespace Toys
