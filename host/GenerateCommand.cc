#include "host/GenerateCommand.h"

#include <filesystem>
#include <fstream>
#include <ostream>
#include <vector>

#include "host/Limits.h"

namespace Fabrion::Host {

namespace {

// What the fabric has too much of to be read back; nothing when it fits.
std::string tooMuch(const Fabric& fabric) {
  std::size_t names = 0;
  std::size_t vlans = 0;
  for (const std::vector<Node>* nodes : {&fabric.switches, &fabric.hosts}) {
    for (const Node& node : *nodes) {
      names += node.ports.size();
      for (const PortGroup& group : node.groups) names += group.members.size();
      if (node.ports.size() > Limits::listEntries) {
        return node.name + " would have " + std::to_string(node.ports.size()) + " ports, and " +
               std::to_string(Limits::listEntries) + " are the limit";
      }
    }
  }
  for (const PortRequest& request : fabric.portRequests) vlans += request.vlans.size();
  for (const HostnameRequest& request : fabric.hostnameRequests) vlans += request.vlans.size();
  if (names > Limits::names) {
    return "there would be " + std::to_string(names) + " ports and members of groups, and " +
           std::to_string(Limits::names) + " are the limit";
  }
  if (vlans > Limits::vlans) {
    return "clients would ask for " + std::to_string(vlans) + " VLANs, and " +
           std::to_string(Limits::vlans) + " are the limit";
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

Outcome refuse(std::ostream& err, const std::string& why) {
  err << "fabrion: " + why + '\n' << std::flush;
  return Outcome::mistake;
}

}  // namespace

Outcome generateDocuments(const GenerateCommandOptions& options, std::ostream& out,
                          std::ostream& err) {
  const Fabric fabric = generate(options.fabric);
  if (const std::string why = tooMuch(fabric); !why.empty()) {
    return refuse(err, "no document can hold this fabric: " + why);
  }
  const std::vector<std::string> texts = yamlOf(fabric, options.bytes);
  if (!options.output) {
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
    file << texts[i] << std::flush;
    if (!file) return refuse(err, name + " cannot be written");
    out << name + '\n';
  }
  out << std::flush;
  return out ? Outcome::done : refuse(err, "the files' names cannot be written");
}

}  // namespace Fabrion::Host
