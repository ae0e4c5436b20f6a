#pragma once
// Gathers the mistakes found in a set of documents, in any order, and gives them out sorted.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host/FabricDocument.h"
#include "host/Limits.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

class Mistakes {
 public:
  explicit Mistakes(std::vector<std::string> files) : files_(std::move(files)) {}
  // The same for what is no mistake: `rest` is what is said of those that are not kept.
  Mistakes(std::vector<std::string> files, std::string rest)
      : files_(std::move(files)), rest_(std::move(rest)) {}

  // Beyond `Limits::problems` a mistake is counted and not kept.
  void add(Place place, std::string text);

  bool none() const { return found_.empty(); }

  // `FILE:LINE:COLUMN`, to point from one mistake to another place.
  std::string where(Place place) const;

  // In the order of places. A mistake that is found twice at one place, as behind a YAML alias,
  // stands once. O(n log n).
  std::vector<Problem> sorted() const;

 private:
  const std::vector<std::string> files_;
  const std::string rest_ = "more than " + std::to_string(Limits::problems) + " mistakes";
  std::vector<std::pair<Place, std::string>> found_;
  std::size_t notKept_ = 0;
};

}  // namespace Fabrion::Host
