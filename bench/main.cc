// The benchmark program; ./dev bench builds it and passes its arguments on.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <regex>
#include <string>
#include <vector>

#include "bench/Report.h"
#include "bench/Rows.h"

namespace {

// Both sides of a row take a second or less, so that the load of the machine changes little in it.
constexpr Bench::Effort wholeEffort{11, 0.02};
constexpr Bench::Effort briefEffort{1, 0.0001};

int runRows(const std::string& filter, const std::string& json, const Bench::Effort& effort) {
  const std::regex wanted(filter);
  std::vector<Bench::Row> rows = Bench::RowsOf::rows();
  std::erase_if(rows,
                [&wanted](const Bench::Row& row) { return !std::regex_search(row.name, wanted); });
  if (rows.empty()) {
    std::cerr << "fabrion_bench: no row is called like " << filter << '\n';
    return 1;
  }
  std::vector<Bench::Result> results;
  Bench::Table table(std::cout, rows);
  for (Bench::Row& row : rows) {
    results.push_back(Bench::measure(row, effort));
    table.line(results.back());
    row = {};
  }
  table.end();
  if (!json.empty()) Bench::writeJson(json, results);
  return 0;
}

int run(int argc, char** argv) {
  std::string commands;
  for (const Bench::CommandOf::Entry& command : Bench::CommandOf::all()) {
    if (argc > 1 && command.name == argv[1]) return command.run(argc - 1, argv + 1);
    commands += "\n  " + command.name + "  " + command.help;
  }

  CLI::App app("Times the runtime beside its peers. A ratio is our time by the peer's.");
  if (!commands.empty()) app.footer("Further commands:" + commands);
  std::string filter = ".";
  std::string json;
  bool isBrief = false;
  app.add_option("--filter", filter, "measure the rows whose name has this regular expression");
  app.add_option("--json", json, "write the results to this file as well");
  app.add_flag("--brief", isBrief, "run each row once, so that it is seen to run");
  CLI11_PARSE(app, argc, argv);

  std::string name = "fabrion_bench";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {name.data(), interleaving.data(), nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
  return runRows(filter, json, isBrief ? briefEffort : wholeEffort);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "fabrion_bench: " << error.what() << '\n';
    return 1;
  }
}
