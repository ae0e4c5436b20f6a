#pragma once
// The report as programs read it; docs/run-output.md tells the form. It only grows: a member keeps
// its meaning as long as the number behind "fabrion" stays.

#include <nlohmann/json.hpp>

#include "host/Report.h"

namespace Fabrion::Host {

// Sorted by names throughout, so that the order in which a document is written shows nowhere.
nlohmann::json jsonOf(const Report& report);

// One of its conflicts, as it stands in the report.
nlohmann::json jsonOf(const NativeVlanConflict& conflict);
nlohmann::json jsonOf(const VniConflict& conflict);

}  // namespace Fabrion::Host
