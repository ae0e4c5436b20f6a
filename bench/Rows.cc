#include "bench/Rows.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace Bench {

namespace {

// Collects the time per item, in nanoseconds, of each slice of the two sides.
class Slices : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) throw std::runtime_error(run.error_message);
      if (run.run_type == Run::RT_Aggregate) continue;
      const bool isPeer = run.run_name.function_name.ends_with("/peer");
      (isPeer ? peer : ours).push_back(perItem(run));
    }
  }

  std::vector<double> ours = {};
  std::vector<double> peer = {};
  bool isWall = false;

 private:
  double perItem(const Run& run) const {
    const auto items = run.counters.find("items_per_second");
    if (items != run.counters.end()) return 1e9 / items->second;
    return (isWall ? run.real_accumulated_time : run.cpu_accumulated_time) * 1e9 /
           static_cast<double>(run.iterations);
  }
};

double median(std::vector<double> values) {
  if (values.empty()) throw std::runtime_error("nothing was measured");
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double nanosecondsIn(const std::string& unit) {
  if (unit == "ns") return 1;
  if (unit == "us") return 1e3;
  if (unit == "ms") return 1e6;
  throw std::runtime_error("no such unit: " + unit);
}

// Only what is in braces counts as itself in Google Benchmark's expressions, whichever kind of them
// it was built with.
std::string exactly(const std::string& name) {
  std::string expression = "^";
  for (const char c : name) {
    if (c == '.') {
      expression += "[.]";
    } else {
      expression += c;
    }
  }
  return expression + "/(ours|peer)($|/)";
}

void registerSide(const Row& row, const char* side, const Body& body, const Effort& effort) {
  auto* const slices = benchmark::RegisterBenchmark((row.name + side).c_str(), body);
  slices->MinTime(effort.seconds)->Repetitions(effort.repetitions);
  if (row.clock == Clock::process) slices->MeasureProcessCPUTime();
  if (row.clock == Clock::wall) slices->UseRealTime();
}

// Medians in nanoseconds; none for a side that is not there.
struct Medians {
  double ours = 0;
  double peer = 0;
};

Medians measureHere(const Row& row, const Effort& effort) {
  registerSide(row, "/ours", row.ours, effort);
  if (row.peerBody) registerSide(row, "/peer", row.peerBody, effort);
  Slices slices;
  slices.isWall = row.clock == Clock::wall;
  benchmark::RunSpecifiedBenchmarks(&slices, exactly(row.name));
  return {median(slices.ours), row.peerBody ? median(slices.peer) : 0};
}

// Measures in a process of its own, so that no row finds the heap, or the slabs, as another row has
// left them: free blocks of a million elements, scattered, made small collections ten times slower.
Medians measureApart(const Row& row, const Effort& effort) {
  int ends[2];
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    try {
      const Medians medians = measureHere(row, effort);
      _exit(::write(ends[1], &medians, sizeof medians) == sizeof medians ? 0 : 1);
    } catch (const std::exception& error) {
      std::cerr << row.name << ": " << error.what() << std::endl;
    }
    _exit(1);
  }
  close(ends[1]);
  Medians medians;
  const bool isRead = ::read(ends[0], &medians, sizeof medians) == sizeof medians;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!isRead || status != 0) throw std::runtime_error(row.name + " was not measured");
  return medians;
}

}  // namespace

Result measure(const Row& row, const Effort& effort) {
  const double scale = nanosecondsIn(row.unit);
  if (row.prepare) row.prepare();
  const Medians medians = measureApart(row, effort);
  Result result{row.name, row.unit, medians.ours / scale, row.peer};
  if (row.peerBody) {
    result.peerValue = medians.peer / scale;
    result.ratio = medians.ours / medians.peer;
  }
  result.goal = row.goal;
  return result;
}

std::multimap<int, RowsOf::Declare>& RowsOf::all() {
  static std::multimap<int, Declare> declared;
  return declared;
}

std::vector<Row> RowsOf::rows() {
  std::vector<Row> rows;
  for (const auto& [place, declare] : all()) declare(rows);
  return rows;
}

std::vector<CommandOf::Entry>& CommandOf::all() {
  static std::vector<Entry> declared;
  return declared;
}

}  // namespace Bench
