#pragma once
// Outputs that have to stay while operations run: who looks at them only before and after does not
// see one that goes in between and comes back.

#include <cstddef>
#include <vector>

#include "host/Controller.h"
#include "host/Outputs.h"
#include "platform/Velo/Ptr.h"

namespace Fabrion::Host {

class Interruptions {
 public:
  // Each VLAN, native VLAN and mapping of `staying` stands in the outputs of `controller` now, with
  // its value, and is watched while this object lives. O(size of `staying`); each change of an
  // output costs what it touches: a list its length, all else a look-up.
  Interruptions(const Controller& controller, FabricOutputs staying);
  ~Interruptions();
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

  // How many of them went so far, whether or not they came back; each counts once.
  std::size_t count() const { return count_; }

 private:
  class Follower;
  class OfPorts;
  class OfVteps;
  class OfMappings;

  template <class Made, class... Arguments>
  void follow(Arguments&&... arguments);

  FabricOutputs staying_;  // without those that went
  std::size_t count_ = 0;
  std::vector<Velo::Ptr<Follower>> followers_;
};

}  // namespace Fabrion::Host
