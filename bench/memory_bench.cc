// Counted pointers and slabs.

#include <dlfcn.h>
#include <mimalloc.h>

#include <array>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

#include "bench/Rows.h"
#include "bench/Sequences.h"
#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"

namespace Bench {
namespace {

// --- pointers
// -------------------------------------------------------------------------------------

class Target : public Velo::PtrInterface {};
class PeerTarget : public boost::intrusive_ref_counter<PeerTarget, boost::thread_unsafe_counter> {
 public:
  PeerTarget() = default;
  PeerTarget(const PeerTarget&) = delete;
  PeerTarget& operator=(const PeerTarget&) = delete;
  virtual ~PeerTarget() = default;
};

// Each place of the array takes another object at each go, so a copy counts one object up and
// another one down.
template <class Pointer, class Make>
void copiesPointers(benchmark::State& state, Make make) {
  constexpr std::size_t places = 1024;
  constexpr std::size_t objects = 7;
  std::vector<Pointer> sources;
  for (std::size_t i = 0; i < places + objects; ++i)
    sources.push_back(i < objects ? make() : sources[i - objects]);
  std::vector<Pointer> array(places);
  std::size_t shift = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < places; ++i) array[i] = sources[i + shift];
    benchmark::ClobberMemory();
    shift = (shift + 1) % objects;
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(places));
}

// --- slabs
// ----------------------------------------------------------------------------------------

template <std::size_t Size>
struct Object {
  char bytes[Size];
};

// As an object of the runtime comes and goes, its type entered and taken off again.
struct Ours {
  static void load() {}
  template <std::size_t Size>
  static void* take() {
    return Velo::trackedNew<Object<Size>>(Size);
  }
  template <std::size_t Size>
  static void give(void* block) {
    Velo::trackedDelete<Object<Size>>(block, Size);
  }
};
// Loaded and not linked, for its library would take the place of malloc in the whole process, and
// every other row would run on it.
template <class Function>
Function* ofMimalloc(const char* name) {
  static void* const library = dlopen("libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL);
  void* const found = library == nullptr ? nullptr : dlsym(library, name);
  if (found == nullptr) throw std::runtime_error(dlerror());
  return reinterpret_cast<Function*>(found);
}
// Called through a pointer each, as functions of a library that is linked are.
decltype(mi_malloc)* mimallocTake = nullptr;
decltype(mi_free)* mimallocGive = nullptr;

struct Mimalloc {
  static void load() {
    mimallocTake = ofMimalloc<decltype(mi_malloc)>("mi_malloc");
    mimallocGive = ofMimalloc<decltype(mi_free)>("mi_free");
  }
  template <std::size_t Size>
  static void* take() {
    return mimallocTake(Size);
  }
  template <std::size_t Size>
  static void give(void* block) {
    mimallocGive(block);
  }
};

// A first word is written, as a constructor does.
template <class Allocator, std::size_t Size>
void* makeOne() {
  void* block = Allocator::template take<Size>();
  ::new (block) U64(Size);
  benchmark::DoNotOptimize(block);
  return block;
}

template <class Allocator, std::size_t... Sizes>
void pairsOf(benchmark::State& state, std::index_sequence<Sizes...> /*sizes*/) {
  Allocator::load();
  for (auto _ : state) {
    (Allocator::template give<Sizes>(makeOne<Allocator, Sizes>()), ...);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(sizeof...(Sizes)));
}

// 256 objects of each size stay; each step ends one, of no age in particular, and makes another.
template <class Allocator, std::size_t Size>
struct Standing {
  static constexpr U32 count = 256;
  Standing() {
    for (void*& block : blocks) block = makeOne<Allocator, Size>();
  }
  Standing(const Standing&) = delete;
  Standing& operator=(const Standing&) = delete;
  ~Standing() {
    for (void* block : blocks) Allocator::template give<Size>(block);
  }
  void exchange(U32 at) {
    Allocator::template give<Size>(blocks[at]);
    blocks[at] = makeOne<Allocator, Size>();
  }
  std::array<void*, count> blocks{};
};

template <class Allocator, std::size_t... Sizes>
void churnOf(benchmark::State& state, std::index_sequence<Sizes...> /*sizes*/) {
  const std::vector<U32> order = rounds(256, 4096, 5);
  Allocator::load();
  std::tuple<Standing<Allocator, Sizes>...> standing;
  for (auto _ : state) {
    for (const U32 at : order) (std::get<Standing<Allocator, Sizes>>(standing).exchange(at), ...);
  }
  state.SetItemsProcessed(state.iterations() *
                          static_cast<int64_t>(order.size() * sizeof...(Sizes)));
}

using Sizes = std::index_sequence<32, 48, 64, 96, 128, 160, 192, 256>;

const RowsOf rows(
    [](std::vector<Row>& to) {
      to.push_back({"ptr.copy",
                    [](benchmark::State& state) {
                      copiesPointers<Velo::Ptr<Target>>(state, [] { return Velo::make<Target>(); });
                    },
                    "boost::intrusive_ptr",
                    [](benchmark::State& state) {
                      using Pointer = boost::intrusive_ptr<PeerTarget>;
                      copiesPointers<Pointer>(state, [] { return Pointer(new PeerTarget); });
                    },
                    1.5});
      to.push_back({"slab.pair", [](benchmark::State& state) { pairsOf<Ours>(state, Sizes()); },
                    "mimalloc", [](benchmark::State& state) { pairsOf<Mimalloc>(state, Sizes()); },
                    0.35});
      to.push_back({"slab.churn", [](benchmark::State& state) { churnOf<Ours>(state, Sizes()); },
                    "mimalloc", [](benchmark::State& state) { churnOf<Mimalloc>(state, Sizes()); },
                    0.35});
    },
    40);

}  // namespace
}  // namespace Bench
