#include "host/TopologyInput.h"

#include <gtest/gtest.h>

#include "host/BadJournal.h"
#include "tests/host/Recorder.h"

namespace Fabrion::Host {
namespace {

namespace Topology = NetworkTopologyAggregatorV3;
using Fabrion::Test::Recorder;
using Log = std::vector<std::string>;

class TopologyInputTest : public testing::Test {
 protected:
  template <class... Ops>
  void run(const Ops&... ops) {
    (input_.apply(ops), ...);
  }
  // Refused, and the status was told of nothing.
  template <class One>
  void expectRefused(const One& op) {
    const std::size_t before = log_.size();
    EXPECT_THROW(input_.apply(op), BadJournal) << One::op;
    EXPECT_EQ(log_.size(), before) << One::op;
  }
  void runLeaf() {
    run(Op::HostNew{"leaf1", "leaf1.example", {"e1", "e2"}, {{"po1", {"e2"}}}},
        Op::HostEnter{"leaf1"});
  }

  Topology::Status& status() { return *input_.status(); }
  Velo::Ptr<Topology::Host> host(const char* name) { return status().host(name); }
  std::vector<Velo::Ptr<Topology::DirectedEdge>> edges() {
    std::vector<Velo::Ptr<Topology::DirectedEdge>> all;
    for (const auto& edge : status().edge().values()) all.push_back(edge);
    return all;
  }

  TopologyInput input_;
  Log log_;
  const Velo::Ptr<Recorder> recorder_ = Recorder::on(*input_.status(), log_);
};

TEST_F(TopologyInputTest, AHostIsBuiltOutsideTheStatusAndEntersItComplete) {
  run(Op::HostNew{"leaf1", "leaf1.example", {"e1", "e2"}, {{"po1", {"e2"}}}});
  EXPECT_EQ(log_, Log{});
  EXPECT_EQ(status().host().size(), 0U);
  run(Op::HostEnter{"leaf1"});
  EXPECT_EQ(log_, Log{"host"});
  EXPECT_EQ(host("leaf1")->hostname(), "leaf1.example");
  EXPECT_EQ(host("leaf1")->port().size(), 2U);
  const auto group = host("leaf1")->portGroup("po1");
  EXPECT_EQ(group->memberPort("e2"), host("leaf1")->port("e2"));
  EXPECT_EQ(host("leaf1")->port("e2")->portGroup(), group);
  EXPECT_EQ(host("leaf1")->port("e1")->portGroup(), nullptr);
}

TEST_F(TopologyInputTest, AHostThatStandsThereEntersWithoutAWord) {
  runLeaf();
  run(Op::HostEnter{"leaf1"});
  EXPECT_EQ(log_, Log{"host"});
}

TEST_F(TopologyInputTest, ANameStandsForTheObjectMadeLast) {
  runLeaf();
  const auto first = host("leaf1");
  run(Op::HostNew{"leaf1", "again"});
  EXPECT_EQ(host("leaf1"), first);
  run(Op::PortAdd{"leaf1", "e9"});
  EXPECT_EQ(first->port("e9"), nullptr);
  run(Op::HostEnter{"leaf1"});
  EXPECT_EQ(host("leaf1")->hostname(), "again");
  EXPECT_NE(host("leaf1")->port("e9"), nullptr);
  EXPECT_EQ(log_, (Log{"host", "host"}));
}

TEST_F(TopologyInputTest, AHostThatIsNotThereLeavesWithoutEffect) {
  run(Op::HostLeave{"leaf1"});
  runLeaf();
  run(Op::HostLeave{"leaf1"}, Op::HostLeave{"leaf1"});
  EXPECT_EQ(log_, (Log{"host", "host"}));
  EXPECT_EQ(status().host().size(), 0U);
}

TEST_F(TopologyInputTest, APortThatIsAddedAgainIsANewOne) {
  runLeaf();
  const auto first = host("leaf1")->port("e1");
  Log log;
  const auto recorder = Recorder::on(*host("leaf1"), log);
  run(Op::PortAdd{"leaf1", "e1"});
  EXPECT_NE(host("leaf1")->port("e1"), first);
  run(Op::PortDel{"leaf1", "e1"});
  EXPECT_EQ(host("leaf1")->port("e1"), nullptr);
  EXPECT_EQ(log, (Log{"port", "port"}));
  expectRefused(Op::PortDel{"leaf1", "e1"});
}

TEST_F(TopologyInputTest, AGroupIsFiledCompleteWithItsMembersToldFirst) {
  runLeaf();
  Log log;
  const auto leaf = host("leaf1");
  const auto look = [&leaf] {
    const auto group = leaf->portGroup("po9");
    return std::to_string(group ? group->memberPort().size() : 99) +
           (leaf->port("e1")->portGroup() == group ? " same" : " other");
  };
  const auto recorder = Recorder::on(*leaf, log, look);
  run(Op::GroupAdd{"leaf1", "po9", {"e1", "e2"}});
  EXPECT_EQ(log, Log{"portGroup 2 same"});
}

TEST_F(TopologyInputTest, AGroupGoesAfterItsMembersHaveLeftIt) {
  runLeaf();
  Log log;
  const auto leaf = host("leaf1");
  const auto recorder = Recorder::on(
      *leaf, log, [&leaf] { return leaf->port("e2")->portGroup() ? "still" : "cleared"; });
  run(Op::GroupDel{"leaf1", "po1"});
  EXPECT_EQ(log, Log{"portGroup cleared"});
  EXPECT_EQ(leaf->portGroup("po1"), nullptr);
  expectRefused(Op::GroupDel{"leaf1", "po1"});
}

TEST_F(TopologyInputTest, AMembersOwnGroupIsSetBeforeTheGroupIsTold) {
  runLeaf();
  Log log;
  const auto port = host("leaf1")->port("e1");
  const auto recorder = Recorder::on(*host("leaf1")->portGroup("po1"), log,
                                     [&port] { return port->portGroup() ? "in" : "out"; });
  run(Op::MemberAdd{"leaf1", "po1", "e1"}, Op::MemberDel{"leaf1", "po1", "e1"},
      Op::MemberDel{"leaf1", "po1", "e1"});
  EXPECT_EQ(log, (Log{"memberPort in", "memberPort out"}));
}

TEST_F(TopologyInputTest, ANameThatDoesNotResolveIsRefused) {
  runLeaf();
  expectRefused(Op::HostEnter{"srv1"});
  expectRefused(Op::HostNew{"x", "x", {"e1"}, {{"po1", {"e2"}}}});
  expectRefused(Op::PortAdd{"srv1", "e1"});
  expectRefused(Op::GroupAdd{"leaf1", "po2", {"e3"}});
  expectRefused(Op::MemberAdd{"leaf1", "po2", "e1"});
  expectRefused(Op::MemberAdd{"leaf1", "po1", "e3"});
  expectRefused(Op::MemberDel{"leaf1", "po1", "e3"});
  expectRefused(Op::MemberDel{"leaf1", "po2", "e1"});
  expectRefused(Op::EdgeAdd{{"srv1", "eth0"}});
  expectRefused(Op::EdgeAdd{{"leaf1", "e1"}, {{"srv1", "eth0"}}});
  expectRefused(Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, true});
  expectRefused(Op::EdgeDel{{"leaf1", "e1"}});
  expectRefused(Op::HostnameAdd{"h", {"leaf1", "srv1"}});
  expectRefused(Op::HostnameDel{"h"});
  expectRefused(Op::HostnameHostAdd{"h", "leaf1"});
  expectRefused(Op::HostnameHostDel{"h", "leaf1"});
}

TEST_F(TopologyInputTest, AnEdgeIsFiledComplete) {
  runLeaf();
  run(Op::HostNew{"srv1", "compute1", {"eth0"}});
  run(Op::EdgeAdd{{"leaf1", "e1"}, {{"srv1", "eth0"}}});
  EXPECT_EQ(log_, (Log{"host", "edge"}));
  const auto edge = edges().at(0);
  EXPECT_EQ(edge->fromPort(), host("leaf1")->port("e1"));
  ASSERT_EQ(edge->toPort().size(), 1U);
  EXPECT_EQ((*edge->toPort().keys().begin())->name(), "eth0");
  EXPECT_TRUE(*edge->toPort().values().begin());
}

TEST_F(TopologyInputTest, AFarPortIsSetAndRemovedByItsNames) {
  runLeaf();
  run(Op::EdgeAdd{{"leaf1", "e1"}});
  const auto edge = edges().at(0);
  Log log;
  const auto recorder = Recorder::on(*edge, log);
  run(Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, true},
      Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, true},
      Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, false});
  EXPECT_EQ(log.size(), 2U);
  EXPECT_EQ(edge->toPort().size(), 1U);
  run(Op::EdgeToDel{{"leaf1", "e1"}, {"leaf1", "e2"}});
  EXPECT_EQ(edge->toPort().size(), 0U);
  EXPECT_THROW(input_.apply(Op::EdgeToDel{{"leaf1", "e1"}, {"leaf1", "e2"}}), BadJournal);
  EXPECT_EQ(log.size(), 3U);
}

TEST_F(TopologyInputTest, AnEdgeUnderTheSamePortReplacesTheOldOne) {
  runLeaf();
  run(Op::EdgeAdd{{"leaf1", "e1"}}, Op::EdgeAdd{{"leaf1", "e1"}});
  EXPECT_EQ(edges().size(), 1U);
  EXPECT_EQ(log_, (Log{"host", "edge", "edge"}));
  run(Op::EdgeDel{{"leaf1", "e1"}});
  EXPECT_EQ(edges().size(), 0U);
  expectRefused(Op::EdgeDel{{"leaf1", "e1"}});
}

TEST_F(TopologyInputTest, OfTwoEdgesUnderTheSameNamesTheNewestIsFound) {
  runLeaf();
  run(Op::EdgeAdd{{"leaf1", "e1"}}, Op::PortAdd{"leaf1", "e1"}, Op::EdgeAdd{{"leaf1", "e1"}});
  ASSERT_EQ(edges().size(), 2U);
  const auto oldest = edges()[0];
  const auto newest = edges()[1];
  run(Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, true});
  EXPECT_EQ(oldest->toPort().size(), 0U);
  EXPECT_EQ(newest->toPort().size(), 1U);
  run(Op::EdgeDel{{"leaf1", "e1"}});
  EXPECT_EQ(edges(), std::vector{oldest});
  run(Op::EdgeDel{{"leaf1", "e1"}});
  EXPECT_EQ(edges().size(), 0U);
}

TEST_F(TopologyInputTest, AnEdgeIsFoundAfterItsHostWasMadeAnew) {
  runLeaf();
  run(Op::EdgeAdd{{"leaf1", "e1"}, {{"leaf1", "e2"}}}, Op::HostNew{"leaf1", "again"});
  const auto edge = edges().at(0);
  const auto far = *edge->toPort().keys().begin();
  // The far port that the edge holds already, not one of the new object.
  run(Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, false});
  EXPECT_EQ(edge->toPort().size(), 1U);
  EXPECT_FALSE(*edge->toPort(far));
  run(Op::EdgeToDel{{"leaf1", "e1"}, {"leaf1", "e2"}},
      Op::EdgeTo{{"leaf1", "e1"}, {"leaf1", "e2"}, true});
  EXPECT_EQ(edge->toPort(far), nullptr);
  EXPECT_EQ(edge->toPort().size(), 1U);
  run(Op::EdgeDel{{"leaf1", "e1"}});
  EXPECT_EQ(edges().size(), 0U);
}

TEST_F(TopologyInputTest, APortThatTheHostDoesNotListIsMadeForEdgesOnceAndNotListed) {
  runLeaf();
  run(Op::EdgeAdd{{"leaf1", "e7"}});
  const auto port = edges().at(0)->fromPort();
  EXPECT_EQ(port->name(), "e7");
  EXPECT_EQ(port->host(), host("leaf1"));
  EXPECT_EQ(host("leaf1")->port("e7"), nullptr);
  expectRefused(Op::PortDel{"leaf1", "e7"});
  run(Op::EdgeDel{{"leaf1", "e7"}}, Op::EdgeAdd{{"leaf1", "e7"}});
  EXPECT_EQ(edges().at(0)->fromPort(), port);
}

TEST_F(TopologyInputTest, APortThatIsListedLaterIsAnotherObject) {
  runLeaf();
  run(Op::EdgeAdd{{"leaf1", "e7"}}, Op::PortAdd{"leaf1", "e7"}, Op::EdgeAdd{{"leaf1", "e7"}});
  ASSERT_EQ(edges().size(), 2U);
  EXPECT_EQ(edges()[1]->fromPort(), host("leaf1")->port("e7"));
  run(Op::PortDel{"leaf1", "e7"}, Op::EdgeAdd{{"leaf1", "e7"}});
  ASSERT_EQ(edges().size(), 3U);
  EXPECT_NE(edges()[2]->fromPort(), edges()[0]->fromPort());
  EXPECT_NE(edges()[2]->fromPort(), edges()[1]->fromPort());
}

TEST_F(TopologyInputTest, HostsOfAHostnameComeAndGo) {
  runLeaf();
  run(Op::HostnameAdd{"h", {"leaf1"}});
  const auto group = status().hostsByHostname("h");
  EXPECT_EQ(group->host("leaf1"), host("leaf1"));
  Log log;
  const auto recorder = Recorder::on(*group, log);
  run(Op::HostnameHostDel{"h", "leaf1"}, Op::HostnameHostDel{"h", "leaf1"},
      Op::HostnameHostDel{"h", "nobody"}, Op::HostnameHostAdd{"h", "leaf1"});
  EXPECT_EQ(log, (Log{"host", "host"}));
  run(Op::HostnameAdd{"h"});
  EXPECT_NE(status().hostsByHostname("h"), group);
  run(Op::HostnameDel{"h"});
  EXPECT_EQ(log_, (Log{"host", "hostsByHostname", "hostsByHostname", "hostsByHostname"}));
}

}  // namespace
}  // namespace Fabrion::Host
