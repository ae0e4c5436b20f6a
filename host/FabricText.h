#pragma once
// The small texts of a fabric document: names, ranges of ports, lists of VLANs, VNIs, domains. Free
// of YAML, so that each can be tested by itself. A function that can fail returns what is wrong as
// a text that goes into a `Problem` as it stands.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/OperationValues.h"
#include "platform/Velo/Types.h"

namespace Fabrion::Host {

struct Wrong {
  std::string text;
};

// The text in quotes for a message: control characters as \xHH, a long text cut.
std::string shown(std::string_view text);

// What keeps `text` from being a name: a name is 1 to `Limits::nameCharacters` characters without
// control characters (U+0000 to U+001F, U+007F to U+009F). `text` is well-formed UTF-8.
std::optional<Wrong> checkName(std::string_view text);

// Offset of the first byte at which `text` stops being well-formed UTF-8.
std::optional<std::size_t> firstNonUtf8(std::string_view text);

// The names that an entry of a port list stands for: `e[3-8]` for e3 to e8, `e[1-2]/[1-4]` for
// eight names, `e[01-10]` for e01 to e10 (all as wide as LOW if LOW starts with a 0), any other
// text for itself. At most `Limits::listEntries` names.
std::variant<std::vector<std::string>, Wrong> expandPorts(std::string_view text);

// The name of one port, where a range cannot stand.
std::optional<Wrong> checkPortName(std::string_view text);

constexpr U32 maxVlan = 4094;
constexpr U32 maxVni = 0xffffff;

// One VLAN, 1 to `maxVlan`, in decimal digits without leading zeros: 010 is eight to YAML readers
// and ten to people.
std::variant<U32, Wrong> parseVlan(std::string_view text);

// Adds `10`, `20-29` or several of them with commas between to `vlans`, as written. On failure
// `vlans` may hold a part of them.
std::optional<Wrong> parseVlans(std::string_view text, std::vector<NumberRange>& vlans);

// `10` or `20-29`, and nothing with a comma.
std::variant<NumberRange, Wrong> parseVlanRange(std::string_view text);

// `10100` or `10100-10199`, from 1 to `maxVni`.
std::variant<NumberRange, Wrong> parseVniRange(std::string_view text);

// FIRST or FIRST/SECOND, split at the first `/`.
std::variant<DomainName, Wrong> parseDomain(std::string_view text);

inline std::size_t lengthOf(const NumberRange& range) {
  return std::size_t{range.high} - range.low + 1;
}

// `10`, or `20-29`.
std::string toString(const NumberRange& range);

// FIRST/SECOND, or FIRST where the second field is empty.
std::string toString(const DomainName& domain);

// "; did you mean 'e11' or 'e12'?" with up to three of the `known` names that are at most two
// keystrokes away, nearest first, or nothing. O(known).
std::string nearNames(std::string_view wanted, const std::vector<std::string_view>& known);

}  // namespace Fabrion::Host
