#pragma once
// A small generator of pseudo-random numbers. The standard's engines are fixed, but not its
// distributions, so what is drawn with them differs from library to library.

#include "platform/Velo/Types.h"

namespace Fabrion::Host {

class SplitMix64 {
 public:
  explicit SplitMix64(U64 seed) : state_(seed) {}

  U64 next() {
    state_ += 0x9e3779b97f4a7c15U;
    U64 mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebU;
    return mixed ^ (mixed >> 31);
  }

  // 0 to `bound` - 1; 0 for a bound of 0. Lower numbers come more often by at most bound / 2^32.
  U32 below(U32 bound) { return static_cast<U32>(((next() >> 32) * bound) >> 32); }

 private:
  U64 state_;
};

}  // namespace Fabrion::Host
