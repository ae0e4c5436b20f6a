// The runs of entries through which a walk of a hash collection steps: whatever is changed in one,
// and whichever block it lies in, the walk comes to what is there.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/HashMap2018.h"

namespace {

struct Runs;

using Numbers = Velo::HashMap2018<Runs, U32, U32>;
using Texts = Velo::HashMap2018<Runs, U32, Nimbo::String>;

std::vector<U32> keysOf(const Numbers& map) {
  std::vector<U32> keys;
  for (const U32& key : map.keys()) keys.push_back(key);
  return keys;
}

// Long enough to stand outside of the string object.
Nimbo::String text(U32 n) {
  return Nimbo::String("GigabitEthernet of the leaf " + std::to_string(n));
}

// Blocks of all kinds, each with and without room left, and live bits of one word and of several.
constexpr U32 runSizes[] = {1, 2, 3, 4, 7, 8, 9, 16, 33, 63, 64, 65, 127, 128, 129, 200};

void fill(Numbers& map, U32 size) {
  for (U32 n = 0; n < size; ++n) map.insert(n, 10 * n);
}

void advanceTo(Numbers::Iterator& it, U32 key) {
  while (it && it.key() != key) it.advance();
  ASSERT_TRUE(it) << key;
}

// The keys from the one stood on, which is there, to the end.
std::vector<U32> rest(Numbers::Iterator& it, const Numbers& map) {
  std::vector<U32> keys;
  for (; it; it.advance()) {
    keys.push_back(it.key());
    EXPECT_EQ(it.currNodeNonStale(), map.find(it.key()));
    if (keys.size() > 2 * map.size()) break;  // a walk that never ends
  }
  return keys;
}

// What keysOf() says from `key` on.
std::vector<U32> keysFrom(const Numbers& map, U32 key) {
  std::vector<U32> keys = keysOf(map);
  keys.erase(keys.begin(), std::find(keys.begin(), keys.end(), key));
  return keys;
}

// Places that are worth a try in a collection of this size: its ends, its middle, and those on both
// sides of a word of live bits.
std::set<U32> placesOf(U32 size) {
  std::set<U32> places;
  for (const U32 place : {0U, 1U, 2U, size / 2, 62U, 63U, 64U, 65U, 127U, 128U, size - 2, size - 1})
    if (place < size) places.insert(place);
  return places;
}

TEST(HashMap2018Runs, ARunIsCutByAnEraseAheadWhereverItIs) {
  for (const U32 size : runSizes) {
    for (const U32 at : placesOf(size)) {
      for (const U32 erased : placesOf(size)) {
        if (erased <= at) continue;
        SCOPED_TRACE(testing::Message() << at << " of " << size << ", erased " << erased);
        Numbers map;
        fill(map, size);
        Numbers::Iterator it(map);
        advanceTo(it, at);
        EXPECT_EQ(map.erase(erased), 10 * erased);
        std::vector<U32> expected;
        for (U32 n = at; n < size; ++n) {
          if (n != erased) expected.push_back(n);
        }
        EXPECT_EQ(rest(it, map), expected);
      }
    }
  }
}

TEST(HashMap2018Runs, ARunThatIsCutTwiceEndsAtTheNearerCut) {
  for (const U32 size : runSizes) {
    for (const U32 near : placesOf(size)) {
      for (const U32 far : placesOf(size)) {
        if (near == 0 || far <= near) continue;
        for (const bool nearerFirst : {true, false}) {
          SCOPED_TRACE(testing::Message() << size << ", erased " << near << " and " << far
                                          << (nearerFirst ? "" : ", the farther first"));
          Numbers map;
          fill(map, size);
          Numbers::Iterator it(map);
          map.erase(nearerFirst ? near : far);
          map.erase(nearerFirst ? far : near);
          std::vector<U32> expected;
          for (U32 n = 0; n < size; ++n) {
            if (n != near && n != far) expected.push_back(n);
          }
          EXPECT_EQ(rest(it, map), expected);
        }
      }
    }
  }
}

// One before what is erased, one on it, one behind.
TEST(HashMap2018Runs, IteratorsInOneRunSeeAnEraseInItEachFromItsPlace) {
  for (const U32 size : runSizes) {
    for (const U32 erased : placesOf(size)) {
      if (erased == 0 || erased + 1 == size) continue;
      SCOPED_TRACE(testing::Message() << "erased " << erased << " of " << size);
      Numbers map;
      fill(map, size);
      Numbers::Iterator before(map);
      advanceTo(before, erased - 1);
      Numbers::Iterator on(map);
      advanceTo(on, erased);
      Numbers::Iterator behind(map);
      advanceTo(behind, erased + 1);
      map.erase(erased);
      EXPECT_EQ(before.currNodeNonStale(), map.find(erased - 1));
      EXPECT_EQ(on.currNodeNonStale(), nullptr);
      EXPECT_EQ(on.currNodeMaybeStale()->value(), 10 * erased);
      EXPECT_EQ(behind.currNodeNonStale(), map.find(erased + 1));
      on.advance();
      EXPECT_EQ(rest(on, map), keysFrom(map, erased + 1));
      EXPECT_EQ(rest(before, map), keysFrom(map, erased - 1));
      EXPECT_EQ(rest(behind, map), keysFrom(map, erased + 1));
    }
  }
}

// The slot of the last element, which is not used again under a walk, lies between the run and what
// is added.
TEST(HashMap2018Runs, AWalkWhoseRunLostItsLastReachesWhatIsAddedBehindIt) {
  for (const U32 size : runSizes) {
    if (size == 1) continue;
    for (const U32 at : placesOf(size - 1)) {
      for (const U32 added : {1U, 2U, 70U}) {
        SCOPED_TRACE(testing::Message() << at << " of " << size << ", added " << added);
        Numbers map;
        fill(map, size);
        Numbers::Iterator it(map);
        advanceTo(it, at);
        map.erase(size - 1);
        for (U32 n = 0; n < added; ++n) map.insert(1000 + n, 0);
        map.insert(size - 1, 0);
        std::vector<U32> expected;
        for (U32 n = at; n + 1 < size; ++n) expected.push_back(n);
        for (U32 n = 0; n < added; ++n) expected.push_back(1000 + n);
        expected.push_back(size - 1);
        EXPECT_EQ(rest(it, map), expected);
      }
    }
  }
}

TEST(HashMap2018Runs, AWalkAtTheEndOfItsRunReachesWhatIsAddedThen) {
  for (const U32 size : runSizes) {
    for (const bool atLast : {true, false}) {
      SCOPED_TRACE(testing::Message() << size << (atLast ? "" : ", added before the last"));
      Numbers map;
      fill(map, size);
      Numbers::Iterator it(map);
      if (atLast) advanceTo(it, size - 1);
      const U32 at = it.key();
      for (U32 n = size; n < size + 3; ++n) map.insert(n, 10 * n);
      EXPECT_EQ(rest(it, map), keysFrom(map, at));
    }
  }
}

// With gaps below, so that places change when the elements go to another block.
template <class Moves>
void movesUnderRuns(Moves moves) {
  for (const U32 size : runSizes) {
    for (const U32 gaps : {0U, size / 3}) {
      for (const U32 at : placesOf(size)) {
        for (const U32 other : placesOf(size)) {
          if (at < gaps || other < gaps) continue;
          SCOPED_TRACE(testing::Message()
                       << at << " and " << other << " of " << size << " with " << gaps << " gaps");
          Numbers map;
          fill(map, size);
          Numbers::Iterator first(map);
          advanceTo(first, at);
          Numbers::Iterator second(map);
          advanceTo(second, other);
          for (U32 n = 0; n < gaps; ++n) map.erase(n);
          const U32 before = first.currNodeMaybeStale()->value();
          moves(map, at, size);
          EXPECT_EQ(first.currNodeMaybeStale()->value(), before);
          EXPECT_EQ(first.currNodeNonStale(), map.find(at));
          EXPECT_EQ(second.currNodeNonStale(), map.find(other));
          std::vector<U32> expected = keysFrom(map, at);
          expected.erase(expected.begin());
          first.advance();
          EXPECT_EQ(rest(first, map), expected);
          expected = keysFrom(map, other);
          expected.erase(expected.begin());
          second.advance();
          EXPECT_EQ(rest(second, map), expected);
          EXPECT_FALSE(first);
          EXPECT_FALSE(second);
        }
      }
    }
  }
}

TEST(HashMap2018Runs, ARunEndsWhenTheElementStoodOnIsReplaced) {
  movesUnderRuns([](Numbers& map, U32 at, U32) {
    EXPECT_EQ(map.replace(at, 7U), 10 * at);
    EXPECT_EQ(*map.lookup(at), 7U);
  });
}

TEST(HashMap2018Runs, ARunEndsWhenTheCollectionGrows) {
  movesUnderRuns([](Numbers& map, U32, U32 size) {
    for (U32 n = 0; n < 2 * size; ++n) map.insert(1000 + n, 0);
  });
}

// From the far end on, so that it is a whole run that the collection becomes smaller under.
TEST(HashMap2018Runs, ARunEndsWhenTheCollectionBecomesSmaller) {
  for (const U32 size : {16U, 40U, 64U, 130U, 300U}) {
    for (const U32 at : {0U, 1U, size / 16}) {
      SCOPED_TRACE(testing::Message() << at << " of " << size);
      Numbers map;
      fill(map, size);
      const std::size_t capacity = map.capacity();
      Numbers::Iterator it(map);
      advanceTo(it, at);
      U32 left = size;
      while (map.capacity() == capacity) map.erase(--left);
      ASSERT_GT(left, at + 1);
      EXPECT_EQ(it.currNodeNonStale(), map.find(at));
      map.insert(1000, 0);
      it.advance();
      std::vector<U32> expected;
      for (U32 n = at + 1; n < left; ++n) expected.push_back(n);
      expected.push_back(1000);
      EXPECT_EQ(rest(it, map), expected);
    }
  }
}

TEST(HashMap2018Runs, AWalkPassesEachGapOnceWhereverItLies) {
  for (const U32 size : runSizes) {
    for (const U32 one : placesOf(size)) {
      for (const U32 other : placesOf(size)) {
        SCOPED_TRACE(testing::Message() << size << " without " << one << " and " << other);
        Numbers map;
        fill(map, size);
        map.erase(one);
        map.erase(other);
        std::vector<U32> expected;
        for (U32 n = 0; n < size; ++n) {
          if (n != one && n != other) expected.push_back(n);
        }
        Numbers::Iterator it(map);
        EXPECT_EQ(rest(it, map), expected);
      }
    }
  }
}

// A block that was left stays as long as somebody stands in it, and its run is of no use any more.
TEST(HashMap2018Runs, AnElementStoodOnInABlockThatWasLeftMayGoWithThoseThatWereOfItsRun) {
  Texts map;
  for (U32 n = 0; n < 100; ++n) map.insert(n, text(n));
  auto first = std::make_unique<Texts::Iterator>(map);
  for (U32 n = 0; n < 50; ++n) first->advance();
  Texts::Iterator second(map);
  for (U32 n = 0; n < 51; ++n) second.advance();
  Texts::Iterator third(map);
  for (U32 n = 0; n < 50; ++n) third.advance();
  for (U32 n = 100; n < 200; ++n) map.insert(n, text(n));
  for (U32 n = 40; n < 60; ++n) EXPECT_EQ(map.erase(n), text(n));
  EXPECT_EQ(first->currNodeNonStale(), nullptr);
  EXPECT_EQ(first->currNodeMaybeStale()->value(), text(50));
  first.reset();
  EXPECT_EQ(third.currNodeMaybeStale()->value(), text(50));
  EXPECT_EQ(second.currNodeMaybeStale()->value(), text(51));
  third.advance();
  second.advance();
  for (U32 n = 60; n < 200; ++n) {
    ASSERT_TRUE(second && third) << n;
    EXPECT_EQ(second.key(), n);
    EXPECT_EQ(third.key(), n);
    second.advance();
    third.advance();
  }
  EXPECT_FALSE(second);
  EXPECT_FALSE(third);
}

}  // namespace
