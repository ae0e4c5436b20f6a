#pragma once
// What one controller hands over to the next when it is built anew (Following.h): of its outputs
// those that are right. They stand in the new outputs before any machine runs, and as a rule a
// machine leaves alone what it finds right; so journal and trace of the new controller begin where
// the old one was, and show what changes.

#include <vector>

#include "host/Fabric.h"
#include "host/Operation.h"
#include "host/Outputs.h"

namespace Fabrion::Host {

// What both hold with the same value: each single VLAN, native VLAN and mapping. Switches and VTEPs
// of `right` all stand there, at the least empty. O(size of both).
FabricOutputs commonOf(const FabricOutputs& right, const FabricOutputs& present);

struct Rebuilding {
  std::vector<Operation> outputs;  // make the outputs of all switches, filled
  std::vector<Operation> rest;
};

// From `operations`, which lead from nothing to `fabric`. VTEPs are made in the order of the
// fabric, as the first one made stays the first one.
Rebuilding handedOver(std::vector<Operation> operations, const Fabric& fabric,
                      const FabricOutputs& kept);

}  // namespace Fabrion::Host
