#pragma once
// One line on a terminal that says how far long work is, and goes when the work is done. What is
// quick shows nothing.

#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "host/Terminal.h"

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

  // As a terminal wants it.
  Progress(std::ostream& out, const Terminal& terminal)
      : Progress(out, terminal.progress, terminal.patience) {}

  // `done` of `all` steps of what `what` names are done, the steps being `units`. Writes at most
  // ten times a second.
  void at(const std::string& what, std::size_t done, std::size_t all,
          const std::string& units = "operations");
  // The same where nobody knows how many there will be.
  void at(const std::string& what, std::size_t done);

  // at() with `what` and `units`, for who counts the steps. The progress outlives it.
  std::function<void(std::size_t done, std::size_t all)> of(std::string what,
                                                            std::string units = "operations");

  // Takes the line away until the next at(), so that something else can be written.
  void hide();

 private:
  // Whether it is time for a line.
  bool due();
  void show(const std::string& line);

  std::ostream& out_;
  const bool shown_;
  Clock::time_point next_;  // before it nothing is written
  bool standing_ = false;
};

}  // namespace Fabrion::Host
