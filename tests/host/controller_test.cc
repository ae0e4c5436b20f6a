// The controller's own entities, and the start and the end of machines. The machines here are
// stand-ins that do nothing: what the real ones make of it is tested with whole journals.
#include "host/Controller.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/BadJournal.h"
#include "host/Module.h"
#include "platform/Velo/Exceptions.h"

namespace Fabrion::Host {
namespace {

using Json = nlohmann::json;
using Log = std::vector<std::string>;

// A module without a single machine.
const Velo::VeloModule noMachines{"NoMachines", {}};

// A stand-in for a machine: writes down its start and its end.
Log& lives() {
  static Log log;
  return log;
}

template <int Kind>
class StandIn : public Velo::PtrInterface {
 public:
  explicit StandIn(std::string name) : name_(std::move(name)) { lives().push_back("+" + name_); }
  ~StandIn() override { lives().push_back("-" + name_); }
  Velo::VeloTypeBase fwkType() const override { return Velo::VeloTypeBase(type); }

  // Its name is made of the first `texts` of its arguments.
  template <int texts>
  static Velo::Ptr<Velo::PtrInterface> make(void* const* args) {
    std::string name = std::to_string(Kind);
    for (int i = 0; i < texts; ++i) {
      name += " " + std::string(static_cast<const Nimbo::String*>(args[i])->view());
    }
    return Velo::make<StandIn>(name);
  }

  static const Velo::TypeRecord type;

 private:
  const std::string name_;
};

// What a dump asks of any machine.
int nothing(void* /*result*/, Velo::PtrInterface*, Velo::AttributeOp, void*, void*) {
  return Velo::AttributeRecord::done;
}
constexpr Velo::AttributeRecord attributes[] = {
    {"switchElement", Velo::AttributeKind::state, &nothing},
    {"networkElementCollectionSm", Velo::AttributeKind::ownedChild, &nothing}};

using HostRequestSm = StandIn<1>;
using PortRequestSm = StandIn<2>;
using SwitchSm = StandIn<3>;
using TopSm = StandIn<4>;
template <>
const Velo::TypeRecord HostRequestSm::type{"Fabrion::Agent::ClientResourcesForHostnameSm",
                                           attributes, &HostRequestSm::make<2>, 4};
template <>
const Velo::TypeRecord PortRequestSm::type{"Fabrion::Agent::ClientResourcesForSwitchportSm",
                                           attributes, &PortRequestSm::make<1>, 4};
template <>
const Velo::TypeRecord SwitchSm::type{"Fabrion::Agent::SwitchNodeSm", attributes,
                                      &SwitchSm::make<1>, 6};
template <>
const Velo::TypeRecord TopSm::type{"Fabrion::Agent::TopologySm", attributes, &TopSm::make<0>, 3};

const Velo::TypeRecord* const standIns[] = {&HostRequestSm::type, &PortRequestSm::type,
                                            &SwitchSm::type, &TopSm::type};
const Velo::VeloModule standInModule{"StandIns", standIns};

class ControllerTest : public testing::Test {
 protected:
  template <class... Ops>
  void run(const Ops&... ops) {
    (controller_.apply(ops), ...);
  }
  template <class One>
  void expectRefused(const One& op) {
    const std::string before = controller_.dump();
    EXPECT_THROW(controller_.apply(op), BadJournal) << One::op;
    EXPECT_EQ(controller_.dump(), before) << One::op;
  }
  Json state() { return controller_.state(); }

  Controller controller_{noMachines};
};

const RequestName onHost = HostRequestName{"acme", "compute1"};
const RequestName onPort = PortRequestName{"acme", "leaf1", "e1"};

TEST_F(ControllerTest, AnEmptyControllerDumpsAsThis) {
  EXPECT_EQ(
      controller_.dump(),
      R"({"machine":{"clientResourcesForHostnameSm":[],"clientResourcesForSwitchportSm":[],)"
      R"("networkElementSm":{},"switchNodeSm":{},"topologySm":false},"mount":{},"networkElement":{},)"
      R"("resourcesForHostname":{},"switch":{}})");
}

TEST_F(ControllerTest, AnOutputIsFilledInWithWhatAnEarlierRunLeft) {
  run(Op::SwitchNew{
      "leaf1",
      {AllowedVlanLists{{{"e1", "5-7"}}}, NativeVlans{{{"e1", 5}, {"e2", 4094}}},
       SwitchVlanList{"5-7,20"},
       VtepMappings{{{"v2", {{"e1", 9, 1}, {"e1", 10, 2}, {"e0", 9, 16777215}}}, {"v1", {}}}}}});
  EXPECT_EQ(
      state()["switch"].dump(),
      R"({"leaf1":{"portAllowedVlanList":{"e1":"5-7"},"portNativeVlan":{"e1":5,"e2":4094},)"
      R"("vlanList":"5-7,20","vtepConfig":{"v1":{},"v2":{"e0":{"9":16777215},"e1":{"10":2,"9":1}}}}})");
}

TEST_F(ControllerTest, AnOutputOutOfRangeRaisesAndKeepsWhatCameBefore) {
  const Op::SwitchNew bad{"leaf1",
                          {NativeVlans{{{"e1", 5}, {"e2", 4095}, {"e3", 6}}}, SwitchVlanList{"1"}}};
  EXPECT_THROW(run(bad), Velo::RangeException);
  EXPECT_EQ(state()["switch"]["leaf1"]["portNativeVlan"], (Json{{"e1", 5}}));
  EXPECT_EQ(state()["switch"]["leaf1"]["vlanList"], "");
  EXPECT_THROW(run(Op::SwitchNew{"leaf2", {VtepMappings{{{"v", {{"e1", 1, 16777216}}}}}}}),
               Velo::RangeException);
  EXPECT_EQ(state()["switch"]["leaf2"]["vtepConfig"], (Json{{"v", Json::object()}}));
}

TEST_F(ControllerTest, ASecondSwitchOfTheSameNameIsRefused) {
  run(Op::SwitchNew{"leaf1"});
  expectRefused(Op::SwitchNew{"leaf1", {SwitchVlanList{"1"}}});
}

TEST_F(ControllerTest, ASwitchIsNamedOnlyAfterItIsThere) {
  expectRefused(Op::SwitchStart{"leaf1"});
  expectRefused(Op::SwitchStop{"leaf1"});
  expectRefused(Op::SwitchAnnounce{"leaf1"});
  expectRefused(Op::VtepAdd{"leaf1", "v"});
  expectRefused(Op::VtepDel{"leaf1", "v"});
  expectRefused(Op::Mount{"leaf1", MountFlag::ready, true});
  expectRefused(Op::MountUpdate{"leaf1"});
  run(Op::SwitchNew{"leaf1"});
  run(Op::SwitchAnnounce{"leaf1"}, Op::VtepAdd{"leaf1", "v"}, Op::VtepDel{"leaf1", "v"},
      Op::VtepDel{"leaf1", "v"});
}

TEST_F(ControllerTest, WhatDoesNotRunCannotBeStopped) {
  run(Op::SwitchNew{"leaf1"}, Op::RequestNew{onHost}, Op::RequestNew{onPort});
  expectRefused(Op::SwitchStop{"leaf1"});
  expectRefused(Op::RequestStop{onHost});
  expectRefused(Op::RequestStop{onPort});
  expectRefused(Op::TopologyStop{});
}

TEST_F(ControllerTest, AModuleWithoutAMachineIsNoMistakeOfTheJournal) {
  run(Op::SwitchNew{"leaf1"});
  EXPECT_THROW(run(Op::SwitchStart{"leaf1"}), ModuleError);
  EXPECT_THROW(run(Op::TopologyStart{}), ModuleError);
}

TEST_F(ControllerTest, ARequestIsNamedOnlyAfterItIsThere) {
  for (const RequestName& request : {onHost, onPort}) {
    expectRefused(Op::RequestStart{request});
    expectRefused(Op::RequestStop{request});
    expectRefused(Op::VlanAdd{request, 10});
    expectRefused(Op::VlanDel{request, 10});
    expectRefused(Op::VniAdd{request, 10, 1});
  }
  expectRefused(Op::Native{{"acme", "leaf1", "e1"}, 10});
  expectRefused(Op::Remote{{"acme", "leaf1", "e1"}, "h", true});
  expectRefused(Op::RemoteDel{{"acme", "leaf1", "e1"}, "h"});
}

TEST_F(ControllerTest, AVlanIsNamedOnlyWhileTheRequestHasIt) {
  for (const RequestName& request : {onHost, onPort}) {
    run(Op::RequestNew{request}, Op::VlanAdd{request, 10}, Op::VniAdd{request, 10, 1},
        Op::DomainAdd{request, 10, {"acme", "red"}});
    // What is not there is taken away without effect.
    run(Op::VniDel{request, 10, 2}, Op::DomainDel{request, 10, {"acme", "blue"}},
        Op::VlanDel{request, 11});
    expectRefused(Op::VniAdd{request, 11, 1});
    run(Op::VlanDel{request, 10});
    expectRefused(Op::VniAdd{request, 10, 1});
    expectRefused(Op::VniDel{request, 10, 1});
    expectRefused(Op::DomainAdd{request, 10, {"acme", "red"}});
    expectRefused(Op::DomainDel{request, 10, {"acme", "red"}});
  }
}

TEST_F(ControllerTest, ASecondRequestUnderANameIsEmpty) {
  run(Op::RequestNew{onHost}, Op::VlanAdd{onHost, 10}, Op::RequestNew{onHost});
  expectRefused(Op::VniAdd{onHost, 10, 1});
}

TEST_F(ControllerTest, APortRequestTakesANativeVlanAndRemoteHosts) {
  const PortRequestName port{"acme", "leaf1", "e1"};
  run(Op::RequestNew{port}, Op::Native{port, 5}, Op::Native{port, std::nullopt},
      Op::Remote{port, "h", true}, Op::RemoteDel{port, "h"}, Op::RemoteDel{port, "h"});
}

TEST_F(ControllerTest, AMapIsNamedOnlyWhileItIsThere) {
  const DomainName domain{"acme", "red"};
  expectRefused(Op::MapDel{domain});
  expectRefused(Op::RangeSet{domain, {1, 2}, {3, 4}});
  expectRefused(Op::RangeDel{domain, {1, 2}});
  run(Op::MapAdd{domain, {{{1, 2}, {3, 4}}}}, Op::MapAdd{domain, {}},
      Op::RangeSet{domain, {1, 2}, {3, 4}}, Op::RangeDel{domain, {1, 2}},
      Op::RangeDel{domain, {1, 2}}, Op::MapDel{domain});
  expectRefused(Op::MapDel{domain});
}

TEST_F(ControllerTest, AnElementIsHeldUntilItIsReleased) {
  expectRefused(Op::ElementRelease{"leaf1", "agent"});
  run(Op::ElementHold{"leaf1", "b"}, Op::ElementHold{"leaf1", "a"});
  EXPECT_EQ(
      state()["networkElement"].dump(),
      R"({"leaf1":{"hostname":"","interface":[],"isSwitchElement":false,"physicalInterface":{},)"
      R"("portGroup":{},"referrer":["a","b"],"resourcesForHostname":null,"vlan":{}}})");
  // Nobody takes the element out here: that is a machine's act.
  run(Op::ElementRelease{"leaf1", "a"}, Op::ElementRelease{"leaf1", "b"},
      Op::ElementRelease{"leaf1", "b"});
  EXPECT_EQ(state()["networkElement"]["leaf1"]["referrer"], Json::array());
}

TEST_F(ControllerTest, NamesAreSortedInByteOrderAndEscapedOnlyWhereJsonAsksForIt) {
  for (const char* name : {"\xc3\xa4", "b", "B", "a\"\\/\n\x01\x7f", ""}) {
    run(Op::ElementHold{name, "r"});
  }
  const std::string dump = controller_.dump();
  std::size_t at = 0;
  const std::string escaped = std::string(R"("a\"\\/\n\u0001)") + '\x7f';
  for (const std::string& name : {std::string("\""), std::string("\"B"), escaped,
                                  std::string("\"b"), std::string("\"\xc3\xa4")}) {
    const std::string key = name + "\":{";
    const std::size_t next = dump.find(key, at);
    EXPECT_NE(next, std::string::npos) << key;
    at = next;
  }
}

TEST_F(ControllerTest, AMachineThatDoesNotRunCannotBeInvoked) {
  run(Op::SwitchNew{"leaf1"}, Op::RequestNew{onHost});
  for (const char* path : {"", "topologySm", "networkElementCollectionSm", "networkElementSm/leaf1",
                           "networkElementSm", "switchNodeSm/leaf1", "switchNodeSm/leaf9",
                           "clientResourcesForHostnameSm/acme/compute1",
                           "clientResourcesForSwitchportSm/acme/leaf1/e1",
                           "remoteMountsStatus/leaf1", "topologySm/~3"}) {
    expectRefused(Op::Invoke{path, "handleInitialized"});
  }
}

TEST(ControllerMachines, GoByKindAndInTheOrderOfTheirStart) {
  const RequestName host1 = HostRequestName{"c", "h1"};
  const RequestName host2 = HostRequestName{"c", "h2"};
  const RequestName port1 = PortRequestName{"p1", "s", "e"};
  const RequestName port2 = PortRequestName{"p2", "s", "e"};
  lives().clear();
  {
    Controller controller(standInModule);
    for (const Operation& operation : std::vector<Operation>{
             Op::TopologyStart{}, Op::SwitchNew{"s1"}, Op::SwitchNew{"s2"}, Op::SwitchNew{"s3"},
             Op::SwitchStart{"s1"}, Op::SwitchStart{"s2"}, Op::RequestNew{port1},
             Op::RequestNew{port2}, Op::RequestStart{port2}, Op::RequestStart{port1},
             Op::RequestNew{host1}, Op::RequestNew{host2}, Op::RequestStart{host1},
             Op::RequestStart{host2, "own"}, Op::SwitchStop{"s1"}, Op::SwitchStart{"s3"},
             Op::SwitchStart{"s1"}, Op::RequestStop{host1}, Op::RequestStart{host1}}) {
      controller.apply(operation);
    }
    EXPECT_EQ(lives(), (Log{"+4", "+3 s1", "+3 s2", "+2 p2", "+2 p1", "+1 h1 c", "+1 own c",
                            "-3 s1", "+3 s3", "+3 s1", "-1 h1 c", "+1 h1 c"}));
    lives().clear();
  }
  EXPECT_EQ(lives(),
            (Log{"-1 own c", "-1 h1 c", "-2 p2", "-2 p1", "-3 s2", "-3 s3", "-3 s1", "-4"}));
}

TEST(ControllerMachines, WhatRunsIsNotStartedAgain) {
  Controller controller(standInModule);
  for (const Operation& start :
       std::vector<Operation>{Op::TopologyStart{}, Op::SwitchStart{"s"}, Op::RequestStart{onHost},
                              Op::RequestStart{onPort}}) {
    if (std::holds_alternative<Op::SwitchStart>(start)) controller.apply(Op::SwitchNew{"s"});
    if (const auto* request = std::get_if<Op::RequestStart>(&start)) {
      controller.apply(Op::RequestNew{request->request});
    }
    controller.apply(start);
    const std::string before = controller.dump();
    EXPECT_THROW(controller.apply(start), BadJournal) << nameOf(start);
    EXPECT_EQ(controller.dump(), before) << nameOf(start);
  }
}

}  // namespace
}  // namespace Fabrion::Host
