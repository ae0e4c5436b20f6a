#pragma once
// A fabric as people write it down: switches and hosts with their ports, the links between them,
// and what clients ask for. Plain values in the order written. `FabricDocument.h` reads them from
// YAML, `FabricChange.h` turns the step from one fabric to another into operations.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Velo/Types.h"

namespace Fabrion::Host {

struct PortGroup {
  std::string name;
  std::vector<std::string> members;
  friend bool operator==(const PortGroup&, const PortGroup&) = default;
};

// A switch or a host.
struct Node {
  std::string name;
  std::string hostname;  // by which clients address it
  std::vector<std::string> ports;
  std::vector<PortGroup> groups;
  friend bool operator==(const Node&, const Node&) = default;
};

struct LinkEnd {
  std::string node;
  std::string port;
  friend auto operator<=>(const LinkEnd&, const LinkEnd&) = default;
};

// One cable, both directions.
struct Link {
  LinkEnd a;
  LinkEnd b;
  friend auto operator<=>(const Link&, const Link&) = default;
};

struct PortRequest {
  std::string client;
  std::string switchName;
  std::string port;
  std::vector<U32> vlans;  // rising, 1 to 4094
  std::optional<U32> nativeVlan;
  std::vector<std::string> remoteHosts;
  friend bool operator==(const PortRequest&, const PortRequest&) = default;
};

struct HostnameRequest {
  std::string client;
  std::string hostname;
  std::vector<U32> vlans;  // rising, 1 to 4094
  friend bool operator==(const HostnameRequest&, const HostnameRequest&) = default;
};

struct Fabric {
  std::vector<Node> switches;
  std::vector<Node> hosts;
  std::vector<Link> links;
  std::vector<PortRequest> portRequests;
  std::vector<HostnameRequest> hostnameRequests;
  friend bool operator==(const Fabric&, const Fabric&) = default;
};

}  // namespace Fabrion::Host
