// Fabrics as people write them, all the way to the outputs of the switches.
#include <gtest/gtest.h>

#include "host/FabricChange.h"
#include "tests/host/Texts.h"
#include "tests/host/controller_scene.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::ControllerScene;
using Test::fabricOf;
using Test::TraceCapture;
using Json = nlohmann::json;

struct Running : ControllerScene {
  void apply(const std::string& document) { runAll(fabric.to(fabricOf(document))); }
  Json allowed(const std::string& name) const { return outputs(name)["portAllowedVlanList"]; }
  Json native(const std::string& name) const { return outputs(name)["portNativeVlan"]; }
  Json vlanList(const std::string& name) const { return outputs(name)["vlanList"]; }

  FabricChange fabric;
};

const Json nothing = Json::object();

const Json cleanOutputs = {{"portAllowedVlanList", Json::object()},
                           {"portNativeVlan", Json::object()},
                           {"vlanList", ""},
                           {"vtepConfig", Json::object()}};

// A server moves

const std::string twoLeaves =
    "switches:\n"
    "  leaf1: {ports: ['e[1-4]']}\n"
    "  leaf2: {ports: ['e[1-4]']}\n"
    "hosts: {srv1: {hostname: compute1, ports: eth0}, srv2: {ports: eth0}}\n"
    "requests:\n"
    "  - {client: acme, hostname: compute1, vlans: [10, 20-22]}\n"
    "  - {client: blue, hostname: srv2, vlans: 30}\n";

TEST(WholeSystem, ThePortsFollowAServerThatMovesToAnotherLeaf) {
  Running system;
  system.apply(twoLeaves + "links: [[leaf1:e1, srv1:eth0], [leaf2:e4, srv2:eth0]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10,20-22"}}));
  EXPECT_EQ(system.vlanList("leaf1"), "10,20-22");
  EXPECT_EQ(system.allowed("leaf2"), (Json{{"e4", "30"}}));

  system.apply(twoLeaves + "links: [[leaf2:e3, srv1:eth0], [leaf2:e4, srv2:eth0]]\n");
  EXPECT_EQ(system.outputs("leaf1"), cleanOutputs);
  EXPECT_EQ(system.element("leaf1")["physicalInterface"], nothing);
  EXPECT_EQ(system.element("leaf1")["vlan"], nothing);
  EXPECT_EQ(system.allowed("leaf2"), (Json{{"e3", "10,20-22"}, {"e4", "30"}}));
  EXPECT_EQ(system.vlanList("leaf2"), "10,20-22,30");
  EXPECT_EQ(system.port("srv1", "eth0")["discoveredElement"], Json{"leaf2"});

  system.apply(twoLeaves);
  EXPECT_EQ(system.outputs("leaf1"), cleanOutputs);
  EXPECT_EQ(system.outputs("leaf2"), cleanOutputs);
}

TEST(WholeSystem, WhatClientsAskForOnAPortStaysThereWhenItsServerMoves) {
  const std::string asked = twoLeaves +
                            "  - {client: blue, switch: leaf1, port: e1, vlans: 40, native: 40}\n"
                            "  - {client: acme, switch: leaf1, port: e1, vlans: 10}\n";
  Running system;
  system.apply(asked + "links: [[leaf1:e1, srv1:eth0]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10,20-22,40"}}));
  system.apply(asked + "links: [[leaf2:e1, srv1:eth0]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10,40"}}));
  EXPECT_EQ(system.native("leaf1"), (Json{{"e1", 40}}));
  EXPECT_EQ(system.vlanList("leaf1"), "10,40");
  EXPECT_EQ(system.allowed("leaf2"), (Json{{"e1", "10,20-22"}}));
}

TEST(WholeSystem, ThePortGroupsFollowAServerOnABond) {
  const std::string bonds =
      "switches:\n"
      "  leaf1: {ports: ['e[1-4]'], groups: {po1: ['e[1-2]']}}\n"
      "  leaf2: {ports: ['e[1-4]'], groups: {po1: ['e[1-2]']}}\n"
      "hosts: {srv1: {ports: ['eth[0-1]'], groups: {bond0: ['eth[0-1]']}}}\n"
      "requests: [{client: acme, hostname: srv1, vlans: 10}]\n";
  Running system;
  system.apply(bonds + "links: [[leaf1:e1, srv1:eth0], [leaf1:e2, srv1:eth1]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"po1", "10"}}));
  // One leg first: both leaves carry the VLAN for a while.
  system.apply(bonds + "links: [[leaf1:e1, srv1:eth0], [leaf2:e1, srv1:eth1]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"po1", "10"}}));
  EXPECT_EQ(system.allowed("leaf2"), (Json{{"po1", "10"}}));
  EXPECT_EQ(system.element("leaf1")["portGroup"]["po1"]["vlan"]["10"]["referrer"], Json{"e1"});
  system.apply(bonds + "links: [[leaf2:e1, srv1:eth1], [leaf2:e2, srv1:eth0]]\n");
  EXPECT_EQ(system.outputs("leaf1"), cleanOutputs);
  EXPECT_EQ(system.allowed("leaf2"), (Json{{"po1", "10"}}));
  // The group on the old leaf is ready for the next server.
  EXPECT_EQ(system.element("leaf1")["portGroup"]["po1"]["memberInterface"], (Json{"e1", "e2"}));
}

// Two clients of one hostname

const std::string oneLeaf =
    "switches: {leaf1: {ports: ['e[1-4]']}}\n"
    "hosts: {srv1: {hostname: compute1, ports: eth0}, srv2: {hostname: compute1, ports: eth0}}\n"
    "links: [[leaf1:e1, srv1:eth0], [leaf1:e2, srv2:eth0]]\n";
const std::string acme = "  - {client: acme, hostname: compute1, vlans: [10, 11]}\n";
const std::string blue = "  - {client: blue, hostname: compute1, vlans: [11, 12]}\n";

void twoClientsLeave(bool acmeFirst) {
  Running system;
  system.apply(oneLeaf + "requests:\n" + acme + blue);
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10-12"}, {"e2", "10-12"}}));
  EXPECT_EQ(system.state()["resourcesForHostname"]["compute1"]["referrer"], (Json{"acme", "blue"}));
  system.apply(oneLeaf + "requests:\n" + (acmeFirst ? blue : acme));
  const std::string left = acmeFirst ? "11-12" : "10-11";
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", left}, {"e2", left}}));
  EXPECT_EQ(system.vlanList("leaf1"), left);
  const Json merged = system.state()["resourcesForHostname"]["compute1"];
  EXPECT_EQ(merged["referrer"], Json{acmeFirst ? "blue" : "acme"});
  EXPECT_EQ(merged["vlan"]["11"]["referrer"], Json{acmeFirst ? "blue" : "acme"});
  EXPECT_FALSE(merged["vlan"].contains(acmeFirst ? "10" : "12"));
  system.apply(oneLeaf);
  EXPECT_EQ(system.state()["resourcesForHostname"], nothing);
  EXPECT_EQ(system.outputs("leaf1"), cleanOutputs);
  EXPECT_EQ(system.state()["machine"]["networkElementSm"]["srv1"]["hostResourcesSm"], Json());
}

TEST(WholeSystem, OfTwoClientsOfOneHostnameTheFirstLeavesFirst) { twoClientsLeave(true); }
TEST(WholeSystem, OfTwoClientsOfOneHostnameTheSecondLeavesFirst) { twoClientsLeave(false); }

// A switch restarts

Outputs outputsFrom(const Json& outputs) {
  AllowedVlanLists lists;
  for (const auto& [port, list] : outputs["portAllowedVlanList"].items()) {
    lists.listOfPort.emplace_back(port, list.get<std::string>());
  }
  NativeVlans natives;
  for (const auto& [port, vlan] : outputs["portNativeVlan"].items()) {
    natives.vlanOfPort.emplace_back(port, vlan.get<U32>());
  }
  return {lists, natives, SwitchVlanList{outputs["vlanList"].get<std::string>()}};
}

// A new run, whose switches begin with what an earlier one left.
void applyAfter(const Json& left, Running& system, const std::string& document) {
  for (Operation& operation : system.fabric.to(fabricOf(document))) {
    if (auto* const made = std::get_if<Op::SwitchNew>(&operation)) {
      made->outputs = outputsFrom(left[made->switchName]);
    }
    system.run(operation);
  }
}

const std::string restarting =
    "switches: {leaf1: {ports: ['e[1-4]'], groups: {po1: [e4]}}}\n"
    "hosts: {srv1: {ports: eth0}, srv2: {ports: eth0}}\n";
const std::string restartingRequests =
    "requests:\n"
    "  - {client: acme, hostname: srv1, vlans: [10, 20]}\n"
    "  - {client: acme, hostname: srv2, vlans: 30}\n";

TEST(WholeSystem, ASwitchThatRestartsFindsItsOutputsRight) {
  const std::string document =
      restarting + restartingRequests +
      "  - {client: blue, switch: leaf1, port: e3, vlans: 30-40, native: 30}\n" +
      "links: [[leaf1:e1, srv1:eth0], [leaf1:e4, srv2:eth0]]\n";
  Json left;
  {
    Running earlier;
    earlier.apply(document);
    left = earlier.state()["switch"];
  }
  EXPECT_EQ(left["leaf1"]["portAllowedVlanList"],
            (Json{{"e1", "10,20"}, {"e3", "30-40"}, {"po1", "30"}}));
  Running system;
  const TraceCapture trace;
  applyAfter(left, system, document);
  EXPECT_EQ(system.state()["switch"], left);
  EXPECT_FALSE(trace.has("Deleting allowedVlans"));
  EXPECT_FALSE(trace.has("Removing VLAN"));
}

TEST(WholeSystem, ASwitchThatRestartsMakesUpForWhatItMissed) {
  Json left;
  {
    Running earlier;
    earlier.apply(restarting + restartingRequests +
                  "  - {client: blue, switch: leaf1, port: e3, vlans: 30-40, native: 30}\n" +
                  "links: [[leaf1:e1, srv1:eth0], [leaf1:e2, srv2:eth0]]\n");
    left = earlier.state()["switch"];
  }
  // One server was moved and one client left while nothing ran.
  Running system;
  applyAfter(
      left, system,
      restarting + restartingRequests + "links: [[leaf1:e1, srv1:eth0], [leaf1:e4, srv2:eth0]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10,20"}, {"po1", "30"}}));
  EXPECT_EQ(system.native("leaf1"), nothing);
  EXPECT_EQ(system.vlanList("leaf1"), "10,20,30");
}

TEST(WholeSystem, ANativeVlanThatNobodyWantsStaysAfterARestartWhileItsPortDoes) {
  Running system;
  applyAfter({{"leaf1",
               {{"portAllowedVlanList", {{"e1", "7"}, {"e9", "8"}}},
                {"portNativeVlan", {{"e1", 7}, {"e9", 8}}},
                {"vlanList", "7-8"}}}},
             system, restarting + restartingRequests + "links: [[leaf1:e1, srv1:eth0]]\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10,20"}}));
  EXPECT_EQ(system.native("leaf1"), (Json{{"e1", 7}}));
  EXPECT_EQ(system.vlanList("leaf1"), "10,20");
}

// Clients that contradict each other, and hosts that no link tells of

TEST(WholeSystem, TwoNativeVlansOnOnePortAreNoneUntilOneClientGivesIn) {
  const std::string one =
      "switches: {leaf1: {ports: e1}}\nrequests:\n"
      "  - {client: acme, switch: leaf1, port: e1, vlans: 10, native: 10}\n";
  Running system;
  system.apply(one);
  EXPECT_EQ(system.native("leaf1"), (Json{{"e1", 10}}));
  const TraceCapture trace(0);
  system.apply(one + "  - {client: blue, switch: leaf1, port: e1, vlans: 10, native: 20}\n");
  EXPECT_EQ(system.native("leaf1"), nothing);
  EXPECT_TRUE(trace.has("Conflict is detected for setting native vlan on interface e1."));
  system.apply(one + "  - {client: blue, switch: leaf1, port: e1, vlans: 10}\n");
  EXPECT_EQ(system.native("leaf1"), (Json{{"e1", 10}}));
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10"}}));
}

TEST(WholeSystem, ARemoteHostBringsItsVlansToThePortThatIsSaidToLeadToIt) {
  const std::string far =
      "switches: {leaf1: {ports: e1}}\nhosts: {far1: }\n"
      "requests:\n  - {client: acme, hostname: far1, vlans: 10}\n";
  Running system;
  system.apply(far + "  - {client: acme, switch: leaf1, port: e1, remote hosts: far1}\n");
  EXPECT_EQ(system.allowed("leaf1"), (Json{{"e1", "10"}}));
  EXPECT_EQ(system.port("leaf1", "e1")["configuredElement"], Json{"far1"});
  system.apply(far);
  EXPECT_EQ(system.outputs("leaf1"), cleanOutputs);
  EXPECT_EQ(system.element("leaf1")["physicalInterface"], nothing);
  EXPECT_EQ(system.element("far1")["referrer"], Json{"far1"});
}

}  // namespace
}  // namespace Fabrion::Host

#endif
