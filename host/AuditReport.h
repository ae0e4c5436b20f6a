#pragma once
// What an audit found, as people and as programs read it. OutputDifference.h finds it, one entry
// for each VLAN; here neighbours stand together as ranges.

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/OutputDifference.h"

namespace Fabrion::Host {

// A line for each port or VTEP and kind, `-` before what goes, `+` before what comes and `~` before
// what changes, and a line that counts at the end. `switches` is how many were compared.
std::string auditText(const std::vector<OutputDifference>& differences, std::size_t switches,
                      bool colours = false);

// {"differences": [...], "fabrion": 1}; docs/rendering.md tells the members.
nlohmann::json auditJson(const std::vector<OutputDifference>& differences);

}  // namespace Fabrion::Host
