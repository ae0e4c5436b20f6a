// What a terminal gets beside the text: colours and progress.

#include "host/Terminal.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "host/Progress.h"

namespace Fabrion::Host {
namespace {

TEST(Terminal, ColoursTakeATerminalThatKnowsThemAndNobodyAgainstThem) {
  EXPECT_TRUE(coloursWanted(true, nullptr, "xterm-256color"));
  EXPECT_TRUE(coloursWanted(true, "", "xterm"));
  EXPECT_FALSE(coloursWanted(false, nullptr, "xterm"));
  EXPECT_FALSE(coloursWanted(true, "1", "xterm"));
  EXPECT_FALSE(coloursWanted(true, "0", "xterm"));
  EXPECT_FALSE(coloursWanted(true, nullptr, "dumb"));
  EXPECT_FALSE(coloursWanted(true, nullptr, ""));
  EXPECT_FALSE(coloursWanted(true, nullptr, nullptr));
}

TEST(Terminal, CodesAreForTerminalsThatHaveAName) {
  EXPECT_TRUE(knowsCodes("xterm"));
  EXPECT_FALSE(knowsCodes("dumb"));
  EXPECT_FALSE(knowsCodes(""));
  EXPECT_FALSE(knowsCodes(nullptr));
}

TEST(Terminal, PaintsWhereColoursAreWanted) {
  EXPECT_EQ(painted("+ e1", Colour::green, true), "\033[32m+ e1\033[0m");
  EXPECT_EQ(painted("- e1", Colour::red, true), "\033[31m- e1\033[0m");
  EXPECT_EQ(painted("~ e1", Colour::yellow, true), "\033[33m~ e1\033[0m");
  EXPECT_EQ(painted("+ e1", Colour::green, false), "+ e1");
}

TEST(Progress, IsALineThatGoesWhenTheWorkIsDone) {
  std::ostringstream out;
  {
    Progress progress(out, true, {});
    progress.at("Applying", 1, 8);
    // The next is too soon to be worth a line.
    progress.at("Applying", 2, 8);
    EXPECT_EQ(out.str(), "\r\033[KApplying: 12% of 8 operations");
  }
  EXPECT_EQ(out.str(), "\r\033[KApplying: 12% of 8 operations\r\033[K");
}

TEST(Progress, CountsWhatHasNoKnownEndAndMakesRoomForOtherText) {
  std::ostringstream out;
  {
    Progress progress(out, true, {});
    progress.at("Replaying", 1);
    progress.hide();
    progress.hide();
    out << "text\n";
  }
  EXPECT_EQ(out.str(), "\r\033[KReplaying: 1 operation\r\033[Ktext\n");
}

TEST(Progress, CountsForWhoKnowsTheStepsAlone) {
  std::ostringstream out;
  Progress progress(out, {false, true, std::chrono::milliseconds(0)});
  progress.of("Reading", "documents")(1, 3);
  EXPECT_EQ(out.str(), "\r\033[KReading: 33% of 3 documents");
}

TEST(Progress, GoesOnAfterAWhile) {
  std::ostringstream out;
  Progress progress(out, true, {});
  progress.at("Applying", 1, 4);
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  progress.at("Applying", 4, 4);
  EXPECT_EQ(out.str(),
            "\r\033[KApplying: 25% of 4 operations\r\033[KApplying: 100% of 4 operations");
}

TEST(Progress, WhatIsQuickShowsNothing) {
  std::ostringstream out;
  {
    Progress progress(out, true, std::chrono::hours(1));
    progress.at("Applying", 1, 2);
  }
  EXPECT_EQ(out.str(), "");
}

TEST(Progress, IsSilentWhereItIsNotShown) {
  std::ostringstream out;
  {
    Progress progress(out, false, {});
    progress.at("Applying", 1, 2);
  }
  EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace Fabrion::Host
