// The help that each command ends with: its examples do what it says, and end as it says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Help.h"
#include "tests/host/Scratch.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::commandsOfProgram;
using Test::Exit;
using Test::Help;
using Test::HelpExample;
using Test::helpOf;
using Test::Scratch;
using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

// What the words in front of an example say, 0 unless they do.
int statusSaid(const HelpExample& example) {
  const std::regex said("exit status ([0-9]+)");
  std::smatch found;
  return std::regex_search(example.does, found, said) ? std::stoi(found[1].str()) : 0;
}

// Followed until its report has come, then told to end.
Exit followed(const Scratch& scratch, const std::string& line) {
  return scratch.bash(
      line +
      " >shown 2>said & for ((i = 0; i < 600; ++i)); do if [[ -s shown ]]; then break; "
      "fi; sleep 0.1; done; kill $!; wait $!");
}

TEST(Help, ExamplesOfEveryCommandWorkAndEndAsTheySay) {
  const std::set<std::string> commands = commandsOfProgram();
  EXPECT_THAT(commands, IsSupersetOf({"run", "plan", "audit", "check", "render", "generate",
                                      "discover", "draw", "replay", "why", "wiring"}));
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    const Scratch scratch("examples-of-" + command);
    const Help help = helpOf(command);
    EXPECT_GE(help.examples.size(), 1U);
    EXPECT_LE(help.examples.size(), 2U);
    std::string all;
    for (const HelpExample& example : help.examples) {
      all += example.line + '\n';
      SCOPED_TRACE(example.line);
      EXPECT_THAT(example.does, testing::EndsWith(":"));
      const bool follows = example.line.find("--watch") != std::string::npos;
      const Exit done = follows ? followed(scratch, example.line)
                                : scratch.bash("{ " + example.line + "; } 2>&1");
      EXPECT_EQ(done.status, statusSaid(example)) << done.out;
      EXPECT_THAT(help.endings, Contains(done.status));
    }
    EXPECT_THAT(all, HasSubstr("fabrion " + command));
  }
}

TEST(Help, ThatOfTheProgramHasExamplesThatWork) {
  const Scratch scratch("examples-of-all");
  const Help help = helpOf("");
  EXPECT_EQ(help.examples.size(), 2U);
  for (const HelpExample& example : help.examples) {
    EXPECT_EQ(scratch.bash(example.line).status, 0) << example.line;
  }
}

TEST(Help, IsTheSameWhereverTheProgramStands) {
  EXPECT_THAT(helpOf("").text, HasSubstr("Usage: fabrion [OPTIONS] SUBCOMMAND"));
  EXPECT_THAT(helpOf("run").text, HasSubstr("Usage: fabrion run [OPTIONS] DOCUMENT..."));
}

}  // namespace
}  // namespace Fabrion::Host

#endif
