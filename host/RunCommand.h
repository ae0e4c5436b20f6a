#pragma once
// `fabrion run`: applies a fabric to a fresh controller and reports what came out of it. All of it
// happens within the program; nothing is sent to a switch.

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/Terminal.h"
#include "platform/Velo/Module.h"

namespace Fabrion::Host {

enum class ReportFormat : U8 { text, json };

struct RunOptions {
  std::vector<std::string> documents;
  ReportFormat format = ReportFormat::text;
  // A conflict that stands at the end is an outcome of its own.
  bool strict = false;
  // Levels 0 to this one are traced; nothing for no trace at all.
  std::optional<U32> traceLevel = {};
  // Where to write the event journal of what is done; nothing for none.
  std::optional<std::string> record = {};
  // Where to write the outputs as JSON (OutputsJson.h); nothing for nowhere.
  std::optional<std::string> outputs = {};
  // Follow the documents until the program is told to end (WatchCommand.h), and build the
  // controller anew whenever an edit leaves something behind.
  bool watch = false;
  bool heal = false;
  Terminal terminal = {};
};

// The report goes to `out` once all is done; trace, mistakes and faults go to `err`. With a mistake
// in a document nothing is applied, nor a journal begun. Raises ModuleError when the module is not
// the one that this host knows.
Outcome run(const RunOptions& options, std::ostream& out, std::ostream& err,
            const Velo::VeloModule& module);

}  // namespace Fabrion::Host
