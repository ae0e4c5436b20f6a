// `fabrion run --watch` as a user runs it: what edits leave behind and interrupt, with --heal and
// without.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "tests/host/Program.h"
#include "tests/host/RandomEdits.h"
#include "tests/host/Running.h"
#include "tests/host/Texts.h"
#include "tests/host/folder.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Json = nlohmann::json;
using Test::Exit;
using Test::fabrion;
using Test::Folder;
using Test::RandomEdits;
using Test::Running;
using Test::seedsOfEdits;
using Test::textOfFile;
using testing::EndsWith;
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

const std::string withoutVtep = replaced(leaf, ", vteps: vtep1", "");
const std::string ofAnotherClient = replaced(leaf, "acme", "blue");

class WatchEdits : public testing::Test {
 protected:
  // In one piece, as editors do.
  std::string write(const std::string& text) const {
    folder_.with("leaf.yaml~", text);
    std::filesystem::rename(folder_ / "leaf.yaml~", document_);
    return document_;
  }

  const Folder folder_;
  const std::string document_ = folder_ / "leaf.yaml";
};

TEST_F(WatchEdits, HealingEndsWhatIsLeftBehindAndGoesOnInAnotherJournal) {
  Running program({"run", "--watch", "--heal", "--record", folder_ / "journal", "--outputs",
                   folder_ / "outputs", write(leaf)});
  program.errTo("ends it\n");
  program.outTo("No conflicts.\n");
  write(withoutVtep);
  EXPECT_EQ(program.outTo("journal.1.\n"), R"(
Edit 1

Switch leaf1
  - VTEP vtep1
  - VTEP vtep1, port e1: VLAN 10 to VNI 5010

1 switch and 1 port changed.

Would be left behind: + should not stand, - would be missing, ~ would have the wrong value.

Switch leaf1
  + VTEP vtep1
  + VTEP vtep1, port e1: VLAN 10 to VNI 5010

The controller was built anew, so nothing is left behind.
The journal goes on in )" + (folder_ / "journal.1") +
                                               ".\n");
  program.signal(SIGTERM);
  const Running::End end = program.ended();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.err, EndsWith("ended after 1 edit; 1 left something behind, 1 had the "
                                "controller built anew\n"));
  for (const char* journal : {"journal", "journal.1"}) {
    EXPECT_EQ(fabrion("replay " + (folder_ / journal)).status, 0) << journal;
  }
  const Exit dump =
      fabrion("replay - <<END\n" + textOfFile(folder_ / "journal.1") + "{\"op\":\"dump\"}\nEND");
  EXPECT_EQ(dump.status, 0);
  const Json outputs = Json::parse(textOfFile(folder_ / "outputs"));
  EXPECT_EQ(Json::parse(dump.out)["switch"], outputs["switch"]);
  EXPECT_EQ(outputs["switch"]["leaf1"]["vtepConfig"], Json::object());
}

TEST_F(WatchEdits, HealingBuildsAnewWhereAnOutputThatStaysWouldGo) {
  Running program({"run", "--watch", "--heal", "--record", folder_ / "journal", write(leaf)});
  program.errTo("ends it\n");
  program.outTo("No conflicts.\n");
  write(ofAnotherClient);
  EXPECT_EQ(program.outTo("journal.1.\n"), R"(
Edit 1

Nothing changed.

7 outputs that stay would have been missing for a moment, so the controller was built anew.
The journal goes on in )" + (folder_ / "journal.1") +
                                               ".\n");
  // Both at a time, and of two outputs that a VTEP's end leaves behind.
  write(replaced(withoutVtep, "[10-12]", "10"));
  EXPECT_THAT(program.outTo("journal.2.\n"),
              EndsWith("  + VTEP vtep1, port e1: VLAN 10 to VNI 5010\n"
                       "\n"
                       "2 outputs that stay would have been missing for a moment.\n"
                       "The controller was built anew, so nothing is left behind.\n"
                       "The journal goes on in " +
                       (folder_ / "journal.2") + ".\n"));
  program.signal(SIGTERM);
  EXPECT_THAT(program.ended().err, EndsWith("ended after 2 edits; 1 left something behind, 2 had "
                                            "the controller built anew\n"));
}

TEST_F(WatchEdits, WithoutHealingPeopleAreToldWhatIsLeftBehind) {
  Running program({"run", "--watch", write(leaf)});
  program.errTo("ends it\n");
  program.outTo("No conflicts.\n");
  write(withoutVtep);
  EXPECT_EQ(program.outTo("VNI 5010\n"), R"(
Edit 1

Nothing changed.

Left behind: + stands and should not, - is missing, ~ has the wrong value.

Switch leaf1
  + VTEP vtep1
  + VTEP vtep1, port e1: VLAN 10 to VNI 5010
)");
  program.signal(SIGTERM);
  EXPECT_EQ(program.ended().status, 0);
}

TEST_F(WatchEdits, ASwitchCabledToItselfIsToldOf) {
  const std::string cabled = leaf + "links: [[leaf1:e1, leaf1:e2]]\n";
  const std::string edited = replaced(cabled, "[10-12]", "[10-13]");
  {
    Running program({"run", "--watch", write(cabled)});
    program.errTo("ends it\n");
    program.outTo("No conflicts.\n");
    write(edited);
    EXPECT_THAT(program.outTo("anew.\n"),
                EndsWith("\n\nA switch or host is cabled to itself, so the controller was built "
                         "anew.\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.ended().status, 0);
  }
  Running program({"run", "--watch", "--format", "json", write(cabled)});
  program.outTo("\n");
  program.errTo("ends it\n");
  write(edited);
  const Json line = Json::parse(program.outTo("\n"));
  EXPECT_EQ(line["cabledToItself"], true);
  EXPECT_EQ(line["rebuilt"], true);
  program.signal(SIGTERM);
  EXPECT_EQ(program.ended().status, 0);
}

TEST_F(WatchEdits, WithoutHealingALeftoverStaysAndIsTold) {
  Running program({"run", "--watch", "--format", "json", write(leaf)});
  EXPECT_EQ(Json::parse(program.outTo("\n"))["conflicts"], Json::array());
  program.errTo("ends it\n");
  write(withoutVtep);
  const Json line = Json::parse(program.outTo("\n"));
  EXPECT_EQ(line["edit"], 1);
  EXPECT_EQ(line["differences"], Json::array());
  EXPECT_EQ(line["rebuilt"], false);
  EXPECT_FALSE(line.contains("interrupted"));
  // Both stand and should not.
  EXPECT_EQ(line["leftovers"], Json::parse(R"([
      {"change": "added", "kind": "vtep", "switch": "leaf1", "vtep": "vtep1"},
      {"after": {"vnis": "5010"}, "change": "added", "kind": "mapping", "port": "e1",
       "switch": "leaf1", "vlans": "10", "vtep": "vtep1"}])"));
  // They are told as long as they stand, but one edit left them.
  write(replaced(withoutVtep, "[10-12]", "[10-13]"));
  const Json next = Json::parse(program.outTo("\n"));
  EXPECT_EQ(next["leftovers"], line["leftovers"]);
  EXPECT_EQ(next["switches"], 1);
  EXPECT_EQ(next["ports"], 1);
  write(leaf);
  EXPECT_EQ(Json::parse(program.outTo("\n"))["leftovers"], Json::array());
  write(withoutVtep);
  EXPECT_EQ(Json::parse(program.outTo("\n"))["leftovers"], line["leftovers"]);
  program.signal(SIGTERM);
  const Running::End end = program.ended();
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.err,
            "fabrion: ended after 4 edits; 2 left something behind, 0 had the controller built "
            "anew\n");
}

TEST_F(WatchEdits, OneThatNeedsNoHealingLooksTheSameWithAndWithout) {
  std::vector<std::pair<std::string, Running::End>> runs;
  for (const bool heal : {false, true}) {
    std::vector<std::string> arguments = {"run",      "--watch",           "--trace",  "9",
                                          "--record", folder_ / "journal", write(leaf)};
    if (heal) arguments.emplace_back("--heal");
    Running program(arguments);
    program.outTo("No conflicts.\n");
    program.errTo("ends it\n");
    write(replaced(leaf, "[10-12]", "[10-11, 20]"));
    const std::string edit = program.outTo("changed.\n");
    program.signal(SIGTERM);
    runs.emplace_back(edit + textOfFile(folder_ / "journal"), program.ended());
  }
  EXPECT_THAT(runs[0].second.err, HasSubstr("e1"));  // a trace of the edit
  EXPECT_EQ(runs[0].first, runs[1].first);
  EXPECT_EQ(runs[0].second.err, runs[1].second.err);
}

TEST_F(WatchEdits, AJournalOfAnEarlierRunIsNotOverwritten) {
  const auto heal = [this](const std::string& told) {
    Running program({"run", "--watch", "--heal", "--record", folder_ / "journal", write(leaf)});
    program.errTo("ends it\n");
    program.outTo("No conflicts.\n");
    write(withoutVtep);
    program.outTo("The journal goes on in " + (folder_ / told) + ".\n");
    program.signal(SIGTERM);
    EXPECT_EQ(program.ended().status, 0);
  };
  heal("journal.1");
  folder_.with("journal.1", "# kept\n");
  heal("journal.2");
  EXPECT_EQ(textOfFile(folder_ / "journal.1"), "# kept\n");
}

TEST_F(WatchEdits, HealingNeedsWatching) {
  const Exit exit = fabrion("run --heal " + write(leaf) + " 2>&1");
  EXPECT_EQ(exit.status, 2);
  EXPECT_THAT(exit.out, HasSubstr("--heal requires --watch"));
}

// How many switches and ports the differences of a line name, in its words.
void expectCounted(const Json& line) {
  std::set<std::string> switches;
  std::set<std::pair<std::string, std::string>> ports;
  for (const Json& one : line["differences"]) {
    switches.insert(one["switch"]);
    if (one.contains("port")) ports.emplace(one["switch"], one["port"]);
  }
  EXPECT_EQ(line["switches"], switches.size()) << line;
  EXPECT_EQ(line["ports"], ports.size()) << line;
}

// The edits are those of the tests that go through two hundred of them within one process.
TEST_F(WatchEdits, HealedTheyEndWithTheOutputsOfAFreshRun) {
  int rebuilt = 0;
  for (const U64 seed : seedsOfEdits) {
    constexpr int number = 20;
    RandomEdits edits(seed);
    Running program({"run", "--watch", "--heal", "--format", "json", "--outputs",
                     folder_ / "outputs", write(edits.document())});
    program.outTo("\n");
    program.errTo("ends it\n");
    int leaving = 0;
    int anew = 0;
    for (int i = 1; i <= number; ++i) {
      edits.edit();
      write(edits.document());
      const Json line = Json::parse(program.outTo("\n"));
      ASSERT_EQ(line["edit"], i);
      expectCounted(line);
      EXPECT_EQ(line["rebuilt"], !line["leftovers"].empty() || line["interrupted"] > 0);
      leaving += line["leftovers"].empty() ? 0 : 1;
      anew += line["rebuilt"] ? 1 : 0;
    }
    program.signal(SIGTERM);
    const Running::End end = program.ended();
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.err, EndsWith("ended after 20 edits; " + std::to_string(leaving) +
                                  " left something behind, " + std::to_string(anew) +
                                  " had the controller built anew\n"));
    ASSERT_EQ(fabrion("run --outputs " + (folder_ / "fresh") + " " + document_).status, 0);
    EXPECT_EQ(textOfFile(folder_ / "outputs"), textOfFile(folder_ / "fresh"));
    rebuilt += anew;
  }
  EXPECT_GT(rebuilt, 0);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
