#include "host/Progress.h"

#include <ostream>

namespace Fabrion::Host {

namespace {

constexpr auto pause = std::chrono::milliseconds(100);
constexpr const char* emptied = "\r\033[K";

}  // namespace

Progress::Progress(std::ostream& out, bool shown, Clock::duration patience)
    : out_(out), shown_(shown), next_(Clock::now() + patience) {}

Progress::~Progress() {
  if (standing_) out_ << emptied << std::flush;
}

void Progress::at(const std::string& what, std::size_t done, std::size_t all) {
  if (!shown_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + pause;
  standing_ = true;
  const std::size_t percent = all == 0 ? 100 : done * 100 / all;
  out_ << emptied + what + ": " + std::to_string(percent) + "% of " + std::to_string(all) +
              " operations"
       << std::flush;
}

}  // namespace Fabrion::Host
