#pragma once
// Journals for the random walk: made by seed, and with an end that takes everything away.

#include <random>

#include "tests/host/random_walk_model.h"

namespace Fabrion::Test {

namespace Op = Host::Op;
using Operations = std::vector<Host::Operation>;

// Makes journals. Names are few, so that operations meet. Hosts, clients, interfaces and hostnames
// have no name in common: each keeps entries of the model alive by its name.
class Walk {
  using Operation = Host::Operation;
  using PortName = Host::PortName;
  using HostRequestName = Host::HostRequestName;
  using PortRequestName = Host::PortRequestName;
  using RequestName = Host::RequestName;

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
  std::string vtep() { return any({"v1", "v2"}); }
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
  Host::NumberRange vlans() { return one<Host::NumberRange>({{1, 2}, {2, 4094}, {1, 1}}); }
  Host::NumberRange vnis() { return one<Host::NumberRange>({{101, 5000}, {201, 202}, {0, 0}}); }
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
                 Host::NativeVlans{{{portOf("s"), 7}, {"e9", 8}}}, Host::SwitchVlanList{"0-7,4095"},
                 Host::VtepMappings{{{vtep(), {{portOf("s"), vlan(), 9}, {"e9", 1, 9}}}}}};
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
    switch (below(24)) {
      case 0:
        return switchNew();
      case 16:
        return Op::MapAdd{domain(), {{{1, 2}, vnis()}, {{2, 4094}, vnis()}}};
      case 17:
        return Op::MapDel{domain()};
      case 18:
      case 19:
        return Op::RangeSet{domain(), vlans(), vnis()};
      case 20:
        return Op::RangeDel{domain(), vlans()};
      case 21:
      case 22:
        return Op::VtepAdd{name, vtep()};
      case 23:
        return Op::VtepDel{name, vtep()};
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
  using Operation = Host::Operation;

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

#ifdef FABRION_SANITIZED
inline constexpr std::size_t operationsWanted = 4000;
#else
inline constexpr std::size_t operationsWanted = 40000;
#endif

struct Episode {
  U32 seed;
  Operations operations;
};

// Short ones meet the beginning and the end more often, long ones pile up more in between.
inline const std::vector<Episode>& episodes() {
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

}  // namespace Fabrion::Test
