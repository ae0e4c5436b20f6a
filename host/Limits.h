#pragma once
// How much one set of fabric documents may ask for. A few characters such as `e[1-100000000]`, or
// an alias used often, must not eat the memory of the machine that the agent shares with others.

#include <cstddef>

namespace Fabrion::Host::Limits {

constexpr std::size_t fileBytes = std::size_t{8} << 20;
// YAML values of one file, keys included: one of two bytes costs a hundred times as much memory.
constexpr std::size_t values = std::size_t{1} << 20;
constexpr std::size_t nameCharacters = 255;
// Names that one written range stands for, entries that one list holds, and ports of one node.
constexpr std::size_t listEntries = 4096;
// Over all documents: ports, members of groups, VTEPs and remote hosts; VLANs of all requests; VNIs
// and domains of all requests, one for each VLAN that has it; and ranges of all static maps.
constexpr std::size_t names = std::size_t{1} << 20;
constexpr std::size_t vlans = std::size_t{1} << 24;
// What a VLAN counts for each further line of one request that asks for it: explanations have each
// of these lines apart, where that of a VLAN by itself is one with those of its neighbours.
constexpr std::size_t vlanAgain = 32;
constexpr std::size_t vnis = std::size_t{1} << 21;
constexpr std::size_t domains = std::size_t{1} << 21;
constexpr std::size_t staticRanges = std::size_t{1} << 20;
// Nobody mends more at one go, and near names are looked up for far fewer.
constexpr std::size_t problems = 10000;
constexpr std::size_t suggestions = 200;

}  // namespace Fabrion::Host::Limits
