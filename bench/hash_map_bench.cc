// Inner loops of the hash collection at the sizes that count: a few elements, as most collections
// have, and 10,000. The standard's unordered map does the same beside it, as a yardstick; it keeps
// no order and no walk alive.

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/HashMap2018.h"

namespace {

struct Bench;

template <class Key>
Key keyOf(U32 n) {
  if constexpr (std::is_same_v<Key, U32>) {
    return n + 1;
  } else {
    return Key("Ethernet" + std::to_string(n % 64) + "/" + std::to_string(n));
  }
}

template <class Key>
struct Ours {
  using Map = Velo::HashMap2018<Bench, Key, U64>;
  static void insert(Map& map, const Key& key) { map.insert(key, 1); }
  static const U64* lookup(const Map& map, const Key& key) { return map.lookup(key); }
  static void erase(Map& map, const Key& key) { map.erase(key); }
  static U64 sum(const Map& map) {
    U64 sum = 0;
    for (const U64& value : map.values()) sum += value;
    return sum;
  }
};

struct StringHash {
  std::size_t operator()(U32 key) const { return std::hash<U32>()(key); }
  std::size_t operator()(const Nimbo::String& key) const {
    return std::hash<std::string_view>()(key.view());
  }
};

template <class Key>
struct Standard {
  using Map = std::unordered_map<Key, U64, StringHash>;
  static void insert(Map& map, const Key& key) { map.emplace(key, 1); }
  static const U64* lookup(const Map& map, const Key& key) {
    const auto at = map.find(key);
    return at == map.end() ? nullptr : &at->second;
  }
  static void erase(Map& map, const Key& key) { map.erase(key); }
  static U64 sum(const Map& map) {
    U64 sum = 0;
    for (const auto& element : map) sum += element.second;
    return sum;
  }
};

// Keys in an order that the processor cannot foresee.
template <class Key>
std::vector<Key> keysFrom(U32 first, U32 count) {
  std::vector<Key> keys;
  for (U32 n = 0; n < count; ++n) keys.push_back(keyOf<Key>(first + n * 7919U % count));
  return keys;
}

template <template <class> class Kind, class Key>
class Filled {
 public:
  explicit Filled(const benchmark::State& state) : keys(keysFrom<Key>(0, size(state))) {
    for (U32 n = 0; n < size(state); ++n) Kind<Key>::insert(map, keyOf<Key>(n));
  }
  static U32 size(const benchmark::State& state) { return static_cast<U32>(state.range(0)); }

  typename Kind<Key>::Map map;
  std::vector<Key> keys;
};

template <template <class> class Kind, class Key>
void lookupHit(benchmark::State& state) {
  const Filled<Kind, Key> filled(state);
  std::size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kind<Key>::lookup(filled.map, filled.keys[at]));
    if (++at == filled.keys.size()) at = 0;
  }
}

template <template <class> class Kind, class Key>
void lookupMiss(benchmark::State& state) {
  const Filled<Kind, Key> filled(state);
  const auto keys = keysFrom<Key>(1'000'000, Filled<Kind, Key>::size(state));
  std::size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kind<Key>::lookup(filled.map, keys[at]));
    if (++at == keys.size()) at = 0;
  }
}

// One element goes and comes back, all others stay: two operations.
template <template <class> class Kind, class Key>
void eraseAndInsert(benchmark::State& state) {
  Filled<Kind, Key> filled(state);
  std::size_t at = 0;
  for (auto _ : state) {
    Kind<Key>::erase(filled.map, filled.keys[at]);
    Kind<Key>::insert(filled.map, filled.keys[at]);
    if (++at == filled.keys.size()) at = 0;
  }
}

// From empty to full and away again; items are elements.
template <template <class> class Kind, class Key>
void fillAndDestroy(benchmark::State& state) {
  const auto keys = keysFrom<Key>(0, Filled<Kind, Key>::size(state));
  for (auto _ : state) {
    typename Kind<Key>::Map map;
    for (const Key& key : keys) Kind<Key>::insert(map, key);
    benchmark::DoNotOptimize(map);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Items are elements.
template <template <class> class Kind, class Key>
void iterate(benchmark::State& state) {
  const Filled<Kind, Key> filled(state);
  for (auto _ : state) benchmark::DoNotOptimize(Kind<Key>::sum(filled.map));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

#define FABRION_HASH_MAP_BENCH(loop)                                          \
  BENCHMARK_TEMPLATE(loop, Ours, U32)->Arg(1)->Arg(4)->Arg(10'000);           \
  BENCHMARK_TEMPLATE(loop, Standard, U32)->Arg(1)->Arg(4)->Arg(10'000);       \
  BENCHMARK_TEMPLATE(loop, Ours, Nimbo::String)->Arg(1)->Arg(4)->Arg(10'000); \
  BENCHMARK_TEMPLATE(loop, Standard, Nimbo::String)->Arg(1)->Arg(4)->Arg(10'000)

FABRION_HASH_MAP_BENCH(lookupHit);
FABRION_HASH_MAP_BENCH(lookupMiss);
FABRION_HASH_MAP_BENCH(eraseAndInsert);
FABRION_HASH_MAP_BENCH(fillAndDestroy);
FABRION_HASH_MAP_BENCH(iterate);

}  // namespace
