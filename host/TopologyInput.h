#pragma once
// The discovered topology as operations write it: the status that the machines read, and the names
// under which operations find hosts and edges.
//
// A host's name stands for the object made last under it, filed in the status or not. An edge is
// found by the names of its from-port, since the objects behind these names may have been replaced
// meanwhile.

#include <map>
#include <string>
#include <vector>

#include "entities/NetworkTopologyAggregatorV3.h"
#include "host/Operation.h"

namespace Fabrion::Host {

class TopologyInput {
 public:
  TopologyInput() = default;
  TopologyInput(const TopologyInput&) = delete;
  TopologyInput& operator=(const TopologyInput&) = delete;

  const Velo::Ptr<NetworkTopologyAggregatorV3::Status>& status() const { return status_; }

  // Each raises BadJournal before it changes anything, and passes on what a notification raises.
  void apply(const Op::HostNew& op);
  void apply(const Op::HostEnter& op);
  void apply(const Op::HostLeave& op);
  void apply(const Op::PortAdd& op);
  void apply(const Op::PortDel& op);
  void apply(const Op::GroupAdd& op);
  void apply(const Op::GroupDel& op);
  void apply(const Op::MemberAdd& op);
  void apply(const Op::MemberDel& op);
  void apply(const Op::EdgeAdd& op);
  void apply(const Op::EdgeTo& op);
  void apply(const Op::EdgeToDel& op);
  void apply(const Op::EdgeDel& op);
  void apply(const Op::HostnameAdd& op);
  void apply(const Op::HostnameDel& op);
  void apply(const Op::HostnameHostAdd& op);
  void apply(const Op::HostnameHostDel& op);

 private:
  using HostPtr = Velo::Ptr<NetworkTopologyAggregatorV3::Host>;
  using PortPtr = Velo::Ptr<NetworkTopologyAggregatorV3::Port>;
  using GroupPtr = Velo::Ptr<NetworkTopologyAggregatorV3::PortGroup>;
  using EdgePtr = Velo::Ptr<NetworkTopologyAggregatorV3::DirectedEdge>;
  using EdgeEnd = Velo::Ptr<const NetworkTopologyAggregatorV3::PortBase>;

  struct NamedHost {
    HostPtr object;
    // Ports that edges name and the host does not list. One leaves when the host lists its name.
    std::map<std::string, PortPtr> unlisted = {};
  };

  NamedHost& named(const std::string& host);
  PortPtr listedPort(const NamedHost& host, const std::string& port);
  GroupPtr group(const NamedHost& host, const std::string& group);
  Velo::Ptr<NetworkTopologyAggregatorV3::HostsByHostname> hostname(const std::string& hostname);
  // The port for an edge's end, made where its host does not list it; the host must be known.
  PortPtr edgePort(const PortName& name);
  // The newest edge whose from-port had these names.
  const EdgePtr& edge(const PortName& from);
  // The far end that the edge holds under these names; null when it holds none.
  static EdgeEnd farEnd(const EdgePtr& edge, const PortName& to);

  const Velo::Ptr<NetworkTopologyAggregatorV3::Status> status_ =
      Velo::make<NetworkTopologyAggregatorV3::Status>();
  std::map<std::string, NamedHost> hosts_;
  std::map<PortName, std::vector<EdgePtr>> edges_;  // those in the status, the newest last
};

}  // namespace Fabrion::Host
