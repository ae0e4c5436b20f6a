#pragma once
// Modules whose machines cannot be made.

#include "platform/Velo/Exceptions.h"
#include "platform/Velo/Module.h"
#include "platform/Velo/Type.h"

namespace Fabrion::Test {

inline Velo::Ptr<Velo::PtrInterface> outOfRange(void* const* /*arguments*/) {
  Velo::throwRangeException("this is out of range");
}
inline constinit const Velo::TypeRecord failingTopology{
    "Fabrion::Agent::TopologySm", {}, &outOfRange, 3, {}};
inline const Velo::TypeRecord* const failingTypes[] = {&failingTopology};
// The topology's constructor raises an exception.
inline const Velo::VeloModule failing{"Failing", failingTypes};
// There are none.
inline const Velo::VeloModule empty{"Empty", {}};

}  // namespace Fabrion::Test
