#include "host/JournalWriter.h"

#include <nlohmann/json.hpp>

#include "host/BadJournal.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::ordered_json;

// A class, so that the overloads find each other whatever their order.
class ValueWriter {
 public:
  static Json json(const std::string& value) { return value; }
  static Json json(bool value) { return value; }
  static Json json(U32 value) { return value; }
  static Json json(const std::optional<U32>& value) { return value ? Json(*value) : Json(nullptr); }
  static Json json(const PortName& value) { return Json::array({value.host, value.port}); }
  static Json json(const DomainName& value) { return Json::array({value.first, value.second}); }
  static Json json(const NumberRange& value) { return Json::array({value.low, value.high}); }
  static Json json(const RangeMapping& value) {
    return Json::array({json(value.vlan), json(value.vni)});
  }
  static Json json(const HostRequestName& value) {
    return Json::array({value.client, value.hostname});
  }
  static Json json(const PortRequestName& value) {
    return Json::array({value.client, value.switchName, value.interface});
  }
  static Json json(const VniMapping& value) {
    return Json::array({value.port, value.vlan, value.vni});
  }
  static Json json(const TextAndNumber& value) { return Json::array({value.text, value.number}); }
  static Json json(std::monostate) { return nullptr; }
  static Json json(MountFlag value) { return mountFlagNames[static_cast<std::size_t>(value)]; }
  static Json json(const RequestName& value) {
    return std::visit([](const auto& name) { return json(name); }, value);
  }
  static Json json(const HandlerKey& value) {
    return std::visit([](const auto& key) { return json(key); }, value);
  }

  template <class T>
  static Json json(const std::vector<T>& value) {
    Json list = Json::array();
    for (const T& one : value) list.push_back(json(one));
    return list;
  }
  template <class T>
  static Json json(const std::vector<std::pair<std::string, T>>& value) {
    Json object = Json::object();
    for (const auto& [name, content] : value) object[name] = json(content);
    return object;
  }
  static Json json(const std::vector<GroupMembers>& value) {
    Json object = Json::object();
    for (const GroupMembers& group : value) object[group.group] = json(group.ports);
    return object;
  }
  static Json json(const Outputs& value) {
    Json object = Json::object();
    for (const OutputPart& part : value)
      std::visit([&](const auto& one) { add(object, one); }, part);
    return object;
  }

 private:
  static void add(Json& object, const AllowedVlanLists& part) {
    object["portAllowedVlanList"] = json(part.listOfPort);
  }
  static void add(Json& object, const NativeVlans& part) {
    object["portNativeVlan"] = json(part.vlanOfPort);
  }
  static void add(Json& object, const SwitchVlanList& part) { object["vlanList"] = part.list; }
  static void add(Json& object, const VtepMappings& part) {
    object["vtepConfig"] = json(part.mappingsOfVtep);
  }
};

class MemberWriter {
 public:
  explicit MemberWriter(std::string_view op) { object_["op"] = op; }

  template <class T>
  void required(const char* name, const T& value) {
    object_[name] = ValueWriter::json(value);
  }
  template <class T>
  void optional(const char* name, const std::vector<T>& value) {
    if (!value.empty()) required(name, value);
  }
  void optional(const char* name, const std::optional<std::string>& value) {
    if (value) required(name, *value);
  }
  void optional(const char* name, const HandlerKey& value) {
    if (!std::holds_alternative<std::monostate>(value)) required(name, value);
  }

  const Json& object() const { return object_; }

 private:
  Json object_ = Json::object();
};

}  // namespace

std::string lineOf(const Operation& operation) {
  return std::visit(
      [](const auto& one) {
        MemberWriter writer(one.op);
        one.members(one, writer);
        try {
          return writer.object().dump();
        } catch (const Json::type_error&) {
          // What is left to go wrong with a tree that was built here: a text in another encoding.
          throw BadJournal("a text of " + std::string(one.op) + " is not UTF-8");
        }
      },
      operation);
}

}  // namespace Fabrion::Host
