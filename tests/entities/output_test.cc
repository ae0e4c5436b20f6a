// What a switch's machine writes and reads at the switch: value types with their ranges, and the
// two outputs.

#include <gtest/gtest.h>

#include <sstream>

#include "entities/Bridging.h"
#include "entities/ControllerProxyAgent.h"
#include "entities/Vxlan.h"
#include "entities/VxlanController.h"
#include "tests/support/Listener.h"

namespace Fabrion::Test {

using Lines = std::vector<std::string>;

template <class Make>
std::string raised(Make&& make) {
  try {
    make();
  } catch (const Velo::RangeException& e) {
    return e.what();
  }
  return "";
}

TEST(Output, VlansUpTo4094PassAndTheNextRaises) {
  EXPECT_EQ(Bridging::VlanIdOrNone(0U).value(), 0);
  EXPECT_EQ(Bridging::VlanIdOrNone(4094U).value(), 4094);
  const std::string text = "Bridging::VlanIdOrNone::value > 4094 not allowed";
  EXPECT_EQ(raised([] { Bridging::VlanIdOrNone(4095U); }), text);
  EXPECT_EQ(raised([] { Bridging::VlanIdOrNone(65537U); }), text);  // not taken as 1
}

TEST(Output, VnisUpTo24BitsPassAndTheNextRaises) {
  EXPECT_EQ(Vxlan::Vni(0U).value(), 0U);
  EXPECT_EQ(Vxlan::Vni(0xffffffU).value(), 0xffffffU);
  EXPECT_EQ(raised([] { Vxlan::Vni(0x1000000U); }),
            "Vxlan::Vni::value < Vxlan::Vni::min or > Vxlan::Vni::max not allowed");
}

TEST(Output, APairIsComparedAndHashedAsAWhole) {
  using VxlanController::PortVlanPairV2;
  const PortVlanPairV2 pair("e1", Bridging::VlanIdOrNone(10));
  EXPECT_EQ(pair, PortVlanPairV2("e1", Bridging::VlanIdOrNone(10)));
  EXPECT_NE(pair, PortVlanPairV2("e1", Bridging::VlanIdOrNone(11)));
  EXPECT_NE(pair, PortVlanPairV2("e2", Bridging::VlanIdOrNone(10)));
  EXPECT_EQ(pair.hash(1), PortVlanPairV2("e1", Bridging::VlanIdOrNone(10)).hash(1));
  EXPECT_NE(pair.hash(1), PortVlanPairV2("e1", Bridging::VlanIdOrNone(11)).hash(1));
}

TEST(Output, ThePortVlanConfigurationNotifiesChangesAlone) {
  using ControllerProxyAgent::PortVlanConfigV1;
  using ControllerProxyAgent::VlanListV1;
  const auto config = Velo::make<PortVlanConfigV1>();
  const auto listener =
      Listener::on<PortVlanConfigV1::portAllowedVlanListAttribute,
                   PortVlanConfigV1::vlanListAttribute, PortVlanConfigV1::portNativeVlanAttribute>(
          *config);
  EXPECT_TRUE(config->vlanList().value().empty());
  config->vlanListIs(VlanListV1());
  for (int i = 0; i < 2; ++i) {
    config->portAllowedVlanListIs("e1", VlanListV1("10"));
    config->vlanListIs(VlanListV1("10"));
    config->portNativeVlanIs("e1", Bridging::VlanIdOrNone(20));
  }
  EXPECT_EQ(listener->taken(), (Lines{"portAllowedVlanList e1", "vlanList", "portNativeVlan e1"}));
  config->portAllowedVlanListIs("e1", VlanListV1("10-11"));
  EXPECT_EQ(config->portAllowedVlanList("e1")->value(), "10-11");
  for (int i = 0; i < 2; ++i) {
    config->portAllowedVlanListDel("e1");
    config->portNativeVlanDel("e1");
  }
  EXPECT_EQ(listener->taken(),
            (Lines{"portAllowedVlanList e1", "portAllowedVlanList e1", "portNativeVlan e1"}));
}

TEST(Output, AVtepConfigurationIsCreatedOrReturnedAndTheFirstIsTheOldest) {
  const auto directory = Velo::make<VxlanController::VtepConfigDirV2>();
  const auto first = directory->vtepConfigIs("vtep2");
  directory->vtepConfigIs("vtep1");
  EXPECT_EQ(directory->vtepConfigIs("vtep2"), first);
  EXPECT_EQ(*directory->vtepConfig().values().begin(), first);
  std::ostringstream out;
  out << first << ' ' << directory;
  EXPECT_EQ(out.str(), "VxlanController::VtepConfigV2(vtep2) VxlanController::VtepConfigDirV2");
}

TEST(Output, AMappingIsReplacedUnderItsPair) {
  using VxlanController::PortVlanPairV2;
  const auto config = Velo::make<VxlanController::VtepConfigV2>("vtep1");
  const PortVlanPairV2 pair("e1", Bridging::VlanIdOrNone(10));
  config->vlanToVniMapIs(pair, Vxlan::Vni(5010));
  config->vlanToVniMapIs(pair, Vxlan::Vni(5011));
  EXPECT_EQ(config->vlanToVniMap(pair)->value(), 5011U);
  EXPECT_TRUE(config->vlanToVniMapDel(pair));
  EXPECT_FALSE(config->vlanToVniMapDel(pair));
  EXPECT_EQ(config->vlanToVniMap(pair), nullptr);
}

TEST(Output, TheStatusOfAVtepIsItsPresence) {
  const auto directory = Velo::make<VxlanController::VtepStatusDirV2>();
  const auto listener =
      Listener::on<VxlanController::VtepStatusDirV2::vtepStatusV2Attribute>(*directory);
  directory->vtepStatusV2Is(Velo::make<VxlanController::VtepStatusV2>("vtep1"));
  EXPECT_TRUE(directory->vtepStatusV2("vtep1"));
  directory->vtepStatusV2Del("vtep1");
  EXPECT_FALSE(directory->vtepStatusV2("vtep1"));
  EXPECT_EQ(listener->taken(), (Lines{"vtepStatusV2 vtep1", "vtepStatusV2 vtep1"}));
}

}  // namespace Fabrion::Test
