#pragma once
// What requests name and a port or port group does not have, and the first reason that holds for
// each. Why.cc asks for it beside what the port has.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/Outputs.h"
#include "host/Why.h"
#include "host/WhyCauses.h"

namespace Fabrion::Host {

class WhyNot {
 public:
  // All outlive it. `vteps` are those of the outputs, the first one first.
  WhyNot(const WhyCauses& causes, const SwitchOutputs& outputs,
         const std::vector<std::string>& vteps)
      : causes_(causes), index_(causes.index()), outputs_(outputs), vteps_(vteps) {}

  // About one VLAN, whoever names it; or about what is asked for on this port and on what is behind
  // it. Nothing about a member of a group.
  std::vector<Absence> of(const std::string& interface, std::optional<U32> vlan) const;

 private:
  class Absences;

  // One port, or the members of one group.
  struct Place {
    std::string name;
    std::vector<LinkEnd> ports;
    std::set<std::string> nodes;      // behind them
    std::set<std::string> remotes;    // hostnames configured behind them
    std::set<std::string> hostnames;  // of all that
  };

  Place placeOf(const std::string& interface) const;
  std::set<U32> namedVlans(const Place& place) const;
  std::vector<Reason> notAllowed(const Place& place, U32 vlan, bool everywhere) const;
  void addHostname(const Place& place, const HostnameRequest& request,
                   const std::vector<Cause>& asked, std::vector<Reason>& reasons) const;
  std::vector<Cause> asksElsewhere(const Place& place, U32 vlan) const;
  void addNative(const Place& place, std::optional<U32> vlan, Absences& absences) const;
  void addVnis(const Place& place, U32 vlan, bool askedAbout, Absences& absences) const;
  bool isMapped(const std::string& vtep, const std::string& interface, U32 vlan) const;

  const WhyCauses& causes_;
  const WhyIndex& index_;
  const SwitchOutputs& outputs_;
  const std::vector<std::string>& vteps_;
};

}  // namespace Fabrion::Host
