#include "platform/Nimbo/String.h"

#include <ostream>

namespace Nimbo {

void String::takeLong(std::string_view text) {
  auto* const memory = new char[text.size() + 1];
  std::memcpy(memory, text.data(), text.size());
  memory[text.size()] = '\0';
  words_[0] = 0;
  std::memcpy(words_, &memory, sizeof memory);
  words_[1] = text.size();
  words_[2] = 0;
  lastIs(longMark);
}

void String::dropLong() noexcept { delete[] data(); }

std::ostream& operator<<(std::ostream& out, const String& text) {
  return out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace Nimbo
