#include "host/VniChecks.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

// The first VLAN of `wanted` that is not among `runs`, which rise.
std::optional<U32> firstMissing(const NumberRange& wanted, const std::vector<WrittenRange>& runs) {
  U32 next = wanted.low;
  auto run = std::partition_point(runs.begin(), runs.end(),
                                  [&](const WrittenRange& each) { return each.range.high < next; });
  for (; run != runs.end() && run->range.low <= next; ++run) {
    if (run->range.high >= wanted.high) return std::nullopt;
    next = run->range.high + 1;
  }
  return next;
}

class VniChecks {
 public:
  VniChecks(const WrittenFabric& fabric, Mistakes& mistakes, Mistakes& warnings)
      : fabric_(fabric), mistakes_(mistakes), warnings_(warnings) {}

  void run() {
    for (const WrittenRequest& request : fabric_.requests) {
      checkVnisOf(request);
      checkDomainsOf(request);
    }
    checkStaticMaps();
    // Half a fabric is not worth a warning.
    if (mistakes_.none()) warn();
  }

 private:
  // A VNI's holder and the VLAN.
  using Held = std::pair<std::string_view, U32>;
  // Switch and port.
  using Port = std::pair<std::string_view, std::string_view>;

  void wrong(Place place, std::string text) { mistakes_.add(place, std::move(text)); }
  std::string standsAt(Place place) const { return " at " + mistakes_.where(place); }

  void checkAsked(const WrittenRequest& request, const WrittenRange& vlans,
                  const std::string& what) {
    if (!request.allVlans) return;
    const auto missing = firstMissing(vlans.range, request.vlans);
    if (!missing) return;
    wrong(vlans.place, what + " for VLAN " + std::to_string(*missing) +
                           ", which the request does not ask for; expected VLANs that stand in "
                           "its 'vlans'");
  }

  void checkVnisOf(const WrittenRequest& request) {
    std::vector<const WrittenVnis*> rising;
    for (const WrittenVnis& each : request.vnis) {
      checkAsked(request, each.vlans, "VNIs");
      rising.push_back(&each);
      std::vector<WrittenRange> vnis = each.vnis;
      std::sort(vnis.begin(), vnis.end(), [](const WrittenRange& a, const WrittenRange& b) {
        return std::tie(a.range.low, a.place) < std::tie(b.range.low, b.place);
      });
      // Ranges of one length give a VLAN the same VNI only where they are the same.
      for (std::size_t i = 1; i < vnis.size(); ++i) {
        if (vnis[i].range != vnis[i - 1].range) continue;
        wrong(vnis[i].place, "VNI " + toString(vnis[i].range) + " stands twice for VLAN " +
                                 toString(each.vlans.range));
      }
    }
    const auto text = [&](U32 vlan, Place first) {
      return "VLAN " + std::to_string(vlan) + " has its VNIs already," + standsAt(first) +
             "; expected all VNIs of a VLAN in one list, as in 100: [7, 8]";
    };
    checkApart(std::move(rising), text);
  }

  // Tells of each entry that has a VLAN in common with another one, the later of the two.
  template <class Entry, class Text>
  void checkApart(std::vector<const Entry*> entries, const Text& text) {
    std::sort(entries.begin(), entries.end(), [](const Entry* a, const Entry* b) {
      return std::tie(a->vlans.range, a->vlans.place) < std::tie(b->vlans.range, b->vlans.place);
    });
    const Entry* highest = nullptr;
    for (const Entry* each : entries) {
      if (highest != nullptr && each->vlans.range.low <= highest->vlans.range.high) {
        const auto [first, last] = std::minmax(highest->vlans.place, each->vlans.place);
        wrong(last, text(each->vlans.range.low, first));
      }
      if (highest == nullptr || highest->vlans.range.high < each->vlans.range.high) highest = each;
    }
  }

  void checkDomainsOf(const WrittenRequest& request) {
    struct Use {
      const DomainName* domain;
      NumberRange vlans;
      Place place;
    };
    std::vector<Use> uses;
    for (const WrittenDomains& each : request.domains) {
      if (each.vlans) {
        // One mistake for a list of VLANs, wherever in it.
        for (const WrittenRange& vlans : *each.vlans) checkAsked(request, vlans, "a domain");
      }
      for (const WrittenDomain& domain : each.domains) {
        for (const auto& [vlans, place] : each.vlans ? *each.vlans : request.vlans) {
          uses.push_back({&domain.name, vlans, domain.place});
        }
      }
    }
    const auto key = [](const Use& use) { return std::tie(*use.domain, use.vlans, use.place); };
    std::sort(uses.begin(), uses.end(),
              [&](const Use& a, const Use& b) { return key(a) < key(b); });
    const Use* highest = nullptr;
    for (const Use& use : uses) {
      const bool same = highest != nullptr && *highest->domain == *use.domain;
      if (same && use.vlans.low <= highest->vlans.high) {
        const auto [first, last] = std::minmax(highest->place, use.place);
        wrong(last, "domain " + shown(toString(*use.domain)) + " stands twice for VLAN " +
                        std::to_string(use.vlans.low) +
                        (first == last ? "" : ", first" + standsAt(first)));
      }
      if (!same || highest->vlans.high < use.vlans.high) highest = &use;
    }
  }

  void checkStaticMaps() {
    std::map<DomainName, Place> seen;
    for (const WrittenStaticMap& map : fabric_.staticMaps) {
      const std::string of = "domain " + shown(toString(map.domain.name));
      const auto [first, isNew] = seen.emplace(map.domain.name, map.domain.place);
      if (!isNew) {
        wrong(map.domain.place, of + " has a static map already," + standsAt(first->second) +
                                    "; expected all its ranges in one map");
      }
      std::vector<const WrittenStaticRange*> ranges;
      for (const WrittenStaticRange& range : map.ranges) ranges.push_back(&range);
      checkApart(std::move(ranges), [&](U32 vlan, Place other) {
        return "VLAN " + std::to_string(vlan) + " of " + of + " is mapped already," +
               standsAt(other) + "; expected ranges without a VLAN in common";
      });
    }
  }

  // ---- Warnings

  // By names that are the first field of a domain: the rest concerns nobody.
  void gatherHolders() {
    std::set<std::string_view> firsts;
    for (const WrittenRequest& request : fabric_.requests) {
      for (const WrittenDomains& each : request.domains) {
        for (const WrittenDomain& domain : each.domains) firsts.insert(domain.name.first);
      }
    }
    // What is asked for a hostname comes to a port under the name of the host there. A remote host
    // is named by its hostname.
    std::map<std::string_view, std::vector<std::string_view>> elements;
    for (const WrittenNode& host : fabric_.hosts) {
      if (firsts.contains(host.name.text)) elements[host.hostname.text].push_back(host.name.text);
    }
    for (const WrittenRequest& request : fabric_.requests) {
      for (const Word& host : request.remoteHosts) {
        auto& names = elements[host.text];
        const bool known = std::find(names.begin(), names.end(), host.text) != names.end();
        if (firsts.contains(host.text) && !known) names.push_back(host.text);
      }
    }
    for (const WrittenRequest& request : fabric_.requests) {
      if (request.vnis.empty()) continue;
      if (request.hostname) {
        const auto names = elements.find(request.hostname->text);
        if (names == elements.end()) continue;
        for (const std::string_view name : names->second) hold(request, name, ofHosts_);
      } else if (firsts.contains(request.client->text)) {
        hold(request, request.client->text, ofClients_);
        hold(request, request.client->text,
             ofPorts_[{request.switchName->text, request.port->text}]);
      }
    }
  }

  static void hold(const WrittenRequest& request, std::string_view name,
                   std::map<Held, Place>& held) {
    for (const WrittenVnis& each : request.vnis) {
      for (U32 vlan = each.vlans.range.low; vlan <= each.vlans.range.high; ++vlan) {
        held.emplace(Held{name, vlan}, each.vlans.place);
      }
    }
  }

  void warn() {
    gatherHolders();
    if (ofClients_.empty() && ofHosts_.empty()) return;
    static const std::map<Held, Place> nobody;
    for (const WrittenRequest& request : fabric_.requests) {
      // What is asked for a hostname may come to any port, a request on a port stays there.
      const std::map<Held, Place>* clients = &ofClients_;
      if (!request.hostname) {
        const auto port = ofPorts_.find(Port{request.switchName->text, request.port->text});
        clients = port == ofPorts_.end() ? &nobody : &port->second;
      }
      for (const WrittenDomains& each : request.domains) {
        for (const WrittenDomain& domain : each.domains) {
          const auto& vlans = each.vlans ? *each.vlans : request.vlans;
          if (!warnOf(domain, vlans, *clients, "client")) warnOf(domain, vlans, ofHosts_, "host");
        }
      }
    }
  }

  bool warnOf(const WrittenDomain& domain, const std::vector<WrittenRange>& runs,
              const std::map<Held, Place>& held, const std::string& what) {
    for (const WrittenRange& run : runs) {
      const auto found = held.lower_bound({domain.name.first, run.range.low});
      if (found == held.end() || found->first.first != domain.name.first) continue;
      if (found->first.second > run.range.high) continue;
      warnings_.add(domain.place,
                    "warning: domain " + shown(toString(domain.name)) + " on VLAN " +
                        std::to_string(found->first.second) + " is named like " + what + " " +
                        shown(domain.name.first) + ", which has VNIs on that VLAN" +
                        standsAt(found->second) +
                        "; the model keeps the VNIs of both alive by that one name, so that the "
                        "one that goes takes those of the other with it");
      return true;
    }
    return false;
  }

  const WrittenFabric& fabric_;
  Mistakes& mistakes_;
  Mistakes& warnings_;
  std::map<Held, Place> ofClients_;  // on all ports
  std::map<Port, std::map<Held, Place>> ofPorts_;
  std::map<Held, Place> ofHosts_;
};

}  // namespace

void checkVnis(const WrittenFabric& fabric, Mistakes& mistakes, Mistakes& warnings) {
  VniChecks(fabric, mistakes, warnings).run();
}

}  // namespace Fabrion::Host
