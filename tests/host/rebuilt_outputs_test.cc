// Random walks over provisioning, held against the same fabric provisioned at once. What stands
// asked for is told to a fresh controller, whose switch machines start last; its outputs are
// compared with those that came about step by step. Every difference is foretold, to the port,
// VLAN and value, and each by a named rule (provisioning_rules.h).
//
// The fabric itself does not change here, so these operations are left to the walk in
// random_walk_test.cc: hosts, their ports, edges and hostnames, group.add and group.del,
// topology.start, and topology.stop but at the end, remote hosts, a second request.new,
// element.hold and element.release. What they leave in the model depends on how they met, and takes
// an account of the whole system to say. Native VLANs are left out on ports that may be in a port
// group, for the same reason.
#include <gtest/gtest.h>

#include <random>

#include "host/JournalWriter.h"
#include "tests/host/controller_scene.h"
#include "tests/host/provisioning_account.h"
#include "tests/host/provisioning_rules.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {
namespace {

namespace Op = Host::Op;
using Host::Operation;
using Json = nlohmann::json;
using Operations = ProvisioningAccount::Operations;

class Walk {
 public:
  explicit Walk(U32 seed) : random_(seed) {}

  // What an earlier run may have left, and ports that are in their group from the beginning.
  Operations beginning() {
    Operations made;
    for (const char* name : {"s1", "s2"}) {
      Host::Outputs left;
      if (chance(50)) {
        left = {Host::AllowedVlanLists{{{port(), "0-2,100"}, {"e9", "7"}}},
                Host::NativeVlans{{{port(), 7}, {"e9", 8}}}, Host::SwitchVlanList{"0-7,4095"},
                Host::VtepMappings{{{vtep(), {{port(), vlan(), 9}, {port(), vlan(), 102}}}}}};
      }
      made.push_back(Op::SwitchNew{name, left});
    }
    if (chance(50)) made.push_back(Op::MemberAdd{"s1", "po1", one<const char*>({"e1", "e2"})});
    for (const char* name : {"s1", "s2"}) {
      made.push_back(Op::SwitchStart{name});
      made.push_back(Op::SwitchAnnounce{name});
    }
    return made;
  }

  Operation proposal() {
    const std::string name = switchName();
    switch (below(44)) {
      case 0:
        return Op::MapAdd{domain(), {{vlans(), vnis()}}};
      case 1:
        return Op::MapAdd{domain(), {{{1, 2}, vnis()}, {{2, 3}, vnis()}}};
      case 2:
        return Op::MapDel{domain()};
      case 3:
      case 4:
      case 5:
        return Op::RangeSet{domain(), vlans(), vnis()};
      case 6:
        return Op::RangeDel{domain(), vlans()};
      case 7:
      case 8:
        return Op::VtepAdd{name, vtep()};
      case 9:
        return Op::VtepDel{name, vtep()};
      case 10:
      case 11:
        return Op::SwitchStart{name};
      case 12:
      case 13:
        return Op::SwitchAnnounce{name};
      case 14:
        return Op::SwitchStop{name};
      case 15:
      case 16:
        return Op::MemberAdd{"s1", "po1", one<const char*>({"e1", "e2"})};
      case 17:
      case 18:
        return Op::MemberDel{"s1", "po1", one<const char*>({"e1", "e2"})};
      case 19:
      case 20:
        return Op::RequestNew{request()};
      case 21:
      case 22:
      case 23:
        return Op::RequestStart{request()};
      case 24:
        return Op::RequestStop{request()};
      case 25:
      case 26:
      case 27:
        return Op::VlanAdd{request(), vlan()};
      case 28:
        return Op::VlanDel{request(), vlan()};
      case 29:
      case 30:
      case 31:
        return Op::VniAdd{request(), vlan(), vni()};
      case 32:
      case 33:
        return Op::VniDel{request(), vlan(), vni()};
      case 34:
      case 35:
      case 36:
        return Op::DomainAdd{request(), vlan(), domain()};
      case 37:
      case 38:
      case 39:
        return Op::DomainAdd{onPort(), vlan(), domain()};
      case 40:
        return Op::DomainDel{request(), vlan(), domain()};
      case 41:
        return Op::DomainDel{onPort(), vlan(), domain()};
      default:
        return Op::Native{onPort(), chance(70) ? std::optional(below(3)) : std::nullopt};
    }
  }

 private:
  U32 below(std::size_t end) { return static_cast<U32>(random_() % end); }
  bool chance(U32 percent) { return below(100) < percent; }
  template <class T>
  T one(const std::vector<T>& of) {
    return of[below(of.size())];
  }
  std::string switchName() { return one<const char*>({"s1", "s1", "s2"}); }
  std::string client() { return one<const char*>({"acme", "blue"}); }
  std::string vtep() { return one<const char*>({"v1", "v2", "v3"}); }
  std::string port() { return one<const char*>({"e1", "e2", "e3", "po1"}); }
  U32 vlan() { return one<U32>({1, 1, 1, 2, 4094}); }
  U32 vni() { return one<U32>({101, 102, 5000, 0xffffff}); }
  Host::NumberRange vlans() { return one<Host::NumberRange>({{1, 2}, {2, 3}, {1, 4094}}); }
  Host::NumberRange vnis() { return one<Host::NumberRange>({{101, 103}, {201, 203}, {0, 0}}); }
  Host::DomainName domain() {
    return one<Host::DomainName>(
        {{"acme", ""}, {"acme", "red"}, {"acme", "red"}, {"acme", "red"}, {"tenant", ""}});
  }
  Host::PortRequestName onPort() {
    const std::string name = switchName();
    if (name == "s2") return {client(), name, one<const char*>({"e1", "e1", "e1", "e2"})};
    return {client(), name, one<const char*>({"e1", "e1", "e2", "e3"})};
  }
  Host::RequestName request() {
    if (chance(40)) return Host::HostRequestName{client(), one<const char*>({"web", "db"})};
    return onPort();
  }

  std::mt19937 random_;
};

Json vlansOf(const Json& state, const std::string& name) {
  Json vlans = Json::object();
  for (const char* ports : {"physicalInterface", "portGroup"}) {
    for (const auto& [port, of] : state["networkElement"][name][ports].items()) {
      vlans[port] = of["vlan"];
    }
  }
  return vlans;
}

// Where the outputs are otherwise than the account has them, or differ from rebuilt ones by no
// rule; empty if nowhere. Counts the rules by which they differ.
std::string mistake(const ControllerScene& scene, const ProvisioningAccount& account,
                    std::map<std::string, U32>& met) {
  const Json state = scene.state();
  for (const char* name : {"s1", "s2"}) {
    const Json expected = account.outputs(name).json();
    if (state["switch"][name] != expected) {
      return std::string("the outputs of ") + name +
             " are otherwise than foretold: " + Json::diff(expected, state["switch"][name]).dump() +
             "\n  foretold " + expected.dump() + "\n  VLANs " + vlansOf(state, name).dump();
    }
  }
  ControllerScene fresh;
  fresh.runAll(account.standing());
  const Json rebuilt = fresh.state();
  for (const std::string& name : account.followed()) {
    const Json expected = account.rebuilt(name).json();
    if (rebuilt["switch"][name] != expected) {
      return "the rebuilt outputs of " + name + " are otherwise than foretold: " +
             Json::diff(expected, rebuilt["switch"][name]).dump();
    }
    for (const auto& [place, rules] : account.differences(name)) {
      if (rules.empty()) {
        return name + " differs by no rule at " + place + ": it has " +
               state["switch"][name].dump() + ", rebuilt " + expected.dump() + "\n  VLANs " +
               vlansOf(state, name).dump();
      }
      for (const std::string& rule : rules) ++met[rule];
    }
  }
  return "";
}

#ifdef FABRION_SANITIZED
constexpr U32 seeds = 15;
#else
constexpr U32 seeds = 250;
#endif
constexpr std::size_t length = 200;
constexpr std::size_t interval = 10;

struct Walked {
  std::map<std::string, U32> met;
  std::set<std::string_view> operations;
  U32 comparisons = 0;
  std::string mistake;
};

// All walks, or up to the first one with a mistake.
const Walked& walked() {
  static const Walked all = [] {
    Walked done;
    for (U32 seed = 1; seed <= seeds; ++seed) {
      Walk walk(seed);
      ProvisioningAccount account;
      ControllerScene scene;
      scene.runAll(ProvisioningAccount::fabric());
      Operations operations;
      const auto run = [&](const Operation& operation) {
        scene.run(operation);
        account.apply(operation);
        operations.push_back(operation);
        done.operations.insert(Host::nameOf(operation));
      };
      for (const Operation& operation : walk.beginning()) run(operation);
      const auto compare = [&] {
        ++done.comparisons;
        const std::string mistaken = mistake(scene, account, done.met);
        if (mistaken.empty()) return true;
        done.mistake = "seed " + std::to_string(seed) + ", after operation " +
                       std::to_string(operations.size()) + ": " + mistaken;
        for (const Operation& each : operations) done.mistake += "\n" + Host::lineOf(each);
        return false;
      };
      while (operations.size() < length) {
        const Operation operation = walk.proposal();
        if (!account.allows(operation)) continue;
        run(operation);
        if (operations.size() % interval == 0 && !compare()) return done;
      }
      run(Op::TopologyStop{});
      if (!compare()) return done;
    }
    return done;
  }();
  return all;
}

TEST(RebuiltOutputs, DifferFromThoseThatCameStepByStepOnlyWhereARuleForetellsIt) {
  EXPECT_EQ(walked().mistake, "");
  EXPECT_EQ(walked().comparisons, seeds * (length / interval + 1));
}

TEST(RebuiltOutputs, EveryRuleIsMet) {
  std::set<std::string> met;
  for (const auto& [rule, count] : walked().met) met.insert(rule);
  const std::set<std::string> all(std::begin(ProvisioningRules::everyRule),
                                  std::end(ProvisioningRules::everyRule));
#ifdef FABRION_SANITIZED
  for (const std::string& rule : met) EXPECT_TRUE(all.contains(rule)) << rule;
#else
  EXPECT_EQ(met, all);
#endif
}

TEST(RebuiltOutputs, EveryOperationOfProvisioningIsWalked) {
  EXPECT_EQ(walked().operations,
            (std::set<std::string_view>{
                "domain.add",    "domain.del",    "map.add",         "map.del",    "member.add",
                "member.del",    "native",        "range.del",       "range.set",  "request.new",
                "request.start", "request.stop",  "switch.announce", "switch.new", "switch.start",
                "switch.stop",   "topology.stop", "vlan.add",        "vlan.del",   "vni.add",
                "vni.del",       "vtep.add",      "vtep.del"}));
}

// A rule that nothing needs would hide a mistake: where nothing of an earlier run is left, nothing
// is taken back and the machine runs from the beginning, there is no difference.
TEST(RebuiltOutputs, AreTheSameWhereNothingIsEverTakenBack) {
  for (U32 seed = 1; seed <= 20; ++seed) {
    Walk walk(seed);
    ProvisioningAccount account;
    ControllerScene scene;
    scene.runAll(ProvisioningAccount::fabric());
    const auto run = [&](const Operation& operation) {
      scene.run(operation);
      account.apply(operation);
    };
    for (const char* name : {"s1", "s2"}) {
      run(Op::SwitchNew{name});
      run(Op::VtepAdd{name, "v1"});
      run(Op::SwitchStart{name});
      run(Op::SwitchAnnounce{name});
    }
    run(Op::MapAdd{{"acme", "red"}, {{{1, 3}, {101, 103}}}});
    for (int done = 0; done < 60;) {
      const Operation operation = walk.proposal();
      const std::string_view op = Host::nameOf(operation);
      const bool gives = op == "request.new" || op == "request.start" || op == "vlan.add" ||
                         op == "vni.add" || op == "domain.add";
      if (!gives || !account.allows(operation)) continue;
      run(operation);
      ++done;
    }
    std::map<std::string, U32> met;
    EXPECT_EQ(mistake(scene, account, met), "") << seed;
    EXPECT_TRUE(met.empty()) << seed << " " << met.begin()->first;
  }
}

}  // namespace
}  // namespace Fabrion::Test

#endif
