#pragma once
// Takes the text trace of the module while it lives, for tests that look at the lines.

#include <algorithm>
#include <string>
#include <vector>

#include "platform/Velo/Trace.h"

namespace Fabrion::Test {

class TraceCapture {
 public:
  // Levels 0 to `highest` are taken.
  explicit TraceCapture(U32 highest = 3) {
    Velo::traceLevelsIs("FabrionSm", (2U << highest) - 1);
    Velo::traceSinkIs(&TraceCapture::take, this);
  }
  ~TraceCapture() {
    Velo::traceSinkIs(nullptr, nullptr);
    Velo::traceLevelsIs("FabrionSm", 0);
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  // "LEVEL FUNCTION: WORDS", the function without its result type and parameters.
  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }
  // Whether some line holds this text.
  bool has(const std::string& text) const {
    return std::any_of(lines_.begin(), lines_.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }

 private:
  static void take(void* context, U32 level, const char* line, std::size_t size) {
    std::string text(line, size);
    // "void Fabrion::Agent::X::f(const A&) const: words" reads as "X::f: words" in a test.
    const std::size_t open = text.find('(');
    const std::size_t end = text.find(": ", open);
    const std::size_t space = text.rfind(' ', open);
    std::string function = text.substr(space + 1, open - space - 1);
    const std::string scope = "Fabrion::Agent::";
    if (function.starts_with(scope)) function.erase(0, scope.size());
    static_cast<TraceCapture*>(context)->lines_.push_back(std::to_string(level) + " " + function +
                                                          ": " + text.substr(end + 2));
  }

  std::vector<std::string> lines_;
};

}  // namespace Fabrion::Test
