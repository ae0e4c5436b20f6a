// Explanations of fabrics that went through the machines of the module. The first tests take each
// line that an explanation names out of the document and see that what stood on it goes, and what
// had another cause stays; the others read explanations as people do.

#include "host/Why.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "host/FabricChange.h"
#include "host/Module.h"
#include "host/WhyText.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::fabricOf;
using Test::inRepository;
using Test::linesOf;
using Test::textOfFile;
using testing::IsEmpty;
using testing::Not;

// One entry of the outputs: switch, kind, port, VTEP, VLAN, VNI.
using Standing = std::tuple<std::string, EntryKind, std::string, std::string, U32, U32>;

std::string textOf(const Standing& one) {
  return testing::PrintToString(std::tuple(std::get<0>(one), static_cast<int>(std::get<1>(one)),
                                           std::get<2>(one), std::get<3>(one), std::get<4>(one),
                                           std::get<5>(one)));
}

Fabric parsed(const std::string& text) {
  const FabricOrProblems read = parseFabric({{"fabric.yaml", text}});
  if (const auto* problems = std::get_if<std::vector<Problem>>(&read)) {
    for (const Problem& problem : *problems) ADD_FAILURE() << toString(problem);
    return {};
  }
  return std::get<Fabric>(read);
}

void applyTo(Controller& controller, const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) controller.apply(operation);
}

std::set<Standing> standingIn(const FabricOutputs& outputs) {
  std::set<Standing> all;
  for (const auto& [name, one] : outputs) {
    for (const auto& [port, vlans] : one.allowedVlans) {
      for (const U32 vlan : vlans) all.emplace(name, EntryKind::allowed, port, "", vlan, 0);
    }
    for (const auto& [port, vlan] : one.nativeVlan) {
      all.emplace(name, EntryKind::native, port, "", vlan, 0);
    }
    for (const U32 vlan : one.vlans) all.emplace(name, EntryKind::carried, "", "", vlan, 0);
    for (const auto& [vtep, ports] : one.vteps) {
      for (const auto& [port, vnis] : ports) {
        for (const auto& [vlan, vni] : vnis) {
          all.emplace(name, EntryKind::vni, port, vtep, vlan, vni);
        }
      }
    }
  }
  return all;
}

std::set<Standing> standingIn(const std::string& document) {
  const Fabric fabric = parsed(document);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  return standingIn(outputsOf(controller));
}

// What is told of the outputs of all switches, entry by entry.
class Told {
 public:
  explicit Told(const std::string& document) {
    const Fabric fabric = parsed(document);
    Controller controller(loadModule(FABRION_MODULE));
    applyTo(controller, FabricChange().to(fabric));
    for (const Node& node : fabric.switches) {
      const Explanation all = explain(fabric, controller, {node.name});
      for (const PortWhy& port : all.ports) {
        for (const WhyEntry& entry : port.entries) add(node.name, port.name, entry);
      }
      for (const WhyEntry& entry : all.carried) add(node.name, "", entry);
    }
  }

  const std::map<Standing, WhyEntry>& entries() const { return entries_; }
  const std::set<U32>& lines() const { return lines_; }

  // Whether the entry stands without what the line says.
  static bool standsWithout(U32 line, const WhyEntry& entry) {
    if (entry.vtepOrigin.line == line) return false;
    return anyHolds(line, entry.because);
  }

 private:
  void add(const std::string& switchName, const std::string& port, const WhyEntry& entry) {
    for (std::size_t i = 0; i < entry.vlans.size(); ++i) {
      const U32 vni = entry.kind == EntryKind::vni ? entry.vnis.at(i) : 0;
      const Standing one{switchName, entry.kind, port, entry.vtep, entry.vlans[i], vni};
      EXPECT_TRUE(entries_.emplace(one, entry).second) << textOf(one) << " is told twice";
    }
    EXPECT_THAT(entry.because, Not(IsEmpty()));
    if (entry.vtepOrigin.line != 0) lines_.insert(entry.vtepOrigin.line);
    gather(entry.because);
  }

  void gather(const std::vector<Cause>& causes) {
    for (const Cause& cause : causes) {
      EXPECT_NE(cause.kind, CauseKind::leftOver);
      // Only a port of the switch's own list is no line; the lines below it are.
      EXPECT_EQ(cause.origin.line == 0, cause.kind == CauseKind::port);
      if (cause.origin.line != 0) lines_.insert(cause.origin.line);
      gather(cause.because);
    }
  }

  static bool anyHolds(U32 line, const std::vector<Cause>& causes) {
    for (const Cause& cause : causes) {
      if (cause.origin.line == line) continue;
      if (cause.because.empty() || anyHolds(line, cause.because)) return true;
    }
    return false;
  }

  std::map<Standing, WhyEntry> entries_;
  std::set<U32> lines_;
};

// A key that is left with nothing behind it would be a mistake, so it goes as well.
std::string withoutLine(const std::string& document, U32 line) {
  std::vector<std::string> lines = linesOf(document);
  lines.at(line - 1).clear();
  std::string& before = lines.at(line - 2);
  if (before.ends_with(" groups:") || before == "static maps:") before.clear();
  std::string rest;
  for (const std::string& each : lines) rest += each + "\n";
  return rest;
}

// Takes out each line that is named, and returns how many entries went and stayed with one of their
// lines.
std::pair<int, int> takeOutEachLine(const std::string& document) {
  const Told told(document);
  std::set<Standing> entries;
  for (const auto& [one, why] : told.entries()) entries.insert(one);
  EXPECT_EQ(entries, standingIn(document)) << "every entry is told, and nothing else";
  int gone = 0;
  int kept = 0;
  for (const U32 line : told.lines()) {
    const std::set<Standing> left = standingIn(withoutLine(document, line));
    for (const auto& [one, why] : told.entries()) {
      const bool stands = Told::standsWithout(line, why);
      EXPECT_EQ(left.contains(one), stands) << textOf(one) << " without line " << line;
      ++(stands ? kept : gone);
    }
  }
  return {gone, kept};
}

TEST(WhyCauses, EachLineThatTheLeafSpineExampleNamesIsACause) {
  const auto [gone, kept] = takeOutEachLine(textOfFile(inRepository("examples/leaf-spine.yaml")));
  EXPECT_GT(gone, 50);
  EXPECT_GT(kept, 50);
}

TEST(WhyCauses, EachLineThatTheTwoSwitchesExampleNamesIsACause) {
  const auto [gone, kept] = takeOutEachLine(textOfFile(inRepository("examples/two-switches.yaml")));
  EXPECT_GT(gone, 50);
  EXPECT_GT(kept, 50);
}

// Groups, VTEPs, VNIs of clients and of maps, domains of ports and of hosts, a remote host, two
// hosts of one hostname on one port, a request for the hostname of a switch.
constexpr const char* everything = R"(fabrion: 1
switches:
  leaf1:
    ports: ["e[1-9]"]
    groups: {po1: [e1, e2]}
    vteps: vtep1
hosts:
  srv1: {hostname: compute1, ports: "eth[0-1]"}
  srv2: {hostname: compute2, ports: eth0}
  srv3: {hostname: compute2, ports: eth0}
  box1:
links:
  - [leaf1:e1, srv1:eth0]
  - [leaf1:e2, srv1:eth1]
  - [leaf1:e3, srv2:eth0]
  - [leaf1:e3, srv3:eth0]
requests:
  - {client: acme, hostname: compute1, vlans: 100-109, domains: acme-prod/eu}
  - {client: blue, hostname: compute1, vlans: 200, vnis: {200: 20200}}
  - {client: acme, hostname: compute2, vlans: 100, vnis: {100: 10100}}
  - {client: blue, hostname: compute2, vlans: 100, vnis: {100: 10100}}
  - {client: acme, switch: leaf1, port: e4, vlans: 100-105, domains: acme-prod/eu, native: 100}
  - {client: blue, switch: leaf1, port: e4, vlans: 100-105, domains: acme-prod/eu, native: 100}
  - {client: acme, switch: leaf1, port: e5, vlans: 300, vnis: {300: 30300}, remote hosts: box1}
  - {client: acme, hostname: box1, vlans: 301, vnis: {301: 30301}}
  - {client: acme, switch: leaf1, port: e1, vlans: 104, domains: [[acme-prod, eu], other], native: 7}
  - {client: blue, switch: leaf1, port: e2, native: 7}
  - {client: blue, hostname: leaf1, vlans: 400}
static maps:
  acme-prod/eu:
    100-104: 10100-10104
    105-199: 20105-20199
  other: {50-60: 5050-5060}
)";

TEST(WhyCauses, EachLineOfAFabricWithEverythingInItIsACause) {
  const auto [gone, kept] = takeOutEachLine(everything);
  EXPECT_GT(gone, 50);
  EXPECT_GT(kept, 50);
}

// Lines of one request, and of two, that ask for the same VLANs, and twice for some in one line.
constexpr const char* overlaps = R"(fabrion: 1
switches:
  leaf:
    ports: [e1, e2, e3]
    groups: {po1: e3}
hosts:
  srv: {ports: [p1, p2]}
links:
  - [leaf:e2, srv:p1]
  - [leaf:e3, srv:p2]
requests:
  - client: acme
    switch: leaf
    port: e1
    vlans:
      - 10-14, 12-15
      - 13-20, 30
      - 18-19, 30
      - 30
  - client: blue
    hostname: srv
    vlans:
      - 11-14
      - 14-16
      - 1-100
  - {client: blue, switch: leaf, port: e1, vlans: 14}
)";

TEST(WhyCauses, EachLineThatAsksForAVlanIsACauseOfIt) {
  const auto [gone, kept] = takeOutEachLine(overlaps);
  EXPECT_GT(gone, 10);
  EXPECT_GT(kept, 100);
}

// A fabric at random, one cause to a line. No two lines of it contradict each other for being there
// twice, so that it stays right without any of them.
class RandomFabric {
 public:
  explicit RandomFabric(U32 seed) : random_(seed) {}

  std::string write() {
    text_ = "fabrion: 1\nswitches:\n";
    for (const char* name : {"leaf1", "leaf2"}) {
      text_ += std::string("  ") + name + ":\n    ports: [\"e[1-6]\"]\n";
      if (chance(2)) text_ += "    groups: {po1: [e1, e2]}\n";
      if (chance(2)) text_ += chance(2) ? "    vteps: v1\n" : "    vteps: [v1, v2]\n";
    }
    text_ += "hosts:\n";
    for (const char* host : {"h1", "h2", "h3", "h4"}) {
      const std::string hostname = chance(3) ? std::string(host) : "c" + one(2);
      text_ += std::string("  ") + host + ": {hostname: " + hostname + ", ports: \"p[1-6]\"}\n";
    }
    text_ += "links:\n  - [leaf1:e6, leaf2:e6]\n";
    std::set<std::string> links;
    for (int i = 0; i < 7; ++i) {
      links.insert("  - [leaf" + one(2) + ":e" + one(5) + ", h" + one(4) + ":p" + one(6) + "]\n");
    }
    for (const std::string& link : links) text_ += link;
    text_ += "requests:\n  - {client: idle, hostname: nowhere, vlans: 1}\n";
    writeRequests();
    text_ += "static maps:\n";
    for (const char* domain : {"acme", "acme/eu", "prod"}) {
      text_ += std::string("  ") + domain + ":\n";
      const std::string vni = one(2);
      text_ +=
          "    10-11: " + vni + "010-" + vni + "011\n    12-13: " + vni + "012-" + vni + "013\n";
    }
    return text_;
  }

 private:
  U32 below(U32 most) { return static_cast<U32>(random_() % most); }
  std::string one(U32 most) { return std::to_string(1 + below(most)); }
  bool chance(U32 of) { return below(of) == 0; }

  void writeRequests() {
    for (const char* client : {"acme", "blue"}) {
      std::set<std::string> places;
      for (int i = 0; i < 5; ++i) {
        places.insert("switch: leaf" + one(2) + ", port: e" + one(5));
        places.insert("hostname: " + (chance(2) ? "c" + one(2) : "h" + one(4)));
      }
      if (chance(4)) places.insert("hostname: leaf1");
      for (const std::string& place : places) writeRequest(client, place);
    }
  }

  void writeRequest(const std::string& client, const std::string& place) {
    const U32 low = 10 + below(3);
    const std::string vlan = std::to_string(low);
    text_ += "  - {client: " + client + ", " + place + ", vlans: [" + vlan;
    text_ += chance(2) ? "-13]" : "]";
    if (chance(3)) text_ += ", vnis: {" + vlan + ": " + one(2) + "0" + vlan + "}";
    if (chance(2)) text_ += chance(2) ? ", domains: acme" : ", domains: [acme/eu, prod]";
    if (place.starts_with("switch")) {
      if (chance(3)) text_ += ", native: 1" + one(2);
      if (chance(3)) text_ += ", remote hosts: box";
    }
    text_ += "}\n";
  }

  std::mt19937 random_;
  std::string text_;
};

// Whatever a request names and a port has not got, there is a reason for.
void expectReasons(const std::string& document) {
  const Fabric fabric = parsed(document);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  const auto look = [&](const WhyQuestion& question) {
    for (const PortWhy& port : explain(fabric, controller, question).ports) {
      for (const Absence& absence : port.absences) {
        EXPECT_THAT(absence.reasons, Not(IsEmpty())) << port.name;
        for (const Reason& reason : absence.reasons) {
          EXPECT_NE(reason.kind, ReasonKind::unknown) << question.switchName << " " << port.name;
        }
      }
      if (!question.vlan || !port.memberOf.empty()) continue;
      const auto isAllowed = [](const auto& each) { return each.kind == EntryKind::allowed; };
      EXPECT_NE(std::any_of(port.entries.begin(), port.entries.end(), isAllowed),
                std::any_of(port.absences.begin(), port.absences.end(), isAllowed))
          << "VLAN " << *question.vlan << " is there or absent on " << port.name;
    }
  };
  for (const Node& node : fabric.switches) {
    look({node.name});
    for (const std::string& port : node.ports) {
      for (U32 vlan = 9; vlan < 15; ++vlan) look({node.name, port, vlan});
    }
  }
}

TEST(WhyNot, NothingIsAbsentFromAFabricAtRandomWithoutAReason) {
  for (U32 seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string document = RandomFabric(seed).write();
    expectReasons(document);
    if (testing::Test::HasFailure()) FAIL() << document;
  }
}

TEST(WhyCauses, EachLineOfAFabricAtRandomThatIsNamedIsACause) {
  int allGone = 0;
  int allKept = 0;
  for (U32 seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string document = RandomFabric(seed).write();
    const auto [gone, kept] = takeOutEachLine(document);
    allGone += gone;
    allKept += kept;
    if (HasFailure()) FAIL() << document;
  }
  EXPECT_GT(allGone, 1000);
  EXPECT_GT(allKept, 1000);
}

std::string said(const Fabric& fabric, const Controller& controller, const WhyQuestion& question) {
  return textOf(explain(fabric, controller, question));
}

std::string said(const std::string& document, const WhyQuestion& question) {
  const Fabric fabric = fabricOf(document);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  return said(fabric, controller, question);
}

TEST(Why, AVniOfAGroupIsTracedThroughTheMapToWhoPutTheVlanThere) {
  const Fabric fabric = parsed(everything);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  EXPECT_EQ(said(fabric, controller, {"leaf1", "po1", 104}), R"(leaf1 po1: VLAN 104 is allowed
  because e1 is a member of po1 (fabric.yaml:5)
    because acme asks for VLAN 104 on port e1 (fabric.yaml:26)
    because srv1 (compute1) is behind e1: link leaf1:e1 - srv1:eth0 (fabric.yaml:13)
      because acme asks for VLAN 104 on compute1 (fabric.yaml:18)
  because e2 is a member of po1 (fabric.yaml:5)
    because srv1 (compute1) is behind e2: link leaf1:e2 - srv1:eth1 (fabric.yaml:14)
      because acme asks for VLAN 104 on compute1 (fabric.yaml:18)
leaf1 po1: VLAN 104 has VNI 10104 on VTEP vtep1 (fabric.yaml:6)
  because the static map of acme-prod/eu gives VLANs 100-104 the VNIs 10100-10104 (fabric.yaml:31)
    because e1 is a member of po1 (fabric.yaml:5)
      because acme puts VLAN 104 into domain acme-prod/eu on port e1 (fabric.yaml:26)
      because srv1 (compute1) is behind e1: link leaf1:e1 - srv1:eth0 (fabric.yaml:13)
        because acme puts VLAN 104 into domain acme-prod/eu on compute1 (fabric.yaml:18)
    because e2 is a member of po1 (fabric.yaml:5)
      because srv1 (compute1) is behind e2: link leaf1:e2 - srv1:eth1 (fabric.yaml:14)
        because acme puts VLAN 104 into domain acme-prod/eu on compute1 (fabric.yaml:18)
)");
}

TEST(Why, AVlanThatSeveralLinesAskForHasThemAllAsCauses) {
  const Fabric fabric = parsed(overlaps);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  EXPECT_EQ(said(fabric, controller, {"leaf", "e1", 14}), R"(leaf e1: VLAN 14 is allowed
  because acme asks for VLAN 14 on port e1 (fabric.yaml:16)
  because acme asks for VLAN 14 on port e1 (fabric.yaml:17)
  because blue asks for VLAN 14 on port e1 (fabric.yaml:26)
)");
  EXPECT_EQ(said(fabric, controller, {"leaf", "po1", 14}), R"(leaf po1: VLAN 14 is allowed
  because e3 is a member of po1 (fabric.yaml:5)
    because srv is behind e3: link leaf:e3 - srv:p2 (fabric.yaml:10)
      because blue asks for VLAN 14 on srv (fabric.yaml:23)
      because blue asks for VLAN 14 on srv (fabric.yaml:24)
      because blue asks for VLAN 14 on srv (fabric.yaml:25)
)");
  EXPECT_EQ(said(fabric, controller, {"leaf", "e2", 30}), R"(leaf e2: VLAN 30 is allowed
  because srv is behind e2: link leaf:e2 - srv:p1 (fabric.yaml:9)
    because blue asks for VLAN 30 on srv (fabric.yaml:25)
)");
  // What keeps a VLAN off is told for each line as well.
  EXPECT_EQ(said(R"(
switches: {leaf: {ports: [e1, e2]}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: [1-5, 3-4,
     5-9]}
  - client: acme
    hostname: box
    vlans:
      - 5
      - 5
)",
                 {"leaf", "e2", 5}),
            R"(leaf e2: VLAN 5 is not allowed
  because no host has the hostname box
    though acme asks for VLAN 5 on box (test.yaml:10)
    though acme asks for VLAN 5 on box (test.yaml:11)
)");
  EXPECT_EQ(said(R"(
switches: {leaf: {ports: [e1, e2]}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: [1-5, 3-4,
     5-9]}
)",
                 {"leaf", "e2", 5}),
            R"(leaf e2: VLAN 5 is not allowed
  because no request asks for it here
    though acme asks for VLAN 5 on port leaf:e1 (test.yaml:5)
    though acme asks for VLAN 5 on port leaf:e1 (test.yaml:6)
)");
}

// Even where the VNIs go on as if the two were one.
TEST(Why, EachRangeOfAStaticMapSpeaksForItself) {
  EXPECT_EQ(said(R"(
switches: {leaf: {ports: [e1], vteps: v}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10-13, domains: eu}]
static maps: {eu: {10-11: 110-119, 12: 112, 13-20: 113-120}}
)",
                 {"leaf", "e1", {}}),
            R"(leaf e1: VLANs 10-13 are allowed
  because acme asks for VLANs 10-13 on port e1 (test.yaml:4)
leaf e1: VLANs 10-11 have VNIs 110-111 on VTEP v (test.yaml:3)
  because the static map of eu gives VLANs 10-11 the VNIs 110-111 (test.yaml:5)
    because acme puts VLANs 10-11 into domain eu on port e1 (test.yaml:4)
leaf e1: VLAN 12 has VNI 112 on VTEP v (test.yaml:3)
  because the static map of eu gives VLAN 12 the VNI 112 (test.yaml:5)
    because acme puts VLAN 12 into domain eu on port e1 (test.yaml:4)
leaf e1: VLAN 13 has VNI 113 on VTEP v (test.yaml:3)
  because the static map of eu gives VLANs 13-20 the VNIs 113-120 (test.yaml:5)
    because acme puts VLAN 13 into domain eu on port e1 (test.yaml:4)
)");
}

TEST(Why, ARemoteHostIsNamedWithTheClientThatConfiguredIt) {
  const Fabric fabric = parsed(everything);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  EXPECT_EQ(said(fabric, controller, {"leaf1", "e5", {}}), R"(leaf1 e5: VLAN 300 is allowed
  because acme asks for VLAN 300 on port e5 (fabric.yaml:24)
leaf1 e5: VLAN 301 is allowed
  because acme has configured box1 behind e5 (fabric.yaml:24)
    because acme asks for VLAN 301 on box1 (fabric.yaml:25)
leaf1 e5: VLAN 300 has VNI 30300 on VTEP vtep1 (fabric.yaml:6)
  because acme asks for VNI 30300 for VLAN 300 on port e5 (fabric.yaml:24)
leaf1 e5: VLAN 301 has VNI 30301 on VTEP vtep1 (fabric.yaml:6)
  because acme has configured box1 behind e5 (fabric.yaml:24)
    because acme asks for VNI 30301 for VLAN 301 on box1 (fabric.yaml:25)
)");
}

TEST(Why, VlansWithTheSameCausesAreOneEntryAndPortsWithNothingOneLine) {
  EXPECT_EQ(said(R"(
switches: {leaf: {ports: ["e[1-4]"], groups: {po1: e4}, vteps: v}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: [10-12, 20], vnis: {10-12: 110-112, 20: 7}}
)",
                 {"leaf"}),
            R"(leaf e1: VLANs 10-12,20 are allowed
  because acme asks for VLANs 10-12,20 on port e1 (test.yaml:5)
leaf e1: VLANs 10-12 have VNIs 110-112 on VTEP v (test.yaml:3)
  because acme asks for VNIs 110-112 for VLANs 10-12 on port e1 (test.yaml:5)
leaf e1: VLAN 20 has VNI 7 on VTEP v (test.yaml:3)
  because acme asks for VNI 7 for VLAN 20 on port e1 (test.yaml:5)
leaf e4: a member of po1 (test.yaml:3), which has what is asked for on it
leaf e2, e3, po1: nothing is asked for
leaf: VLANs 10-12,20 are carried
  because of port e1
)");
}

TEST(Why, ASwitchCarriesWhatIsAskedForOnItsHostname) {
  EXPECT_EQ(said(R"(
switches: {leaf: {ports: [e1, e2]}}
requests:
  - {client: acme, switch: leaf, port: e1, vlans: 10}
  - {client: acme, switch: leaf, port: e2, vlans: 10}
  - {client: blue, hostname: leaf, vlans: 10}
)",
                 {"leaf"}),
            R"(leaf e1: VLAN 10 is allowed
  because acme asks for VLAN 10 on port e1 (test.yaml:5)
leaf e2: VLAN 10 is allowed
  because acme asks for VLAN 10 on port e2 (test.yaml:6)
leaf: VLAN 10 is carried
  because of ports e1, e2
  because blue asks for VLAN 10 on leaf (test.yaml:7)
)");
}

TEST(Why, WhatAnEarlierRunLeftIsSaidToBeLeftOver) {
  const Fabric fabric =
      fabricOf("switches: {leaf: {ports: [e1, e2], groups: {po1: e2}, vteps: v}}\n");
  std::vector<Operation> operations = FabricChange().to(fabric);
  for (Operation& operation : operations) {
    if (auto* const made = std::get_if<Op::SwitchNew>(&operation)) {
      made->outputs = {VtepMappings{{{"v", {{"e1", 50, 5000}, {"e2", 51, 5001}, {"x9", 52, 52}}}}}};
    }
  }
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, operations);
  EXPECT_EQ(said(fabric, controller, {"leaf"}),
            R"(leaf e1: VLAN 50 has VNI 5000 on VTEP v (test.yaml:2)
  because it was left over: nothing asks for it any more
leaf e2: a member of po1 (test.yaml:2), which has what is asked for on it
leaf e2: VLAN 51 has VNI 5001 on VTEP v (test.yaml:2)
  because it was left over: nothing asks for it any more
leaf x9: VLAN 52 has VNI 52 on VTEP v (test.yaml:2)
  because it was left over: nothing asks for it any more
leaf po1: nothing is asked for
)");
}

TEST(Why, WhatTheModelKeepsForSomebodyWhomNoDocumentNamesIsLeftOver) {
  const std::string leaf = "switches: {leaf: {ports: [e1]}}\n";
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller,
          FabricChange().to(fabricOf(
              leaf + "requests: [{client: acme, switch: leaf, port: e1, vlans: 9, native: 9}]\n")));
  EXPECT_EQ(said(fabricOf(leaf), controller, {"leaf"}), R"(leaf e1: VLAN 9 is allowed
  because it was left over: acme keeps it, and no document says why
leaf e1: VLAN 9 is native
  because it was left over: acme keeps it, and no document says why
leaf: VLAN 9 is carried
  because of port e1
)");
}

}  // namespace
}  // namespace Fabrion::Host

#endif
