#include "host/DifferenceText.h"

#include <array>
#include <tuple>

#include "host/Terminal.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

constexpr std::array<const char*, 6> kindNames = {"switch",     "switchVlan", "allowedVlan",
                                                  "nativeVlan", "vtep",       "mapping"};
constexpr std::array<const char*, 3> changeNames = {"added", "removed", "changed"};
constexpr std::array<const char*, 3> signs = {"+", "-", "~"};

template <std::size_t n, class Enum>
const char* nameIn(const std::array<const char*, n>& names, Enum value) {
  return names.at(static_cast<std::size_t>(value));
}

// Differences that are told in one line: the same thing happens in the same place, to these VLANs.
// Of mappings only neighbours, whose VNIs are neighbours as well, stand together.
struct Run {
  OutputDifference first;
  Vlans vlans;
};

bool hasVlans(OutputKind kind) {
  return kind == OutputKind::switchVlan || kind == OutputKind::allowedVlan;
}

bool inOnePlace(const OutputDifference& a, const OutputDifference& b) {
  return std::tie(a.switchName, a.kind, a.vtep, a.port) ==
         std::tie(b.switchName, b.kind, b.vtep, b.port);
}

bool follows(const std::optional<U32>& first, const std::optional<U32>& next, std::size_t steps) {
  if (!first || !next) return first.has_value() == next.has_value();
  return *next == *first + steps;
}

bool continues(const Run& run, const OutputDifference& next) {
  const OutputDifference& first = run.first;
  if (!inOnePlace(first, next) || first.change != next.change) return false;
  return first.kind == OutputKind::mapping && follows(first.vlan, next.vlan, run.vlans.size()) &&
         follows(first.before, next.before, run.vlans.size()) &&
         follows(first.after, next.after, run.vlans.size());
}

std::vector<Run> runsOf(const std::vector<OutputDifference>& differences) {
  std::vector<Run> runs;
  for (std::size_t i = 0; i < differences.size();) {
    const OutputDifference& one = differences[i];
    if (hasVlans(one.kind)) {
      // What goes stands before what comes, though their VLANs alternate.
      Run removed{one, {}};
      removed.first.change = ChangeKind::removed;
      Run added{one, {}};
      added.first.change = ChangeKind::added;
      for (; i < differences.size() && inOnePlace(one, differences[i]); ++i) {
        Run& run = differences[i].change == ChangeKind::added ? added : removed;
        run.vlans.push_back(static_cast<U16>(*differences[i].vlan));
      }
      for (Run* run : {&removed, &added}) {
        if (!run->vlans.empty()) runs.push_back(std::move(*run));
      }
      continue;
    }
    if (runs.empty() || !continues(runs.back(), one)) runs.push_back({one, {}});
    if (one.vlan) runs.back().vlans.push_back(static_cast<U16>(*one.vlan));
    ++i;
  }
  return runs;
}

std::string numbered(const char* what, const std::string& list) {
  const bool several = list.find_first_of(",-") != std::string::npos;
  return std::string(what) + (several ? "s " : " ") + list;
}

// VNIs of a run, which rise with its VLANs.
std::string vniList(U32 first, std::size_t count) {
  return count == 1 ? std::to_string(first)
                    : std::to_string(first) + "-" + std::to_string(first + count - 1);
}

std::string vnisOf(U32 first, std::size_t count) { return numbered("VNI", vniList(first, count)); }

std::string wordsOf(const Run& run, const DifferenceWords& words) {
  const OutputDifference& one = run.first;
  const std::string place = one.port.empty() ? "" : "port " + one.port + ": ";
  switch (one.kind) {
    case OutputKind::switchItself:
      return one.change == ChangeKind::added ? words.switchAdded : words.switchRemoved;
    case OutputKind::switchVlan:
      return numbered("VLAN", listOf(run.vlans));
    case OutputKind::allowedVlan:
      return place + numbered("VLAN", listOf(run.vlans));
    case OutputKind::nativeVlan: {
      const U32 vlan = one.after ? *one.after : *one.before;
      return place + "native VLAN " + std::to_string(vlan) +
             (one.change == ChangeKind::changed ? " instead of " + std::to_string(*one.before)
                                                : "");
    }
    case OutputKind::vtepItself:
      return "VTEP " + one.vtep;
    case OutputKind::mapping: {
      const std::size_t count = run.vlans.size();
      const U32 vni = one.after ? *one.after : *one.before;
      return "VTEP " + one.vtep + ", " + place + numbered("VLAN", listOf(run.vlans)) + " to " +
             vnisOf(vni, count) +
             (one.change == ChangeKind::changed ? " instead of " + vnisOf(*one.before, count) : "");
    }
  }
  return {};
}

}  // namespace

std::string signedLine(ChangeKind change, const std::string& line, bool colours) {
  constexpr std::array<Colour, 3> colourOf = {Colour::green, Colour::red, Colour::yellow};
  return painted(std::string(nameIn(signs, change)) + " " + line,
                 colourOf.at(static_cast<std::size_t>(change)), colours);
}

std::string textOf(const std::vector<OutputDifference>& differences, const DifferenceWords& words) {
  std::string text;
  std::string current;
  for (const Run& run : runsOf(differences)) {
    if (text.empty() || run.first.switchName != current) {
      current = run.first.switchName;
      if (!text.empty()) text += "\n";
      text += "Switch " + current + "\n";
    }
    text += "  " + signedLine(run.first.change, wordsOf(run, words), words.colours) + "\n";
  }
  return text;
}

Json jsonOf(const std::vector<OutputDifference>& differences) {
  Json list = Json::array();
  for (const Run& run : runsOf(differences)) {
    const OutputDifference& one = run.first;
    Json json{{"change", nameIn(changeNames, one.change)},
              {"kind", nameIn(kindNames, one.kind)},
              {"switch", one.switchName}};
    if (!one.vtep.empty()) json["vtep"] = one.vtep;
    if (!one.port.empty()) json["port"] = one.port;
    if (!run.vlans.empty()) json["vlans"] = listOf(run.vlans);
    const auto number = [&](const U32 value) {
      if (one.kind == OutputKind::mapping) return Json{{"vnis", vniList(value, run.vlans.size())}};
      return Json{{"vlan", value}};
    };
    if (one.before) json["before"] = number(*one.before);
    if (one.after) json["after"] = number(*one.after);
    list.push_back(std::move(json));
  }
  return list;
}

}  // namespace Fabrion::Host
