#pragma once
// The fabric in which single events are measured, of F servers, 33 to a leaf, each with links to
// different leaves as far as there are; and the events, each with what takes it back.
//
// All hold what they change by handle: nothing is looked up by name. A client of its own asks for
// what the events add, and its VLAN is in no other request.

#include <memory>
#include <utility>
#include <vector>

#include "bench/fabric/World.h"

namespace Bench {

class Scene {
 public:
  explicit Scene(U32 servers, U32 links = 2);

  // The scene of so many servers with two links each, built at its first use and kept to the end
  // of the program: the largest takes long.
  static Scene& of(U32 servers);

  U32 servers() const { return static_cast<U32>(cables_.size()); }
  U32 leaves() const { return leaves_; }

  // One VLAN with one VNI asked for a server's hostname, and taken back.
  void request(U32 server) { requests_[server]->vlanIs(vlan)->mappedVniIs(vni); }
  void withdraw(U32 server) { requests_[server]->vlanDel(vlan); }

  // The server's first link goes to the leaf before, on which it does not hang, and back. One at a
  // time.
  void moveAway(U32 server);
  void moveBack(U32 server);

  // The VTEP of a leaf goes, and its configuration with it, and comes.
  void vtepGoes(U32 leaf);
  void vtepComes(U32 leaf);
  // Mappings that come with it.
  U64 mappings(U32 leaf) const;

  // The static map of a client that each tenth server has gives its VLANs other VNIs, or the first
  // ones again: it goes and comes back whole, since of a range that changes the old VNIs stay.
  void changeMap(bool other);
  // Pairs of a port and a VLAN whose VNI changes with it.
  U64 mapped() const { return mapped_; }

  // Whether both outputs of all leaves on which the server hangs have what request() asks for;
  // `all` for every one of them, else for any.
  bool reached(U32 server, bool all) const;
  // Whether the spare port, to which moveAway() leads, carries VLANs.
  bool moved(U32 server) const;
  // Whether the first leaf's outputs have mappings with VNIs from `low` to `high`.
  bool hasVnis(U32 low, U32 high) const;

  const World& world() const { return *world_; }

 private:
  static constexpr U32 vlan = 4000;
  static constexpr U32 vni = 14000;

  using PortPtr = Velo::Ptr<Topology::Port>;
  struct Cables {
    PortPtr server;  // its first port
    PortPtr leaf;    // to which that leads
    PortPtr spare;   // to which it moves
    U32 spareLeaf = 0;
    std::vector<std::pair<U32, Nimbo::String>> ends;  // leaves and their ports, of all links
  };

  const Fabrion::Host::Fabric fabric_;
  const U32 leaves_;
  std::unique_ptr<World> world_;
  std::vector<Velo::Ptr<Fabrion::Client::ResourcesForHostname>> requests_;
  std::vector<Cables> cables_;
  Velo::Ptr<Fabrion::VlanToVniMap> map_;
  Fabrion::Range mapVlans_;
  Fabrion::Range mapVnis_;
  U64 mapped_ = 0;
};

}  // namespace Bench
