#include "host/RunCommand.h"

#include <ostream>

#include "host/CheckCommand.h"
#include "host/Controller.h"
#include "host/Derivation.h"
#include "host/FabricChange.h"
#include "host/FileWatch.h"
#include "host/JournalFile.h"
#include "host/Progress.h"
#include "host/Report.h"
#include "host/ReportJson.h"
#include "host/ReportText.h"
#include "host/RunFiles.h"
#include "host/Say.h"
#include "host/TextTrace.h"
#include "host/WatchCommand.h"

namespace Fabrion::Host {

Outcome run(const RunOptions& options, std::ostream& out, std::ostream& err,
            const Velo::VeloModule& module) {
  // Before the documents are read, so that no edit goes unnoticed.
  std::optional<FileWatch> files;
  if (options.watch) files.emplace(options.documents);
  const std::optional<Fabric> fabric = readOrTell(options.documents, err, options.terminal);
  if (!fabric) return Outcome::mistake;
  Controller controller(module);
  try {
    std::optional<JournalFile> record;
    // All of it before a file is emptied.
    if (options.record) keepDocuments(*options.record, "the journal", options.documents);
    if (options.outputs) keepDocuments(*options.outputs, "the outputs", options.documents);
    if (options.record && options.outputs) keepApart(*options.record, *options.outputs);
    if (files) return watch(options, *fabric, *files, out, err, module);
    if (options.record) record.emplace(*options.record);
    // Ends before the controller: the report is on what stands, not on its end.
    std::optional<TextTrace> trace;
    if (options.traceLevel) trace.emplace(err, *options.traceLevel);
    Progress progress(err, options.terminal.progress && !trace, options.terminal.patience);
    applyAll(FabricChange().to(*fabric), controller, record ? &*record : nullptr,
             progress.of("Applying"));
    if (options.outputs) writeOutputs(*options.outputs, outputsOf(controller));
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
