#include "host/Outputs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/Derivation.h"
#include "host/Module.h"
#include "host/OutputsJson.h"
#include "platform/Velo/Exceptions.h"
#include "tests/host/Texts.h"

namespace Fabrion::Host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Outputs, AListAndItsNumbersAreOneThing) {
  EXPECT_EQ(listOf({}), "");
  EXPECT_EQ(listOf({0, 1, 2, 5, 4094, 65535}), "0-2,5,4094,65535");
  EXPECT_THAT(vlansOf(""), IsEmpty());
  EXPECT_THAT(vlansOf("7,3-5,4"), ElementsAre(3, 4, 5, 7));
  EXPECT_THAT(vlansOf("0,65534-65535"), ElementsAre(0, 65534, 65535));
  EXPECT_THROW(vlansOf("3-1"), Velo::RangeException);
  EXPECT_EQ(vlansOf("0-65535").size(), 65536U);
}

#ifdef FABRION_MODULE

Op::SwitchNew filledSwitch() {
  return {
      "leaf1",
      {AllowedVlanLists{{{"e1", "3,1-2"}, {"e2", ""}}}, NativeVlans{{{"e1", 2}}},
       SwitchVlanList{"1-3"},
       VtepMappings{{{"vtep1", {{"e1", 1, 5001}, {"e1", 2, 5002}, {"e2", 1, 0}}}, {"v2", {}}}}}};
}

TEST(Outputs, AreWhatStandsInTheController) {
  Controller controller(loadModule(FABRION_MODULE));
  EXPECT_THAT(outputsOf(controller), IsEmpty());
  controller.apply(filledSwitch());
  controller.apply(Op::SwitchNew{"leaf2"});
  const SwitchOutputs filled{
      {{"e1", {1, 2, 3}}, {"e2", {}}},
      {{"e1", 2}},
      {1, 2, 3},
      {{"v2", {}}, {"vtep1", {{"e1", {{1, 5001}, {2, 5002}}}, {"e2", {{1, 0}}}}}}};
  EXPECT_EQ(outputsOf(controller), (FabricOutputs{{"leaf1", filled}, {"leaf2", SwitchOutputs{}}}));
}

TEST(Outputs, ThatAnEarlierRunLeftMustBeLists) {
  Controller controller(loadModule(FABRION_MODULE));
  controller.apply(Op::SwitchNew{"leaf1", {SwitchVlanList{"all"}}});
  EXPECT_THROW(outputsOf(controller), Velo::RangeException);
}

TEST(Outputs, StandInADumpAsInJsonOfTheirOwn) {
  Controller controller(loadModule(FABRION_MODULE));
  controller.apply(filledSwitch());
  controller.apply(Op::SwitchNew{"leaf2"});
  const FabricOutputs outputs = outputsOf(controller);
  EXPECT_EQ(outputsFrom("dump.json", controller.dump()), outputs);
  // Byte for byte, once the list that an earlier run wrote has its usual form.
  nlohmann::json state = controller.state();
  state["switch"]["leaf1"]["portAllowedVlanList"]["e1"] = "1-3";
  EXPECT_EQ(jsonOf(outputs)["switch"].dump(), state["switch"].dump());
}

TEST(Outputs, OfAFabricAreWhatTheMachinesMakeOfIt) {
  const Fabric fabric = Fabrion::Test::fabricOf(
      "switches: {leaf1: {ports: [e1, e2, e3], groups: {po1: [e2, e3]}}, leaf2: {ports: e1}}\n"
      "requests:\n"
      "  - {client: acme, switch: leaf1, port: e1, vlans: 10-12, native: 10}\n"
      "  - {client: acme, switch: leaf1, port: e2, vlans: 20}\n");
  const SwitchOutputs leaf1{
      {{"e1", {10, 11, 12}}, {"po1", {20}}}, {{"e1", 10}}, {10, 11, 12, 20}, {}};
  EXPECT_EQ(outputsOf(fabric, loadModule(FABRION_MODULE)),
            (FabricOutputs{{"leaf1", leaf1}, {"leaf2", SwitchOutputs{}}}));
}

TEST(Outputs, AreNotDerivedWhereAnOperationFails) {
  Controller controller(loadModule(FABRION_MODULE));
  const std::vector<Operation> operations = {Op::SwitchNew{"leaf1"}, Op::SwitchNew{"leaf1"},
                                             Op::SwitchNew{"leaf2"}};
  try {
    applyAll(operations, controller);
    FAIL();
  } catch (const OperationFailed& failed) {
    EXPECT_STREQ(failed.what(), R"(the operation {"op":"switch.new","switch":"leaf1"} failed: )"
                                "the switch 'leaf1' is there already");
  }
  EXPECT_EQ(outputsOf(controller), (FabricOutputs{{"leaf1", SwitchOutputs{}}}));
}

#endif

}  // namespace
}  // namespace Fabrion::Host
