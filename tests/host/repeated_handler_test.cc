// Handlers that may run at any time, as often as one likes: between the operations of the random
// walk they are invoked on every machine there is, and the dump afterwards is the dump before.
// Every handler of the module is on the list below, those that may not be repeated with the reason
// why not.
#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <sstream>

#include "host/JournalWriter.h"
#include "host/MachinePath.h"
#include "tests/host/controller_scene.h"
#include "tests/host/random_walk_journals.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {
namespace {

using Host::escapedName;
using Host::HandlerKey;
using Host::lineOf;
using Host::Operation;
using Json = nlohmann::json;

enum class May { repeat, notRepeat };
using enum May;

struct Handler {
  const char* machine;
  const char* name;
  May may;
  const char* why;
};

const Handler handlers[] = {
    {"SwitchNodeSm", "isMemberInterface", repeat, "reads"},
    {"SwitchNodeSm", "handleInitialized", repeat, "traces"},
    {"SwitchNodeSm", "doCleanup", repeat, "traces; the outputs outlive the machine"},
    {"SwitchNodeSm", "handleNetworkElement", repeat,
     "the element that the machine has already is not taken again"},
    {"SwitchNodeSm", "handleVlan", repeat, "the list has followed the element since it was taken"},
    {"SwitchNodeSm", "handleInterface", repeat,
     "the port's outputs have followed it since the element was taken"},
    {"SwitchNodeSm", "handleSwitchElement", notRepeat,
     "fills the VTEP configurations with what had to wait"},
    {"SwitchNodeSm", "handleVtepConfig", notRepeat, "fills it with what had to wait"},
    {"SwitchNodeSm", "handleStaticVniMapForDomain", notRepeat,
     "takes the client's name off the VNIs of VLANs without the domain, whoever put it on"},
    {"SwitchNodeSm", "handleVniMapConflict", notRepeat, "takes a pair out, conflict or not"},
    {"SwitchNodeSm", "handleNativeVlanConflict", notRepeat,
     "takes the native VLAN out, conflict or not"},

    {"PhysicalInterfaceSm", "doCleanup", repeat, "traces; its reactors clean up"},
    {"PhysicalInterfaceSm", "handleConfiguredElement", notRepeat,
     "where an element was replaced by one of its name, configured and discovered ones differ"},
    {"PhysicalInterfaceSm", "handleDiscoveredElement", notRepeat,
     "where an element was replaced by one of its name, configured and discovered ones differ"},
    {"PhysicalInterfaceSm", "handleNetworkElement", notRepeat,
     "adds the far element's name to what it has, whoever took it off"},
    {"PhysicalInterfaceSm", "handleIsSwitchInterface", notRepeat,
     "adds the names of all far elements, whoever took them off"},

    {"PortGroupSm", "handleInitialized", notRepeat, "as handleMemberInterface, for all members"},
    {"PortGroupSm", "handleMemberInterface", notRepeat,
     "brings back native VLANs that the group lost while the member kept them"},
    {"PortGroupSm", "doCleanup", notRepeat, "empties the group"},

    {"HostResourcesSm", "handleVlan", notRepeat,
     "takes off a VLAN the name that an earlier machine of the hostname left on it"},
    {"HostResourcesSm", "handleInitialized", notRepeat,
     "files the VLANs anew that an element lost which is no switch"},
    {"HostResourcesSm", "doCleanup", notRepeat, "takes the VLANs off the element"},

    {"NetworkElementSm", "handleTopologyHost", repeat,
     "files the port groups of the host, which stand since the machine follows it"},
    {"NetworkElementSm", "handleInterface", repeat,
     "an interface is a switch's as its element is, and no later event says otherwise"},
    {"NetworkElementSm", "handleIsSwitchElement", notRepeat,
     "takes all VLANs off an element that is no switch"},
    {"NetworkElementSm", "handleInitialized", notRepeat,
     "takes all VLANs off an element that is no switch"},
    {"NetworkElementSm", "handleResourcesForHostname", notRepeat,
     "starts on a request that was there before the machine"},
    {"NetworkElementSm", "handlePhysicalInterface", notRepeat,
     "brings a port into the group that the topology names by now, without an event"},
    {"NetworkElementSm", "handleNePortGroup", notRepeat,
     "makes the machine of a group that was filed while none could be made"},
    {"NetworkElementSm", "handleTopologyPortGroup", notRepeat,
     "takes away groups that the topology has no more"},
    {"NetworkElementSm", "doCleanup", notRepeat, "takes the VLANs off the ports"},

    {"NetworkElementCollectionSm", "handleNetworkElement", repeat,
     "the element has its machine, and that has its host"},
    {"NetworkElementCollectionSm", "handleInitialized", notRepeat,
     "as handleResourcesForHostname, for all of them"},
    {"NetworkElementCollectionSm", "handleResourcesForHostname", notRepeat,
     "gives an element back a request that another hostname took over"},

    {"TopologySm", "handleInitialized", repeat, "has been initialized, and says so"},
    {"TopologySm", "handleHost", notRepeat,
     "adds a host's name to an element that lost it, and takes up edges that had to wait"},
    {"TopologySm", "handleHostsByHostname", notRepeat,
     "takes up hosts that are in several groups anew"},

    {"ClientResourcesForHostnameSm", "handleVlan", repeat,
     "the merged request has followed the client's"},
    {"ClientResourcesForHostnameSm", "handleInitialized", repeat,
     "the client holds the merged request and its VLANs by name already"},
    {"ClientResourcesForHostnameSm", "doCleanup", notRepeat, "withdraws the request"},

    {"ClientResourcesForSwitchportSm", "handleVlan", notRepeat,
     "brings back a port that went with its edge"},
    {"ClientResourcesForSwitchportSm", "handleInitialized", notRepeat,
     "brings back a port that went with its edge"},
    {"ClientResourcesForSwitchportSm", "handleNativeVlan", notRepeat,
     "needs the port, which may have gone with its edge"},
    {"ClientResourcesForSwitchportSm", "handleRemoteHost", notRepeat,
     "a withdrawal needs the host's element, which went with the first one"},
    {"ClientResourcesForSwitchportSm", "doCleanup", notRepeat, "withdraws the request"},

    {"RemoteMountsStatus", "updateReady", notRepeat, "is an operation itself: it sets the flag"},
};

TEST(RepeatedHandlers, EveryHandlerOfTheModuleIsOnTheListOnce) {
  std::multiset<std::pair<std::string, std::string>> listed;
  for (const Handler& handler : handlers) listed.insert({handler.machine, handler.name});
  std::multiset<std::pair<std::string, std::string>> there;
  for (const Velo::TypeRecord* const type : machines().types) {
    const std::string name = std::string(type->name).substr(std::string("Fabrion::Agent::").size());
    for (const Velo::AttributeRecord& attribute : type->attributes) {
      if (attribute.kind == Velo::AttributeKind::handler ||
          attribute.kind == Velo::AttributeKind::constFunction) {
        there.insert({name, attribute.name});
      }
    }
  }
  EXPECT_EQ(listed, there);
}

// Each invocation of a handler that may be repeated, with the name of its machine's type.
std::vector<std::pair<std::string, Op::Invoke>> invocations(const Json& state) {
  std::vector<std::pair<std::string, Op::Invoke>> all;
  const auto invoke = [&](const char* type, const std::string& path, const char* handler,
                          const std::vector<HandlerKey>& keys) {
    for (const HandlerKey& key : keys) {
      all.emplace_back(std::string(type) + "." + handler, Op::Invoke{path, handler, key});
    }
  };
  const std::vector<HandlerKey> none = {{}};
  const std::vector<HandlerKey> vlans = {U32{1}, U32{2}, U32{9}, U32{4094}};
  std::vector<HandlerKey> elements = {std::string("s9")};
  for (const auto& [name, element] : state["networkElement"].items()) elements.emplace_back(name);

  const Json& machines = state["machine"];
  if (machines["topologySm"] == true) {
    invoke("TopologySm", "topologySm", "handleInitialized", none);
    invoke("NetworkElementCollectionSm", "networkElementCollectionSm", "handleNetworkElement",
           elements);
  }
  for (const auto& [name, machine] : machines["networkElementSm"].items()) {
    const std::string path = "networkElementSm/" + escapedName(name);
    std::vector<HandlerKey> interfaces = {std::string("e9")};
    for (const auto& interface : state["networkElement"][name]["interface"]) {
      interfaces.emplace_back(interface.get<std::string>());
    }
    invoke("NetworkElementSm", path, "handleTopologyHost", none);
    invoke("NetworkElementSm", path, "handleInterface", interfaces);
    for (const auto& port : machine["physicalInterfaceSm"]) {
      invoke("PhysicalInterfaceSm", path + "/physicalInterfaceSm/" + port.get<std::string>(),
             "doCleanup", none);
    }
  }
  for (const auto& [name, machine] : machines["switchNodeSm"].items()) {
    const std::string path = "switchNodeSm/" + escapedName(name);
    std::vector<HandlerKey> ports = {std::string("e1"), std::string("e2"), std::string("po1"),
                                     std::string("e9")};
    invoke("SwitchNodeSm", path, "isMemberInterface", ports);
    invoke("SwitchNodeSm", path, "handleInitialized", none);
    invoke("SwitchNodeSm", path, "doCleanup", none);
    if (machine["switchElement"] != true) continue;
    invoke("SwitchNodeSm", path, "handleNetworkElement", elements);
    invoke("SwitchNodeSm", path, "handleVlan", vlans);
    invoke("SwitchNodeSm", path, "handleInterface", ports);
  }
  for (const auto& name : machines["clientResourcesForHostnameSm"]) {
    const std::string path = "clientResourcesForHostnameSm/" + name.get<std::string>();
    invoke("ClientResourcesForHostnameSm", path, "handleVlan", vlans);
    invoke("ClientResourcesForHostnameSm", path, "handleInitialized", none);
  }
  return all;
}

// Runs the journal and invokes after every so many operations; says on standard error which
// handlers were invoked. With `closely` the state is looked at after each invocation and not after
// all of them, and each is said before it runs.
int repeatIn(const Operations& operations, bool closely) {
  constexpr std::size_t interval = 7;
  std::set<std::string> invoked;
  ControllerScene scene;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    if (closely) std::cerr << lineOf(operations[i]) << std::endl;
    scene.run(operations[i]);
    if (i % interval != 0) continue;
    const Json before = scene.state();
    for (const auto& [handler, invocation] : invocations(before)) {
      if (closely) std::cerr << lineOf(invocation) << std::endl;
      scene.run(invocation);
      invoked.insert(handler);
      if (!closely || scene.state() == before) continue;
      std::cerr << "changes " << Json::diff(before, scene.state()).dump();
      return 1;
    }
    if (scene.state() != before) return 1;
  }
  for (const std::string& handler : invoked) std::cerr << handler << "\n";
  return 0;
}

// The last lines of a run that is looked at closely.
std::string changeIn(const Operations& operations) {
  const std::string words = inChild([&] { return repeatIn(operations, true); }).words;
  std::size_t from = words.size();
  for (int line = 0; line < 4 && from != std::string::npos && from != 0; ++line) {
    from = words.rfind('\n', from - 1);
  }
  return from == std::string::npos ? words : words.substr(from);
}

TEST(RepeatedHandlers, ChangeNothingBetweenTheOperationsOfTheWalk) {
  std::set<std::string> were;
  std::size_t operations = 0;
  for (const Episode& episode : episodes()) {
    if (operations > operationsWanted / 2) break;
    operations += episode.operations.size();
    // Whole, as a controller that goes in between may break a contract by that.
    const Operations whole = Ended(episode.operations).operations();
    const ChildEnd end = inChild([&] { return repeatIn(whole, false); });
    if (end.status != 0) {
      ADD_FAILURE() << "seed " << episode.seed << ": " << changeIn(whole);
      continue;
    }
    std::istringstream names(end.words);
    for (std::string name; std::getline(names, name);) were.insert(name);
  }
  std::set<std::string> mayBe;
  for (const Handler& handler : handlers) {
    if (handler.may == repeat) mayBe.insert(std::string(handler.machine) + "." + handler.name);
  }
  EXPECT_EQ(were, mayBe);
}

}  // namespace
}  // namespace Fabrion::Test

#endif
