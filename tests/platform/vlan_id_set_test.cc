// VLAN sets and their list string, by example and against a plain std::set.
#include "platform/BrindleUtils/VlanIdSet.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/Velo/Exceptions.h"

namespace {

using BrindleUtils::computeVlanSet;
using BrindleUtils::VlanIdSet;
using BrindleUtils::VlanIdSetIs;

Velo::Ptr<VlanIdSet> setOf(const Nimbo::String& text) {
  auto set = VlanIdSetIs();
  computeVlanSet(set, text);
  return set;
}

std::string textOf(const Velo::Ptr<VlanIdSet>& set) {
  return std::string(set->multiRangeString().view());
}

// What is written back for a text that is read.
std::string rewritten(const std::string& text) { return textOf(setOf(Nimbo::String(text))); }

std::vector<U16> held(const Velo::Ptr<VlanIdSet>& set, U16 low = 0, U16 high = 65535) {
  std::vector<U16> vlans;
  set->forEach(low, high, [&](U16 vlan) { vlans.push_back(vlan); });
  return vlans;
}

TEST(VlanIdSet, ANewSetIsEmptyAndWritesTheEmptyString) {
  const auto set = VlanIdSet::VlanIdSetIs();
  EXPECT_TRUE(set->empty());
  EXPECT_EQ(textOf(set), "");
  EXPECT_FALSE(set->vlan(0));
  EXPECT_FALSE(set->vlan(65535));
}

TEST(VlanIdSet, TwoNewSetsAreTwoSets) {
  const auto a = VlanIdSetIs();
  const auto b = VlanIdSetIs();
  a->doAdd(1);
  EXPECT_FALSE(b->vlan(1));
}

TEST(VlanIdSet, TheEmptyStringGivesTheEmptySet) { EXPECT_TRUE(setOf("")->empty()); }

TEST(VlanIdSet, AListIsWrittenInRisingNumbersAndRanges) {
  EXPECT_EQ(rewritten("1-3,5,10-12"), "1-3,5,10-12");
  EXPECT_EQ(rewritten("7"), "7");
  EXPECT_EQ(rewritten("1-4094"), "1-4094");
}

TEST(VlanIdSet, TwoNeighboursAreJoinedAsARange) {
  EXPECT_EQ(rewritten("1,2"), "1-2");
  EXPECT_EQ(rewritten("1-3,4-6"), "1-6");
  EXPECT_EQ(rewritten("1,2,3,5"), "1-3,5");
}

TEST(VlanIdSet, PartsMayBeUnsortedAndOverlap) {
  EXPECT_EQ(rewritten("5,3,4"), "3-5");
  EXPECT_EQ(rewritten("10-20,1-5"), "1-5,10-20");
  EXPECT_EQ(rewritten("1-10,3-4"), "1-10");
  EXPECT_EQ(rewritten("1-10,5-20"), "1-20");
  EXPECT_EQ(rewritten("5-20,1-10"), "1-20");
  EXPECT_EQ(rewritten("9,1-3,5-100,4,4"), "1-100");
  EXPECT_EQ(rewritten("5,5,5"), "5");
  EXPECT_EQ(rewritten("65535,0-65535,0"), "0-65535");
  // The last one overlaps a range that is not the one before it.
  EXPECT_EQ(rewritten("1-50,100,40-60"), "1-60,100");
}

TEST(VlanIdSet, ARangeMayBeOneNumberAndNumbersMayHaveLeadingZeros) {
  EXPECT_EQ(rewritten("4-4"), "4");
  EXPECT_EQ(rewritten("00010"), "10");
  EXPECT_EQ(rewritten("000000000000000000000065535"), "65535");
  EXPECT_EQ(rewritten("0001-002"), "1-2");
  EXPECT_EQ(rewritten("0"), "0");
}

TEST(VlanIdSet, EverySixteenBitVlanIsHeld) {
  EXPECT_EQ(rewritten("0,4095,4096,65535"), "0,4095-4096,65535");
  EXPECT_EQ(rewritten("0-65535"), "0-65535");
  const auto set = VlanIdSetIs();
  set->doAdd(65535);
  set->doAdd(0);
  set->doAdd(65534);
  EXPECT_EQ(textOf(set), "0,65534-65535");
  set->doRemove(65535);
  set->doRemove(0);
  EXPECT_EQ(textOf(set), "65534");
}

class MalformedVlanList : public testing::TestWithParam<std::string> {};

TEST_P(MalformedVlanList, RaisesTheRangeExceptionWithTheWholeTextAndLeavesTheSet) {
  const auto set = setOf("3,7-9");
  try {
    computeVlanSet(set, Nimbo::String(GetParam()));
    ADD_FAILURE() << "'" << GetParam() << "' was taken for a list: " << textOf(set);
  } catch (const Velo::RangeException& raised) {
    EXPECT_EQ(std::string(raised.what()),
              "BrindleUtils::VlanIdSet: '" + GetParam() + "' is not a VLAN list");
  }
  EXPECT_EQ(textOf(set), "3,7-9");
}

INSTANTIATE_TEST_SUITE_P(VlanIdSet, MalformedVlanList,
                         testing::Values("1-", "-1", "-", "--", "1--2", "1-2-3", "1,,2", ",", "1,",
                                         ",1", " 1", "1 ", " ", "1, 2", "1 -2", "+1", "1-+2", "0x1",
                                         "1.0", "1e3", "a", "1a", "1-a", "1;2", "none", "\t", "1\n",
                                         "65536", "1-65536", "65536-65537", "99999", "4294967297",
                                         "4294967296-4294967297", "18446744073709551617", "5-3",
                                         "1-3,5-4", "65535-0", "1,2,x", "\xc3\xa4"));

TEST(VlanIdSet, AZeroByteIsNotPartOfAList) {
  const auto set = setOf("4");
  EXPECT_THROW(computeVlanSet(set, Nimbo::String("1\0", 2)), Velo::RangeException);
  EXPECT_THROW(computeVlanSet(set, Nimbo::String("\0", 1)), Velo::RangeException);
  EXPECT_EQ(textOf(set), "4");
}

TEST(VlanIdSet, FillingASetReplacesWhatItHeld) {
  const auto set = setOf("1-10");
  computeVlanSet(set, "5,20");
  EXPECT_EQ(textOf(set), "5,20");
  computeVlanSet(set, "");
  EXPECT_EQ(textOf(set), "");
}

TEST(VlanIdSet, AddingJoinsWithTheRangeBelowAboveOrBoth) {
  const auto set = setOf("10,20");
  set->doAdd(11);
  EXPECT_EQ(textOf(set), "10-11,20");
  set->doAdd(19);
  EXPECT_EQ(textOf(set), "10-11,19-20");
  set->doAdd(15);
  EXPECT_EQ(textOf(set), "10-11,15,19-20");
  for (const U16 vlan : {U16{12}, U16{14}, U16{13}}) set->doAdd(vlan);
  EXPECT_EQ(textOf(set), "10-15,19-20");
  set->doAdd(1);
  set->doAdd(30);
  EXPECT_EQ(textOf(set), "1,10-15,19-20,30");
}

TEST(VlanIdSet, AddingAVlanThatIsThereChangesNothing) {
  const auto set = setOf("10-15,20");
  for (const U16 vlan : {U16{10}, U16{12}, U16{15}, U16{20}}) set->doAdd(vlan);
  EXPECT_EQ(textOf(set), "10-15,20");
}

TEST(VlanIdSet, RemovingShortensSplitsOrDropsARange) {
  const auto set = setOf("10-15,20");
  set->doRemove(10);
  EXPECT_EQ(textOf(set), "11-15,20");
  set->doRemove(15);
  EXPECT_EQ(textOf(set), "11-14,20");
  set->doRemove(12);
  EXPECT_EQ(textOf(set), "11,13-14,20");
  set->doRemove(20);
  EXPECT_EQ(textOf(set), "11,13-14");
  set->doRemove(11);
  set->doRemove(13);
  set->doRemove(14);
  EXPECT_TRUE(set->empty());
}

TEST(VlanIdSet, RemovingAVlanThatIsNotThereChangesNothing) {
  const auto set = setOf("10-15,20");
  for (const U16 vlan : {U16{0}, U16{9}, U16{16}, U16{19}, U16{21}, U16{65535}})
    set->doRemove(vlan);
  EXPECT_EQ(textOf(set), "10-15,20");
  const auto empty = VlanIdSetIs();
  empty->doRemove(1);
  EXPECT_TRUE(empty->empty());
}

TEST(VlanIdSet, MembershipEndsWithTheRange) {
  const auto set = setOf("10-15,20");
  EXPECT_FALSE(set->vlan(9));
  EXPECT_TRUE(set->vlan(10));
  EXPECT_TRUE(set->vlan(13));
  EXPECT_TRUE(set->vlan(15));
  EXPECT_FALSE(set->vlan(16));
  EXPECT_TRUE(set->vlan(20));
  EXPECT_FALSE(set->vlan(21));
}

TEST(VlanIdSet, AWalkVisitsTheSpanInRisingOrderBothEndsIncluded) {
  const auto set = setOf("0,3-5,9,4094-4096,65534-65535");
  EXPECT_EQ(held(set), (std::vector<U16>{0, 3, 4, 5, 9, 4094, 4095, 4096, 65534, 65535}));
  EXPECT_EQ(held(set, 1, 4094), (std::vector<U16>{3, 4, 5, 9, 4094}));
  EXPECT_EQ(held(set, 4, 4), (std::vector<U16>{4}));
  EXPECT_EQ(held(set, 6, 8), (std::vector<U16>{}));
  EXPECT_EQ(held(set, 65535, 65535), (std::vector<U16>{65535}));
  EXPECT_EQ(held(set, 5, 4), (std::vector<U16>{}));
  EXPECT_EQ(held(VlanIdSetIs()), (std::vector<U16>{}));
}

TEST(VlanIdSet, AWalkGoesOnWhenTheVisitorChangesTheSet) {
  const auto emptied = setOf("1-5,8,10-11");
  std::vector<U16> visited;
  emptied->forEach(0, 65535, [&](U16 vlan) {
    visited.push_back(vlan);
    emptied->doRemove(vlan);
  });
  EXPECT_EQ(visited, (std::vector<U16>{1, 2, 3, 4, 5, 8, 10, 11}));
  EXPECT_TRUE(emptied->empty());

  const auto changed = setOf("5,8");
  visited.clear();
  changed->forEach(0, 20, [&](U16 vlan) {
    visited.push_back(vlan);
    if (vlan == 5) computeVlanSet(changed, "1-4,7,12,30");
  });
  EXPECT_EQ(visited, (std::vector<U16>{5, 7, 12}));
}

TEST(VlanIdSet, AListBeyondTheShortOnesIsWrittenInFull) {
  // Around 42 ranges the text no longer stands on the stack while it is written.
  for (const U32 parts : {41U, 42U, 43U, 44U, 500U, 32768U}) {
    const auto set = VlanIdSetIs();
    std::string expected;
    for (U32 i = 0; i < parts; ++i) {
      const U32 vlan = 65535 - 2 * (parts - 1 - i);
      set->doAdd(static_cast<U16>(vlan));
      expected += (i == 0 ? "" : ",") + std::to_string(vlan);
    }
    ASSERT_EQ(textOf(set), expected);
    ASSERT_EQ(rewritten(expected), expected);
  }
  std::string widest;
  for (U32 low = 10000; low + 1 < 65536; low += 3)
    widest += (widest.empty() ? "" : ",") + std::to_string(low) + "-" + std::to_string(low + 1);
  EXPECT_EQ(rewritten(widest), widest);
}

std::string listOf(const std::set<U16>& model) {
  std::string text;
  for (auto at = model.begin(); at != model.end();) {
    const U32 low = *at;
    U32 high = low;
    while (++at != model.end() && *at == high + 1) ++high;
    text += (text.empty() ? "" : ",") + std::to_string(low);
    if (high != low) text += "-" + std::to_string(high);
  }
  return text;
}

TEST(VlanIdSet, ARandomWalkAgreesWithAPlainSet) {
  for (U32 seed = 1; seed <= 20; ++seed) {
    auto random = [engine = std::mt19937(seed)]() mutable { return static_cast<U32>(engine()); };
    // Narrow spans make ranges that meet; the odd seeds walk at the upper end of all VLANs.
    const U32 span = 4 + random() % 60;
    const U32 base = seed % 2 == 0 ? 0 : 65536 - span;
    const auto set = VlanIdSetIs();
    std::set<U16> model;
    for (int step = 0; step < 400; ++step) {
      const auto vlan = static_cast<U16>(base + random() % span);
      if (random() % 2 == 0) {
        set->doAdd(vlan);
        model.insert(vlan);
      } else {
        set->doRemove(vlan);
        model.erase(vlan);
      }
      const std::string where = "step " + std::to_string(step) + " of seed " + std::to_string(seed);
      ASSERT_EQ(textOf(set), listOf(model)) << where;
      ASSERT_EQ(rewritten(textOf(set)), listOf(model)) << where;
      ASSERT_EQ(set->empty(), model.empty()) << where;
      const auto asked = static_cast<U16>(base + random() % span);
      ASSERT_EQ(set->vlan(asked), model.count(asked) == 1) << where;
      ASSERT_EQ(held(set), std::vector<U16>(model.begin(), model.end())) << where;
      auto low = static_cast<U16>(base + random() % span);
      auto high = static_cast<U16>(base + random() % span);
      if (high < low) std::swap(low, high);
      ASSERT_EQ(held(set, low, high),
                std::vector<U16>(model.lower_bound(low), model.upper_bound(high)))
          << where;
    }
  }
}

// The model of a list: what a plain reader makes of the text, or nothing.
bool readPlainly(const std::string& text, std::set<U16>& model) {
  std::size_t at = 0;
  const auto number = [&](U32& read) {
    const std::size_t begin = at;
    for (read = 0; at != text.size() && text[at] >= '0' && text[at] <= '9' && read <= 65535; ++at)
      read = read * 10 + static_cast<U32>(text[at] - '0');
    return at != begin && read <= 65535;
  };
  for (;; ++at) {
    U32 low = 0;
    if (!number(low)) return false;
    U32 high = low;
    if (at != text.size() && text[at] == '-' && (++at, !number(high))) return false;
    if (high < low) return false;
    for (U32 vlan = low; vlan <= high; ++vlan) model.insert(model.end(), static_cast<U16>(vlan));
    if (at == text.size()) return true;
    if (text[at] != ',') return false;
  }
}

void expectReadAsPlainly(const std::string& text) {
  std::set<U16> model;
  if (readPlainly(text, model)) {
    ASSERT_EQ(rewritten(text), listOf(model)) << "'" << text << "'";
  } else {
    ASSERT_THROW(rewritten(text), Velo::RangeException) << "'" << text << "'";
  }
}

// Lists as they are written, and all that differs from one by a character or two.
TEST(VlanIdSet, EveryShortTextIsAListOrNone) {
  const std::string letters("0129-,\0", 7);
  for (std::size_t size = 1; size <= 5; ++size) {
    std::size_t count = 1;
    for (std::size_t i = 0; i < size; ++i) count *= letters.size();
    for (std::size_t n = 0; n < count; ++n) {
      std::string text;
      for (std::size_t left = n, i = 0; i < size; ++i, left /= letters.size())
        text += letters[left % letters.size()];
      expectReadAsPlainly(text);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(VlanIdSet, NumbersOfEachLengthEndWhereTheyEnd) {
  for (const char* number : {"0", "9", "10", "99", "100", "999", "1000", "9999", "10000", "65534",
                             "65535", "65536", "99999", "100000", "123456", "655350"}) {
    for (const char* before : {"", "0", "00", "0,", "65533-", "3,65535-"}) {
      for (const char* behind : {"", "0", ",", "-", "-3", ",65535", " ", "\xb0", "\xff"}) {
        expectReadAsPlainly(std::string(before) + number + behind);
        expectReadAsPlainly(std::string(before) + number + std::string(1, '\0') + behind);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(VlanIdSet, PartsInAnyOrderGiveTheSameSet) {
  for (U32 seed = 1; seed <= 200; ++seed) {
    auto random = [engine = std::mt19937(seed)]() mutable { return static_cast<U32>(engine()); };
    std::set<U16> model;
    std::string text;
    for (U32 parts = 1 + random() % 12; parts != 0; --parts) {
      const U32 low = random() % 60;
      const U32 high = low + random() % 6;
      for (U32 vlan = low; vlan <= high; ++vlan) model.insert(static_cast<U16>(vlan));
      text += (text.empty() ? "" : ",") + std::to_string(low) + "-" + std::to_string(high);
    }
    ASSERT_EQ(rewritten(text), listOf(model)) << "'" << text << "' of seed " << seed;
  }
}

TEST(VlanIdSet, EveryVlanOfAConfigurationSurvivesTheWayThroughTheString) {
  for (U32 vlan = 1; vlan <= 4094; ++vlan) {
    const auto set = VlanIdSetIs();
    set->doAdd(static_cast<U16>(vlan));
    ASSERT_EQ(held(setOf(set->multiRangeString())), std::vector<U16>{static_cast<U16>(vlan)});
  }
}

TEST(VlanIdSet, NothingStaysBehind) {
  const U64 live = Velo::AllocTrackTypeInfo::liveObjects();
  {
    const auto set = setOf("1-3");
    const auto same = set;
    EXPECT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), live + 1);
    EXPECT_THROW(computeVlanSet(set, "x"), Velo::RangeException);
  }
  EXPECT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), live);
}

TEST(VlanIdSetDeathTest, ANullSetIsAFault) {
  EXPECT_DEATH(computeVlanSet(Velo::Ptr<VlanIdSet>(), "1"), "is missing");
}

}  // namespace
