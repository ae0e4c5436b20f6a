#include "host/ReportText.h"

#include "host/FabricText.h"
#include "host/Table.h"

namespace Fabrion::Host {

namespace {

constexpr const char* none = "-";

void addWord(std::string& words, const std::string& word) {
  if (!words.empty()) words += ", ";
  words += word;
}

std::string orNone(const std::string& words) { return words.empty() ? none : words; }

std::string nativeVlanOf(const Carried& carried) {
  if (carried.nativeVlan) return std::to_string(*carried.nativeVlan);
  return carried.nativeConflict ? "conflict" : none;
}

void addPort(Table& table, const PortReport& port) {
  std::string farEnds;
  for (const LinkEnd& end : port.farEnds) addWord(farEnds, end.node + ":" + end.port);
  for (const std::string& host : port.remoteHosts) addWord(farEnds, host + " (remote host)");
  const bool asGroup = port.carried.nothing() && !port.group.empty();
  table.add({port.name, asGroup ? "as " + port.group : orNone(port.carried.allowedVlans),
             asGroup ? "as " + port.group : nativeVlanOf(port.carried), orNone(port.group),
             orNone(farEnds)});
}

std::string textOf(const SwitchReport& report) {
  std::string text = "Switch " + report.name + "\n\n";
  std::string unused;
  Table table({"PORT", "ALLOWED VLANS", "NATIVE VLAN", "MEMBER OF", "FAR END"});
  bool empty = true;
  for (const PortReport& port : report.ports) {
    if (port.unused()) {
      addWord(unused, port.name);
      continue;
    }
    addPort(table, port);
    empty = false;
  }
  for (const GroupReport& group : report.groups) {
    table.add(
        {group.name, orNone(group.carried.allowedVlans), nativeVlanOf(group.carried), none, none});
    empty = false;
  }
  if (!empty) text += table.text() + "\n";
  text += "VLANs: " + (report.vlans.empty() ? "none" : report.vlans) + "\n";
  if (!unused.empty()) text += "Unused ports: " + unused + "\n";
  for (const VtepReport& vtep : report.vteps) {
    text += "\nVTEP " + vtep.name + (vtep.mappings.empty() ? " maps nothing.\n" : "\n\n");
    if (vtep.mappings.empty()) continue;
    Table mappings({"PORT", "VLAN", "VNI"});
    for (const VniRun& run : vtep.mappings) {
      mappings.add({run.port, toString(run.vlans), toString(run.vnis)});
    }
    text += mappings.text();
  }
  return text + "\n";
}

std::string textOf(const VniAsker& asker) {
  std::string text = asker.client.empty() ? "domain " + asker.domain : asker.client;
  if (!asker.host.empty()) text += " for host " + asker.host;
  if (!asker.port.empty()) text += " through " + asker.port;
  return text;
}

}  // namespace

std::string textOf(const NativeVlanConflict& conflict) {
  const std::string what = conflict.onGroup ? "port group" : "port";
  std::string text = "Conflict on switch " + conflict.switchName + ", " + what + " " +
                     conflict.interface + ": " + std::to_string(conflict.asked.size()) +
                     " native VLANs are asked for, so the " + what + " has none.\n";
  for (const AskedVlan& asked : conflict.asked) {
    std::string askers;
    for (const Asker& asker : asked.askers) {
      addWord(askers, asker.client + (conflict.onGroup ? " through " + asker.port : ""));
    }
    text += "  VLAN " + std::to_string(asked.vlan) + ": " +
            (askers.empty() ? "nobody any more" : askers) + "\n";
  }
  return text;
}

std::string textOf(const VniConflict& conflict) {
  std::string text = "Conflict on switch " + conflict.switchName + ", " +
                     (conflict.onGroup ? "port group " : "port ") + conflict.interface + ", VLAN " +
                     std::to_string(conflict.vlan) + ": " + std::to_string(conflict.asked.size()) +
                     " VNIs are asked for, so the VLAN is mapped to none there.\n";
  for (const AskedVni& asked : conflict.asked) {
    std::string askers;
    for (const VniAsker& asker : asked.askers) addWord(askers, textOf(asker));
    text += "  VNI " + std::to_string(asked.vni) + ": " +
            (askers.empty() ? "nobody any more" : askers) + "\n";
  }
  return text;
}

std::string textOf(const Report& report) {
  std::string text;
  for (const SwitchReport& one : report.switches) text += textOf(one);
  if (report.noConflicts()) text += "No conflicts.\n";
  for (const NativeVlanConflict& conflict : report.conflicts) text += textOf(conflict);
  for (const VniConflict& conflict : report.vniConflicts) text += textOf(conflict);
  return text;
}

}  // namespace Fabrion::Host
