#pragma once
// Finds what belongs together in a fabric by its names. `FabricChange.h` looks at everything from
// both sides of a step; walking the lists of `Fabric.h` each time would take it minutes for a
// fabric of tens of thousands of hosts.

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/Fabric.h"

namespace Fabrion::Host {

class FabricIndex {
 public:
  // `fabric` is kept by reference and stays as it is. O(n log n).
  explicit FabricIndex(const Fabric& fabric);
  FabricIndex(const FabricIndex&) = delete;
  FabricIndex& operator=(const FabricIndex&) = delete;

  // What is not there is null, or an empty list. Lists stand in the order written. O(log n).
  const Node* node(std::string_view name) const;
  const Node* switchOf(std::string_view name) const;
  const PortRequest* request(const PortRequest& like) const;
  const HostnameRequest* request(const HostnameRequest& like) const;
  const StaticMap* map(const DomainName& domain) const;
  const std::vector<const PortRequest*>& requestsOn(const LinkEnd& port) const;
  const std::vector<const PortRequest*>& withRemoteHost(const std::string& hostname) const;
  const std::vector<const Node*>& nodesOf(const std::string& hostname) const;
  bool isMember(const LinkEnd& port) const { return members_.contains(port); }

  // The far ends of each port with a link, each once, in the order written.
  const std::map<LinkEnd, std::vector<LinkEnd>>& farEnds() const { return farEnds_; }

 private:
  using PortKey = std::tuple<std::string_view, std::string_view, std::string_view>;
  using HostnameKey = std::pair<std::string_view, std::string_view>;

  void addNode(const Node& node);

  std::unordered_map<std::string_view, const Node*> nodes_;
  std::unordered_map<std::string_view, const Node*> switches_;
  std::map<PortKey, const PortRequest*> portRequests_;
  std::map<HostnameKey, const HostnameRequest*> hostnameRequests_;
  std::map<DomainName, const StaticMap*> maps_;
  std::map<LinkEnd, std::vector<const PortRequest*>> onPort_;
  std::unordered_map<std::string_view, std::vector<const PortRequest*>> withRemoteHost_;
  std::unordered_map<std::string_view, std::vector<const Node*>> ofHostname_;
  std::set<LinkEnd> members_;
  std::map<LinkEnd, std::vector<LinkEnd>> farEnds_;
};

}  // namespace Fabrion::Host
