#pragma once
// What clients ask for, and the leaves that requests and the derived model have in common.
//
// Clients write their requests; the machines read them. MappedVni, Domain and UntaggedVlan stand in
// the derived model as well, where the machines keep in `referrer` who wants them.

#include <compare>

#include "platform/Velo/Entity.h"
#include "platform/Velo/Hash.h"
#include "platform/Velo/TypeImpl.h"

namespace Fabrion::Client {

// A client's domain: a static map gives its VLANs their VNIs.
class ClientDomain {
 public:
  ClientDomain() = default;
  ClientDomain(Nimbo::String client, Nimbo::String domain)
      : client_(std::move(client)), domain_(std::move(domain)) {}
  // The first field, also the referrer name under which a switch holds a statically mapped VNI.
  const Nimbo::String& client() const { return client_; }
  const Nimbo::String& domain() const { return domain_; }
  // The first field, then "/" and the second unless that is empty.
  Nimbo::String name() const;
  U32 hash(U32 seed) const {
    return Velo::hashBytes(domain_.view(), Velo::hashBytes(client_.view(), seed));
  }
  friend bool operator==(const ClientDomain&, const ClientDomain&) = default;
  friend auto operator<=>(const ClientDomain&, const ClientDomain&) = default;

 private:
  Nimbo::String client_;
  Nimbo::String domain_;
};

std::ostream& operator<<(std::ostream& out, const ClientDomain& domain);

// One port of one switch.
class SwitchInterface {
 public:
  SwitchInterface() = default;
  SwitchInterface(Nimbo::String switchId, Nimbo::String intfName)
      : switchId_(std::move(switchId)), intfName_(std::move(intfName)) {}
  // Name of the switch's network element, and of its port.
  const Nimbo::String& switchId() const { return switchId_; }
  const Nimbo::String& intfName() const { return intfName_; }
  friend bool operator==(const SwitchInterface&, const SwitchInterface&) = default;

 private:
  Nimbo::String switchId_;
  Nimbo::String intfName_;
};

class MappedVni : public Velo::Entity {
  VELO_ENTITY(MappedVni, "Fabrion::Client::MappedVni")
  VELO_KEY(U32, vni)
  VELO_NAMES(referrer)

 public:
  explicit MappedVni(U32 vni) : vni_(vni) {}
};

class Domain : public Velo::Entity {
  VELO_ENTITY(Domain, "Fabrion::Client::Domain")
  VELO_KEY(ClientDomain, domain)
  VELO_NAMES(referrer)

 public:
  explicit Domain(ClientDomain domain) : domain_(std::move(domain)) {}
};

class UntaggedVlan : public Velo::Entity {
  VELO_ENTITY(UntaggedVlan, "Fabrion::Client::UntaggedVlan")
  VELO_KEY(U32, vlanId)
  VELO_NAMES(referrer)

 public:
  explicit UntaggedVlan(U32 vlanId) : vlanId_(vlanId) {}
};

// A VLAN that a client asks for, with its VNIs and domains.
class DynamicVlan : public Velo::Entity {
  VELO_ENTITY(DynamicVlan, "Fabrion::Client::DynamicVlan")
  VELO_KEY(U32, vlanId)
  VELO_CHILDREN(U32, MappedVni, mappedVni)
  VELO_CHILDREN(ClientDomain, Domain, domain)

 public:
  explicit DynamicVlan(U32 vlanId) : vlanId_(vlanId) {}
};

// One client's request for a host known by its hostname.
class ResourcesForHostname : public Velo::Entity {
  VELO_ENTITY(ResourcesForHostname, "Fabrion::Client::ResourcesForHostname")
  VELO_KEY(Nimbo::String, hostname)
  VELO_CHILDREN(U32, DynamicVlan, vlan)

 public:
  explicit ResourcesForHostname(Nimbo::String hostname) : hostname_(std::move(hostname)) {}
};

// One client's request for a port of a switch.
class ResourcesForSwitchport : public Velo::Entity {
  VELO_ENTITY(ResourcesForSwitchport, "Fabrion::Client::ResourcesForSwitchport")

  // The untagged VLAN; null, or VLAN id 0, for none.
  VELO_POINTER(UntaggedVlan, nativeVlan)
  VELO_CHILDREN(U32, DynamicVlan, vlan)
  // Hostnames configured behind the port; an entry counts while its value is true.
  VELO_MAP(Nimbo::String, bool, remoteHost)
};

}  // namespace Fabrion::Client

template <>
struct Velo::TypeName<Fabrion::Client::ClientDomain> {
  static constexpr const char* value = "Fabrion::Client::ClientDomain";
};
