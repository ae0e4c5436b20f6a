#pragma once
// Gathers the mistakes found in a set of documents, in any order, and gives them out sorted.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "host/FabricDocument.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

class Mistakes {
 public:
  explicit Mistakes(std::vector<std::string> files) : files_(std::move(files)) {}

  // Beyond `Limits::problems` a mistake is counted and not kept.
  void add(Place place, std::string text);

  bool none() const { return found_.empty(); }

  // `FILE:LINE:COLUMN`, to point from one mistake to another place.
  std::string where(Place place) const;

  // In the order of places. A mistake that is found twice at one place, as behind a YAML alias,
  // stands once. O(n log n).
  std::vector<Problem> sorted() const;

 private:
  std::vector<std::string> files_;
  std::vector<std::pair<Place, std::string>> found_;
  std::size_t notKept_ = 0;
};

}  // namespace Fabrion::Host
