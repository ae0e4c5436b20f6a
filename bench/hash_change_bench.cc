// Hash collections that fill, drain, and lose and gain at the same time.

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/HashTables.h"
#include "bench/Rows.h"

namespace Bench {
namespace {

// Insertions or removals timed in one go, at the least: enough that stopping the clock between two
// goes does not count.
constexpr U32 goSize = 16'384;

// As many collections as it takes, and the keys that come and go.
template <class Kind>
struct Filling {
  explicit Filling(U32 count)
      : mapCount(std::max(1U, goSize / count)),
        keys(keysOf<Kind>(shuffled(count, 1))),
        keysAway(keysOf<Kind>(shuffled(count, 2))) {}

  void renew() { maps = std::make_unique<typename Kind::Map[]>(mapCount); }
  int64_t items() const { return static_cast<int64_t>(mapCount * keys.size()); }

  const U32 mapCount;
  const std::vector<typename Kind::Key> keys;      // in the order in which they come
  const std::vector<typename Kind::Key> keysAway;  // the same in the order in which they go
  const Handle handle = Velo::make<Thing>();
  std::unique_ptr<typename Kind::Map[]> maps;
};

template <class Kind>
Lazy<Filling<Kind>> lazyFilling(U32 count) {
  return Lazy<Filling<Kind>>([count] { return std::make_unique<Filling<Kind>>(count); });
}

template <class Kind>
Body inserts(U32 count) {
  return [lazy = lazyFilling<Kind>(count)](benchmark::State& state) {
    auto& filling = *lazy;
    for (auto _ : state) {
      state.PauseTiming();
      filling.renew();
      state.ResumeTiming();
      for (U32 m = 0; m < filling.mapCount; ++m)
        fill<Kind>(filling.maps[m], filling.keys, filling.handle);
    }
    state.SetItemsProcessed(state.iterations() * filling.items());
  };
}

template <class Kind>
Body erases(U32 count) {
  return [lazy = lazyFilling<Kind>(count)](benchmark::State& state) {
    auto& filling = *lazy;
    for (auto _ : state) {
      state.PauseTiming();
      filling.renew();
      for (U32 m = 0; m < filling.mapCount; ++m)
        fill<Kind>(filling.maps[m], filling.keys, filling.handle);
      state.ResumeTiming();
      for (U32 m = 0; m < filling.mapCount; ++m) {
        for (const auto& key : filling.keysAway) filling.maps[m].erase(key);
      }
    }
    if (!filling.maps[0].empty()) state.SkipWithError("something was left");
    state.SetItemsProcessed(state.iterations() * filling.items());
  };
}

// A collection that keeps its size: one element goes, another one comes.
template <class Kind>
struct Churning {
  explicit Churning(U32 count)
      : present(keysOf<Kind>(shuffled(count, 3))), absent(keysOf<Kind>(shuffled(count, 4, count))) {
    fill<Kind>(map, keysOf<Kind>(shuffled(count, 1)), handle);
  }
  void step() {
    map.erase(present[at]);
    insert(map, absent[at], handle);
    if (++at < present.size()) return;
    at = 0;
    present.swap(absent);
  }

  typename Kind::Map map;
  // Those up to `at` have changed sides already.
  std::vector<typename Kind::Key> present;
  std::vector<typename Kind::Key> absent;
  std::size_t at = 0;
  const Handle handle = Velo::make<Thing>();
};

template <class Kind>
Body churns(U32 count) {
  const Lazy<Churning<Kind>> lazy([count] { return std::make_unique<Churning<Kind>>(count); });
  return [lazy, count](benchmark::State& state) {
    constexpr int steps = 1024;
    auto& churning = *lazy;
    for (auto _ : state) {
      for (int i = 0; i < steps; ++i) churning.step();
    }
    if (churning.map.size() != count) state.SkipWithError("an element was lost or came twice");
    state.SetItemsProcessed(state.iterations() * steps);
  };
}

const RowsOf rows(
    [](std::vector<Row>& to) {
      constexpr double goal = 0.6;
      const std::string peer = "absl::flat_hash_map";
      for (const U32 count : {8U, 4096U, 1'000'000U}) {
        to.push_back({"hash.insert." + std::to_string(count), inserts<OurNumbers>(count), peer,
                      inserts<AbslNumbers>(count), goal});
      }
      for (const U32 count : {8U, 4096U, 1'000'000U}) {
        to.push_back({"hash.erase." + std::to_string(count), erases<OurNumbers>(count), peer,
                      erases<AbslNumbers>(count), goal});
      }
      for (const U32 count : {8U, 4096U, 1'000'000U}) {
        to.push_back({"hash.churn." + std::to_string(count), churns<OurNumbers>(count), peer,
                      churns<AbslNumbers>(count), goal});
      }
    },
    20);

}  // namespace
}  // namespace Bench
