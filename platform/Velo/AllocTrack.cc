#include "platform/Velo/AllocTrack.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace Velo {

namespace {

constinit std::atomic<AllocTrackTypeInfo*> records{nullptr};

std::string sourceName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return name == nullptr ? type.name() : name.get();
}

}  // namespace

void AllocTrackTypeInfo::list(const std::type_info& type) noexcept {
  if (listed_.exchange(true, std::memory_order_relaxed)) return;
  type_ = &type;
  next_ = records.load(std::memory_order_relaxed);
  while (!records.compare_exchange_weak(next_, this, std::memory_order_release,
                                        std::memory_order_relaxed)) {
  }
}

std::vector<AllocTrackTypeInfo::Counts> AllocTrackTypeInfo::snapshot() {
  std::vector<Counts> all;
  for (const auto* i = records.load(std::memory_order_acquire); i != nullptr; i = i->next_) {
    all.push_back({sourceName(*i->type_), i->live(), i->total_.load(std::memory_order_relaxed),
                   i->allocatedBytes_.load(std::memory_order_relaxed)});
  }
  // Stable, for types of one name, such as those of unnamed namespaces.
  std::stable_sort(all.begin(), all.end(),
                   [](const Counts& a, const Counts& b) { return a.typeName < b.typeName; });
  return all;
}

U64 AllocTrackTypeInfo::liveObjects() noexcept {
  U64 live = 0;
  for (const auto* i = records.load(std::memory_order_acquire); i != nullptr; i = i->next_)
    live += i->live();
  return live;
}

}  // namespace Velo
