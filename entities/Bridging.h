#pragma once
// VLAN ids as the switch output carries them. Inside the model a VLAN is a plain number, unchecked;
// it becomes one of these only where it enters an output.

#include <ostream>

#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Types.h"

namespace Bridging {

// A VLAN id from 1 to 4094, or 0 for none.
class VlanIdOrNone {
 public:
  VlanIdOrNone() = default;
  // Raises RangeException above 4094.
  explicit VlanIdOrNone(U32 value) : value_(static_cast<U16>(value)) {
    if (value > 4094) {
      Velo::throwRangeException("Bridging::VlanIdOrNone::value > 4094 not allowed");
    }
  }
  U16 value() const { return value_; }
  friend constexpr auto operator<=>(const VlanIdOrNone&, const VlanIdOrNone&) = default;

 private:
  U16 value_ = 0;
};

inline std::ostream& operator<<(std::ostream& out, VlanIdOrNone vlan) {
  return out << vlan.value();
}

}  // namespace Bridging
