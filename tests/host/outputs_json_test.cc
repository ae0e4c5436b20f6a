// What people may write as outputs, and what they are told about the rest.
#include "host/OutputsJson.h"

#include <gtest/gtest.h>

#include <fstream>

namespace Fabrion::Host {
namespace {

std::string wrongOf(const std::string& text) {
  try {
    outputsFrom("now.json", text);
  } catch (const BadOutputs& bad) {
    return bad.what();
  }
  return "";
}

TEST(OutputsJson, ReadsWhatItWrites) {
  FabricOutputs outputs;
  outputs["Köln \"1\""];
  SwitchOutputs& leaf = outputs["leaf1"];
  leaf.allowedVlans = {{"e1/1", {1, 2, 3, 4094}}, {"po1", {}}};
  leaf.nativeVlan = {{"e1/1", 0}, {"po1", 4094}};
  leaf.vlans = {1, 2, 3, 4094, 65535};
  leaf.vteps = {{"a", {}}, {"b", {{"e1", {{10, 0}, {9, 16777215}}}, {"e2", {}}}}};
  const std::string text = jsonOf(outputs).dump();
  EXPECT_EQ(outputsFrom("now.json", text), outputs);
  EXPECT_EQ(jsonOf(outputsFrom("now.json", text)).dump(), text);
}

TEST(OutputsJson, HasTheFormOfADump) {
  FabricOutputs outputs;
  outputs["leaf1"] = {{{"e1", {1, 2}}}, {{"e1", 2}}, {1, 2}, {{"v", {{"e1", {{2, 7}}}}}}};
  EXPECT_EQ(jsonOf(outputs).dump(),
            R"({"switch":{"leaf1":{"portAllowedVlanList":{"e1":"1-2"},"portNativeVlan":{"e1":2},)"
            R"("vlanList":"1-2","vtepConfig":{"v":{"e1":{"2":7}}}}}})");
}

TEST(OutputsJson, APartThatIsLeftOutIsEmpty) {
  EXPECT_EQ(outputsFrom("f", R"({"switch":{}})"), FabricOutputs{});
  EXPECT_EQ(outputsFrom("f", R"({"switch":{"a":{}}})"), (FabricOutputs{{"a", SwitchOutputs{}}}));
  EXPECT_EQ(outputsFrom("f", R"({"switch":{"a":{"vlanList":"2,1"}}})").at("a").vlans,
            (Vlans{1, 2}));
}

TEST(OutputsJson, AListMayHoldWhatADumpMayUpTo65535) {
  const auto outputs = outputsFrom("f", R"({"switch":{"a":{"vlanList":"0,4095,5000","portAllowedV)"
                                        R"(lanList":{"e1":"4094-4096,65535"}}}})");
  EXPECT_EQ(outputs.at("a").vlans, (Vlans{0, 4095, 5000}));
  EXPECT_EQ(outputs.at("a").allowedVlans.at("e1"), (Vlans{4094, 4095, 4096, 65535}));
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vlanList":"65536"}}})"),
            "now.json: .switch.a.vlanList: \"65536\" stands here; expected a list of VLANs such as "
            "\"1-3,5\"");
}

TEST(OutputsJson, TheRestOfADumpIsPassedOver) {
  EXPECT_EQ(outputsFrom("f", R"({"machine":1,"mount":{},"networkElement":[],)"
                             R"("resourcesForHostname":null,"switch":{}})"),
            FabricOutputs{});
}

TEST(OutputsJson, AMistakeIsToldWithItsPathAndWhatWasExpected) {
  EXPECT_EQ(wrongOf("[]"), "now.json: .: [] stands here; expected an object, {\"switch\": {...}}");
  EXPECT_EQ(wrongOf("{}"),
            "now.json: .: no member \"switch\"; expected the outputs of the switches in it");
  EXPECT_EQ(wrongOf(R"({"conflicts":[],"fabrion":1,"switches":{}})"),
            "now.json: .: a report of `fabrion run --format json`; expected outputs, which "
            "`fabrion run --outputs FILE` writes");
  EXPECT_EQ(wrongOf(R"({"switch":{},"swich":{}})"),
            "now.json: .swich: unknown member; expected \"switch\", and beside it nothing but a "
            "dump's others");
  EXPECT_EQ(wrongOf(R"({"switch":[1]})"),
            "now.json: .switch: [1] stands here; expected outputs by switch, {SWITCH: {...}}");
  EXPECT_EQ(wrongOf(R"({"switch":{"leaf1":null}})"),
            "now.json: .switch.leaf1: null stands here; expected the outputs of a switch, an "
            "object");
  EXPECT_EQ(wrongOf(R"({"switch":{"1a":{"vlans":""}}})"),
            "now.json: .switch[\"1a\"].vlans: unknown member of a switch; expected "
            "portAllowedVlanList, portNativeVlan, vlanList or vtepConfig");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vlanList":[1]}}})"),
            "now.json: .switch.a.vlanList: [1] stands here; expected a list of VLANs such as "
            "\"1-3,5\", as a text");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vlanList":"3-1"}}})"),
            "now.json: .switch.a.vlanList: \"3-1\" stands here; expected a list of VLANs such as "
            "\"1-3,5\"");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"portAllowedVlanList":""}}})"),
            "now.json: .switch.a.portAllowedVlanList: \"\" stands here; expected lists of VLANs by "
            "port, {PORT: LIST}");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"portAllowedVlanList":{"e1/1":10}}}})"),
            "now.json: .switch.a.portAllowedVlanList[\"e1/1\"]: 10 stands here; expected a list of "
            "VLANs such as \"1-3,5\", as a text");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"portNativeVlan":[]}}})"),
            "now.json: .switch.a.portNativeVlan: [] stands here; expected native VLANs by port, "
            "{PORT: VLAN}");
  for (const char* vlan : {"4095", "-1", "1.5", "\"7\"", "null", "18446744073709551616"}) {
    EXPECT_NE(wrongOf(R"({"switch":{"a":{"portNativeVlan":{"e1":)" + std::string(vlan) + "}}}}"),
              "")
        << vlan;
  }
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"portNativeVlan":{"e1":4095}}}})"),
            "now.json: .switch.a.portNativeVlan.e1: 4095 stands here; expected a VLAN from 0 to "
            "4094");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vtepConfig":1}}})"),
            "now.json: .switch.a.vtepConfig: 1 stands here; expected mappings by VTEP, {VTEP: "
            "{PORT: {VLAN: VNI}}}");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vtepConfig":{"v":1}}}})"),
            "now.json: .switch.a.vtepConfig.v: 1 stands here; expected the ports of a VTEP, {PORT: "
            "{VLAN: VNI}}");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vtepConfig":{"v":{"e1":[[1,2]]}}}}})"),
            "now.json: .switch.a.vtepConfig.v.e1: [[1,2]] stands here; expected mappings, {VLAN: "
            "VNI}");
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"vtepConfig":{"v":{"e1":{"1":16777216}}}}}})"),
            "now.json: .switch.a.vtepConfig.v.e1[\"1\"]: 16777216 stands here; expected a VNI, a "
            "number from 0 to 16777215");
}

TEST(OutputsJson, AVlanAsAKeyHasOneForm) {
  for (const char* vlan : {"", "01", "+1", "1 ", "4095", "99999999999", "1-2"}) {
    EXPECT_EQ(
        wrongOf(R"({"switch":{"a":{"vtepConfig":{"v":{"e":{")" + std::string(vlan) + "\":1}}}}}}"),
        "now.json: .switch.a.vtepConfig.v.e[\"" + std::string(vlan) + "\"]: '" + vlan +
            "' is no VLAN; expected a number from 0 to 4094");
  }
}

TEST(OutputsJson, AMemberThatStandsTwiceIsNotDropped) {
  EXPECT_EQ(wrongOf(R"({"switch":{"a":{"portNativeVlan":{"e1":1,"e1":2}}}})"),
            "now.json: .switch.a.portNativeVlan.e1: the member stands twice; expected it once");
  EXPECT_EQ(wrongOf(R"({"switch":{},"switch":{}})"),
            "now.json: .switch: the member stands twice; expected it once");
}

TEST(OutputsJson, WhatIsNoJsonIsToldWithItsPlace) {
  const std::string expected =
      ": no JSON from here on; expected one object, {\"switch\": {...}}, such as one line that "
      "`fabrion replay` writes for a dump";
  EXPECT_EQ(wrongOf(""), "now.json:1:1" + expected);
  EXPECT_EQ(wrongOf("{\"switch\":\n {\"ä\":}}"), "now.json:2:7" + expected);
  // Two dumps: nobody said which one is meant.
  EXPECT_EQ(wrongOf("{\"switch\":{}}\n{\"switch\":{}}\n"), "now.json:2:1" + expected);
  EXPECT_EQ(wrongOf(std::string("{\"switch\":{}}\n\0[", 16)),
            "now.json:2:1: a zero byte; expected JSON");
  EXPECT_EQ(wrongOf(R"({"switch": 1e999})"),
            "now.json: a number is too large to be read; expected VLANs and VNIs");
}

TEST(OutputsJson, ALongValueIsShownInPart) {
  const std::string wrong =
      wrongOf(R"({"switch":{"a":{"vlanList":")" + std::string(57, 'x') + "ääää\"}}}");
  EXPECT_EQ(wrong, "now.json: .switch.a.vlanList: \"" + std::string(57, 'x') +
                       "ä... stands here; expected a list of VLANs such as \"1-3,5\"");
}

TEST(OutputsJson, AFileThatCannotBeReadIsNamed) {
  EXPECT_THROW(readOutputs("/nowhere/now.json"), BadOutputs);
  try {
    readOutputs("/nowhere/now.json");
  } catch (const BadOutputs& bad) {
    EXPECT_STREQ(bad.what(), "/nowhere/now.json: No such file or directory");
  }
  EXPECT_THROW(readOutputs(testing::TempDir()), BadOutputs);
  const std::string file = testing::TempDir() + "outputs.json";
  std::ofstream(file) << R"({"switch":{"a":{}}})";
  EXPECT_EQ(readOutputs(file), (FabricOutputs{{"a", SwitchOutputs{}}}));
  std::ofstream(file, std::ios::trunc);
  EXPECT_THROW(readOutputs(file), BadOutputs);
}

}  // namespace
}  // namespace Fabrion::Host
