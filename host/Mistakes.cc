#include "host/Mistakes.h"

#include <algorithm>

namespace Fabrion::Host {

void Mistakes::add(Place place, std::string text) {
  if (found_.size() == Limits::problems) {
    ++notKept_;
    return;
  }
  found_.emplace_back(place, std::move(text));
}

std::string Mistakes::where(Place place) const {
  std::string where = files_.at(place.document);
  if (place.line != 0) {
    where += ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
  }
  return where;
}

std::vector<Problem> Mistakes::sorted() const {
  auto found = found_;
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  std::vector<Problem> problems;
  problems.reserve(found.size() + 1);
  for (const auto& [place, text] : found) {
    problems.push_back({files_.at(place.document), place.line, place.column, text});
  }
  if (notKept_ != 0) {
    problems.push_back({problems.back().file, 0, 0, rest_ + "; the rest is not shown"});
  }
  return problems;
}

}  // namespace Fabrion::Host
