#pragma once
// The values that operations (Operation.h) are made of: the names under which they find things,
// ranges, and what an earlier run left in a switch's outputs.

#include <array>
#include <compare>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Velo/Types.h"

namespace Fabrion::Host {

struct PortName {
  std::string host;
  std::string port;
  friend bool operator==(const PortName&, const PortName&) = default;
  friend bool operator<(const PortName& a, const PortName& b) {
    return std::tie(a.host, a.port) < std::tie(b.host, b.port);
  }
};

struct DomainName {
  std::string first;
  std::string second;
  friend auto operator<=>(const DomainName&, const DomainName&) = default;
};

// Both bounds inclusive.
struct NumberRange {
  U32 low = 0;
  U32 high = 0;
  friend auto operator<=>(const NumberRange&, const NumberRange&) = default;
};

struct RangeMapping {
  NumberRange vlan;
  NumberRange vni;
  friend bool operator==(const RangeMapping&, const RangeMapping&) = default;
};

struct GroupMembers {
  std::string group;
  std::vector<std::string> ports;
  friend bool operator==(const GroupMembers&, const GroupMembers&) = default;
};

// What a client asks for on the hosts of one hostname.
struct HostRequestName {
  std::string client;
  std::string hostname;
  friend bool operator==(const HostRequestName&, const HostRequestName&) = default;
  friend bool operator<(const HostRequestName& a, const HostRequestName& b) {
    return std::tie(a.client, a.hostname) < std::tie(b.client, b.hostname);
  }
};

// What a client asks for on one port of one switch.
struct PortRequestName {
  std::string client;
  std::string switchName;
  std::string interface;
  friend bool operator==(const PortRequestName&, const PortRequestName&) = default;
  friend bool operator<(const PortRequestName& a, const PortRequestName& b) {
    return std::tie(a.client, a.switchName, a.interface) <
           std::tie(b.client, b.switchName, b.interface);
  }
};

using RequestName = std::variant<HostRequestName, PortRequestName>;

enum class MountFlag : U8 { topology, portVlanConfig, dynVtepConfig, dynVtepStatus, ready };

// By the number of the flag.
inline constexpr std::array<const char*, 5> mountFlagNames = {
    "topology", "portVlanConfig", "dynVtepConfig", "dynVtepStatus", "ready"};

// What an earlier run left in a switch's outputs: parts, each at most once, in the order in which
// they are filled in. A list of VLANs is a text such as "1-3,5"; a VLAN or VNI may be out of range
// here, which shows when it is filled in.
struct AllowedVlanLists {
  std::vector<std::pair<std::string, std::string>> listOfPort;
  friend bool operator==(const AllowedVlanLists&, const AllowedVlanLists&) = default;
};
struct NativeVlans {
  std::vector<std::pair<std::string, U32>> vlanOfPort;
  friend bool operator==(const NativeVlans&, const NativeVlans&) = default;
};
struct SwitchVlanList {
  std::string list;
  friend bool operator==(const SwitchVlanList&, const SwitchVlanList&) = default;
};
struct VniMapping {
  std::string port;
  U32 vlan = 0;
  U32 vni = 0;
  friend bool operator==(const VniMapping&, const VniMapping&) = default;
};
struct VtepMappings {
  std::vector<std::pair<std::string, std::vector<VniMapping>>> mappingsOfVtep;
  friend bool operator==(const VtepMappings&, const VtepMappings&) = default;
};
using OutputPart = std::variant<AllowedVlanLists, NativeVlans, SwitchVlanList, VtepMappings>;
using Outputs = std::vector<OutputPart>;

// What a handler is given. The last is for a handler with two parameters.
struct TextAndNumber {
  std::string text;
  U32 number = 0;
  friend bool operator==(const TextAndNumber&, const TextAndNumber&) = default;
};
using HandlerKey = std::variant<std::monostate, std::string, U32, DomainName, TextAndNumber>;

}  // namespace Fabrion::Host
