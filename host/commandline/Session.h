#pragma once
// What the declarations of the commands have in common: the session that they fill, the help that
// each ends with, and the options that several of them take. The only place besides those
// declarations that knows CLI11; what a command does stands in its own file (RunCommand.h), which
// knows nothing of options.

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/RunCommand.h"
#include "host/Terminal.h"
#include "platform/Velo/Module.h"

namespace Fabrion::Host {

// An exit status of a command and when it ends with it, in words that follow the number.
struct Ending {
  int status;
  std::string when;
};

// A command line that works in the root of the source tree. It ends with status 0, unless `does`
// says "exit status N".
struct Example {
  std::string does;  // one line
  std::string line;  // for bash
};

// What the help of a command ends with, and its part of the manual page.
struct CommandHelp {
  std::vector<Ending> endings;
  std::vector<Example> examples;
};

// As the help shows it.
std::string footerOf(const CommandHelp& help);

// The module is loaded by the command, so that help and mistakes need none.
struct Session {
  std::string moduleFile;
  Terminal terminal = {};
  // Set by the command that was named; returns the exit status.
  std::function<int()> command;
  // The exit status when the command throws.
  int failure = 1;
  // By the command's declaration, which lives as long as the command line is read.
  std::map<const CLI::App*, CommandHelp> helps;

  const Velo::VeloModule& module() const;

  // Gives the command its help.
  void help(CLI::App& app, CommandHelp of);

  // The command that was named is this one, and a failure of it is a mistake: status 1 is kept for
  // what --strict asks about.
  void is(std::function<Outcome()> named);
  // The same for a command that starts machines and shows its progress.
  template <class Options>
  void is(const std::shared_ptr<Options>& options,
          Outcome (*named)(const Options&, std::ostream& out, std::ostream& err,
                           const Velo::VeloModule&)) {
    options->terminal = terminal;
    is([this, options, named] { return named(*options, std::cout, std::cerr, module()); });
  }
};

// Nearly all commands end so, besides what they add.
Ending done(const std::string& when = "Done.");
Ending notDone();

// Writes `text` to the standard output; if that fails, says on the standard error that `what`
// cannot be written.
Outcome write(const std::string& text, const std::string& what);

// The positional arguments of most commands; they fill `documents`.
void addDocuments(CLI::App& app, std::vector<std::string>& documents);

// --format, `what` being what has the form; "text" unless named.
void addFormat(CLI::App& app, std::string& format, const std::string& what,
               const std::vector<std::string>& choices = {"text", "json"});
ReportFormat reportFormat(const std::string& format);

// What an option takes, for CLI::Option::check. Misuse.h words what it does not take.
CLI::Validator oneOf(const std::vector<std::string>& choices);
// The same for CLI::Option::transform, as it takes zeros off the front of the number.
CLI::Validator numberFrom(U64 least, U64 most);

// --trace.
void addTrace(CLI::App& app, std::optional<U32>& level);

}  // namespace Fabrion::Host
