// The schema that editors use and the parser say the same of a document, where a schema can say it
// at all: names that refer to each other, falling ranges and duplicate keys are the parser's alone.

#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/FabricDocument.h"

namespace Fabrion::Host {
namespace {

using Json = nlohmann::ordered_json;

std::string sourceText(const std::string& name) {
  std::ifstream file(FABRION_SOURCE_DIR "/" + name, std::ios::binary);
  EXPECT_TRUE(file.good()) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

// Code points, so that patterns and lengths count characters. `text` is well-formed.
std::wstring wide(const std::string& text) {
  std::wstring result;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    U32 point = length == 1 ? lead : lead & (0x7fu >> length);
    for (std::size_t k = 1; k < length; ++k) {
      point = point << 6u | (static_cast<unsigned char>(text[i + k]) & 0x3fu);
    }
    result += static_cast<wchar_t>(point);
    i += length;
  }
  return result;
}

// The keywords of JSON Schema that the schema uses, by their meaning in draft 2020-12. Any other is
// an exception: a keyword that is skipped would let everything pass.
class Schema {
 public:
  explicit Schema(const std::string& text) : root_(Json::parse(text)) {}

  bool accepts(const Json& value) const { return accepts(root_, value); }

 private:
  const Json& referred(const std::string& reference) const {
    return root_.at(Json::json_pointer(reference.substr(1)));
  }

  static bool isOf(const std::string& type, const Json& value) {
    if (type == "object") return value.is_object();
    if (type == "array") return value.is_array();
    if (type == "string") return value.is_string();
    if (type == "number") return value.is_number();
    if (type == "integer") return value.is_number_integer();
    if (type == "boolean") return value.is_boolean();
    if (type == "null") return value.is_null();
    throw std::runtime_error("type " + type);
  }

  bool accepts(const Json& schema, const Json& value) const {
    for (const auto& [keyword, argument] : schema.items()) {
      if (!holds(schema, keyword, argument, value)) return false;
    }
    return true;
  }

  std::size_t accepting(const Json& schemas, const Json& value) const {
    return static_cast<std::size_t>(std::count_if(
        schemas.begin(), schemas.end(), [&](const Json& each) { return accepts(each, value); }));
  }

  bool holds(const Json& schema, const std::string& keyword, const Json& argument,
             const Json& value) const {
    static const std::set<std::string> says{"$schema", "$defs", "title", "description"};
    if (says.contains(keyword)) return true;
    if (keyword == "$ref") return accepts(referred(argument.get<std::string>()), value);
    if (keyword == "const") return value == argument;
    if (keyword == "anyOf") return accepting(argument, value) != 0;
    if (keyword == "oneOf") return accepting(argument, value) == 1;
    if (keyword == "type") {
      const Json types = argument.is_array() ? argument : Json::array({argument});
      return std::any_of(types.begin(), types.end(),
                         [&](const Json& type) { return isOf(type.get<std::string>(), value); });
    }
    // The rest speaks of values of one type alone, and holds for all others.
    if (keyword == "minimum") return !value.is_number() || value >= argument;
    if (keyword == "maximum") return !value.is_number() || value <= argument;
    if (keyword == "minLength" || keyword == "maxLength" || keyword == "pattern") {
      return !value.is_string() || textHolds(keyword, argument, wide(value.get<std::string>()));
    }
    if (keyword == "minItems") return !value.is_array() || value.size() >= argument;
    if (keyword == "maxItems") return !value.is_array() || value.size() <= argument;
    if (keyword == "prefixItems" || keyword == "items") {
      return !value.is_array() || itemsHold(schema, keyword, argument, value);
    }
    return membersHold(schema, keyword, argument, value);
  }

  static bool textHolds(const std::string& keyword, const Json& argument,
                        const std::wstring& text) {
    if (keyword == "minLength") return text.size() >= argument.get<std::size_t>();
    if (keyword == "maxLength") return text.size() <= argument.get<std::size_t>();
    return std::regex_search(text, std::wregex(wide(argument.get<std::string>())));
  }

  bool itemsHold(const Json& schema, const std::string& keyword, const Json& argument,
                 const Json& value) const {
    if (keyword == "prefixItems") {
      for (std::size_t i = 0; i < std::min(value.size(), argument.size()); ++i) {
        if (!accepts(argument[i], value[i])) return false;
      }
      return true;
    }
    if (schema.contains("prefixItems")) throw std::runtime_error("items after prefixItems");
    return std::all_of(value.begin(), value.end(),
                       [&](const Json& each) { return accepts(argument, each); });
  }

  bool membersHold(const Json& schema, const std::string& keyword, const Json& argument,
                   const Json& value) const {
    static const std::set<std::string> known{"required", "properties", "additionalProperties",
                                             "propertyNames", "dependentRequired"};
    if (!known.contains(keyword)) throw std::runtime_error("keyword " + keyword);
    if (!value.is_object()) return true;
    if (keyword == "dependentRequired") {
      for (const auto& [name, needed] : argument.items()) {
        if (value.contains(name) && !membersHold(schema, "required", needed, value)) return false;
      }
      return true;
    }
    if (keyword == "required") {
      return std::all_of(argument.begin(), argument.end(),
                         [&](const Json& name) { return value.contains(name.get<std::string>()); });
    }
    for (const auto& [name, member] : value.items()) {
      const bool isProperty = schema.contains("properties") && schema["properties"].contains(name);
      if (keyword == "properties" && isProperty && !accepts(argument[name], member)) return false;
      if (keyword == "propertyNames" && !accepts(argument, Json(name))) return false;
      if (keyword != "additionalProperties" || isProperty) continue;
      if (argument == false || !accepts(argument, member)) return false;
    }
    return true;
  }

  const Json root_;
};

const Schema& schema() {
  static const Schema read(sourceText("docs/fabric-document.schema.json"));
  return read;
}

bool parserAccepts(const std::string& text) {
  return std::holds_alternative<Fabric>(parseFabric({{"f", text}}));
}

// `body` are the members of a document beside its version, as JSON. Switch s has e1 to e4, host h
// eth0.
std::string withGround(const std::string& body) {
  return R"({"fabrion": 1, "switches": {"s": {"ports": "e[1-4]"}, "1": {"ports": 7}},)"
         R"( "hosts": {"h": {"ports": "eth0"}}, )" +
         body + "}";
}

std::string request(const std::string& members) {
  return withGround(R"("requests": [{"client": "c", )" + members + "}]");
}

std::string link(const std::string& text) { return withGround(R"("links": [)" + text + "]"); }

std::string host(const std::string& body) {
  return R"({"fabrion": 1, "hosts": {"a": )" + body + "}}";
}

std::vector<std::string> rightDocuments() {
  return {
      R"({"fabrion": 1})",
      R"({"fabrion": 1, "switches": {}, "hosts": {}, "links": [], "requests": []})",
      host("{}"),
      host("null"),
      host(R"({"hostname": "x", "ports": "e1"})"),
      host(
          R"({"ports": ["e[1-4]", 7, true, "e[01-03]/[0-1]x"], "groups": {"g": "e1", "k": ["e2", 7]}})"),
      host(R"({"groups": {}})"),
      R"({"fabrion": 1, "switches": {"a": {"ports": ["e1"]}}})",
      link(R"(["s:e1", "h:eth0"])"),
      link(R"([["s", "e1"], "h:eth0"])"),
      link(R"([["s", "e1"], ["h", "eth0"]], ["s:e2", [1, 7]])"),
      link(R"({"from": "s:e1", "to": ["h", "eth0"]})"),
      request(R"("hostname": "x", "vlans": 1)"),
      request(R"("hostname": 5, "vlans": [4094, "1-4094", "7", " 1 , 3 - 4,9"])"),
      request(R"("switch": "s", "port": "e1", "vlans": "10-20")"),
      request(R"("switch": "s", "port": "e1", "native": 4094)"),
      request(R"("switch": "s", "port": "e1", "native": "7")"),
      request(R"("switch": "s", "port": "e1", "remote hosts": "far")"),
      request(R"("switch": 1, "port": 7, "remote hosts": ["far", 8], "vlans": 2, "native": 3)"),
      R"({"fabrion": 1, "switches": {"a": {"ports": "e1", "vteps": "v"}}})",
      R"({"fabrion": 1, "switches": {"a": {"ports": "e1", "vteps": ["v", 7]}}})",
      request(R"("hostname": "x", "vlans": "1-9", "vnis": {})"),
      request(R"("hostname": "x", "vlans": "1-9", "vnis": {"1": 16777215, "2": [7, "8"]})"),
      request(R"("hostname": "x", "vlans": "1-9", "vnis": {"1-3": ["1-3", " 9 - 11 "]})"),
      request(R"("hostname": "x", "vlans": "1-9", "domains": "a")"),
      request(R"("hostname": "x", "vlans": "1-9", "domains": ["a/b", "a/b/c", ["x/y", ""], 7])"),
      request(
          R"("switch": "s", "port": "e1", "vlans": 1, "domains": {"1": "a"}, "vnis": {"1": 7})"),
      request(R"("hostname": "x", "vlans": "1-9", "domains": {"1,3-4": ["a", ["a/", "b"]]})"),
      R"({"fabrion": 1, "static maps": {}})",
      R"({"fabrion": 1, "static maps": {"a/b": {}, "a": {"1-9": "7-15", "10": 16777215}}})",
      R"({"fabrion": 1, "static maps": {"a": {"1-2": "7-9"}}})",
      host(R"({"hostname": ")" + std::string(255, 'x') + R"("})"),
      host(R"({"hostname": "caf\u00e9"})"),
  };
}

std::vector<std::string> wrongDocuments() {
  return {
      R"([])",
      R"("fabrion")",
      R"({})",
      R"({"hosts": {}})",
      R"({"fabrion": 2})",
      R"({"fabrion": "1"})",
      R"({"fabrion": null})",
      R"({"fabrion": 1, "other": 1})",
      R"({"fabrion": 1, "switches": []})",
      R"({"fabrion": 1, "hosts": null})",
      R"({"fabrion": 1, "links": {}})",
      R"({"fabrion": 1, "requests": null})",
      R"({"fabrion": 1, "switches": {"a": {}}})",
      R"({"fabrion": 1, "switches": {"a": null}})",
      R"({"fabrion": 1, "switches": {"": {"ports": "e1"}}})",
      R"({"fabrion": 1, "switches": {"a\tb": {"ports": "e1"}}})",
      host("7"),
      host(R"({"port": "e1"})"),
      host(R"({"ports": []})"),
      host(R"({"ports": null})"),
      host(R"({"ports": [["e1"]]})"),
      host(R"({"ports": ["e1", null]})"),
      host(R"({"ports": ""})"),
      host(R"({"ports": "e[1-]"})"),
      host(R"({"ports": "e[1-2"})"),
      host(R"({"ports": "e]"})"),
      host(R"({"ports": "e[1-1234567890]"})"),
      host(R"({"hostname": ["x"]})"),
      host(R"({"hostname": ""})"),
      host(R"({"hostname": "a\u007fb"})"),
      host(R"({"hostname": "a\u0085b"})"),
      host(R"({"hostname": ")" + std::string(256, 'x') + R"("})"),
      host(R"({"ports": "e1", "groups": {"g": []}})"),
      host(R"({"ports": "e1", "groups": ["g"]})"),
      host(R"({"ports": "e1", "groups": {"": "e1"}})"),
      link(R"("s:e1")"),
      link(R"(["s:e1"])"),
      link(R"(["s:e1", "h:eth0", "s:e2"])"),
      link(R"(["s:e1", "eth0"])"),
      link(R"(["s:e[1-2]", "h:eth0"])"),
      link(R"(["s:e1", ":eth0"])"),
      link(R"(["s:e1", "h:"])"),
      link(R"([["s", "e1", "e2"], "h:eth0"])"),
      link(R"([["s", "e[1-2]"], "h:eth0"])"),
      link(R"({"from": "s:e1"})"),
      link(R"({"from": "s:e1", "to": "h:eth0", "via": 1})"),
      link(R"({"from": "s:e1", "to": null})"),
      withGround(R"("requests": ["c"])"),
      withGround(R"("requests": [{"hostname": "x", "vlans": 1}])"),
      request(R"("vlans": 1)"),
      request(R"("hostname": "x")"),
      request(R"("hostname": "x", "vlans": [])"),
      request(R"("hostname": "x", "vlans": 0)"),
      request(R"("hostname": "x", "vlans": 4095)"),
      request(R"("hostname": "x", "vlans": [1, "4095"])"),
      request(R"("hostname": "x", "vlans": "010")"),
      request(R"("hostname": "x", "vlans": "1-")"),
      request(R"("hostname": "x", "vlans": "1,")"),
      request(R"("hostname": "x", "vlans": "ten")"),
      request(R"("hostname": "x", "vlans": true)"),
      request(R"("hostname": "x", "vlans": {"10": 1})"),
      request(R"("hostname": "x", "vlans": 1, "native": 1)"),
      request(R"("hostname": "x", "vlans": 1, "switch": "s")"),
      request(R"("hostname": "x", "vlans": 1, "colour": "blue")"),
      request(R"("switch": "s", "port": "e1")"),
      request(R"("switch": "s", "vlans": 1)"),
      request(R"("port": "e1", "vlans": 1)"),
      request(R"("switch": "s", "port": "e[1-2]", "vlans": 1)"),
      request(R"("switch": "s", "port": "e1", "native": 0)"),
      request(R"("switch": "s", "port": "e1", "native": "1-2")"),
      request(R"("switch": "s", "port": "e1", "native": [1])"),
      request(R"("switch": "s", "port": "e1", "remote hosts": [])"),
      request(R"("switch": "s", "port": "e1", "remote hosts": [["far"]])"),
      request(R"("switch": ["s"], "port": "e1", "vlans": 1)"),
      host(R"({"vteps": "v"})"),
      R"({"fabrion": 1, "switches": {"a": {"ports": "e1", "vteps": []}}})",
      R"({"fabrion": 1, "switches": {"a": {"ports": "e1", "vteps": {"v": 1}}}})",
      request(R"("hostname": "x", "vlans": 1, "vnis": 7)"),
      request(R"("hostname": "x", "vlans": 1, "vnis": {"1": 0})"),
      request(R"("hostname": "x", "vlans": 1, "vnis": {"1": 16777216})"),
      request(R"("hostname": "x", "vlans": 1, "vnis": {"1": "16777216"})"),
      request(R"("hostname": "x", "vlans": 1, "vnis": {"1": []})"),
      request(R"("hostname": "x", "vlans": 1, "vnis": {"1,2": 7})"),
      request(R"("hostname": "x", "vlans": 1, "vnis": {"0": 7})"),
      request(R"("hostname": "x", "vlans": 1, "domains": [])"),
      request(R"("hostname": "x", "vlans": 1, "domains": "a/")"),
      request(R"("hostname": "x", "vlans": 1, "domains": "/a")"),
      request(R"("hostname": "x", "vlans": 1, "domains": [["", "b"]])"),
      request(R"("hostname": "x", "vlans": 1, "domains": [["a"]])"),
      request(R"("hostname": "x", "vlans": 1, "domains": {"x": "a"})"),
      request(R"("switch": "s", "port": "e1", "native": 1, "vnis": {"1": 7})"),
      request(R"("switch": "s", "port": "e1", "native": 1, "domains": "a")"),
      R"({"fabrion": 1, "static maps": []})",
      R"({"fabrion": 1, "static maps": {"a": {"1": [7]}}})",
      R"({"fabrion": 1, "static maps": {"a": {"1": 0}}})",
      R"({"fabrion": 1, "static maps": {"a": {"4095": 1}}})",
      R"({"fabrion": 1, "static maps": {"a/": {"1": 1}}})",
  };
}

TEST(FabricDocumentSchema, AcceptsWhatTheParserAccepts) {
  for (const std::string& text : rightDocuments()) {
    EXPECT_TRUE(parserAccepts(text)) << text;
    EXPECT_TRUE(schema().accepts(Json::parse(text))) << text;
  }
}

TEST(FabricDocumentSchema, RejectsWhatTheParserRejects) {
  for (const std::string& text : wrongDocuments()) {
    EXPECT_FALSE(parserAccepts(text)) << text;
    EXPECT_FALSE(schema().accepts(Json::parse(text))) << text;
  }
}

TEST(FabricDocumentSchema, AListHasAtMost4096Entries) {
  for (const bool tooMany : {false, true}) {
    std::string list = tooMany ? "1,1" : "1";
    for (int i = 1; i < 4096; ++i) list += ",1";
    const std::string text = request(R"("hostname": "x", "vlans": [)" + list + "]");
    EXPECT_EQ(parserAccepts(text), !tooMany);
    EXPECT_EQ(schema().accepts(Json::parse(text)), !tooMany);
  }
}

// A YAML value as an editor sees it, which holds the schema against it.
Json asJson(const YAML::Node& node) {
  if (node.IsNull()) return nullptr;
  if (node.IsSequence()) {
    Json list = Json::array();
    for (const auto& each : node) list.push_back(asJson(each));
    return list;
  }
  if (node.IsMap()) {
    Json map = Json::object();
    for (const auto& pair : node) map[pair.first.Scalar()] = asJson(pair.second);
    return map;
  }
  static const std::regex integer("0|[1-9][0-9]*");
  if (node.Tag() != "!" && std::regex_match(node.Scalar(), integer))
    return std::stoi(node.Scalar());
  return node.Scalar();
}

TEST(FabricDocumentSchema, AcceptsTheExamples) {
  for (const char* name : {"examples/two-switches.yaml", "examples/leaf-spine.yaml"}) {
    EXPECT_TRUE(schema().accepts(asJson(YAML::Load(sourceText(name))))) << name;
  }
}

}  // namespace
}  // namespace Fabrion::Host
