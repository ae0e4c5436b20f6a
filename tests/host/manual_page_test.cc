// The manual page: roff reads it without a complaint, everything that the parser knows is in it,
// and what looks like roff in a text is text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/commandline/Commands.h"
#include "host/commandline/ManualPage.h"
#include "tests/host/Help.h"
#include "tests/host/Scratch.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::Exit;
using Test::fabrion;
using Test::Help;
using Test::HelpExample;
using Test::helpOf;
using Test::linesOf;
using Test::shell;
using Test::shellWord;
using Test::textOfFile;
using Test::written;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Manual : public testing::Test {
 protected:
  void SetUp() override {
    if (shell("command -v groff >/dev/null").status != 0) GTEST_SKIP() << "no groff";
  }

  // The page as text in lines so long that nothing is broken, and what roff complains about.
  static std::string rendered(const std::string& roff, std::string& complaints) {
    const std::string page = written("page.1", roff);
    const std::string said = testing::TempDir() + "page.said";
    const Exit shown = shell("groff -ww -b -man -K utf8 -T utf8 -P -cbou -rLL=400n -rHY=0 " +
                             shellWord(page) + " 2>" + shellWord(said));
    EXPECT_EQ(shown.status, 0);
    complaints = textOfFile(said);
    return shown.out;
  }
};

std::string manual() { return fabrion("man").out; }

// The lines below a heading that stands at `indent`, up to the next that does or stands further
// out.
std::string below(const std::string& page, const std::string& heading, std::size_t indent) {
  std::string text;
  bool inside = false;
  for (const std::string& line : linesOf(page)) {
    const std::size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos) continue;
    if (inside && start <= indent) break;
    if (inside) text += line + '\n';
    if (start == indent && line.substr(start) == heading) inside = true;
  }
  return text;
}

TEST_F(Manual, IsReadWithoutAComplaint) {
  std::string complaints;
  rendered(manual(), complaints);
  EXPECT_EQ(complaints, "");
  // At the width of a screen too, where lines have to be broken.
  const std::string page = written("screen.1", manual());
  EXPECT_EQ(shell("groff -ww -b -man -K utf8 -T utf8 " + shellWord(page) + " 2>&1 >/dev/null").out,
            "");
  if (shell("command -v man >/dev/null").status == 0) {
    EXPECT_EQ(shell("LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l " + shellWord(page) +
                    " 2>&1 >/dev/null")
                  .out,
              "");
  }
}

TEST_F(Manual, NamesEveryCommandAndOptionAndStatusAndExample) {
  std::string complaints;
  const std::string page = rendered(manual(), complaints);
  for (const char* section : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "COMMANDS",
                              "EXIT STATUS", "ENVIRONMENT", "FILES", "EXAMPLES", "SEE ALSO"}) {
    EXPECT_THAT(below(page, section, 0), Not(IsEmpty())) << section;
  }
  EXPECT_THAT(below(page, "NAME", 0),
              HasSubstr("fabrion - overlay provisioning for data-centre fabrics\n"));
  EXPECT_THAT(below(page, "ENVIRONMENT", 0), HasSubstr("NO_COLOR"));

  const std::string examples = below(page, "EXAMPLES", 0);
  const Help program = helpOf("");
  for (const std::string& option : program.options) {
    EXPECT_THAT(below(page, "OPTIONS", 0), HasSubstr(option));
  }
  const std::string commands = below(page, "COMMANDS", 0);
  for (const std::string& command : program.commands) {
    SCOPED_TRACE(command);
    const Help help = helpOf(command);
    const std::string told = below(commands, command, 3);
    for (const std::string& option : help.options) {
      // Each command has it, and so it is told once.
      if (option == "-h" || option == "--help") continue;
      const std::regex head("(^|\n) +(-[a-z], )?" + option + "(,? [^\n]*)?\n");
      EXPECT_TRUE(std::regex_search(told, head)) << option << " in\n" << told;
    }
    for (const int status : help.endings) {
      EXPECT_TRUE(std::regex_search(told, std::regex("\n +" + std::to_string(status) + " +[A-Z]")))
          << status << " in\n"
          << told;
    }
    for (const HelpExample& example : help.examples) {
      EXPECT_THAT(examples, HasSubstr("  " + example.line + '\n'));
    }
  }
}

TEST_F(Manual, TellsChoicesBoundsAndWhatStandsUnlessGiven) {
  std::string complaints;
  const std::string commands = below(rendered(manual(), complaints), "COMMANDS", 0);
  EXPECT_THAT(below(commands, "render", 3), HasSubstr("--target ovs|sonic|openconfig\n"));
  EXPECT_THAT(below(commands, "run", 3), HasSubstr("--format text|json\n"));
  EXPECT_THAT(below(commands, "run", 3), HasSubstr("It is text unless given."));
  EXPECT_THAT(below(commands, "run", 3), HasSubstr("From 0 to 9."));
  EXPECT_THAT(below(commands, "run", 3), HasSubstr("Needs --watch."));
  EXPECT_THAT(below(commands, "run", 3), HasSubstr("DOCUMENT...\n"));
  EXPECT_THAT(below(commands, "plan", 3), HasSubstr("[OLD NEW]\n"));
  EXPECT_THAT(below(commands, "plan", 3), HasSubstr("--old FILE...\n"));
  EXPECT_THAT(below(commands, "discover", 3), HasSubstr("May be given several times."));
}

TEST_F(Manual, WhatLooksLikeRoffIsText) {
  const std::string odd = R"(.TH 'quoted' \fBno\fR -x --y "z" a\b ~/.x ^ $(c) .)";
  DescribedProgram program;
  program.program.name = "odd";
  program.program.description = odd;
  program.version = "odd 1.0";
  DescribedCommand command;
  command.name = "do";
  command.description = "'" + odd;
  DescribedOption option;
  option.names = {"--what"};
  option.placeholder = "A'B";
  option.description = "'." + odd;
  command.options = {option};
  command.help = {{{0, odd}}, {{".br", "'" + odd + " `now`"}}};
  program.commands = {command};
  std::string complaints;
  const std::string page = rendered(manualPage(program), complaints);
  EXPECT_EQ(complaints, "");
  EXPECT_THAT(page, HasSubstr("odd - " + odd + "\n"));
  EXPECT_THAT(page, HasSubstr("       '" + odd + ".\n"));
  EXPECT_THAT(page, HasSubstr("--what A'B\n"));
  EXPECT_THAT(page, HasSubstr("       '." + odd + ".\n"));
  EXPECT_THAT(page, HasSubstr("0      " + odd + "\n"));
  EXPECT_THAT(page, HasSubstr("       .br\n"));
  EXPECT_THAT(page, HasSubstr("           '" + odd + " `now`\n"));
}

TEST(ManualPage, IsTheSameEachTime) {
  const Exit page = fabrion("man");
  EXPECT_EQ(page.status, 0);
  EXPECT_EQ(page.out, manual());
  EXPECT_THAT(page.out, testing::EndsWith("\n"));
}

TEST(ManualPage, ThatCannotBeWrittenIsAMistake) {
  const Exit full = fabrion("man 2>&1 >/dev/full");
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.out, "fabrion: the manual page cannot be written\n");
}

}  // namespace
}  // namespace Fabrion::Host

#endif
