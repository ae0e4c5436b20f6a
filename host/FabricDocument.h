#pragma once
// The fabric document: the YAML in which people write a fabric down (docs/fabric-document.md tells
// them how). This header is all that the rest of the host sees of it. `FabricParser.h` reads the
// YAML, `NameChecks.h` holds the names against each other, and nothing outside knows of either.

#include <cstddef>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "host/Fabric.h"
#include "platform/Velo/Types.h"

namespace Fabrion::Host {

// One mistake in a document: what is wrong and, where it is not plain, what was expected.
struct Problem {
  std::string file;
  U32 line = 0;  // from 1; 0 for a mistake of the file as a whole, such as one that cannot be read
  U32 column = 0;  // from 1, in characters, not bytes; 0 with a line of 0
  std::string text;
  friend bool operator==(const Problem&, const Problem&) = default;
};

// `FILE:LINE:COLUMN: text`, the form that editors jump to; `FILE: text` without a line.
std::string toString(const Problem& problem);

struct DocumentText {
  std::string file;  // as it shall stand in problems
  std::string text;
};

// A fabric without a mistake, or every mistake found, in the order of files, lines and columns.
// Never both: nobody shall be tempted to apply half a fabric.
struct FabricOrProblems : std::variant<Fabric, std::vector<Problem>> {
  using variant::variant;
  // With a fabric: what is right and may yet surprise, in the same order. Their texts start with
  // "warning: ".
  std::vector<Problem> warnings = {};
};

// Reads the files as one fabric: switches, hosts, links and requests of all of them add up, and
// names may be used in one file that another declares. Lists of the fabric stand in the order
// written, file after file. A file that cannot be read, or is given twice under whatever paths, is
// a problem like any other; nothing is thrown but std::bad_alloc. What a document may make of
// itself is bounded (see `Limits.h`), whatever it says. `after`, where given, is told after each
// file how many of how many are read.
FabricOrProblems readFabric(
    const std::vector<std::string>& files,
    const std::function<void(std::size_t done, std::size_t all)>& after = {});

// The same for texts that are in memory already.
FabricOrProblems parseFabric(const std::vector<DocumentText>& documents);

}  // namespace Fabrion::Host
