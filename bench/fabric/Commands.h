#pragma once
// The commands of fabrion_fabric_bench.

#include <vector>

#include "platform/Velo/Types.h"

namespace Bench {

struct ScaleOptions {
  U32 leaves = 1000;
  U32 servers = 40000;
  bool check = false;  // a goal that is missed is an error
};

// Loads a fabric of servers with two links and four VLANs each, every VLAN with a VNI, out of 400
// VLANs, the switch machines last, and writes what that took. Returns the exit status.
int scale(const ScaleOptions& options);

// Runs single events in scenes of the sizes, each in a fabric of its own, and has callgrind write
// what each takes. Under callgrind alone, or nothing is counted. Faults when an event does not
// arrive. See instructions.sh, which reads the counts.
int instructions(const std::vector<U32>& sizes);

}  // namespace Bench
