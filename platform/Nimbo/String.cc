#include "platform/Nimbo/String.h"

#include <ostream>

namespace Nimbo {

std::ostream& operator<<(std::ostream& out, const String& text) {
  return out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace Nimbo
