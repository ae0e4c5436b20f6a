// What `fabrion audit` says of outputs that it cannot read, word for word, beside what
// outputs_json_test.cc has of it.

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "host/OutputsJson.h"
#include "tests/host/Program.h"
#include "tests/host/Texts.h"

namespace Fabrion::Host {
namespace {

using Test::inRepository;
using Test::written;

std::string mistakeOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const BadOutputs& bad) {
    return bad.what();
  }
  return "no mistake";
}

std::string wrongOf(const std::string& text) {
  return mistakeOf([&] { outputsFrom("now.json", text); });
}

TEST(ErrorsOfOutputs, NumbersOutOfRange) {
  for (const char* vlan : {"4095", "-1", "1.5", "\"7\"", "null", "18446744073709551615"}) {
    EXPECT_EQ(wrongOf(R"({"switch":{"a":{"portNativeVlan":{"e1":)" + std::string(vlan) + "}}}}"),
              "now.json: .switch.a.portNativeVlan.e1: " + std::string(vlan) +
                  " stands here; expected a VLAN from 0 to 4094");
  }
  for (const char* vni : {"16777216", "-1", "\"5010\"", "[]"}) {
    EXPECT_EQ(
        wrongOf(R"({"switch":{"a":{"vtepConfig":{"v":{"e/1":{"10":)" + std::string(vni) + "}}}}}}"),
        R"(now.json: .switch.a.vtepConfig.v["e/1"]["10"]: )" + std::string(vni) +
            " stands here; expected a VNI, a number from 0 to 16777215");
  }
}

TEST(ErrorsOfOutputs, ListsThatAreNone) {
  for (const char* list : {"3-1", "x", "1,", "65536", "1-2-3"}) {
    EXPECT_EQ(
        wrongOf(R"({"switch":{"a":{"portAllowedVlanList":{"e1":")" + std::string(list) + "\"}}}}"),
        "now.json: .switch.a.portAllowedVlanList.e1: \"" + std::string(list) +
            "\" stands here; expected a list of VLANs such as \"1-3,5\"");
  }
}

// Whatever is shown of such values would take the stack with it.
TEST(ErrorsOfOutputs, ValuesNestedWithoutEnd) {
  const auto nested = [](const std::string& open, const std::string& close, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += open;
    for (int i = 0; i < times; ++i) text += close;
    return text;
  };
  const std::string expected =
      ": values are nested more than 32 deep; expected outputs, {\"switch\": {...}}";
  EXPECT_EQ(wrongOf(R"({"switch":)" + nested("[", "]", 1000000) + "}"),
            "now.json: .switch" + expected);
  EXPECT_EQ(wrongOf(nested("[", "]", 1000000)), "now.json: ." + expected);
  std::string path;
  for (int i = 0; i < 32; ++i) path += ".a";
  EXPECT_EQ(wrongOf(nested(R"({"a":)", "}", 1000000)), "now.json: " + path + expected);
  // As deep as it may be it is told what it is.
  EXPECT_EQ(wrongOf(R"({"switch":)" + nested("[", "]", 31) + "}"),
            "now.json: .switch: " + nested("[", "", 31) + nested("", "]", 29) +
                "... stands here; expected outputs by switch, {SWITCH: {...}}");
}

const std::string noJson =
    ": no JSON from here on; expected one object, {\"switch\": {...}}, such as one line that "
    "`fabrion replay` writes for a dump";

TEST(ErrorsOfOutputs, Files) {
  const auto mistakeIn = [](const std::string& file) {
    return mistakeOf([&] { readOutputs(file); });
  };
  EXPECT_EQ(mistakeIn("/nowhere/now.json"), "/nowhere/now.json: No such file or directory");
  EXPECT_EQ(mistakeIn(testing::TempDir()), testing::TempDir() + ": Is a directory");
  EXPECT_EQ(mistakeIn("/proc/self/mem"), "/proc/self/mem: Input/output error");
  const std::string empty = written("empty.json", "");
  EXPECT_EQ(mistakeIn(empty), empty + ":1:1" + noJson);
  const std::string binary = written("binary.json", std::string("{}\n \0", 5));
  EXPECT_EQ(mistakeIn(binary), binary + ":2:2: a zero byte; expected JSON");
}

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

using Test::Exit;
using Test::fabrion;

void expectSaid(const std::string& command, const std::string& said) {
  const Exit exit = fabrion(command + " 2>&1");
  EXPECT_EQ(exit.out, said);
  EXPECT_EQ(exit.status, 2) << command;
}

TEST(ErrorsOfOutputs, TheStandardInput) {
  const std::string audit = "audit --against - " + inRepository("examples/two-switches.yaml") + " ";
  expectSaid(audit + "</dev/null", "standard input:1:1" + noJson + "\n");
  expectSaid(audit + "</", "standard input: Is a directory\n");
  expectSaid("audit --against - /nowhere.yaml </dev/null",
             "/nowhere.yaml: cannot be opened: No such file or directory\n");
}

#endif

}  // namespace
}  // namespace Fabrion::Host
