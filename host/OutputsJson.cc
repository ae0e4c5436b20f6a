#include "host/OutputsJson.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>

#include "host/BadJournal.h"
#include "platform/Velo/Exceptions.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

constexpr U32 highestVlan = 4094;
constexpr U32 highestVni = 0xffffff;

// As jq takes it: `.switch.leaf1["e1/1"]`.
std::string step(const std::string& member) {
  const auto plain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  const bool bare = !member.empty() && std::all_of(member.begin(), member.end(), plain) &&
                    !(member[0] >= '0' && member[0] <= '9');
  if (bare) return "." + member;
  return "[" + Json(member).dump(-1, ' ', false, Json::error_handler_t::replace) + "]";
}

std::string shownValue(const Json& value) {
  std::string shown = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  constexpr std::size_t enough = 60;
  if (shown.size() <= enough) return shown;
  // Cut in front of a whole character.
  std::size_t end = enough;
  while (end > 0 && (static_cast<unsigned char>(shown[end]) & 0xc0) == 0x80) --end;
  return shown.substr(0, end) + "...";
}

// A value and the way to it.
class At {
 public:
  At(const std::string& file, const Json& value) : file_(file), value_(value) {}

  const Json& value() const { return value_; }

  [[noreturn]] void refuse(const std::string& wrong) const {
    throw BadOutputs(file_ + ": " + (path_.empty() ? "." : path_) + ": " + wrong);
  }
  [[noreturn]] void refuseValue(const char* expected) const {
    refuse(shownValue(value_) + " stands here; expected " + expected);
  }

  // Calls visit(name, At) for each member.
  template <class Visit>
  void members(const char* expected, Visit visit) const {
    if (!value_.is_object()) refuseValue(expected);
    for (const auto& [name, member] : value_.items()) visit(name, inner(name, member));
  }

  Vlans list() const {
    if (!value_.is_string()) refuseValue("a list of VLANs such as \"1-3,5\", as a text");
    try {
      return vlansOf(value_.get_ref<const std::string&>());
    } catch (const Velo::RangeException&) {
      refuseValue("a list of VLANs such as \"1-3,5\"");
    }
  }

  U32 number(U32 highest, const char* expected) const {
    if (!value_.is_number_unsigned() || value_.get<U64>() > highest) refuseValue(expected);
    return value_.get<U32>();
  }

 private:
  At inner(const std::string& name, const Json& member) const {
    At at(file_, member);
    at.path_ = path_ + step(name);
    return at;
  }

  const std::string& file_;
  const Json& value_;
  std::string path_;
};

U16 vlanOf(const std::string& key, const At& at) {
  U32 vlan = 0;
  const char* const end = key.data() + key.size();
  const auto [stop, error] = std::from_chars(key.data(), end, vlan);
  // One form for one number, or two keys could mean the same VLAN.
  const bool plain = key == "0" || !key.starts_with('0');
  if (error != std::errc() || stop != end || vlan > highestVlan || !plain) {
    at.refuse(inQuotes(key) + " is no VLAN; expected a number from 0 to 4094");
  }
  return static_cast<U16>(vlan);
}

SwitchOutputs::MappingsOfPort vtepFrom(const At& vtep) {
  SwitchOutputs::MappingsOfPort ports;
  vtep.members("the ports of a VTEP, {PORT: {VLAN: VNI}}", [&](const auto& port, const At& inPort) {
    SwitchOutputs::VniOfVlan& mappings = ports[port];
    inPort.members("mappings, {VLAN: VNI}", [&](const auto& vlan, const At& vni) {
      mappings.emplace(vlanOf(vlan, vni),
                       vni.number(highestVni, "a VNI, a number from 0 to 16777215"));
    });
  });
  return ports;
}

SwitchOutputs switchFrom(const At& one) {
  SwitchOutputs outputs;
  one.members("the outputs of a switch, an object", [&](const auto& part, const At& at) {
    if (part == "portAllowedVlanList") {
      at.members("lists of VLANs by port, {PORT: LIST}", [&](const auto& port, const At& list) {
        outputs.allowedVlans.emplace(port, list.list());
      });
    } else if (part == "portNativeVlan") {
      at.members("native VLANs by port, {PORT: VLAN}", [&](const auto& port, const At& vlan) {
        outputs.nativeVlan.emplace(port, vlan.number(highestVlan, "a VLAN from 0 to 4094"));
      });
    } else if (part == "vlanList") {
      outputs.vlans = at.list();
    } else if (part == "vtepConfig") {
      at.members(
          "mappings by VTEP, {VTEP: {PORT: {VLAN: VNI}}}",
          [&](const auto& vtep, const At& ports) { outputs.vteps.emplace(vtep, vtepFrom(ports)); });
    } else {
      at.refuse(
          "unknown member of a switch; expected portAllowedVlanList, portNativeVlan, vlanList or "
          "vtepConfig");
    }
  });
  return outputs;
}

// Follows the parser on its way and refuses a member that stands twice, of which the parser would
// keep one without a word, and values in values far beyond what any dump has, which only a stack
// overflow awaits.
class FormGuard {
 public:
  explicit FormGuard(const std::string& file) : file_(file) {}

  bool operator()(int depth, Json::parse_event_t event, const Json& value) {
    if (depth > deepest) {
      throw BadOutputs(place() + ": values are nested more than " + std::to_string(deepest) +
                       " deep; expected outputs, {\"switch\": {...}}");
    }
    if (event == Json::parse_event_t::object_start) {
      open_.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      open_.pop_back();
    } else if (event == Json::parse_event_t::key) {
      const auto& name = value.get_ref<const std::string&>();
      Open& open = open_.back();
      open.current = name;
      if (!open.names.insert(name).second) {
        throw BadOutputs(place() + ": the member stands twice; expected it once");
      }
    }
    return true;
  }

 private:
  static constexpr int deepest = 32;
  struct Open {
    std::set<std::string> names;
    std::string current;
  };

  std::string place() const {
    std::string path;
    for (const Open& outer : open_) {
      if (!outer.names.empty()) path += step(outer.current);
    }
    return file_ + ": " + (path.empty() ? "." : path);
  }

  const std::string& file_;
  std::vector<Open> open_;
};

std::string placeOf(std::string_view text, std::size_t byte) {
  const std::string_view before = text.substr(0, byte);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t start = before.rfind('\n') + 1;  // 0 without a line end
  const auto column =
      1 + std::count_if(before.begin() + static_cast<std::ptrdiff_t>(start), before.end(),
                        [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; });
  return std::to_string(line) + ":" + std::to_string(column);
}

Json parsed(const std::string& file, std::string_view text) {
  // The parser would end there and lose the rest.
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) {
    throw BadOutputs(file + ":" + placeOf(text, zero) + ": a zero byte; expected JSON");
  }
  try {
    return Json::parse(text.begin(), text.end(), FormGuard(file));
  } catch (const Json::parse_error& error) {
    const std::size_t byte = error.byte == 0 ? 0 : std::min(error.byte - 1, text.size());
    throw BadOutputs(file + ":" + placeOf(text, byte) +
                     ": no JSON from here on; expected one object, {\"switch\": {...}}, such as "
                     "one line that `fabrion replay` writes for a dump");
  } catch (const Json::out_of_range&) {
    throw BadOutputs(file + ": a number is too large to be read; expected VLANs and VNIs");
  }
}

// What a dump holds beside the outputs.
constexpr std::array<const char*, 4> passedOver = {"machine", "mount", "networkElement",
                                                   "resourcesForHostname"};

Json jsonOf(const SwitchOutputs& one) {
  Json lists = Json::object();
  for (const auto& [port, vlans] : one.allowedVlans) lists[port] = listOf(vlans);
  Json natives = Json::object();
  for (const auto& [port, vlan] : one.nativeVlan) natives[port] = vlan;
  Json vteps = Json::object();
  for (const auto& [vtep, ports] : one.vteps) {
    Json& inVtep = vteps[vtep] = Json::object();
    for (const auto& [port, mappings] : ports) {
      Json& inPort = inVtep[port] = Json::object();
      for (const auto& [vlan, vni] : mappings) inPort[std::to_string(vlan)] = vni;
    }
  }
  return Json{{"portAllowedVlanList", std::move(lists)},
              {"portNativeVlan", std::move(natives)},
              {"vlanList", listOf(one.vlans)},
              {"vtepConfig", std::move(vteps)}};
}

}  // namespace

Json jsonOf(const FabricOutputs& outputs) {
  Json switches = Json::object();
  for (const auto& [name, one] : outputs) switches[name] = jsonOf(one);
  return Json{{"switch", std::move(switches)}};
}

FabricOutputs outputsFrom(const std::string& file, std::string_view text) {
  const Json json = parsed(file, text);
  std::optional<FabricOutputs> outputs;
  const At top(file, json);
  if (json.is_object() && json.contains("switches")) {
    top.refuse(
        "a report of `fabrion run --format json`; expected outputs, which `fabrion run "
        "--outputs FILE` writes");
  }
  top.members("an object, {\"switch\": {...}}", [&](const auto& name, const At& at) {
    if (name == "switch") {
      outputs.emplace();
      at.members("outputs by switch, {SWITCH: {...}}", [&](const auto& one, const At& inSwitch) {
        outputs->emplace(one, switchFrom(inSwitch));
      });
    } else if (std::find(passedOver.begin(), passedOver.end(), name) == passedOver.end()) {
      at.refuse("unknown member; expected \"switch\", and beside it nothing but a dump's others");
    }
  });
  if (!outputs) top.refuse("no member \"switch\"; expected the outputs of the switches in it");
  return *std::move(outputs);
}

FabricOutputs readOutputs(const std::string& file) {
  if (file == "-") {
    const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
    // Its stream cannot tell a failure from the end.
    if (std::ferror(stdin) != 0) {
      throw BadOutputs(std::string("standard input: ") + std::strerror(errno));
    }
    return outputsFrom("standard input", text);
  }
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  // An empty file leaves the copy failed, and nothing wrong with the reading.
  if (stream && stream.peek() != std::ifstream::traits_type::eof()) text << stream.rdbuf();
  if (stream.bad() || text.bad() || (!stream && !stream.eof())) {
    throw BadOutputs(file + ": " + std::strerror(errno));
  }
  return outputsFrom(file, text.str());
}

}  // namespace Fabrion::Host
