#include "host/TopologyInput.h"

#include <algorithm>

#include "host/BadJournal.h"

namespace Fabrion::Host {

namespace {

namespace Topology = NetworkTopologyAggregatorV3;

using Nimbo::String;

std::string wordsFor(const PortName& name) {
  return inQuotes(name.host) + ", " + inQuotes(name.port);
}

}  // namespace

// Names

TopologyInput::NamedHost& TopologyInput::named(const std::string& host) {
  const auto found = hosts_.find(host);
  if (found == hosts_.end()) throw BadJournal("there is no host " + inQuotes(host));
  return found->second;
}

TopologyInput::PortPtr TopologyInput::listedPort(const NamedHost& host, const std::string& port) {
  PortPtr found = host.object->port(String(port));
  if (!found) {
    throw BadJournal("the host " + inQuotes(std::string(host.object->name().view())) +
                     " lists no port " + inQuotes(port));
  }
  return found;
}

TopologyInput::GroupPtr TopologyInput::group(const NamedHost& host, const std::string& group) {
  GroupPtr found = host.object->portGroup(String(group));
  if (!found) {
    throw BadJournal("the host " + inQuotes(std::string(host.object->name().view())) +
                     " has no port group " + inQuotes(group));
  }
  return found;
}

Velo::Ptr<Topology::HostsByHostname> TopologyInput::hostname(const std::string& hostname) {
  auto found = status_->hostsByHostname(String(hostname));
  if (!found) throw BadJournal("there is no hostname " + inQuotes(hostname));
  return found;
}

TopologyInput::PortPtr TopologyInput::edgePort(const PortName& name) {
  NamedHost& host = named(name.host);
  if (PortPtr listed = host.object->port(String(name.port))) return listed;
  PortPtr& unlisted = host.unlisted[name.port];
  if (!unlisted) unlisted = Velo::make<Topology::Port>(*host.object, String(name.port));
  return unlisted;
}

const TopologyInput::EdgePtr& TopologyInput::edge(const PortName& from) {
  const auto found = edges_.find(from);
  if (found == edges_.end()) throw BadJournal("there is no edge from " + wordsFor(from));
  return found->second.back();
}

TopologyInput::EdgeEnd TopologyInput::farEnd(const EdgePtr& edge, const PortName& to) {
  for (const EdgeEnd& port : edge->toPort().keys()) {
    // The edge holds the hosts of its ports, so there is one.
    if (port->name().view() == to.port && port->host()->name().view() == to.host) return port;
  }
  return nullptr;
}

// Hosts

void TopologyInput::apply(const Op::HostNew& op) {
  for (const GroupMembers& group : op.groups) {
    for (const std::string& port : group.ports) {
      if (std::find(op.ports.begin(), op.ports.end(), port) == op.ports.end()) {
        throw BadJournal("the group " + inQuotes(group.group) + " has the member " +
                         inQuotes(port) + ", which is none of the host's ports");
      }
    }
  }
  const HostPtr host = Velo::make<Topology::Host>(String(op.host));
  host->hostnameIs(String(op.hostname));
  for (const std::string& port : op.ports)
    host->portIs(Velo::make<Topology::Port>(*host, String(port)));
  for (const GroupMembers& members : op.groups) {
    const GroupPtr group = Velo::make<Topology::PortGroup>(String(members.group));
    for (const std::string& name : members.ports) {
      const PortPtr port = host->port(String(name));
      port->portGroupIs(group);
      group->memberPortIs(port);
    }
    host->portGroupIs(group);
  }
  hosts_.insert_or_assign(op.host, NamedHost{host});
}

void TopologyInput::apply(const Op::HostEnter& op) { status_->hostIs(named(op.host).object); }

void TopologyInput::apply(const Op::HostLeave& op) { status_->hostDel(String(op.host)); }

void TopologyInput::apply(const Op::PortAdd& op) {
  NamedHost& host = named(op.host);
  host.unlisted.erase(op.port);
  host.object->portIs(Velo::make<Topology::Port>(*host.object, String(op.port)));
}

void TopologyInput::apply(const Op::PortDel& op) {
  const NamedHost& host = named(op.host);
  listedPort(host, op.port);
  host.object->portDel(String(op.port));
}

// Port groups

void TopologyInput::apply(const Op::GroupAdd& op) {
  const NamedHost& host = named(op.host);
  std::vector<PortPtr> ports;
  for (const std::string& port : op.ports) ports.push_back(listedPort(host, port));
  const GroupPtr group = Velo::make<Topology::PortGroup>(String(op.group));
  for (const PortPtr& port : ports) {
    port->portGroupIs(group);
    group->memberPortIs(port);
  }
  host.object->portGroupIs(group);
}

void TopologyInput::apply(const Op::GroupDel& op) {
  const NamedHost& host = named(op.host);
  const GroupPtr group = this->group(host, op.group);
  for (const PortPtr& port : group->memberPort().values()) port->portGroupIs(nullptr);
  host.object->portGroupDel(String(op.group));
}

void TopologyInput::apply(const Op::MemberAdd& op) {
  const NamedHost& host = named(op.host);
  const GroupPtr group = this->group(host, op.group);
  const PortPtr port = listedPort(host, op.port);
  port->portGroupIs(group);
  group->memberPortIs(port);
}

void TopologyInput::apply(const Op::MemberDel& op) {
  const NamedHost& host = named(op.host);
  const GroupPtr group = this->group(host, op.group);
  const PortPtr port = listedPort(host, op.port);
  port->portGroupIs(nullptr);
  group->memberPortDel(String(op.port));
}

// Edges

void TopologyInput::apply(const Op::EdgeAdd& op) {
  named(op.from.host);
  for (const PortName& to : op.to) named(to.host);
  const PortPtr from = edgePort(op.from);
  const EdgePtr edge = Velo::make<Topology::DirectedEdge>(from);
  for (const PortName& to : op.to) edge->toPortIs(edgePort(to), true);
  // Kept in step before anybody is told, since a notification may raise an exception.
  std::vector<EdgePtr>& known = edges_[op.from];
  std::erase_if(known, [&](const EdgePtr& old) { return old->fromPort() == from; });
  known.push_back(edge);
  status_->edgeIs(edge);
}

void TopologyInput::apply(const Op::EdgeTo& op) {
  const EdgePtr edge = this->edge(op.from);
  EdgeEnd to = farEnd(edge, op.to);
  if (!to) to = edgePort(op.to);
  edge->toPortIs(to, op.value);
}

void TopologyInput::apply(const Op::EdgeToDel& op) {
  const EdgePtr edge = this->edge(op.from);
  const EdgeEnd to = farEnd(edge, op.to);
  if (!to)
    throw BadJournal("the edge from " + wordsFor(op.from) + " has no far port " + wordsFor(op.to));
  edge->toPortDel(to);
}

void TopologyInput::apply(const Op::EdgeDel& op) {
  const EdgePtr edge = this->edge(op.from);
  const auto known = edges_.find(op.from);
  known->second.pop_back();
  if (known->second.empty()) edges_.erase(known);
  status_->edgeDel(edge->fromPort());
}

// Hostnames

void TopologyInput::apply(const Op::HostnameAdd& op) {
  std::vector<HostPtr> hosts;
  for (const std::string& host : op.hosts) hosts.push_back(named(host).object);
  const auto group = Velo::make<Topology::HostsByHostname>(String(op.hostname));
  for (const HostPtr& host : hosts) group->hostIs(host);
  status_->hostsByHostnameIs(group);
}

void TopologyInput::apply(const Op::HostnameDel& op) {
  hostname(op.hostname);
  status_->hostsByHostnameDel(String(op.hostname));
}

void TopologyInput::apply(const Op::HostnameHostAdd& op) {
  const auto group = hostname(op.hostname);
  group->hostIs(named(op.host).object);
}

void TopologyInput::apply(const Op::HostnameHostDel& op) {
  hostname(op.hostname)->hostDel(String(op.host));
}

}  // namespace Fabrion::Host
