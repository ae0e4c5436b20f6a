#include "host/DiscoverCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <utility>
#include <variant>

#include "host/DiscoveredDocument.h"
#include "host/Discovery.h"
#include "host/FabricDocument.h"
#include "host/Limits.h"
#include "host/Say.h"

namespace Fabrion::Host {

namespace {

using Mistakes = std::vector<std::string>;

constexpr const char* nothingNamed =
    "fabrion: no file of a switch is named; expected FILE... or --switch NAME=FILE";

std::optional<std::string> textOf(const std::string& file, Mistakes& mistakes) {
  std::error_code none;
  if (std::filesystem::is_directory(file, none)) {
    mistakes.push_back(file + ": a folder; expected a file");
    return std::nullopt;
  }
  std::ifstream stream(file, std::ios::binary);
  std::string text;
  if (stream) {
    // One more than may be, to tell a file of that size from a larger one; it may be a pipe.
    text.resize(Limits::fileBytes + 1);
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
  }
  if (!stream.is_open() || stream.bad()) {
    mistakes.push_back(file + ": " + std::strerror(errno));
    return std::nullopt;
  }
  if (text.size() > Limits::fileBytes) {
    mistakes.push_back(file + ": larger than " + std::to_string(Limits::fileBytes >> 20u) + " MiB");
    return std::nullopt;
  }
  return text;
}

// The switches by name, each with its file.
std::map<std::string, std::string> filesOf(const DiscoverOptions& options, Mistakes& mistakes) {
  std::map<std::string, std::string> files;
  const auto add = [&](const std::string& name, const std::string& file) {
    if (const auto wrong = checkName(name)) {
      mistakes.push_back(file + ": " + wrong->text + ", as the name of its switch");
      return;
    }
    if (firstNonUtf8(name)) {
      mistakes.push_back(file +
                         ": the name of its switch is not UTF-8; expected --switch NAME=FILE");
      return;
    }
    const auto [first, isNew] = files.emplace(name, file);
    if (!isNew) {
      mistakes.push_back(file + ": switch " + shown(name) + " has a file already, " +
                         first->second + "; expected one file for each switch");
    }
  };
  for (const std::string& file : options.files) {
    add(std::filesystem::path(file).stem().string(), file);
  }
  for (const std::string& named : options.namedFiles) {
    const auto equals = named.find('=');
    if (equals == std::string::npos) {
      mistakes.push_back("--switch " + named + ": expected NAME=FILE");
    } else {
      add(named.substr(0, equals), named.substr(equals + 1));
    }
  }
  return files;
}

DiscoveryHints hintsOf(const DiscoverOptions& options,
                       const std::map<std::string, std::string>& files, Mistakes& mistakes) {
  DiscoveryHints hints{{options.hosts.begin(), options.hosts.end()}, {}};
  for (const std::string& written : options.ports) {
    const auto equals = written.find('=');
    const std::string name = written.substr(0, equals);
    if (equals == std::string::npos) {
      mistakes.push_back("--ports " + written + ": expected SWITCH=PORTS");
      continue;
    }
    if (!files.contains(name)) {
      mistakes.push_back("--ports " + written + ": no file of a switch " + shown(name));
      continue;
    }
    if (firstNonUtf8(written)) {
      mistakes.push_back("--ports " + written + ": not UTF-8");
      continue;
    }
    if (written.find(',', equals) != std::string::npos) {
      mistakes.push_back("--ports " + written +
                         ": a comma in the ports; expected one port or range, and --ports again "
                         "for each further one");
      continue;
    }
    auto ports = expandPorts(written.substr(equals + 1));
    if (const auto* const wrong = std::get_if<Wrong>(&ports)) {
      mistakes.push_back("--ports " + written + ": " + wrong->text);
      continue;
    }
    auto& all = hints.ports[name];
    for (std::string& port : std::get<std::vector<std::string>>(ports)) {
      all.push_back(std::move(port));
    }
  }
  return hints;
}

std::vector<SwitchNeighbors> readAll(const std::map<std::string, std::string>& files,
                                     Mistakes& mistakes) {
  std::vector<SwitchNeighbors> switches;
  for (const auto& [name, file] : files) {
    const auto text = textOf(file, mistakes);
    if (!text) continue;
    auto neighbors = readLldpNeighbors(*text);
    if (const auto* const wrong = std::get_if<Wrong>(&neighbors)) {
      mistakes.push_back(file + ": " + wrong->text);
    } else {
      switches.push_back({name, file, std::get<std::vector<LldpNeighbor>>(std::move(neighbors))});
    }
  }
  return switches;
}

std::string headingOf(const std::vector<SwitchNeighbors>& switches) {
  std::string names;
  for (const SwitchNeighbors& one : switches) {
    names += (names.empty() ? "" : ", ") + shown(one.name);
  }
  return "Made by fabrion discover from what lldpcli printed on " + names + ".";
}

// What has no place of its own in a file: names that no fabric may hold together, say.
bool isFabric(const std::string& document, Mistakes& mistakes) {
  const FabricOrProblems read = parseFabric({{"discovered", document}});
  if (const auto* const problems = std::get_if<std::vector<Problem>>(&read)) {
    for (const Problem& problem : *problems) {
      mistakes.push_back("what was discovered is no fabric: " + problem.text);
    }
    return false;
  }
  return true;
}

}  // namespace

Outcome discover(const DiscoverOptions& options, std::ostream& out, std::ostream& err) {
  Mistakes mistakes;
  const auto files = filesOf(options, mistakes);
  if (files.empty() && mistakes.empty()) mistakes.emplace_back(nothingNamed);
  const DiscoveryHints hints = hintsOf(options, files, mistakes);
  const std::vector<SwitchNeighbors> switches = readAll(files, mistakes);
  std::string document;
  if (mistakes.empty()) {
    auto made = discover(switches, hints);
    if (auto* const wrong = std::get_if<Mistakes>(&made)) {
      mistakes = std::move(*wrong);
    } else {
      const auto& discovered = std::get<Discovered>(made);
      document = documentOf(discovered, {headingOf(switches)});
      if (isFabric(document, mistakes)) {
        for (const std::string& note : notesOf(discovered)) err << "note: " + note + '\n';
      }
    }
  }
  for (const std::string& mistake : mistakes) err << mistake + '\n';
  err << std::flush;
  if (!mistakes.empty()) return Outcome::mistake;
  out << document << std::flush;
  return out ? Outcome::done : refuse(err, "the document cannot be written");
}

}  // namespace Fabrion::Host
