// How elements, interfaces and groups end, which refer to each other in circles. Counts of live
// objects show what stays behind, in every build.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

#include "entities/Fabrion.h"
#include "platform/Velo/AllocTrack.h"
#include "tests/support/Listener.h"

namespace Fabrion::Test {

// Two switches with a link between two ports, each a member of a port group, and everything that
// the machines write into such elements.
struct Fabric {
  Velo::Ptr<NetworkElementCollection> elements = Velo::make<NetworkElementCollection>();
  std::array<Velo::Ptr<NetworkElement>, 2> element;
  std::array<Velo::Ptr<PhysicalInterface>, 2> port;
  std::array<Velo::Ptr<PortGroup>, 2> group;

  Fabric() {
    for (std::size_t i = 0; i < 2; ++i) {
      element[i] = elements->networkElementIs(i == 0 ? "leaf1" : "leaf2");
      port[i] = element[i]->physicalInterfaceIs("e1");
      group[i] = element[i]->portGroupIs("po1");
    }
    for (std::size_t i = 0; i < 2; ++i) {
      element[i]->interfaceIs(port[i]);
      element[i]->interfaceIs(group[i]);
      port[i]->portGroupIs(group[i]);
      group[i]->memberInterfaceIs(port[i]);
      const Velo::Ptr<NetworkElement>& far = element[1 - i];
      port[i]->discoveredElementIs(far);
      port[i]->configuredElementIs(far);
      port[i]->networkElementIs(far);
    }
  }
  void letGo() {
    element = {};
    port = {};
    group = {};
  }
};

class Circles : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), before_); }

  const U64 before_ = Velo::AllocTrackTypeInfo::liveObjects();
};

TEST_F(Circles, DroppingTheCollectionEndsEverything) {
  Fabric fabric;
  fabric.letGo();
  EXPECT_GT(Velo::AllocTrackTypeInfo::liveObjects(), before_);
}

TEST_F(Circles, DroppingTheCollectionFirstLeavesWhatIsHeldReadable) {
  Fabric fabric;
  fabric.elements = nullptr;
  EXPECT_EQ(fabric.element[0]->name(), "leaf1");
  EXPECT_EQ(fabric.port[0]->name(), "e1");
}

TEST_F(Circles, ASwitchLinkedToItselfEnds) {
  const auto elements = Velo::make<NetworkElementCollection>();
  const auto leaf = elements->networkElementIs("leaf1");
  leaf->physicalInterfaceIs("e1")->networkElementIs(leaf);
  leaf->physicalInterfaceIs("e2")->discoveredElementIs(leaf);
  elements->networkElementDel("leaf1");
  leaf->destroy();
}

TEST_F(Circles, DestroyMayBeSaidTwiceAndNotifiesNobody) {
  Fabric fabric;
  const auto onElement =
      Listener::on<NetworkElement::interfaceAttribute, NetworkElement::physicalInterfaceAttribute,
                   NetworkElement::portGroupAttribute>(*fabric.element[0]);
  const auto onPort = Listener::on<PhysicalInterface::networkElementAttribute,
                                   PhysicalInterface::portGroupAttribute>(*fabric.port[0]);
  const auto onGroup = Listener::on<PortGroup::memberInterfaceAttribute>(*fabric.group[0]);
  fabric.elements->networkElementDel("leaf1");
  for (int i = 0; i < 2; ++i) {
    fabric.element[0]->destroy();
    fabric.port[0]->destroy();
    fabric.group[0]->destroy();
  }
  fabric.elements = nullptr;
  EXPECT_TRUE(onElement->taken().empty());
  EXPECT_TRUE(onPort->taken().empty());
  EXPECT_TRUE(onGroup->taken().empty());
}

TEST_F(Circles, ADestroyedEntityKeepsItsContentWhileItStandsInItsCollection) {
  Fabric fabric;
  fabric.element[0]->destroy();
  EXPECT_EQ(fabric.element[0]->interface().size(), 2U);
  fabric.elements->networkElementDel("leaf1");
  EXPECT_EQ(fabric.element[0]->interface().size(), 0U);
}

TEST_F(Circles, ADestroyedEntityKeepsItsContentWhileAReactorFollowsIt) {
  Fabric fabric;
  auto follower = Listener::on<PhysicalInterface::networkElementAttribute>(*fabric.port[0]);
  fabric.element[0]->physicalInterfaceDel("e1");
  fabric.port[0]->destroy();
  EXPECT_EQ(fabric.port[0]->networkElement("leaf2"), fabric.element[1]);
  EXPECT_EQ(fabric.port[0]->portGroup(), fabric.group[0]);
  follower = nullptr;
  EXPECT_EQ(fabric.port[0]->networkElement().size(), 0U);
  EXPECT_FALSE(fabric.port[0]->portGroup());
}

TEST_F(Circles, AFollowerThatOutlivesTheCollectionFreesTheRestWhenItGoes) {
  Velo::Ptr<Listener> follower;
  {
    Fabric fabric;
    follower = Listener::on<NetworkElement::interfaceAttribute>(*fabric.element[0]);
  }
  EXPECT_GT(Velo::AllocTrackTypeInfo::liveObjects(), before_);
  follower = nullptr;
}

// What may happen to one element, one of its ports and its group on the way out. Every order of
// these has to end everything, whatever still follows the entities or holds them.
TEST_F(Circles, EveryOrderOfLeavingDestroyingUnfollowingAndDroppingEndsEverything) {
  std::array<int, 7> order{};
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
  do {
    {
      Fabric fabric;
      auto onElement = Listener::on<NetworkElement::interfaceAttribute>(*fabric.element[0]);
      auto onPort = Listener::on<PhysicalInterface::networkElementAttribute>(*fabric.port[0]);
      const std::array<std::function<void()>, 7> steps{
          [&] {
            if (fabric.elements) fabric.elements->networkElementDel("leaf1");
          },
          [&] {
            if (fabric.element[0]) fabric.element[0]->destroy();
          },
          [&] {
            if (!fabric.element[0]) return;
            fabric.element[0]->interfaceDel("e1");
            fabric.element[0]->physicalInterfaceDel("e1");
            if (fabric.port[0]) fabric.port[0]->destroy();
          },
          [&] { onElement = nullptr; },
          [&] { onPort = nullptr; },
          [&] { fabric.elements = nullptr; },
          [&] { fabric.letGo(); },
      };
      for (const int step : order) steps[static_cast<std::size_t>(step)]();
    }
    ASSERT_EQ(Velo::AllocTrackTypeInfo::liveObjects(), before_)
        << "order " << ::testing::PrintToString(order);
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(Circles, AGroupThatIsRemovedAndDestroyedLetsGoOfItsMembers) {
  Fabric fabric;
  fabric.element[0]->interfaceDel("po1");
  const auto group = fabric.element[0]->portGroupDel("po1");
  group->destroy();
  EXPECT_EQ(group->memberInterface().size(), 0U);
  EXPECT_EQ(fabric.port[0]->portGroup(), group);  // the port's own reference is the port's to clear
}

}  // namespace Fabrion::Test
