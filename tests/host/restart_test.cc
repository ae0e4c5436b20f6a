// A switch's machine starts on what an earlier run left in the outputs. It goes through them once,
// as it takes its element. Each kind of stale entry either goes in that pass or stays by a rule
// that is named here; beside those that stay, the outputs are those of a run that found nothing.
#include <gtest/gtest.h>

#include "tests/host/controller_scene.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {
namespace {

namespace Op = Host::Op;
using Host::Operation;
using Host::Outputs;
using Host::VniMapping;
using Json = nlohmann::json;
using Operations = std::vector<Operation>;

Host::PortRequestName onPort(const char* port) { return {"acme", "leaf1", port}; }

// Ports e1 to e4 of leaf1, e4 as a member of po1. VLANs 10 and 12 of e1 have one VNI, 11 has two.
// Port e9 and VTEP "old" are of an earlier run.
Operations model() {
  return {Op::TopologyStart{},
          Op::HostNew{"leaf1", "leaf1.example", {"e1", "e2", "e3", "e4"}, {{"po1", {"e4"}}}},
          Op::HostEnter{"leaf1"},
          Op::RequestNew{onPort("e1")},
          Op::VlanAdd{onPort("e1"), 10},
          Op::VniAdd{onPort("e1"), 10, 5010},
          Op::VlanAdd{onPort("e1"), 11},
          Op::VniAdd{onPort("e1"), 11, 5011},
          Op::VniAdd{onPort("e1"), 11, 6011},
          Op::VlanAdd{onPort("e1"), 12},
          Op::VniAdd{onPort("e1"), 12, 5012},
          Op::Native{onPort("e1"), 10},
          Op::RequestStart{onPort("e1")},
          Op::RequestNew{onPort("e2")},
          Op::VlanAdd{onPort("e2"), 20},
          Op::RequestStart{onPort("e2")},
          Op::RequestNew{onPort("e3")},
          Op::RequestStart{onPort("e3")},
          Op::RequestNew{onPort("e4")},
          Op::VlanAdd{onPort("e4"), 40},
          Op::VniAdd{onPort("e4"), 40, 5040},
          Op::RequestStart{onPort("e4")}};
}

// The outputs of leaf1 after a start on them.
struct Restart {
  ControllerScene scene;

  Restart(const Outputs& left, const std::vector<std::string>& vteps) {
    scene.runAll(model());
    scene.run(Op::SwitchNew{"leaf1", left});
    for (const std::string& vtep : vteps) scene.run(Op::VtepAdd{"leaf1", vtep});
    scene.run(Op::SwitchStart{"leaf1"}, Op::SwitchAnnounce{"leaf1"});
  }
  Json outputs() const { return scene.outputs("leaf1"); }
};

Outputs oneVtep(const std::string& vtep, std::vector<VniMapping> mappings) {
  return {Host::VtepMappings{{{vtep, std::move(mappings)}}}};
}

// One stale entry: where it stands in a dump of the outputs, what stands there after the pass (null
// for nothing) and, where that is not what the model says, the rule by which it is so.
struct Stale {
  Outputs left;
  std::vector<std::string> vteps;
  const char* at;
  Json after;
  const char* rule = nullptr;
};

const char* const vtepsOnlyAdd =
    "the pass adds to the configuration of a VTEP and takes nothing out that fits no VLAN";
const char* const conflictsInTheFirst =
    "a conflict takes its pair out of the first VTEP configuration alone";
const char* const statusesOnly = "a VTEP without a status has no turn in the pass";
const char* const listsUpTo4094 = "only VLANs 1 to 4094 of a list are looked at";
const char* const nativesOfTheModel =
    "of a port that is there only the native VLANs that the model has are looked at";
const char* const membersAreSilent = "a port in a port group is not looked at";

std::vector<Stale> entries() {
  const std::vector<std::string> none;
  const std::vector<std::string> v1 = {"v1"};
  const std::vector<std::string> both = {"v1", "v2"};
  const auto second = [](const std::vector<VniMapping>& mappings) {
    return Outputs{Host::VtepMappings{{{"v1", {}}, {"v2", mappings}}}};
  };
  return {
      // Allowed VLANs
      {{Host::AllowedVlanLists{{{"e9", "7"}}}}, none, "/portAllowedVlanList/e9", {}},
      {{Host::AllowedVlanLists{{{"e1", "7,10"}}}}, none, "/portAllowedVlanList/e1", "10-12"},
      {{Host::AllowedVlanLists{{{"e3", "7"}}}}, none, "/portAllowedVlanList/e3", {}},
      {{Host::AllowedVlanLists{{{"e2", "0,7,4095"}}}},
       none,
       "/portAllowedVlanList/e2",
       "0,20,4095",
       listsUpTo4094},
      {{Host::AllowedVlanLists{{{"e4", "7"}}}},
       none,
       "/portAllowedVlanList/e4",
       "7",
       membersAreSilent},
      // Native VLANs
      {{Host::NativeVlans{{{"e9", 7}}}}, none, "/portNativeVlan/e9", {}},
      {{Host::NativeVlans{{{"e1", 7}}}}, none, "/portNativeVlan/e1", 10},
      {{Host::NativeVlans{{{"e2", 7}}}}, none, "/portNativeVlan/e2", 7, nativesOfTheModel},
      {{Host::NativeVlans{{{"e4", 7}}}}, none, "/portNativeVlan/e4", 7, membersAreSilent},
      // VLANs of the switch
      {{Host::SwitchVlanList{"7,10"}}, none, "/vlanList", "10-12,20,40"},
      {{Host::SwitchVlanList{"0,7,4095"}}, none, "/vlanList", "0,10-12,20,40,4095", listsUpTo4094},
      // The first VTEP configuration
      {oneVtep("v1", {{"e1", 10, 7}}), v1, "/vtepConfig/v1/e1/10", 5010},
      {oneVtep("v1", {{"e1", 11, 5011}}), v1, "/vtepConfig/v1/e1/11", {}},
      {oneVtep("v1", {{"e1", 7, 7}}), v1, "/vtepConfig/v1/e1/7", 7, vtepsOnlyAdd},
      {oneVtep("v1", {{"e2", 20, 7}}), v1, "/vtepConfig/v1/e2/20", 7, vtepsOnlyAdd},
      {oneVtep("v1", {{"e9", 7, 7}}), v1, "/vtepConfig/v1/e9", {{"7", 7}}, vtepsOnlyAdd},
      {oneVtep("v1", {{"e4", 40, 7}}), v1, "/vtepConfig/v1/e4", {{"40", 7}}, membersAreSilent},
      // The second
      {second({{"e1", 10, 7}}), both, "/vtepConfig/v2/e1/10", 5010},
      {second({{"e1", 11, 5011}}), both, "/vtepConfig/v2/e1/11", 5011, conflictsInTheFirst},
      {second({{"e1", 7, 7}}), both, "/vtepConfig/v2/e1/7", 7, vtepsOnlyAdd},
      {second({{"e9", 7, 7}}), both, "/vtepConfig/v2/e9", {{"7", 7}}, vtepsOnlyAdd},
      {second({{"e4", 40, 7}}), both, "/vtepConfig/v2/e4", {{"40", 7}}, membersAreSilent},
      // One whose VTEP has no status; it is the first one, so a conflict is taken out of it
      // as soon as another VTEP has one.
      {oneVtep("old", {}), none, "/vtepConfig/old", Json::object(), statusesOnly},
      {oneVtep("old", {{"e1", 10, 7}}),
       none,
       "/vtepConfig/old",
       {{"e1", {{"10", 7}}}},
       statusesOnly},
      {oneVtep("old", {{"e1", 11, 5011}}),
       none,
       "/vtepConfig/old",
       {{"e1", {{"11", 5011}}}},
       statusesOnly},
      {oneVtep("old", {{"e1", 11, 5011}}), v1, "/vtepConfig/old", Json::object(), statusesOnly},
  };
}

// `outputs` without the entry, and without what then holds nothing but other ports of it.
Json without(Json outputs, const Json::json_pointer& at) {
  if (at.back() == "vlanList") {
    outputs["vlanList"] = "";
  } else if (outputs.contains(at)) {
    outputs.at(at.parent_pointer()).erase(at.back());
    const bool ofAPortOfAVtep = at.parent_pointer().parent_pointer().parent_pointer() !=
                                at.parent_pointer().parent_pointer();
    if (ofAPortOfAVtep && outputs.at(at.parent_pointer()).empty()) {
      outputs.at(at.parent_pointer().parent_pointer()).erase(at.parent_pointer().back());
    }
  }
  return outputs;
}

TEST(Restart, WhatIsStaleGoesInThePassOrStaysByItsRuleAndNothingElseIsOtherwise) {
  for (const Stale& one : entries()) {
    const Json::json_pointer at(one.at);
    SCOPED_TRACE(at.to_string() + " with " + std::to_string(one.vteps.size()) + " VTEPs");
    const Json fresh = Restart({}, one.vteps).outputs();
    const Json after = Restart(one.left, one.vteps).outputs();

    EXPECT_EQ(after.contains(at) ? after.at(at) : Json(), one.after);
    // By a rule exactly where it is not what a run that found nothing has there.
    const Json of = fresh.contains(at) ? fresh.at(at) : Json();
    EXPECT_EQ(one.rule != nullptr, of != one.after) << (one.rule == nullptr ? "" : one.rule);
    EXPECT_EQ(without(after, at), without(fresh, at));
  }
}

TEST(Restart, EveryRuleByWhichSomethingStaysIsMet) {
  std::set<std::string> met;
  for (const Stale& one : entries()) {
    if (one.rule != nullptr) met.insert(one.rule);
  }
  EXPECT_EQ(met, (std::set<std::string>{vtepsOnlyAdd, conflictsInTheFirst, statusesOnly,
                                        listsUpTo4094, nativesOfTheModel, membersAreSilent}));
}

// All of them at once, which an earlier run leaves more likely than one alone.
TEST(Restart, StaleEntriesDoNotHideEachOther) {
  const Outputs all = {
      Host::AllowedVlanLists{{{"e9", "7"}, {"e1", "7,10"}, {"e2", "0,7,4095"}, {"e4", "7"}}},
      Host::NativeVlans{{{"e9", 7}, {"e1", 7}, {"e2", 7}, {"e4", 7}}},
      Host::SwitchVlanList{"0,7,4095"},
      Host::VtepMappings{
          {{"v1", {{"e1", 10, 7}, {"e1", 11, 5011}, {"e1", 7, 7}, {"e9", 7, 7}, {"e4", 40, 7}}},
           {"old", {{"e1", 10, 7}, {"e1", 11, 5011}}},
           {"v2", {{"e1", 12, 7}, {"e1", 11, 6011}, {"e9", 7, 7}}}}}};
  EXPECT_EQ(Restart(all, {"v2", "v1", "v3"}).outputs(), Json::parse(R"({
      "portAllowedVlanList": {"e1": "10-12", "e2": "0,20,4095", "e4": "7", "po1": "40"},
      "portNativeVlan": {"e1": 10, "e2": 7, "e4": 7},
      "vlanList": "0,10-12,20,40,4095",
      "vtepConfig": {
        "v1": {"e1": {"7": 7, "10": 5010, "12": 5012}, "e4": {"40": 7}, "e9": {"7": 7},
               "po1": {"40": 5040}},
        "old": {"e1": {"10": 7, "11": 5011}},
        "v2": {"e1": {"10": 5010, "11": 6011, "12": 5012}, "e9": {"7": 7}, "po1": {"40": 5040}},
        "v3": {"e1": {"10": 5010, "12": 5012}, "po1": {"40": 5040}}}})"));
}

// What stays has its way out later on.
TEST(Restart, AStalePairLeavesTheFirstVtepConfigurationWithItsVlanAndNeverTheSecond) {
  Restart run({Host::VtepMappings{{{"v1", {{"e2", 20, 7}, {"e1", 7, 7}, {"e4", 40, 7}}},
                                   {"v2", {{"e2", 20, 7}, {"e1", 7, 7}}}}}},
              {});
  run.scene.run(Op::VlanDel{onPort("e2"), 20});
  run.scene.run(Op::VlanAdd{onPort("e1"), 7}, Op::VlanDel{onPort("e1"), 7});
  EXPECT_EQ(run.outputs()["vtepConfig"],
            Json::parse(R"({"v1": {"e4": {"40": 7}}, "v2": {"e1": {"7": 7}, "e2": {"20": 7}}})"));
  // The pair of a member leaves with its VLAN, too.
  run.scene.run(Op::VlanDel{onPort("e4"), 40});
  EXPECT_EQ(run.outputs()["vtepConfig"]["v1"], Json::object());
}

TEST(Restart, AStaleNativeVlanGoesWithTheNextChangeOfThePortsNativeVlan) {
  Restart run({Host::NativeVlans{{{"e2", 7}}}}, {});
  run.scene.run(Op::Native{onPort("e2"), 20}, Op::Native{onPort("e2"), {}});
  EXPECT_FALSE(run.outputs()["portNativeVlan"].contains("e2"));
}

TEST(Restart, WhatAMemberPortKeptIsMadeToAgreeAsItLeavesItsGroup) {
  Restart run({Host::AllowedVlanLists{{{"e4", "7"}}}, Host::NativeVlans{{{"e4", 7}}}}, {});
  run.scene.run(Op::MemberDel{"leaf1", "po1", "e4"});
  EXPECT_EQ(run.outputs()["portAllowedVlanList"]["e4"], "40");
  // The native VLAN stays by the rule of a port that is there.
  EXPECT_EQ(run.outputs()["portNativeVlan"]["e4"], 7);
}

// The outputs outlive the machine, and a second start in the same process finds them so.
TEST(Restart, AMachineThatIsStoppedLeavesThePortConfigurationToTheNextOne) {
  Restart run({}, {"v1"});
  const Json before = run.outputs();
  run.scene.run(Op::SwitchStop{"leaf1"});
  const Json stopped = run.outputs();
  EXPECT_EQ(stopped["portAllowedVlanList"], before["portAllowedVlanList"]);
  EXPECT_EQ(stopped["portNativeVlan"], before["portNativeVlan"]);
  EXPECT_EQ(stopped["vlanList"], before["vlanList"]);
  EXPECT_EQ(stopped["vtepConfig"], Json::parse(R"({"v1": {}})"));
  run.scene.run(Op::RequestStop{onPort("e2")}, Op::VlanDel{onPort("e1"), 12});
  run.scene.run(Op::SwitchStart{"leaf1"}, Op::SwitchAnnounce{"leaf1"});
  Json expected = before;
  expected["portAllowedVlanList"]["e1"] = "10-11";
  expected["portAllowedVlanList"].erase("e2");
  expected["vlanList"] = "10-11,40";
  expected["vtepConfig"]["v1"]["e1"].erase("12");
  EXPECT_EQ(run.outputs(), expected);
}

}  // namespace
}  // namespace Fabrion::Test

#endif
