#include "platform/Velo/TypeImpl.h"

#include <gtest/gtest.h>

#include "tests/platform/machine_toys.h"

namespace Toys {

using Op = Velo::AttributeOp;
using Record = Velo::AttributeRecord;

class GenericAccess : public ToyTest {
 protected:
  GenericAccess() {
    house_->roomIs(hall_);
    guest_->houseIs(house_);
    taken();
  }

  // What the operation gives on the attribute of that name; "" is one that does not exist.
  static int on(Velo::PtrInterface* object, const char* attribute, Op op, void* result = nullptr,
                void* key = nullptr, void* value = nullptr) {
    const U32 index = Velo::attributeIndex(*object->fwkType().record(), attribute);
    return Velo::genericIfAttributeOp(result, object, index, op, key, value);
  }
  int guest(const char* attribute, Op op, void* result = nullptr, void* key = nullptr,
            void* value = nullptr) {
    return on(guest_.get(), attribute, op, result, key, value);
  }
  int landlord(const char* attribute, Op op, void* result = nullptr, void* key = nullptr,
               void* value = nullptr) {
    return on(landlord_.get(), attribute, op, result, key, value);
  }
  std::unique_ptr<Velo::GenericIterator> walk(Velo::PtrInterface* object, const char* attribute) {
    return Velo::genericIfIterator(object,
                                   Velo::attributeIndex(*object->fwkType().record(), attribute));
  }

  Velo::Ptr<Room> hall_ = room("hall");
  Velo::Ptr<GuestSm> guest_ = GuestSm::create("ann");
  Velo::Ptr<LandlordSm> landlord_ = LandlordSm::create();
  Nimbo::String name_ = "hall";
  Velo::Ptr<const Velo::PtrInterface> entity_;
  U64 count_ = 0;
  bool yes_ = false;
};

TEST_F(GenericAccess, AnUnknownAttributeGivesTwoWhateverTheOperation) {
  const auto end = static_cast<U32>(guestSmType.attributes.size());
  for (const Op op :
       {Op::get, Op::set, Op::del, Op::count, Op::secondSize, Op::contains, Op::invoke}) {
    EXPECT_EQ(Velo::genericIfAttributeOp(nullptr, guest_.get(), end, op, nullptr, nullptr), 2);
    EXPECT_EQ(Velo::genericIfAttributeOp(nullptr, guest_.get(), 4000000000U, op, nullptr, nullptr),
              2);
  }
  EXPECT_EQ(Velo::attributeIndex(guestSmType, "cat"), end);
  // A reactor has no attributes of its own, nor has an entity type without a table.
  EXPECT_EQ(Velo::genericIfAttributeOp(nullptr, guest_->veloRoom("hall").get(), 0, Op::get, nullptr,
                                       nullptr),
            2);
  EXPECT_EQ(Velo::genericIfAttributeOp(nullptr, hall_.get(), 0, Op::get, nullptr, nullptr), 2);
}

TEST_F(GenericAccess, AttributesAreNumberedInDeclaredOrderHandlersIncluded) {
  U32 number = 0;
  for (const char* name : {"name", "house", "room", "handleTwo", "handleEach", "knows"}) {
    EXPECT_EQ(Velo::attributeIndex(guestSmType, name), number++);
  }
  EXPECT_EQ(guestSmType.attributes.size(), number);
}

TEST_F(GenericAccess, APlainAttributeSupportsGetOnly) {
  Nimbo::String text;
  EXPECT_EQ(guest("name", Op::get, &text), 0);
  EXPECT_EQ(text, "ann");
  for (const Op op : {Op::set, Op::del, Op::count, Op::secondSize, Op::contains, Op::invoke}) {
    EXPECT_EQ(guest("name", op, &text, &name_, &text), 1);
  }
  EXPECT_EQ(text, "ann");
}

TEST_F(GenericAccess, AConstructorArgumentThatIsFollowedIsSeenAsItsEntity) {
  const auto sm = HouseSm::create(house_);
  EXPECT_EQ(on(sm.get(), "house", Op::get, &entity_), 0);
  EXPECT_EQ(entity_, house_);
  EXPECT_EQ(on(sm.get(), "house", Op::set, nullptr, nullptr, &house_), 1);
  EXPECT_EQ(on(sm.get(), "house", Op::del), 1);
}

TEST_F(GenericAccess, ASettableReactorSupportsGetSetAndDelete) {
  EXPECT_EQ(guest("house", Op::get, &entity_), 0);
  EXPECT_EQ(entity_, house_);
  auto other = Velo::make<House>();
  EXPECT_EQ(guest("house", Op::set, nullptr, nullptr, &other), 0);
  EXPECT_EQ(guest_->house(), other);
  EXPECT_EQ(guest("house", Op::del), 0);
  EXPECT_EQ(guest("house", Op::get, &entity_), 0);
  EXPECT_FALSE(entity_);
  for (const Op op : {Op::count, Op::secondSize, Op::contains, Op::invoke}) {
    EXPECT_EQ(guest("house", op, &count_, &name_), 1);
  }
}

TEST_F(GenericAccess, ACollectionOfReactorsSupportsAllButInvoke) {
  EXPECT_EQ(guest("room", Op::get, &entity_, &name_), 0);
  EXPECT_EQ(entity_, hall_);
  EXPECT_EQ(guest("room", Op::count, &count_), 0);
  EXPECT_EQ(count_, 1U);
  EXPECT_EQ(guest("room", Op::secondSize, &count_), 0);
  EXPECT_EQ(count_, guest_->veloRoom().capacity());
  EXPECT_EQ(guest("room", Op::contains, &yes_, &name_), 0);
  EXPECT_TRUE(yes_);
  auto attic = room("attic");
  EXPECT_EQ(guest("room", Op::set, nullptr, nullptr, &attic), 0);
  EXPECT_TRUE(guest_->veloRoom("attic"));
  EXPECT_EQ(guest("room", Op::del, nullptr, &name_), 0);
  EXPECT_EQ(taken(), Lines{"hall left"});
  EXPECT_EQ(guest("room", Op::get, &entity_, &name_), 0);
  EXPECT_FALSE(entity_);
  EXPECT_EQ(guest("room", Op::contains, &yes_, &name_), 0);
  EXPECT_FALSE(yes_);
  EXPECT_EQ(guest("room", Op::del), 0);  // all of them
  EXPECT_EQ(taken(), Lines{"attic left"});
  EXPECT_EQ(guest("room", Op::invoke, nullptr, &name_), 1);
}

TEST_F(GenericAccess, DeletingAnAbsentElementSucceedsAndDoesNothing) {
  Nimbo::String absent = "loft";
  EXPECT_EQ(guest("room", Op::del, nullptr, &absent), 0);
  EXPECT_TRUE(taken().empty());
}

TEST_F(GenericAccess, AnOperationThatNeedsAKeyIsNotSupportedWithoutOne) {
  EXPECT_EQ(guest("room", Op::get, &entity_), 1);
  EXPECT_EQ(guest("room", Op::contains, &yes_), 1);
  EXPECT_EQ(guest("handleTwo", Op::invoke), 1);
  EXPECT_EQ(guest("knows", Op::invoke, &yes_), 1);
}

TEST_F(GenericAccess, InvokeRunsAHandlerWithTheArgumentsThatItTakes) {
  const auto sm = HouseSm::create(house_);
  taken();
  EXPECT_EQ(on(sm.get(), "handleStreet", Op::invoke), 0);
  EXPECT_EQ(on(sm.get(), "handleRoom", Op::invoke, nullptr, &name_), 0);
  U32 number = 7;
  void* two[] = {&name_, &number};
  EXPECT_EQ(guest("handleTwo", Op::invoke, nullptr, two), 0);
  EXPECT_EQ(taken(), (Lines{"street", "room hall followed", "two hall 7"}));
}

TEST_F(GenericAccess, AHandlerWithABareFormRunsWithAndWithoutArgument) {
  EXPECT_EQ(guest("handleEach", Op::invoke), 0);
  EXPECT_EQ(guest("handleEach", Op::invoke, nullptr, &name_), 0);
  EXPECT_EQ(taken(), (Lines{"each", "one hall"}));
  EXPECT_TRUE(
      guestSmType.attributes[Velo::attributeIndex(guestSmType, "handleEach")].argumentOptional);
}

TEST_F(GenericAccess, NoOtherOperationAppliesToAHandler) {
  for (const Op op : {Op::get, Op::set, Op::del, Op::count, Op::secondSize, Op::contains}) {
    EXPECT_EQ(guest("handleTwo", op, &count_, &name_), 1);
    EXPECT_EQ(guest("handleEach", op, &count_, &name_), 1);
    EXPECT_EQ(guest("knows", op, &count_, &name_), 1);
  }
  EXPECT_TRUE(taken().empty());
}

TEST_F(GenericAccess, AConstFunctionGivesItsResult) {
  EXPECT_EQ(guest("knows", Op::invoke, &yes_, &name_), 0);
  EXPECT_TRUE(yes_);
  EXPECT_EQ(guest("knows", Op::invoke, nullptr, &name_), 0);  // whoever does not want it
}

TEST_F(GenericAccess, AnOwnedMachineSupportsGetAndDelete) {
  Velo::Ptr<Velo::PtrInterface> machine;
  EXPECT_EQ(landlord("guestSm", Op::get, &machine), 0);
  EXPECT_FALSE(machine);
  landlord_->guestSmIs(Nimbo::String("bob"));
  EXPECT_EQ(landlord("guestSm", Op::get, &machine), 0);
  EXPECT_EQ(machine, landlord_->guestSm());
  EXPECT_EQ(landlord("guestSm", Op::set, nullptr, nullptr, &machine), 1);
  EXPECT_EQ(landlord("guestSm", Op::del), 0);
  EXPECT_FALSE(landlord_->guestSm());
}

TEST_F(GenericAccess, OwnedMachinesAreFoundCountedAndRemovedByNameAndNotSet) {
  landlord_->roomSmIs("hall", hall_);
  Velo::Ptr<Velo::PtrInterface> machine;
  EXPECT_EQ(landlord("roomSm", Op::get, &machine, &name_), 0);
  EXPECT_EQ(machine, landlord_->roomSm("hall"));
  EXPECT_EQ(landlord("roomSm", Op::count, &count_), 0);
  EXPECT_EQ(count_, 1U);
  EXPECT_EQ(landlord("roomSm", Op::set, nullptr, &name_, &machine), 1);
  EXPECT_EQ(landlord("roomSm", Op::del, nullptr, &name_), 0);
  EXPECT_EQ(landlord("roomSm", Op::contains, &yes_, &name_), 0);
  EXPECT_FALSE(yes_);
}

TEST_F(GenericAccess, ExceptionsPassThrough) {
  theLog.at["one hall"] = [] { throw Velo::Exception("no"); };
  EXPECT_THROW(guest("handleEach", Op::invoke, nullptr, &name_), Velo::Exception);
  Velo::Ptr<Room> null;
  EXPECT_THROW(guest("room", Op::set, nullptr, nullptr, &null), Velo::NullPointerException);
}

TEST_F(GenericAccess, AHandlerThatIsInvokedMayDropItsMachine) {
  theLog.at["each"] = [&] {
    guest_ = nullptr;
    theLog("still here");
  };
  GuestSm* const raw = guest_.get();
  EXPECT_EQ(on(raw, "handleEach", Op::invoke), 0);
  EXPECT_EQ(taken(), (Lines{"each", "still here", "guest cleanup with 1 rooms", "visit cleanup",
                            "hall left", "~GuestSm"}));
}

TEST_F(GenericAccess, AWalkOverReactorsShowsTheirEntitiesAndKeys) {
  house_->roomIs(room("attic"));
  Lines seen;
  for (auto it = walk(guest_.get(), "room"); it->nonnull(); it->inc()) {
    const auto& key = *static_cast<const Nimbo::String*>(it->key());
    EXPECT_EQ(it->object(), house_->room(key));
    seen.push_back(text(key));
  }
  EXPECT_EQ(seen, (Lines{"hall", "attic"}));
}

TEST_F(GenericAccess, AWalkStandsOnAnElementThatHasGoneAndGoesOn) {
  house_->roomIs(room("attic"));
  const auto it = walk(guest_.get(), "room");
  guest_->roomDel("hall");
  EXPECT_TRUE(it->nonnull());
  EXPECT_FALSE(it->object());
  EXPECT_EQ(*static_cast<const Nimbo::String*>(it->key()), "hall");
  it->inc();
  EXPECT_EQ(*static_cast<const Nimbo::String*>(it->key()), "attic");
  guest_->roomDel("attic");
  it->inc();
  EXPECT_FALSE(it->nonnull());
  EXPECT_EQ(it->key(), nullptr);
  EXPECT_FALSE(it->object());
}

TEST_F(GenericAccess, TheKeyOfAReactorWithoutEntityIsTheEmptyString) {
  const auto it = walk(guest_.get(), "room");
  guest_->veloRoom("hall")->veloDoZombieReactors(true);
  guest_->veloRoom("hall")->notifierIs(nullptr);
  EXPECT_EQ(*static_cast<const Nimbo::String*>(it->key()), "");
}

TEST_F(GenericAccess, AWalkMayOutliveTheMachine) {
  const auto it = walk(guest_.get(), "room");
  guest_ = nullptr;
  taken();
  EXPECT_FALSE(it->object());
  EXPECT_EQ(*static_cast<const Nimbo::String*>(it->key()), "hall");
  it->inc();
  EXPECT_FALSE(it->nonnull());
}

TEST_F(GenericAccess, AWalkOverOwnedMachinesShowsThemUnderTheirNames) {
  landlord_->roomSmIs("hall", hall_);
  const auto it = walk(landlord_.get(), "roomSm");
  EXPECT_EQ(it->object(), landlord_->roomSm("hall"));
  EXPECT_EQ(*static_cast<const Nimbo::String*>(it->key()), "hall");
}

TEST_F(GenericAccess, OnlyCollectionsCanBeWalked) {
  EXPECT_EQ(walk(guest_.get(), "name"), nullptr);
  EXPECT_EQ(walk(guest_.get(), "house"), nullptr);
  EXPECT_EQ(walk(guest_.get(), "handleTwo"), nullptr);
  EXPECT_EQ(walk(guest_.get(), "cat"), nullptr);
  EXPECT_EQ(walk(landlord_.get(), "guestSm"), nullptr);
}

TEST_F(GenericAccess, AMachineIsMadeFromItsConstructorArguments) {
  void* arguments[] = {&house_};
  ASSERT_EQ(houseSmType.constructorArguments, 1U);
  const auto made = houseSmType.construct(arguments);
  ASSERT_EQ(made->fwkType().record(), &houseSmType);
  EXPECT_STREQ(made->fwkType().name(), "Toys::HouseSm");
  EXPECT_TRUE(made->hasNotificationActive());
  EXPECT_EQ(taken(), Lines{"initialized with 1 rooms"});
}

TEST_F(GenericAccess, ARowNamesTheParametersOfItsHandler) {
  const Record& two = guestSmType.attributes[Velo::attributeIndex(guestSmType, "handleTwo")];
  ASSERT_EQ(two.parameterCount, 2U);
  EXPECT_STREQ(two.parameters[0].name, "name");
  EXPECT_STREQ(two.parameters[0].type, "Nimbo::String");
  EXPECT_STREQ(two.parameters[1].name, "number");
  EXPECT_STREQ(two.parameters[1].type, "U32");
  EXPECT_EQ(two.kind, Velo::AttributeKind::handler);
  EXPECT_FALSE(two.argumentOptional);
}

}  // namespace Toys
