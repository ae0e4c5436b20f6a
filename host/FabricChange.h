#pragma once
// Turns the step from one fabric to the next into operations, in an order that the machines can
// take: they act on each event as it comes, queue nothing and look back at nothing, so what belongs
// together has to arrive in sequence.
//
//  * A switch under provisioning is first held by the agent itself, so that no leaving client takes
//  its element away under
//    the others. Its machine is started and announced last: it then makes one pass over a whole
//    element, and what an earlier run left right in the outputs stays untouched.
//  * A host enters the status before it enters the group of its hostname, and leaves the group
//  before it leaves the status.
//  * An edge is filed bare and its far ports are set after: one that is filed with far ports in it
//  is not followed. A far
//    port that is taken off an edge changes nothing, so the edge goes and comes back with those
//    that are left.
//  * An edge that goes takes its port's interface with it unless a remote host is configured there.
//  Clients that still
//    ask for that port are initialized again.
//  * Members leave a port group before the group goes, or their interfaces would keep it. A member
//  whose interface went
//    with its edge or its last client, and that neither brings back, is filed again: a member has
//    an interface.
//  * A native VLAN is off a port while that leaves its port group or loses its edge, and before its
//  client ends: a
//    member that goes with its native VLAN leaves it to the group.
//  * A remote host ends by taking its entry away, never by setting it to false first: each of the
//  two withdraws it, and the
//    second would find nothing. It ends before its client does, since a client that goes leaves its
//    remote hosts behind. Another client with the same remote host on that port claims it again, as
//    they share one entry there, and so does the same client on other ports: its name stands once
//    on the host's element, which goes with it.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/Fabric.h"
#include "host/Operation.h"

namespace Fabrion::Host {

// The name by which the agent holds the elements of switches.
inline constexpr const char* agentReferrer = "fabrion";

class FabricChange {
 public:
  // The operations that lead from the fabric of the last call, at first none, to `next`. Those of
  // the first call start the topology. O(size of both fabrics).
  std::vector<Operation> to(const Fabric& next);

  const Fabric& current() const { return current_; }

 private:
  using FarEnds = std::map<LinkEnd, std::vector<LinkEnd>>;

  void withdrawRequests(const Fabric& next);
  void loseLinks(const Fabric& next);
  void loseEdge(const LinkEnd& port, const Fabric& next);
  void loseNodes(const Fabric& next);
  void gainNodes(const Fabric& next);
  void gainLinks(const Fabric& next);
  void placeRequests(const Fabric& next);
  void startSwitches(const Fabric& next);

  void withdrawRemoteHost(const PortRequest& request, const std::string& hostname,
                          const Fabric& next);
  // Adds what `f` adds, between the end and the return of the native VLANs that stay on the port.
  void withoutNatives(const LinkEnd& port, const Fabric& next, const std::function<void()>& f);
  void loseGroup(const Node& node, const PortGroup& group);
  // Whether the port's interface may have gone in this change and nothing in `next` brings it back.
  bool isForsaken(const LinkEnd& port, const Fabric& next) const;
  void leaveHostname(const Node& node, std::set<std::string>& emptied, const Fabric& next);

  template <class Op>
  void add(Op op) {
    operations_.push_back(std::move(op));
  }

  Fabric current_;
  bool started_ = false;
  std::set<std::string> switchesMade_;  // a controller makes the outputs of a switch once
  std::set<LinkEnd> edges_;             // ports whose edge stands
  std::set<LinkEnd> shaken_;            // ports that lost an edge or a client in this change
  std::vector<Operation> operations_;
};

}  // namespace Fabrion::Host
