// Open vSwitch: a bridge with a port for each port, a bond for each port group, and a physical
// switch of the hardware_vtep database for the VTEP. A script of POSIX sh: what is the same for
// every switch are functions at its top, and a line calls them for each port.

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

// What every script starts with, behind the names of bridge and switch. Ports that a document named
// are marked in the database, so that they can go when it does not name them any more, and what
// others made can stay.
constexpr const char* portFunctions = R"sh(
# has LIST NAME: whether the name is a line of the list.
has() { printf '%s\n' "$1" | grep -xFe "$2" >/dev/null; }

# port NAME MODE TAG TRUNKS INTERFACE...: a port on these interfaces alone; others lose them.
port() {
  name=$1 mode=$2 tag=$3 trunks=$4
  shift 4
  kept="$kept
$name"
  place "$@" 2>/dev/null && return
  has "$ports" "$name" || release "$name"
  release "$@"
  place "$@"
}

# One transaction, which fails while another port has one of the interfaces. add-port adds an
# interface named like the port; the last command takes it away where it is none of the port's.
place() {
  interfaces='' count=$#
  for interface; do
    id=@$#
    interfaces=${interfaces:+$interfaces,}$id
    set -- "$@" -- --may-exist add-bond-iface "$name" "$interface" \
      -- "--id=$id" get Interface "$interface"
  done
  shift "$count"
  has "$ports" "$name" || set -- -- add-port "$bridge" "$name" "$@"
  ovs-vsctl "$@" -- set Port "$name" "vlan_mode=$mode" "tag=$tag" "trunks=$trunks" \
    "interfaces=$interfaces" external_ids:fabrion=true >/dev/null
}

# Takes interfaces from other ports of the bridge. A port that has no other interface goes, and one
# that has the name alone.
release() {
  for interface; do
    at=$({ ovs-vsctl iface-to-br "$interface" ||
      ovs-vsctl port-to-br "$interface"; } 2>/dev/null) || :
    [ "$at" = "$bridge" ] || continue
    ovs-vsctl --dry-run -- --may-exist add-bond-iface "$name" "$interface" 2>/dev/null ||
      ovs-vsctl -- del-bond-iface "$interface" 2>/dev/null ||
      ovs-vsctl -- --with-iface del-port "$bridge" "$interface"
  done
  ports=$(ovs-vsctl list-ports "$bridge")
}

# others COMMAND...: runs it with each line of the input that is not kept.
others() {
  while IFS= read -r line; do
    has "$kept" "$line" || "$@" "$line"
  done
}

drop_port() {
  if ovs-vsctl get Port "$1" external_ids:fabrion >/dev/null 2>&1; then
    ovs-vsctl del-port "$bridge" "$1"
  fi
}
)sh";

constexpr const char* mapFunction = R"sh(
# map PORT [VLAN NETWORK]...: a port of the VTEP, made anew unless it has these bindings.
map() {
  name=$1
  shift
  bindings=${1:+$(printf '%04d %s\n' "$@")}
  has=$(vtep-ctl list-bindings "$bridge" "$name" 2>/dev/null) && [ "$has" = "$bindings" ] && return
  count=$#
  while [ "$count" -gt 0 ]; do
    set -- "$@" -- bind-ls "$bridge" "$name" "$1" "$2"
    shift 2
    count=$((count - 2))
  done
  vtep-ctl -- --if-exists del-port "$bridge" "$name" -- add-port "$bridge" "$name" "$@"
}
)sh";

constexpr const char* dropNetworkFunction = R"sh(
# The database refuses to drop a network that anything else refers to.
drop_network() {
  if vtep-ctl get Logical_Switch "$1" other_config:fabrion >/dev/null 2>&1; then
    vtep-ctl del-ls "$1" 2>/dev/null || :
  fi
}
)sh";

// Its three arguments: mode, tag and trunks.
std::string vlanWords(const RenderedPort& port) {
  const std::string list = listOf(port.allowed);
  const std::string native = port.native ? std::to_string(*port.native) : "";
  if (port.allowed.empty() && port.native) return "access " + native + " '[]'";
  // No trunks would be all trunks. 4095 is a VLAN of the column, and of no frame.
  if (port.allowed.empty()) return "trunk '[]' 4095";
  if (!port.native) return "trunk '[]' " + list;
  return "native-untagged " + native + " " + list;
}

std::string portCommands(const std::vector<RenderedPort>& ports) {
  std::string text;
  for (const RenderedPort& port : ports) {
    text += "port " + word(port.name) + " " + vlanWords(port);
    if (!port.isGroup) text += " " + word(port.name);
    for (const std::string& member : port.members) text += " " + word(member);
    text += "\n";
  }
  return text;
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

std::string networkName(U32 vni) { return "vni" + std::to_string(vni); }

std::string vtepCommands(const std::vector<RenderedPort>& ports, const std::string& vtep,
                         const SwitchOutputs::MappingsOfPort& mappings) {
  std::string text =
      R"(vtep-ctl -- --may-exist add-ps "$bridge" -- set Physical_Switch "$bridge" )" +
      word("description=" + value(vtep)) + " other_config:fabrion=true\n";
  std::set<U32> vnis;
  for (const auto& [port, vniOfVlan] : mappings) {
    for (const auto& [vlan, vni] : vniOfVlan) vnis.insert(vni);
  }
  std::string networks;
  for (const U32 vni : vnis) {
    text += "vtep-ctl -- --may-exist add-ls " + networkName(vni) + " -- set Logical_Switch " +
            networkName(vni) + " tunnel_key=" + std::to_string(vni) +
            " other_config:fabrion=true\n";
    networks += " " + networkName(vni);
  }
  for (const RenderedPort& port : ports) {
    text += "map " + word(port.name);
    const auto found = mappings.find(port.name);
    if (found != mappings.end()) {
      SwitchOutputs::VniOfVlan bindings = found->second;
      // Frames of the native VLAN come without a tag, which is VLAN 0 here.
      const auto untagged = port.native ? bindings.find(*port.native) : bindings.end();
      if (untagged != bindings.end()) bindings.emplace(U16{0}, untagged->second);
      for (const auto& [vlan, vni] : bindings) {
        text += " " + std::to_string(vlan) + " " + networkName(vni);
      }
    }
    text += "\n";
  }
  return text + "vtep-ctl list-ports \"$bridge\" | others vtep-ctl del-port \"$bridge\"\n" +
         (networks.empty() ? "kept=''" : "kept=$(printf '%s\\n'" + networks + ")") +
         "\nvtep-ctl list-ls | others drop_network\n";
}

// Where there is no such database, there is no VTEP to be dropped either.
constexpr const char* noVtepCommands = R"sh(
if vtep-ctl get Physical_Switch "$bridge" other_config:fabrion >/dev/null 2>&1; then
  vtep-ctl del-ps "$bridge"
  kept=''
  vtep-ctl list-ls | others drop_network
fi
)sh";

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
  const bool isVtep = !outputs.vteps.empty();
  std::string text = "# Switch " + node.name + "\nset -e\nbridge=" + word(node.name) +
                     " kept=''\n" + portFunctions + (isVtep ? mapFunction : "") +
                     dropNetworkFunction +
                     "\novs-vsctl -- --may-exist add-br \"$bridge\"\n"
                     "ports=$(ovs-vsctl list-ports \"$bridge\")\n" +
                     portCommands(ports) + "ovs-vsctl list-ports \"$bridge\" | others drop_port\n";
  for (const auto& [vtep, mappings] : outputs.vteps) {
    text += "\n" + vtepCommands(ports, vtep, mappings);
  }
  return isVtep ? text : text + noVtepCommands;
}

}  // namespace Fabrion::Host
