#pragma once
// The discovered topology: an input, written by whoever discovers it and only read by the machines.
//
// A port knows its host without holding it; a directed edge holds the hosts of its ports, so what
// an edge refers to can be read as long as the edge. A host that ends takes the membership of its
// ports with it, which is the one circle here.

#include <vector>

#include "platform/Velo/Entity.h"

namespace NetworkTopologyAggregatorV3 {

class Host;
class PortGroup;

class PortBase : public Velo::Entity {
  VELO_ENTITY(PortBase, "NetworkTopologyAggregatorV3::PortBase")
  VELO_KEY(Nimbo::String, name)

 public:
  // The host this port is on; null when that host is gone.
  virtual Velo::Ptr<const Host> host() const = 0;

 protected:
  explicit PortBase(Nimbo::String name) : name_(std::move(name)) {}
};

class Port : public PortBase {
  VELO_ENTITY(Port, "NetworkTopologyAggregatorV3::Port")
  // The group this port is a member of; null for none.
  VELO_POINTER(PortGroup, portGroup)

 public:
  Port(Host& host, Nimbo::String name);
  ~Port() override;
  Velo::Ptr<const Host> host() const override;

 private:
  friend class Host;
  void hostIsGone();

  Host* host_;
  Port* next_ = nullptr;  // ports of one host, listed by it or not
  Port* previous_ = nullptr;
};

class PortGroup : public Velo::Entity {
  VELO_ENTITY(PortGroup, "NetworkTopologyAggregatorV3::PortGroup")
  VELO_KEY(Nimbo::String, name)
  VELO_ENTRIES(Nimbo::String, Port, memberPort)

 public:
  explicit PortGroup(Nimbo::String name) : name_(std::move(name)) {}
};

// A host or a switch.
class Host : public Velo::Entity {
  VELO_ENTITY(Host, "NetworkTopologyAggregatorV3::Host")
  VELO_KEY(Nimbo::String, name)
  // By which clients address the host; several hosts may share it.
  VELO_VALUE(Nimbo::String, hostname)
  VELO_ENTRIES(Nimbo::String, Port, port)
  VELO_ENTRIES(Nimbo::String, PortGroup, portGroup)

 public:
  explicit Host(Nimbo::String name) : name_(std::move(name)) {}
  ~Host() override;

 private:
  friend class Port;
  Port* ports_ = nullptr;
};

class HostsByHostname : public Velo::Entity {
  VELO_ENTITY(HostsByHostname, "NetworkTopologyAggregatorV3::HostsByHostname")
  VELO_KEY(Nimbo::String, hostname)
  VELO_ENTRIES(Nimbo::String, const Host, host)

 public:
  explicit HostsByHostname(Nimbo::String hostname) : hostname_(std::move(hostname)) {}
};

// What one port sees. A link stands as two edges, one in each direction.
class DirectedEdge : public Velo::Entity {
  VELO_ENTITY(DirectedEdge, "NetworkTopologyAggregatorV3::DirectedEdge")

 public:
  using PortKey = Velo::Ptr<const PortBase>;

  explicit DirectedEdge(PortKey fromPort);

  // The local end; the edge's key.
  const PortKey& fromPort() const { return fromPort_; }
  const PortKey& veloKey() const { return fromPort_; }

  // The far ends; an entry counts while its value is true.
  struct toPortTag;
  VELO_ATTRIBUTE_KEYED_(PortKey, toPort)
  const auto& toPort() const { return toPort_.map(); }
  const bool* toPort(const PortKey& port) const { return toPort_.at(port); }
  void toPortIs(const PortKey& port, bool value);
  bool toPortDel(const PortKey& port) { return toPort_.del(*this, toPortAttribute::id, port); }

 private:
  void holdHostOf(const PortKey& port);

  const PortKey fromPort_;
  Velo::Values<toPortTag, PortKey, bool> toPort_;
  std::vector<Velo::Ptr<const Host>> hosts_;
};

class Status : public Velo::Entity {
  VELO_ENTITY(Status, "NetworkTopologyAggregatorV3::Status")
  VELO_ENTRIES(Nimbo::String, Host, host)
  VELO_ENTRIES(Velo::Ptr<const PortBase>, DirectedEdge, edge)
  VELO_ENTRIES(Nimbo::String, HostsByHostname, hostsByHostname)
};

}  // namespace NetworkTopologyAggregatorV3
