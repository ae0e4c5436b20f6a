#pragma once
// The machine of one port of a switch element. It makes `networkElement` of the port the union of
// `configuredElement` and `discoveredElement`, and copies what each far element requires, its VLANs
// with their domains and VNIs, onto the port under the far element's name.
//
// The copy is made on a switch port only, and only from a far element that is no switch. So of a
// link between host and switch the switch's port gets copies, and of a link between two switches
// neither. PortGroupSm is the sibling that copies on from a member port to its group; the two
// differ on purpose.

#include "agent/FabrionSm.h"
#include "entities/Fabrion.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class PhysicalInterfaceSm : public Velo::Machine<PhysicalInterfaceSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return physicalInterfaceSmType; }

  PhysicalInterfaceSm(const Nimbo::String& intfName,
                      const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface);
  static Velo::Ptr<PhysicalInterfaceSm> PhysicalInterfaceSmIs(
      const Nimbo::String& intfName,
      const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface);
  // Whether the machine was made for these arguments.
  bool isFor(const Nimbo::String& intfName,
             const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface) const;

  class VeloPhysicalInterface : public Velo::Reactor<VeloPhysicalInterface, PhysicalInterfaceSm,
                                                     Fabrion::PhysicalInterface> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::Interface::isSwitchInterfaceAttribute>(
              call<&PhysicalInterfaceSm::handleIsSwitchInterface>("handleIsSwitchInterface")),
          on<Fabrion::PhysicalInterface::networkElementAttribute>(
              follow<&PhysicalInterfaceSm::networkElement_>("networkElement"),
              call<&PhysicalInterfaceSm::handleNetworkElement>("handleNetworkElement")),
          on<Fabrion::PhysicalInterface::configuredElementAttribute>(
              call<&PhysicalInterfaceSm::handleConfiguredElement>("handleConfiguredElement")),
          on<Fabrion::PhysicalInterface::discoveredElementAttribute>(
              call<&PhysicalInterfaceSm::handleDiscoveredElement>("handleDiscoveredElement")),
      };
      return rows;
    }
  };

  class VeloNetworkElement : public Velo::Reactor<VeloNetworkElement, PhysicalInterfaceSm,
                                                  const Fabrion::NetworkElement> {
   public:
    class VeloDynVlan
        : public Velo::Reactor<VeloDynVlan, VeloNetworkElement, const Fabrion::DynamicVlan> {
     public:
      static std::span<const Velo::Reaction> reactions() {
        static constexpr Velo::Reaction rows[] = {
            built<&VeloDynVlan::handleInitialized>("handleInitialized"),
            on<Fabrion::DynamicVlan::mappedVniAttribute>(
                call<&VeloDynVlan::handleDynamicVniMapping>("handleDynamicVniMapping")),
            on<Fabrion::DynamicVlan::domainAttribute>(
                call<&VeloDynVlan::handleVlanDomain>("handleVlanDomain")),
            cleanup<&VeloDynVlan::doCleanup>("doCleanup"),
        };
        return rows;
      }

      void handleInitialized();
      void handleVlanDomain(const Fabrion::Client::ClientDomain& domain);
      void handleDynamicVniMapping(U32 vni);
      void doCleanup();

     private:
      Velo::Ptr<const Fabrion::NetworkElement> element() const;
      Velo::Ptr<Fabrion::PhysicalInterface> physicalInterface() const;
      const Nimbo::String& intfName() const;
      // Read as 0 when nothing is followed.
      U32 vlanId() const;

      bool initialized_ = false;  // written only
    };

    // The interface's VLAN stands before the VLAN's reactor is built on it, and has lost this
    // element's name before that reactor cleans up, so here the handler comes first.
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::NetworkElement::vlanAttribute>(
              call<&VeloNetworkElement::handleVlan>("handleVlan"),
              follow<&VeloNetworkElement::dynVlan_>("dynVlan")),
          on<Fabrion::NetworkElement::isSwitchElementAttribute>(
              call<&VeloNetworkElement::handleIsSwitchElement>("handleIsSwitchElement")),
          cleanup<&VeloNetworkElement::handleCleanup>("handleCleanup"),
      };
      return rows;
    }

    void handleIsSwitchElement();
    void handleVlan(U32 vlan);
    void handleCleanup();

    VELO_REACTORS(VeloDynVlan, dynVlan, veloDynVlan)
  };

  void handleIsSwitchInterface();
  void handleNetworkElement(const Nimbo::String& name);
  void handleConfiguredElement(const Nimbo::String& name);
  void handleDiscoveredElement(const Nimbo::String& name);
  // Traces only: what the machine has done is undone by the cleanup of its reactors.
  void doCleanup();

 private:
  const Nimbo::String intfName_;
  VELO_REACTOR(VeloPhysicalInterface, physicalInterface)
  VELO_REACTORS(VeloNetworkElement, networkElement, veloNetworkElement)
};

Velo::Ptr<PhysicalInterfaceSm> physicalInterfaceSmFactory(
    const Nimbo::String& intfName, const Velo::Ptr<Fabrion::PhysicalInterface>& physicalInterface);

}  // namespace Fabrion::Agent
