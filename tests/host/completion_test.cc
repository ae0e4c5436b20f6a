// What a real bash offers for command lines of the program, once it has read the script.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "host/commandline/Commands.h"
#include "host/commandline/Described.h"
#include "tests/host/Help.h"
#include "tests/host/PseudoTerminal.h"
#include "tests/host/Scratch.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::commandsOfProgram;
using Test::Exit;
using Test::fabrion;
using Test::helpOf;
using Test::linesOf;
using Test::PseudoTerminal;
using Test::Scratch;
using Test::shellWord;
using Test::textOfFile;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

using Words = std::vector<std::string>;

// An interactive bash, without anything that a user or the system would have it read.
class Bash {
 public:
  explicit Bash(const Scratch& scratch)
      : scratch_(scratch),
        terminal_({"env", "-i", "PATH=" + std::string(getenv("PATH")), "TERM=dumb", "LC_ALL=C",
                   "INPUTRC=/dev/null", "HISTFILE=", "bash", "--norc", "--noprofile", "-i"}) {
    run(scratch.prelude() + "bind 'set enable-bracketed-paste off' 'set bell-style none'");
  }

  void run(const std::string& line) {
    const std::string sign = scratch_.path("done");
    std::filesystem::remove(sign);
    terminal_.type(line + "; : > " + shellWord(sign) + "\n");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!std::filesystem::exists(sign)) {
      const bool runs = terminal_.more();
      if (runs && std::chrono::steady_clock::now() < deadline) continue;
      ADD_FAILURE() << "bash does not answer: " << terminal_.shown();
      return;
    }
  }

  // The words with which bash would go on after `line`, as a command then gets them.
  Words offeredFor(const std::string& line) {
    const std::string answer = scratch_.path("answer");
    // Escape and a star put all completions into the line. Then the line is made the arguments of
    // printf: control and A go to its beginning, control and E to its end.
    run(line + "\033*\001printf '%s\\n' \005 >" + shellWord(answer));
    Words words = linesOf(textOfFile(answer));
    // Without the words that stood there already; the last of them is what was completed.
    const std::size_t blank = line.find_last_of(' ') + 1;
    const Exit typed = scratch_.bash("printf '%s\\n' " + line.substr(0, blank));
    const std::size_t before = linesOf(typed.out).size();
    words.erase(words.begin(), words.begin() + static_cast<long>(std::min(before, words.size())));
    // Nothing was offered: the word stands as it was.
    if (words == Words{line.substr(blank)}) words.clear();
    return words;
  }

 private:
  const Scratch& scratch_;
  PseudoTerminal terminal_;
};

class Completion : public testing::Test {
 protected:
  Completion() {
    std::ofstream(scratch_.path("script")) << fabrion("completion bash").out;
    std::ofstream(scratch_.path("fabric.yaml"));
    std::ofstream(scratch_.path("my fabric.yaml"));
    std::filesystem::create_directory(scratch_.path("lldp"));
    std::ofstream(scratch_.path("lldp/leaf1.json"));
    std::ofstream(scratch_.path("lldp/leaf2.json"));
    bash_.run("source ./script");
  }

  Words offeredFor(const std::string& line) { return bash_.offeredFor(line); }

  Scratch scratch_{"completion"};
  Bash bash_{scratch_};
};

TEST_F(Completion, OffersTheCommands) {
  EXPECT_THAT(offeredFor("fabrion "), UnorderedElementsAreArray(commandsOfProgram()));
  EXPECT_THAT(offeredFor("fabrion r"), UnorderedElementsAre("run", "render", "replay"));
  EXPECT_THAT(offeredFor("fabrion --module fabric.yaml wi"), ElementsAre("wiring"));
  EXPECT_THAT(offeredFor("fabrion --module=fabric.yaml wi"), ElementsAre("wiring"));
  EXPECT_THAT(offeredFor("fabrion nothing"), IsEmpty());
}

TEST_F(Completion, OffersTheOptionsOfEachCommand) {
  EXPECT_THAT(offeredFor("fabrion --"), UnorderedElementsAre("--help", "--version", "--module"));
  for (const std::string& command : commandsOfProgram()) {
    std::set<std::string> options = helpOf(command).options;
    options.insert("--module");
    EXPECT_THAT(offeredFor("fabrion " + command + " -"), UnorderedElementsAreArray(options))
        << command;
  }
  EXPECT_THAT(offeredFor("fabrion run --w"), ElementsAre("--watch"));
  EXPECT_THAT(offeredFor("fabrion run fabric.yaml --strict --format json --re"),
              ElementsAre("--record"));
}

TEST_F(Completion, OffersTheChoicesOfAnOption) {
  for (const char* command : {"run", "plan", "audit", "why"}) {
    EXPECT_THAT(offeredFor("fabrion " + std::string(command) + " --format "),
                UnorderedElementsAre("text", "json"))
        << command;
  }
  EXPECT_THAT(offeredFor("fabrion wiring --format "), UnorderedElementsAre("text", "dot"));
  EXPECT_THAT(offeredFor("fabrion render --target "),
              UnorderedElementsAre("ovs", "sonic", "openconfig"));
  EXPECT_THAT(offeredFor("fabrion render --target o"), UnorderedElementsAre("ovs", "openconfig"));
  EXPECT_THAT(offeredFor("fabrion completion "), ElementsAre("bash"));
  EXPECT_THAT(offeredFor("fabrion run --format x"), IsEmpty());
  // With the sign of equality it is one word for a command.
  EXPECT_THAT(offeredFor("fabrion run --format=j"), ElementsAre("--format=json"));
  EXPECT_THAT(offeredFor("fabrion run --format=json --tr"), ElementsAre("--trace"));
}

TEST_F(Completion, OffersFilesWhereOneIsMeant) {
  const Words files{"answer", "bin", "examples", "fabric.yaml", "lldp", "my fabric.yaml", "script"};
  const auto without = [](Words words) {
    for (std::string& word : words) {
      if (word.ends_with('/')) word.pop_back();
    }
    std::erase(words, "answer");
    return words;
  };
  for (const char* line :
       {"fabrion run ", "fabrion check fabric.yaml ", "fabrion plan ", "fabrion why ",
        "fabrion replay ", "fabrion run --record ", "fabrion audit --against ", "fabrion --module ",
        "fabrion run --module ", "fabrion plan --old fabric.yaml ", "fabrion draw -o "}) {
    EXPECT_THAT(without(offeredFor(line)), UnorderedElementsAreArray(without(files))) << line;
  }
  EXPECT_THAT(offeredFor("fabrion run my"), ElementsAre("my fabric.yaml"));
  EXPECT_THAT(offeredFor("fabrion run lldp/"),
              UnorderedElementsAre("lldp/leaf1.json", "lldp/leaf2.json"));
  EXPECT_THAT(offeredFor("fabrion run --record=fa"), ElementsAre("--record=fabric.yaml"));
  EXPECT_THAT(offeredFor("fabrion discover --switch leaf1=lldp/leaf1"),
              ElementsAre("leaf1=lldp/leaf1.json"));
  EXPECT_THAT(offeredFor("fabrion discover --switch leaf1=lldp/leaf1.json fa"),
              ElementsAre("fabric.yaml"));
}

TEST_F(Completion, OffersNothingWhereNobodyKnows) {
  for (const char* line : {"fabrion render --switch ", "fabrion run --trace ", "fabrion wiring ",
                           "fabrion generate ", "fabrion generate --leaves ", "fabrion man ",
                           "fabrion discover --host ", "fabrion nothing ", "fabrion nothing -"}) {
    EXPECT_THAT(offeredFor(line), IsEmpty()) << line;
  }
}

// The package loads a script by the name of the command, when it is first completed.
TEST_F(Completion, WorksWhereTheScriptIsLoadedOnDemand) {
  bash_.run("complete -r; unset -f _fabrion");
  bash_.run("load() { source ./script && return 124; }; complete -D -F load");
  EXPECT_THAT(offeredFor("fabrion wi"), ElementsAre("wiring"));
  EXPECT_THAT(offeredFor("fabrion render --target s"), ElementsAre("sonic"));
}

TEST_F(Completion, TheScriptHasNoComplaintsAndIsTheSameEachTime) {
  EXPECT_EQ(scratch_.bash("set -u; source ./script 2>&1").out, "");
  EXPECT_EQ(fabrion("completion bash").out, textOfFile(scratch_.path("script")));
  EXPECT_EQ(fabrion("completion fish 2>/dev/null").status, 2);
}

// A new kind of argument is a file or has no list: whoever adds one says which, here and in
// Described.cc.
TEST(DescribedCommands, EveryPlaceholderIsKnown) {
  CLI::App app;
  Session session;
  addCommands(app, session);
  for (const DescribedCommand& command : described(app, session).commands) {
    for (const std::vector<DescribedOption>* options : {&command.options, &command.positionals}) {
      for (const DescribedOption& option : *options) {
        if (option.kind() != ArgumentKind::other) continue;
        EXPECT_THAT((std::set<std::string>{"N", "LEVEL", "NAME", "SWITCH=PORTS"}),
                    testing::Contains(option.placeholder))
            << command.name;
      }
    }
  }
}

}  // namespace
}  // namespace Fabrion::Host

#endif
