#pragma once
// The text trace of the machines, written to a stream of the host's choice while this object lives.

#include <ostream>
#include <string>

#include "platform/Velo/Trace.h"

namespace Fabrion::Host {

// One at a time, as the process has one sink.
class TextTrace {
 public:
  // Levels 0 to `highest` of 9 are written, each line as "LEVEL TEXT" and at once, so that a fault
  // of the process loses none.
  TextTrace(std::ostream& out, U32 highest) : out_(out) {
    Velo::traceSinkIs(&TextTrace::write, this);
    Velo::traceLevelsIs(facility, (U32{2} << highest) - 1);
  }
  ~TextTrace() {
    Velo::traceLevelsIs(facility, 0);
    Velo::traceSinkIs(nullptr, nullptr);
  }
  TextTrace(const TextTrace&) = delete;
  TextTrace& operator=(const TextTrace&) = delete;

  // A line of the host's own among those of the trace.
  void mark(const std::string& line) { out_ << line + '\n' << std::flush; }

 private:
  static constexpr const char* facility = "FabrionSm";

  static void write(void* context, U32 level, const char* line, std::size_t size) {
    static_cast<TextTrace*>(context)->mark(std::to_string(level) + ' ' + std::string(line, size));
  }

  std::ostream& out_;
};

}  // namespace Fabrion::Host
