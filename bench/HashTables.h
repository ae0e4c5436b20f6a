#pragma once
// The two hash tables that the hash rows compare, behind one set of names. Both hold the handle
// that the runtime's collections mostly hold, a counted pointer to an entity; neither is told
// beforehand how many elements will come.

#include <absl/container/flat_hash_map.h>

#include <cstdio>
#include <string>

#include "bench/Sequences.h"
#include "platform/Nimbo/String.h"
#include "platform/Velo/HashMap2018.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"

namespace Bench {

class Thing : public Velo::PtrInterface {};
using Handle = Velo::Ptr<Thing>;

// Numbers spread over 32 bits, a different one for each `n`.
inline void keyIs(U32& key, U32 n) { key = n * 2654435761U; }
// Texts of 16 bytes, alike in front as names of ports are.
template <class Text>
void keyIs(Text& key, U32 n) {
  char text[17];
  std::snprintf(text, sizeof text, "Ethernet%08u", n % 100'000'000U);
  key = Text(text);
}

struct NumberTag;
struct TextTag;

struct OurNumbers {
  using Key = U32;
  using Map = Velo::HashMap2018<NumberTag, U32, Handle>;
};
struct OurTexts {
  using Key = Nimbo::String;
  using Map = Velo::HashMap2018<TextTag, Nimbo::String, Handle>;
};
struct AbslNumbers {
  using Key = U32;
  using Map = absl::flat_hash_map<U32, Handle>;
};
struct AbslTexts {
  using Key = std::string;
  using Map = absl::flat_hash_map<std::string, Handle>;
};

template <class Tag, class Key>
void insert(Velo::HashMap2018<Tag, Key, Handle>& map, const Key& key, const Handle& handle) {
  map.insert(key, handle);
}
template <class Key>
void insert(absl::flat_hash_map<Key, Handle>& map, const Key& key, const Handle& handle) {
  map.try_emplace(key, handle);
}

// The handle under the key, or null.
template <class Tag, class Key>
const Handle* find(const Velo::HashMap2018<Tag, Key, Handle>& map, const Key& key) {
  return map.lookup(key);
}
template <class Key>
const Handle* find(const absl::flat_hash_map<Key, Handle>& map, const Key& key) {
  const auto at = map.find(key);
  return at == map.end() ? nullptr : &at->second;
}

template <class Kind>
std::vector<typename Kind::Key> keysOf(const std::vector<U32>& numbers) {
  std::vector<typename Kind::Key> keys(numbers.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) keyIs(keys[i], numbers[i]);
  return keys;
}

template <class Kind>
void fill(typename Kind::Map& map, const std::vector<typename Kind::Key>& keys,
          const Handle& handle) {
  for (const auto& key : keys) insert(map, key, handle);
}

}  // namespace Bench
