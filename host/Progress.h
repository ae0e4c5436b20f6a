#pragma once
// One line on a terminal that says how far long work is, and goes when the work is done. What is
// quick shows nothing.

#include <chrono>
#include <cstddef>
#include <iosfwd>
#include <string>

namespace Fabrion::Host {

class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  // Writes to `out`, which outlives it, while `shown`, and else never. The line appears when the
  // work has taken `patience`, so that it does not flash up.
  Progress(std::ostream& out, bool shown,
           Clock::duration patience = std::chrono::milliseconds(500));
  // Takes the line away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // `done` of `all` steps of what `what` names are done. Writes at most ten times a second.
  void at(const std::string& what, std::size_t done, std::size_t all);

 private:
  std::ostream& out_;
  const bool shown_;
  Clock::time_point next_;  // before it nothing is written
  bool standing_ = false;
};

}  // namespace Fabrion::Host
