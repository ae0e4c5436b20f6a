#include "host/ReportVnis.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

template <class Collection>
std::vector<std::string> sortedNames(const Collection& collection) {
  std::vector<std::string> names;
  for (const Nimbo::String& name : collection.keys()) names.emplace_back(name.view());
  std::sort(names.begin(), names.end());
  return names;
}

template <class Collection>
std::vector<U32> sortedNumbers(const Collection& collection) {
  std::vector<U32> numbers;
  for (const U32 number : collection.keys()) numbers.push_back(number);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

bool givesVni(const std::vector<StaticMap>& maps, const DomainName& domain, U32 vlan, U32 vni) {
  for (const StaticMap& map : maps) {
    if (map.domain != domain) continue;
    for (const StaticRange& range : map.ranges) {
      if (range.vlans.low <= vlan && vlan <= range.vlans.high) {
        return range.vnis.low + (vlan - range.vlans.low) == vni;
      }
    }
  }
  return false;
}

// Who asks for one VNI of one VLAN on one port. A referrer there is a far element, the first field
// of a domain that a static map serves, or a client of the port itself.
class AskerReading {
 public:
  AskerReading(U32 vlan, U32 vni, const std::vector<StaticMap>& maps)
      : vlan_(vlan), vni_(vni), maps_(maps) {}

  std::vector<VniAsker> on(const PhysicalInterface& port, const std::string& through) const {
    std::vector<VniAsker> askers;
    const Velo::Ptr<const DynamicVlan> entry = port.vlan(vlan_);
    const Velo::Ptr<const Client::MappedVni> asked =
        entry ? entry->mappedVni(vni_) : Velo::Ptr<const Client::MappedVni>();
    if (!asked) return askers;
    for (const std::string& referrer : sortedNames(asked->referrer())) {
      const std::size_t before = askers.size();
      addDomains(*entry, referrer, through, askers);
      addFarClients(port, referrer, through, askers);
      if (askers.size() == before) askers.push_back({referrer, "", "", through});
    }
    return askers;
  }

  void addDomains(const DynamicVlan& entry, const std::string& referrer, const std::string& through,
                  std::vector<VniAsker>& askers) const {
    std::vector<DomainName> domains;
    for (const Client::ClientDomain& key : entry.domain().keys()) {
      DomainName domain{std::string(key.client().view()), std::string(key.domain().view())};
      if (domain.first == referrer && givesVni(maps_, domain, vlan_, vni_)) {
        domains.push_back(std::move(domain));
      }
    }
    std::sort(domains.begin(), domains.end());
    for (const DomainName& domain : domains) {
      askers.push_back({"", toString(domain), "", through});
    }
  }

 private:
  void addFarClients(const PhysicalInterface& port, const std::string& referrer,
                     const std::string& through, std::vector<VniAsker>& askers) const {
    const Velo::Ptr<const NetworkElement> far = port.networkElement(Nimbo::String(referrer));
    const auto resources = far ? far->resourcesForHostname() : nullptr;
    if (!resources) return;
    const Velo::Ptr<const DynamicVlan> entry = resources->vlan(vlan_);
    const Velo::Ptr<const Client::MappedVni> asked =
        entry ? entry->mappedVni(vni_) : Velo::Ptr<const Client::MappedVni>();
    if (!asked) return;
    for (const std::string& client : sortedNames(asked->referrer())) {
      askers.push_back({client, "", referrer, through});
    }
  }

  const U32 vlan_;
  const U32 vni_;
  const std::vector<StaticMap>& maps_;
};

}  // namespace

std::vector<VtepReport> vtepsOf(const VxlanController::VtepConfigDirV2& directory,
                                const std::vector<std::string>& ports) {
  std::map<std::string, std::size_t> places;
  for (const std::string& port : ports) places.emplace(port, places.size());
  std::vector<VtepReport> vteps;
  for (const auto& configured : directory.vtepConfig().items()) {
    using Mapping = std::tuple<std::size_t, std::string, U32, U32>;
    std::vector<Mapping> mappings;
    for (const auto& entry : configured.value()->vlanToVniMap().items()) {
      const std::string port(entry.key().port().view());
      const auto place = places.find(port);
      mappings.emplace_back(place == places.end() ? places.size() : place->second, port,
                            U32{entry.key().vlan().value()}, U32{entry.value().value()});
    }
    std::sort(mappings.begin(), mappings.end());
    VtepReport vtep{std::string(configured.key().view()), {}};
    for (const auto& [place, port, vlan, vni] : mappings) {
      if (!vtep.mappings.empty()) {
        VniRun& last = vtep.mappings.back();
        if (last.port == port && last.vlans.high + 1 == vlan && last.vnis.high + 1 == vni) {
          last.vlans.high = vlan;
          last.vnis.high = vni;
          continue;
        }
      }
      vtep.mappings.push_back({port, {vlan, vlan}, {vni, vni}});
    }
    vteps.push_back(std::move(vtep));
  }
  return vteps;
}

void addVniConflicts(const std::string& switchName, const Interface& interface,
                     const Fabrion::PortGroup* group, const std::vector<StaticMap>& maps,
                     std::vector<VniConflict>& conflicts) {
  const auto* port = dynamic_cast<const PhysicalInterface*>(&interface);
  for (const U32 vlan : sortedNumbers(interface.vlan())) {
    const Velo::Ptr<const DynamicVlan> entry = interface.vlan(vlan);
    if (entry->mappedVni().size() < 2) continue;
    VniConflict conflict{
        switchName, std::string(interface.name().view()), group != nullptr, vlan, {}};
    for (const U32 vni : sortedNumbers(entry->mappedVni())) {
      AskedVni asked{vni, {}};
      const AskerReading reading(vlan, vni, maps);
      if (port != nullptr) asked.askers = reading.on(*port, "");
      if (group != nullptr) {
        for (const std::string& member : sortedNames(group->memberInterface())) {
          const auto own = group->memberInterface(Nimbo::String(member));
          for (VniAsker& asker : reading.on(*own, member)) asked.askers.push_back(std::move(asker));
        }
      }
      conflict.asked.push_back(std::move(asked));
    }
    conflicts.push_back(std::move(conflict));
  }
}

}  // namespace Fabrion::Host
