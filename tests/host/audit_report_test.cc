#include "host/AuditReport.h"

#include <gtest/gtest.h>

namespace Fabrion::Host {
namespace {

SwitchOutputs before() {
  return {{{"e1", {10, 11, 12, 40}}},
          {{"e1", 10}, {"e2", 5}},
          {10, 11, 12, 40},
          {{"v0", {}}, {"v1", {{"e1", {{10, 5010}, {11, 5011}, {12, 6012}, {40, 1}}}}}}};
}

SwitchOutputs after() {
  return {{{"e1", {10, 11, 13, 15, 16}}, {"e3", {7}}},
          {{"e1", 11}, {"e3", 7}},
          {7, 10, 11, 13},
          {{"v1", {{"e1", {{10, 5020}, {11, 5021}, {12, 5022}, {13, 5023}}}}}, {"v2", {}}}};
}

TEST(AuditReport, IsALineForEachPlaceWithRanges) {
  EXPECT_EQ(auditText(differencesOf({{"leaf1", before()}, {"leaf2", {}}, {"old", {}}},
                                    {{"leaf1", after()}, {"leaf2", {}}, {"new", {}}}),
                      4),
            "Switch leaf1\n"
            "  - VLANs 12,40\n"
            "  + VLANs 7,13\n"
            "  - port e1: VLANs 12,40\n"
            "  + port e1: VLANs 13,15-16\n"
            "  + port e3: VLAN 7\n"
            "  ~ port e1: native VLAN 11 instead of 10\n"
            "  - port e2: native VLAN 5\n"
            "  + port e3: native VLAN 7\n"
            "  - VTEP v0\n"
            "  + VTEP v2\n"
            "  ~ VTEP v1, port e1: VLANs 10-11 to VNIs 5020-5021 instead of VNIs 5010-5011\n"
            "  ~ VTEP v1, port e1: VLAN 12 to VNI 5022 instead of VNI 6012\n"
            "  + VTEP v1, port e1: VLAN 13 to VNI 5023\n"
            "  - VTEP v1, port e1: VLAN 40 to VNI 1\n"
            "\n"
            "Switch new\n"
            "  + the switch: it is not among the outputs given\n"
            "\n"
            "Switch old\n"
            "  - the switch: no document has it\n"
            "\n"
            "3 differ; 4 switches compared.\n");
}

TEST(AuditReport, CountsWhereThereIsNothingToTell) {
  EXPECT_EQ(auditText({}, 0), "No differences; 0 switches compared.\n");
  EXPECT_EQ(auditText({}, 1), "No differences; 1 switch compared.\n");
  EXPECT_EQ(auditText(differencesOf({}, {{"a", {}}}), 1),
            "Switch a\n  + the switch: it is not among the outputs given\n\n"
            "1 differs; 1 switch compared.\n");
}

TEST(AuditReport, MappingsStandTogetherOnlyWhereVnisRiseWithVlans) {
  const auto with = [](const SwitchOutputs::VniOfVlan& vnis) {
    return FabricOutputs{{"a", {{}, {}, {}, {{"v", {{"e1", vnis}}}}}}};
  };
  EXPECT_EQ(auditText(differencesOf(with({}), with({{1, 11}, {2, 12}, {4, 14}, {5, 14}})), 1),
            "Switch a\n"
            "  + VTEP v, port e1: VLANs 1-2 to VNIs 11-12\n"
            "  + VTEP v, port e1: VLAN 4 to VNI 14\n"
            "  + VTEP v, port e1: VLAN 5 to VNI 14\n"
            "\n"
            "1 differs; 1 switch compared.\n");
}

TEST(AuditReport, TellsTheSameToPrograms) {
  EXPECT_EQ(auditJson(differencesOf({{"leaf1", before()}, {"old", {}}}, {{"leaf1", after()}})),
            nlohmann::json::parse(R"({"fabrion": 1, "differences": [
    {"change": "removed", "kind": "switchVlan", "switch": "leaf1", "vlans": "12,40"},
    {"change": "added", "kind": "switchVlan", "switch": "leaf1", "vlans": "7,13"},
    {"change": "removed", "kind": "allowedVlan", "switch": "leaf1", "port": "e1", "vlans": "12,40"},
    {"change": "added", "kind": "allowedVlan", "switch": "leaf1", "port": "e1",
     "vlans": "13,15-16"},
    {"change": "added", "kind": "allowedVlan", "switch": "leaf1", "port": "e3", "vlans": "7"},
    {"change": "changed", "kind": "nativeVlan", "switch": "leaf1", "port": "e1",
     "before": {"vlan": 10}, "after": {"vlan": 11}},
    {"change": "removed", "kind": "nativeVlan", "switch": "leaf1", "port": "e2",
     "before": {"vlan": 5}},
    {"change": "added", "kind": "nativeVlan", "switch": "leaf1", "port": "e3",
     "after": {"vlan": 7}},
    {"change": "removed", "kind": "vtep", "switch": "leaf1", "vtep": "v0"},
    {"change": "added", "kind": "vtep", "switch": "leaf1", "vtep": "v2"},
    {"change": "changed", "kind": "mapping", "switch": "leaf1", "vtep": "v1", "port": "e1",
     "vlans": "10-11", "before": {"vnis": "5010-5011"}, "after": {"vnis": "5020-5021"}},
    {"change": "changed", "kind": "mapping", "switch": "leaf1", "vtep": "v1", "port": "e1",
     "vlans": "12", "before": {"vnis": "6012"}, "after": {"vnis": "5022"}},
    {"change": "added", "kind": "mapping", "switch": "leaf1", "vtep": "v1", "port": "e1",
     "vlans": "13", "after": {"vnis": "5023"}},
    {"change": "removed", "kind": "mapping", "switch": "leaf1", "vtep": "v1", "port": "e1",
     "vlans": "40", "before": {"vnis": "1"}},
    {"change": "removed", "kind": "switch", "switch": "old"}]})"));
}

}  // namespace
}  // namespace Fabrion::Host
