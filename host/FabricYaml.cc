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

std::string vlansText(const std::vector<U32>& vlans) {
  std::vector<std::string> entries;
  for (std::size_t first = 0; first < vlans.size();) {
    std::size_t end = first + 1;
    while (end < vlans.size() && vlans[end] == vlans[first] + (end - first)) ++end;
    std::string entry = std::to_string(vlans[first]);
    if (end - first > 1) entry += '-' + std::to_string(vlans[end - 1]);
    entries.push_back(std::move(entry));
    first = end;
  }
  return oneOrList(entries);
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

std::string requestText(const PortRequest& request) {
  std::vector<std::string> parts = {"client: " + scalar(request.client),
                                    "switch: " + scalar(request.switchName),
                                    "port: " + scalar(request.port)};
  if (!request.vlans.empty()) parts.push_back("vlans: " + vlansText(request.vlans));
  if (request.nativeVlan) parts.push_back("native: " + std::to_string(*request.nativeVlan));
  if (!request.remoteHosts.empty()) {
    std::vector<std::string> names;
    for (const std::string& name : request.remoteHosts) names.push_back(scalar(name));
    parts.push_back("remote hosts: " + oneOrList(names));
  }
  return "  - " + map(parts) + '\n';
}

std::string requestText(const HostnameRequest& request) {
  return "  - " +
         map({"client: " + scalar(request.client), "hostname: " + scalar(request.hostname),
              "vlans: " + vlansText(request.vlans)}) +
         '\n';
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
  documents.sectionIs("requests");
  for (const PortRequest& request : fabric.portRequests) documents.add(requestText(request));
  for (const HostnameRequest& request : fabric.hostnameRequests) {
    documents.add(requestText(request));
  }
  return documents.take();
}

}  // namespace Fabrion::Host
