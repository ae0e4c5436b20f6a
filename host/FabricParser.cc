#include "host/FabricParser.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/FabricText.h"
#include "host/Limits.h"
#include "host/RequestParser.h"
#include "host/StaticMapParser.h"
#include "host/YamlShapes.h"

namespace Fabrion::Host {

namespace {

constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

class Parser : private YamlShapes {
 public:
  Parser(std::size_t document, const std::string& text, WrittenFabric& fabric, Mistakes& mistakes)
      : YamlShapes(document, text, mistakes), document_(document), text_(text), fabric_(fabric) {}

  void parse();

 private:
  bool readable();
  void root(const YamlValue& node);
  void sections(const YamlValue& node, Place place);

  bool ports(const YamlValue& node, Place place, const std::string& of, std::vector<Word>& to);
  void nodes(const YamlValue& node, Place place, bool areSwitches);
  WrittenNode node(const Word& name, const YamlValue& body, bool isSwitch);
  void links(const YamlValue& node, Place place);
  void link(const YamlValue& node, Place place);
  std::optional<WrittenEnd> end(const YamlValue& node, Place place);

  const std::size_t document_;
  const std::string& text_;
  WrittenFabric& fabric_;
};

// ---- The document as a whole

void Parser::parse() {
  if (!readable()) {
    fabric_.whole = false;
    return;
  }
  const YamlTree tree(text_);
  for (const YamlValue* each : tree.documents()) root(*each);
  if (const auto& fault = tree.fault()) {
    fabric_.whole = false;
    const bool tab = lines().indentedWithTab(fault->line);
    wrong(lines().place(document_, fault->line, fault->column),
          fault->text + (tab ? "; the line is indented with a tab, expected blanks" : ""));
  } else if (tree.documents().empty()) {
    wrong({document_, 1, 1}, "nothing in it; expected a document that says 'fabrion: 1'");
  }
}

// The YAML library takes ill-formed text without a word and replaces what it cannot read.
bool Parser::readable() {
  if (const auto at = firstNonUtf8(text_)) {
    wrong(lines().placeOfByte(document_, *at), "not UTF-8; expected the file in that encoding");
    return false;
  }
  const auto control = std::find_if(text_.begin(), text_.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t' && c != '\n' && c != '\r') || byte == 0x7f;
  });
  if (control == text_.end()) return true;
  wrong(lines().placeOfByte(document_, static_cast<std::size_t>(control - text_.begin())),
        "a control character, " + shown(std::string_view(&*control, 1)) + "; expected text");
  return false;
}

void Parser::root(const YamlValue& node) {
  const Place place = placeOf(node, {document_, 1, 1});
  if (!node.isMap()) {
    wrong(place, kindOf(node) + " as the document; expected a map that says 'fabrion: 1'");
    fabric_.whole = false;
    return;
  }
  // Another version may mean something else by every key, so it comes first wherever it stands.
  for (const auto& [key, value] : node.entries()) {
    if (!key.isScalar() || key.text != "fabrion") continue;
    const bool isOne = value.isScalar() && value.text == "1";
    if (isOne && !value.isQuoted) return sections(node, place);
    wrong(placeOf(value, placeOf(key, place)),
          "version " + kindOf(value) + " of the document; expected 'fabrion: 1'" +
              (isOne ? ", without quotes around the number" : ""));
    fabric_.whole = false;
    return;
  }
  wrong(place, "no version; expected 'fabrion: 1' at the start of the document");
  sections(node, place);
}

void Parser::sections(const YamlValue& node, Place place) {
  const auto version = [](const YamlValue&, Place) {};
  const bool right = keys(
      node, place, "the document",
      {{"fabrion", version},
       {"switches", [this](const YamlValue& value, Place at) { nodes(value, at, true); }},
       {"hosts", [this](const YamlValue& value, Place at) { nodes(value, at, false); }},
       {"links", [this](const YamlValue& value, Place at) { links(value, at); }},
       {"requests",
        [this](const YamlValue& value, Place at) { readRequests(value, at, *this, fabric_); }},
       {"static maps",
        [this](const YamlValue& value, Place at) { readStaticMaps(value, at, *this, fabric_); }}});
  if (!right) fabric_.whole = false;
}

// ---- Switches and hosts

bool Parser::ports(const YamlValue& node, Place place, const std::string& of,
                   std::vector<Word>& to) {
  bool right = true;
  bool tooMany = false;
  const bool shape = oneOrMore(node, place, of, [&](const YamlValue& each, Place at) {
    const auto text = scalar(each, at, of);
    if (!text) {
      right = false;
      return;
    }
    const Place own = placeOf(each, at);
    if (const auto fault = checkName(*text)) {
      wrong(own, fault->text + ", in " + of);
      right = false;
      return;
    }
    auto names = expandPorts(*text);
    if (const auto* fault = std::get_if<Wrong>(&names)) {
      wrong(own, fault->text);
      right = false;
      return;
    }
    auto& expanded = std::get<std::vector<std::string>>(names);
    if (tooMany || !spend(fabric_.names, expanded.size(), Limits::names, own, "names")) {
      right = false;
      return;
    }
    if (to.size() + expanded.size() > Limits::listEntries) {
      wrong(own, "more than " + std::to_string(Limits::listEntries) + " ports in " + of);
      tooMany = true;
      right = false;
      return;
    }
    for (std::string& port : expanded) to.push_back({std::move(port), own});
  });
  return shape && right;
}

void Parser::nodes(const YamlValue& node, Place place, bool areSwitches) {
  auto& to = areSwitches ? fabric_.switches : fabric_.hosts;
  const bool right = named(node, place, areSwitches ? "the switches" : "the hosts",
                           [&](const Word& name, const YamlValue& body) {
                             to.push_back(this->node(name, body, areSwitches));
                           });
  if (!right) fabric_.whole = false;
}

WrittenNode Parser::node(const Word& name, const YamlValue& body, bool isSwitch) {
  const Place place = name.place;
  const std::string of = (isSwitch ? "switch " : "host ") + shown(name.text);
  WrittenNode node{name, name, {}, {}};
  bool portsWritten = false;
  const auto readHostname = [&](const YamlValue& value, Place at) {
    if (auto word = this->name(value, at, "the hostname of " + of)) node.hostname = *word;
  };
  const auto readPorts = [&](const YamlValue& value, Place at) {
    portsWritten = true;
    if (!ports(value, at, "the ports of " + of, node.ports)) node.whole = false;
  };
  const auto readGroups = [&](const YamlValue& value, Place at) {
    const auto group = [&](Word groupName, const YamlValue& members) {
      WrittenGroup written{std::move(groupName), {}};
      const std::string ofGroup = "port group " + shown(written.name.text) + " of " + of;
      ports(members, written.name.place, ofGroup, written.members);
      node.groups.push_back(std::move(written));
    };
    named(value, at, "the port groups of " + of, group);
  };
  const auto readVteps = [&](const YamlValue& value, Place at) {
    if (!isSwitch) {
      wrong(at, "'vteps' in " + of + "; expected it in a switch alone");
      return;
    }
    oneOrMore(value, at, "the VTEPs of " + of, [&](const YamlValue& each, Place where) {
      auto vtep = this->name(each, where, "a VTEP of " + of);
      if (vtep && spend(fabric_.names, 1, Limits::names, vtep->place, "names")) {
        node.vteps.push_back(*std::move(vtep));
      }
    });
  };
  // Nothing behind the name of a host leaves everything at its default.
  if (!(body.isNothing() && !isSwitch)) {
    const bool right = keys(body, place, of,
                            {{"hostname", readHostname},
                             {"ports", readPorts},
                             {"groups", readGroups},
                             {"vteps", readVteps}});
    // An unknown key may well be a misspelt `ports`.
    if (!right) node.whole = false;
    if (right && isSwitch && !portsWritten) {
      wrong(place, of + " has no ports; expected the key 'ports'");
      node.whole = false;
    }
  }
  return node;
}

// ---- Links

void Parser::links(const YamlValue& node, Place place) {
  list(node, place, "the links", [this](const YamlValue& each, Place at) { link(each, at); });
}

void Parser::link(const YamlValue& node, Place place) {
  const Place at = placeOf(node, place);
  std::optional<WrittenEnd> a;
  std::optional<WrittenEnd> b;
  if (node.isMap()) {
    bool from = false;
    bool to = false;
    const auto readFrom = [&](const YamlValue& value, Place key) {
      from = true;
      a = end(value, key);
    };
    const auto readTo = [&](const YamlValue& value, Place key) {
      to = true;
      b = end(value, key);
    };
    const bool right = keys(node, at, "a link", {{"from", readFrom}, {"to", readTo}});
    if (right && !(from && to)) wrong(at, "a link with one end; expected both 'from' and 'to'");
  } else if (node.isList() && node.values.size() == 2) {
    a = end(*node.values[0], at);
    b = end(*node.values[1], at);
  } else {
    wrong(at, (node.isList() ? "a list of " + std::to_string(node.values.size()) : kindOf(node)) +
                  " as a link; expected its two ends, as in [leaf1:e1, srv1:eth0]");
  }
  fabric_.links.push_back({at, std::move(a), std::move(b)});
}

std::optional<WrittenEnd> Parser::end(const YamlValue& node, Place place) {
  const Place at = placeOf(node, place);
  if (node.isList() && node.values.size() == 2) {
    auto nodeName = name(*node.values[0], at, "a switch or host of a link");
    auto port = portName(*node.values[1], at, "a port of a link");
    if (!nodeName || !port) return std::nullopt;
    return WrittenEnd{*std::move(nodeName), *std::move(port)};
  }
  // Ports may have a ':' in their names (e1:2 is a common form), nodes seldom do: the first one
  // splits.
  const std::string text = node.isScalar() ? node.text : std::string();
  const auto colon = text.find(':');
  if (colon == std::string::npos) {
    wrong(at, kindOf(node) + " as an end of a link; expected NODE:PORT or [NODE, PORT]");
    return std::nullopt;
  }
  const WrittenEnd end{{text.substr(0, colon), at}, {text.substr(colon + 1), at}};
  auto fault = checkName(end.node.text);
  if (!fault) fault = checkPortName(end.port.text);
  if (!fault) return end;
  wrong(at, fault->text + ", in the end of a link " + shown(text));
  return std::nullopt;
}

}  // namespace

void parseDocument(std::size_t document, const std::string& text, WrittenFabric& fabric,
                   Mistakes& mistakes) {
  // A byte order mark is no part of the first line's columns.
  const bool marked = text.compare(0, byteOrderMark.size(), byteOrderMark) == 0;
  const std::string plain = marked ? text.substr(byteOrderMark.size()) : std::string();
  Parser(document, marked ? plain : text, fabric, mistakes).parse();
}

}  // namespace Fabrion::Host
