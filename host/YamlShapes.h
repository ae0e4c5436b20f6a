#pragma once
// Takes YAML values in the shapes that a document is made of, a map with fixed keys, a map of
// names, a list, one name, and reports a value of another shape at its place. `FabricParser.cc`
// says which shape stands where.

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/FabricText.h"
#include "host/Mistakes.h"
#include "host/WrittenFabric.h"
#include "host/YamlTree.h"

namespace Fabrion::Host {

// Where the lines of a text start, to turn the byte columns of the YAML library into characters.
// Lines and bytes count from 0 here, places from 1. `text` is kept by reference.
class Lines {
 public:
  explicit Lines(const std::string& text);

  Place place(std::size_t document, std::size_t line, std::size_t byte) const;
  Place placeOfByte(std::size_t document, std::size_t at) const;
  bool indentedWithTab(std::size_t line) const;

 private:
  std::size_t charactersBefore(std::size_t at) const;

  const std::string& text_;
  std::vector<std::size_t> starts_;
  // Characters before each `stride` bytes: a document in one line of megabytes, as programs write
  // JSON, shall not be counted through for each of its values.
  static constexpr std::size_t stride = 256;
  std::vector<std::size_t> characters_;
};

// A value as messages call it: "a map", "a list", the text itself in quotes, or "nothing".
std::string kindOf(const YamlValue& node);

// The functions take, with a value, the place to report when the value has none of its own, as one
// that is missing, and how messages call the value. They return whether the shape was right; what
// an `Entry` finds wrong in its part, the caller has to remember.
class YamlShapes {
 public:
  // `text` is kept by reference.
  YamlShapes(std::size_t document, const std::string& text, Mistakes& mistakes)
      : document_(document), lines_(text), mistakes_(mistakes) {}

  struct Key {
    std::string_view name;
    std::function<void(const YamlValue& value, Place key)> read;
  };
  using Entry = std::function<void(const YamlValue& value, Place otherwise)>;
  using NamedEntry = std::function<void(Word name, const YamlValue& value)>;

  void wrong(Place place, std::string text) { mistakes_.add(place, std::move(text)); }
  // Whether `limit` allows for `more`, which are then `spent`; says so once when it does not.
  bool spend(std::size_t& spent, std::size_t more, std::size_t limit, Place place,
             const std::string& of);
  Place placeOf(const YamlValue& node, Place otherwise) const;
  const Lines& lines() const { return lines_; }

  // Reports unknown keys and keys that stand twice.
  bool keys(const YamlValue& node, Place place, const std::string& of,
            std::initializer_list<Key> known);
  // Names that stand twice are handed out twice.
  bool named(const YamlValue& node, Place place, const std::string& of, const NamedEntry& entry);
  bool list(const YamlValue& node, Place place, const std::string& of, const Entry& entry);
  // One scalar, or a list of `Limits::listEntries` at most, not empty.
  bool oneOrMore(const YamlValue& node, Place place, const std::string& of, const Entry& entry);
  std::optional<std::string> scalar(const YamlValue& node, Place place, const std::string& what);
  std::optional<Word> name(const YamlValue& node, Place place, const std::string& what);
  std::optional<Word> portName(const YamlValue& node, Place place, const std::string& what);
  // FIRST, FIRST/SECOND or [FIRST, SECOND].
  std::optional<WrittenDomain> domain(const YamlValue& node, Place place);
  // A VLAN or VNI, or a range of them.
  std::optional<WrittenRange> vlanRange(const YamlValue& node, Place place);
  std::optional<WrittenRange> vniRange(const YamlValue& node, Place place);

 private:
  std::optional<WrittenRange> range(const YamlValue& node, Place place, const std::string& what,
                                    std::variant<NumberRange, Wrong> (*parse)(std::string_view));

  const std::size_t document_;
  const Lines lines_;
  Mistakes& mistakes_;
};

}  // namespace Fabrion::Host
