// A trace with three arguments: switched off, and into the ring.

#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "bench/Rows.h"
#include "platform/Fastmark/RingTrace.h"
#include "platform/Nimbo/String.h"
#include "platform/Velo/Trace.h"

namespace Bench {
namespace {

struct BenchTrace {
  static Velo::TraceHandle& handle() {
    static Velo::TraceHandle& facility = *new Velo::TraceHandle("Bench", false);
    return facility;
  }
};

constexpr std::size_t traces = 8;  // in one iteration

// Written out, for the loop itself would count for as much as a trace that is off, and the compiler
// unrolls none that calls something, be it seldom. Of more than eight the peer's become slower.
template <class Trace, std::size_t... Each>
[[gnu::always_inline]] inline void repeat(Trace trace, std::index_sequence<Each...> /*count*/) {
  ((static_cast<void>(Each), trace()), ...);
}

// What is traced, out of the compiler's sight.
template <class Text>
struct Arguments {
  Text name{"leaf1"};
  U32 vlan = 100;
  U32 ports = 48;
};

// Values may have changed at each turn.
[[gnu::always_inline]] inline void trace(const Arguments<Nimbo::String>& arguments) {
  benchmark::ClobberMemory();
  VELO_TRACE(BenchTrace, 9, "%s has VLAN %s on %s ports", arguments.name, arguments.vlan,
             arguments.ports);
}

void ours(benchmark::State& state) {
  Arguments<Nimbo::String> arguments;
  benchmark::DoNotOptimize(&arguments);
  for (auto _ : state) {
    repeat([&arguments] { trace(arguments); }, std::make_index_sequence<traces>());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(traces));
}

void oursRing(benchmark::State& state) {
  Fastmark::TraceHandle handle(std::make_unique<Fastmark::TraceFile>());
  Fastmark::defaultFastmarkHandle = &handle;
  ours(state);
  Fastmark::defaultFastmarkHandle = nullptr;
  U64 last = 0;
  handle.traceFile()->forEach(
      [&last](const Fastmark::TraceFile::Message& message) { last = message.sequence; });
  // The last message tells how many there were.
  if (last < static_cast<U64>(state.iterations()) * traces) state.SkipWithError("a trace was lost");
}

void peer(benchmark::State& state, spdlog::logger& logger) {
  Arguments<std::string> arguments;
  benchmark::DoNotOptimize(&arguments);
  const auto trace = [&arguments, &logger ]() __attribute__((always_inline)) {
    benchmark::ClobberMemory();
    logger.debug("{} has VLAN {} on {} ports", arguments.name, arguments.vlan, arguments.ports);
  };
  for (auto _ : state) repeat(trace, std::make_index_sequence<traces>());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(traces));
}

void peerOff(benchmark::State& state) {
  spdlog::logger logger("off", std::make_shared<spdlog::sinks::null_sink_mt>());
  logger.set_level(spdlog::level::info);
  peer(state, logger);
}

// Queue and thread as spdlog makes them unless it is told otherwise.
void peerAsync(benchmark::State& state) {
  const auto pool =
      std::make_shared<spdlog::details::thread_pool>(spdlog::details::default_async_q_size, 1);
  const auto logger = std::make_shared<spdlog::async_logger>(
      "async", std::make_shared<spdlog::sinks::null_sink_mt>(), pool);
  logger->set_level(spdlog::level::debug);
  peer(state, *logger);
}

const RowsOf rows(
    [](std::vector<Row>& to) {
      to.push_back({"trace.off", ours, "spdlog, level off", peerOff, 0.1});
      // What the asynchronous logger leaves to its thread costs the process all the same.
      to.push_back({"trace.ring", oursRing, "spdlog async, null sink", peerAsync, 0.02, "ns",
                    Clock::process});
    },
    60);

}  // namespace
}  // namespace Bench
