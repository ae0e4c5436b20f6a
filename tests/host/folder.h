#pragma once
// A folder of a test's own, gone with the test.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace Fabrion::Test {

class Folder {
 public:
  Folder() {
    std::string name = testing::TempDir() + "fabrionXXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string operator/(const std::string& name) const { return path + "/" + name; }
  // Writes the file and returns its path.
  std::string with(const std::string& name, const std::string& text) const {
    std::ofstream(*this / name, std::ios::binary) << text;
    return *this / name;
  }

  std::string path;
};

}  // namespace Fabrion::Test
