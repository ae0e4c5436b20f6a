#include "host/FabricIndex.h"

namespace Fabrion::Host {

namespace {

template <class Map, class Key>
auto found(const Map& map, const Key& key) -> typename Map::mapped_type {
  const auto at = map.find(key);
  return at == map.end() ? nullptr : at->second;
}

template <class Map, class Key>
const typename Map::mapped_type& listed(const Map& map, const Key& key) {
  static const typename Map::mapped_type none;
  const auto at = map.find(key);
  return at == map.end() ? none : at->second;
}

}  // namespace

FabricIndex::FabricIndex(const Fabric& fabric) {
  for (const Node& node : fabric.switches) {
    addNode(node);
    switches_.emplace(node.name, &node);
  }
  for (const Node& node : fabric.hosts) addNode(node);
  for (const PortRequest& request : fabric.portRequests) {
    portRequests_.emplace(PortKey{request.client, request.switchName, request.port}, &request);
    onPort_[{request.switchName, request.port}].push_back(&request);
    for (const std::string& host : request.remoteHosts) withRemoteHost_[host].push_back(&request);
  }
  for (const HostnameRequest& request : fabric.hostnameRequests) {
    hostnameRequests_.emplace(HostnameKey{request.client, request.hostname}, &request);
  }
  for (const StaticMap& map : fabric.staticMaps) maps_.emplace(map.domain, &map);
  std::set<std::pair<LinkEnd, LinkEnd>> seen;
  const auto addEnd = [&](const LinkEnd& near, const LinkEnd& far) {
    if (seen.emplace(near, far).second) farEnds_[near].push_back(far);
  };
  for (const Link& link : fabric.links) {
    addEnd(link.a, link.b);
    addEnd(link.b, link.a);
  }
}

void FabricIndex::addNode(const Node& node) {
  nodes_.emplace(node.name, &node);
  ofHostname_[node.hostname].push_back(&node);
  for (const PortGroup& group : node.groups) {
    for (const std::string& port : group.members) members_.insert({node.name, port});
  }
}

const Node* FabricIndex::node(std::string_view name) const { return found(nodes_, name); }

const Node* FabricIndex::switchOf(std::string_view name) const { return found(switches_, name); }

const PortRequest* FabricIndex::request(const PortRequest& like) const {
  return found(portRequests_, PortKey{like.client, like.switchName, like.port});
}

const HostnameRequest* FabricIndex::request(const HostnameRequest& like) const {
  return found(hostnameRequests_, HostnameKey{like.client, like.hostname});
}

const StaticMap* FabricIndex::map(const DomainName& domain) const { return found(maps_, domain); }

const std::vector<const PortRequest*>& FabricIndex::requestsOn(const LinkEnd& port) const {
  return listed(onPort_, port);
}

const std::vector<const PortRequest*>& FabricIndex::withRemoteHost(
    const std::string& hostname) const {
  return listed(withRemoteHost_, hostname);
}

const std::vector<const Node*>& FabricIndex::nodesOf(const std::string& hostname) const {
  return listed(ofHostname_, hostname);
}

}  // namespace Fabrion::Host
