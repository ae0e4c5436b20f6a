// `fabrion run --watch` as a user runs it: documents are edited under it, broken, taken away and
// brought back.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/host/Program.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Json = nlohmann::json;
using Test::Exit;
using Test::fabrion;
using Test::textOfFile;
using testing::HasSubstr;
using testing::Not;

constexpr auto patience = std::chrono::seconds(60);

// A program that runs beside the test, which reads what it writes as it comes.
class Running {
 public:
  // The terminal, where asked for, is its standard output and error.
  explicit Running(std::vector<std::string> arguments, bool terminal = false) {
    arguments.insert(arguments.begin(), {FABRION_BINARY, "--module", FABRION_MODULE});
    int pty = -1;
    int ends[2] = {-1, -1};
    int errors[2] = {-1, -1};
    if (terminal ? openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0
                 : pipe(ends) != 0 || pipe(errors) != 0) {
      throw std::runtime_error("no pipe");
    }
    pty = terminal ? ends[1] : -1;
    child_ = fork();
    if (child_ < 0) throw std::runtime_error("no process");
    if (child_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      dup2(pty < 0 ? errors[1] : pty, STDERR_FILENO);
      for (const int one : {ends[0], ends[1], errors[0], errors[1]}) {
        if (one > STDERR_FILENO) close(one);
      }
      std::vector<char*> words;
      for (std::string& argument : arguments) words.push_back(argument.data());
      words.push_back(nullptr);
      execv(FABRION_BINARY, words.data());
      _exit(127);
    }
    close(ends[1]);
    if (errors[1] >= 0) close(errors[1]);
    out_ = ends[0];
    err_ = errors[0];
  }
  ~Running() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    close(out_);
    if (err_ >= 0) close(err_);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  // What has come on the standard output up to and with `end`, which must come.
  std::string outTo(const std::string& end) { return upTo(out_, outText_, end); }
  std::string errTo(const std::string& end) { return upTo(err_, errText_, end); }

  void signal(int number) const { kill(child_, number); }

  struct End {
    int status = -1;
    std::string out;  // that was not taken
    std::string err;
  };
  End ended() {
    End end;
    for (char part[4096]; const ssize_t n = read(out_, part, sizeof part);) {
      if (n < 0) break;  // a terminal that nobody holds any more
      outText_.append(part, static_cast<std::size_t>(n));
    }
    for (char part[4096]; err_ >= 0;) {
      const ssize_t n = read(err_, part, sizeof part);
      if (n <= 0) break;
      errText_.append(part, static_cast<std::size_t>(n));
    }
    int status = 0;
    waitpid(std::exchange(child_, -1), &status, 0);
    if (WIFEXITED(status)) end.status = WEXITSTATUS(status);
    end.out = outText_;
    end.err = errText_;
    return end;
  }

 private:
  static std::string upTo(int from, std::string& text, const std::string& end) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::size_t at = 0;
    while ((at = text.find(end)) == std::string::npos) {
      pollfd polled{from, POLLIN, 0};
      char part[4096];
      const bool ready = poll(&polled, 1, 1000) > 0;
      const ssize_t n = ready ? read(from, part, sizeof part) : 1;
      if (n <= 0 || std::chrono::steady_clock::now() > deadline) {
        ADD_FAILURE() << "no \"" << end << "\" in: " << text;
        return std::exchange(text, "");
      }
      if (ready) text.append(part, static_cast<std::size_t>(n));
    }
    const std::string taken = text.substr(0, at + end.size());
    text.erase(0, taken.size());
    return taken;
  }

  pid_t child_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string outText_;
  std::string errText_;
};

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

TEST_F(Watch, HealsWhatAnEditLeavesBehindAndGoesOnInAnotherJournal) {
  Running program({"run", "--watch", "--heal", "--record", file("journal"), "--outputs",
                   file("outputs"), file("leaf.yaml")});
  program.errTo("ends it\n");
  program.outTo("No conflicts.\n");
  write(replaced(leaf, ", vteps: vtep1", ""));
  EXPECT_EQ(program.outTo("journal.1.\n"), R"(
Edit 1

Switch leaf1
  - VTEP vtep1
  - VTEP vtep1, port e1: VLAN 10 to VNI 5010

1 switch and 1 port changed.

Left behind: + stands and should not, - is missing, ~ has the wrong value.

Switch leaf1
  + VTEP vtep1
  + VTEP vtep1, port e1: VLAN 10 to VNI 5010

The controller was built anew, so nothing is left behind.
The journal goes on in )" + file("journal.1") + ".\n");
  program.signal(SIGTERM);
  const Running::End end = program.ended();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.err, testing::EndsWith("ended after 1 edit; 1 left something behind, 1 had the "
                                         "controller built anew\n"));
  for (const char* journal : {"journal", "journal.1"}) {
    EXPECT_EQ(fabrion("replay " + file(journal)).status, 0) << journal;
  }
  const Exit dump =
      fabrion("replay - <<END\n" + textOfFile(file("journal.1")) + "{\"op\":\"dump\"}\nEND");
  EXPECT_EQ(dump.status, 0);
  const Json outputs = Json::parse(textOfFile(file("outputs")));
  EXPECT_EQ(Json::parse(dump.out)["switch"], outputs["switch"]);
  EXPECT_EQ(outputs["switch"]["leaf1"]["vtepConfig"], Json::object());
}

TEST_F(Watch, WithoutHealingALeftoverStaysAndIsTold) {
  Running program({"run", "--watch", "--format", "json", file("leaf.yaml")});
  EXPECT_EQ(Json::parse(program.outTo("\n"))["conflicts"], Json::array());
  program.errTo("ends it\n");
  write(replaced(leaf, ", vteps: vtep1", ""));
  const Json line = Json::parse(program.outTo("\n"));
  EXPECT_EQ(line["edit"], 1);
  EXPECT_EQ(line["differences"], Json::array());
  EXPECT_EQ(line["rebuilt"], false);
  ASSERT_EQ(line["leftovers"].size(), 2U);
  EXPECT_EQ(line["leftovers"][1]["vlans"], "10");
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

TEST_F(Watch, HealingNeedsWatching) {
  const Exit exit = fabrion("run --heal " + file("leaf.yaml") + " 2>&1");
  EXPECT_EQ(exit.status, 2);
  EXPECT_THAT(exit.out, HasSubstr("--heal requires --watch"));
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
