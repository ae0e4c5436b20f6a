#include "host/Terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace Fabrion::Host {

Terminal terminalOfProcess() {
  // Nothing in this process writes the environment.
  const char* const noColor = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
  const char* const term = std::getenv("TERM");         // NOLINT(concurrency-mt-unsafe)
  Terminal terminal;
  terminal.colours = coloursWanted(isatty(STDOUT_FILENO) == 1, noColor, term);
  terminal.progress = isatty(STDERR_FILENO) == 1 && knowsCodes(term);
  return terminal;
}

bool knowsCodes(const char* term) {
  const std::string_view kind = term == nullptr ? "" : term;
  return !kind.empty() && kind != "dumb";
}

bool coloursWanted(bool terminal, const char* noColor, const char* term) {
  return terminal && (noColor == nullptr || *noColor == '\0') && knowsCodes(term);
}

std::string painted(const std::string& text, Colour colour, bool colours) {
  if (!colours) return text;
  const char* const code = colour == Colour::green ? "32" : colour == Colour::red ? "31" : "33";
  return std::string("\033[") + code + "m" + text + "\033[0m";
}

}  // namespace Fabrion::Host
