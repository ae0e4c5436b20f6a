#pragma once
// The machine of all network elements. It gives each element of the collection its
// NetworkElementSm, hands that machine the topology host of the same name, spreads what is
// requested for a hostname over the elements of that hostname's hosts, and is the only one to
// decide that an element is no longer needed.
//
// An element is needed while it has an entry in `interface` or a `referrer`. That is asked at each
// change of the two and at no other time: an element that never gets either stays.
//
// TopologySm owns one, and asks it for the machine of a host's element.

#include "agent/FabrionSm.h"
#include "elements/NetworkElementSm.h"
#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class NetworkElementCollectionSm : public Velo::Machine<NetworkElementCollectionSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return networkElementCollectionSmType; }

  NetworkElementCollectionSm(
      const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
      const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
      const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus);
  static Velo::Ptr<NetworkElementCollectionSm> NetworkElementCollectionSmIs(
      const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
      const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
      const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus);
  // Whether the machine was made for these arguments.
  bool isFor(const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
             const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
             const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus) const;

  class VeloNetworkElementCollection
      : public Velo::Reactor<VeloNetworkElementCollection, NetworkElementCollectionSm,
                             Fabrion::NetworkElementCollection> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          // The machine first: the cleanup of a reactor relies on it.
          on<Fabrion::NetworkElementCollection::networkElementAttribute>(
              call<&NetworkElementCollectionSm::handleNetworkElement>("handleNetworkElement"),
              follow<&NetworkElementCollectionSm::networkElement_>("networkElement")),
      };
      return rows;
    }
  };

  class VeloRequestedResourcesCollection
      : public Velo::Reactor<VeloRequestedResourcesCollection, NetworkElementCollectionSm,
                             Fabrion::RequestedResourcesCollection> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::RequestedResourcesCollection::resourcesForHostnameAttribute>(
              call<&NetworkElementCollectionSm::handleResourcesForHostname>(
                  "handleResourcesForHostname")),
      };
      return rows;
    }
  };

  class VeloNetworkElement : public Velo::Reactor<VeloNetworkElement, NetworkElementCollectionSm,
                                                  const Fabrion::NetworkElement> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::NetworkElement::interfaceAttribute>(
              call<&VeloNetworkElement::deleteIfNotNecessary>("deleteIfNotNecessary")),
          on<Fabrion::NetworkElement::referrerAttribute>(
              call<&VeloNetworkElement::deleteIfNotNecessary>("deleteIfNotNecessary")),
          cleanup<&VeloNetworkElement::handleCleanup>("handleCleanup"),
      };
      return rows;
    }

    // May take the element out of the collection, and with it this reactor out of the machine.
    void deleteIfNotNecessary();
    void handleCleanup();
  };

  void handleNetworkElement(const Nimbo::String& name);
  void handleResourcesForHostname(const Nimbo::String& hostname);
  void handleInitialized();

 private:
  VELO_REACTOR(VeloNetworkElementCollection, networkElementCollection)
  VELO_REACTOR(VeloRequestedResourcesCollection, requestedResourcesCollection)
  // Read only; TopologySm follows it.
  const Velo::Ptr<const NetworkTopologyAggregatorV3::Status> topologyStatus_;
  VELO_OWNED_MACHINES(NetworkElementSm, networkElementSm)
  VELO_REACTORS(VeloNetworkElement, networkElement, veloNetworkElement)
  bool initialized_ = false;
};

Velo::Ptr<NetworkElementCollectionSm> networkElementCollectionSmFactory(
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<Fabrion::RequestedResourcesCollection>& requestedResourcesCollection,
    const Velo::Ptr<const NetworkTopologyAggregatorV3::Status>& topologyStatus);

}  // namespace Fabrion::Agent
