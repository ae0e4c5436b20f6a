#pragma once
// `fabrion why`: applies a fabric to a fresh controller, as `run` does, and tells why one switch
// carries what it carries.

#include <iosfwd>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/RunCommand.h"
#include "host/Terminal.h"
#include "platform/Velo/Module.h"

namespace Fabrion::Host {

struct WhyOptions {
  // Documents, then SWITCH, PORT and VLAN as far as given. A document is the first word and each
  // that follows it and ends in .yaml, .yml or .json.
  std::vector<std::string> words;
  ReportFormat format = ReportFormat::text;
  Terminal terminal = {};
};

// The explanation goes to `out`, mistakes and faults to `err`. That a port does not have the VLAN
// is an answer as well. Raises ModuleError when the module is not the one that this host knows.
Outcome why(const WhyOptions& options, std::ostream& out, std::ostream& err,
            const Velo::VeloModule& module);

}  // namespace Fabrion::Host
