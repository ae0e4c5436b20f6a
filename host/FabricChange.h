#pragma once
// Turns the step from one fabric to the next into operations, in an order that the machines can
// take: they act on each event as it comes, queue nothing and look back at nothing, so what belongs
// together has to arrive in sequence.
//
//  * A switch under provisioning is first held by the agent itself, so that no leaving client takes
//    its element away under the others. Its machine is started and announced last: it then makes
//    one pass over a whole element, and what an earlier run left right in the outputs stays
//    untouched.
//  * A host enters the status before it enters the group of its hostname, and leaves the group
//    before it leaves the status.
//  * An edge is filed bare and its far ports are set after: one that is filed with far ports in it
//    is not followed. A far port that is taken off an edge changes nothing, so the edge goes and
//    comes back with those that are left.
//  * An edge that goes takes its port's interface with it unless a remote host is configured there.
//    Clients that still ask for that port are initialized again.
//  * Members leave a port group before the group goes, or their interfaces would keep it. A member
//    whose interface went with its edge or its last client, and that neither brings back, is filed
//    again: a member has an interface.
//  * A native VLAN is off a port while that leaves its port group or loses its edge, and before its
//    client ends: a member that goes with its native VLAN leaves it to the group.
//  * A remote host ends by taking its entry away, never by setting it to false first: each of the
//    two withdraws it, and the second would find nothing. It ends before its client does, since a
//    client that goes leaves its remote hosts behind. Another client with the same remote host on
//    that port claims it again, as they share one entry there, and so does the same client on other
//    ports: its name stands once on the host's element, which goes with it.
//
// Of VNIs, domains and VTEPs (FabricChangeVnis.cc):
//
//  * What is withdrawn goes before anything comes, so that a VNI that changes is no conflict in
//    between, and VNIs and domains go before their VLAN and their client: on a port a client's
//    domains are held by their own names, which a client that goes does not take away.
//  * By that name clients share a domain of one VLAN on one port. When one of them gives it up the
//    others file it again.
//  * A static map that loses or changes a range goes and comes back whole: of a single range that
//    goes the VNIs would stay, and of one that changes they would stay beside the new ones. New
//    ranges alone are set in the map that stands.
//  * Domains with the same first field keep VNIs alive by that one name, and so does a client of
//    that name on a port. One that goes takes the VNIs of the others, and a map that is filed does
//    so on each of its VLANs that is not in its domain. So all domains of such a name leave their
//    VLANs at the end, and come back, and the client's VNIs too.
//  * A member that leaves a port group leaves its VNIs to it. Where VNIs are about, the group goes
//    and comes back with the members that are left.
//  * VTEPs are filed last, when all switches stand: each then gets what is left when the switches
//    behind links have turned out to be none that VLANs come from. One that stands is filed again,
//    which fills it again, where a mapping may wait for that: on a switch whose ports, port groups
//    or edges changed, and on one with several VTEPs, since a single change reaches the first one
//    alone.
//
// What no order achieves: the configuration of a VTEP that leaves the document stays, and stays the
// first one if it was; a VTEP that is not the first keeps mappings that went. A host's name that is
// the first field of a domain keeps VNIs alive as a client's does, and is left to that. VNIs and
// domains that are asked for the hostname of a switch come to the ports that it is linked to until
// it is announced, and stay there where another keeps their VLAN.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/Fabric.h"
#include "host/FabricIndex.h"
#include "host/Operation.h"

namespace Fabrion::Host {

// The name by which the agent holds the elements of switches.
inline constexpr const char* agentReferrer = "fabrion";

class FabricChange {
 public:
  // The operations that lead from the fabric of the last call, at first none, to `next`. Those of
  // the first call start the topology. O(n log n) in the size of both fabrics.
  std::vector<Operation> to(const Fabric& next);

  const Fabric& current() const { return current_; }

 private:
  // Both sides of the step that is under way.
  struct Sides {
    explicit Sides(const Fabric& from, const Fabric& to)
        : current(from), next(to), before(from), after(to) {}
    const Fabric& current;
    const Fabric& next;
    const FabricIndex before;
    const FabricIndex after;

    // Whether the node goes, or changes its hostname: that needs a new host object, whose ports are
    // new too.
    bool replaced(const std::string& node) const;
  };

  void withdrawRequests(const Sides& sides);
  void loseLinks(const Sides& sides);
  void loseEdge(const LinkEnd& port, const Sides& sides);
  void loseNodes(const Sides& sides);
  void loseMembers(const Node& node, const Node* after, const Sides& sides);
  void gainNodes(const Sides& sides);
  void gainOn(const Node& node, const Node& before, const Sides& sides);
  void gainLinks(const Sides& sides);
  void placeRequests(const Sides& sides);
  void startSwitches(const Sides& sides);

  void withdrawRemoteHost(const PortRequest& request, const std::string& hostname,
                          const Sides& sides);
  // Adds what `f` adds, between the end and the return of the native VLANs that stay on the port.
  void withoutNatives(const LinkEnd& port, const Sides& sides, const std::function<void()>& f);
  void loseGroup(const Node& node, const PortGroup& group);
  // Whether the port's interface may have gone in this change and nothing in `next` brings it back.
  bool isForsaken(const LinkEnd& port, const Sides& sides) const;

  // Null for no request there.
  template <class Request>
  void withdrawVnis(const Request& before, const Request* after);
  template <class Request>
  void placeVnis(const Request& after, const Request* before);
  void shareDomains(const Sides& sides);
  void loseMaps(const Sides& sides);
  void gainMaps(const Sides& sides);
  void claimAgain(const Sides& sides);
  void fileVteps(const Sides& sides);

  template <class Op>
  void add(Op op) {
    operations_.push_back(std::move(op));
  }

  Fabric current_;
  bool started_ = false;
  std::set<std::string> switchesMade_;  // a controller makes the outputs of a switch once
  std::map<std::string, std::set<std::string>> vtepsMade_;  // by switch; a configuration stays
  std::set<LinkEnd> edges_;                                 // ports whose edge stands
  std::set<LinkEnd> shaken_;  // ports that lost an edge or a client in this change
  std::set<std::pair<std::string, std::string>> rebuilt_;  // groups that go and come back, by node
  std::vector<Operation> operations_;
};

}  // namespace Fabrion::Host
