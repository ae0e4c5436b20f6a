// `fabrion run` and `fabrion check`, on streams where that shows enough, and as a user starts them
// where exit statuses are the matter.

#include "host/RunCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/CheckCommand.h"
#include "host/Module.h"
#include "tests/host/Texts.h"
#include "tests/host/failing_modules.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::failing;
using Test::inRepository;
using Test::linesOf;
using Test::textOfFile;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

struct Result {
  Outcome outcome;
  std::string out;
  std::string err;
};

Result ran(const RunOptions& options, const Velo::VeloModule& module) {
  std::ostringstream out;
  std::ostringstream err;
  const Outcome outcome = run(options, out, err, module);
  return {outcome, out.str(), err.str()};
}
Result ran(const RunOptions& options) { return ran(options, loadModule(FABRION_MODULE)); }

std::string example(const std::string& name) { return inRepository("examples/" + name + ".yaml"); }

std::string written(const std::string& name, const std::string& text) {
  std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

class Example : public testing::TestWithParam<const char*> {};

TEST_P(Example, IsReportedAsOnFile) {
  const Result result = ran({{example(GetParam())}});
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_EQ(result.out, textOfFile(inRepository("tests/data/" + std::string(GetParam()) + ".txt")));
  EXPECT_EQ(result.err, "");
}

TEST_P(Example, IsReportedAlikeToPrograms) {
  RunOptions options{{example(GetParam())}};
  options.format = ReportFormat::json;
  const Result result = ran(options);
  EXPECT_EQ(result.outcome, Outcome::done);
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["fabrion"], 1);
  EXPECT_EQ(report["conflicts"].size(), GetParam() == std::string("leaf-spine") ? 2U : 1U);
  // Each list of VLANs stands in the table of the text as well.
  const std::string text = ran({{example(GetParam())}}).out;
  for (const auto& [name, one] : report["switches"].items()) {
    const std::string vlans = one["vlans"];
    EXPECT_THAT(text, HasSubstr("Switch " + name + "\n"));
    EXPECT_THAT(text, HasSubstr("VLANs: " + (vlans.empty() ? "none" : vlans) + "\n"));
    for (const auto& [port, carried] : one["ports"].items()) {
      const std::string allowed = carried["allowedVlans"];
      if (allowed.empty()) continue;
      EXPECT_THAT(text, HasSubstr(" " + allowed + " ")) << name << port;
    }
  }
}

TEST_P(Example, HasAConflictThatStrictTells) {
  RunOptions options{{example(GetParam())}};
  options.strict = true;
  EXPECT_EQ(ran(options).outcome, Outcome::conflict);
}

INSTANTIATE_TEST_SUITE_P(Run, Example, testing::Values("two-switches", "leaf-spine"),
                         [](const auto& example) {
                           return example.param == std::string("leaf-spine") ? "LeafSpine"
                                                                             : "TwoSwitches";
                         });

TEST(Run, WithoutAConflictStrictIsContent) {
  RunOptions options{{written("calm.yaml", "fabrion: 1\nswitches: {leaf: {ports: e1}}\n")}};
  options.strict = true;
  const Result result = ran(options);
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_THAT(result.out, HasSubstr("No conflicts.\n"));
}

// A VLAN with two VNIs, of which one comes by a domain.
const std::string twoVnis =
    "fabrion: 1\n"
    "switches: {leaf: {ports: e1, vteps: v1}}\n"
    "static maps: {red: {10: 6010}}\n"
    "requests:\n"
    "  - {client: acme, switch: leaf, port: e1, vlans: 10, vnis: {10: 5010}}\n"
    "  - {client: blue, switch: leaf, port: e1, vlans: 10, domains: red}\n";

TEST(Run, AConflictOfVnisIsOneThatStrictTells) {
  RunOptions options{{written("vnis.yaml", twoVnis)}};
  const Result content = ran(options);
  EXPECT_EQ(content.outcome, Outcome::done);
  EXPECT_THAT(content.out,
              HasSubstr("VTEP v1 maps nothing.\n"
                        "\n"
                        "Conflict on switch leaf, port e1, VLAN 10: 2 VNIs are asked for, so the "
                        "VLAN is mapped to none there.\n"
                        "  VNI 5010: acme\n"
                        "  VNI 6010: domain red\n"));
  options.strict = true;
  const Result strict = ran(options);
  EXPECT_EQ(strict.outcome, Outcome::conflict);
  EXPECT_EQ(strict.out, content.out);
  EXPECT_EQ(strict.err, "");
  options.format = ReportFormat::json;
  const Result json = ran(options);
  EXPECT_EQ(json.outcome, Outcome::conflict);
  EXPECT_EQ(nlohmann::json::parse(json.out)["conflicts"][0]["kind"], "vni");
}

// A domain named like the client whose VNI stands on the same port and VLAN.
const std::string warned =
    "fabrion: 1\n"
    "switches: {leaf: {ports: e1, vteps: v1}}\n"
    "static maps: {acme: {10: 5010}}\n"
    "requests:\n"
    "  - {client: acme, switch: leaf, port: e1, vlans: 10, vnis: {10: 5010}}\n"
    "  - {client: blue, switch: leaf, port: e1, vlans: 10, domains: acme}\n";

std::string warningIn(const std::string& file) {
  return file + ":6:64: warning: domain 'acme' on VLAN 10 is named like client 'acme', which has " +
         "VNIs on that VLAN at " + file +
         ":5:62; the model keeps the VNIs of both alive by that one name, so that the one that "
         "goes takes those of the other with it\n";
}

TEST(Run, AWarningIsToldAndChangesNothing) {
  const std::string file = written("warned.yaml", warned);
  RunOptions options{{file}};
  options.strict = true;
  const Result result = ran(options);
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_THAT(result.out, HasSubstr("e1    10    5010\n"));
  EXPECT_THAT(result.out, HasSubstr("No conflicts.\n"));
  EXPECT_EQ(result.err, warningIn(file));
  options.traceLevel = 0;
  EXPECT_EQ(ran(options).err, warningIn(file));
}

TEST(Run, WithAMistakeBesideItNothingIsWarnedOf) {
  const std::string file = written("both.yaml", warned + "  - {client: cyan, vlans: 7}\n");
  const Result result = ran({{file}});
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.err, file +
                            ":7:5: a request without a place; expected 'hostname', or 'switch' and "
                            "'port'\n");
}

TEST(Run, TellsTheMistakesOfAllDocumentsAndAppliesNothing) {
  const std::string first = written("first.yaml", "fabrion: 1\nswitches: {leaf: {port: e1}}\n");
  const std::string second =
      written("second.yaml", "fabrion: 1\nlinks: [here]\nrequests: [there]\n");
  RunOptions options{{first, "/nowhere/at/all.yaml", second}};
  options.traceLevel = 9;
  const Result result = ran(options);
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr(first + ":2:"));
  EXPECT_THAT(result.err, HasSubstr("/nowhere/at/all.yaml: "));
  EXPECT_THAT(result.err, HasSubstr(second + ":3:"));
  EXPECT_THAT(result.err, HasSubstr(second + ":2:"));
  // Mistakes are all that is there: not one machine has said a word.
  EXPECT_THAT(result.err, Not(HasSubstr("Fabrion::Agent")));
}

TEST(Run, ReadsSeveralDocumentsAsOneFabric) {
  const std::string cabling =
      written("cabling.yaml", "fabrion: 1\nswitches: {leaf: {ports: e1}}\n");
  const std::string acme = written(
      "acme.yaml", "fabrion: 1\nrequests: [{client: acme, switch: leaf, port: e1, vlans: 10}]\n");
  const Result result = ran({{cabling, acme}});
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_THAT(result.out, HasSubstr("VLANs: 10\n"));
}

TEST(Run, TheTraceIsLinesOfALevelAndAText) {
  RunOptions options{{example("two-switches")}};
  options.traceLevel = 0;
  const Result conflict = ran(options);
  EXPECT_EQ(conflict.out, ran({{example("two-switches")}}).out);
  EXPECT_THAT(linesOf(conflict.err),
              Each(MatchesRegex("0 void Fabrion::Agent::.*Conflict is detected.*")));
  options.traceLevel = 3;
  const std::vector<std::string> lines = linesOf(ran(options).err);
  EXPECT_GT(lines.size(), linesOf(conflict.err).size());
  EXPECT_THAT(lines, Each(MatchesRegex("[0-3] .*Fabrion::Agent::.*")));
}

TEST(Run, TheSameDocumentGivesTheSameBytes) {
  RunOptions options{{example("leaf-spine")}};
  options.traceLevel = 9;
  const Result once = ran(options);
  const Result again = ran(options);
  EXPECT_EQ(once.out, again.out);
  EXPECT_EQ(once.err, again.err);
  EXPECT_THAT(once.err, Not(IsEmpty()));
}

TEST(Run, AnExceptionOfTheRuntimeIsToldWithItsOperation) {
  const Result result = ran({{example("two-switches")}}, failing);
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            R"(fabrion: the operation {"op":"topology.start"} failed: this is out of range)"
            "\n");
}

TEST(Check, CountsWhatItFinds) {
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(check({example("leaf-spine")}, out, err), Outcome::done);
  EXPECT_EQ(out.str(),
            example("leaf-spine") + ": no mistakes; 6 switches, 12 hosts, 24 links, 13 requests\n");
  EXPECT_EQ(err.str(), "");
  out.str("");
  const std::string one =
      written("one.yaml",
              "fabrion: 1\nswitches: {leaf: {ports: e1}}\nhosts: {srv: {ports: p}}\n"
              "links: [[leaf:e1, srv:p]]\nrequests: [{client: c, hostname: srv, vlans: 1}]\n");
  EXPECT_EQ(check({one}, out, err), Outcome::done);
  EXPECT_EQ(out.str(), one + ": no mistakes; 1 switch, 1 host, 1 link, 1 request\n");
}

TEST(Check, AWarningIsNoMistake) {
  std::ostringstream out;
  std::ostringstream err;
  const std::string file = written("warned.yaml", warned);
  EXPECT_EQ(check({file}, out, err), Outcome::done);
  EXPECT_EQ(out.str(), file + ": no mistakes; 1 switch, 0 hosts, 0 links, 2 requests\n");
  EXPECT_EQ(err.str(), warningIn(file));
}

TEST(Check, TellsEachMistakeInALine) {
  std::ostringstream out;
  std::ostringstream err;
  const std::string bad = written(
      "bad.yaml", "fabrion: 1\nswitches: {leaf: {ports: 'e[2-1]'}}\nhosts: {h: {prts: 1}}\n");
  EXPECT_EQ(check({bad}, out, err), Outcome::mistake);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(linesOf(err.str()).size(), 2U) << err.str();
  EXPECT_THAT(linesOf(err.str()), Each(StartsWith(bad + ":")));
}

// The program, whose arguments a shell reads: status and standard output.
struct Exit {
  int status;
  std::string out;
};

Exit fabrion(const std::string& arguments) {
  std::FILE* const pipe = popen((FABRION_BINARY " " + arguments).c_str(), "r");
  std::string out;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) out += static_cast<char>(c);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

const std::string module = " --module " FABRION_MODULE " ";

TEST(RunStatus, IsZeroOneForAConflictAndTwoForAMistake) {
  EXPECT_EQ(fabrion("run" + module + example("two-switches") + " >/dev/null").status, 0);
  EXPECT_EQ(fabrion("run --strict" + module + example("two-switches") + " >/dev/null").status, 1);
  EXPECT_EQ(fabrion("run --strict" + module + "/nowhere.yaml 2>/dev/null").status, 2);
  EXPECT_EQ(fabrion("check " + example("two-switches") + " >/dev/null").status, 0);
  EXPECT_EQ(fabrion("check /nowhere.yaml 2>/dev/null").status, 2);
}

TEST(RunStatus, IsOneForAConflictOfVnisAndNotForAWarning) {
  const std::string conflict = written("vnis.yaml", twoVnis);
  EXPECT_EQ(fabrion("run" + module + conflict + " >/dev/null").status, 0);
  EXPECT_EQ(fabrion("run --strict" + module + conflict + " >/dev/null").status, 1);
  const std::string warning = written("warned.yaml", warned);
  const Exit exit = fabrion("run --strict" + module + warning + " 2>&1 >/dev/null");
  EXPECT_EQ(exit.status, 0);
  EXPECT_EQ(exit.out, warningIn(warning));
}

TEST(RunStatus, IsTwoForMisuse) {
  for (const std::string& arguments :
       {std::string(), std::string("run"), "run --format xml " + example("two-switches"),
        "run --trace 10 " + example("two-switches"), std::string("fly"), std::string("check"),
        std::string("wiring --format png")}) {
    EXPECT_EQ(fabrion(arguments + " >/dev/null 2>&1").status, 2) << arguments;
  }
}

TEST(RunStatus, IsTwoWithoutAModuleSoThatNobodyTakesItForAConflict) {
  const std::string nowhere = " --module /nowhere/FabrionSm.so ";
  const Exit exit = fabrion("run --strict" + nowhere + example("two-switches") + " 2>&1");
  EXPECT_EQ(exit.status, 2);
  EXPECT_EQ(exit.out, "fabrion: there is no module /nowhere/FabrionSm.so; name it with --module\n");
  // Checking is reading.
  EXPECT_EQ(fabrion("check" + nowhere + example("two-switches") + " >/dev/null").status, 0);
}

TEST(RunStatus, IsTwoWhenTheReportCannotBeWritten) {
  const Exit exit = fabrion("run" + module + example("two-switches") + " 2>&1 >/dev/full");
  EXPECT_EQ(exit.status, 2);
  EXPECT_EQ(exit.out, "fabrion: the report cannot be written\n");
}

TEST(RunStatus, NeitherLocaleNorTerminalChangesTheReport) {
  const std::string document = written("utf8.yaml",
                                       "fabrion: 1\nswitches: {Köln: {ports: 漢字}}\n"
                                       "requests: [{client: zoë, switch: Köln, port: 漢字, "
                                       "vlans: 1-9}]\n");
  const auto under = [&](const std::string& environment) {
    std::FILE* const pipe =
        popen((environment + " " FABRION_BINARY " run" + module + document).c_str(), "r");
    std::string out;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) out += static_cast<char>(c);
    pclose(pipe);
    return out;
  };
  const std::string plain = under("env -i");
  EXPECT_THAT(plain, HasSubstr("\n漢字  1-9            -"));
  EXPECT_EQ(under("LC_ALL=C COLUMNS=20"), plain);
  EXPECT_EQ(under("LC_ALL=C.UTF-8 COLUMNS=200 TERM=xterm"), plain);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
