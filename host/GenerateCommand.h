#pragma once
// `fabrion generate`: writes a made-up fabric as documents.

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>

#include "host/FabricYaml.h"
#include "host/Generate.h"
#include "host/Outcome.h"

namespace Fabrion::Host {

struct GenerateCommandOptions {
  GenerateOptions fabric;
  // Where the document goes, a further one as NAME-2.yaml beside NAME.yaml; `out` for "-" or
  // none.
  std::optional<std::string> output;
  std::size_t bytes = documentBytes;  // that one document may be
};

// Names on `out` the files that it writes. On `err` says why it writes nothing: a fabric beyond
// what documents may hold, several documents and no file named, a file that cannot be written.
Outcome generateDocuments(const GenerateCommandOptions& options, std::ostream& out,
                          std::ostream& err);

}  // namespace Fabrion::Host
