// What each target gets, to the byte, and what it is told that it cannot have.
#include "host/Rendering.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Fabrion::Host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Json = nlohmann::json;

Node leaf1() {
  return {"leaf1", "leaf1", {"e1", "e2", "e3", "e4", "e7", "e8"}, {{"po1", {"e7", "e8"}}}};
}

SwitchOutputs outputsOfLeaf1() {
  return {{{"e1", {10, 11, 12}}, {"e3", {5}}, {"po1", {10, 20, 21}}},
          {{"e1", 10}, {"e2", 30}},
          {5, 10, 11, 12, 20, 21},
          {{"vtep1", {{"e1", {{10, 5010}, {11, 5011}}}, {"po1", {{10, 5010}}}}}}};
}

// --- Open vSwitch --------------------------------------------------------------------------------

// The script without the functions, which stand in front of the blank line before the first
// command.
std::string callsOf(const std::string& script) {
  const std::size_t functions = script.find("\n\n# has ");
  const std::size_t calls = script.find("\n\novs-vsctl");
  EXPECT_LT(functions, calls) << script;
  EXPECT_NE(calls, std::string::npos) << script;
  return script.substr(0, functions + 1) + script.substr(calls + 2);
}

const std::string noVtep =
    "\n"
    "if vtep-ctl get Physical_Switch \"$bridge\" other_config:fabrion >/dev/null 2>&1; then\n"
    "  vtep-ctl del-ps \"$bridge\"\n"
    "  kept=''\n"
    "  vtep-ctl list-ls | others drop_network\n"
    "fi\n";

TEST(RenderingOvs, IsABridgeWithPortsBondsAndAPhysicalSwitch) {
  Refusals refusals;
  EXPECT_EQ(callsOf(ovsCommands(leaf1(), outputsOfLeaf1(), refusals)),
            "# Switch leaf1\n"
            "set -e\n"
            "bridge=leaf1 kept=''\n"
            "ovs-vsctl -- --may-exist add-br \"$bridge\"\n"
            "ports=$(ovs-vsctl list-ports \"$bridge\")\n"
            "port e1 native-untagged 10 10-12 e1\n"
            "port e2 access 30 '[]' e2\n"
            "port e3 trunk '[]' 5 e3\n"
            "port e4 trunk '[]' 4095 e4\n"
            "port po1 trunk '[]' 10,20-21 e7 e8\n"
            "ovs-vsctl list-ports \"$bridge\" | others drop_port\n"
            "\n"
            "vtep-ctl -- --may-exist add-ps \"$bridge\" -- set Physical_Switch \"$bridge\" "
            "'description=\"vtep1\"' other_config:fabrion=true\n"
            "vtep-ctl -- --may-exist add-ls vni5010 -- set Logical_Switch vni5010 tunnel_key=5010 "
            "other_config:fabrion=true\n"
            "vtep-ctl -- --may-exist add-ls vni5011 -- set Logical_Switch vni5011 tunnel_key=5011 "
            "other_config:fabrion=true\n"
            "map e1 0 vni5010 10 vni5010 11 vni5011\n"
            "map e2\n"
            "map e3\n"
            "map e4\n"
            "map po1 10 vni5010\n"
            "vtep-ctl list-ports \"$bridge\" | others vtep-ctl del-port \"$bridge\"\n"
            "kept=$(printf '%s\\n' vni5010 vni5011)\n"
            "vtep-ctl list-ls | others drop_network\n");
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingOvs, AGroupMayBeOfOnePort) {
  Refusals refusals;
  EXPECT_EQ(callsOf(ovsCommands({"s", "s", {"e1"}, {{"po 1", {"e1"}}}}, {}, refusals)),
            "# Switch s\n"
            "set -e\n"
            "bridge=s kept=''\n"
            "ovs-vsctl -- --may-exist add-br \"$bridge\"\n"
            "ports=$(ovs-vsctl list-ports \"$bridge\")\n"
            "port 'po 1' trunk '[]' 4095 e1\n"
            "ovs-vsctl list-ports \"$bridge\" | others drop_port\n" +
                noVtep);
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingOvs, NamesAreWordsOfAShell) {
  Refusals refusals;
  EXPECT_EQ(callsOf(ovsCommands({"it's", "s", {"e1/1", "$(x)"}, {}}, {}, refusals)),
            "# Switch it's\n"
            "set -e\n"
            "bridge='it'\\''s' kept=''\n"
            "ovs-vsctl -- --may-exist add-br \"$bridge\"\n"
            "ports=$(ovs-vsctl list-ports \"$bridge\")\n"
            "port e1/1 trunk '[]' 4095 e1/1\n"
            "port '$(x)' trunk '[]' 4095 '$(x)'\n"
            "ovs-vsctl list-ports \"$bridge\" | others drop_port\n" +
                noVtep);
}

Refusals ovsRefusals(const Node& node, const SwitchOutputs& outputs) {
  Refusals refusals;
  EXPECT_EQ(ovsCommands(node, outputs, refusals), "");
  return refusals;
}

TEST(RenderingOvs, RefusesWhatItCannotSay) {
  const Node node{"s", "s", {"e1"}, {}};
  EXPECT_THAT(ovsRefusals(node, {{{"e1", {20, 21}}}, {{"e1", 10}}, {20, 21}, {}}),
              ElementsAre("switch s, port e1, native VLAN 10: it is not among the allowed VLANs, "
                          "20-21; Open vSwitch would let it pass tagged as well"));
  EXPECT_THAT(ovsRefusals(node, {{}, {}, {}, {{"v1", {}}, {"v2", {}}}}),
              ElementsAre("switch s: it has several VTEPs, v1, v2; a physical switch of "
                          "hardware_vtep is one"));
  EXPECT_THAT(ovsRefusals({"s", "s", {"s"}, {}}, {}),
              ElementsAre("switch s, port s: it is named like the switch; Open vSwitch gives that "
                          "name to the bridge's own port"));
  EXPECT_THAT(ovsRefusals({"s", "s", {"e1"}, {{"po1", {}}}}, {}),
              ElementsAre("switch s, port group po1: it has no members; Open vSwitch has no port "
                          "without an interface"));
  EXPECT_THAT(
      ovsRefusals({"@s", "s", {"--", "e1"}, {{"po1", {"@x"}}}}, {}),
      ElementsAre("switch @s: Open vSwitch takes the name for a part of a command",
                  "switch @s, port --: Open vSwitch takes the name for a part of a command",
                  "switch @s, port @x: Open vSwitch takes the name for a part of a command"));
}

// --- SONiC ---------------------------------------------------------------------------------------

Node sonicLeaf() {
  return {"leaf1",
          "leaf1",
          {"Ethernet0", "Ethernet4", "Ethernet8", "Ethernet12", "Ethernet16"},
          {{"PortChannel1", {"Ethernet12", "Ethernet16"}}}};
}

TEST(RenderingSonic, IsTablesOfTheConfiguration) {
  const SwitchOutputs outputs{
      {{"Ethernet0", {10, 11}}, {"PortChannel1", {10}}},
      {{"Ethernet0", 10}, {"Ethernet4", 30}},
      {10, 11},
      {{"vtep1", {{"Ethernet0", {{10, 5010}, {11, 5011}}}, {"PortChannel1", {{10, 5010}}}}}}};
  Refusals refusals;
  EXPECT_EQ(sonicConfig(sonicLeaf(), outputs, refusals), Json::parse(R"({
    "PORTCHANNEL": {"PortChannel1": {"admin_status": "up"}},
    "PORTCHANNEL_MEMBER": {"PortChannel1|Ethernet12": {}, "PortChannel1|Ethernet16": {}},
    "VLAN": {"Vlan10": {"vlanid": "10"}, "Vlan11": {"vlanid": "11"}, "Vlan30": {"vlanid": "30"}},
    "VLAN_MEMBER": {"Vlan10|Ethernet0": {"tagging_mode": "untagged"},
                    "Vlan10|PortChannel1": {"tagging_mode": "tagged"},
                    "Vlan11|Ethernet0": {"tagging_mode": "tagged"},
                    "Vlan30|Ethernet4": {"tagging_mode": "untagged"}},
    "VXLAN_TUNNEL": {"vtep1": {}},
    "VXLAN_TUNNEL_MAP": {"vtep1|map_5010_Vlan10": {"vlan": "Vlan10", "vni": "5010"},
                         "vtep1|map_5011_Vlan11": {"vlan": "Vlan11", "vni": "5011"}}})"));
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingSonic, ASwitchThatCarriesNothingHasEmptyTables) {
  Refusals refusals;
  EXPECT_EQ(sonicConfig({"s", "s", {"Ethernet0"}, {}}, {}, refusals).dump(),
            R"({"VLAN":{},"VLAN_MEMBER":{}})");
  EXPECT_THAT(refusals, IsEmpty());
}

Refusals sonicRefusals(const Node& node, const SwitchOutputs& outputs) {
  Refusals refusals;
  sonicConfig(node, outputs, refusals);
  return refusals;
}

TEST(RenderingSonic, RefusesWhatItCannotSay) {
  const Node node{"s", "s", {"e1", "e2"}, {}};
  EXPECT_THAT(sonicRefusals(node, {{{"e1", {20}}}, {{"e1", 10}}, {20}, {}}),
              ElementsAre("switch s, port e1, native VLAN 10: it is not among the allowed VLANs, "
                          "20; a member of a VLAN is untagged or tagged to SONiC, not kept out"));
  EXPECT_THAT(sonicRefusals(node, {{}, {}, {}, {{"v1", {}}, {"v2", {}}}}),
              ElementsAre("switch s: it has several VTEPs, v1, v2; SONiC has one"));
  EXPECT_THAT(sonicRefusals(node, {{{"e1", {1, 2}}}, {}, {1, 2}, {}}),
              ElementsAre("switch s, port e1, VLAN 1: SONiC has VLANs from 2 to 4094"));
  EXPECT_THAT(sonicRefusals(node, {{}, {}, {1}, {}}),
              ElementsAre("switch s, VLAN 1: SONiC has VLANs from 2 to 4094"));
  EXPECT_THAT(
      sonicRefusals({"s", "s", {"e|1", "e2"}, {{"po1", {"e2"}}, {"PortChannel12345", {}}}},
                    {{}, {}, {}, {{"v|1", {}}}}),
      ElementsAre("switch s, port e|1: SONiC has no name with a | in it",
                  "switch s, port group po1: SONiC names a port group PortChannel and a number "
                  "from 0 to 9999",
                  "switch s, port group PortChannel12345: SONiC names a port group PortChannel and "
                  "a number from 0 to 9999",
                  "switch s, VTEP v|1: SONiC has no name with a | in it"));
}

TEST(RenderingSonic, RefusesMappingsThatDifferByPort) {
  const Node node{"s", "s", {"e1", "e2", "e3"}, {}};
  const SwitchOutputs differing{{{"e1", {10}}, {"e2", {10}}, {"e3", {10}}},
                                {},
                                {10},
                                {{"v", {{"e1", {{10, 5010}}}, {"e2", {{10, 5011}}}}}}};
  EXPECT_THAT(
      sonicRefusals(node, differing),
      ElementsAre("switch s, port e2, VLAN 10: it is mapped to VNI 5011, and to VNI 5010 on e1; "
                  "SONiC maps a VLAN to one VNI, on all ports of a switch",
                  "switch s, port e3, VLAN 10: it is mapped to no VNI, and to VNI 5010 on e1; "
                  "SONiC maps a VLAN to one VNI, on all ports of a switch"));
  const SwitchOutputs shared{
      {{"e1", {10, 11}}}, {}, {10, 11}, {{"v", {{"e1", {{10, 5010}, {11, 5010}}}}}}};
  EXPECT_THAT(sonicRefusals(node, shared),
              ElementsAre("switch s, port e1, VLAN 11: it shares VNI 5010 with VLAN 10; SONiC maps "
                          "a VNI to one VLAN of a switch"));
}

// --- OpenConfig ----------------------------------------------------------------------------------

TEST(RenderingOpenConfig, IsInterfacesAndANetworkInstance) {
  Refusals refusals;
  EXPECT_EQ(openConfig(leaf1(), outputsOfLeaf1(), refusals), Json::parse(R"({
    "openconfig-interfaces:interfaces": {"interface": [
      {"name": "e1", "config": {"name": "e1", "type": "iana-if-type:ethernetCsmacd"},
       "openconfig-if-ethernet:ethernet": {"openconfig-vlan:switched-vlan": {"config": {
         "interface-mode": "TRUNK", "native-vlan": 10, "trunk-vlans": ["10..12"]}}}},
      {"name": "e2", "config": {"name": "e2", "type": "iana-if-type:ethernetCsmacd"},
       "openconfig-if-ethernet:ethernet": {"openconfig-vlan:switched-vlan": {"config": {
         "interface-mode": "ACCESS", "access-vlan": 30}}}},
      {"name": "e3", "config": {"name": "e3", "type": "iana-if-type:ethernetCsmacd"},
       "openconfig-if-ethernet:ethernet": {"openconfig-vlan:switched-vlan": {"config": {
         "interface-mode": "TRUNK", "trunk-vlans": [5]}}}},
      {"name": "e4", "config": {"name": "e4", "type": "iana-if-type:ethernetCsmacd"}},
      {"name": "e7", "config": {"name": "e7", "type": "iana-if-type:ethernetCsmacd"},
       "openconfig-if-ethernet:ethernet":
         {"config": {"openconfig-if-aggregate:aggregate-id": "po1"}}},
      {"name": "e8", "config": {"name": "e8", "type": "iana-if-type:ethernetCsmacd"},
       "openconfig-if-ethernet:ethernet":
         {"config": {"openconfig-if-aggregate:aggregate-id": "po1"}}},
      {"name": "po1", "config": {"name": "po1", "type": "iana-if-type:ieee8023adLag"},
       "openconfig-if-aggregate:aggregation": {"openconfig-vlan:switched-vlan": {"config": {
         "interface-mode": "TRUNK", "trunk-vlans": [10, "20..21"]}}}}]},
    "openconfig-network-instance:network-instances": {"network-instance": [
      {"name": "DEFAULT",
       "config": {"name": "DEFAULT", "type": "openconfig-network-instance-types:DEFAULT_INSTANCE"},
       "vlans": {"vlan": [{"vlan-id": 5, "config": {"vlan-id": 5}},
                          {"vlan-id": 10, "config": {"vlan-id": 10}},
                          {"vlan-id": 11, "config": {"vlan-id": 11}},
                          {"vlan-id": 12, "config": {"vlan-id": 12}},
                          {"vlan-id": 20, "config": {"vlan-id": 20}},
                          {"vlan-id": 21, "config": {"vlan-id": 21}},
                          {"vlan-id": 30, "config": {"vlan-id": 30}}]},
       "connection-points": {"connection-point": [
         {"connection-point-id": "vtep1", "config": {"connection-point-id": "vtep1"},
          "endpoints": {"endpoint": [
            {"endpoint-id": "vtep1",
             "config": {"endpoint-id": "vtep1", "type": "openconfig-network-instance-types:VXLAN"},
             "vxlan": {"local-endpoint-vnis": {"local-endpoint-vni": [
               {"vni": 5010, "config": {"vni": 5010, "vni-type": "L2", "bridge-domain": 10}},
               {"vni": 5011, "config": {"vni": 5011, "vni-type": "L2", "bridge-domain": 11}}]}}}]}}
         ]}}]}})"));
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingOpenConfig, ANativeVlanNeedNotBeAllowed) {
  Refusals refusals;
  const Json json =
      openConfig({"s", "s", {"e1"}, {}}, {{{"e1", {20}}}, {{"e1", 10}}, {20}, {}}, refusals);
  EXPECT_EQ(json["openconfig-interfaces:interfaces"]["interface"][0]
                ["openconfig-if-ethernet:ethernet"]["openconfig-vlan:switched-vlan"]["config"],
            Json::parse(R"({"interface-mode":"TRUNK","native-vlan":10,"trunk-vlans":[20]})"));
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingOpenConfig, AVlanThatIsOnlyNativeIsOneOfTheInstance) {
  // 40 is native beside allowed VLANs, 30 alone, and 5 is carried by no port.
  const SwitchOutputs outputs{{{"e1", {20}}}, {{"e1", 40}, {"e2", 30}}, {5, 20}, {}};
  Refusals refusals;
  const Json json = openConfig({"s", "s", {"e1", "e2"}, {}}, outputs, refusals);
  std::vector<int> vlans;
  for (const Json& vlan : json["openconfig-network-instance:network-instances"]["network-instance"]
                              [0]["vlans"]["vlan"]) {
    EXPECT_EQ(vlan["config"]["vlan-id"], vlan["vlan-id"]);
    vlans.push_back(vlan["vlan-id"]);
  }
  EXPECT_THAT(vlans, ElementsAre(5, 20, 30, 40));
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingOpenConfig, HasAnEndpointForEachVtep) {
  Refusals refusals;
  const Json json = openConfig(
      {"s", "s", {"e1"}, {}},
      {{{"e1", {10}}}, {}, {10}, {{"v1", {{"e1", {{10, 5010}}}}}, {"v2", {{"e1", {{10, 5011}}}}}}},
      refusals);
  const Json points = json["openconfig-network-instance:network-instances"]["network-instance"][0]
                          ["connection-points"]["connection-point"];
  EXPECT_EQ(points.size(), 2U);
  EXPECT_EQ(points[1]["connection-point-id"], "v2");
  EXPECT_THAT(refusals, IsEmpty());
}

TEST(RenderingOpenConfig, RefusesMappingsThatDifferByPort) {
  Refusals refusals;
  openConfig({"s", "s", {"e1", "e2"}, {}},
             {{{"e1", {10}}}, {{"e2", 10}}, {10}, {{"v", {{"e1", {{10, 5010}}}}}}}, refusals);
  EXPECT_THAT(
      refusals,
      ElementsAre("switch s, port e2, VLAN 10: it is mapped to no VNI, and to VNI 5010 on e1; "
                  "OpenConfig maps a VLAN to one VNI, on all ports of a switch"));
}

// --- what no target can say ----------------------------------------------------------------------

TEST(Rendering, RefusesWhatIsNoVlanNoVniAndNoPort) {
  const Node node{"s", "s", {"e1", "e2"}, {{"po1", {"e2"}}}};
  const SwitchOutputs outputs{{{"e1", {0, 7, 4095}}, {"e2", {9}}, {"e9", {7}}, {"e8", {}}},
                              {{"e1", 0}, {"x", 5}},
                              {4095},
                              {{"v", {{"e1", {{7, 0}}}, {"y", {{7, 1}}}, {"z", {}}}}}};
  Refusals refusals;
  portsOf(node, outputs, refusals);
  EXPECT_THAT(
      refusals,
      ElementsAre("switch s, port e1, VLAN 0: VLANs go from 1 to 4094",
                  "switch s, port e1, VLAN 4095: VLANs go from 1 to 4094",
                  "switch s, port e1, VLAN 7: it is mapped to VNI 0; VXLAN networks count from 1",
                  "switch s, VLAN 4095: VLANs go from 1 to 4094",
                  "switch s, port e2: it has outputs of its own, and is a member of a port group",
                  "switch s, port e9: it has outputs, and the switch has no such port",
                  "switch s, port x: it has outputs, and the switch has no such port",
                  "switch s, port y: it has outputs, and the switch has no such port"));
}

TEST(Rendering, PortsStandInTheOrderOfTheDocument) {
  Refusals refusals;
  const std::vector<RenderedPort> ports =
      portsOf({"s", "s", {"e9", "e10", "e1"}, {{"po1", {"e10"}}}}, {}, refusals);
  ASSERT_EQ(ports.size(), 3U);
  EXPECT_EQ(ports[0].name, "e9");
  EXPECT_EQ(ports[1].name, "e1");
  EXPECT_EQ(ports[2].name, "po1");
  EXPECT_TRUE(ports[2].isGroup);
  EXPECT_THAT(ports[2].members, ElementsAre("e10"));
}

}  // namespace
}  // namespace Fabrion::Host
