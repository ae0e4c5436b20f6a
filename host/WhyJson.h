#pragma once
// An explanation as JSON for programs; docs/why.md tells its form.

#include <nlohmann/json.hpp>

#include "host/Why.h"

namespace Fabrion::Host {

nlohmann::json jsonOf(const Explanation& explanation);

}  // namespace Fabrion::Host
