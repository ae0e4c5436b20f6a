#include "host/PlanCommand.h"

#include <optional>
#include <ostream>

#include "host/CheckCommand.h"
#include "host/Derivation.h"
#include "host/Plan.h"
#include "host/PlanReport.h"
#include "host/Progress.h"
#include "host/Say.h"

namespace Fabrion::Host {

Outcome plan(const PlanOptions& options, std::ostream& out, std::ostream& err,
             const Velo::VeloModule& module) {
  // Both are read before either is refused, so that all mistakes are told.
  const std::optional<Fabric> before = readOrTell(options.oldDocuments, err, options.terminal);
  const std::optional<Fabric> after = readOrTell(options.newDocuments, err, options.terminal);
  if (!before || !after) return Outcome::mistake;
  Plan found;
  try {
    Progress progress(err, options.terminal);
    const Derived was = derive(*before, module, progress.of("Old documents"));
    found = planOf(was, derive(*after, module, progress.of("New documents")));
  } catch (const OperationFailed& error) {
    say(err, error.what());
    return Outcome::mistake;
  }
  out << (options.format == ReportFormat::json
              ? jsonOf(found).dump(2) + '\n'
              : textOf(found, PlanTense::wouldBe, options.terminal.colours))
      << std::flush;
  if (!out) {
    say(err, "the plan cannot be written");
    return Outcome::mistake;
  }
  if (found.conflictsThat(ChangeKind::added) > 0) return Outcome::conflictAppears;
  return found.nothing() ? Outcome::done : Outcome::difference;
}

}  // namespace Fabrion::Host
