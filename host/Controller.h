#pragma once
// The controller: holds the roots of the model, the inputs, the outputs and the top machines, and
// runs operations on them. Its parts do the work: TopologyInput, Requests, StaticMaps, Switches.
// Journals, documents and commands stand above it and reach the system through operations alone.

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "entities/Fabrion.h"
#include "host/Machine.h"
#include "host/Operation.h"
#include "host/Requests.h"
#include "host/StaticMaps.h"
#include "host/Switches.h"
#include "host/TopologyInput.h"

namespace Fabrion::Host {

class Controller {
 public:
  // `module` outlives the controller.
  explicit Controller(const Velo::VeloModule& module) : module_(module) {}
  // Drops all machines, host requests, port requests and switches, each in the order of their
  // start, then the topology; then all entities. What an end raises is kept in.
  ~Controller();
  Controller(const Controller&) = delete;
  Controller& operator=(const Controller&) = delete;

  // Runs one operation: exactly its mutator calls, in their order. Raises BadJournal, and has
  // changed nothing then; or what the runtime raises out of a notification (Velo::Exception), and
  // keeps what was written by then. Op::Dump changes nothing: whoever runs it asks for dump().
  void apply(const Operation& operation);

  // The whole state; see StateDump.h.
  nlohmann::json state() const;
  // The same as one line without its line end.
  std::string dump() const;

  // The derived model, and the outputs of the switches by name, for those who report on them.
  const NetworkElementCollection& elements() const { return *elements_; }
  const Switches::ByName& switches() const { return switches_.all(); }

 private:
  struct Run;

  void startTopology();
  void stopTopology();
  void hold(const Op::ElementHold& op);
  void release(const Op::ElementRelease& op);
  // The machine at this path; BadJournal when there is none.
  Machine machineAt(const std::string& path) const;
  Machine elementMachineAt(const std::vector<std::string>& names) const;

  const Velo::VeloModule& module_;
  const Velo::Ptr<NetworkElementCollection> elements_ = Velo::make<NetworkElementCollection>();
  const Velo::Ptr<RequestedResourcesCollection> resources_ =
      Velo::make<RequestedResourcesCollection>();
  StaticMaps maps_;
  TopologyInput topology_;
  Machine topologySm_;
  Switches switches_{elements_, maps_.config()};
  Requests requests_{elements_, resources_};
};

}  // namespace Fabrion::Host
