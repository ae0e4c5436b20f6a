#include "host/FabricText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

namespace Fabrion::Host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> ports(std::string_view text) {
  const auto expanded = expandPorts(text);
  const auto* names = std::get_if<std::vector<std::string>>(&expanded);
  return names == nullptr ? std::vector<std::string>{"WRONG"} : *names;
}

std::string wrongPorts(std::string_view text) {
  const auto expanded = expandPorts(text);
  const auto* wrong = std::get_if<Wrong>(&expanded);
  return wrong == nullptr ? "" : wrong->text;
}

TEST(FabricText, ARangeOfPortsHasBothItsEnds) {
  EXPECT_THAT(ports("e[3-5]"), ElementsAre("e3", "e4", "e5"));
  EXPECT_THAT(ports("e[7-7]"), ElementsAre("e7"));
  EXPECT_THAT(ports("[9-10]x"), ElementsAre("9x", "10x"));
  EXPECT_THAT(ports("plain"), ElementsAre("plain"));
}

TEST(FabricText, TheLastRangeOfAnEntryRunsFastest) {
  EXPECT_THAT(ports("e[1-2]/[0-1].a"), ElementsAre("e1/0.a", "e1/1.a", "e2/0.a", "e2/1.a"));
}

TEST(FabricText, ALowWithALeadingZeroMakesAllAsWide) {
  EXPECT_THAT(ports("e[08-11]"), ElementsAre("e08", "e09", "e10", "e11"));
  EXPECT_THAT(ports("e[0-1]"), ElementsAre("e0", "e1"));
  EXPECT_THAT(ports("e[099-100]"), ElementsAre("e099", "e100"));
}

TEST(FabricText, ABracketThatIsNoRangeIsWrong) {
  for (const char* text : {"e[", "e]", "e[]", "e[1]", "e[1-]", "e[-1]", "e[1-2", "e1-2]", "e[a-b]",
                           "e[1-2-3]", "e[ 1-2]", "e[[1-2]]", "e[1-1234567890]", "]["}) {
    EXPECT_THAT(wrongPorts(text), HasSubstr("no range of ports")) << text;
  }
  EXPECT_THAT(wrongPorts("e[2-1]"), HasSubstr("falls"));
}

TEST(FabricText, RangesStandForAtMost4096Names) {
  EXPECT_EQ(ports("e[1-4096]").size(), 4096u);
  EXPECT_THAT(wrongPorts("e[1-4097]"), HasSubstr("more than 4096"));
  EXPECT_THAT(wrongPorts("e[0-999999999]"), HasSubstr("more than 4096"));
  EXPECT_THAT(wrongPorts("[1-4096][1-999999999]"), HasSubstr("more than 4096"));
}

std::string vlans(std::string_view text) {
  VlanSet set;
  if (parseVlans(text, set)) return "wrong";
  std::string all;
  for (U32 vlan = 0; vlan <= maxVlan; ++vlan) {
    if (set.test(vlan)) all += std::to_string(vlan) + " ";
  }
  return all;
}

TEST(FabricText, VlansAreNumbersAndRangesWithCommasBetween) {
  EXPECT_EQ(vlans("7"), "7 ");
  EXPECT_EQ(vlans("1-3"), "1 2 3 ");
  EXPECT_EQ(vlans(" 9 , 2 - 3,1 "), "1 2 3 9 ");
  EXPECT_EQ(vlans("4094"), "4094 ");
  EXPECT_EQ(vlans("3-3,2-4"), "2 3 4 ");
}

TEST(FabricText, VlansOfAnotherFormAreWrong) {
  for (const char* text : {"", " ", ",", "1,", ",1", "0", "4095", "01", "0x10", "1-", "-1", "1-2-3",
                           "2-1", "1 2", "10000", "99999999999", "1.0", "+1"}) {
    EXPECT_EQ(vlans(text), "wrong") << text;
  }
}

TEST(FabricText, Utf8IsJudgedByItsStrictRules) {
  EXPECT_EQ(firstNonUtf8("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf"), std::nullopt);
  for (const char* text : {"ab\x80", "ab\xc3", "ab\xc0\x80", "ab\xe0\x80\x80", "ab\xed\xa0\x80",
                           "ab\xf0\x80\x80\x80", "ab\xf4\x90\x80\x80", "ab\xf8", "ab\xe2\x82"}) {
    EXPECT_EQ(firstNonUtf8(text), 2u) << shown(text);
  }
}

TEST(FabricText, AMessageShowsNoControlCharactersAndNoLongTexts) {
  EXPECT_EQ(shown("a\nb\x1b\x7f\xc2\x9b"
                  "c"),
            "'a\\x0ab\\x1b\\x7f\\x9bc'");
  EXPECT_EQ(shown(std::string(60, 'x')), "'" + std::string(60, 'x') + "'");
  EXPECT_EQ(shown(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
}

TEST(FabricText, NearNamesAreFewAndNearestFirst) {
  EXPECT_EQ(nearNames("laef1", {"leaf1", "leaf2", "spine1"}), "; did you mean 'leaf1'?");
  EXPECT_EQ(nearNames("leaf3", {"leaf33", "leaf1", "Leaf3", "leaf2"}),
            "; did you mean 'Leaf3', 'leaf33' or 'leaf1'?");
  EXPECT_EQ(nearNames("x", {"leaf1"}), "");
  EXPECT_EQ(nearNames("", {"leaf1"}), "");
}

}  // namespace
}  // namespace Fabrion::Host
