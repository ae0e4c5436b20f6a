#pragma once
// The help of the program, as it prints it, taken apart.

#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/host/Program.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Test {

struct HelpExample {
  std::string does;
  std::string line;
};

struct Help {
  std::string text;
  std::set<std::string> commands;  // of the program's own help
  std::set<std::string> options;   // with their dashes
  std::set<int> endings;
  std::vector<HelpExample> examples;
};

// Of a command, or of the program where `command` is empty.
inline Help helpOf(const std::string& command) {
  const Exit shown = fabrion(command + " --help");
  EXPECT_EQ(shown.status, 0) << command;
  Help help{shown.out, {}, {}, {}, {}};
  const std::regex option("^  (-[a-z]),?(--[a-z]+)?.*|^  (--[a-z]+).*");
  const std::regex item("^  ([a-z]+) .*");
  const std::regex ending("^  ([0-9]+)  .*");
  std::string part;
  for (const std::string& line : linesOf(shown.out)) {
    std::smatch found;
    if (!line.empty() && line[0] != ' ') {
      part = line;
    } else if (part == "Options:" && std::regex_match(line, found, option)) {
      for (std::size_t i = 1; i < found.size(); ++i) {
        if (found[i].matched) help.options.insert(found[i].str());
      }
    } else if (part == "Subcommands:" && std::regex_match(line, found, item)) {
      help.commands.insert(found[1].str());
    } else if (part == "Exit status:" && std::regex_match(line, found, ending)) {
      help.endings.insert(std::stoi(found[1].str()));
    } else if (part == "Examples:" && line.starts_with("    ")) {
      help.examples.back().line = line.substr(4);
    } else if (part == "Examples:" && line.starts_with("  ")) {
      help.examples.push_back({line.substr(2), ""});
    }
  }
  return help;
}

inline std::set<std::string> commandsOfProgram() { return helpOf("").commands; }

}  // namespace Fabrion::Test

#endif
