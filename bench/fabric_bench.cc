// One event through the whole system, in fabrics of different sizes: what it costs must not grow
// with the fabric.

#include <benchmark/benchmark.h>

#include <string>

#include "host/Controller.h"
#include "host/Module.h"

namespace {

namespace Op = Fabrion::Host::Op;
using Fabrion::Host::Controller;
using Fabrion::Host::HostRequestName;
using Fabrion::Host::loadModule;
using Fabrion::Host::PortName;

// Leaves with 32 servers each; server S is plugged into port eS of its leaf.
void build(Controller& controller, int64_t leaves) {
  controller.apply(Op::TopologyStart{});
  for (int64_t l = 0; l < leaves; ++l) {
    const std::string leaf = "leaf" + std::to_string(l);
    Op::HostNew host{leaf, leaf, {}, {}};
    for (int p = 0; p < 32; ++p) host.ports.push_back("e" + std::to_string(p));
    controller.apply(Op::SwitchNew{leaf});
    controller.apply(Op::ElementHold{leaf, "fabrion"});
    controller.apply(host);
    controller.apply(Op::HostEnter{leaf});
    for (int p = 0; p < 32; ++p) {
      const std::string server = leaf + "-s" + std::to_string(p);
      const PortName near{leaf, "e" + std::to_string(p)};
      const PortName far{server, "eth0"};
      controller.apply(Op::HostNew{server, server, {"eth0"}, {}});
      controller.apply(Op::HostEnter{server});
      controller.apply(Op::HostnameAdd{server, {server}});
      controller.apply(Op::EdgeAdd{near});
      controller.apply(Op::EdgeAdd{far});
      controller.apply(Op::EdgeTo{near, far, true});
      controller.apply(Op::EdgeTo{far, near, true});
    }
    controller.apply(Op::SwitchStart{leaf});
    controller.apply(Op::SwitchAnnounce{leaf});
  }
}

// A client adds a VLAN to its request for one host and takes it away again: from the client's call
// to the allowed VLANs of the switch port, both ways.
void hostnameRequestVlan(benchmark::State& state) {
  Controller controller(loadModule(""));
  build(controller, state.range(0));
  const HostRequestName request{"acme", "leaf0-s7"};
  controller.apply(Op::RequestNew{request});
  controller.apply(Op::RequestStart{request});
  for (auto _ : state) {
    controller.apply(Op::VlanAdd{request, 100});
    controller.apply(Op::VlanDel{request, 100});
  }
}
BENCHMARK(hostnameRequestVlan)->Arg(1)->Arg(16)->Arg(128);

// A whole request arrives and leaves.
void hostnameRequest(benchmark::State& state) {
  Controller controller(loadModule(""));
  build(controller, state.range(0));
  const HostRequestName request{"acme", "leaf0-s7"};
  for (auto _ : state) {
    controller.apply(Op::RequestNew{request});
    controller.apply(Op::VlanAdd{request, 100});
    controller.apply(Op::RequestStart{request});
    controller.apply(Op::RequestStop{request});
  }
}
BENCHMARK(hostnameRequest)->Arg(1)->Arg(16)->Arg(128);

}  // namespace
