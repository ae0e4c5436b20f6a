#include "host/StaticMaps.h"

#include "host/BadJournal.h"

namespace Fabrion::Host {

namespace {

Client::ClientDomain entityDomain(const DomainName& name) {
  return Client::ClientDomain(Nimbo::String(name.first), Nimbo::String(name.second));
}

Range entityRange(const NumberRange& range) { return Range(range.low, range.high); }

}  // namespace

Velo::Ptr<VlanToVniMap> StaticMaps::named(const DomainName& domain) {
  auto found = config_->vlanToVniMap(entityDomain(domain));
  if (!found) {
    throw BadJournal("there is no map for the domain [" + inQuotes(domain.first) + ", " +
                     inQuotes(domain.second) + "]");
  }
  return found;
}

void StaticMaps::apply(const Op::MapAdd& op) {
  const auto map = Velo::make<VlanToVniMap>(entityDomain(op.domain));
  for (const RangeMapping& one : op.ranges) map->mapIs(entityRange(one.vlan), entityRange(one.vni));
  config_->vlanToVniMapIs(map);
}

void StaticMaps::apply(const Op::MapDel& op) {
  named(op.domain);
  config_->vlanToVniMapDel(entityDomain(op.domain));
}

void StaticMaps::apply(const Op::RangeSet& op) {
  named(op.domain)->mapIs(entityRange(op.vlan), entityRange(op.vni));
}

void StaticMaps::apply(const Op::RangeDel& op) { named(op.domain)->mapDel(entityRange(op.vlan)); }

}  // namespace Fabrion::Host
