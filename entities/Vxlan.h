#pragma once
// VNIs as the VTEP configuration carries them; plain numbers elsewhere, as VLANs are (Bridging.h).

#include <ostream>

#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Types.h"

namespace Vxlan {

// A VXLAN network identifier of 24 bits. Zero is let through: only the upper bound is tested.
class Vni {
 public:
  Vni() = default;
  // Raises RangeException above 0xffffff.
  explicit Vni(U32 value) : value_(value) {
    if (value > 0xffffff) {
      Velo::throwRangeException(
          "Vxlan::Vni::value < Vxlan::Vni::min or > Vxlan::Vni::max not allowed");
    }
  }
  U32 value() const { return value_; }
  friend constexpr auto operator<=>(const Vni&, const Vni&) = default;

 private:
  U32 value_ = 0;
};

inline std::ostream& operator<<(std::ostream& out, Vni vni) { return out << vni.value(); }

}  // namespace Vxlan
