#include "host/OutputDifference.h"

#include <algorithm>
#include <iterator>

namespace Fabrion::Host {

namespace {

// Calls visit(key, value before or null, value after or null) for each key of either, rising.
template <class Map, class Visit>
void forBoth(const Map& before, const Map& after, Visit visit) {
  constexpr const typename Map::mapped_type* none = nullptr;
  auto a = before.begin();
  auto b = after.begin();
  while (a != before.end() || b != after.end()) {
    if (b == after.end() || (a != before.end() && a->first < b->first)) {
      visit(a->first, &a->second, none);
      ++a;
    } else if (a == before.end() || b->first < a->first) {
      visit(b->first, none, &b->second);
      ++b;
    } else {
      visit(a->first, &a->second, &b->second);
      ++a;
      ++b;
    }
  }
}

template <class T>
const T& orEmpty(const T* value) {
  static const T empty{};
  return value == nullptr ? empty : *value;
}

// Compares one switch.
class Comparison {
 public:
  Comparison(const std::string& switchName, std::vector<OutputDifference>& found)
      : switchName_(switchName), found_(found) {}

  void compare(const SwitchOutputs* before, const SwitchOutputs* after) {
    presence(OutputKind::switchItself, {}, before != nullptr, after != nullptr);
    const SwitchOutputs& was = orEmpty(before);
    const SwitchOutputs& is = orEmpty(after);
    vlans(OutputKind::switchVlan, {}, was.vlans, is.vlans);
    forBoth(was.allowedVlans, is.allowedVlans,
            [this](const auto& port, const Vlans* a, const Vlans* b) {
              vlans(OutputKind::allowedVlan, port, orEmpty(a), orEmpty(b));
            });
    forBoth(was.nativeVlan, is.nativeVlan, [this](const auto& port, const U16* a, const U16* b) {
      number(entry(OutputKind::nativeVlan, {}, port), a, b);
    });
    forBoth(was.vteps, is.vteps, [this](const auto& vtep, const auto* a, const auto* b) {
      presence(OutputKind::vtepItself, vtep, a != nullptr, b != nullptr);
    });
    forBoth(was.vteps, is.vteps, [this](const auto& vtep, const auto* a, const auto* b) {
      mappings(vtep, orEmpty(a), orEmpty(b));
    });
  }

 private:
  using Ports = SwitchOutputs::MappingsOfPort;
  using VniOfVlan = SwitchOutputs::VniOfVlan;

  OutputDifference entry(OutputKind kind, const std::string& vtep, const std::string& port) const {
    return {ChangeKind::changed, kind, switchName_, vtep, port, {}, {}, {}};
  }

  void add(OutputDifference one, ChangeKind change) {
    one.change = change;
    found_.push_back(std::move(one));
  }

  void presence(OutputKind kind, const std::string& vtep, bool before, bool after) {
    if (before == after) return;
    add(entry(kind, vtep, {}), after ? ChangeKind::added : ChangeKind::removed);
  }

  void vlans(OutputKind kind, const std::string& port, const Vlans& before, const Vlans& after) {
    Vlans either;
    std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                  std::back_inserter(either));
    for (const U16 vlan : either) {
      OutputDifference one = entry(kind, {}, port);
      one.vlan = vlan;
      const bool added = std::binary_search(after.begin(), after.end(), vlan);
      add(std::move(one), added ? ChangeKind::added : ChangeKind::removed);
    }
  }

  template <class Number>
  void number(OutputDifference one, const Number* before, const Number* after) {
    if (before != nullptr && after != nullptr && *before == *after) return;
    if (before != nullptr) one.before = *before;
    if (after != nullptr) one.after = *after;
    const ChangeKind change = before == nullptr  ? ChangeKind::added
                              : after == nullptr ? ChangeKind::removed
                                                 : ChangeKind::changed;
    add(std::move(one), change);
  }

  void mappings(const std::string& vtep, const Ports& before, const Ports& after) {
    forBoth(before, after, [this, &vtep](const auto& port, const VniOfVlan* a, const VniOfVlan* b) {
      forBoth(orEmpty(a), orEmpty(b),
              [this, &vtep, &port](U16 vlan, const U32* vniBefore, const U32* vniAfter) {
                OutputDifference one = entry(OutputKind::mapping, vtep, port);
                one.vlan = vlan;
                number(std::move(one), vniBefore, vniAfter);
              });
    });
  }

  const std::string& switchName_;
  std::vector<OutputDifference>& found_;
};

}  // namespace

std::vector<OutputDifference> differencesOf(const FabricOutputs& before,
                                            const FabricOutputs& after) {
  std::vector<OutputDifference> found;
  forBoth(before, after,
          [&found](const auto& name, const SwitchOutputs* a, const SwitchOutputs* b) {
            Comparison(name, found).compare(a, b);
          });
  return found;
}

}  // namespace Fabrion::Host
