#pragma once
// The part of a report (Report.h) on VNIs: what the VTEPs of a switch map, and the VLANs that have
// several VNIs and so none.

#include <vector>

#include "host/Fabric.h"
#include "host/Report.h"

namespace Fabrion::Host {

// The VTEPs in the order of their configurations, the first one first; mappings by `ports`, names
// that are not among them behind. O(n log n).
std::vector<VtepReport> vtepsOf(const VxlanController::VtepConfigDirV2& directory,
                                const std::vector<std::string>& ports);

// Adds the conflicts on one port or group of a switch, by VLAN. `group` is null for a port.
// `maps` are those of the fabric.
void addVniConflicts(const std::string& switchName, const Interface& interface,
                     const Fabrion::PortGroup* group, const std::vector<StaticMap>& maps,
                     std::vector<VniConflict>& conflicts);

}  // namespace Fabrion::Host
