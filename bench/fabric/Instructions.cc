#include <valgrind/callgrind.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "bench/fabric/Commands.h"
#include "bench/fabric/Scene.h"

namespace Bench {

namespace {

// The servers of the second leaf, one after the other: there are the same leaves around them in a
// fabric of any size. Counts are of all of them.
constexpr U32 first = 34;
constexpr U32 events = 32;
// Moves are counted over several rounds. A collection closes its gaps once in as many changes as it
// has elements, and the collections of a leaf come to that at other moments in another fabric: in
// one round of 32 moves that alone made two percent.
constexpr U32 rounds = 8;

void count(const std::string& name, const std::function<void()>& run) {
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  run();
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  CALLGRIND_STOP_INSTRUMENTATION;
}

void must(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// EVENT SERVERS PORTS EVENTS, as instructions.sh takes it apart.
void countIn(Scene& scene, U32 ports) {
  const auto each = [&](auto event) {
    for (U32 server = first; server < first + events; ++server) event(server);
  };
  const auto of = [&](U32 count) {
    return ' ' + std::to_string(scene.servers()) + ' ' + std::to_string(ports) + ' ' +
           std::to_string(count);
  };
  const auto ask = [&] { each([&](U32 server) { scene.request(server); }); };
  const auto withdraw = [&] { each([&](U32 server) { scene.withdraw(server); }); };
  const auto move = [&] {
    each([&](U32 server) {
      scene.moveAway(server);
      scene.moveBack(server);
    });
  };
  // Once before, so that collections and slabs have grown to what the events need.
  ask();
  must(scene.reached(first, true), "the request reaches no output");
  withdraw();
  must(!scene.reached(first, false), "what is withdrawn stays in an output");
  scene.moveAway(first);
  must(scene.moved(first), "nothing moves");
  scene.moveBack(first);
  move();
  count("request.hostname" + of(events), ask);
  count("request.withdraw" + of(events), withdraw);
  count("link.move" + of(rounds * events), [&] {
    for (U32 round = 0; round < rounds; ++round) move();
  });
}

}  // namespace

int instructions(const std::vector<U32>& sizes) {
  for (const U32 size : sizes) {
    Scene scene(size);
    countIn(scene, 2);
  }
  // On as many leaves as the servers have links, and one to move to.
  for (const U32 ports : {1U, 2U, 4U}) {
    Scene scene(241, ports);
    countIn(scene, ports);
  }
  return 0;
}

}  // namespace Bench
