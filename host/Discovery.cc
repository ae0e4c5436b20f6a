#include "host/Discovery.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace Fabrion::Host {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string end(const LinkEnd& at) { return shown(at.port) + " of " + shown(at.node); }

std::string shortName(const std::string& name) { return name.substr(0, name.find('.')); }

// Free text such as "uplink to core" is no name of a port.
bool namesAPort(const std::string& text) {
  return !checkPortName(text) && text.find(' ') == std::string::npos;
}

// What one switch sees on one of its ports.
struct Sight {
  const SwitchNeighbors* from = nullptr;
  const LldpNeighbor* neighbor = nullptr;
  LinkEnd local;
  LinkEnd far;
  bool portIsNamed = false;  // rather than known by a MAC address or a number
  bool isSeenBack = false;
  std::string note;
};

struct NaturalOrder {
  bool operator()(const std::string& a, const std::string& b) const {
    return naturallyBefore(a, b);
  }
};

using Names = std::set<std::string, NaturalOrder>;

struct FarNode {
  std::string hostname;
  bool hasFile = false;
  bool isSwitch = false;
  Names ports;
  std::map<std::string, Names, NaturalOrder> aggregations;  // by id
};

class Discovery {
 public:
  Discovery(const std::vector<SwitchNeighbors>& switches, const DiscoveryHints& hints)
      : switches_(switches), hints_(hints) {}

  std::variant<Discovered, std::vector<std::string>> run() {
    for (const SwitchNeighbors& one : switches_) files_.insert(one.name);
    findNamesakes();
    for (const SwitchNeighbors& one : switches_) look(one);
    if (!wrong_.empty()) return std::move(wrong_);
    matchSights();
    for (const Sight& sight : sights_) {
      record(sight.local);
      record(sight.far);
      link(sight);
    }
    for (const auto& [name, ports] : hints_.ports) {
      for (const std::string& port : ports) nodes_[name].ports.insert(port);
    }
    checkHosts();
    if (!wrong_.empty()) return std::move(wrong_);
    noteOpenBundles();
    for (const auto& [name, node] : nodes_) write(name, node);
    std::sort(found_.fabric.links.begin(), found_.fabric.links.end(), linkBefore);
    return std::move(found_);
  }

 private:
  void findNamesakes();
  void look(const SwitchNeighbors& from);
  std::string nameOf(const LldpNeighbor& neighbor);
  void portOf(Sight& sight);
  void matchSights();
  void seeBack(Sight& sight, const std::vector<Sight*>& back);
  void classify(FarNode& node, const std::string& name, const LldpNeighbor& neighbor);
  void record(const LinkEnd& at) { nodes_[at.node].ports.insert(at.port); }
  void link(const Sight& sight);
  void checkHosts();
  void noteOpenBundles();
  void write(const std::string& name, const FarNode& node);
  void note(const std::string& node, const std::string& text) {
    std::vector<std::string>& notes = found_.nodeNotes[node];
    if (std::find(notes.begin(), notes.end(), text) == notes.end()) notes.push_back(text);
  }

  static bool linkBefore(const Link& a, const Link& b) {
    const auto before = [](const LinkEnd& x, const LinkEnd& y) {
      return x.node == y.node ? naturallyBefore(x.port, y.port) : naturallyBefore(x.node, y.node);
    };
    return a.a == b.a ? before(a.b, b.b) : before(a.a, b.a);
  }

  const std::vector<SwitchNeighbors>& switches_;
  const DiscoveryHints& hints_;
  std::set<std::string> files_;
  std::map<std::string, std::set<std::string>> chassisOf_;  // by the name that they tell
  std::vector<Sight> sights_;
  std::map<std::string, FarNode, NaturalOrder> nodes_;
  std::map<Link, const Sight*> links_;
  std::vector<std::string> wrong_;
  Discovered found_;
};

void Discovery::findNamesakes() {
  for (const SwitchNeighbors& one : switches_) {
    for (const LldpNeighbor& neighbor : one.neighbors) {
      chassisOf_[neighbor.name].insert(neighbor.chassis.value);
    }
  }
}

std::string Discovery::nameOf(const LldpNeighbor& neighbor) {
  if (neighbor.name.empty()) {
    note(neighbor.chassis.value,
         "tells no name; called by the id of its chassis, " + shown(neighbor.chassis.value));
    return neighbor.chassis.value;
  }
  const auto& chassis = chassisOf_[neighbor.name];
  std::vector<std::string> alike;
  if (files_.contains(neighbor.name)) {
    alike.push_back(neighbor.name);
  } else {
    for (const std::string& file : files_) {
      // Names that both have a domain and differ are two systems.
      const bool oneIsShort =
          file.find('.') == std::string::npos || neighbor.name.find('.') == std::string::npos;
      if (oneIsShort && shortName(file) == shortName(neighbor.name)) alike.push_back(file);
    }
  }
  if (alike.size() == 1) {
    if (alike[0] != neighbor.name) {
      note(alike[0], "calls itself " + shown(neighbor.name) + "; taken for the switch " +
                         shown(alike[0]) + " that has a file");
    }
    if (chassis.size() > 1) {
      note(alike[0], "neighbours with " + std::to_string(chassis.size()) +
                         " ids of their chassis call themselves " + shown(neighbor.name) +
                         "; taken for one switch");
    }
    return alike[0];
  }
  if (chassis.size() == 1) return neighbor.name;
  std::string name = neighbor.name + "-" + neighbor.chassis.value;
  note(name, "one of " + std::to_string(chassis.size()) + " that call themselves " +
                 shown(neighbor.name) + "; told apart by the id of its chassis");
  return name;
}

void Discovery::portOf(Sight& sight) {
  const LldpId& id = sight.neighbor->port;
  const std::string& description = sight.neighbor->portDescription;
  if (id.type == "ifname") {
    sight.far.port = id.value;
    sight.portIsNamed = true;
  } else if (!description.empty() && namesAPort(description)) {
    sight.far.port = description;
    sight.portIsNamed = true;
    // lldpd itself does it so, hence one note for a node is enough.
    if (!files_.contains(sight.far.node)) {
      note(sight.far.node, "its ports are named by their descriptions, for their ids are no names");
    }
  } else {
    sight.far.port = id.value;
    sight.note = end(sight.far) + " is known by an id of the kind " + shown(id.type) +
                 " alone, which need not be the name of the port";
  }
}

void Discovery::look(const SwitchNeighbors& from) {
  FarNode& self = nodes_[from.name];
  self.hostname = from.name;
  self.hasFile = self.isSwitch = true;
  // By port: whether a neighbour is told by LLDP itself, and how many are told.
  std::map<std::string, bool> byLldp;
  for (const LldpNeighbor& one : from.neighbors) byLldp[one.interface] |= one.via == "LLDP";
  std::map<std::string, std::set<LinkEnd>> farEnds;
  for (const LldpNeighbor& one : from.neighbors) {
    const auto bad = [&](const std::optional<Wrong>& why) {
      if (!why) return false;
      wrong_.push_back(from.file + ": " + one.where + ": " + why->text);
      return true;
    };
    if (bad(checkPortName(one.interface))) continue;
    if (one.via != "LLDP" && byLldp[one.interface]) {
      note(from.name, "what " + end({from.name, one.interface}) + " hears by " + shown(one.via) +
                          " is left out, for it has a neighbour by LLDP");
      continue;
    }
    Sight sight{&from, &one, {from.name, one.interface}, {nameOf(one), ""}, false, false, {}};
    if (bad(checkName(sight.far.node))) continue;
    portOf(sight);
    if (bad(checkPortName(sight.far.port))) continue;
    if (sight.far == sight.local) {
      note(from.name, end(sight.local) + " hears itself; no link");
      continue;
    }
    FarNode& far = nodes_[sight.far.node];
    if (!far.hasFile) classify(far, sight.far.node, one);
    farEnds[one.interface].insert(sight.far);
    sights_.push_back(std::move(sight));
  }
  for (const auto& [port, ends] : farEnds) {
    if (ends.size() > 1) {
      note(from.name, end({from.name, port}) + " has " + std::to_string(ends.size()) +
                          " neighbours, as through a medium that passes LLDP on; a link to each");
    }
  }
}

void Discovery::classify(FarNode& node, const std::string& name, const LldpNeighbor& neighbor) {
  if (files_.contains(name)) return;  // its file comes later
  node.hostname = neighbor.name.empty() ? name : neighbor.name;
  const auto enabled = [&](const char* what) {
    return std::find(neighbor.capabilities.begin(), neighbor.capabilities.end(), what) !=
           neighbor.capabilities.end();
  };
  const bool forwards = enabled("Bridge") || enabled("Router");
  if (hints_.hosts.contains(name) || hints_.hosts.contains(node.hostname)) return;
  if (forwards) {
    node.isSwitch = true;
    note(name,
         "has no file; taken for a switch, for it says that it is a bridge or router, with "
         "the ports that others see");
  } else if (!enabled("Station")) {
    note(name, "does not say whether it is a switch or a host; taken for a host");
  }
}

// A switch with a file tells the names of its own ports, which its neighbours may not know.
void Discovery::matchSights() {
  std::map<std::pair<std::string, std::string>, std::vector<Sight*>> between;
  for (Sight& sight : sights_) between[{sight.local.node, sight.far.node}].push_back(&sight);
  for (Sight& sight : sights_) {
    if (!nodes_[sight.far.node].hasFile) continue;
    const auto back = between.find({sight.far.node, sight.local.node});
    if (back != between.end()) seeBack(sight, back->second);
    // The only cable between two switches needs no names to be known for the same.
    if (!sight.isSeenBack && !sight.portIsNamed && back != between.end() &&
        back->second.size() == 1 && between[{sight.local.node, sight.far.node}].size() == 1) {
      sight.far.port = back->second[0]->local.port;
      sight.isSeenBack = true;
      // Alike from both sides, so that it is told once.
      const bool inOrder = linkBefore({sight.local, {}}, {sight.far, {}});
      sight.note = end(inOrder ? sight.local : sight.far) + " and " +
                   end(inOrder ? sight.far : sight.local) +
                   " are taken for the two ends of one link, the only one between the switches";
    }
  }
}

void Discovery::seeBack(Sight& sight, const std::vector<Sight*>& back) {
  for (const Sight* const other : back) {
    const bool meansUs = other->far.port == sight.local.port;
    if (meansUs && other->local.port == sight.far.port) {
      sight.isSeenBack = true;
      return;
    }
  }
  for (const Sight* const other : back) {
    const bool weAreNamed = other->portIsNamed && other->far.port == sight.local.port;
    const bool theyAreNamed = sight.portIsNamed && other->local.port == sight.far.port;
    if (weAreNamed && !sight.portIsNamed) {
      sight.far.port = other->local.port;
      sight.isSeenBack = true;
      sight.note.clear();
      return;
    }
    // The other one will take our name for itself.
    if (theyAreNamed && !other->portIsNamed) {
      sight.isSeenBack = true;
      return;
    }
  }
}

void Discovery::link(const Sight& sight) {
  const std::string& id = sight.neighbor->aggregation;
  if (!id.empty() && id != "0") nodes_[sight.far.node].aggregations[id].insert(sight.far.port);
  // From the switch to the host, and between switches as the names come.
  Link link{sight.local, sight.far};
  const FarNode& far = nodes_[sight.far.node];
  if (far.isSwitch && linkBefore({sight.far, {}}, {sight.local, {}})) std::swap(link.a, link.b);
  const bool isNew = links_.emplace(link, &sight).second;
  if (isNew) found_.fabric.links.push_back(link);
  std::vector<std::string> notes;
  if (!sight.note.empty()) notes.push_back(sight.note);
  if (far.hasFile && !sight.isSeenBack) {
    notes.push_back(end(sight.local) + " sees " + end(sight.far) +
                    ", which has a file and does not see it back");
  }
  for (std::string& text : notes) {
    std::vector<std::string>& all = found_.linkNotes[link];
    if (std::find(all.begin(), all.end(), text) == all.end()) all.push_back(std::move(text));
  }
}

// A hint that nobody answers to would change nothing, unnoticed.
void Discovery::checkHosts() {
  std::set<std::string_view> names;
  for (const auto& [name, node] : nodes_) {
    if (!node.hasFile) names.insert({name, node.hostname});
  }
  for (const std::string& host : hints_.hosts) {
    if (names.contains(host)) continue;
    const std::string of = "--host " + host + ": ";
    if (files_.contains(host)) {
      wrong_.push_back(of + "switch " + shown(host) +
                       " has a file; expected a neighbour that has none");
    } else {
      wrong_.push_back(of + "no file tells of a neighbour " + shown(host) +
                       nearNames(host, {names.begin(), names.end()}));
    }
  }
}

// A neighbour tells that its own ports are bundled, and nothing of the other end.
void Discovery::noteOpenBundles() {
  std::map<std::tuple<std::string, std::string, std::string>, Names> bundles;
  for (const Sight& sight : sights_) {
    const std::string& id = sight.neighbor->aggregation;
    if (id.empty() || id == "0") continue;
    bool bundledHere = false;
    for (const auto& [ours, ports] : nodes_[sight.local.node].aggregations) {
      bundledHere = bundledHere || ports.contains(sight.local.port);
    }
    if (!bundledHere) bundles[{sight.local.node, sight.far.node, id}].insert(sight.local.port);
  }
  for (const auto& [key, ports] : bundles) {
    const auto& [local, far, id] = key;
    if (ports.size() < 2) continue;
    std::string names;
    for (const std::string& port : ports) names += (names.empty() ? "" : ", ") + shown(port);
    note(local, "ports " + names + " lead to ports that " + shown(far) +
                    " has bundled; whether they are a port group here too, LLDP does not tell, so "
                    "they are none");
  }
}

void Discovery::write(const std::string& name, const FarNode& node) {
  if (node.isSwitch && node.ports.empty()) {
    found_.notes.push_back("switch " + shown(name) +
                           " has no neighbours, so no port of it is known; it is left out");
    return;
  }
  Node written{name, node.hostname, {node.ports.begin(), node.ports.end()}, {}};
  std::set<std::string> taken;
  for (const auto& [id, ports] : node.aggregations) {
    PortGroup group{"lag" + id, {}};
    while (node.ports.contains(group.name)) group.name += "-group";
    for (const std::string& port : ports) {
      if (taken.insert(port).second) group.members.push_back(port);
    }
    if (group.members.empty() || checkName(group.name)) continue;
    note(name, "the name of port group " + shown(group.name) +
                   " is made from its aggregation id, for LLDP does not tell its name");
    written.groups.push_back(std::move(group));
  }
  (node.isSwitch ? found_.fabric.switches : found_.fabric.hosts).push_back(std::move(written));
}

}  // namespace

// Ties, such as e1 and e01, are broken by the bytes, so that no two names are equal.
bool naturallyBefore(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (!isDigit(a[i]) || !isDigit(b[j])) {
      if (a[i] != b[j]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
      ++i;
      ++j;
      continue;
    }
    const auto digits = [](std::string_view text, std::size_t& at) {
      while (at < text.size() && text[at] == '0') ++at;
      const std::size_t start = at;
      while (at < text.size() && isDigit(text[at])) ++at;
      return text.substr(start, at - start);
    };
    const std::string_view x = digits(a, i);
    const std::string_view y = digits(b, j);
    if (x != y) return x.size() == y.size() ? x < y : x.size() < y.size();
  }
  if (i < a.size() || j < b.size()) return i == a.size();
  return a < b;
}

std::variant<Discovered, std::vector<std::string>> discover(
    const std::vector<SwitchNeighbors>& switches, const DiscoveryHints& hints) {
  // In one order, so that notes do not tell in which the files were named.
  std::vector<SwitchNeighbors> sorted = switches;
  std::sort(sorted.begin(), sorted.end(), [](const SwitchNeighbors& a, const SwitchNeighbors& b) {
    return naturallyBefore(a.name, b.name);
  });
  for (SwitchNeighbors& one : sorted) {
    std::sort(one.neighbors.begin(), one.neighbors.end(),
              [](const LldpNeighbor& a, const LldpNeighbor& b) {
                const auto key = [](const LldpNeighbor& n) {
                  return std::tie(n.name, n.chassis.value, n.port.value, n.portDescription, n.via,
                                  n.aggregation);
                };
                if (a.interface != b.interface) return naturallyBefore(a.interface, b.interface);
                return key(a) < key(b);
              });
  }
  return Discovery(sorted, hints).run();
}

}  // namespace Fabrion::Host
