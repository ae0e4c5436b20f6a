#include "host/RunCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <system_error>

#include "host/CheckCommand.h"
#include "host/Controller.h"
#include "host/Derivation.h"
#include "host/FabricChange.h"
#include "host/JournalFile.h"
#include "host/OutputsJson.h"
#include "host/Report.h"
#include "host/ReportJson.h"
#include "host/ReportText.h"
#include "host/TextTrace.h"

namespace Fabrion::Host {

namespace {

void say(std::ostream& err, const std::string& words) {
  err << "fabrion: " + words + '\n' << std::flush;
}

class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Refuses a file that is one of the documents; `what` is what would overwrite it.
void keepDocuments(const std::string& path, const char* what,
                   const std::vector<std::string>& documents) {
  for (const std::string& document : documents) {
    std::error_code error;
    if (std::filesystem::equivalent(path, document, error)) {
      throw FileError(path + " is a document; " + what + " would overwrite it");
    }
  }
}

void writeOutputs(const std::string& path, const Controller& controller) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file << jsonOf(outputsOf(controller)).dump(2) + '\n' << std::flush;
  if (!file) throw FileError(path + ": " + std::strerror(errno));
}

}  // namespace

Outcome run(const RunOptions& options, std::ostream& out, std::ostream& err,
            const Velo::VeloModule& module) {
  const std::optional<Fabric> fabric = readOrTell(options.documents, err);
  if (!fabric) return Outcome::mistake;
  Controller controller(module);
  try {
    std::optional<JournalFile> record;
    // Both before either is emptied.
    if (options.record) keepDocuments(*options.record, "the journal", options.documents);
    if (options.outputs) keepDocuments(*options.outputs, "the outputs", options.documents);
    if (options.record) record.emplace(*options.record);
    // Ends before the controller: the report is on what stands, not on its end.
    std::optional<TextTrace> trace;
    if (options.traceLevel) trace.emplace(err, *options.traceLevel);
    applyAll(FabricChange().to(*fabric), controller, record ? &*record : nullptr);
    if (options.outputs) writeOutputs(*options.outputs, controller);
  } catch (const FileError& error) {
    say(err, error.what());
    return Outcome::mistake;
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
