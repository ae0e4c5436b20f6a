#pragma once
// Integer names of the system. They stand in the global namespace so that a signature in a trace
// reads the same whatever compiler wrote it.

#include <cstdint>

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
