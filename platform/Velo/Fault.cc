#include "platform/Velo/Fault.h"

#include <cstdio>
#include <cstdlib>

namespace Velo {

void fault(const char* function, const char* missing) noexcept {
  // One call, so that the lines of two threads do not mix. There is nobody left to tell of a line
  // that could not be written.
  std::fprintf(stderr, "%s: %s is missing\n", function == nullptr ? "?" : function,
               missing == nullptr ? "?" : missing);
  std::abort();
}

}  // namespace Velo
