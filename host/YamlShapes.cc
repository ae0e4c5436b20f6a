#include "host/YamlShapes.h"

#include <algorithm>
#include <map>

#include "host/FabricText.h"
#include "host/Limits.h"

namespace Fabrion::Host {

namespace {

bool startsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }

}  // namespace

Lines::Lines(const std::string& text) : text_(text), starts_{0} {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i % stride == 0) characters_.push_back(characters);
    if (startsCharacter(text[i])) ++characters;
    if (text[i] == '\n') starts_.push_back(i + 1);
  }
  if (text.size() % stride == 0) characters_.push_back(characters);
}

std::size_t Lines::charactersBefore(std::size_t at) const {
  std::size_t characters = characters_[at / stride];
  for (std::size_t i = at - at % stride; i < at; ++i) {
    if (startsCharacter(text_[i])) ++characters;
  }
  return characters;
}

Place Lines::place(std::size_t document, std::size_t line, std::size_t byte) const {
  line = std::min(line, starts_.size() - 1);
  const std::size_t start = starts_[line];
  const std::size_t end = std::min(start + byte, text_.size());
  const std::size_t column = charactersBefore(end) - charactersBefore(start) + 1;
  return {document, static_cast<U32>(line + 1), static_cast<U32>(column)};
}

Place Lines::placeOfByte(std::size_t document, std::size_t at) const {
  const auto next = std::upper_bound(starts_.begin(), starts_.end(), at);
  const auto line = static_cast<std::size_t>(next - starts_.begin()) - 1;
  return place(document, line, at - starts_[line]);
}

bool Lines::indentedWithTab(std::size_t line) const {
  if (line >= starts_.size()) return false;
  const auto first = text_.find_first_not_of(' ', starts_[line]);
  return first != std::string::npos && text_[first] == '\t';
}

std::string kindOf(const YamlValue& node) {
  if (node.isMap()) return "a map";
  if (node.isList()) return "a list";
  if (node.isScalar()) return shown(node.text);
  return "nothing";
}

bool YamlShapes::spend(std::size_t& spent, std::size_t more, std::size_t limit, Place place,
                       const std::string& of) {
  if (spent > limit) return false;  // told already
  spent += more;
  if (spent <= limit) return true;
  wrong(place, "more than " + std::to_string(limit) + " " + of + " in all documents together");
  return false;
}

Place YamlShapes::placeOf(const YamlValue& node, Place otherwise) const {
  return node.isNothing() ? otherwise : lines_.place(document_, node.line, node.column);
}

bool YamlShapes::keys(const YamlValue& node, Place place, const std::string& of,
                      std::initializer_list<Key> known) {
  if (!node.isMap()) {
    wrong(placeOf(node, place), kindOf(node) + " as " + of + "; expected a map");
    return false;
  }
  const auto twice = [&](const std::string& text, Place first) {
    return "the key " + shown(text) + " stands twice in " + of + ", first at " +
           mistakes_.where(first);
  };
  bool right = true;
  std::map<std::string, Place> seen;
  for (const auto& [key, value] : node.entries()) {
    const Place at = placeOf(key, place);
    const std::string text = key.isScalar() ? key.text : std::string();
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const Key& each) { return each.name == text; });
    if (found == known.end()) {
      std::vector<std::string_view> names;
      std::string all;
      for (const Key& each : known) {
        names.push_back(each.name);
        if (!all.empty()) all += ", ";
        all += each.name;
      }
      const std::string near = nearNames(text, names);
      wrong(at, "unknown key " + kindOf(key) + " in " + of +
                    (near.empty() ? "; expected one of: " + all : near));
      right = false;
      continue;
    }
    const auto [first, isNew] = seen.emplace(text, at);
    if (!isNew) {
      wrong(at, twice(text, first->second));
      right = false;
      continue;
    }
    found->read(value, at);
  }
  return right;
}

bool YamlShapes::named(const YamlValue& node, Place place, const std::string& of,
                       const NamedEntry& entry) {
  if (!node.isMap()) {
    wrong(placeOf(node, place),
          kindOf(node) + " as " + of + "; expected a map with the names as keys");
    return false;
  }
  bool right = true;
  for (const auto& [key, value] : node.entries()) {
    if (auto word = name(key, place, "a name in " + of)) {
      entry(*std::move(word), value);
    } else {
      right = false;
    }
  }
  return right;
}

bool YamlShapes::list(const YamlValue& node, Place place, const std::string& of,
                      const Entry& entry) {
  if (!node.isList()) {
    wrong(placeOf(node, place), kindOf(node) + " as " + of + "; expected a list");
    return false;
  }
  const Place at = placeOf(node, place);
  for (const YamlValue* each : node.values) entry(*each, at);
  return true;
}

bool YamlShapes::oneOrMore(const YamlValue& node, Place place, const std::string& of,
                           const Entry& entry) {
  const Place at = placeOf(node, place);
  if (node.isScalar()) {
    entry(node, at);
    return true;
  }
  if (!node.isList() || node.values.empty()) {
    wrong(at, (node.isList() ? "an empty list" : kindOf(node)) + " as " + of +
                  "; expected one or a list of them");
    return false;
  }
  if (node.values.size() > Limits::listEntries) {
    wrong(at, "a list of " + std::to_string(node.values.size()) + " entries as " + of +
                  "; at most " + std::to_string(Limits::listEntries) + " may stand in one");
    return false;
  }
  for (const YamlValue* each : node.values) entry(*each, at);
  return true;
}

std::optional<std::string> YamlShapes::scalar(const YamlValue& node, Place place,
                                              const std::string& what) {
  if (node.isScalar()) return node.text;
  wrong(placeOf(node, place), kindOf(node) + " as " + what + "; expected one text");
  return std::nullopt;
}

std::optional<Word> YamlShapes::name(const YamlValue& node, Place place, const std::string& what) {
  auto text = scalar(node, place, what);
  if (!text) return std::nullopt;
  const Place at = placeOf(node, place);
  if (const auto fault = checkName(*text)) {
    wrong(at, fault->text + ", as " + what);
    return std::nullopt;
  }
  return Word{*std::move(text), at};
}

std::optional<Word> YamlShapes::portName(const YamlValue& node, Place place,
                                         const std::string& what) {
  auto word = name(node, place, what);
  if (!word) return std::nullopt;
  if (const auto fault = checkPortName(word->text)) {
    wrong(word->place, fault->text);
    return std::nullopt;
  }
  return word;
}

std::optional<WrittenDomain> YamlShapes::domain(const YamlValue& node, Place place) {
  const Place at = placeOf(node, place);
  if (node.isScalar()) {
    auto domain = parseDomain(node.text);
    if (const auto* fault = std::get_if<Wrong>(&domain)) {
      wrong(at, fault->text);
      return std::nullopt;
    }
    return WrittenDomain{std::get<DomainName>(std::move(domain)), at};
  }
  if (!node.isList() || node.values.size() != 2) {
    wrong(at, (node.isList() ? "a list of " + std::to_string(node.values.size()) : kindOf(node)) +
                  " as a domain; expected FIRST, FIRST/SECOND or [FIRST, SECOND]");
    return std::nullopt;
  }
  const YamlValue& last = *node.values[1];
  const bool noSecond = last.isScalar() && last.text.empty();
  auto first = name(*node.values[0], at, "the first field of a domain");
  auto second = noSecond ? Word{"", at} : name(last, at, "the second field of a domain");
  if (!first || !second) return std::nullopt;
  return WrittenDomain{{std::move(first->text), std::move(second->text)}, at};
}

std::optional<WrittenRange> YamlShapes::range(
    const YamlValue& node, Place place, const std::string& what,
    std::variant<NumberRange, Wrong> (*parse)(std::string_view)) {
  const auto text = scalar(node, place, what);
  if (!text) return std::nullopt;
  const Place at = placeOf(node, place);
  const auto range = parse(*text);
  if (const auto* fault = std::get_if<Wrong>(&range)) {
    wrong(at, fault->text);
    return std::nullopt;
  }
  return WrittenRange{std::get<NumberRange>(range), at};
}

std::optional<WrittenRange> YamlShapes::vlanRange(const YamlValue& node, Place place) {
  return range(node, place, "VLANs", parseVlanRange);
}

std::optional<WrittenRange> YamlShapes::vniRange(const YamlValue& node, Place place) {
  return range(node, place, "VNIs", parseVniRange);
}

}  // namespace Fabrion::Host
