#pragma once
// Causes and reasons as keys: Why.h tells VLANs that have the same ones together.

#include <string>
#include <vector>

#include "host/Why.h"

namespace Fabrion::Host {

// The same text for the same ones, their lines included, and another for any others. O(length).
std::string keyOf(const std::vector<Cause>& causes);
std::string keyOf(const std::vector<Reason>& reasons);

}  // namespace Fabrion::Host
