#pragma once
// Differences of outputs as people and as programs read them: neighbours stand together as ranges.
// OutputDifference.h finds them, one for each VLAN; `audit`, `plan` and `run --watch` write them.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/OutputDifference.h"

namespace Fabrion::Host {

struct DifferenceWords {
  // Of a switch that stands on one side alone.
  std::string switchAdded = "the switch";
  std::string switchRemoved = "the switch";
  bool colours = false;
};

// For each switch a heading, and a line for each port or VTEP and kind: `-` before what goes, `+`
// before what comes and `~` before what changes. An empty line stands between two switches. Nothing
// for no differences.
std::string textOf(const std::vector<OutputDifference>& differences,
                   const DifferenceWords& words = {});

// A list of {"change", "kind", "switch", ...}; docs/rendering.md tells the members.
nlohmann::json jsonOf(const std::vector<OutputDifference>& differences);

// The sign of a change: `+`, `-` or `~`. And a line behind it, in its colour.
std::string signedLine(ChangeKind change, const std::string& line, bool colours);

}  // namespace Fabrion::Host
