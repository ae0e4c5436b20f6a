#include "host/StaticMapParser.h"

#include <optional>
#include <string>
#include <utility>

#include "host/Counted.h"
#include "host/FabricText.h"
#include "host/Limits.h"

namespace Fabrion::Host {

namespace {

std::optional<WrittenStaticRange> readRange(const YamlValue& key, const YamlValue& value,
                                            Place place, YamlShapes& shapes) {
  const auto vlans = shapes.vlanRange(key, place);
  const auto vnis = shapes.vniRange(value, shapes.placeOf(key, place));
  if (!vlans || !vnis) return std::nullopt;
  const std::size_t many = lengthOf(vlans->range);
  const std::size_t mapped = lengthOf(vnis->range);
  if (mapped < many) {
    // The machines would leave the VLANs above without a VNI, and without a word.
    shapes.wrong(vnis->place, counted(mapped, "VNI", "VNIs") + ", " + toString(vnis->range) +
                                  ", for " + counted(many, "VLAN", "VLANs") + ", " +
                                  toString(vlans->range) +
                                  "; expected a VNI for each VLAN, as in " +
                                  toString(vlans->range) + ": " + std::to_string(vnis->range.low) +
                                  "-" + std::to_string(vnis->range.low + many - 1));
    return std::nullopt;
  }
  return WrittenStaticRange{*vlans, *vnis};
}

}  // namespace

void readStaticMaps(const YamlValue& node, Place place, YamlShapes& shapes, WrittenFabric& fabric) {
  if (!node.isMap()) {
    shapes.wrong(shapes.placeOf(node, place),
                 kindOf(node) + " as the static maps; expected a map with the domains as keys");
    return;
  }
  for (const auto& [key, ranges] : node.entries()) {
    auto domain = shapes.domain(key, place);
    if (!domain) continue;
    WrittenStaticMap map{*std::move(domain), {}};
    if (!ranges.isMap()) {
      shapes.wrong(shapes.placeOf(ranges, map.domain.place),
                   kindOf(ranges) + " as the static map of domain " +
                       shown(toString(map.domain.name)) +
                       "; expected a map from VLANs to VNIs, as in {100-199: 10100-10199}");
      continue;
    }
    for (const auto& [vlans, vnis] : ranges.entries()) {
      const auto range = readRange(vlans, vnis, map.domain.place, shapes);
      if (range && shapes.spend(fabric.staticRanges, 1, Limits::staticRanges, range->vlans.place,
                                "ranges of static maps")) {
        map.ranges.push_back(*range);
      }
    }
    fabric.staticMaps.push_back(std::move(map));
  }
}

}  // namespace Fabrion::Host
