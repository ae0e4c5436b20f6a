#include "host/FabricYaml.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/FabricDocument.h"

namespace Fabrion::Host {
namespace {

Fabric readBack(const std::vector<std::string>& texts) {
  std::vector<DocumentText> documents;
  for (const std::string& text : texts) documents.push_back({"written.yaml", text});
  auto read = parseFabric(documents);
  if (auto* const problems = std::get_if<std::vector<Problem>>(&read)) {
    for (const Problem& problem : *problems) ADD_FAILURE() << toString(problem);
    return {};
  }
  return std::get<Fabric>(std::move(read));
}

Node portsOnly(std::string name, std::vector<std::string> ports) {
  return {name, name, std::move(ports), {}};
}

TEST(FabricYaml, AnEmptyFabricIsItsVersion) {
  EXPECT_EQ(yamlOf({}), std::vector<std::string>{"fabrion: 1\n"});
  EXPECT_EQ(readBack(yamlOf({})), Fabric());
}

TEST(FabricYaml, PortsInARowStandAsARange) {
  Fabric fabric;
  fabric.switches = {portsOnly("a", {"e1", "e2", "e3", "e5", "f6", "f7", "mgmt", "e8"}),
                     portsOnly("b", {"1/1", "1/2", "2/1"}),
                     portsOnly("c", {"e0", "e1", "e01", "e02", "e09", "e10"}),
                     portsOnly("d", {"e9", "e10", "e11", "e10000000000", "e10000000001"})};
  EXPECT_EQ(yamlOf(fabric), std::vector<std::string>{R"(fabrion: 1

switches:
  a: {ports: ["e[1-3]", e5, "f[6-7]", mgmt, e8]}
  b: {ports: ["1/[1-2]", "2/1"]}
  c: {ports: ["e[0-1]", e01, e02, e09, e10]}
  d: {ports: ["e[9-11]", e10000000000, e10000000001]}
)"});
  EXPECT_EQ(readBack(yamlOf(fabric)), fabric);
}

TEST(FabricYaml, ARowLongerThanARangeMayBeIsSeveralRanges) {
  Fabric fabric;
  fabric.switches = {portsOnly("a", {})};
  for (int port = 1; port <= 4096; ++port) {
    fabric.switches[0].ports.push_back("e" + std::to_string(port));
  }
  EXPECT_EQ(readBack(yamlOf(fabric)), fabric);
}

TEST(FabricYaml, NamesThatYamlWouldReadOtherwiseAreQuoted) {
  Fabric fabric;
  for (const char* name :
       {"1.10",       "null",        "~",  "true",     "a: b",   "a, b", "#a",  "a #b",
        "say \"hi\"", "back\\slash", "-",  "{a}",      "*a",     "&a",   "!a",  "@a",
        "`a`",        " a",          "a ", "\xc3\xa9", "leaf:1", "no",   "0x10"}) {
    fabric.switches.push_back(portsOnly(name, {"e1", "e:2", "3"}));
    fabric.links.push_back({{name, "e1"}, {name, "e:2"}});
    fabric.links.push_back({{name, "3"}, {name, "e:2"}});
  }
  fabric.portRequests.push_back({"a: client", "~", "e:2", {1}, 2, {"No", "a: host", "Null"}});
  fabric.hostnameRequests.push_back({"NULL", "[host]", {7, 9, 10}});
  EXPECT_EQ(readBack(yamlOf(fabric)), fabric);
}

TEST(FabricYaml, VlansVnisAndDomainsStandAsRangesWhereTheyAreInARow) {
  Fabric fabric;
  fabric.switches = {portsOnly("leaf1", {"e1"})};
  fabric.switches[0].vteps = {{"vtep1"}, {"vtep2"}};
  fabric.staticMaps = {{{"acme", "blue"}, {{{1, 9}, {101, 109}}, {{20, 20}, {7, 8}}}},
                       {{"core", ""}, {{{1, 4094}, {1, 4094}}}}};
  fabric.hostnameRequests = {
      {"client1", "srv1", {1, 2, 3, 5}, {{1, 101}, {2, 102}, {3, 104}, {5, 105}, {5, 106}}, {}},
      {"client2", "srv1", {1, 2, 3}, {}, {{1, {"core", ""}}, {2, {"core", ""}}, {3, {"core", ""}}}},
      {"client3", "srv1", {1, 2, 4}, {}, {{1, {"core", ""}}, {2, {"core", ""}}}},
      {"client4",
       "srv1",
       {1, 2},
       {},
       {{1, {"acme", "blue"}}, {1, {"core", ""}}, {2, {"core", ""}}}},
  };
  EXPECT_EQ(yamlOf(fabric), std::vector<std::string>{R"(fabrion: 1

switches:
  leaf1: {ports: e1, vteps: [vtep1, vtep2]}

static maps:
  acme/blue: {1-9: 101-109, 20: 7-8}
  core: {1-4094: 1-4094}

requests:
  - {client: client1, hostname: srv1, vlans: [1-3, 5], vnis: {1-2: 101-102, 3: 104, 5: [105, 106]}}
  - {client: client2, hostname: srv1, vlans: 1-3, domains: core}
  - {client: client3, hostname: srv1, vlans: [1-2, 4], domains: {1-2: core}}
  - {client: client4, hostname: srv1, vlans: 1-2, domains: {1: [acme/blue, core], 2: core}}
)"});
  EXPECT_EQ(readBack(yamlOf(fabric)), fabric);
}

TEST(FabricYaml, ADomainWhoseFirstFieldHasASlashStandsAsTwoFields) {
  Fabric fabric;
  fabric.staticMaps = {{{"a", "b/c"}, {{{1, 1}, {1, 1}}}}, {{"a/b", "c"}, {{{1, 1}, {1, 1}}}}};
  fabric.hostnameRequests = {
      {"client1", "srv1", {1, 2}, {}, {{1, {"a", "b/c"}}, {1, {"a/b", "c"}}, {2, {"a/b", ""}}}},
      {"client2", "srv1", {1}, {}, {{1, {"a/b", "c"}}}}};
  EXPECT_EQ(readBack(yamlOf(fabric)), fabric);
}

TEST(FabricYaml, WhatOneFileCannotHoldStandsInSeveral) {
  Fabric fabric;
  for (int i = 0; i < 100; ++i) {
    fabric.switches.push_back(portsOnly("leaf" + std::to_string(i), {"e1", "e2"}));
    fabric.links.push_back({{"leaf" + std::to_string(i), "e1"}, {"leaf0", "e2"}});
  }
  const std::vector<std::string> texts = yamlOf(fabric, 500);
  EXPECT_GT(texts.size(), 5U);
  for (const std::string& text : texts) EXPECT_LE(text.size(), 500U);
  EXPECT_EQ(readBack(texts), fabric);
  // One entry alone may be longer.
  EXPECT_EQ(readBack(yamlOf(fabric, 1)), fabric);
}

}  // namespace
}  // namespace Fabrion::Host
