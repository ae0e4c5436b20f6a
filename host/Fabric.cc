#include "host/Fabric.h"

#include <algorithm>

namespace Fabrion::Host {

std::string toString(const Origin& origin) {
  return origin.file ? *origin.file + ":" + std::to_string(origin.line) : std::string();
}

Origin VlanOrigins::of(U32 vlan) const {
  const auto run = std::partition_point(runs.begin(), runs.end(),
                                        [&](const Run& each) { return each.vlans.high < vlan; });
  return run == runs.end() || vlan < run->vlans.low ? Origin{} : run->origin;
}

}  // namespace Fabrion::Host
