#include "host/AuditCommand.h"

#include <ostream>
#include <set>

#include "host/AuditReport.h"
#include "host/CheckCommand.h"
#include "host/Derivation.h"
#include "host/OutputDifference.h"
#include "host/OutputsJson.h"
#include "host/Progress.h"
#include "host/Say.h"

namespace Fabrion::Host {

namespace {

std::size_t switchesIn(const FabricOutputs& a, const FabricOutputs& b) {
  std::set<std::string> names;
  for (const FabricOutputs* outputs : {&a, &b}) {
    for (const auto& [name, one] : *outputs) names.insert(name);
  }
  return names.size();
}

}  // namespace

Outcome audit(const AuditOptions& options, std::ostream& out, std::ostream& err,
              const Velo::VeloModule& module) {
  const std::optional<Fabric> fabric = readOrTell(options.documents, err, options.terminal);
  if (!fabric) return Outcome::mistake;
  try {
    const FabricOutputs before = readOutputs(options.against);
    FabricOutputs after;
    {
      Progress progress(err, options.terminal);
      after = outputsOf(*fabric, module, progress.of("Applying"));
    }
    const std::vector<OutputDifference> differences = differencesOf(before, after);
    out << (options.format == ReportFormat::json
                ? auditJson(differences).dump(2) + '\n'
                : auditText(differences, switchesIn(before, after), options.terminal.colours))
        << std::flush;
    if (!out) {
      say(err, "the report cannot be written");
      return Outcome::mistake;
    }
    return differences.empty() ? Outcome::done : Outcome::difference;
  } catch (const BadOutputs& error) {
    // It names its file, as a mistake in a document does.
    err << std::string(error.what()) + '\n' << std::flush;
  } catch (const OperationFailed& error) {
    say(err, error.what());
  }
  return Outcome::mistake;
}

}  // namespace Fabrion::Host
