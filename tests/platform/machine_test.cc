#include "platform/Velo/Machine.h"

#include <gtest/gtest.h>

#include "platform/Velo/AllocTrack.h"
#include "tests/platform/machine_toys.h"

namespace Toys {

class Machines : public ToyTest {
 protected:
  Machines() {
    house_->streetIs("High Street");
    house_->roomIs(hall_);
    other_->streetIs("Low Street");
    other_->roomIs(room("attic"));
  }
  ~Machines() override { theLog.at.clear(); }

  static std::function<void()> fail() {
    return [] { throw Velo::Exception("no"); };
  }
  static U64 live() { return Velo::AllocTrackTypeInfo::liveObjects(); }

  Velo::Ptr<Room> hall_ = room("hall", {1});
  Velo::Ptr<House> other_ = Velo::make<House>();
};

// Making a machine.

TEST_F(Machines, AMachineWithoutEntityHasNoReactor) {
  const auto sm = HouseSm::create(Velo::Ptr<House>());
  EXPECT_FALSE(sm->house());
  EXPECT_EQ(taken(), Lines{"initialized with 0 rooms"});
}

TEST_F(Machines, ACreatorHoldsTheMachineThatNobodyElseHoldsYet) {
  theLog.at["lamp 1 initialized"] = [&] { house_->roomIs(room("attic")); };
  const auto sm = HouseSm::create(house_);
  EXPECT_EQ(taken(),
            (Lines{"lamp 1 initialized", "room attic followed", "initialized with 2 rooms"}));
  EXPECT_EQ(sm->referenceCount(), 1U);
}

TEST_F(Machines, AConstructorThatThrowsLeavesNothingBehind) {
  const U64 before = live();
  theLog.at["initialized with 1 rooms"] = fail();
  EXPECT_THROW(HouseSm::create(house_), Velo::Exception);
  EXPECT_EQ(taken(),
            (Lines{"lamp 1 initialized", "initialized with 1 rooms", "hall cleanup with 1 lamps",
                   "lamp 1 cleanup", "~VeloRoom", "~HouseSm"}));
  EXPECT_EQ(live(), before);
  EXPECT_TRUE(house_->notifieeList()->empty());
  EXPECT_TRUE(hall_->notifieeList()->empty());
}

TEST_F(Machines, AConstructorThatThrowsInTheReplayEndsWhatWasReplayed) {
  house_->roomIs(room("attic", {2}));
  theLog.at["lamp 2 initialized"] = fail();
  EXPECT_THROW(HouseSm::create(house_), Velo::Exception);
  EXPECT_EQ(taken(),
            (Lines{"lamp 1 initialized", "lamp 2 initialized", "~VeloRoom",
                   "hall cleanup with 1 lamps", "lamp 1 cleanup", "~VeloRoom", "~HouseSm"}));
}

// The end of a machine.

TEST_F(Machines, TheEndOfAMachineMarksItsReactorsInOrder) {
  auto sm = HouseSm::create(house_);
  house_->roomIs(room("attic"));
  taken();
  sm = nullptr;
  EXPECT_EQ(taken(), (Lines{"hall cleanup with 1 lamps", "lamp 1 cleanup",
                            "attic cleanup with 0 lamps", "~VeloRoom", "~VeloRoom", "~HouseSm"}));
  EXPECT_TRUE(house_->notifieeList()->empty());
  house_->roomIs(room("cellar"));
  EXPECT_TRUE(taken().empty());
}

TEST_F(Machines, TheCleanupOfAMachineThatHasOneRunsAheadOfThatOfItsReactors) {
  auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  taken();
  sm = nullptr;
  EXPECT_EQ(taken(),
            (Lines{"guest cleanup with 1 rooms", "visit cleanup", "hall left", "~GuestSm"}));
}

TEST_F(Machines, AMachineWhoseCleanupThrowsStillEndsItsReactors) {
  auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  taken();
  theLog.at["guest cleanup with 1 rooms"] = fail();
  theLog.at["visit cleanup"] = fail();
  EXPECT_NO_THROW(sm = nullptr);
  EXPECT_EQ(taken(),
            (Lines{"guest cleanup with 1 rooms", "visit cleanup", "hall left", "~GuestSm"}));
}

TEST_F(Machines, AMachineThatIsTakenUpWhileItEndsRunsItsCleanupOnce) {
  auto sm = GuestSm::create("ann");
  GuestSm* const raw = sm.get();
  Velo::Ptr<GuestSm> saved;
  theLog.at["guest cleanup with 0 rooms"] = [&] { saved = Velo::Ptr<GuestSm>(raw); };
  sm = nullptr;
  EXPECT_EQ(taken(), Lines{"guest cleanup with 0 rooms"});
  EXPECT_TRUE(saved->veloMarkedForDeletion());
  saved = nullptr;
  EXPECT_EQ(taken(), Lines{"~GuestSm"});
}

TEST_F(Machines, AReactorThatMissesTheMarkingCleansUpFromItsDestructorWithoutOwner) {
  auto sm = GuestSm::create("ann");
  sm->roomIs(hall_);
  GuestSm* const raw = sm.get();
  taken();
  theLog.at["hall left"] = [&, raw] { raw->houseIs(other_); };
  sm = nullptr;
  // The room that the new house does not have goes in the middle of its own cleanup, unmarked as
  // yet.
  EXPECT_EQ(taken(), (Lines{"guest cleanup with 1 rooms", "hall left", "hall left", "guest street",
                            "visits Low Street", "attic left", "visit cleanup alone", "~GuestSm"}));
  EXPECT_TRUE(other_->notifieeList()->empty());
}

TEST_F(Machines, MarkingAMachineMarksItsReactorsAndRunsNoCleanupOfItsOwn) {
  const auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  taken();
  sm->veloDoZombieReactors(true);
  EXPECT_EQ(taken(), (Lines{"visit cleanup", "hall left"}));
  EXPECT_TRUE(sm->veloMarkedForDeletion());
  sm->veloDoZombieReactors(true);
  EXPECT_TRUE(taken().empty());
  sm->veloDoZombieReactors(false);
  EXPECT_EQ(taken(), (Lines{"visit cleanup", "hall left"}));
  house_->streetIs("Mill Lane");
  EXPECT_EQ(taken(), Lines{"guest street"});
}

// A reactor that is set while the machine runs.

TEST_F(Machines, ASettableReactorFollowsWhatItIsGivenAndRunsTheHandlerThen) {
  const auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  EXPECT_EQ(taken(), (Lines{"guest street", "visits High Street"}));
  EXPECT_TRUE(sm->veloRoom("hall"));
  hall_->colourIs("red");
  house_->roomIs(room("attic"));
  EXPECT_EQ(taken(), Lines{"guest colour"});
  EXPECT_TRUE(sm->veloRoom("attic"));
}

TEST_F(Machines, SettingWhatIsFollowedAlreadyOrNothingWhereThereIsNothingRunsNoHandler) {
  const auto sm = GuestSm::create("ann");
  sm->houseIs(nullptr);
  EXPECT_FALSE(sm->houseDel());
  EXPECT_TRUE(taken().empty());
  sm->houseIs(house_);
  taken();
  sm->houseIs(house_);
  EXPECT_TRUE(taken().empty());
}

TEST_F(Machines, ASettableReactorIsPointedToAnotherEntityAndAlignsTheMachinesReactors) {
  const auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  taken();
  sm->houseIs(other_);
  EXPECT_EQ(taken(), (Lines{"hall left", "guest street", "visits Low Street"}));
  EXPECT_FALSE(sm->veloRoom("hall"));
  EXPECT_TRUE(sm->veloRoom("attic"));
  EXPECT_TRUE(house_->notifieeList()->empty());
}

TEST_F(Machines, LettingGoRunsTheHandlerWithoutEntityAndLeavesTheMachinesReactorsInPlace) {
  const auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  taken();
  EXPECT_EQ(sm->houseDel(), house_);
  EXPECT_EQ(taken(), (Lines{"visit cleanup", "visits nobody"}));
  EXPECT_TRUE(sm->veloRoom("hall"));
  EXPECT_TRUE(house_->notifieeList()->empty());
  sm->houseIs(other_);  // a new reactor, which finds what the old one left
  EXPECT_EQ(taken(), (Lines{"hall left", "guest street", "visits Low Street"}));
  sm->houseIs(nullptr);
  EXPECT_EQ(taken(), (Lines{"visit cleanup", "visits nobody"}));
  EXPECT_FALSE(sm->house());
}

TEST_F(Machines, ASettableReactorOfAMarkedMachineIsAZombieAtOnce) {
  const auto sm = GuestSm::create("ann");
  sm->veloDoZombieReactors(true);
  sm->houseIs(house_);
  EXPECT_EQ(taken(), (Lines{"hall left", "guest street", "visit cleanup", "visits High Street"}));
  house_->streetIs("Mill Lane");
  EXPECT_TRUE(taken().empty());
}

TEST_F(Machines, TheHandlerOfASettableReactorMayDropItsMachine) {
  auto sm = GuestSm::create("ann");
  theLog.at["visits High Street"] = [&] {
    sm = nullptr;
    theLog("still here");
  };
  sm->houseIs(house_);
  EXPECT_EQ(taken(),
            (Lines{"guest street", "visits High Street", "still here", "guest cleanup with 1 rooms",
                   "visit cleanup", "hall left", "~GuestSm"}));
}

TEST_F(Machines, AReactorThatIsLetGoOfByTheHandlersOfItsOwnSettingIsNotRevived) {
  const auto sm = GuestSm::create("ann");
  theLog.at["guest street"] = [&] { sm->houseDel(); };
  sm->houseIs(house_);
  EXPECT_EQ(taken(), (Lines{"guest street", "visit cleanup", "visits nobody", "visits nobody"}));
  EXPECT_FALSE(sm->house());
  house_->streetIs("Mill Lane");
  EXPECT_TRUE(taken().empty());
}

TEST_F(Machines, ACleanupThatThrowsAsASettableReactorGoesRunsOnceMore) {
  const auto sm = GuestSm::create("ann");
  sm->houseIs(house_);
  taken();
  theLog.at["visit cleanup"] = fail();
  EXPECT_THROW(sm->houseDel(), Velo::Exception);
  EXPECT_EQ(taken(), (Lines{"visit cleanup", "visit cleanup"}));
  EXPECT_FALSE(sm->house());
  EXPECT_TRUE(house_->notifieeList()->empty());
}

// Owned machines.

class Owners : public Machines {
 protected:
  Velo::Ptr<LandlordSm> owner_ = LandlordSm::create();
};

TEST_F(Owners, AnOwnedMachineStaysWhileItIsAskedForWithItsOwnArguments) {
  const auto guest = owner_->guestSmIs(Nimbo::String("ann"));
  EXPECT_TRUE(guest->hasNotificationActive());
  EXPECT_EQ(owner_->guestSmIs(Nimbo::String("ann")), guest);
  EXPECT_EQ(owner_->guestSm(), guest);
}

TEST_F(Owners, AnOwnedMachineForOtherArgumentsTakesThePlaceOfTheOldOne) {
  owner_->guestSmIs(Nimbo::String("ann"));
  owner_->guestSm()->houseIs(house_);
  taken();
  theLog.at["guest cleanup with 1 rooms"] = [&] { EXPECT_TRUE(owner_->guestSm()->isFor("bob")); };
  owner_->guestSmIs(Nimbo::String("bob"));
  EXPECT_EQ(taken(),
            (Lines{"guest cleanup with 1 rooms", "visit cleanup", "hall left", "~GuestSm"}));
}

TEST_F(Owners, AnOwnedMachineThatIsDeletedIsSwitchedOffAndHandedOver) {
  owner_->guestSmIs(Nimbo::String("ann"));
  owner_->guestSm()->houseIs(house_);
  taken();
  auto guest = owner_->guestSmDel();
  EXPECT_FALSE(owner_->guestSm());
  EXPECT_FALSE(guest->hasNotificationActive());
  house_->streetIs("Mill Lane");
  EXPECT_TRUE(taken().empty());
  EXPECT_FALSE(owner_->guestSmDel());
}

TEST_F(Owners, AMachineOfThatNameIsReturnedAndOneForAnotherEntityRaises) {
  const auto sm = owner_->roomSmIs("hall", hall_);
  EXPECT_EQ(owner_->roomSmIs("hall", hall_), sm);
  EXPECT_EQ(owner_->roomSm("hall"), sm);
  try {
    owner_->roomSmIs("hall", room("hall"));
    FAIL() << "nothing was raised";
  } catch (const Velo::ReinstantiatingException& e) {
    EXPECT_STREQ(e.what(), "Toys::LandlordSm.roomSm: 'hall' is already there for another entity");
  }
  EXPECT_EQ(owner_->roomSm("hall"), sm);
}

TEST_F(Owners, DeletingOwnedMachinesByNameOrAllOfThem) {
  owner_->roomSmIs("hall", hall_);
  owner_->roomSmIs("attic", room("attic"));
  owner_->roomSmIs("cellar", room("cellar"));
  EXPECT_FALSE(owner_->roomSmDel("loft"));
  const auto attic = owner_->roomSmDel("attic");
  EXPECT_FALSE(attic->hasNotificationActive());
  EXPECT_TRUE(taken().empty());
  owner_->roomSmDelAll();
  EXPECT_EQ(taken(), (Lines{"~RoomSm hall", "~RoomSm cellar"}));
}

TEST_F(Owners, TheSwitchOfAMachineDoesNotReachTheMachinesThatItOwns) {
  owner_->guestSmIs(Nimbo::String("ann"));
  owner_->roomSmIs("hall", hall_);
  owner_->hasNotificationActiveIs(false);
  EXPECT_TRUE(owner_->guestSm()->hasNotificationActive());
  EXPECT_TRUE(owner_->roomSm("hall")->hasNotificationActive());
}

TEST_F(Owners, TheEndOfAMachineDropsTheMachinesThatItOwns) {
  owner_->guestSmIs(Nimbo::String("ann"));
  owner_->roomSmIs("hall", hall_);
  owner_->roomSmIs("attic", room("attic"));
  owner_ = nullptr;
  EXPECT_EQ(taken(), (Lines{"guest cleanup with 0 rooms", "~GuestSm", "~RoomSm hall",
                            "~RoomSm attic", "~LandlordSm"}));
}

}  // namespace Toys
