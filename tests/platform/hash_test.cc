// Quality and fixed properties of the key hashes; what a collection does with them is in
// hash_map_2018_test.cc.

#include "platform/Velo/Hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/HashMapCore.h"

namespace {

// Places of `hashes` in an index of twice to four times as many words: how many are taken.
std::size_t placesTaken(const std::vector<U32>& hashes) {
  const std::size_t places = std::bit_ceil(2 * hashes.size());
  std::vector<bool> taken(places);
  for (const U32 hash : hashes) taken[hash & (places - 1)] = true;
  return static_cast<std::size_t>(std::count(taken.begin(), taken.end(), true));
}

std::size_t distinct(std::vector<U32> hashes) {
  return std::set<U32>(hashes.begin(), hashes.end()).size();
}

TEST(Hash, NumbersThatDifferHaveHashesThatDiffer) {
  for (const U32 step : {1U, 3U, 1U << 12, (1U << 16) + 1}) {
    std::vector<U32> hashes;
    for (U32 n = 0; n < (1U << 16); ++n) hashes.push_back(Velo::Hash<U32>::of(n * step));
    std::vector<U32> inputs;
    for (U32 n = 0; n < (1U << 16); ++n) inputs.push_back(n * step);
    EXPECT_EQ(distinct(hashes), distinct(inputs)) << step;
  }
}

TEST(Hash, NumbersInRegularStepsSpreadOverTheBucketsOfAnIndex) {
  for (const U32 step :
       {1U, 2U, 3U, 10U, 100U, 256U, 1000U, 4096U, 10000U, 65536U, 65537U, 1U << 20, 2654435761U}) {
    std::vector<U32> buckets(512);
    U32 withoutPlace = 0;
    for (U32 n = 0; n < 4096; ++n) {
      if (++buckets[Velo::Hash<U32>::of(n * step) % buckets.size()] > 12) ++withoutPlace;
    }
    // 4096 over 512 buckets with 12 places each: at random, 66 find their bucket full.
    EXPECT_LT(withoutPlace, 100U) << step;
  }
}

TEST(Hash, NumbersInRegularStepsHaveTagsThatTellThemApartInABucket) {
  for (const U32 step :
       {1U, 2U, 3U, 10U, 100U, 256U, 1000U, 4096U, 10000U, 65536U, 65537U, 1U << 20, 2654435761U}) {
    std::map<std::pair<U32, U8>, U32> seen;
    U32 alike = 0;
    for (U32 n = 0; n < 4096; ++n) {
      const U32 hash = Velo::Hash<U32>::of(n * step);
      alike += seen[{hash % 512, Velo::Impl::HashMapBlock::tagOf(hash)}]++;
    }
    // 14336 pairs share one of 512 buckets; at random 112 of them share a tag of 7 bits.
    EXPECT_LT(alike, 300U) << step;
  }
}

TEST(Hash, NumberedNamesSpreadOverTheIndexAndDoNotCollide) {
  for (const char* prefix : {"", "e", "leaf", "Ethernet1/", "GigabitEthernet0/0/0/"}) {
    std::vector<U32> hashes;
    for (int n = 0; n < 16384; ++n) {
      hashes.push_back(Velo::Hash<Nimbo::String>::of(Nimbo::String(prefix + std::to_string(n))));
    }
    // 16384 of 2^32 at random: 0.03 pairs; in 32768 places 12892 taken.
    EXPECT_GE(distinct(hashes), 16383U) << prefix;
    EXPECT_GT(placesTaken(hashes), 12600U) << prefix;
    EXPECT_LT(placesTaken(hashes), 13200U) << prefix;
  }
}

TEST(Hash, EveryByteAndTheLengthTakePart) {
  for (std::size_t size = 1; size <= 40; ++size) {
    const std::string zeros(size, '\0');
    std::vector<U32> hashes = {Velo::hashBytes(zeros)};
    for (std::size_t at = 0; at < size; ++at) {
      for (int bit = 0; bit < 8; ++bit) {
        std::string other = zeros;
        other[at] = static_cast<char>(1 << bit);
        hashes.push_back(Velo::hashBytes(other));
      }
    }
    EXPECT_EQ(distinct(hashes), hashes.size()) << size;
  }
  std::vector<U32> hashes;
  const std::string zeros(100, '\0');
  for (std::size_t size = 0; size <= 100; ++size) {
    hashes.push_back(Velo::hashBytes(std::string_view(zeros).substr(0, size)));
  }
  EXPECT_EQ(distinct(hashes), hashes.size());
}

TEST(Hash, ABitOfTheTextFlipsAboutHalfOfTheHash) {
  for (const std::size_t size : {1U, 3U, 5U, 8U, 11U, 16U, 23U}) {
    std::size_t flipped = 0;
    std::size_t trials = 0;
    for (int sample = 0; sample < 64; ++sample) {
      std::string text(size, static_cast<char>('a' + sample % 26));
      text[size / 2] = static_cast<char>('0' + sample % 10);
      const U32 before = Velo::hashBytes(text);
      for (std::size_t bit = 0; bit < 8 * size; ++bit) {
        std::string other = text;
        other[bit / 8] = static_cast<char>(other[bit / 8] ^ (1 << (bit % 8)));
        flipped += static_cast<std::size_t>(std::popcount(before ^ Velo::hashBytes(other)));
        ++trials;
      }
    }
    const double share = static_cast<double>(flipped) / static_cast<double>(32 * trials);
    EXPECT_NEAR(share, 0.5, 0.03) << size;
  }
}

TEST(Hash, FieldsInARowAreNotTheirTextsInARow) {
  const auto pair = [](const char* a, const char* b) {
    return Velo::hashBytes(b, Velo::hashBytes(a));
  };
  EXPECT_NE(pair("ab", "c"), pair("a", "bc"));
  EXPECT_NE(pair("a", "b"), pair("b", "a"));
  EXPECT_NE(pair("a", ""), pair("", "a"));
}

TEST(Hash, TheHashOfATextDoesNotDependOnWhereItStands) {
  const std::string text = "leaf17:Ethernet1/32/4";
  for (std::size_t shift = 0; shift < 16; ++shift) {
    const std::string moved = std::string(shift, 'x') + text;
    EXPECT_EQ(Velo::hashBytes(std::string_view(moved).substr(shift)), Velo::hashBytes(text));
  }
}

}  // namespace
