// What is rendered for Open vSwitch, run by its own tools against its own database server.
#include <gtest/gtest.h>

#include "host/Rendering.h"
#include "tests/host/open_vswitch.h"

namespace Fabrion::Host {
namespace {

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

  void apply(const Node& node, const SwitchOutputs& outputs) {
    Refusals refusals;
    const std::string commands = ovsCommands(node, outputs, refusals);
    for (const std::string& refusal : refusals) ADD_FAILURE() << refusal;
    // Making a Port by hand prints its id, which is nobody's concern.
    const std::string said = ovs_->run(commands);
    EXPECT_EQ(said.find("exit "), std::string::npos) << said << commands;
    EXPECT_EQ(said.find("ctl:"), std::string::npos) << said << commands;
    EXPECT_EQ(ovs_->outputs(node.name), outputs) << commands;
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

TEST_F(RenderedForOpenVswitch, MayBeRunAgain) {
  apply(leaf1(), outputsOfLeaf1());
  apply(leaf1(), outputsOfLeaf1());
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

}  // namespace
}  // namespace Fabrion::Host
