#include "host/ReportJson.h"

#include <algorithm>
#include <tuple>

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

// Sorted by name.
using Json = nlohmann::json;

constexpr int version = 1;

Json carriedOn(const Carried& carried) {
  return Json{{"allowedVlans", carried.allowedVlans},
              {"nativeVlan", carried.nativeVlan ? Json(*carried.nativeVlan) : Json(nullptr)}};
}

Json portOf(const PortReport& port) {
  Json json = carriedOn(port.carried);
  json["group"] = port.group.empty() ? Json(nullptr) : Json(port.group);
  std::vector<LinkEnd> ends = port.farEnds;
  std::sort(ends.begin(), ends.end());
  Json& farEnds = json["farEnds"] = Json::array();
  for (const LinkEnd& end : ends) farEnds.push_back(Json::array({end.node, end.port}));
  json["remoteHosts"] = port.remoteHosts;
  return json;
}

Json groupOf(const GroupReport& group) {
  Json json = carriedOn(group.carried);
  std::vector<std::string> members = group.members;
  std::sort(members.begin(), members.end());
  json["members"] = members;
  return json;
}

Json mappingsOf(const VtepReport& vtep) {
  std::vector<VniRun> sorted = vtep.mappings;
  std::sort(sorted.begin(), sorted.end(), [](const VniRun& a, const VniRun& b) {
    return std::tie(a.port, a.vlans) < std::tie(b.port, b.vlans);
  });
  Json mappings = Json::array();
  for (const VniRun& run : sorted) {
    mappings.push_back(
        {{"port", run.port}, {"vlans", toString(run.vlans)}, {"vnis", toString(run.vnis)}});
  }
  return mappings;
}

Json switchOf(const SwitchReport& report) {
  Json ports = Json::object();
  for (const PortReport& port : report.ports) ports[port.name] = portOf(port);
  Json groups = Json::object();
  for (const GroupReport& group : report.groups) groups[group.name] = groupOf(group);
  Json vteps = Json::object();
  for (const VtepReport& vtep : report.vteps) vteps[vtep.name] = mappingsOf(vtep);
  return Json{{"groups", std::move(groups)},
              {"ports", std::move(ports)},
              {"vlans", report.vlans},
              {"vteps", std::move(vteps)}};
}

Json orNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

}  // namespace

Json jsonOf(const NativeVlanConflict& conflict) {
  Json json{{"kind", "nativeVlan"}, {"switch", conflict.switchName}};
  json[conflict.onGroup ? "group" : "port"] = conflict.interface;
  Json& vlans = json["vlans"] = Json::array();
  for (const AskedVlan& asked : conflict.asked) {
    Json askers = Json::array();
    std::vector<Asker> sorted = asked.askers;
    std::sort(sorted.begin(), sorted.end(), [](const Asker& a, const Asker& b) {
      return std::tie(a.client, a.port) < std::tie(b.client, b.port);
    });
    for (const Asker& asker : sorted) {
      askers.push_back({{"client", asker.client}, {"port", asker.port}});
    }
    vlans.push_back({{"askedBy", std::move(askers)}, {"vlan", asked.vlan}});
  }
  return json;
}

Json jsonOf(const VniConflict& conflict) {
  Json json{{"kind", "vni"}, {"switch", conflict.switchName}, {"vlan", conflict.vlan}};
  json[conflict.onGroup ? "group" : "port"] = conflict.interface;
  Json& vnis = json["vnis"] = Json::array();
  for (const AskedVni& asked : conflict.asked) {
    Json askers = Json::array();
    for (const VniAsker& asker : asked.askers) {
      askers.push_back({{"client", orNull(asker.client)},
                        {"domain", orNull(asker.domain)},
                        {"host", orNull(asker.host)},
                        {"port", asker.port.empty() ? conflict.interface : asker.port}});
    }
    std::sort(askers.begin(), askers.end());
    vnis.push_back({{"askedBy", std::move(askers)}, {"vni", asked.vni}});
  }
  return json;
}

Json jsonOf(const Report& report) {
  Json switches = Json::object();
  for (const SwitchReport& one : report.switches) switches[one.name] = switchOf(one);
  std::vector<NativeVlanConflict> sorted = report.conflicts;
  std::sort(sorted.begin(), sorted.end(),
            [](const NativeVlanConflict& a, const NativeVlanConflict& b) {
              return std::tie(a.switchName, a.interface) < std::tie(b.switchName, b.interface);
            });
  Json conflicts = Json::array();
  for (const NativeVlanConflict& conflict : sorted) conflicts.push_back(jsonOf(conflict));
  std::vector<VniConflict> ofVnis = report.vniConflicts;
  std::sort(ofVnis.begin(), ofVnis.end(), [](const VniConflict& a, const VniConflict& b) {
    return std::tie(a.switchName, a.interface, a.vlan) <
           std::tie(b.switchName, b.interface, b.vlan);
  });
  for (const VniConflict& conflict : ofVnis) conflicts.push_back(jsonOf(conflict));
  return Json{
      {"conflicts", std::move(conflicts)}, {"fabrion", version}, {"switches", std::move(switches)}};
}

}  // namespace Fabrion::Host
