#include "host/WhyIndex.h"

namespace Fabrion::Host {

namespace {

template <class Map, class Key>
const auto& listAt(const Map& map, const Key& key) {
  static const typename Map::mapped_type none;
  const auto found = map.find(key);
  return found == map.end() ? none : found->second;
}

template <class Request>
const Request* ofClient(const std::string& client, const std::vector<const Request*>& requests) {
  for (const Request* request : requests) {
    if (request->client == client) return request;
  }
  return nullptr;
}

}  // namespace

WhyIndex::WhyIndex(const Fabric& fabric) : fabric_(fabric), index_(fabric) {
  for (const Link& link : fabric.links) {
    links_[link.a].push_back({link.b, link.origin});
    links_[link.b].push_back({link.a, link.origin});
  }
  for (const HostnameRequest& request : fabric.hostnameRequests) {
    forHostname_[request.hostname].push_back(&request);
  }
}

const std::vector<WhyIndex::FarLink>& WhyIndex::links(const LinkEnd& port) const {
  return listAt(links_, port);
}

const std::vector<const HostnameRequest*>& WhyIndex::requestsFor(
    const std::string& hostname) const {
  return listAt(forHostname_, hostname);
}

const PortRequest* WhyIndex::request(const std::string& client, const LinkEnd& port) const {
  return ofClient(client, requests(port));
}

const HostnameRequest* WhyIndex::request(const std::string& client,
                                         const std::string& hostname) const {
  return ofClient(client, requestsFor(hostname));
}

const StaticRange* rangeOf(const StaticMap& map, U32 vlan) {
  for (const StaticRange& range : map.ranges) {
    if (range.vlans.low <= vlan && vlan <= range.vlans.high) return &range;
  }
  return nullptr;
}

}  // namespace Fabrion::Host
