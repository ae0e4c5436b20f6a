#pragma once
// The static maps from VLANs to VNIs as operations write them: the configuration that the machines
// read.

#include "entities/Fabrion.h"
#include "host/Operation.h"

namespace Fabrion::Host {

class StaticMaps {
 public:
  StaticMaps() = default;
  StaticMaps(const StaticMaps&) = delete;
  StaticMaps& operator=(const StaticMaps&) = delete;

  const Velo::Ptr<Config>& config() const { return config_; }

  // Each raises BadJournal before it changes anything, and passes on what a notification raises.
  void apply(const Op::MapAdd& op);
  void apply(const Op::MapDel& op);
  void apply(const Op::RangeSet& op);
  void apply(const Op::RangeDel& op);

 private:
  Velo::Ptr<VlanToVniMap> named(const DomainName& domain);

  const Velo::Ptr<Config> config_ = Velo::make<Config>();
};

}  // namespace Fabrion::Host
