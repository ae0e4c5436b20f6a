#pragma once
// The program as a user starts it, with arguments that a shell reads.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace Fabrion::Test {

// A file among the tests' temporary ones.
inline std::string written(const std::string& name, const std::string& text) {
  std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)
struct Exit {
  int status;
  std::string out;
};

inline Exit shell(const std::string& script) {
  std::FILE* const pipe = popen(script.c_str(), "r");
  std::string out;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) out += static_cast<char>(c);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

// `command` is `run`, `plan` and so on with its arguments; the tests' module is added.
inline Exit fabrion(const std::string& command) {
  return shell(FABRION_BINARY " --module " FABRION_MODULE " " + command);
}
#endif

}  // namespace Fabrion::Test
