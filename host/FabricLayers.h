#pragma once
// How high each switch stands in a picture of the fabric: by its distance from what is at the edge.

#include <map>
#include <string>

#include "host/Fabric.h"
#include "host/Report.h"

namespace Fabrion::Host {

// 1 for the leaves: switches that lead to a host, or carry VLANs on a port that leads to no switch.
// Any other switch is one more than the nearest switch that it is linked to; one that leads to no
// leaf is 1, and so are all if there is no leaf. O(n log n) in the number of ports and links.
std::map<std::string, unsigned> layersOf(const Fabric& fabric, const Report& report);

}  // namespace Fabrion::Host
