// What is rendered for Open vSwitch, run by its own tools against its own database server.
#include <gtest/gtest.h>

#include "host/Rendering.h"
#include "tests/host/open_vswitch.h"

namespace Fabrion::Host {
namespace {

using Groups = std::vector<PortGroup>;

// What a document says of the switch s, having said what the step before has.
struct Step {
  const char* what;
  Groups groups;
  SwitchOutputs outputs;
  std::vector<std::string> ports = {"e1", "e2", "e3", "e4", "e5", "e6"};
};

class RenderedForOpenVswitch : public testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = Fabrion::Test::OpenVswitch::missing();
    if (!missing.empty()) {
      GTEST_SKIP() << "without " << missing
                   << "; Debian has it in openvswitch-common, openvswitch-switch and "
                      "openvswitch-vtep";
    }
    ovs_.emplace();
  }

  static std::string commandsFor(const Node& node, const SwitchOutputs& outputs) {
    Refusals refusals;
    const std::string commands = ovsCommands(node, outputs, refusals);
    for (const std::string& refusal : refusals) ADD_FAILURE() << refusal;
    return commands;
  }

  void apply(const Node& node, const SwitchOutputs& outputs) {
    const std::string commands = commandsFor(node, outputs);
    EXPECT_EQ(ovs_->run(commands), "") << commands;
    EXPECT_EQ(ovs_->outputs(node.name), outputs) << commands;
  }

  // Whatever stood there, the databases hold now what empty ones would hold, and the commands find
  // nothing to do any more.
  void leadsTo(const Node& node, const SwitchOutputs& outputs) {
    apply(node, outputs);
    const Fabrion::Test::OpenVswitch fresh;
    const std::string commands = commandsFor(node, outputs);
    EXPECT_EQ(fresh.run(commands), "") << commands;
    EXPECT_EQ(ovs_->rowsByName(), fresh.rowsByName());
    for (const PortGroup& group : node.groups) {
      std::string members = group.name + ":";
      for (const std::string& member : group.members) members += " " + member;
      EXPECT_EQ(ovs_->interfacesOf(group.name), members);
    }
    const std::string before = ovs_->rows();
    EXPECT_EQ(ovs_->run(commands), "") << commands;
    EXPECT_EQ(ovs_->rows(), before);
  }

  void walk(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      SCOPED_TRACE(step.what);
      leadsTo({"s", "s", step.ports, step.groups}, step.outputs);
      if (HasFailure()) return;
    }
  }

  std::optional<Fabrion::Test::OpenVswitch> ovs_;
};

Node leaf1() {
  return {"leaf1",
          "leaf1",
          {"e1", "e2", "e3", "e4", "e5", "e6", "e7", "e8"},
          {{"po1", {"e6", "e7"}}, {"po2", {"e8"}}}};
}

SwitchOutputs outputsOfLeaf1() {
  return {{{"e1", {10, 11, 12}}, {"e3", {5, 7, 8, 9}}, {"po1", {10, 20, 21}}, {"po2", {30}}},
          {{"e1", 10}, {"e2", 20}, {"po2", 30}},
          {5, 7, 8, 9, 10, 11, 12, 20, 21, 30},
          {{"vtep 1",
            {{"e1", {{10, 5010}, {11, 5011}}},
             {"e3", {{7, 5010}}},
             {"po1", {{20, 16777215}}},
             {"po2", {{30, 1}}}}}}};
}

TEST_F(RenderedForOpenVswitch, StandsInItsDatabases) {
  apply(leaf1(), outputsOfLeaf1());
  EXPECT_EQ(ovs_->interfacesOf("po1"), "po1: e6 e7");
  EXPECT_EQ(ovs_->interfacesOf("po2"), "po2: e8");
  EXPECT_EQ(ovs_->interfacesOf("e4"), "e4: e4");
  EXPECT_EQ(ovs_->interfacesOf("e8"), "");
}

TEST_F(RenderedForOpenVswitch, TakesTheStepToOtherOutputs) {
  Node before = leaf1();
  before.groups.clear();
  apply(before, {{{"e1", {1, 2}}, {"e2", {3}}, {"e6", {4094}}},
                 {{"e1", 2}, {"e3", 9}},
                 {1, 2, 3, 4094},
                 {{"old", {{"e1", {{1, 5}, {2, 6}}}, {"e2", {{3, 7}}}}}}});
  apply(leaf1(), outputsOfLeaf1());
  // And all of it goes.
  apply(leaf1(), {{}, {}, {}, {{"vtep 1", {}}}});
}

TEST_F(RenderedForOpenVswitch, AllVlansAreNotTheSameAsNone) {
  SwitchOutputs all;
  for (U16 vlan = 1; vlan <= 4094; ++vlan) all.vlans.push_back(vlan);
  all.allowedVlans["e1"] = all.vlans;
  apply({"s", "s", {"e1", "e2"}, {}}, all);
}

TEST_F(RenderedForOpenVswitch, NamesMayBeAnything) {
  const Node node{"漢字 '1'", "s", {"e1/1", "-x", "a\"b\\", "$(exit 1)", "*"}, {{"po 1", {"*"}}}};
  apply(node, {{{"e1/1", {1}}, {"-x", {2}}, {"a\"b\\", {3}}, {"$(exit 1)", {4}}, {"po 1", {5}}},
               {},
               {1, 2, 3, 4, 5},
               {{"v\"1\\", {{"a\"b\\", {{3, 3}}}, {"po 1", {{5, 5}}}}}}});
}

TEST_F(RenderedForOpenVswitch, SwitchesOfOneDatabaseKeepApart) {
  const SwitchOutputs first{{{"a1", {1}}}, {}, {1}, {{"v", {{"a1", {{1, 5}}}}}}};
  const SwitchOutputs second{{{"b1", {2}}}, {}, {2}, {{"w", {{"b1", {{2, 5}}}}}}};
  apply({"a", "a", {"a1"}, {}}, first);
  apply({"b", "b", {"b1"}, {}}, second);
  EXPECT_EQ(ovs_->outputs("a"), first);
}

// --- from one document to the next ---------------------------------------------------------------

const SwitchOutputs some{{{"e1", {10}}, {"e2", {20}}}, {}, {10, 20}, {}};

std::vector<Step> stepsOfGroups() {
  return {
      {"from nothing", {}, some},
      {"two ports are bundled", {{"po1", {"e5", "e6"}}}, some},
      {"the group grows", {{"po1", {"e4", "e5", "e6"}}}, some},
      {"it shrinks", {{"po1", {"e4", "e6"}}}, some},
      {"it is renamed", {{"trunk", {"e4", "e6"}}}, some},
      {"it becomes one port", {{"trunk", {"e6"}}}, some},
      {"of one port another name", {{"po1", {"e6"}}}, some},
      {"of one port another port", {{"po1", {"e5"}}}, some},
      {"it is two again", {{"po1", {"e5", "e6"}}}, some},
      {"a second group", {{"po1", {"e5", "e6"}}, {"po2", {"e3", "e4"}}}, some},
      {"a port moves to the first", {{"po1", {"e4", "e5", "e6"}}, {"po2", {"e3"}}}, some},
      {"and on to the second", {{"po1", {"e5", "e6"}}, {"po2", {"e3", "e4"}}}, some},
      {"the groups swap ports", {{"po1", {"e3", "e4"}}, {"po2", {"e5", "e6"}}}, some},
      {"they swap one", {{"po1", {"e3", "e6"}}, {"po2", {"e4", "e5"}}}, some},
      {"they swap names", {{"po2", {"e3", "e6"}}, {"po1", {"e4", "e5"}}}, some},
      {"one takes all", {{"po2", {"e3", "e4", "e5", "e6"}}}, some},
      {"dissolved", {}, some},
      {"a port goes", {}, some, {"e1", "e2"}},
      {"a group takes a port's name", {{"e1", {"e2", "e3"}}}, {}, {"e2", "e3"}},
      {"and gives it back", {{"e2", {"e3"}}}, {}, {"e1", "e3"}},
      {"no ports", {}, {}, {}},
      {"all at once", {{"po1", {"e5", "e6"}}}, some},
  };
}

std::vector<Step> stepsOfVteps() {
  const SwitchOutputs mapped{{{"e1", {10, 11}}, {"po1", {10}}},
                             {{"e1", 11}},
                             {10, 11},
                             {{"v", {{"e1", {{10, 5010}, {11, 5011}}}, {"po1", {{10, 5010}}}}}}};
  SwitchOutputs otherVni = mapped;
  otherVni.vteps["v"]["e1"][10] = 5012;
  SwitchOutputs otherNative = otherVni;
  otherNative.nativeVlan["e1"] = 10;
  SwitchOutputs otherName = otherNative;
  otherName.vteps = {{"w", otherNative.vteps.at("v")}};
  SwitchOutputs unmapped = otherName;
  unmapped.vteps["w"].erase("po1");
  SwitchOutputs onE5 = some;
  onE5.allowedVlans["e5"] = {7};
  onE5.vlans = {7, 10, 20};
  onE5.vteps = {{"w", {{"e5", {{7, 5010}}}}}};
  SwitchOutputs noVtep = onE5;
  noVtep.vteps.clear();
  return {
      {"a VTEP, from nothing", {{"po1", {"e5", "e6"}}}, mapped},
      {"a VNI changes", {{"po1", {"e5", "e6"}}}, otherVni},
      {"a native VLAN changes", {{"po1", {"e5", "e6"}}}, otherNative},
      {"the VTEP is renamed", {{"po1", {"e5", "e6"}}}, otherName},
      {"a group is mapped no more", {{"po1", {"e5", "e6"}}}, unmapped},
      {"the group is mapped again", {{"po1", {"e5", "e6"}}}, otherName},
      {"the group is dissolved", {}, onE5},
      {"its port is bundled", {{"po1", {"e5", "e6"}}}, {{}, {}, {}, {{"w", {}}}}},
      {"the port stands alone again", {}, onE5},
      {"the VTEP goes", {}, noVtep},
      {"it comes back", {}, onE5},
      {"a port goes", {}, {{}, {}, {}, {{"w", {}}}}, {"e1", "e2"}},
      {"no ports", {}, {}, {}},
      {"all at once", {{"po1", {"e5", "e6"}}}, otherName},
      {"and nothing", {}, {}, {}},
  };
}

TEST_F(RenderedForOpenVswitch, LeadsFromAnyGroupsToOthers) { walk(stepsOfGroups()); }

TEST_F(RenderedForOpenVswitch, LeadsFromAnyVtepToAnother) { walk(stepsOfVteps()); }

TEST_F(RenderedForOpenVswitch, LeavesAloneWhatIsOfOthers) {
  EXPECT_EQ(ovs_->run("set -e\n"
                      "ovs-vsctl add-br s -- add-port s tap0 tag=7 -- add-bond s own o1 o2\n"
                      "ovs-vsctl set-controller s tcp:127.0.0.1 -- add-br t -- add-port t t1\n"
                      "vtep-ctl add-ps t -- add-port t e1 -- add-ls vni9 -- bind-ls t e1 9 vni9\n"
                      "vtep-ctl add-ps s -- add-ls vni8 -- add-ls lonely\n"),
            "");
  const std::string before = ovs_->rows();
  const Node empty{"s", "s", {}, {}};
  EXPECT_EQ(ovs_->run(commandsFor(empty, {})), "");
  EXPECT_EQ(ovs_->rows(), before);

  // What was set of a port by others stays with its interfaces and its group.
  const Node bundled{"s", "s", {"e1", "e2", "e3", "e4"}, {{"po1", {"e2", "e3"}}}};
  const SwitchOutputs outputs{{{"e1", {9}}}, {}, {9}, {{"v", {{"e1", {{9, 9}}}}}}};
  EXPECT_EQ(ovs_->run(commandsFor(bundled, outputs)), "");
  EXPECT_EQ(ovs_->run("ovs-vsctl set Interface e2 mtu_request=9000 -- set Port po1 lacp=active\n"
                      "vtep-ctl set Physical_Switch s tunnel_ips=192.0.2.1\n"),
            "");
  SwitchOutputs renamed = outputs;
  renamed.vteps = {{"w", {}}};
  EXPECT_EQ(ovs_->run(commandsFor(bundled, renamed)), "");
  EXPECT_EQ(ovs_->run("vtep-ctl get Physical_Switch s description tunnel_ips\n"),
            "w\n[\"192.0.2.1\"]\n");
  Node grown = bundled;
  grown.groups = {{"po1", {"e2", "e3", "e4"}}};
  EXPECT_EQ(ovs_->run(commandsFor(grown, {})), "");
  EXPECT_EQ(ovs_->run("ovs-vsctl get Interface e2 mtu_request -- get Port po1 lacp\n"),
            "9000\nactive\n");
  EXPECT_EQ(ovs_->interfacesOf("po1"), "po1: e2 e3 e4");
  EXPECT_EQ(ovs_->run(commandsFor(empty, {})), "");
  EXPECT_EQ(ovs_->run("ovs-vsctl list-ports s\nvtep-ctl list-ls\nvtep-ctl list-bindings t e1\n"
                      "ovs-vsctl get-controller s\n"),
            "own\ntap0\nlonely\nvni8\nvni9\n0009 vni9\ntcp:127.0.0.1\n");
}

TEST_F(RenderedForOpenVswitch, TakesOverWhatOthersMadeAndTheDocumentNames) {
  EXPECT_EQ(ovs_->run("set -e\n"
                      "ovs-vsctl add-br s -- add-bond s own e1 e2 e3 -- add-port s e4 tag=7\n"
                      "ovs-vsctl add-bond s gone e5 e6 -- set Interface e4 mtu_request=9000\n"),
            "");
  const Node node{"s", "s", {"e1", "e4", "e5", "e6"}, {{"po1", {"e1", "e5"}}}};
  EXPECT_EQ(ovs_->run(commandsFor(node, {})), "");
  EXPECT_EQ(ovs_->interfacesOf("own"), "own: e2 e3");
  EXPECT_EQ(ovs_->interfacesOf("po1"), "po1: e1 e5");
  EXPECT_EQ(ovs_->interfacesOf("gone"), "");
  EXPECT_EQ(ovs_->run("ovs-vsctl get Interface e4 mtu_request\n"), "9000\n");
}

TEST_F(RenderedForOpenVswitch, NeedsNoDatabaseOfVtepsWithoutAVtep) {
  // The tool says so, and where there is none, the shell would.
  const std::string commands = commandsFor({"s", "s", {"e1"}, {}}, {});
  EXPECT_EQ(ovs_->run("vtep-ctl --db=unix:/nowhere list-ps").find("vtep-ctl: "), 0U);
  EXPECT_EQ(
      ovs_->run("vtepctl=$(command -v vtep-ctl)\nalias vtep-ctl=\"$vtepctl --db=unix:/nowhere\"\n" +
                commands),
      "");
  EXPECT_EQ(ovs_->run("alias vtep-ctl=/nowhere/vtep-ctl\n" + commands), "");
  EXPECT_EQ(ovs_->interfacesOf("e1"), "e1: e1");
}

TEST_F(RenderedForOpenVswitch, StopsAtAPortOfAnotherBridge) {
  EXPECT_EQ(ovs_->run("ovs-vsctl add-br t -- add-bond t own e1 e2"), "");
  const std::string before = ovs_->rowsByName();
  for (const Node& node : {Node{"s", "s", {"e1"}, {}}, Node{"s", "s", {"e2"}, {{"own", {"e2"}}}}}) {
    const std::string said = ovs_->run(commandsFor(node, {}));
    EXPECT_NE(said.find("on bridge t"), std::string::npos) << said;
    EXPECT_NE(said.find("exit 1"), std::string::npos) << said;
    EXPECT_EQ(ovs_->run("ovs-vsctl del-br s"), "");
    EXPECT_EQ(ovs_->rowsByName(), before);
  }
}

}  // namespace
}  // namespace Fabrion::Host
