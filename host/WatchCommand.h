#pragma once
// `fabrion run --watch`: applies the fabric and then only what each edit of the documents needs,
// and shows what came of it. Following.h does the work, FileWatch.h waits; here stands what is
// said.

#include <iosfwd>

#include "host/Fabric.h"
#include "host/FileWatch.h"
#include "host/Outcome.h"
#include "host/RunCommand.h"

namespace Fabrion::Host {

// `first` is what the documents say now. The report on it, and on each edit its difference and what
// it left behind, go to `out`; all else to `err`. Documents with mistakes are told and change
// nothing. Ends when the files' watch does: `done`, or `conflict` as `run` does, and as a `mistake`
// if something cannot be written. Raises what an operation and a file raise in `run`.
Outcome watch(const RunOptions& options, const Fabric& first, FileWatch& files, std::ostream& out,
              std::ostream& err, const Velo::VeloModule& module);

}  // namespace Fabrion::Host
