#include "agent/RemoteMountsStatus.h"

#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Agent {

void RemoteMountsStatus::flagIs(bool& flag, Velo::AttributeId id, bool value) {
  if (flag == value) return;
  const Velo::Ptr<RemoteMountsStatus> self(this);  // a client told of `ready` may drop this object
  flag = value;
  readyIs(allReady());
  notify(id);
}

void RemoteMountsStatus::readyIs(bool v) {
  if (ready_ == v) return;
  ready_ = v;
  notify(readyAttribute::id);
}

void RemoteMountsStatus::updateReady() { readyIs(allReady()); }

struct RemoteMountsStatus::Tables {
  using Row = Velo::TypeImpl<RemoteMountsStatus>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&RemoteMountsStatus::switchId_>("switchId"),
      Row::attribute<&RemoteMountsStatus::topology, &RemoteMountsStatus::topologyIs>("topology"),
      Row::attribute<&RemoteMountsStatus::portVlanConfig, &RemoteMountsStatus::portVlanConfigIs>(
          "portVlanConfig"),
      Row::attribute<&RemoteMountsStatus::dynVtepConfig, &RemoteMountsStatus::dynVtepConfigIs>(
          "dynVtepConfig"),
      Row::attribute<&RemoteMountsStatus::dynVtepStatus, &RemoteMountsStatus::dynVtepStatusIs>(
          "dynVtepStatus"),
      Row::attribute<&RemoteMountsStatus::ready, &RemoteMountsStatus::readyIs>("ready"),
      Row::handler<&RemoteMountsStatus::updateReady>("updateReady"),
  };
};

constinit const Velo::TypeRecord remoteMountsStatusType{
    "Fabrion::Agent::RemoteMountsStatus", RemoteMountsStatus::Tables::attributes,
    &Velo::TypeImpl<RemoteMountsStatus>::genericIfConstructFromCtorArgs<Nimbo::String>, 1};

}  // namespace Fabrion::Agent
