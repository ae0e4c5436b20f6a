#include "platform/BrindleUtils/VlanIdSet.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/Velo/Exceptions.h"

namespace BrindleUtils {

namespace {

constexpr U32 maxVlan = 0xffff;
// "65534-65535", of which a change writes two at most, with a comma before each.
constexpr std::size_t longestPart = 11;
constexpr std::size_t longestEdit = 2 * (longestPart + 1);

[[noreturn]] void throwNotAList(std::string_view text) {
  std::string message = "BrindleUtils::VlanIdSet: '";
  message.append(text).append("' is not a VLAN list");
  Velo::throwRangeException(message.c_str());
}

U32 digitAt(const char* at) noexcept { return static_cast<U32>(*at) - U32{'0'}; }

char* writeNumber(char* at, U32 number) noexcept {
  char digits[5];
  std::size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  while (count != 0) *at++ = digits[--count];
  return at;
}

char* writePart(char* at, U32 low, U32 high) noexcept {
  at = writeNumber(at, low);
  if (high == low) return at;
  *at++ = '-';
  return writeNumber(at, high);
}

// Reads a number of a list as it is written here, without leading zero and of five digits at most.
// Returns where it ends, or null for any other text. Written out digit by digit: a list is read
// with each change of one VLAN, and a loop takes half as long again.
inline const char* readCanonical(const char* at, U32& number) noexcept {
  U32 value = digitAt(at);
  if (value > 9) return nullptr;
  number = value;
  U32 digit = digitAt(at + 1);
  if (digit > 9) return at + 1;
  if (value == 0) return nullptr;
  number = value = value * 10 + digit;
  digit = digitAt(at + 2);
  if (digit > 9) return at + 2;
  number = value = value * 10 + digit;
  digit = digitAt(at + 3);
  if (digit > 9) return at + 3;
  number = value = value * 10 + digit;
  digit = digitAt(at + 4);
  if (digit > 9) return at + 4;
  number = value = value * 10 + digit;
  return value <= maxVlan && digitAt(at + 5) > 9 ? at + 5 : nullptr;
}

// Whether a zero-terminated text of this size is what multiRangeString() would write for it. The
// zero byte at its end spares a look at the size for each character.
bool isCanonical(const char* at, std::size_t size) noexcept {
  if (size == 0) return true;
  const char* const end = at + size;
  // One VLAN at least is missing between two parts.
  for (U32 lowest = 0;; ++at) {
    U32 low = 0;
    at = readCanonical(at, low);
    if (at == nullptr || low < lowest) return false;
    U32 high = low;
    if (*at == '-') {
      at = readCanonical(at + 1, high);
      if (at == nullptr || high <= low) return false;
    }
    if (*at != ',') return at == end;
    lowest = high + 2;
  }
}

struct Range {
  U32 low;
  U32 high;
};

// Reads a number off the front of [at, end). False where there is none or it is above 65535.
bool takeNumber(const char*& at, const char* end, U32& number) noexcept {
  const char* const start = at;
  number = 0;
  for (; at != end && digitAt(at) <= 9; ++at) {
    number = number * 10 + digitAt(at);
    if (number > maxVlan) return false;
  }
  return at != start;
}

// The ranges of any list, sorted and joined.
std::vector<Range> rangesOf(std::string_view text) {
  std::vector<Range> ranges;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (;; ++at) {
    Range part{};
    if (!takeNumber(at, end, part.low)) throwNotAList(text);
    part.high = part.low;
    if (at != end && *at == '-' && !takeNumber(++at, end, part.high)) throwNotAList(text);
    if (part.high < part.low) throwNotAList(text);
    ranges.push_back(part);
    if (at == end) break;
    if (*at != ',') throwNotAList(text);
  }
  std::sort(ranges.begin(), ranges.end(),
            [](const Range& a, const Range& b) { return a.low < b.low; });
  std::size_t last = 0;
  for (std::size_t i = 1; i < ranges.size(); ++i) {
    if (ranges[i].low <= ranges[last].high + 1) {
      ranges[last].high = std::max(ranges[last].high, ranges[i].high);
    } else {
      ranges[++last] = ranges[i];
    }
  }
  ranges.resize(last + 1);
  return ranges;
}

}  // namespace

VlanIdSet::~VlanIdSet() = default;

Velo::Ptr<VlanIdSet> VlanIdSet::VlanIdSetIs() { return Velo::Ptr<VlanIdSet>(new VlanIdSet); }

Velo::Ptr<VlanIdSet> VlanIdSetIs() { return VlanIdSet::VlanIdSetIs(); }

void computeVlanSet(const Velo::Ptr<VlanIdSet>& set, const Nimbo::String& text) {
  set->multiRangeStringIs(text);
}

// -------------------------------------------------------------------------------------------------
// Parts

VlanIdSet::Part VlanIdSet::partAt(std::size_t begin) const noexcept {
  const char* const end = text_ + size_;
  const char* at = text_ + begin;
  Part part{begin, begin, 0, 0};
  takeNumber(at, end, part.low);
  part.high = part.low;
  if (at != end && *at == '-') takeNumber(++at, end, part.high);
  part.end = static_cast<std::size_t>(at - text_);
  return part;
}

VlanIdSet::Part VlanIdSet::partBefore(std::size_t begin) const noexcept {
  std::size_t at = begin - 1;
  while (at != 0 && text_[at - 1] != ',') --at;
  return partAt(at);
}

VlanIdSet::Part VlanIdSet::partEndingAtOrAbove(U32 vlan) const noexcept {
  // Both ends of what is searched are starts of parts, or the end of the list.
  std::size_t low = 0;
  std::size_t high = size_;
  Part found{size_, size_, 0, 0};
  while (low < high) {
    std::size_t middle = low + (high - low) / 2;
    while (middle != low && text_[middle - 1] != ',') --middle;
    const Part part = partAt(middle);
    if (part.high < vlan) {
      low = std::min(part.end + 1, size_);
    } else {
      found = part;
      high = middle;
    }
  }
  return found;
}

bool VlanIdSet::vlan(U16 vlan) const noexcept {
  const Part part = partEndingAtOrAbove(vlan);
  return part.begin != size_ && part.low <= vlan;
}

// -------------------------------------------------------------------------------------------------
// Changes

void VlanIdSet::doAdd(U16 vlan) {
  const Part above = partEndingAtOrAbove(vlan);
  const bool isLast = above.begin == size_;
  if (!isLast && above.low <= vlan) return;
  const bool meetsAbove = !isLast && above.low == vlan + 1U;
  const bool isFirst = above.begin == 0;
  // A list that ends has no comma behind its last part.
  const Part below = isFirst  ? Part{0, 0, 0, 0}
                     : isLast ? partBefore(size_ + 1)
                              : partBefore(above.begin);
  const bool meetsBelow = !isFirst && below.high + 1 == vlan;
  char edit[longestEdit];
  char* end = edit;
  std::size_t from = above.begin;
  std::size_t to = above.begin;
  if (meetsBelow || meetsAbove) {
    end = writePart(end, meetsBelow ? below.low : vlan, meetsAbove ? above.high : vlan);
    from = meetsBelow ? below.begin : above.begin;
    to = meetsAbove ? above.end : below.end;
  } else {
    if (isLast && !isFirst) *end++ = ',';
    end = writeNumber(end, vlan);
    if (!isLast) *end++ = ',';
  }
  splice(from, to, edit, static_cast<std::size_t>(end - edit));
}

void VlanIdSet::doRemove(U16 vlan) {
  const Part part = partEndingAtOrAbove(vlan);
  if (part.begin == size_ || part.low > vlan) return;
  std::size_t from = part.begin;
  std::size_t to = part.end;
  char edit[longestEdit];
  char* end = edit;
  if (part.low < vlan) end = writePart(end, part.low, vlan - 1U);
  if (part.low < vlan && part.high > vlan) *end++ = ',';
  if (part.high > vlan) end = writePart(end, vlan + 1U, part.high);
  if (end == edit) {
    // One of the commas beside the part goes with it.
    if (to != size_) {
      ++to;
    } else if (from != 0) {
      --from;
    }
  }
  splice(from, to, edit, static_cast<std::size_t>(end - edit));
}

void VlanIdSet::splice(std::size_t begin, std::size_t end, const char* text, std::size_t size) {
  const std::size_t newSize = size_ - (end - begin) + size;
  roomIs(newSize);
  std::memmove(text_ + begin + size, text_ + end, size_ - end);
  std::memcpy(text_ + begin, text, size);
  size_ = newSize;
  ++edits_;
}

// Keeps the text. What is far once stays so: another change is likely.
void VlanIdSet::roomIs(std::size_t size) {
  if (size <= room_) return;
  const std::size_t room = size + size / 8 + longestEdit;
  std::unique_ptr<char[]> far(new char[room]);
  std::memcpy(far.get(), text_, size_);
  far_ = std::move(far);
  text_ = far_.get();
  room_ = room;
}

void VlanIdSet::copyIn(std::string_view text) {
  roomIs(text.size());
  if (!text.empty()) std::memcpy(text_, text.data(), text.size());
  size_ = text.size();
  ++edits_;
}

void VlanIdSet::multiRangeStringIs(const Nimbo::String& text) {
  if (isCanonical(text.data(), text.size())) return copyIn(text.view());
  std::string joined;
  char part[longestPart];
  for (const Range& range : rangesOf(text.view())) {
    if (!joined.empty()) joined += ',';
    joined.append(part, static_cast<std::size_t>(writePart(part, range.low, range.high) - part));
  }
  copyIn(joined);
}

}  // namespace BrindleUtils
