#pragma once
// A command line as plain values, read out of its CLI11 declaration, so that the manual page and
// completions say what the parser takes and nothing else.

#include <optional>
#include <string>
#include <vector>

#include "host/commandline/Session.h"

namespace Fabrion::Host {

// What an argument is, as its placeholder tells: FILE, DOCUMENT, JOURNAL and whatever names one of
// them, such as NAME=FILE, are files.
enum class ArgumentKind : U8 { none, choice, file, other };

struct DescribedOption {
  std::vector<std::string> names;  // with their dashes; none for a positional argument
  std::string placeholder;         // of its argument; empty for none
  std::vector<std::string> choices;
  std::string least;  // of a number; empty where there are no bounds
  std::string most;
  std::string standard;  // when it is not given; empty for none
  std::string description;
  std::vector<std::string> needs;  // other options, by their last name
  bool required = false;
  bool list = false;        // takes one argument or more
  bool repeatable = false;  // may be given several times

  ArgumentKind kind() const;
};

struct DescribedCommand {
  std::string name;
  std::string description;
  std::vector<DescribedOption> options;  // in the order of their declaration, --help first
  std::vector<DescribedOption> positionals;
  CommandHelp help;
};

struct DescribedProgram {
  DescribedCommand program;  // with the options that stand for all commands
  std::string version;       // "fabrion 1.0"
  std::vector<DescribedCommand> commands;
};

// As usages show a positional argument: "DOCUMENT...", "[OLD NEW]".
std::string usageOf(const DescribedOption& positional);
// "fabrion run [OPTIONS] DOCUMENT...".
std::string usageOf(const DescribedProgram& program, const DescribedCommand& command);

// One option of `app`.
DescribedOption described(const CLI::Option& option);

// Of `app`, whose commands have the help that `session` knows.
DescribedProgram described(const CLI::App& app, const Session& session);

}  // namespace Fabrion::Host
