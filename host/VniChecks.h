#pragma once
// Holds the VNIs, domains and static maps of a written fabric against each other and against the
// VLANs that they are for. `NameChecks.h` does the same for names.

#include "host/Mistakes.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

// Adds to `mistakes`: VNIs and domains for VLANs that the request does not ask for; a VLAN of a
// request with two entries of VNIs, a VNI or a domain twice on one VLAN; a domain with two static
// maps, and ranges of a map that have VLANs in common.
//
// Adds to `warnings` each domain whose first field is the name of a client or host that has VNIs on
// the same VLAN where the two may meet: the model keeps the VNIs of both alive by that one name.
// O(n log n) in the number of VNIs and domains.
void checkVnis(const WrittenFabric& fabric, Mistakes& mistakes, Mistakes& warnings);

}  // namespace Fabrion::Host
