#include "host/ReportText.h"

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
  return text + "\n";
}

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

}  // namespace

std::string textOf(const Report& report) {
  std::string text;
  for (const SwitchReport& one : report.switches) text += textOf(one);
  if (report.conflicts.empty()) text += "No conflicts.\n";
  for (const NativeVlanConflict& conflict : report.conflicts) text += textOf(conflict);
  return text;
}

}  // namespace Fabrion::Host
