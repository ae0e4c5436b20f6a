#pragma once
// The machine of one port group, on any element. It makes the group's own `vlan` and `nativeVlan`
// the union of its members': what stands on a member is copied up to the group under the member's
// name, and nothing flows back.
//
// A sibling of PhysicalInterfaceSm, which copies from a far element to an interface; the two differ
// on purpose in guards, in the order of their cleanup and in which entry they test before they
// delete.

#include "agent/FabrionSm.h"
#include "entities/Fabrion.h"
#include "platform/Velo/Machine.h"

namespace Fabrion::Agent {

class PortGroupSm : public Velo::Machine<PortGroupSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord() { return portGroupSmType; }

  PortGroupSm(const Nimbo::String& intfName, const Velo::Ptr<Fabrion::PortGroup>& portGroup);
  static Velo::Ptr<PortGroupSm> PortGroupSmIs(const Nimbo::String& intfName,
                                              const Velo::Ptr<Fabrion::PortGroup>& portGroup);
  // Whether the machine was made for these arguments.
  bool isFor(const Nimbo::String& intfName, const Velo::Ptr<Fabrion::PortGroup>& portGroup) const;

  class VeloPortGroup : public Velo::Reactor<VeloPortGroup, PortGroupSm, Fabrion::PortGroup> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::PortGroup::memberInterfaceAttribute>(
              follow<&PortGroupSm::memberInterface_>("memberInterface"),
              call<&PortGroupSm::handleMemberInterface>("handleMemberInterface")),
      };
      return rows;
    }
  };

  class VeloMemberInterface
      : public Velo::Reactor<VeloMemberInterface, PortGroupSm, const Fabrion::Interface> {
   public:
    class VeloDynVlan
        : public Velo::Reactor<VeloDynVlan, VeloMemberInterface, const Fabrion::DynamicVlan> {
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
      const Nimbo::String& memberName() const;
      Velo::Ptr<const Fabrion::DynamicVlan> memberEntry() const;
      Velo::Ptr<Fabrion::PortGroup> portGroup() const;
      // Read as 0 when nothing is followed.
      U32 vlanId() const;
    };

    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Fabrion::Interface::vlanAttribute>(
              call<&VeloMemberInterface::handleMemberInterfaceVlan>("handleMemberInterfaceVlan"),
              follow<&VeloMemberInterface::dynVlan_>("dynVlan")),
          on<Fabrion::Interface::nativeVlanAttribute>(
              call<&VeloMemberInterface::handleMemberInterfaceNativeVlan>(
                  "handleMemberInterfaceNativeVlan")),
          cleanup<&VeloMemberInterface::handleCleanup>("handleCleanup"),
      };
      return rows;
    }

    void handleMemberInterfaceVlan(U32 vlan);
    void handleMemberInterfaceNativeVlan(U32 vlan);
    void handleCleanup();

    VELO_REACTORS(VeloDynVlan, dynVlan, veloDynVlan)
  };

  void handleMemberInterface(const Nimbo::String& name);
  void handleInitialized();
  void doCleanup();

 private:
  const Nimbo::String intfName_;
  VELO_REACTOR(VeloPortGroup, portGroup)
  VELO_REACTORS(VeloMemberInterface, memberInterface, veloMemberInterface)
  bool initialized_ = false;  // nothing sets it
};

Velo::Ptr<PortGroupSm> portGroupSmFactory(const Nimbo::String& intfName,
                                          const Velo::Ptr<Fabrion::PortGroup>& portGroup);

}  // namespace Fabrion::Agent
