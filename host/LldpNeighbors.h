#pragma once
// What `lldpcli -f json0 show neighbors` and `lldpcli -f json show neighbors` print, as plain
// values. The first form has a list wherever there could be several of a thing and wraps each text
// as {"value": ...}; the second leaves out lists and wraps of one and makes names keys. Both are
// read alike, without being told which it is. Discovery.h makes a fabric of several of them.

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/FabricText.h"

namespace Fabrion::Host {

// An id of LLDP: what kind of text it is, such as "mac", "ifname" or "local", and the text.
struct LldpId {
  std::string type;
  std::string value;
  friend bool operator==(const LldpId&, const LldpId&) = default;
};

// One neighbour on one interface.
struct LldpNeighbor {
  std::string interface;  // of the system that was asked
  std::string via;        // "LLDP", or another protocol that lldpd listens to
  LldpId chassis;
  std::string name;  // empty where the neighbour tells none
  LldpId port;
  std::string portDescription;            // empty for none
  std::vector<std::string> capabilities;  // those enabled, such as "Bridge" and "Station"
  std::string aggregation;                // of the neighbour's port; empty for none
  std::string where;                      // in the JSON, as in `.lldp[0].interface[2]`
};

using LldpNeighborsOrWrong = std::variant<std::vector<LldpNeighbor>, Wrong>;

// The neighbours in the order printed, or what is wrong and where in the JSON, as in
// ".lldp.interface: a number; expected an object or a list". O(size of the text).
LldpNeighborsOrWrong readLldpNeighbors(std::string_view text);

}  // namespace Fabrion::Host
