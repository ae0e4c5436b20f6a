// The hash collection as it goes from one block to another: tiny, small, with an index, large. What
// it promises whatever the size is in hash_map_2018_test.cc.

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/HashMap2018.h"

namespace {

struct Blocks;

using Numbers = Velo::HashMap2018<Blocks, U32, U32>;
using Texts = Velo::HashMap2018<Blocks, U32, Nimbo::String>;

std::vector<U32> keysOf(const Numbers& map) {
  std::vector<U32> keys;
  for (const U32& key : map.keys()) keys.push_back(key);
  return keys;
}

// Long enough to stand outside of the string object.
Nimbo::String text(U32 n) {
  return Nimbo::String("GigabitEthernet of the leaf " + std::to_string(n));
}

// A key or value that can be copied so many times.
struct Brittle {
  U32 n = 0;
  explicit Brittle(U32 number) : n(number) {}
  Brittle(const Brittle& other) : n(other.n) {
    if (copiesLeft-- == 0) throw std::runtime_error("copy");
  }
  Brittle(Brittle&& other) noexcept : n(other.n) {}
  Brittle& operator=(const Brittle&) = delete;
  ~Brittle() = default;
  U32 hash(U32 seed) const { return Velo::hashU32(n, seed); }
  friend bool operator==(const Brittle& a, const Brittle& b) { return a.n == b.n; }

  static constexpr int plenty = 100000;
  static inline int copiesLeft = plenty;
};
using Brittles = Velo::HashMap2018<Blocks, Brittle, Brittle>;

TEST(HashMap2018Blocks, ASmallCollectionThatIsFullClosesItsGapRatherThanGrow) {
  for (const U32 size : {1U, 2U, 4U, 8U}) {
    for (U32 at = 0; at < size; ++at) {
      Numbers map;
      std::vector<U32> expected;
      for (U32 n = 0; n < size + 20; ++n) {
        if (n >= size) {
          map.erase(expected[at]);
          expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(at));
        }
        map.insert(n, 10 * n);
        expected.push_back(n);
        ASSERT_EQ(keysOf(map), expected);
        for (const U32 key : expected) ASSERT_EQ(*map.lookup(key), 10 * key);
      }
      EXPECT_EQ(map.capacity(), size) << at;
    }
  }
}

TEST(HashMap2018Blocks, ALargeBlockThatWasLeftGoesWithTheLastIteratorThatStandsInIt) {
  Texts map;
  for (U32 n = 0; n < 1000; ++n) map.insert(n, text(n));
  auto first = std::make_unique<Texts::Iterator>(map);
  Texts::Iterator second(map);
  second.advance();
  for (U32 n = 1000; n < 3000; ++n) map.insert(n, text(n));
  EXPECT_EQ(first->currNodeMaybeStale()->value(), text(0));
  EXPECT_EQ(first->currNodeNonStale(), map.find(0));
  first->advance();
  EXPECT_EQ(first->currNodeNonStale(), map.find(1));
  EXPECT_EQ(second.currNodeNonStale(), map.find(1));
  map.clear();
  EXPECT_EQ(first->currNodeMaybeStale()->value(), text(1));
  EXPECT_EQ(first->currNodeNonStale(), nullptr);
  first.reset();
  EXPECT_EQ(second.currNodeMaybeStale()->value(), text(1));
  second.advance();
  EXPECT_FALSE(second);
  EXPECT_TRUE(map.empty());
}

TEST(HashMap2018Blocks, AGrowthThatThrowsChangesNothingWhateverTheSize) {
  for (const U32 size : {1U, 2U, 4U, 8U, 16U, 64U, 128U}) {
    for (int copies = 0; copies < 3; ++copies) {
      SCOPED_TRACE(std::to_string(size) + ", " + std::to_string(copies) + " copies");
      Brittle::copiesLeft = Brittle::plenty;
      Brittles map;
      for (U32 n = 0; n < size; ++n) map.insert(Brittle(n), Brittle(10 * n));
      Brittles::Iterator first(map);
      Brittles::Iterator last(map);
      while (last.key().n != size - 1) last.advance();
      Brittle::copiesLeft = copies;
      EXPECT_THROW(map.insert(Brittle(size), Brittle(0)), std::runtime_error);
      Brittle::copiesLeft = Brittle::plenty;
      U32 n = 0;
      for (const auto& node : map.items()) {
        EXPECT_EQ(node.key().n, n);
        EXPECT_EQ(map.find(Brittle(n)), &node);
        EXPECT_EQ(node.value().n, 10 * n);
        ++n;
      }
      EXPECT_EQ(n, size);
      EXPECT_EQ(first.currNodeNonStale(), map.find(Brittle(0)));
      EXPECT_EQ(last.currNodeNonStale(), map.find(Brittle(size - 1)));
    }
  }
}

TEST(HashMap2018Blocks, AnEraseThatCannotMakeTheCollectionSmallerStillErases) {
  Brittle::copiesLeft = Brittle::plenty;
  Brittles map;
  for (U32 n = 0; n < 64; ++n) map.insert(Brittle(n), Brittle(10 * n));
  Brittles::Iterator it(map);
  for (U32 n = 1; n < 64; ++n) {
    Brittle::copiesLeft = 0;
    EXPECT_TRUE(map.erase(Brittle(n)).has_value());
    EXPECT_EQ(map.find(Brittle(n)), nullptr);
  }
  Brittle::copiesLeft = Brittle::plenty;
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.capacity(), 64U);
  EXPECT_EQ(it.currNodeNonStale(), map.find(Brittle(0)));
}

}  // namespace
