// The program as a user starts it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace {

struct Result {
  int status;
  std::string out;
};

// Runs the program with these arguments, which a shell reads.
Result ran(const std::string& arguments) {
  std::FILE* const pipe = popen((FABRION_BINARY " " + arguments).c_str(), "r");
  std::string out;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) out += static_cast<char>(c);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

std::string dataFile(const char* name) {
  return std::string(FABRION_SOURCE_DIR "/tests/data/") + name;
}

std::string textOf(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

const std::string module = " --module " FABRION_MODULE " ";

TEST(CommandLine, ReplayWritesTheDumpsOfAFile) {
  const Result result = ran("replay" + module + dataFile("port-request.journal") + " 2>&1");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, textOf(dataFile("port-request.out")));
}

TEST(CommandLine, ReplayReadsTheStandardInputForADash) {
  const Result result = ran(module + "replay - 2>&1 <" + dataFile("port-request.journal"));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, textOf(dataFile("port-request.out")));
}

TEST(CommandLine, ABadJournalIsStatusTwoAndNamesItsLine) {
  const Result result = ran("replay" + module + "- 2>&1 <<'END'\n# one\nnonsense\nEND");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "-:2: no JSON from character 2 on\n");
}

TEST(CommandLine, TheTraceGoesToTheStandardError) {
  const Result result =
      ran("replay --trace 3" + module + "- 2>&1 >/dev/null <<'END'\n{\"op\":\"dump\"}\nEND");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "@1 dump\n@end\n");
}

TEST(CommandLine, AMisuseOfOptionsIsStatusTwo) {
  EXPECT_EQ(ran("2>/dev/null").status, 2);
  EXPECT_EQ(ran("replay 2>/dev/null").status, 2);
  EXPECT_EQ(ran("replay --trace 10 - 2>/dev/null </dev/null").status, 2);
}

TEST(CommandLine, AJournalThatCannotBeReadIsStatusOne) {
  EXPECT_EQ(ran("replay" + module + "/nowhere/journal 2>/dev/null").status, 1);
  EXPECT_EQ(ran("replay" + module + "/ 2>/dev/null").status, 1);
}

TEST(CommandLine, AModuleThatIsNotThereIsNamed) {
  const Result result = ran("replay --module /nowhere/FabrionSm.so - 2>&1 </dev/null");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "fabrion: there is no module /nowhere/FabrionSm.so; name it with --module\n");
}

TEST(CommandLine, TheVersionIsALine) {
  const Result result = ran("--version");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.find("fabrion "), 0U);
}

}  // namespace

#endif
