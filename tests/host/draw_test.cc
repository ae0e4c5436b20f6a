// `fabrion draw`: that everything of a fabric is in its picture, and nothing over something else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <pugixml.hpp>
#include <regex>
#include <set>
#include <sstream>

#include "host/Controller.h"
#include "host/DrawCommand.h"
#include "host/FabricChange.h"
#include "host/FabricLayers.h"
#include "host/FabricPicture.h"
#include "host/FabricSvg.h"
#include "host/Module.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::fabricOf;
using Test::inRepository;
using Test::textOfFile;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

struct Result {
  Outcome outcome;
  std::string out;
  std::string err;
};

Result drawn(const DrawOptions& options) {
  std::ostringstream out;
  std::ostringstream err;
  const Outcome outcome = draw(options, out, err, loadModule(FABRION_MODULE));
  return {outcome, out.str(), err.str()};
}

Report reportOn(const Fabric& fabric) {
  Controller controller(loadModule(FABRION_MODULE));
  for (const Operation& operation : FabricChange().to(fabric)) controller.apply(operation);
  return reportOf(fabric, controller);
}

Picture pictured(const std::string& document) {
  const Fabric fabric = fabricOf(document);
  return pictureOf(fabric, reportOn(fabric));
}

const DrawnNode& nodeOf(const Picture& picture, const std::string& name) {
  for (const DrawnNode& node : picture.nodes) {
    if (node.name == name) return node;
  }
  ADD_FAILURE() << "no " << name;
  return picture.nodes[0];
}

const DrawnPort& portOf(const DrawnNode& node, const std::string& name) {
  for (const DrawnPort& port : node.ports) {
    if (port.name == name) return port;
  }
  ADD_FAILURE() << "no " << name << " on " << node.name;
  return node.ports[0];
}

// Four spines, `leaves` of `hosts` each; every first host with two links, every second at two
// leaves.
std::string cluster(int leaves, int hosts) {
  std::ostringstream nodes;
  std::ostringstream servers;
  std::ostringstream links;
  nodes << "switches:\n";
  for (int spine = 1; spine <= 4; ++spine) {
    nodes << "  spine" << spine << ": {ports: \"e[1-" << leaves << "]\"}\n";
  }
  for (int leaf = 1; leaf <= leaves; ++leaf) {
    nodes << "  leaf" << leaf << ": {ports: \"e[1-56]\", groups: {po1: [e1, e2]}}\n";
    for (int spine = 1; spine <= 4; ++spine) {
      links << "  - [leaf" << leaf << ":e" << 52 + spine << ", spine" << spine << ":e" << leaf
            << "]\n";
    }
    for (int host = 1; host <= hosts; ++host) {
      const std::string name = "rack" + std::to_string(leaf) + "-server" + std::to_string(host);
      servers << "  " << name << ": {ports: \"eth[0-1]\"}\n";
      links << "  - [leaf" << leaf << ":e" << (host == 1 ? 1 : host + 1) << ", " << name
            << ":eth0]\n";
      if (host == 1) links << "  - [leaf" << leaf << ":e2, " << name << ":eth1]\n";
      if (host == 2) {
        links << "  - [leaf" << leaf % leaves + 1 << ":e52, " << name << ":eth1]\n";
      }
    }
  }
  return nodes.str() + "hosts:\n" + servers.str() + "links:\n" + links.str();
}

bool apart(const Rectangle& a, const Rectangle& b) {
  return a.right() <= b.x || b.right() <= a.x || a.bottom() <= b.y || b.bottom() <= a.y;
}

// An edge may fall on the other, but for rounding.
bool inside(const Rectangle& inner, const Rectangle& outer) {
  constexpr double rounding = 1e-6;
  return inner.x >= outer.x - rounding && inner.right() <= outer.right() + rounding &&
         inner.y >= outer.y - rounding && inner.bottom() <= outer.bottom() + rounding;
}

// ---- Files

TEST(Draw, ATinyFabricIsDrawnAsOnFile) {
  const Result result = drawn({{"tests/data/tiny.yaml"}, "-"});
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_EQ(result.out, textOfFile(inRepository("tests/data/tiny.svg")));
}

// To bring it up to date: fabrion draw examples/leaf-spine.yaml -o examples/leaf-spine.svg
TEST(Draw, ThePictureOfTheExampleIsTheOneThatTheReadmeShows) {
  EXPECT_EQ(drawn({{"examples/leaf-spine.yaml"}, "-"}).out,
            textOfFile(inRepository("examples/leaf-spine.svg")));
  EXPECT_THAT(textOfFile(inRepository("README.md")), HasSubstr("(examples/leaf-spine.svg)"));
}

TEST(Draw, APictureGoesToItsFile) {
  const std::string file = testing::TempDir() + "tiny.svg";
  const Result result = drawn({{"tests/data/tiny.yaml"}, file});
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_THAT(result.out, IsEmpty());
  EXPECT_EQ(textOfFile(file), textOfFile(inRepository("tests/data/tiny.svg")));
}

TEST(Draw, AMistakeLeavesTheFileAsItIs) {
  const std::string document = testing::TempDir() + "mistaken.yaml";
  const std::string file = testing::TempDir() + "kept.svg";
  std::ofstream(document) << "fabrion: 1\nswitches: {a: {}}\n";
  std::ofstream(file) << "kept";
  EXPECT_EQ(drawn({{document}, file}).outcome, Outcome::mistake);
  EXPECT_EQ(textOfFile(file), "kept");
  EXPECT_EQ(drawn({{document}, document}).err,
            "fabrion: " + document + " is a document; the picture would overwrite it\n");
  EXPECT_EQ(drawn({{"tests/data/tiny.yaml"}, "/nowhere/fabric.svg"}).outcome, Outcome::mistake);
}

// ---- What is in it

TEST(Draw, EachNodePortAndLinkIsThere) {
  const Fabric fabric = fabricOf(cluster(3, 9));
  pugi::xml_document svg;
  ASSERT_TRUE(svg.load_string(svgOf(pictureOf(fabric, reportOn(fabric))).c_str()));
  std::multiset<std::string> titles;  // their first lines
  for (const pugi::xpath_node& title : svg.select_nodes("//title")) {
    const std::string text = title.node().text().get();
    titles.insert(text.substr(0, text.find('\n')));
  }
  for (const auto* const nodes : {&fabric.switches, &fabric.hosts}) {
    for (const Node& node : *nodes) {
      EXPECT_EQ(titles.count(node.name), 1U) << node.name;
      for (const std::string& port : node.ports) {
        EXPECT_EQ(titles.count(node.name + " " + port), 1U) << node.name << " " << port;
      }
    }
  }
  for (const Link& link : fabric.links) {
    EXPECT_EQ(
        titles.count(link.a.node + ":" + link.a.port + " - " + link.b.node + ":" + link.b.port),
        1U);
  }
  EXPECT_EQ(svg.select_nodes("//path[starts-with(@class, 'link') and title]").size(),
            fabric.links.size());
}

TEST(Draw, AConflictIsMarkedAndTold) {
  const Picture picture = pictured(
      "switches: {a: {ports: [e1, e2]}}\n"
      "requests:\n"
      "  - {client: acme, switch: a, port: e1, vlans: 10, native: 10}\n"
      "  - {client: blue, switch: a, port: e1, vlans: 20, native: 20}\n"
      "  - {client: blue, switch: a, port: e2, vlans: 20, native: 20}\n");
  EXPECT_EQ(portOf(picture.nodes[0], "e1").look, PortLook::conflict);
  EXPECT_EQ(portOf(picture.nodes[0], "e2").look, PortLook::carrying);
  EXPECT_THAT(picture.conflicts,
              ElementsAre(StartsWith("Conflict on a, port e1: native VLANs 10 (acme), 20 (blue)")));
  EXPECT_THAT(svgOf(picture), HasSubstr("class=\"port conflict\""));
}

TEST(Draw, PortsTellWhatTheyCarry) {
  const Picture picture = pictured(
      "switches: {a: {ports: \"e[1-4]\", groups: {po1: [e1, e2]}}}\n"
      "hosts: {h: {ports: eth0}}\n"
      "links: [[a:e3, h:eth0]]\n"
      "requests:\n"
      "  - {client: acme, switch: a, port: e1, vlans: 10-12}\n"
      "  - {client: acme, switch: a, port: e3, vlans: 7, native: 7}\n");
  const DrawnNode& a = nodeOf(picture, "a");
  EXPECT_THAT(portOf(a, "e2").title, StartsWith("a e2\nmember of po1\nVLANs: 10-12"));
  EXPECT_THAT(portOf(a, "e3").title, HasSubstr("VLANs: 7\nnative VLAN: 7\nto h:eth0"));
  EXPECT_EQ(portOf(a, "e4").look, PortLook::unused);
  ASSERT_THAT(a.groups, SizeIs(1));
  EXPECT_TRUE(inside(portOf(a, "e1").at, a.groups[0].at));
  EXPECT_TRUE(inside(portOf(a, "e2").at, a.groups[0].at));
  EXPECT_FALSE(inside(portOf(a, "e3").at, a.groups[0].at));
}

TEST(Draw, ARemoteHostHangsOnItsPort) {
  const Picture picture = pictured(
      "switches: {a: {ports: e1}}\n"
      "requests: [{client: acme, switch: a, port: e1, vlans: 10, remote hosts: [r1, r2]}]\n");
  EXPECT_TRUE(nodeOf(picture, "r2").isRemote);
  ASSERT_THAT(picture.links, SizeIs(2));
  EXPECT_TRUE(picture.links[0].remote);
}

TEST(Draw, NamesMayHoldWhatXmlEscapes) {
  const std::string name = "<a href='x'>&\"]]>\xef\xbf\xbf";
  const Picture picture = pictured("switches: {\"<a href='x'>&\\\"]]>\xef\xbf\xbf\": {ports: e1}}");
  EXPECT_EQ(picture.nodes[0].name, name);
  pugi::xml_document svg;
  ASSERT_TRUE(svg.load_string(svgOf(picture).c_str()));
  EXPECT_STREQ(svg.select_node("//g[@class='switch']/text[@class='name']").node().text().get(),
               "<a href='x'>&\"]]>\xef\xbf\xbd");
}

TEST(Draw, ColoursFollowTheScreenAndNotThePaper) {
  const std::string svg = svgOf(pictured("switches: {a: {ports: e1}}"));
  EXPECT_THAT(svg, HasSubstr("@media screen and (prefers-color-scheme: dark)"));
  EXPECT_THAT(svg, testing::Not(HasSubstr("<script")));
}

TEST(Draw, AnEmptyFabricIsAPictureToo) {
  pugi::xml_document svg;
  EXPECT_TRUE(svg.load_string(svgOf(pictured("")).c_str()));
}

// ---- Where it stands

TEST(Draw, SpinesStandAboveLeavesAboveHosts) {
  const Fabric fabric = fabricOf(
      "switches: {s: {ports: [e1, e2]}, t: {ports: [e1]}, l: {ports: [e1, e2]}, m: {ports: e1},\n"
      "  alone: {ports: e1}}\n"
      "hosts: {h: {ports: eth0}}\n"
      "links: [[t:e1, s:e1], [s:e2, l:e1], [l:e2, h:eth0]]\n"
      "requests: [{client: acme, switch: m, port: e1, vlans: 10}]\n");
  const Report report = reportOn(fabric);
  EXPECT_THAT(layersOf(fabric, report),
              UnorderedElementsAre(Pair("l", 1U), Pair("m", 1U), Pair("s", 2U), Pair("t", 3U),
                                   Pair("alone", 1U)));
  const Picture picture = pictureOf(fabric, report);
  EXPECT_LT(nodeOf(picture, "t").at.bottom(), nodeOf(picture, "s").at.y);
  EXPECT_LT(nodeOf(picture, "s").at.bottom(), nodeOf(picture, "l").at.y);
  EXPECT_EQ(nodeOf(picture, "l").at.y, nodeOf(picture, "m").at.y);
  EXPECT_LT(nodeOf(picture, "l").at.bottom(), nodeOf(picture, "h").at.y);
  EXPECT_TRUE(portOf(nodeOf(picture, "l"), "e1").onTop);
  EXPECT_FALSE(portOf(nodeOf(picture, "l"), "e2").onTop);
}

class Cluster : public testing::TestWithParam<std::pair<int, int>> {};

TEST_P(Cluster, NothingStandsOnSomethingElse) {
  const auto& [leaves, hosts] = GetParam();
  const Picture picture = pictured(cluster(leaves, hosts));
  const Rectangle paper{0, 0, picture.width, picture.legendY};
  for (std::size_t i = 0; i < picture.nodes.size(); ++i) {
    const DrawnNode& node = picture.nodes[i];
    EXPECT_TRUE(inside(node.at, paper)) << node.name;
    for (std::size_t j = 0; j < i; ++j) {
      EXPECT_TRUE(apart(node.at, picture.nodes[j].at)) << node.name << picture.nodes[j].name;
    }
    for (std::size_t p = 0; p < node.ports.size(); ++p) {
      EXPECT_TRUE(inside(node.ports[p].at, node.at)) << node.ports[p].title;
      for (std::size_t q = 0; q < p; ++q) {
        EXPECT_TRUE(apart(node.ports[p].at, node.ports[q].at)) << node.ports[p].title;
      }
    }
  }
}

TEST_P(Cluster, EachLinkHasALineOfItsOwnBesideTheHosts) {
  const auto& [leaves, hosts] = GetParam();
  const Picture picture = pictured(cluster(leaves, hosts));
  const std::regex channel(" ([0-9.]+) ([0-9.]+)V([0-9.]+)");
  std::set<std::string> seen;
  for (const DrawnLink& link : picture.links) {
    std::smatch match;
    if (!std::regex_search(link.path, match, channel)) continue;
    EXPECT_TRUE(seen.insert(match[1]).second) << link.title;
    const double x = std::strtod(match[1].str().c_str(), nullptr);
    for (const DrawnNode& node : picture.nodes) {
      if (!node.isSwitch) {
        EXPECT_TRUE(x < node.at.x || x > node.at.right()) << link.title;
      }
    }
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(leaves * (hosts + 2)));
}

TEST_P(Cluster, TheSameFabricIsTheSamePicture) {
  const std::string document = cluster(GetParam().first, GetParam().second);
  EXPECT_EQ(svgOf(pictured(document)), svgOf(pictured(document)));
}

INSTANTIATE_TEST_SUITE_P(Draw, Cluster,
                         testing::Values(std::pair{2, 2}, std::pair{4, 12}, std::pair{8, 40}));

}  // namespace
}  // namespace Fabrion::Host

#endif
