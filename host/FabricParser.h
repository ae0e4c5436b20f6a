#pragma once
// Reads the YAML of one document file into a `WrittenFabric`: the shape of the document, its keys
// and the form of each value. What a name stands for is the business of `NameChecks.h`, since
// another file may declare it.

#include <cstddef>
#include <string>

#include "host/Mistakes.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

// Adds what stands in `text`, the document of index `document`, to `fabric`, and every mistake
// found to `mistakes`. A mistake costs the smallest part around it; the rest is read all the same,
// so that its mistakes are found too. Only a text that is no YAML ends at its first mistake.
void parseDocument(std::size_t document, const std::string& text, WrittenFabric& fabric,
                   Mistakes& mistakes);

}  // namespace Fabrion::Host
