#pragma once
// Carries what one client asks for on one port of one switch onto that port, where the switch's
// machine reads it: allowed VLANs with their VNIs and domains, a native VLAN, and hosts configured
// behind the port. The host agent makes one per client and port and ends the request by dropping
// it.
//
// Element and port are shared with the topology and with other clients. The machine makes them
// where they are missing, so a request may name what no discovery has seen, and holds what it
// writes under the client's name; domains are the exception, held under their own.
//
// A near copy of ClientResourcesForHostnameSm, which writes the merged request of a hostname
// instead.

#include "agent/FabrionSm.h"
#include "entities/Fabrion.h"
#include "entities/FabrionClient.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class ClientResourcesForSwitchportSm : public Velo::Machine<ClientResourcesForSwitchportSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return clientResourcesForSwitchportSmType; }
  static constexpr bool cleansUpAtEnd = true;

  ClientResourcesForSwitchportSm(
      const Nimbo::String& client, const Fabrion::Client::SwitchInterface& intf,
      const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>& resourcesForSwitchport,
      const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection);
  // Neither entity may be null: a null one ends the process.
  static Velo::Ptr<ClientResourcesForSwitchportSm> ClientResourcesForSwitchportSmIs(
      const Nimbo::String& client, const Fabrion::Client::SwitchInterface& intf,
      const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>& resourcesForSwitchport,
      const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection);

  class VeloResourcesForSwitchport
      : public Velo::Reactor<VeloResourcesForSwitchport, ClientResourcesForSwitchportSm,
                             const Fabrion::Client::ResourcesForSwitchport> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          // The port first, the reactor second: the cleanup of a VLAN's reactor finds what other
          // clients have left of it.
          on<Fabrion::Client::ResourcesForSwitchport::vlanAttribute>(
              call<&ClientResourcesForSwitchportSm::handleVlan>("handleVlan"),
              follow<&ClientResourcesForSwitchportSm::hostVlan_>("hostVlan")),
          on<Fabrion::Client::ResourcesForSwitchport::nativeVlanAttribute>(
              call<&ClientResourcesForSwitchportSm::handleNativeVlan>("handleNativeVlan")),
          on<Fabrion::Client::ResourcesForSwitchport::remoteHostAttribute>(
              call<&ClientResourcesForSwitchportSm::handleRemoteHost>("handleRemoteHost")),
      };
      return rows;
    }
  };

  // One allowed VLAN of the request.
  class VeloHostVlan : public Velo::Reactor<VeloHostVlan, ClientResourcesForSwitchportSm,
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
  void handleNativeVlan();
  void handleRemoteHost(const Nimbo::String& host);
  void handleInitialized();
  // Withdraws the client from the port and the switch, and deletes what nobody else wants. Remote
  // hosts that the request still names stay as they are. The end of the machine runs it.
  void doCleanup();

 private:
  // The switch's element, made if it is missing, or null when it is.
  Velo::Ptr<Fabrion::NetworkElement> elementIs() const;
  Velo::Ptr<Fabrion::NetworkElement> element() const;

  const Nimbo::String client_;
  const Fabrion::Client::SwitchInterface intf_;
  VELO_REACTOR(VeloResourcesForSwitchport, resourcesForSwitchport)
  const Velo::Ptr<Fabrion::NetworkElementCollection> networkElementCollection_;
  VELO_REACTORS(VeloHostVlan, hostVlan, veloHostVlan)
  bool initialized_ = false;
};

Velo::Ptr<ClientResourcesForSwitchportSm> clientResourcesForSwitchportSmFactory(
    const Nimbo::String& client, const Fabrion::Client::SwitchInterface& intf,
    const Velo::Ptr<const Fabrion::Client::ResourcesForSwitchport>& resourcesForSwitchport,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection);

}  // namespace Fabrion::Agent
