#pragma once
// A fabric laid out for a picture: spines above leaves above hosts. Plain geometry in pixels, y
// downwards. FabricLayers.h tells which switch stands how high, FabricSvg.h writes it down.
//
// The hosts of a leaf stand below it in columns. To the right of each column is a channel, in which
// every link has a line of its own, so that no line runs through a host. The columns are as high as
// makes the whole picture about as wide as a page.

#include <string>
#include <vector>

#include "host/Fabric.h"
#include "host/Report.h"

namespace Fabrion::Host {

struct Rectangle {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  double right() const { return x + width; }
  double bottom() const { return y + height; }
  double middle() const { return x + width / 2; }
};

// What a port is drawn as. A port is `unused` that is asked nothing and leads nowhere.
enum class PortLook : U8 { unused, idle, carrying, conflict };

struct DrawnPort {
  std::string name;
  std::string label;  // the name, shortened to fit; empty for an unused port
  std::string title;  // what shows when the pointer rests on it, lines
  std::string group;  // the one that it is a member of; empty for none
  PortLook look = PortLook::unused;
  bool upright = false;  // the label is turned by a quarter
  bool onTop = false;    // of a switch: on its upper edge rather than the lower one
  Rectangle at;
};

struct DrawnGroup {
  std::string name;
  std::string label;
  std::string title;
  bool conflict = false;
  bool onTop = false;
  Rectangle at;  // around the members
};

struct DrawnNode {
  std::string name;
  std::string label;
  std::string detail;  // a second line, in small print
  std::string title;
  bool isSwitch = false;
  bool isRemote = false;  // a remote host that clients have configured
  bool conflict = false;
  Rectangle at;
  double nameY = 0;  // of the base line
  std::vector<DrawnPort> ports;
  std::vector<DrawnGroup> groups;
};

struct DrawnLink {
  LinkEnd a;
  LinkEnd b;
  std::string title;
  std::string path;  // as in the attribute `d` of SVG
  bool carrying = false;
  bool bundled = false;
  bool remote = false;
};

struct DrawnWords {
  double x = 0;
  double y = 0;
  std::string text;
};

struct Picture {
  double width = 0;
  double height = 0;
  std::string heading;
  std::vector<DrawnNode> nodes;  // switches from the top layer down, then hosts
  std::vector<DrawnLink> links;
  std::vector<DrawnWords> captions;
  std::vector<std::string> conflicts;  // a line each
  double legendY = 0;
};

// How wide `text` is in a fixed font of the size `em`: characters of East Asian scripts count
// twice.
double textWidth(const std::string& text, double em);

// `fabric` with the report on it. Each link costs as much as its two nodes have ports.
Picture pictureOf(const Fabric& fabric, const Report& report);

// A coordinate, to a tenth of a pixel.
std::string coordinate(double value);

}  // namespace Fabrion::Host
