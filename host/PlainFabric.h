#pragma once
// The last step from documents to a `Fabric`, once `NameChecks.h` and `VniChecks.h` have found no
// mistake.

#include <string>
#include <vector>

#include "host/Fabric.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

// `written` is without a mistake, so that all is there which `WrittenFabric.h` calls optional.
// `files` are the names of its documents. O(n log n) in the VLANs, VNIs and domains of one request.
Fabric plainFabric(const WrittenFabric& written, const std::vector<std::string>& files);

}  // namespace Fabrion::Host
