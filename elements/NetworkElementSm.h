#pragma once
// The machine of one network element; NetworkElementCollectionSm owns one per element. It keeps the
// element's parts consistent with each other and with the topology host of the same name: ports and
// port groups become entries of `interface`, the host's port groups and their members are mirrored
// into the element, and the VLANs of a switch's ports are collected into the element's `vlan`.
//
// It owns the machines that work on a single part: PhysicalInterfaceSm per port of a switch,
// PortGroupSm per port group of any element, HostResourcesSm while the element has a merged
// request. An element is a switch from the moment SwitchNodeSm sets `isSwitchElement`; that replays
// everything.

#include "agent/FabrionSm.h"
#include "clients/HostResourcesSm.h"
#include "elements/PhysicalInterfaceSm.h"
#include "elements/PortGroupSm.h"
#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class NetworkElementSm : public Velo::Machine<NetworkElementSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return networkElementSmType; }

  NetworkElementSm(const Nimbo::String& name,
                   const Velo::Ptr<Fabrion::NetworkElement>& networkElement);
  static Velo::Ptr<NetworkElementSm> NetworkElementSmIs(
      const Nimbo::String& name, const Velo::Ptr<Fabrion::NetworkElement>& networkElement);
  // Whether the machine was made for these arguments.
  bool isFor(const Nimbo::String& name,
             const Velo::Ptr<Fabrion::NetworkElement>& networkElement) const;
  // The groups of a topology host that is known by then come before the ports are followed.
  void beforeReplay() { handleTopologyPortGroup(); }

  class VeloNetworkElement
      : public Velo::Reactor<VeloNetworkElement, NetworkElementSm, Fabrion::NetworkElement> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::NetworkElement::resourcesForHostnameAttribute>(
              call<&NetworkElementSm::handleResourcesForHostname>("handleResourcesForHostname")),
          on<Fabrion::NetworkElement::isSwitchElementAttribute>(
              call<&NetworkElementSm::handleIsSwitchElement>("handleIsSwitchElement")),
          on<Fabrion::NetworkElement::physicalInterfaceAttribute>(
              follow<&NetworkElementSm::physicalInterface_>("physicalInterface"),
              call<&NetworkElementSm::handlePhysicalInterface>("handlePhysicalInterface")),
          on<Fabrion::NetworkElement::portGroupAttribute>(
              call<&NetworkElementSm::handleNePortGroup>("handleNePortGroup")),
          on<Fabrion::NetworkElement::interfaceAttribute>(
              call<&NetworkElementSm::handleInterface>("handleInterface")),
      };
      return rows;
    }
  };

  class VeloTopologyHost : public Velo::Reactor<VeloTopologyHost, NetworkElementSm,
                                                const NetworkTopologyAggregatorV3::Host> {
   public:
    // The element's group stands before the members of the topology's group are applied to it, so
    // here the handler comes first.
    static std::span<const Velo::Reaction> reactions() {
      constexpr auto handleOne = static_cast<void (NetworkElementSm::*)(const Nimbo::String&)>(
          &NetworkElementSm::handleTopologyPortGroup);
      static constexpr Velo::Reaction rows[] = {
          on<NetworkTopologyAggregatorV3::Host::portGroupAttribute>(
              call<handleOne>("handleTopologyPortGroup"),
              follow<&NetworkElementSm::portGroup_>("portGroup")),
      };
      return rows;
    }
  };

  class VeloPhysicalInterface
      : public Velo::Reactor<VeloPhysicalInterface, NetworkElementSm, Fabrion::PhysicalInterface> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::Interface::vlanAttribute>(
              call<&VeloPhysicalInterface::handleVlan>("handleVlan")),
          cleanup<&VeloPhysicalInterface::handleCleanup>("handleCleanup"),
      };
      return rows;
    }

    void handleVlan(U32 vlan);
    // The port has left the element, or the machine goes.
    void handleCleanup();
  };

  class VeloPortGroup : public Velo::Reactor<VeloPortGroup, NetworkElementSm,
                                             const NetworkTopologyAggregatorV3::PortGroup> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      constexpr auto handleOne = static_cast<void (VeloPortGroup::*)(const Nimbo::String&)>(
          &VeloPortGroup::handleMemberPort);
      constexpr auto handleAll =
          static_cast<void (VeloPortGroup::*)()>(&VeloPortGroup::handleMemberPort);
      static constexpr Velo::Reaction rows[] = {
          built<handleAll>("handleMemberPort"),
          on<NetworkTopologyAggregatorV3::PortGroup::memberPortAttribute>(
              call<handleOne>("handleMemberPort")),
      };
      return rows;
    }

    // Applies one member port of the topology's group to the element, or every one.
    void handleMemberPort(const Nimbo::String& name);
    void handleMemberPort();
  };

  void handleTopologyHost();
  void handleIsSwitchElement();
  void handleResourcesForHostname();
  void handleInterface(const Nimbo::String& name);
  void handlePhysicalInterface(const Nimbo::String& name);
  void handleNePortGroup(const Nimbo::String& name);
  // Mirrors one port group of the topology host into the element; the form without argument does so
  // for every group that the host has and removes none.
  void handleTopologyPortGroup(const Nimbo::String& name);
  void handleTopologyPortGroup();
  void handleInitialized();
  // Empties and ends the element. Called by the owner when the element has left its collection.
  void doCleanup();

 private:
  const Nimbo::String name_;
  VELO_REACTOR(VeloNetworkElement, networkElement)
  VELO_SETTABLE_REACTOR(VeloTopologyHost, topologyHost, NetworkElementSm::handleTopologyHost)
  VELO_OWNED_MACHINES(PhysicalInterfaceSm, physicalInterfaceSm)
  VELO_OWNED_MACHINES(PortGroupSm, portGroupSm)
  VELO_OWNED_MACHINE(HostResourcesSm, hostResourcesSm)
  VELO_REACTORS(VeloPhysicalInterface, physicalInterface, veloPhysicalInterface)
  VELO_REACTORS(VeloPortGroup, portGroup, veloPortGroup)
  bool initialized_ = false;  // no handler asks for it
};

Velo::Ptr<NetworkElementSm> networkElementSmFactory(
    const Nimbo::String& name, const Velo::Ptr<Fabrion::NetworkElement>& networkElement);

}  // namespace Fabrion::Agent
