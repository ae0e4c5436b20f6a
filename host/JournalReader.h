#pragma once
// From a line of an event journal to an operation. Strict: whatever is no operation in the exact
// form is refused, with what was expected, since a journal that is read wrongly reproduces nothing.
// JournalWriter.h is the way back.

#include <optional>
#include <string_view>

#include "host/Operation.h"

namespace Fabrion::Host {

// The operation on this line, which has no line end; nothing for an empty line and for one that
// starts with '#'. Raises BadJournal. O(length).
std::optional<Operation> operationOf(std::string_view line);

}  // namespace Fabrion::Host
