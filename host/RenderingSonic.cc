// SONiC: tables of config_db.json. A VLAN is an entry of the switch, a port is its member, and a
// VLAN has one VNI on all of them.

#include <algorithm>

#include "host/Rendering.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

constexpr const char* target = "SONiC";

std::string vlanName(U16 vlan) { return "Vlan" + std::to_string(vlan); }

bool isPortChannel(const std::string& name) {
  constexpr std::string_view prefix = "PortChannel";
  if (!name.starts_with(prefix)) return false;
  const std::string number = name.substr(prefix.size());
  return !number.empty() && number.size() <= 4 &&
         number.find_first_not_of("0123456789") == std::string::npos;
}

void checkNames(const Node& node, const std::vector<RenderedPort>& ports,
                const SwitchOutputs& outputs, Refusals& refusals) {
  const auto check = [&](const std::string& what, const std::string& name) {
    if (name.find('|') != std::string::npos) {
      refusals.push_back("switch " + node.name + ", " + what + " " + name + ": " + target +
                         " has no name with a | in it");
    }
  };
  for (const RenderedPort& port : ports) {
    if (!port.isGroup) check("port", port.name);
    for (const std::string& member : port.members) check("port", member);
    if (port.isGroup && !isPortChannel(port.name)) {
      refusals.push_back(placeOf(node, port) + ": " + target +
                         " names a port group PortChannel and a number from 0 to 9999");
    }
  }
  for (const auto& [vtep, mappings] : outputs.vteps) check("VTEP", vtep);
}

void checkVlanOne(const Node& node, const std::vector<RenderedPort>& ports,
                  const SwitchOutputs& outputs, Refusals& refusals) {
  const std::string why = std::string(", VLAN 1: ") + target + " has VLANs from 2 to 4094";
  bool told = false;
  for (const RenderedPort& port : ports) {
    if (!port.carries(1)) continue;
    refusals.push_back(placeOf(node, port) + why);
    told = true;
  }
  if (!told && !outputs.vlans.empty() && outputs.vlans.front() == 1) {
    refusals.push_back("switch " + node.name + why);
  }
}

Json vlanTable(const std::vector<RenderedPort>& ports, const SwitchOutputs& outputs) {
  Json table = Json::object();
  const auto add = [&table](U16 vlan) {
    table[vlanName(vlan)] = {{"vlanid", std::to_string(vlan)}};
  };
  for (const U16 vlan : outputs.vlans) add(vlan);
  // A port is a member of a VLAN that there is; the switch's list leaves out native VLANs.
  for (const RenderedPort& port : ports) {
    for (const U16 vlan : port.allowed) add(vlan);
    if (port.native) add(*port.native);
  }
  return table;
}

}  // namespace

Json sonicConfig(const Node& node, const SwitchOutputs& outputs, Refusals& refusals) {
  const std::vector<RenderedPort> ports = portsOf(node, outputs, refusals);
  checkNames(node, ports, outputs, refusals);
  checkVlanOne(node, ports, outputs, refusals);
  refuseNativeNotAllowed(
      node, ports, "a member of a VLAN is untagged or tagged to SONiC, not kept out", refusals);
  if (outputs.vteps.size() > 1) {
    std::string names;
    for (const auto& [vtep, mappings] : outputs.vteps) names += (names.empty() ? "" : ", ") + vtep;
    refusals.push_back("switch " + node.name + ": it has several VTEPs, " + names + "; " + target +
                       " has one");
  }

  Json config{{"VLAN", vlanTable(ports, outputs)}, {"VLAN_MEMBER", Json::object()}};
  for (const RenderedPort& port : ports) {
    if (port.isGroup) {
      config["PORTCHANNEL"][port.name] = {{"admin_status", "up"}};
      for (const std::string& member : port.members) {
        config["PORTCHANNEL_MEMBER"][port.name + "|" + member] = Json::object();
      }
    }
    const auto memberOf = [&](U16 vlan, const char* mode) {
      config["VLAN_MEMBER"][vlanName(vlan) + "|" + port.name] = {{"tagging_mode", mode}};
    };
    for (const U16 vlan : port.allowed) memberOf(vlan, "tagged");
    if (port.native) memberOf(*port.native, "untagged");
  }
  for (const auto& [vtep, mappings] : outputs.vteps) {
    config["VXLAN_TUNNEL"][vtep] = Json::object();
    for (const auto& [vlan, vni] : vniOfVlan(node, ports, mappings, target, refusals)) {
      const std::string entry = vtep + "|map_" + std::to_string(vni) + "_" + vlanName(vlan);
      config["VXLAN_TUNNEL_MAP"][entry] = {{"vlan", vlanName(vlan)}, {"vni", std::to_string(vni)}};
    }
  }
  return config;
}

}  // namespace Fabrion::Host
