// Single sentences of the hash collection, by hand and without a model: lifetimes under iterators,
// foreign code in destructors, exceptions. The contract for all kinds of keys and values is in
// hash_map_2018_test.cc.

#include "platform/Velo/HashMap2018.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Numbered;

// Long enough to stand outside of the string object.
Nimbo::String text(U32 n) {
  return Nimbo::String("GigabitEthernet of the leaf " + std::to_string(n));
}

class Counted : public Velo::PtrInterface {
 public:
  explicit Counted(U32 n) : n_(n) { ++living; }
  ~Counted() override { --living; }
  U32 number() const { return n_; }
  static inline int living = 0;

 private:
  U32 n_;
};

using Numbers = Velo::HashMap2018<Numbered, U32, U32>;

std::vector<U32> keysOf(const Numbers& map) {
  std::vector<U32> keys;
  for (const U32& key : map.keys()) keys.push_back(key);
  return keys;
}

void insertAll(Numbers& map, std::initializer_list<U32> keys) {
  for (const U32 key : keys) map.insert(key, 10 * key);
}

TEST(HashMap2018, AnEmptyCollectionIsOnePointerAndAnswersEverything) {
  static_assert(sizeof(Numbers) == sizeof(void*));
  static_assert(!std::is_copy_constructible_v<Numbers> && !std::is_move_constructible_v<Numbers>);
  static_assert(!std::is_copy_assignable_v<Numbers> && !std::is_move_assignable_v<Numbers>);
  static_assert(!std::is_copy_constructible_v<Numbers::Iterator>);
  struct OtherTag;
  static_assert(!std::is_same_v<Numbers, Velo::HashMap2018<OtherTag, U32, U32>>);
  Numbers map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.find(0), nullptr);
  EXPECT_EQ(map.lookup(0), nullptr);
  EXPECT_EQ(map.erase(0), std::nullopt);
  map.clear();
  Numbers::Iterator it(map);
  EXPECT_FALSE(it);
  it.advance();
  EXPECT_FALSE(it);
  EXPECT_THAT(keysOf(map), IsEmpty());
}

TEST(HashMap2018, ARemovedKeyComesBackAtTheEndAndAReplacedOneStays) {
  Numbers map;
  insertAll(map, {5, 1, 4, 2});
  EXPECT_EQ(map.erase(1), 10U);
  EXPECT_EQ(map.replace(5, 55U), 50U);
  insertAll(map, {1});
  EXPECT_THAT(keysOf(map), ElementsAre(5, 4, 2, 1));
  EXPECT_EQ(*map.lookup(5), 55U);
}

TEST(HashMap2018, AWalkUnderWayReachesWhatIsAddedBehindIt) {
  Numbers map;
  insertAll(map, {1});
  std::vector<U32> seen;
  for (const U32& key : map.keys()) {
    seen.push_back(key);
    if (key < 50) map.insert(key + 1, 0);
  }
  EXPECT_EQ(seen.size(), 50U);
  EXPECT_EQ(seen, keysOf(map));
}

TEST(HashMap2018, AWalkThatHasEndedStaysAtTheEnd) {
  Numbers map;
  insertAll(map, {1});
  Numbers::Iterator it(map);
  it.advance();
  insertAll(map, {2});
  EXPECT_FALSE(it);
  it.advance();
  EXPECT_FALSE(it);
}

TEST(HashMap2018, AKeyThatIsReinsertedUnderTheWalkIsGoneThereAndIsReachedAgain) {
  Numbers map;
  insertAll(map, {1, 2});
  Numbers::Iterator it(map);
  map.erase(1);
  insertAll(map, {1});
  EXPECT_EQ(it.currNodeNonStale(), nullptr);
  EXPECT_EQ(it.key(), 1U);
  it.advance();
  EXPECT_EQ(it.key(), 2U);
  it.advance();
  EXPECT_EQ(it.key(), 1U);
  EXPECT_EQ(it.currNodeNonStale(), map.find(1));
}

TEST(HashMap2018, AReplacedValueShowsAsNewAndAsTheOneTheWalkCameTo) {
  Numbers map;
  insertAll(map, {1});
  Numbers::Iterator it(map);
  const U32& before = it.currNodeMaybeStale()->value();
  map.replace(1, 11U);
  EXPECT_EQ(before, 10U);
  EXPECT_EQ(it.currNodeMaybeStale()->value(), 10U);
  EXPECT_EQ(it.currNodeNonStale()->value(), 11U);
  EXPECT_EQ(*map.lookup(1), 11U);
}

TEST(HashMap2018, TheValueMayBeChangedThroughTheNode) {
  Numbers map;
  insertAll(map, {1, 2});
  for (Numbers::Iterator it(map); it; it.advance()) ++it.currNodeNonStale()->value();
  *map.lookup(2) += 100;
  ++map.find(1)->value();
  EXPECT_EQ(map.erase(1), 12U);
  EXPECT_EQ(map.erase(2), 121U);
}

TEST(HashMap2018, AnIteratorKeepsAnErasedObjectAliveUntilItMovesOn) {
  Velo::HashMap2018<Numbered, U32, Velo::Ptr<Counted>> map;
  map.insert(1, Velo::make<Counted>(1U));
  map.insert(2, Velo::make<Counted>(2U));
  {
    decltype(map)::ConstIterator it(map);
    const Velo::Ptr<Counted>& value = it.currNodeNonStale()->value();
    map.erase(1);
    EXPECT_EQ(Counted::living, 2);
    EXPECT_EQ(value->number(), 1U);
    it.advance();
    EXPECT_EQ(Counted::living, 1);
  }
  map.clear();
  EXPECT_EQ(Counted::living, 0);
}

TEST(HashMap2018, AnObjectThatWasHandedOverLivesWithTheCallerAlone) {
  Velo::HashMap2018<Numbered, U32, Velo::Ptr<Counted>> map;
  map.insert(1, Velo::make<Counted>(1U));
  auto value = map.erase(1);
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ((*value)->referenceCount(), 1U);
  auto displaced = map.replace(1, *value);
  EXPECT_FALSE(displaced.has_value());
  EXPECT_EQ((*value)->referenceCount(), 2U);
  displaced = map.replace(1, nullptr);
  EXPECT_EQ(*displaced, *value);
  EXPECT_EQ((*value)->referenceCount(), 2U);
}

TEST(HashMap2018, AnObjectIsAKeyByItsIdentity) {
  const Velo::Ptr<const Counted> one = Velo::make<Counted>(1U);
  const Velo::Ptr<const Counted> alike = Velo::make<Counted>(1U);
  Velo::HashMap2018<Numbered, Velo::Ptr<const Counted>, U32> map;
  EXPECT_TRUE(map.insert(one, 1));
  EXPECT_TRUE(map.insert(alike, 2));
  EXPECT_FALSE(map.insert(one, 3));
  EXPECT_EQ(map.erase(one), 1U);
  EXPECT_EQ(map.find(one), nullptr);
  EXPECT_EQ(*map.lookup(alike), 2U);
}

TEST(HashMap2018, AValueMayBeReplacedByACopyOfItself) {
  Velo::HashMap2018<Numbered, U32, Nimbo::String> map;
  map.insert(1, text(1));
  map.replace(1, *map.lookup(1));
  EXPECT_EQ(*map.lookup(1), text(1));
  decltype(map)::Iterator it(map);
  map.replace(1, *map.lookup(1));
  EXPECT_EQ(*map.lookup(1), text(1));
}

TEST(HashMap2018, TheCollectionMayDieInTheBodyOfARangeFor) {
  using Names = Velo::HashMap2018<Numbered, Nimbo::String, Nimbo::String>;
  const auto make = [] {
    auto map = std::make_unique<Names>();
    for (U32 n = 1; n <= 20; ++n) map->insert(text(n), text(100 + n));
    return map;
  };
  U32 bodies = 0;
  auto map = make();
  for (const Nimbo::String& key : map->keys()) {
    map.reset();
    EXPECT_EQ(key, text(1));
    ++bodies;
  }
  map = make();
  for (const Nimbo::String& value : map->values()) {
    map.reset();
    EXPECT_EQ(value, text(101));
    ++bodies;
  }
  map = make();
  for (const Names::Node& node : map->items()) {
    map.reset();
    EXPECT_EQ(node.key(), text(1));
    EXPECT_EQ(node.value(), text(101));
    ++bodies;
  }
  EXPECT_EQ(bodies, 3U);
}

TEST(HashMap2018, AnIteratorMayOutliveTheCollection) {
  std::unique_ptr<Numbers::Iterator> it;
  std::unique_ptr<Numbers::ConstIterator> second;
  {
    Numbers map;
    insertAll(map, {1, 2, 3});
    it = std::make_unique<Numbers::Iterator>(map);
    it->advance();
    second = std::make_unique<Numbers::ConstIterator>(map);
  }
  EXPECT_TRUE(*it);
  EXPECT_EQ(it->currNodeNonStale(), nullptr);
  EXPECT_EQ(it->currNodeMaybeStale()->value(), 20U);
  it->advance();
  EXPECT_FALSE(*it);
  EXPECT_EQ(second->key(), 1U);
}

// -------------------------------------------------------------------------------------------------
// Destructors that look at the collection, change it, and destroy it.

class LastWords {
 public:
  explicit LastWords(std::function<void()> words) : words_(std::move(words)) {}
  LastWords(LastWords&& other) noexcept : words_(std::exchange(other.words_, nullptr)) {}
  LastWords& operator=(LastWords&& other) noexcept {
    std::swap(words_, other.words_);
    return *this;
  }
  ~LastWords() {
    if (words_) words_();
  }

 private:
  std::function<void()> words_;
};

using Mortals = Velo::HashMap2018<Numbered, U32, LastWords>;

std::vector<U32> keysOf(const Mortals& map) {
  std::vector<U32> keys;
  for (const U32& key : map.keys()) keys.push_back(key);
  return keys;
}

TEST(HashMap2018, EachElementIsGoneBeforeItIsDestroyedAndTheOthersAreStillThere) {
  for (const U32 size : {1U, 4U, 5U, 8U, 9U, 40U}) {
    Mortals map;
    U32 died = 0;
    for (U32 n = 0; n < size; ++n) {
      map.insert(n, LastWords([&map, &died, n, size] {
                   EXPECT_EQ(died++, n);
                   EXPECT_EQ(map.size(), size - 1 - n);
                   EXPECT_EQ(map.find(n), nullptr);
                   for (U32 later = n + 1; later < size; ++later)
                     EXPECT_NE(map.find(later), nullptr);
                 }));
    }
    map.clear();
    EXPECT_EQ(died, size);
  }
}

TEST(HashMap2018, ADestructorThatClearsErasesOrInsertsDoesNotDisturbTheClearing) {
  U32 died = 0;
  {
    Mortals map;
    map.insert(1, LastWords([&] {
                 ++died;
                 map.erase(3);
                 map.insert(6, LastWords([&] { ++died; }));
               }));
    map.insert(2, LastWords([&] {
                 ++died;
                 EXPECT_THAT(keysOf(map), ElementsAre(4, 5, 6));
                 map.clear();
                 EXPECT_TRUE(map.empty());
                 map.insert(7, LastWords([&] { ++died; }));
               }));
    for (U32 n = 3; n <= 5; ++n) map.insert(n, LastWords([&] { ++died; }));
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(died, 7U);
    map.insert(1, LastWords([&] {
                 ++died;
                 map.insert(2, LastWords([&] { ++died; }));
               }));
  }
  EXPECT_EQ(died, 9U);
}

TEST(HashMap2018, TheDestructorOfAValueMayDestroyTheCollectionThatDropsIt) {
  for (const bool clears : {true, false}) {
    U32 died = 0;
    auto map = std::make_unique<Mortals>();
    for (U32 n = 0; n < 30; ++n) {
      map->insert(n, LastWords([&died, &map, n] {
                    ++died;
                    if (n == 4) map.reset();
                  }));
    }
    Mortals* const address = map.get();
    if (clears) {
      address->clear();
    } else {
      address->erase(4);
    }
    EXPECT_EQ(map, nullptr);
    EXPECT_EQ(died, 30U);
  }
}

TEST(HashMap2018, AdvanceMayDestroyTheLastOfAnElementWhoseDestructorDestroysTheCollection) {
  U32 died = 0;
  auto map = std::make_unique<Mortals>();
  for (U32 n = 0; n < 3; ++n) {
    map->insert(n, LastWords([&died, &map, n] {
                  ++died;
                  if (n == 0) map.reset();
                }));
  }
  Mortals::Iterator it(*map);
  {
    // Clearing leaves the first to the iterator; the others come back so that the walk has
    // somewhere to go.
    map->clear();
    EXPECT_EQ(died, 2U);
    map->insert(1, LastWords([&died] { ++died; }));
  }
  it.advance();
  EXPECT_EQ(map, nullptr);
  EXPECT_TRUE(it);
  EXPECT_EQ(it.key(), 1U);
  EXPECT_EQ(it.currNodeNonStale(), nullptr);
  EXPECT_EQ(died, 3U);
  it.advance();
  EXPECT_FALSE(it);
  EXPECT_EQ(died, 4U);
}

TEST(HashMap2018, KeysShowAnElementThatTheDestructorOfTheOneBeforeTookOutAndValuesPassOverIt) {
  struct Setup {
    Velo::HashMap2018<Numbered, U32, std::shared_ptr<LastWords>> map;
    Setup() {
      map.insert(1, std::make_shared<LastWords>([this] {
                   map.erase(2);
                   map.replace(3, nullptr);
                 }));
      map.insert(2, std::make_shared<LastWords>([] {}));
      map.insert(3, std::make_shared<LastWords>([] {}));
    }
  };
  {
    Setup setup;
    std::vector<U32> seen;
    for (const U32& key : setup.map.keys()) {
      seen.push_back(key);
      if (key == 1) setup.map.erase(1);
    }
    EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  }
  {
    Setup setup;
    std::vector<bool> there;
    for (const auto& value : setup.map.values()) {
      there.push_back(value != nullptr);
      if (there.size() == 1) setup.map.erase(1);
    }
    EXPECT_THAT(there, ElementsAre(true, false));
  }
}

// -------------------------------------------------------------------------------------------------
// Exceptions.

struct Fragile {
  U32 n = 0;
  explicit Fragile(U32 number) : n(number) {}
  Fragile(const Fragile& other) : n(other.n) {
    if (copiesLeft-- == 0) throw std::runtime_error("copy");
  }
  Fragile(Fragile&& other) noexcept : n(other.n) {}
  Fragile& operator=(const Fragile&) = delete;
  U32 hash(U32 seed) const { return Velo::hashU32(n, seed); }
  friend bool operator==(const Fragile& a, const Fragile& b) { return a.n == b.n; }
  static inline int copiesLeft = 1000;
};

// Every copy on the way is made to fail once; until the last one has, nothing may have changed.
template <class Act>
void failsWithoutChange(int mayFail, Act act) {
  for (int copies = 0; copies < 10; ++copies) {
    Fragile::copiesLeft = 1000;
    Velo::HashMap2018<Numbered, Fragile, Fragile> map;
    for (U32 n = 0; n < 8; ++n) map.insert(Fragile(n), Fragile(10 * n));
    decltype(map)::Iterator it(map);
    it.advance();
    Fragile::copiesLeft = copies;
    bool threw = false;
    try {
      act(map);
    } catch (const std::runtime_error&) {
      threw = true;
    }
    Fragile::copiesLeft = 1000;
    if (!threw) {
      EXPECT_EQ(copies, mayFail);
      return;
    }
    U32 n = 0;
    for (const auto& node : map.items()) {
      EXPECT_EQ(node.key().n, n);
      EXPECT_EQ(node.value().n, 10 * n);
      ++n;
    }
    EXPECT_EQ(n, 8U);
    EXPECT_EQ(it.currNodeNonStale(), map.find(Fragile(1)));
  }
  ADD_FAILURE() << "never ran through";
}

TEST(HashMap2018, AnInsertThatThrowsChangesNothing) {
  // The collection grows under the iterator, whose element, key and value, is copied.
  failsWithoutChange(3, [](auto& map) { map.insert(Fragile(100), Fragile(1)); });
  failsWithoutChange(0, [](auto& map) { map.insert(Fragile(1), Fragile(1)); });
}

TEST(HashMap2018, AReplaceThatThrowsChangesNothing) {
  const Fragile value(1);
  failsWithoutChange(4, [&](auto& map) { map.replace(Fragile(100), value); });
  // The iterator stands on this one: key and old value are copied too.
  failsWithoutChange(3, [&](auto& map) { map.replace(Fragile(1), value); });
  failsWithoutChange(1, [&](auto& map) { map.replace(Fragile(2), value); });
}

TEST(HashMap2018, AnEraseThatThrowsChangesNothing) {
  failsWithoutChange(1, [](auto& map) { map.erase(Fragile(1)); });
  failsWithoutChange(0, [](auto& map) { map.erase(Fragile(2)); });
}

}  // namespace
