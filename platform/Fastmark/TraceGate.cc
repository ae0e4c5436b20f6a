#include "platform/Fastmark/TraceGate.h"

#include <mutex>
#include <vector>

namespace Fastmark {

namespace {

// Never destroyed: what ends in the last moments of the process still changes levels.
struct Kept {
  std::mutex mutex;
  std::vector<TraceGateKeeper*> keepers;
};

Kept& kept() {
  static Kept& instance = *new Kept;
  return instance;
}

std::atomic<bool> ringIsOn = false;

}  // namespace

U32 TraceGate::wordFor(const std::atomic<U32>& levels) {
  const U32 ring = ringIsOn.load(std::memory_order_relaxed) ? ringBit : 0;
  return (levels.load(std::memory_order_relaxed) & levelBits) | ring;
}

// Under the lock every gate is written from what is true then, so of two threads that change
// something the one that comes last leaves all gates right.
void TraceGate::levelsChanged(const std::atomic<U32>& levels) {
  Kept& all = kept();
  const std::lock_guard lock(all.mutex);
  for (const TraceGateKeeper* keeper : all.keepers) {
    if (keeper->levels_ == &levels) keeper->update();
  }
}

void TraceGate::levelsGone(const std::atomic<U32>& levels) {
  Kept& all = kept();
  const std::lock_guard lock(all.mutex);
  std::erase_if(all.keepers, [&levels](TraceGateKeeper* keeper) {
    if (keeper->levels_ != &levels) return false;
    keeper->gate_.wordIs(openBit);
    keeper->levels_ = nullptr;
    return true;
  });
}

void TraceGate::ringIs(bool isOn) {
  Kept& all = kept();
  const std::lock_guard lock(all.mutex);
  ringIsOn.store(isOn, std::memory_order_relaxed);
  for (const TraceGateKeeper* keeper : all.keepers) keeper->update();
}

TraceGateKeeper::TraceGateKeeper(TraceGate& gate, const std::atomic<U32>& levels)
    : gate_(gate), levels_(&levels) {
  Kept& all = kept();
  const std::lock_guard lock(all.mutex);
  all.keepers.push_back(this);
  update();
}

TraceGateKeeper::~TraceGateKeeper() {
  Kept& all = kept();
  const std::lock_guard lock(all.mutex);
  if (levels_ == nullptr) return;
  std::erase(all.keepers, this);
  gate_.wordIs(TraceGate::openBit);
}

}  // namespace Fastmark
