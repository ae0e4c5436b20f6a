#include "host/MachinePath.h"

#include <gtest/gtest.h>

#include "host/BadJournal.h"

namespace Fabrion::Host {
namespace {

using Names = std::vector<std::string>;

TEST(MachinePath, ASlashParts) {
  EXPECT_EQ(namesOfPath("topologySm"), Names{"topologySm"});
  EXPECT_EQ(namesOfPath("switchNodeSm/leaf1"), (Names{"switchNodeSm", "leaf1"}));
}

TEST(MachinePath, NamesMayBeEmpty) { EXPECT_EQ(namesOfPath("a//"), (Names{"a", "", ""})); }

TEST(MachinePath, ASlashAndATildeInsideANameAreEscaped) {
  EXPECT_EQ(escapedName("ge-0/0~1"), "ge-0~10~01");
  EXPECT_EQ(namesOfPath("portGroupSm/ge-0~10~01"), (Names{"portGroupSm", "ge-0/0~1"}));
}

TEST(MachinePath, EveryNameComesBack) {
  for (const char* name : {"", "/", "~", "~~0/1", "/~1/", "plain", "\xc3\xa4/\xc3\xb6"}) {
    EXPECT_EQ(namesOfPath(escapedName(name)), Names{name});
  }
}

TEST(MachinePath, ATildeThatEscapesNothingIsRefused) {
  EXPECT_THROW(namesOfPath("switchNodeSm/a~2"), BadJournal);
  EXPECT_THROW(namesOfPath("switchNodeSm/a~"), BadJournal);
}

}  // namespace
}  // namespace Fabrion::Host
