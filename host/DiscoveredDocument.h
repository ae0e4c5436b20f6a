#pragma once
// Writes a discovered fabric as a fabric document (docs/fabric-document.md): what FabricDocument.h
// reads. Each note is a comment where it belongs.

#include <string>
#include <vector>

#include "host/Discovery.h"

namespace Fabrion::Host {

// `heading` are lines of comment at the start, free of control characters. The same fabric gives
// the same bytes.
std::string documentOf(const Discovered& discovered, const std::vector<std::string>& heading);

// The same notes for people, in the order of the document, each naming what it is on.
std::vector<std::string> notesOf(const Discovered& discovered);

}  // namespace Fabrion::Host
