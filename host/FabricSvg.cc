#include "host/FabricSvg.h"

#include <algorithm>
#include <pugixml.hpp>
#include <sstream>
#include <utility>

namespace Fabrion::Host {

namespace {

// Classes rather than CSS variables, which simple converters to PDF or PNG do not know. Dark is for
// screens alone: ink on paper is dark anyway.
constexpr const char* style = R"css(
text { font-family: sans-serif; fill: #1c2733; }
.paper { fill: #ffffff; }
.heading { font-size: 20px; font-weight: 600; }
.sub, .caption, .detail { fill: #55636f; }
.sub { font-size: 13px; } .caption { font-size: 12px; font-style: italic; } .detail { font-size: 10.5px; }
.name { font-size: 13.5px; font-weight: 600; }
.host .name { font-size: 12px; font-weight: 400; }
.box { fill: #f3f6f9; stroke: #8695a3; stroke-width: 1.2; }
.host .box { fill: #ffffff; stroke: #a9b5c0; }
.remote .box { stroke-dasharray: 4 3; }
.port { fill: #dde4ea; stroke: #8695a3; stroke-width: 0.8; }
.port-label { font-family: monospace; font-size: 10px; }
.unused { fill: none; stroke: #a9b5c0; }
.carrying { fill: #bfe3dc; stroke: #1d8577; }
.conflict { fill: #c62f2f; stroke: #8f1d1d; }
.conflict-label { fill: #ffffff; font-weight: 700; }
.group { fill: #e3e0f7; stroke: #6a5cc4; stroke-width: 1; }
.group.clash { fill: #f8dcdc; stroke: #c62f2f; }
.group-label { font-family: monospace; font-size: 10px; fill: #4a3da3; }
.clash-label { fill: #8f1d1d; font-weight: 700; }
.link { fill: none; stroke: #93a1ae; stroke-width: 1.4; }
.link.vlans { stroke: #1d8577; }
.link.bundle { stroke-width: 2.4; }
.link.far { stroke-dasharray: 5 3; }
.link:hover { stroke-width: 4; }
.told { font-size: 13px; font-weight: 600; fill: #a82222; }
.legend-label { font-size: 12px; fill: #55636f; }
@media screen and (prefers-color-scheme: dark) {
text { fill: #e6edf3; }
.paper { fill: #11171d; }
.sub, .caption, .detail, .legend-label { fill: #a4b1bd; }
.box { fill: #1c252e; stroke: #71808e; }
.host .box { fill: #161d24; stroke: #5a6875; }
.port { fill: #33404c; stroke: #71808e; }
.unused { fill: none; stroke: #5a6875; }
.carrying { fill: #11574d; stroke: #3fbfab; }
.conflict { fill: #d64545; stroke: #ff9a9a; }
.group { fill: #2a2650; stroke: #9a8ef0; }
.group.clash { fill: #4a1f24; stroke: #ff8080; }
.group-label { fill: #c4bcff; }
.clash-label { fill: #ffb3b3; }
.link { stroke: #74838f; }
.link.vlans { stroke: #3fbfab; }
.told { fill: #ff8f8f; }
}
)css";

constexpr double legendSwatch = 22;

// U+FFFE and U+FFFF may stand in names and not in XML.
std::string allowed(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view rest = std::string_view(text).substr(i, 3);
    if (rest == "\xef\xbf\xbe" || rest == "\xef\xbf\xbf") {
      result += "\xef\xbf\xbd";
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

class Svg {
 public:
  explicit Svg(const Picture& picture) : picture_(picture) {}

  std::string write() {
    pugi::xml_node root = document_.append_child("svg");
    set(root, "xmlns", "http://www.w3.org/2000/svg");
    set(root, "width", coordinate(picture_.width));
    set(root, "height", coordinate(picture_.height));
    set(root, "viewBox", "0 0 " + coordinate(picture_.width) + " " + coordinate(picture_.height));
    set(root, "role", "img");
    title(root, "Fabric: " + picture_.heading);
    root.append_child("style").text().set(style);
    rectangle(root, {0, 0, picture_.width, picture_.height}, "paper", 0);
    text(root, 28, 36, "heading", "Fabric");
    text(root, 28, 56, "sub", picture_.heading);
    for (const DrawnLink& link : picture_.links) write(root, link);
    for (const DrawnNode& node : picture_.nodes) write(root, node);
    for (const DrawnWords& words : picture_.captions) {
      text(root, words.x, words.y, "caption", words.text);
    }
    double y = picture_.legendY - 20 * static_cast<double>(picture_.conflicts.size());
    for (const std::string& conflict : picture_.conflicts) {
      text(root, 28, y, "told", conflict);
      y += 20;
    }
    legend(root);
    std::ostringstream out;
    document_.save(out, "", pugi::format_indent | pugi::format_no_declaration, pugi::encoding_utf8);
    return out.str();
  }

 private:
  static void set(pugi::xml_node node, const char* name, const std::string& value) {
    node.append_attribute(name).set_value(allowed(value).c_str());
  }

  static void title(pugi::xml_node node, const std::string& words) {
    node.append_child("title").text().set(allowed(words).c_str());
  }

  static pugi::xml_node rectangle(pugi::xml_node in, const Rectangle& at, const std::string& look,
                                  double corner) {
    pugi::xml_node node = in.append_child("rect");
    set(node, "class", look);
    set(node, "x", coordinate(at.x));
    set(node, "y", coordinate(at.y));
    set(node, "width", coordinate(at.width));
    set(node, "height", coordinate(at.height));
    if (corner > 0) set(node, "rx", coordinate(corner));
    return node;
  }

  static pugi::xml_node text(pugi::xml_node in, double x, double y, const char* look,
                             const std::string& words, bool middle = false) {
    pugi::xml_node node = in.append_child("text");
    set(node, "class", look);
    set(node, "x", coordinate(x));
    set(node, "y", coordinate(y));
    if (middle) set(node, "text-anchor", "middle");
    node.text().set(allowed(words).c_str());
    return node;
  }

  static std::string lookOf(PortLook look) {
    switch (look) {
      case PortLook::unused:
        return "port unused";
      case PortLook::idle:
        return "port";
      case PortLook::carrying:
        return "port carrying";
      case PortLook::conflict:
        return "port conflict";
    }
    return {};
  }

  static void write(pugi::xml_node in, const DrawnLink& link) {
    pugi::xml_node node = in.append_child("path");
    set(node, "class",
        std::string("link") + (link.carrying ? " vlans" : "") + (link.bundled ? " bundle" : "") +
            (link.remote ? " far" : ""));
    set(node, "d", link.path);
    title(node, link.title);
  }

  static void write(pugi::xml_node in, const DrawnPort& port) {
    pugi::xml_node group = in.append_child("g");
    title(group, port.title);
    rectangle(group, port.at, lookOf(port.look), port.look == PortLook::unused ? 1 : 3);
    if (port.label.empty()) return;
    const char* const look =
        port.look == PortLook::conflict ? "port-label conflict-label" : "port-label";
    const double x = port.at.middle();
    const double y = port.at.y + port.at.height / 2;
    if (!port.upright) {
      text(group, x, y + 3.5, look, port.label, true);
      return;
    }
    pugi::xml_node label = text(group, x + 3.5, y, look, port.label, true);
    set(label, "transform", "rotate(-90 " + coordinate(x + 3.5) + " " + coordinate(y) + ")");
  }

  static void write(pugi::xml_node in, const DrawnNode& shape) {
    pugi::xml_node node = in.append_child("g");
    set(node, "class",
        shape.isSwitch ? "switch" : std::string("host") + (shape.isRemote ? " remote" : ""));
    title(node, shape.title);
    rectangle(node, shape.at, "box", shape.isSwitch ? 7 : 5);
    if (shape.isSwitch) {
      text(node, shape.at.middle(), shape.nameY, "name", shape.label, true);
      text(node, shape.at.middle(), shape.nameY + 14, "detail", shape.detail, true);
    } else {
      text(node, shape.at.x + 9, shape.nameY, "name", shape.label);
      if (!shape.detail.empty()) {
        text(node, shape.at.x + 9, shape.nameY + 13, "detail", shape.detail);
      }
    }
    for (const DrawnGroup& group : shape.groups) {
      pugi::xml_node outline = node.append_child("g");
      title(outline, group.title);
      rectangle(outline, group.at, group.conflict ? "group clash" : "group", 4);
      text(outline, group.at.middle(), group.onTop ? group.at.bottom() - 3.5 : group.at.y + 10,
           group.conflict ? "group-label clash-label" : "group-label", group.label, true);
    }
    for (const DrawnPort& port : shape.ports) write(node, port);
  }

  // In rows as wide as the narrowest picture.
  void legend(pugi::xml_node root) const {
    pugi::xml_node node = root.append_child("g");
    set(node, "class", "legend");
    double x = 28;
    double y = picture_.legendY + 14;
    const auto words = [&](const std::string& what) {
      text(node, x + legendSwatch + 6, y, "legend-label", what);
      x += legendSwatch + 6 + textWidth(what, 11) + 14;
    };
    const auto port = [&](const char* look, const std::string& what) {
      rectangle(node, {x, y - 11, legendSwatch, 14}, look, 3);
      words(what);
    };
    const auto line = [&](const char* look, const std::string& what) {
      pugi::xml_node path = node.append_child("path");
      set(path, "class", look);
      set(path, "d",
          "M" + coordinate(x) + " " + coordinate(y - 4) + "h" + coordinate(legendSwatch));
      words(what);
    };
    port("port carrying", "port with VLANs");
    port("port", "port without");
    rectangle(node, {x + 8, y - 7, 6, 6}, "port unused", 1);
    words("unused port");
    port("port conflict", "port with a conflict");
    port("group", "port group");
    x = 28;
    y += 22;
    line("link vlans", "link with VLANs");
    line("link", "link without");
    line("link vlans bundle", "link of a port group");
    line("link vlans far", "to a remote host");
  }

  const Picture& picture_;
  pugi::xml_document document_;
};

}  // namespace

std::string svgOf(const Picture& picture) { return Svg(picture).write(); }

}  // namespace Fabrion::Host
