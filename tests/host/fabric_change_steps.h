#pragma once
// Steps from one fabric to the next, for tests that hold a rule of the order against the same
// operations without it, on a second controller.

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/FabricChange.h"
#include "tests/host/Texts.h"
#include "tests/host/controller_scene.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {

using Operations = std::vector<Host::Operation>;

template <class One>
bool is(const Host::Operation& operation) {
  return std::holds_alternative<One>(operation);
}

template <class One>
Operations without(Operations operations) {
  std::erase_if(operations, is<One>);
  return operations;
}

// Where the first operation of this kind stands; their number when there is none.
template <class One>
std::size_t first(const Operations& operations) {
  return static_cast<std::size_t>(std::find_if(operations.begin(), operations.end(), is<One>) -
                                  operations.begin());
}

template <class One, class Other>
Operations swapped(Operations operations) {
  std::swap(operations.at(first<One>(operations)), operations.at(first<Other>(operations)));
  return operations;
}

// The operations from nothing to the first document, and from there to the second.
struct Steps {
  Operations before;
  Operations change;
};
inline Steps steps(const std::string& from, const std::string& to) {
  Host::FabricChange fabric;
  Operations before = fabric.to(fabricOf(from));
  return {std::move(before), fabric.to(fabricOf(to))};
}

// A controller after the steps, with other operations in place of the change where given.
struct After : ControllerScene {
  explicit After(const Steps& steps) : After(steps, steps.change) {}
  After(const Steps& steps, const Operations& change) {
    runAll(steps.before);
    const TraceCapture trace;
    runAll(change);
    lines = trace.lines();
  }
  bool traced(const std::string& text) const {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }
  std::vector<std::string> lines;
};

inline bool ends(const Steps& steps, const Operations& change, const std::string& words) {
  const ChildEnd end = inChild([&] {
    const After after(steps, change);
    return 0;
  });
  return end.aborted && end.words.find(words) != std::string::npos;
}

inline nlohmann::json vlansOf(const nlohmann::json& owner) {
  nlohmann::json vlans = nlohmann::json::array();
  if (owner.is_object()) {
    for (const auto& [vlan, entry] : owner["vlan"].items()) vlans.push_back(vlan);
  }
  return vlans;
}

}  // namespace Fabrion::Test

#endif
