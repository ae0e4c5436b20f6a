#pragma once
// Outputs as JSON, in the form that they have in a dump: whatever reads the one reads the other.
//
//   {"switch": {SWITCH: {"portAllowedVlanList": {PORT: LIST}, "portNativeVlan": {PORT: VLAN},
//                        "vlanList": LIST, "vtepConfig": {VTEP: {PORT: {VLAN: VNI}}}}}}

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/Outputs.h"

namespace Fabrion::Host {

// What is wrong with a text that was to hold outputs: "FILE: .PATH: what is wrong; what was
// expected", the path as jq writes it. A text that is no JSON has a line and a column instead.
class BadOutputs : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An object with the member "switch". Members are sorted by name in byte order.
nlohmann::json jsonOf(const FabricOutputs& outputs);

// Reads what jsonOf() writes, or a dump, whose other members are passed over. A part of a switch
// that is left out is empty. `file` stands in messages. Raises BadOutputs, and then too where
// something would get lost: an unknown member, a member that stands twice, a number out of range.
FabricOutputs outputsFrom(const std::string& file, std::string_view text);

// The same from a file, `-` for the standard input. A file that cannot be read is BadOutputs too.
FabricOutputs readOutputs(const std::string& file);

}  // namespace Fabrion::Host
