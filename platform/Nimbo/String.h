// The value string of entities, keys and traces. A thin type around std::string: its own type keeps
// the interface of the entities small and free of anything that depends on a locale.
#pragma once

#include <compare>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Nimbo {

// A string of bytes, zero bytes among them included. Order and equality are those of the bytes, as
// unsigned numbers. Default: the empty string. A moved-from value may hold any text.
class String {
 public:
  String() noexcept = default;
  // `text` is zero terminated; null counts as the empty string. Implicit, so that literals serve as
  // keys and arguments.
  String(const char* text) : text_(viewOf(text)) {}
  String(const char* text, std::size_t size) : text_(text, size) {}
  explicit String(std::string_view text) : text_(text) {}
  explicit String(std::string text) noexcept : text_(std::move(text)) {}

  // Zero terminated; valid until the value changes.
  const char* data() const noexcept { return text_.data(); }
  // In bytes, without the terminating zero.
  std::size_t size() const noexcept { return text_.size(); }
  bool empty() const noexcept { return text_.empty(); }
  // Valid until the value changes.
  std::string_view view() const noexcept { return text_; }

  friend bool operator==(const String& a, const String& b) noexcept { return a.text_ == b.text_; }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return a.text_.compare(b.text_) <=> 0;
  }
  // Without these two a comparison with a literal would build a String first. Null counts as empty,
  // as it does in the constructor.
  friend bool operator==(const String& a, const char* b) noexcept { return a.text_ == viewOf(b); }
  friend std::strong_ordering operator<=>(const String& a, const char* b) noexcept {
    return a.view().compare(viewOf(b)) <=> 0;
  }

 private:
  static std::string_view viewOf(const char* text) noexcept {
    return text == nullptr ? std::string_view() : std::string_view(text);
  }

  std::string text_;
};

// Writes the bytes as they stand, whatever width the stream is set to.
std::ostream& operator<<(std::ostream& out, const String& text);

}  // namespace Nimbo
