#pragma once
// The values of a YAML text. Built from the events of yaml-cpp and not by its own loader, which
// never returns from some texts that are no YAML (one that starts with a `,` is enough), keeps some
// 500 bytes for each value, and tells nothing of what stood before a fault.

#include <yaml-cpp/anchor.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/mark.h>

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace Fabrion::Host {

struct YamlValue {
  enum class Kind { nothing, scalar, list, map };

  Kind kind = Kind::nothing;
  bool isQuoted = false;
  // From 0, the column in bytes. Of `nothing` it points behind the place, often into the next line.
  std::size_t line = 0;
  std::size_t column = 0;
  std::string text;                      // of a scalar
  std::vector<const YamlValue*> values;  // of a list; of a map key, value, key, value, as written

  struct Entry {
    const YamlValue& key;
    const YamlValue& value;
  };
  // Of a map, keys that stand twice included.
  std::vector<Entry> entries() const;

  bool isNothing() const { return kind == Kind::nothing; }
  bool isScalar() const { return kind == Kind::scalar; }
  bool isList() const { return kind == Kind::list; }
  bool isMap() const { return kind == Kind::map; }
};

struct YamlFault {
  std::size_t line = 0;  // both as in a value
  std::size_t column = 0;
  std::string text;  // what is wrong
};

// The documents of a text as trees. An alias is the very value of its anchor, so that a value may
// stand in several places, itself included. Holds `Limits::values` values at most; more are a
// fault.
class YamlTree : private YAML::EventHandler {
 public:
  // Never throws but for memory.
  explicit YamlTree(const std::string& text);

  // The documents that came before the fault, or all.
  const std::vector<const YamlValue*>& documents() const { return documents_; }
  const std::optional<YamlFault>& fault() const { return fault_; }

 private:
  using Anchor = YAML::anchor_t;  // 0 for none

  void OnDocumentStart(const YAML::Mark& mark) override;
  void OnDocumentEnd() override;
  void OnNull(const YAML::Mark& mark, Anchor anchor) override;
  void OnAlias(const YAML::Mark& mark, Anchor anchor) override;
  void OnScalar(const YAML::Mark& mark, const std::string& tag, Anchor anchor,
                const std::string& text) override;
  void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, Anchor anchor,
                       YAML::EmitterStyle::value style) override;
  void OnSequenceEnd() override { open_.pop_back(); }
  void OnMapStart(const YAML::Mark& mark, const std::string& tag, Anchor anchor,
                  YAML::EmitterStyle::value style) override;
  void OnMapEnd() override { open_.pop_back(); }

  YamlValue& add(YamlValue::Kind kind, const YAML::Mark& mark, Anchor anchor);
  void place(const YamlValue& value);
  void faultIs(const YAML::Mark& mark, std::string text);

  std::deque<YamlValue> values_;
  std::vector<const YamlValue*> documents_;
  std::optional<YamlFault> fault_;
  bool isFull_ = false;
  // While a document is built.
  const YamlValue* root_ = nullptr;
  std::vector<YamlValue*> open_;
  std::vector<const YamlValue*> anchors_;  // the anchors of a document count from 1
  std::optional<int> lastStart_;
};

}  // namespace Fabrion::Host
