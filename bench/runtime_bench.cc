// The inner loops of the runtime: pointer copies, notification, slabs, traces and VLAN list edits.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "agent/Trace.h"
#include "entities/Fabrion.h"
#include "platform/BrindleUtils/VlanIdSet.h"
#include "platform/Fastmark/RingTrace.h"
#include "platform/Quillo/Slab.h"
#include "platform/Velo/NotifieeList.h"

namespace {

void pointerCopy(benchmark::State& state) {
  const auto element = Velo::make<Fabrion::NetworkElement>("leaf1");
  for (auto _ : state) {
    Velo::Ptr<Fabrion::NetworkElement> copy(element);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(pointerCopy);

// A reactor that does nothing but be told.
class Listener : public Velo::PtrInterface::NotifieeConst {
 public:
  explicit Listener(const Velo::PtrInterface* entity) {
    notifierIs(entity);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Velo::AttributeId /*attribute*/, const void* /*key*/) override { ++told; }
  void veloDoZombieReactors(bool /*requested*/) override {}
  U64 told = 0;
};

void notify(benchmark::State& state) {
  const auto element = Velo::make<Fabrion::NetworkElement>("leaf1");
  std::vector<Velo::Ptr<Listener>> listeners;
  for (int64_t i = 0; i < state.range(0); ++i)
    listeners.push_back(Velo::make<Listener>(element.get()));
  bool value = false;
  for (auto _ : state) {
    value = !value;
    element->isSwitchElementIs(value);
  }
  benchmark::DoNotOptimize(listeners.front()->told);
}
BENCHMARK(notify)->Arg(1)->Arg(8)->Arg(64);

void slabAllocateAndFree(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    void* memory = Quillo::slabAlloc(size);
    benchmark::DoNotOptimize(memory);
    Quillo::slabFree(memory, typeid(Listener));
  }
}
BENCHMARK(slabAllocateAndFree)->Arg(32)->Arg(128)->Arg(512);

void entityMakeAndDrop(benchmark::State& state) {
  for (auto _ : state) {
    auto element = Velo::make<Fabrion::NetworkElement>("leaf1");
    benchmark::DoNotOptimize(element);
  }
}
BENCHMARK(entityMakeAndDrop);

void traceOff(benchmark::State& state) {
  const Nimbo::String name("leaf1");
  for (auto _ : state) FABRION_TRACE(9, "%s %s", name, 100U);
}
BENCHMARK(traceOff);

void traceRing(benchmark::State& state) {
  const auto handle =
      std::make_unique<Fastmark::TraceHandle>(std::make_unique<Fastmark::TraceFile>());
  Fastmark::defaultFastmarkHandle = handle.get();
  const Nimbo::String name("leaf1");
  for (auto _ : state) FABRION_TRACE(9, "%s %s", name, 100U);
  Fastmark::defaultFastmarkHandle = nullptr;
}
BENCHMARK(traceRing);

// What a handler does to an output: parse, change one VLAN, write back.
void vlanListEdit(benchmark::State& state) {
  auto list = BrindleUtils::VlanIdSetIs();
  for (int64_t i = 0; i < state.range(0); ++i) list->doAdd(static_cast<U16>(2 * i + 1));
  const Nimbo::String text = list->multiRangeString();
  for (auto _ : state) {
    const auto vlans = BrindleUtils::VlanIdSetIs();
    BrindleUtils::computeVlanSet(vlans, text);
    vlans->doAdd(4000);
    benchmark::DoNotOptimize(vlans->multiRangeString());
  }
}
BENCHMARK(vlanListEdit)->Arg(1)->Arg(8)->Arg(128);

}  // namespace
