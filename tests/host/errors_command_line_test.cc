// What the program says of a command line that it does not take, word for word.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/Program.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::Exit;
using Test::shell;

struct Mistaken {
  std::string line;
  std::string said;
};

// `said` follows "fabrion: ", and is followed by the hint at the help of `command`.
void expectSaid(const std::vector<Mistaken>& all, const std::string& command) {
  for (const auto& [line, said] : all) {
    const Exit exit = shell(FABRION_BINARY " " + line + " 2>&1 >/dev/null </dev/null");
    EXPECT_EQ(exit.status, 2) << line;
    EXPECT_EQ(exit.out,
              "fabrion: " + said + "\nRun `fabrion" + command + " --help` for more information.\n")
        << line;
  }
}

const std::string commands =
    "run, plan, audit, check, render, generate, discover, draw, replay, why, wiring, completion, "
    "man";

TEST(ErrorsOfTheCommandLine, CommandsThatAreNone) {
  expectSaid(
      {
          {"", "no command; expected one of: " + commands},
          {"--module x", "no command; expected one of: " + commands},
          {"paln", "unknown command 'paln'; did you mean 'plan'?"},
          {"generat --leaves 4", "unknown command 'generat'; did you mean 'generate'?"},
          {"help", "unknown command 'help'; expected one of: " + commands},
          {"''", "unknown command ''; expected one of: " + commands},
          {"fabric.yaml", "unknown command 'fabric.yaml'; expected one of: " + commands},
          {"--bogus", "unknown option '--bogus'; expected one of: --help, --version, --module"},
      },
      "");
}

struct Command {
  std::string name;
  std::string usage;  // behind the name
  std::string right;  // arguments that it takes
  std::string options;
};

std::vector<Command> everyCommand() {
  return {
      {"run", " DOCUMENT...", "f",
       "--help, --format, --strict, --trace, --record, --outputs, --watch, --heal"},
      {"plan", " [OLD NEW]", "f g", "--help, --old, --new, --format"},
      {"audit", " DOCUMENT...", "f --against o", "--help, --against, --format"},
      {"check", " DOCUMENT...", "f", "--help"},
      {"render", " DOCUMENT...", "f --target ovs", "--help, --target, --switch"},
      {"generate", "", "",
       "--help, --leaves, --spines, --servers, --links, --clients, --vlans, "
       "--seed, --output"},
      {"discover", " [FILE...]", "f", "--help, --switch, --host, --ports"},
      {"draw", " DOCUMENT...", "f -o g", "--help, --output"},
      {"replay", " JOURNAL", "f", "--help, --trace"},
      {"why", " DOCUMENT... SWITCH [PORT [VLAN]]", "f s", "--help, --format"},
      {"wiring", "", "", "--help, --format"},
      {"completion", " SHELL", "bash", "--help"},
      {"man", "", "", "--help"},
  };
}

TEST(ErrorsOfTheCommandLine, OptionsThatACommandDoesNotHave) {
  std::string all;
  for (const auto& [name, usage, right, options] : everyCommand()) {
    all += (all.empty() ? "" : ", ") + name;
    const std::string known = "; expected one of: " + options + ", --version, --module";
    const std::string of = " of '" + name + "'";
    expectSaid(
        {
            {name + " --bogus " + right, "unknown option '--bogus'" + of + known},
            // A misspelt option is told of even where what is required is missing.
            {name + " --bogus", "unknown option '--bogus'" + of + known},
            {name + " -q " + right, "unknown option '-q'" + of + known},
            {name + " --bogus=1 " + right, "unknown option '--bogus'" + of + known},
            {name + " --hlep " + right,
             "unknown option '--hlep'" + of + "; did you mean '--help'?"},
            {name + " " + right + " --help=yes", "--help with a value; expected it alone"},
            {name + " " + right + " --module", "--module without its FILE"},
        },
        " " + name);
  }
  EXPECT_EQ(all, commands);
  expectSaid({{"--modul=x run f", "unknown option '--modul' of 'run'; did you mean '--module'?"}},
             " run");
  expectSaid({{"--leaves 3 generate",
               "option '--leaves' in front of the command; expected it after 'generate'"},
              {"generate --leafs 3",
               "unknown option '--leafs' of 'generate'; did you mean "
               "'--leaves'?"}},
             " generate");
}

TEST(ErrorsOfTheCommandLine, ArgumentsThatAreMissing) {
  for (const auto& [name, usage, right, options] : everyCommand()) {
    if (usage.empty() || usage[1] == '[') continue;
    const std::string first = usage.substr(1, usage.find_first_of(" .", 1) - 1);
    expectSaid({{name, first + " is missing; expected fabrion " + name + " [OPTIONS]" + usage}},
               " " + name);
  }
  expectSaid({{"render f", "--target TARGET is missing; expected ovs, sonic or openconfig"}},
             " render");
  expectSaid({{"draw f", "--output FILE is missing"}}, " draw");
}

TEST(ErrorsOfTheCommandLine, ArgumentsThatAreTooMany) {
  for (const auto& [name, usage, right, options] : everyCommand()) {
    if (usage.find("...") != std::string::npos || name == "plan") continue;
    expectSaid({{name + " " + right + " more and more",
                 "unexpected argument 'more'; expected fabrion " + name + " [OPTIONS]" + usage}},
               " " + name);
  }
}

TEST(ErrorsOfTheCommandLine, ThePlansTwoSides) {
  const std::string form = "; expected OLD NEW, or --old FILE... --new FILE...";
  expectSaid(
      {
          {"plan", "OLD and NEW are missing" + form},
          {"plan a", "OLD without NEW" + form},
          {"plan a b c d", "'c' follows NEW" + form},
          {"plan a b --old c", "'a' beside --old" + form},
          {"plan a b --new c", "'a' beside --new" + form},
          {"plan a --old c --new d", "'a' beside --old" + form},
          {"plan --old a b", "--old without --new" + form},
          {"plan --new a", "--new without --old" + form},
          {"plan --new a --old", "--old without its FILE"},
      },
      " plan");
}

TEST(ErrorsOfTheCommandLine, OptionsWithoutTheirValue) {
  const std::string numbers = "; expected a number from 0 to 10000000";
  expectSaid({{"--module", "--module without its FILE"}}, "");
  expectSaid(
      {
          {"run f --format", "--format without its FORMAT; expected text or json"},
          {"run f --trace", "--trace without its LEVEL; expected a number from 0 to 9"},
          {"run f --record", "--record without its FILE"},
          {"run f --outputs", "--outputs without its FILE"},
          {"run --heal f", "--heal requires --watch"},
      },
      " run");
  expectSaid({{"plan --old", "--old without its FILE"}, {"plan --new", "--new without its FILE"}},
             " plan");
  expectSaid({{"audit f --against", "--against without its FILE"}}, " audit");
  expectSaid(
      {{"render f --switch", "--switch without its NAME"},
       {"render f --target", "--target without its TARGET; expected ovs, sonic or openconfig"}},
      " render");
  expectSaid(
      {
          {"generate --leaves", "--leaves without its N" + numbers},
          {"generate --links", "--links without its N; expected a number from 0 to 64"},
          {"generate --seed",
           "--seed without its N; expected a number from 0 to 18446744073709551615"},
          {"generate --output", "--output without its FILE.yaml"},
      },
      " generate");
  expectSaid({{"discover --switch", "--switch without its NAME=FILE"},
              {"discover --host", "--host without its NAME"},
              {"discover --ports", "--ports without its SWITCH=PORTS"}},
             " discover");
  expectSaid({{"draw f -o", "--output without its FILE"}}, " draw");
  expectSaid({{"why f --format", "--format without its FORMAT; expected text or json"}}, " why");
  expectSaid({{"wiring --format", "--format without its FORMAT; expected text or dot"}}, " wiring");
}

TEST(ErrorsOfTheCommandLine, NumbersOutOfRange) {
  const auto number = [](const std::string& written, const std::string& option,
                         const std::string& most) {
    return "'" + written + "' as N of " + option + "; expected a number from 0 to " + most;
  };
  for (const std::string option : {"--leaves", "--spines", "--servers", "--clients"}) {
    for (const std::string wrong : {"10000001", "-1", "x", "", "1.5", "0x10", "1e3", " 7", "+7"}) {
      expectSaid({{"generate " + option + " '" + wrong + "'", number(wrong, option, "10000000")}},
                 " generate");
    }
  }
  const std::string most = "18446744073709551615";
  expectSaid(
      {
          {"generate --links 65", number("65", "--links", "64")},
          {"generate --vlans 4095", number("4095", "--vlans", "4094")},
          {"generate --seed -1", number("-1", "--seed", most)},
          {"generate --seed 18446744073709551616", number("18446744073709551616", "--seed", most)},
          {"generate --seed seven", number("seven", "--seed", most)},
      },
      " generate");
  for (const std::string command : {"run", "replay"}) {
    for (const std::string wrong : {"10", "-1", "x", "99999999999999999999"}) {
      expectSaid({{command + " f --trace " + wrong,
                   "'" + wrong + "' as LEVEL of --trace; expected a number from 0 to 9"}},
                 " " + command);
    }
  }
}

// CLI11 reads numbers as C does, where 010 is eight.
TEST(ErrorsOfTheCommandLine, ZerosInFrontOfANumberAreNothing) {
  const auto generated = [](const std::string& servers) {
    return shell(FABRION_BINARY " generate --servers " + servers + " 2>&1").out;
  };
  EXPECT_EQ(generated("010"), generated("10"));
  EXPECT_NE(generated("010"), generated("8"));
}

TEST(ErrorsOfTheCommandLine, WordsThatAreNoneOfTheChoices) {
  for (const std::string command : {"run f", "plan f g", "audit f --against o", "why f s"}) {
    const std::string name = command.substr(0, command.find(' '));
    expectSaid({{command + " --format xml", "'xml' as FORMAT of --format; expected text or json"},
                {command + " --format ''", "'' as FORMAT of --format; expected text or json"}},
               " " + name);
  }
  expectSaid({{"wiring --format json", "'json' as FORMAT of --format; expected text or dot"}},
             " wiring");
  expectSaid(
      {{"render f --target foo", "'foo' as TARGET of --target; expected ovs, sonic or openconfig"},
       {"render f --target OVS", "'OVS' as TARGET of --target; expected ovs, sonic or openconfig"}},
      " render");
  expectSaid({{"completion zsh", "'zsh' as SHELL; expected bash"}}, " completion");
}

TEST(ErrorsOfTheCommandLine, OptionsTwiceAndFlagsWithAValue) {
  expectSaid(
      {
          {"run f --format json --format text", "--format stands 2 times; expected it once"},
          {"run f --trace 1 --trace 2 --trace 3", "--trace stands 3 times; expected it once"},
          {"run f --record a --record b", "--record stands 2 times; expected it once"},
          {"run f --strict=no", "--strict with a value; expected it alone"},
          {"run f --watch=1", "--watch with a value; expected it alone"},
          {"run f --watch --heal=no", "--heal with a value; expected it alone"},
          {"--module a run f --module b", "--module stands 2 times; expected it once"},
      },
      " run");
  expectSaid({{"draw f -o a --output b", "--output stands 2 times; expected it once"}}, " draw");
  expectSaid({{"--version=3", "--version with a value; expected it alone"}}, "");
}

}  // namespace
}  // namespace Fabrion::Host

#endif
