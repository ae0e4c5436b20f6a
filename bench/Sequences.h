#pragma once
// Orders in which benchmarks go over things: the same in every run and for both sides of a row, and
// neither sorted nor the order in which the things were made.

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <vector>

#include "platform/Velo/Types.h"

namespace Bench {

// The numbers from `first` on, shuffled.
inline std::vector<U32> shuffled(U32 count, U32 seed, U32 first = 0) {
  std::vector<U32> numbers(count);
  std::iota(numbers.begin(), numbers.end(), first);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
  return numbers;
}

// At least `length` numbers, and all of them equally often, to within one: shuffles one after the
// other, so that a branch predictor cannot learn a short round by heart.
inline std::vector<U32> rounds(U32 count, std::size_t length, U32 seed, U32 first = 0) {
  std::vector<U32> numbers;
  while (numbers.size() < length) {
    const std::vector<U32> round = shuffled(count, seed++, first);
    numbers.insert(numbers.end(), round.begin(), round.end());
  }
  return numbers;
}

}  // namespace Bench
