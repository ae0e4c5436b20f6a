// A trace with three arguments: switched off, and into the ring.

#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <string>

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

constexpr int traces = 64;  // in one iteration

// What is traced, out of the compiler's sight.
template <class Text>
struct Arguments {
  Text name{"leaf1"};
  U32 vlan = 100;
  U32 ports = 48;
};

// The loops are unrolled, and values may have changed at each turn, or else the loop itself would
// count for as much as a trace that is off.
void ours(benchmark::State& state) {
  Arguments<Nimbo::String> arguments;
  benchmark::DoNotOptimize(&arguments);
  for (auto _ : state) {
#pragma GCC unroll 16
    for (int i = 0; i < traces; ++i) {
      benchmark::ClobberMemory();
      VELO_TRACE(BenchTrace, 9, "%s has VLAN %s on %s ports", arguments.name, arguments.vlan,
                 arguments.ports);
    }
  }
  state.SetItemsProcessed(state.iterations() * traces);
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
  for (auto _ : state) {
#pragma GCC unroll 16
    for (int i = 0; i < traces; ++i) {
      benchmark::ClobberMemory();
      logger.debug("{} has VLAN {} on {} ports", arguments.name, arguments.vlan, arguments.ports);
    }
  }
  state.SetItemsProcessed(state.iterations() * traces);
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
