#pragma once
// Why a switch carries what it carries, and why not more: each entry of its outputs with the chain
// of causes back to the lines of the documents, and what requests name and a port does not have
// with what keeps it off. Plain values; WhyText.h and WhyJson.h write them down.
//
// What stands is read from the outputs of the switch, why it stands from the referrers in the model
// (each entry names who keeps it, see entities/Fabrion.h), and where somebody asked for it from the
// fabric. Nothing is worked out again here: what neither explains is said to be left over.

#include <optional>
#include <string>
#include <vector>

#include "host/Controller.h"
#include "host/Fabric.h"
#include "host/Outputs.h"

namespace Fabrion::Host {

enum class CauseKind : U8 {
  portRequest,      // `client` asks for it on port `name` of the switch
  hostnameRequest,  // `client` asks for it on the hosts of hostname `name`
  link,             // the node `name`, of hostname `hostname`, is behind port `port` by `link`
  remoteHost,       // `client` has configured the host `name` behind port `port`
  member,           // port `port` is a member of the group `name`
  port,             // of the switch's own list: port `name` has the VLAN
  staticMap,        // the map of domain `name` has the VNI for the VLAN; those below put it there
  leftOver,         // no document explains it; the model has it under `name`, or under no name
};

// Holds where it stands in the documents (`origin`) and, if it has causes of its own, while at
// least one of them holds. An entry stands while at least one of its causes holds.
struct Cause {
  CauseKind kind = CauseKind::leftOver;
  std::string name = {};
  std::string client = {};
  std::string hostname = {};
  std::string port = {};
  LinkEnd farEnd = {};     // of a link
  NumberRange vlans = {};  // of a static map: the range that has the VLAN,
  NumberRange vnis = {};   // and what it gives them, one each
  Origin origin = {};
  std::vector<Cause> because = {};
};

enum class EntryKind : U8 { allowed, native, vni, carried };

// VLANs that stand on one port for the same causes.
struct WhyEntry {
  EntryKind kind = EntryKind::allowed;
  Vlans vlans = {};            // rising
  std::vector<U32> vnis = {};  // of `vni`: as many as VLANs
  std::string vtep = {};       // of `vni`
  Origin vtepOrigin = {};
  std::vector<Cause> because = {};
};

// The first of them that holds is told.
enum class ReasonKind : U8 {
  member,       // the port is a member of the group `name`, which carries what is asked of the port
  noHost,       // no host has the hostname `name`
  noLink,       // no link joins the port to the host `name`, which is behind `farEnds`
  isSwitch,     // what is behind the port, `name`, is a switch
  nativeAlone,  // it is asked for as native VLAN, not among the VLANs
  notAsked,     // no request names it for this port; `asks` are those for other ports
  noMap,        // domain `name` has no static map, or none of its ranges (`origin`) has the VLAN
  noVtep,       // the switch has no VTEP
  conflict,     // the `claims` contradict each other
  laterVtep,    // changes reach the first VTEP, `name`, alone
  unknown,      // the documents ask for it and the machines have not brought it there
};

// What contradicts each other, or waits: VLANs of a native conflict, VNIs of the others.
struct Claim {
  U32 number = 0;
  std::vector<Cause> because = {};
};

struct Reason {
  ReasonKind kind = ReasonKind::unknown;
  std::string name = {};
  std::string hostname = {};          // of the host or switch `name`
  bool remote = false;                // a client has configured that hostname behind the port
  std::vector<LinkEnd> farEnds = {};  // in the order written
  Origin origin = {};
  std::vector<Cause> asks = {};    // what it keeps off
  std::vector<Claim> claims = {};  // rising
};

// VLANs that a request names and the port does not have, or not as this kind.
struct Absence {
  EntryKind kind = EntryKind::allowed;
  Vlans vlans = {};
  std::string vtep = {};  // where it lacks on one VTEP alone
  std::vector<Reason> reasons = {};
};

struct PortWhy {
  std::string name;
  std::string memberOf = {};  // the group; what follows is empty then, but for a VLAN asked about
  Origin groupOrigin = {};
  std::vector<WhyEntry> entries = {};
  std::vector<Absence> absences = {};
};

struct Explanation {
  std::string switchName;
  std::vector<PortWhy> ports = {};     // ports, then groups, in the order of the document
  std::vector<WhyEntry> carried = {};  // the list of the switch; only where no port is asked about
};

struct WhyQuestion {
  std::string switchName;
  std::optional<std::string> port = {};  // or a port group
  std::optional<U32> vlan = {};          // with a port alone
};

// Answers for a controller to which `fabric` has been applied. A port that is a member of a group
// is answered for with its group behind it; of a port that the switch does not have, nothing is
// known. Raises std::out_of_range for a switch that the fabric does not have. O(size of the fabric,
// and the VLANs of the switch times those who ask for each).
Explanation explain(const Fabric& fabric, const Controller& controller,
                    const WhyQuestion& question);

}  // namespace Fabrion::Host
