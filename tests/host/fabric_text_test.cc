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
  std::vector<NumberRange> ranges;
  if (parseVlans(text, ranges)) return "wrong";
  std::string all;
  for (const NumberRange& range : ranges) all += toString(range) + " ";
  return all;
}

TEST(FabricText, VlansAreNumbersAndRangesWithCommasBetween) {
  EXPECT_EQ(vlans("7"), "7 ");
  EXPECT_EQ(vlans("1-3"), "1-3 ");
  EXPECT_EQ(vlans(" 9 , 2 - 3,1 "), "9 2-3 1 ");
  EXPECT_EQ(vlans("4094"), "4094 ");
  EXPECT_EQ(vlans("3-3,2-4"), "3 2-4 ");
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
  EXPECT_EQ(nearNames("paln", {"run", "plan", "plane", "pain"}),
            "; did you mean 'pain' or 'plan'?");
  EXPECT_EQ(nearNames("1e", {"e1", "e2"}), "; did you mean 'e1'?");
  EXPECT_EQ(nearNames("nlap", {"plan"}), "");
  EXPECT_EQ(nearNames("plna", {"plan", "plane", "planar"}), "; did you mean 'plan'?");
  EXPECT_EQ(nearNames("x", {"leaf1"}), "");
  EXPECT_EQ(nearNames("", {"leaf1"}), "");
}

std::string vnis(std::string_view text) {
  const auto read = parseVniRange(text);
  const auto* range = std::get_if<NumberRange>(&read);
  return range == nullptr ? std::get<Wrong>(read).text : toString(*range);
}

TEST(FabricText, VnisAreANumberOrARangeWithin24Bits) {
  EXPECT_EQ(vnis("1"), "1");
  EXPECT_EQ(vnis(" 10100 - 10199 "), "10100-10199");
  EXPECT_EQ(vnis("16777215"), "16777215");
  for (const char* text : {"0", "16777216", "999999999", "4294967297", "07", "1,2", "", "-", "x"}) {
    EXPECT_THAT(vnis(text), HasSubstr("no VNI or range of VNIs: '")) << text;
  }
  EXPECT_EQ(vnis("9-8"), "the range '9-8' falls; expected the lower VNI first");
}

TEST(FabricText, ARangeOfVlansHasNoCommas) {
  const auto range = parseVlanRange("100-199");
  ASSERT_TRUE(std::holds_alternative<NumberRange>(range));
  EXPECT_EQ(std::get<NumberRange>(range), (NumberRange{100, 199}));
  for (const char* text : {"1,2", "0", "4095", "1-", "2-1"}) {
    EXPECT_TRUE(std::holds_alternative<Wrong>(parseVlanRange(text))) << text;
  }
}

std::string domain(std::string_view text) {
  const auto read = parseDomain(text);
  const auto* domain = std::get_if<DomainName>(&read);
  return domain == nullptr ? std::get<Wrong>(read).text : domain->first + "|" + domain->second;
}

TEST(FabricText, ADomainIsSplitAtItsFirstSlash) {
  EXPECT_EQ(domain("acme"), "acme|");
  EXPECT_EQ(domain("acme/prod"), "acme|prod");
  EXPECT_EQ(domain("acme/prod/eu"), "acme|prod/eu");
  EXPECT_EQ(domain("acme/"),
            "no domain: 'acme/', an empty name in it; expected FIRST or FIRST/SECOND");
  EXPECT_THAT(domain("/prod"), HasSubstr("an empty name in it"));
  EXPECT_THAT(domain("a\tb/c"), HasSubstr("has a control character in it"));
}

TEST(FabricText, ADomainReadsAsItIsWritten) {
  EXPECT_EQ(toString(DomainName{"acme", ""}), "acme");
  EXPECT_EQ(toString(DomainName{"acme", "prod"}), "acme/prod");
}

}  // namespace
}  // namespace Fabrion::Host
