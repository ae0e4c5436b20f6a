#pragma once
// What a terminal gets that a pipe or a file does not: colours, and the progress of long work.
// Progress.h shows the progress; commands are told what to do and never ask for themselves.

#include <chrono>
#include <string>

#include "platform/Velo/Types.h"

namespace Fabrion::Host {

struct Terminal {
  bool colours = false;   // on the standard output
  bool progress = false;  // on the standard error
  // How long work has to take before its progress is shown.
  std::chrono::milliseconds patience{500};
};

// Of this process: its standard streams, NO_COLOR and TERM. Progress needs no colours, so NO_COLOR
// leaves it.
Terminal terminalOfProcess();

// Whether the terminal `term`, the value of TERM, knows more than lines: one that is "dumb" or
// without a name does not, nor does none, null.
bool knowsCodes(const char* term);

// `noColor` and `term` are the values of NO_COLOR and TERM, null where they are not set. An empty
// NO_COLOR counts as not set.
bool coloursWanted(bool terminal, const char* noColor, const char* term);

enum class Colour : U8 { green, red, yellow };

// `text`, which holds no line end, in this colour; as it is unless `colours`.
std::string painted(const std::string& text, Colour colour, bool colours);

}  // namespace Fabrion::Host
