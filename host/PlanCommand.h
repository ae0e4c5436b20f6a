#pragma once
// `fabrion plan`: what a change of the documents would do, before anything is applied. Plan.h finds
// it, PlanReport.h words it.

#include <iosfwd>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/RunCommand.h"
#include "host/Terminal.h"

namespace Fabrion::Host {

struct PlanOptions {
  std::vector<std::string> oldDocuments;
  std::vector<std::string> newDocuments;
  ReportFormat format = ReportFormat::text;
  Terminal terminal = {};
};

// Derives both sides afresh. `done` if they come to the same, `difference` if not,
// `conflictAppears` if in the new documents something contradicts that did not in the old ones, and
// `mistake`, with words on `err` and nothing on `out`, if either side cannot be derived. Raises
// ModuleError when the module is not the one that this host knows.
Outcome plan(const PlanOptions& options, std::ostream& out, std::ostream& err,
             const Velo::VeloModule& module);

}  // namespace Fabrion::Host
