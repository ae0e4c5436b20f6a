#pragma once
// What is wrong with an operation: raised by the reader for its form, and by the controller for a
// name that does not resolve or a step that is not possible now. Nothing has been changed by then.

#include <stdexcept>
#include <string>

namespace Fabrion::Host {

class BadJournal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A name as messages show it. What would break the one line of a message is written as JSON would.
inline std::string inQuotes(const std::string& name) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string shown = "'";
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f) {
      shown += c;
    } else {
      shown += "\\u00";
      shown += digits[byte >> 4];
      shown += digits[byte & 0xf];
    }
  }
  return shown + "'";
}

}  // namespace Fabrion::Host
