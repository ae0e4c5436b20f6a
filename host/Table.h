#pragma once
// A table of text for people, columns aligned, drawn by libsmartcols.

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

struct libscols_table;

namespace Fabrion::Host {

class Table {
 public:
  // Texts are UTF-8. Raises std::bad_alloc, as all here.
  explicit Table(std::initializer_list<const char*> headings);

  // One cell for each heading.
  void add(const std::vector<std::string>& cells);

  // The headings and the rows, each line ended. It depends on what was added alone, and neither on
  // the terminal nor on the locale of the process.
  std::string text() const;

 private:
  struct Drop {
    void operator()(libscols_table* table) const;
  };
  std::unique_ptr<libscols_table, Drop> table_;
};

}  // namespace Fabrion::Host
