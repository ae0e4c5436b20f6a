#include "host/NameChecks.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "host/FabricChange.h"
#include "host/FabricText.h"
#include "host/Limits.h"

namespace Fabrion::Host {

namespace {

// A name that is missing from a list is looked for by what is in it.
using Names = std::map<std::string_view, Place>;

struct KnownNode {
  const WrittenNode* written = nullptr;
  bool isSwitch = false;
  bool whole = true;
  Names ports;
  Names groups;
};

class NameChecks {
 public:
  NameChecks(const WrittenFabric& fabric, Mistakes& mistakes)
      : fabric_(fabric), mistakes_(mistakes) {}

  void run() {
    declareNodes();
    for (const auto& link : fabric_.links) check(link);
    for (const auto& request : fabric_.requests) {
      for (const Word& host : request.remoteHosts) remoteHosts_.emplace(host.text, host.place);
    }
    for (const auto& request : fabric_.requests) check(request);
  }

 private:
  void wrong(Place place, std::string text) { mistakes_.add(place, std::move(text)); }
  std::string standsAt(Place place) const { return " at " + mistakes_.where(place); }
  std::string at(Place place) const { return "," + standsAt(place); }
  template <class Known>
  std::string near(std::string_view wanted, const Known& known);

  void declareNodes();
  void declare(const WrittenNode& node, bool isSwitch);
  void declarePorts(KnownNode& node);
  void declareGroups(KnownNode& node);
  void check(const WrittenLink& link);
  void check(const WrittenEnd& end);
  void check(const WrittenRequest& request);
  void checkClient(const Word& client);
  const KnownNode* checkSwitch(const Word& name);
  void checkPort(const KnownNode& on, const Word& port);
  void checkClientOnSwitch(const Word& client, const KnownNode& on, const Word& port);
  void checkRemoteHosts(const WrittenRequest& request);
  void checkOnce(const WrittenRequest& request);

  static std::string kind(const KnownNode& node) { return node.isSwitch ? "switch" : "host"; }
  static std::string called(const KnownNode& node) {
    return kind(node) + " " + shown(node.written->name.text);
  }

  const WrittenFabric& fabric_;
  Mistakes& mistakes_;
  std::map<std::string_view, KnownNode> nodes_;
  std::map<std::pair<LinkEnd, LinkEnd>, Place> links_;
  std::map<std::tuple<std::string_view, std::string_view, std::string_view>, Place> onPort_;
  std::map<std::pair<std::string_view, std::string_view>, Place> forHostname_;
  Names remoteHosts_;
  std::size_t suggestions_ = 0;
};

template <class Known>
std::string NameChecks::near(std::string_view wanted, const Known& known) {
  if (suggestions_ == Limits::suggestions) return {};
  ++suggestions_;
  std::vector<std::string_view> names;
  for (const auto& entry : known) names.push_back(entry.first);
  return nearNames(wanted, names);
}

// ---- Switches and hosts

// In the order of places, so that it is the later of two namesakes that is wrong.
void NameChecks::declareNodes() {
  std::vector<std::pair<const WrittenNode*, bool>> all;
  for (const auto& each : fabric_.switches) all.emplace_back(&each, true);
  for (const auto& each : fabric_.hosts) all.emplace_back(&each, false);
  std::sort(all.begin(), all.end(),
            [](const auto& a, const auto& b) { return a.first->name.place < b.first->name.place; });
  for (const auto& [node, isSwitch] : all) declare(*node, isSwitch);
}

void NameChecks::declare(const WrittenNode& node, bool isSwitch) {
  KnownNode declared{&node, isSwitch, node.whole, {}, {}};
  declarePorts(declared);
  declareGroups(declared);
  Names vteps;
  for (const Word& vtep : node.vteps) {
    const auto [first, isNew] = vteps.emplace(vtep.text, vtep.place);
    if (isNew) continue;
    wrong(vtep.place, "VTEP " + shown(vtep.text) + " of " + called(declared) +
                          " is listed twice; the first stands" + standsAt(first->second));
  }
  const Word& name = node.name;
  if (name.text == agentReferrer) {
    wrong(name.place, "a " + kind(declared) + " named '" + agentReferrer +
                          "'; expected another name, since the agent keeps entries of the model "
                          "alive by that one");
  }
  const auto [place, isNew] = nodes_.emplace(name.text, declared);
  if (isNew) return;
  KnownNode& first = place->second;
  if (first.isSwitch == isSwitch) {
    wrong(name.place, called(declared) + " is declared twice; the first stands" +
                          standsAt(first.written->name.place));
  } else {
    wrong(name.place, called(declared) + " is named like a " + kind(first) +
                          at(first.written->name.place) +
                          "; expected another name, since the model tells its elements apart by "
                          "name alone");
  }
  // Which of the two is meant elsewhere, nobody can tell.
  first.whole = false;
}

void NameChecks::declarePorts(KnownNode& node) {
  const WrittenNode& written = *node.written;
  Place told;
  for (const Word& port : written.ports) {
    const auto [first, isNew] = node.ports.emplace(port.text, port.place);
    // Two ranges that overlap are one mistake, not one for each port that both hold.
    if (isNew || port.place == told) continue;
    told = port.place;
    wrong(port.place, "port " + shown(port.text) + " of " + called(node) +
                          " is listed twice; the first stands" + standsAt(first->second));
  }
  // The VLANs of a switch are kept by its ports' names, and by its hostname where that is asked
  // for.
  if (!node.isSwitch) return;
  const auto namesake = node.ports.find(written.hostname.text);
  if (namesake == node.ports.end()) return;
  wrong(written.hostname.place, called(node) + " has the hostname " + shown(written.hostname.text) +
                                    " and a port of that name" + at(namesake->second) +
                                    "; expected two names, since each keeps VLANs of the switch "
                                    "alive by its name");
}

void NameChecks::declareGroups(KnownNode& node) {
  std::map<std::string_view, std::string_view> groupOf;
  for (const WrittenGroup& group : node.written->groups) {
    const Word& name = group.name;
    const std::string of = "port group " + shown(name.text) + " of " + called(node);
    if (const auto port = node.ports.find(name.text); port != node.ports.end()) {
      wrong(name.place, of + " is named like a port" + at(port->second) +
                            "; expected another name, since both stand in one collection of "
                            "interfaces");
    }
    const auto [first, isNew] = node.groups.emplace(name.text, name.place);
    if (!isNew) {
      wrong(name.place, of + " is declared twice; the first stands" + standsAt(first->second));
    }
    Place told;
    for (const Word& member : group.members) {
      const auto say = [&](const std::string& text) {
        if (member.place == told) return;
        told = member.place;
        wrong(member.place, text);
      };
      if (!node.ports.contains(member.text)) {
        if (node.whole) {
          say("port " + shown(member.text) + " in " + of + " is not listed in 'ports'" +
              (member.place == told ? "" : near(member.text, node.ports)));
        }
        continue;
      }
      const auto [other, isFree] = groupOf.emplace(member.text, name.text);
      if (isFree) continue;
      say(other->second == name.text
              ? "port " + shown(member.text) + " stands twice in " + of
              : "port " + shown(member.text) + " in " + of + " is in port group " +
                    shown(other->second) + " already; expected a port in one group");
    }
  }
}

// ---- Links

void NameChecks::check(const WrittenEnd& end) {
  const auto node = nodes_.find(end.node.text);
  if (node == nodes_.end()) {
    if (fabric_.whole) {
      wrong(end.node.place, "no switch or host " + shown(end.node.text) + " is declared" +
                                near(end.node.text, nodes_));
    }
    return;
  }
  checkPort(node->second, end.port);
}

void NameChecks::check(const WrittenLink& link) {
  if (link.a) check(*link.a);
  if (link.b) check(*link.b);
  if (!link.a || !link.b) return;
  LinkEnd a{link.a->node.text, link.a->port.text};
  LinkEnd b{link.b->node.text, link.b->port.text};
  if (a == b) {
    wrong(link.place, "a link from port " + shown(a.port) + " of " + shown(a.node) +
                          " to itself; expected two ports");
    return;
  }
  if (b < a) std::swap(a, b);
  const auto [first, isNew] = links_.emplace(std::pair{std::move(a), std::move(b)}, link.place);
  if (isNew) return;
  wrong(link.place, "a link that stands already" + at(first->second) +
                        "; expected each link once, since it stands for both directions");
}

// ---- Requests

void NameChecks::check(const WrittenRequest& request) {
  if (request.client) checkClient(*request.client);
  const KnownNode* on = request.switchName ? checkSwitch(*request.switchName) : nullptr;
  if (on != nullptr && request.port) {
    checkPort(*on, *request.port);
    if (request.client) checkClientOnSwitch(*request.client, *on, *request.port);
  }
  checkRemoteHosts(request);
  checkOnce(request);
}

void NameChecks::checkClient(const Word& client) {
  if (client.text == agentReferrer) {
    wrong(client.place, "a client named '" + client.text +
                            "'; expected another name, since the agent keeps entries of the model "
                            "alive by that one");
  }
  const auto taken = [&](const std::string& what, Place place) {
    wrong(client.place, "client " + shown(client.text) + " is named like a " + what + at(place) +
                            "; expected another name, since each keeps entries of the model alive "
                            "by its name");
  };
  if (const auto node = nodes_.find(client.text); node != nodes_.end()) {
    taken(kind(node->second), node->second.written->name.place);
  } else if (const auto host = remoteHosts_.find(client.text); host != remoteHosts_.end()) {
    taken("remote host", host->second);
  }
}

const KnownNode* NameChecks::checkSwitch(const Word& name) {
  const auto node = nodes_.find(name.text);
  if (node != nodes_.end()) {
    if (node->second.isSwitch) return &node->second;
    wrong(name.place, shown(name.text) + " is a host; expected a switch, or 'hostname: " +
                          node->second.written->hostname.text + "' to ask for the host");
    return nullptr;
  }
  if (!fabric_.whole) return nullptr;
  Names switches;
  for (const auto& each : fabric_.switches) switches.emplace(each.name.text, each.name.place);
  wrong(name.place, "no switch " + shown(name.text) + " is declared" + near(name.text, switches));
  return nullptr;
}

void NameChecks::checkPort(const KnownNode& on, const Word& port) {
  if (!on.whole || on.ports.contains(port.text)) return;
  if (on.groups.contains(port.text)) {
    wrong(port.place,
          shown(port.text) + " is a port group of " + called(on) + "; expected one of its ports");
    return;
  }
  wrong(port.place, called(on) + " has no port " + shown(port.text) + near(port.text, on.ports));
}

void NameChecks::checkClientOnSwitch(const Word& client, const KnownNode& on, const Word& port) {
  const auto taken = [&](const std::string& what) {
    wrong(client.place, "client " + shown(client.text) + " is named like " + what + " of " +
                            called(on) +
                            "; expected another name, since each keeps entries of the model alive "
                            "by its name");
  };
  if (client.text == port.text) taken("the port that it asks for, " + shown(port.text) + ",");
  if (on.groups.contains(client.text)) taken("a port group");
}

void NameChecks::checkRemoteHosts(const WrittenRequest& request) {
  Names seen;
  for (const Word& host : request.remoteHosts) {
    const auto [first, isNew] = seen.emplace(host.text, host.place);
    if (!isNew) {
      wrong(host.place, "remote host " + shown(host.text) + " stands twice in one request");
      continue;
    }
    const auto node = nodes_.find(host.text);
    if (node == nodes_.end()) continue;
    const KnownNode& namesake = node->second;
    const std::string& hostname = namesake.written->hostname.text;
    // The element of a remote host is named by its hostname. It is the very host if that is the
    // name of the host too; anything else of that name would be turned into one.
    if (!namesake.isSwitch && hostname == host.text) continue;
    const std::string claims =
        " is the name of a " + kind(namesake) + at(namesake.written->name.place);
    wrong(host.place,
          "remote host " + shown(host.text) + claims +
              (namesake.isSwitch ? "; expected the hostname of a host"
                                 : ", whose hostname is " + shown(hostname) +
                                       "; expected a hostname that is no other host's name"));
  }
}

void NameChecks::checkOnce(const WrittenRequest& request) {
  if (!request.client) return;
  const std::string& client = request.client->text;
  const auto once = [&](auto& requests, const auto& key, const std::string& what) {
    const auto [first, isNew] = requests.emplace(key, request.place);
    if (isNew) return;
    wrong(request.place, "client " + shown(client) + " asks twice for " + what + ", first" +
                             standsAt(first->second) +
                             "; expected the two requests merged into one");
  };
  if (request.hostname) {
    once(forHostname_,
         std::pair<std::string_view, std::string_view>(client, request.hostname->text),
         "hostname " + shown(request.hostname->text));
  } else if (request.switchName && request.port) {
    once(onPort_,
         std::tuple<std::string_view, std::string_view, std::string_view>(
             client, request.switchName->text, request.port->text),
         "port " + shown(request.port->text) + " of " + shown(request.switchName->text));
  }
}

}  // namespace

void checkNames(const WrittenFabric& fabric, Mistakes& mistakes) {
  NameChecks(fabric, mistakes).run();
}

}  // namespace Fabrion::Host
