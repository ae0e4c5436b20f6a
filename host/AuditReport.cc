#include "host/AuditReport.h"

#include <set>

#include "host/Counted.h"
#include "host/DifferenceText.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

// Of the form of the JSON.
constexpr int version = 1;

}  // namespace

std::string auditText(const std::vector<OutputDifference>& differences, std::size_t switches,
                      bool colours) {
  std::set<std::string> differing;
  for (const OutputDifference& one : differences) differing.insert(one.switchName);
  const std::string compared = counted(switches, "switch", "switches") + " compared";
  if (differing.empty()) return "No differences; " + compared + ".\n";
  DifferenceWords words;
  words.switchAdded = "the switch: it is not among the outputs given";
  words.switchRemoved = "the switch: no document has it";
  words.colours = colours;
  return textOf(differences, words) + "\n" + std::to_string(differing.size()) +
         (differing.size() == 1 ? " differs; " : " differ; ") + compared + ".\n";
}

Json auditJson(const std::vector<OutputDifference>& differences) {
  return Json{{"differences", jsonOf(differences)}, {"fabrion", version}};
}

}  // namespace Fabrion::Host
