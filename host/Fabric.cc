#include "host/Fabric.h"

#include <algorithm>

namespace Fabrion::Host {

std::string toString(const Origin& origin) {
  return origin.file ? *origin.file + ":" + std::to_string(origin.line) : std::string();
}

std::vector<Origin> VlanOrigins::of(U32 vlan) const {
  std::vector<Origin> origins;
  for (const auto& [origin, vlans] : lines) {
    const auto range = std::partition_point(
        vlans.begin(), vlans.end(), [&](const NumberRange& each) { return each.high < vlan; });
    if (range != vlans.end() && range->low <= vlan) origins.push_back(origin);
  }
  return origins;
}

}  // namespace Fabrion::Host
