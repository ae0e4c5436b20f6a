// Every command in a pipe, on a terminal, and on one whose user wants no colours; and the progress
// of every command whose work may be long.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>

#include "host/AuditCommand.h"
#include "host/CheckCommand.h"
#include "host/DrawCommand.h"
#include "host/Module.h"
#include "host/PlanCommand.h"
#include "host/RenderCommand.h"
#include "host/Replay.h"
#include "host/RunCommand.h"
#include "host/WhyCommand.h"
#include "tests/host/Help.h"
#include "tests/host/PseudoTerminal.h"
#include "tests/host/Scratch.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::commandsOfProgram;
using Test::inRepository;
using Test::PseudoTerminal;
using Test::Scratch;
using Test::textOfFile;
using Test::written;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

struct Line {
  std::string arguments;
  bool coloured = false;
};

// Each writes something. What differs has colours.
const std::map<std::string, Line> eachCommand = {
    {"run", {"run examples/two-switches.yaml"}},
    {"plan", {"plan examples/two-switches.yaml next.yaml", true}},
    {"audit", {"audit --against now.json next.yaml", true}},
    {"check", {"check examples/two-switches.yaml"}},
    {"render", {"render --target ovs examples/two-switches.yaml"}},
    {"generate", {"generate --leaves 2 --servers 2"}},
    {"discover", {"discover examples/lldp/leaf1.json"}},
    {"draw", {"draw examples/two-switches.yaml -o -"}},
    {"replay", {"replay examples/one-port.journal"}},
    {"why", {"why examples/two-switches.yaml left e1"}},
    {"wiring", {"wiring"}},
    {"completion", {"completion bash"}},
    {"man", {"man"}},
};

// Of colours, that is; progress has others.
std::string withoutColours(const std::string& text) {
  return std::regex_replace(text, std::regex("\033\\[[0-9;]*m"), "");
}

class EveryCommand : public testing::Test {
 protected:
  EveryCommand() {
    scratch_.bash(
        "sed 's/20-22/20-23/' examples/two-switches.yaml >next.yaml; "
        "fabrion run --outputs now.json examples/two-switches.yaml >/dev/null");
  }

  // What a terminal shows, line ends as they were written.
  std::string shownFor(const std::string& arguments, const std::string& environment) const {
    PseudoTerminal terminal({"bash", "-c",
                             scratch_.prelude() + "unset NO_COLOR; export TERM=xterm; " +
                                 environment + " fabrion " + arguments});
    terminal.ended();
    return std::regex_replace(terminal.shown(), std::regex("\r\n"), "\n");
  }

  std::string piped(const std::string& arguments) const {
    return scratch_.bash("unset NO_COLOR; TERM=xterm fabrion " + arguments + " 2>&1 | cat").out;
  }

  Scratch scratch_{"terminals"};
};

TEST_F(EveryCommand, IsHere) {
  std::set<std::string> named;
  for (const auto& [name, line] : eachCommand) named.insert(name);
  EXPECT_EQ(named, commandsOfProgram());
}

TEST_F(EveryCommand, WritesTextAloneIntoAPipe) {
  for (const auto& [name, line] : eachCommand) {
    const std::string text = piped(line.arguments);
    EXPECT_THAT(text, Not(IsEmpty())) << name;
    EXPECT_THAT(text, Not(HasSubstr("\033"))) << name;
    EXPECT_THAT(text, Not(HasSubstr("\r"))) << name;
  }
}

TEST_F(EveryCommand, SaysTheSameOnATerminalAndMayColourIt) {
  for (const auto& [name, line] : eachCommand) {
    const std::string shown = shownFor(line.arguments, "");
    EXPECT_EQ(withoutColours(shown), piped(line.arguments)) << name;
    EXPECT_EQ(shown != withoutColours(shown), line.coloured) << name;
  }
}

TEST_F(EveryCommand, HasNoColoursForThoseWhoWantNone) {
  for (const char* environment : {"NO_COLOR=1", "TERM=dumb", "TERM="}) {
    for (const auto& [name, line] : eachCommand) {
      EXPECT_EQ(shownFor(line.arguments, environment), piped(line.arguments))
          << name << ' ' << environment;
    }
  }
}

// The standard error of a journal that takes its time, on a terminal and not.
TEST_F(EveryCommand, ProgressIsForATerminal) {
  const std::string slow =
      "(head -n 6 examples/one-port.journal; sleep 0.7; tail -n +7 examples/one-port.journal) | ";
  const std::string shown = [&] {
    PseudoTerminal terminal({"bash", "-c",
                             scratch_.prelude() + "export TERM=xterm NO_COLOR=1; " + slow +
                                 "fabrion replay - >dumped"});
    EXPECT_EQ(terminal.ended(), 0);
    return terminal.shown();
  }();
  EXPECT_THAT(shown, StartsWith("\r\033[KReplaying: "));
  EXPECT_THAT(shown, EndsWith("\r\033[K"));
  EXPECT_EQ(textOfFile(scratch_.path("dumped")),
            scratch_.bash("fabrion replay examples/one-port.journal").out);
  EXPECT_EQ(scratch_.bash(slow + "TERM=xterm fabrion replay - 2>&1 >/dev/null").out, "");
}

// --- progress, command by command ----------------------------------------------------------------

using Work = std::function<void(const Terminal& terminal, std::ostream& out, std::ostream& err)>;

const Velo::VeloModule& module() { return loadModule(FABRION_MODULE); }

std::map<std::string, Work> longWork() {
  static const std::string file = inRepository("examples/leaf-spine.yaml");
  static const std::string other = inRepository("examples/two-switches.yaml");
  static const std::string none = written("no-outputs.json", R"({"switch": {}})");
  static const std::string journal = inRepository("examples/one-port.journal");
  std::map<std::string, Work> work;
  work["check"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    check({file, other}, out, err, terminal);
  };
  work["run"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    RunOptions options{{file}};
    options.terminal = terminal;
    run(options, out, err, module());
  };
  work["plan"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    plan({{other}, {file}, ReportFormat::text, terminal}, out, err, module());
  };
  work["audit"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    audit({{file}, none, ReportFormat::text, terminal}, out, err, module());
  };
  work["render"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    render({{other}, RenderTarget::ovs, {}, terminal}, out, err, module());
  };
  work["draw"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    draw({{file}, "-", terminal}, out, err, module());
  };
  work["why"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    why({{file, "leaf1"}, ReportFormat::text, terminal}, out, err, module());
  };
  work["replay"] = [](const Terminal& terminal, std::ostream& out, std::ostream& err) {
    std::istringstream lines(textOfFile(journal));
    replay({journal, {}, terminal}, lines, out, err, module());
  };
  return work;
}

TEST(LongWork, ShowsItsProgressAndTakesItAway) {
  for (const auto& [name, work] : longWork()) {
    Terminal terminal;
    terminal.progress = true;
    terminal.patience = {};
    std::ostringstream out;
    std::ostringstream err;
    work(terminal, out, err);
    EXPECT_THAT(err.str(), StartsWith("\r\033[K")) << name;
    const char* const line = name == "check"    ? "Reading: 50% of 2 documents"
                             : name == "replay" ? "Replaying: 1 operation"
                                                : "operations";
    EXPECT_THAT(err.str(), HasSubstr(line)) << name;
    EXPECT_THAT(err.str(), EndsWith("\r\033[K")) << name;

    std::ostringstream silent;
    std::ostringstream same;
    work({}, same, silent);
    EXPECT_EQ(silent.str(), "") << name;
    EXPECT_EQ(same.str(), out.str()) << name;
    EXPECT_THAT(same.str(), Not(IsEmpty())) << name;
  }
}

}  // namespace
}  // namespace Fabrion::Host

#endif
