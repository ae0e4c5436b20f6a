#pragma once
// A plan as people and as programs read it; docs/plan-and-watch.md tells the forms. `plan` writes
// what a change would do, `run --watch` what it did.

#include <nlohmann/json.hpp>
#include <string>

#include "host/Plan.h"

namespace Fabrion::Host {

enum class PlanTense : U8 { wouldBe, was };

// The differences by switch, then the conflicts, then a line that counts.
std::string textOf(const Plan& plan, PlanTense tense, bool colours);

// {"conflicts": [...], "differences": [...], "fabrion": 1, "ports": N, "switches": N}.
nlohmann::json jsonOf(const Plan& plan);

}  // namespace Fabrion::Host
