#include "host/JournalReader.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "host/BadJournal.h"

namespace Fabrion::Host {

namespace {

// Ports, groups and outputs are taken in the order written.
using Json = nlohmann::ordered_json;

// The way to the value that is read, kept on the stack and put into words only for a message.
struct Where {
  const Where* outer;
  std::string_view member;
  std::size_t index = 0;
};

std::string textOf(const Where& where) {
  if (where.outer == nullptr) return inQuotes(std::string(where.member));
  const std::string step =
      where.member.empty() ? std::to_string(where.index) : inQuotes(std::string(where.member));
  return textOf(*where.outer) + "[" + step + "]";
}

[[noreturn]] void refuse(const Where& where, const char* expected, const Json& value) {
  std::string shown = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  constexpr std::size_t enough = 60;
  // Shortened in front of a whole character.
  if (shown.size() > enough) {
    std::size_t end = enough;
    while (end > 0 && (static_cast<unsigned char>(shown[end]) & 0xc0) == 0x80) --end;
    shown.resize(end);
    shown += "...";
  }
  throw BadJournal(textOf(where) + " is to be " + expected + ", not " + shown);
}

// A class, so that the overloads find each other whatever their order.
class ValueReader {
 public:
  static void read(const Json& json, const Where& where, std::string& value) {
    if (!json.is_string()) refuse(where, "a text", json);
    value = json.get_ref<const std::string&>();
  }

  static void read(const Json& json, const Where& where, bool& value) {
    if (!json.is_boolean()) refuse(where, "true or false", json);
    value = json.get<bool>();
  }

  static void read(const Json& json, const Where& where, U32& value) {
    if (!isNumber(json)) refuse(where, "a number from 0 to 4294967295", json);
    value = json.get<U32>();
  }

  static void read(const Json& json, const Where& where, std::optional<U32>& value) {
    if (!json.is_null() && !isNumber(json)) {
      refuse(where, "a number from 0 to 4294967295 or null", json);
    }
    value = json.is_null() ? std::nullopt : std::optional<U32>(json.get<U32>());
  }

  static void read(const Json& json, const Where& where, std::optional<std::string>& value) {
    read(json, where, value.emplace());
  }

  static void read(const Json& json, const Where& where, PortName& value) {
    if (!isTexts(json, 2)) refuse(where, "[HOST, PORT]", json);
    value = {json[0], json[1]};
  }

  static void read(const Json& json, const Where& where, DomainName& value) {
    if (!isTexts(json, 2)) refuse(where, "[FIRST, SECOND]", json);
    value = {json[0], json[1]};
  }

  static void read(const Json& json, const Where& where, NumberRange& value) {
    if (!json.is_array() || json.size() != 2 || !isNumber(json[0]) || !isNumber(json[1])) {
      refuse(where, "[LOW, HIGH], numbers from 0 to 4294967295", json);
    }
    value = {json[0].get<U32>(), json[1].get<U32>()};
  }

  static void read(const Json& json, const Where& where, RangeMapping& value) {
    if (!json.is_array() || json.size() != 2) refuse(where, "[[VLAN, VLAN], [VNI, VNI]]", json);
    read(json[0], {&where, {}, 0}, value.vlan);
    read(json[1], {&where, {}, 1}, value.vni);
  }

  static void read(const Json& json, const Where& where, PortRequestName& value) {
    if (!isTexts(json, 3)) refuse(where, "a port request, [CLIENT, SWITCH, INTERFACE]", json);
    value = {json[0], json[1], json[2]};
  }

  static void read(const Json& json, const Where& where, RequestName& value) {
    if (isTexts(json, 2)) {
      value = HostRequestName{json[0], json[1]};
    } else if (isTexts(json, 3)) {
      value = PortRequestName{json[0], json[1], json[2]};
    } else {
      refuse(where, "[CLIENT, HOSTNAME] or [CLIENT, SWITCH, INTERFACE]", json);
    }
  }

  static void read(const Json& json, const Where& where, MountFlag& value) {
    const std::string name = json.is_string() ? json.get<std::string>() : std::string();
    const auto flag = std::find(mountFlagNames.begin(), mountFlagNames.end(), name);
    if (flag == mountFlagNames.end()) {
      refuse(where, R"("topology", "portVlanConfig", "dynVtepConfig", "dynVtepStatus" or "ready")",
             json);
    }
    value = static_cast<MountFlag>(flag - mountFlagNames.begin());
  }

  static void read(const Json& json, const Where& where, HandlerKey& value) {
    if (json.is_string()) {
      value = json.get<std::string>();
    } else if (isNumber(json)) {
      value = json.get<U32>();
    } else if (isTexts(json, 2)) {
      value = DomainName{json[0], json[1]};
    } else if (json.is_array() && json.size() == 2 && json[0].is_string() && isNumber(json[1])) {
      value = TextAndNumber{json[0], json[1].get<U32>()};
    } else {
      refuse(where, "a text, a number from 0 to 4294967295, [FIRST, SECOND] or [TEXT, NUMBER]",
             json);
    }
  }

  static void read(const Json& json, const Where& where, std::vector<GroupMembers>& value) {
    if (!json.is_object()) refuse(where, "{GROUP: [PORT...]}", json);
    for (const auto& [group, ports] : json.items()) {
      read(ports, {&where, group}, value.emplace_back(GroupMembers{group, {}}).ports);
    }
  }

  static void read(const Json& json, const Where& where, VniMapping& value) {
    if (!json.is_array() || json.size() != 3 || !json[0].is_string() || !isNumber(json[1]) ||
        !isNumber(json[2])) {
      refuse(where, "[PORT, VLAN, VNI]", json);
    }
    value = {json[0], json[1].get<U32>(), json[2].get<U32>()};
  }

  static void read(const Json& json, const Where& where, Outputs& value) {
    if (!json.is_object()) refuse(where, "an object of outputs", json);
    for (const auto& [part, content] : json.items()) {
      const Where inner{&where, part};
      if (part == "portAllowedVlanList") {
        readPairs(content, inner, "{PORT: LIST}", part_<AllowedVlanLists>(value).listOfPort);
      } else if (part == "portNativeVlan") {
        readPairs(content, inner, "{PORT: VLAN}", part_<NativeVlans>(value).vlanOfPort);
      } else if (part == "vlanList") {
        read(content, inner, part_<SwitchVlanList>(value).list);
      } else if (part == "vtepConfig") {
        readPairs(content, inner, "{VTEP: [[PORT, VLAN, VNI]...]}",
                  part_<VtepMappings>(value).mappingsOfVtep);
      } else {
        throw BadJournal(
            textOf(where) + " has the member " + inQuotes(part) +
            "; it may have portAllowedVlanList, portNativeVlan, vlanList and vtepConfig");
      }
    }
  }

  template <class T>
  static void read(const Json& json, const Where& where, std::vector<T>& value) {
    if (!json.is_array()) refuse(where, "a list", json);
    std::size_t index = 0;
    for (const Json& one : json) read(one, {&where, {}, index++}, value.emplace_back());
  }

 private:
  // A number without sign, fraction and exponent that fits.
  static bool isNumber(const Json& json) {
    return json.is_number_unsigned() && json.get<U64>() <= std::numeric_limits<U32>::max();
  }

  static bool isTexts(const Json& json, std::size_t count) {
    return json.is_array() && json.size() == count &&
           std::all_of(json.begin(), json.end(), [](const Json& one) { return one.is_string(); });
  }

  template <class Part>
  static Part& part_(Outputs& outputs) {
    return std::get<Part>(outputs.emplace_back(Part{}));
  }

  template <class T>
  static void readPairs(const Json& json, const Where& where, const char* expected,
                        std::vector<std::pair<std::string, T>>& value) {
    if (!json.is_object()) refuse(where, expected, json);
    for (const auto& [name, content] : json.items()) {
      read(content, {&where, name}, value.emplace_back(name, T{}).second);
    }
  }
};

// Reads the members of one operation.
class MemberReader {
 public:
  MemberReader(std::string_view op, const Json& object) : op_(op), object_(object) {}

  template <class T>
  void required(const char* name, T& value) {
    if (!take(name, value)) throw BadJournal(std::string(op_) + " has no member " + inQuotes(name));
  }
  template <class T>
  void optional(const char* name, T& value) {
    take(name, value);
  }
  // Refuses what nobody asked for.
  void finish() const {
    for (const auto& [name, value] : object_.items()) {
      if (name != "op" && known_.find(name) == known_.end()) {
        throw BadJournal(std::string(op_) + " takes no member " + inQuotes(name));
      }
    }
  }

 private:
  template <class T>
  bool take(const char* name, T& value) {
    known_.insert(name);
    const auto member = object_.find(name);
    if (member == object_.end()) return false;
    ValueReader::read(*member, {nullptr, name}, value);
    return true;
  }

  const std::string_view op_;
  const Json& object_;
  std::set<std::string_view> known_;
};

template <class One>
std::optional<Operation> readAs(std::string_view op, const Json& object) {
  if (op != One::op) return std::nullopt;
  One one{};
  MemberReader reader(op, object);
  One::members(one, reader);
  reader.finish();
  return one;
}

template <class... Ones>
std::optional<Operation> readAsOneOf(const std::variant<Ones...>* /*all*/, std::string_view op,
                                     const Json& object) {
  std::optional<Operation> result;
  static_cast<void>(((result = readAs<Ones>(op, object)) || ...));
  return result;
}

// Refuses a member that stands twice in one object, of which the parser would keep one without a
// word, and values in values far beyond what any operation has, which only a stack overflow awaits.
class FormGuard {
 public:
  bool operator()(int depth, Json::parse_event_t event, Json& value) {
    constexpr int deepest = 32;
    if (depth > deepest) throw BadJournal("values are nested more than 32 deep");
    if (event == Json::parse_event_t::object_start) {
      open_.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      open_.pop_back();
    } else if (event == Json::parse_event_t::key) {
      const auto& name = value.get_ref<const std::string&>();
      if (!open_.back().insert(name).second) {
        throw BadJournal("the member " + inQuotes(name) + " stands twice in an object");
      }
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> open_;
};

Json parsed(std::string_view line) {
  try {
    FormGuard guard;
    return Json::parse(line.begin(), line.end(), std::ref(guard));
  } catch (const Json::parse_error& error) {
    throw BadJournal("no JSON from character " + std::to_string(error.byte) + " on");
  } catch (const Json::out_of_range&) {
    // The one other thing that the parser raises.
    throw BadJournal("a number is too large to be read");
  }
}

}  // namespace

std::optional<Operation> operationOf(std::string_view line) {
  // Files that were written elsewhere may end their lines in two characters.
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (line.empty() || line.front() == '#') return std::nullopt;
  // The parser would pass over the one and end at the other.
  if (line.starts_with("\xef\xbb\xbf"))
    throw BadJournal("a byte order mark stands before the line");
  if (line.find('\0') != std::string_view::npos) throw BadJournal("the line holds a zero byte");
  const Json object = parsed(line);
  if (!object.is_object()) throw BadJournal("a line is to be an object, {\"op\": ...}");
  const auto name = object.find("op");
  if (name == object.end()) throw BadJournal("the object has no member 'op'");
  std::string op;
  ValueReader::read(*name, {nullptr, "op"}, op);
  std::optional<Operation> operation =
      readAsOneOf(static_cast<const Operation*>(nullptr), op, object);
  if (!operation) throw BadJournal("there is no operation " + inQuotes(op));
  return operation;
}

}  // namespace Fabrion::Host
