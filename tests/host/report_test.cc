// Fabrics in, reports out, through the machines of the module; the last tests write down reports
// that are made by hand.

#include "host/Report.h"

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
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The conflicts as lines, whoever asks as "CLIENT@PORT".
std::vector<std::string> conflictsIn(const Report& report) {
  std::vector<std::string> lines;
  for (const NativeVlanConflict& conflict : report.conflicts) {
    std::string line = conflict.switchName + (conflict.onGroup ? " group " : " port ");
    line += conflict.interface + ":";
    for (const AskedVlan& asked : conflict.asked) {
      line += " " + std::to_string(asked.vlan) + "(";
      for (const Asker& asker : asked.askers) line += asker.client + "@" + asker.port + " ";
      line.back() = ')';
    }
    lines.push_back(line);
  }
  return lines;
}

TEST(Report, APortCarriesTheVlansOfItsClientsAndOfTheHostBehindIt) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: [e1, e2]}}
hosts: {srv: {hostname: compute, ports: eth0}}
links: [[leaf:e1, srv:eth0]]
requests:
  - {client: acme, hostname: compute, vlans: 10-12}
  - {client: blue, switch: leaf, port: e1, vlans: 20, native: 30}
)");
  ASSERT_EQ(report.switches.size(), 1U);
  const SwitchReport& leaf = report.switches[0];
  ASSERT_EQ(leaf.ports.size(), 2U);
  EXPECT_EQ(leaf.ports[0].carried.allowedVlans, "10-12,20");
  EXPECT_EQ(leaf.ports[0].carried.nativeVlan, 30U);
  EXPECT_THAT(leaf.ports[0].farEnds, ElementsAre(LinkEnd{"srv", "eth0"}));
  EXPECT_TRUE(leaf.ports[1].unused());
  EXPECT_EQ(leaf.vlans, "10-12,20");
  EXPECT_THAT(report.conflicts, IsEmpty());
}

TEST(Report, TheGroupCarriesWhatIsAskedOfItsMembers) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: ["e[1-3]"], groups: {po1: [e1, e2]}}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: 10, native: 5}
  - {client: acme, switch: leaf, port: e2, vlans: 11}
)");
  const SwitchReport& leaf = report.switches.at(0);
  EXPECT_TRUE(leaf.ports.at(0).carried.nothing());
  EXPECT_EQ(leaf.ports.at(0).group, "po1");
  EXPECT_EQ(leaf.ports.at(1).group, "po1");
  EXPECT_EQ(leaf.ports.at(2).group, "");
  EXPECT_EQ(leaf.groups.at(0).carried.allowedVlans, "10-11");
  EXPECT_EQ(leaf.groups.at(0).carried.nativeVlan, 5U);
  EXPECT_THAT(leaf.groups.at(0).members, ElementsAre("e1", "e2"));
}

TEST(Report, ARemoteHostStandsBehindThePortWhereAClientPutsIt) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: [e1]}}
hosts: {box: }
requests:
  - {client: acme, switch: leaf, port: e1, remote hosts: [other, box]}
  - {client: blue, hostname: box, vlans: 77}
)");
  EXPECT_THAT(report.switches.at(0).ports.at(0).remoteHosts, ElementsAre("box", "other"));
  EXPECT_EQ(report.switches.at(0).ports.at(0).carried.allowedVlans, "77");
}

TEST(Report, TwoNativeVlansOnAPortAreAConflictAndThePortHasNone) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: [e1]}}
requests:
  - {client: blue, switch: leaf, port: e1, vlans: 20, native: 20}
  - {client: acme, switch: leaf, port: e1, vlans: 10, native: 10}
  - {client: cyan, switch: leaf, port: e1, native: 20}
)");
  EXPECT_THAT(conflictsIn(report), ElementsAre("leaf port e1: 10(acme@e1) 20(blue@e1 cyan@e1)"));
  EXPECT_TRUE(report.switches.at(0).ports.at(0).carried.nativeConflict);
  EXPECT_FALSE(report.switches.at(0).ports.at(0).carried.nativeVlan);
  EXPECT_EQ(report.switches.at(0).ports.at(0).carried.allowedVlans, "10,20");
}

TEST(Report, TheSameNativeVlanTwiceIsNone) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: ["e[1-2]"], groups: {po1: [e1, e2]}}}
requests:
  - {client: acme, switch: leaf, port: e1, native: 10}
  - {client: blue, switch: leaf, port: e1, native: 10}
  - {client: acme, switch: leaf, port: e2, native: 10}
)");
  EXPECT_THAT(report.conflicts, IsEmpty());
  EXPECT_EQ(report.switches.at(0).groups.at(0).carried.nativeVlan, 10U);
}

TEST(Report, AConflictBetweenMembersIsToldOnceAndOfTheGroup) {
  const Report report = reportOn(R"(
switches: {leaf: {ports: ["e[1-3]"], groups: {po1: [e1, e2, e3]}}}
requests:
  - {client: acme, switch: leaf, port: e1, native: 10}
  - {client: blue, switch: leaf, port: e2, native: 11}
  - {client: cyan, switch: leaf, port: e2, native: 10}
  - {client: acme, switch: leaf, port: e3, native: 10}
)");
  EXPECT_THAT(conflictsIn(report),
              ElementsAre("leaf group po1: 10(acme@e1 cyan@e2 acme@e3) 11(blue@e2)"));
  EXPECT_TRUE(report.switches.at(0).groups.at(0).carried.nativeConflict);
  for (const PortReport& port : report.switches.at(0).ports) EXPECT_TRUE(port.carried.nothing());
}

TEST(Report, ConflictsStandInTheOrderOfSwitchesPortsAndGroups) {
  const std::string document = R"(
switches:
  right: {ports: ["e[1-4]"], groups: {a: [e1, e2]}}
  left: {ports: [e1]}
requests:
  - {client: acme, switch: left, port: e1, native: 1}
  - {client: blue, switch: left, port: e1, native: 2}
  - {client: acme, switch: right, port: e1, native: 1}
  - {client: blue, switch: right, port: e2, native: 2}
  - {client: acme, switch: right, port: e4, native: 1}
  - {client: blue, switch: right, port: e4, native: 2}
)";
  const Report report = reportOn(document);
  EXPECT_THAT(conflictsIn(report), ElementsAre("right port e4: 1(acme@e4) 2(blue@e4)",
                                               "right group a: 1(acme@e1) 2(blue@e2)",
                                               "left port e1: 1(acme@e1) 2(blue@e1)"));
  const Json conflicts = jsonOf(report)["conflicts"];
  ASSERT_EQ(conflicts.size(), 3U);
  EXPECT_EQ(conflicts[0]["switch"], "left");
  EXPECT_EQ(conflicts[1]["group"], "a");
  EXPECT_EQ(conflicts[2]["port"], "e4");
}

TEST(ReportJson, TheOrderInWhichADocumentIsWrittenDoesNotShow) {
  const std::string there = jsonOf(reportOn(R"(
switches: {a: {ports: [e1, e2, e3], groups: {g: [e1, e2]}}, b: {ports: [e1]}}
hosts: {h: {ports: ["p[1-2]"]}}
links: [[a:e3, h:p1], [a:e3, h:p2], [b:e1, a:e1]]
requests:
  - {client: x, switch: b, port: e1, vlans: [5, 7], native: 5}
  - {client: y, switch: b, port: e1, native: 6}
  - {client: x, hostname: h, vlans: 9}
)"))
                                .dump();
  const std::string back = jsonOf(reportOn(R"(
requests:
  - {client: x, hostname: h, vlans: 9}
  - {client: y, switch: b, port: e1, native: 6}
  - {client: x, switch: b, port: e1, vlans: [7, 5], native: 5}
links: [[a:e1, b:e1], [h:p2, a:e3], [h:p1, a:e3]]
hosts: {h: {ports: [p2, p1]}}
switches: {b: {ports: [e1]}, a: {ports: [e3, e2, e1], groups: {g: [e2, e1]}}}
)"))
                               .dump();
  EXPECT_EQ(there, back);
}

TEST(ReportJson, SaysWhatTheTextSays) {
  const Json json = jsonOf(reportOn(R"(
switches: {leaf: {ports: ["e[1-4]"], groups: {po1: [e2, e1]}}}
hosts: {srv: {ports: eth0}}
links: [[leaf:e1, srv:eth0]]
requests:
  - {client: acme, hostname: srv, vlans: [10, 12]}
  - {client: acme, switch: leaf, port: e3, vlans: 5, native: 6, remote hosts: box}
  - {client: acme, switch: leaf, port: e4, native: 6}
  - {client: blue, switch: leaf, port: e4, native: 7}
)"));
  EXPECT_EQ(json, Json::parse(R"({
    "fabrion": 1,
    "switches": {"leaf": {
      "vlans": "5,10,12",
      "vteps": {},
      "groups": {"po1": {"allowedVlans": "10,12", "nativeVlan": null, "members": ["e1", "e2"]}},
      "ports": {
        "e1": {"allowedVlans": "", "nativeVlan": null, "group": "po1",
               "farEnds": [["srv", "eth0"]], "remoteHosts": []},
        "e2": {"allowedVlans": "", "nativeVlan": null, "group": "po1",
               "farEnds": [], "remoteHosts": []},
        "e3": {"allowedVlans": "5", "nativeVlan": 6, "group": null,
               "farEnds": [], "remoteHosts": ["box"]},
        "e4": {"allowedVlans": "", "nativeVlan": null, "group": null,
               "farEnds": [], "remoteHosts": []}}}},
    "conflicts": [{"kind": "nativeVlan", "switch": "leaf", "port": "e4", "vlans": [
      {"vlan": 6, "askedBy": [{"client": "acme", "port": "e4"}]},
      {"vlan": 7, "askedBy": [{"client": "blue", "port": "e4"}]}]}]
  })"));
}

TEST(ReportText, ColumnsStandByTheWidthOfCharacters) {
  Report report;
  report.switches.push_back({"Köln", {}, {}, "10"});
  report.switches[0].ports.push_back({"漢字1", {"10", {}, false}, "", {{"sërver", "eth0"}}, {}});
  report.switches[0].ports.push_back({"e1", {"", 7, false}, "", {}, {"ghöst"}});
  report.switches[0].ports.push_back({"ü", {}, "", {}, {}});
  EXPECT_EQ(textOf(report),
            "Switch Köln\n"
            "\n"
            "PORT   ALLOWED VLANS  NATIVE VLAN  MEMBER OF  FAR END\n"
            "漢字1  10             -            -          sërver:eth0\n"
            "e1     -              7            -          ghöst (remote host)\n"
            "\n"
            "VLANs: 10\n"
            "Unused ports: ü\n"
            "\n"
            "No conflicts.\n");
}

TEST(ReportText, ALongListIsNeitherCutNorWrapped) {
  Report report;
  std::string list;
  for (int vlan = 2; vlan < 4000; vlan += 2) list += (vlan == 2 ? "" : ",") + std::to_string(vlan);
  report.switches.push_back({"leaf", {{"e1", {list, {}, false}, "", {}, {}}}, {}, list});
  EXPECT_THAT(textOf(report), HasSubstr("\ne1    " + list + "  -"));
}

TEST(ReportText, ASwitchOfUnusedPortsHasNoTable) {
  Report report;
  report.switches.push_back({"spare", {{"e1", {}, "", {}, {}}, {"e2", {}, "", {}, {}}}, {}, ""});
  EXPECT_EQ(textOf(report), "Switch spare\n\nVLANs: none\nUnused ports: e1, e2\n\nNo conflicts.\n");
}

TEST(ReportText, AConflictNamesTheClientsAndThePortsThroughWhichTheyAsk) {
  Report report;
  report.conflicts.push_back(
      {"leaf", "e8", false, {{5, {{"acme", "e8"}, {"blue", "e8"}}}, {6, {}}}});
  report.conflicts.push_back({"leaf", "po1", true, {{5, {{"acme", "e1"}}}, {6, {{"acme", "e2"}}}}});
  EXPECT_EQ(
      textOf(report),
      "Conflict on switch leaf, port e8: 2 native VLANs are asked for, so the port has none.\n"
      "  VLAN 5: acme, blue\n"
      "  VLAN 6: nobody any more\n"
      "Conflict on switch leaf, port group po1: 2 native VLANs are asked for, so the port group "
      "has none.\n"
      "  VLAN 5: acme through e1\n"
      "  VLAN 6: acme through e2\n");
}

}  // namespace
}  // namespace Fabrion::Host

#endif
