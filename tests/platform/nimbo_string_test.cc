// The value string: its bytes, its order, and what a copy and a move leave behind.
#include "platform/Nimbo/String.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using Nimbo::String;

TEST(NimboString, ADefaultValueIsTheEmptyString) {
  const String text;
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(text.size(), 0U);
  EXPECT_STREQ(text.data(), "");
  EXPECT_EQ(text, String(""));
}

TEST(NimboString, ANullCharacterPointerCountsAsTheEmptyString) {
  const char* const none = nullptr;
  EXPECT_TRUE(String(none).empty());
  EXPECT_TRUE(String() == none);
  EXPECT_FALSE(String("a") == none);
  EXPECT_TRUE(String("a") > none);
}

TEST(NimboString, EveryConstructorHoldsTheSameBytes) {
  const std::string source = "Ethernet1";
  const String expected = "Ethernet1";
  EXPECT_EQ(String("Ethernet1/2", 9), expected);
  EXPECT_EQ(String(std::string_view(source)), expected);
  EXPECT_EQ(String(source), expected);
  EXPECT_EQ(String(std::string("Ethernet1")), expected);
  EXPECT_EQ(expected.view(), source);
  EXPECT_EQ(expected.size(), source.size());
}

TEST(NimboString, OnlyTheCharacterPointerConvertsByItself) {
  EXPECT_TRUE((std::is_convertible_v<const char*, String>));
  EXPECT_FALSE((std::is_convertible_v<std::string, String>));
  EXPECT_FALSE((std::is_convertible_v<std::string_view, String>));
}

TEST(NimboString, DataIsZeroTerminated) {
  const String text("abcdef", 3);
  EXPECT_STREQ(text.data(), "abc");
}

TEST(NimboString, AZeroByteIsAByteLikeAnyOther) {
  const String text("a\0b", 3);
  EXPECT_EQ(text.size(), 3U);
  EXPECT_NE(text, String("a"));
  EXPECT_FALSE(text == "a");
  EXPECT_LT(String("a"), text);
  EXPECT_LT(text, String("a\1"));
}

TEST(NimboString, OrderIsThatOfUnsignedBytes) {
  EXPECT_LT(String(""), String("a"));
  EXPECT_LT(String("a"), String("aa"));
  EXPECT_LT(String("Z"), String("a"));
  EXPECT_LT(String("z"), String("\xc3\xa4"));  // a signed comparison would have it the other way
  EXPECT_LT(String("Ethernet10"), String("Ethernet2"));
  EXPECT_EQ(String("a") <=> String("a"), std::strong_ordering::equal);
  EXPECT_FALSE(String("a") < String("a"));
}

TEST(NimboString, ALiteralComparesOnEitherSide) {
  const String text = "leaf1";
  EXPECT_TRUE(text == "leaf1");
  EXPECT_TRUE("leaf1" == text);
  EXPECT_TRUE(text != "leaf");
  EXPECT_TRUE(text < "leaf2");
  EXPECT_TRUE("leaf0" < text);
}

TEST(NimboString, ACopyStandsOnItsOwn) {
  String text = "a name that is too long to stand inside the value itself";
  const String copy = text;
  text = "other";
  EXPECT_EQ(copy, "a name that is too long to stand inside the value itself");
  EXPECT_EQ(text, "other");
}

TEST(NimboString, AMoveTakesTheTextAlongAndTheOldValueCanBeSetAgain) {
  String text = "a name that is too long to stand inside the value itself";
  const char* const bytes = text.data();
  String taken = std::move(text);
  EXPECT_EQ(taken.data(), bytes);
  text = "again";
  EXPECT_EQ(text, "again");
  text = std::move(taken);
  EXPECT_EQ(text.data(), bytes);
}

TEST(NimboString, AValueAssignedToItselfStays) {
  String text = "a name that is too long to stand inside the value itself";
  const String& same = text;
  text = same;
  EXPECT_EQ(text, "a name that is too long to stand inside the value itself");
}

TEST(NimboString, AStreamGetsTheBytesAsTheyStand) {
  std::ostringstream out;
  out << String("a\0b", 3) << String() << String("c");
  EXPECT_EQ(out.str(), std::string("a\0bc", 4));
}

}  // namespace
