#pragma once
// The whole state of a controller as JSON: machines, mounts, the derived model, the merged requests
// and the outputs of the switches. The entities are shown as they stand in their collections,
// whether a machine follows them or not.

#include <nlohmann/json.hpp>

#include "entities/Fabrion.h"
#include "host/Machine.h"
#include "host/Requests.h"
#include "host/Switches.h"

namespace Fabrion::Host {

// What a dump is made from.
struct DumpSources {
  const NetworkElementCollection& elements;
  const RequestedResourcesCollection& resources;
  const Requests& requests;
  const Switches& switches;
  const Machine& topology;  // may be none
};

// Members are sorted by name in byte order, lists of names and numbers are sorted. O(size of the
// state).
nlohmann::json stateOf(const DumpSources& sources);

}  // namespace Fabrion::Host
