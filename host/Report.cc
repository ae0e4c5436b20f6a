#include "host/Report.h"

#include <algorithm>
#include <map>

#include "host/ReportVnis.h"

namespace Fabrion::Host {

namespace {

using FarEnds = std::map<LinkEnd, std::vector<LinkEnd>>;

FarEnds farEndsOf(const Fabric& fabric) {
  FarEnds ends;
  for (const Link& link : fabric.links) {
    ends[link.a].push_back(link.b);
    ends[link.b].push_back(link.a);
  }
  return ends;
}

template <class Collection>
std::vector<std::string> sortedNames(const Collection& collection) {
  std::vector<std::string> names;
  for (const Nimbo::String& name : collection.keys()) names.emplace_back(name.view());
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<U32> sortedVlans(const Interface& interface) {
  std::vector<U32> vlans;
  for (const U32 vlan : interface.nativeVlan().keys()) vlans.push_back(vlan);
  std::sort(vlans.begin(), vlans.end());
  return vlans;
}

// Who asks for the native VLAN on this port.
void addAskers(const PhysicalInterface& port, U32 vlan, std::vector<Asker>& askers) {
  const Velo::Ptr<const Client::UntaggedVlan> asked = port.nativeVlan(vlan);
  if (!asked) return;
  for (const std::string& client : sortedNames(asked->referrer())) {
    askers.push_back({client, std::string(port.name().view())});
  }
}

// Reads one switch.
class SwitchReading {
 public:
  SwitchReading(const Node& node, const Switches::Switch& outputs, const NetworkElement* element,
                const FarEnds& farEnds, const std::vector<StaticMap>& maps, Report& report)
      : node_(node),
        vtepConfigDir_(*outputs.vtepConfigDir),
        maps_(maps),
        vniConflicts_(report.vniConflicts),
        outputs_(*outputs.portVlanConfig),
        element_(element),
        farEnds_(farEnds),
        conflicts_(report.conflicts) {}

  SwitchReport read() {
    SwitchReport report{node_.name, {}, {}, std::string(outputs_.vlanList().value().view())};
    for (const std::string& port : node_.ports) report.ports.push_back(readPort(port));
    for (const PortGroup& group : node_.groups) report.groups.push_back(readGroup(group));
    std::vector<std::string> interfaces = node_.ports;
    for (const PortGroup& group : node_.groups) interfaces.push_back(group.name);
    report.vteps = vtepsOf(vtepConfigDir_, interfaces);
    return report;
  }

 private:
  PortReport readPort(const std::string& name) {
    PortReport report{name, carriedOn(name), groupOf(name), {}, {}};
    const auto ends = farEnds_.find({node_.name, name});
    if (ends != farEnds_.end()) report.farEnds = ends->second;
    const Velo::Ptr<const PhysicalInterface> port = physicalInterface(name);
    if (!port) return report;
    report.remoteHosts = sortedNames(port->configuredElement());
    // On a member the same requests are a matter of its group.
    if (!port->portGroup()) addVniConflicts(node_.name, *port, nullptr, maps_, vniConflicts_);
    if (port->nativeVlan().size() > 1 && !port->portGroup()) {
      report.carried.nativeConflict = true;
      NativeVlanConflict conflict{node_.name, name, false, {}};
      for (const U32 vlan : sortedVlans(*port)) {
        conflict.asked.push_back({vlan, {}});
        addAskers(*port, vlan, conflict.asked.back().askers);
      }
      conflicts_.push_back(std::move(conflict));
    }
    return report;
  }

  GroupReport readGroup(const PortGroup& written) {
    GroupReport report{written.name, carriedOn(written.name), written.members};
    const Velo::Ptr<const Fabrion::PortGroup> group =
        element_ == nullptr ? nullptr : element_->portGroup(Nimbo::String(written.name));
    if (group) addVniConflicts(node_.name, *group, group.get(), maps_, vniConflicts_);
    if (!group || group->nativeVlan().size() < 2) return report;
    report.carried.nativeConflict = true;
    NativeVlanConflict conflict{node_.name, written.name, true, {}};
    for (const U32 vlan : sortedVlans(*group)) {
      conflict.asked.push_back({vlan, {}});
      // Asked of the members, as the group remembers only the one that asked first.
      for (const std::string& member : written.members) {
        const Velo::Ptr<const PhysicalInterface> port =
            group->memberInterface(Nimbo::String(member));
        if (port) addAskers(*port, vlan, conflict.asked.back().askers);
      }
    }
    conflicts_.push_back(std::move(conflict));
    return report;
  }

  Carried carriedOn(const std::string& interface) const {
    Carried carried;
    const Nimbo::String name(interface);
    if (const auto* list = outputs_.portAllowedVlanList(name)) {
      carried.allowedVlans = std::string(list->value().view());
    }
    if (const auto* vlan = outputs_.portNativeVlan(name)) carried.nativeVlan = vlan->value();
    return carried;
  }

  std::string groupOf(const std::string& port) const {
    for (const PortGroup& group : node_.groups) {
      if (std::find(group.members.begin(), group.members.end(), port) != group.members.end()) {
        return group.name;
      }
    }
    return {};
  }

  Velo::Ptr<const PhysicalInterface> physicalInterface(const std::string& name) const {
    return element_ == nullptr ? nullptr : element_->physicalInterface(Nimbo::String(name));
  }

  const Node& node_;
  const VxlanController::VtepConfigDirV2& vtepConfigDir_;
  const std::vector<StaticMap>& maps_;
  std::vector<VniConflict>& vniConflicts_;
  const ControllerProxyAgent::PortVlanConfigV1& outputs_;
  const NetworkElement* const element_;  // null where the model has none
  const FarEnds& farEnds_;
  std::vector<NativeVlanConflict>& conflicts_;
};

}  // namespace

Report reportOf(const Fabric& fabric, const Controller& controller) {
  Report report;
  const FarEnds farEnds = farEndsOf(fabric);
  for (const Node& node : fabric.switches) {
    const auto outputs = controller.switches().find(node.name);
    if (outputs == controller.switches().end()) continue;
    const Velo::Ptr<const NetworkElement> element =
        controller.elements().networkElement(Nimbo::String(node.name));
    report.switches.push_back(
        SwitchReading(node, outputs->second, element.get(), farEnds, fabric.staticMaps, report)
            .read());
  }
  return report;
}

}  // namespace Fabrion::Host
