// Lookups in hash collections, hits and misses. Each side reads the handle that it finds, as
// whoever looks one up does.

#include <memory>
#include <string>
#include <vector>

#include "bench/HashTables.h"
#include "bench/Rows.h"

namespace Bench {
namespace {

// Keys looked up in one iteration; the sequence is as long or longer.
constexpr std::size_t sliceSize = 4096;

template <class Kind>
struct Lookups {
  // With `first` at zero the keys looked up are those of the map, with `count` they are others.
  Lookups(U32 count, U32 first) {
    fill<Kind>(map, keysOf<Kind>(shuffled(count, 1)), Velo::make<Thing>());
    keys = keysOf<Kind>(rounds(count, sliceSize, 2, first));
    keys.resize(keys.size() / sliceSize * sliceSize);
  }
  const typename Kind::Key* nextSlice() {
    const typename Kind::Key* const slice = keys.data() + at;
    at = (at + sliceSize) % keys.size();
    return slice;
  }

  typename Kind::Map map;
  std::vector<typename Kind::Key> keys;
  std::size_t at = 0;
};

template <class Kind>
Body hits(U32 count) {
  const Lazy<Lookups<Kind>> lazy([count] { return std::make_unique<Lookups<Kind>>(count, 0); });
  return [lazy](benchmark::State& state) {
    const auto& map = lazy->map;
    for (auto _ : state) {
      const auto* const keys = lazy->nextSlice();
      for (std::size_t i = 0; i < sliceSize; ++i) {
        benchmark::DoNotOptimize(find(map, keys[i])->get());
      }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(sliceSize));
  };
}

template <class Kind>
Body misses(U32 count) {
  const Lazy<Lookups<Kind>> lazy([count] { return std::make_unique<Lookups<Kind>>(count, count); });
  return [lazy](benchmark::State& state) {
    const auto& map = lazy->map;
    for (auto _ : state) {
      const auto* const keys = lazy->nextSlice();
      for (std::size_t i = 0; i < sliceSize; ++i) {
        const Handle* const found = find(map, keys[i]);
        benchmark::DoNotOptimize(found);
      }
    }
    if (find(map, lazy->keys.front()) != nullptr) state.SkipWithError("a miss hit");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(sliceSize));
  };
}

template <class Ours, class Peer>
void hitRow(std::vector<Row>& to, const std::string& name, U32 count, double goal) {
  to.push_back({name + std::to_string(count), hits<Ours>(count), "absl::flat_hash_map",
                hits<Peer>(count), goal});
}

void missRow(std::vector<Row>& to, U32 count, double goal) {
  to.push_back({"hash.u32.miss." + std::to_string(count), misses<OurNumbers>(count),
                "absl::flat_hash_map", misses<AbslNumbers>(count), goal});
}

const RowsOf rows(
    [](std::vector<Row>& to) {
      for (const U32 count : {1U, 4U, 8U})
        hitRow<OurNumbers, AbslNumbers>(to, "hash.u32.hit.", count, 0.6);
      hitRow<OurNumbers, AbslNumbers>(to, "hash.u32.hit.", 64, 0.8);
      hitRow<OurNumbers, AbslNumbers>(to, "hash.u32.hit.", 4096, 0.8);
      hitRow<OurNumbers, AbslNumbers>(to, "hash.u32.hit.", 1'000'000, 1.0);
      missRow(to, 64, 0.9);
      missRow(to, 4096, 1.0);
      missRow(to, 1'000'000, 1.2);
      for (const U32 count : {1U, 4U, 64U})
        hitRow<OurTexts, AbslTexts>(to, "hash.string.hit.", count, 0.6);
      hitRow<OurTexts, AbslTexts>(to, "hash.string.hit.", 4096, 0.8);
      hitRow<OurTexts, AbslTexts>(to, "hash.string.hit.", 1'000'000, 1.0);
    },
    10);

}  // namespace
}  // namespace Bench
