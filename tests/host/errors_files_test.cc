// Files and streams that cannot be read or written, command by command: what is said, word for
// word, and that nothing ends well that did not.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/FileWatch.h"
#include "tests/host/Program.h"
#include "tests/host/Texts.h"
#include "tests/host/controller_scene.h"
#include "tests/host/folder.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::Exit;
using Test::fabrion;
using Test::Folder;
using Test::inRepository;
using Test::shell;
using Test::textOfFile;
using Test::written;

const std::string document = inRepository("examples/two-switches.yaml");
const std::string other = inRepository("examples/leaf-spine.yaml");
const std::string journal = inRepository("tests/data/port-request.journal");

// What the program says beside its results, which go to `out`.
void expectSaid(const std::string& command, const std::string& out, int status,
                const std::string& said) {
  const Exit exit = fabrion(command + " 2>&1 >" + out);
  EXPECT_EQ(exit.out, said) << command;
  EXPECT_EQ(exit.status, status) << command;
}

// ---- Results

struct Writing {
  std::string command;
  int status;
  std::string said;
};

std::vector<Writing> everyCommand() {
  return {
      {"run " + document, 2, "fabrion: the report cannot be written\n"},
      {"run --format json " + document, 2, "fabrion: the report cannot be written\n"},
      {"run --strict " + document, 2, "fabrion: the report cannot be written\n"},
      {"check " + document, 2, "fabrion: the result cannot be written\n"},
      {"plan " + document + " " + document, 2, "fabrion: the plan cannot be written\n"},
      {"plan --format json " + document + " " + other, 2, "fabrion: the plan cannot be written\n"},
      {"audit --against " + written("none.json", R"({"switch":{}})") + " " + document, 2,
       "fabrion: the report cannot be written\n"},
      {"render --target ovs " + document, 2, "fabrion: the configuration cannot be written\n"},
      {"render --target openconfig " + document, 2,
       "fabrion: the configuration cannot be written\n"},
      {"draw -o - " + document, 2, "fabrion: the picture cannot be written\n"},
      {"why " + document + " left", 2, "fabrion: the explanation cannot be written\n"},
      {"why --format json " + document + " left", 2,
       "fabrion: the explanation cannot be written\n"},
      {"generate", 2, "fabrion: the document cannot be written\n"},
      {"generate --output " + testing::TempDir() + "made.yaml", 2,
       "fabrion: the files' names cannot be written\n"},
      {"discover " + written("lonely.json", R"({"lldp":{}})"), 2,
       "note: switch 'lonely' has no neighbours, so no port of it is known; it is left out\n"
       "fabrion: the document cannot be written\n"},
      {"replay " + journal, 1, "fabrion: the dumps cannot be written\n"},
  };
}

TEST(ErrorsOfFiles, ResultsThatFillTheDisk) {
  for (const auto& [command, status, said] : everyCommand()) {
    expectSaid(command, "/dev/full", status, said);
  }
}

TEST(ErrorsOfFiles, ResultsThatGoNowhere) {
  for (const auto& [command, status, said] : everyCommand()) {
    expectSaid(command, "&-", status, said);
  }
}

// With a reader that has gone the process ends by the signal, unless that is ignored.
TEST(ErrorsOfFiles, ResultsThatNobodyReads) {
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  // The lowest there is, as a shell takes one digit alone.
  const int number = dup(ends[1]);
  close(ends[1]);
  ASSERT_LT(number, 10);
  for (const auto& [command, status, said] : everyCommand()) {
    const Exit exit = shell("trap '' PIPE; " FABRION_BINARY " --module " FABRION_MODULE " " +
                            command + " 2>&1 >&" + std::to_string(number));
    EXPECT_EQ(exit.out, said) << command;
    EXPECT_EQ(exit.status, status) << command;
  }
  close(number);
}

// ---- Documents

TEST(ErrorsOfFiles, DocumentsThatCannotBeRead) {
  const std::string folder = testing::TempDir();
  const std::string said =
      "/nowhere.yaml: cannot be opened: No such file or directory\n" + folder +
      ": cannot be read: Is a directory\n/proc/self/mem: cannot be read: Input/output error\n";
  const std::string documents = "/nowhere.yaml " + folder + " /proc/self/mem ";
  for (const std::string& command :
       {"run " + documents, "run --watch " + documents, "check " + documents,
        "plan --old " + documents + "--new " + document, "audit " + documents + "--against -",
        "render --target ovs " + documents, "draw " + documents + "-o -"}) {
    expectSaid(command, "/dev/null", 2, said);
  }
  expectSaid("why /nowhere.yaml leaf", "/dev/null", 2,
             "/nowhere.yaml: cannot be opened: No such file or directory\n");
}

TEST(ErrorsOfFiles, DocumentsThatAreGivenTwice) {
  const Folder folder;
  const std::string one = folder.with("one.yaml", textOfFile(document));
  std::filesystem::create_symlink(one, folder / "link.yaml");
  const std::string link = folder / "link.yaml";
  const std::string both = one + " " + one + " ";
  const std::string said = one + ": given twice; expected each file once\n";
  for (const std::string& command :
       {"run " + both, "run --watch " + both, "check " + both,
        "plan --new " + both + "--old " + document, "audit " + both + "--against -",
        "render --target ovs --switch left " + both, "draw " + both + "-o -",
        "why " + both + "left"}) {
    expectSaid(command, "/dev/null", 2, said);
  }
  // Under another name too; what else is wrong is told as well.
  const std::string wrong = folder.with("wrong.yaml", "fabrion: 2\n");
  expectSaid("check " + one + " " + link + " " + wrong + " " + one, "/dev/null", 2,
             link + ": given twice, first as " + one + "; expected each file once\n" + wrong +
                 ":1:10: version '2' of the document; expected 'fabrion: 1'\n" + said);
  // Files alike are two; what they declare twice is told thing by thing.
  EXPECT_EQ(
      fabrion("check " + one + " " + document + " 2>&1 | head -n 1").out,
      document + ":6:3: switch 'left' is declared twice; the first stands at " + one + ":6:3\n");
}

// ---- Journals

TEST(ErrorsOfFiles, JournalsThatCannotBeRead) {
  expectSaid("replay /nowhere/journal", "/dev/null", 1,
             "fabrion: /nowhere/journal: No such file or directory\n");
  expectSaid("replay /", "/dev/null", 1, "fabrion: / cannot be read to its end: Is a directory\n");
  expectSaid("replay /proc/self/mem", "/dev/null", 1,
             "fabrion: /proc/self/mem cannot be read to its end: Input/output error\n");
  expectSaid("replay - </", "/dev/null", 1,
             "fabrion: the standard input cannot be read to its end: Is a directory\n");
  expectSaid("replay - <&-", "/dev/null", 1,
             "fabrion: the standard input cannot be read to its end: Bad file descriptor\n");
}

// ---- Files that are written

TEST(ErrorsOfFiles, FilesThatCannotBeWritten) {
  const std::string folder = testing::TempDir();
  const std::string nowhere = "/nowhere/file.yaml";
  for (const std::string& command :
       {"run " + document + " --record ", "run " + document + " --outputs ",
        "draw " + document + " -o ", std::string("generate --output ")}) {
    expectSaid(command + nowhere, "/dev/null", 2,
               "fabrion: " + nowhere + ": No such file or directory\n");
    expectSaid(command + folder, "/dev/null", 2, "fabrion: " + folder + ": Is a directory\n");
    expectSaid(command + "/dev/full", "/dev/null", 2,
               "fabrion: /dev/full: No space left on device\n");
  }
}

TEST(ErrorsOfFiles, DocumentsAreNotOverwritten) {
  const Folder folder;
  const std::string text = textOfFile(document);
  const std::string kept = folder.with("kept.yaml", text);
  std::filesystem::create_directories(folder / "beside");
  const auto said = [](const std::string& path, const std::string& what) {
    return "fabrion: " + path + " is a document; the " + what + " would overwrite it\n";
  };
  for (const std::string& path : {kept, folder / "beside/../kept.yaml"}) {
    expectSaid("run " + kept + " --record " + path, "/dev/null", 2, said(path, "journal"));
    expectSaid("run " + kept + " --outputs " + path, "/dev/null", 2, said(path, "outputs"));
    expectSaid("draw " + kept + " -o " + path, "/dev/null", 2, said(path, "picture"));
    EXPECT_EQ(textOfFile(kept), text);
  }
}

// The outputs would empty the journal when all is done, and the journal's next line tear them.
TEST(ErrorsOfFiles, JournalAndOutputsAreTwoFiles) {
  const Folder folder;
  std::filesystem::create_directories(folder / "beside");
  const auto command = [&](const std::string& record, const std::string& outputs) {
    return "run " + document + " --record " + record + " --outputs " + outputs;
  };
  const auto said = [](const std::string& outputs) {
    return "fabrion: " + outputs +
           " is to hold the outputs and the journal; expected a file for each\n";
  };
  const std::string one = folder / "one";
  const std::string same = folder / "beside/.././one";
  // While it is not there.
  expectSaid(command(one, one), "/dev/null", 2, said(one));
  expectSaid(command(one, same), "/dev/null", 2, said(same));
  expectSaid(command(one, same) + " --watch", "/dev/null", 2, said(same));
  EXPECT_FALSE(std::filesystem::exists(one));
  // And when it is, by another name too.
  folder.with("one", "kept");
  std::filesystem::create_hard_link(one, folder / "two");
  expectSaid(command(one, same), "/dev/null", 2, said(same));
  expectSaid(command(one, folder / "two"), "/dev/null", 2, said(folder / "two"));
  EXPECT_EQ(textOfFile(one), "kept");
  // A device takes both, two files are two.
  expectSaid(command("/dev/null", "/dev/null"), "/dev/null", 0, "");
  expectSaid(command(folder / "three", folder / "four"), "/dev/null", 0, "");
  EXPECT_EQ(fabrion("replay " + (folder / "three")).status, 0);
}

// ---- While documents are followed

// Runs `program` beside a script that waits for it to have begun and ends as it does.
Exit whileWatching(const std::string& folder, const std::string& options,
                   const std::string& script) {
  return shell("cd " + folder + " && { " + std::filesystem::absolute(FABRION_BINARY).string() +
               " --module " + std::filesystem::absolute(FABRION_MODULE).string() +
               " run --watch leaf.yaml " + options +
               " >out 2>err & } && until grep -qs watching err; do sleep 0.02; done\n" + script +
               "\nwait $!; status=$?; cat err; exit $status");
}

const std::string leaf =
    "fabrion: 1\n"
    "switches: {leaf1: {ports: 'e[1-3]', vteps: vtep1}}\n"
    "requests:\n"
    "  - {client: acme, switch: leaf1, port: e1, vlans: 10, vnis: {10: 5010}}\n";

class ErrorsWhileWatching : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder_ / "gone");
    folder_.with("leaf.yaml", leaf);
    folder_.with("next.yaml", "fabrion: 1\nswitches: {leaf1: {ports: 'e[1-3]'}}\n");
  }

  const Folder folder_;
  const std::string watching_ = "fabrion: watching leaf.yaml; Ctrl-C or SIGTERM ends it\n";
};

TEST_F(ErrorsWhileWatching, OutputsThatCannotBeWrittenAnyMoreEndIt) {
  const Exit exit =
      whileWatching(folder_.path, "--outputs gone/outputs", "rm -r gone && mv next.yaml leaf.yaml");
  EXPECT_EQ(exit.out, watching_ + "fabrion: gone/outputs: No such file or directory\n");
  EXPECT_EQ(exit.status, 2);
}

TEST_F(ErrorsWhileWatching, AFurtherJournalThatCannotBeBegunEndsIt) {
  const Exit exit = whileWatching(folder_.path, "--heal --record gone/journal",
                                  "rm -r gone && mv next.yaml leaf.yaml");
  EXPECT_EQ(exit.out, watching_ + "fabrion: gone/journal.1: No such file or directory\n");
  EXPECT_EQ(exit.status, 2);
}

TEST_F(ErrorsWhileWatching, AFurtherJournalLeavesTheOutputsAlone) {
  const Exit exit = whileWatching(
      folder_.path, "--heal --record journal --outputs journal.1",
      "mv next.yaml leaf.yaml; until grep -qs 'goes on' out; do sleep 0.02; done; kill $!");
  EXPECT_EQ(exit.status, 0) << exit.out;
  EXPECT_NE(textOfFile(folder_ / "out").find("The journal goes on in journal.2.\n"),
            std::string::npos);
  EXPECT_EQ(textOfFile(folder_ / "journal.1").substr(0, 12), "{\n  \"switch\"");
}

TEST_F(ErrorsWhileWatching, MistakesAndWarningsOfAnEditAreToldAsAtTheStart) {
  folder_.with("bad.yaml", "fabrion: 1\nswitches: {leaf1: {port: e1}}\n");
  folder_.with("warned.yaml",
               leaf + "  - {client: blue, switch: leaf1, port: e1, vlans: 10, domains: acme}\n");
  const auto told = [](const std::string& words) {
    return "until grep -qs '" + words + "' err; do sleep 0.02; done; ";
  };
  const Exit exit = whileWatching(folder_.path, "",
                                  "mv bad.yaml leaf.yaml; " + told("stays as it is") +
                                      "mv warned.yaml leaf.yaml; " + told("warning") +
                                      "until grep -qs 'Edit 1' out; do sleep 0.02; done; kill $!");
  EXPECT_EQ(exit.out,
            watching_ +
                "leaf.yaml:2:20: unknown key 'port' in switch 'leaf1'; did you mean 'ports'?\n"
                "fabrion: the documents have mistakes; what runs stays as it is\n"
                "leaf.yaml:5:65: warning: domain 'acme' on VLAN 10 is named like client 'acme', "
                "which has VNIs on that VLAN at leaf.yaml:4:63; the model keeps the VNIs of both "
                "alive by that one name, so that the one that goes takes those of the other with "
                "it\n"
                "fabrion: ended after 1 edit; 0 left something behind, 0 had the controller built "
                "anew\n");
  EXPECT_EQ(exit.status, 0);
}

TEST_F(ErrorsWhileWatching, AReportThatCannotBeWrittenEndsIt) {
  const std::string file = folder_ / "leaf.yaml";
  const Exit exit = fabrion("run --watch " + file + " 2>&1 >/dev/full");
  EXPECT_EQ(exit.out, "fabrion: watching " + file +
                          "; Ctrl-C or SIGTERM ends it\n"
                          "fabrion: the report cannot be written\n");
  EXPECT_EQ(exit.status, 2);
}

// The sanitizers need descriptors of their own to look at an exception.
#if !defined(FABRION_SANITIZED)

// What a process says that has so many descriptors to spare.
std::string saidWith(int spare) {
  return Test::inChild([spare] {
           closefrom(STDERR_FILENO + 1);
           const auto most = static_cast<rlim_t>(STDERR_FILENO + 1 + spare);
           const rlimit limit{most, most};
           setrlimit(RLIMIT_NOFILE, &limit);
           const FileWatch files({"/nowhere"});
           return 0;
         })
      .words;
}

TEST(ErrorsOfFiles, WatchingTakesTwoDescriptors) {
  EXPECT_EQ(saidWith(0), "inotify: Too many open files");
  EXPECT_EQ(saidWith(1), "signalfd: Too many open files");
  EXPECT_EQ(saidWith(2), "");
}

#endif

// ---- Names of files that are no text

TEST(ErrorsOfFiles, AnExplanationNamesAnyFile) {
  const Folder folder;
  const std::string odd = folder.with("od\xff.yaml", textOfFile(document));
  const Exit exit = fabrion("why --format json '" + odd + "' left e1");
  EXPECT_EQ(exit.status, 0);
  EXPECT_NE(exit.out.find("od\xef\xbf\xbd.yaml"), std::string::npos) << exit.out;
}

}  // namespace
}  // namespace Fabrion::Host

#endif
