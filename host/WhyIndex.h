#pragma once
// `FabricIndex.h`, and what explanations alone look up: where each link stands, and what all
// clients ask for on one hostname.

#include <map>
#include <string>
#include <vector>

#include "host/FabricIndex.h"

namespace Fabrion::Host {

class WhyIndex {
 public:
  // `fabric` is kept by reference and stays as it is. O(n log n).
  explicit WhyIndex(const Fabric& fabric);

  struct FarLink {
    LinkEnd end;
    Origin origin;
  };

  // What is not there is null, or an empty list. Lists stand in the order written. O(log n).
  const Node* node(const std::string& name) const { return index_.node(name); }
  bool isSwitch(const Node& node) const { return index_.switchOf(node.name) != nullptr; }
  const std::vector<const Node*>& nodesOf(const std::string& hostname) const {
    return index_.nodesOf(hostname);
  }
  const std::vector<const PortRequest*>& requests(const LinkEnd& port) const {
    return index_.requestsOn(port);
  }
  const StaticMap* map(const DomainName& domain) const { return index_.map(domain); }
  const std::vector<FarLink>& links(const LinkEnd& port) const;
  const std::vector<const HostnameRequest*>& requestsFor(const std::string& hostname) const;
  // O(clients on the port, or on the hostname).
  const PortRequest* request(const std::string& client, const LinkEnd& port) const;
  const HostnameRequest* request(const std::string& client, const std::string& hostname) const;

  const Fabric& fabric() const { return fabric_; }

 private:
  const Fabric& fabric_;
  const FabricIndex index_;
  std::map<LinkEnd, std::vector<FarLink>> links_;
  std::map<std::string, std::vector<const HostnameRequest*>> forHostname_;
};

// The range that gives the VLAN its VNI; null for none. O(ranges).
const StaticRange* rangeOf(const StaticMap& map, U32 vlan);

}  // namespace Fabrion::Host
