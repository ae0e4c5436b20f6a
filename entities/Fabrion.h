#pragma once
// The derived model, in which the machines work, and the static configuration.
//
// The host agent creates the two roots, NetworkElementCollection and RequestedResourcesCollection.
// Entries that several parties want carry a set of names, `referrer`: each wanter adds its own, and
// the one who takes the last away deletes the entry; the set itself deletes nothing.
//
// Elements, interfaces and groups refer to each other in circles, so those three have destroy()
// (Velo/Entity.h).

#include "entities/FabrionClient.h"
#include "platform/Velo/Entity.h"

namespace Fabrion {

// Two bounds, lower first, both inclusive.
class Range {
 public:
  Range() = default;
  Range(U32 lower, U32 upper) : lower_(lower), upper_(upper) {}
  U32 lower() const { return lower_; }
  U32 upper() const { return upper_; }
  bool holds(U32 value) const { return lower_ <= value && value <= upper_; }
  U32 hash(U32 seed) const { return Velo::hashU32(upper_, Velo::hashU32(lower_, seed)); }
  friend bool operator==(const Range&, const Range&) = default;

 private:
  U32 lower_ = 0;
  U32 upper_ = 0;
};

// One domain's VLAN ranges and the VNI ranges that they map onto.
class VlanToVniMap : public Velo::Entity {
  VELO_ENTITY(VlanToVniMap, "Fabrion::VlanToVniMap")
  VELO_KEY(Client::ClientDomain, domain)
  VELO_MAP(Range, Range, map)

 public:
  explicit VlanToVniMap(Client::ClientDomain domain) : domain_(std::move(domain)) {}
};

class Config : public Velo::Entity {
  VELO_ENTITY(Config, "Fabrion::Config")
  VELO_ENTRIES(Client::ClientDomain, VlanToVniMap, vlanToVniMap)

 public:
  // The VNI that the domain's map gives the VLAN: as far above the VNI range's lower bound as the
  // VLAN is above its own. 0 when the domain has no map, no range holds the VLAN, or the VNI would
  // pass its range's upper bound or 32 bits. Of overlapping ranges the first filed decides.
  // O(ranges of the domain).
  U32 vniForVlan(const Client::ClientDomain& domain, U32 vlan) const;
};

// A VLAN of an interface, of an element or of a merged request.
class DynamicVlan : public Velo::Entity {
  VELO_ENTITY(DynamicVlan, "Fabrion::DynamicVlan")
  VELO_KEY(U32, vlanId)
  VELO_CHILDREN(U32, Client::MappedVni, mappedVni)
  VELO_CHILDREN(Client::ClientDomain, Client::Domain, domain)
  VELO_NAMES(referrer)

 public:
  explicit DynamicVlan(U32 vlanId) : vlanId_(vlanId) {}
};

// What all clients together ask for on the hosts of one hostname.
class ResourcesForHostname : public Velo::Entity {
  VELO_ENTITY(ResourcesForHostname, "Fabrion::ResourcesForHostname")
  VELO_KEY(Nimbo::String, hostname)
  VELO_CHILDREN(U32, DynamicVlan, vlan)
  VELO_NAMES(referrer)

 public:
  explicit ResourcesForHostname(Nimbo::String hostname) : hostname_(std::move(hostname)) {}
};

class RequestedResourcesCollection : public Velo::Entity {
  VELO_ENTITY(RequestedResourcesCollection, "Fabrion::RequestedResourcesCollection")
  VELO_CHILDREN(Nimbo::String, ResourcesForHostname, resourcesForHostname)
};

// What a port and a port group have in common.
class Interface : public Velo::Entity {
  VELO_ENTITY(Interface, "Fabrion::Interface")
  VELO_KEY(Nimbo::String, name)
  // The interface belongs to a switch under provisioning.
  VELO_VALUE(bool, isSwitchInterface)
  // The VLANs to allow.
  VELO_CHILDREN(U32, DynamicVlan, vlan)
  // The untagged VLANs asked for; more than one is a conflict.
  VELO_CHILDREN(U32, Client::UntaggedVlan, nativeVlan)

 protected:
  explicit Interface(Nimbo::String name) : name_(std::move(name)) {}
};

class NetworkElement;
class PortGroup;

class PhysicalInterface : public Interface {
  VELO_ENTITY(PhysicalInterface, "Fabrion::PhysicalInterface")
  // The group this port is a member of; null for none.
  VELO_POINTER(PortGroup, portGroup)
  // The elements at the far end: those that clients name and those that topology finds together.
  VELO_ENTRIES(Nimbo::String, const NetworkElement, networkElement)
  VELO_ENTRIES(Nimbo::String, const NetworkElement, configuredElement)
  VELO_ENTRIES(Nimbo::String, const NetworkElement, discoveredElement)
  // The port has an edge in the topology.
  VELO_VALUE(bool, discovered)
  // Clients that hold the port; values are true.
  VELO_MAP(Nimbo::String, bool, referrer)

 public:
  explicit PhysicalInterface(Nimbo::String name) : Interface(std::move(name)) {}
  void destroy() { endIs(); }

 protected:
  void veloRelease() override;
};

class PortGroup : public Interface {
  VELO_ENTITY(PortGroup, "Fabrion::PortGroup")
  VELO_ENTRIES(Nimbo::String, PhysicalInterface, memberInterface)

 public:
  explicit PortGroup(Nimbo::String name) : Interface(std::move(name)) {}
  void destroy() { endIs(); }

 protected:
  void veloRelease() override;
};

// A host, a switch or any other node.
class NetworkElement : public Velo::Entity {
  VELO_ENTITY(NetworkElement, "Fabrion::NetworkElement")
  VELO_KEY(Nimbo::String, name)
  // By which clients address the host; empty for none.
  VELO_VALUE(Nimbo::String, hostname)
  // The merged request that applies here; null for none.
  VELO_POINTER(ResourcesForHostname, resourcesForHostname)
  // VLANs that the element requires or, on a switch, carries.
  VELO_CHILDREN(U32, DynamicVlan, vlan)
  // The element is a switch under provisioning.
  VELO_VALUE(bool, isSwitchElement)
  VELO_CHILDREN(Nimbo::String, PhysicalInterface, physicalInterface)
  VELO_CHILDREN(Nimbo::String, PortGroup, portGroup)
  // Ports and port groups together, under their names.
  VELO_ENTRIES(Nimbo::String, Interface, interface)
  // Who keeps the element alive; values are true.
  VELO_MAP(Nimbo::String, bool, referrer)

 public:
  explicit NetworkElement(Nimbo::String name) : name_(std::move(name)) {}
  void destroy() { endIs(); }

 protected:
  void veloRelease() override;
};

class NetworkElementCollection : public Velo::Entity {
  VELO_ENTITY(NetworkElementCollection, "Fabrion::NetworkElementCollection")
  VELO_CHILDREN(Nimbo::String, NetworkElement, networkElement)

 public:
  // Notifies `networkElement` with the key and changes nothing: how a host agent makes a switch
  // machine take an element that stood there before it.
  void networkElementAnnounce(const Nimbo::String& name) {
    notify(networkElementAttribute::id, &name);
  }
};

}  // namespace Fabrion
