#pragma once
// Carries what one client asks for on the hosts of one hostname into the merged request of that
// hostname: the union of what all clients ask for there, from which HostResourcesSm goes on. The
// host agent makes one per client and hostname and ends the request by dropping it.
//
// The merged request is shared: the first client makes it, each client only adds its name, and the
// one whose name is the last to go deletes it. The topology plays no part: a request for a host
// that nobody has seen waits in the collection.
//
// A near copy of ClientResourcesForSwitchportSm, which writes a switch's port instead. Here every
// name written is the client's, and a VLAN that nobody wants any more is cleaned of its VNIs and
// domains before it goes.

#include "agent/FabrionSm.h"
#include "entities/Fabrion.h"
#include "entities/FabrionClient.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class ClientResourcesForHostnameSm : public Velo::Machine<ClientResourcesForHostnameSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return clientResourcesForHostnameSmType; }
  static constexpr bool cleansUpAtEnd = true;

  ClientResourcesForHostnameSm(
      const Nimbo::String& name, const Nimbo::String& client,
      const Velo::Ptr<const Fabrion::Client::ResourcesForHostname>& resourcesForHostname,
      const Velo::Ptr<Fabrion::RequestedResourcesCollection>& allRequestedResourcesCollection);
  // `name` is the hostname once more; only the cleanup of a single VLAN goes by it, all else by the
  // request's own key. Neither entity may be null: a null one ends the process.
  static Velo::Ptr<ClientResourcesForHostnameSm> ClientResourcesForHostnameSmIs(
      const Nimbo::String& name, const Nimbo::String& client,
      const Velo::Ptr<const Fabrion::Client::ResourcesForHostname>& resourcesForHostname,
      const Velo::Ptr<Fabrion::RequestedResourcesCollection>& allRequestedResourcesCollection);

  class VeloResourcesForHostname
      : public Velo::Reactor<VeloResourcesForHostname, ClientResourcesForHostnameSm,
                             const Fabrion::Client::ResourcesForHostname> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          // The handler cleans up through the reactor of a VLAN that has gone, so the reactor goes
          // second.
          on<Fabrion::Client::ResourcesForHostname::vlanAttribute>(
              call<&ClientResourcesForHostnameSm::handleVlan>("handleVlan"),
              follow<&ClientResourcesForHostnameSm::hostVlan_>("hostVlan")),
      };
      return rows;
    }
  };

  // One VLAN of the request.
  class VeloHostVlan : public Velo::Reactor<VeloHostVlan, ClientResourcesForHostnameSm,
                                            const Fabrion::Client::DynamicVlan> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          built<&VeloHostVlan::handleInitialized>("handleInitialized"),
          on<Fabrion::Client::DynamicVlan::mappedVniAttribute>(
              call<&VeloHostVlan::handleMappedVni>("handleMappedVni")),
          on<Fabrion::Client::DynamicVlan::domainAttribute>(
              call<&VeloHostVlan::handleVlanDomain>("handleVlanDomain")),
          cleanup<&VeloHostVlan::doCleanup>("doCleanup"),
      };
      return rows;
    }

    void handleInitialized();
    void handleMappedVni(U32 vni);
    void handleVlanDomain(const Fabrion::Client::ClientDomain& domain);
    void doCleanup();

   private:
    const Nimbo::String& client() const;
    // Read as 0 when nothing is followed.
    U32 vlanId() const;
  };

  void handleVlan(U32 vlanId);
  void handleInitialized();
  // Withdraws the client from the merged request, and deletes what no other client wants. The end
  // of the machine runs it.
  void doCleanup();

 private:
  const Nimbo::String& hostname() const;
  // Null when there is none.
  Velo::Ptr<Fabrion::ResourcesForHostname> mergedRequest() const;

  const Nimbo::String name_;
  const Nimbo::String client_;
  VELO_REACTOR(VeloResourcesForHostname, resourcesForHostname)
  const Velo::Ptr<Fabrion::RequestedResourcesCollection> allRequestedResourcesCollection_;
  VELO_REACTORS(VeloHostVlan, hostVlan, veloHostVlan)
  bool initialized_ = false;
};

Velo::Ptr<ClientResourcesForHostnameSm> clientResourcesForHostnameSmFactory(
    const Nimbo::String& name, const Nimbo::String& client,
    const Velo::Ptr<const Fabrion::Client::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& allRequestedResourcesCollection);

}  // namespace Fabrion::Agent
