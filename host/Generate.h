#pragma once
// Fabrics made up for trials and benchmarks: leaves and spines, servers with one link or two, and
// clients that ask for VLANs. Like any Fabric one can be written as a document (FabricYaml.h) and
// turned into operations (FabricChange.h).
//
// A made-up fabric has no conflicts: a VLAN has the same VNI wherever it is asked for, 10000 above
// it, and at most one client asks for a port's native VLAN.

#include "host/Fabric.h"

namespace Fabrion::Host {

struct GenerateOptions {
  U32 leaves = 4;
  U32 spines = 2;    // each has a link to each leaf
  U32 servers = 40;  // in all, spread evenly over the leaves in their order
  U32 clients = 4;
  U32 vlans = 20;  // of each client, up to 4094; clients share some where these do not go round
  U32 links = 0;   // of each server, each to another leaf as far as there are; 0 for a mixture
  U32 vlansOfRequest = 0;  // up to `vlans`; 0 for one to four
  U64 seed = 1;
};

// The same for the same options, on every platform and in every build. Without leaves there are no
// links and no requests for ports, without clients or VLANs no requests at all. A mixture has, in
// equal parts, servers with one link, with two links to two leaves, and with two links to one leaf
// that are bound in port groups at both ends; and one server in ten shares the hostname of the one
// before it. O(size of the result).
Fabric generate(const GenerateOptions& options);

}  // namespace Fabrion::Host
