#pragma once
// A fabric as people write it down: switches and hosts with their ports, the links between them,
// what clients ask for, and the static maps from VLANs to VNIs. Plain values, in the order written
// but where it means nothing. `FabricDocument.h` reads them from YAML, `FabricChange.h` turns the
// step from one fabric to another into operations.

#include <compare>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/OperationValues.h"
#include "platform/Velo/Types.h"

namespace Fabrion::Host {

// Where a value stands in a document, to tell people of it. Two fabrics that say the same are equal
// wherever it stands, and a change of lines alone is no change of the fabric; so all origins are
// equal.
struct Origin {
  std::shared_ptr<const std::string> file = {};  // as given, one text for all; null for none
  U32 line = 0;                                  // from 1
  friend bool operator==(const Origin&, const Origin&) { return true; }
  friend std::strong_ordering operator<=>(const Origin&, const Origin&) {
    return std::strong_ordering::equal;
  }
};

// `FILE:LINE`, or nothing for a value that stands in no document.
std::string toString(const Origin& origin);

struct PortGroup {
  std::string name;
  std::vector<std::string> members;
  Origin origin = {};
  friend bool operator==(const PortGroup&, const PortGroup&) = default;
};

// A VTEP whose status is at a switch.
struct Vtep {
  std::string name;
  Origin origin = {};
  friend bool operator==(const Vtep&, const Vtep&) = default;
};

// A switch or a host.
struct Node {
  std::string name;
  std::string hostname;  // by which clients address it
  std::vector<std::string> ports;
  std::vector<PortGroup> groups;
  // Of a switch alone. The order counts: the first one that comes is the one that all later changes
  // of VNIs reach.
  std::vector<Vtep> vteps = {};
  Origin origin = {};
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
  Origin origin = {};
  friend auto operator<=>(const Link&, const Link&) = default;
};

// What a request asks for on one of its VLANs.
struct VlanVni {
  U32 vlan = 0;
  U32 vni = 0;  // 1 to 16777215
  Origin origin = {};
  friend auto operator<=>(const VlanVni&, const VlanVni&) = default;
};
struct VlanDomain {
  U32 vlan = 0;
  DomainName domain;
  Origin origin = {};
  friend auto operator<=>(const VlanDomain&, const VlanDomain&) = default;
};

// Where each VLAN of a request stands. Several lines may ask for one. Equal as origins are.
struct VlanOrigins {
  struct Line {
    Origin origin;
    std::vector<NumberRange> vlans;  // rising, no two hold the same VLAN
  };
  std::vector<Line> lines;  // rising

  // The lines that ask for it, rising; none where the VLAN is not among them. O(lines log n).
  std::vector<Origin> of(U32 vlan) const;

  friend bool operator==(const VlanOrigins&, const VlanOrigins&) { return true; }
};

struct PortRequest {
  std::string client;
  std::string switchName;
  std::string port;
  std::vector<U32> vlans;  // rising, 1 to 4094
  std::optional<U32> nativeVlan;
  std::vector<std::string> remoteHosts;
  std::vector<VlanVni> vnis = {};        // rising; of VLANs among `vlans`, as the domains
  std::vector<VlanDomain> domains = {};  // rising
  Origin origin = {};
  Origin nativeOrigin = {};
  VlanOrigins vlanOrigins = {};
  friend bool operator==(const PortRequest&, const PortRequest&) = default;
};

struct HostnameRequest {
  std::string client;
  std::string hostname;
  std::vector<U32> vlans;                // rising, 1 to 4094
  std::vector<VlanVni> vnis = {};        // as above
  std::vector<VlanDomain> domains = {};  // as above
  Origin origin = {};
  VlanOrigins vlanOrigins = {};
  friend bool operator==(const HostnameRequest&, const HostnameRequest&) = default;
};

// VNIs of a domain by VLAN. The VNI of a VLAN is as far from the lower bound as the VLAN is.
struct StaticRange {
  NumberRange vlans;
  NumberRange vnis;  // as long as `vlans` or longer
  Origin origin = {};
  friend auto operator<=>(const StaticRange&, const StaticRange&) = default;
};

struct StaticMap {
  DomainName domain;
  std::vector<StaticRange> ranges;  // rising, no two hold the same VLAN
  Origin origin = {};
  friend bool operator==(const StaticMap&, const StaticMap&) = default;
};

struct Fabric {
  std::vector<Node> switches;
  std::vector<Node> hosts;
  std::vector<Link> links;
  std::vector<PortRequest> portRequests;
  std::vector<HostnameRequest> hostnameRequests;
  std::vector<StaticMap> staticMaps = {};  // by domain
  friend bool operator==(const Fabric&, const Fabric&) = default;
};

}  // namespace Fabrion::Host
