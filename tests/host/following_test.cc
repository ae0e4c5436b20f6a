// A controller that follows edits: what it says of each, and that healing leaves the outputs of a
// fresh start without touching what was right.

#include "host/Following.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "host/DifferenceText.h"
#include "host/HandOver.h"
#include "host/WatchCommand.h"
#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Type.h"
#include "tests/host/OutputFollower.h"
#include "tests/host/Program.h"
#include "tests/host/Texts.h"
#include "tests/host/folder.h"
#include "tests/host/followed.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::fabricOf;
using Test::Folder;
using Test::followed;
using Test::machines;
using Test::OutputFollower;
using Test::replayed;
using Test::textOfFile;
using Test::written;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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

// To take the VNI back step by step is a fault, which ends the process.
TEST(Following, ASwitchThatIsCabledToItselfHasTheControllerBuiltAnew) {
  const auto loop = [](const char* vnis) {
    return fabricOf(std::string(R"(
switches:
  spine1: {ports: "e[1-3]"}
  leaf1: {ports: "e[1-2]", vteps: vtep1}
hosts:
  srv8: {hostname: compute8, ports: eth0}
links:
  - [spine1:e3, srv8:eth0]
  - [spine1:e3, spine1:e1]
  - [leaf1:e1, spine1:e2]
requests:
  - {client: acme, hostname: compute8, vlans: 26-29, vnis: )") +
                    vnis + "}\n");
  };
  for (const bool heal : {false, true}) {
    Following following(machines(), {heal});
    const Fabric before = loop("{26-29: 10026-10029}");
    const Fabric next = loop("{26: [10001, 10026], 27-29: 10027-10029}");
    following.start(before);
    const FollowedEdit edit = followed(following, next);
    EXPECT_TRUE(edit.cabledToItself);
    EXPECT_TRUE(edit.rebuilt);
    EXPECT_EQ(edit.failure, "");
    EXPECT_EQ(following.standing().outputs, derive(next, machines()).outputs);
  }
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
  std::vector<std::string> before = {"not handed over"};
  following.onHandOver([&](const Controller& next) {
    before = follower.taken();
    follower.follow(next);
  });
  const FollowedEdit edit = followed(following, fabricOf(withoutVtep));
  EXPECT_TRUE(edit.rebuilt);
  EXPECT_EQ(edit.leftovers.size(), 2U);
  EXPECT_EQ(edit.interrupted, 0U);
  EXPECT_THAT(before, IsEmpty());
  // All at once, as the new outputs are whole.
  EXPECT_THAT(follower.taken(),
              ElementsAre("- leaf1 e1 allows 12", "- leaf1 vlan 12", "- leaf1 vtep1 e1 10 to 5010",
                          "+ leaf1 e1 allows 14", "+ leaf1 vlan 14"));
  EXPECT_EQ(textOf(edit.plan.differences),
            "Switch leaf1\n  - VLAN 12\n  + VLAN 14\n  - port e1: VLAN 12\n  + port e1: VLAN 14\n"
            "  - VTEP vtep1\n  - VTEP vtep1, port e1: VLAN 10 to VNI 5010\n");
  EXPECT_EQ(following.standing().outputs, derive(fabricOf(withoutVtep), machines()).outputs);
  // The next edit goes on from there.
  EXPECT_FALSE(followed(following, fabricOf(withVtep)).rebuilt);
  EXPECT_EQ(following.standing().outputs, derive(fabricOf(withVtep), machines()).outputs);
}

// A request that gets another client is another request: the old one goes before the new one comes.
const char* const ofAnotherClient = R"(
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
requests:
  - {client: blue, switch: leaf1, port: e1, vlans: [10-11], vnis: {10: 5010}}
)";
TEST(Following, HealingTakesNothingAwayThatStays) {
  const Folder folder;
  Following following(machines(), {true, folder / "journal"});
  following.start(fabricOf(withVtep));
  OutputFollower follower;
  follower.follow(following.controller());
  follower.taken();
  following.onHandOver([&](const Controller& next) { follower.follow(next); });
  const std::string begun = textOfFile(folder / "journal");
  const FollowedEdit edit = followed(following, fabricOf(ofAnotherClient));
  EXPECT_THAT(edit.leftovers, IsEmpty());
  // Two VLANs of the switch, two of the port, and a mapping.
  EXPECT_EQ(edit.interrupted, 5U);
  EXPECT_TRUE(edit.rebuilt);
  EXPECT_THAT(follower.taken(), ElementsAre("- leaf1 e1 allows 12", "- leaf1 vlan 12"));
  EXPECT_EQ(textOf(edit.plan.differences), "Switch leaf1\n  - VLAN 12\n  - port e1: VLAN 12\n");
  // The controller that was did nothing of it.
  EXPECT_EQ(textOfFile(folder / "journal"), begun);
  EXPECT_EQ(following.journal(), folder / "journal.1");
  EXPECT_EQ(replayed(folder / "journal.1"), following.standing().outputs);
  // What needs nothing of it goes on in the same controller, however often.
  const Controller* const controller = &following.controller();
  for (const char* const vlans : {"[10-11, 30]", "[10]", "[10-12]"}) {
    const FollowedEdit next = followed(following, fabricOf(std::string(R"(
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
requests:
  - {client: blue, switch: leaf1, port: e1, vnis: {10: 5010}, vlans: )") +
                                                           vlans + "}\n"));
    EXPECT_FALSE(next.rebuilt);
    EXPECT_EQ(next.interrupted, 0U);
    EXPECT_EQ(&following.controller(), controller);
  }
}

TEST(Following, UnhealedOperationsAreAppliedAsTheyCome) {
  Following following(machines(), {});
  following.start(fabricOf(withVtep));
  OutputFollower follower;
  follower.follow(following.controller());
  follower.taken();
  const FollowedEdit edit = followed(following, fabricOf(ofAnotherClient));
  EXPECT_FALSE(edit.rebuilt);
  EXPECT_EQ(edit.interrupted, 0U);
  const std::vector<std::string> journal = follower.taken();
  EXPECT_THAT(journal, Contains("- leaf1 e1 allows 10"));
  EXPECT_THAT(journal, Contains("+ leaf1 e1 allows 10"));
}

// What runs and what is rehearsed are stages of their own.
TEST(Following, TheRehearsalIsAStageOfItsOwn) {
  std::vector<std::string> stages;
  const auto stage = [&stages](const std::string& name) {
    return [&stages, name](const Following::Work& work) {
      std::size_t all = 0;
      work([&all](std::size_t /*done*/, std::size_t of) { all = of; });
      stages.push_back(name + (all > 0 ? "" : " nothing"));
    };
  };
  const auto follow = [&](bool heal, const char* const next) {
    Following following(machines(), {heal});
    following.start(fabricOf(withVtep), stage("start"));
    following.follow(fabricOf(next), derive(fabricOf(next), machines()), stage("run"),
                     stage("rehearse"));
    return std::exchange(stages, {});
  };
  EXPECT_THAT(follow(true, ofAnotherClient), ElementsAre("start", "rehearse", "run"));
  EXPECT_THAT(follow(false, ofAnotherClient), ElementsAre("start", "run"));
}

TEST(Following, TheJournalGoesOnInAFileOfItsOwn) {
  const Folder folder;
  const std::string record = folder / "following.journal";
  // A document, whoever calls one that; what is left of an earlier run; and a link to nowhere.
  const std::string document = folder.with("following.journal.1", "fabrion: 1\n");
  const std::string earlier = folder.with("following.journal.3", "# earlier\n");
  std::filesystem::create_symlink("nowhere", folder / "following.journal.4");
  // Files to keep that are not there yet, by another name than the journal's.
  const std::string outputs = folder.path + "/./following.journal.5";
  Following following(machines(), {true, record, {document, outputs}});
  following.start(fabricOf(withVtep));
  EXPECT_EQ(following.journal(), record);
  const std::string first = textOfFile(record);
  followed(following, fabricOf(withoutVtep));
  EXPECT_EQ(following.journal(), record + ".2");
  EXPECT_EQ(replayed(record + ".2"), following.standing().outputs);
  // While the controller goes on, so does its journal.
  followed(following, fabricOf(withVtep));
  EXPECT_EQ(following.journal(), record + ".2");
  EXPECT_EQ(replayed(record + ".2"), following.standing().outputs);
  const std::string second = textOfFile(record + ".2");
  followed(following, fabricOf(withoutVtep));
  EXPECT_EQ(following.journal(), record + ".6");
  EXPECT_EQ(replayed(record + ".6"), following.standing().outputs);
  // Each is left as it was.
  EXPECT_EQ(textOfFile(record), first);
  EXPECT_EQ(textOfFile(record + ".2"), second);
  EXPECT_EQ(textOfFile(document), "fabrion: 1\n");
  EXPECT_EQ(textOfFile(earlier), "# earlier\n");
  EXPECT_FALSE(std::filesystem::exists(folder / "nowhere"));
  EXPECT_FALSE(std::filesystem::exists(outputs));
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
  const Folder folder;
  const std::string record = folder / "failing.journal";
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

// Whatever fails, what comes of it is right: the rehearsal as it is made, in the operation itself,
// and the running controller in what the rehearsal could do.
TEST(Following, AStepThatFailsWhereEditsAreRehearsedIsEndedTheSameWay) {
  const Fabric next =
      fabricOf(std::string(withVtep) + "  - {client: blue, switch: leaf1, port: e2, vlans: 30}\n");
  const Derived fresh = derive(next, machines());
  for (const int portMachines : {0, 1, 2}) {
    portMachinesUntilFailure = -1;
    const Folder folder;
    Following following(failingAtTimes(), {true, folder / "journal"});
    following.start(fabricOf(withVtep));
    const std::string begun = textOfFile(folder / "journal");
    portMachinesUntilFailure = portMachines;
    const FollowedEdit edit = following.follow(next, fresh);
    EXPECT_THAT(edit.failure, HasSubstr("failed: not this time"));
    EXPECT_TRUE(edit.rebuilt);
    EXPECT_EQ(following.standing().outputs, fresh.outputs);
    EXPECT_EQ(textOfFile(folder / "journal") == begun, portMachines < 2) << portMachines;
    EXPECT_EQ(replayed(folder / "journal.1"), fresh.outputs);
    // And edits are rehearsed as before.
    EXPECT_FALSE(followed(following, fabricOf(withVtep)).rebuilt);
    EXPECT_GT(followed(following, fabricOf(ofAnotherClient)).interrupted, 0U);
  }
}

TEST(Following, WhatStandsStaysIfNothingCanBeBuiltAnew) {
  portMachinesUntilFailure = -1;
  Following following(failingAtTimes(), {true});
  following.start(fabricOf(withVtep));
  const FabricOutputs before = following.standing().outputs;
  const Controller* const controller = &following.controller();
  following.onHandOver([](const Controller& /*next*/) { FAIL() << "nothing is whole"; });
  portMachinesUntilFailure = 1;  // after that of the rehearsal
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

}  // namespace
}  // namespace Fabrion::Host

#endif
