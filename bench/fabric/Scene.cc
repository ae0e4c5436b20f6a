#include "bench/fabric/Scene.h"

#include <map>
#include <string>
#include <unordered_map>

#include "host/Generate.h"
#include "platform/BrindleUtils/VlanIdSet.h"

namespace Bench {

namespace {

using Nimbo::String;

// As many to a leaf at every size, as a leaf with more VLANs has longer texts to change. So each
// server has the same leaf and, as servers are drawn one after the other, asks for the same.
U32 leavesFor(U32 servers) { return (servers * 3 + 99) / 100; }

constexpr const char* sparePort = "spare";

Fabric fabricOf(U32 servers, U32 links) {
  Fabrion::Host::GenerateOptions options;
  options.servers = servers;
  options.leaves = leavesFor(servers);
  options.clients = 10;
  options.vlans = 40;
  options.links = links;
  options.vlansOfRequest = 4;
  Fabric fabric = Fabrion::Host::generate(options);
  for (U32 leaf = 0; leaf < options.leaves; ++leaf) {
    fabric.switches[leaf].ports.emplace_back(sparePort);
  }
  // Empty, and running all the same.
  for (const Fabrion::Host::Node& host : fabric.hosts) {
    fabric.hostnameRequests.push_back({"bench", host.hostname, {}});
  }
  return fabric;
}

}  // namespace

Scene::Scene(U32 servers, U32 links)
    : fabric_(fabricOf(servers, links)), leaves_(leavesFor(servers)) {
  Meter meter;
  world_ = std::make_unique<World>(fabric_, meter);
  const std::size_t others = world_->hostnameRequests.size() - servers;
  for (U32 server = 0; server < servers; ++server) {
    requests_.push_back(world_->hostnameRequests[others + server].object);
  }
  std::unordered_map<std::string, U32> leafByName;
  for (U32 leaf = 0; leaf < leaves_; ++leaf) leafByName[fabric_.switches[leaf].name] = leaf;
  std::unordered_map<std::string, std::size_t> serverByName;
  for (U32 server = 0; server < servers; ++server) {
    serverByName[fabric_.hosts[server].name] = server;
  }
  cables_.resize(servers);
  for (const Fabrion::Host::Link& link : fabric_.links) {
    const auto server = serverByName.find(link.b.node);
    if (server == serverByName.end()) continue;
    Cables& cables = cables_[server->second];
    const U32 leaf = leafByName.at(link.a.node);
    cables.ends.emplace_back(leaf, String(link.a.port));
    if (cables.ends.size() > 1) continue;
    cables.server = world_->hosts[server->second]->port(String(link.b.port));
    cables.leaf = world_->switches[leaf].host->port(String(link.a.port));
    // The one before: at every size it has the same servers.
    cables.spareLeaf = (leaf + leaves_ - 1) % leaves_;
    cables.spare = world_->switches[cables.spareLeaf].host->port(String(sparePort));
  }
  const Fabrion::Host::StaticMap& map = fabric_.staticMaps.front();
  map_ = world_->config->vlanToVniMap({String(map.domain.first), String(map.domain.second)});
  mapVlans_ = {map.ranges.front().vlans.low, map.ranges.front().vlans.high};
  mapVnis_ = {map.ranges.front().vnis.low, map.ranges.front().vnis.high};
  for (const auto& request : fabric_.hostnameRequests) {
    if (request.client == map.domain.first) mapped_ += request.vlans.size() * links;
  }
  for (const auto& request : fabric_.portRequests) {
    if (request.client == map.domain.first) mapped_ += request.vlans.size();
  }
}

Scene& Scene::of(U32 servers) {
  static std::map<U32, std::unique_ptr<Scene>> built;
  std::unique_ptr<Scene>& scene = built[servers];
  if (!scene) scene = std::make_unique<Scene>(servers);
  return *scene;
}

void Scene::moveAway(U32 server) {
  const Cables& cables = cables_[server];
  world_->unlink(cables.leaf, cables.server);
  world_->link(cables.spare, cables.server);
}

void Scene::moveBack(U32 server) {
  const Cables& cables = cables_[server];
  world_->unlink(cables.spare, cables.server);
  world_->link(cables.leaf, cables.server);
}

void Scene::vtepGoes(U32 leaf) {
  const World::Switch& one = world_->switches[leaf];
  const String vtep(fabric_.switches[leaf].vteps[0].name);
  one.vtepStatusDir->vtepStatusV2Del(vtep);
  // The machine leaves it.
  one.vtepConfigDir->vtepConfigDel(vtep);
}

void Scene::vtepComes(U32 leaf) {
  const String vtep(fabric_.switches[leaf].vteps[0].name);
  world_->switches[leaf].vtepStatusDir->vtepStatusV2Is(
      Velo::make<VxlanController::VtepStatusV2>(vtep));
}

U64 Scene::mappings(U32 leaf) const {
  U64 count = 0;
  for (const auto& vtep : world_->switches[leaf].vtepConfigDir->vtepConfig().values()) {
    count += vtep->vlanToVniMap().size();
  }
  return count;
}

void Scene::changeMap(bool other) {
  const U32 up = other ? 100000 : 0;
  const auto domain = map_->domain();
  world_->config->vlanToVniMapDel(domain);
  map_ = Velo::make<Fabrion::VlanToVniMap>(domain);
  map_->mapIs(mapVlans_, {mapVnis_.lower() + up, mapVnis_.upper() + up});
  world_->config->vlanToVniMapIs(map_);
}

bool Scene::reached(U32 server, bool all) const {
  U64 parts = 0;
  U64 found = 0;
  for (const auto& [leaf, port] : cables_[server].ends) {
    const World::Switch& one = world_->switches[leaf];
    parts += 2;
    const auto vlans = BrindleUtils::VlanIdSetIs();
    if (const auto* list = one.portVlanConfig->portAllowedVlanList(port)) {
      BrindleUtils::computeVlanSet(vlans, list->value());
    }
    if (vlans->vlan(vlan)) ++found;
    for (const auto& vtep : one.vtepConfigDir->vtepConfig().values()) {
      const auto* mapped = vtep->vlanToVniMap({port, Bridging::VlanIdOrNone(vlan)});
      if (mapped != nullptr && mapped->value() == vni) ++found;
    }
  }
  return all ? found == parts : found > 0;
}

bool Scene::moved(U32 server) const {
  const World::Switch& one = world_->switches[cables_[server].spareLeaf];
  return one.portVlanConfig->portAllowedVlanList(String(sparePort)) != nullptr;
}

bool Scene::hasVnis(U32 low, U32 high) const {
  for (const World::Switch& leaf : world_->switches) {
    for (const auto& vtep : leaf.vtepConfigDir->vtepConfig().values()) {
      for (const Vxlan::Vni& one : vtep->vlanToVniMap().values()) {
        if (one.value() >= low && one.value() <= high) return true;
      }
    }
  }
  return false;
}

}  // namespace Bench
