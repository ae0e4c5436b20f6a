#include <gtest/gtest.h>

#include <sstream>

#include "entities/NetworkTopologyAggregatorV3.h"
#include "platform/Velo/AllocTrack.h"
#include "tests/support/Listener.h"

namespace NetworkTopologyAggregatorV3 {

using Fabrion::Test::Listener;
using Lines = std::vector<std::string>;

class Topology : public testing::Test {
 protected:
  void TearDown() override {
    status_ = nullptr;
    leaf_ = nullptr;
    EXPECT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), before_);
  }
  static Velo::Ptr<Port> port(const Velo::Ptr<Host>& host, const char* name) {
    auto made = Velo::make<Port>(*host, name);
    host->portIs(made);
    return made;
  }

  const U64 before_ = Velo::AllocTrackTypeInfo::liveObjects();
  Velo::Ptr<Status> status_ = Velo::make<Status>();
  Velo::Ptr<Host> leaf_ = Velo::make<Host>("leaf1");
};

TEST_F(Topology, HostsStandInTheStatusUnderTheirName) {
  const auto listener = Listener::on<Status::hostAttribute>(*status_);
  status_->hostIs(leaf_);
  status_->hostIs(leaf_);
  EXPECT_EQ(status_->host("leaf1"), leaf_);
  EXPECT_EQ(status_->hostDel("leaf1"), leaf_);
  EXPECT_FALSE(status_->hostDel("leaf1"));
  EXPECT_EQ(listener->taken(), (Lines{"host leaf1", "host leaf1"}));
}

TEST_F(Topology, HostsOfOneHostnameStandTogether) {
  const auto group = Velo::make<HostsByHostname>("web");
  const auto listener = Listener::on<HostsByHostname::hostAttribute>(*group);
  group->hostIs(leaf_);
  status_->hostsByHostnameIs(group);
  EXPECT_EQ(status_->hostsByHostname("web"), group);
  EXPECT_EQ(status_->hostsByHostname("web")->host("leaf1"), leaf_);
  EXPECT_FALSE(status_->hostsByHostname("db"));
  EXPECT_EQ(listener->taken(), Lines{"host leaf1"});
}

TEST_F(Topology, APortKnowsItsHostWithoutHoldingIt) {
  const U32 before = leaf_->referenceCount();
  const auto e1 = port(leaf_, "e1");
  EXPECT_EQ(e1->host(), leaf_);
  EXPECT_EQ(leaf_->referenceCount(), before);
}

TEST_F(Topology, APortWhoseHostIsGoneHasNone) {
  const auto e1 = port(leaf_, "e1");
  const auto unlisted = Velo::make<Port>(*leaf_, "e2");
  leaf_ = nullptr;
  EXPECT_FALSE(e1->host());
  EXPECT_FALSE(unlisted->host());
  EXPECT_EQ(e1->name(), "e1");
}

TEST_F(Topology, APortMayGoBeforeItsHostAndBetweenOthers) {
  const auto e1 = port(leaf_, "e1");
  auto e2 = Velo::make<Port>(*leaf_, "e2");
  auto e3 = Velo::make<Port>(*leaf_, "e3");
  e2 = nullptr;
  e3 = nullptr;
  EXPECT_EQ(e1->host(), leaf_);
  leaf_->portDel("e1");
  leaf_ = nullptr;
  EXPECT_FALSE(e1->host());
}

TEST_F(Topology, AnEdgeKeepsTheHostsOfItsPorts) {
  auto srv = Velo::make<Host>("srv1");
  const auto near = port(leaf_, "e1");
  const auto far = port(srv, "eth0");
  auto edge = Velo::make<DirectedEdge>(near);
  edge->toPortIs(far, true);
  leaf_ = nullptr;
  srv = nullptr;
  EXPECT_EQ(near->host()->name(), "leaf1");
  EXPECT_EQ(far->host()->name(), "srv1");
  edge->toPortDel(far);
  EXPECT_EQ(far->host()->name(), "srv1");
  edge = nullptr;
  EXPECT_FALSE(near->host());
  EXPECT_FALSE(far->host());
}

TEST_F(Topology, AFarPortWhoseHostIsGoneAlreadyIsTakenAllTheSame) {
  auto srv = Velo::make<Host>("srv1");
  const Velo::Ptr<Port> far = port(srv, "eth0");
  srv = nullptr;
  const auto edge = Velo::make<DirectedEdge>(port(leaf_, "e1"));
  edge->toPortIs(far, true);
  EXPECT_TRUE(*edge->toPort(far));
  EXPECT_FALSE(far->host());
}

TEST_F(Topology, AnEdgeStandsUnderItsFromPort) {
  const auto e1 = port(leaf_, "e1");
  const auto edge = Velo::make<DirectedEdge>(e1);
  status_->edgeIs(edge);
  EXPECT_EQ(edge->fromPort(), e1);
  EXPECT_EQ(status_->edge(e1), edge);
  EXPECT_FALSE(status_->edge(port(leaf_, "e2")));
  EXPECT_EQ(status_->edgeDel(e1), edge);
}

TEST_F(Topology, AToPortEntryWithTheValueFalseIsThereAndFalse) {
  const auto e1 = port(leaf_, "e1");
  const auto e2 = port(leaf_, "e2");
  const auto edge = Velo::make<DirectedEdge>(e1);
  const auto listener = Listener::on<DirectedEdge::toPortAttribute>(*edge);
  edge->toPortIs(e2, false);
  edge->toPortIs(e2, false);
  ASSERT_NE(edge->toPort(e2), nullptr);
  EXPECT_FALSE(*edge->toPort(e2));
  edge->toPortIs(e2, true);
  EXPECT_TRUE(edge->toPortDel(e2));
  EXPECT_FALSE(edge->toPortDel(e2));
  EXPECT_EQ(edge->toPort(e2), nullptr);
  EXPECT_EQ(listener->taken(), (Lines(3, "toPort NetworkTopologyAggregatorV3::Port(e2)")));
}

TEST_F(Topology, MembersOfAPortGroupAndTheirGroupEndWithTheirHost) {
  const auto e1 = port(leaf_, "e1");
  const auto unlisted = Velo::make<Port>(*leaf_, "e2");
  auto group = Velo::make<PortGroup>("po1");
  for (const auto& member : {e1, unlisted}) {
    member->portGroupIs(group);
    group->memberPortIs(member);
  }
  leaf_->portGroupIs(group);
  EXPECT_EQ(e1->portGroup(), group);
  EXPECT_EQ(leaf_->portGroup("po1"), group);
  group = nullptr;
  leaf_ = nullptr;
  EXPECT_FALSE(e1->portGroup());
}

TEST_F(Topology, AGroupThatLeavesItsHostEndsWithTheHostAtTheLatest) {
  auto group = Velo::make<PortGroup>("po1");
  for (const char* name : {"e1", "e2", "e3"}) {
    const auto member = port(leaf_, name);
    member->portGroupIs(group);
    group->memberPortIs(member);
  }
  leaf_->portGroupIs(group);
  leaf_->portGroupDel("po1");
  leaf_->portDelAll();
}

TEST_F(Topology, AStatusWithHostsEdgesAndGroupsLeavesNothingBehind) {
  auto srv = Velo::make<Host>("srv1");
  const auto there = port(srv, "eth0");
  const auto here = port(leaf_, "e1");
  for (const auto& [from, to] : {std::pair{here, there}, std::pair{there, here}}) {
    const auto edge = Velo::make<DirectedEdge>(from);
    edge->toPortIs(to, true);
    status_->edgeIs(edge);
  }
  status_->hostIs(srv);
  status_->hostIs(leaf_);
  const auto group = Velo::make<PortGroup>("po1");
  here->portGroupIs(group);
  group->memberPortIs(here);
  srv->portGroupIs(group);  // a group may have a member of another host
}

TEST_F(Topology, AHostAndItsPartsNotifyTheirChanges) {
  const auto onHost =
      Listener::on<Host::hostnameAttribute, Host::portAttribute, Host::portGroupAttribute>(*leaf_);
  const auto e1 = port(leaf_, "e1");
  const auto group = Velo::make<PortGroup>("po1");
  const auto onGroup = Listener::on<PortGroup::memberPortAttribute>(*group);
  leaf_->hostnameIs("web");
  leaf_->hostnameIs("web");
  leaf_->portGroupIs(group);
  leaf_->portGroupIs(group);
  group->memberPortIs(e1);
  group->memberPortDel("e1");
  EXPECT_EQ(onHost->taken(), (Lines{"port e1", "hostname", "portGroup po1"}));
  EXPECT_EQ(onGroup->taken(), (Lines{"memberPort e1", "memberPort e1"}));
}

}  // namespace NetworkTopologyAggregatorV3
