#include "host/PlanReport.h"

#include "host/Counted.h"
#include "host/DifferenceText.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

// Of the form of the JSON.
constexpr int version = 1;

const char* wordOf(ChangeKind change) {
  switch (change) {
    case ChangeKind::added:
      return "appears";
    case ChangeKind::removed:
      return "ends";
    case ChangeKind::changed:
      break;
  }
  return "changes";
}

// The sign stands in front of the first line; those below it are indented as far.
std::string textOf(const ConflictChange& conflict, bool colours) {
  std::string text;
  for (std::size_t at = 0; at < conflict.text.size();) {
    const std::size_t end = conflict.text.find('\n', at);
    const std::string line = conflict.text.substr(at, end - at);
    text += (at == 0 ? signedLine(conflict.change, line, colours) : "  " + line) + "\n";
    at = end == std::string::npos ? conflict.text.size() : end + 1;
  }
  return text;
}

std::string countedConflicts(const Plan& plan, PlanTense tense) {
  struct Verb {
    ChangeKind change;
    const char* past;
    const char* future;
  };
  constexpr Verb verbs[] = {{ChangeKind::added, "appeared", "would appear"},
                            {ChangeKind::removed, "ended", "would end"},
                            {ChangeKind::changed, "changed", "would change"}};
  std::string text;
  for (const Verb& verb : verbs) {
    const std::size_t number = plan.conflictsThat(verb.change);
    if (number == 0) continue;
    text += (text.empty() ? "; " : ", ") + counted(number, "conflict", "conflicts") + " " +
            (tense == PlanTense::was ? verb.past : verb.future);
  }
  return text;
}

}  // namespace

std::string textOf(const Plan& plan, PlanTense tense, bool colours) {
  const bool past = tense == PlanTense::was;
  if (plan.nothing()) return past ? "Nothing changed.\n" : "Nothing would change.\n";
  DifferenceWords words;
  words.colours = colours;
  std::string text = textOf(plan.differences, words);
  if (!plan.differences.empty()) text += "\n";
  for (const ConflictChange& conflict : plan.conflicts) text += textOf(conflict, colours);
  if (!plan.conflicts.empty()) text += "\n";
  return text + counted(plan.switchesTouched(), "switch", "switches") + " and " +
         counted(plan.portsTouched(), "port", "ports") + (past ? " changed" : " would change") +
         countedConflicts(plan, tense) + ".\n";
}

Json jsonOf(const Plan& plan) {
  Json conflicts = Json::array();
  for (const ConflictChange& conflict : plan.conflicts) {
    conflicts.push_back({{"change", wordOf(conflict.change)}, {"conflict", conflict.json}});
  }
  return Json{{"conflicts", std::move(conflicts)},
              {"differences", jsonOf(plan.differences)},
              {"fabrion", version},
              {"ports", plan.portsTouched()},
              {"switches", plan.switchesTouched()}};
}

}  // namespace Fabrion::Host
