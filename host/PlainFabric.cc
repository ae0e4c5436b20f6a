#include "host/PlainFabric.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Fabrion::Host {

namespace {

class Making {
 public:
  explicit Making(const std::vector<std::string>& files) {
    for (const std::string& file : files) {
      files_.push_back(std::make_shared<const std::string>(file));
    }
  }

  Fabric make(const WrittenFabric& written) const {
    Fabric fabric;
    for (const auto& each : written.switches) fabric.switches.push_back(node(each));
    for (const auto& each : written.hosts) fabric.hosts.push_back(node(each));
    for (const WrittenLink& link : written.links) {
      fabric.links.push_back({{link.a->node.text, link.a->port.text},
                              {link.b->node.text, link.b->port.text},
                              origin(link.place)});
    }
    for (const WrittenRequest& request : written.requests) {
      if (request.hostname) {
        fabric.hostnameRequests.push_back(hostnameRequest(request));
      } else {
        fabric.portRequests.push_back(portRequest(request));
      }
    }
    for (const auto& each : written.staticMaps) fabric.staticMaps.push_back(staticMap(each));
    std::sort(fabric.staticMaps.begin(), fabric.staticMaps.end(),
              [](const StaticMap& a, const StaticMap& b) { return a.domain < b.domain; });
    return fabric;
  }

 private:
  Origin origin(Place place) const { return {files_.at(place.document), place.line}; }

  static std::vector<std::string> texts(const std::vector<Word>& words) {
    std::vector<std::string> result;
    result.reserve(words.size());
    for (const Word& word : words) result.push_back(word.text);
    return result;
  }

  Node node(const WrittenNode& written) const {
    Node node{written.name.text,         written.hostname.text, texts(written.ports), {}, {},
              origin(written.name.place)};
    for (const WrittenGroup& group : written.groups) {
      node.groups.push_back({group.name.text, texts(group.members), origin(group.name.place)});
    }
    for (const Word& vtep : written.vteps) node.vteps.push_back({vtep.text, origin(vtep.place)});
    return node;
  }

  template <class Request>
  void addVlans(const WrittenRequest& written, Request& request) const {
    for (const WrittenRange& each : written.vlans) {
      const NumberRange range = each.range;
      for (U32 vlan = range.low; vlan <= range.high; ++vlan) request.vlans.push_back(vlan);
    }
    auto& lines = request.vlanOrigins.lines;
    for (const auto& [range, place] : written.vlansByLine) {
      if (lines.empty() || lines.back().origin.line != place.line) {
        lines.push_back({origin(place), {}});
      }
      lines.back().vlans.push_back(range);
    }
    for (const WrittenVnis& each : written.vnis) {
      const NumberRange vlans = each.vlans.range;
      for (const auto& [vnis, place] : each.vnis) {
        for (U32 vlan = vlans.low; vlan <= vlans.high; ++vlan) {
          request.vnis.push_back({vlan, vnis.low + (vlan - vlans.low), origin(place)});
        }
      }
    }
    for (const WrittenDomains& each : written.domains) {
      const auto& on = each.vlans ? *each.vlans : written.vlans;
      for (const auto& [domain, place] : each.domains) {
        for (const WrittenRange& vlans : on) {
          for (U32 vlan = vlans.range.low; vlan <= vlans.range.high; ++vlan) {
            request.domains.push_back({vlan, domain, origin(place)});
          }
        }
      }
    }
    std::sort(request.vnis.begin(), request.vnis.end());
    std::sort(request.domains.begin(), request.domains.end());
  }

  PortRequest portRequest(const WrittenRequest& written) const {
    PortRequest request{written.client->text, written.switchName->text,  written.port->text, {},
                        written.nativeVlan,   texts(written.remoteHosts)};
    request.origin = origin(written.place);
    if (written.nativeVlan) request.nativeOrigin = origin(written.nativePlace);
    addVlans(written, request);
    return request;
  }

  HostnameRequest hostnameRequest(const WrittenRequest& written) const {
    HostnameRequest request{written.client->text, written.hostname->text, {}};
    request.origin = origin(written.place);
    addVlans(written, request);
    return request;
  }

  StaticMap staticMap(const WrittenStaticMap& written) const {
    StaticMap map{written.domain.name, {}, origin(written.domain.place)};
    for (const auto& [vlans, vnis] : written.ranges) {
      map.ranges.push_back({vlans.range, vnis.range, origin(vlans.place)});
    }
    std::sort(map.ranges.begin(), map.ranges.end());
    return map;
  }

  std::vector<std::shared_ptr<const std::string>> files_;
};

}  // namespace

Fabric plainFabric(const WrittenFabric& written, const std::vector<std::string>& files) {
  return Making(files).make(written);
}

}  // namespace Fabrion::Host
