#include "host/FabricYaml.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace Fabrion::Host {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Plain where YAML cannot take it for anything but a text.
std::string scalar(std::string_view text) {
  const bool plain =
      !text.empty() && isLetter(text.front()) && text != "null" && text != "Null" &&
      text != "NULL" && std::all_of(text.begin(), text.end(), [](char c) {
        return isLetter(c) || isDigit(c) || c == '-' || c == '_' || c == '.' || c == '/';
      });
  if (plain) return std::string(text);
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string list(const std::vector<std::string>& entries) {
  std::string text;
  for (const std::string& entry : entries) text += (text.empty() ? "" : ", ") + entry;
  return "[" + text + "]";
}

std::string map(const std::vector<std::string>& entries) {
  const std::string text = list(entries);
  return "{" + text.substr(1, text.size() - 2) + "}";
}

// One entry stands for itself, several as a list.
std::string oneOrList(const std::vector<std::string>& entries) {
  return entries.size() == 1 ? entries.front() : list(entries);
}

// A port's name up to its last digits, and these as a number.
struct PortParts {
  std::string_view word;
  U32 number = 0;
  bool isNumbered = false;
};

PortParts partsOf(std::string_view port) {
  std::size_t at = port.size();
  while (at > 0 && isDigit(port[at - 1])) --at;
  const std::string_view digits = port.substr(at);
  PortParts parts{port.substr(0, at)};
  // What a range cannot stand for: numbers with zeros in front, or longer than it may have them.
  if (digits.empty() || digits.size() > 9 || (digits.size() > 1 && digits[0] == '0')) return parts;
  std::from_chars(digits.data(), digits.data() + digits.size(), parts.number);
  parts.isNumbered = true;
  return parts;
}

std::string portsText(const std::vector<std::string>& ports) {
  constexpr std::size_t longest = 4096;  // that one range may be
  std::vector<std::string> entries;
  for (std::size_t first = 0; first < ports.size();) {
    const PortParts parts = partsOf(ports[first]);
    std::size_t end = first + 1;
    while (parts.isNumbered && end < ports.size() && end - first < longest) {
      const PortParts next = partsOf(ports[end]);
      if (!next.isNumbered || next.word != parts.word ||
          next.number != parts.number + (end - first))
        break;
      ++end;
    }
    if (end - first > 1) {
      entries.push_back(scalar(std::string(parts.word) + '[' + std::to_string(parts.number) + '-' +
                               std::to_string(parts.number + (end - first) - 1) + ']'));
    } else {
      entries.push_back(scalar(ports[first]));
    }
    first = end;
  }
  return oneOrList(entries);
}

std::string rangeText(U32 low, U32 high) {
  return low == high ? std::to_string(low) : std::to_string(low) + '-' + std::to_string(high);
}

std::string vlansText(const std::vector<U32>& vlans) {
  std::vector<std::string> entries;
  for (std::size_t first = 0; first < vlans.size();) {
    std::size_t end = first + 1;
    while (end < vlans.size() && vlans[end] == vlans[first] + (end - first)) ++end;
    entries.push_back(rangeText(vlans[first], vlans[end - 1]));
    first = end;
  }
  return oneOrList(entries);
}

// VLANs in a row whose VNIs are in a row as well stand as ranges, unless one has several VNIs.
std::string vnisText(const std::vector<VlanVni>& vnis) {
  std::vector<std::string> entries;
  const auto isAlone = [&](std::size_t i) {
    return (i == 0 || vnis[i - 1].vlan != vnis[i].vlan) &&
           (i + 1 == vnis.size() || vnis[i + 1].vlan != vnis[i].vlan);
  };
  for (std::size_t first = 0; first < vnis.size();) {
    const auto [vlan, vni, origin] = vnis[first];
    std::size_t end = first + 1;
    if (isAlone(first)) {
      while (end < vnis.size() && isAlone(end) && vnis[end].vlan == vlan + (end - first) &&
             vnis[end].vni == vni + (end - first)) {
        ++end;
      }
      entries.push_back(rangeText(vlan, vnis[end - 1].vlan) + ": " +
                        rangeText(vni, vnis[end - 1].vni));
    } else {
      std::vector<std::string> several = {std::to_string(vni)};
      for (; end < vnis.size() && vnis[end].vlan == vlan; ++end) {
        several.push_back(std::to_string(vnis[end].vni));
      }
      entries.push_back(std::to_string(vlan) + ": " + list(several));
    }
    first = end;
  }
  return map(entries);
}

// As FIRST/SECOND unless it would be split elsewhere.
std::string domainText(const DomainName& domain) {
  if (domain.first.find('/') != std::string::npos || domain.first.empty()) {
    return list({scalar(domain.first), scalar(domain.second)});
  }
  return scalar(domain.second.empty() ? domain.first : domain.first + '/' + domain.second);
}

std::string domainsText(const std::vector<std::string>& domains) {
  // A list of two texts by itself would be two domains.
  const bool plain = domains.size() == 1 && domains.front()[0] != '[';
  return plain ? domains.front() : list(domains);
}

// VLANs in a row with the same domains stand as one range, and all of the request's as none.
std::string domainsText(const std::vector<VlanDomain>& domains, std::size_t vlansOfRequest) {
  struct Run {
    U32 low;
    U32 high;
    std::vector<std::string> domains;
  };
  std::vector<Run> runs;
  std::size_t vlans = 0;
  for (std::size_t i = 0; i < domains.size();) {
    const U32 vlan = domains[i].vlan;
    std::vector<std::string> here;
    for (; i < domains.size() && domains[i].vlan == vlan; ++i) {
      here.push_back(domainText(domains[i].domain));
    }
    ++vlans;
    if (!runs.empty() && runs.back().high + 1 == vlan && runs.back().domains == here) {
      runs.back().high = vlan;
    } else {
      runs.push_back({vlan, vlan, std::move(here)});
    }
  }
  const auto same = [&](const Run& run) { return run.domains == runs.front().domains; };
  if (vlans == vlansOfRequest && std::all_of(runs.begin(), runs.end(), same)) {
    return domainsText(runs.front().domains);
  }
  std::vector<std::string> entries;
  for (const Run& run : runs) {
    entries.push_back(rangeText(run.low, run.high) + ": " + domainsText(run.domains));
  }
  return map(entries);
}

std::string mapText(const StaticMap& domain) {
  std::vector<std::string> entries;
  for (const StaticRange& range : domain.ranges) {
    entries.push_back(rangeText(range.vlans.low, range.vlans.high) + ": " +
                      rangeText(range.vnis.low, range.vnis.high));
  }
  return "  " + domainText(domain.domain) + ": " + map(entries) + '\n';
}

std::string nodeText(const Node& node) {
  std::vector<std::string> parts;
  if (node.hostname != node.name) parts.push_back("hostname: " + scalar(node.hostname));
  if (!node.ports.empty()) parts.push_back("ports: " + portsText(node.ports));
  if (!node.groups.empty()) {
    std::vector<std::string> groups;
    for (const PortGroup& group : node.groups) {
      groups.push_back(scalar(group.name) + ": " + portsText(group.members));
    }
    parts.push_back("groups: " + map(groups));
  }
  if (!node.vteps.empty()) {
    std::vector<std::string> vteps;
    for (const Vtep& vtep : node.vteps) vteps.push_back(scalar(vtep.name));
    parts.push_back("vteps: " + oneOrList(vteps));
  }
  std::string text = "  " + scalar(node.name) + ":";
  if (!parts.empty()) text += ' ' + map(parts);
  return text + "\n";
}

std::string endText(const LinkEnd& end) {
  if (end.node.find(':') != std::string::npos) return list({scalar(end.node), scalar(end.port)});
  const std::string node = scalar(end.node);
  const std::string port = scalar(end.port);
  // The ':' between two plain words is plain too; with quotes around either it stands inside them.
  if (node[0] != '"' && isLetter(port[0])) return node + ":" + port;
  return scalar(end.node + ":" + end.port);
}

template <class Request>
void addVlans(const Request& request, std::vector<std::string>& parts) {
  if (request.vlans.empty()) return;
  parts.push_back("vlans: " + vlansText(request.vlans));
  if (!request.vnis.empty()) parts.push_back("vnis: " + vnisText(request.vnis));
  if (!request.domains.empty()) {
    parts.push_back("domains: " + domainsText(request.domains, request.vlans.size()));
  }
}

std::string requestText(const PortRequest& request) {
  std::vector<std::string> parts = {"client: " + scalar(request.client),
                                    "switch: " + scalar(request.switchName),
                                    "port: " + scalar(request.port)};
  addVlans(request, parts);
  if (request.nativeVlan) parts.push_back("native: " + std::to_string(*request.nativeVlan));
  if (!request.remoteHosts.empty()) {
    std::vector<std::string> names;
    for (const std::string& name : request.remoteHosts) names.push_back(scalar(name));
    parts.push_back("remote hosts: " + oneOrList(names));
  }
  return "  - " + map(parts) + '\n';
}

std::string requestText(const HostnameRequest& request) {
  std::vector<std::string> parts = {"client: " + scalar(request.client),
                                    "hostname: " + scalar(request.hostname)};
  addVlans(request, parts);
  return "  - " + map(parts) + '\n';
}

// Texts of at most so many bytes, each opened with the version and the section that goes on.
class Documents {
 public:
  explicit Documents(std::size_t bytes) : bytes_(bytes) { open(); }

  void sectionIs(std::string_view section) {
    section_ = section;
    headed_ = false;
  }
  void add(const std::string& entry) {
    const std::size_t head = headed_ ? 0 : section_.size() + 3;
    if (filled_ && texts_.back().size() + head + entry.size() > bytes_) open();
    if (!headed_) texts_.back().append("\n").append(section_).append(":\n");
    headed_ = true;
    filled_ = true;
    texts_.back() += entry;
  }
  std::vector<std::string> take() { return std::move(texts_); }

 private:
  void open() {
    texts_.emplace_back("fabrion: 1\n");
    headed_ = false;
    filled_ = false;
  }

  const std::size_t bytes_;
  std::vector<std::string> texts_;
  std::string_view section_;
  bool headed_ = false;  // the section's head stands in the last text
  bool filled_ = false;  // so does an entry
};

}  // namespace

std::vector<std::string> yamlOf(const Fabric& fabric, std::size_t bytes) {
  Documents documents(bytes);
  documents.sectionIs("switches");
  for (const Node& node : fabric.switches) documents.add(nodeText(node));
  documents.sectionIs("hosts");
  for (const Node& node : fabric.hosts) documents.add(nodeText(node));
  documents.sectionIs("links");
  for (const Link& link : fabric.links)
    documents.add("  - [" + endText(link.a) + ", " + endText(link.b) + "]\n");
  documents.sectionIs("static maps");
  for (const StaticMap& domain : fabric.staticMaps) documents.add(mapText(domain));
  documents.sectionIs("requests");
  for (const PortRequest& request : fabric.portRequests) documents.add(requestText(request));
  for (const HostnameRequest& request : fabric.hostnameRequests) {
    documents.add(requestText(request));
  }
  return documents.take();
}

}  // namespace Fabrion::Host
