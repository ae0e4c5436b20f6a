#pragma once
// `fabrion check`: holds fabric documents against their rules and touches nothing. It needs no
// module, so it serves where documents are written. RunCommand.h reads its documents here too.

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "host/Fabric.h"
#include "host/Outcome.h"
#include "host/Terminal.h"

namespace Fabrion::Host {

// The fabric that the files describe together, and each warning as a line on `err`; or nothing, and
// each mistake in the files as a line there.
std::optional<Fabric> readOrTell(const std::vector<std::string>& files, std::ostream& err,
                                 const Terminal& terminal = {});

// Tells the mistakes on `err`, or on `out`, in one line, that there are none and how much was read.
Outcome check(const std::vector<std::string>& files, std::ostream& out, std::ostream& err,
              const Terminal& terminal = {});

}  // namespace Fabrion::Host
