// Whole journals on the real machines, which come out of the module as they do for the program.
#include "host/Replay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/Module.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Lines = std::vector<std::string>;

struct Result {
  ExitStatus status;
  std::string out;
  std::string err;
};

Result replayed(const std::string& journal, std::optional<U32> traceLevel = {}) {
  std::istringstream lines(journal);
  std::ostringstream out;
  std::ostringstream err;
  const ExitStatus status =
      replay({"test.journal", traceLevel}, lines, out, err, loadModule(FABRION_MODULE));
  return {status, out.str(), err.str()};
}

std::string fileText(const std::string& name) {
  std::ifstream file(FABRION_SOURCE_DIR "/tests/data/" + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// A trace with the parameter lists shortened to "()", as the expected ones have it.
Lines shortened(const std::string& trace) {
  Lines lines = linesOf(trace);
  for (std::string& line : lines) {
    if (line.starts_with('@')) continue;
    const std::size_t open = line.find('(');
    std::size_t close = open;
    for (int depth = 0; close < line.size(); ++close) {
      if (line[close] == '(') ++depth;
      if (line[close] == ')' && --depth == 0) break;
    }
    if (close < line.size()) line.erase(open + 1, close - open - 1);
  }
  return lines;
}

void expectAsOnFile(const std::string& name) {
  const Result result = replayed(fileText(name + ".journal"), 3);
  EXPECT_EQ(result.status, ExitStatus::success);
  EXPECT_EQ(result.out, fileText(name + ".out"));
  EXPECT_EQ(shortened(result.err), linesOf(fileText(name + ".trace")));
}

TEST(Replay, APortRequestGivesTheSameBytes) { expectAsOnFile("port-request"); }

TEST(Replay, AHostnameRequestGivesTheSameBytes) { expectAsOnFile("hostname-request"); }

TEST(Replay, TheSameJournalGivesTheSameBytesAgain) {
  for (const char* name : {"port-request.journal", "hostname-request.journal"}) {
    const Result first = replayed(fileText(name), 9);
    const Result second = replayed(fileText(name), 9);
    EXPECT_EQ(first.out, second.out);
    EXPECT_EQ(first.err, second.err);
  }
}

TEST(Replay, WithoutATraceNothingIsSaidBesideTheDumps) {
  const Result result = replayed(fileText("port-request.journal"));
  EXPECT_EQ(result.out, fileText("port-request.out"));
  EXPECT_EQ(result.err, "");
}

TEST(Replay, AnEmptyJournalIsASuccess) {
  const Result result = replayed("# nothing\n\n", 3);
  EXPECT_EQ(result.status, ExitStatus::success);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "@end\n");
}

TEST(Replay, ALineNeedsNoEndToCount) {
  EXPECT_EQ(linesOf(replayed(R"({"op":"dump"})").out).size(), 1U);
}

TEST(Replay, ABadJournalEndsAtItsLineWithWhatIsWrong) {
  const Result result = replayed(
      "{\"op\":\"dump\"}\n\n# a "
      "comment\n{\"op\":\"host.enter\",\"host\":\"leaf1\"}\n{\"op\":\"dump\"}\n");
  EXPECT_EQ(result.status, ExitStatus::badJournal);
  EXPECT_EQ(result.err, "test.journal:4: there is no host 'leaf1'\n");
  EXPECT_EQ(linesOf(result.out).size(), 1U);
}

TEST(Replay, AfterABadLineWhatStandsIsDroppedWithoutATrace) {
  const Result result = replayed(
      "{\"op\":\"host.new\",\"host\":\"leaf1\",\"hostname\":\"h\",\"ports\":[\"e1\"]}\n"
      "{\"op\":\"host.enter\",\"host\":\"leaf1\"}\n"
      "{\"op\":\"edge.add\",\"from\":[\"leaf1\",\"e1\"]}\n"
      "{\"op\":\"topology.start\"}\n"
      "nonsense\n",
      9);
  EXPECT_EQ(result.status, ExitStatus::badJournal);
  const Lines err = linesOf(result.err);
  EXPECT_THAT(err, testing::Not(testing::Contains(testing::HasSubstr("leanup"))));
  EXPECT_EQ(err.back(), "test.journal:5: no JSON from character 2 on");
  // The same without the bad line tears down with words.
  EXPECT_THAT(
      replayed("{\"op\":\"host.new\",\"host\":\"leaf1\",\"hostname\":\"h\",\"ports\":[\"e1\"]}\n"
               "{\"op\":\"host.enter\",\"host\":\"leaf1\"}\n"
               "{\"op\":\"edge.add\",\"from\":[\"leaf1\",\"e1\"]}\n"
               "{\"op\":\"topology.start\"}\n",
               9)
          .err,
      testing::HasSubstr("leanup"));
}

TEST(Replay, AnExceptionOutOfAnOperationIsALineAndTheReplayGoesOn) {
  const Result result =
      replayed(R"({"op":"switch.new","switch":"leaf1","outputs":{"portNativeVlan":{"e1":4095}}})"
               "\n"
               "{\"op\":\"dump\"}\n");
  EXPECT_EQ(result.status, ExitStatus::success);
  const Lines out = linesOf(result.out);
  ASSERT_EQ(out.size(), 2U);
  EXPECT_EQ(out[0], R"({"error":"Bridging::VlanIdOrNone::value > 4094 not allowed","line":1})");
  EXPECT_THAT(out[1], testing::StartsWith(R"({"machine":)"));
}

const char* const runningSystem =
    "{\"op\":\"topology.start\"}\n"
    "{\"op\":\"switch.new\",\"switch\":\"leaf2\"}\n"
    "{\"op\":\"switch.new\",\"switch\":\"leaf1\"}\n"
    "{\"op\":\"switch.start\",\"switch\":\"leaf2\"}\n"
    "{\"op\":\"switch.start\",\"switch\":\"leaf1\"}\n"
    R"({"op":"host.new","host":"leaf1","hostname":"leaf1","ports":["e1"],"groups":{)"
    "\"p/o~1\":[\"e1\"]}}\n"
    "{\"op\":\"host.enter\",\"host\":\"leaf1\"}\n"
    "{\"op\":\"request.new\",\"request\":[\"b\",\"leaf1\",\"e1\"]}\n"
    "{\"op\":\"request.start\",\"request\":[\"b\",\"leaf1\",\"e1\"]}\n"
    "{\"op\":\"request.new\",\"request\":[\"z\",\"h\"]}\n"
    "{\"op\":\"request.start\",\"request\":[\"z\",\"h\"]}\n"
    "{\"op\":\"request.new\",\"request\":[\"a/~\",\"h\"]}\n"
    "{\"op\":\"request.start\",\"request\":[\"a/~\",\"h\"],\"name\":\"own name\"}\n";

TEST(Replay, AtTheEndRequestsAreWithdrawnInTheOrderOfTheirStartAndTheTopologyGoesLast) {
  // A second start puts the request behind the other one.
  const Result result =
      replayed(std::string(runningSystem) +
                   "{\"op\":\"vlan.add\",\"request\":[\"z\",\"h\"],\"vlan\":10}\n"
                   "{\"op\":\"vlan.add\",\"request\":[\"a/~\",\"h\"],\"vlan\":10}\n"
                   "{\"op\":\"request.stop\",\"request\":[\"z\",\"h\"]}\n"
                   "{\"op\":\"request.start\",\"request\":[\"z\",\"h\"]}\n",
               9);
  EXPECT_EQ(result.status, ExitStatus::success);
  std::size_t at = result.err.find("@end\n");
  for (const char* step :
       {"ClientResourcesForHostnameSm::doCleanup(): Deleting a/~ from vlan 10 referrer",
        "ClientResourcesForHostnameSm::doCleanup(): Deleting z from vlan 10 referrer",
        "ClientResourcesForSwitchportSm::doCleanup(): Deleting b ref",
        "NetworkElementSm::doCleanup"}) {
    at = result.err.find(step, at);
    EXPECT_NE(at, std::string::npos) << step << " does not follow in\n" << result.err;
  }
}

TEST(Replay, MachinesAreInvokedByTheirPath) {
  const std::string head =
      std::string(runningSystem) + "{\"op\":\"switch.announce\",\"switch\":\"leaf1\"}\n";
  const auto invoke = [&](const char* machine, const char* rest) {
    return replayed(
        head + R"({"op":"invoke","machine":")" + machine + R"(","handler":")" + rest + "}\n", 1);
  };
  EXPECT_THAT(invoke("topologySm", R"(handleInitialized")").err,
              testing::HasSubstr("TopologySM already initialized"));
  for (const auto& [machine, rest] : std::vector<std::pair<const char*, const char*>>{
           {"topologySm", R"(handleHost","key":"leaf1")"},
           {"networkElementCollectionSm", R"(handleNetworkElement","key":"leaf1")"},
           {"networkElementSm/leaf1", R"(handlePhysicalInterface","key":"e1")"},
           {"networkElementSm/leaf1/physicalInterfaceSm/e1", R"(handleNetworkElement","key":"x")"},
           {"networkElementSm/leaf1/portGroupSm/p~1o~01", R"(handleMemberInterface","key":"e1")"},
           {"switchNodeSm/leaf1", R"(isMemberInterface","key":"e1")"},
           {"switchNodeSm/leaf1", R"(handleVlan","key":10)"},
           {"switchNodeSm/leaf1", R"(handleNativeVlanConflict","key":["e1",10])"},
           {"clientResourcesForHostnameSm/a~1~0/h", R"(handleVlan","key":10)"},
           {"clientResourcesForSwitchportSm/b/leaf1/e1", R"(handleNativeVlan")"}}) {
    const Result result = invoke(machine, rest);
    EXPECT_EQ(result.status, ExitStatus::success) << machine << ": " << result.err;
  }
  for (const auto& [machine, rest] : std::vector<std::pair<const char*, const char*>>{
           {"topologySm", R"(handleHost")"},
           {"topologySm", R"(handleHost","key":7)"},
           {"topologySm", R"(handlePort","key":"e1")"},
           {"topologySm", R"(hostsByHostname")"},
           {"networkElementSm/leaf1/physicalInterfaceSm/e9", R"(handleNetworkElement","key":"x")"},
           {"networkElementSm/leaf1/hostResourcesSm", R"(handleVlan","key":1)"},
           {"switchNodeSm/leaf9", R"(handleVlan","key":10)"}}) {
    EXPECT_EQ(invoke(machine, rest).status, ExitStatus::badJournal) << machine;
  }
}

TEST(Replay, NamesInTheListsOfMachinesAreEscaped) {
  const Result result = replayed(std::string(runningSystem) + "{\"op\":\"dump\"}\n");
  const auto machines = nlohmann::json::parse(result.out)["machine"];
  EXPECT_EQ(machines["clientResourcesForHostnameSm"], (Lines{"a~1~0/h", "z/h"}));
  EXPECT_EQ(machines["clientResourcesForSwitchportSm"], (Lines{"b/leaf1/e1"}));
  EXPECT_EQ(machines["networkElementSm"]["leaf1"]["portGroupSm"], (Lines{"p~1o~01"}));
  EXPECT_EQ(machines["switchNodeSm"]["leaf2"]["switchElement"], false);
}

TEST(Replay, ARunningMachineKeepsTheRequestItWasStartedWith) {
  const Result result = replayed(
      "{\"op\":\"request.new\",\"request\":[\"c\",\"h\"]}\n"
      "{\"op\":\"request.start\",\"request\":[\"c\",\"h\"]}\n"
      "{\"op\":\"vlan.add\",\"request\":[\"c\",\"h\"],\"vlan\":10}\n"
      "{\"op\":\"request.new\",\"request\":[\"c\",\"h\"]}\n"
      "{\"op\":\"vlan.add\",\"request\":[\"c\",\"h\"],\"vlan\":20}\n"
      "{\"op\":\"dump\"}\n"
      "{\"op\":\"request.start\",\"request\":[\"c\",\"h\"]}\n");
  const auto vlans = nlohmann::json::parse(result.out)["resourcesForHostname"]["h"]["vlan"];
  EXPECT_TRUE(vlans.contains("10"));
  EXPECT_FALSE(vlans.contains("20"));
  EXPECT_EQ(result.status, ExitStatus::badJournal);
  EXPECT_THAT(result.err, testing::HasSubstr("runs already"));
}

TEST(Replay, MountsAreDumpedFromTheirFirstUseOn) {
  const Result result = replayed(
      "{\"op\":\"switch.new\",\"switch\":\"s1\"}\n{\"op\":\"switch.new\",\"switch\":\"s2\"}\n"
      "{\"op\":\"dump\"}\n"
      "{\"op\":\"mount\",\"switch\":\"s1\",\"flag\":\"ready\",\"value\":true}\n"
      "{\"op\":\"mount.update\",\"switch\":\"s2\"}\n"
      "{\"op\":\"dump\"}\n"
      "{\"op\":\"mount\",\"switch\":\"s1\",\"flag\":\"topology\",\"value\":true}\n"
      "{\"op\":\"dump\"}\n");
  const Lines out = linesOf(result.out);
  ASSERT_EQ(out.size(), 3U);
  EXPECT_THAT(out[0], testing::HasSubstr(R"("mount":{},)"));
  EXPECT_THAT(out[1], testing::HasSubstr(
                          R"("mount":{"s1":{"dynVtepConfig":false,"dynVtepStatus":false,)"
                          R"("portVlanConfig":false,"ready":true,"topology":false},"s2":{)"
                          R"("dynVtepConfig":false,"dynVtepStatus":false,"portVlanConfig":false,)"
                          R"("ready":false,"topology":false}})"));
  EXPECT_THAT(out[2], testing::HasSubstr(R"("ready":false,"topology":true},"s2")"));
}

TEST(Module, AFileThatIsNotThereOrNoModuleIsNamed) {
  EXPECT_THROW(loadModule("/nowhere/FabrionSm.so"), ModuleError);
  EXPECT_THROW(loadModule(FABRION_SOURCE_DIR "/tests/data/port-request.journal"), ModuleError);
}

TEST(Module, TheSameModuleIsThereHoweverOftenItIsLoaded) {
  EXPECT_EQ(&loadModule(FABRION_MODULE), &loadModule(FABRION_MODULE));
}

}  // namespace
}  // namespace Fabrion::Host

#endif  // FABRION_MODULE
