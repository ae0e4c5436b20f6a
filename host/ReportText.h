#pragma once
// The report as people read it. ReportJson.h writes the same for programs.

#include <string>

#include "host/Report.h"

namespace Fabrion::Host {

// Tables aligned by the width of characters, not bytes; as wide as they have to be, whatever the
// terminal, and without colours. The same report gives the same bytes. Raises std::bad_alloc.
std::string textOf(const Report& report);

// One of its conflicts: a line, and an indented one for each thing that is asked for.
std::string textOf(const NativeVlanConflict& conflict);
std::string textOf(const VniConflict& conflict);

}  // namespace Fabrion::Host
