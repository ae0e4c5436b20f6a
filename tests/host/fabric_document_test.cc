// Whole documents in, a fabric or problems out. The small texts inside them, ranges and VLAN lists,
// have tests of their own in fabric_text_test.cc, the schema in fabric_document_schema_test.cc.

#include "host/FabricDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string>
#include <variant>
#include <vector>

#include "host/Limits.h"

namespace Fabrion::Host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lines = std::vector<std::string>;

Lines problemsIn(const FabricOrProblems& read) {
  Lines lines;
  if (const auto* problems = std::get_if<std::vector<Problem>>(&read)) {
    for (const Problem& problem : *problems) lines.push_back(toString(problem));
  }
  return lines;
}

Lines problemsOf(const std::string& text) { return problemsIn(parseFabric({{"f", text}})); }

// The problems of a document with the version in its first line, so that `text` starts in line 2.
Lines problems(const std::string& text) { return problemsOf("fabrion: 1\n" + text); }

Fabric fabricIn(const FabricOrProblems& read) {
  EXPECT_THAT(problemsIn(read), IsEmpty());
  const auto* fabric = std::get_if<Fabric>(&read);
  return fabric == nullptr ? Fabric{} : *fabric;
}

Fabric fabric(const std::string& text) {
  return fabricIn(parseFabric({{"f", "fabrion: 1\n" + text}}));
}

// Two switches and two hosts to make requests and links on; ten lines, so that what follows starts
// in line 12 of `problems`.
const std::string ground =
    "switches:\n"
    "  leaf1: {ports: ['e[1-8]'], groups: {po1: [e7, e8]}}\n"
    "  leaf2: {ports: ['e[1-8]']}\n"
    "hosts:\n"
    "  srv1: {hostname: compute1, ports: [eth0, eth1]}\n"
    "  srv2: {ports: [eth0]}\n"
    "#\n"
    "#\n"
    "#\n"
    "#\n";

std::vector<U32> range(U32 low, U32 high) {
  std::vector<U32> all(high - low + 1);
  std::iota(all.begin(), all.end(), low);
  return all;
}

std::string sourceText(const std::string& name) {
  std::ifstream file(FABRION_SOURCE_DIR "/" + name, std::ios::binary);
  EXPECT_TRUE(file.good()) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

// ---- What a document says

TEST(FabricDocument, ASwitchHasItsPortsAndGroupsInTheOrderWritten) {
  const Fabric read = fabric(
      "switches:\n"
      "  leaf1:\n"
      "    ports: [m1, 'e[1-3]', 'e[5-6]/[1-2]']\n"
      "    groups: {po2: [e3, m1], po1: 'e[1-2]'}\n");
  ASSERT_THAT(read.switches, SizeIs(1));
  const Node expected{"leaf1",
                      "leaf1",
                      {"m1", "e1", "e2", "e3", "e5/1", "e5/2", "e6/1", "e6/2"},
                      {{"po2", {"e3", "m1"}}, {"po1", {"e1", "e2"}}}};
  EXPECT_EQ(read.switches[0], expected);
}

TEST(FabricDocument, TheHostnameIsTheNameUnlessItIsWritten) {
  const Fabric read = fabric("hosts: {b: {hostname: compute1}, a: {}, c: }\n");
  const std::vector<Node> expected{
      {"b", "compute1", {}, {}}, {"a", "a", {}, {}}, {"c", "c", {}, {}}};
  EXPECT_EQ(read.hosts, expected);
}

TEST(FabricDocument, HostsMayShareAHostname) {
  const Fabric read = fabric("hosts: {a: {hostname: pair}, b: {hostname: pair}}\n");
  EXPECT_EQ(read.hosts[0].hostname, read.hosts[1].hostname);
}

TEST(FabricDocument, ALinkIsWrittenInAnyOfItsForms) {
  const Fabric read = fabric(
      "switches: {leaf1: {ports: ['e1:[1-4]']}, 'pod:1': {ports: 1}}\n"
      "hosts: {srv1: {ports: 'eth[0-2]'}}\n"
      "links:\n"
      "  - [leaf1:e1:1, srv1:eth0]\n"
      "  - [[leaf1, e1:2], srv1:eth1]\n"
      "  - {from: leaf1:e1:3, to: [srv1, eth2]}\n"
      "  - [leaf1:e1:4, ['pod:1', 1]]\n");
  const std::vector<Link> expected{{{"leaf1", "e1:1"}, {"srv1", "eth0"}},
                                   {{"leaf1", "e1:2"}, {"srv1", "eth1"}},
                                   {{"leaf1", "e1:3"}, {"srv1", "eth2"}},
                                   {{"leaf1", "e1:4"}, {"pod:1", "1"}}};
  EXPECT_EQ(read.links, expected);
}

TEST(FabricDocument, APortMayHaveSeveralLinksAndANodeALinkToItself) {
  const Fabric read = fabric(ground +
                             "links:\n"
                             "  - [leaf1:e1, srv1:eth0]\n"
                             "  - [leaf1:e1, srv2:eth0]\n"
                             "  - [leaf1:e2, leaf1:e3]\n");
  EXPECT_THAT(read.links, SizeIs(3));
}

TEST(FabricDocument, ARequestOnAPortHasVlansANativeVlanAndRemoteHosts) {
  const Fabric read =
      fabric(ground +
             "requests:\n"
             "  - {client: acme, switch: leaf1, port: e1, vlans: [300, 10, 100-199],"
             " native: 10, remote hosts: [far2, far1]}\n");
  auto vlans = range(100, 199);
  vlans.insert(vlans.begin(), 10);
  vlans.push_back(300);
  const std::vector<PortRequest> expected{{"acme", "leaf1", "e1", vlans, 10, {"far2", "far1"}}};
  EXPECT_EQ(read.portRequests, expected);
  EXPECT_THAT(read.hostnameRequests, IsEmpty());
}

TEST(FabricDocument, ARequestOnAPortMayBeForOneThingAlone) {
  const Fabric read = fabric(ground +
                             "requests:\n"
                             "  - {client: a, switch: leaf1, port: e1, vlans: 7}\n"
                             "  - {client: a, switch: leaf1, port: e2, native: '8'}\n"
                             "  - {client: a, switch: leaf1, port: e3, remote hosts: far1}\n");
  const std::vector<PortRequest> expected{{"a", "leaf1", "e1", {7}, {}, {}},
                                          {"a", "leaf1", "e2", {}, 8, {}},
                                          {"a", "leaf1", "e3", {}, {}, {"far1"}}};
  EXPECT_EQ(read.portRequests, expected);
}

TEST(FabricDocument, ARequestForAHostnameThatNoHostHasWaits) {
  const Fabric read =
      fabric("requests:\n  - {client: blue, hostname: later, vlans: '1-3, 3-5,4094'}\n");
  const std::vector<HostnameRequest> expected{{"blue", "later", {1, 2, 3, 4, 5, 4094}}};
  EXPECT_EQ(read.hostnameRequests, expected);
}

TEST(FabricDocument, TwoClientsMayAskForDifferentNativeVlansOnOnePort) {
  const Fabric read = fabric(ground +
                             "requests:\n"
                             "  - {client: a, switch: leaf1, port: e1, native: 10}\n"
                             "  - {client: b, switch: leaf1, port: e1, native: 20}\n");
  EXPECT_THAT(read.portRequests, SizeIs(2));
}

TEST(FabricDocument, ANameIsTheTextAsWritten) {
  const Fabric read = fabric("switches: {1.10: {ports: [007, 1e3, true, é]}}\n");
  EXPECT_EQ(read.switches[0].name, "1.10");
  EXPECT_THAT(read.switches[0].ports, ElementsAre("007", "1e3", "true", "é"));
}

TEST(FabricDocument, IsJsonAsWell) {
  const auto read = parseFabric({{"f", R"({
	"fabrion": 1,
	"switches": {"leaf1": {"ports": ["e[1-2]"]}},
	"requests": [{"client": "acme", "switch": "leaf1", "port": "e2", "vlans": [10, "20-21"],
	              "remote hosts": ["caf\u00e9"]}]
})"}});
  const std::vector<PortRequest> expected{{"acme", "leaf1", "e2", {10, 20, 21}, {}, {"café"}}};
  EXPECT_EQ(fabricIn(read).portRequests, expected);
}

TEST(FabricDocument, AnAliasStandsForItsAnchor) {
  const Fabric read = fabric(
      "requests:\n"
      "  - {client: a, hostname: h1, vlans: &many [10-12, 20]}\n"
      "  - {client: a, hostname: h2, vlans: *many}\n");
  EXPECT_EQ(read.hostnameRequests[0].vlans, read.hostnameRequests[1].vlans);
}

TEST(FabricDocument, SectionsMayBeEmpty) {
  EXPECT_EQ(fabric("switches: {}\nhosts: {}\nlinks: []\nrequests: []\n"), Fabric{});
}

TEST(FabricDocument, AByteOrderMarkAndDosLineEndsChangeNothing) {
  EXPECT_EQ(fabricIn(parseFabric({{"f",
                                   "\xef\xbb\xbf"
                                   "fabrion: 1\r\nhosts:\r\n  a: {}\r\n"}})),
            fabric("hosts: {a: {}}"));
  EXPECT_THAT(problemsOf("\xef\xbb\xbf"
                         "fabrian: 1\r\nfabrion: 1"),
              ElementsAre("f:1:1: unknown key 'fabrian' in the document; did you mean 'fabrion'?"));
}

// ---- Several documents

TEST(FabricDocument, SeveralDocumentsAddUpInTheirOrder) {
  const auto read = parseFabric(
      {{"requests", "fabrion: 1\nrequests: [{client: a, switch: leaf2, port: e1, vlans: 7}]"},
       {"left", "fabrion: 1\nswitches: {leaf2: {ports: e1}}\nlinks: [[leaf2:e1, leaf1:e1]]"},
       {"right",
        "fabrion: 1\nswitches: {leaf1: {ports: e1}}\n---\nfabrion: 1\nhosts: {srv1: {}}"}});
  const Fabric whole = fabricIn(read);
  ASSERT_THAT(whole.switches, SizeIs(2));
  EXPECT_EQ(whole.switches[0].name, "leaf2");
  EXPECT_EQ(whole.switches[1].name, "leaf1");
  EXPECT_THAT(whole.hosts, SizeIs(1));
  EXPECT_THAT(whole.links, SizeIs(1));
  EXPECT_THAT(whole.portRequests, SizeIs(1));
}

TEST(FabricDocument, NoDocumentsAreAFabricWithNothingInIt) {
  EXPECT_EQ(fabricIn(parseFabric({})), Fabric{});
}

TEST(FabricDocument, NamesThatStandTwiceArePointedAtAcrossFiles) {
  EXPECT_THAT(problemsIn(parseFabric({{"a", "fabrion: 1\nswitches: {leaf1: {ports: e1}}"},
                                      {"b", "fabrion: 1\nswitches: {leaf1: {ports: e2}}"}})),
              ElementsAre("b:2:12: switch 'leaf1' is declared twice; the first stands at a:2:12"));
}

TEST(FabricDocument, ProblemsOfAllFilesStandInTheOrderOfTheFiles) {
  EXPECT_THAT(problemsIn(parseFabric({{"z", "fabrion: 1\nlinks: [7]\nhost: {}"},
                                      {"a", "fabrion: 2"},
                                      {"m", "fabrion: 1\nrequests: {}"}})),
              ElementsAre(StartsWith("z:2:9: "), StartsWith("z:3:1: "), StartsWith("a:1:10: "),
                          StartsWith("m:2:11: ")));
}

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

// ---- Requests

TEST(FabricDocument, ARequestSaysWhoWhereAndWhat) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {hostname: h, vlans: 1}\n"
                        "  - {client: a, vlans: 1}\n"
                        "  - {client: a, hostname: h}\n"
                        "  - {client: a, switch: leaf1, vlans: 1}\n"
                        "  - {client: a, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: e1}\n"
                        "  - {client: a, hostname: h2, port: e1, native: 1, vlans: 1}\n"
                        "  - acme\n"),
      ElementsAre("f:13:5: a request of nobody; expected the key 'client'",
                  "f:14:5: a request without a place; expected 'hostname', or 'switch' and 'port'",
                  "f:15:5: a request for a hostname without VLANs; expected the key 'vlans'",
                  "f:16:5: a request on a switch without a port; expected the key 'port'",
                  "f:17:5: a request on a port without its switch; expected the key 'switch'",
                  "f:18:5: a request for nothing; expected 'vlans', 'native' or 'remote hosts'",
                  StartsWith("f:19:31: 'port' in a request for a hostname"),
                  StartsWith("f:19:41: 'native' in a request for a hostname"),
                  "f:20:5: 'acme' as a request; expected a map"));
}

TEST(FabricDocument, AVlanGoesFrom1To4094) {
  EXPECT_THAT(
      problems("requests:\n"
               "  - {client: a, hostname: h1, vlans: [0, 4095, 10-5, ten, 010, 1-, -5, 1--2, '']}\n"
               "  - {client: a, hostname: h2, vlans: [1, 4094, 1-4094]}\n"),
      ElementsAre(StartsWith("f:3:39: no VLANs: '0'; expected numbers from 1 to 4094"),
                  StartsWith("f:3:42: no VLANs: '4095'"),
                  "f:3:48: the range '10-5' falls; expected the lower VLAN first",
                  StartsWith("f:3:54: no VLANs: 'ten'"), StartsWith("f:3:59: no VLANs: '010'"),
                  StartsWith("f:3:64: no VLANs: '1-'"), StartsWith("f:3:68: no VLANs: '-5'"),
                  StartsWith("f:3:72: no VLANs: '1--2'"), StartsWith("f:3:78: no VLANs: ''")));
  EXPECT_THAT(problems(ground + "requests:\n"
                                "  - {client: a, switch: leaf1, port: e1, native: 0}\n"
                                "  - {client: a, switch: leaf1, port: e2, native: 1-2}\n"
                                "  - {client: a, switch: leaf1, port: e3, native: [1]}\n"),
              ElementsAre("f:13:50: no VLAN: '0'; expected a number from 1 to 4094",
                          StartsWith("f:14:50: no VLAN: '1-2'"),
                          "f:15:50: a list as the native VLAN; expected one text"));
}

TEST(FabricDocument, TheSwitchAndPortOfARequestAreDeclared) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: a, switch: laef1, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: srv1, port: eth0, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: E11, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: po1, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: 'e[1-2]', vlans: 1}\n"
                        "  - {client: b, switch: leaf1, port: e10, vlans: 9999}\n"),
      ElementsAre(
          "f:13:25: no switch 'laef1' is declared; did you mean 'leaf1'?",
          "f:14:25: 'srv1' is a host; expected a switch, or 'hostname: compute1' to ask for the "
          "host",
          "f:15:38: switch 'leaf1' has no port 'E11'; did you mean 'e1'?",
          "f:16:38: 'po1' is a port group of switch 'leaf1'; expected one of its ports",
          "f:17:38: no name of a port: 'e[1-2]'; expected one port, and no range",
          "f:18:38: switch 'leaf1' has no port 'e10'; did you mean 'e1'?",
          StartsWith("f:18:50: no VLANs: '9999'")));
}

TEST(FabricDocument, AClientHasOneRequestAtAPlace) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: a, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: leaf2, port: e1, vlans: 1}\n"
                        "  - {client: b, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: e1, vlans: 2}\n"
                        "  - {client: a, hostname: h, vlans: 1}\n"
                        "  - {client: a, hostname: h, vlans: 2}\n"),
      ElementsAre("f:16:5: client 'a' asks twice for port 'e1' of 'leaf1', first at f:13:5; "
                  "expected the two requests merged into one",
                  "f:18:5: client 'a' asks twice for hostname 'h', first at f:17:5; expected the "
                  "two requests merged into one"));
}

TEST(FabricDocument, NobodyIsNamedLikeTheAgent) {
  EXPECT_THAT(
      problems("switches: {fabrion: {ports: e1}}\n"
               "requests: [{client: fabrion, hostname: h, vlans: 1}]\n"),
      ElementsAre("f:2:12: a switch named 'fabrion'; expected another name, since the agent keeps "
                  "entries of the model alive by that one",
                  "f:3:21: a client named 'fabrion'; expected another name, since the agent keeps "
                  "entries of the model alive by that one",
                  StartsWith("f:3:21: client 'fabrion' is named like a switch, at f:2:12")));
}

TEST(FabricDocument, AClientIsNamedLikeNothingThatKeepsEntriesAliveBesideIt) {
  const std::string because =
      "; expected another name, since each keeps entries of the model alive by its name";
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: leaf2, hostname: h, vlans: 1}\n"
                        "  - {client: srv1, hostname: h, vlans: 1}\n"
                        "  - {client: far, hostname: h, vlans: 1}\n"
                        "  - {client: e1, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: po1, switch: leaf1, port: e2, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: e3, remote hosts: far}\n"
                        // These are apart: another port, another switch's group, a hostname.
                        "  - {client: e1, hostname: h, vlans: 1}\n"
                        "  - {client: e2, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: po1, switch: leaf2, port: e2, vlans: 1}\n"
                        "  - {client: compute1, hostname: compute1, vlans: 1}\n"),
      ElementsAre("f:13:14: client 'leaf2' is named like a switch, at f:4:3" + because,
                  "f:14:14: client 'srv1' is named like a host, at f:6:3" + because,
                  "f:15:14: client 'far' is named like a remote host, at f:18:56" + because,
                  "f:16:14: client 'e1' is named like the port that it asks for, 'e1', of switch "
                  "'leaf1'" +
                      because,
                  "f:17:14: client 'po1' is named like a port group of switch 'leaf1'" + because));
}

TEST(FabricDocument, ARemoteHostIsNoOtherSwitchOrHost) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: a, switch: leaf1, port: e1, remote hosts: [leaf2, srv1, "
                        "srv2, compute1, x, x]}\n"),
      ElementsAre("f:13:57: remote host 'leaf2' is the name of a switch, at f:4:3; expected the "
                  "hostname of "
                  "a host",
                  "f:13:64: remote host 'srv1' is the name of a host, at f:6:3, whose hostname is "
                  "'compute1'; expected a hostname that is no other host's name",
                  "f:13:89: remote host 'x' stands twice in one request"));
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

// ---- Files

class FabricFiles : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "fabricXXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
    return (folder_ / name).string();
  }

  // Problems without the folder, which is another one in each run.
  Lines problems(const std::vector<std::string>& files) const {
    Lines lines = problemsIn(readFabric(files));
    for (std::string& line : lines) {
      const std::string start = folder_.string() + "/";
      if (line.starts_with(start)) line.erase(0, start.size());
    }
    return lines;
  }

  std::filesystem::path folder_;
};

TEST_F(FabricFiles, AreReadAsOneFabric) {
  const auto read = readFabric(
      {file("topology.yaml", "fabrion: 1\nswitches: {leaf1: {ports: e1}}\n"),
       file("acme.yaml",
            "fabrion: 1\nrequests: [{client: acme, switch: leaf1, port: e1, vlans: 7}]")});
  const Fabric whole = fabricIn(read);
  EXPECT_THAT(whole.switches, SizeIs(1));
  EXPECT_THAT(whole.portRequests, SizeIs(1));
}

TEST_F(FabricFiles, ThatCannotBeReadAreToldWithTheReasonAndTheOthersAreReadAllTheSame) {
  std::filesystem::create_directory(folder_ / "folder.yaml");
  EXPECT_THAT(problems({(folder_ / "none.yaml").string(), (folder_ / "folder.yaml").string(),
                        file("bad.yaml", "fabrion: 1\nfoo: 1\n"),
                        file("good.yaml", "fabrion: 1\nlinks: [[leaf1:e1, leaf2:e1]]\n")}),
              ElementsAre("none.yaml: cannot be opened: No such file or directory",
                          "folder.yaml: cannot be read: Is a directory",
                          StartsWith("bad.yaml:2:1: unknown key 'foo'")));
}

TEST_F(FabricFiles, ThatAreTooLongAreNotReadToTheirEnd) {
  EXPECT_THAT(problems({file("long.yaml", std::string(Limits::fileBytes + 1, '#'))}),
              ElementsAre("long.yaml: longer than 8388608 bytes, the most that a document may be"));
}

// ---- What comes with the program

TEST(FabricDocumentExamples, TwoSwitchesHasThreeClientsAndANativeVlanConflict) {
  const auto read =
      fabricIn(parseFabric({{"two-switches.yaml", sourceText("examples/two-switches.yaml")}}));
  EXPECT_THAT(read.switches, SizeIs(2));
  EXPECT_THAT(read.hosts, IsEmpty());
  EXPECT_THAT(read.links, SizeIs(2));
  EXPECT_THAT(read.hostnameRequests, IsEmpty());
  ASSERT_THAT(read.portRequests, SizeIs(10));
  const PortRequest& one = read.portRequests[8];
  const PortRequest& other = read.portRequests[9];
  EXPECT_EQ(one.switchName + one.port, other.switchName + other.port);
  EXPECT_NE(one.nativeVlan, other.nativeVlan);
}

TEST(FabricDocumentExamples, LeafSpineHasItsServersLinksAndRequests) {
  const auto read =
      fabricIn(parseFabric({{"leaf-spine.yaml", sourceText("examples/leaf-spine.yaml")}}));
  EXPECT_THAT(read.switches, SizeIs(6));
  EXPECT_THAT(read.hosts, SizeIs(12));
  EXPECT_THAT(read.links, SizeIs(4 * 2 + 4 * 4));
  EXPECT_THAT(read.hostnameRequests, SizeIs(9));
  EXPECT_THAT(read.portRequests, SizeIs(4));
}

// The text between "```INFO" and "```" for each such block of the page.
Lines blocks(const std::string& page, const std::string& info) {
  Lines found;
  const std::string open = "\n```" + info + "\n";
  for (auto at = page.find(open); at != std::string::npos; at = page.find(open, at + 1)) {
    const auto start = at + open.size();
    found.push_back(page.substr(start, page.find("```", start) - start));
  }
  return found;
}

TEST(FabricDocumentPage, ItsExamplesAreDocuments) {
  const Lines examples = blocks(sourceText("docs/fabric-document.md"), "yaml");
  ASSERT_THAT(examples, SizeIs(3));
  for (const std::string& example : examples) {
    EXPECT_THAT(problemsIn(parseFabric({{"page", example}})), IsEmpty());
  }
}

TEST(FabricDocumentPage, ItsMistakesAreAnsweredAsItSays) {
  const std::string page = sourceText("docs/fabric-document.md");
  const Lines mistaken = blocks(page, "yaml mistaken");
  const Lines answers = blocks(page, "text");
  ASSERT_THAT(mistaken, SizeIs(1));
  ASSERT_THAT(answers, SizeIs(1));
  std::string answer;
  for (const std::string& line : problemsIn(parseFabric({{"fabric.yaml", mistaken[0]}}))) {
    answer += line + "\n";
  }
  EXPECT_EQ(answer, answers[0]);
}

}  // namespace
}  // namespace Fabrion::Host
