#include "host/OutputDifference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Fabrion::Host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto added = ChangeKind::added;
constexpr auto removed = ChangeKind::removed;
constexpr auto changed = ChangeKind::changed;

SwitchOutputs leaf() {
  return {{{"e1", {10, 11}}}, {{"e1", 10}}, {10, 11}, {{"v", {{"e1", {{10, 5010}, {11, 5011}}}}}}};
}

using One = OutputDifference;
using Kind = OutputKind;

TEST(OutputDifference, TheSameHasNone) {
  EXPECT_THAT(differencesOf({}, {}), IsEmpty());
  EXPECT_THAT(differencesOf({{"a", leaf()}}, {{"a", leaf()}}), IsEmpty());
}

TEST(OutputDifference, AWholeSwitchIsToldThingByThing) {
  const auto all = [](ChangeKind change, std::optional<U32> no, auto before, auto after) {
    return ElementsAre(One{change, Kind::switchItself, "a", "", "", {}, {}, {}},
                       One{change, Kind::switchVlan, "a", "", "", 10, {}, {}},
                       One{change, Kind::switchVlan, "a", "", "", 11, {}, {}},
                       One{change, Kind::allowedVlan, "a", "", "e1", 10, {}, {}},
                       One{change, Kind::allowedVlan, "a", "", "e1", 11, {}, {}},
                       One{change, Kind::nativeVlan, "a", "", "e1", no, before(10), after(10)},
                       One{change, Kind::vtepItself, "a", "v", "", {}, {}, {}},
                       One{change, Kind::mapping, "a", "v", "e1", 10, before(5010), after(5010)},
                       One{change, Kind::mapping, "a", "v", "e1", 11, before(5011), after(5011)});
  };
  const auto some = [](U32 number) { return std::optional<U32>(number); };
  const auto none = [](U32) { return std::optional<U32>(); };
  EXPECT_THAT(differencesOf({}, {{"a", leaf()}}), all(added, {}, none, some));
  EXPECT_THAT(differencesOf({{"a", leaf()}}, {}), all(removed, {}, some, none));
}

TEST(OutputDifference, OneSwitchMayGainLoseAndChange) {
  SwitchOutputs next = leaf();
  next.vlans = {10, 12};
  next.allowedVlans = {{"e1", {10}}, {"e2", {12}}};
  next.nativeVlan = {{"e1", 12}, {"e2", 12}};
  next.vteps = {{"v", {{"e1", {{11, 5012}, {12, 5012}}}}}, {"w", {}}};
  EXPECT_THAT(differencesOf({{"a", leaf()}}, {{"a", next}}),
              ElementsAre(One{removed, Kind::switchVlan, "a", "", "", 11, {}, {}},
                          One{added, Kind::switchVlan, "a", "", "", 12, {}, {}},
                          One{removed, Kind::allowedVlan, "a", "", "e1", 11, {}, {}},
                          One{added, Kind::allowedVlan, "a", "", "e2", 12, {}, {}},
                          One{changed, Kind::nativeVlan, "a", "", "e1", {}, 10, 12},
                          One{added, Kind::nativeVlan, "a", "", "e2", {}, {}, 12},
                          One{added, Kind::vtepItself, "a", "w", "", {}, {}, {}},
                          One{removed, Kind::mapping, "a", "v", "e1", 10, 5010, {}},
                          One{changed, Kind::mapping, "a", "v", "e1", 11, 5011, 5012},
                          One{added, Kind::mapping, "a", "v", "e1", 12, {}, 5012}));
}

TEST(OutputDifference, SwitchesStandInTheOrderOfTheirNames) {
  EXPECT_THAT(differencesOf({{"a", {}}, {"c", {}}}, {{"b", {}}, {"c", {}}, {"d", {}}}),
              ElementsAre(One{removed, Kind::switchItself, "a", "", "", {}, {}, {}},
                          One{added, Kind::switchItself, "b", "", "", {}, {}, {}},
                          One{added, Kind::switchItself, "d", "", "", {}, {}, {}}));
}

TEST(OutputDifference, APortWithNoVlansSaysTheSameAsNone) {
  SwitchOutputs empty;
  empty.allowedVlans["e1"];
  empty.vteps["v"]["e1"];
  SwitchOutputs bare;
  bare.vteps["v"];
  EXPECT_THAT(differencesOf({{"a", empty}}, {{"a", bare}}), IsEmpty());
  EXPECT_THAT(differencesOf({{"a", bare}}, {{"a", empty}}), IsEmpty());
}

}  // namespace
}  // namespace Fabrion::Host
