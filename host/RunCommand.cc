#include "host/RunCommand.h"

#include <filesystem>
#include <ostream>
#include <system_error>

#include "host/CheckCommand.h"
#include "host/Controller.h"
#include "host/Derivation.h"
#include "host/FabricChange.h"
#include "host/JournalFile.h"
#include "host/Report.h"
#include "host/ReportJson.h"
#include "host/ReportText.h"
#include "host/TextTrace.h"

namespace Fabrion::Host {

namespace {

void say(std::ostream& err, const std::string& words) {
  err << "fabrion: " + words + '\n' << std::flush;
}

// Opens the journal unless it would overwrite one of the documents.
JournalFile journalAt(const std::string& path, const std::vector<std::string>& documents) {
  for (const std::string& document : documents) {
    std::error_code error;
    if (std::filesystem::equivalent(path, document, error)) {
      throw JournalFileError(path + " is a document; the journal would overwrite it");
    }
  }
  return JournalFile(path);
}

}  // namespace

Outcome run(const RunOptions& options, std::ostream& out, std::ostream& err,
            const Velo::VeloModule& module) {
  const std::optional<Fabric> fabric = readOrTell(options.documents, err);
  if (!fabric) return Outcome::mistake;
  Controller controller(module);
  try {
    std::optional<JournalFile> record;
    if (options.record) record.emplace(journalAt(*options.record, options.documents));
    // Ends before the controller: the report is on what stands, not on its end.
    std::optional<TextTrace> trace;
    if (options.traceLevel) trace.emplace(err, *options.traceLevel);
    applyAll(FabricChange().to(*fabric), controller, record ? &*record : nullptr);
  } catch (const JournalFileError& error) {
    say(err, error.what());
    return Outcome::mistake;
  } catch (const OperationFailed& error) {
    say(err, error.what());
    return Outcome::mistake;
  }
  const Report report = reportOf(*fabric, controller);
  out << (options.format == ReportFormat::json ? jsonOf(report).dump(2) + '\n' : textOf(report))
      << std::flush;
  if (!out) {
    say(err, "the report cannot be written");
    return Outcome::mistake;
  }
  return options.strict && !report.noConflicts() ? Outcome::conflict : Outcome::done;
}

}  // namespace Fabrion::Host
