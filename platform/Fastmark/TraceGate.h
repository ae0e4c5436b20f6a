// The word that a trace statement tests: whether any channel wants it. `Velo/Trace.h` has one for
// each class of a facility in each library, `TraceHandle` of both namespaces tell when something
// changed: here are the gates that follow them.
//
// A gate says at any time what the levels of its facility and the process's ring trace say
// themselves; it only spares the statement from asking them. So one that nobody keeps, before a
// library's first trace and after its last objects have gone, is open: then they are asked.
#pragma once

#include <atomic>

#include "platform/Velo/Types.h"

namespace Fastmark {

class TraceGate {
 public:
  // A bit for each level of the text trace stands below these.
  static constexpr U32 ringBit = U32{1} << 30;
  static constexpr U32 openBit = U32{1} << 31;
  static constexpr U32 levelBits = (U32{1} << 10) - 1;

  // What a statement of this level tests.
  static constexpr U32 mask(U32 level) { return openBit | ringBit | (U32{1} << level); }

  constexpr TraceGate() = default;
  TraceGate(const TraceGate&) = delete;
  TraceGate& operator=(const TraceGate&) = delete;

  // One load. With the open bit all other bits say nothing.
  U32 load() const { return word_.load(std::memory_order_relaxed); }

  // What the gate of a facility with these levels shows while it is kept.
  static U32 wordFor(const std::atomic<U32>& levels);
  // Whoever changes levels, or ends them, says so afterwards, or before. Any thread may call.
  static void levelsChanged(const std::atomic<U32>& levels);
  static void levelsGone(const std::atomic<U32>& levels);
  // Whether traces go to a ring.
  static void ringIs(bool isOn);

 private:
  friend class TraceGateKeeper;

  void wordIs(U32 word) { word_.store(word, std::memory_order_relaxed); }

  std::atomic<U32> word_ = openBit;
};

// Keeps a gate at what its facility's levels and the ring trace say, as long as it lives, and then
// leaves it open. To be a static object of the library that has the gate: so it goes when that
// library is unloaded, and no change is ever written to where the gate was.
class TraceGateKeeper {
 public:
  TraceGateKeeper(TraceGate& gate, const std::atomic<U32>& levels);
  ~TraceGateKeeper();
  TraceGateKeeper(const TraceGateKeeper&) = delete;
  TraceGateKeeper& operator=(const TraceGateKeeper&) = delete;

 private:
  friend class TraceGate;

  void update() const { gate_.wordIs(TraceGate::wordFor(*levels_)); }

  TraceGate& gate_;
  const std::atomic<U32>* levels_;  // null when the facility has gone first
};

}  // namespace Fastmark
