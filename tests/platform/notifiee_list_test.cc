#include "platform/Velo/NotifieeList.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/reactor_toys.h"

namespace Toys {

class NotifieeList : public ToyTest {
 protected:
  // One change that every watcher of the lamp is told of.
  void change() { lamp_->litIs(!lamp_->lit()); }
  Velo::Ptr<Watcher> watcher(const char* name) { return Watcher::on(*lamp_, name); }

  Velo::Ptr<Lamp> lamp_ = Velo::make<Lamp>(1U);
  Velo::Ptr<Watcher> a_ = watcher("a");
  Velo::Ptr<Watcher> b_ = watcher("b");
  Velo::Ptr<Watcher> c_ = watcher("c");
};

TEST_F(NotifieeList, NotifieesAreCalledInTheOrderOfTheirRegistration) {
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
  EXPECT_EQ(lamp_->notifieeList()->size(), 3U);
}

TEST_F(NotifieeList, OneThatIsTakenOffAndRegisteredAgainStandsAtTheEnd) {
  a_->isRegisteredNotifieeIs(false);
  change();
  a_->isRegisteredNotifieeIs(true);
  change();
  EXPECT_EQ(taken(), (Lines{"b lit", "c lit", "b lit", "c lit", "a lit"}));
}

TEST_F(NotifieeList, RegisteringTwiceChangesNothing) {
  a_->isRegisteredNotifieeIs(true);
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
}

TEST_F(NotifieeList, OneThatIsSwitchedOffIsNotCalledAndKeepsItsPlace) {
  b_->hasNotificationActiveIs(false);
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "c lit"}));
  b_->hasNotificationActiveIs(true);
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
}

TEST_F(NotifieeList, ANotifieeThatIsBoundToAnotherEntityLeavesTheList) {
  const auto other = Velo::make<Lamp>(2U);
  b_->notifierIs(other.get());
  EXPECT_FALSE(b_->isRegisteredNotifiee());
  b_->isRegisteredNotifieeIs(true);
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "c lit"}));
  other->litIs(true);
  EXPECT_EQ(taken(), Lines{"b lit"});
}

TEST_F(NotifieeList, ANotifieeWithoutEntityCannotBeRegistered) {
  const auto unbound = Velo::make<Watcher>("unbound");
  unbound->isRegisteredNotifieeIs(true);
  EXPECT_FALSE(unbound->isRegisteredNotifiee());
}

TEST_F(NotifieeList, ABoundNotifieeHoldsItsEntity) {
  const Lamp* raw = lamp_.get();
  const U32 before = raw->referenceCount();
  lamp_ = nullptr;
  EXPECT_EQ(raw->referenceCount(), before - 1);
  b_->notifierIs(nullptr);
  c_->notifierIs(nullptr);
  EXPECT_EQ(raw->referenceCount(), 1U);
}

// The matrix of disruptions: what one notifiee does to itself, to those before and to those behind
// it.

TEST_F(NotifieeList, OneThatIsRegisteredMeanwhileIsNotCalledByThatDelivery) {
  Velo::Ptr<Watcher> late;
  theLog.at["b lit"] = [&] { late = watcher("late"); };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit", "late lit"}));
}

TEST_F(NotifieeList, OneThatIsRegisteredMeanwhileIsNotCalledEvenWhenAPlaceBehindHasBecomeFree) {
  Velo::Ptr<Watcher> late;
  theLog.at["a lit"] = [&] {
    c_->isRegisteredNotifieeIs(false);
    late = watcher("late");
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit"}));
}

TEST_F(NotifieeList, OneThatIsTakenOffAndRegisteredAgainMeanwhileWaitsForTheNext) {
  theLog.at["a lit"] = [&] {
    c_->isRegisteredNotifieeIs(false);
    c_->isRegisteredNotifieeIs(true);
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit"}));
}

TEST_F(NotifieeList, ANotifieeMayTakeItselfOff) {
  theLog.at["b lit"] = [&] { b_->isRegisteredNotifieeIs(false); };
  change();
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit", "a lit", "c lit"}));
}

TEST_F(NotifieeList, TheNextIsNotCalledWhenItIsTakenOff) {
  theLog.at["a lit"] = [&] { b_->isRegisteredNotifieeIs(false); };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "c lit"}));
}

TEST_F(NotifieeList, ThePreviousMayBeTakenOffAndNobodyIsPassedOver) {
  theLog.at["b lit"] = [&] { a_->isRegisteredNotifieeIs(false); };
  change();
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit", "b lit", "c lit"}));
}

TEST_F(NotifieeList, TheNextIsNotCalledWhenItIsSwitchedOff) {
  theLog.at["a lit"] = [&] { b_->hasNotificationActiveIs(false); };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "c lit"}));
}

TEST_F(NotifieeList, OneThatWaitedSwitchedOffIsCalledWhenItIsSwitchedOnBeforeItsTurn) {
  c_->hasNotificationActiveIs(false);
  theLog.at["a lit"] = [&] { c_->hasNotificationActiveIs(true); };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
}

TEST_F(NotifieeList, ANotifieeMayLoseItsLastReferenceWhileItRuns) {
  theLog.at["b lit"] = [&] {
    b_ = nullptr;
    theLog("still here");
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "still here", "~b", "c lit"}));
}

TEST_F(NotifieeList, TheNextAndThePreviousMayDie) {
  theLog.at["b lit"] = [&] {
    a_ = nullptr;
    c_ = nullptr;
  };
  change();
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "~a", "~c", "b lit"}));
}

TEST_F(NotifieeList, TheEntityMayLoseItsOwnersAndAllItsNotifieesInACallback) {
  theLog.at["a lit"] = [&] {
    lamp_ = nullptr;
    for (auto* watcher : {&a_, &b_, &c_}) *watcher = nullptr;
  };
  lamp_->litIs(true);
  EXPECT_EQ(taken(), (Lines{"a lit", "~b", "~c", "~a"}));
}

TEST_F(NotifieeList, ANestedDeliveryIsWholeBeforeTheOuterOneGoesOn) {
  theLog.at["a lit"] = [&] { change(); };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "a lit", "b lit", "c lit", "b lit", "c lit"}));
}

TEST_F(NotifieeList, ANestedDeliveryReachesThoseThatTheOuterOneDoesNot) {
  Velo::Ptr<Watcher> late;
  theLog.at["b lit"] = [&] {
    late = watcher("late");
    change();
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "a lit", "b lit", "c lit", "late lit", "c lit"}));
}

TEST_F(NotifieeList, GapsOfANestedDeliveryDoNotMoveThePlacesOfTheOuterOne) {
  Velo::Ptr<Watcher> d = watcher("d");
  theLog.at["b lit"] = [&] {
    theLog.at["c lit"] = [&] {
      a_ = nullptr;
      b_ = nullptr;
    };
    change();
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "a lit", "b lit", "c lit", "~a", "d lit", "~b",
                            "c lit", "d lit"}));
  change();
  EXPECT_EQ(taken(), (Lines{"c lit", "d lit"}));
}

TEST_F(NotifieeList, ThoseBehindKeepTheirTurnWhenAllBeforeThemAreTakenOff) {
  const Velo::Ptr<Watcher> d = watcher("d");
  Velo::Ptr<Watcher> late;
  theLog.at["b lit"] = [&] {
    a_->isRegisteredNotifieeIs(false);
    b_->isRegisteredNotifieeIs(false);
    late = watcher("late");
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit", "d lit"}));
  change();
  EXPECT_EQ(taken(), (Lines{"c lit", "d lit", "late lit"}));
}

TEST_F(NotifieeList, AnExceptionEndsTheDeliveryAtOnceAndTheListGoesOn) {
  theLog.at["b lit"] = [&] {
    a_->isRegisteredNotifieeIs(false);
    throw Velo::Exception("no");
  };
  EXPECT_THROW(change(), Velo::Exception);
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit"}));
  change();
  EXPECT_EQ(taken(), (Lines{"b lit", "c lit"}));
}

TEST_F(NotifieeList, AnExceptionOutOfANestedDeliveryEndsTheOuterOneToo) {
  theLog.at["a lit"] = [&] {
    theLog.at["c lit"] = [] { throw Velo::Exception("no"); };
    change();
  };
  EXPECT_THROW(change(), Velo::Exception);
  EXPECT_EQ(taken(), (Lines{"a lit", "a lit", "b lit", "c lit"}));
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
}

TEST_F(NotifieeList, DeleteAllTakesEveryoneOff) {
  lamp_->notifieeList()->deleteAll();
  change();
  EXPECT_TRUE(taken().empty());
  EXPECT_TRUE(lamp_->notifieeList()->empty());
  EXPECT_FALSE(a_->isRegisteredNotifiee());
  a_->isRegisteredNotifieeIs(true);
  change();
  EXPECT_EQ(taken(), Lines{"a lit"});
}

TEST_F(NotifieeList, DeleteAllInACallbackEndsTheDelivery) {
  theLog.at["a lit"] = [&] {
    lamp_->notifieeList()->deleteAll();
    a_->isRegisteredNotifieeIs(true);
  };
  change();
  EXPECT_EQ(taken(), Lines{"a lit"});
  change();
  EXPECT_EQ(taken(), Lines{"a lit"});
}

// What a list is asked before a delivery does not tell of one that all have left meanwhile.
TEST_F(NotifieeList, AChangeAfterAllHaveLeftInTheDeliveryReachesNobody) {
  theLog.at["a lit"] = [&] {
    for (auto* watcher : {&a_, &b_, &c_}) (*watcher)->isRegisteredNotifieeIs(false);
    EXPECT_TRUE(lamp_->notifieeList()->empty());
    change();
    theLog("inner ended");
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "inner ended"}));
  change();
  EXPECT_EQ(taken(), Lines{});
  b_->isRegisteredNotifieeIs(true);
  change();
  EXPECT_EQ(taken(), Lines{"b lit"});
}

TEST_F(NotifieeList, OneThatComesAfterAllHaveLeftIsReachedByTheNextDeliveryAlone) {
  Velo::Ptr<Watcher> late;
  theLog.at["a lit"] = [&] {
    lamp_->notifieeList()->deleteAll();
    late = watcher("late");
    change();
    theLog("inner ended");
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "late lit", "inner ended"}));
  EXPECT_EQ(lamp_->notifieeList()->size(), 1U);
}

// Once there was more than one, the only one stands in the array; the array moves under a delivery.
TEST_F(NotifieeList, AListGrowsUnderItsDeliveryAndShrinksToOneAgain) {
  std::vector<Velo::Ptr<Watcher>> late;
  theLog.at["a lit"] = [&] {
    for (int i = 0; i < 20; ++i) late.push_back(watcher("late"));
  };
  change();
  EXPECT_EQ(taken(), (Lines{"a lit", "b lit", "c lit"}));
  theLog.at.clear();
  late.clear();
  a_->isRegisteredNotifieeIs(false);
  c_->isRegisteredNotifieeIs(false);
  taken();
  change();
  EXPECT_EQ(taken(), Lines{"b lit"});
  b_->isRegisteredNotifieeIs(false);
  change();
  EXPECT_EQ(taken(), Lines{});
}

// An object whose list can be taken away from under a delivery.
class Publisher : public Velo::PtrInterface {
 public:
  Velo::NotifieeList* notifieeList() const override { return list.get(); }
  static constexpr Velo::Attribute news{"news"};

  std::unique_ptr<Velo::NotifieeList> list = std::make_unique<Velo::NotifieeList>();
};

TEST_F(NotifieeList, TheListMayDieInACallbackAlsoUnderTwoDeliveries) {
  const auto publisher = Velo::make<Publisher>();
  const auto first = Watcher::on(*publisher, "first");
  const auto second = Watcher::on(*publisher, "second");
  const Velo::AttributeId news(Publisher::news);
  theLog.at["first news"] = [&] {
    theLog.at["second news"] = [&] { publisher->list.reset(); };
    publisher->list->visit(news);
    theLog("inner ended");
  };
  publisher->list->visit(news);
  EXPECT_EQ(taken(), (Lines{"first news", "first news", "second news", "inner ended"}));
  EXPECT_FALSE(first->isRegisteredNotifiee());
  EXPECT_FALSE(second->isRegisteredNotifiee());
}

// A notifiee whose end takes the list with it.
class LastReader : public Velo::PtrInterface::NotifieeConst {
 public:
  explicit LastReader(Publisher& publisher) : publisher_(publisher) {
    notifierIs(&publisher);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Velo::AttributeId /*attribute*/, const void* /*key*/) override {
    *self = nullptr;
  }
  void onZeroReferences() override {
    isRegisteredNotifieeIs(false);
    publisher_.list.reset();
  }
  void veloDoZombieReactors(bool /*requested*/) override {}

  Velo::Ptr<LastReader>* self = nullptr;

 private:
  Publisher& publisher_;
};

TEST_F(NotifieeList, TheListMayDieWithTheNotifieeThatIsHeldNoLongerThanItsCallback) {
  const auto publisher = Velo::make<Publisher>();
  auto reader = Velo::make<LastReader>(*publisher);
  const auto second = Watcher::on(*publisher, "second");
  reader->self = &reader;
  publisher->list->visit(Velo::AttributeId(Publisher::news));
  EXPECT_EQ(reader, nullptr);
  EXPECT_EQ(publisher->list, nullptr);
  EXPECT_EQ(taken(), Lines{});
}

TEST_F(NotifieeList, TheListMayDieWithItsOnlyNotifiee) {
  const auto publisher = Velo::make<Publisher>();
  auto reader = Velo::make<LastReader>(*publisher);
  reader->self = &reader;
  publisher->list->visit(Velo::AttributeId(Publisher::news));
  EXPECT_EQ(reader, nullptr);
  EXPECT_EQ(publisher->list, nullptr);
}

TEST_F(NotifieeList, AnOnlyNotifieeMayMakeRoomForOthersAndDeliverToThem) {
  const auto lamp = Velo::make<Lamp>(2U);
  const auto only = Watcher::on(*lamp, "only");
  Velo::Ptr<Watcher> x;
  Velo::Ptr<Watcher> y;
  theLog.at["only lit"] = [&] {
    only->isRegisteredNotifieeIs(false);
    x = Watcher::on(*lamp, "x");
    y = Watcher::on(*lamp, "y");
    only->isRegisteredNotifieeIs(true);
    lamp->litIs(false);
    theLog("inner ended");
  };
  lamp->litIs(true);
  EXPECT_EQ(taken(), (Lines{"only lit", "x lit", "y lit", "only lit", "inner ended"}));
  x = nullptr;
  y = nullptr;
  taken();
  lamp->litIs(true);
  EXPECT_EQ(taken(), Lines{"only lit"});
}

// Two lists, so that the delivery of one may stand inside that of the other.
class NotifieeListOfTwo : public ToyTest {
 protected:
  const Velo::AttributeId news_{Publisher::news};
  const Velo::Ptr<Publisher> outer_ = Velo::make<Publisher>();
  const Velo::Ptr<Publisher> inner_ = Velo::make<Publisher>();
  const Velo::Ptr<Watcher> outer1_ = Watcher::on(*outer_, "outer1");
  const Velo::Ptr<Watcher> outer2_ = Watcher::on(*outer_, "outer2");
  const Velo::Ptr<Watcher> inner1_ = Watcher::on(*inner_, "inner1");
  const Velo::Ptr<Watcher> inner2_ = Watcher::on(*inner_, "inner2");
};

TEST_F(NotifieeListOfTwo, AListMayDieUnderTheDeliveryOfAnotherWhichGoesOn) {
  theLog.at["outer1 news"] = [&] {
    inner_->list->visit(news_);
    theLog("inner ended");
  };
  theLog.at["inner1 news"] = [&] { outer_->list.reset(); };
  outer_->list->visit(news_);
  EXPECT_EQ(taken(), (Lines{"outer1 news", "inner1 news", "inner2 news", "inner ended"}));
  inner1_->isRegisteredNotifieeIs(false);
  inner_->list->visit(news_);
  EXPECT_EQ(taken(), Lines{"inner2 news"});
}

// A stuck walk would show under the address sanitizer, when a list dies that counts on it.
TEST_F(NotifieeListOfTwo, AnExceptionThroughTheDeliveriesOfTwoListsEndsBoth) {
  theLog.at["outer1 news"] = [&] { inner_->list->visit(news_); };
  theLog.at["inner1 news"] = [] { throw std::runtime_error("no"); };
  EXPECT_THROW(outer_->list->visit(news_), std::runtime_error);
  EXPECT_EQ(taken(), (Lines{"outer1 news", "inner1 news"}));
  inner_->list.reset();
  theLog.at.clear();
  outer_->list->visit(news_);
  EXPECT_EQ(taken(), (Lines{"outer1 news", "outer2 news"}));
}

// A machine as far as a frame holds it.
class Owner : public Velo::PtrInterface {
 public:
  ~Owner() override {
    theLog("~Owner");
    atEnd();
  }
  std::function<void()> atEnd = [] {};
};
class OwnedWatcher : public Watcher {
 public:
  OwnedWatcher(std::string name, Owner* owner, const Velo::PtrInterface& entity)
      : Watcher(std::move(name)) {
    ownerIs(owner, false);
    notifierIs(&entity);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void detach() { ownerIs(nullptr, false); }
};

TEST_F(NotifieeList, AnOwnerOfManyEndsWithTheFrameInWhichItsLastOtherReferenceWent) {
  const auto lamp = Velo::make<Lamp>(4U);
  auto owner = Velo::make<Owner>();
  std::vector<Velo::Ptr<OwnedWatcher>> watchers;
  for (const char* name : {"a", "b", "c"})
    watchers.push_back(Velo::make<OwnedWatcher>(name, owner.get(), *lamp));
  owner->atEnd = [&] {
    for (const auto& watcher : watchers) watcher->detach();
    watchers[1]->hasNotificationActiveIs(false);
  };
  theLog.at["a lit"] = [&] {
    EXPECT_EQ(owner->referenceCount(), 2U);
    owner = nullptr;
    theLog("a goes on");
  };
  lamp->litIs(true);
  EXPECT_EQ(taken(), (Lines{"a lit", "a goes on", "~Owner", "c lit"}));
}

TEST_F(NotifieeList, OwnersThatAlternateAreHeldInTheirTurn) {
  const auto lamp = Velo::make<Lamp>(5U);
  const auto one = Velo::make<Owner>();
  const auto two = Velo::make<Owner>();
  std::vector<Velo::Ptr<OwnedWatcher>> watchers;
  for (Owner* owner : {one.get(), two.get(), one.get(), one.get()})
    watchers.push_back(Velo::make<OwnedWatcher>(std::to_string(watchers.size()), owner, *lamp));
  std::vector<std::pair<U32, U32>> counts;
  for (const char* line : {"0 lit", "1 lit", "2 lit", "3 lit"}) {
    theLog.at[line] = [&] { counts.emplace_back(one->referenceCount(), two->referenceCount()); };
  }
  lamp->litIs(true);
  const std::vector<std::pair<U32, U32>> expected = {{2, 1}, {1, 2}, {2, 1}, {2, 1}};
  EXPECT_EQ(counts, expected);
  EXPECT_EQ(one->referenceCount(), 1U);
  EXPECT_EQ(two->referenceCount(), 1U);
  for (const auto& watcher : watchers) watcher->detach();
}

TEST_F(NotifieeList, ARandomWalkKeepsTheOrderOfRegistration) {
  constexpr unsigned seed = 7;
  std::mt19937 random(seed);
  const auto lamp = Velo::make<Lamp>(3U);
  std::vector<Velo::Ptr<Watcher>> watchers;
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < 40; ++i) {
    watchers.push_back(Watcher::on(*lamp, std::to_string(i)));
    order.push_back(i);
  }
  for (int round = 0; round < 300; ++round) {
    for (int step = 0; step < 6; ++step) {
      const std::size_t at = random() % watchers.size();
      const bool registered = watchers[at]->isRegisteredNotifiee();
      watchers[at]->isRegisteredNotifieeIs(!registered);
      std::erase(order, at);
      if (!registered) order.push_back(at);
    }
    Lines expected;
    for (const std::size_t at : order) expected.push_back(std::to_string(at) + " lit");
    lamp->litIs(!lamp->lit());
    ASSERT_EQ(taken(), expected) << "seed " << seed << ", round " << round;
    ASSERT_EQ(lamp->notifieeList()->size(), order.size());
  }
}

// A program and its module may each have a record for one declaration.
TEST(AttributeIds, AnAttributeIsKnownByItsNameWhereverItsRecordStands) {
  static constexpr char own[] = "vlan";
  static constexpr char others[] = "vlan";
  static constexpr Velo::Attribute inTheProgram{own};
  static constexpr Velo::Attribute inTheModule{others};
  static constexpr Velo::Attribute another{"nativeVlan"};
  EXPECT_TRUE(Velo::AttributeId(inTheProgram) == Velo::AttributeId(inTheModule));
  EXPECT_FALSE(Velo::AttributeId(inTheProgram) == Velo::AttributeId(another));
  EXPECT_FALSE(Velo::AttributeId(inTheProgram) == Velo::AttributeId());
}

}  // namespace Toys
