// What is measured in whole fabrics besides the time of single events. ./dev bench scale and ./dev
// bench instructions run it.

#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <iostream>

#include "bench/fabric/Commands.h"

int main(int argc, char** argv) {
  CLI::App app("Measures whole fabrics");
  app.require_subcommand(1);
  std::function<int()> run;

  Bench::ScaleOptions options;
  CLI::App* const scale = app.add_subcommand("scale", "Load a large fabric: time and memory");
  scale->add_option("--leaves", options.leaves)->capture_default_str()->check(CLI::Range(1, 10000));
  scale->add_option("--servers", options.servers)
      ->capture_default_str()
      ->check(CLI::Range(1, 1000000));
  scale->add_flag("--check", options.check, "Exit status 1 if a goal is missed");
  scale->callback([&] { run = [&] { return Bench::scale(options); }; });

  std::vector<U32> sizes = {100, 10'000};
  CLI::App* const instructions =
      app.add_subcommand("instructions", "Single events, to be counted by callgrind");
  instructions->add_option("sizes", sizes, "Servers of the fabrics")->capture_default_str();
  instructions->callback([&] { run = [&] { return Bench::instructions(sizes); }; });

  CLI11_PARSE(app, argc, argv);
  try {
    return run();
  } catch (const std::exception& error) {
    std::cerr << "fabrion_fabric_bench: " << error.what() << '\n';
    return 1;
  }
}
