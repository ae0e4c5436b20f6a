// A controller that follows two hundred edits. Healing ends each with the outputs of a fresh start,
// and in none of them an output goes that stands before it and after it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "host/JournalReader.h"
#include "tests/host/OutputFollower.h"
#include "tests/host/RandomEdits.h"
#include "tests/host/folder.h"
#include "tests/host/followed.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::editsOfSeed;
using Test::Folder;
using Test::machines;
using Test::OutputFollower;
using Test::RandomEdits;
using Test::replayed;
using Test::seedsOfEdits;
using testing::IsEmpty;

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

// Edits by what was found in them.
using Counts = std::map<std::string, int>;

void count(const FollowedEdit& edit, Counts& counts) {
  std::set<std::string> found;
  for (const OutputDifference& one : edit.leftovers) found.insert("leaves " + wordsOf(one));
  if (!edit.leftovers.empty()) found.insert("leave something");
  if (edit.interrupted > 0) found.insert("interrupt");
  if (edit.interrupted > 0 && !edit.leftovers.empty())
    found.insert("interrupt and leave something");
  if (!edit.failure.empty()) found.insert("fail");
  if (edit.rebuilt) found.insert("built anew");
  for (const std::string& each : found) ++counts[each];
}

// On the screen, and in the report that the tests write where asked for one.
void record(const std::string& title, const Counts& counts) {
  for (const auto& [what, number] : counts) {
    std::cout << "[          ] edits, " << title << ": " << what << ": " << number << '\n';
    std::string name = title + " " + what;
    std::replace(name.begin(), name.end(), ' ', '_');
    testing::Test::RecordProperty(name, number);
  }
}

using Entries = OutputFollower::Entries;

// Entries that both sides have and that went in between.
Entries interrupted(const Entries& before, const Entries& after,
                    const std::vector<std::string>& journal) {
  Entries found;
  for (const std::string& line : journal) {
    const std::string entry = line.substr(2);
    if (line[0] == '-' && before.contains(entry) && after.contains(entry)) found.insert(entry);
  }
  return found;
}

// The outputs of a controller that got what the journal has, and then an edit's own operations,
// whatever these do.
class Unhealed {
 public:
  // `journal` is that of a controller which was just built anew, of `fabric`, or begun.
  void begin(const std::string& journal, const Fabric& fabric) {
    change_ = FabricChange();
    change_.to(fabric);
    controller_.emplace(machines());
    for (const std::string& line : Test::linesOf(Test::textOfFile(journal))) {
      if (const std::optional<Operation> operation = operationOf(line)) {
        controller_->apply(*operation);
      }
    }
    follower_.follow(*controller_);
  }

  // How many entries the edit interrupts that stand in `after` too.
  std::size_t interruptions(const Fabric& next, const Entries& after) {
    const Entries before = follower_.entries();
    follower_.taken();
    for (const Operation& operation : change_.to(next)) controller_->apply(operation);
    return interrupted(before, after, follower_.taken()).size();
  }

 private:
  FabricChange change_;
  std::optional<Controller> controller_;
  OutputFollower follower_;
};

TEST(FollowingEdits, HealingInterruptsNothingAndEndsWithTheOutputsOfAFreshStart) {
  Counts counts;
  for (const U64 seed : seedsOfEdits) {
    const Folder folder;
    RandomEdits edits(seed);
    Following following(machines(), {true, folder / "journal"});
    following.start(edits.fabric());
    Unhealed unhealed;
    unhealed.begin(*following.journal(), edits.fabric());
    OutputFollower follower;
    follower.follow(following.controller());
    following.onHandOver([&](const Controller& next) { follower.follow(next); });
    for (int i = 0; i < editsOfSeed; ++i) {
      const Entries before = follower.entries();
      follower.taken();
      edits.edit();
      const Derived fresh = derive(edits.fabric(), machines());
      const Entries after = OutputFollower::entriesOf(fresh.outputs);
      const FollowedEdit edit = following.follow(edits.fabric(), fresh);
      SCOPED_TRACE(std::to_string(seed) + ", edit " + std::to_string(i));
      follower.follow(following.controller());  // the outputs of new switches too
      ASSERT_EQ(following.standing().outputs, fresh.outputs) << edits.document();
      ASSERT_EQ(follower.entries(), after);
      ASSERT_THAT(interrupted(before, after, follower.taken()), IsEmpty()) << edits.document();
      // And only what needs it is built anew.
      ASSERT_EQ(edit.failure, "");
      ASSERT_EQ(edit.rebuilt, !edit.leftovers.empty() || edit.interrupted > 0);
      ASSERT_EQ(edit.interrupted, unhealed.interruptions(edits.fabric(), after));
      if (edit.rebuilt) unhealed.begin(*following.journal(), edits.fabric());
      count(edit, counts);
    }
    ASSERT_EQ(replayed(*following.journal()), following.standing().outputs);
  }
  // Or the edits would show nothing.
  EXPECT_GT(counts["leave something"], 0);
  EXPECT_GT(counts["interrupt"], 0);
  record("healed", counts);
}

TEST(FollowingEdits, UnhealedTheirLeftoversAreTheDifferenceToAFreshStart) {
  Counts counts;
  for (const U64 seed : seedsOfEdits) {
    RandomEdits edits(seed);
    Following following(machines(), {});
    following.start(edits.fabric());
    for (int i = 0; i < editsOfSeed; ++i) {
      edits.edit();
      const Derived fresh = derive(edits.fabric(), machines());
      const FollowedEdit edit = following.follow(edits.fabric(), fresh);
      ASSERT_EQ(edit.failure, "");
      ASSERT_FALSE(edit.rebuilt);
      ASSERT_EQ(edit.interrupted, 0U);
      ASSERT_EQ(edit.leftovers.empty(), following.standing().outputs == fresh.outputs);
      count(edit, counts);
    }
  }
  record("unhealed", counts);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
