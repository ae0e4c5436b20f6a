#pragma once
// Reads the static maps of a document, from the VLANs of a domain to VNIs: `FabricParser.cc` hands
// them over, and `VniChecks.h` holds them against each other.

#include "host/WrittenFabric.h"
#include "host/YamlShapes.h"

namespace Fabrion::Host {

// Adds the maps in `node` to `fabric`; `place` is that of the key before them.
void readStaticMaps(const YamlValue& node, Place place, YamlShapes& shapes, WrittenFabric& fabric);

}  // namespace Fabrion::Host
