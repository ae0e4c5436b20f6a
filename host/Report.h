#pragma once
// What came out of a fabric: for each switch what its ports and port groups carry, what its
// VTEPs map to VNIs, and the conflicts that stand. Plain values; ReportText.h and ReportJson.h
// write them down, ReportVnis.h reads the VNIs.
//
// What the ports carry is read from the outputs of the switches and the conflicts from the model.
// The document adds what neither holds: the ports that nobody asked anything for, and the links.

#include <optional>
#include <string>
#include <vector>

#include "host/Controller.h"
#include "host/Fabric.h"

namespace Fabrion::Host {

// What a port or a port group carries.
struct Carried {
  std::string allowedVlans;  // a list such as "10-19,30"; empty for none
  std::optional<U32> nativeVlan;
  bool nativeConflict = false;  // there would be a native VLAN if there were not several

  bool nothing() const { return allowedVlans.empty() && !nativeVlan && !nativeConflict; }
};

struct PortReport {
  std::string name;
  // Of a member of a group nothing: the group carries it all.
  Carried carried;
  std::string group;                     // the one that it is a member of; empty for none
  std::vector<LinkEnd> farEnds;          // by links, in the order written
  std::vector<std::string> remoteHosts;  // that clients have configured behind it, sorted

  bool unused() const {
    return carried.nothing() && group.empty() && farEnds.empty() && remoteHosts.empty();
  }
};

struct GroupReport {
  std::string name;
  Carried carried;
  std::vector<std::string> members;
};

// Neighbouring VLANs of one port that a VTEP maps to neighbouring VNIs.
struct VniRun {
  std::string port;  // or a port group
  NumberRange vlans;
  NumberRange vnis;  // as long as `vlans`
};

struct VtepReport {
  std::string name;
  std::vector<VniRun> mappings;  // by port, in the order of the document, and VLAN
};

// Ports and groups stand in the order of the document.
struct SwitchReport {
  std::string name;
  std::vector<PortReport> ports;
  std::vector<GroupReport> groups;
  std::string vlans;  // all that the switch carries, as a list
  // That the switch has configurations for, the first one first.
  std::vector<VtepReport> vteps = {};
};

struct Asker {
  std::string client;
  std::string port;  // through which the client asks: the port itself, or a member of the group
};

struct AskedVlan {
  U32 vlan = 0;
  // In the order of ports, those of one port by name. Nobody, where a group kept what a member has
  // given up.
  std::vector<Asker> askers;
};

// More than one native VLAN is asked for on one port or port group.
struct NativeVlanConflict {
  std::string switchName;
  std::string interface;
  bool onGroup = false;
  std::vector<AskedVlan> asked;  // rising
};

// Either a client or a domain, the other is empty.
struct VniAsker {
  std::string client;
  std::string domain;  // FIRST/SECOND, whose static map gives the VNI
  std::string host;    // behind the port, for whose hostname the client asks; empty for none
  std::string port;    // the member, on a group; empty on a port
};

struct AskedVni {
  U32 vni = 0;
  // By member, and there by name. Nobody, where a group kept what a member has given up.
  std::vector<VniAsker> askers;
};

// More than one VNI is asked for on one VLAN of one port or port group, so it has none there.
struct VniConflict {
  std::string switchName;
  std::string interface;
  bool onGroup = false;
  U32 vlan = 0;
  std::vector<AskedVni> asked;  // rising
};

struct Report {
  std::vector<SwitchReport> switches;          // in the order of the document
  std::vector<NativeVlanConflict> conflicts;   // in the order of switches, ports, groups
  std::vector<VniConflict> vniConflicts = {};  // in the same order, then by VLAN

  bool noConflicts() const { return conflicts.empty() && vniConflicts.empty(); }
};

// The report on a controller to which `fabric` has been applied. O(size of the fabric and of the
// model).
Report reportOf(const Fabric& fabric, const Controller& controller);

}  // namespace Fabrion::Host
