#include "platform/Velo/AllocTrack.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "platform/Velo/PtrInterface.h"

namespace Velo {

namespace {

constinit std::atomic<AllocTrackTypeInfo*> records{nullptr};

// One thread needs no read-modify-write, which would cost as much as the allocation itself. The
// counters are atomic all the same, so that a reader on another thread sees whole numbers.
inline void add(std::atomic<U64>& counter, U64 amount) noexcept {
  if (VFPtrInterface::threadSafePointers_) [[unlikely]]
    counter.fetch_add(amount, std::memory_order_relaxed);
  else
    counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

std::string sourceName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return name == nullptr ? type.name() : name.get();
}

}  // namespace

void AllocTrackTypeInfo::_trackAllocationNoOverhead(AllocTrackTypeInfo* info,
                                                    const std::type_info& type,
                                                    std::size_t size) noexcept {
  if (!info->listed_.load(std::memory_order_relaxed)) [[unlikely]] {
    if (!info->listed_.exchange(true, std::memory_order_relaxed)) {
      info->type_ = &type;
      info->next_ = records.load(std::memory_order_relaxed);
      while (!records.compare_exchange_weak(info->next_, info, std::memory_order_release,
                                            std::memory_order_relaxed)) {
      }
    }
  }
  add(info->live_, 1);
  add(info->total_, 1);
  add(info->allocatedBytes_, size);
}

void AllocTrackTypeInfo::trackDeallocation(AllocTrackTypeInfo* info) noexcept {
  add(info->live_, ~U64{0});  // wraps round to one less
}

std::vector<AllocTrackTypeInfo::Counts> AllocTrackTypeInfo::snapshot() {
  std::vector<Counts> all;
  for (const auto* i = records.load(std::memory_order_acquire); i != nullptr; i = i->next_) {
    all.push_back({sourceName(*i->type_), i->live_.load(std::memory_order_relaxed),
                   i->total_.load(std::memory_order_relaxed),
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
    live += i->live_.load(std::memory_order_relaxed);
  return live;
}

}  // namespace Velo
