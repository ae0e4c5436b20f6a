#include "host/JournalWriter.h"

#include <gtest/gtest.h>

#include <set>

#include "host/BadJournal.h"
#include "host/JournalReader.h"

namespace Fabrion::Host {
namespace {

// At least one of each operation, with every optional member present and absent.
std::vector<Operation> everyOperation() {
  const RequestName host = HostRequestName{"acme", "compute1"};
  const RequestName port = PortRequestName{"acme", "leaf1", "e1"};
  const PortRequestName onPort{"acme", "leaf1", "e1"};
  const DomainName domain{"acme", "red"};
  return {
      Op::HostNew{"leaf1", "leaf1.example"},
      Op::HostNew{"leaf1", "", {"e1", "e2"}, {{"po2", {"e2", "e1"}}, {"po1", {}}}},
      Op::HostEnter{"leaf1"},
      Op::HostLeave{"leaf1"},
      Op::PortAdd{"leaf1", "e/1~"},
      Op::PortDel{"leaf1", "e1"},
      Op::GroupAdd{"leaf1", "po1", {"e2", "e1"}},
      Op::GroupAdd{"leaf1", "po1", {}},
      Op::GroupDel{"leaf1", "po1"},
      Op::MemberAdd{"leaf1", "po1", "e1"},
      Op::MemberDel{"leaf1", "po1", "e1"},
      Op::EdgeAdd{{"leaf1", "e1"}},
      Op::EdgeAdd{{"leaf1", "e1"}, {{"srv1", "eth0"}, {"srv2", "eth1"}}},
      Op::EdgeTo{{"leaf1", "e1"}, {"srv1", "eth0"}, false},
      Op::EdgeToDel{{"leaf1", "e1"}, {"srv1", "eth0"}},
      Op::EdgeDel{{"leaf1", "e1"}},
      Op::HostnameAdd{"compute1"},
      Op::HostnameAdd{"compute1", {"srv1"}},
      Op::HostnameDel{"compute1"},
      Op::HostnameHostAdd{"compute1", "srv1"},
      Op::HostnameHostDel{"compute1", "srv1"},
      Op::RequestNew{host},
      Op::RequestStart{host},
      Op::RequestStart{host, ""},
      Op::RequestStart{port, "own"},
      Op::RequestStop{port},
      Op::VlanAdd{host, 0},
      Op::VlanDel{port, 4294967295},
      Op::VniAdd{host, 10, 5010},
      Op::VniDel{host, 10, 5010},
      Op::DomainAdd{port, 10, domain},
      Op::DomainDel{port, 10, domain},
      Op::Native{onPort, 4095},
      Op::Native{onPort, std::nullopt},
      Op::Remote{onPort, "compute1", true},
      Op::RemoteDel{onPort, "compute1"},
      Op::MapAdd{domain, {}},
      Op::MapAdd{domain, {{{100, 199}, {10100, 10199}}, {{1, 1}, {2, 2}}}},
      Op::MapDel{domain},
      Op::RangeSet{domain, {1, 2}, {3, 4}},
      Op::RangeDel{domain, {1, 2}},
      Op::SwitchNew{"leaf1"},
      Op::SwitchNew{
          "leaf1",
          {VtepMappings{{{"v2", {{"e1", 10, 5010}}}, {"v1", {}}}}, SwitchVlanList{"5-7"},
           NativeVlans{{{"e2", 5}, {"e1", 6}}}, AllowedVlanLists{{{"e2", "5"}, {"e1", ""}}}}},
      Op::SwitchStart{"leaf1"},
      Op::SwitchAnnounce{"leaf1"},
      Op::SwitchStop{"leaf1"},
      Op::VtepAdd{"leaf1", "vtep1"},
      Op::VtepDel{"leaf1", "vtep1"},
      Op::Mount{"leaf1", MountFlag::topology, true},
      Op::Mount{"leaf1", MountFlag::portVlanConfig, false},
      Op::Mount{"leaf1", MountFlag::dynVtepConfig, true},
      Op::Mount{"leaf1", MountFlag::dynVtepStatus, true},
      Op::Mount{"leaf1", MountFlag::ready, true},
      Op::MountUpdate{"leaf1"},
      Op::TopologyStart{},
      Op::TopologyStop{},
      Op::ElementHold{"leaf1", "host agent"},
      Op::ElementRelease{"leaf1", "host agent"},
      Op::Invoke{"topologySm", "handleInitialized"},
      Op::Invoke{"topologySm", "handleHost", "text with \"quotes\", \n, \\ and \xc3\xa4"},
      Op::Invoke{"switchNodeSm/leaf1", "handleVlan", U32{10}},
      Op::Invoke{"switchNodeSm/leaf1", "handleStaticVniMapForDomain", domain},
      Op::Invoke{"switchNodeSm/leaf1", "handleVniMapConflict", TextAndNumber{"e1", 10}},
      Op::Dump{},
  };
}

TEST(JournalWriter, EveryOperationIsReadBackAsItWas) {
  std::set<std::size_t> kinds;
  for (const Operation& operation : everyOperation()) {
    const std::string line = lineOf(operation);
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    EXPECT_EQ(operationOf(line), operation) << line;
    kinds.insert(operation.index());
  }
  EXPECT_EQ(kinds.size(), std::variant_size_v<Operation>)
      << "an operation is not in the list above";
}

TEST(JournalWriter, OperationsHaveNamesOfTheirOwn) {
  std::set<std::string_view> names;
  std::set<std::size_t> kinds;
  for (const Operation& operation : everyOperation()) {
    names.insert(nameOf(operation));
    kinds.insert(operation.index());
  }
  EXPECT_EQ(names.size(), kinds.size());
}

TEST(JournalWriter, MembersStandInAFixedOrderWithTheNameInFront) {
  EXPECT_EQ(lineOf(Op::HostNew{"leaf1", "h", {"e2", "e1"}, {{"z", {"e1"}}, {"a", {}}}}),
            R"({"op":"host.new","host":"leaf1","hostname":"h","ports":["e2","e1"],)"
            R"("groups":{"z":["e1"],"a":[]}})");
  EXPECT_EQ(lineOf(Op::VniAdd{HostRequestName{"acme", "compute1"}, 10, 5010}),
            R"({"op":"vni.add","request":["acme","compute1"],"vlan":10,"vni":5010})");
  EXPECT_EQ(lineOf(Op::Native{{"acme", "leaf1", "e1"}, std::nullopt}),
            R"({"op":"native","request":["acme","leaf1","e1"],"vlan":null})");
}

TEST(JournalWriter, WhatIsLeftOutIsNotWritten) {
  EXPECT_EQ(lineOf(Op::HostNew{"a", "b"}), R"({"op":"host.new","host":"a","hostname":"b"})");
  EXPECT_EQ(lineOf(Op::SwitchNew{"a"}), R"({"op":"switch.new","switch":"a"})");
  EXPECT_EQ(lineOf(Op::Invoke{"topologySm", "handleInitialized"}),
            R"({"op":"invoke","machine":"topologySm","handler":"handleInitialized"})");
  EXPECT_EQ(lineOf(Op::GroupAdd{"a", "g", {}}),
            R"({"op":"group.add","host":"a","group":"g","members":[]})");
}

TEST(JournalWriter, ATextThatIsNotUtf8CannotBeWritten) {
  EXPECT_THROW(lineOf(Op::HostEnter{"\xff"}), BadJournal);
}

}  // namespace
}  // namespace Fabrion::Host
