#include "agent/RemoteMountsStatus.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/Velo/Type.h"
#include "tests/support/Listener.h"

namespace Fabrion::Agent {

using Fabrion::Test::Listener;
using Lines = std::vector<std::string>;
using Status = RemoteMountsStatus;

class RemoteMounts : public testing::Test {
 protected:
  struct Flag {
    const char* name;
    void (Status::*is)(bool);
    bool (Status::*get)() const;
  };
  static constexpr Flag flags[] = {
      {"topology", &Status::topologyIs, &Status::topology},
      {"portVlanConfig", &Status::portVlanConfigIs, &Status::portVlanConfig},
      {"dynVtepConfig", &Status::dynVtepConfigIs, &Status::dynVtepConfig},
      {"dynVtepStatus", &Status::dynVtepStatusIs, &Status::dynVtepStatus},
  };
  void allIs(bool value) {
    for (const Flag& flag : flags) ((*status_).*flag.is)(value);
  }

  Velo::Ptr<Status> status_ = Status::create("leaf1");
  Velo::Ptr<Listener> listener_ =
      Listener::on<Status::topologyAttribute, Status::portVlanConfigAttribute,
                   Status::dynVtepConfigAttribute, Status::dynVtepStatusAttribute,
                   Status::readyAttribute>(*status_);
};

TEST_F(RemoteMounts, AllFiveFlagsAreFalseAfterConstruction) {
  EXPECT_EQ(status_->switchId(), "leaf1");
  for (const Flag& flag : flags) EXPECT_FALSE(((*status_).*flag.get)()) << flag.name;
  EXPECT_FALSE(status_->ready());
}

TEST_F(RemoteMounts, ReadyIsTrueExactlyWhenAllFourFlagsAre) {
  for (unsigned mask = 0; mask < 16; ++mask) {
    // Each state is reached with either flag as the last one to change.
    for (unsigned last = 0; last < 4; ++last) {
      const auto status = Status::create("leaf1");
      for (unsigned step = 1; step <= 4; ++step) {
        const unsigned at = (last + step) % 4;
        ((*status).*flags[at].is)((mask & (1U << at)) == 0);
        ((*status).*flags[at].is)((mask & (1U << at)) != 0);
        bool all = true;
        for (const Flag& flag : flags) all = all && ((*status).*flag.get)();
        EXPECT_EQ(status->ready(), all) << mask;
      }
      EXPECT_EQ(status->ready(), mask == 15);
    }
  }
}

TEST_F(RemoteMounts, SettingAFlagToItsValueNotifiesNothingNotEvenAfterAReadySetByHand) {
  status_->readyIs(true);
  listener_->taken();
  allIs(false);
  EXPECT_TRUE(listener_->taken().empty());
  EXPECT_TRUE(status_->ready());
}

TEST_F(RemoteMounts, ReadyIsDeliveredBeforeTheFlagThatCausedIt) {
  for (const Flag& last : flags) {
    allIs(true);
    ((*status_).*last.is)(false);
    listener_->taken();
    listener_->atLine("ready", [&] { EXPECT_TRUE(((*status_).*last.get)() && status_->ready()); });
    ((*status_).*last.is)(true);
    EXPECT_EQ(listener_->taken(), (Lines{"ready", last.name}));
    listener_->atLine("ready", [&] { EXPECT_FALSE(((*status_).*last.get)() || status_->ready()); });
    ((*status_).*last.is)(false);
    EXPECT_EQ(listener_->taken(), (Lines{"ready", last.name}));
  }
}

TEST_F(RemoteMounts, AFlagThatDoesNotChangeReadyNotifiesItselfAlone) {
  status_->topologyIs(true);
  status_->dynVtepStatusIs(true);
  status_->topologyIs(false);
  EXPECT_EQ(listener_->taken(), (Lines{"topology", "dynVtepStatus", "topology"}));
}

TEST_F(RemoteMounts, AReadySetByHandHoldsUntilAFlagChanges) {
  status_->readyIs(true);
  status_->readyIs(true);
  EXPECT_EQ(listener_->taken(), Lines{"ready"});
  EXPECT_TRUE(status_->ready());
  status_->topologyIs(true);
  EXPECT_FALSE(status_->ready());
  EXPECT_EQ(listener_->taken(), (Lines{"ready", "topology"}));
}

TEST_F(RemoteMounts, UpdateReadyRecomputesReadyAndNotifiesNothingElse) {
  status_->updateReady();
  EXPECT_TRUE(listener_->taken().empty());
  status_->readyIs(true);
  status_->updateReady();
  EXPECT_FALSE(status_->ready());
  EXPECT_EQ(listener_->taken(), (Lines{"ready", "ready"}));
  allIs(true);
  status_->readyIs(false);
  listener_->taken();
  status_->updateReady();
  EXPECT_TRUE(status_->ready());
  EXPECT_EQ(listener_->taken(), Lines{"ready"});
}

TEST_F(RemoteMounts, AClientToldOfReadyMayChangeAFlagAgain) {
  allIs(true);
  listener_->taken();
  listener_->atLine("ready", [&] { status_->topologyIs(true); });
  status_->topologyIs(false);
  EXPECT_TRUE(status_->topology() && status_->ready());
  EXPECT_EQ(listener_->taken(), (Lines{"ready", "ready", "topology", "topology"}));
}

TEST_F(RemoteMounts, AClientToldOfReadyMayDropTheStatus) {
  allIs(true);
  listener_->taken();
  Status* const raw = status_.get();
  listener_->atLine("ready", [&] {
    status_ = nullptr;
    listener_->notifierIs(nullptr);
  });
  raw->topologyIs(false);
  EXPECT_EQ(listener_->taken(), Lines{"ready"});
}

TEST_F(RemoteMounts, GenericAccessReadsAndWritesTheFlagsAndReadsTheSwitch) {
  const auto op = [&](const char* name, Velo::AttributeOp operation, void* result, void* value) {
    return Velo::genericIfAttributeOp(result, status_.get(),
                                      Velo::attributeIndex(remoteMountsStatusType, name), operation,
                                      nullptr, value);
  };
  bool value = true;
  for (const Flag& flag : flags) {
    EXPECT_EQ(op(flag.name, Velo::AttributeOp::set, nullptr, &value), 0);
    bool got = false;
    EXPECT_EQ(op(flag.name, Velo::AttributeOp::get, &got, nullptr), 0);
    EXPECT_TRUE(got) << flag.name;
  }
  bool ready = false;
  EXPECT_EQ(op("ready", Velo::AttributeOp::get, &ready, nullptr), 0);
  EXPECT_TRUE(ready);
  value = false;
  EXPECT_EQ(op("ready", Velo::AttributeOp::set, nullptr, &value), 0);
  EXPECT_FALSE(status_->ready());
  EXPECT_EQ(op("updateReady", Velo::AttributeOp::invoke, nullptr, nullptr), 0);
  EXPECT_TRUE(status_->ready());
  Nimbo::String id = "leaf2";
  EXPECT_EQ(op("switchId", Velo::AttributeOp::set, nullptr, &id), 1);
  EXPECT_EQ(op("switchId", Velo::AttributeOp::get, &id, nullptr), 0);
  EXPECT_EQ(id, "leaf1");
  EXPECT_EQ(op("topology", Velo::AttributeOp::count, nullptr, nullptr), 1);
  EXPECT_EQ(op("switch", Velo::AttributeOp::get, nullptr, nullptr), 2);
}

TEST_F(RemoteMounts, AttributesAreNumberedInDeclaredOrder) {
  U32 number = 0;
  for (const char* name : {"switchId", "topology", "portVlanConfig", "dynVtepConfig",
                           "dynVtepStatus", "ready", "updateReady"}) {
    EXPECT_EQ(Velo::attributeIndex(remoteMountsStatusType, name), number++);
  }
  EXPECT_EQ(remoteMountsStatusType.attributes.size(), number);
}

TEST_F(RemoteMounts, AStatusPrintsWithItsSwitch) {
  std::ostringstream out;
  out << status_;
  EXPECT_EQ(out.str(), "Fabrion::Agent::RemoteMountsStatus(leaf1)");
}

}  // namespace Fabrion::Agent
