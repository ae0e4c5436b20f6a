// A controller that follows edits: what it says of each, and that healing leaves the outputs of a
// fresh start without touching what was right.

#include "host/Following.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

#include "host/DifferenceText.h"
#include "host/HandOver.h"
#include "host/Module.h"
#include "host/OutputsJson.h"
#include "host/Replay.h"
#include "host/WatchCommand.h"
#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Type.h"
#include "tests/host/OutputFollower.h"
#include "tests/host/Program.h"
#include "tests/host/RandomEdits.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::fabricOf;
using Test::OutputFollower;
using Test::RandomEdits;
using Test::textOfFile;
using Test::written;
using testing::ElementsAre;
using testing::IsEmpty;

const Velo::VeloModule& machines() { return loadModule(FABRION_MODULE); }

FollowedEdit followed(Following& following, const Fabric& next) {
  return following.follow(next, derive(next, machines()));
}

const char* const withVtep = R"(
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
requests:
  - {client: acme, switch: leaf1, port: e1, vlans: [10-12], vnis: {10: 5010}}
)";
// A VTEP's configuration stays when its status goes.
const char* const withoutVtep = R"(
switches:
  leaf1: {ports: "e[1-3]"}
requests:
  - {client: acme, switch: leaf1, port: e1, vlans: [10-11, 14], vnis: {10: 5010}}
)";

// What a replay of the journal ends with.
FabricOutputs replayed(const std::string& path) {
  std::istringstream journal(textOfFile(path) + "{\"op\":\"dump\"}\n");
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(replay({path, {}}, journal, out, err, machines()), ExitStatus::success) << err.str();
  return outputsFrom(path, out.str());
}

TEST(Following, AnEditChangesWhatItNeeds) {
  Following following(machines(), {});
  following.start(fabricOf(withVtep));
  const Controller* const controller = &following.controller();
  const FollowedEdit edit = followed(following, fabricOf(R"(
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
requests:
  - {client: acme, switch: leaf1, port: e1, vlans: [10, 20], vnis: {10: 5010}}
)"));
  EXPECT_EQ(textOf(edit.plan.differences),
            "Switch leaf1\n  - VLANs 11-12\n  + VLAN 20\n"
            "  - port e1: VLANs 11-12\n  + port e1: VLAN 20\n");
  EXPECT_THAT(edit.leftovers, IsEmpty());
  EXPECT_EQ(edit.failure, "");
  EXPECT_FALSE(edit.rebuilt);
  EXPECT_EQ(&following.controller(), controller);
}

TEST(Following, WhatAnEditLeavesBehindIsTold) {
  Following following(machines(), {});
  following.start(fabricOf(withVtep));
  const FollowedEdit edit = followed(following, fabricOf(withoutVtep));
  EXPECT_EQ(textOf(edit.leftovers),
            "Switch leaf1\n  + VTEP vtep1\n  + VTEP vtep1, port e1: VLAN 10 to VNI 5010\n");
  EXPECT_EQ(textOf(edit.plan.differences),
            "Switch leaf1\n  - VLAN 12\n  + VLAN 14\n  - port e1: VLAN 12\n  + port e1: VLAN 14\n");
  EXPECT_FALSE(edit.rebuilt);
  // It is told as long as it stands.
  EXPECT_EQ(followed(following, fabricOf(withoutVtep)).leftovers, edit.leftovers);
}

TEST(Following, HealingEndsItAndTouchesNothingElse) {
  Following following(machines(), {true});
  following.start(fabricOf(withVtep));
  OutputFollower follower;
  follower.follow(following.controller());
  follower.taken();
  std::vector<std::string> before;
  following.onHandOver([&](const Controller& next) {
    before = follower.taken();
    follower.follow(next);
  });
  const FollowedEdit edit = followed(following, fabricOf(withoutVtep));
  EXPECT_TRUE(edit.rebuilt);
  EXPECT_EQ(edit.leftovers.size(), 2U);
  EXPECT_THAT(before, ElementsAre("- leaf1 vlan 12", "- leaf1 e1 allows 12", "+ leaf1 vlan 14",
                                  "+ leaf1 e1 allows 14"));
  EXPECT_THAT(follower.taken(), ElementsAre("- leaf1 vtep1 e1 10 to 5010"));
  EXPECT_EQ(textOf(edit.plan.differences),
            "Switch leaf1\n  - VLAN 12\n  + VLAN 14\n  - port e1: VLAN 12\n  + port e1: VLAN 14\n"
            "  - VTEP vtep1\n  - VTEP vtep1, port e1: VLAN 10 to VNI 5010\n");
  EXPECT_EQ(following.standing().outputs, derive(fabricOf(withoutVtep), machines()).outputs);
  // The next edit goes on from there.
  EXPECT_FALSE(followed(following, fabricOf(withVtep)).rebuilt);
  EXPECT_EQ(following.standing().outputs, derive(fabricOf(withVtep), machines()).outputs);
}

TEST(Following, TheJournalGoesOnInAFileOfItsOwn) {
  const std::string record = testing::TempDir() + "following.journal";
  const std::string taken = record + ".1";  // a document, whoever calls one that
  std::ofstream(taken) << "fabrion: 1\n";
  Following following(machines(), {true, record, {taken}});
  following.start(fabricOf(withVtep));
  EXPECT_EQ(following.journal(), record);
  const std::string begun = textOfFile(record);
  followed(following, fabricOf(withoutVtep));
  EXPECT_EQ(following.journal(), record + ".2");
  EXPECT_EQ(textOfFile(taken), "fabrion: 1\n");
  EXPECT_TRUE(textOfFile(record).starts_with(begun));
  EXPECT_EQ(replayed(record + ".2"), following.standing().outputs);
  const std::string first = textOfFile(record);
  followed(following, fabricOf(withVtep));
  EXPECT_EQ(replayed(record + ".2"), following.standing().outputs);
  EXPECT_EQ(textOfFile(record), first);
}

TEST(Following, AJournalThatCannotBeBegunIsAnError) {
  try {
    const Following following(machines(), {false, "/nowhere/journal"});
    FAIL();
  } catch (const JournalFileError& error) {
    EXPECT_STREQ(error.what(), "/nowhere/journal: No such file or directory");
  }
}

// The machines, of which those of port requests can be made so many times and then not once.

Velo::Ptr<Velo::PtrInterface> (*portMachine)(void* const*) = nullptr;
int portMachinesUntilFailure = -1;
bool endAtFailure = false;

Velo::Ptr<Velo::PtrInterface> failingAtTimes(void* const* arguments) {
  if (portMachinesUntilFailure-- == 0) {
    // Where somebody waits for it; see below.
    if (endAtFailure) std::raise(SIGTERM);
    Velo::throwRangeException("not this time");
  }
  return portMachine(arguments);
}

const Velo::VeloModule& failingAtTimes() {
  static std::vector<Velo::TypeRecord> records;
  static std::vector<const Velo::TypeRecord*> types;
  static Velo::VeloModule module{"FailingAtTimes", {}, {}};
  if (!types.empty()) return module;
  for (const Velo::TypeRecord* type : machines().types) records.push_back(*type);
  for (Velo::TypeRecord& record : records) {
    if (record.name == std::string("Fabrion::Agent::ClientResourcesForSwitchportSm")) {
      portMachine = record.construct;
      record.construct = static_cast<decltype(portMachine)>(&failingAtTimes);
    }
    types.push_back(&record);
  }
  module.types = types;
  return module;
}

TEST(Following, AStepThatFailsIsEndedByBuildingAnew) {
  portMachinesUntilFailure = -1;
  const std::string record = testing::TempDir() + "failing.journal";
  Following following(failingAtTimes(), {false, record});
  following.start(fabricOf(withVtep));
  const Fabric next =
      fabricOf(std::string(withVtep) + "  - {client: blue, switch: leaf1, port: e2, vlans: 30}\n");
  const Derived fresh = derive(next, machines());
  portMachinesUntilFailure = 0;
  const FollowedEdit edit = following.follow(next, fresh);
  EXPECT_EQ(edit.failure,
            R"(the operation {"op":"request.start","request":["blue","leaf1","e2"]} failed: )"
            "not this time");
  EXPECT_TRUE(edit.rebuilt);
  EXPECT_EQ(following.standing().outputs, fresh.outputs);
  EXPECT_EQ(replayed(record + ".1"), fresh.outputs);
}

TEST(Following, WhatStandsStaysIfNothingCanBeBuiltAnew) {
  portMachinesUntilFailure = -1;
  Following following(failingAtTimes(), {true});
  following.start(fabricOf(withVtep));
  const FabricOutputs before = following.standing().outputs;
  const Controller* const controller = &following.controller();
  portMachinesUntilFailure = 0;
  EXPECT_THROW(following.follow(fabricOf(withoutVtep), derive(fabricOf(withoutVtep), machines())),
               OperationFailed);
  EXPECT_EQ(&following.controller(), controller);
  EXPECT_EQ(following.standing().outputs, before);
}

// What the loop says when an edit adds `request`, the machine fails that is made after
// `portMachines` others, and the program is told to end then.
std::string watchedFailing(int portMachines, const std::string& request) {
  const std::string file = written("failing.yaml", "fabrion: 1" + std::string(withVtep));
  RunOptions options{{file}};
  FileWatch files(options.documents);
  written("failing.yaml", "fabrion: 1" + std::string(withVtep) + request);
  std::ostringstream out;
  std::ostringstream err;
  portMachinesUntilFailure = portMachines;
  endAtFailure = true;
  EXPECT_EQ(watch(options, fabricOf(withVtep), files, out, err, failingAtTimes()), Outcome::done);
  endAtFailure = false;
  const std::string said = err.str();
  const std::string first = "fabrion: watching " + file + "; Ctrl-C or SIGTERM ends it\n";
  EXPECT_TRUE(said.starts_with(first)) << said;
  return said.substr(first.size());
}

const std::string blue = "  - {client: blue, switch: leaf1, port: e2, vlans: 30}\n";
const std::string failure =
    R"(fabrion: the operation {"op":"request.start","request":["blue","leaf1","e2"]} failed: )"
    "not this time";

TEST(Watching, WhatCannotBeDerivedIsToldAndNotApplied) {
  // One at the start, then the two of the fresh derivation.
  EXPECT_EQ(watchedFailing(2, blue),
            failure +
                "; what runs stays as it is\n"
                "fabrion: ended after 0 edits; 0 left something behind, 0 had the controller built "
                "anew\n");
}

TEST(Watching, AStepThatFailsIsToldAndEndedByBuildingAnew) {
  EXPECT_EQ(watchedFailing(3, blue),
            failure +
                "\n"
                "fabrion: ended after 1 edit; 1 left something behind, 1 had the controller built "
                "anew\n");
}

TEST(HandOver, HandsOverWhatBothHave) {
  SwitchOutputs right;
  right.vlans = {1, 2, 3};
  right.allowedVlans = {{"e1", {1, 2}}, {"e2", {3}}};
  right.nativeVlan = {{"e1", 1}, {"e2", 2}};
  right.vteps = {{"a", {{"e1", {{1, 11}, {2, 12}}}}}, {"b", {}}};
  SwitchOutputs present;
  present.vlans = {2, 3, 4};
  present.allowedVlans = {{"e1", {2, 9}}, {"e3", {3}}};
  present.nativeVlan = {{"e1", 1}, {"e2", 3}};
  present.vteps = {{"a", {{"e1", {{1, 11}, {2, 13}}}}}, {"c", {}}};
  SwitchOutputs common;
  common.vlans = {2, 3};
  common.allowedVlans = {{"e1", {2}}};
  common.nativeVlan = {{"e1", 1}};
  common.vteps = {{"a", {{"e1", {{1, 11}}}}}, {"b", {}}};
  EXPECT_EQ(commonOf({{"leaf", right}, {"other", {}}}, {{"leaf", present}, {"former", {}}}),
            (FabricOutputs{{"leaf", common}, {"other", {}}}));
}

// Over many edits

const char* wordOf(OutputKind kind) {
  switch (kind) {
    case OutputKind::switchItself:
      return "a switch";
    case OutputKind::switchVlan:
      return "a VLAN of a switch";
    case OutputKind::allowedVlan:
      return "an allowed VLAN";
    case OutputKind::nativeVlan:
      return "a native VLAN";
    case OutputKind::vtepItself:
      return "a VTEP";
    case OutputKind::mapping:
      return "a mapping";
  }
  return "";
}

std::string wordsOf(const OutputDifference& one) {
  const char* const how = one.change == ChangeKind::added     ? " that should not stand"
                          : one.change == ChangeKind::removed ? " that is missing"
                                                              : " with the wrong value";
  return std::string(wordOf(one.kind)) + how;
}

// Edits by the kinds that they left behind.
using Counts = std::map<std::string, int>;

void count(const FollowedEdit& edit, Counts& counts) {
  if (edit.leftovers.empty()) return;
  ++counts["edits"];
  std::set<std::string> kinds;
  for (const OutputDifference& one : edit.leftovers) kinds.insert(wordsOf(one));
  for (const std::string& kind : kinds) ++counts[kind];
}

void print(const char* title, const Counts& counts) {
  for (const auto& [what, number] : counts) {
    std::cout << "[          ] " << title << ": " << what << ": " << number << '\n';
  }
}

// Entries that both sides have and that went in between.
std::vector<std::string> flaps(const OutputFollower::Entries& before,
                               const OutputFollower::Entries& after,
                               const std::vector<std::string>& journal) {
  std::vector<std::string> found;
  for (const std::string& line : journal) {
    const std::string entry = line.substr(2);
    if (line[0] == '-' && before.contains(entry) && after.contains(entry)) found.push_back(entry);
  }
  return found;
}

TEST(Following, HealedAfterTwoHundredEditsTheOutputsAreThoseOfAFreshStart) {
  Counts counts;
  int stepsThatFlap = 0;
  for (const U64 seed : {1U, 2U}) {
    const std::string record = testing::TempDir() + "edits.journal";
    RandomEdits edits(seed);
    Following following(machines(), {true, record});
    following.start(edits.fabric());
    OutputFollower follower;
    follower.follow(following.controller());
    for (int i = 0; i < 100; ++i) {
      OutputFollower::Entries before = follower.entries();
      const OutputFollower::Entries first = before;
      std::vector<std::string> step;
      following.onHandOver([&](const Controller& next) {
        step = follower.taken();
        before = follower.entries();
        follower.follow(next);
      });
      edits.edit();
      const Derived fresh = derive(edits.fabric(), machines());
      const FollowedEdit edit = following.follow(edits.fabric(), fresh);
      ASSERT_EQ(edit.failure, "");
      ASSERT_EQ(edit.rebuilt, !edit.leftovers.empty());
      ASSERT_EQ(following.standing().outputs, fresh.outputs) << edits.document();
      const auto& after = follower.entries();
      ASSERT_EQ(after, OutputFollower::entriesOf(fresh.outputs));
      const std::vector<std::string> journal = follower.taken();
      if (edit.rebuilt) {
        ASSERT_THAT(flaps(before, after, journal), IsEmpty()) << seed << ' ' << i;
      }
      // What the edit's own operations did is theirs to order; how often it shows is worth knowing.
      stepsThatFlap += flaps(first, after, edit.rebuilt ? step : journal).empty() ? 0 : 1;
      count(edit, counts);
    }
    ASSERT_EQ(replayed(*following.journal()), following.standing().outputs);
  }
  EXPECT_GT(counts["edits"], 0);
  print("healed", counts);
  std::cout << "[          ] healed: steps that took an entry away and brought it back: "
            << stepsThatFlap << '\n';
}

TEST(Following, UnhealedTheLeftoversOfTwoHundredEditsAreTheDifferenceToAFreshStart) {
  Counts counts;
  for (const U64 seed : {1U, 2U}) {
    RandomEdits edits(seed);
    Following following(machines(), {});
    following.start(edits.fabric());
    for (int i = 0; i < 100; ++i) {
      edits.edit();
      const Derived fresh = derive(edits.fabric(), machines());
      const FollowedEdit edit = following.follow(edits.fabric(), fresh);
      ASSERT_EQ(edit.failure, "");
      ASSERT_FALSE(edit.rebuilt);
      ASSERT_EQ(edit.leftovers.empty(), following.standing().outputs == fresh.outputs);
      count(edit, counts);
    }
  }
  print("unhealed", counts);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
