#include "host/FabricLayers.h"

#include <algorithm>
#include <deque>
#include <set>
#include <vector>

namespace Fabrion::Host {

namespace {

bool isLeaf(const SwitchReport& report, const std::set<std::string>& switches) {
  std::set<std::string> busyGroups;
  for (const GroupReport& group : report.groups) {
    if (!group.carried.nothing()) busyGroups.insert(group.name);
  }
  return std::any_of(report.ports.begin(), report.ports.end(), [&](const PortReport& port) {
    if (!port.remoteHosts.empty()) return true;
    bool leadsToSwitch = false;
    for (const LinkEnd& end : port.farEnds) {
      if (!switches.contains(end.node)) return true;
      leadsToSwitch = true;
    }
    return !leadsToSwitch && (!port.carried.nothing() || busyGroups.contains(port.group));
  });
}

}  // namespace

std::map<std::string, unsigned> layersOf(const Fabric& fabric, const Report& report) {
  std::set<std::string> switches;
  for (const Node& node : fabric.switches) switches.insert(node.name);
  std::map<std::string, std::vector<std::string>> linked;
  for (const Link& link : fabric.links) {
    if (!switches.contains(link.a.node) || !switches.contains(link.b.node)) continue;
    linked[link.a.node].push_back(link.b.node);
    linked[link.b.node].push_back(link.a.node);
  }
  std::map<std::string, unsigned> layers;
  std::deque<std::string> reached;
  for (const SwitchReport& one : report.switches) {
    if (!isLeaf(one, switches)) continue;
    layers.emplace(one.name, 1);
    reached.push_back(one.name);
  }
  for (; !reached.empty(); reached.pop_front()) {
    const unsigned next = layers[reached.front()] + 1;
    for (const std::string& name : linked[reached.front()]) {
      if (layers.emplace(name, next).second) reached.push_back(name);
    }
  }
  for (const std::string& name : switches) layers.emplace(name, 1);
  return layers;
}

}  // namespace Fabrion::Host
