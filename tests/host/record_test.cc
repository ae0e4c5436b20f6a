// Journals that `fabrion run --record` writes, and what becomes of them when a run does not end
// well.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "host/Controller.h"
#include "host/FabricChange.h"
#include "host/JournalFile.h"
#include "host/JournalReader.h"
#include "host/Module.h"
#include "host/Replay.h"
#include "host/RunCommand.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::inRepository;
using Test::linesOf;
using Test::textOfFile;

std::string temporary(const std::string& name) { return testing::TempDir() + name; }

Outcome recorded(const std::string& document, const std::string& journal, std::string& err) {
  RunOptions options{{document}};
  options.record = journal;
  std::ostringstream out;
  std::ostringstream said;
  const Outcome outcome = run(options, out, said, loadModule(FABRION_MODULE));
  err = said.str();
  EXPECT_EQ(out.str().empty(), outcome == Outcome::mistake);
  return outcome;
}

class Recorded : public testing::TestWithParam<const char*> {};

TEST_P(Recorded, AJournalLeadsToTheSameState) {
  const std::string document = inRepository(GetParam());
  const std::string journal = temporary("same-state.journal");
  std::string err;
  ASSERT_EQ(recorded(document, journal, err), Outcome::done) << err;

  const FabricOrProblems read = readFabric({document});
  Controller controller(loadModule(FABRION_MODULE));
  for (const Operation& operation : FabricChange().to(std::get<Fabric>(read))) {
    controller.apply(operation);
  }

  std::istringstream lines(textOfFile(journal) + "{\"op\":\"dump\"}\n");
  std::ostringstream out;
  std::ostringstream replayErr;
  EXPECT_EQ(replay({journal, {}}, lines, out, replayErr, loadModule(FABRION_MODULE)),
            ExitStatus::success);
  EXPECT_EQ(replayErr.str(), "");
  EXPECT_EQ(out.str(), controller.dump() + "\n");
  EXPECT_NE(controller.dump(), Controller(loadModule(FABRION_MODULE)).dump());
}

INSTANTIATE_TEST_SUITE_P(Record, Recorded,
                         testing::Values("examples/two-switches.yaml", "examples/leaf-spine.yaml"),
                         [](const auto& example) {
                           return std::string(example.param).find("two") == std::string::npos
                                      ? "LeafSpine"
                                      : "TwoSwitches";
                         });

TEST(Record, NamesOfAllKindsSurvive) {
  const std::string document = temporary("names.yaml");
  std::ofstream(document) << R"(fabrion: 1
switches: {"Köln \"1\"": {ports: ["a/b~c", "\\", 漢字]}}
requests: [{client: "zoë's", switch: "Köln \"1\"", port: "a/b~c", vlans: 1-3, native: 2}]
)";
  const std::string journal = temporary("names.journal");
  std::string err;
  ASSERT_EQ(recorded(document, journal, err), Outcome::done) << err;
  std::vector<Operation> operations;
  for (const std::string& line : linesOf(textOfFile(journal))) {
    operations.push_back(operationOf(line).value());
  }
  EXPECT_EQ(operations, FabricChange().to(std::get<Fabric>(readFabric({document}))));
}

TEST(Record, TheOperationThatTakesTheProcessDownStandsInTheJournal) {
  const std::string path = temporary("crash.journal");
  std::filesystem::remove(path);
  EXPECT_EXIT(
      {
        JournalFile journal(path);
        journal.write(Op::TopologyStart{});
        journal.write(Op::SwitchNew{"leaf1"});
        std::abort();
      },
      testing::KilledBySignal(SIGABRT), "");
  EXPECT_EQ(textOfFile(path),
            "{\"op\":\"topology.start\"}\n{\"op\":\"switch.new\",\"switch\":\"leaf1\"}\n");
}

TEST(Record, TheOperationThatFailsIsTheLastLine) {
  const Velo::VeloModule noMachines{"NoMachines", {}};
  RunOptions options{{inRepository("examples/two-switches.yaml")}};
  options.record = temporary("fails.journal");
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_THROW(run(options, out, err, noMachines), ModuleError);
  EXPECT_EQ(textOfFile(*options.record), "{\"op\":\"topology.start\"}\n");
  EXPECT_EQ(out.str(), "");
}

TEST(Record, WithAMistakeInTheDocumentTheOldJournalStays) {
  const std::string journal = temporary("old.journal");
  std::ofstream(journal) << "# old\n";
  const std::string document = temporary("mistaken.yaml");
  std::ofstream(document) << "fabrion: 7\n";
  std::string err;
  EXPECT_EQ(recorded(document, journal, err), Outcome::mistake);
  EXPECT_EQ(textOfFile(journal), "# old\n");
}

TEST(Record, AJournalNeverOverwritesADocument) {
  const std::string document = temporary("document.yaml");
  const std::string text = "fabrion: 1\nswitches: {leaf: {ports: e1}}\n";
  std::ofstream(document) << text;
  std::filesystem::create_directories(temporary("beside"));
  std::string err;
  // By another name of the same file.
  EXPECT_EQ(recorded(document, temporary("beside/../document.yaml"), err), Outcome::mistake);
  EXPECT_EQ(err, "fabrion: " + temporary("beside/../document.yaml") +
                     " is a document; the journal would overwrite it\n");
  EXPECT_EQ(textOfFile(document), text);
}

TEST(Record, AJournalThatCannotBeWrittenEndsTheRun) {
  const std::string document = inRepository("examples/two-switches.yaml");
  std::string err;
  EXPECT_EQ(recorded(document, "/nowhere/at/all.journal", err), Outcome::mistake);
  EXPECT_EQ(err, "fabrion: /nowhere/at/all.journal: No such file or directory\n");
  EXPECT_EQ(recorded(document, "/dev/full", err), Outcome::mistake);
  EXPECT_EQ(err, "fabrion: /dev/full: No space left on device\n");
}

}  // namespace
}  // namespace Fabrion::Host

#endif
