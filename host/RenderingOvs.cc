// Open vSwitch: a bridge with a port for each port, a bond for each port group, and a physical
// switch of the hardware_vtep database for the VTEP. Each line is one transaction.

#include <algorithm>
#include <set>

#include "host/Rendering.h"

namespace Fabrion::Host {

namespace {

constexpr const char* target = "Open vSwitch";

// One word for a shell, whatever stands in it.
std::string word(const std::string& text) {
  static const std::string plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./:=,@%+-";
  if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// A text as a value of a column.
std::string value(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string vlanColumns(const RenderedPort& port) {
  const std::string list = listOf(port.allowed);
  const std::string native = port.native ? std::to_string(*port.native) : "";
  if (port.allowed.empty() && port.native) {
    return "vlan_mode=access tag=" + native + " 'trunks=[]'";
  }
  // No trunks would be all trunks. 4095 is a VLAN of the column, and of no frame.
  if (port.allowed.empty()) return "vlan_mode=trunk 'tag=[]' trunks=4095";
  if (!port.native) return "vlan_mode=trunk 'tag=[]' trunks=" + list;
  return "vlan_mode=native-untagged tag=" + native + " trunks=" + list;
}

// The port itself, as it is made where it is not there.
std::string making(const std::string& bridge, const RenderedPort& port) {
  const std::string name = word(port.name);
  if (!port.isGroup) return "--may-exist add-port " + bridge + " " + name;
  std::string commands;
  // A member may have been a port of its own.
  for (const std::string& member : port.members) {
    commands += "--if-exists del-port " + bridge + " " + word(member) + " -- ";
  }
  if (port.members.size() > 1) {
    commands += "--may-exist add-bond " + bridge + " " + name;
    for (const std::string& member : port.members) commands += " " + word(member);
    return commands;
  }
  // add-bond takes two members at least.
  const std::string member = word("name=" + value(port.members.front()));
  return commands + "--if-exists del-port " + bridge + " " + name +
         " -- --id=@member create Interface " + member + " -- --id=@group create Port " +
         word("name=" + value(port.name)) + " interfaces=@member -- add Bridge " + bridge +
         " ports @group";
}

void checkNames(const Node& node, const std::vector<RenderedPort>& ports, Refusals& refusals) {
  const auto check = [&](const std::string& place, const std::string& name) {
    if (name == "--" || name.starts_with('@')) {
      refusals.push_back(place + ": " + target + " takes the name for a part of a command");
    }
  };
  const std::string where = "switch " + node.name;
  check(where, node.name);
  for (const RenderedPort& port : ports) {
    const std::string place = placeOf(node, port);
    std::vector<std::string> names = port.members;
    names.push_back(port.name);
    for (const std::string& name : names) {
      check(where + ", port " + name, name);
      if (name == node.name) {
        refusals.push_back(where + ", port " + name + ": it is named like the switch; " + target +
                           " gives that name to the bridge's own port");
      }
    }
    if (port.isGroup && port.members.empty()) {
      refusals.push_back(place + ": it has no members; " + target +
                         " has no port without an interface");
    }
  }
}

std::string vtepCommands(const Node& node, const std::vector<RenderedPort>& ports,
                         const std::string& vtep, const SwitchOutputs::MappingsOfPort& mappings) {
  const std::string name = word(node.name);
  std::string text = "vtep-ctl -- --may-exist add-ps " + name + " -- set Physical_Switch " + name +
                     " " + word("description=" + value(vtep)) + "\n";
  std::set<U32> vnis;
  for (const auto& [port, vniOfVlan] : mappings) {
    for (const auto& [vlan, vni] : vniOfVlan) vnis.insert(vni);
  }
  const auto logicalSwitch = [](U32 vni) { return "vni" + std::to_string(vni); };
  for (const U32 vni : vnis) {
    text += "vtep-ctl -- --may-exist add-ls " + logicalSwitch(vni) + " -- set Logical_Switch " +
            logicalSwitch(vni) + " tunnel_key=" + std::to_string(vni) + "\n";
  }
  for (const RenderedPort& port : ports) {
    // Made anew, since a binding can be added and is not replaced.
    const std::string onPort = name + " " + word(port.name);
    text += "vtep-ctl -- --if-exists del-port " + onPort + " -- add-port " + onPort;
    const auto bindings = mappings.find(port.name);
    if (bindings != mappings.end()) {
      for (const auto& [vlan, vni] : bindings->second) {
        // Frames of the native VLAN come without a tag, which is VLAN 0 here.
        if (port.native == vlan) text += " -- bind-ls " + onPort + " 0 " + logicalSwitch(vni);
        text += " -- bind-ls " + onPort + " " + std::to_string(vlan) + " " + logicalSwitch(vni);
      }
    }
    text += "\n";
  }
  return text;
}

}  // namespace

std::string ovsCommands(const Node& node, const SwitchOutputs& outputs, Refusals& refusals) {
  const std::vector<RenderedPort> ports = portsOf(node, outputs, refusals);
  const std::size_t before = refusals.size();
  checkNames(node, ports, refusals);
  refuseNativeNotAllowed(node, ports, "Open vSwitch would let it pass tagged as well", refusals);
  if (outputs.vteps.size() > 1) {
    std::string names;
    for (const auto& [vtep, mappings] : outputs.vteps) names += (names.empty() ? "" : ", ") + vtep;
    refusals.push_back("switch " + node.name + ": it has several VTEPs, " + names +
                       "; a physical switch of hardware_vtep is one");
  }
  if (refusals.size() != before) return {};
  const std::string bridge = word(node.name);
  std::string text = "# Switch " + node.name + "\novs-vsctl -- --may-exist add-br " + bridge + "\n";
  for (const RenderedPort& port : ports) {
    text += "ovs-vsctl -- " + making(bridge, port) + " -- set Port " + word(port.name) + " " +
            vlanColumns(port) + "\n";
  }
  for (const auto& [vtep, mappings] : outputs.vteps) {
    text += vtepCommands(node, ports, vtep, mappings);
  }
  return text;
}

}  // namespace Fabrion::Host
