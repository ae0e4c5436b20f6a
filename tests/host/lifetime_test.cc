// Nothing outlives its use: a journal that makes one of everything and takes it away again leaves
// no machine, no reactor and no entity, and running it twice gives the same bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/personality.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>

#include "host/JournalWriter.h"
#include "platform/Velo/AllocTrack.h"
#include "tests/host/Texts.h"
#include "tests/host/controller_scene.h"
#include "tests/host/folder.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::ControllerScene;
using Test::Folder;
using Test::textOfFile;
using Operations = std::vector<Operation>;

const PortRequestName onPort{"acme", "leaf1", "e3"};
const PortRequestName onMember{"blue", "leaf1", "e2"};
const HostRequestName onHost{"acme", "web"};
const DomainName red{"acme", "red"};

// Everything at once: a switch with a port group, two hosts, both kinds of requests.
Operations making() {
  return {
      Op::TopologyStart{},
      Op::SwitchNew{"leaf1",
                    {AllowedVlanLists{{{"e9", "1-3"}}}, NativeVlans{{{"e9", 4}}},
                     SwitchVlanList{"1-4"}, VtepMappings{{{"vtep0", {{"e9", 1, 100}}}}}}},
      Op::ElementHold{"leaf1", "fabrion"},
      Op::MapAdd{red, {{{10, 19}, {5010, 5019}}}},
      Op::VtepAdd{"leaf1", "vtep1"},
      Op::Mount{"leaf1", MountFlag::topology, true},
      Op::MountUpdate{"leaf1"},
      Op::HostNew{"leaf1", "leaf1", {"e1", "e2", "e3"}, {{"po1", {"e2"}}}},
      Op::HostEnter{"leaf1"},
      Op::HostNew{"srv1", "web", {"eth0", "eth1"}, {}},
      Op::HostEnter{"srv1"},
      Op::PortAdd{"srv1", "eth2"},
      Op::GroupAdd{"srv1", "bond0", {"eth1"}},
      Op::MemberAdd{"srv1", "bond0", "eth2"},
      Op::HostNew{"srv2", "web", {"eth0"}, {}},
      Op::HostEnter{"srv2"},
      Op::HostnameAdd{"web", {"srv1"}},
      Op::HostnameHostAdd{"web", "srv2"},
      Op::EdgeAdd{{"leaf1", "e1"}},
      Op::EdgeTo{{"leaf1", "e1"}, {"srv1", "eth0"}, true},
      Op::EdgeAdd{{"srv1", "eth0"}, {{"leaf1", "e1"}}},
      Op::EdgeTo{{"srv1", "eth0"}, {"leaf1", "e1"}, false},
      Op::EdgeTo{{"srv1", "eth0"}, {"leaf1", "e1"}, true},
      Op::EdgeAdd{{"srv2", "eth0"}},
      Op::EdgeTo{{"srv2", "eth0"}, {"leaf1", "e2"}, true},
      Op::RequestNew{onHost},
      Op::VlanAdd{onHost, 10},
      Op::VniAdd{onHost, 10, 1010},
      Op::DomainAdd{onHost, 10, red},
      Op::RequestStart{onHost},
      Op::RequestNew{onPort},
      Op::VlanAdd{onPort, 20},
      Op::VniAdd{onPort, 20, 1020},
      Op::DomainAdd{onPort, 20, red},
      Op::Native{onPort, 20},
      Op::Remote{onPort, "far", true},
      Op::RequestStart{onPort},
      Op::RequestNew{onMember},
      Op::VlanAdd{onMember, 30},
      Op::VniAdd{onMember, 30, 1030},
      Op::DomainAdd{onMember, 30, red},
      Op::RequestStart{onMember},
      Op::SwitchStart{"leaf1"},
      Op::SwitchAnnounce{"leaf1"},
      Op::RangeSet{red, {20, 29}, {6020, 6029}},
      Op::Invoke{"networkElementSm/leaf1/portGroupSm/po1", "handleInitialized"},
      Op::Dump{},
  };
}

Operations takingAway() {
  return {
      Op::RangeDel{red, {20, 29}},
      Op::RemoteDel{onPort, "far"},
      Op::VniDel{onPort, 20, 1020},
      Op::DomainDel{onPort, 20, red},
      Op::VlanDel{onPort, 20},
      Op::Native{onPort, {}},
      Op::RequestStop{onPort},
      Op::RequestStop{onMember},
      Op::RequestStop{onHost},
      Op::EdgeToDel{{"leaf1", "e1"}, {"srv1", "eth0"}},
      Op::EdgeDel{{"leaf1", "e1"}},
      Op::EdgeDel{{"srv1", "eth0"}},
      Op::EdgeDel{{"srv2", "eth0"}},
      Op::HostnameHostDel{"web", "srv1"},
      Op::HostnameHostDel{"web", "srv2"},
      Op::HostnameDel{"web"},
      Op::MemberDel{"srv1", "bond0", "eth2"},
      Op::GroupDel{"srv1", "bond0"},
      Op::PortDel{"srv1", "eth2"},
      Op::HostLeave{"srv1"},
      Op::HostLeave{"srv2"},
      Op::HostLeave{"leaf1"},
      Op::VtepDel{"leaf1", "vtep1"},
      Op::MapDel{red},
      Op::SwitchStop{"leaf1"},
      Op::ElementRelease{"leaf1", "fabrion"},
      Op::TopologyStop{},
      Op::Dump{},
  };
}

Operations operator+(Operations a, const Operations& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

using Counts = std::map<std::string, U64>;

Counts live() {
  Counts counts;
  Velo::AllocTrackTypeInfo::forEach([&](const Velo::AllocTrackTypeInfo::Counts& one) {
    if (one.live != 0) counts[one.typeName] += one.live;
  });
  return counts;
}

Counts everMade() {
  Counts counts;
  Velo::AllocTrackTypeInfo::forEach(
      [&](const Velo::AllocTrackTypeInfo::Counts& one) { counts[one.typeName] += one.total; });
  return counts;
}

// The types of the module and of their reactors, by the module's own record.
std::set<std::string> machineTypes() {
  std::set<std::string> names;
  for (const Velo::TypeRecord* type : Test::machines().types) {
    names.insert(type->name);
    for (const Velo::ReactorRecord& reactor : type->reactors) {
      names.insert(type->name + std::string("::") + reactor.name);
    }
  }
  return names;
}

TEST(Lifetime, TheJournalHasEveryOperation) {
  std::set<std::string_view> names;
  for (const Operation& operation : making() + takingAway()) names.insert(nameOf(operation));
  EXPECT_EQ(names.size(), std::variant_size_v<Operation>);
}

TEST(Lifetime, TheJournalMakesEveryMachineReactorAndEntity) {
  const Counts before = everMade();
  {
    ControllerScene scene;
    scene.runAll(making());
    const Counts now = live();
    for (const std::string& name : machineTypes()) {
      EXPECT_TRUE(now.contains(name)) << name << " does not live";
    }
  }
  const Counts after = everMade();
  for (const char* entity : {"Fabrion::NetworkElementCollection",
                             "Fabrion::RequestedResourcesCollection",
                             "Fabrion::NetworkElement",
                             "Fabrion::PhysicalInterface",
                             "Fabrion::PortGroup",
                             "Fabrion::DynamicVlan",
                             "Fabrion::ResourcesForHostname",
                             "Fabrion::Config",
                             "Fabrion::VlanToVniMap",
                             "Fabrion::Client::ResourcesForHostname",
                             "Fabrion::Client::ResourcesForSwitchport",
                             "Fabrion::Client::DynamicVlan",
                             "Fabrion::Client::MappedVni",
                             "Fabrion::Client::Domain",
                             "Fabrion::Client::UntaggedVlan",
                             "NetworkTopologyAggregatorV3::Status",
                             "NetworkTopologyAggregatorV3::Host",
                             "NetworkTopologyAggregatorV3::Port",
                             "NetworkTopologyAggregatorV3::PortGroup",
                             "NetworkTopologyAggregatorV3::DirectedEdge",
                             "NetworkTopologyAggregatorV3::HostsByHostname",
                             "ControllerProxyAgent::PortVlanConfigV1",
                             "VxlanController::VtepConfigDirV2",
                             "VxlanController::VtepConfigV2",
                             "VxlanController::VtepStatusDirV2",
                             "VxlanController::VtepStatusV2"}) {
    const auto found = before.find(entity);
    ASSERT_TRUE(after.contains(entity)) << entity;
    EXPECT_GT(after.at(entity), found == before.end() ? 0 : found->second) << entity;
  }
}

TEST(Lifetime, NoMachineAndNoReactorOutlivesWhatTakesItAway) {
  const Counts before = live();
  ControllerScene scene;
  scene.runAll(making() + takingAway());
  const Counts after = live();
  for (const std::string& name : machineTypes()) {
    // The mounts of a switch stay as long as the switch.
    if (name == "Fabrion::Agent::RemoteMountsStatus") continue;
    const auto found = before.find(name);
    const auto now = after.find(name);
    EXPECT_EQ(now == after.end() ? 0 : now->second, found == before.end() ? 0 : found->second)
        << name;
  }
}

TEST(Lifetime, NothingOutlivesTheController) {
  const Counts before = live();
  for (const Operations& operations : {making(), making() + takingAway(), Operations()}) {
    {
      ControllerScene scene;
      scene.runAll(operations);
    }
    EXPECT_EQ(live(), before);
  }
}

TEST(Lifetime, NothingOutlivesTheControllerWhereverItEnds) {
  const Counts before = live();
  const Operations all = making() + takingAway();
  for (std::size_t end = 0; end < all.size(); ++end) {
    {
      ControllerScene scene;
      scene.runAll({all.begin(), all.begin() + static_cast<long>(end)});
    }
    ASSERT_EQ(live(), before) << "after operation " << end;
  }
}

#ifdef FABRION_BINARY

TEST(Lifetime, TheSameJournalGivesTheSameBytesInEveryProcess) {
  // Or equal bytes would prove nothing about addresses.
  const int flags = personality(0xffffffff);
  ASSERT_EQ(flags & ADDR_NO_RANDOMIZE, 0);

  const Folder files;
  const std::string journal = files / "journal";
  {
    std::ofstream lines(journal);
    for (const Operation& operation : making() + takingAway()) {
      lines << lineOf(operation) << '\n' << lineOf(Op::Dump{}) << '\n';
    }
  }
  std::vector<std::string> outs;
  std::vector<std::string> traces;
  for (const std::string run : {"1", "2", "3"}) {
    const std::string command = FABRION_BINARY " replay --trace 9 --module " FABRION_MODULE " " +
                                journal + " >" + files / ("out" + run) + " 2>" +
                                files / ("trace" + run);
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
    outs.push_back(textOfFile(files / ("out" + run)));
    traces.push_back(textOfFile(files / ("trace" + run)));
  }
  EXPECT_GT(traces[0].size(), 10000U);
  EXPECT_THAT(outs, testing::Each(outs[0]));
  EXPECT_THAT(traces, testing::Each(traces[0]));
}

#endif

}  // namespace
}  // namespace Fabrion::Host

#endif
