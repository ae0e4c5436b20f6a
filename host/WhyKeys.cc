#include "host/WhyKeys.h"

#include <initializer_list>
#include <string_view>

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

// Names hold no control characters, so these keep the parts of a key apart.
constexpr char next = '\x1f';
constexpr char down = '\x1d';
constexpr char up = '\x1e';

void addTo(std::string& key, std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts) {
    key += part;
    key += next;
  }
}

void addTo(std::string& key, const std::vector<Cause>& causes) {
  key += down;
  for (const Cause& cause : causes) {
    addTo(key, {std::to_string(static_cast<int>(cause.kind)), cause.name, cause.client,
                cause.hostname, cause.port, cause.farEnd.node, cause.farEnd.port,
                toString(cause.origin), toString(cause.vlans), toString(cause.vnis)});
    addTo(key, cause.because);
  }
  key += up;
}

}  // namespace

std::string keyOf(const std::vector<Cause>& causes) {
  std::string key;
  addTo(key, causes);
  return key;
}

std::string keyOf(const std::vector<Reason>& reasons) {
  std::string key;
  for (const Reason& reason : reasons) {
    addTo(key, {std::to_string(static_cast<int>(reason.kind)), reason.name, reason.hostname,
                toString(reason.origin)});
    addTo(key, reason.asks);
    for (const Claim& claim : reason.claims) {
      addTo(key, {std::to_string(claim.number)});
      addTo(key, claim.because);
    }
  }
  return key;
}

}  // namespace Fabrion::Host
