#include "host/LldpNeighbors.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

constexpr const char* printed = "what lldpcli -f json0 show neighbors prints";

// Ends the reading; readLldpNeighbors() catches it.
struct Unreadable {
  std::string text;
};

// A value together with the way to it, for messages. The way is written as jq takes it, so that it
// can be pasted.
struct At {
  const Json* value = nullptr;
  std::string path;

  [[noreturn]] void wrong(const std::string& expected) const {
    throw Unreadable{(path.empty() ? "." : path) + ": " + kind() + "; expected " + expected};
  }

  std::string kind() const {
    if (value->is_object()) return "an object";
    if (value->is_array()) return value->empty() ? "an empty list" : "a list";
    if (value->is_string()) return "the text " + shown(value->get_ref<const std::string&>());
    if (value->is_number()) return "the number " + value->dump();
    return value->dump();
  }

  At member(const std::string& key, const Json& of) const {
    // A key with more than letters and digits has to be quoted for jq.
    bool plain = !key.empty() && (key[0] < '0' || key[0] > '9');
    for (const char c : key) {
      plain = plain && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'));
    }
    const std::string quoted = shown(key);
    return {&of, plain ? path + "." + key
                       : (path.empty() ? "." : path) + "[\"" + quoted.substr(1, quoted.size() - 2) +
                             "\"]"};
  }

  std::optional<At> find(const std::string& key) const {
    if (!value->is_object()) wrong("an object");
    const auto found = value->find(key);
    if (found == value->end()) return std::nullopt;
    return member(key, *found);
  }

  At at(const std::string& key, const std::string& meaning) const {
    if (auto found = find(key)) return *std::move(found);
    throw Unreadable{(path.empty() ? "." : path) + ": no \"" + key + "\"; expected " + meaning};
  }
};

// The elements of a list, or the value itself in place of a list of one.
std::vector<At> each(const At& at) {
  if (!at.value->is_array()) return {at};
  std::vector<At> elements;
  for (std::size_t i = 0; i < at.value->size(); ++i) {
    elements.push_back({&(*at.value)[i], at.path + "[" + std::to_string(i) + "]"});
  }
  return elements;
}

At first(const At& at, const std::string& expected) {
  const std::vector<At> elements = each(at);
  if (elements.empty()) at.wrong(expected);
  return elements.front();
}

// "x", {"value": "x"}, or a list that begins with one of these.
std::string textOf(const At& at) {
  At one = first(at, "a text");
  if (one.value->is_object()) one = one.at("value", "a text of that name");
  if (!one.value->is_string()) one.wrong("a text");
  return one.value->get<std::string>();
}

std::string textIn(const At& at, const std::string& key) {
  const auto found = at.find(key);
  return found ? textOf(*found) : std::string();
}

LldpId idOf(const At& at) {
  const At one = first(at, "an id");
  return {textOf(one.at("type", "the kind of the id")), textOf(one.at("value", "the id itself"))};
}

bool isId(const Json& value) {
  const Json& one = value.is_array() && !value.empty() ? value[0] : value;
  return one.is_object() && one.contains("type") && one["type"].is_string();
}

// The chassis, and its name if it is a key: {"leaf1": {"id": ...}} for {"id": ..., "name": ...}.
// A neighbour without a name has no such key.
std::pair<At, std::string> chassisOf(const At& at) {
  const At one = first(at, "a chassis");
  if (!one.value->is_object() || one.value->empty()) one.wrong("a chassis with an \"id\"");
  const auto id = one.value->find("id");
  if (id != one.value->end() && isId(*id)) return {one, textIn(one, "name")};
  if (one.value->size() != 1) one.wrong("a chassis with an \"id\"");
  const auto named = one.value->begin();
  return {one.member(named.key(), named.value()), named.key()};
}

LldpNeighbor neighborOf(const std::string& interface, const At& at) {
  LldpNeighbor neighbor;
  neighbor.interface = interface;
  neighbor.where = at.path;
  neighbor.via = textIn(at, "via");
  const auto [chassis, name] = chassisOf(at.at("chassis", "the neighbour's chassis"));
  neighbor.chassis = idOf(chassis.at("id", "the id of the chassis"));
  neighbor.name = name;
  if (const auto capabilities = chassis.find("capability")) {
    for (const At& capability : each(*capabilities)) {
      const std::string type = textOf(capability.at("type", "the name of the capability"));
      const At enabled = capability.at("enabled", "true or false");
      if (!enabled.value->is_boolean()) enabled.wrong("true or false");
      if (enabled.value->get<bool>()) neighbor.capabilities.push_back(type);
    }
  }
  const At port = first(at.at("port", "the neighbour's port"), "a port");
  neighbor.port = idOf(port.at("id", "the id of the port"));
  neighbor.portDescription = textIn(port, "descr");
  neighbor.aggregation = textIn(port, "aggregation");
  return neighbor;
}

// {"name": "e1", ...} of the one form, or {"e1": {...}} of the other.
void readInterface(const At& at, std::vector<LldpNeighbor>& neighbors) {
  if (!at.value->is_object()) at.wrong("an interface");
  const auto name = at.value->find("name");
  if (name != at.value->end() && name->is_string()) {
    neighbors.push_back(neighborOf(name->get<std::string>(), at));
    return;
  }
  for (const auto& [key, value] : at.value->items()) {
    for (const At& one : each(at.member(key, value))) {
      if (!one.value->is_object()) one.wrong("a neighbour on the interface");
      neighbors.push_back(neighborOf(key, one));
    }
  }
}

// `byte` counts from 1, as the parser's errors do.
std::string placeOf(std::string_view text, std::size_t byte) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i + 1 < byte && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

LldpNeighborsOrWrong readLldpNeighbors(std::string_view text) {
  // The parser would end there and lose the rest.
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) {
    return Wrong{placeOf(text, zero + 1) + ": a zero byte; expected JSON"};
  }
  try {
    const Json root = Json::parse(text);
    std::vector<LldpNeighbor> neighbors;
    const At whole{&root, ""};
    for (const At& lldp : each(whole.at("lldp", printed))) {
      if (!lldp.value->is_object()) lldp.wrong("an object");
      const auto interfaces = lldp.find("interface");
      if (!interfaces) continue;  // no neighbours
      for (const At& one : each(*interfaces)) readInterface(one, neighbors);
    }
    return neighbors;
  } catch (const Json::parse_error& error) {
    return Wrong{placeOf(text, error.byte) + ": no JSON; expected " + printed};
  } catch (const Json::out_of_range&) {
    return Wrong{std::string("a number is too large to be read; expected ") + printed};
  } catch (const Unreadable& unreadable) {
    return Wrong{unreadable.text};
  }
}

}  // namespace Fabrion::Host
