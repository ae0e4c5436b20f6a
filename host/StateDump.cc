#include "host/StateDump.h"

#include <algorithm>

#include "host/MachinePath.h"

namespace Fabrion::Host {

namespace {

// Sorted by name, as a dump has it.
using Json = nlohmann::json;

std::string keyText(const Nimbo::String& name) { return std::string(name.view()); }
std::string keyText(U32 number) { return std::to_string(number); }
std::string keyText(const Client::ClientDomain& domain) {
  return keyText(domain.client()) + "|" + keyText(domain.domain());
}

Json sorted(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return names;
}

template <class Collection>
Json namesIn(const Collection& collection) {
  std::vector<std::string> names;
  for (const auto& name : collection.keys()) names.push_back(keyText(name));
  return sorted(std::move(names));
}

// {KEY: show(VALUE)} for a collection of anything.
template <class Collection, class Show>
Json object(const Collection& collection, Show show) {
  Json result = Json::object();
  for (const auto& entry : collection.items()) result[keyText(entry.key())] = show(entry.value());
  return result;
}

// {KEY: [REFERRER...]} for the leaves of the model.
template <class Collection>
Json referrersIn(const Collection& collection) {
  return object(collection, [](const auto& leaf) { return namesIn(leaf->referrer()); });
}

template <class Collection>
Json vlans(const Collection& collection) {
  return object(collection, [](const Velo::Ptr<DynamicVlan>& vlan) {
    return Json{{"domain", referrersIn(vlan->domain())},
                {"mappedVni", referrersIn(vlan->mappedVni())},
                {"referrer", namesIn(vlan->referrer())}};
  });
}

Json physicalInterface(const PhysicalInterface& port) {
  const Velo::Ptr<const PortGroup> group = port.portGroup();
  return Json{{"configuredElement", namesIn(port.configuredElement())},
              {"discovered", port.discovered()},
              {"discoveredElement", namesIn(port.discoveredElement())},
              {"isSwitchInterface", port.isSwitchInterface()},
              {"nativeVlan", referrersIn(port.nativeVlan())},
              {"networkElement", namesIn(port.networkElement())},
              {"portGroup", group ? Json(keyText(group->name())) : Json(nullptr)},
              {"referrer", namesIn(port.referrer())},
              {"vlan", vlans(port.vlan())}};
}

Json portGroup(const PortGroup& group) {
  return Json{{"isSwitchInterface", group.isSwitchInterface()},
              {"memberInterface", namesIn(group.memberInterface())},
              {"nativeVlan", referrersIn(group.nativeVlan())},
              {"vlan", vlans(group.vlan())}};
}

Json networkElement(const NetworkElement& element) {
  const Velo::Ptr<const ResourcesForHostname> resources = element.resourcesForHostname();
  return Json{
      {"hostname", keyText(element.hostname())},
      {"interface", namesIn(element.interface())},
      {"isSwitchElement", element.isSwitchElement()},
      {"physicalInterface", object(element.physicalInterface(),
                                   [](const auto& port) { return physicalInterface(*port); })},
      {"portGroup",
       object(element.portGroup(), [](const auto& group) { return portGroup(*group); })},
      {"referrer", namesIn(element.referrer())},
      {"resourcesForHostname", resources ? Json(keyText(resources->hostname())) : Json(nullptr)},
      {"vlan", vlans(element.vlan())}};
}

// {PORT: {VLAN: VNI}}
Json mappings(const VxlanController::VtepConfigV2& config) {
  Json ports = Json::object();
  for (const auto& entry : config.vlanToVniMap().items()) {
    ports[keyText(entry.key().port())][keyText(U32{entry.key().vlan().value()})] =
        entry.value().value();
  }
  return ports;
}

Json switchOutputs(const Switches::Switch& one) {
  return Json{
      {"portAllowedVlanList", object(one.portVlanConfig->portAllowedVlanList(),
                                     [](const auto& list) { return keyText(list.value()); })},
      {"portNativeVlan", object(one.portVlanConfig->portNativeVlan(),
                                [](const auto& vlan) { return U32{vlan.value()}; })},
      {"vlanList", keyText(one.portVlanConfig->vlanList().value())},
      {"vtepConfig", object(one.vtepConfigDir->vtepConfig(),
                            [](const auto& config) { return mappings(*config); })}};
}

// Machines, through generic access

Json ownedNames(const Machine& machine, const char* attribute) {
  std::vector<std::string> names = machine.ownedNames(attribute);
  for (std::string& name : names) name = escapedName(name);
  return sorted(std::move(names));
}

Json elementMachines(const Machine& topology) {
  Json result = Json::object();
  const Machine collection = topology ? topology.owned("networkElementCollectionSm") : Machine();
  if (!collection) return result;
  for (const std::string& name : collection.ownedNames("networkElementSm")) {
    const Machine element = collection.owned("networkElementSm", name);
    const Machine resources = element.owned("hostResourcesSm");
    result[name] = {
        {"hostResourcesSm", resources ? Json(resources.text("hostname")) : Json(nullptr)},
        {"physicalInterfaceSm", ownedNames(element, "physicalInterfaceSm")},
        {"portGroupSm", ownedNames(element, "portGroupSm")},
        {"topologyHost", element.follows("topologyHost")}};
  }
  return result;
}

Json machines(const DumpSources& sources) {
  std::vector<std::string> hostRequests;
  for (const HostRequestName& name : sources.requests.runningHostRequests()) {
    hostRequests.push_back(escapedName(name.client) + "/" + escapedName(name.hostname));
  }
  std::vector<std::string> portRequests;
  for (const PortRequestName& name : sources.requests.runningPortRequests()) {
    portRequests.push_back(escapedName(name.client) + "/" + escapedName(name.switchName) + "/" +
                           escapedName(name.interface));
  }
  Json switches = Json::object();
  for (const auto& [name, one] : sources.switches.all()) {
    if (one.machine) switches[name] = {{"switchElement", one.machine.follows("switchElement")}};
  }
  return Json{{"clientResourcesForHostnameSm", sorted(std::move(hostRequests))},
              {"clientResourcesForSwitchportSm", sorted(std::move(portRequests))},
              {"networkElementSm", elementMachines(sources.topology)},
              {"switchNodeSm", std::move(switches)},
              {"topologySm", static_cast<bool>(sources.topology)}};
}

Json mounts(const Switches& switches) {
  Json result = Json::object();
  for (const auto& [name, one] : switches.all()) {
    if (!one.mounts) continue;
    Json& flags = result[name];
    for (const char* flag : mountFlagNames) flags[flag] = one.mounts.flag(flag);
  }
  return result;
}

}  // namespace

Json stateOf(const DumpSources& sources) {
  Json switches = Json::object();
  for (const auto& [name, one] : sources.switches.all()) switches[name] = switchOutputs(one);
  return Json{
      {"machine", machines(sources)},
      {"mount", mounts(sources.switches)},
      {"networkElement", object(sources.elements.networkElement(),
                                [](const auto& element) { return networkElement(*element); })},
      {"resourcesForHostname",
       object(sources.resources.resourcesForHostname(),
              [](const auto& one) {
                return Json{{"referrer", namesIn(one->referrer())}, {"vlan", vlans(one->vlan())}};
              })},
      {"switch", std::move(switches)}};
}

}  // namespace Fabrion::Host
