#pragma once
// `fabrion replay`: runs an event journal on a fresh controller. The same journal gives the same
// bytes on both streams: dumps and error lines on one; with a trace, marks and trace lines on the
// other, in the order in which they come about.

#include <iosfwd>
#include <optional>
#include <string>

#include "host/Terminal.h"
#include "platform/Velo/Module.h"

namespace Fabrion::Host {

struct ReplayOptions {
  // A file, or "-" for the standard input. Stands as it is in front of what is said about a line.
  std::string journal;
  // Levels 0 to this one are traced; nothing for no trace at all.
  std::optional<U32> traceLevel = {};
  // Progress goes to the standard error, and not into a trace.
  Terminal terminal = {};
};

// Exit statuses of the program.
enum class ExitStatus : int { success = 0, failure = 1, badJournal = 2 };

// Replays the journal that `lines` holds. Each line of `out` and `err` is written at once. Raises
// ModuleError when the module is not the one that this host knows.
ExitStatus replay(const ReplayOptions& options, std::istream& lines, std::ostream& out,
                  std::ostream& err, const Velo::VeloModule& module);

// The same with the journal opened, on the standard streams.
ExitStatus replay(const ReplayOptions& options, const Velo::VeloModule& module);

}  // namespace Fabrion::Host
