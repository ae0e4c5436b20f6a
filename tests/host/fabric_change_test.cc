// The steps from one fabric to the next, but for VNIs (fabric_change_vnis_test.cc). Each rule of
// the order is held against the same operations without it, on a second controller: a rule that
// made no difference would not be one.
#include "host/FabricChange.h"

#include <gtest/gtest.h>

#include "tests/host/fabric_change_steps.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::After;
using Test::ControllerScene;
using Test::ends;
using Test::fabricOf;
using Test::first;
using Test::is;
using Test::Operations;
using Test::Steps;
using Test::steps;
using Test::swapped;
using Test::TraceCapture;
using Test::vlansOf;
using Test::without;
using Json = nlohmann::json;

const std::string leaf1 = "switches: {leaf1: {ports: [e1, e2, e3]}}\n";

// The whole

TEST(FabricChange, TheFirstStepStartsTheTopologyAndNoOtherDoes) {
  FabricChange fabric;
  EXPECT_EQ(fabric.to({}), Operations{Op::TopologyStart{}});
  EXPECT_EQ(fabric.to({}), Operations{});
  const Operations operations = fabric.to(fabricOf(leaf1));
  EXPECT_EQ(first<Op::TopologyStart>(operations), operations.size());
  EXPECT_EQ(fabric.current(), fabricOf(leaf1));
}

TEST(FabricChange, AFabricThatStaysTheSameNeedsNoOperation) {
  const Fabric fabric = fabricOf(
      "switches: {leaf1: {ports: [e1, e2, e3], groups: {po1: [e1, e2]}}}\n"
      "hosts: {srv1: {ports: [eth0], hostname: web}}\n"
      "links: [[leaf1:e1, srv1:eth0]]\n"
      "requests: [{client: acme, hostname: web, vlans: 10},\n"
      "  {client: acme, switch: leaf1, port: e3, vlans: 20, native: 20, remote hosts: far}]\n");
  FabricChange change;
  change.to(fabric);
  EXPECT_EQ(change.to(fabric), Operations{});
}

TEST(FabricChange, TheOutputsOfASwitchThatComesBackAreNotMadeAgain) {
  FabricChange fabric;
  ControllerScene scene;
  for (const std::string& document : {leaf1, std::string(), leaf1}) {
    scene.runAll(fabric.to(fabricOf(document)));
  }
  EXPECT_EQ(scene.state()["machine"]["switchNodeSm"], (Json{{"leaf1", {{"switchElement", true}}}}));
}

// Switches

TEST(FabricChange, ASwitchThatIsHeldKeepsItsElementWhileItsHostIsReplaced) {
  const Steps renamed = steps("switches: {leaf1: {ports: [e1], hostname: one}}\n",
                              "switches: {leaf1: {ports: [e1], hostname: two}}\n");
  EXPECT_FALSE(After(renamed).traced("Deleting leaf1"));
  const Steps notHeld{without<Op::ElementHold>(renamed.before), renamed.change};
  EXPECT_TRUE(After(notHeld).traced("Deleting leaf1"));
}

TEST(FabricChange, ASwitchThatIsHeldOutlivesAClientThatLeavesIt) {
  const std::string one = "  - {client: acme, switch: leaf1, port: e1, vlans: 10}\n";
  const std::string two = "  - {client: blue, switch: leaf1, port: e2, vlans: 20}\n";
  const Steps leaving = steps(leaf1 + "requests:\n" + one + two, leaf1 + "requests:\n" + two);
  // The discovery has not found the switch.
  Steps undiscovered{without<Op::HostEnter>(leaving.before), leaving.change};
  undiscovered.before = without<Op::HostnameAdd>(undiscovered.before);
  EXPECT_EQ(After(undiscovered).outputs("leaf1")["portAllowedVlanList"], (Json{{"e2", "20"}}));
  undiscovered.before = without<Op::ElementHold>(undiscovered.before);
  EXPECT_EQ(After(undiscovered).port("leaf1", "e2"), Json());
}

const std::string provisioned =
    "switches: {leaf1: {ports: [e1, e2, e3, e4], groups: {po1: [e3, e4]}}}\n"
    "hosts: {srv1: {ports: [eth0, eth1], hostname: web}}\n"
    "links: [[leaf1:e2, srv1:eth0], [leaf1:e3, srv1:eth1]]\n"
    "requests:\n"
    "  - {client: acme, switch: leaf1, port: e1, vlans: [10, 20-29], native: 10}\n"
    "  - {client: acme, hostname: web, vlans: [20, 4094]}\n";

Outputs outputsFrom(const Json& outputs) {
  AllowedVlanLists lists;
  for (const auto& [port, list] : outputs["portAllowedVlanList"].items()) {
    lists.listOfPort.emplace_back(port, list.get<std::string>());
  }
  NativeVlans natives;
  for (const auto& [port, vlan] : outputs["portNativeVlan"].items()) {
    natives.vlanOfPort.emplace_back(port, vlan.get<U32>());
  }
  return {lists, natives, SwitchVlanList{outputs["vlanList"].get<std::string>()}};
}

TEST(FabricChange, AnnouncedLastASwitchLeavesRightOutputsOfAnEarlierRunUntouched) {
  FabricChange fabric;
  Operations operations = fabric.to(fabricOf(provisioned));
  ControllerScene earlierRun;
  earlierRun.runAll(operations);
  const Json left = earlierRun.outputs("leaf1");
  ASSERT_EQ(left["portAllowedVlanList"].size(), 3U);
  ASSERT_EQ(left["portNativeVlan"].size(), 1U);
  std::get<Op::SwitchNew>(operations.at(first<Op::SwitchNew>(operations))).outputs =
      outputsFrom(left);

  struct Run {
    bool touched = false;
    bool removed = false;
  };
  const auto ran = [&](const Operations& all) {
    ControllerScene scene;
    const TraceCapture trace;
    Run run;
    bool known = false;
    for (const Operation& operation : all) {
      scene.run(operation);
      known = known || is<Op::SwitchNew>(operation);
      run.touched = run.touched || (known && scene.outputs("leaf1") != left);
    }
    EXPECT_EQ(scene.outputs("leaf1"), left);
    run.removed = trace.has("Deleting allowedVlans") || trace.has("Removing VLAN");
    return run;
  };
  const Run last = ran(operations);
  EXPECT_FALSE(last.touched);
  EXPECT_FALSE(last.removed);

  const Operation announce = operations.back();
  const Operation start = operations.at(operations.size() - 2);
  ASSERT_TRUE(is<Op::SwitchAnnounce>(announce) && is<Op::SwitchStart>(start));
  Operations announcedFirst(operations.begin(), operations.end() - 2);
  announcedFirst.insert(
      announcedFirst.begin() + static_cast<long>(first<Op::ElementHold>(announcedFirst)) + 1,
      {start, announce});
  EXPECT_TRUE(ran(announcedFirst).touched);
}

// Hosts and their hostnames

TEST(FabricChange, AHostEntersTheStatusBeforeTheGroupOfItsHostname) {
  const std::string asked = leaf1 + "requests: [{client: acme, hostname: web, vlans: 10}]\n";
  const Steps coming = steps(asked, asked + "hosts: {srv1: {hostname: web}}\n");
  EXPECT_EQ(vlansOf(After(coming).element("srv1")), Json{"10"});
  EXPECT_TRUE(ends(coming, swapped<Op::HostEnter, Op::HostnameAdd>(coming.change),
                   "the element of the host is missing"));
}

TEST(FabricChange, AHostLeavesTheGroupOfItsHostnameBeforeTheStatus) {
  const std::string asked = leaf1 + "requests: [{client: acme, hostname: web, vlans: 10}]\n";
  // The port of the bond is what stays of the host.
  const Steps going =
      steps(asked + "hosts: {srv1: {hostname: web, ports: eth0, groups: {bond0: eth0}}}\n", asked);
  EXPECT_LT(first<Op::HostnameHostDel>(going.change), first<Op::HostLeave>(going.change));
  EXPECT_LT(first<Op::HostnameHostDel>(going.change), first<Op::HostnameDel>(going.change));
  const After after(going);
  EXPECT_EQ(after.element("srv1")["resourcesForHostname"], Json());
  EXPECT_EQ(after.element("srv1")["vlan"], Json::object());
  const After naive(going, without<Op::HostnameHostDel>(going.change));
  EXPECT_EQ(naive.element("srv1")["resourcesForHostname"], "web");
  EXPECT_EQ(vlansOf(naive.element("srv1")), Json{"10"});
}

// Links

const std::string linked = leaf1 +
                           "hosts: {srv1: {ports: [eth0, eth1]}, srv2: {ports: eth0}}\n"
                           "requests: [{client: acme, hostname: srv1, vlans: 10},\n"
                           "  {client: acme, hostname: srv2, vlans: 20}]\n";

TEST(FabricChange, AnEdgeIsFiledBareAndItsFarPortsAreSetAfter) {
  const Steps plugged = steps(linked, linked + "links: [[leaf1:e1, srv1:eth0]]\n");
  EXPECT_EQ(vlansOf(After(plugged).port("leaf1", "e1")), Json{"10"});
  Operations inOne = without<Op::EdgeTo>(without<Op::EdgeAdd>(plugged.change));
  inOne.emplace_back(Op::EdgeAdd{{"leaf1", "e1"}, {{"srv1", "eth0"}}});
  inOne.emplace_back(Op::EdgeAdd{{"srv1", "eth0"}, {{"leaf1", "e1"}}});
  EXPECT_EQ(After(plugged, inOne).port("leaf1", "e1"), Json());
}

TEST(FabricChange, AFarEndThatIsLostTakesTheEdgeOutAndTheOthersComeBack) {
  const Steps unplugged = steps(linked + "links: [[leaf1:e1, srv1:eth0], [leaf1:e1, srv2:eth0]]\n",
                                linked + "links: [[leaf1:e1, srv2:eth0]]\n");
  const After after(unplugged);
  EXPECT_EQ(after.port("leaf1", "e1")["discoveredElement"], Json{"srv2"});
  EXPECT_EQ(vlansOf(after.port("leaf1", "e1")), Json{"20"});
  EXPECT_EQ(after.port("srv1", "eth0"), Json());
  const After naive(unplugged, {Op::EdgeToDel{{"leaf1", "e1"}, {"srv1", "eth0"}},
                                Op::EdgeToDel{{"srv1", "eth0"}, {"leaf1", "e1"}}});
  EXPECT_EQ(naive.port("leaf1", "e1")["discoveredElement"], (Json{"srv1", "srv2"}));
}

TEST(FabricChange, AClientOfAPortThatLosesItsEdgeIsInitializedAgain) {
  const std::string asked = leaf1 +
                            "hosts: {srv1: {ports: eth0}}\n"
                            "requests:\n"
                            "  - {client: acme, switch: leaf1, port: e1, vlans: 30, native: 30}\n"
                            "  - {client: blue, switch: leaf1, port: e1, vlans: 31}\n";
  const Steps unplugged = steps(asked + "links: [[leaf1:e1, srv1:eth0]]\n", asked);
  const After after(unplugged);
  EXPECT_EQ(vlansOf(after.port("leaf1", "e1")), (Json{"30", "31"}));
  EXPECT_EQ(after.outputs("leaf1")["portAllowedVlanList"], (Json{{"e1", "30-31"}}));
  EXPECT_EQ(after.outputs("leaf1")["portNativeVlan"], (Json{{"e1", 30}}));
  const After naive(unplugged, without<Op::Invoke>(unplugged.change));
  EXPECT_EQ(naive.port("leaf1", "e1"), Json());
  EXPECT_EQ(naive.outputs("leaf1")["portAllowedVlanList"], Json::object());
}

// Port groups

const std::string bundled = "switches: {leaf1: {ports: [e1, e2], groups: {po1: [e1]}}}\n";
const std::string unbundled = "switches: {leaf1: {ports: [e1, e2]}}\n";

TEST(FabricChange, MembersLeaveAPortGroupBeforeItGoes) {
  const std::string asked = "requests: [{client: acme, switch: leaf1, port: e1, vlans: 30}]\n";
  const Steps leaving = steps(bundled + asked, unbundled + asked);
  const After after(leaving);
  EXPECT_EQ(after.port("leaf1", "e1")["portGroup"], Json());
  EXPECT_EQ(after.outputs("leaf1")["portAllowedVlanList"], (Json{{"e1", "30"}}));
  const After naive(leaving, without<Op::MemberDel>(leaving.change));
  EXPECT_EQ(naive.port("leaf1", "e1")["portGroup"], "po1");
  EXPECT_EQ(naive.outputs("leaf1")["portAllowedVlanList"], Json::object());
}

TEST(FabricChange, AMemberThatLosesItsLastClientIsFiledAgain) {
  const Steps leaving =
      steps(bundled + "requests: [{client: acme, switch: leaf1, port: e1, vlans: 30}]\n", bundled);
  const After after(leaving);
  EXPECT_EQ(after.element("leaf1")["portGroup"]["po1"]["memberInterface"], Json{"e1"});
  EXPECT_EQ(after.port("leaf1", "e1")["portGroup"], "po1");
  const After naive(leaving, without<Op::MemberAdd>(without<Op::MemberDel>(leaving.change)));
  EXPECT_EQ(naive.port("leaf1", "e1"), Json());
}

TEST(FabricChange, AMemberThatLosesItsEdgeIsFiledAgainUnlessSomethingBringsItBack) {
  const std::string hosts = "hosts: {srv1: {ports: eth0}, srv2: {ports: eth0}}\n";
  const std::string cable = "links: [[leaf1:e1, srv1:eth0]]\n";
  const Steps unplugged = steps(bundled + hosts + cable, bundled + hosts);
  EXPECT_EQ(After(unplugged).element("leaf1")["portGroup"]["po1"]["memberInterface"], Json{"e1"});
  EXPECT_EQ(After(unplugged, without<Op::MemberAdd>(without<Op::MemberDel>(unplugged.change)))
                .port("leaf1", "e1"),
            Json());
  const Steps replugged =
      steps(bundled + hosts + cable, bundled + hosts + "links: [[leaf1:e1, srv2:eth0]]\n");
  EXPECT_EQ(first<Op::MemberDel>(replugged.change), replugged.change.size());
  EXPECT_EQ(After(replugged).element("leaf1")["portGroup"]["po1"]["memberInterface"], Json{"e1"});
}

// Native VLANs

const std::string native =
    "requests: [{client: acme, switch: leaf1, port: e1, vlans: 30, native: 30}]\n";

Json nativesOf(const After& after) {
  return {{"group", after.element("leaf1")["portGroup"]["po1"]["nativeVlan"]},
          {"output", after.outputs("leaf1")["portNativeVlan"]}};
}

TEST(FabricChange, ANativeVlanEndsBeforeItsClientDoes) {
  const Steps leaving = steps(bundled + native, bundled);
  EXPECT_EQ(nativesOf(After(leaving)),
            (Json{{"group", Json::object()}, {"output", Json::object()}}));
  const Json naive = nativesOf(After(leaving, without<Op::Native>(leaving.change)));
  EXPECT_EQ(naive["output"], (Json{{"po1", 30}}));
}

TEST(FabricChange, ANativeVlanIsOffAPortThatLeavesItsPortGroup) {
  const std::string other = "switches: {leaf1: {ports: [e1, e2], groups: {po1: [e2]}}}\n";
  const Steps leaving = steps(bundled + native, other + native);
  EXPECT_EQ(nativesOf(After(leaving)), (Json{{"group", Json::object()}, {"output", {{"e1", 30}}}}));
  const Json naive = nativesOf(After(leaving, without<Op::Native>(leaving.change)));
  EXPECT_EQ(naive["output"], (Json{{"e1", 30}, {"po1", 30}}));
}

TEST(FabricChange, ANativeVlanIsOffAPortThatLosesItsEdge) {
  const std::string host = "hosts: {srv1: {ports: eth0}}\n";
  const Steps unplugged =
      steps(bundled + native + host + "links: [[leaf1:e1, srv1:eth0]]\n", bundled + native + host);
  EXPECT_EQ(nativesOf(After(unplugged)),
            (Json{{"group", {{"30", Json{"e1"}}}}, {"output", {{"po1", 30}}}}));
  const Json naive = nativesOf(After(unplugged, without<Op::Native>(unplugged.change)));
  EXPECT_EQ(naive["group"]["30"], Json::array());
}

// Remote hosts

std::string behind(const std::string& client, const std::string& port, const std::string& host) {
  return "  - {client: " + client + ", switch: leaf1, port: " + port + ", vlans: 5" +
         (host.empty() ? "" : ", remote hosts: " + host) + "}\n";
}

TEST(FabricChange, ARemoteHostEndsByTakingItsEntryAwayAtOnce) {
  const Steps ending = steps(leaf1 + "requests:\n" + behind("acme", "e1", "far"),
                             leaf1 + "requests:\n" + behind("acme", "e1", ""));
  const After after(ending);
  EXPECT_EQ(after.element("far"), Json());
  EXPECT_EQ(after.port("leaf1", "e1")["configuredElement"], Json::array());
  Operations inTwo = ending.change;
  inTwo.insert(inTwo.begin(), Op::Remote{{"acme", "leaf1", "e1"}, "far", false});
  EXPECT_TRUE(ends(ending, inTwo, "the element of the remote host is missing"));
}

TEST(FabricChange, ARemoteHostEndsBeforeItsClientDoes) {
  const Steps ending = steps(leaf1 + "requests:\n" + behind("acme", "e1", "far"), leaf1);
  EXPECT_EQ(After(ending).element("far"), Json());
  const After naive(ending, without<Op::RemoteDel>(ending.change));
  EXPECT_EQ(naive.element("far")["referrer"], Json{"acme"});
}

TEST(FabricChange, AnotherClientOfThePortClaimsItsRemoteHostAgain) {
  const Steps ending =
      steps(leaf1 + "requests:\n" + behind("acme", "e1", "far") + behind("blue", "e1", "far"),
            leaf1 + "requests:\n" + behind("blue", "e1", "far"));
  const After after(ending);
  EXPECT_EQ(after.element("far")["referrer"], Json{"blue"});
  EXPECT_EQ(after.port("leaf1", "e1")["configuredElement"], Json{"far"});
  const After naive(ending, without<Op::Invoke>(ending.change));
  EXPECT_EQ(naive.port("leaf1", "e1")["configuredElement"], Json::array());
}

TEST(FabricChange, TheSameClientClaimsItsRemoteHostAgainOnItsOtherPorts) {
  const std::string both =
      leaf1 + "requests:\n" + behind("acme", "e1", "far") + behind("acme", "e2", "far");
  const Steps ending = steps(both, leaf1 + "requests:\n" + behind("acme", "e2", "far"));
  const After after(ending);
  EXPECT_EQ(after.element("far")["referrer"], Json{"acme"});
  EXPECT_EQ(after.port("leaf1", "e2")["configuredElement"], Json{"far"});
  const After naive(ending, without<Op::Invoke>(ending.change));
  EXPECT_EQ(naive.element("far"), Json());
  // Both at once: the second would find no element.
  const Steps bothEnding = steps(both, leaf1);
  EXPECT_EQ(After(bothEnding).element("far"), Json());
  EXPECT_TRUE(ends(bothEnding, without<Op::Invoke>(bothEnding.change),
                   "the element of the remote host is missing"));
}

}  // namespace
}  // namespace Fabrion::Host

#endif
