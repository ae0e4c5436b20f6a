#pragma once
// The shapes of single switches and hosts in a picture, each at the origin. FabricPicture.h puts
// them in their places.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/FabricPicture.h"

namespace Fabrion::Host {

// What a switch's shape depends on besides its report.
struct SwitchPlace {
  // Ports that go on the upper edge, for what they lead to stands above or beside the switch.
  std::set<std::string> upper;
  // By port: how far left what it leads to stands. Ports on one edge stand in this order, those of
  // one value, and those without, in the order of the document.
  std::map<std::string, std::size_t> order;
  std::set<std::string> conflicts;  // ports and groups of which a conflict stands
};

DrawnNode shapeOf(const SwitchReport& report, const SwitchPlace& place);

DrawnNode shapeOf(const Node& host);

// A host that nobody has declared, but a client has configured.
DrawnNode remoteHostShape(const std::string& hostname);

// Moves all of the shape.
void move(DrawnNode& shape, double x, double y);

// The edges of a switch follow its height: makes it higher, lower ports and all.
void stretch(DrawnNode& shape, double height);

}  // namespace Fabrion::Host
