// Walks over hash collections. Ours may be changed under the walk; the peer's may not, so what
// wants to erase there collects the keys first.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/HashTables.h"
#include "bench/Rows.h"

namespace Bench {
namespace {

using OurMap = OurNumbers::Map;
using AbslMap = AbslNumbers::Map;

// Both read key and value of each element.
inline std::uintptr_t visited(U32 key, const Handle& value) {
  return key ^ reinterpret_cast<std::uintptr_t>(value.get());
}

std::uintptr_t walk(const OurMap& map) {
  std::uintptr_t sum = 0;
  for (OurMap::ConstIterator it(map); it; it.advance())
    sum += visited(it.key(), it.currNodeMaybeStale()->value());
  return sum;
}

std::uintptr_t walk(const AbslMap& map) {
  std::uintptr_t sum = 0;
  for (const auto& [key, value] : map) sum += visited(key, value);
  return sum;
}

void walkErasing(OurMap& map) {
  for (OurMap::Iterator it(map); it; it.advance()) map.erase(it.key());
}

void walkErasing(AbslMap& map) {
  std::vector<U32> keys;
  keys.reserve(map.size());
  for (const auto& element : map) keys.push_back(element.first);
  for (const U32 key : keys) map.erase(key);
}

template <class Kind>
Body iterates(U32 count) {
  const Lazy<typename Kind::Map> lazy([count] {
    auto map = std::make_unique<typename Kind::Map>();
    fill<Kind>(*map, keysOf<Kind>(shuffled(count, 1)), Velo::make<Thing>());
    return map;
  });
  return [lazy, count](benchmark::State& state) {
    const auto& map = *lazy;
    const U32 walks = std::max(1U, 1024 / count);
    for (auto _ : state) {
      for (U32 i = 0; i < walks; ++i) benchmark::DoNotOptimize(walk(map));
    }
    state.SetItemsProcessed(state.iterations() * walks * count);
  };
}

template <class Kind>
Body erasesWalking(U32 count) {
  return [count](benchmark::State& state) {
    const U32 mapCount = std::max(1U, 16'384 / count);
    const auto keys = keysOf<Kind>(shuffled(count, 1));
    const Handle handle = Velo::make<Thing>();
    std::unique_ptr<typename Kind::Map[]> maps;
    for (auto _ : state) {
      state.PauseTiming();
      maps = std::make_unique<typename Kind::Map[]>(mapCount);
      for (U32 m = 0; m < mapCount; ++m) fill<Kind>(maps[m], keys, handle);
      state.ResumeTiming();
      for (U32 m = 0; m < mapCount; ++m) walkErasing(maps[m]);
    }
    if (!maps[0].empty()) state.SkipWithError("something was left");
    state.SetItemsProcessed(state.iterations() * mapCount * count);
  };
}

const RowsOf rows(
    [](std::vector<Row>& to) {
      for (const U32 count : {4U, 64U, 4096U}) {
        to.push_back({"hash.iterate." + std::to_string(count), iterates<OurNumbers>(count),
                      "absl::flat_hash_map", iterates<AbslNumbers>(count), 0.5});
      }
      for (const U32 count : {64U, 4096U}) {
        to.push_back({"hash.iterate_erasing." + std::to_string(count),
                      erasesWalking<OurNumbers>(count), "absl, keys collected",
                      erasesWalking<AbslNumbers>(count), 0.8});
      }
    },
    30);

}  // namespace
}  // namespace Bench
