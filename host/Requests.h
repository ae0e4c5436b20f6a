#pragma once
// The clients' requests as operations write them, and their machines. A request object and its
// machine have lives of their own: the object stands before the machine and after it, and a new
// object under the name leaves a running machine with the old one.

#include <map>
#include <string>
#include <vector>

#include "entities/Fabrion.h"
#include "entities/FabrionClient.h"
#include "host/Machine.h"
#include "host/Operation.h"

namespace Fabrion::Host {

class Requests {
 public:
  Requests(const Velo::Ptr<NetworkElementCollection>& elements,
           const Velo::Ptr<RequestedResourcesCollection>& resources)
      : elements_(elements), resources_(resources) {}
  Requests(const Requests&) = delete;
  Requests& operator=(const Requests&) = delete;

  // Each raises BadJournal before it changes anything, and passes on what a notification raises.
  void apply(const Op::RequestNew& op);
  void apply(const Op::RequestStart& op, const Velo::VeloModule& module);
  void apply(const Op::RequestStop& op);
  void apply(const Op::VlanAdd& op);
  void apply(const Op::VlanDel& op);
  void apply(const Op::VniAdd& op);
  void apply(const Op::VniDel& op);
  void apply(const Op::DomainAdd& op);
  void apply(const Op::DomainDel& op);
  void apply(const Op::Native& op);
  void apply(const Op::Remote& op);
  void apply(const Op::RemoteDel& op);

  // Drops the machines: those of host requests, then those of port requests, each in the order of
  // their start.
  void stopAll();

  // The machine of a request; none when it does not run.
  Machine machine(const RequestName& name) const;
  // The requests whose machine runs, in the order of their names.
  std::vector<HostRequestName> runningHostRequests() const;
  std::vector<PortRequestName> runningPortRequests() const;

 private:
  template <class Entity>
  struct Request {
    Velo::Ptr<Entity> object;
    Machine machine = {};
    U64 started = 0;  // rises with each start
  };
  using HostRequest = Request<Client::ResourcesForHostname>;
  using PortRequest = Request<Client::ResourcesForSwitchport>;
  template <class Name, class Entity>
  using Named = std::map<Name, Request<Entity>>;

  HostRequest& named(const HostRequestName& name);
  PortRequest& named(const PortRequestName& name);
  void fileNew(const HostRequestName& name);
  void fileNew(const PortRequestName& name);
  Machine made(const HostRequestName& name, const std::optional<std::string>& ownName,
               const Velo::VeloModule& module);
  Machine made(const PortRequestName& name, const std::optional<std::string>& ownName,
               const Velo::VeloModule& module);
  Velo::Ptr<Client::DynamicVlan> vlan(const RequestName& name, U32 vlan);

  const Velo::Ptr<NetworkElementCollection> elements_;
  const Velo::Ptr<RequestedResourcesCollection> resources_;
  Named<HostRequestName, Client::ResourcesForHostname> hostRequests_;
  Named<PortRequestName, Client::ResourcesForSwitchport> portRequests_;
  U64 starts_ = 0;
};

}  // namespace Fabrion::Host
