#pragma once
// Holds the names of a written fabric against each other, after all its documents have been read.
// What is wrong with a name by itself, `FabricParser.cc` has told already.

#include "host/Mistakes.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

// The name by which the agent itself holds on to entries of the model. No client, switch or host
// may bear it.
constexpr const char* agentName = "fabrion";

// Adds to `mistakes`:
// * names that stand twice: nodes, the ports, groups and VTEPs of a node, the links, a client's
// requests
//   on one place, and a port in two groups;
// * names that nobody declares, in groups, links and requests on ports. A hostname that no host has
//   is none of them: the request waits for the host;
// * names that would be taken for each other in the model, where elements, interfaces and the
//   referrers that keep entries alive are told apart by their names alone.
// O(n log n) in the number of names, apart from at most `Limits::suggestions` searches for near
// names.
void checkNames(const WrittenFabric& fabric, Mistakes& mistakes);

}  // namespace Fabrion::Host
