#include "host/WhyCommand.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <variant>

#include "host/CheckCommand.h"
#include "host/Controller.h"
#include "host/Derivation.h"
#include "host/FabricChange.h"
#include "host/FabricText.h"
#include "host/Progress.h"
#include "host/Say.h"
#include "host/Why.h"
#include "host/WhyJson.h"
#include "host/WhyText.h"

namespace Fabrion::Host {

namespace {

class BadQuestion : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Words {
  std::vector<std::string> documents;
  std::string switchName;
  std::optional<std::string> port;
  std::optional<U32> vlan;
};

bool isDocument(std::string_view word) {
  return word.ends_with(".yaml") || word.ends_with(".yml") || word.ends_with(".json");
}

constexpr const char* form = "DOCUMENT... SWITCH [PORT [VLAN]]";

Words wordsOf(const std::vector<std::string>& words) {
  Words read;
  auto word = words.begin();
  if (word != words.end()) read.documents.push_back(*word++);
  while (word != words.end() && isDocument(*word)) read.documents.push_back(*word++);
  if (word == words.end()) throw BadQuestion(std::string("no switch; expected ") + form);
  read.switchName = *word++;
  if (word != words.end()) read.port = *word++;
  if (word != words.end()) {
    const std::variant<U32, Wrong> vlan = parseVlan(*word++);
    if (const auto* const wrong = std::get_if<Wrong>(&vlan)) throw BadQuestion(wrong->text);
    read.vlan = std::get<U32>(vlan);
  }
  if (word != words.end()) {
    throw BadQuestion(shown(*word) + " follows the VLAN; expected " + form +
                      ", and documents but the first to end in .yaml, .yml or .json");
  }
  return read;
}

// What is near, or else some of what there is.
std::string expected(const std::string& wanted, const std::vector<std::string_view>& known) {
  constexpr std::size_t told = 4;
  std::string near = nearNames(wanted, known);
  if (!near.empty()) return near;
  if (known.empty()) return "; there is none";
  std::string text = "; expected ";
  const std::size_t shownNames = std::min(known.size(), told);
  for (std::size_t i = 0; i < shownNames; ++i) {
    text += (i == 0 ? "" : i + 1 == known.size() ? " or " : ", ") + shown(known[i]);
  }
  if (known.size() > told) text += " or one of " + std::to_string(known.size() - told) + " more";
  return text;
}

const Node& switchOf(const Fabric& fabric, const std::string& name) {
  std::vector<std::string_view> names;
  for (const Node& node : fabric.switches) {
    if (node.name == name) return node;
    names.emplace_back(node.name);
  }
  const auto host = std::find_if(fabric.hosts.begin(), fabric.hosts.end(),
                                 [&](const Node& node) { return node.name == name; });
  if (host != fabric.hosts.end()) {
    throw BadQuestion(shown(name) + " is a host; expected a switch" +
                      (names.empty() ? "" : ", such as " + shown(names.front())));
  }
  throw BadQuestion("no switch " + shown(name) + " is declared" + expected(name, names));
}

void checkPort(const Node& node, const std::string& port) {
  std::vector<std::string_view> names(node.ports.begin(), node.ports.end());
  for (const PortGroup& group : node.groups) names.emplace_back(group.name);
  if (std::find(names.begin(), names.end(), port) != names.end()) return;
  throw BadQuestion("switch " + shown(node.name) + " has no port or port group " + shown(port) +
                    expected(port, names));
}

}  // namespace

Outcome why(const WhyOptions& options, std::ostream& out, std::ostream& err,
            const Velo::VeloModule& module) {
  try {
    const Words words = wordsOf(options.words);
    const std::optional<Fabric> fabric = readOrTell(words.documents, err, options.terminal);
    if (!fabric) return Outcome::mistake;
    const Node& node = switchOf(*fabric, words.switchName);
    if (words.port) checkPort(node, *words.port);
    Controller controller(module);
    {
      Progress progress(err, options.terminal);
      applyAll(FabricChange().to(*fabric), controller, nullptr, progress.of("Applying"));
    }
    const Explanation explanation =
        explain(*fabric, controller, {words.switchName, words.port, words.vlan});
    // Names of files may hold any bytes.
    using Json = nlohmann::json;
    out << (options.format == ReportFormat::json
                ? jsonOf(explanation).dump(2, ' ', false, Json::error_handler_t::replace) + '\n'
                : textOf(explanation))
        << std::flush;
  } catch (const BadQuestion& bad) {
    return refuse(err, bad.what());
  } catch (const OperationFailed& failed) {
    return refuse(err, failed.what());
  }
  return out ? Outcome::done : refuse(err, "the explanation cannot be written");
}

}  // namespace Fabrion::Host
