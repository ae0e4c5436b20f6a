#pragma once
// The outputs of a switch in the words of real equipment. Each target has its own file and its own
// data model; what they share stands here: which ports there are to word, and how to say that the
// target cannot.
//
// The outputs name only ports that carry something. A target has to be told of the others too, as
// a port of which it hears nothing keeps what it had, or carries all VLANs; so the switch as the
// document has it comes along.

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/Fabric.h"
#include "host/Outputs.h"

namespace Fabrion::Host {

// What a target cannot express, "switch leaf1, port e1, VLAN 10: why". Gathered, so that all of it
// is told at once; what is rendered while there is any is worth nothing.
using Refusals = std::vector<std::string>;

// A port that is in no group, or a port group.
struct RenderedPort {
  std::string name;
  bool isGroup = false;
  std::vector<std::string> members = {};  // of a group
  Vlans allowed = {};
  std::optional<U16> native = {};

  bool carries(U16 vlan) const;
};

// In the order of the document, ports before groups. Refused: VLANs other than 1 to 4094, VNI 0,
// and outputs of what the switch does not have, or has as the member of a group.
std::vector<RenderedPort> portsOf(const Node& node, const SwitchOutputs& outputs,
                                  Refusals& refusals);

// Refuses a native VLAN that is not among the VLANs that its port allows, while it allows others.
void refuseNativeNotAllowed(const Node& node, const std::vector<RenderedPort>& ports,
                            const char* why, Refusals& refusals);

// The VNI by VLAN of one VTEP, for a target that knows one for the whole switch. Refused: ports
// that map a VLAN differently, or do not map it while they carry it, and VLANs that share a VNI.
std::map<U16, U32> vniOfVlan(const Node& node, const std::vector<RenderedPort>& ports,
                             const SwitchOutputs::MappingsOfPort& mappings, const char* target,
                             Refusals& refusals);

// Where something stands, for a refusal: "switch leaf1, port e1" or "switch leaf1, port group po1".
std::string placeOf(const Node& node, const RenderedPort& port);

// A script of POSIX sh: ovs-vsctl for the ports, vtep-ctl for the VTEP. It leads from any state
// that an earlier one left to this one, and run again it changes nothing (docs/rendering.md).
std::string ovsCommands(const Node& node, const SwitchOutputs& outputs, Refusals& refusals);

// What belongs into config_db.json.
nlohmann::json sonicConfig(const Node& node, const SwitchOutputs& outputs, Refusals& refusals);

// The models openconfig-interfaces and openconfig-network-instance, encoded as RFC 7951 has it.
nlohmann::json openConfig(const Node& node, const SwitchOutputs& outputs, Refusals& refusals);

}  // namespace Fabrion::Host
