// Single events on their way through the whole system, in fabrics of different sizes: what one
// costs must not grow with the fabric. The peer is the same in the fabric of 100 servers.

#include <cstddef>
#include <string>

#include "bench/Rows.h"
#include "bench/fabric/Scene.h"

namespace {

using Bench::Scene;

constexpr U32 few = 100;

// Runs `event` on each of the servers 0 to `count`, and `after` with the clock stopped; `good` must
// hold then.
template <class Event, class After>
void onServers(benchmark::State& state, U32 count, Event event, After after) {
  for (auto _ : state) {
    for (U32 server = 0; server < count; ++server) event(server);
    state.PauseTiming();
    for (U32 server = 0; server < count; ++server) after(server);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

// A benchmark of events that do not arrive is worth nothing.
bool refuse(benchmark::State& state, bool wrong, const char* why) {
  if (wrong) state.SkipWithError(why);
  return wrong;
}

Bench::Body request(U32 servers, bool everywhere) {
  return [=](benchmark::State& state) {
    Scene& scene = Scene::of(servers);
    scene.request(few / 2);
    if (refuse(state, !scene.reached(few / 2, true), "the request reaches no output")) return;
    scene.withdraw(few / 2);
    onServers(
        state, everywhere ? servers : few, [&](U32 server) { scene.request(server); },
        [&](U32 server) { scene.withdraw(server); });
  };
}

Bench::Body withdraw(U32 servers, bool everywhere) {
  return [=](benchmark::State& state) {
    Scene& scene = Scene::of(servers);
    const U32 count = everywhere ? servers : few;
    for (U32 server = 0; server < count; ++server) scene.request(server);
    onServers(
        state, count, [&](U32 server) { scene.withdraw(server); },
        [&](U32 server) { scene.request(server); });
    for (U32 server = 0; server < count; ++server) scene.withdraw(server);
    refuse(state, scene.reached(few / 2, false), "what is withdrawn stays in an output");
  };
}

Bench::Body move(U32 servers) {
  return [=](benchmark::State& state) {
    Scene& scene = Scene::of(servers);
    scene.moveAway(few / 2);
    if (refuse(state, !scene.moved(few / 2), "nothing moves")) return;
    scene.moveBack(few / 2);
    if (refuse(state, scene.moved(few / 2), "nothing moves back")) return;
    for (auto _ : state) {
      for (U32 server = 0; server < few; ++server) {
        scene.moveAway(server);
        scene.moveBack(server);
      }
    }
    state.SetItemsProcessed(state.iterations() * few * 2);
  };
}

Bench::Body vtepArrive(U32 servers) {
  return [=](benchmark::State& state) {
    Scene& scene = Scene::of(servers);
    U64 mappings = 0;
    for (auto _ : state) {
      state.PauseTiming();
      scene.vtepGoes(1);
      if (refuse(state, scene.mappings(1) != 0, "a VTEP that is gone has mappings")) return;
      state.ResumeTiming();
      scene.vtepComes(1);
      mappings = scene.mappings(1);
    }
    refuse(state, mappings == 0, "a VTEP that came has no mappings");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(mappings));
  };
}

Bench::Body mapChange(U32 servers) {
  return [=](benchmark::State& state) {
    Scene& scene = Scene::of(servers);
    scene.changeMap(true);
    const bool changed = scene.hasVnis(100000, 200000);
    scene.changeMap(false);
    if (refuse(state, !changed || scene.hasVnis(100000, 200000), "no output follows the map"))
      return;
    for (auto _ : state) {
      scene.changeMap(true);
      scene.changeMap(false);
    }
    state.SetItemsProcessed(state.iterations() * 2 * static_cast<int64_t>(scene.mapped()));
  };
}

const Bench::RowsOf rows(
    [](std::vector<Bench::Row>& to) {
      constexpr double level = 1.5;
      constexpr double levelEverywhere =
          3.0;  // what a processor's caches lose is the fabric's size
      for (const U32 servers : {10'000U, 100'000U}) {
        const auto add = [&](const char* name, auto body, double goal, auto... everywhere) {
          to.push_back({std::string(name) + '.' + std::to_string(servers),
                        body(servers, everywhere...), "100 servers", body(few, everywhere...), goal,
                        "us", Bench::Clock::thread, [servers] {
                          Scene::of(few);
                          Scene::of(servers);
                        }});
        };
        add("request.hostname", request, level, false);
        add("request.hostname.all", request, levelEverywhere, true);
        add("request.withdraw", withdraw, level, false);
        add("request.withdraw.all", withdraw, levelEverywhere, true);
        add("link.move", move, level);
        add("vtep.arrive", vtepArrive, level);
        add("map.change", mapChange, level);
      }
    },
    300);

}  // namespace
