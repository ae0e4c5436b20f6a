// Mistakes in switches, hosts and links and in a document as a whole, and the bounds of documents.

#include "host/FabricDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/Limits.h"
#include "tests/host/fabric_documents.h"

namespace Fabrion::Host {
namespace {

using Test::fabric;
using Test::ground;
using Test::problems;
using Test::problemsOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lines = Test::Problems;

// ---- The document as a whole

TEST(FabricDocument, EachDocumentSaysItsVersion) {
  EXPECT_THAT(problemsOf("hosts: {}\n"),
              ElementsAre("f:1:1: no version; expected 'fabrion: 1' at the start of the document"));
  EXPECT_THAT(problemsOf("fabrion: 2\nwhatever: 1\n"),
              ElementsAre("f:1:10: version '2' of the document; expected 'fabrion: 1'"));
  EXPECT_THAT(problemsOf("fabrion: '1'\n"), SizeIs(1));
  EXPECT_THAT(problemsOf("fabrion: [1]\n"),
              ElementsAre("f:1:10: version a list of the document; expected 'fabrion: 1'"));
  EXPECT_THAT(problemsOf("fabrion: 1\n---\nhosts: {}\n"),
              ElementsAre(StartsWith("f:3:1: no version")));
}

TEST(FabricDocument, AFileWithNothingInItIsAMistake) {
  const Lines expected{"f:1:1: nothing in it; expected a document that says 'fabrion: 1'"};
  EXPECT_EQ(problemsOf(""), expected);
  EXPECT_EQ(problemsOf("# later\n"), expected);
  EXPECT_THAT(problemsOf("just words"),
              ElementsAre(StartsWith("f:1:1: 'just words' as the document")));
  EXPECT_THAT(problemsOf("- a"), ElementsAre(StartsWith("f:1:1: a list as the document")));
  EXPECT_THAT(problemsOf("---\n---\n"), SizeIs(1));  // twice the same at one place
}

TEST(FabricDocument, WhatIsNoYamlIsToldWhereItEnds) {
  EXPECT_THAT(problems("hosts: {a: {}\n"), ElementsAre(StartsWith("f:3:1: not YAML: ")));
  EXPECT_THAT(problems("hosts:\n\ta: {}\n"),
              ElementsAre(AllOf(StartsWith("f:3:"), HasSubstr("indented with a tab"))));
  EXPECT_THAT(problems("hosts: *nowhere\n"), ElementsAre(StartsWith("f:2:8: not YAML: ")));
}

TEST(FabricDocument, ATextInWhichTheYamlLibraryWouldGoRoundForEverIsAMistake) {
  EXPECT_THAT(problemsOf(", a\n"), ElementsAre("f:1:1: not YAML: a document cannot start here"));
  EXPECT_THAT(problems("hosts: {}\n---\nfabrion: 1\n...\n, x\n"),
              ElementsAre("f:6:1: not YAML: a document cannot start here"));
}

TEST(FabricDocument, WhatStandsBeforeTheTextStopsBeingYamlIsReadAllTheSame) {
  EXPECT_THAT(
      problems("host: {}\n---\nfabrion: 1\nlinks: [\n"),
      ElementsAre(StartsWith("f:2:1: unknown key 'host'"), StartsWith("f:6:1: not YAML: ")));
}

TEST(FabricDocument, DocumentsOfOneFileEndInAnyOfTheirForms) {
  for (const char* text :
       {"---\nfabrion: 1\n", "fabrion: 1\n...\n", "---\nfabrion: 1\n...\n# end\n",
        "fabrion: 1\n...\n---\nfabrion: 1\n", "%YAML 1.2\n---\nfabrion: 1\n",
        "--- {fabrion: 1}\n--- {fabrion: 1}\n", "fabrion: 1\n...\n...\n"}) {
    EXPECT_THAT(problemsOf(text), IsEmpty()) << text;
  }
}

TEST(FabricDocument, BytesThatAreNoTextAreToldByTheirPlace) {
  EXPECT_THAT(problems("# \xc3\xa9\xff\n"), ElementsAre(StartsWith("f:2:4: not UTF-8")));
  EXPECT_THAT(problems(std::string("a: \0", 4)),
              ElementsAre(StartsWith("f:2:4: a control character, '\\x00'")));
  EXPECT_THAT(problems("# ok\n#\x04"),
              ElementsAre(StartsWith("f:3:2: a control character, '\\x04'")));
}

TEST(FabricDocument, DepthWithoutEndIsAMistakeAndNoCrash) {
  EXPECT_THAT(problemsOf(std::string(100000, '[')), SizeIs(1));
  EXPECT_THAT(problems("links: &a [*a]\n"), SizeIs(1));
}

TEST(FabricDocument, ColumnsCountCharacters) {
  EXPECT_THAT(problems("hosts: {'é€😀': {ports: 'e[1'}}\n"),
              ElementsAre(StartsWith("f:2:24: no range of ports: 'e[1'")));
}

TEST(FabricDocument, UnknownKeysAreToldWithTheOnesThatAreKnown) {
  EXPECT_THAT(
      problems("switchs: {}\nfoo: 1\n? [a]\n: 1\n"),
      ElementsAre(
          "f:2:1: unknown key 'switchs' in the document; did you mean 'switches'?",
          "f:3:1: unknown key 'foo' in the document; expected one of: fabrion, switches, hosts, "
          "links, requests, static maps",
          StartsWith("f:4:3: unknown key a list in the document")));
  EXPECT_THAT(problems("hosts: {a: {port: eth0}}\n"),
              ElementsAre("f:2:13: unknown key 'port' in host 'a'; did you mean 'ports'?"));
  EXPECT_THAT(problems("requests: [{clent: a, hostname: h, vlans: 1}]\n"),
              ElementsAre("f:2:13: unknown key 'clent' in a request; did you mean 'client'?"));
}

TEST(FabricDocument, AKeyThatStandsTwiceIsAMistakeEverywhere) {
  EXPECT_THAT(problems("hosts: {}\nhosts: {}\n"),
              ElementsAre("f:3:1: the key 'hosts' stands twice in the document, first at f:2:1"));
  EXPECT_THAT(problems("fabrion: 1\n"), SizeIs(1));
  EXPECT_THAT(problems("hosts: {a: {ports: e1, ports: e2}}\n"),
              ElementsAre("f:2:24: the key 'ports' stands twice in host 'a', first at f:2:13"));
  EXPECT_THAT(problems("requests: [{client: a, client: b, hostname: h, vlans: 1}]\n"), SizeIs(1));
  EXPECT_THAT(problems("hosts: {a: {}, a: {}}\n"),
              ElementsAre("f:2:16: host 'a' is declared twice; the first stands at f:2:9"));
  EXPECT_THAT(
      problems("hosts: {a: {ports: [e1, e2], groups: {g: e1, g: e2}}}\n"),
      ElementsAre("f:2:46: port group 'g' of host 'a' is declared twice; the first stands at "
                  "f:2:39"));
}

TEST(FabricDocument, AValueOfAnotherShapeIsToldAtItsPlace) {
  EXPECT_THAT(problems("switches: [a]\nhosts: x\nlinks: {}\nrequests:\n"),
              ElementsAre("f:2:11: a list as the switches; expected a map with the names as keys",
                          "f:3:8: 'x' as the hosts; expected a map with the names as keys",
                          "f:4:8: a map as the links; expected a list",
                          "f:5:1: nothing as the requests; expected a list"));
  EXPECT_THAT(
      problems(
          "hosts:\n  a: eth0\n  b: {hostname: [b]}\n  c: {groups: [g]}\n  d: {ports: {}}\n  e: "
          "{ports: [[e1]]}\n  f: {hostname: }\n  ? [g]\n  : {}\n"),
      ElementsAre(
          "f:3:6: 'eth0' as host 'a'; expected a map",
          "f:4:17: a list as the hostname of host 'b'; expected one text",
          "f:5:15: a list as the port groups of host 'c'; expected a map with the names as keys",
          "f:6:14: a map as the ports of host 'd'; expected one or a list of them",
          "f:7:15: a list as the ports of host 'e'; expected one text",
          "f:8:7: nothing as the hostname of host 'f'; expected one text",
          "f:9:5: a list as a name in the hosts; expected one text"));
}

TEST(FabricDocument, AListWithNothingInItIsAMistakeWhereSomethingIsNeeded) {
  EXPECT_THAT(
      problems("switches: {a: {ports: []}}\n"),
      ElementsAre("f:2:23: an empty list as the ports of switch 'a'; expected one or a list of "
                  "them"));
  EXPECT_THAT(problems("hosts: {a: {ports: e1, groups: {g: []}}}\n"), SizeIs(1));
  EXPECT_THAT(problems("requests: [{client: a, hostname: h, vlans: []}]\n"), SizeIs(1));
  EXPECT_THAT(
      problems(ground +
               "requests: [{client: a, switch: leaf1, port: e1, vlans: 1, remote hosts: []}]"),
      SizeIs(1));
  EXPECT_THAT(
      problems("hosts: {a: {ports: [e1, ]}}\nrequests: [{client: a1, hostname: h, vlans: [1, ~]}]"),
      ElementsAre("f:3:45: nothing as VLANs; expected one text"));
}

TEST(FabricDocument, ASwitchNeedsPorts) {
  EXPECT_THAT(problems("switches:\n  a: {}\n  b:\n"),
              ElementsAre("f:3:3: switch 'a' has no ports; expected the key 'ports'",
                          "f:4:3: nothing as switch 'b'; expected a map"));
}

TEST(FabricDocument, ANameIsTextWithoutControlCharacters) {
  EXPECT_THAT(
      problems("hosts: {'': {}, \"a\\tb\": {}, \"c\\x85\": {}, " + std::string(256, 'x') +
               ": {}}\n"),
      ElementsAre(
          "f:2:9: an empty name, as a name in the hosts",
          "f:2:17: the name 'a\\x09b' has a control character in it, as a name in the hosts",
          "f:2:29: the name 'c\\x85' has a control character in it, as a name in the hosts",
          "f:2:42: the name '" + std::string(60, 'x') +
              "...' is longer than 255 characters, as a name in the hosts"));
  std::string longest;
  for (int i = 0; i < 255; ++i) longest += "é";
  EXPECT_EQ(fabric("hosts: {" + longest + ": {}}").hosts[0].name, longest);
}

// ---- Ports and groups

TEST(FabricDocument, PortsThatAreListedTwiceAreOneMistakeForEachEntry) {
  EXPECT_THAT(
      problems("hosts: {a: {ports: [e1, 'e[3-6]', e1, 'e[5-9]']}}\n"),
      ElementsAre("f:2:35: port 'e1' of host 'a' is listed twice; the first stands at f:2:21",
                  "f:2:39: port 'e5' of host 'a' is listed twice; the first stands at f:2:25"));
}

TEST(FabricDocument, MembersOfAGroupAreListedPortsAndInOneGroup) {
  EXPECT_THAT(
      problems("hosts: {a: {ports: ['e[1-4]'], groups: {g: [e1, e1, e5], h: ['e[1-3]', x]}}}\n"),
      ElementsAre(
          "f:2:49: port 'e1' stands twice in port group 'g' of host 'a'",
          "f:2:53: port 'e5' in port group 'g' of host 'a' is not listed in 'ports'; did you mean "
          "'e1', 'e2' or 'e3'?",
          "f:2:62: port 'e1' in port group 'h' of host 'a' is in port group 'g' already; expected "
          "a port in one group",
          "f:2:72: port 'x' in port group 'h' of host 'a' is not listed in 'ports'"));
}

TEST(FabricDocument, AGroupIsNotNamedLikeAPort) {
  EXPECT_THAT(
      problems("hosts: {a: {ports: [e1, e2], groups: {e2: e1}}}\n"),
      ElementsAre("f:2:39: port group 'e2' of host 'a' is named like a port, at f:2:25; expected "
                  "another name, since both stand in one collection of interfaces"));
}

TEST(FabricDocument, ASwitchAndAHostHaveDifferentNames) {
  EXPECT_THAT(
      problems("hosts: {a: {}}\nswitches: {a: {ports: e1}}\n"),
      ElementsAre("f:3:12: switch 'a' is named like a host, at f:2:9; expected another name, since "
                  "the model tells its elements apart by name alone"));
}

TEST(FabricDocument, TheHostnameOfASwitchIsNoneOfItsPorts) {
  EXPECT_THAT(
      problems("switches: {a: {hostname: e1, ports: e1}}\n"),
      ElementsAre(StartsWith("f:2:26: switch 'a' has the hostname 'e1' and a port of that name")));
  EXPECT_THAT(problems("hosts: {a: {hostname: e1, ports: e1}}\n"), IsEmpty());
}

TEST(FabricDocument, AMistakeIsNotToldAgainWhereItsNamesAreUsed) {
  // The ports of leaf1, and whether leaf2 exists, cannot be known.
  EXPECT_THAT(problems("switches: {leaf1: {ports: ['e[8-1]']}}\n"
                       "requests: [{client: a, switch: leaf1, port: e1, vlans: 1}]\n"),
              SizeIs(1));
  EXPECT_THAT(problems("switchs: {leaf2: {ports: e1}}\n"
                       "requests: [{client: a, switch: leaf2, port: e1, vlans: 1}]\n"),
              SizeIs(1));
  EXPECT_THAT(problems("switches: {leaf1: {port: e1, groups: {g: e1}}}\n"), SizeIs(1));
}

// ---- Links

TEST(FabricDocument, TheEndsOfALinkAreDeclared) {
  EXPECT_THAT(
      problems(ground + "links:\n"
                        "  - [leaf1:e9, srv1:eth2]\n"
                        "  - [leaf3:e1, nobody:e1]\n"
                        "  - [leaf1:po1, srv2:eth0]\n"),
      ElementsAre("f:13:6: switch 'leaf1' has no port 'e9'; did you mean 'e1', 'e2' or 'e3'?",
                  "f:13:16: host 'srv1' has no port 'eth2'; did you mean 'eth0' or 'eth1'?",
                  "f:14:6: no switch or host 'leaf3' is declared; did you mean 'leaf1' or 'leaf2'?",
                  "f:14:16: no switch or host 'nobody' is declared",
                  "f:15:6: 'po1' is a port group of switch 'leaf1'; expected one of its ports"));
}

TEST(FabricDocument, ALinkHasTwoEndsOfTheRightForm) {
  EXPECT_THAT(problems(ground + "links:\n"
                                "  - [leaf1:e1]\n"
                                "  - leaf1:e1\n"
                                "  - {from: leaf1:e1}\n"
                                "  - {from: leaf1:e1, till: srv1:eth0}\n"
                                "  - [leaf1, srv1:eth0]\n"
                                "  - [':e1', 'leaf1:']\n"
                                "  - ['leaf1:e[1-2]', {}]\n"
                                "  - [[leaf1, e1, e2], [srv1, eth7]]\n"
                                "  -\n"),
              ElementsAre(StartsWith("f:13:3: nothing as a link; expected its two ends"),
                          "f:13:5: a list of 1 as a link; expected its two ends, as in [leaf1:e1, "
                          "srv1:eth0]",
                          StartsWith("f:14:5: 'leaf1:e1' as a link"),
                          "f:15:5: a link with one end; expected both 'from' and 'to'",
                          StartsWith("f:16:22: unknown key 'till' in a link"),
                          "f:17:6: 'leaf1' as an end of a link; expected NODE:PORT or [NODE, PORT]",
                          "f:18:6: an empty name, in the end of a link ':e1'",
                          "f:18:13: an empty name, in the end of a link 'leaf1:'",
                          StartsWith("f:19:6: no name of a port: 'e[1-2]'; expected one port"),
                          StartsWith("f:19:22: a map as an end of a link"),
                          StartsWith("f:20:6: a list as an end of a link"),
                          StartsWith("f:20:30: host 'srv1' has no port 'eth7'")));
}

TEST(FabricDocument, ALinkStandsOnceInEitherDirection) {
  EXPECT_THAT(
      problems(ground + "links:\n"
                        "  - [leaf1:e1, srv1:eth0]\n"
                        "  - [srv1:eth0, leaf1:e1]\n"
                        "  - [leaf1:e2, leaf1:e2]\n"),
      ElementsAre("f:14:5: a link that stands already, at f:13:5; expected each link once, since "
                  "it stands for both directions",
                  "f:15:5: a link from port 'e2' of 'leaf1' to itself; expected two ports"));
}

// ---- Bounds

TEST(FabricDocument, ARangeOfMillionsIsRefusedBeforeItIsMade) {
  EXPECT_THAT(
      problems("hosts: {a: {ports: 'e[1-100000000]'}, b: {ports: 'e[1-64]/[1-64]/[0-1]'}}\n"),
      ElementsAre("f:2:20: 'e[1-100000000]' stands for more than 4096 ports, the most that a range "
                  "may",
                  StartsWith("f:2:50: 'e[1-64]/[1-64]/[0-1]' stands for more than 4096")));
  EXPECT_THAT(fabric("hosts: {a: {ports: 'e[1-64]/[1-64]'}}").hosts[0].ports, SizeIs(4096));
}

TEST(FabricDocument, ANodeHasAtMost4096Ports) {
  EXPECT_THAT(problems("hosts: {a: {ports: ['e[1-4096]', x1, x2]}}\n"),
              ElementsAre("f:2:34: more than 4096 ports in the ports of host 'a'"));
}

TEST(FabricDocument, AListHasAtMost4096Entries) {
  std::string list = "[1";
  for (int i = 1; i < 4096; ++i) list += ",1";
  EXPECT_THAT(problems("requests: [{client: a, hostname: h, vlans: " + list + "]}]"), IsEmpty());
  EXPECT_THAT(problems("requests: [{client: a, hostname: h, vlans: " + list + ",1]}]"),
              ElementsAre(HasSubstr("a list of 4097 entries as the VLANs; at most 4096")));
}

TEST(FabricDocument, AllNamesTogetherAreBounded) {
  std::string text = "hosts:\n";
  for (int i = 0; i < 258; ++i) text += "  h" + std::to_string(i) + ": {ports: 'e[1-4096]'}\n";
  EXPECT_THAT(problems(text),
              ElementsAre("f:259:17: more than 1048576 names in all documents together"));
}

TEST(FabricDocument, AllVlansTogetherAreBounded) {
  std::string text = "requests:\n  - {client: c, hostname: h, vlans: &all 1-4094}\n";
  for (int i = 0; i < 4100; ++i) {
    text += "  - {client: c" + std::to_string(i) + ", hostname: h, vlans: *all}\n";
  }
  EXPECT_THAT(problems(text), ElementsAre(HasSubstr("more than 16777216 VLANs")));
}

TEST(FabricDocument, AFileIsBounded) {
  const std::string text = "fabrion: 1\n#" + std::string(Limits::fileBytes, 'x');
  EXPECT_THAT(problemsOf(text), ElementsAre(StartsWith("f: longer than 8388608 bytes")));
}

TEST(FabricDocument, TheValuesOfAFileAreBounded) {
  std::string text = "links: [";
  for (std::size_t i = 0; i < Limits::values; ++i) text += "a,";
  EXPECT_THAT(problems(text + "]"),
              ElementsAre(AllOf(StartsWith("f:2:"), HasSubstr("more than 1048576 values"))));
}

TEST(FabricDocument, ProblemsAreBoundedAndTheRestIsMentioned) {
  std::string text = "links:\n";
  for (int i = 0; i < 10010; ++i) text += "  - x\n";
  const Lines found = problems(text);
  ASSERT_THAT(found, SizeIs(10001));
  EXPECT_EQ(found.back(), "f: more than 10000 mistakes; the rest is not shown");
}

TEST(FabricDocument, AMistakeBehindAnAliasIsToldOnce) {
  EXPECT_THAT(problems("requests:\n"
                       "  - {client: a, hostname: h1, vlans: &v [0, 10]}\n"
                       "  - {client: a, hostname: h2, vlans: *v}\n"),
              ElementsAre(StartsWith("f:3:42: no VLANs: '0'")));
}

}  // namespace
}  // namespace Fabrion::Host
