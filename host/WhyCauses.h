#pragma once
// The causes of one VLAN, native VLAN, VNI or domain on one interface of a switch: follows the
// referrers of the model hop by hop, and finds for each the line of the document. Why.cc asks for
// each entry of the outputs, WhyNot.cc for what contradicts itself.

#include <optional>
#include <string>
#include <vector>

#include "entities/Fabrion.h"
#include "host/Why.h"
#include "host/WhyIndex.h"

namespace Fabrion::Host {

// What of a VLAN is asked about: its VNI, its being in a domain, or with neither the VLAN itself.
struct Wanted {
  U32 vlan = 0;
  std::optional<U32> vni = {};
  std::optional<DomainName> domain = {};
};

// What the request asks for on its port, or on its hostname: a cause for each line that asks for
// what is wanted, lines rising; none where no line does. O(lines log n).
std::vector<Cause> asks(const PortRequest& request, const Wanted& wanted);
std::vector<Cause> asks(const HostnameRequest& request, const Wanted& wanted);
// The same of its native VLAN, which it must have.
Cause asksForNative(const PortRequest& request);

Cause causeOf(CauseKind kind, const std::string& name, const std::string& client = {},
              const Origin& origin = {});

std::vector<std::string> sortedNames(const DynamicVlan& vlan, const Wanted& wanted);

class WhyCauses {
 public:
  // All three outlive it. `element` is null where the model has none for the switch.
  WhyCauses(const WhyIndex& index, const Node& node, const NetworkElement* element)
      : index_(index), node_(node), element_(element) {}

  const WhyIndex& index() const { return index_; }
  const Node& node() const { return node_; }

  // A port or a port group in the model; null where it has none of the name.
  const Interface* interface(const std::string& name) const;
  const PhysicalInterface* port(const std::string& name) const;
  // As it stands in the document; null for none.
  const PortGroup* writtenGroup(const std::string& name) const;
  const PortGroup* groupOf(const std::string& port) const;

  // Never empty: what nothing explains is left over.
  std::vector<Cause> of(const std::string& interface, const Wanted& wanted) const;
  std::vector<Cause> ofNative(const std::string& interface, U32 vlan) const;
  std::vector<Cause> ofCarried(U32 vlan) const;

 private:
  // A VNI that a static map gives to a group stands on its members too; told once is enough.
  enum class Maps : bool { leave, tell };

  std::vector<Cause> ofPort(const PhysicalInterface& port, const Wanted& wanted, Maps maps) const;
  std::vector<Cause> ofGroup(const Fabrion::PortGroup& group, const Wanted& wanted) const;
  std::vector<Cause> ofHostname(const NetworkElement& element, const Wanted& wanted) const;
  void addPortRequests(const PhysicalInterface& port, const std::string& referrer,
                       const Wanted& wanted, std::vector<Cause>& causes) const;
  void addFarElement(const PhysicalInterface& port, const std::string& referrer,
                     const Wanted& wanted, std::vector<Cause>& causes) const;
  void addStaticMaps(const Interface& interface, const std::string& referrer, const Wanted& wanted,
                     std::vector<Cause>& causes) const;

  const WhyIndex& index_;
  const Node& node_;
  const NetworkElement* const element_;
};

}  // namespace Fabrion::Host
