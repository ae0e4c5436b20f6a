#pragma once
// Hashes of the key types that stand in collections (HashMap2018.h) and the mixing functions that
// the structured keys of the entities build theirs from.
//
// No seed is drawn at random and no order depends on a hash, so runs repeat to the byte. Nothing
// stores a hash or sends it anywhere: the functions may change with any build.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/Nimbo/String.h"
#include "platform/Velo/Types.h"

namespace Velo {

template <class T>
class Ptr;

// What a structured key is hashed with.
inline constexpr U32 hashSeed = 0x6d3a51c7U;

// Mixes `value` under `seed` so that low and high bits of the result depend on all of it. Bijective
// for each seed: values that differ have hashes that differ.
constexpr U32 hashU32(U32 value, U32 seed = 0) {
  value ^= seed;
  value ^= value >> 16;
  value *= 0x9e3779b1U;
  value ^= value >> 15;
  return value;
}

namespace Impl {

// The product of two words folded into one; every bit of `a` reaches about half of the result.
inline U64 hashFold(U64 a, U64 b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<U64>(product) ^ static_cast<U64>(product >> 64);
}

template <class Word>
U64 hashLoad(const char* at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

}  // namespace Impl

// Hash of a run of bytes, eight at a time. To hash several fields, pass the hash of one as the seed
// of the next; the length takes part, so ("ab", "c") and ("a", "bc") differ. O(size).
inline U32 hashBytes(std::string_view bytes, U32 seed = hashSeed) {
  const char* at = bytes.data();
  const std::size_t size = bytes.size();
  U64 state = (seed + 0x9e3779b97f4a7c15U) ^ (size * 0xd6e8feb86659fd93U);
  std::size_t left = size;
  for (; left > 8; left -= 8, at += 8) {
    state = Impl::hashFold(state ^ Impl::hashLoad<U64>(at), 0xa0761d6478bd642fU);
  }
  // The last word may overlap the one before it, which is cheaper than a loop over the rest.
  U64 last = 0;
  if (size >= 8) {
    last = Impl::hashLoad<U64>(at + left - 8);
  } else if (size >= 4) {
    last = Impl::hashLoad<U32>(at) | Impl::hashLoad<U32>(at + left - 4) << 32;
  } else if (size > 0) {
    last = Impl::hashLoad<U8>(at) | Impl::hashLoad<U8>(at + size / 2) << 8 |
           Impl::hashLoad<U8>(at + size - 1) << 16;
  }
  state = Impl::hashFold(state ^ last, 0xe7037ed1a0b428dbU);
  return static_cast<U32>(state ^ state >> 32);
}

// A value of several fields that hashes itself, chaining hashU32() and hashBytes() over them.
template <class Key>
concept HashesItself = requires(const Key& key, U32 seed) {
  { key.hash(seed) } -> std::same_as<U32>;
};

// A value that is a text.
template <class Key>
concept ShowsText = requires(const Key& key) {
  { key.view() } -> std::convertible_to<std::string_view>;
};

// The hash of a key type: `of(key)`, equal for equal keys. `quick` says that it is sooner computed
// than fetched, so that a collection with an index keeps none.
template <class Key>
struct Hash {
  static_assert(HashesItself<Key> || ShowsText<Key>, "no hash is known for this type of key");
  static constexpr bool quick = false;
  static U32 of(const Key& key) {
    if constexpr (HashesItself<Key>) {
      return key.hash(hashSeed);
    } else {
      return hashBytes(key.view());
    }
  }
};

template <>
struct Hash<U32> {
  static constexpr bool quick = true;
  // The half of the product in which each bit depends on all of the key. Numbers in regular steps,
  // as VLANs and VNIs are, come out more evenly than at random.
  static constexpr U32 of(U32 key) {
    return static_cast<U32>((key * U64{0x9e3779b97f4a7c15U}) >> 32);
  }
};

// A short text is hashed by the words that it stands in, without a look at its size.
template <>
struct Hash<Nimbo::String> {
  static constexpr bool quick = false;
  static U32 of(const Nimbo::String& key) {
    if (key.isLong()) [[unlikely]]
      return hashBytes(key.view());
    U64 state =
        Impl::hashFold(key.word(0) ^ 0xa0761d6478bd642fU, key.word(1) ^ 0xe7037ed1a0b428dbU);
    state = Impl::hashFold(state ^ key.word(2), 0x9e3779b97f4a7c15U);
    return static_cast<U32>(state ^ state >> 32);
  }
};

// By identity: the address, whatever the object holds.
template <class T>
struct Hash<Ptr<T>> {
  static constexpr bool quick = false;
  static U32 of(const Ptr<T>& key) {
    const U64 address = reinterpret_cast<std::uintptr_t>(key.get());
    const U64 mixed = Impl::hashFold(address, 0x9e3779b97f4a7c15U);
    return static_cast<U32>(mixed ^ mixed >> 32);
  }
};

}  // namespace Velo
