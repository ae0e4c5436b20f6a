// OpenConfig: interfaces with `switched-vlan`, the VLANs of the default network instance, and for
// each VTEP an endpoint with `local-endpoint-vnis` (openconfig-network-instance of June 2024 and
// later).

#include <set>

#include "host/Rendering.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

constexpr const char* target = "OpenConfig";

// Numbers, and ranges as texts, "10..12".
Json trunkVlans(const Vlans& vlans) {
  Json list = Json::array();
  for (std::size_t i = 0; i < vlans.size();) {
    std::size_t end = i + 1;
    while (end < vlans.size() && vlans[end] == vlans[end - 1] + 1) ++end;
    if (end == i + 1) {
      list.push_back(vlans[i]);
    } else {
      list.push_back(std::to_string(vlans[i]) + ".." + std::to_string(vlans[end - 1]));
    }
    i = end;
  }
  return list;
}

Json switchedVlan(const RenderedPort& port) {
  Json config = Json::object();
  if (port.allowed.empty()) {
    config["interface-mode"] = "ACCESS";
    config["access-vlan"] = *port.native;
  } else {
    config["interface-mode"] = "TRUNK";
    config["trunk-vlans"] = trunkVlans(port.allowed);
    if (port.native) config["native-vlan"] = *port.native;
  }
  return Json{{"config", std::move(config)}};
}

Json interface(const std::string& name, const char* type) {
  return Json{{"config", {{"name", name}, {"type", std::string("iana-if-type:") + type}}},
              {"name", name}};
}

Json interfaces(const std::vector<RenderedPort>& ports) {
  Json list = Json::array();
  for (const RenderedPort& port : ports) {
    for (const std::string& member : port.members) {
      Json& one = list.emplace_back(interface(member, "ethernetCsmacd"));
      one["openconfig-if-ethernet:ethernet"]["config"]["openconfig-if-aggregate:aggregate-id"] =
          port.name;
    }
    Json& one =
        list.emplace_back(interface(port.name, port.isGroup ? "ieee8023adLag" : "ethernetCsmacd"));
    // A trunk without VLANs would carry all. What has no switched-vlan is no port of any VLAN.
    if (port.allowed.empty() && !port.native) continue;
    const char* const kind =
        port.isGroup ? "openconfig-if-aggregate:aggregation" : "openconfig-if-ethernet:ethernet";
    one[kind]["openconfig-vlan:switched-vlan"] = switchedVlan(port);
  }
  return list;
}

// The switch's list leaves out native VLANs; a VLAN that a port names has to be there all the same.
Json instanceVlans(const std::vector<RenderedPort>& ports, const Vlans& vlans) {
  std::set<U16> all(vlans.begin(), vlans.end());
  for (const RenderedPort& port : ports) {
    all.insert(port.allowed.begin(), port.allowed.end());
    if (port.native) all.insert(*port.native);
  }
  Json list = Json::array();
  for (const U16 vlan : all) list.push_back({{"config", {{"vlan-id", vlan}}}, {"vlan-id", vlan}});
  return Json{{"vlan", std::move(list)}};
}

Json endpoint(const std::string& vtep, const std::map<U16, U32>& vnis) {
  Json list = Json::array();
  for (const auto& [vlan, vni] : vnis) {
    list.push_back(
        {{"config", {{"bridge-domain", vlan}, {"vni", vni}, {"vni-type", "L2"}}}, {"vni", vni}});
  }
  Json one{{"config", {{"endpoint-id", vtep}, {"type", "openconfig-network-instance-types:VXLAN"}}},
           {"endpoint-id", vtep},
           {"vxlan", {{"local-endpoint-vnis", {{"local-endpoint-vni", std::move(list)}}}}}};
  return Json{{"config", {{"connection-point-id", vtep}}},
              {"connection-point-id", vtep},
              {"endpoints", {{"endpoint", Json::array({std::move(one)})}}}};
}

}  // namespace

Json openConfig(const Node& node, const SwitchOutputs& outputs, Refusals& refusals) {
  const std::vector<RenderedPort> ports = portsOf(node, outputs, refusals);
  Json instance{
      {"config",
       {{"name", "DEFAULT"}, {"type", "openconfig-network-instance-types:DEFAULT_INSTANCE"}}},
      {"name", "DEFAULT"},
      {"vlans", instanceVlans(ports, outputs.vlans)}};
  for (const auto& [vtep, mappings] : outputs.vteps) {
    instance["connection-points"]["connection-point"].push_back(
        endpoint(vtep, vniOfVlan(node, ports, mappings, target, refusals)));
  }
  return Json{{"openconfig-interfaces:interfaces", {{"interface", interfaces(ports)}}},
              {"openconfig-network-instance:network-instances",
               {{"network-instance", Json::array({std::move(instance)})}}}};
}

}  // namespace Fabrion::Host
