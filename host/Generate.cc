#include "host/Generate.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "host/FabricText.h"
#include "host/SplitMix64.h"

namespace Fabrion::Host {

namespace {

std::string numbered(const char* word, U64 number) { return word + std::to_string(number); }

class Generation {
 public:
  explicit Generation(const GenerateOptions& options)
      : options_(options),
        vlans_(std::min(options.vlans, maxVlan)),
        random_(options.seed),
        portsOfLeaf_(options.leaves) {}

  Fabric run() {
    makeSwitches();
    if (asks()) makeMaps();
    for (U32 server = 0; server < options_.servers; ++server) addServer(server);
    if (asks()) {
      for (U32 leaf = 0; leaf < options_.leaves; ++leaf) askForPort(leaf);
    }
    for (U32 leaf = 0; leaf < options_.leaves; ++leaf) linkToSpines(leaf);
    return std::move(fabric_);
  }

 private:
  enum class Kind : U8 { oneLink, twoLeaves, bonded, plain };

  bool asks() const { return options_.clients > 0 && vlans_ > 0; }

  void makeSwitches() {
    for (U32 leaf = 0; leaf < options_.leaves; ++leaf) {
      const std::string name = numbered("leaf", leaf + 1);
      Node node{name, name, {}, {}};
      node.vteps.push_back({numbered("vtep", leaf + 1)});
      fabric_.switches.push_back(std::move(node));
    }
    for (U32 spine = 0; spine < options_.spines; ++spine) {
      const std::string name = numbered("spine", spine + 1);
      Node node{name, name, {}, {}};
      // A switch has a port, even where there is no leaf to link it to.
      for (U32 leaf = 0; leaf < std::max(options_.leaves, 1U); ++leaf) {
        node.ports.push_back(numbered("e", leaf + 1));
      }
      fabric_.switches.push_back(std::move(node));
    }
  }

  void makeMaps() {
    for (U32 client = 1; client < options_.clients; client += 2) {
      const U32 low = firstVlan(client);
      const U32 high = low + vlans_ - 1;
      fabric_.staticMaps.push_back({domainOf(client), {{{low, high}, {low + up, high + up}}}});
    }
    // As those stand that are read from documents.
    std::sort(fabric_.staticMaps.begin(), fabric_.staticMaps.end(),
              [](const StaticMap& a, const StaticMap& b) {
                return std::tie(a.domain.first, a.domain.second) <
                       std::tie(b.domain.first, b.domain.second);
              });
  }

  LinkEnd newPort(U32 leaf) {
    Node& node = fabric_.switches[leaf];
    node.ports.push_back(numbered("e", ++portsOfLeaf_[leaf]));
    return {node.name, node.ports.back()};
  }

  void addServer(U32 server) {
    const Kind kind = options_.links == 0 ? static_cast<Kind>(random_.below(3)) : Kind::plain;
    Node node{numbered("srv", server + 1), numbered("compute", server + 1), {}, {}};
    const bool shares = options_.links == 0 && server > 0 && random_.below(10) == 0;
    if (shares) node.hostname = fabric_.hosts.back().hostname;
    const U32 links = kind == Kind::plain ? options_.links : kind == Kind::oneLink ? 1 : 2;
    for (U32 link = 0; link < links; ++link) node.ports.push_back(numbered("eth", link));
    if (options_.leaves > 0) plug(node, server, kind);
    fabric_.hosts.push_back(std::move(node));
    if (asks() && !shares) askForHostname(fabric_.hosts.back().hostname);
  }

  void plug(Node& node, U32 server, Kind kind) {
    const auto home = static_cast<U32>(U64{server} * options_.leaves / options_.servers);
    PortGroup bond{numbered("po", portsOfLeaf_[home] + 1), {}};
    for (U32 link = 0; link < node.ports.size(); ++link) {
      const U32 leaf = kind == Kind::bonded ? home : (home + link) % options_.leaves;
      LinkEnd end = newPort(leaf);
      if (kind == Kind::bonded) bond.members.push_back(end.port);
      fabric_.links.push_back({std::move(end), {node.name, node.ports[link]}});
    }
    if (kind != Kind::bonded) return;
    fabric_.switches[home].groups.push_back(std::move(bond));
    node.groups.push_back({"bond0", node.ports});
  }

  void askForHostname(const std::string& hostname) {
    const U32 client = random_.below(options_.clients);
    askForHostname(client, hostname);
    const bool asksOther = options_.links == 0 && options_.clients > 1 && random_.below(4) == 0;
    if (!asksOther) return;
    askForHostname((client + 1 + random_.below(options_.clients - 1)) % options_.clients, hostname);
  }

  void askForHostname(U32 client, const std::string& hostname) {
    HostnameRequest request{nameOf(client), hostname, {}};
    drawVlans(client, request);
    fabric_.hostnameRequests.push_back(std::move(request));
  }

  // For a machine that nobody has described as a host.
  void askForPort(U32 leaf) {
    const LinkEnd port = newPort(leaf);
    const U32 client = random_.below(options_.clients);
    PortRequest request{nameOf(client), port.node, port.port, {}, {}, {}};
    drawVlans(client, request);
    if (random_.below(2) == 0) request.nativeVlan = request.vlans.front();
    fabric_.portRequests.push_back(std::move(request));
  }

  void linkToSpines(U32 leaf) {
    Node& node = fabric_.switches[leaf];
    if (node.ports.empty() && options_.spines == 0) node.ports.emplace_back("e1");
    for (U32 spine = 0; spine < options_.spines; ++spine) {
      node.ports.push_back(numbered("up", spine + 1));
      const Node& far = fabric_.switches[options_.leaves + spine];
      fabric_.links.push_back({{node.name, node.ports.back()}, {far.name, far.ports[leaf]}});
    }
  }

  static std::string nameOf(U32 client) { return numbered("client", client + 1); }

  static DomainName domainOf(U32 client) { return {nameOf(client), "main"}; }

  // The first of those that the client asks for.
  U32 firstVlan(U32 client) const {
    return 1 + static_cast<U32>(U64{client} * vlans_ % (maxVlan - vlans_ + 1));
  }

  // Clients give their VLANs VNIs themselves and by their domain, by turns.
  template <class Request>
  void drawVlans(U32 client, Request& request) {
    const U32 wanted = options_.vlansOfRequest > 0 ? options_.vlansOfRequest : 1 + random_.below(4);
    const U32 number = std::min(wanted, vlans_);
    const U32 first = firstVlan(client) + random_.below(vlans_ - number + 1);
    for (U32 vlan = first; vlan < first + number; ++vlan) {
      request.vlans.push_back(vlan);
      if (client % 2 == 0) {
        request.vnis.push_back({vlan, vlan + up});
      } else {
        request.domains.push_back({vlan, domainOf(client)});
      }
    }
  }

  static constexpr U32 up = 10000;  // from a VLAN to its VNI

  const GenerateOptions options_;
  const U32 vlans_;
  SplitMix64 random_;
  std::vector<U32> portsOfLeaf_;  // to servers and machines
  Fabric fabric_;
};

}  // namespace

Fabric generate(const GenerateOptions& options) { return Generation(options).run(); }

}  // namespace Fabrion::Host
