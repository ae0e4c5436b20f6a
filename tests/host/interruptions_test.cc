// Outputs that go and come back are counted, each once, and nothing else is.

#include "host/Interruptions.h"

#include <gtest/gtest.h>

#include "tests/host/controller_scene.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::ControllerScene;

class InterruptionsOfLeaf : public testing::Test {
 protected:
  void SetUp() override {
    scene_.run(Op::SwitchNew{"leaf",
                             {AllowedVlanLists{{{"e1", "1-3"}, {"e2", "7"}}},
                              NativeVlans{{{"e1", 1}, {"e2", 2}}}, SwitchVlanList{"1-3,7"},
                              VtepMappings{{{"vtep", {{"e1", 1, 11}, {"e1", 2, 12}, {"e2", 7, 17}}},
                                            {"other", {{"e1", 1, 21}}}}}}});
    all_ = outputsOf(scene_.controller);
    leaf_ = &scene_.controller.switches().at("leaf");
  }

  void allow(const char* port, const char* list) const {
    leaf_->portVlanConfig->portAllowedVlanListIs(
        Nimbo::String(port), ControllerProxyAgent::VlanListV1(Nimbo::String(list)));
  }
  void native(const char* port, U32 vlan) const {
    leaf_->portVlanConfig->portNativeVlanIs(Nimbo::String(port), Bridging::VlanIdOrNone(vlan));
  }
  void carry(const char* list) const {
    leaf_->portVlanConfig->vlanListIs(ControllerProxyAgent::VlanListV1(Nimbo::String(list)));
  }
  Velo::Ptr<VxlanController::VtepConfigV2> vtep(const char* name) const {
    return leaf_->vtepConfigDir->vtepConfigIs(Nimbo::String(name));
  }
  static VxlanController::PortVlanPairV2 at(const char* port, U32 vlan) {
    return {Nimbo::String(port), Bridging::VlanIdOrNone(vlan)};
  }

  ControllerScene scene_;
  FabricOutputs all_;
  const Switches::Switch* leaf_ = nullptr;
};

TEST_F(InterruptionsOfLeaf, VlansOfThePortsCount) {
  const Interruptions interruptions(scene_.controller, all_);
  allow("e1", "1-9");
  EXPECT_EQ(interruptions.count(), 0U);
  allow("e1", "1,9");
  EXPECT_EQ(interruptions.count(), 2U);
  allow("e1", "1-3");
  allow("e1", "3");
  EXPECT_EQ(interruptions.count(), 3U);
  leaf_->portVlanConfig->portAllowedVlanListDel(Nimbo::String("e2"));
  EXPECT_EQ(interruptions.count(), 4U);
  allow("e3", "5");
  allow("e3", "6");
  EXPECT_EQ(interruptions.count(), 4U);
}

TEST_F(InterruptionsOfLeaf, VlansOfTheSwitchCount) {
  const Interruptions interruptions(scene_.controller, all_);
  carry("1-10");
  EXPECT_EQ(interruptions.count(), 0U);
  carry("");
  carry("1-3,7");
  EXPECT_EQ(interruptions.count(), 4U);
  carry("");
  EXPECT_EQ(interruptions.count(), 4U);
}

TEST_F(InterruptionsOfLeaf, ANativeVlanThatIsAnotherOneMeanwhileCounts) {
  const Interruptions interruptions(scene_.controller, all_);
  native("e3", 3);
  EXPECT_EQ(interruptions.count(), 0U);
  native("e1", 9);
  native("e1", 1);
  EXPECT_EQ(interruptions.count(), 1U);
  leaf_->portVlanConfig->portNativeVlanDel(Nimbo::String("e2"));
  EXPECT_EQ(interruptions.count(), 2U);
}

TEST_F(InterruptionsOfLeaf, MappingsCount) {
  const Interruptions interruptions(scene_.controller, all_);
  vtep("vtep")->vlanToVniMapIs(at("e1", 3), Vxlan::Vni(13));
  vtep("vtep")->vlanToVniMapDel(at("e1", 3));
  EXPECT_EQ(interruptions.count(), 0U);
  vtep("vtep")->vlanToVniMapIs(at("e1", 1), Vxlan::Vni(99));
  vtep("vtep")->vlanToVniMapIs(at("e1", 1), Vxlan::Vni(11));
  EXPECT_EQ(interruptions.count(), 1U);
  vtep("vtep")->vlanToVniMapDel(at("e2", 7));
  EXPECT_EQ(interruptions.count(), 2U);
  // With their VTEP too.
  leaf_->vtepConfigDir->vtepConfigDel(Nimbo::String("vtep"));
  EXPECT_EQ(interruptions.count(), 3U);
  vtep("vtep")->vlanToVniMapIs(at("e1", 2), Vxlan::Vni(12));
  leaf_->vtepConfigDir->vtepConfigDel(Nimbo::String("vtep"));
  EXPECT_EQ(interruptions.count(), 3U);
  vtep("new");
  leaf_->vtepConfigDir->vtepConfigDelAll();
  EXPECT_EQ(interruptions.count(), 4U);
}

TEST_F(InterruptionsOfLeaf, OnlyWhatStaysCounts) {
  SwitchOutputs staying;
  staying.vlans = {7};
  staying.allowedVlans = {{"e1", {2}}};
  staying.nativeVlan = {{"e2", 2}};
  staying.vteps = {{"vtep", {{"e1", {{2, 12}}}}}, {"other", {}}};
  const Interruptions interruptions(scene_.controller, {{"leaf", staying}, {"new", {}}});
  carry("7");
  allow("e1", "2");
  leaf_->portVlanConfig->portAllowedVlanListDel(Nimbo::String("e2"));
  leaf_->portVlanConfig->portNativeVlanDel(Nimbo::String("e1"));
  vtep("vtep")->vlanToVniMapDel(at("e1", 1));
  vtep("vtep")->vlanToVniMapDel(at("e2", 7));
  leaf_->vtepConfigDir->vtepConfigDel(Nimbo::String("other"));
  scene_.run(Op::SwitchNew{"new", {SwitchVlanList{"1"}}});
  EXPECT_EQ(interruptions.count(), 0U);
  carry("");
  allow("e1", "1");
  leaf_->portVlanConfig->portNativeVlanDel(Nimbo::String("e2"));
  leaf_->vtepConfigDir->vtepConfigDel(Nimbo::String("vtep"));
  EXPECT_EQ(interruptions.count(), 4U);
}

TEST_F(InterruptionsOfLeaf, EndWithTheWatch) {
  { const Interruptions interruptions(scene_.controller, all_); }
  carry("");
  leaf_->vtepConfigDir->vtepConfigDelAll();
  EXPECT_TRUE(outputsOf(scene_.controller).at("leaf").vteps.empty());
}

}  // namespace
}  // namespace Fabrion::Host

#endif
