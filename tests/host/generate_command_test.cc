// `fabrion generate`, on streams where that shows enough, and as a user starts it where the command
// line is the matter.

#include "host/GenerateCommand.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>

#include "host/CheckCommand.h"
#include "host/FabricDocument.h"
#include "tests/host/Texts.h"

namespace Fabrion::Host {
namespace {

// A folder of its own, gone with the test.
class GenerateCommand : public testing::Test {
 protected:
  GenerateCommand() { std::filesystem::create_directories(folder_); }
  ~GenerateCommand() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name) const { return (folder_ / name).string(); }

  GenerateCommandOptions options_;
  std::ostringstream out_;
  std::ostringstream err_;

 private:
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      ("fabrion-generate-" + std::to_string(getpid()) + '-' +
       testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(GenerateCommand, WritesOneDocumentThatHasNoMistakes) {
  ASSERT_EQ(generateDocuments(options_, out_, err_), Outcome::done);
  EXPECT_EQ(err_.str(), "");
  const auto read = parseFabric({{"made.yaml", out_.str()}});
  ASSERT_TRUE(std::holds_alternative<Fabric>(read));
  EXPECT_EQ(std::get<Fabric>(read), generate(options_.fabric));
}

TEST_F(GenerateCommand, WritesAFileAndNamesIt) {
  options_.output = file("made.yaml");
  ASSERT_EQ(generateDocuments(options_, out_, err_), Outcome::done);
  EXPECT_EQ(out_.str(), *options_.output + "\n");
  const auto read = readFabric({*options_.output});
  ASSERT_TRUE(std::holds_alternative<Fabric>(read));
  EXPECT_EQ(std::get<Fabric>(read), generate(options_.fabric));
}

TEST_F(GenerateCommand, ADashIsTheStandardOutput) {
  ASSERT_EQ(generateDocuments(options_, out_, err_), Outcome::done);
  options_.output = "-";
  std::ostringstream dash;
  ASSERT_EQ(generateDocuments(options_, dash, err_), Outcome::done);
  EXPECT_EQ(dash.str(), out_.str());
  EXPECT_EQ(err_.str(), "");
  EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(GenerateCommand, WritesFurtherDocumentsBesideTheFirst) {
  options_.bytes = 6000;
  EXPECT_EQ(generateDocuments(options_, out_, err_), Outcome::mistake);
  EXPECT_EQ(out_.str(), "");
  EXPECT_EQ(
      err_.str(),
      "fabrion: the fabric fills 2 documents; name a file with --output, and the others stand "
      "beside it\n");
  err_.str("");
  options_.output = "-";
  EXPECT_EQ(generateDocuments(options_, out_, err_), Outcome::mistake);
  EXPECT_EQ(
      err_.str(),
      "fabrion: the fabric fills 2 documents; name a file with --output, and the others stand "
      "beside it\n");
  EXPECT_EQ(out_.str(), "");
  options_.output = file("made.yaml");
  ASSERT_EQ(generateDocuments(options_, out_, err_), Outcome::done);
  EXPECT_EQ(out_.str(), file("made.yaml") + "\n" + file("made-2.yaml") + "\n");
  std::ostringstream said;
  std::ostringstream mistakes;
  EXPECT_EQ(check({file("made.yaml"), file("made-2.yaml")}, said, mistakes), Outcome::done)
      << mistakes.str();
  const auto read = readFabric({file("made.yaml"), file("made-2.yaml")});
  ASSERT_TRUE(std::holds_alternative<Fabric>(read));
  EXPECT_EQ(std::get<Fabric>(read), generate(options_.fabric));
}

TEST_F(GenerateCommand, RefusesWhatNoDocumentCanHold) {
  const std::string head = "fabrion: no document can hold this fabric: ";
  const std::string ports = " ports, and 1048576 are the limit\n";
  const std::vector<std::pair<GenerateOptions, std::string>> refusals = {
      {{1, 0, 5000, 0, 0, 1}, "leaf1 would have 5000 ports, and 4096 are the limit\n"},
      {{5000, 1, 0, 0, 0}, "spine1 would have 5000 ports, and 4096 are the limit\n"},
      {{400, 0, 300000, 0, 0},
       "there would be 1401152 ports and members of groups, and 1048576 "
       "are the limit\n"},
      // What would not fit the memory is not made up at all.
      {{1024, 512, 1, 0, 0, 1}, "there would be at least 1048578" + ports},
      {{0, 0, 10000000, 0, 0, 64}, "there would be at least 640000000" + ports},
      {{10000000, 10000000, 10000000, 0, 0, 64}, "there would be at least 200001280000000" + ports},
      {{0, 10000000, 0, 0, 0}, "there would be at least 10000000" + ports},
      {{10000000, 0, 0, 0, 0}, "there would be at least 10000000" + ports},
      {{0, 0, 0, 10000000, 1}, "there would be 5000000 static maps, and 1048576 are the limit\n"},
      {{0, 0, 513, 1, 4094, 1, 4094},
       "clients would ask for 2100222 VNIs, and 2097152 are the limit\n"},
  };
  for (const auto& [fabric, expected] : refusals) {
    options_.fabric = fabric;
    err_.str("");
    EXPECT_EQ(generateDocuments(options_, out_, err_), Outcome::mistake) << expected;
    EXPECT_EQ(err_.str(), head + expected);
    EXPECT_EQ(out_.str(), "");
  }
}

// The bounds that are looked at beforehand are none that another fabric meets: these have just as
// many ports as may be.
TEST_F(GenerateCommand, RefusesNothingElse) {
  for (const GenerateOptions& fabric :
       {GenerateOptions{1024, 512, 0, 0, 0}, GenerateOptions{128, 0, 524288, 0, 0, 1}}) {
    options_.fabric = fabric;
    err_.str("");
    EXPECT_EQ(generateDocuments(options_, out_, err_), Outcome::mistake);
    EXPECT_EQ(err_.str().find("can hold"), std::string::npos) << err_.str();
  }
}

TEST_F(GenerateCommand, TellsAFileThatCannotBeWritten) {
  options_.output = file("none/made.yaml");
  EXPECT_EQ(generateDocuments(options_, out_, err_), Outcome::mistake);
  EXPECT_EQ(err_.str(), "fabrion: " + *options_.output + ": No such file or directory\n");
}

TEST_F(GenerateCommand, OfSeveralFilesNamesThoseThatItWrote) {
  options_.bytes = 6000;
  options_.output = file("made.yaml");
  std::filesystem::create_directories(file("made-2.yaml"));
  EXPECT_EQ(generateDocuments(options_, out_, err_), Outcome::mistake);
  EXPECT_EQ(out_.str(), file("made.yaml") + "\n");
  EXPECT_EQ(err_.str(), "fabrion: " + file("made-2.yaml") + ": Is a directory\n");
}

#if defined(FABRION_BINARY)

int statusOf(const std::string& arguments) {
  std::FILE* const pipe = popen((FABRION_BINARY " " + arguments + " >/dev/null 2>&1").c_str(), "r");
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(GenerateCommandLine, TakesSizesAndRefusesOthers) {
  EXPECT_EQ(statusOf("generate --leaves 1 --spines 0 --servers 0 --clients 0 --vlans 0"), 0);
  EXPECT_EQ(statusOf("generate --leaves 3 --servers 7 --links 2 --seed 18446744073709551615"), 0);
  EXPECT_EQ(statusOf("generate --leaves -1"), 2);
  EXPECT_EQ(statusOf("generate --vlans 4095"), 2);
  EXPECT_EQ(statusOf("generate --servers many"), 2);
  EXPECT_EQ(statusOf("generate stray"), 2);
}

TEST(GenerateCommandLine, WhatItWritesCanBeChecked) {
  EXPECT_EQ(statusOf("generate --seed 7 | " FABRION_BINARY " check /dev/stdin"), 0);
}

#endif

}  // namespace
}  // namespace Fabrion::Host
