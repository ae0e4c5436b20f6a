#pragma once
// Texts for the host's tests: the files of the repository, the lines of a text, fabrics that are
// written in a test.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "host/FabricDocument.h"

namespace Fabrion::Test {

// `file` as the tests find it, which are run from the root of the checkout.
inline std::string inRepository(const std::string& file) {
  return std::string(FABRION_SOURCE_DIR "/") + file;
}

inline std::string textOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// What stands between the lines "```LANGUAGE" and "```" of a page, block by block.
inline std::vector<std::string> blocksOf(const std::string& page, const std::string& language) {
  std::vector<std::string> blocks;
  bool inside = false;
  bool taken = false;
  for (const std::string& line : linesOf(page)) {
    if (line.starts_with("```")) {
      inside = !inside;
      taken = inside && line == "```" + language;
      if (taken) blocks.emplace_back();
    } else if (taken) {
      blocks.back() += line + '\n';
    }
  }
  return blocks;
}

inline Host::Fabric fabricOf(const std::string& document) {
  const Host::FabricOrProblems read = Host::parseFabric({{"test.yaml", "fabrion: 1\n" + document}});
  if (const auto* problems = std::get_if<std::vector<Host::Problem>>(&read)) {
    for (const Host::Problem& problem : *problems) ADD_FAILURE() << Host::toString(problem);
    return {};
  }
  return std::get<Host::Fabric>(read);
}

}  // namespace Fabrion::Test
