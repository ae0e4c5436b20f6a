// `fabrion why`: what it is asked, and how it answers or refuses.

#include "host/WhyCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/Module.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Json = nlohmann::json;
using Test::inRepository;
using Test::textOfFile;
using testing::HasSubstr;

struct Result {
  Outcome outcome;
  std::string out;
  std::string err;
};

Result asked(const std::vector<std::string>& words, ReportFormat format = ReportFormat::text) {
  std::ostringstream out;
  std::ostringstream err;
  const Outcome outcome = why({words, format}, out, err, loadModule(FABRION_MODULE));
  return {outcome, out.str(), err.str()};
}

std::string written(const std::string& name, const std::string& text) {
  std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

const std::string leafSpine = inRepository("examples/leaf-spine.yaml");

// The line of the example that holds the text, so that the example may grow.
int lineWith(const std::string& text) {
  int number = 0;
  for (const std::string& line : Test::linesOf(textOfFile(leafSpine))) {
    ++number;
    if (line.find(text) != std::string::npos) return number;
  }
  ADD_FAILURE() << text;
  return 0;
}
const std::string link = "[leaf1:e3, srv2:eth0]";
const std::string request = "{client: blue, hostname: compute2,";

TEST(WhyCommand, AnswersForAVlanOnAPort) {
  const Result result = asked({leafSpine, "leaf1", "e3", "200"});
  EXPECT_EQ(result.outcome, Outcome::done);
  const auto at = [](const std::string& text) {
    return " (" + leafSpine + ":" + std::to_string(lineWith(text)) + ")\n";
  };
  // The switch has VTEPs, and nobody asks for a VNI.
  EXPECT_EQ(result.out,
            "leaf1 e3: VLAN 200 is allowed\n"
            "  because srv2 (compute2) is behind e3: link leaf1:e3 - srv2:eth0" +
                at(link) + "    because blue asks for VLAN 200 on compute2" + at(request) +
                "leaf1 e3: VLAN 200 has no VNI\n"
                "  because no request gives it a VNI or a domain\n");
  EXPECT_EQ(result.err, "");
}

TEST(WhyCommand, ThatAPortDoesNotHaveTheVlanIsAnAnswer) {
  const Result result = asked({leafSpine, "leaf1", "e3", "300"});
  EXPECT_EQ(result.outcome, Outcome::done);
  EXPECT_EQ(result.out,
            "leaf1 e3: VLAN 300 is not allowed\n"
            "  because no request asks for it here\n");
}

TEST(WhyCommand, TakesSeveralDocumentsAndNamesTheOneThatAsks) {
  const std::string cabling =
      written("cabling.yml", "fabrion: 1\nswitches: {leaf.yaml: {ports: e1}}\n");
  const std::string acme = written("acme.json",
                                   R"({"fabrion": 1, "requests": [
  {"client": "acme", "switch": "leaf.yaml", "port": "e1", "vlans": 10}]})");
  // A switch may be named as a document is when documents end before it, as the first is one.
  const Result none = asked({cabling, acme, "leaf.yaml", "e1"});
  EXPECT_EQ(none.outcome, Outcome::mistake);
  EXPECT_THAT(none.err, HasSubstr("leaf.yaml: "));
  const std::string plain = written("fabric", "fabrion: 1\nswitches: {leaf: {ports: e1}}\n");
  const std::string blue = written(
      "blue.yaml", "fabrion: 1\nrequests: [{client: blue, switch: leaf, port: e1, vlans: 10}]\n");
  EXPECT_EQ(asked({plain, blue, "leaf", "e1"}).out,
            "leaf e1: VLAN 10 is allowed\n"
            "  because blue asks for VLAN 10 on port e1 (" +
                blue + ":2)\n");
}

TEST(WhyCommand, RefusesWhatItCannotAnswerAndSaysWhatWasExpected) {
  const std::string bare = written("bare.yaml", "fabrion: 1\n");
  const std::string hosts = written("hosts.yaml", "fabrion: 1\nhosts: {srv: }\n");
  const std::string small = written("small.yaml",
                                    "fabrion: 1\n"
                                    "switches: {leaf: {ports: [e1, e2], groups: {po1: e2}}}\n");
  const std::string form = "DOCUMENT... SWITCH [PORT [VLAN]]";
  const std::vector<std::pair<std::vector<std::string>, std::string>> refusals = {
      {{leafSpine}, "no switch; expected " + form},
      {{leafSpine, bare}, "no switch; expected " + form},
      {{leafSpine, "leaf9"},
       "no switch 'leaf9' is declared; did you mean 'leaf1', 'leaf2' or 'leaf3'?"},
      {{leafSpine, "router"},
       "no switch 'router' is declared; expected 'spine1', 'spine2', 'leaf1', 'leaf2' or one of 2 "
       "more"},
      {{small, "router"}, "no switch 'router' is declared; expected 'leaf'"},
      {{bare, "leaf1"}, "no switch 'leaf1' is declared; there is none"},
      {{leafSpine, "srv1"}, "'srv1' is a host; expected a switch, such as 'spine1'"},
      {{hosts, "srv"}, "'srv' is a host; expected a switch"},
      {{leafSpine, "leaf1", "e9"},
       "switch 'leaf1' has no port or port group 'e9'; did you mean 'e1', 'e2' or 'e3'?"},
      {{small, "leaf", "bond0"},
       "switch 'leaf' has no port or port group 'bond0'; expected 'e1', 'e2' or 'po1'"},
      {{leafSpine, "leaf1", "e3", "4095"}, "no VLAN: '4095'; expected a number from 1 to 4094"},
      {{leafSpine, "leaf1", "e3", "0"}, "no VLAN: '0'; expected a number from 1 to 4094"},
      {{leafSpine, "leaf1", "e3", "10-20"}, "no VLAN: '10-20'; expected a number from 1 to 4094"},
      {{leafSpine, "leaf1", "e3", ""}, "no VLAN: ''; expected a number from 1 to 4094"},
      {{leafSpine, "leaf1", "e3", "10", "20"},
       "'20' follows the VLAN; expected " + form +
           ", and documents but the first to end in .yaml, .yml or .json"},
  };
  for (const auto& [words, message] : refusals) {
    const Result result = asked(words);
    EXPECT_EQ(result.outcome, Outcome::mistake) << message;
    EXPECT_EQ(result.out, "") << message;
    EXPECT_EQ(result.err, "fabrion: " + message + "\n");
  }
}

TEST(WhyCommand, TellsTheMistakesOfADocumentAndNothingElse) {
  const std::string bad = written("bad.yaml", "fabrion: 1\nlinks: [here]\n");
  const Result result = asked({bad, "leaf1"});
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr(bad + ":2:9: "));
  EXPECT_EQ(asked({"/nowhere/fabric.yaml", "leaf1"}).err,
            "/nowhere/fabric.yaml: cannot be opened: No such file or directory\n");
}

TEST(WhyCommand, AnExplanationThatCannotBeWrittenIsAMistake) {
  std::ostringstream out;
  std::ostringstream err;
  out.setstate(std::ios::badbit);
  EXPECT_EQ(why({{leafSpine, "leaf1"}}, out, err, loadModule(FABRION_MODULE)), Outcome::mistake);
  EXPECT_EQ(err.str(), "fabrion: the explanation cannot be written\n");
}

TEST(WhyCommand, TellsProgramsTheSame) {
  const Result result = asked({leafSpine, "leaf1", "e3"}, ReportFormat::json);
  EXPECT_EQ(result.outcome, Outcome::done);
  const auto origin = [](const std::string& text) {
    return Json{{"file", leafSpine}, {"line", lineWith(text)}};
  };
  EXPECT_EQ(Json::parse(result.out), (Json{{"fabrion", 1},
                                           {"switch", "leaf1"},
                                           {"carried", Json::array()},
                                           {"ports",
                                            {{{"name", "e3"},
                                              {"absences", Json::array()},
                                              {"entries",
                                               {{{"kind", "allowed"},
                                                 {"vlans", "200"},
                                                 {"because",
                                                  {{{"kind", "link"},
                                                    {"name", "srv2"},
                                                    {"hostname", "compute2"},
                                                    {"port", "e3"},
                                                    {"farEnd", {"srv2", "eth0"}},
                                                    {"origin", origin(link)},
                                                    {"because",
                                                     {{{"kind", "hostnameRequest"},
                                                       {"name", "compute2"},
                                                       {"client", "blue"},
                                                       {"origin", origin(request)}}}}}}}}}}}}}}));
}

TEST(WhyCommand, TellsProgramsWhatAStaticMapGives) {
  const std::string eu = written("eu.yaml",
                                 "fabrion: 1\n"
                                 "switches: {leaf: {ports: e1, vteps: v}}\n"
                                 "requests: [{client: a, switch: leaf, port: e1, vlans: 11-12,\n"
                                 "  domains: a/eu}]\n"
                                 "static maps: {a/eu: {10-12: 110-119}}\n");
  const auto at = [&](int line) { return Json{{"file", eu}, {"line", line}}; };
  const Json answer = Json::parse(asked({eu, "leaf", "e1"}, ReportFormat::json).out);
  EXPECT_EQ(answer["ports"][0]["entries"][1], (Json{{"kind", "vni"},
                                                    {"vlans", "11-12"},
                                                    {"vnis", {111, 112}},
                                                    {"vtep", "v"},
                                                    {"vtepOrigin", at(2)},
                                                    {"because",
                                                     {{{"kind", "staticMap"},
                                                       {"name", "a/eu"},
                                                       {"vlans", "10-12"},
                                                       {"vnis", {110, 111, 112}},
                                                       {"origin", at(5)},
                                                       {"because",
                                                        {{{"kind", "portRequest"},
                                                          {"name", "e1"},
                                                          {"client", "a"},
                                                          {"origin", at(4)}}}}}}}}));
}

// As a user starts it.
TEST(WhyCommand, IsACommandOfTheProgram) {
  const auto ran = [](const std::string& arguments) {
    std::FILE* const pipe = popen((FABRION_BINARY " " + arguments + " 2>&1").c_str(), "r");
    std::string out;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) out += static_cast<char>(c);
    const int status = pclose(pipe);
    return std::pair(WIFEXITED(status) ? WEXITSTATUS(status) : -1, out);
  };
  const std::string module = "--module " FABRION_MODULE " ";
  const auto [done, answer] = ran("why " + module + leafSpine + " leaf3 e8 200 --format json");
  EXPECT_EQ(done, 0);
  EXPECT_EQ(Json::parse(answer)["ports"][0]["absences"][0]["reasons"][0]["kind"], "conflict");
  EXPECT_EQ(ran("why " + module + leafSpine + " leaf3 e80").first, 2);
  EXPECT_EQ(ran("why").first, 2);
  EXPECT_EQ(ran("why --format dot x y").first, 2);
  EXPECT_THAT(ran("why --help").second,
              HasSubstr("fabrion why examples/leaf-spine.yaml leaf1 e3 200"));
}

}  // namespace
}  // namespace Fabrion::Host

#endif
