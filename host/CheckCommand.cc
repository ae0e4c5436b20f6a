#include "host/CheckCommand.h"

#include <cstddef>
#include <ostream>
#include <variant>

#include "host/Counted.h"
#include "host/FabricDocument.h"
#include "host/Progress.h"
#include "host/Say.h"

namespace Fabrion::Host {

std::optional<Fabric> readOrTell(const std::vector<std::string>& files, std::ostream& err,
                                 const Terminal& terminal) {
  FabricOrProblems read = [&] {
    Progress progress(err, terminal);
    return readFabric(files, progress.of("Reading", "documents"));
  }();
  if (auto* const fabric = std::get_if<Fabric>(&read)) {
    for (const Problem& warning : read.warnings) err << toString(warning) + '\n' << std::flush;
    return std::move(*fabric);
  }
  for (const Problem& problem : std::get<std::vector<Problem>>(read)) {
    err << toString(problem) + '\n';
  }
  err << std::flush;
  return std::nullopt;
}

Outcome check(const std::vector<std::string>& files, std::ostream& out, std::ostream& err,
              const Terminal& terminal) {
  const std::optional<Fabric> fabric = readOrTell(files, err, terminal);
  if (!fabric) return Outcome::mistake;
  std::string names;
  for (const std::string& file : files) names += (names.empty() ? "" : ", ") + file;
  const std::size_t requests = fabric->portRequests.size() + fabric->hostnameRequests.size();
  out << names + ": no mistakes; " + counted(fabric->switches.size(), "switch", "switches") + ", " +
             counted(fabric->hosts.size(), "host", "hosts") + ", " +
             counted(fabric->links.size(), "link", "links") + ", " +
             counted(requests, "request", "requests") + '\n'
      << std::flush;
  return out ? Outcome::done : refuse(err, "the result cannot be written");
}

}  // namespace Fabrion::Host
