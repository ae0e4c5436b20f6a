#pragma once
// The machine of one switch: it turns the derived model into the switch's output. It takes the
// element that bears the switch's name, claims it as a switch element, which is what starts the
// element's own machines, and follows all that stands on it.
//
// The output is also the only store of what was written: a list is parsed, changed by one VLAN and
// written back. So whatever an earlier run left there is examined once, by the pass that runs when
// the element is taken, and from then on each handler reads the model at its key and makes the
// output agree. A port that is a member of a port group has no output of its own; its group has.
//
// The VNIs of the VLANs go to the VTEP configurations: one by one to the oldest, whatever its name,
// and all of them to the one of a VTEP whose status comes.
//
// Sources: SwitchNodeSm.cc for the switch as a whole, SwitchNodeSmInterface.cc for one port of it,
// SwitchNodeSmVni.cc for one VLAN of a port and its VNI, SwitchNodeSmStaticMap.cc for the VNIs that
// the configuration gives to client domains, SwitchNodeSmVtep.cc for VTEPs, and
// SwitchNodeSmConflict.cc for requests that contradict each other.

#include "agent/FabrionSm.h"
#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/VxlanController.h"
#include "platform/BrindleUtils/VlanIdSet.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class SwitchNodeSm : public Velo::Machine<SwitchNodeSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return switchNodeSmType; }

  SwitchNodeSm(const Nimbo::String& switchId,
               const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>& portVlanConfig,
               const Velo::Ptr<VxlanController::VtepConfigDirV2>& vtepConfigDir,
               const Velo::Ptr<const VxlanController::VtepStatusDirV2>& vtepStatusDir,
               const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
               const Velo::Ptr<const Fabrion::Config>& config);
  static Velo::Ptr<SwitchNodeSm> SwitchNodeSmIs(
      const Nimbo::String& switchId,
      const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>& portVlanConfig,
      const Velo::Ptr<VxlanController::VtepConfigDirV2>& vtepConfigDir,
      const Velo::Ptr<const VxlanController::VtepStatusDirV2>& vtepStatusDir,
      const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
      const Velo::Ptr<const Fabrion::Config>& config);

  class VeloVtepStatusDir : public Velo::Reactor<VeloVtepStatusDir, SwitchNodeSm,
                                                 const VxlanController::VtepStatusDirV2> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<VxlanController::VtepStatusDirV2::vtepStatusV2Attribute>(
              call<&SwitchNodeSm::handleVtepConfig>("handleVtepConfig")),
      };
      return rows;
    }
  };

  class VeloNetworkElementCollection
      : public Velo::Reactor<VeloNetworkElementCollection, SwitchNodeSm,
                             Fabrion::NetworkElementCollection> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::NetworkElementCollection::networkElementAttribute>(
              call<&SwitchNodeSm::handleNetworkElement>("handleNetworkElement")),
      };
      return rows;
    }
  };

  class VeloConfig : public Velo::Reactor<VeloConfig, SwitchNodeSm, const Fabrion::Config> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::Config::vlanToVniMapAttribute>(
              follow<&SwitchNodeSm::vlanToVniMap_>("vlanToVniMap"),
              call<&SwitchNodeSm::handleStaticVniMapForDomain>("handleStaticVniMapForDomain")),
      };
      return rows;
    }
  };

  class VeloSwitchElement
      : public Velo::Reactor<VeloSwitchElement, SwitchNodeSm, Fabrion::NetworkElement> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::NetworkElement::vlanAttribute>(call<&SwitchNodeSm::handleVlan>("handleVlan")),
          on<Fabrion::NetworkElement::interfaceAttribute>(
              follow<&SwitchNodeSm::interface_>("interface"),
              call<&SwitchNodeSm::handleInterface>("handleInterface")),
          on<Fabrion::NetworkElement::physicalInterfaceAttribute>(
              follow<&SwitchNodeSm::physicalInterface_>("physicalInterface")),
      };
      return rows;
    }
  };

  class VeloInterface : public Velo::Reactor<VeloInterface, SwitchNodeSm, Fabrion::Interface> {
   public:
    // One VLAN of the port. A VNI that the first handler brings to the model, from the static map
    // of a client domain, comes back to the second as a notification, as every other VNI does.
    class VeloDynVlan
        : public Velo::Reactor<VeloDynVlan, VeloInterface, const Fabrion::DynamicVlan> {
     public:
      static std::span<const Velo::Reaction> reactions() {
        static constexpr Velo::Reaction rows[] = {
            built<&VeloDynVlan::handleInitialized>("handleInitialized"),
            on<Fabrion::DynamicVlan::mappedVniAttribute>(
                call<&VeloDynVlan::handleInterfaceVniMapping>("handleInterfaceVniMapping")),
            on<Fabrion::DynamicVlan::domainAttribute>(
                call<&VeloDynVlan::handleVlanDomain>("handleVlanDomain")),
            cleanup<&VeloDynVlan::doCleanup>("doCleanup"),
        };
        return rows;
      }

      // Domains alone: VNIs that stand on the VLAN already wait for the next VTEP status or change.
      void handleInitialized();
      void handleVlanDomain(const Fabrion::Client::ClientDomain& domain);
      void handleInterfaceVniMapping(U32 vni);
      void doCleanup();

     private:
      const Nimbo::String& intfName() const;
      // Read as 0 when nothing is followed.
      U32 vlanId() const;
      // The interface's entry for the VLAN; null when it has none.
      Velo::Ptr<Fabrion::DynamicVlan> dynVlan() const;
    };

    // The VLAN's reactor is built after the VLAN has been allowed on the port.
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::Interface::vlanAttribute>(call<&VeloInterface::handleVlan>("handleVlan"),
                                                follow<&VeloInterface::dynVlan_>("dynVlan")),
          on<Fabrion::Interface::nativeVlanAttribute>(
              call<&VeloInterface::handleNativeVlan>("handleNativeVlan")),
      };
      return rows;
    }

    void handleVlan(U32 vlan);
    // `vlan` only says where a change was: what is written is read from the interface.
    void handleNativeVlan(U32 vlan);

    VELO_REACTORS(VeloDynVlan, dynVlan, veloDynVlan)
  };

  class VeloPhysicalInterface : public Velo::Reactor<VeloPhysicalInterface, SwitchNodeSm,
                                                     const Fabrion::PhysicalInterface> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::PhysicalInterface::portGroupAttribute>(
              call<&VeloPhysicalInterface::handlePortGroup>("handlePortGroup")),
      };
      return rows;
    }

    void handlePortGroup();
  };

  class VeloVlanToVniMap
      : public Velo::Reactor<VeloVlanToVniMap, SwitchNodeSm, const Fabrion::VlanToVniMap> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::VlanToVniMap::mapAttribute>(
              call<&VeloVlanToVniMap::handleStaticVniMapForVlanRange>(
                  "handleStaticVniMapForVlanRange")),
      };
      return rows;
    }

    // Two empty fields when nothing is followed.
    Fabrion::Client::ClientDomain domainName() const;
    void handleStaticVniMapForVlanRange(const Fabrion::Range& range);
  };

  // The pass: makes the whole output agree with the element, whatever it held before.
  void handleSwitchElement();
  // Whether the port is a member of a port group; false for a port group itself, and while there is
  // no element.
  bool isMemberInterface(const Nimbo::String& name) const;
  void handleInterface(const Nimbo::String& name);
  void handleVlan(U32 vlan);
  void handleNetworkElement(const Nimbo::String& name);
  // `port` is the name of a VTEP.
  void handleVtepConfig(const Nimbo::String& port);
  void handleStaticVniMapForDomain(const Fabrion::Client::ClientDomain& domain);
  void handleVniMapConflict(const Nimbo::String& name, U32 vlan);
  void handleNativeVlanConflict(const Nimbo::String& name, U32 vlan);
  void doCleanup();
  void handleInitialized();

 private:
  // A new set of the VLANs that the output allows on the port.
  Velo::Ptr<BrindleUtils::VlanIdSet> allowedVlans(const Nimbo::String& name) const;
  // The oldest one, whatever its name; null while there is none.
  Velo::Ptr<VxlanController::VtepConfigV2> firstVtepConfig() const;
  // The key of a mapping. Raises RangeException when the VLAN, taken as 16 bits, is above 4094.
  static VxlanController::PortVlanPairV2 pairOf(const Nimbo::String& port, U32 vlan);

  const Nimbo::String switchId_;
  const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1> portVlanConfig_;
  const Velo::Ptr<VxlanController::VtepConfigDirV2> vtepConfigDir_;
  VELO_REACTOR(VeloVtepStatusDir, vtepStatusDir)
  VELO_REACTOR(VeloNetworkElementCollection, networkElementCollection)
  VELO_REACTOR(VeloConfig, config)
  VELO_SETTABLE_REACTOR(VeloSwitchElement, switchElement, SwitchNodeSm::handleSwitchElement)
  VELO_REACTORS(VeloInterface, interface, veloInterface)
  VELO_REACTORS(VeloPhysicalInterface, physicalInterface, veloPhysicalInterface)
  VELO_REACTORS(VeloVlanToVniMap, vlanToVniMap, veloVlanToVniMap)
  bool initialized_ = false;  // nothing sets it
};

Velo::Ptr<SwitchNodeSm> switchNodeSmFactory(
    const Nimbo::String& switchId,
    const Velo::Ptr<ControllerProxyAgent::PortVlanConfigV1>& portVlanConfig,
    const Velo::Ptr<VxlanController::VtepConfigDirV2>& vtepConfigDir,
    const Velo::Ptr<const VxlanController::VtepStatusDirV2>& vtepStatusDir,
    const Velo::Ptr<Fabrion::NetworkElementCollection>& networkElementCollection,
    const Velo::Ptr<const Fabrion::Config>& config);

}  // namespace Fabrion::Agent
