#pragma once
// Writes a picture as SVG. It needs nothing but itself: no script and no font, colours for light
// and dark, and on paper always light.

#include <string>

#include "host/FabricPicture.h"

namespace Fabrion::Host {

// Well-formed XML, whatever the names. The same picture gives the same bytes.
std::string svgOf(const Picture& picture);

}  // namespace Fabrion::Host
