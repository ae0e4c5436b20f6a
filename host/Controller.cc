#include "host/Controller.h"

#include <nlohmann/json.hpp>

#include "host/BadJournal.h"
#include "host/MachinePath.h"
#include "host/StateDump.h"

namespace Fabrion::Host {

// Hands each operation to the part that runs it.
struct Controller::Run {
  Controller& on;

  template <class One>
  void operator()(const One& op) const {
    if constexpr (requires { on.topology_.apply(op); }) {
      on.topology_.apply(op);
    } else if constexpr (requires { on.requests_.apply(op); }) {
      on.requests_.apply(op);
    } else if constexpr (requires { on.requests_.apply(op, on.module_); }) {
      on.requests_.apply(op, on.module_);
    } else if constexpr (requires { on.maps_.apply(op); }) {
      on.maps_.apply(op);
    } else if constexpr (requires { on.switches_.apply(op); }) {
      on.switches_.apply(op);
    } else {
      on.switches_.apply(op, on.module_);
    }
  }
  void operator()(const Op::TopologyStart& /*op*/) const { on.startTopology(); }
  void operator()(const Op::TopologyStop& /*op*/) const { on.stopTopology(); }
  void operator()(const Op::ElementHold& op) const { on.hold(op); }
  void operator()(const Op::ElementRelease& op) const { on.release(op); }
  void operator()(const Op::Invoke& op) const {
    on.machineAt(op.machine).invoke(op.handler, op.key);
  }
  void operator()(const Op::Dump& /*op*/) const {}
};

Controller::~Controller() {
  requests_.stopAll();
  switches_.stopAll();
  topologySm_ = Machine();
}

void Controller::apply(const Operation& operation) { std::visit(Run{*this}, operation); }

nlohmann::json Controller::state() const {
  return stateOf({*elements_, *resources_, requests_, switches_, topologySm_});
}

std::string Controller::dump() const { return state().dump(); }

void Controller::startTopology() {
  if (topologySm_) throw BadJournal("the topology runs already");
  const Velo::Ptr<const NetworkTopologyAggregatorV3::Status> status = topology_.status();
  topologySm_ = Machine::make(module_, "TopologySm", {&elements_, &resources_, &status});
}

void Controller::stopTopology() {
  if (!topologySm_) throw BadJournal("the topology does not run");
  topologySm_ = Machine();
}

void Controller::hold(const Op::ElementHold& op) {
  elements_->networkElementIs(Nimbo::String(op.element))
      ->referrerIs(Nimbo::String(op.referrer), true);
}

void Controller::release(const Op::ElementRelease& op) {
  const Velo::Ptr<NetworkElement> element = elements_->networkElement(Nimbo::String(op.element));
  if (!element) throw BadJournal("there is no element " + inQuotes(op.element));
  element->referrerDel(Nimbo::String(op.referrer));
}

Machine Controller::machineAt(const std::string& path) const {
  const std::vector<std::string> names = namesOfPath(path);
  const std::string& kind = names[0];
  Machine found;
  if (kind == "topologySm" && names.size() == 1) {
    found = topologySm_;
  } else if (kind == "networkElementCollectionSm" && names.size() == 1) {
    if (topologySm_) found = topologySm_.owned("networkElementCollectionSm");
  } else if (kind == "networkElementSm") {
    found = elementMachineAt(names);
  } else if (kind == "switchNodeSm" && names.size() == 2) {
    found = switches_.machine(names[1]);
  } else if (kind == "clientResourcesForHostnameSm" && names.size() == 3) {
    found = requests_.machine(HostRequestName{names[1], names[2]});
  } else if (kind == "clientResourcesForSwitchportSm" && names.size() == 4) {
    found = requests_.machine(PortRequestName{names[1], names[2], names[3]});
  }
  if (!found) throw BadJournal("there is no machine " + inQuotes(path));
  return found;
}

Machine Controller::elementMachineAt(const std::vector<std::string>& names) const {
  const Machine collection =
      topologySm_ ? topologySm_.owned("networkElementCollectionSm") : Machine();
  if (!collection || names.size() < 2) return {};
  Machine element = collection.owned("networkElementSm", names[1]);
  if (!element || names.size() == 2) return element;
  const std::string& kind = names[2];
  if (kind == "hostResourcesSm" && names.size() == 3) return element.owned("hostResourcesSm");
  if (names.size() == 4 && (kind == "physicalInterfaceSm" || kind == "portGroupSm")) {
    return element.owned(kind.c_str(), names[3]);
  }
  return {};
}

}  // namespace Fabrion::Host
