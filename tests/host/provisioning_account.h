#pragma once
// An account of provisioning alone, on a fabric that does not change: what clients ask for, static
// maps, VTEPs, port groups and their members, and switch machines that come and go. It says, to the
// port, VLAN and value, what stands in the outputs of each switch, and what would stand there had
// all that is asked for now been asked for at once. Where the two differ, it has noted at the
// operation that parted them by which rule.
//
// Hosts and edges: s1 with ports e1 to e3 and the port group po1, s2 with e1 and e2. Behind s1/e1
// and s2/e1 is h1 with the hostname web, behind s1/e2 is h2 with the hostname db. A port that has
// nothing behind it is there while a client asks for something on it.
//
// WalkModel is the account of the rest: topology, elements, what keeps them alive, native VLANs in
// port groups.

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/Operation.h"
#include "tests/host/in_order.h"

namespace Fabrion::Test {

class ProvisioningAccount {
 public:
  using Json = nlohmann::json;
  using Operations = std::vector<Host::Operation>;
  using Mapping = std::map<std::pair<std::string, U32>, U32>;  // VNI of port and VLAN

  // The outputs of one switch.
  struct Outputs {
    std::map<std::string, std::set<U32>> allowed = {};
    std::map<std::string, U32> native = {};
    std::set<U32> vlans = {};
    InOrder<std::string, Mapping> vteps = {};
    Json json() const;
  };

  // A place in the outputs where the two differ, in words, and the rules noted for it.
  struct Difference {
    std::string place;
    std::set<std::string> rules;
  };

  // The fabric, with nothing asked for; no switch stands yet.
  static Operations fabric();
  ProvisioningAccount();

  // Whether the operation may be done now. Those that this account does not know may not.
  bool allows(const Host::Operation& operation) const;
  void apply(const Host::Operation& operation);

  // Switches whose machine runs and has its element.
  std::vector<std::string> followed() const;
  const Outputs& outputs(const std::string& name) const { return switches_.at(name).outputs; }
  // What stands of the inputs, in an order of its own: the fabric, maps, requests, VTEPs, and the
  // switch machines last.
  Operations standing() const;
  Outputs rebuilt(const std::string& name) const;
  std::vector<Difference> differences(const std::string& name) const;

 private:
  struct Less {
    bool operator()(const Host::DomainName& a, const Host::DomainName& b) const {
      return std::tie(a.first, a.second) < std::tie(b.first, b.second);
    }
  };
  using Names = std::set<std::string>;
  using Domains = std::set<Host::DomainName, Less>;
  struct AskedVlan {
    std::set<U32> vnis = {};
    Domains domains = {};
  };
  using AskedVlans = std::map<U32, AskedVlan>;
  struct Request {
    bool running = false;
    AskedVlans vlans = {};
    std::optional<U32> native = {};
  };
  // Each with the names that keep it.
  struct Vlan {
    Names referrers = {};
    std::map<U32, Names> vnis = {};
    std::map<Host::DomainName, Names, Less> domains = {};
  };
  struct Port {
    std::map<U32, Vlan> vlans = {};
    std::map<U32, Names> native = {};
    Names clients = {};
  };
  struct Switch {
    bool running = false;
    bool taken = false;
    InOrder<std::string, bool> statuses = {};
    InOrder<std::string, Port> ports = {};
    Names members = {};                                   // of po1
    std::set<std::pair<std::string, U32>> followed = {};  // VLANs of ports
    Outputs outputs = {};
    // Rules noted for VLANs in the model, and for places in the outputs.
    std::map<std::pair<std::string, U32>, Names> vniRules = {};
    std::map<std::tuple<std::string, std::string, U32>, Names> rules = {};
  };
  using Ranges = InOrder<std::pair<U32, U32>, Host::NumberRange>;
  struct Apply;
  friend struct Apply;

  // Inputs
  U32 staticVni(const Host::DomainName& domain, U32 vlan) const;
  AskedVlans askedOn(const std::string& name, const std::string& port) const;
  std::set<U32> wantedVnis(const std::string& name, const std::string& port, U32 vlan) const;

  // The model
  bool member(const Switch& one, const std::string& port) const {
    return one.members.contains(port);
  }
  bool onElement(const Switch& one, U32 vlan) const;
  Vlan* vlanOf(Switch& one, const std::string& port, U32 vlan) const;
  void vlanIs(Switch& one, const std::string& port, U32 vlan, const std::string& referrer);
  void vlanDel(Switch& one, const std::string& port, U32 vlan);
  void vlanReferrerDel(Switch& one, const std::string& port, U32 vlan, const std::string& referrer);
  void vniIs(Switch& one, const std::string& port, U32 vlan, U32 vni, const std::string& referrer);
  void vniDel(Switch& one, const std::string& port, U32 vlan, U32 vni);
  void vniReferrerDel(Switch& one, const std::string& port, U32 vlan, U32 vni,
                      const std::string& referrer, const char* rule = nullptr);
  void domainIs(Switch& one, const std::string& port, U32 vlan, const Host::DomainName& domain,
                const std::string& referrer);
  void domainReferrerDel(Switch& one, const std::string& port, U32 vlan,
                         const Host::DomainName& domain, const std::string& referrer);
  void joins(Switch& one, const std::string& port);
  void parts(Switch& one, const std::string& port);
  void memberVlanCleanup(Switch& one, const std::string& port, U32 vlan, const Vlan& of);
  void portDel(Switch& one, const std::string& port);

  // What switch machines do
  void take(Switch& one);
  void stop(Switch& one);
  void handleInterface(Switch& one, const std::string& port);
  void allow(Switch& one, const std::string& port, U32 vlan);
  void list(Switch& one, U32 vlan);
  void handleNative(Switch& one, const std::string& port);
  void handleVlanDomain(Switch& one, const std::string& port, U32 vlan,
                        const Host::DomainName& domain);
  void handleMapping(Switch& one, const std::string& port, U32 vlan, U32 vni);
  void handleVtep(Switch& one, const std::string& vtep);
  void firstIs(Switch& one, const std::string& port, U32 vlan, U32 vni);
  void firstDel(Switch& one, const std::string& port, U32 vlan);
  void mapChanged(const Host::DomainName& domain, const Ranges& before,
                  const std::vector<Host::NumberRange>& ranges);
  void mapGone(const Host::DomainName& domain);

  // What clients do
  void startPort(const Host::PortRequestName& name);
  void stopPort(const Host::PortRequestName& name);
  void portVlanCleanup(Switch& one, const Host::PortRequestName& name, U32 vlan,
                       const AskedVlan& asked);
  void askNative(const Host::PortRequestName& name, const Request& request);
  template <class F>
  void behind(const std::string& hostname, F f);
  void hostVlanIs(const Host::HostRequestName& name, U32 vlan);
  void hostVniIs(const Host::HostRequestName& name, U32 vlan, U32 vni);
  void hostVniDel(const Host::HostRequestName& name, U32 vlan, U32 vni);
  void hostDomainIs(const Host::HostRequestName& name, U32 vlan, const Host::DomainName& domain);
  void hostDomainDel(const Host::HostRequestName& name, U32 vlan, const Host::DomainName& domain);
  void hostVlanDel(const Host::HostRequestName& name, U32 vlan, const AskedVlan& asked);

  void note(Switch& one, const std::string& port, U32 vlan, const char* rule);
  static std::string nameOf(const Host::DomainName& domain) {
    return domain.second.empty() ? domain.first : domain.first + "/" + domain.second;
  }

  bool topologyRuns_ = true;
  std::map<std::string, Switch> switches_;
  InOrder<Host::DomainName, Ranges> maps_;
  std::map<Host::HostRequestName, Request> hostRequests_;
  std::map<Host::PortRequestName, Request> portRequests_;
  std::map<std::string, std::map<U32, Vlan>> merged_;  // by hostname; names are clients
};

}  // namespace Fabrion::Test
