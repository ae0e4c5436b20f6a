#include "entities/NetworkTopologyAggregatorV3.h"

#include <algorithm>

namespace NetworkTopologyAggregatorV3 {

Port::Port(Host& host, Nimbo::String name)
    : PortBase(std::move(name)), host_(&host), next_(host.ports_) {
  if (next_ != nullptr) next_->previous_ = this;
  host.ports_ = this;
}

Port::~Port() {
  if (host_ == nullptr) return;
  (previous_ == nullptr ? host_->ports_ : previous_->next_) = next_;
  if (next_ != nullptr) next_->previous_ = previous_;
}

Velo::Ptr<const Host> Port::host() const { return Velo::Ptr<const Host>(host_); }

void Port::hostIsGone() {
  host_ = nullptr;
  portGroup_.forget();
}

Host::~Host() {
  while (ports_ != nullptr) {
    // Letting go of its group may be what keeps the port, or another one, alive.
    const Velo::Ptr<Port> port(ports_);
    ports_ = port->next_;
    if (ports_ != nullptr) ports_->previous_ = nullptr;
    port->hostIsGone();
  }
}

DirectedEdge::DirectedEdge(PortKey fromPort) : fromPort_(std::move(fromPort)) {
  holdHostOf(fromPort_);
}

void DirectedEdge::toPortIs(const PortKey& port, bool value) {
  holdHostOf(port);
  toPort_.is(*this, toPortAttribute::id, port, value);
}

void DirectedEdge::holdHostOf(const PortKey& port) {
  const Velo::Ptr<const Host> host = port->host();
  if (host && std::find(hosts_.begin(), hosts_.end(), host) == hosts_.end()) hosts_.push_back(host);
}

}  // namespace NetworkTopologyAggregatorV3
