#pragma once
// From an operation to a line of an event journal: what JournalReader.h reads back as the same
// operation.

#include <string>

#include "host/Operation.h"

namespace Fabrion::Host {

// One line without its line end, members in a fixed order. Raises BadJournal where a text is not
// UTF-8, which no journal can hold. O(length).
std::string lineOf(const Operation& operation);

}  // namespace Fabrion::Host
