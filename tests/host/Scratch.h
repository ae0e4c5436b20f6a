#pragma once
// A folder of a test's own in which command lines run as they would in the root of the source tree:
// they find the examples, and leave behind nothing but what goes with the folder.

#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/host/Program.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Test {

// `text` as one word for a shell.
inline std::string shellWord(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

class Scratch {
 public:
  // With the number of the process in its name: several checkouts may be tested at a time.
  explicit Scratch(const std::string& name)
      : folder_(testing::TempDir() + name + '-' + std::to_string(getpid())) {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    // A copy, so that nothing that a line does reaches the repository.
    std::filesystem::copy(inRepository("examples"), folder_ / "examples",
                          std::filesystem::copy_options::recursive);
    std::filesystem::create_directories(folder_ / "bin");
    std::ofstream(folder_ / "bin/fabrion") << "#!/bin/sh\nexec " + whole(FABRION_BINARY) +
                                                  " --module " + whole(FABRION_MODULE) +
                                                  " \"$@\"\n";
    std::filesystem::permissions(folder_ / "bin/fabrion", std::filesystem::perms::owner_all);
  }
  ~Scratch() {
    std::error_code left;
    std::filesystem::remove_all(folder_, left);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string path(const std::string& file) const { return (folder_ / file).string(); }

  // For a shell: goes to the folder and makes `fabrion` the program with the tests' module.
  std::string prelude() const {
    return "cd " + shellWord(folder_.string()) + "; PATH=$PWD/bin:$PATH; ";
  }

  // Runs lines in bash, which ends at the first that fails, and ends what still runs.
  Exit bash(const std::string& lines) const {
    const std::string end = "trap '[[ -z $(jobs -p) ]] || kill $(jobs -p)' EXIT; ";
    return shell("bash -c " + shellWord(prelude() + end + "set -e; " + lines));
  }

 private:
  static std::string whole(const char* file) {
    return shellWord(std::filesystem::absolute(file).lexically_normal().string());
  }

  const std::filesystem::path folder_;
};

}  // namespace Fabrion::Test

#endif
