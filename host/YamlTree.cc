#include "host/YamlTree.h"

#include <yaml-cpp/depthguard.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <sstream>
#include <string>
#include <utility>

#include "host/Limits.h"

namespace Fabrion::Host {

std::vector<YamlValue::Entry> YamlValue::entries() const {
  std::vector<Entry> all;
  all.reserve(values.size() / 2);
  for (std::size_t i = 1; i < values.size(); i += 2) all.push_back({*values[i - 1], *values[i]});
  return all;
}

YamlTree::YamlTree(const std::string& text) {
  std::istringstream stream(text);
  try {
    YAML::Parser parser(stream);
    while (parser.HandleNextDocument(*this)) {
    }
  } catch (const YAML::DeepRecursion& fault) {
    // The library words it as if the file could not be read.
    faultIs(fault.mark,
            "values are nested " + std::to_string(fault.depth()) + " deep; expected fewer levels");
  } catch (const YAML::Exception& fault) {
    faultIs(fault.mark, (isFull_ ? "" : "not YAML: ") + fault.msg);
  }
}

void YamlTree::faultIs(const YAML::Mark& mark, std::string text) {
  fault_.emplace();
  fault_->text = std::move(text);
  if (mark.is_null()) return;
  fault_->line = static_cast<std::size_t>(mark.line);
  fault_->column = static_cast<std::size_t>(mark.column);
}

void YamlTree::OnDocumentStart(const YAML::Mark& mark) {
  // Where no value can start, the parser hands out an empty document and stays where it is, for
  // ever.
  if (lastStart_ && mark.pos <= *lastStart_) {
    documents_.pop_back();
    throw YAML::ParserException(mark, "a document cannot start here");
  }
  lastStart_ = mark.pos;
  root_ = nullptr;
  open_.clear();
  anchors_.clear();
}

void YamlTree::OnDocumentEnd() {
  if (root_ != nullptr) documents_.push_back(root_);
}

YamlValue& YamlTree::add(YamlValue::Kind kind, const YAML::Mark& mark, Anchor anchor) {
  if (values_.size() == Limits::values) {
    isFull_ = true;
    throw YAML::ParserException(mark, "more than " + std::to_string(Limits::values) +
                                          " values, the most that a file may hold");
  }
  YamlValue& value = values_.emplace_back();
  value.kind = kind;
  value.line = static_cast<std::size_t>(mark.line);
  value.column = static_cast<std::size_t>(mark.column);
  if (anchor != 0) {
    if (anchors_.size() < anchor) anchors_.resize(anchor);
    anchors_[anchor - 1] = &value;
  }
  place(value);
  return value;
}

void YamlTree::place(const YamlValue& value) {
  if (open_.empty()) {
    root_ = &value;
  } else {
    open_.back()->values.push_back(&value);
  }
}

void YamlTree::OnNull(const YAML::Mark& mark, Anchor anchor) {
  add(YamlValue::Kind::nothing, mark, anchor);
}

void YamlTree::OnAlias(const YAML::Mark&, Anchor anchor) { place(*anchors_.at(anchor - 1)); }

void YamlTree::OnScalar(const YAML::Mark& mark, const std::string& tag, Anchor anchor,
                        const std::string& text) {
  YamlValue& value = add(YamlValue::Kind::scalar, mark, anchor);
  value.text = text;
  value.isQuoted = tag == "!";
}

void YamlTree::OnSequenceStart(const YAML::Mark& mark, const std::string&, Anchor anchor,
                               YAML::EmitterStyle::value) {
  open_.push_back(&add(YamlValue::Kind::list, mark, anchor));
}

void YamlTree::OnMapStart(const YAML::Mark& mark, const std::string&, Anchor anchor,
                          YAML::EmitterStyle::value) {
  open_.push_back(&add(YamlValue::Kind::map, mark, anchor));
}

}  // namespace Fabrion::Host
