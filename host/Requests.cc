#include "host/Requests.h"

#include <algorithm>

#include "host/BadJournal.h"

namespace Fabrion::Host {

namespace {

using Nimbo::String;

std::string wordsFor(const HostRequestName& name) {
  return "[" + inQuotes(name.client) + ", " + inQuotes(name.hostname) + "]";
}

std::string wordsFor(const PortRequestName& name) {
  return "[" + inQuotes(name.client) + ", " + inQuotes(name.switchName) + ", " +
         inQuotes(name.interface) + "]";
}

Client::ClientDomain entityDomain(const DomainName& name) {
  return Client::ClientDomain(String(name.first), String(name.second));
}

template <class Map>
auto& find(Map& requests, const typename Map::key_type& name) {
  const auto found = requests.find(name);
  if (found == requests.end()) throw BadJournal("there is no request " + wordsFor(name));
  return found->second;
}

template <class Map>
void stopInOrder(Map& requests) {
  std::vector<typename Map::mapped_type*> running;
  for (auto& [name, request] : requests) {
    if (request.machine) running.push_back(&request);
  }
  std::sort(running.begin(), running.end(),
            [](const auto* a, const auto* b) { return a->started < b->started; });
  for (auto* request : running) request->machine = Machine();
}

template <class Map>
auto runningIn(const Map& requests) {
  std::vector<typename Map::key_type> names;
  for (const auto& [name, request] : requests) {
    if (request.machine) names.push_back(name);
  }
  return names;
}

}  // namespace

// Names

Requests::HostRequest& Requests::named(const HostRequestName& name) {
  return find(hostRequests_, name);
}
Requests::PortRequest& Requests::named(const PortRequestName& name) {
  return find(portRequests_, name);
}

Velo::Ptr<Client::DynamicVlan> Requests::vlan(const RequestName& name, U32 vlan) {
  return std::visit(
      [&](const auto& one) {
        auto found = named(one).object->vlan(vlan);
        if (!found) {
          throw BadJournal("the request " + wordsFor(one) + " has no VLAN " + std::to_string(vlan));
        }
        return found;
      },
      name);
}

Machine Requests::machine(const RequestName& name) const {
  if (const auto* host = std::get_if<HostRequestName>(&name)) {
    const auto found = hostRequests_.find(*host);
    return found == hostRequests_.end() ? Machine() : found->second.machine;
  }
  const auto found = portRequests_.find(std::get<PortRequestName>(name));
  return found == portRequests_.end() ? Machine() : found->second.machine;
}

std::vector<HostRequestName> Requests::runningHostRequests() const {
  return runningIn(hostRequests_);
}
std::vector<PortRequestName> Requests::runningPortRequests() const {
  return runningIn(portRequests_);
}

// Objects and machines

void Requests::fileNew(const HostRequestName& name) {
  hostRequests_[name].object = Velo::make<Client::ResourcesForHostname>(String(name.hostname));
}

void Requests::fileNew(const PortRequestName& name) {
  portRequests_[name].object = Velo::make<Client::ResourcesForSwitchport>();
}

void Requests::apply(const Op::RequestNew& op) {
  std::visit([&](const auto& name) { fileNew(name); }, op.request);
}

Machine Requests::made(const HostRequestName& name, const std::optional<std::string>& ownName,
                       const Velo::VeloModule& module) {
  const String machineName(ownName.value_or(name.hostname));
  const String client(name.client);
  const Velo::Ptr<const Client::ResourcesForHostname> request = named(name).object;
  return Machine::make(module, "ClientResourcesForHostnameSm",
                       {&machineName, &client, &request, &resources_});
}

Machine Requests::made(const PortRequestName& name, const std::optional<std::string>& /*ownName*/,
                       const Velo::VeloModule& module) {
  const String client(name.client);
  const Client::SwitchInterface interface { String(name.switchName), String(name.interface) };
  const Velo::Ptr<const Client::ResourcesForSwitchport> request = named(name).object;
  return Machine::make(module, "ClientResourcesForSwitchportSm",
                       {&client, &interface, &request, &elements_});
}

void Requests::apply(const Op::RequestStart& op, const Velo::VeloModule& module) {
  std::visit(
      [&](const auto& name) {
        auto& request = named(name);
        if (request.machine) throw BadJournal("the request " + wordsFor(name) + " runs already");
        request.machine = made(name, op.name, module);
        request.started = ++starts_;
      },
      op.request);
}

void Requests::apply(const Op::RequestStop& op) {
  std::visit(
      [&](const auto& name) {
        auto& request = named(name);
        if (!request.machine) throw BadJournal("the request " + wordsFor(name) + " does not run");
        request.machine = Machine();
      },
      op.request);
}

void Requests::stopAll() {
  stopInOrder(hostRequests_);
  stopInOrder(portRequests_);
}

// What is requested

void Requests::apply(const Op::VlanAdd& op) {
  std::visit([&](const auto& name) { named(name).object->vlanIs(op.vlan); }, op.request);
}

void Requests::apply(const Op::VlanDel& op) {
  std::visit([&](const auto& name) { named(name).object->vlanDel(op.vlan); }, op.request);
}

void Requests::apply(const Op::VniAdd& op) { vlan(op.request, op.vlan)->mappedVniIs(op.vni); }
void Requests::apply(const Op::VniDel& op) { vlan(op.request, op.vlan)->mappedVniDel(op.vni); }

void Requests::apply(const Op::DomainAdd& op) {
  vlan(op.request, op.vlan)->domainIs(entityDomain(op.domain));
}
void Requests::apply(const Op::DomainDel& op) {
  vlan(op.request, op.vlan)->domainDel(entityDomain(op.domain));
}

void Requests::apply(const Op::Native& op) {
  Velo::Ptr<Client::UntaggedVlan> vlan;
  if (op.vlan) vlan = Velo::make<Client::UntaggedVlan>(*op.vlan);
  named(op.request).object->nativeVlanIs(vlan);
}

void Requests::apply(const Op::Remote& op) {
  named(op.request).object->remoteHostIs(String(op.hostname), op.value);
}
void Requests::apply(const Op::RemoteDel& op) {
  named(op.request).object->remoteHostDel(String(op.hostname));
}

}  // namespace Fabrion::Host
