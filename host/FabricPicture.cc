#include "host/FabricPicture.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "host/FabricLayers.h"
#include "host/NodeShapes.h"

namespace Fabrion::Host {

namespace {

constexpr double margin = 28;
constexpr double headingHeight = 44;
constexpr double nodeGap = 34;    // between switches of a layer, and between the hosts of leaves
constexpr double hostGap = 7;     // between hosts of a column
constexpr double lineGap = 4;     // between lines in a channel
constexpr double fanHeight = 62;  // between leaves and hosts
constexpr double layerGap = 96;
constexpr double legendHeight = 58;
constexpr std::size_t fewestRows = 4;
constexpr double narrowestWidth = 700;  // of the legend
constexpr double conflictEm = 13.5;
constexpr double pageShape = 1.7;  // width by height that columns of hosts are made to fit

std::string counted(std::size_t number, const char* one, const char* several) {
  return std::to_string(number) + ' ' + (number == 1 ? one : several);
}

template <class Conflict>
std::string placeOf(const Conflict& conflict) {
  return "Conflict on " + conflict.switchName + ", " +
         (conflict.onGroup ? "port group " : "port ") + conflict.interface + ": ";
}

std::string inBrackets(const std::set<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? " (" : ", ") + name;
  return text.empty() ? text : text + ")";
}

std::string lineOf(const NativeVlanConflict& conflict) {
  std::string text = placeOf(conflict) + "native VLANs ";
  for (std::size_t i = 0; i < conflict.asked.size(); ++i) {
    const AskedVlan& asked = conflict.asked[i];
    text += (i == 0 ? "" : ", ") + std::to_string(asked.vlan);
    std::set<std::string> clients;
    for (const Asker& asker : asked.askers) clients.insert(asker.client);
    text += inBrackets(clients);
  }
  return text;
}

std::string lineOf(const VniConflict& conflict) {
  std::string text = placeOf(conflict) + "VLAN " + std::to_string(conflict.vlan) + " to VNIs ";
  for (std::size_t i = 0; i < conflict.asked.size(); ++i) {
    const AskedVni& asked = conflict.asked[i];
    text += (i == 0 ? "" : ", ") + std::to_string(asked.vni);
    std::set<std::string> askers;
    for (const VniAsker& asker : asked.askers) {
      askers.insert(asker.client.empty() ? "domain " + asker.domain : asker.client);
    }
    text += inBrackets(askers);
  }
  return text;
}

// The hosts that stand below one leaf, or that no leaf has, in columns.
struct Rack {
  std::vector<std::size_t> hosts;  // indices into the nodes, in their order
  std::size_t rows = 1;            // hosts of a column, but perhaps fewer in the last
  std::vector<double> columns;     // the width of each, hosts alone
  std::vector<double> channels;    // the width of each
  double hostsWidth = 0;
  double height = 0;
  double width = 0;  // with the leaf above
  double x = 0;
};

class Layout {
 public:
  Layout(const Fabric& fabric, const Report& report) : fabric_(fabric), report_(report) {}

  Picture make() {
    layers_ = layersOf(fabric_, report_);
    placeSwitches();
    makeHosts();
    chooseColumns();
    double y = margin + headingHeight;
    for (const auto& [layer, nodes] : byLayer_) {
      if (hasPeers_.contains(layer)) y += 34;
      y = setLayer(layer, nodes, y);
    }
    const double hostsTop = byLayer_.empty() ? y : y - layerGap + fanHeight_;
    double bottom = byLayer_.empty() ? y : y - layerGap;
    for (Rack& rack : racks_) setHosts(rack, hostsTop, bottom);
    for (const Link& link : fabric_.links) addLink(link);
    addRemoteLinks();
    finish(bottom);
    return std::move(picture_);
  }

 private:
  struct Foot {
    double x = 0;
    double y = 0;
    enum class Way : U8 { up, down, right } way = Way::right;
    std::size_t node = 0;
    double channel = 0;  // of a host: where its line runs down; and from where
    double channelTop = 0;
  };

  bool isSwitch(const std::string& name) const { return layers_.contains(name); }
  void placeSwitches();
  SwitchPlace placeOf(const SwitchReport& report) const;
  void makeHosts();
  void addRemoteHosts();
  std::size_t addHost(DrawnNode shape, const std::string& leaf);
  void chooseColumns();
  void setColumns(std::size_t rows);
  double widthOf() const;
  double heightOf() const;
  double setLayer(unsigned layer, const std::vector<std::size_t>& nodes, double y);
  void setHosts(Rack& rack, double top, double& bottom);
  std::size_t linesOf(std::size_t host) const;
  Foot footOf(const LinkEnd& end) const;
  void addLink(const Link& link);
  void addRemoteLinks();
  std::string pathOf(Foot a, Foot b) const;
  void setLook(DrawnLink& link, const LinkEnd& end) const;
  void finish(double bottom);

  const Fabric& fabric_;
  const Report& report_;
  Picture picture_;
  std::map<std::string, unsigned> layers_;
  std::map<unsigned, std::vector<std::size_t>, std::greater<>> byLayer_;  // the top one first
  std::set<unsigned> hasPeers_;
  std::map<std::string, std::size_t> position_;  // of a switch in its layer
  std::map<std::string, std::size_t> nodeOf_;
  std::map<std::string, std::size_t> remoteNodeOf_;
  std::vector<Rack> racks_;  // of the leaves in their order, then of hosts without one
  std::map<std::size_t, std::size_t> linesAt_;                  // by host: lines that end at it
  std::map<std::size_t, std::pair<double, double>> channelOf_;  // by host: its first line, its top
  std::map<std::size_t, std::size_t> linesUsed_;
  double fanHeight_ = fanHeight;
};

// ---- Switches

void Layout::placeSwitches() {
  for (const SwitchReport& one : report_.switches) {
    std::size_t& next = linesUsed_[layers_.at(one.name)];
    position_[one.name] = next++;
  }
  linesUsed_.clear();
  for (const Link& link : fabric_.links) {
    if (isSwitch(link.a.node) && isSwitch(link.b.node) &&
        layers_.at(link.a.node) == layers_.at(link.b.node)) {
      hasPeers_.insert(layers_.at(link.a.node));
    }
  }
  std::vector<std::pair<unsigned, const SwitchReport*>> order;
  for (const SwitchReport& one : report_.switches) order.emplace_back(layers_.at(one.name), &one);
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  for (const auto& [layer, one] : order) {
    nodeOf_[one->name] = picture_.nodes.size();
    byLayer_[layer].push_back(picture_.nodes.size());
    picture_.nodes.push_back(shapeOf(*one, placeOf(*one)));
  }
  for (const auto& [layer, nodes] : byLayer_) {
    double height = 0;
    for (const std::size_t node : nodes) {
      height = std::max(height, picture_.nodes[node].at.height);
    }
    for (const std::size_t node : nodes) stretch(picture_.nodes[node], height);
  }
}

SwitchPlace Layout::placeOf(const SwitchReport& report) const {
  SwitchPlace place;
  const unsigned own = layers_.at(report.name);
  for (const PortReport& port : report.ports) {
    for (const LinkEnd& end : port.farEnds) {
      if (!isSwitch(end.node)) continue;
      if (layers_.at(end.node) >= own) place.upper.insert(port.name);
      place.order.emplace(port.name, position_.at(end.node));
    }
  }
  for (const NativeVlanConflict& conflict : report_.conflicts) {
    if (conflict.switchName == report.name) place.conflicts.insert(conflict.interface);
  }
  for (const VniConflict& conflict : report_.vniConflicts) {
    if (conflict.switchName == report.name) place.conflicts.insert(conflict.interface);
  }
  return place;
}

double Layout::setLayer(unsigned layer, const std::vector<std::size_t>& nodes, double y) {
  const double all = widthOf();
  double total = -nodeGap;
  for (const std::size_t node : nodes) total += picture_.nodes[node].at.width + nodeGap;
  // Leaves stand above their hosts; others share the width, as far as that does not tear them
  // apart.
  const auto many = static_cast<double>(nodes.size());
  const double spread = std::min(all, total + many * 160);
  const double more = std::max(0.0, (spread - total) / many);
  double x = margin + (all - total - more * many) / 2 + more / 2;
  double height = 0;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    DrawnNode& shape = picture_.nodes[nodes[i]];
    const double left = layer == 1 ? racks_[i].x + (racks_[i].width - shape.at.width) / 2 : x;
    move(shape, left, y);
    x += shape.at.width + nodeGap + more;
    height = shape.at.height;
  }
  return y + height + layerGap + (layer == 1 ? 0 : std::min(90.0, all / 30));
}

// ---- Hosts

std::size_t Layout::addHost(DrawnNode shape, const std::string& leaf) {
  const std::size_t index = picture_.nodes.size();
  Rack& rack = leaf.empty() ? racks_.back() : racks_[position_.at(leaf)];
  rack.hosts.push_back(index);
  picture_.nodes.push_back(std::move(shape));
  return index;
}

void Layout::makeHosts() {
  racks_.resize((byLayer_.empty() ? 0 : byLayer_[1].size()) + 1);
  // By host: the leaf of its first link, in the order of the leaf's ports.
  std::map<std::string, const Node*> waiting;
  for (const Node& host : fabric_.hosts) waiting.emplace(host.name, &host);
  std::map<std::string, std::string> home;
  for (const Link& link : fabric_.links) {
    for (const auto& [near, far] : {std::pair{&link.a, &link.b}, std::pair{&link.b, &link.a}}) {
      if (isSwitch(near->node) && !isSwitch(far->node)) home.emplace(far->node, near->node);
    }
  }
  for (const SwitchReport& one : report_.switches) {
    for (const PortReport& port : one.ports) {
      for (const LinkEnd& end : port.farEnds) {
        const auto host = waiting.find(end.node);
        if (host == waiting.end() || home.at(end.node) != one.name) continue;
        nodeOf_[end.node] = addHost(shapeOf(*host->second), one.name);
        waiting.erase(host);
      }
      for (const std::string& remote : port.remoteHosts) {
        // A declared host of that name stands where its own links lead.
        const auto declared = waiting.find(remote);
        if (nodeOf_.contains(remote) || remoteNodeOf_.contains(remote) || home.contains(remote)) {
          continue;
        }
        DrawnNode shape =
            declared == waiting.end() ? remoteHostShape(remote) : shapeOf(*declared->second);
        remoteNodeOf_[remote] = addHost(std::move(shape), one.name);
        if (declared == waiting.end()) continue;
        nodeOf_[remote] = remoteNodeOf_[remote];
        waiting.erase(declared);
      }
    }
  }
  for (const Node& host : fabric_.hosts) {
    if (waiting.contains(host.name)) nodeOf_[host.name] = addHost(shapeOf(host), "");
  }
  for (const Link& link : fabric_.links) {
    for (const LinkEnd* const end : {&link.a, &link.b}) {
      if (!isSwitch(end->node)) ++linesAt_[nodeOf_.at(end->node)];
    }
  }
  for (const SwitchReport& one : report_.switches) {
    for (const PortReport& port : one.ports) {
      for (const std::string& remote : port.remoteHosts) {
        const auto node = nodeOf_.find(remote);
        ++linesAt_[node != nodeOf_.end() ? node->second : remoteNodeOf_.at(remote)];
      }
    }
  }
}

std::size_t Layout::linesOf(std::size_t host) const {
  const auto lines = linesAt_.find(host);
  return lines == linesAt_.end() ? 0 : lines->second;
}

void Layout::setColumns(std::size_t rows) {
  double x = margin;
  for (std::size_t i = 0; i < racks_.size(); ++i) {
    Rack& rack = racks_[i];
    rack.columns.clear();
    rack.channels.clear();
    rack.hostsWidth = rack.height = 0;
    // As many columns as it takes, and these of one height.
    const std::size_t columns = std::max<std::size_t>(1, (rack.hosts.size() + rows - 1) / rows);
    rack.rows = std::max<std::size_t>(1, (rack.hosts.size() + columns - 1) / columns);
    for (std::size_t first = 0; first < rack.hosts.size(); first += rack.rows) {
      double width = 0;
      double height = -hostGap;
      std::size_t lines = 0;
      for (std::size_t k = first; k < std::min(first + rack.rows, rack.hosts.size()); ++k) {
        width = std::max(width, picture_.nodes[rack.hosts[k]].at.width);
        height += picture_.nodes[rack.hosts[k]].at.height + hostGap;
        lines += linesOf(rack.hosts[k]);
      }
      rack.columns.push_back(width);
      rack.channels.push_back(18 + lineGap * static_cast<double>(lines));
      rack.hostsWidth += width + rack.channels.back();
      rack.height = std::max(rack.height, height);
    }
    rack.width = rack.hostsWidth;
    if (i < racks_.size() - 1) {
      rack.width = std::max(rack.width, picture_.nodes[byLayer_[1][i]].at.width);
    }
    rack.x = x;
    if (rack.width > 0) x += rack.width + nodeGap;
  }
}

double Layout::widthOf() const {
  double width = 0;
  for (const Rack& rack : racks_) width = std::max(width, rack.x + rack.width - margin);
  for (const auto& [layer, nodes] : byLayer_) {
    double total = -nodeGap;
    for (const std::size_t node : nodes) total += picture_.nodes[node].at.width + nodeGap;
    width = std::max(width, total);
  }
  return width;
}

double Layout::heightOf() const {
  double height = headingHeight + fanHeight;
  double hosts = 0;
  for (const Rack& rack : racks_) hosts = std::max(hosts, rack.height);
  for (const auto& [layer, nodes] : byLayer_) {
    height += picture_.nodes[nodes[0]].at.height + layerGap;
  }
  return height + hosts;
}

// The lowest columns with which the picture is not wider than a page, or no wider than its switches
// make it anyway.
void Layout::chooseColumns() {
  std::size_t most = fewestRows;
  for (const Rack& rack : racks_) most = std::max(most, rack.hosts.size());
  setColumns(most);
  const double narrowest = widthOf();
  for (std::size_t rows = fewestRows; rows <= most; ++rows) {
    setColumns(rows);
    if (widthOf() <= std::max(narrowest, pageShape * heightOf())) break;
  }
  for (const Rack& rack : racks_) fanHeight_ = std::max(fanHeight_, fanHeight + rack.width / 14);
  // A lower layer that is wider than all racks has them in its middle.
  double right = 0;
  for (const Rack& rack : racks_) right = std::max(right, rack.x + rack.width);
  const double shift = std::max(0.0, (widthOf() + margin - right) / 2);
  for (Rack& rack : racks_) rack.x += shift;
}

void Layout::setHosts(Rack& rack, double top, double& bottom) {
  if (rack.hosts.empty()) return;
  const bool linked = &rack != &racks_.back();
  if (!linked) picture_.captions.push_back({rack.x, top - 10, "not linked to a switch"});
  double x = rack.x + (rack.width - rack.hostsWidth) / 2;
  std::size_t next = 0;
  for (std::size_t column = 0; column < rack.columns.size(); ++column) {
    double y = top;
    double line = x + rack.columns[column] + 11;
    const std::size_t inColumn = std::min(rack.rows, rack.hosts.size() - next);
    for (std::size_t k = 0; k < inColumn; ++k, ++next) {
      DrawnNode& shape = picture_.nodes[rack.hosts[next]];
      const double more = rack.columns[column] - shape.at.width;
      shape.at.width += more;
      for (DrawnPort& port : shape.ports) port.at.x += more;
      move(shape, x, y);
      channelOf_[rack.hosts[next]] = {line, top};
      line += lineGap * static_cast<double>(linesOf(rack.hosts[next]));
      y += shape.at.height + hostGap;
      bottom = std::max(bottom, y - hostGap);
    }
    x += rack.columns[column] + rack.channels[column];
  }
}

// ---- Links

Layout::Foot Layout::footOf(const LinkEnd& end) const {
  Foot foot;
  foot.node = nodeOf_.at(end.node);
  const DrawnNode& shape = picture_.nodes[foot.node];
  for (const DrawnPort& port : shape.ports) {
    if (port.name != end.port) continue;
    foot.x = shape.isSwitch ? port.at.middle() : port.at.right();
    foot.y = port.at.y + port.at.height / 2;
    if (shape.isSwitch) {
      foot.y = port.onTop ? shape.at.y : shape.at.bottom();
      foot.way = port.onTop ? Foot::Way::up : Foot::Way::down;
    }
    break;
  }
  return foot;
}

std::string Layout::pathOf(Foot a, Foot b) const {
  const auto at = [](double x, double y) { return coordinate(x) + " " + coordinate(y); };
  std::string path = "M" + at(a.x, a.y);
  if (a.way != Foot::Way::right && b.channel > 0) {
    const double middle = (b.channelTop - a.y) * 0.6;
    return path + "C" + at(a.x, a.y + middle) + " " + at(b.channel, b.channelTop - middle) + " " +
           at(b.channel, b.channelTop) + "V" + coordinate(b.y - 5) + "Q" + at(b.channel, b.y) +
           " " + at(b.channel - 5, b.y) + "H" + coordinate(b.x);
  }
  const double sameHeight =
      std::abs(a.y - b.y) < 1 ? 30 + std::min(30.0, std::abs(a.x - b.x) / 25) : 0;
  const double reach = std::max({sameHeight, std::abs(a.y - b.y) * 0.45, 20.0});
  const auto control = [&](const Foot& foot) {
    if (foot.way == Foot::Way::up) return at(foot.x, foot.y - reach);
    if (foot.way == Foot::Way::down) return at(foot.x, foot.y + reach);
    return at(foot.x + 26, foot.y);
  };
  return path + "C" + control(a) + " " + control(b) + " " + at(b.x, b.y);
}

void Layout::setLook(DrawnLink& link, const LinkEnd& end) const {
  const DrawnNode& shape = picture_.nodes[nodeOf_.at(end.node)];
  if (!shape.isSwitch) return;
  for (const DrawnPort& port : shape.ports) {
    if (port.name != end.port) continue;
    link.carrying =
        link.carrying || port.look == PortLook::carrying || port.look == PortLook::conflict;
    link.bundled = link.bundled || !port.group.empty();
    link.title += "\n" + port.title;
    return;
  }
}

void Layout::addLink(const Link& link) {
  Foot a = footOf(link.a);
  Foot b = footOf(link.b);
  if (a.way == Foot::Way::right && b.way != Foot::Way::right) std::swap(a, b);
  for (Foot* const foot : {&a, &b}) {
    if (foot->way != Foot::Way::right) continue;
    const auto& [first, top] = channelOf_.at(foot->node);
    foot->channel = first + lineGap * static_cast<double>(linesUsed_[foot->node]++);
    foot->channelTop = top;
  }
  DrawnLink drawn{link.a,
                  link.b,
                  link.a.node + ":" + link.a.port + " - " + link.b.node + ":" + link.b.port,
                  pathOf(a, b),
                  false,
                  false,
                  false};
  setLook(drawn, link.a);
  setLook(drawn, link.b);
  picture_.links.push_back(std::move(drawn));
}

void Layout::addRemoteLinks() {
  for (const SwitchReport& one : report_.switches) {
    for (const PortReport& port : one.ports) {
      for (const std::string& remote : port.remoteHosts) {
        const auto declared = nodeOf_.find(remote);
        const std::size_t node =
            declared != nodeOf_.end() ? declared->second : remoteNodeOf_.at(remote);
        const DrawnNode& shape = picture_.nodes[node];
        const auto& [first, top] = channelOf_.at(node);
        const double channel = first + lineGap * static_cast<double>(linesUsed_[node]++);
        const Foot far{shape.at.right(), shape.at.y + shape.at.height / 2,
                       Foot::Way::right, node,
                       channel,          top};
        const LinkEnd end{one.name, port.name};
        DrawnLink drawn{end,
                        {remote, ""},
                        one.name + ":" + port.name + " - remote host " + remote,
                        pathOf(footOf(end), far),
                        false,
                        false,
                        true};
        setLook(drawn, end);
        picture_.links.push_back(std::move(drawn));
      }
    }
  }
}

// ---- The rest

void Layout::finish(double bottom) {
  std::size_t remote = 0;
  for (const DrawnNode& node : picture_.nodes) remote += node.isRemote ? 1 : 0;
  picture_.heading = counted(fabric_.switches.size(), "switch", "switches") + ", " +
                     counted(fabric_.hosts.size(), "host", "hosts") + ", " +
                     counted(fabric_.links.size(), "link", "links") + ", ";
  if (remote > 0) picture_.heading += counted(remote, "remote host", "remote hosts") + ", ";
  for (const auto& one : report_.conflicts) picture_.conflicts.push_back(lineOf(one));
  for (const auto& one : report_.vniConflicts) picture_.conflicts.push_back(lineOf(one));
  picture_.heading += picture_.conflicts.empty()
                          ? "no conflicts"
                          : counted(picture_.conflicts.size(), "conflict", "conflicts");
  double width = std::max(widthOf(), narrowestWidth);
  for (const std::string& line : picture_.conflicts) {
    width = std::max(width, textWidth(line, conflictEm));
  }
  picture_.width = width + 2 * margin;
  picture_.legendY = bottom + 34 + 20 * static_cast<double>(picture_.conflicts.size());
  picture_.height = picture_.legendY + legendHeight;
}

}  // namespace

Picture pictureOf(const Fabric& fabric, const Report& report) {
  return Layout(fabric, report).make();
}

std::string coordinate(double value) {
  const long long tenths = std::llround(value * 10);
  std::string text = std::to_string(std::abs(tenths) / 10);
  if (tenths % 10 != 0) text += "." + std::to_string(std::abs(tenths) % 10);
  return (tenths < 0 ? "-" : "") + text;
}

}  // namespace Fabrion::Host
