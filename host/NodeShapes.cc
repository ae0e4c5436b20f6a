#include "host/NodeShapes.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Fabrion::Host {

namespace {

constexpr double portEm = 10;
constexpr double portHeight = 17;
constexpr double uprightWidth = 14;
constexpr double cornerRoom = 10;  // the round corner of a switch has no ports
constexpr double groupRoom = 4;    // around the ports of a group
constexpr double groupLabel = 13;
constexpr double nameEm = 13.5;
constexpr double detailEm = 10.5;
constexpr double unusedSize = 6;
constexpr double unusedPitch = 8.5;
// More ports than these on an edge stand upright, to keep the switch from growing too wide.
constexpr std::size_t mostFlatPorts = 12;

// At most `most` characters, the end left out: names differ at their end less than people think,
// but a port is told by its number.
std::string shortened(const std::string& text, std::size_t most, bool keepEnd) {
  std::vector<std::size_t> starts;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xc0u) != 0x80u) starts.push_back(i);
  }
  if (starts.size() <= most) return text;
  return keepEnd ? "…" + text.substr(starts[starts.size() - most + 1])
                 : text.substr(0, starts[most - 1]) + "…";
}

std::string vlansOf(const Carried& carried) {
  std::string text = "VLANs: " + (carried.allowedVlans.empty() ? "none" : carried.allowedVlans);
  if (carried.nativeVlan) text += "\nnative VLAN: " + std::to_string(*carried.nativeVlan);
  if (carried.nativeConflict) text += "\nnative VLAN: none, for several are asked for";
  return text;
}

std::string rangeOf(const NumberRange& range) {
  return std::to_string(range.low) +
         (range.low == range.high ? "" : "-" + std::to_string(range.high));
}

// What the VTEPs map on a port or port group.
std::string vnisOf(const SwitchReport& on, const std::string& interface) {
  std::string text;
  for (const VtepReport& vtep : on.vteps) {
    for (const VniRun& run : vtep.mappings) {
      if (run.port != interface) continue;
      text += "\n" + vtep.name + ": VLAN " + rangeOf(run.vlans) + " to VNI " + rangeOf(run.vnis);
    }
  }
  return text;
}

std::string titleOf(const SwitchReport& on, const PortReport& port) {
  std::string text = on.name + " " + port.name;
  if (port.group.empty()) {
    text += "\n" + vlansOf(port.carried);
  } else {
    text += "\nmember of " + port.group;
    for (const GroupReport& group : on.groups) {
      if (group.name == port.group) text += "\n" + vlansOf(group.carried) + vnisOf(on, group.name);
    }
  }
  text += vnisOf(on, port.name);
  for (const LinkEnd& end : port.farEnds) text += "\nto " + end.node + ":" + end.port;
  for (const std::string& host : port.remoteHosts) text += "\nremote host " + host;
  if (port.unused()) text += "\nunused";
  return text;
}

struct Edge {
  std::vector<std::vector<const PortReport*>> units;  // members of one group together
  bool upright = false;
  double depth = 0;
  double width = 0;
  bool hasGroups = false;
};

DrawnPort portShape(const std::string& name, bool upright) {
  DrawnPort port;
  port.name = name;
  port.label = shortened(name, 12, true);
  port.upright = upright;
  const double along = std::max(upright ? 0.0 : 22.0, textWidth(port.label, portEm) + 9);
  port.at = {0, 0, upright ? uprightWidth : along, upright ? along : portHeight};
  return port;
}

double unitWidth(const std::vector<const PortReport*>& unit, bool upright) {
  double width = 2;
  for (const PortReport* const port : unit) width += portShape(port->name, upright).at.width + 2;
  if (unit[0]->group.empty()) return width;
  const double label = textWidth(shortened(unit[0]->group, 14, true), portEm) + 6;
  return std::max(width + 2 * groupRoom, label + 2 * groupRoom);
}

Edge edgeOf(const SwitchReport& report, const SwitchPlace& place, bool upper) {
  Edge edge;
  std::map<std::string, std::size_t> unitOf;
  std::size_t count = 0;
  for (const PortReport& port : report.ports) {
    if (port.unused() || place.upper.contains(port.name) != upper) continue;
    ++count;
    if (!port.group.empty()) {
      const auto [unit, isNew] = unitOf.emplace(port.group, edge.units.size());
      edge.hasGroups = true;
      if (!isNew) {
        edge.units[unit->second].push_back(&port);
        continue;
      }
    }
    edge.units.push_back({&port});
  }
  const auto rank = [&](const std::vector<const PortReport*>& unit) {
    const auto order = place.order.find(unit[0]->name);
    return order == place.order.end() ? std::numeric_limits<std::size_t>::max() : order->second;
  };
  std::stable_sort(edge.units.begin(), edge.units.end(),
                   [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  edge.upright = count > mostFlatPorts;
  for (const auto& unit : edge.units) {
    edge.width += unitWidth(unit, edge.upright);
    for (const PortReport* const port : unit) {
      edge.depth = std::max(edge.depth, portShape(port->name, edge.upright).at.height);
    }
  }
  return edge;
}

class SwitchShape {
 public:
  SwitchShape(const SwitchReport& report, const SwitchPlace& place)
      : report_(report), place_(place) {}

  DrawnNode make() {
    shape_.name = report_.name;
    shape_.label = shortened(report_.name, 28, false);
    shape_.detail =
        report_.vlans.empty() ? "no VLANs" : shortened("VLANs " + report_.vlans, 34, false);
    shape_.title = report_.name + "\nVLANs: " + (report_.vlans.empty() ? "none" : report_.vlans);
    for (const VtepReport& vtep : report_.vteps) shape_.title += "\nVTEP " + vtep.name;
    shape_.isSwitch = true;
    shape_.conflict = !place_.conflicts.empty();
    const Edge upper = edgeOf(report_, place_, true);
    const Edge lower = edgeOf(report_, place_, false);
    shape_.at.width = 2 * cornerRoom + std::max({110.0, upper.width, lower.width,
                                                 textWidth(shape_.label, nameEm) + 6,
                                                 textWidth(shape_.detail, detailEm)});
    const double top = upper.depth + (upper.hasGroups ? groupLabel + 3 : 0);
    shape_.nameY = top + 19;
    const double unusedTop = top + 41;
    const double unusedBottom = addUnused(unusedTop);
    shape_.at.height = unusedBottom + 5 + (lower.hasGroups ? groupLabel + 3 : 0) + lower.depth;
    add(upper, true);
    add(lower, false);
    return std::move(shape_);
  }

 private:
  // Returns where the small squares end.
  double addUnused(double top) {
    std::vector<const PortReport*> unused;
    for (const PortReport& port : report_.ports) {
      if (port.unused()) unused.push_back(&port);
    }
    if (unused.empty()) return top;
    const auto fitting =
        static_cast<std::size_t>((shape_.at.width - 2 * cornerRoom + 2) / unusedPitch);
    const std::size_t rows = (unused.size() + fitting - 1) / fitting;
    const std::size_t inRow = (unused.size() + rows - 1) / rows;
    const double left =
        (shape_.at.width - static_cast<double>(inRow) * unusedPitch + unusedPitch - unusedSize) / 2;
    for (std::size_t i = 0; i < unused.size(); ++i) {
      DrawnPort port;
      port.name = unused[i]->name;
      port.title = titleOf(report_, *unused[i]);
      const std::size_t row = i / inRow;
      port.at = {left + static_cast<double>(i - row * inRow) * unusedPitch,
                 top + static_cast<double>(row) * unusedPitch, unusedSize, unusedSize};
      shape_.ports.push_back(std::move(port));
    }
    return top + static_cast<double>(rows) * unusedPitch;
  }

  void add(const Edge& edge, bool onTop) {
    double x = (shape_.at.width - edge.width) / 2;
    for (const auto& unit : edge.units) {
      const double width = unitWidth(unit, edge.upright);
      if (!unit[0]->group.empty()) addGroup(unit[0]->group, x, width, edge.depth, onTop);
      double ports = 2;
      for (const PortReport* const port : unit) {
        ports += portShape(port->name, edge.upright).at.width + 2;
      }
      double at = x + (width - ports) / 2 + 2;
      for (const PortReport* const port : unit) {
        DrawnPort shape = portShape(port->name, edge.upright);
        shape.at.height = edge.depth;
        shape.at.x = at;
        shape.at.y = onTop ? 0 : shape_.at.height - edge.depth;
        at += shape.at.width + 2;
        shape.onTop = onTop;
        shape.group = port->group;
        shape.title = titleOf(report_, *port);
        shape.look = lookOf(*port);
        shape_.ports.push_back(std::move(shape));
      }
      x += width;
    }
  }

  void addGroup(const std::string& name, double x, double width, double depth, bool onTop) {
    DrawnGroup group;
    group.name = name;
    group.label = shortened(name, 14, true);
    group.conflict = place_.conflicts.contains(name);
    group.onTop = onTop;
    group.title = report_.name + " " + name;
    if (const GroupReport* const report = find(name)) {
      group.title += "\n" + vlansOf(report->carried) + vnisOf(report_, name);
    }
    const double height = depth + groupLabel;
    group.at = {x + 1, onTop ? 0 : shape_.at.height - height, width - 2, height};
    shape_.groups.push_back(std::move(group));
  }

  const GroupReport* find(const std::string& group) const {
    for (const GroupReport& one : report_.groups) {
      if (one.name == group) return &one;
    }
    return nullptr;
  }

  PortLook lookOf(const PortReport& port) const {
    if (place_.conflicts.contains(port.name) || place_.conflicts.contains(port.group)) {
      return PortLook::conflict;
    }
    const GroupReport* const group = find(port.group);
    const bool carries = !port.carried.allowedVlans.empty() || port.carried.nativeVlan ||
                         (group != nullptr && !group->carried.nothing());
    return carries ? PortLook::carrying : PortLook::idle;
  }

  const SwitchReport& report_;
  const SwitchPlace& place_;
  DrawnNode shape_;
};

void makeRoomForName(DrawnNode& shape, double ports) {
  const double name = std::max(textWidth(shape.label, 12), textWidth(shape.detail, detailEm));
  shape.at.width = 10 + name + (ports > 0 ? 8 + ports : 10);
}

}  // namespace

DrawnNode shapeOf(const SwitchReport& report, const SwitchPlace& place) {
  return SwitchShape(report, place).make();
}

DrawnNode shapeOf(const Node& host) {
  DrawnNode shape;
  shape.name = host.name;
  shape.label = shortened(host.name, 22, false);
  if (host.hostname != host.name) shape.detail = shortened(host.hostname, 22, false);
  shape.title = host.name + "\nhostname: " + host.hostname;
  double portWidth = 0;
  for (const std::string& name : host.ports) {
    shape.ports.push_back(portShape(name, false));
    portWidth = std::max(portWidth, shape.ports.back().at.width);
  }
  makeRoomForName(shape, portWidth);
  const double text = shape.detail.empty() ? 24 : 35;
  const double ports = static_cast<double>(shape.ports.size()) * (portHeight + 1) + 5;
  shape.at.height = std::max(text, ports);
  shape.nameY = shape.at.height / 2 + (shape.detail.empty() ? 4.5 : -2);
  double y = (shape.at.height - ports) / 2 + 3;
  for (DrawnPort& port : shape.ports) {
    port.look = PortLook::idle;
    port.title = host.name + " " + port.name;
    port.at = {shape.at.width - portWidth, y, portWidth, portHeight};
    y += portHeight + 1;
  }
  for (const PortGroup& group : host.groups) {
    std::string members;
    for (DrawnPort& port : shape.ports) {
      if (std::find(group.members.begin(), group.members.end(), port.name) == group.members.end()) {
        continue;
      }
      port.group = group.name;
      port.title += "\nmember of " + group.name;
      members += (members.empty() ? "" : ", ") + port.name;
    }
    shape.title += "\n" + group.name + ": " + members;
  }
  return shape;
}

DrawnNode remoteHostShape(const std::string& hostname) {
  DrawnNode shape;
  shape.name = hostname;
  shape.label = shortened(hostname, 22, false);
  shape.detail = "remote host";
  shape.title = hostname + "\nremote host, configured by a client";
  shape.isRemote = true;
  makeRoomForName(shape, 0);
  shape.at.height = 35;
  shape.nameY = shape.at.height / 2 - 2;
  return shape;
}

void move(DrawnNode& shape, double x, double y) {
  const auto moved = [&](Rectangle& at) {
    at.x += x;
    at.y += y;
  };
  moved(shape.at);
  shape.nameY += y;
  for (DrawnPort& port : shape.ports) moved(port.at);
  for (DrawnGroup& group : shape.groups) moved(group.at);
}

void stretch(DrawnNode& shape, double height) {
  const double more = height - shape.at.height;
  shape.at.height = height;
  for (DrawnPort& port : shape.ports) {
    if (port.look != PortLook::unused && !port.onTop) port.at.y += more;
  }
  for (DrawnGroup& group : shape.groups) {
    if (!group.onTop) group.at.y += more;
  }
}

double textWidth(const std::string& text, double em) {
  double characters = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xc0u) == 0x80u) continue;
    // e1 and up starts U+1000 and up, where the wide scripts are; a few narrow ones get more room
    // than they need. e2 starts U+2000 to U+2FFF, with the dots of a shortened name.
    characters += byte >= 0xe1 && byte != 0xe2 ? 1.7 : 1;
  }
  return characters * em * 0.605;
}

}  // namespace Fabrion::Host
