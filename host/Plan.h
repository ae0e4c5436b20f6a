#pragma once
// What a change of the fabric does: the outputs that come and go, and the conflicts. Both sides
// have been derived (Derivation.h); PlanReport.h writes it down.

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/Derivation.h"
#include "host/OutputDifference.h"

namespace Fabrion::Host {

// A conflict that stands on one side alone, or on both but between other values or askers. It
// stands as the report words it, a changed one as it is after the change.
struct ConflictChange {
  ChangeKind change;
  std::string text;
  nlohmann::json json;
};

struct Plan {
  std::vector<OutputDifference> differences;
  std::vector<ConflictChange> conflicts;  // by switch, port or port group, kind and VLAN

  bool nothing() const { return differences.empty() && conflicts.empty(); }
  // How many conflicts of the change.
  std::size_t conflictsThat(ChangeKind change) const;
  // How many switches get something else.
  std::size_t switchesTouched() const;
  // How many ports and port groups get something else.
  std::size_t portsTouched() const;
};

// What leads from `before` to `after`. O(size of both).
Plan planOf(const Derived& before, const Derived& after);

}  // namespace Fabrion::Host
