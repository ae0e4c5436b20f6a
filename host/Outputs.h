#pragma once
// The outputs of all switches as plain values: what each switch is told, apart from the entities in
// which its machine writes it and from the document that it came from. OutputsJson.h writes and
// reads them, OutputDifference.h compares two of them, Rendering.h words them for real equipment.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/Controller.h"
#include "platform/Velo/Types.h"

namespace Fabrion::Host {

// VLAN numbers, rising, each once. In an output they are 1 to 4094; what an earlier run left may
// hold any 16 bits.
using Vlans = std::vector<U16>;

// A list such as "1-3,5" from its numbers; empty for none. O(n).
std::string listOf(const Vlans& vlans);
// The numbers that a list stands for; it may be unsorted and overlap. Raises Velo::RangeException
// for a text that is no list. O(length + n).
Vlans vlansOf(std::string_view list);

struct SwitchOutputs {
  using VniOfVlan = std::map<U16, U32>;
  using MappingsOfPort = std::map<std::string, VniOfVlan>;

  // By the name of a port or a port group; one that carries nothing need not stand here.
  std::map<std::string, Vlans> allowedVlans;
  std::map<std::string, U16> nativeVlan;
  // All that the switch carries.
  Vlans vlans;
  // By VTEP and port. A VTEP without mappings stands here, as the switch is told of it.
  std::map<std::string, MappingsOfPort> vteps;
  friend bool operator==(const SwitchOutputs&, const SwitchOutputs&) = default;
};

// By the name of the switch. (`Outputs` are the parts that a journal pre-fills; they keep the order
// written and may be out of range.)
using FabricOutputs = std::map<std::string, SwitchOutputs>;

// What stands in a controller now. A list of an earlier run which is no list raises
// Velo::RangeException. O(size of the outputs).
FabricOutputs outputsOf(const Controller& controller);

}  // namespace Fabrion::Host
