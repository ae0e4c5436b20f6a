// VTEPs and conflicts of VNIs in reports: what the machines derive, as text and as JSON.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/ReportJson.h"
#include "host/ReportText.h"
#include "tests/host/reports.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Json = nlohmann::json;
using Test::reportOn;
using testing::IsEmpty;

const std::string mapped = R"(
switches: {leaf: {ports: [e10, e9, e2, e1], groups: {po1: [e1, e2]}, vteps: [v2, v1]}}
hosts: {srv: {hostname: web, ports: eth0}}
links: [[leaf:e9, srv:eth0]]
static maps: {blue/prod: {100-199: 10100-10199}}
requests:
  - {client: acme, switch: leaf, port: e10, vlans: 10-13, vnis: {10-11: 5010-5011, 13: 5013}}
  - {client: acme, switch: leaf, port: e1, vlans: 20, vnis: {20: 16777215}}
  - {client: blue, hostname: web, vlans: [100-101, 300], domains: blue/prod}
)";

TEST(ReportVnis, TheTextHasATableForEachVtepInTheOrderOfPorts) {
  const std::string mappings =
      "PORT  VLAN     VNI\n"
      "e10   10-11    5010-5011\n"
      "e10   13       5013\n"
      "e9    100-101  10100-10101\n"
      "po1   20       16777215\n";
  EXPECT_EQ(textOf(reportOn(mapped)),
            "Switch leaf\n"
            "\n"
            "PORT  ALLOWED VLANS  NATIVE VLAN  MEMBER OF  FAR END\n"
            "e10   10-13          -            -          -\n"
            "e9    100-101,300    -            -          srv:eth0\n"
            "e2    as po1         as po1       po1        -\n"
            "e1    as po1         as po1       po1        -\n"
            "po1   20             -            -          -\n"
            "\n"
            "VLANs: 10-13,20,100-101,300\n"
            "\n"
            "VTEP v2\n"
            "\n" +
                mappings +
                "\n"
                "VTEP v1\n"
                "\n" +
                mappings +
                "\n"
                "No conflicts.\n");
}

TEST(ReportVnis, TheJsonHasTheSameMappingsSortedByName) {
  const Json mappings = Json::parse(R"([
    {"port": "e10", "vlans": "10-11", "vnis": "5010-5011"},
    {"port": "e10", "vlans": "13", "vnis": "5013"},
    {"port": "e9", "vlans": "100-101", "vnis": "10100-10101"},
    {"port": "po1", "vlans": "20", "vnis": "16777215"}])");
  const Json json = jsonOf(reportOn(mapped));
  EXPECT_EQ(json["switches"]["leaf"]["vteps"], (Json{{"v1", mappings}, {"v2", mappings}}));
  EXPECT_THAT(json["conflicts"], IsEmpty());
}

TEST(ReportVnis, AVtepWithoutMappingsSaysSo) {
  const Report report = reportOn("switches: {leaf: {ports: e1, vteps: v1}}\n");
  EXPECT_EQ(textOf(report),
            "Switch leaf\n"
            "\n"
            "VLANs: none\n"
            "Unused ports: e1\n"
            "\n"
            "VTEP v1 maps nothing.\n"
            "\n"
            "No conflicts.\n");
  EXPECT_EQ(jsonOf(report)["switches"]["leaf"]["vteps"], (Json{{"v1", Json::array()}}));
}

TEST(ReportVnis, VnisThatDoNotRiseWithTheirVlansAreNoRange) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: e1, vteps: v1}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: 10-12, vnis: {10: 8, 11: 7, 12: 6}}
)");
  EXPECT_EQ(jsonOf(report)["switches"]["leaf"]["vteps"]["v1"], Json::parse(R"([
    {"port": "e1", "vlans": "10", "vnis": "8"},
    {"port": "e1", "vlans": "11", "vnis": "7"},
    {"port": "e1", "vlans": "12", "vnis": "6"}])"));
}

// ---- Conflicts

const std::string conflicting = R"(
switches: {leaf: {ports: [e1, e2, e3, e4], groups: {po1: [e3, e4]}, vteps: v1}}
hosts: {srv: {hostname: web, ports: eth0}}
links: [[leaf:e2, srv:eth0]]
static maps: {red/x: {10: 9010}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: 10-11, vnis: {10: 5010, 11: 5011}}
  - {client: blue, switch: leaf, port: e1, vlans: 10, vnis: {10: [5010, 6010]}}
  - {client: acme, hostname: web, vlans: 10, vnis: {10: 5010}}
  - {client: cyan, switch: leaf, port: e2, vlans: 10, domains: red/x}
  - {client: acme, switch: leaf, port: e3, vlans: 20, vnis: {20: 5020}}
  - {client: blue, switch: leaf, port: e4, vlans: 20, vnis: {20: 6020}}
)";

TEST(ReportVnis, AConflictNamesWhoAsksAndThroughWhat) {
  const std::string text = textOf(reportOn(conflicting));
  EXPECT_EQ(text.substr(text.find("VTEP v1")),
            "VTEP v1\n"
            "\n"
            "PORT  VLAN  VNI\n"
            "e1    11    5011\n"
            "\n"
            "Conflict on switch leaf, port e1, VLAN 10: 2 VNIs are asked for, so the VLAN is "
            "mapped to none there.\n"
            "  VNI 5010: acme, blue\n"
            "  VNI 6010: blue\n"
            "Conflict on switch leaf, port e2, VLAN 10: 2 VNIs are asked for, so the VLAN is "
            "mapped to none there.\n"
            "  VNI 5010: acme for host srv\n"
            "  VNI 9010: domain red/x\n"
            "Conflict on switch leaf, port group po1, VLAN 20: 2 VNIs are asked for, so the VLAN "
            "is mapped to none there.\n"
            "  VNI 5020: acme through e3\n"
            "  VNI 6020: blue through e4\n");
}

TEST(ReportVnis, TheJsonNamesTheSameForPrograms) {
  EXPECT_EQ(jsonOf(reportOn(conflicting))["conflicts"], Json::parse(R"([
    {"kind": "vni", "switch": "leaf", "port": "e1", "vlan": 10, "vnis": [
      {"vni": 5010, "askedBy": [
        {"client": "acme", "domain": null, "host": null, "port": "e1"},
        {"client": "blue", "domain": null, "host": null, "port": "e1"}]},
      {"vni": 6010, "askedBy": [
        {"client": "blue", "domain": null, "host": null, "port": "e1"}]}]},
    {"kind": "vni", "switch": "leaf", "port": "e2", "vlan": 10, "vnis": [
      {"vni": 5010, "askedBy": [
        {"client": "acme", "domain": null, "host": "srv", "port": "e2"}]},
      {"vni": 9010, "askedBy": [
        {"client": null, "domain": "red/x", "host": null, "port": "e2"}]}]},
    {"kind": "vni", "switch": "leaf", "group": "po1", "vlan": 20, "vnis": [
      {"vni": 5020, "askedBy": [
        {"client": "acme", "domain": null, "host": null, "port": "e3"}]},
      {"vni": 6020, "askedBy": [
        {"client": "blue", "domain": null, "host": null, "port": "e4"}]}]}])"));
}

TEST(ReportVnis, ConflictsOfNativeVlansStandFirst) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: [e1, e2], vteps: v1}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: 10, vnis: {10: [1, 2]}}
  - {client: acme, switch: leaf, port: e2, native: 5}
  - {client: blue, switch: leaf, port: e2, native: 6}
)");
  const Json conflicts = jsonOf(report)["conflicts"];
  ASSERT_EQ(conflicts.size(), 2U);
  EXPECT_EQ(conflicts[0]["kind"], "nativeVlan");
  EXPECT_EQ(conflicts[1]["kind"], "vni");
  const std::string text = textOf(report);
  EXPECT_LT(text.find("port e2: 2 native VLANs"), text.find("port e1, VLAN 10: 2 VNIs"));
}

// Without a VTEP nothing is mapped, and what is asked contradicts itself all the same.
TEST(ReportVnis, AConflictNeedsNoVtep) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: e1}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10, vnis: {10: [1, 2]}}]
)");
  EXPECT_FALSE(report.noConflicts());
  ASSERT_EQ(report.vniConflicts.size(), 1U);
  EXPECT_EQ(textOf(report.vniConflicts[0]),
            "Conflict on switch leaf, port e1, VLAN 10: 2 VNIs are asked for, so the VLAN is "
            "mapped to none there.\n"
            "  VNI 1: acme\n"
            "  VNI 2: acme\n");
}

TEST(ReportVnis, AVniThatNobodyAsksForAnyMoreIsNamedSo) {
  const VniConflict conflict{"leaf", "e1", false, 10, {{7, {{"acme", "", "", ""}}}, {8, {}}}};
  EXPECT_EQ(textOf(conflict),
            "Conflict on switch leaf, port e1, VLAN 10: 2 VNIs are asked for, so the VLAN is "
            "mapped to none there.\n"
            "  VNI 7: acme\n"
            "  VNI 8: nobody any more\n");
}

}  // namespace
}  // namespace Fabrion::Host

#endif
