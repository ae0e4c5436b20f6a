#pragma once
// What tells two sets of outputs apart, one entry for each single VLAN, native VLAN and mapping, so
// that whoever counts, filters or words them need not take lists apart.

#include <compare>
#include <optional>
#include <string>
#include <vector>

#include "host/Outputs.h"

namespace Fabrion::Host {

// In the order in which the differences of one switch stand.
enum class OutputKind : U8 {
  switchItself,  // the outputs know the switch, or do not
  switchVlan,    // a VLAN that the switch carries
  allowedVlan,   // a VLAN that a port allows
  nativeVlan,    // of a port
  vtepItself,    // the outputs know the VTEP, or do not
  mapping,       // of a port's VLAN to a VNI on a VTEP
};

enum class ChangeKind : U8 { added, removed, changed };

// Where a member does not belong to the kind it is empty.
struct OutputDifference {
  ChangeKind change;
  OutputKind kind;
  std::string switchName;
  std::string vtep;         // vtepItself, mapping
  std::string port;         // allowedVlan, nativeVlan, mapping
  std::optional<U32> vlan;  // switchVlan, allowedVlan, mapping
  // The native VLAN, or the VNI of the mapping. A change has both, and these alone change.
  std::optional<U32> before;
  std::optional<U32> after;
  // The order is for sets.
  friend auto operator<=>(const OutputDifference&, const OutputDifference&) = default;
};

// What leads from `before` to `after`: by switch, by kind, then by VTEP, port and VLAN. A switch or
// VTEP that one of the two does not know is a difference, and so is each thing in it; a port that
// stands there with no VLANs says the same as one that does not. O(size of both).
std::vector<OutputDifference> differencesOf(const FabricOutputs& before,
                                            const FabricOutputs& after);

}  // namespace Fabrion::Host
