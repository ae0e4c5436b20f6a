#pragma once
// A number and what is counted, for lines that people read.

#include <cstddef>
#include <string>

namespace Fabrion::Host {

// "1 switch", "2 switches".
inline std::string counted(std::size_t number, const char* one, const char* several) {
  return std::to_string(number) + ' ' + (number == 1 ? one : several);
}

}  // namespace Fabrion::Host
