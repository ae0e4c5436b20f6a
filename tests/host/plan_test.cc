// `fabrion plan`: what it says about single changes, word for word, how it ends, and that over many
// edits it says what two runs say.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "host/Module.h"
#include "host/PlanCommand.h"
#include "tests/host/Program.h"
#include "tests/host/RandomEdits.h"
#include "tests/host/Texts.h"
#include "tests/host/failing_modules.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Json = nlohmann::json;
using Test::blocksOf;
using Test::editsOfSeed;
using Test::Exit;
using Test::fabrion;
using Test::failing;
using Test::inRepository;
using Test::RandomEdits;
using Test::seedsOfEdits;
using Test::textOfFile;
using Test::written;

const std::string leaf = R"(fabrion: 1
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
requests:
  - {client: acme, switch: leaf1, port: e1, vlans: [10-12], vnis: {10: 5010}}
)";

struct Result {
  Outcome outcome;
  std::string out;
  std::string err;
};

Result planned(PlanOptions options) {
  std::ostringstream out;
  std::ostringstream err;
  const Outcome outcome = plan(options, out, err, loadModule(FABRION_MODULE));
  return {outcome, out.str(), err.str()};
}

Result planned(const std::string& before, const std::string& after,
               ReportFormat format = ReportFormat::text) {
  return planned({{written("old.yaml", before)}, {written("new.yaml", after)}, format});
}

TEST(Plan, ThatNothingWouldChangeIsALineAndStatusZero) {
  const Result result = planned(leaf, leaf + "# a remark\n");
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_EQ(result.out, "Nothing would change.\n");
  EXPECT_EQ(result.err, "");
}

TEST(Plan, TellsBySwitchAndPortWhatComesGoesAndChanges) {
  const std::string before = leaf + "  - {client: blue, switch: leaf1, port: e2, native: 3}\n";
  const std::string after = R"(fabrion: 1
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
  leaf2: {ports: e1}
requests:
  - {client: acme, switch: leaf1, port: e1, vlans: [10, 12, 20-21], vnis: {10: 5011}}
  - {client: blue, switch: leaf1, port: e2, native: 4}
)";
  const Result result = planned(before, after);
  EXPECT_EQ(result.outcome, Outcome::difference);
  EXPECT_EQ(result.out, R"(Switch leaf1
  - VLAN 11
  + VLANs 20-21
  - port e1: VLAN 11
  + port e1: VLANs 20-21
  ~ port e2: native VLAN 4 instead of 3
  ~ VTEP vtep1, port e1: VLAN 10 to VNI 5011 instead of VNI 5010

Switch leaf2
  + the switch

2 switches and 2 ports would change.
)");
  EXPECT_EQ(result.err, "");
}

TEST(Plan, IsTheSameForPrograms) {
  const Result result =
      planned(leaf, leaf + "  - {client: blue, switch: leaf1, port: e2, vlans: 10-11}\n",
              ReportFormat::json);
  EXPECT_EQ(result.outcome, Outcome::difference);
  EXPECT_EQ(Json::parse(result.out), Json::parse(R"({
    "conflicts": [],
    "differences": [{"change": "added", "kind": "allowedVlan", "switch": "leaf1", "port": "e2",
                     "vlans": "10-11"}],
    "fabrion": 1, "ports": 1, "switches": 1})"));
}

const std::string twoNatives = leaf + R"(  - {client: acme, switch: leaf1, port: e3, native: 1}
  - {client: blue, switch: leaf1, port: e3, native: 2}
)";

TEST(Plan, AConflictThatAppearsIsStatusFour) {
  const Result result = planned(leaf, twoNatives);
  EXPECT_EQ(result.outcome, Outcome::conflictAppears);
  EXPECT_EQ(
      result.out,
      R"(+ Conflict on switch leaf1, port e3: 2 native VLANs are asked for, so the port has none.
    VLAN 1: acme
    VLAN 2: blue

0 switches and 0 ports would change; 1 conflict would appear.
)");
}

TEST(Plan, AConflictThatEndsOrIsAskedByOthersIsAChange) {
  const Result end = planned(twoNatives, leaf);
  EXPECT_EQ(end.outcome, Outcome::difference);
  EXPECT_EQ(
      end.out,
      R"(- Conflict on switch leaf1, port e3: 2 native VLANs are asked for, so the port has none.
    VLAN 1: acme
    VLAN 2: blue

0 switches and 0 ports would change; 1 conflict would end.
)");
  const std::string others =
      twoNatives + "  - {client: carl, switch: leaf1, port: e3, native: 1}\n";
  const Result change = planned(twoNatives, others, ReportFormat::json);
  EXPECT_EQ(change.outcome, Outcome::difference);
  const Json json = Json::parse(change.out);
  ASSERT_EQ(json["conflicts"].size(), 1U);
  EXPECT_EQ(json["conflicts"][0]["change"], "changes");
  EXPECT_EQ(json["conflicts"][0]["conflict"]["port"], "e3");
  EXPECT_EQ(json["conflicts"][0]["conflict"]["vlans"][0]["askedBy"].size(), 2U);
}

TEST(Plan, ReadsSeveralDocumentsOnEachSide) {
  const std::string cabling =
      written("cabling.yaml", "fabrion: 1\nswitches: {leaf: {ports: 'e[1-2]'}}\n");
  const std::string one = written(
      "one.yaml", "fabrion: 1\nrequests: [{client: c, switch: leaf, port: e1, vlans: 1}]\n");
  const std::string other = written(
      "other.yaml", "fabrion: 1\nrequests: [{client: c, switch: leaf, port: e2, vlans: 1}]\n");
  const std::string expected =
      "Switch leaf\n  - port e1: VLAN 1\n  + port e2: VLAN 1\n\n1 switch and 2 ports would "
      "change.\n";
  EXPECT_EQ(planned({{cabling, one}, {cabling, other}}).out, expected);
  const Exit exit =
      fabrion("plan --old " + cabling + " " + one + " --new " + cabling + " " + other);
  EXPECT_EQ(exit.out, expected);
  EXPECT_EQ(exit.status, 3);
}

TEST(Plan, MistakesOfBothSidesAreTold) {
  const Result result = planned("fabrion: 1\nswitches: {leaf: {port: e1}}\n", "fabrion: 2\n");
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, testing::HasSubstr("old.yaml:2:19: "));
  EXPECT_THAT(result.err, testing::HasSubstr("new.yaml:1:10: "));
}

TEST(Plan, TheExampleOfThePageIsAPlan) {
  const std::string page = textOfFile(inRepository("docs/plan-and-watch.md"));
  const std::vector<std::string> documents = blocksOf(page, "yaml");
  ASSERT_EQ(documents.size(), 2U);
  const Result text = planned(documents[0], documents[1]);
  EXPECT_EQ(text.outcome, Outcome::conflictAppears);
  EXPECT_THAT(blocksOf(page, "text"), testing::ElementsAre(text.out));
  EXPECT_THAT(blocksOf(page, "json"),
              testing::ElementsAre(planned(documents[0], documents[1], ReportFormat::json).out));
}

TEST(Plan, AnOperationThatFailsIsTold) {
  std::ostringstream out;
  std::ostringstream err;
  const std::string file = written("plain.yaml", leaf);
  EXPECT_EQ(plan({{file}, {file}}, out, err, failing), Outcome::mistake);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(err.str(),
            R"(fabrion: the operation {"op":"topology.start"} failed: this is out of range)"
            "\n");
}

TEST(PlanStatus, TellsChangesConflictsAndMistakesApart) {
  const std::string before = written("before.yaml", leaf);
  const std::string after = written("after.yaml", twoNatives);
  EXPECT_EQ(fabrion("plan " + before + " " + before + " >/dev/null").status, 0);
  EXPECT_EQ(fabrion("plan " + before + " " + after + " >/dev/null").status, 4);
  EXPECT_EQ(fabrion("plan " + after + " " + before + " >/dev/null").status, 3);
  const Exit nowhere = fabrion("plan " + before + " /nowhere.yaml 2>&1");
  EXPECT_EQ(nowhere.status, 2);
  EXPECT_EQ(nowhere.out, "/nowhere.yaml: cannot be opened: No such file or directory\n");
  const Exit full = fabrion("plan " + before + " " + after + " 2>&1 >/dev/full");
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.out, "fabrion: the plan cannot be written\n");
}

TEST(PlanStatus, IsTwoForSidesThatAreNotClear) {
  const std::string file = written("before.yaml", leaf);
  for (const std::string& sides :
       {std::string(), file, file + " " + file + " " + file, "--old " + file, "--new " + file,
        file + " --old " + file + " --new " + file}) {
    const Exit exit = fabrion("plan " + sides + " 2>&1");
    EXPECT_EQ(exit.status, 2) << sides;
    EXPECT_THAT(exit.out, testing::HasSubstr("; expected OLD NEW, or --old FILE... --new FILE..."));
  }
}

// What a run says, as one word for each entry; what stands there of an output is read by rules of
// this test's own.
using Words = std::set<std::string>;

void addVlans(Words& words, const std::string& place, const std::string& list) {
  std::istringstream parts(list);
  for (std::string part; std::getline(parts, part, ',');) {
    const std::size_t dash = part.find('-');
    const int low = std::stoi(part);
    const int high = dash == std::string::npos ? low : std::stoi(part.substr(dash + 1));
    for (int vlan = low; vlan <= high; ++vlan) words.insert(place + " " + std::to_string(vlan));
  }
}

// From the report and from the outputs, which have the mappings.
Words wordsOf(const Json& report, const Json& outputs) {
  Words words;
  for (const auto& [name, one] : report["switches"].items()) {
    words.insert(name);
    addVlans(words, name + " vlan", one["vlans"]);
    for (const char* kind : {"ports", "groups"}) {
      for (const auto& [port, carried] : one[kind].items()) {
        addVlans(words, name + " " + port + " allowed", carried["allowedVlans"]);
        if (carried["nativeVlan"].is_null()) continue;
        words.insert(name + " " + port + " native " + carried["nativeVlan"].dump());
      }
    }
  }
  for (const auto& [name, one] : outputs["switch"].items()) {
    for (const auto& [vtep, ports] : one["vtepConfig"].items()) {
      words.insert(name + " vtep " + vtep);
      for (const auto& [port, mappings] : ports.items()) {
        for (const auto& [vlan, vni] : mappings.items()) {
          words.insert(name + " " + vtep + " " + port + " " + vlan + " to " + vni.dump());
        }
      }
    }
  }
  return words;
}

int numberAt(const Json& list, std::size_t offset) {
  return std::stoi(list.get<std::string>()) + static_cast<int>(offset);
}

void addPlanned(const Json& one, Words& removed, Words& added) {
  const std::string name = one["switch"];
  const std::string kind = one["kind"];
  Words& words = one["change"] == "removed" ? removed : added;
  if (kind == "switch") words.insert(name);
  if (kind == "vtep") words.insert(name + " vtep " + one["vtep"].get<std::string>());
  if (kind == "switchVlan") addVlans(words, name + " vlan", one["vlans"]);
  if (kind == "allowedVlan") {
    addVlans(words, name + " " + one["port"].get<std::string>() + " allowed", one["vlans"]);
  }
  for (const char* side : {"before", "after"}) {
    if (!one.contains(side)) continue;
    Words& here = side == std::string("before") ? removed : added;
    if (kind == "nativeVlan") {
      here.insert(name + " " + one["port"].get<std::string>() + " native " +
                  one[side]["vlan"].dump());
    } else {
      Words vlans;
      addVlans(vlans, "", one["vlans"]);
      for (std::size_t i = 0; i < vlans.size(); ++i) {
        here.insert(name + " " + one["vtep"].get<std::string>() + " " +
                    one["port"].get<std::string>() + " " +
                    std::to_string(numberAt(one["vlans"], i)) + " to " +
                    std::to_string(numberAt(one[side]["vnis"], i)));
      }
    }
  }
}

struct RunOfDocument {
  std::string file;
  Words words;
  std::set<std::string> conflicts;
};

RunOfDocument ranOn(const std::string& name, const std::string& document) {
  RunOptions options{{written(name, document)}};
  options.format = ReportFormat::json;
  options.outputs = testing::TempDir() + "plan-outputs.json";
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(run(options, out, err, loadModule(FABRION_MODULE)), Outcome::done) << err.str();
  const Json report = Json::parse(out.str());
  RunOfDocument result{
      options.documents[0], wordsOf(report, Json::parse(textOfFile(*options.outputs))), {}};
  for (const Json& conflict : report["conflicts"]) result.conflicts.insert(conflict.dump());
  return result;
}

Words without(const Words& from, const Words& what) {
  Words left;
  std::set_difference(from.begin(), from.end(), what.begin(), what.end(),
                      std::inserter(left, left.end()));
  return left;
}

// The place of a conflict: all but what is asked there.
std::set<std::string> places(const std::set<std::string>& conflicts) {
  std::set<std::string> all;
  for (const std::string& text : conflicts) {
    Json conflict = Json::parse(text);
    conflict.erase("vlans");
    conflict.erase("vnis");
    all.insert(conflict.dump());
  }
  return all;
}

struct Walked {
  int changes = 0;
  int appearances = 0;
};

void expectDifferenceOfRuns(const RunOfDocument& before, const RunOfDocument& after,
                            Walked& walked) {
  const Result result = planned({{before.file}, {after.file}, ReportFormat::json});
  ASSERT_NE(result.outcome, Outcome::mistake) << result.err;
  const Json json = Json::parse(result.out);
  Words removed;
  Words added;
  for (const Json& one : json["differences"]) addPlanned(one, removed, added);
  ASSERT_EQ(removed, without(before.words, after.words));
  ASSERT_EQ(added, without(after.words, before.words));
  std::set<std::string> now;
  std::set<std::string> past;
  for (const Json& one : json["conflicts"]) {
    (one["change"] == "ends" ? past : now).insert(one["conflict"].dump());
  }
  ASSERT_EQ(now, without(after.conflicts, before.conflicts));
  ASSERT_EQ(places(past), without(places(before.conflicts), places(after.conflicts)));
  const bool appears = !without(places(after.conflicts), places(before.conflicts)).empty();
  const bool nothing = removed.empty() && added.empty() && now.empty() && past.empty();
  ASSERT_EQ(result.outcome, appears   ? Outcome::conflictAppears
                            : nothing ? Outcome::done
                                      : Outcome::difference);
  walked.changes += nothing ? 0 : 1;
  walked.appearances += appears ? 1 : 0;
}

TEST(Plan, IsTheDifferenceOfTwoRunsOverTwoHundredEdits) {
  Walked walked;
  for (const U64 seed : seedsOfEdits) {
    RandomEdits edits(seed);
    RunOfDocument before = ranOn("edit-0.yaml", edits.document());
    for (int i = 1; i <= editsOfSeed; ++i) {
      edits.edit();
      RunOfDocument after = ranOn("edit-" + std::to_string(i % 2) + ".yaml", edits.document());
      expectDifferenceOfRuns(before, after, walked);
      ASSERT_FALSE(HasFatalFailure()) << edits.document();
      before = std::move(after);
    }
  }
  // Or the edits would show nothing.
  EXPECT_GT(walked.changes, 100);
  EXPECT_GT(walked.appearances, 5);
  RecordProperty("changes", walked.changes);
  RecordProperty("conflictsAppeared", walked.appearances);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
