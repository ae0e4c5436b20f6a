#include "host/Progress.h"

#include <ostream>
#include <utility>

#include "host/Counted.h"

namespace Fabrion::Host {

namespace {

constexpr auto pause = std::chrono::milliseconds(100);
constexpr const char* emptied = "\r\033[K";

}  // namespace

Progress::Progress(std::ostream& out, bool shown, Clock::duration patience)
    : out_(out), shown_(shown), next_(Clock::now() + patience) {}

Progress::~Progress() { hide(); }

void Progress::at(const std::string& what, std::size_t done, std::size_t all,
                  const std::string& units) {
  if (!due()) return;
  const std::size_t percent = all == 0 ? 100 : done * 100 / all;
  show(what + ": " + std::to_string(percent) + "% of " + std::to_string(all) + ' ' + units);
}

void Progress::at(const std::string& what, std::size_t done) {
  if (due()) show(what + ": " + counted(done, "operation", "operations"));
}

std::function<void(std::size_t, std::size_t)> Progress::of(std::string what, std::string units) {
  return [this, what = std::move(what), units = std::move(units)](
             std::size_t done, std::size_t all) { at(what, done, all, units); };
}

void Progress::hide() {
  if (standing_) out_ << emptied << std::flush;
  standing_ = false;
}

bool Progress::due() {
  if (!shown_) return false;
  const Clock::time_point now = Clock::now();
  if (now < next_) return false;
  next_ = now + pause;
  return true;
}

void Progress::show(const std::string& line) {
  standing_ = true;
  out_ << emptied + line << std::flush;
}

}  // namespace Fabrion::Host
