#include "host/RequestParser.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/Counted.h"
#include "host/FabricText.h"
#include "host/Limits.h"

namespace Fabrion::Host {

namespace {

// Each VLAN once, rising. A VLAN that stands in two ranges is put down to one of them.
std::vector<WrittenRange> merged(std::vector<WrittenRange> written) {
  std::stable_sort(
      written.begin(), written.end(),
      [](const WrittenRange& a, const WrittenRange& b) { return a.range.low < b.range.low; });
  std::vector<WrittenRange> runs;
  U32 next = 1;
  for (const auto& [range, place] : written) {
    const U32 low = std::max(range.low, next);
    if (low > range.high) continue;
    runs.push_back({{low, range.high}, place});
    next = range.high + 1;
  }
  return runs;
}

// The same for the ranges of each line by itself, by line.
std::vector<WrittenRange> mergedByLine(std::vector<WrittenRange> written) {
  const auto before = [](const WrittenRange& a, const WrittenRange& b) {
    return a.place.line < b.place.line;
  };
  std::stable_sort(written.begin(), written.end(), before);
  std::vector<WrittenRange> all;
  for (auto line = written.begin(); line != written.end();) {
    const auto end = std::upper_bound(line, written.end(), *line, before);
    const std::vector<WrittenRange> runs = merged({line, end});
    all.insert(all.end(), runs.begin(), runs.end());
    line = end;
  }
  return all;
}

std::size_t countOf(const std::vector<WrittenRange>& runs) {
  std::size_t count = 0;
  for (const WrittenRange& run : runs) count += lengthOf(run.range);
  return count;
}

// Reads one request.
class RequestParser {
 public:
  RequestParser(YamlShapes& shapes, WrittenFabric& fabric) : shapes_(shapes), fabric_(fabric) {}

  void read(const YamlValue& node, Place place);

 private:
  using Key = YamlShapes::Key;

  void wrong(Place place, std::string text) { shapes_.wrong(place, std::move(text)); }
  Key word(std::string_view key, const char* what, std::optional<Word>& to);
  void readVlans(const YamlValue& value, Place at);
  // The VLANs of one scalar; false, and said why, where they could not be read.
  bool vlansOf(const YamlValue& node, Place place, std::vector<WrittenRange>& to);
  void readNative(const YamlValue& value, Place at);
  void readRemoteHosts(const YamlValue& value, Place at);
  void readVnis(const YamlValue& value, Place at);
  void vnisOf(const WrittenRange& vlans, const YamlValue& value);
  void readDomains(const YamlValue& value, Place at);
  void domainsOf(WrittenDomains domains, const YamlValue& value);
  void countDomains();
  void demandKeys();

  YamlShapes& shapes_;
  WrittenFabric& fabric_;
  WrittenRequest request_;
  std::map<std::string_view, Place> written_;
};

void RequestParser::read(const YamlValue& node, Place place) {
  request_.place = shapes_.placeOf(node, place);
  const auto key = [this](std::string_view name,
                          void (RequestParser::*take)(const YamlValue&, Place)) {
    return Key{name, [this, name, take](const YamlValue& value, Place at) {
                 written_.emplace(name, at);
                 (this->*take)(value, at);
               }};
  };
  const auto readPort = [&](const YamlValue& value, Place at) {
    written_.emplace("port", at);
    request_.port = shapes_.portName(value, at, "the port of a request");
  };
  const bool right = shapes_.keys(node, place, "a request",
                                  {word("client", "the client of a request", request_.client),
                                   word("switch", "the switch of a request", request_.switchName),
                                   {"port", readPort},
                                   word("hostname", "the hostname of a request", request_.hostname),
                                   key("vlans", &RequestParser::readVlans),
                                   key("native", &RequestParser::readNative),
                                   key("remote hosts", &RequestParser::readRemoteHosts),
                                   key("vnis", &RequestParser::readVnis),
                                   key("domains", &RequestParser::readDomains)});
  if (!node.isMap()) return;
  countDomains();
  // A key that is missing next to an unknown one is most likely that one, misspelt.
  if (right) {
    demandKeys();
  } else {
    request_.allVlans = false;
  }
  fabric_.requests.push_back(std::move(request_));
}

YamlShapes::Key RequestParser::word(std::string_view key, const char* what,
                                    std::optional<Word>& to) {
  return Key{key, [this, &to, key, what](const YamlValue& value, Place at) {
               written_.emplace(key, at);
               to = shapes_.name(value, at, what);
             }};
}

// ---- VLANs, native VLAN, remote hosts

bool RequestParser::vlansOf(const YamlValue& node, Place place, std::vector<WrittenRange>& to) {
  const auto text = shapes_.scalar(node, place, "VLANs");
  if (!text) return false;
  const Place own = shapes_.placeOf(node, place);
  std::vector<NumberRange> ranges;
  if (const auto fault = parseVlans(*text, ranges)) {
    wrong(own, fault->text);
    return false;
  }
  for (const NumberRange& range : ranges) to.push_back({range, own});
  return true;
}

void RequestParser::readVlans(const YamlValue& value, Place at) {
  std::vector<WrittenRange> all;
  const bool shape =
      shapes_.oneOrMore(value, at, "the VLANs", [&](const YamlValue& each, Place where) {
        if (!vlansOf(each, where, all)) request_.allVlans = false;
      });
  std::vector<WrittenRange> byLine = mergedByLine(all);
  all = merged(std::move(all));
  const std::size_t once = countOf(all);
  const std::size_t again = countOf(byLine) - once;
  // A long list of few VLANs costs time, if not memory, and aliases may repeat it.
  const std::size_t cost = std::max(once + again * Limits::vlanAgain, value.values.size());
  if (shape &&
      shapes_.spend(fabric_.vlans, cost, Limits::vlans, shapes_.placeOf(value, at), "VLANs")) {
    request_.vlans = std::move(all);
    request_.vlansByLine = std::move(byLine);
  } else {
    request_.allVlans = false;
  }
}

void RequestParser::readNative(const YamlValue& value, Place at) {
  const auto text = shapes_.scalar(value, at, "the native VLAN");
  if (!text) return;
  const auto vlan = parseVlan(*text);
  request_.nativePlace = shapes_.placeOf(value, at);
  if (const auto* fault = std::get_if<Wrong>(&vlan)) {
    wrong(request_.nativePlace, fault->text);
  } else {
    request_.nativeVlan = std::get<U32>(vlan);
  }
}

void RequestParser::readRemoteHosts(const YamlValue& value, Place at) {
  shapes_.oneOrMore(value, at, "the remote hosts", [&](const YamlValue& each, Place where) {
    auto host = shapes_.name(each, where, "a remote host");
    if (host && shapes_.spend(fabric_.names, 1, Limits::names, host->place, "names")) {
      request_.remoteHosts.push_back(*std::move(host));
    }
  });
}

// ---- VNIs and domains

void RequestParser::readVnis(const YamlValue& value, Place at) {
  if (!value.isMap()) {
    wrong(shapes_.placeOf(value, at), kindOf(value) +
                                          " as the VNIs of a request; expected a map from VLANs "
                                          "to VNIs, as in {100-109: 10100-10109}");
    return;
  }
  for (const auto& [key, vnis] : value.entries()) {
    if (const auto vlans = shapes_.vlanRange(key, at)) vnisOf(*vlans, vnis);
  }
}

void RequestParser::vnisOf(const WrittenRange& vlans, const YamlValue& value) {
  const std::string of = "the VNIs of VLAN " + toString(vlans.range);
  const std::size_t length = lengthOf(vlans.range);
  WrittenVnis read{vlans, {}};
  shapes_.oneOrMore(value, vlans.place, of, [&](const YamlValue& each, Place where) {
    const auto vnis = shapes_.vniRange(each, where);
    if (!vnis) return;
    if (lengthOf(vnis->range) != length) {
      wrong(vnis->place, counted(lengthOf(vnis->range), "VNI", "VNIs") + ", " +
                             toString(vnis->range) + ", for " + counted(length, "VLAN", "VLANs") +
                             ", " + toString(vlans.range) +
                             "; expected as many VNIs as VLANs, or a list where one VLAN is asked "
                             "several VNIs");
      return;
    }
    if (shapes_.spend(fabric_.vnis, length, Limits::vnis, vnis->place, "VNIs")) {
      read.vnis.push_back(*vnis);
    }
  });
  request_.vnis.push_back(std::move(read));
}

void RequestParser::readDomains(const YamlValue& value, Place at) {
  const Place place = shapes_.placeOf(value, at);
  if (!value.isMap()) return domainsOf({place, std::nullopt, {}}, value);
  for (const auto& [key, domains] : value.entries()) {
    std::vector<WrittenRange> vlans;
    if (vlansOf(key, at, vlans)) {
      domainsOf({shapes_.placeOf(key, at), merged(std::move(vlans)), {}}, domains);
    }
  }
}

void RequestParser::domainsOf(WrittenDomains domains, const YamlValue& value) {
  shapes_.oneOrMore(value, domains.place, "the domains", [&](const YamlValue& each, Place where) {
    auto domain = shapes_.domain(each, where);
    if (domain) domains.domains.push_back(*std::move(domain));
  });
  request_.domains.push_back(std::move(domains));
}

// One for each VLAN that has it. Last, since the VLANs may be written behind.
void RequestParser::countDomains() {
  for (WrittenDomains& each : request_.domains) {
    const std::size_t vlans = countOf(each.vlans ? *each.vlans : request_.vlans);
    const std::size_t many = std::max(vlans, std::size_t{1}) * each.domains.size();
    if (!shapes_.spend(fabric_.domains, many, Limits::domains, each.place, "domains")) {
      each.domains.clear();
    }
  }
}

// ---- The keys of a request

void RequestParser::demandKeys() {
  const Place place = request_.place;
  const auto has = [&](std::string_view key) { return written_.contains(key); };
  const auto demand = [&](bool met, const char* text) {
    if (!met) wrong(place, text);
  };
  demand(has("client"), "a request of nobody; expected the key 'client'");
  if (has("hostname")) {
    for (const std::string_view key : {"switch", "port", "native", "remote hosts"}) {
      if (!has(key)) continue;
      wrong(written_.at(key), "'" + std::string(key) +
                                  "' in a request for a hostname; expected it in a request on a "
                                  "port of a switch alone");
    }
    demand(has("vlans"), "a request for a hostname without VLANs; expected the key 'vlans'");
    return;
  }
  if (has("switch") || has("port")) {
    demand(has("switch"), "a request on a port without its switch; expected the key 'switch'");
    demand(has("port"), "a request on a switch without a port; expected the key 'port'");
    demand(has("vlans") || has("native") || has("remote hosts"),
           "a request for nothing; expected 'vlans', 'native' or 'remote hosts'");
  } else {
    demand(false, "a request without a place; expected 'hostname', or 'switch' and 'port'");
  }
  if (has("vlans") || !(has("native") || has("remote hosts"))) return;
  for (const std::string_view key : {"vnis", "domains"}) {
    if (!has(key)) continue;
    wrong(written_.at(key), "'" + std::string(key) +
                                "' in a request without VLANs; expected the key 'vlans' beside "
                                "it");
    request_.allVlans = false;
  }
}

}  // namespace

void readRequests(const YamlValue& node, Place place, YamlShapes& shapes, WrittenFabric& fabric) {
  shapes.list(node, place, "the requests", [&](const YamlValue& each, Place at) {
    RequestParser(shapes, fabric).read(each, at);
  });
}

}  // namespace Fabrion::Host
