#include "host/Generate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/FabricDocument.h"
#include "host/FabricYaml.h"
#include "host/SplitMix64.h"

namespace Fabrion::Host {
namespace {

GenerateOptions sized(U32 leaves, U32 spines, U32 servers, U32 clients, U32 vlans) {
  GenerateOptions options;
  options.leaves = leaves;
  options.spines = spines;
  options.servers = servers;
  options.clients = clients;
  options.vlans = vlans;
  return options;
}

// What is read from the fabric's documents, and in `said` what is wrong with them.
Fabric readBack(const Fabric& fabric, std::string& said) {
  std::vector<DocumentText> documents;
  for (std::string& text : yamlOf(fabric)) documents.push_back({"made.yaml", std::move(text)});
  auto read = parseFabric(documents);
  if (auto* const problems = std::get_if<std::vector<Problem>>(&read)) {
    for (const Problem& problem : *problems) said += toString(problem) + '\n';
    return {};
  }
  return std::get<Fabric>(std::move(read));
}

TEST(Generate, ASmallFabricIsThis) {
  EXPECT_EQ(yamlOf(generate(sized(2, 1, 4, 2, 10))), std::vector<std::string>{R"(fabrion: 1

switches:
  leaf1: {ports: ["e[1-5]", up1], groups: {po2: "e[2-3]"}, vteps: vtep1}
  leaf2: {ports: ["e[1-5]", up1], groups: {po3: "e[3-4]"}, vteps: vtep2}
  spine1: {ports: "e[1-2]"}

hosts:
  srv1: {hostname: compute1, ports: "eth[0-1]"}
  srv2: {hostname: compute2, ports: "eth[0-1]", groups: {bond0: "eth[0-1]"}}
  srv3: {hostname: compute3, ports: "eth[0-1]"}
  srv4: {hostname: compute4, ports: "eth[0-1]", groups: {bond0: "eth[0-1]"}}

links:
  - [leaf1:e1, srv1:eth0]
  - [leaf2:e1, srv1:eth1]
  - [leaf1:e2, srv2:eth0]
  - [leaf1:e3, srv2:eth1]
  - [leaf2:e2, srv3:eth0]
  - [leaf1:e4, srv3:eth1]
  - [leaf2:e3, srv4:eth0]
  - [leaf2:e4, srv4:eth1]
  - [leaf1:up1, spine1:e1]
  - [leaf2:up1, spine1:e2]

static maps:
  client2/main: {11-20: 10011-10020}

requests:
  - {client: client1, switch: leaf1, port: e5, vlans: 1-2, vnis: {1-2: 10001-10002}}
  - {client: client2, switch: leaf2, port: e5, vlans: 20, domains: client2/main}
  - {client: client2, hostname: compute1, vlans: 14-17, domains: client2/main}
  - {client: client2, hostname: compute2, vlans: 18-19, domains: client2/main}
  - {client: client2, hostname: compute3, vlans: 12-13, domains: client2/main}
  - {client: client2, hostname: compute4, vlans: 11, domains: client2/main}
)"});
}

TEST(Generate, EverySizeIsReadBackAsTheSameFabric) {
  for (const U32 leaves : {0U, 1U, 2U, 5U}) {
    for (const U32 spines : {0U, 1U, 3U}) {
      for (const U32 servers : {0U, 1U, 23U}) {
        for (const U32 clients : {0U, 1U, 7U}) {
          for (const U32 vlans : {0U, 1U, 700U, 4094U}) {
            const Fabric fabric = generate(sized(leaves, spines, servers, clients, vlans));
            EXPECT_EQ(fabric.switches.size(), leaves + spines);
            EXPECT_EQ(fabric.hosts.size(), servers);
            std::string said;
            EXPECT_EQ(readBack(fabric, said), fabric) << said;
            EXPECT_EQ(said, "");
          }
        }
      }
    }
  }
}

TEST(Generate, LinksGoToEachLeafByTurnsWhereThereAreMoreOfThem) {
  GenerateOptions options = sized(2, 0, 2, 0, 0);
  options.links = 3;
  std::vector<std::string> ends;
  for (const Link& link : generate(options).links) {
    ends.push_back(link.a.node + ":" + link.a.port + " " + link.b.node + ":" + link.b.port);
  }
  EXPECT_EQ(ends, (std::vector<std::string>{"leaf1:e1 srv1:eth0", "leaf2:e1 srv1:eth1",
                                            "leaf1:e2 srv1:eth2", "leaf2:e2 srv2:eth0",
                                            "leaf1:e3 srv2:eth1", "leaf2:e3 srv2:eth2"}));
}

TEST(Generate, TheSameSeedMakesTheSameFabricAndAnotherAnother) {
  GenerateOptions options;
  const Fabric first = generate(options);
  EXPECT_EQ(generate(options), first);
  options.seed = 2;
  EXPECT_NE(generate(options), first);
}

TEST(Generate, NumbersAreThoseOfTheGeneratorEverywhere) {
  SplitMix64 random(1234567);
  EXPECT_EQ(random.next(), 6457827717110365317U);
  EXPECT_EQ(random.next(), 3203168211198807973U);
  EXPECT_EQ(random.below(0), 0U);
  for (int i = 0; i < 1000; ++i) EXPECT_LT(random.below(3), 3U);
}

TEST(Generate, ServersSpreadEvenlyOverTheLeaves) {
  GenerateOptions options = sized(7, 2, 100, 0, 0);
  options.links = 1;
  const Fabric fabric = generate(options);
  for (U32 leaf = 0; leaf < 7; ++leaf) {
    const auto ports = fabric.switches[leaf].ports.size() - 2;  // without those to the spines
    EXPECT_TRUE(ports == 14 || ports == 15) << ports;
  }
}

TEST(Generate, LinksOfAServerGoToDifferentLeaves) {
  GenerateOptions options = sized(5, 0, 50, 1, 4);
  options.links = 4;
  const Fabric fabric = generate(options);
  ASSERT_EQ(fabric.links.size(), 200U);
  std::set<std::pair<std::string, std::string>> pairs;
  for (const Link& link : fabric.links) pairs.emplace(link.a.node, link.b.node);
  EXPECT_EQ(pairs.size(), 200U);
}

TEST(Generate, AMixtureHasServersOfAllKinds) {
  const Fabric fabric = generate(sized(10, 2, 600, 5, 20));
  const auto number = [&](auto is) {
    return std::count_if(fabric.hosts.begin(), fabric.hosts.end(), is);
  };
  EXPECT_GT(number([](const Node& node) { return node.ports.size() == 1; }), 150);
  EXPECT_GT(number([](const Node& node) { return !node.groups.empty(); }), 150);
  EXPECT_GT(number([](const Node& node) { return node.ports.size() == 2 && node.groups.empty(); }),
            150);
  std::set<std::string> hostnames;
  for (const Node& node : fabric.hosts) hostnames.insert(node.hostname);
  EXPECT_LT(hostnames.size(), 570U);
  EXPECT_GT(hostnames.size(), 500U);
}

TEST(Generate, ClientsGiveVnisByThemselvesAndByTheirDomainsByTurns) {
  const Fabric fabric = generate(sized(4, 0, 100, 4, 20));
  ASSERT_EQ(fabric.staticMaps.size(), 2U);
  for (const HostnameRequest& request : fabric.hostnameRequests) {
    const bool byDomain = request.client == "client2" || request.client == "client4";
    EXPECT_EQ(request.vnis.size(), byDomain ? 0 : request.vlans.size());
    EXPECT_EQ(request.domains.size(), byDomain ? request.vlans.size() : 0);
    for (const VlanVni& one : request.vnis) EXPECT_EQ(one.vni, one.vlan + 10000);
  }
  for (const StaticMap& map : fabric.staticMaps) {
    for (const StaticRange& range : map.ranges) {
      EXPECT_EQ(range.vnis.low, range.vlans.low + 10000);
      EXPECT_EQ(range.vnis.high, range.vlans.high + 10000);
    }
  }
}

TEST(Generate, ARequestIsMadeOnceAtAPlace) {
  const Fabric fabric = generate(sized(4, 0, 400, 3, 20));
  std::set<std::pair<std::string, std::string>> places;
  for (const HostnameRequest& request : fabric.hostnameRequests) {
    EXPECT_TRUE(places.emplace(request.client, request.hostname).second);
  }
}

}  // namespace
}  // namespace Fabrion::Host
