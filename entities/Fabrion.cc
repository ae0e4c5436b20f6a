#include "entities/Fabrion.h"

#include <limits>

namespace Fabrion {

U32 Config::vniForVlan(const Client::ClientDomain& domain, U32 vlan) const {
  const Velo::Ptr<const VlanToVniMap> map = vlanToVniMap(domain);
  if (!map) return 0;
  for (const auto& entry : map->map().items()) {
    const Range& vlans = entry.key();
    if (!vlans.holds(vlan)) continue;
    const U64 vni = U64{entry.value().lower()} + (vlan - vlans.lower());
    return vni <= entry.value().upper() ? static_cast<U32>(vni) : 0;
  }
  return 0;
}

void PhysicalInterface::veloRelease() {
  portGroup_.forget();
  networkElement_.forget();
  configuredElement_.forget();
  discoveredElement_.forget();
}

void PortGroup::veloRelease() { memberInterface_.forget(); }

void NetworkElement::veloRelease() {
  interface_.forget();
  portGroup_.forget();
  physicalInterface_.forget();
}

}  // namespace Fabrion
