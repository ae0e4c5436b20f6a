#include "host/RenderCommand.h"

#include <ostream>
#include <set>

#include "host/CheckCommand.h"
#include "host/Derivation.h"
#include "host/FabricText.h"
#include "host/Progress.h"
#include "host/Rendering.h"
#include "host/Say.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;

// The switches that are asked for; none, and said why, where there is no such switch.
std::vector<const Node*> chosen(const Fabric& fabric, const RenderOptions& options,
                                std::ostream& err) {
  std::vector<const Node*> nodes;
  std::vector<std::string_view> names;
  for (const Node& node : fabric.switches) {
    names.emplace_back(node.name);
    if (!options.switchName || node.name == *options.switchName) nodes.push_back(&node);
  }
  if (nodes.empty() && options.switchName) {
    for (const Node& host : fabric.hosts) {
      if (host.name != *options.switchName) continue;
      say(err, shown(host.name) + " is a host; expected a switch" +
                   (names.empty() ? "" : ", such as " + shown(names.front())));
      return nodes;
    }
    say(err, "no document has the switch " + shown(*options.switchName) +
                 nearNames(*options.switchName, names));
  }
  return nodes;
}

std::string rendered(const std::vector<const Node*>& nodes, const FabricOutputs& outputs,
                     const RenderOptions& options, Refusals& refusals) {
  std::string text;
  Json json = Json::object();
  for (const Node* node : nodes) {
    const SwitchOutputs& one = outputs.at(node->name);
    if (options.target == RenderTarget::ovs) {
      text += (text.empty() ? "" : "\n") + ovsCommands(*node, one, refusals);
    } else {
      json[node->name] = options.target == RenderTarget::sonic ? sonicConfig(*node, one, refusals)
                                                               : openConfig(*node, one, refusals);
    }
  }
  if (options.target == RenderTarget::ovs) return text;
  return (options.switchName ? json[*options.switchName] : json).dump(2) + "\n";
}

}  // namespace

Outcome render(const RenderOptions& options, std::ostream& out, std::ostream& err,
               const Velo::VeloModule& module) {
  const std::optional<Fabric> fabric = readOrTell(options.documents, err, options.terminal);
  if (!fabric) return Outcome::mistake;
  const std::vector<const Node*> nodes = chosen(*fabric, options, err);
  if (nodes.empty() && options.switchName) return Outcome::mistake;
  FabricOutputs outputs;
  try {
    Progress progress(err, options.terminal);
    outputs = outputsOf(*fabric, module, progress.of("Applying"));
  } catch (const OperationFailed& error) {
    say(err, error.what());
    return Outcome::mistake;
  }
  Refusals refusals;
  const std::string text = rendered(nodes, outputs, options, refusals);
  std::set<std::string> told;  // two VTEPs of a switch may be refused the same
  for (const std::string& refusal : refusals) {
    if (told.insert(refusal).second) say(err, refusal);
  }
  if (!refusals.empty()) return Outcome::mistake;
  out << text << std::flush;
  if (!out) {
    say(err, "the configuration cannot be written");
    return Outcome::mistake;
  }
  return Outcome::done;
}

}  // namespace Fabrion::Host
