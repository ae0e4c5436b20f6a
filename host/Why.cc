#include "host/Why.h"

#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "host/WhyCauses.h"
#include "host/WhyIndex.h"
#include "host/WhyKeys.h"
#include "host/WhyNot.h"

namespace Fabrion::Host {

namespace {

// Gathers VLANs with the same causes into entries, in the order in which the first ones came.
class Entries {
 public:
  void add(EntryKind kind, U16 vlan, std::vector<Cause> because) {
    at({kind, {}, 0, keyOf(because)}, because).vlans.push_back(vlan);
  }
  // VNIs are one entry where they rise with the VLANs.
  void add(const std::string& vtep, const Origin& origin, U16 vlan, U32 vni,
           std::vector<Cause> because) {
    WhyEntry& entry = at({EntryKind::vni, vtep, vni - U32{vlan}, keyOf(because)}, because);
    entry.vtep = vtep;
    entry.vtepOrigin = origin;
    entry.vlans.push_back(vlan);
    entry.vnis.push_back(vni);
  }
  std::vector<WhyEntry> take() { return std::move(entries_); }

 private:
  using Key = std::tuple<EntryKind, std::string, U32, std::string>;

  WhyEntry& at(const Key& key, std::vector<Cause>& because) {
    const auto [place, isNew] = places_.emplace(key, entries_.size());
    if (isNew) {
      entries_.emplace_back();
      entries_.back().kind = std::get<EntryKind>(key);
      entries_.back().because = std::move(because);
    }
    return entries_[place->second];
  }

  std::map<Key, std::size_t> places_;
  std::vector<WhyEntry> entries_;
};

std::vector<std::string> vtepsOf(const Controller& controller, const std::string& name) {
  std::vector<std::string> vteps;
  const auto found = controller.switches().find(name);
  if (found == controller.switches().end()) return vteps;
  for (const Nimbo::String& vtep : found->second.vtepConfigDir->vtepConfig().keys()) {
    vteps.emplace_back(vtep.view());
  }
  return vteps;
}

const Node& switchNamed(const Fabric& fabric, const std::string& name) {
  for (const Node& node : fabric.switches) {
    if (node.name == name) return node;
  }
  throw std::out_of_range("the fabric has no switch " + name);
}

class Explaining {
 public:
  Explaining(const Fabric& fabric, const Controller& controller, const Node& node)
      : index_(fabric),
        node_(node),
        element_(controller.elements().networkElement(Nimbo::String(node.name))),
        causes_(index_, node, element_.get()),
        outputs_(outputsOf(controller)[node.name]),
        vteps_(vtepsOf(controller, node.name)),
        whyNot_(causes_, outputs_, vteps_) {}

  Explanation all() const {
    Explanation all{node_.name};
    for (const std::string& name : names()) all.ports.push_back(port(name, {}));
    Entries entries;
    for (const U16 vlan : outputs_.vlans) {
      entries.add(EntryKind::carried, vlan, causes_.ofCarried(vlan));
    }
    all.carried = entries.take();
    return all;
  }

  Explanation of(const std::string& name, std::optional<U32> vlan) const {
    Explanation one{node_.name, {port(name, vlan)}};
    const std::string group = one.ports.front().memberOf;
    if (!group.empty()) one.ports.push_back(port(group, vlan));
    return one;
  }

 private:
  // Those of the document, then what an earlier run left on others.
  std::vector<std::string> names() const {
    std::vector<std::string> names = node_.ports;
    for (const PortGroup& group : node_.groups) names.push_back(group.name);
    const std::set<std::string> known(names.begin(), names.end());
    std::set<std::string> others;
    for (const auto& entry : outputs_.allowedVlans) others.insert(entry.first);
    for (const auto& entry : outputs_.nativeVlan) others.insert(entry.first);
    for (const auto& vtep : outputs_.vteps) {
      for (const auto& entry : vtep.second) others.insert(entry.first);
    }
    for (const std::string& other : others) {
      if (!known.contains(other)) names.push_back(other);
    }
    return names;
  }

  PortWhy port(const std::string& name, std::optional<U32> vlan) const {
    PortWhy why{name};
    const PortGroup* const group = causes_.groupOf(name);
    if (group != nullptr) {
      why.memberOf = group->name;
      why.groupOrigin = group->origin;
    }
    // Whatever a member has was left there: its group carries what is asked of it.
    const auto because = [&](std::vector<Cause> causes) {
      return group == nullptr ? std::move(causes) : std::vector<Cause>(1);
    };
    const auto meant = [&](U32 each) { return !vlan || *vlan == each; };
    Entries entries;
    if (const auto found = outputs_.allowedVlans.find(name); found != outputs_.allowedVlans.end()) {
      for (const U16 each : found->second) {
        if (meant(each)) entries.add(EntryKind::allowed, each, because(causes_.of(name, {each})));
      }
    }
    if (const auto found = outputs_.nativeVlan.find(name);
        found != outputs_.nativeVlan.end() && meant(found->second)) {
      entries.add(EntryKind::native, found->second, because(causes_.ofNative(name, found->second)));
    }
    for (const std::string& vtep : vteps_) {
      const SwitchOutputs::MappingsOfPort& ports = outputs_.vteps.at(vtep);
      const auto found = ports.find(name);
      if (found == ports.end()) continue;
      for (const auto& [each, vni] : found->second) {
        if (!meant(each)) continue;
        entries.add(vtep, originOfVtep(vtep), each, vni, because(causes_.of(name, {each, vni})));
      }
    }
    why.entries = entries.take();
    why.absences = whyNot_.of(name, vlan);
    return why;
  }

  Origin originOfVtep(const std::string& name) const {
    for (const Vtep& vtep : node_.vteps) {
      if (vtep.name == name) return vtep.origin;
    }
    return {};
  }

  const WhyIndex index_;
  const Node& node_;
  const Velo::Ptr<const NetworkElement> element_;
  const WhyCauses causes_;
  const SwitchOutputs outputs_;
  const std::vector<std::string> vteps_;
  const WhyNot whyNot_;
};

}  // namespace

Explanation explain(const Fabric& fabric, const Controller& controller,
                    const WhyQuestion& question) {
  const Explaining explaining(fabric, controller, switchNamed(fabric, question.switchName));
  return question.port ? explaining.of(*question.port, question.vlan) : explaining.all();
}

}  // namespace Fabrion::Host
