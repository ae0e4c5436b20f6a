#pragma once
// Reads the requests of a document: `FabricParser.cc` hands them over, `YamlShapes.h` knows the
// forms of the values, and what names stand for is the business of `NameChecks.h` and
// `VniChecks.h`.

#include "host/WrittenFabric.h"
#include "host/YamlShapes.h"

namespace Fabrion::Host {

// Adds the requests in `node` to `fabric`; `place` is that of the key before them.
void readRequests(const YamlValue& node, Place place, YamlShapes& shapes, WrittenFabric& fabric);

}  // namespace Fabrion::Host
