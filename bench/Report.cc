#include "bench/Report.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace Bench {

namespace {

// Four digits, as what is measured is not known to more.
std::string shown(double value) {
  std::ostringstream out;
  out.setf(std::ios::fixed);
  out.precision(value < 10 ? 2 : value < 100 ? 1 : 0);
  out << value;
  return out.str();
}

std::string shown(const std::optional<double>& value) { return value ? shown(*value) : "-"; }

// Ratios down to hundredths are goals, so these show a digit more.
std::string shownRatio(const std::optional<double>& value) {
  if (!value) return "-";
  std::ostringstream out;
  out.setf(std::ios::fixed);
  out.precision(3);
  out << *value;
  return out.str();
}

std::string left(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::string right(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

constexpr std::size_t numberWidth = 11;
constexpr std::size_t ratioWidth = 9;
constexpr std::size_t goalWidth = 7;

}  // namespace

Table::Table(std::ostream& out, const std::vector<Row>& rows) : out_(out) {
  for (const Row& row : rows) {
    nameWidth_ = std::max(nameWidth_, row.name.size());
    peerWidth_ = std::max(peerWidth_, row.peer.size());
  }
  out_ << left("name", nameWidth_) << "  unit" << right("ours", numberWidth) << "  "
       << left("peer", peerWidth_) << right("peer's", numberWidth) << right("ratio", ratioWidth)
       << right("goal", goalWidth) << "  met" << std::endl;
}

void Table::line(const Result& result) {
  std::string met = "-";
  if (result.goal && result.ratio) {
    const bool isMet = *result.ratio <= *result.goal;
    ++goals_;
    if (isMet) ++met_;
    met = isMet ? "yes" : "NO";
  }
  out_ << left(result.name, nameWidth_) << "  " << left(result.unit, 4)
       << right(shown(result.ours), numberWidth) << "  "
       << left(result.peer.empty() ? "-" : result.peer, peerWidth_)
       << right(shown(result.peerValue), numberWidth) << right(shownRatio(result.ratio), ratioWidth)
       << right(shown(result.goal), goalWidth) << "  " << met << std::endl;
}

void Table::end() { out_ << met_ << " of " << goals_ << " goals met" << std::endl; }

void writeJson(const std::string& file, const std::vector<Result>& results) {
  const auto orNull = [](const std::optional<double>& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
  };
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Result& result : results) {
    nlohmann::ordered_json entry;
    entry["name"] = result.name;
    entry["unit"] = result.unit;
    entry["ours"] = result.ours;
    entry["peer"] =
        result.peer.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(result.peer);
    entry["peer_value"] = orNull(result.peerValue);
    entry["ratio"] = orNull(result.ratio);
    entry["goal"] = orNull(result.goal);
    list.push_back(std::move(entry));
  }
  std::ofstream out(file);
  out << list.dump(2) << '\n';
  out.flush();
  if (!out) throw std::runtime_error(file + ": cannot be written");
}

}  // namespace Bench
