#include "host/DiscoveredDocument.h"

#include <algorithm>
#include <string_view>

namespace Fabrion::Host {

namespace {

constexpr std::size_t lineWidth = 100;

bool isPlainCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '/' || c == '_' || c == '-';
}

// Words that YAML readers may take for something else than text, whatever their case.
bool isOtherThanText(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  for (const char* const word : {"null", "true", "false", "yes", "no", "on", "off", "y", "n"}) {
    if (lower == word) return true;
  }
  // A number such as 1e3 too; a version such as 1.2.3 is quoted without need.
  return (lower[0] >= '0' && lower[0] <= '9') || lower[0] == '.';
}

// `text` is a name: it has no control characters.
std::string scalar(std::string_view text, std::string_view alsoPlain = "") {
  const bool plain =
      std::all_of(text.begin(), text.end(),
                  [&](char c) {
                    return isPlainCharacter(c) || alsoPlain.find(c) != std::string_view::npos;
                  }) &&
      text[0] != '-' && text.back() != ':' && !isOtherThanText(text);
  if (plain) return std::string(text);
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

// The first `:` splits an end, so a node with one needs the form with two texts.
std::string end(const LinkEnd& at) {
  if (at.node.find(':') == std::string::npos) return scalar(at.node + ":" + at.port, ":");
  return "[" + scalar(at.node) + ", " + scalar(at.port) + "]";
}

// A list in brackets after `start`, broken where lines get long.
std::string list(const std::string& start, const std::vector<std::string>& names) {
  std::string text = start + "[";
  std::size_t column = text.size();
  const std::string indent(start.find_first_not_of(' ') + 2, ' ');
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string name = scalar(names[i]) + (i + 1 < names.size() ? "," : "]");
    if (i > 0 && column + 1 + name.size() > lineWidth) {
      text += '\n' + indent;
      column = indent.size();
    } else if (i > 0) {
      text += ' ';
      ++column;
    }
    text += name;
    column += name.size();
  }
  return text + '\n';
}

// One sentence, on as many lines as it takes.
void comment(std::string& text, const std::string& indent, const std::string& sentence) {
  std::string line = indent + "#";
  for (std::size_t at = 0; at < sentence.size();) {
    const std::size_t next = std::min(sentence.find(' ', at), sentence.size());
    if (line.size() + 1 + next - at > lineWidth && line.size() > indent.size() + 1) {
      text += line + '\n';
      line = indent + "#  ";
    }
    line += ' ' + sentence.substr(at, next - at);
    at = next + 1;
  }
  text += line + '\n';
}

void comment(std::string& text, const std::string& indent, const std::vector<std::string>& notes) {
  for (const std::string& note : notes) comment(text, indent, note + ".");
}

const std::vector<std::string>& notesOn(const Discovered& discovered, const Node& node) {
  static const std::vector<std::string> none;
  const auto notes = discovered.nodeNotes.find(node.name);
  return notes == discovered.nodeNotes.end() ? none : notes->second;
}

void section(std::string& text, const Discovered& discovered, const char* heading,
             const std::vector<Node>& nodes) {
  if (nodes.empty()) return;
  text += std::string("\n") + heading + ":\n";
  for (const Node& node : nodes) {
    comment(text, "  ", notesOn(discovered, node));
    text += "  " + scalar(node.name) + ":\n";
    if (node.hostname != node.name) text += "    hostname: " + scalar(node.hostname) + '\n';
    text += list("    ports: ", node.ports);
    if (node.groups.empty()) continue;
    text += "    groups:\n";
    for (const PortGroup& group : node.groups) {
      text += list("      " + scalar(group.name) + ": ", group.members);
    }
  }
}

}  // namespace

std::string documentOf(const Discovered& discovered, const std::vector<std::string>& heading) {
  const Fabric& fabric = discovered.fabric;
  std::string text;
  for (const std::string& line : heading) comment(text, "", line);
  comment(text, "", discovered.notes);
  text += "fabrion: 1\n";
  section(text, discovered, "switches", fabric.switches);
  section(text, discovered, "hosts", fabric.hosts);
  if (!fabric.links.empty()) text += "\nlinks:\n";
  for (const Link& link : fabric.links) {
    const auto notes = discovered.linkNotes.find(link);
    if (notes != discovered.linkNotes.end()) comment(text, "  ", notes->second);
    text += "  - [" + end(link.a) + ", " + end(link.b) + "]\n";
  }
  return text;
}

std::vector<std::string> notesOf(const Discovered& discovered) {
  std::vector<std::string> all = discovered.notes;
  for (const auto* nodes : {&discovered.fabric.switches, &discovered.fabric.hosts}) {
    for (const Node& node : *nodes) {
      for (const std::string& note : notesOn(discovered, node)) {
        all.push_back(shown(node.name) + ": " + note);
      }
    }
  }
  for (const Link& link : discovered.fabric.links) {
    const auto notes = discovered.linkNotes.find(link);
    if (notes == discovered.linkNotes.end()) continue;
    all.insert(all.end(), notes->second.begin(), notes->second.end());
  }
  return all;
}

}  // namespace Fabrion::Host
