#pragma once
// `fabrion discover`: makes the topology part of a fabric document from what lldpcli printed on
// each switch. It reads files alone and asks no switch for anything.

#include <iosfwd>
#include <string>
#include <vector>

#include "host/Outcome.h"

namespace Fabrion::Host {

struct DiscoverOptions {
  // Each a FILE, of a switch that is named as the file is, without folder and extension.
  std::vector<std::string> files;
  std::vector<std::string> namedFiles;  // each NAME=FILE
  std::vector<std::string> hosts;       // each the name of a neighbour
  std::vector<std::string> ports;       // each SWITCH=PORTS, a range such as e[1-48] among them
};

// The document goes to `out`, the notes in it to `err` as well. With a mistake in a file, each is a
// line on `err` and there is no document.
Outcome discover(const DiscoverOptions& options, std::ostream& out, std::ostream& err);

}  // namespace Fabrion::Host
