#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "bench/fabric/Commands.h"
#include "bench/fabric/World.h"
#include "host/Generate.h"
#include "platform/Velo/AllocTrack.h"

namespace Bench {

namespace {

constexpr U32 vlansOfServer = 4;
constexpr double mostSeconds = 20;
constexpr double mostBytes = 2000;
constexpr double mostGrowth = 3;

// A line of /proc/self/status, in bytes.
double statusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(name + ":", 0) != 0) continue;
    return std::stod(line.substr(name.size() + 1)) * 1024;
  }
  throw std::runtime_error("/proc/self/status has no " + name);
}

Fabric fabricOf(const ScaleOptions& options) {
  Fabrion::Host::GenerateOptions made;
  made.leaves = options.leaves;
  made.servers = options.servers;
  made.clients = 10;
  made.vlans = 40;
  made.links = 2;
  made.vlansOfRequest = vlansOfServer;
  Fabric fabric = Fabrion::Host::generate(made);
  // Every VLAN with a VNI of its own request, none through a map.
  fabric.staticMaps.clear();
  const auto fix = [](auto& request) {
    request.domains.clear();
    request.vnis.clear();
    for (const U32 vlan : request.vlans) request.vnis.push_back({vlan, vlan + 10000});
  };
  for (auto& request : fabric.hostnameRequests) fix(request);
  for (auto& request : fabric.portRequests) fix(request);
  return fabric;
}

// Time per operation in a slice of the step's samples.
double perOperation(const Meter::Step& step, std::size_t first, std::size_t last) {
  return (step.samples[last] - step.samples[first]) /
         static_cast<double>((last - first) * Meter::each);
}

void showTypes(double requested) {
  auto types = Velo::AllocTrackTypeInfo::snapshot();
  const auto bytes = [](const auto& type) {
    return static_cast<double>(type.live) * static_cast<double>(type.allocatedBytes) /
           static_cast<double>(std::max<U64>(type.total, 1));
  };
  std::sort(types.begin(), types.end(),
            [&](const auto& a, const auto& b) { return bytes(a) > bytes(b); });
  std::printf("\n%-72s %9s %6s %9s\n", "TYPE", "LIVE", "BYTES", "PER VLAN");
  double all = 0;
  for (const auto& type : types) all += bytes(type);
  for (std::size_t i = 0; i < std::min<std::size_t>(types.size(), 24); ++i) {
    std::printf("%-72.72s %9llu %6.0f %9.1f\n", types[i].typeName.c_str(),
                static_cast<unsigned long long>(types[i].live),
                bytes(types[i]) / static_cast<double>(std::max<U64>(types[i].live, 1)),
                bytes(types[i]) / requested);
  }
  std::printf("%-72s %9s %6s %9.1f\n", "all types together", "", "", all / requested);
}

}  // namespace

int scale(const ScaleOptions& options) {
  const Fabric fabric = fabricOf(options);
  malloc_trim(0);
  const double before = statusBytes("VmRSS");
  const double processorBefore = processorTime();
  const auto start = std::chrono::steady_clock::now();
  Meter meter;
  World world(fabric, meter);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  // Tells how much of that other programs on the machine took.
  const double processor = (processorTime() - processorBefore) / 1e9;
  const double peak = statusBytes("VmHWM");
  const double bytes = statusBytes("VmRSS") - before;

  const Counts counts = countOutputs(world);
  const double requested = static_cast<double>(options.servers) * vlansOfServer;
  U64 expected = 0;
  for (const auto& request : fabric.hostnameRequests) expected += request.vlans.size() * 2;
  for (const auto& request : fabric.portRequests) expected += request.vlans.size();
  if (counts.vlansOfPorts != expected || counts.mappings != expected) {
    throw std::runtime_error(
        "the outputs are not complete: " + std::to_string(counts.vlansOfPorts) + " VLANs and " +
        std::to_string(counts.mappings) + " mappings of " + std::to_string(expected));
  }

  std::printf("%-18s %10s %10s %12s %12s %12s %8s\n", "STEP", "OPERATIONS", "SECONDS", "NS EACH",
              "FIRST TENTH", "LAST TENTH", "GROWTH");
  U64 operations = 0;
  double worst = 0;
  for (const Meter::Step& step : meter.steps()) {
    operations += step.operations;
    const double whole = step.end - step.samples.front();
    std::printf("%-18s %10llu %10.3f %12.0f", step.name.c_str(),
                static_cast<unsigned long long>(step.operations), whole / 1e9,
                whole / static_cast<double>(std::max<U64>(step.operations, 1)));
    const std::size_t slices = step.samples.size() - 1;
    if (slices >= 10) {
      const double first = perOperation(step, 0, slices / 10);
      const double last = perOperation(step, slices - slices / 10, slices);
      std::printf(" %12.0f %12.0f %8.2f", first, last, last / first);
      worst = std::max(worst, last / first);
    }
    std::printf("\n");
  }
  const auto verdict = [](bool met) { return met ? "met" : "MISSED"; };
  const bool inTime = seconds <= mostSeconds;
  const bool small = bytes / requested <= mostBytes;
  const bool level = worst <= mostGrowth;
  std::printf("\n%u leaves, %u servers, %.0f VLANs requested, %llu on ports\n", options.leaves,
              options.servers, requested, static_cast<unsigned long long>(counts.vlansOfPorts));
  std::printf("loaded in %.2f s, %.2f s of them on a processor; goal %.0f s: %s\n", seconds,
              processor, mostSeconds, verdict(inTime));
  std::printf("%.0f operations a second\n", static_cast<double>(operations) / seconds);
  std::printf("peak memory %.0f MiB, of which the fabric as a value %.0f MiB\n", peak / 1048576,
              before / 1048576);
  std::printf("%.0f bytes for each VLAN requested; goal %.0f: %s\n", bytes / requested, mostBytes,
              verdict(small));
  std::printf("growth at most %.2f within a step; goal %.0f: %s\n", worst, mostGrowth,
              verdict(level));
  showTypes(requested);
  return options.check && !(inTime && small && level) ? 1 : 0;
}

}  // namespace Bench
