#pragma once
// From what switches see by LLDP to the switches, hosts, port groups and links of a fabric
// (docs/discover.md tells the rules). LLDP leaves much open; whatever is taken for granted, though
// no switch said so, is a note. LldpNeighbors.h reads what goes in, DiscoveredDocument.h writes
// what comes out.

#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "host/Fabric.h"
#include "host/FabricText.h"
#include "host/LldpNeighbors.h"

namespace Fabrion::Host {

struct SwitchNeighbors {
  std::string name;  // of the switch that was asked
  std::string file;  // for messages
  std::vector<LldpNeighbor> neighbors;
};

struct DiscoveryHints {
  // Neighbours that are hosts whatever they say of themselves.
  std::set<std::string> hosts;
  // Ports that switches have besides those with a neighbour.
  std::map<std::string, std::vector<std::string>> ports;
};

struct Discovered {
  // Sorted by name, numbers in names by their value; without requests.
  Fabric fabric;
  // Notes by the node and the link that they are on, and those on what is left out. They are whole
  // sentences without a full stop, and free of control characters.
  std::map<std::string, std::vector<std::string>> nodeNotes;
  std::map<Link, std::vector<std::string>> linkNotes;
  std::vector<std::string> notes;
};

// What the switches see taken together, whatever their order; or the names that no fabric document
// can hold, each with its file and its place in the JSON, and the hosts of `hints` that are none of
// the neighbours without a file. No two of the switches have one name.
// O(n log n) in the number of neighbours.
std::variant<Discovered, std::vector<std::string>> discover(
    const std::vector<SwitchNeighbors>& switches, const DiscoveryHints& hints = {});

// Whether `a` comes before `b` where e2 comes before e10.
bool naturallyBefore(std::string_view a, std::string_view b);

}  // namespace Fabrion::Host
