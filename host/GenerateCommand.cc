#include "host/GenerateCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <vector>

#include "host/Limits.h"
#include "host/Say.h"

namespace Fabrion::Host {

namespace {

std::string andTheLimit(std::size_t limit) {
  return ", and " + std::to_string(limit) + " are the limit";
}

// What shows before the fabric is made up, which may be far more than the memory holds.
std::string tooMuch(const GenerateOptions& options) {
  const U64 leaves = options.leaves;
  const U64 onHosts = U64{options.servers} * std::max(options.links, 1U);
  const U64 onLeaves = leaves == 0 ? 0 : std::max(leaves, leaves * options.spines + onHosts);
  const U64 onSpines = options.spines * std::max(leaves, U64{1});
  const U64 names = onHosts + onLeaves + onSpines;
  if (names > Limits::names) {
    return "there would be at least " + std::to_string(names) + " ports" +
           andTheLimit(Limits::names);
  }
  const U64 maps = options.vlans > 0 ? options.clients / 2 : 0;  // with one range
  if (maps > Limits::staticRanges) {
    return "there would be " + std::to_string(maps) + " static maps" +
           andTheLimit(Limits::staticRanges);
  }
  return "";
}

// What the fabric has too much of to be read back; nothing when it fits.
std::string tooMuch(const Fabric& fabric) {
  std::size_t names = 0;
  std::size_t vnis = 0;
  std::size_t domains = 0;
  for (const std::vector<Node>* nodes : {&fabric.switches, &fabric.hosts}) {
    for (const Node& node : *nodes) {
      names += node.ports.size();
      for (const PortGroup& group : node.groups) names += group.members.size();
      if (node.ports.size() > Limits::listEntries) {
        return node.name + " would have " + std::to_string(node.ports.size()) + " ports" +
               andTheLimit(Limits::listEntries);
      }
    }
  }
  const auto count = [&](const auto& request) {
    vnis += request.vnis.size();
    domains += request.domains.size();
  };
  std::for_each(fabric.portRequests.begin(), fabric.portRequests.end(), count);
  std::for_each(fabric.hostnameRequests.begin(), fabric.hostnameRequests.end(), count);
  if (names > Limits::names) {
    return "there would be " + std::to_string(names) + " ports and members of groups" +
           andTheLimit(Limits::names);
  }
  // Each VLAN comes with one of the two, so there are not too many VLANs then.
  static_assert(Limits::vnis == Limits::domains);
  const std::size_t more = std::max(vnis, domains);
  if (more > Limits::vnis) {
    return "clients would ask for " + std::to_string(more) + (more == vnis ? " VNIs" : " domains") +
           andTheLimit(Limits::vnis);
  }
  return "";
}

std::string fileOf(const std::string& output, std::size_t number) {
  if (number == 1) return output;
  const std::filesystem::path path(output);
  const std::string name =
      path.stem().string() + '-' + std::to_string(number) + path.extension().string();
  return (path.parent_path() / name).string();
}

}  // namespace

Outcome generateDocuments(const GenerateCommandOptions& options, std::ostream& out,
                          std::ostream& err) {
  const std::string noDocument = "no document can hold this fabric: ";
  if (const std::string why = tooMuch(options.fabric); !why.empty()) {
    return refuse(err, noDocument + why);
  }
  const Fabric fabric = generate(options.fabric);
  if (const std::string why = tooMuch(fabric); !why.empty()) return refuse(err, noDocument + why);
  const std::vector<std::string> texts = yamlOf(fabric, options.bytes);
  if (!options.output || *options.output == "-") {
    if (texts.size() > 1) {
      return refuse(err,
                    "the fabric fills " + std::to_string(texts.size()) +
                        " documents; name a file with --output, and the others stand beside it");
    }
    out << texts.front() << std::flush;
    return out ? Outcome::done : refuse(err, "the document cannot be written");
  }
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string name = fileOf(*options.output, i + 1);
    std::ofstream file(name, std::ios::binary);
    if (file) file << texts[i] << std::flush;
    if (!file) return refuse(err, name + ": " + std::strerror(errno));
    out << name + '\n';
  }
  out << std::flush;
  return out ? Outcome::done : refuse(err, "the files' names cannot be written");
}

}  // namespace Fabrion::Host
