#pragma once
// Counts the operations of a load, step by step, and takes the time now and then: that of the
// thread on its processor, so that what other programs take does not count.

#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "platform/Velo/Types.h"

namespace Bench {

// Nanoseconds of this thread on its processor so far.
inline double processorTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

class Meter {
 public:
  struct Step {
    std::string name;
    U64 operations = 0;
    std::vector<double> samples;  // before the first operation, then every `each`
    double end = 0;
  };

  // Rarely enough that reading the clock does not count.
  static constexpr U64 each = 64;

  void stepIs(std::string name) {
    end();
    steps_.push_back({std::move(name), 0, {processorTime()}, {}});
  }
  void operation() {
    Step& step = steps_.back();
    if (++step.operations % each == 0) step.samples.push_back(processorTime());
  }
  void end() {
    if (!steps_.empty() && steps_.back().end == 0) {
      steps_.back().end = processorTime();
    }
  }

  const std::vector<Step>& steps() const { return steps_; }

 private:
  std::vector<Step> steps_;
};

}  // namespace Bench
