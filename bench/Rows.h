#pragma once
// What the benchmark program measures: rows, each the same work done by the runtime and by a peer.
//
//   *_bench.cc   declare rows (RowsOf) and further commands (CommandOf)
//   Rows.cc      measures one row with Google Benchmark
//   Report.h     the table on the terminal and the JSON list
//   main.cc      options, and the order of things
//
// A row's two bodies run in turn, in short slices and in random order, and the row is the medians
// of the slices: a neighbour on the machine then slows both sides alike. Time is that of the
// measuring thread on its processor, so that being preempted does not count.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

// A benchmark as Google Benchmark runs it. It is called several times: what is costly to build is
// kept in a Lazy. A body that does several items of work in one iteration says so with
// state.SetItemsProcessed; time is then per item.
using Body = std::function<void(benchmark::State&)>;

// What a row's time is: that of the measuring thread, of all threads of the process, or of the
// clock on the wall.
enum class Clock { thread, process, wall };

struct Row {
  std::string name;
  Body ours;
  std::string peer = {};  // what we are compared with; empty where there is nothing
  Body peerBody = {};
  std::optional<double> goal = {};  // the ratio to reach, ours by the peer's; none: only reported
  std::string unit = "ns";          // "ns", "us" or "ms"
  Clock clock = Clock::thread;
  // Builds, in the program's own process, what several rows share; each row starts from a copy.
  std::function<void()> prepare = {};
};

// Medians, in the row's unit.
struct Result {
  std::string name;
  std::string unit;
  double ours = 0;
  std::string peer = {};
  std::optional<double> peerValue = {};
  std::optional<double> ratio = {};
  std::optional<double> goal = {};
};

// How long to measure.
struct Effort {
  int repetitions;  // slices of each side
  double seconds;   // the least time of a slice
};

// Runs both sides of a row, in a process of their own. Throws std::runtime_error where a body
// called state.SkipWithError; its message goes to standard error.
Result measure(const Row& row, const Effort& effort);

// Declares rows, from a static object in the file that holds their bodies:
//
//   const RowsOf rows([](std::vector<Row>& to) { to.push_back({"ptr.copy", ...}); }, 40);
//
// The place says where in the table they stand, the lowest first, for the order in which static
// objects of several files are made is the linker's.
class RowsOf {
 public:
  using Declare = void (*)(std::vector<Row>& to);
  explicit RowsOf(Declare declare, int place = 100) { all().emplace(place, declare); }
  // The rows of all files.
  static std::vector<Row> rows();

 private:
  static std::multimap<int, Declare>& all();
};

// Declares a command, `fabrion_bench NAME ARGS`, for what does not come as rows.
class CommandOf {
 public:
  using Run = int (*)(int argc, char** argv);  // argv[0] is the name; returns the exit status
  CommandOf(const char* name, const char* help, Run run) { all().push_back({name, help, run}); }

  struct Entry {
    std::string name;
    std::string help;  // one line
    Run run;
  };
  static std::vector<Entry>& all();
};

// Something costly that both sides, or all calls of one body, share: built at first use, released
// with the row. Copies are the same object.
template <class T>
class Lazy {
 public:
  explicit Lazy(std::function<std::unique_ptr<T>()> build)
      : cell_(std::make_shared<Cell>(Cell{std::move(build), nullptr})) {}

  T& operator*() const {
    if (!cell_->object) cell_->object = cell_->build();
    return *cell_->object;
  }
  T* operator->() const { return &**this; }

 private:
  struct Cell {
    std::function<std::unique_ptr<T>()> build;
    std::unique_ptr<T> object;
  };
  std::shared_ptr<Cell> cell_;
};

}  // namespace Bench
