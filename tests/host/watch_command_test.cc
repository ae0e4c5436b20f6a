// `fabrion run --watch` as a user runs it: documents are edited under it, broken, taken away and
// brought back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/host/Program.h"
#include "tests/host/Running.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::Exit;
using Test::fabrion;
using Test::Running;
using Test::textOfFile;
using testing::HasSubstr;
using testing::Not;

const std::string leaf = R"(fabrion: 1
switches:
  leaf1: {ports: "e[1-3]", vteps: vtep1}
requests:
  - {client: acme, switch: leaf1, port: e1, vlans: [10-12], vnis: {10: 5010}}
)";

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  return text.replace(text.find(what), what.size(), with);
}

// A directory of its own, since all directories are watched that documents are in.
class Watch : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "watchXXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
    write(leaf);
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string file(const std::string& name) const { return directory_ + "/" + name; }
  void write(const std::string& text) const {
    std::ofstream(file("leaf.yaml"), std::ios::binary) << text;
  }
  // As editors do.
  void renameOver(const std::string& text) const {
    std::ofstream(file("leaf.yaml~"), std::ios::binary) << text;
    std::filesystem::rename(file("leaf.yaml~"), file("leaf.yaml"));
  }
  std::string watching() const {
    return "fabrion: watching " + file("leaf.yaml") + "; Ctrl-C or SIGTERM ends it\n";
  }

  std::string directory_;
};

TEST_F(Watch, ShowsWhatEachEditChangesUntilItIsToldToEnd) {
  Running program({"run", "--watch", file("leaf.yaml")});
  EXPECT_EQ(program.errTo("ends it\n"), watching());
  EXPECT_THAT(program.outTo("No conflicts.\n"), HasSubstr("Switch leaf1\n"));
  write(replaced(leaf, "10-12", "10-11, 20"));
  EXPECT_EQ(program.outTo("changed.\n"), R"(
Edit 1

Switch leaf1
  - VLAN 12
  + VLAN 20
  - port e1: VLAN 12
  + port e1: VLAN 20

1 switch and 1 port changed.
)");
  renameOver(leaf);
  EXPECT_THAT(program.outTo("changed.\n"), HasSubstr("Edit 2\n\nSwitch leaf1\n  - VLAN 20\n"));
  program.signal(SIGTERM);
  const Running::End end = program.ended();
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.err,
            "fabrion: ended after 2 edits; 0 left something behind, 0 had the controller built "
            "anew\n");
}

TEST_F(Watch, AMistakeIsToldAndWhatRunsStays) {
  Running program({"run", "--watch", file("leaf.yaml")});
  program.outTo("No conflicts.\n");
  program.errTo("ends it\n");
  write(replaced(leaf, "port: e1", "port: e9"));
  const std::string told = program.errTo("stays as it is\n");
  EXPECT_THAT(told, testing::StartsWith(file("leaf.yaml") + ":5:"));
  EXPECT_THAT(told, testing::EndsWith(
                        "\nfabrion: the documents have mistakes; what runs stays as it is\n"));
  write(leaf);
  EXPECT_EQ(program.errTo("what runs\n"),
            "fabrion: the documents are right again, and say what runs\n");
  write(replaced(leaf, "10-12", "10-13"));
  EXPECT_THAT(program.outTo("changed.\n"), HasSubstr("\nEdit 1\n"));
  program.signal(SIGINT);
  EXPECT_EQ(program.ended().status, 0);
}

TEST_F(Watch, ADocumentThatIsGoneIsWaitedFor) {
  Running program({"run", "--watch", file("leaf.yaml")});
  program.errTo("ends it\n");
  std::filesystem::remove(file("leaf.yaml"));
  EXPECT_EQ(program.errTo("back\n"), "fabrion: " + file("leaf.yaml") +
                                         " is gone; what runs stays as it is until it is back\n");
  write(leaf);
  EXPECT_EQ(program.errTo("what runs\n"),
            "fabrion: the documents are right again, and say what runs\n");
  // With its directory too.
  std::filesystem::remove_all(directory_);
  program.errTo("is back\n");
  std::filesystem::create_directory(directory_);
  write(replaced(leaf, "10-12", "10-13"));
  program.outTo("1 port changed.\n");
  program.signal(SIGTERM);
  EXPECT_EQ(program.ended().status, 0);
}

TEST_F(Watch, ADocumentMayBeALinkThatIsTurned) {
  std::filesystem::create_directory(file("one"));
  std::filesystem::create_directory(file("two"));
  std::filesystem::rename(file("leaf.yaml"), file("one/leaf.yaml"));
  std::ofstream(file("two/leaf.yaml")) << replaced(leaf, "10-12", "10-13");
  std::filesystem::create_symlink("one", file("now"));
  Running program({"run", "--watch", file("now/leaf.yaml")});
  program.errTo("ends it\n");
  std::filesystem::create_symlink("two", file("next"));
  std::filesystem::rename(file("next"), file("now"));
  EXPECT_THAT(program.outTo("1 port changed.\n"), HasSubstr("+ VLAN 13\n"));
  // And what it leads to may be edited.
  std::ofstream(file("two/leaf.yaml")) << leaf;
  EXPECT_THAT(program.outTo("1 port changed.\n"), HasSubstr("- VLAN 13\n"));
  program.signal(SIGTERM);
  EXPECT_EQ(program.ended().status, 0);
}

TEST_F(Watch, SeveralDocumentsAreOneFabric) {
  std::ofstream(file("more.yaml")) << "fabrion: 1\nrequests: []\n";
  Running program({"run", "--watch", file("leaf.yaml"), file("more.yaml")});
  EXPECT_EQ(program.errTo("ends it\n"), "fabrion: watching " + file("leaf.yaml") + ", " +
                                            file("more.yaml") + "; Ctrl-C or SIGTERM ends it\n");
  std::ofstream(file("more.yaml"))
      << "fabrion: 1\nrequests: [{client: blue, switch: leaf1, port: e2, native: 7}]\n";
  EXPECT_THAT(
      program.outTo("changed.\n"),
      HasSubstr("Switch leaf1\n  + port e2: native VLAN 7\n\n1 switch and 1 port changed.\n"));
  program.signal(SIGTERM);
  EXPECT_EQ(program.ended().status, 0);
}

TEST_F(Watch, AConflictAtTheEndIsStatusOneWhereAskedFor) {
  Running program({"run", "--watch", "--strict", file("leaf.yaml")});
  program.errTo("ends it\n");
  write(leaf +
        "  - {client: a, switch: leaf1, port: e3, native: 1}\n"
        "  - {client: b, switch: leaf1, port: e3, native: 2}\n");
  EXPECT_THAT(program.outTo("appeared.\n"),
              HasSubstr("0 switches and 0 ports changed; 1 conflict appeared.\n"));
  program.signal(SIGTERM);
  EXPECT_EQ(program.ended().status, 1);
}

TEST_F(Watch, AMistakeFromTheBeginningIsStatusTwo) {
  write("fabrion: 2\n");
  Running program({"run", "--watch", file("leaf.yaml")});
  const Running::End end = program.ended();
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.out, "");
  EXPECT_THAT(end.err, testing::StartsWith(file("leaf.yaml") + ":1:10: "));
}

TEST_F(Watch, AJournalThatWouldOverwriteADocumentIsRefused) {
  Running program({"run", "--watch", "--record", file("leaf.yaml"), file("leaf.yaml")});
  const Running::End end = program.ended();
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.err,
            "fabrion: " + file("leaf.yaml") + " is a document; the journal would overwrite it\n");
  EXPECT_EQ(textOfFile(file("leaf.yaml")), leaf);
}

TEST_F(Watch, AReportThatCannotBeWrittenEndsIt) {
  const Exit exit = fabrion("run --watch " + file("leaf.yaml") + " 2>&1 >/dev/full");
  EXPECT_EQ(exit.status, 2);
  EXPECT_EQ(exit.out, watching() + "fabrion: the report cannot be written\n");
}

TEST_F(Watch, ColoursAreForATerminalAlone) {
  const std::string other = replaced(leaf, "10-12", "10-11");
  std::ofstream(file("other.yaml")) << other;
  const std::vector<std::string> arguments = {"plan", file("leaf.yaml"), file("other.yaml")};
  ASSERT_EQ(setenv("TERM", "xterm", 1), 0);
  ASSERT_EQ(unsetenv("NO_COLOR"), 0);
  EXPECT_THAT(Running(arguments, true).ended().out, HasSubstr("\033[31m- VLAN 12\033[0m"));
  EXPECT_THAT(Running(arguments).ended().out, Not(HasSubstr("\033")));
  ASSERT_EQ(setenv("NO_COLOR", "1", 1), 0);
  EXPECT_THAT(Running(arguments, true).ended().out, Not(HasSubstr("\033")));
  ASSERT_EQ(unsetenv("NO_COLOR"), 0);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
