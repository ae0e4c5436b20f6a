#pragma once
// Writes a fabric as documents, the inverse of `FabricDocument.h`: what is written is read back as
// the same fabric.

#include <cstddef>
#include <string>
#include <vector>

#include "host/Fabric.h"

namespace Fabrion::Host {

// Well below what one file may be, and with it what it may hold of values.
constexpr std::size_t documentBytes = std::size_t{3} << 20;

// One document, or more where one file could not hold it: no text is longer than `bytes`, but for
// one that a single switch, host, link or request makes so. Ports and VLANs in a row stand as
// ranges. Whether the fabric keeps within what documents may ask for all told (`Limits.h`) is not
// looked at. O(size of the fabric).
std::vector<std::string> yamlOf(const Fabric& fabric, std::size_t bytes = documentBytes);

}  // namespace Fabrion::Host
