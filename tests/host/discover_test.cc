// `fabrion discover`: on what real instances of lldpd printed, and on what they print seldom.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "host/DiscoverCommand.h"
#include "host/DiscoveredDocument.h"
#include "host/Discovery.h"
#include "tests/host/Texts.h"

namespace Fabrion::Host {
namespace {

using Test::inRepository;
using Test::linesOf;
using Test::textOfFile;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

struct Result {
  Outcome outcome;
  std::string out;
  std::string err;
};

Result discovered(const DiscoverOptions& options) {
  std::ostringstream out;
  std::ostringstream err;
  const Outcome outcome = discover(options, out, err);
  return {outcome, out.str(), err.str()};
}

std::vector<std::string> captures(const std::string& folder) {
  return {folder + "/leaf1.json", folder + "/leaf2.json", folder + "/spine1.json"};
}

std::string written(const std::string& name, const std::string& text) {
  std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

// A neighbour in the form json0.
std::string neighbor(const std::string& interface, const std::string& name, const std::string& port,
                     const std::string& more = "", const std::string& chassis = "02:00:00:00:00:01",
                     const std::string& capability = "Station") {
  return R"({"name":")" + interface +
         R"(","via":"LLDP","chassis":[{"id":[{"type":"mac","value":")" + chassis + R"("}],)" +
         (name.empty() ? "" : R"("name":[{"value":")" + name + R"("}],)") +
         R"("capability":[{"type":")" + capability + R"(","enabled":true}]}],"port":[{)" + port +
         more + "}]}";
}
std::string ifname(const std::string& name) {
  return R"("id":[{"type":"ifname","value":")" + name + R"("}])";
}
std::string macOnly(const std::string& mac) {
  return R"("id":[{"type":"mac","value":")" + mac + R"("}])";
}

SwitchNeighbors seenBy(const std::string& name, const std::vector<std::string>& neighbors) {
  std::string list;
  for (const std::string& one : neighbors) list += (list.empty() ? "" : ",") + one;
  auto read = readLldpNeighbors(R"({"lldp":[{"interface":[)" + list + "]}]}");
  if (const auto* const wrong = std::get_if<Wrong>(&read)) {
    ADD_FAILURE() << wrong->text;
    return {};
  }
  return {name, name + ".json", std::get<std::vector<LldpNeighbor>>(read)};
}

Discovered found(const std::vector<SwitchNeighbors>& switches, const DiscoveryHints& hints = {}) {
  auto made = discover(switches, hints);
  if (const auto* const wrong = std::get_if<std::vector<std::string>>(&made)) {
    ADD_FAILURE() << testing::PrintToString(*wrong);
    return {};
  }
  const auto& all = std::get<Discovered>(made);
  const FabricOrProblems read = parseFabric({{"discovered", documentOf(all, {})}});
  if (const auto* const problems = std::get_if<std::vector<Problem>>(&read)) {
    for (const Problem& problem : *problems) ADD_FAILURE() << toString(problem);
  }
  return all;
}

std::vector<std::string> linksOf(const Discovered& discovered) {
  std::vector<std::string> links;
  for (const Link& link : discovered.fabric.links) {
    links.push_back(link.a.node + ":" + link.a.port + " " + link.b.node + ":" + link.b.port);
  }
  return links;
}

std::string wrongIn(const std::string& text) {
  const auto read = readLldpNeighbors(text);
  const auto* const wrong = std::get_if<Wrong>(&read);
  return wrong != nullptr ? wrong->text : "";
}

TEST(Discover, TheExampleIsWhatItsSwitchesSee) {
  const Result result = discovered({captures("examples/lldp"), {}, {}, {}});
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_EQ(result.out, textOfFile(inRepository("examples/lldp/topology.yaml")));
  EXPECT_THAT(result.err, HasSubstr("note: 'leaf1': ports 'e1', 'e2' lead to ports that"));
}

TEST(Discover, BothFormsOfLldpcliAreReadAlike) {
  EXPECT_EQ(discovered({captures("examples/lldp/json"), {}, {}, {}}).out,
            discovered({captures("examples/lldp"), {}, {}, {}}).out);
}

TEST(Discover, TheOrderOfFilesDoesNotShow) {
  std::vector<std::string> files = captures("examples/lldp");
  std::reverse(files.begin(), files.end());
  const Result forwards = discovered({captures("examples/lldp"), {}, {}, {}});
  const Result backwards = discovered({files, {}, {}, {}});
  EXPECT_EQ(forwards.out, backwards.out);
  EXPECT_EQ(forwards.err, backwards.err);
}

TEST(Discover, ItsDocumentTogetherWithRequestsIsAFabric) {
  const FabricOrProblems read =
      readFabric({"examples/lldp/topology.yaml", "examples/lldp/requests.yaml"});
  ASSERT_TRUE(std::holds_alternative<Fabric>(read));
  EXPECT_THAT(std::get<Fabric>(read).hostnameRequests, SizeIs(2));
  EXPECT_THAT(std::get<Fabric>(read).links, SizeIs(5));
}

TEST(Discover, EachNoteIsACommentAndALine) {
  const Result result = discovered({captures("examples/lldp"), {}, {}, {}});
  std::string comments;  // without the line breaks in them
  for (const std::string& line : linesOf(result.out)) {
    const std::size_t text = line.find_first_not_of(" #");
    if (line.find('#') < text) comments += line.substr(text) + " ";
  }
  const std::vector<std::string> notes = linesOf(result.err);
  EXPECT_THAT(notes, SizeIs(4));
  for (const std::string& note : notes) {
    EXPECT_THAT(comments, HasSubstr(note.substr(note.find("': ") + 3) + "."));
  }
}

// ---- Names of switches

TEST(Discover, ASwitchIsNamedByItsOptionOrItsFile) {
  const std::string file = written(
      "edge.show", R"({"lldp":[{"interface":[)" + neighbor("e1", "h", ifname("eth0")) + "]}]}");
  EXPECT_THAT(discovered({{file}, {}, {}, {}}).out, HasSubstr("  edge:\n    ports: [e1]\n"));
  EXPECT_THAT(discovered({{}, {"leaf=" + file}, {}, {}}).out, HasSubstr("  leaf:\n"));
  const Result twice = discovered({{file}, {"edge=" + file}, {}, {}});
  EXPECT_EQ(twice.outcome, Outcome::mistake);
  EXPECT_EQ(twice.err, file + ": switch 'edge' has a file already, " + file +
                           "; expected one file for each switch\n");
}

TEST(Discover, APortWithoutNeighboursIsAddedByItsOption) {
  const Result result =
      discovered({captures("examples/lldp"), {}, {}, {"leaf2=e[9-11]", "leaf2=e1"}});
  EXPECT_THAT(result.out, HasSubstr("  leaf2:\n    ports: [e1, e9, e10, e11, e49]\n"));
  EXPECT_EQ(discovered({captures("examples/lldp"), {}, {}, {"leaf9=e1"}}).err,
            "--ports leaf9=e1: no file of a switch 'leaf9'\n");
}

TEST(Discover, ASwitchThatGivesItsDomainIsTheOneWithTheFile) {
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "b.example.net", ifname("e9"), "", "1", "Bridge")}),
             seenBy("b", {neighbor("e9", "a", ifname("e1"), "", "2", "Bridge")})});
  EXPECT_THAT(linksOf(all), ElementsAre("a:e1 b:e9"));
  EXPECT_THAT(
      all.nodeNotes.at("b"),
      ElementsAre("calls itself 'b.example.net'; taken for the switch 'b' that has a file"));
}

// ---- Ports

TEST(Discover, APortIsNamedByItsIdOrItsDescription) {
  const Discovered all = found({seenBy(
      "a", {neighbor("e1", "x", ifname("eth1"), R"(,"descr":[{"value":"to the lab"}])"),
            neighbor("e2", "x", macOnly("02:00:00:00:00:02"), R"(,"descr":[{"value":"eth2"}])"),
            neighbor("e10", "x", macOnly("02:00:00:00:00:03"),
                     R"(,"descr":[{"value":"to the lab"}])")})});
  EXPECT_THAT(linksOf(all), ElementsAre("a:e1 x:eth1", "a:e2 x:eth2", "a:e10 x:02:00:00:00:00:03"));
  EXPECT_THAT(all.linkNotes.at(all.fabric.links[2]),
              ElementsAre("'02:00:00:00:00:03' of 'x' is known by an id of the kind 'mac' alone, "
                          "which need not be the name of the port"));
}

TEST(Discover, ASwitchTellsTheNamesOfItsOwnPorts) {
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "b", macOnly("02:00:00:00:00:09"), "", "1", "Bridge")}),
             seenBy("b", {neighbor("e9", "a", ifname("e1"), "", "2", "Bridge"),
                          neighbor("e8", "a", ifname("e2"), "", "2", "Bridge")})});
  EXPECT_THAT(linksOf(all), ElementsAre("a:e1 b:e9", "a:e2 b:e8"));
  EXPECT_THAT(all.linkNotes.at(all.fabric.links[1]),
              ElementsAre("'e8' of 'b' sees 'e2' of 'a', which has a file and does not see it "
                          "back"));
  EXPECT_FALSE(all.linkNotes.contains(all.fabric.links[0]));
}

TEST(Discover, TheOnlyLinkOfTwoSwitchesIsKnownWithoutNames) {
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "b", macOnly("02::9"), "", "1", "Bridge")}),
             seenBy("b", {neighbor("e9", "a", macOnly("02::1"), "", "2", "Bridge")})});
  EXPECT_THAT(linksOf(all), ElementsAre("a:e1 b:e9"));
}

TEST(Discover, SeveralNeighboursOnAPortAreALinkEach) {
  const Discovered all = found({seenBy("a", {neighbor("e1", "x", ifname("eth0"), "", "1"),
                                             neighbor("e1", "y", ifname("eth0"), "", "2")})});
  EXPECT_THAT(linksOf(all), ElementsAre("a:e1 x:eth0", "a:e1 y:eth0"));
  EXPECT_THAT(all.nodeNotes.at("a"), Contains(HasSubstr("'e1' of 'a' has 2 neighbours")));
}

TEST(Discover, ANeighbourIsSomeoneElse) {
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "a", ifname("e1")), neighbor("e2", "a", ifname("e3")),
                          neighbor("e3", "a", ifname("e2"))})});
  EXPECT_THAT(linksOf(all), ElementsAre("a:e2 a:e3"));
  EXPECT_THAT(all.nodeNotes.at("a"), ElementsAre("'e1' of 'a' hears itself; no link"));
}

// ---- Nodes

TEST(Discover, WithoutANameTheChassisIsOne) {
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "", ifname("eth0"), "", "02:00:00:00:00:07")})});
  ASSERT_THAT(all.fabric.hosts, SizeIs(1));
  EXPECT_EQ(all.fabric.hosts[0].name, "02:00:00:00:00:07");
  EXPECT_THAT(all.nodeNotes.at("02:00:00:00:00:07"), Contains(HasSubstr("tells no name")));
}

TEST(Discover, NamesakesAreToldApartAndKeepTheirHostname) {
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "localhost", ifname("eth0"), "", "02:07"),
                          neighbor("e2", "localhost", ifname("eth0"), "", "02:08")})});
  ASSERT_THAT(all.fabric.hosts, SizeIs(2));
  EXPECT_EQ(all.fabric.hosts[0].name, "localhost-02:07");
  EXPECT_EQ(all.fabric.hosts[1].name, "localhost-02:08");
  EXPECT_EQ(all.fabric.hosts[1].hostname, "localhost");
}

TEST(Discover, WhoBridgesOrRoutesIsASwitchUnlessCalledAHost) {
  const std::vector<SwitchNeighbors> seen{
      seenBy("a", {neighbor("e1", "r", ifname("x"), "", "1", "Router"),
                   neighbor("e2", "s", ifname("x"), "", "2", "Station"),
                   neighbor("e3", "t", ifname("x"), "", "3", "Tel"),
                   neighbor("e4", "h", ifname("x"), "", "4", "Bridge")})};
  const Discovered all = found(seen, {{"h"}, {}});
  std::vector<std::string> switches;
  for (const Node& node : all.fabric.switches) switches.push_back(node.name);
  EXPECT_THAT(switches, ElementsAre("a", "r"));
  EXPECT_THAT(all.nodeNotes.at("r"), Contains(HasSubstr("has no file; taken for a switch")));
  EXPECT_THAT(all.nodeNotes.at("t"), Contains(HasSubstr("taken for a host")));
  EXPECT_FALSE(all.nodeNotes.contains("s"));
}

TEST(Discover, PortsAreBundledWhereTheirOwnerSaysSo) {
  const std::string bundle = R"(,"aggregation":[{"value":"7"}])";
  const std::string none = R"(,"aggregation":[{"value":"0"}])";
  const Discovered all =
      found({seenBy("a", {neighbor("e1", "b", ifname("e1"), bundle, "1", "Bridge"),
                          neighbor("e2", "b", ifname("e2"), bundle, "1", "Bridge"),
                          neighbor("e3", "b", ifname("e3"), none, "1", "Bridge")}),
             seenBy("b", {neighbor("e1", "a", ifname("e1"), bundle, "2", "Bridge"),
                          neighbor("e2", "a", ifname("e2"), bundle, "2", "Bridge"),
                          neighbor("e3", "a", ifname("e3"), "", "2", "Bridge")})});
  for (const Node& node : all.fabric.switches) {
    EXPECT_THAT(node.groups, ElementsAre(PortGroup{"lag7", {"e1", "e2"}})) << node.name;
    EXPECT_THAT(all.nodeNotes.at(node.name), SizeIs(1)) << "both ends are told";
  }
}

TEST(Discover, ASwitchWithoutNeighboursIsLeftOut) {
  for (const char* const text : {R"({"lldp": {}})", R"({"lldp": [{}]})"}) {
    const std::string file = written("lonely.json", text);
    const Result result = discovered({{file}, {}, {}, {}});
    EXPECT_EQ(result.outcome, Outcome::done);
    EXPECT_EQ(result.err,
              "note: switch 'lonely' has no neighbours, so no port of it is known; it is left "
              "out\n");
    EXPECT_THAT(result.out, Not(HasSubstr("switches:")));
  }
}

TEST(Discover, NamesAreQuotedWhereYamlNeedsIt) {
  const Discovered all =
      found({seenBy("null", {neighbor("1.10", "a b, {c}: #d", ifname("- x"), "", "1"),
                             neighbor("e2", "say \\\"hi\\\"", ifname("\\\\"), "", "2")})});
  EXPECT_THAT(linksOf(all), ElementsAre("null:1.10 a b, {c}: #d:- x", "null:e2 say \"hi\":\\"));
}

TEST(Discover, NumbersInNamesCountAsNumbers) {
  EXPECT_TRUE(naturallyBefore("e2", "e10"));
  EXPECT_FALSE(naturallyBefore("e10", "e2"));
  EXPECT_TRUE(naturallyBefore("e1/9", "e1/10"));
  EXPECT_TRUE(naturallyBefore("e01", "e1"));
  EXPECT_FALSE(naturallyBefore("e1", "e1"));
  EXPECT_TRUE(naturallyBefore("e", "e1"));
  EXPECT_TRUE(naturallyBefore("e99999999999999999999998", "e99999999999999999999999"));
}

// ---- Mistakes

TEST(Discover, WhatIsNoJsonIsToldByLineAndColumn) {
  const std::string expected = "; expected what lldpcli -f json0 show neighbors prints";
  EXPECT_EQ(wrongIn("{\n  \"lldp\": [}"), "line 2, column 12: no JSON" + expected);
  EXPECT_EQ(wrongIn(""), "line 1, column 1: no JSON" + expected);
}

TEST(Discover, WhatHasAnotherShapeIsToldByItsPlace) {
  EXPECT_EQ(wrongIn("[]"), ".: an empty list; expected an object");
  EXPECT_EQ(wrongIn("{}"), ".: no \"lldp\"; expected what lldpcli -f json0 show neighbors prints");
  EXPECT_EQ(wrongIn(R"({"lldp": 5})"), ".lldp: the number 5; expected an object");
  EXPECT_EQ(wrongIn(R"({"lldp": {"interface": ["e1"]}})"),
            ".lldp.interface[0]: the text 'e1'; expected an interface");
  EXPECT_EQ(wrongIn(R"({"lldp": {"interface": {"e1/1": {"via": "LLDP"}}}})"),
            ".lldp.interface[\"e1/1\"]: no \"chassis\"; expected the neighbour's chassis");
  EXPECT_EQ(wrongIn(R"({"lldp": {"interface": {"e1": {"chassis": {"x": {}}, "port": {}}}}})"),
            ".lldp.interface.e1.chassis.x: no \"id\"; expected the id of the chassis");
  EXPECT_EQ(wrongIn(R"({"lldp":[{"interface":[{"name":"e1","chassis":[{"id":[{"type":"mac",)"
                    R"("value":[1]}]}],"port":[]}]}]})"),
            ".lldp[0].interface[0].chassis[0].id[0].value[0]: the number 1; expected a text");
}

TEST(Discover, AllMistakesOfAllFilesAreTold) {
  const std::string one = written("one.json", "{");
  const std::string two = written(
      "two.json", R"({"lldp":[{"interface":[)" + neighbor("e1", "x", ifname("e[1]")) + "]}]}");
  const Result broken = discovered({{one, "/nowhere/three.json"}, {}, {}, {}});
  EXPECT_EQ(broken.outcome, Outcome::mistake);
  EXPECT_EQ(
      broken.err,
      one + ": line 1, column 2: no JSON; expected what lldpcli -f json0 show neighbors prints\n" +
          "/nowhere/three.json: No such file or directory\n");
  EXPECT_THAT(broken.out, IsEmpty());
  EXPECT_EQ(discovered({{two}, {}, {}, {}}).err,
            two +
                ": .lldp[0].interface[0]: no name of a port: 'e[1]'; expected one port, and no "
                "range\n");
}

TEST(Discover, NamesThatNoFabricHoldsTogetherAreAMistake) {
  const std::string file = written(
      "fabrion.json", R"({"lldp":[{"interface":[)" + neighbor("e1", "x", ifname("e")) + "]}]}");
  const Result result = discovered({{file}, {}, {}, {}});
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_THAT(result.out, IsEmpty());
  EXPECT_THAT(result.err, HasSubstr("what was discovered is no fabric: a switch named 'fabrion'"));
}

// ---- The real thing

TEST(Discover, RealInstancesOfLldpdAreReadAsTheExample) {
  const std::string folder = testing::TempDir() + "lldp-fabric";
  std::filesystem::remove_all(folder);
  const int status =
      std::system((inRepository("tests/host/lldp_fabric.sh") + " '" + folder + "'").c_str());
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) {
    GTEST_SKIP() << "It takes lldpd, iproute2 and the right to make network namespaces.";
  }
  ASSERT_EQ(WEXITSTATUS(status), 0);
  const std::string expected = textOfFile(inRepository("examples/lldp/topology.yaml"));
  EXPECT_EQ(discovered({captures(folder + "/json0"), {}, {}, {}}).out, expected);
  EXPECT_EQ(discovered({captures(folder + "/json"), {}, {}, {}}).out, expected);
}

}  // namespace
}  // namespace Fabrion::Host
