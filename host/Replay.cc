#include "host/Replay.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "host/BadJournal.h"
#include "host/Controller.h"
#include "host/JournalReader.h"
#include "host/Progress.h"
#include "host/TextTrace.h"
#include "platform/Velo/Exceptions.h"

namespace Fabrion::Host {

namespace {

// The next line. Where reading fails, errno tells why.
bool next(std::istream& lines, std::string& text) {
  errno = 0;
  return static_cast<bool>(std::getline(lines, text));
}

// Of the standard input its stream cannot tell a failure from the end.
bool broken(const std::istream& lines) {
  return lines.bad() || (&lines == &std::cin && std::ferror(stdin) != 0);
}

class Replay {
 public:
  Replay(const ReplayOptions& options, std::ostream& out, std::ostream& err,
         const Velo::VeloModule& module)
      : options_(options),
        out_(out),
        err_(err),
        progress_(err, options.terminal.progress && !options.traceLevel,
                  options.terminal.patience) {
    if (options.traceLevel) trace_.emplace(err, *options.traceLevel);
    controller_.emplace(module);
  }

  ExitStatus run(std::istream& lines) {
    std::string text;
    std::size_t done = 0;
    for (U64 line = 1; next(lines, text); ++line) {
      try {
        if (const std::optional<Operation> operation = operationOf(text)) {
          run(*operation, line);
          progress_.at("Replaying", ++done);
        }
      } catch (const BadJournal& bad) {
        // What stands ends without a trace.
        trace_.reset();
        controller_.reset();
        say(err_, options_.journal + ":" + std::to_string(line) + ": " + bad.what());
        return ExitStatus::badJournal;
      }
    }
    if (broken(lines)) {
      const std::string why = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
      trace_.reset();
      say(err_, "fabrion: " + name() + " cannot be read to its end" + why);
      return ExitStatus::failure;
    }
    if (trace_) trace_->mark("@end");
    controller_.reset();
    if (out_) return ExitStatus::success;
    trace_.reset();
    say(err_, "fabrion: the dumps cannot be written");
    return ExitStatus::failure;
  }

 private:
  std::string name() const {
    return options_.journal == "-" ? "the standard input" : options_.journal;
  }

  void run(const Operation& operation, U64 line) {
    if (trace_) trace_->mark("@" + std::to_string(line) + " " + std::string(nameOf(operation)));
    try {
      controller_->apply(operation);
    } catch (const Velo::Exception& raised) {
      const nlohmann::json error{{"error", raised.what()}, {"line", line}};
      say(out_, error.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
      return;
    }
    if (std::holds_alternative<Op::Dump>(operation)) say(out_, controller_->dump());
  }

  // In one piece: a standard stream without a buffer would be written bit by bit. Both streams may
  // be the terminal that shows the progress.
  void say(std::ostream& out, const std::string& line) {
    progress_.hide();
    out << line + '\n' << std::flush;
  }

  const ReplayOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  Progress progress_;
  std::optional<TextTrace> trace_;
  std::optional<Controller> controller_;  // ends before the trace
};

}  // namespace

ExitStatus replay(const ReplayOptions& options, std::istream& lines, std::ostream& out,
                  std::ostream& err, const Velo::VeloModule& module) {
  return Replay(options, out, err, module).run(lines);
}

ExitStatus replay(const ReplayOptions& options, const Velo::VeloModule& module) {
  if (options.journal == "-") {
    ReplayOptions read = options;
    // Not between the lines of who types the journal.
    if (isatty(STDIN_FILENO) == 1) read.terminal.progress = false;
    return replay(read, std::cin, std::cout, std::cerr, module);
  }
  std::ifstream lines(options.journal, std::ios::binary);
  if (!lines) {
    std::cerr << "fabrion: " + options.journal + ": " + std::strerror(errno) + "\n";
    return ExitStatus::failure;
  }
  return replay(options, lines, std::cout, std::cerr, module);
}

}  // namespace Fabrion::Host
