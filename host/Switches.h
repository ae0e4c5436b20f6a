#pragma once
// What the host keeps for each switch: its outputs, which the switch's machine writes, the status
// of its VTEPs, which operations write, its machine, and the readiness of its mounts.

#include <map>
#include <string>

#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/VxlanController.h"
#include "host/Machine.h"
#include "host/Operation.h"

namespace Fabrion::Host {

class Switches {
 public:
  struct Switch {
    Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1> portVlanConfig;
    Velo::Ptr<VxlanController::VtepConfigDirV2> vtepConfigDir;
    Velo::Ptr<VxlanController::VtepStatusDirV2> vtepStatusDir;
    Machine machine = {};
    U64 started = 0;      // rises with each start
    Machine mounts = {};  // a RemoteMountsStatus, from its first use on
  };
  using ByName = std::map<std::string, Switch>;

  Switches(const Velo::Ptr<NetworkElementCollection>& elements,
           const Velo::Ptr<const Config>& config)
      : elements_(elements), config_(config) {}
  Switches(const Switches&) = delete;
  Switches& operator=(const Switches&) = delete;

  // Each raises BadJournal before it changes anything, and passes on what a notification raises.
  // Outputs with a value out of range raise Velo::RangeException; the switch stands then, with what
  // came before that value.
  void apply(const Op::SwitchNew& op);
  void apply(const Op::SwitchStart& op, const Velo::VeloModule& module);
  void apply(const Op::SwitchAnnounce& op);
  void apply(const Op::SwitchStop& op);
  void apply(const Op::VtepAdd& op);
  void apply(const Op::VtepDel& op);
  void apply(const Op::Mount& op, const Velo::VeloModule& module);
  void apply(const Op::MountUpdate& op, const Velo::VeloModule& module);

  // Drops the machines in the order of their start.
  void stopAll();

  // In the order of their names.
  const ByName& all() const { return switches_; }
  // The machine of a switch; none when it does not run.
  Machine machine(const std::string& name) const;

 private:
  Switch& named(const std::string& name);
  Machine& mounts(const std::string& name, const Velo::VeloModule& module);

  const Velo::Ptr<NetworkElementCollection> elements_;
  const Velo::Ptr<const Config> config_;
  ByName switches_;
  U64 starts_ = 0;
};

}  // namespace Fabrion::Host
