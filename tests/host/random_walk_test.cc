// Random journals on the real machines. Each operation keeps to the contracts, which the account of
// the system (random_walk_model.h) states: it says what may be done, what each dump shows, and what
// is left when everything has been taken away. A second run gives the same bytes, and nothing
// leaks.
//
// A journal that fails is run in a process of its own, since a fault ends that, and is cut down
// until no operation can be spared.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "host/JournalWriter.h"
#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Trace.h"
#include "tests/host/controller_scene.h"
#include "tests/host/random_walk_journals.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {
namespace {

namespace Op = Host::Op;
using Host::lineOf;
using Host::nameOf;
using Host::Operation;
using Host::PortRequestName;
using Json = nlohmann::json;

// Running them

// FNV-1a over all that a run writes.
class Hash {
 public:
  void add(const char* text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      value_ = (value_ ^ static_cast<unsigned char>(text[i])) * 1099511628211U;
    }
  }
  void add(const std::string& text) { add(text.data(), text.size()); }
  U64 value() const { return value_; }

 private:
  U64 value_ = 14695981039346656037U;
};

class HashedTrace {
 public:
  explicit HashedTrace(Hash& hash) {
    Velo::traceLevelsIs("FabrionSm", 0x3ff);
    Velo::traceSinkIs(
        [](void* context, U32 level, const char* line, std::size_t size) {
          const char digit = static_cast<char>('0' + level);
          static_cast<Hash*>(context)->add(&digit, 1);
          static_cast<Hash*>(context)->add(line, size);
        },
        &hash);
  }
  ~HashedTrace() {
    Velo::traceSinkIs(nullptr, nullptr);
    Velo::traceLevelsIs("FabrionSm", 0);
  }
  HashedTrace(const HashedTrace&) = delete;
  HashedTrace& operator=(const HashedTrace&) = delete;
};

struct Ran {
  U64 hash = 0;
  std::string mistake;  // where it went another way than the account has it
};

// Runs the operations; with `account` each dump is held against it, and so is the end.
Ran run(const Operations& operations, bool account) {
  Ran ran;
  Hash hash;
  const HashedTrace trace(hash);
  ControllerScene scene;
  WalkModel model;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    scene.run(operations[i]);
    if (account) model.apply(operations[i]);
    if (!std::holds_alternative<Op::Dump>(operations[i])) continue;
    hash.add(scene.controller.dump());
    if (!account) continue;
    const Json actual = WalkModel::accountedFor(scene.state());
    if (actual == model.expected()) continue;
    ran.mistake = "dump " + std::to_string(i) +
                  " is otherwise: " + Json::diff(model.expected(), actual).dump();
    return ran;
  }
  if (account) {
    // A controller that saw nothing but the switches and their mounts.
    ControllerScene fresh;
    for (const Operation& operation : operations) {
      if (std::holds_alternative<Op::SwitchNew>(operation) ||
          std::holds_alternative<Op::Mount>(operation) ||
          std::holds_alternative<Op::MountUpdate>(operation)) {
        fresh.run(operation);
      }
    }
    Json expected = fresh.state();
    expected["networkElement"] = model.elementsLeft();
    expected["switch"] = model.outputsLeft();
    Json ended = scene.state();
    for (auto& [name, outputs] : ended["switch"].items()) {
      ran.mistake += model.mistakeInVteps(name, outputs["vtepConfig"]);
      outputs["vtepConfig"] = WalkModel::namesOf(outputs["vtepConfig"]);
    }
    if (ran.mistake.empty() && ended != expected) {
      ran.mistake = "the end is otherwise: " + Json::diff(expected, ended).dump();
    }
  }
  ran.hash = hash.value();
  return ran;
}

// All that is asked of one journal. Empty if it holds.
std::string mistakeIn(const Operations& journal) {
  const Ended ended(journal);
  const U64 before = Velo::AllocTrackTypeInfo::liveObjects();
  const Ran first = run(ended.operations(), true);
  if (!first.mistake.empty()) return first.mistake;
  if (Velo::AllocTrackTypeInfo::liveObjects() != before) {
    std::string leaked = "objects outlive the controller:";
    Velo::AllocTrackTypeInfo::forEach([&](const Velo::AllocTrackTypeInfo::Counts& one) {
      if (one.live != 0) leaked += " " + std::to_string(one.live) + " " + one.typeName;
    });
    return leaked;
  }
  return run(ended.operations(), false).hash == first.hash ? "" : "a second run writes other bytes";
}

// In a process of its own.
std::string childsMistakeIn(const Operations& journal) {
  const ChildEnd end = inChild([&] {
    const std::string mistake = mistakeIn(journal);
    std::cerr << mistake;
    return mistake.empty() ? 0 : 1;
  });
  if (end.aborted) return "fault: " + end.words;
  return end.status == 0 ? "" : "status " + std::to_string(end.status) + ": " + end.words;
}

// Takes out ever smaller parts while the journal still fails, in whatever way.
Operations shortest(Operations failing) {
  for (std::size_t part = failing.size() / 2; part > 0; part /= 2) {
    for (std::size_t at = 0; at < failing.size();) {
      Operations fewer(failing.begin(), failing.begin() + static_cast<long>(at));
      const std::size_t rest = std::min(failing.size(), at + part);
      fewer.insert(fewer.end(), failing.begin() + static_cast<long>(rest), failing.end());
      if (childsMistakeIn(fewer).empty()) {
        at += part;
      } else {
        failing = fewer;
      }
    }
  }
  return failing;
}

std::string report(U32 seed, const Operations& failing) {
  const Operations least = shortest(failing);
  std::string words = "seed " + std::to_string(seed) + ": " + childsMistakeIn(least);
  const Ended ended(least);
  for (const Operation& operation : ended.operations()) words += "\n" + lineOf(operation);
  return words;
}

TEST(RandomWalk, EveryJournalThatKeepsTheContractsRunsAsForetoldAndLeavesNothingElse) {
  const ChildEnd end = inChild([] {
    for (const Episode& episode : episodes()) {
      if (!mistakeIn(episode.operations).empty()) return 1;
    }
    return 0;
  });
  if (end.status == 0) return;
  for (const Episode& episode : episodes()) {
    if (childsMistakeIn(episode.operations).empty()) continue;
    FAIL() << report(episode.seed, episode.operations);
  }
  FAIL() << "a failure that does not come back: " << end.words;
}

// A short walk meets only some of what a long one does.
void expectMet(const std::set<std::string>& met, const std::set<std::string>& table) {
#ifdef FABRION_SANITIZED
  for (const std::string& one : met) EXPECT_TRUE(table.contains(one)) << one;
#else
  EXPECT_EQ(met, table);
#endif
}

TEST(RandomWalk, WhatIsLeftIsLeftByARuleAndEveryRuleIsMet) {
  std::set<std::string> met;
  for (const Episode& episode : episodes()) {
    for (const auto& [rule, count] : Ended(episode.operations).model().rests()) met.insert(rule);
  }
  expectMet(met,
            {"a VTEP configuration outlives the status that brought it",
             "a client that ends with remote hosts leaves its name on their elements and on the "
             "switch",
             "a host that leaves keeps its port groups",
             "a host that leaves while no topology runs, or an edge set after it left, keeps its "
             "name on its element",
             "a hostname that goes with hosts in it leaves its request on their elements",
             "a member port has an interface of its own accord",
             "a member that goes with its native VLAN leaves it to the group",
             "a native VLAN is taken off an output only by its own change",
             "a port with a remote host outlives its edge and its clients",
             "an element is looked at only when a referrer or an interface changes",
             "an interface that goes while no topology runs keeps its entry",
             "only VLANs 1 to 4094 of an earlier run are looked at",
             "the far port of an edge goes only with an edge of its own"});
}

TEST(RandomWalk, EveryOperationIsWalked) {
  std::set<std::string_view> names;
  for (const Episode& episode : episodes()) {
    for (const Operation& operation : episode.operations) names.insert(nameOf(operation));
  }
  EXPECT_EQ(names.size(), std::variant_size_v<Operation>);
}

// A contract that nothing would break would make the walk smaller for nothing.
TEST(RandomWalk, AnOperationThatBreaksAContractEndsTheProcess) {
  std::map<std::string, std::vector<Operations>> breaches;
  for (const Episode& episode : episodes()) {
    Walk walk(episode.seed);
    walk.make(episode.operations.size());
    for (const auto& [contract, journal] : walk.faults()) breaches[contract].push_back(journal);
  }
  std::set<std::string> met;
  for (const auto& [contract, journals] : breaches) {
    met.insert(contract);
    // Now and then a VLAN still stands on the port for somebody else.
    bool ends = false;
    for (std::size_t i = 0; i < std::min<std::size_t>(journals.size(), 20) && !ends; ++i) {
      ends = inChild([&, &all = journals[i]] {
               ControllerScene scene;
               scene.runAll(all);
               return 0;
             }).aborted;
    }
    EXPECT_TRUE(ends) << contract << "\n" << lineOf(journals[0].back());
  }
  expectMet(met, {
                     // A group of a hostname names a host that is not in the status.
                     "the element of the host",
                     // A request is taken off an element that had it before its machine.
                     "the machine of the request",
                     // A port group goes that stood on an element that is no switch before its
                     // machine did.
                     "the port group's machine",
                     // A remote host is withdrawn a second time, or by a client that holds it on
                     // another port as well.
                     "the element of the remote host",
                     // The port, or its VLAN, went with its edge, with another client or with the
                     // topology, and the request has not been initialized again.
                     "the port of the switch",
                     "a port whose request has a domain",
                     "a VLAN whose request has a domain",
                     // A switch's machine is asked before it has its element.
                     "the switch element",
                 });
}

// Why the walk asks for nothing on a port whose far end is a switch.
TEST(RandomWalk, AVlanOnAPortThatSeesItsOwnSwitchIsTakenOffWhileItIsFiled) {
  const PortRequestName name{"acme", "s1", "e1"};
  const Operations operations = {Op::TopologyStart{},
                                 Op::HostNew{"s1", "web", {"e1", "e2"}, {}},
                                 Op::HostEnter{"s1"},
                                 Op::EdgeAdd{{"s1", "e1"}},
                                 Op::EdgeTo{{"s1", "e1"}, {"s1", "e2"}, true},
                                 Op::SwitchNew{"s1"},
                                 Op::SwitchStart{"s1"},
                                 Op::SwitchAnnounce{"s1"},
                                 Op::RequestNew{name},
                                 Op::VlanAdd{name, 10},
                                 Op::RequestStart{name}};
  ControllerScene scene;
  scene.runAll(operations);
  EXPECT_EQ(scene.port("s1", "e1")["vlan"], Json::object());
  const ChildEnd end = inChild([&] {
    ControllerScene other;
    other.runAll(operations);
    other.run(Op::DomainAdd{name, 10, {"acme", "red"}});
    return 0;
  });
  EXPECT_TRUE(end.aborted);
}

}  // namespace
}  // namespace Fabrion::Test

#endif
