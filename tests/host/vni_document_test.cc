// What documents say of VTEPs, VNIs, client domains and static maps, and where each of it stands.
// fabric_document_test.cc tests the rest of the document.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "host/FabricDocument.h"

namespace Fabrion::Host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lines = std::vector<std::string>;

FabricOrProblems read(const std::string& text) {
  return parseFabric({{"f", "fabrion: 1\n" + text}});
}

Lines problems(const std::string& text) {
  Lines lines;
  const FabricOrProblems found = read(text);
  if (const auto* problems = std::get_if<std::vector<Problem>>(&found)) {
    for (const Problem& problem : *problems) lines.push_back(toString(problem));
  }
  return lines;
}

Lines warnings(const std::string& text) {
  Lines lines;
  const FabricOrProblems found = read(text);
  EXPECT_TRUE(std::holds_alternative<Fabric>(found)) << testing::PrintToString(problems(text));
  for (const Problem& warning : found.warnings) lines.push_back(toString(warning));
  return lines;
}

Fabric fabric(const std::string& text) {
  const FabricOrProblems found = read(text);
  EXPECT_THAT(problems(text), IsEmpty());
  const auto* fabric = std::get_if<Fabric>(&found);
  return fabric == nullptr ? Fabric{} : *fabric;
}

// A request for a hostname with some VLANs, as line 3 of the document.
std::string request(const std::string& rest, const std::string& vlans = "100-109") {
  return "requests:\n  - {client: acme, hostname: h, vlans: [" + vlans + "], " + rest + "}\n";
}

// ---- What a document says

TEST(VniDocument, ASwitchHasItsVtepsInTheOrderWritten) {
  const Fabric read = fabric(
      "switches:\n"
      "  leaf1: {ports: e1, vteps: [vtep2, vtep1]}\n"
      "  leaf2: {ports: e1, vteps: vtep1}\n");
  const std::vector<Vtep> expected{{"vtep2"}, {"vtep1"}};
  EXPECT_EQ(read.switches[0].vteps, expected);
  EXPECT_EQ(read.switches[1].vteps, std::vector<Vtep>{{"vtep1"}});
}

TEST(VniDocument, VlansAreMappedOneByOneByRangeAndToSeveralVnis) {
  const Fabric read =
      fabric(request("vnis: {106: [8, 7], 101-103: 20101-20103, 100: 10100, 104-105: [1-2, 5-6]}"));
  const std::vector<VlanVni> expected{{100, 10100}, {101, 20101}, {102, 20102}, {103, 20103},
                                      {104, 1},     {104, 5},     {105, 2},     {105, 6},
                                      {106, 7},     {106, 8}};
  EXPECT_EQ(read.hostnameRequests.at(0).vnis, expected);
}

TEST(VniDocument, ARequestOnAPortHasVnisAndDomainsAsWell) {
  const Fabric read = fabric(
      "switches: {leaf1: {ports: e1}}\n"
      "requests: [{client: a, switch: leaf1, port: e1, vnis: {7: 70}, domains: d, vlans: 7}]\n");
  EXPECT_EQ(read.portRequests.at(0).vnis, (std::vector<VlanVni>{{7, 70}}));
  EXPECT_EQ(read.portRequests.at(0).domains, (std::vector<VlanDomain>{{7, {"d", ""}}}));
}

TEST(VniDocument, DomainsAreThoseOfAllVlansOfTheRequest) {
  const Fabric read = fabric(request("domains: [b/c, a, [x/y, z], [v/w, '']]", "1,3"));
  const std::vector<VlanDomain> expected{{1, {"a", ""}},    {1, {"b", "c"}},  {1, {"v/w", ""}},
                                         {1, {"x/y", "z"}}, {3, {"a", ""}},   {3, {"b", "c"}},
                                         {3, {"v/w", ""}},  {3, {"x/y", "z"}}};
  EXPECT_EQ(read.hostnameRequests.at(0).domains, expected);
}

TEST(VniDocument, DomainsMayBeMappedByVlan) {
  const Fabric read = fabric(request("domains: {'1-2,4': a/b/c, 2: [d, e]}", "1-4"));
  const std::vector<VlanDomain> expected{
      {1, {"a", "b/c"}}, {2, {"a", "b/c"}}, {2, {"d", ""}}, {2, {"e", ""}}, {4, {"a", "b/c"}}};
  EXPECT_EQ(read.hostnameRequests.at(0).domains, expected);
}

TEST(VniDocument, StaticMapsAndTheirRangesAreSorted) {
  const Fabric read = fabric(
      "static maps:\n"
      "  b: {7: 16777215}\n"
      "  a/z: {200-299: 5-200, 100: 1}\n"
      "  ? [a/b, c]\n"
      "  : {1-2: 3-4}\n");
  const std::vector<StaticMap> expected{
      {{"a", "z"}, {{{100, 100}, {1, 1}}, {{200, 299}, {5, 200}}}},
      {{"a/b", "c"}, {{{1, 2}, {3, 4}}}},
      {{"b", ""}, {{{7, 7}, {16777215, 16777215}}}}};
  EXPECT_EQ(read.staticMaps, expected);
}

TEST(VniDocument, MapsWithNothingInThemAreNoMistake) {
  const Fabric read = fabric("static maps: {a: {}}\n" + request("vnis: {}, domains: {}"));
  EXPECT_THAT(read.hostnameRequests.at(0).vnis, IsEmpty());
  EXPECT_THAT(read.hostnameRequests.at(0).domains, IsEmpty());
  EXPECT_THAT(read.staticMaps.at(0).ranges, IsEmpty());
}

// ---- Origins

TEST(VniDocument, EachValueKnowsWhereItStands) {
  const auto found = parseFabric({{"topology.yaml",
                                   "fabrion: 1\n"
                                   "switches:\n"
                                   "  leaf1:\n"
                                   "    ports: [e1, e2]\n"
                                   "    groups:\n"
                                   "      po1: [e1]\n"
                                   "    vteps:\n"
                                   "      - vtep1\n"
                                   "hosts:\n"
                                   "  srv1: {ports: eth0}\n"
                                   "links:\n"
                                   "  - [leaf1:e2, srv1:eth0]\n"},
                                  {"acme.yaml",
                                   "fabrion: 1\n"
                                   "requests:\n"
                                   "  - client: acme\n"
                                   "    switch: leaf1\n"
                                   "    port: e1\n"
                                   "    vlans:\n"
                                   "      - 100-109\n"
                                   "      - 105-119\n"
                                   "    native:\n"
                                   "      100\n"
                                   "    vnis:\n"
                                   "      100: 7\n"
                                   "      101:\n"
                                   "        - 8\n"
                                   "    domains:\n"
                                   "      - a/b\n"
                                   "static maps:\n"
                                   "  a/b:\n"
                                   "    1: 1\n"}});
  const auto* fabric = std::get_if<Fabric>(&found);
  ASSERT_NE(fabric, nullptr);
  const Node& leaf = fabric->switches.at(0);
  EXPECT_EQ(toString(leaf.origin), "topology.yaml:3");
  EXPECT_EQ(toString(leaf.groups.at(0).origin), "topology.yaml:6");
  EXPECT_EQ(toString(leaf.vteps.at(0).origin), "topology.yaml:8");
  EXPECT_EQ(toString(fabric->hosts.at(0).origin), "topology.yaml:10");
  EXPECT_EQ(toString(fabric->links.at(0).origin), "topology.yaml:12");
  const PortRequest& request = fabric->portRequests.at(0);
  EXPECT_EQ(toString(request.origin), "acme.yaml:3");
  EXPECT_EQ(toString(request.nativeOrigin), "acme.yaml:10");
  const auto linesOf = [&](U32 vlan) {
    std::vector<std::string> lines;
    for (const Origin& origin : request.vlanOrigins.of(vlan)) lines.push_back(toString(origin));
    return lines;
  };
  EXPECT_THAT(linesOf(99), IsEmpty());
  EXPECT_THAT(linesOf(100), ElementsAre("acme.yaml:7"));
  EXPECT_THAT(linesOf(104), ElementsAre("acme.yaml:7"));
  EXPECT_THAT(linesOf(105), ElementsAre("acme.yaml:7", "acme.yaml:8"));
  EXPECT_THAT(linesOf(109), ElementsAre("acme.yaml:7", "acme.yaml:8"));
  EXPECT_THAT(linesOf(110), ElementsAre("acme.yaml:8"));
  EXPECT_THAT(linesOf(119), ElementsAre("acme.yaml:8"));
  EXPECT_THAT(linesOf(120), IsEmpty());
  EXPECT_EQ(toString(request.vnis.at(0).origin), "acme.yaml:12");
  EXPECT_EQ(toString(request.vnis.at(1).origin), "acme.yaml:14");
  EXPECT_EQ(toString(request.domains.at(0).origin), "acme.yaml:16");
  EXPECT_EQ(toString(fabric->staticMaps.at(0).origin), "acme.yaml:18");
  EXPECT_EQ(toString(fabric->staticMaps.at(0).ranges.at(0).origin), "acme.yaml:19");
}

TEST(VniDocument, WhereAValueStandsMakesNoDifference) {
  const std::string maps = "static maps: {a: {1: 1}}\n";
  const std::string text = request("vnis: {100: 7}, domains: a");
  EXPECT_EQ(fabric(maps + text), fabric(text + "#\n#\n" + maps));
  EXPECT_NE(fabric(maps + text), fabric(maps + request("vnis: {100: 8}, domains: a")));
}

// ---- Mistakes

TEST(VniDocument, VtepsStandAtSwitchesAndOnce) {
  EXPECT_THAT(
      problems("switches: {s: {ports: e1, vteps: [v, w, v]}, t: {ports: e1, vteps: []}}\n"
               "hosts: {h: {vteps: v}}\n"),
      ElementsAre(
          "f:2:41: VTEP 'v' of switch 's' is listed twice; the first stands at f:2:35",
          "f:2:68: an empty list as the VTEPs of switch 't'; expected one or a list of them",
          "f:3:13: 'vteps' in host 'h'; expected it in a switch alone"));
}

TEST(VniDocument, VnisAreAMapFromVlans) {
  EXPECT_THAT(
      problems(request("vnis: 7")),
      ElementsAre("f:3:57: '7' as the VNIs of a request; expected a map from VLANs to VNIs, "
                  "as in {100-109: 10100-10109}"));
  EXPECT_THAT(
      problems(request("vnis: {ten: 7, 100: , 101: [], 102: {}, 103: 0, 104: [1, 16777216]}")),
      ElementsAre(
          "f:3:58: no VLAN or range of VLANs: 'ten'; expected numbers from 1 to 4094, as in 10 or "
          "20-29",
          "f:3:66: nothing as the VNIs of VLAN 100; expected one or a list of them",
          "f:3:78: an empty list as the VNIs of VLAN 101; expected one or a list of them",
          "f:3:87: a map as the VNIs of VLAN 102; expected one or a list of them",
          "f:3:96: no VNI or range of VNIs: '0'; expected numbers from 1 to 16777215, as in 10100 "
          "or 10100-10199",
          StartsWith("f:3:108: no VNI or range of VNIs: '16777216'")));
}

TEST(VniDocument, ARangeOfVnisIsAsLongAsItsVlans) {
  EXPECT_THAT(problems(request("vnis: {100-104: 7-10, 105: 7-8, 106-107: 9}")),
              ElementsAre("f:3:67: 4 VNIs, 7-10, for 5 VLANs, 100-104; expected as many VNIs as "
                          "VLANs, or a list where one VLAN is asked several VNIs",
                          StartsWith("f:3:78: 2 VNIs, 7-8, for 1 VLAN, 105;"),
                          StartsWith("f:3:92: 1 VNI, 9, for 2 VLANs, 106-107;")));
}

TEST(VniDocument, VnisAreForVlansOfTheRequest) {
  EXPECT_THAT(problems(request("vnis: {99: 7, 108-111: 1-4, 104: 1}", "100-105, 107-110")),
              ElementsAre("f:3:67: VNIs for VLAN 99, which the request does not ask for; expected "
                          "VLANs that stand in its 'vlans'",
                          StartsWith("f:3:74: VNIs for VLAN 111, which")));
  EXPECT_THAT(problems(request("vnis: {104-108: 1-5}", "100-105, 107-110")),
              ElementsAre(StartsWith("f:3:67: VNIs for VLAN 106, which")));
  // The VLANs in two pieces that touch are whole.
  EXPECT_THAT(problems(request("vnis: {104-108: 1-5}", "106-110, 100-105")), IsEmpty());
}

TEST(VniDocument, WhatCouldNotBeReadIsNotMissed) {
  EXPECT_THAT(problems(request("vnis: {99: 7}, domains: {98: a}", "100, 4095")),
              ElementsAre(StartsWith("f:3:46: no VLANs: '4095'")));
  EXPECT_THAT(problems("requests: [{client: a, hostname: h, vlan: 7, vnis: {7: 7}}]\n"),
              ElementsAre(StartsWith("f:2:37: unknown key 'vlan'")));
}

TEST(VniDocument, AVlanHasItsVnisInOneListAndEachOnce) {
  EXPECT_THAT(
      problems(request("vnis: {100: [7, 8, 7], 101-104: [11-14, 11-14], 103: 5}")),
      ElementsAre("f:3:70: VNI 7 stands twice for VLAN 100",
                  "f:3:91: VNI 11-14 stands twice for VLAN 101-104",
                  "f:3:99: VLAN 103 has its VNIs already, at f:3:74; expected all VNIs of a "
                  "VLAN in one list, as in 100: [7, 8]"));
  EXPECT_THAT(problems(request("vnis: {100: 7, 100: 8}")),
              ElementsAre(StartsWith("f:3:66: VLAN 100 has its VNIs already, at f:3:58;")));
}

TEST(VniDocument, VnisAndDomainsNeedVlans) {
  EXPECT_THAT(
      problems(
          "switches: {s: {ports: e1}}\n"
          "requests: [{client: a, switch: s, port: e1, native: 1, vnis: {1: 1}, domains: d}]\n"),
      ElementsAre("f:3:56: 'vnis' in a request without VLANs; expected the key 'vlans' beside it",
                  "f:3:70: 'domains' in a request without VLANs; expected the key 'vlans' beside "
                  "it"));
}

TEST(VniDocument, ADomainHasOneOrTwoFields) {
  EXPECT_THAT(
      problems(request("domains: [a/, /b, [c], [d, e, f], [g, [h]], ['', i], {j: k}]")),
      ElementsAre(
          "f:3:61: no domain: 'a/', an empty name in it; expected FIRST or FIRST/SECOND",
          StartsWith("f:3:65: no domain: '/b'"),
          "f:3:69: a list of 1 as a domain; expected FIRST, FIRST/SECOND or [FIRST, SECOND]",
          StartsWith("f:3:74: a list of 3 as a domain"),
          StartsWith("f:3:89: a list as the second field of a domain"),
          StartsWith("f:3:96: an empty name, as the first field of a domain"),
          StartsWith("f:3:104: a map as a domain")));
  EXPECT_THAT(problems(request("domains: []")),
              ElementsAre("f:3:60: an empty list as the domains; expected one or a list of them"));
}

TEST(VniDocument, DomainsAreOnVlansOfTheRequestAndOnce) {
  EXPECT_THAT(problems(request("domains: {'99-101': a, ten: b}")),
              ElementsAre("f:3:61: a domain for VLAN 99, which the request does not ask for; "
                          "expected VLANs that stand in its 'vlans'",
                          StartsWith("f:3:74: no VLANs: 'ten'")));
  EXPECT_THAT(problems(request("domains: [a/b, c, [a, b]]")),
              ElementsAre("f:3:69: domain 'a/b' stands twice for VLAN 100, first at f:3:61"));
  EXPECT_THAT(problems(request("domains: {100-105: a, 104: [b, a]}")),
              ElementsAre("f:3:82: domain 'a' stands twice for VLAN 104, first at f:3:70"));
}

TEST(VniDocument, AStaticMapHasAVniForEachVlan) {
  EXPECT_THAT(problems("static maps: {a: {100-199: 1-99, 200-201: 5, x: 1, 1: y, 1-2: [3]}}\n"),
              ElementsAre("f:2:28: 99 VNIs, 1-99, for 100 VLANs, 100-199; expected a VNI for each "
                          "VLAN, as in 100-199: 1-100",
                          StartsWith("f:2:43: 1 VNI, 5, for 2 VLANs, 200-201;"),
                          StartsWith("f:2:46: no VLAN or range of VLANs: 'x'"),
                          StartsWith("f:2:55: no VNI or range of VNIs: 'y'"),
                          "f:2:63: a list as VNIs; expected one text"));
}

TEST(VniDocument, StaticMapsAreMapsOfMaps) {
  EXPECT_THAT(
      problems("static maps: 7\n"),
      ElementsAre("f:2:14: '7' as the static maps; expected a map with the domains as keys"));
  EXPECT_THAT(
      problems("static maps: {a: 7, b/: {1: 1}, c: }\n"),
      ElementsAre("f:2:18: '7' as the static map of domain 'a'; expected a map from VLANs to "
                  "VNIs, as in {100-199: 10100-10199}",
                  StartsWith("f:2:21: no domain: 'b/'"),
                  StartsWith("f:2:33: nothing as the static map of domain 'c'")));
}

TEST(VniDocument, RangesOfADomainHaveNoVlanInCommonAndItHasOneMap) {
  EXPECT_THAT(
      problems("static maps:\n"
               "  a: {100-199: 1-100, 10: 5, 150-159: 1-10, 10: 6}\n"
               "  b: {100-199: 1-100}\n"
               "---\n"
               "fabrion: 1\n"
               "static maps: {a: {7: 7}}\n"),
      ElementsAre("f:3:30: VLAN 150 of domain 'a' is mapped already, at f:3:7; expected ranges "
                  "without a VLAN in common",
                  StartsWith("f:3:45: VLAN 10 of domain 'a' is mapped already, at f:3:23;"),
                  "f:7:15: domain 'a' has a static map already, at f:3:3; expected all its ranges "
                  "in one map"));
}

TEST(VniDocument, VnisAndDomainsTogetherAreBounded) {
  std::string text = "requests:\n";
  for (int i = 0; i < 600; ++i) {
    text += "  - {client: c" + std::to_string(i) + ", hostname: h, vlans: 1-4000, ";
    text += i == 0 ? "vnis: &vnis {1-4000: 1-4000}, domains: &domains [a]}\n"
                   : "vnis: *vnis, domains: *domains}\n";
  }
  EXPECT_THAT(problems(text),
              testing::UnorderedElementsAre(
                  HasSubstr("more than 2097152 VNIs in all documents together"),
                  HasSubstr("more than 2097152 domains in all documents together")));
}

// ---- Warnings

const std::string ground =
    "switches: {s: {ports: 'e[1-4]'}}\n"
    "hosts: {srv1: {hostname: compute1}}\n"
    "requests:\n";

TEST(VniDocument, ADomainNamedLikeAClientWithVnisOnThatPortAndVlanIsWarnedOf) {
  EXPECT_THAT(
      warnings(ground +
               "  - {client: acme, switch: s, port: e1, vlans: 10-12, vnis: {11-12: 7-8}}\n"
               "  - {client: blue, switch: s, port: e1, vlans: 12-14, domains: acme/prod}\n"),
      ElementsAre(
          "f:6:64: warning: domain 'acme/prod' on VLAN 12 is named like client 'acme', "
          "which has VNIs on that VLAN at f:5:62; the model keeps the VNIs of both alive by "
          "that one name, so that the one that goes takes those of the other with it"));
}

TEST(VniDocument, ADomainAndAClientThatDoNotMeetAreNotWarnedOf) {
  EXPECT_THAT(
      warnings(ground +
               "  - {client: acme, switch: s, port: e1, vlans: 10-12, vnis: {10: 7}}\n"
               // Another port, another VLAN, another name, and a VLAN without VNIs.
               "  - {client: blue, switch: s, port: e2, vlans: 10, domains: acme}\n"
               "  - {client: cyan, switch: s, port: e1, vlans: 11, domains: acme}\n"
               "  - {client: lime, switch: s, port: e1, vlans: 10, domains: [acme2, x/acme]}\n"
               // A client has its name in the merged request of the hostname alone.
               "  - {client: teal, hostname: compute1, vlans: 10, vnis: {10: 7}, domains: teal}\n"),
      IsEmpty());
}

TEST(VniDocument, ADomainForAHostnameMayMeetAClientOnAnyPort) {
  EXPECT_THAT(
      warnings(ground + "  - {client: acme, switch: s, port: e1, vlans: 10, vnis: {10: 7}}\n"
                        "  - {client: blue, hostname: compute1, vlans: 10, domains: acme}\n"),
      ElementsAre(HasSubstr("f:6:60: warning: domain 'acme' on VLAN 10 is named like client")));
}

TEST(VniDocument, ADomainNamedLikeAHostWithVnisIsWarnedOf) {
  EXPECT_THAT(
      warnings(
          ground +
          "  - {client: acme, hostname: compute1, vlans: 10, vnis: {10: 7}}\n"
          "  - {client: acme, hostname: far, vlans: 10, vnis: {10: 7}}\n"
          "  - {client: blue, switch: s, port: e1, vlans: 10, domains: [srv1/a, far, compute1],"
          " remote hosts: far}\n"),
      ElementsAre(
          HasSubstr("f:7:62: warning: domain 'srv1/a' on VLAN 10 is named like host 'srv1', "
                    "which has VNIs on that VLAN at f:5:58;"),
          HasSubstr("f:7:70: warning: domain 'far' on VLAN 10 is named like host 'far'")));
}

TEST(VniDocument, MistakesLeaveNoRoomForWarnings) {
  const auto found =
      read(ground +
           "  - {client: acme, switch: s, port: e1, vlans: 10, vnis: {10: 7}, domains: acme}\n"
           "  - {client: acme, switch: s, port: e9, vlans: 10}\n");
  EXPECT_THAT(std::get<std::vector<Problem>>(found), SizeIs(1));
  EXPECT_THAT(found.warnings, IsEmpty());
}

}  // namespace
}  // namespace Fabrion::Host
