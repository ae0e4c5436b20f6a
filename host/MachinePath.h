#pragma once
// Where a machine stands among all machines, as operations and dumps write it: "topologySm",
// "networkElementSm/leaf1/portGroupSm/po1", "clientResourcesForHostnameSm/acme/compute1". Inside a
// name "/" is written
// "~1" and "~" is written "~0".

#include <string>
#include <string_view>
#include <vector>

namespace Fabrion::Host {

// A name as it stands in a path.
std::string escapedName(std::string_view name);

// The names in a path, unescaped. Raises BadJournal for a "~" that is followed by neither 0 nor 1.
std::vector<std::string> namesOfPath(std::string_view path);

}  // namespace Fabrion::Host
