// The value string of entities, keys and traces. Names of ports, hosts and clients are short: up to
// 23 bytes stand in the object itself, so that a collection compares such a key without following a
// pointer, and moves it by copying its bytes.
#pragma once

#include <bit>
#include <compare>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Velo/Relocate.h"
#include "platform/Velo/Types.h"

namespace Nimbo {

// A string of bytes, zero bytes among them included. Order and equality are those of the bytes, as
// unsigned numbers. Default: the empty string. A moved-from value is the empty string.
class String {
 public:
  String() noexcept = default;
  // `text` is zero terminated; null counts as the empty string. Implicit, so that literals serve as
  // keys and arguments.
  String(const char* text) : String(viewOf(text)) {}
  String(const char* text, std::size_t size) : String(std::string_view(text, size)) {}
  explicit String(std::string_view text) {
    if (text.size() > shortest) {
      takeLong(text);
    } else {
      if (!text.empty()) std::memcpy(words_, text.data(), text.size());
      lastIs(static_cast<unsigned char>(shortest - text.size()));
    }
  }
  explicit String(const std::string& text) : String(std::string_view(text)) {}
  String(const String& other) : words_{other.words_[0], other.words_[1], other.words_[2]} {
    if (isLong()) [[unlikely]]
      takeLong(other.view());
  }
  String(String&& other) noexcept : words_{other.words_[0], other.words_[1], other.words_[2]} {
    other.forget();
  }
  String& operator=(const String& other) {
    if (this != &other) String(other).swap(*this);
    return *this;
  }
  String& operator=(String&& other) noexcept {
    String(std::move(other)).swap(*this);
    return *this;
  }
  ~String() {
    if (isLong()) [[unlikely]]
      dropLong();
  }

  void swap(String& other) noexcept { std::swap(words_, other.words_); }

  // Zero terminated; valid until the value changes.
  const char* data() const noexcept {
    if (!isLong()) [[likely]]
      return reinterpret_cast<const char*>(words_);
    const char* text = nullptr;
    std::memcpy(&text, words_, sizeof text);
    return text;
  }
  // In bytes, without the terminating zero.
  std::size_t size() const noexcept {
    return isLong() ? static_cast<std::size_t>(words_[1]) : shortest - last();
  }
  bool empty() const noexcept { return last() == shortest; }
  // Valid until the value changes.
  std::string_view view() const noexcept { return {data(), size()}; }

  // Up to this size the text stands in the object.
  static constexpr std::size_t shortest = 23;
  // Texts that are equal and not long are equal in all three words.
  bool isLong() const noexcept { return last() == longMark; }
  U64 word(std::size_t i) const noexcept { return words_[i]; }

  friend bool operator==(const String& a, const String& b) noexcept {
    const U64 difference =
        (a.words_[0] ^ b.words_[0]) | (a.words_[1] ^ b.words_[1]) | (a.words_[2] ^ b.words_[2]);
    if (difference == 0) return true;
    return a.isLong() && b.isLong() && a.view() == b.view();
  }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return a.view().compare(b.view()) <=> 0;
  }
  // Without these two a comparison with a literal would build a String first. Null counts as empty,
  // as it does in the constructor.
  friend bool operator==(const String& a, const char* b) noexcept { return a.view() == viewOf(b); }
  friend std::strong_ordering operator<=>(const String& a, const char* b) noexcept {
    return a.view().compare(viewOf(b)) <=> 0;
  }

 private:
  static constexpr unsigned char longMark = 0xff;

  static std::string_view viewOf(const char* text) noexcept {
    return text == nullptr ? std::string_view() : std::string_view(text);
  }
  // The last byte: the bytes left over, which makes it the terminating zero of a text that fills
  // all others, or the mark of a long text.
  unsigned char last() const noexcept {
    return reinterpret_cast<const unsigned char*>(words_)[shortest];
  }
  void lastIs(unsigned char value) noexcept {
    reinterpret_cast<unsigned char*>(words_)[shortest] = value;
  }
  void forget() noexcept {
    words_[0] = words_[1] = words_[2] = 0;
    lastIs(shortest);
  }
  // A long text stands in memory of its own; the words are its address, its size and the mark.
  void takeLong(std::string_view text);
  void dropLong() noexcept;

  // All bytes behind a short text are zero.
  U64 words_[3] = {0, 0, emptyWord()};
  static constexpr U64 emptyWord() {
    return std::endian::native == std::endian::little ? U64{shortest} << 56 : U64{shortest};
  }
};

// Writes the bytes as they stand, whatever width the stream is set to.
std::ostream& operator<<(std::ostream& out, const String& text);

}  // namespace Nimbo

template <>
inline constexpr bool Velo::isRelocatable<Nimbo::String> = true;
