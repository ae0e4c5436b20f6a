#include "host/Plan.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "host/ReportJson.h"
#include "host/ReportText.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

// By where they are, as a list that sorts as the plan does.
using ConflictsByPlace = std::map<Json, ConflictChange>;

template <class Conflict>
void add(const std::vector<Conflict>& conflicts, ConflictsByPlace& to) {
  for (const Conflict& conflict : conflicts) {
    Json json = jsonOf(conflict);
    Json place = Json::array({conflict.switchName, conflict.interface, json["kind"],
                              json.contains("vlan") ? json["vlan"] : Json()});
    to.insert_or_assign(std::move(place),
                        ConflictChange{ChangeKind::changed, textOf(conflict), std::move(json)});
  }
}

ConflictsByPlace conflictsOf(const Report& report) {
  ConflictsByPlace conflicts;
  add(report.conflicts, conflicts);
  add(report.vniConflicts, conflicts);
  return conflicts;
}

std::vector<ConflictChange> conflictChanges(const Report& before, const Report& after) {
  ConflictsByPlace changes = conflictsOf(after);
  for (auto& [place, conflict] : changes) conflict.change = ChangeKind::added;
  for (auto& [place, was] : conflictsOf(before)) {
    const auto now = changes.find(place);
    if (now == changes.end()) {
      was.change = ChangeKind::removed;
      changes.emplace(place, was);
    } else if (now->second.json == was.json) {
      changes.erase(now);
    } else {
      now->second.change = ChangeKind::changed;
    }
  }
  std::vector<ConflictChange> list;
  for (auto& [place, change] : changes) list.push_back(std::move(change));
  return list;
}

}  // namespace

std::size_t Plan::conflictsThat(ChangeKind change) const {
  return static_cast<std::size_t>(
      std::count_if(conflicts.begin(), conflicts.end(),
                    [change](const ConflictChange& one) { return one.change == change; }));
}

std::size_t Plan::switchesTouched() const {
  std::set<std::string> names;
  for (const OutputDifference& one : differences) names.insert(one.switchName);
  return names.size();
}

std::size_t Plan::portsTouched() const {
  std::set<std::pair<std::string, std::string>> names;
  for (const OutputDifference& one : differences) {
    if (!one.port.empty()) names.emplace(one.switchName, one.port);
  }
  return names.size();
}

Plan planOf(const Derived& before, const Derived& after) {
  return {differencesOf(before.outputs, after.outputs),
          conflictChanges(before.report, after.report)};
}

}  // namespace Fabrion::Host
