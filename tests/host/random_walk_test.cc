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
#include <random>

#include "host/JournalWriter.h"
#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Trace.h"
#include "tests/host/controller_scene.h"
#include "tests/host/random_walk_model.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {
namespace {

namespace Op = Host::Op;
using Host::HostRequestName;
using Host::lineOf;
using Host::nameOf;
using Host::Operation;
using Host::PortName;
using Host::PortRequestName;
using Host::RequestName;
using Json = nlohmann::json;
using Operations = std::vector<Operation>;

// Makes journals. Names are few, so that operations meet. Hosts, clients, interfaces and hostnames
// have no name in common: each keeps entries of the model alive by its name.
class Walk {
 public:
  explicit Walk(U32 seed) : random_(seed) {}

  Operations make(std::size_t length) {
    while (operations_.size() < length) tryToDo(proposal());
    return operations_;
  }

  // For each contract that a proposal would have broken by a fault, the first journal to do so.
  const std::map<std::string, Operations>& faults() const { return faults_; }

 private:
  U32 below(std::size_t end) { return static_cast<U32>(random_() % end); }
  bool chance(U32 percent) { return below(100) < percent; }
  template <class T>
  T one(const std::vector<T>& of) {
    return of[below(of.size())];
  }
  std::string any(std::initializer_list<const char*> of) {
    return *(of.begin() + below(of.size()));
  }

  std::string switchName() { return any({"s1", "s2"}); }
  std::string node() { return any({"s1", "s2", "h1", "h2", "h3"}); }
  std::string portOf(const std::string& node) {
    return node[0] == 's' ? any({"e1", "e2", "e3", "u1"}) : any({"eth0", "eth1"});
  }
  std::string groupName() { return any({"po1", "po2"}); }
  std::string hostname() { return any({"web", "db", "far"}); }
  std::string client() { return any({"acme", "blue"}); }
  U32 vlan() { return chance(97) ? one<U32>({1, 1, 2, 2, 4094}) : 1 + below(4094); }
  PortName portName() {
    const std::string name = node();
    return {name, portOf(name)};
  }
  HostRequestName hostRequest() { return {client(), hostname()}; }
  PortRequestName portRequest() { return {client(), switchName(), any({"e1", "e2", "e3"})}; }
  RequestName request() {
    if (chance(40)) return hostRequest();
    return portRequest();
  }
  Host::DomainName domain() {
    return one<Host::DomainName>({{"acme", ""}, {"acme", "red"}, {"blue", "red"}});
  }
  std::vector<std::string> portsOf(const std::string& node) {
    std::vector<std::string> ports;
    for (const char* port : {"e1", "e2", "e3", "u1"}) {
      if (node[0] == 's' && chance(85)) ports.emplace_back(port);
    }
    for (const char* port : {"eth0", "eth1"}) {
      if (node[0] != 's' && chance(85)) ports.emplace_back(port);
    }
    return ports;
  }

  Operation hostNew() {
    const std::string name = node();
    Op::HostNew made{name, hostname(), portsOf(name), {}};
    if (chance(40) && !made.ports.empty()) made.groups.push_back({"po1", {one(made.ports)}});
    return made;
  }
  Operation switchNew() {
    Host::Outputs outputs;
    if (chance(40)) {
      outputs = {Host::AllowedVlanLists{{{portOf("s"), "1-3,100"}, {"e9", "7"}}},
                 Host::NativeVlans{{{portOf("s"), 7}, {"e9", 8}}},
                 Host::SwitchVlanList{"0-7,4095"}};
    }
    return Op::SwitchNew{switchName(), outputs};
  }
  Operation invoke() {
    const auto name = portRequest();
    const std::string onPort = "clientResourcesForSwitchportSm/" + name.client + "/" +
                               name.switchName + "/" + name.interface;
    switch (below(12)) {
      case 0:
        return Op::Invoke{"topologySm", "handleInitialized", {}};
      case 1:
        return Op::Invoke{"topologySm", "handleHost", node()};
      case 2:
        return Op::Invoke{"topologySm", "handleHostsByHostname", hostname()};
      case 3:
        return Op::Invoke{"networkElementSm/" + node(), "handleTopologyHost", {}};
      case 4:
        return Op::Invoke{"networkElementSm/" + node(), "handleNePortGroup", groupName()};
      case 5:
        return Op::Invoke{"switchNodeSm/" + switchName(), "handleSwitchElement", {}};
      case 6:
        return Op::Invoke{"switchNodeSm/" + switchName(), "handleInterface", portOf("s")};
      case 7:
        return Op::Invoke{"switchNodeSm/" + switchName(), "isMemberInterface", portOf("s")};
      case 8:
        return Op::Invoke{onPort, "handleInitialized", {}};
      case 9:
        return Op::Invoke{onPort, "handleNativeVlan", {}};
      case 10:
        return Op::Invoke{onPort, "handleRemoteHost", any({"far", "h1"})};
      default: {
        const HostRequestName host = hostRequest();
        return Op::Invoke{"clientResourcesForHostnameSm/" + host.client + "/" + host.hostname,
                          "handleInitialized",
                          {}};
      }
    }
  }

  Operation topologyOperation() {
    const std::string name = node();
    switch (below(22)) {
      case 0:
        return hostNew();
      case 1:
      case 2:
      case 3:
        return Op::HostEnter{name};
      case 4:
        return Op::HostLeave{name};
      case 5:
        return Op::PortAdd{name, portOf(name)};
      case 6:
        return Op::PortDel{name, portOf(name)};
      case 7:
        return Op::GroupAdd{name, groupName(), {portOf(name)}};
      case 8:
        return Op::GroupDel{name, groupName()};
      case 9:
      case 10:
        return Op::MemberAdd{name, groupName(), portOf(name)};
      case 11:
        return Op::MemberDel{name, groupName(), portOf(name)};
      case 12:
        return Op::EdgeAdd{portName(),
                           chance(30) ? std::vector{portName()} : std::vector<PortName>()};
      case 13:
      case 14:
      case 15:
        return Op::EdgeTo{portName(), portName(), chance(85)};
      case 16:
        return Op::EdgeToDel{portName(), portName()};
      case 17:
        return Op::EdgeDel{portName()};
      case 18:
        return Op::HostnameAdd{hostname(), {name}};
      case 19:
        return Op::HostnameDel{hostname()};
      case 20:
        return Op::HostnameHostAdd{hostname(), name};
      default:
        return Op::HostnameHostDel{hostname(), name};
    }
  }

  Operation requestOperation() {
    switch (below(22)) {
      case 0:
        return Op::RequestNew{request()};
      case 1:
      case 2:
      case 3: {
        const RequestName name = request();
        // A machine whose own name is another one cleans up in the wrong place.
        if (chance(10)) return Op::RequestStart{name, hostname()};
        return Op::RequestStart{name};
      }
      case 4:
        return Op::RequestStop{request()};
      case 5:
      case 6:
      case 7:
      case 8:
        return Op::VlanAdd{request(), vlan()};
      case 9:
      case 10:
        return Op::VlanDel{request(), vlan()};
      case 11:
      case 12:
        return Op::VniAdd{request(), vlan(), one<U32>({1, 5000, 0xffffff})};
      case 13:
        return Op::VniDel{request(), vlan(), one<U32>({1, 5000, 0xffffff})};
      case 14:
      case 15:
        return Op::DomainAdd{request(), vlan(), domain()};
      case 16:
        return Op::DomainDel{request(), vlan(), domain()};
      case 17:
      case 18:
        return Op::Native{portRequest(), chance(75) ? std::optional(below(3)) : std::nullopt};
      case 19:
      case 20:
        return Op::Remote{portRequest(), any({"far", "h1"}), chance(85)};
      default:
        return Op::RemoteDel{portRequest(), any({"far", "h1"})};
    }
  }

  Operation otherOperation() {
    const std::string name = switchName();
    switch (below(16)) {
      case 0:
        return switchNew();
      case 1:
      case 2:
        return Op::SwitchStart{name};
      case 3:
      case 4:
        return Op::SwitchAnnounce{name};
      case 5:
        return Op::SwitchStop{name};
      case 6:
        return Op::Mount{name, static_cast<Host::MountFlag>(below(5)), chance(60)};
      case 7:
        return Op::MountUpdate{name};
      case 8:
        return Op::TopologyStart{};
      case 9:
        return chance(30) ? Operation(Op::TopologyStop{}) : Operation(Op::Dump{});
      case 10:
        return Op::ElementHold{node(), any({"fabrion", "other"})};
      case 11:
        return Op::ElementRelease{node(), any({"fabrion", "other"})};
      case 12:
        return Op::Dump{};
      default:
        return invoke();
    }
  }

  Operation proposal() {
    const U32 kind = below(100);
    if (kind < 40) return topologyOperation();
    return kind < 80 ? requestOperation() : otherOperation();
  }

  void tryToDo(const Operation& operation) {
    WalkModel after = model_;
    try {
      after.apply(operation);
    } catch (const WalkModel::Objection& why) {
      if (why.kind == WalkModel::Objection::Kind::fault && !faults_.contains(why.why)) {
        Operations& journal = faults_[why.why] = operations_;
        journal.push_back(operation);
      }
      return;
    }
    model_ = std::move(after);
    operations_.push_back(operation);
  }

  std::mt19937 random_;
  WalkModel model_;
  Operations operations_;
  std::map<std::string, Operations> faults_;
};

// A journal with everything taken away at its end, in an order in which everything can go. What a
// contract forbids is left out, here and in the journal itself.
class Ended {
 public:
  explicit Ended(const Operations& journal) {
    for (const Operation& operation : journal) tryToDo(operation);
    takeAway();
  }

  const Operations& operations() const { return operations_; }
  const WalkModel& model() const { return model_; }

 private:
  void tryToDo(const Operation& operation) {
    if (model_.objection(operation)) return;
    model_.apply(operation);
    operations_.push_back(operation);
  }

  void takeAway() {
    tryToDo(Op::Dump{});
    if (!model_.topologyRuns()) {
      for (const auto& name : model_.runningHostRequests()) tryToDo(Op::RequestStop{name});
      tryToDo(Op::TopologyStart{});
    }
    for (const auto& name : model_.switches()) {
      tryToDo(Op::ElementHold{name, "fabrion"});
      tryToDo(Op::SwitchStart{name});
      tryToDo(Op::SwitchAnnounce{name});
    }
    for (const auto& name : model_.runningHostRequests()) tryToDo(Op::RequestStop{name});
    for (const auto& name : model_.runningPortRequests()) {
      for (const auto& far : model_.remoteHosts(name)) tryToDo(Op::RemoteDel{name, far});
      tryToDo(Op::RequestStop{name});
    }
    for (const auto& name : model_.edges()) tryToDo(Op::EdgeDel{name});
    for (const auto& [hostname, host] : model_.hostsOfHostnames()) {
      tryToDo(Op::HostnameHostDel{hostname, host});
    }
    for (const auto& hostname : model_.hostnames()) tryToDo(Op::HostnameDel{hostname});
    // A request whose elements were not watched as they got it may end only now, with no group.
    for (const auto& name : model_.runningHostRequests()) tryToDo(Op::RequestStop{name});
    for (const auto& [host, group] : model_.groups()) {
      for (const auto& port : model_.members(host, group))
        tryToDo(Op::MemberDel{host, group, port});
      tryToDo(Op::GroupDel{host, group});
    }
    for (const auto& host : model_.hostsInStatus()) tryToDo(Op::HostLeave{host});
    for (const auto& [element, referrer] : model_.referrers()) {
      if (referrer == "fabrion" || referrer == "other")
        tryToDo(Op::ElementRelease{element, referrer});
    }
    tryToDo(Op::TopologyStop{});
    for (const auto& name : model_.switches()) tryToDo(Op::SwitchStop{name});
    tryToDo(Op::Dump{});
  }

  WalkModel model_;
  Operations operations_;
};

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
    if (scene.state() != expected) {
      ran.mistake = "the end is otherwise: " + Json::diff(expected, scene.state()).dump();
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

#ifdef FABRION_SANITIZED
constexpr std::size_t operationsWanted = 4000;
#else
constexpr std::size_t operationsWanted = 40000;
#endif

struct Episode {
  U32 seed;
  Operations operations;
};

// Short ones meet the beginning and the end more often, long ones pile up more in between.
const std::vector<Episode>& episodes() {
  static const std::vector<Episode> all = [] {
    std::vector<Episode> made;
    std::size_t operations = 0;
    for (U32 seed = 1; operations < operationsWanted; ++seed) {
      made.push_back({seed, Walk(seed).make(seed % 8 == 0 ? 1000 : 40 * (seed % 8))});
      operations += made.back().operations.size();
    }
    return made;
  }();
  return all;
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
            {"a client that ends with remote hosts leaves its name on their elements and on the "
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
  // All but the static maps and the VTEPs.
  EXPECT_EQ(names.size(), std::variant_size_v<Operation> - 6);
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
