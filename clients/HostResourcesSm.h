#pragma once
// The last hop of a request for a hostname: copies the merged request, which
// ClientResourcesForHostnameSm fills, onto the `vlan` of one host's element, from where
// PhysicalInterfaceSm carries it to the ports that the host is connected to. NetworkElementSm owns
// one for each element that has a merged request; it calls doCleanup() before it drops it.
//
// The third of three near copies, with ClientResourcesForHostnameSm and
// ClientResourcesForSwitchportSm. What sets this one apart: it writes under the hostname, it holds
// the element that it writes, and its cleanup asks the merged request, not the element, whether an
// entry is still wanted.

#include "agent/FabrionSm.h"
#include "entities/Fabrion.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class HostResourcesSm : public Velo::Machine<HostResourcesSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return hostResourcesSmType; }

  HostResourcesSm(const Nimbo::String& hostname,
                  const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
                  const Velo::Ptr<Fabrion::NetworkElement>& networkElement);
  // `hostname` is the key of the merged request and the name under which all of it is held on the
  // element. Neither entity may be null: a null one ends the process.
  static Velo::Ptr<HostResourcesSm> HostResourcesSmIs(
      const Nimbo::String& hostname,
      const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
      const Velo::Ptr<Fabrion::NetworkElement>& networkElement);
  // Whether the machine was made for these arguments.
  bool isFor(const Nimbo::String& hostname,
             const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
             const Velo::Ptr<Fabrion::NetworkElement>& networkElement) const;

  class VeloResourcesForHostname : public Velo::Reactor<VeloResourcesForHostname, HostResourcesSm,
                                                        const Fabrion::ResourcesForHostname> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::ResourcesForHostname::vlanAttribute>(
              call<&HostResourcesSm::handleVlan>("handleVlan"),
              follow<&HostResourcesSm::hostVlan_>("hostVlan")),
      };
      return rows;
    }
  };

  // One VLAN of the merged request.
  class VeloHostVlan
      : public Velo::Reactor<VeloHostVlan, HostResourcesSm, const Fabrion::DynamicVlan> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          built<&VeloHostVlan::handleInitialized>("handleInitialized"),
          on<Fabrion::DynamicVlan::mappedVniAttribute>(
              call<&VeloHostVlan::handleMappedVni>("handleMappedVni")),
          on<Fabrion::DynamicVlan::domainAttribute>(
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
    const Nimbo::String& hostname() const;
    const Velo::Ptr<Fabrion::NetworkElement>& networkElement() const;
    // Read as 0 when nothing is followed.
    U32 vlanId() const;
  };

  void handleVlan(U32 vlanId);
  void handleInitialized();
  // Takes the hostname off the element's VLANs and deletes those that nobody else wants. The end of
  // the machine does not run it: only the VLANs' own cleanup runs there.
  void doCleanup();

 private:
  const Nimbo::String hostname_;
  VELO_REACTOR(VeloResourcesForHostname, resourcesForHostname)
  const Velo::Ptr<Fabrion::NetworkElement> networkElement_;
  VELO_REACTORS(VeloHostVlan, hostVlan, veloHostVlan)
  bool initialized_ = false;
};

Velo::Ptr<HostResourcesSm> hostResourcesSmFactory(
    const Nimbo::String& hostname,
    const Velo::Ptr<const Fabrion::ResourcesForHostname>& resourcesForHostname,
    const Velo::Ptr<Fabrion::NetworkElement>& networkElement);

}  // namespace Fabrion::Agent
