#pragma once
// What the benchmark program shows: a table on the terminal, a line as soon as its row is measured,
// and a JSON list for programs.

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "bench/Rows.h"

namespace Bench {

class Table {
 public:
  // Writes the head of a table for these rows.
  Table(std::ostream& out, const std::vector<Row>& rows);
  void line(const Result& result);
  // Writes how many goals were met.
  void end();

 private:
  std::ostream& out_;
  std::size_t nameWidth_ = 4;
  std::size_t peerWidth_ = 4;
  std::size_t goals_ = 0;
  std::size_t met_ = 0;
};

// Writes the list of results to a file: objects of "name", "unit", "ours", "peer", "peer_value",
// "ratio" and "goal", null where there is none. Throws std::runtime_error where the file cannot be
// written.
void writeJson(const std::string& file, const std::vector<Result>& results);

}  // namespace Bench
