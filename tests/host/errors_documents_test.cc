// What is said of mistakes in fabric documents, word for word, where the tests of the documents
// look at a part of it alone: fabric_document_mistakes_test.cc and those beside it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Limits.h"
#include "tests/host/fabric_documents.h"

namespace Fabrion::Host {
namespace {

using Test::ground;
using Test::problems;
using Test::Problems;
using Test::problemsOf;
using testing::ElementsAre;

struct Mistaken {
  std::string text;  // behind the version, from line 2 on
  Problems expected;
};

void expectAll(const std::vector<Mistaken>& all) {
  for (const Mistaken& one : all) {
    EXPECT_EQ(problems(one.text), one.expected) << one.text.substr(0, 1000);
  }
}

TEST(ErrorsOfDocuments, TheDocumentAsAWhole) {
  const std::string expected = " as the document; expected a map that says 'fabrion: 1'";
  EXPECT_THAT(problemsOf("just words"), ElementsAre("f:1:1: 'just words'" + expected));
  EXPECT_THAT(problemsOf("- a"), ElementsAre("f:1:1: a list" + expected));
  EXPECT_THAT(problemsOf("---\n---\n"), ElementsAre("f:1:1: nothing" + expected));
  EXPECT_THAT(problemsOf("fabrion: '1'\n"),
              ElementsAre("f:1:10: version '1' of the document; expected 'fabrion: 1', without "
                          "quotes around the number"));
  EXPECT_THAT(problemsOf("fabrion:\n"),
              ElementsAre("f:1:1: version nothing of the document; expected 'fabrion: 1'"));
  EXPECT_THAT(problemsOf("fabrion: 1\n---\nhosts: {}\n"),
              ElementsAre("f:3:1: no version; expected 'fabrion: 1' at the start of the document"));
}

TEST(ErrorsOfDocuments, WhatIsNoYaml) {
  expectAll({
      {"hosts: {a: {}\n", {"f:3:1: not YAML: end of map flow not found"}},
      {"links: [\n", {"f:3:1: not YAML: end of sequence flow not found"}},
      {"hosts: *nowhere\n", {"f:2:8: not YAML: the referenced anchor is not defined"}},
      {"hosts:\n\ta: {}\n",
       {"f:3:3: not YAML: illegal map value; the line is indented with a tab, expected blanks"}},
      {"# \xc3\xa9\xff\n", {"f:2:4: not UTF-8; expected the file in that encoding"}},
      {"# ok\n#\x04", {"f:3:2: a control character, '\\x04'; expected text"}},
      {std::string("a: \0", 4), {"f:2:4: a control character, '\\x00'; expected text"}},
      {std::string(1000, '['), {"f:2:1: values are nested 500 deep; expected fewer levels"}},
      {"links: &a [*a]\n",
       {"f:2:8: a list of 1 as a link; expected its two ends, as in [leaf1:e1, srv1:eth0]"}},
  });
}

TEST(ErrorsOfDocuments, Keys) {
  const std::string ofDocument =
      " in the document; expected one of: fabrion, switches, hosts, links, requests, static maps";
  expectAll({
      {"? [a]\n: 1\n", {"f:2:3: unknown key a list" + ofDocument}},
      {"host: {}\n", {"f:2:1: unknown key 'host' in the document; did you mean 'hosts'?"}},
      {"fabrion: 1\n", {"f:2:1: the key 'fabrion' stands twice in the document, first at f:1:1"}},
      {"requests: [{client: a, client: b, hostname: h, vlans: 1}]\n",
       {"f:2:24: the key 'client' stands twice in a request, first at f:2:13"}},
      {"switches: {leaf1: {port: e1, groups: {g: e1}}}\n",
       {"f:2:20: unknown key 'port' in switch 'leaf1'; did you mean 'ports'?"}},
      {"switches: {a: {ports: b}}\nlinks: [{from: a:b, till: a:c}]\n",
       {"f:3:21: unknown key 'till' in a link; expected one of: from, to"}},
      {"requests: [{client: a, hostname: h, vlan: 7}]\n",
       {"f:2:37: unknown key 'vlan' in a request; did you mean 'vlans'?"}},
  });
}

TEST(ErrorsOfDocuments, ListsWithNothingInThem) {
  const std::string expected = "; expected one or a list of them";
  expectAll({
      {"hosts: {a: {ports: e1, groups: {g: []}}}\n",
       {"f:2:36: an empty list as port group 'g' of host 'a'" + expected}},
      {"requests: [{client: a, hostname: h, vlans: []}]\n",
       {"f:2:44: an empty list as the VLANs" + expected}},
      {ground + "requests: [{client: a, switch: leaf1, port: e1, vlans: 1, remote hosts: []}]",
       {"f:12:73: an empty list as the remote hosts" + expected}},
  });
}

TEST(ErrorsOfDocuments, NamesOfPorts) {
  const std::string range =
      "; expected a [LOW-HIGH] of two numbers, at most nine digits each, as in 'e[1-8]'";
  const std::string tooMany = " stands for more than 4096 ports, the most that a range may";
  expectAll({
      {"hosts: {a: {ports: ''}}\n", {"f:2:20: an empty name, in the ports of host 'a'"}},
      {"switches: {a: {ports: [\"e\\t1\"]}}\n",
       {"f:2:24: the name 'e\\x091' has a control character in it, in the ports of switch 'a'"}},
      {"hosts: {a: {ports: e1, groups: {g: ['']}}}\n",
       {"f:2:37: an empty name, in port group 'g' of host 'a'"}},
      {"hosts: {'é€😀': {ports: 'e[1'}}\n", {"f:2:24: no range of ports: 'e[1'" + range}},
      {"hosts: {a: {ports: 'e[1-1234567890]'}}\n",
       {"f:2:20: no range of ports: 'e[1-1234567890]'" + range}},
      {"hosts: {a: {ports: 'e[2-1]'}}\n",
       {"f:2:20: the range in 'e[2-1]' falls; expected LOW not above HIGH"}},
      {"hosts: {b: {ports: 'e[1-64]/[1-64]/[0-1]'}}\n",
       {"f:2:20: 'e[1-64]/[1-64]/[0-1]'" + tooMany}},
  });
}

TEST(ErrorsOfDocuments, SwitchesAndHosts) {
  const std::string names = " as the hosts; expected a map with the names as keys";
  expectAll({
      {"hosts: {fabrion: }\n",
       {"f:2:9: a host named 'fabrion'; expected another name, since the agent keeps entries of "
        "the model alive by that one"}},
      {"hosts:\n", {"f:2:1: nothing" + names}},
      {"switches: {s: {ports: e1, vteps: ''}}\n",
       {"f:2:34: an empty name, as a VTEP of switch 's'"}},
      {"switches: {a: {hostname: e1, ports: e1}}\n",
       {"f:2:26: switch 'a' has the hostname 'e1' and a port of that name, at f:2:37; expected two "
        "names, since each keeps VLANs of the switch alive by its name"}},
      {"switches: {a: {ports: e1}}\nhosts: {a: }\n",
       {"f:3:9: host 'a' is named like a switch, at f:2:12; expected another name, since the model "
        "tells its elements apart by name alone"}},
      {"switches: {a: {ports: e1}, a: {ports: e1}}\n",
       {"f:2:28: switch 'a' is declared twice; the first stands at f:2:12"}},
  });
}

TEST(ErrorsOfDocuments, Links) {
  const std::string twoEnds = " as a link; expected its two ends, as in [leaf1:e1, srv1:eth0]";
  const std::string form = " as an end of a link; expected NODE:PORT or [NODE, PORT]";
  expectAll({
      {ground + "links:\n  -\n", {"f:13:3: nothing" + twoEnds}},
      {ground + "links:\n  - leaf1:e1\n", {"f:13:5: 'leaf1:e1'" + twoEnds}},
      {ground + "links:\n  - [leaf1:e1, {}]\n", {"f:13:16: a map" + form}},
      {ground + "links:\n  - [[leaf1, e1, e2], leaf1:e3]\n", {"f:13:6: a list" + form}},
      {ground + "links:\n  - ['leaf1:e[1-2]', leaf2:e1]\n",
       {"f:13:6: no name of a port: 'e[1-2]'; expected one port, and no range, in the end of a "
        "link 'leaf1:e[1-2]'"}},
      {ground + "links:\n  - [[leaf1, 'e[1-2]'], leaf2:e1]\n",
       {"f:13:14: no name of a port: 'e[1-2]'; expected one port, and no range"}},
      {ground + "links:\n  - [['', e1], [leaf2, '']]\n",
       {"f:13:7: an empty name, as a switch or host of a link",
        "f:13:24: an empty name, as a port of a link"}},
      {ground + "links:\n  - [leaf1:e1, [srv1, eth7]]\n",
       {"f:13:23: host 'srv1' has no port 'eth7'; did you mean 'eth0' or 'eth1'?"}},
  });
}

TEST(ErrorsOfDocuments, Requests) {
  const std::string ofHostname =
      " in a request for a hostname; expected it in a request on a port of a switch alone";
  expectAll({
      {"requests: {}\n", {"f:2:11: a map as the requests; expected a list"}},
      {"requests: [{client: a, hostname: h, vlans: 1, switch: s, port: e1, native: 1, "
       "remote hosts: x}]\n",
       {"f:2:47: 'switch'" + ofHostname, "f:2:55: no switch 's' is declared",
        "f:2:58: 'port'" + ofHostname, "f:2:68: 'native'" + ofHostname,
        "f:2:79: 'remote hosts'" + ofHostname}},
      {"requests: [{client: '', hostname: h, vlans: 1}]\n",
       {"f:2:21: an empty name, as the client of a request"}},
      {"requests: [{client: a, hostname: '', vlans: 1}]\n",
       {"f:2:34: an empty name, as the hostname of a request"}},
      {ground + "requests: [{client: a, switch: '', port: e1, vlans: 1}]\n",
       {"f:12:32: an empty name, as the switch of a request"}},
      {ground + "requests: [{client: a, switch: leaf1, port: '', vlans: 1}]\n",
       {"f:12:45: an empty name, as the port of a request"}},
      {ground + "requests: [{client: a, switch: leaf1, port: e1, remote hosts: ['']}]\n",
       {"f:12:64: an empty name, as a remote host"}},
      {"switches: {fabrion: {ports: e1}}\n"
       "requests: [{client: fabrion, hostname: h, vlans: 1}]\n",
       {"f:2:12: a switch named 'fabrion'; expected another name, since the agent keeps entries of "
        "the model alive by that one",
        "f:3:21: a client named 'fabrion'; expected another name, since the agent keeps entries "
        "of the model alive by that one",
        "f:3:21: client 'fabrion' is named like a switch, at f:2:12; expected another name, since "
        "each keeps entries of the model alive by its name"}},
  });
}

TEST(ErrorsOfDocuments, Vlans) {
  const std::string list =
      "; expected numbers from 1 to 4094 and ranges of them, as in 10 or 20-29";
  const std::string one = "; expected a number from 1 to 4094";
  for (const char* vlans : {"0", "4095", "ten", "010", "1-", "-5", "1--2", ""}) {
    EXPECT_THAT(
        problems("requests: [{client: a, hostname: h, vlans: ['" + std::string(vlans) + "']}]\n"),
        ElementsAre("f:2:45: no VLANs: '" + std::string(vlans) + "'" + list));
    EXPECT_THAT(problems(ground + "requests: [{client: a, switch: leaf1, port: e1, native: '" +
                         vlans + "'}]\n"),
                ElementsAre("f:12:57: no VLAN: '" + std::string(vlans) + "'" + one));
  }
  expectAll({
      // Behind an alias once.
      {"requests:\n"
       "  - {client: a, hostname: h1, vlans: &v [0, 10]}\n"
       "  - {client: a, hostname: h2, vlans: *v}\n",
       {"f:3:42: no VLANs: '0'" + list}},
      {"requests: [{client: a, hostname: h, vlans: 7, domains: {ten: b}}]\n",
       {"f:2:57: no VLANs: 'ten'" + list}},
  });
}

TEST(ErrorsOfDocuments, VnisDomainsAndStaticMaps) {
  const std::string head = "requests: [{client: a, hostname: h, vlans: 100-109, ";
  const std::string vnis = "; expected numbers from 1 to 16777215, as in 10100 or 10100-10199";
  const std::string asMany =
      "; expected as many VNIs as VLANs, or a list where one VLAN is asked several VNIs";
  const std::string asks =
      ", which the request does not ask for; expected VLANs that stand in its 'vlans'";
  const std::string oneList = "; expected all VNIs of a VLAN in one list, as in 100: [7, 8]";
  const std::string form = "; expected FIRST or FIRST/SECOND";
  const std::string fields = " as a domain; expected FIRST, FIRST/SECOND or [FIRST, SECOND]";
  const std::string ofMap = "; expected a map from VLANs to VNIs, as in {100-199: 10100-10199}";
  expectAll({
      {head + "vnis: {104: 16777216}}]\n", {"f:2:65: no VNI or range of VNIs: '16777216'" + vnis}},
      {head + "vnis: {104-105: 9-8}}]\n",
       {"f:2:69: the range '9-8' falls; expected the lower VNI first"}},
      {head + "vnis: {105-104: 8-9}}]\n",
       {"f:2:60: the range '105-104' falls; expected the lower VLAN first"}},
      {head + "vnis: {105: 7-8}}]\n", {"f:2:65: 2 VNIs, 7-8, for 1 VLAN, 105" + asMany}},
      {head + "vnis: {106-107: 9}}]\n", {"f:2:69: 1 VNI, 9, for 2 VLANs, 106-107" + asMany}},
      {head + "vnis: {108-111: 1-4}}]\n", {"f:2:60: VNIs for VLAN 110" + asks}},
      {head + "vnis: {100: 7, 100: 8}}]\n",
       {"f:2:68: VLAN 100 has its VNIs already, at f:2:60" + oneList}},
      {head + "domains: [/b]}]\n", {"f:2:63: no domain: '/b', an empty name in it" + form}},
      {head + "domains: [\"a\\tb/c\"]}]\n",
       {"f:2:63: no domain: 'a\\x09b/c', the name 'a\\x09b' has a control character in it" + form}},
      {head + "domains: [[d, e, f]]}]\n", {"f:2:63: a list of 3" + fields}},
      {head + "domains: [{j: k}]}]\n", {"f:2:63: a map" + fields}},
      {head + "domains: [[g, [h]]]}]\n",
       {"f:2:67: a list as the second field of a domain; expected one text"}},
      {head + "domains: [['', i]]}]\n", {"f:2:64: an empty name, as the first field of a domain"}},
      {head + "domains: {100-105: &d [a], 104: *d}}]\n",
       {"f:2:76: domain 'a' stands twice for VLAN 104"}},
      {"static maps: {a: {200-201: 5}}\n",
       {"f:2:28: 1 VNI, 5, for 2 VLANs, 200-201; expected a VNI for each VLAN, as in 200-201: "
        "5-6"}},
      {"static maps: {a: {1: y}}\n", {"f:2:22: no VNI or range of VNIs: 'y'" + vnis}},
      {"static maps: {a: {x: 1}}\n",
       {"f:2:19: no VLAN or range of VLANs: 'x'; expected numbers from 1 to 4094, as in 10 or "
        "20-29"}},
      {"static maps: {b/: {1: 1}}\n", {"f:2:15: no domain: 'b/', an empty name in it" + form}},
      {"static maps: {c: }\n", {"f:2:15: nothing as the static map of domain 'c'" + ofMap}},
      {"static maps: {a: {10: 5, 10: 6}}\n",
       {"f:2:26: VLAN 10 of domain 'a' is mapped already, at f:2:19; expected ranges without a "
        "VLAN in common"}},
  });
}

// ---- Bounds

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

TEST(ErrorsOfDocuments, BoundsOfAFile) {
  expectAll({
      {"requests: [{client: a, hostname: h, vlans: [" + repeated("1,", 4097) + "]}]",
       {"f:2:44: a list of 4097 entries as the VLANs; at most 4096 may stand in one"}},
      {"links: [" + repeated("a,", Limits::values) + "]",
       {"f:2:2097151: more than 1048576 values, the most that a file may hold"}},
  });
  EXPECT_THAT(problemsOf("fabrion: 1\n#" + std::string(Limits::fileBytes, 'x')),
              ElementsAre("f: longer than 8388608 bytes, the most that a document may be"));
}

TEST(ErrorsOfDocuments, BoundsOfAllDocumentsTogether) {
  std::string vlans = "requests:\n";
  for (int i = 0; i < 4099; ++i) {
    vlans += "  - {client: c" + std::to_string(i) +
             ", hostname: h, vlans: " + (i == 0 ? "&all 1-4094" : "*all") + "}\n";
  }
  // Lines that ask for the same VLANs; a line that does so twice counts once.
  const auto overlaps = [](std::size_t lines) {
    return "requests:\n  - client: c\n    hostname: h\n    vlans:\n" +
           repeated("    - 1-4094, 1-4094\n", lines);
  };
  EXPECT_THAT(problemsOf("fabrion: 1\n" + overlaps(129)), ElementsAre());
  std::string vnis = "requests:\n";
  std::string domains = "requests:\n";
  for (int i = 0; i < 525; ++i) {
    const std::string head =
        "  - {client: c" + std::to_string(i) + ", hostname: h, vlans: 1-4000, ";
    vnis += head + (i == 0 ? "vnis: &vnis {1-4000: 1-4000}}\n" : "vnis: *vnis}\n");
    domains += head + "domains: d}\n";
  }
  std::string maps = "static maps:\n";
  for (int i = 0; i < 257; ++i) {
    maps += "  d" + std::to_string(i) + ": ";
    if (i == 0) {
      maps += "&map {";
      for (int vlan = 1; vlan <= 4094; ++vlan) {
        maps += std::to_string(vlan) + ": " + std::to_string(vlan) + ", ";
      }
      maps += "}\n";
    } else {
      maps += "*map\n";
    }
  }
  // 256 hosts with 4096 names each fill what there is; one more is one too many.
  std::string names = "hosts:\n";
  for (int i = 0; i < 256; ++i) names += "  h" + std::to_string(i) + ": {ports: 'e[1-4096]'}\n";
  const std::string inAll = " in all documents together";
  expectAll({
      {vlans, {"f:3:38: more than 16777216 VLANs" + inAll}},
      {overlaps(130), {"f:6:5: more than 16777216 VLANs" + inAll}},
      {vnis, {"f:3:67: more than 2097152 VNIs" + inAll}},
      {domains, {"f:527:57: more than 2097152 domains" + inAll}},
      {maps, {"f:3:4917: more than 1048576 ranges of static maps" + inAll}},
      {names + "  one: {ports: e1}\n", {"f:259:16: more than 1048576 names" + inAll}},
      {names + "switches: {s: {ports: e1, vteps: v1}}\n",
       {"f:259:23: more than 1048576 names" + inAll}},
  });
}

// ---- Warnings

Problems warnings(const std::string& text) {
  const FabricOrProblems read = parseFabric({{"f", "fabrion: 1\n" + text}});
  EXPECT_TRUE(std::holds_alternative<Fabric>(read)) << text;
  Problems lines;
  for (const Problem& warning : read.warnings) lines.push_back(toString(warning));
  return lines;
}

TEST(ErrorsOfDocuments, Warnings) {
  const std::string because =
      "; the model keeps the VNIs of both alive by that one name, so that the one that goes takes "
      "those of the other with it";
  const std::string switches = "switches: {s: {ports: 'e[1-4]'}}\n";
  EXPECT_THAT(
      warnings(switches +
               "hosts: {srv1: {hostname: compute1}}\n"
               "requests:\n"
               "  - {client: acme, hostname: compute1, vlans: 10, vnis: {10: 7}}\n"
               "  - {client: acme, hostname: far, vlans: 10, vnis: {10: 7}}\n"
               "  - {client: blue, switch: s, port: e1, vlans: 10, domains: [srv1/a, far],"
               " remote hosts: far}\n"),
      ElementsAre("f:7:62: warning: domain 'srv1/a' on VLAN 10 is named like host 'srv1', which "
                  "has VNIs on that VLAN at f:5:58" +
                      because,
                  "f:7:70: warning: domain 'far' on VLAN 10 is named like host 'far', which has "
                  "VNIs on that VLAN at f:6:53" +
                      because));
  EXPECT_THAT(
      warnings(switches + "requests:\n"
                          "  - {client: acme, switch: s, port: e1, vlans: 10, vnis: {10: 7}}\n"
                          "  - {client: blue, hostname: h, vlans: 10, domains: acme}\n"),
      ElementsAre("f:5:53: warning: domain 'acme' on VLAN 10 is named like client 'acme', which "
                  "has VNIs on that VLAN at f:4:59" +
                  because));
}

TEST(ErrorsOfDocuments, WarningsAreBoundedAsMistakesAre) {
  std::string text =
      "switches: {s: {ports: e1}}\n"
      "requests:\n"
      "  - {client: acme, switch: s, port: e1, vlans: 10, vnis: {10: 7}}\n";
  for (int i = 0; i < 10010; ++i) {
    text += "  - {client: c" + std::to_string(i) + ", hostname: h, vlans: 10, domains: acme}\n";
  }
  const Problems found = warnings(text);
  ASSERT_EQ(found.size(), 10001U);
  EXPECT_EQ(found.back(), "f: warning: more than 10000 warnings; the rest is not shown");
}

}  // namespace
}  // namespace Fabrion::Host
