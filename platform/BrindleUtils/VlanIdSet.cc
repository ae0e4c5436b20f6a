#include "platform/BrindleUtils/VlanIdSet.h"

#include <charconv>
#include <string>
#include <utility>

#include "platform/Velo/Exceptions.h"

namespace BrindleUtils {

namespace {

constexpr U32 maxVlan = 0xffff;

[[noreturn]] void throwNotAList(std::string_view text) {
  std::string message = "BrindleUtils::VlanIdSet: '";
  message.append(text).append("' is not a VLAN list");
  Velo::throwRangeException(message.c_str());
}

// Reads a number off the front of [at, end). False where there is none or it is above 65535.
bool takeNumber(const char*& at, const char* end, U16& number) noexcept {
  const char* const start = at;
  U32 value = 0;
  for (; at != end && *at >= '0' && *at <= '9'; ++at) {
    value = value * 10 + static_cast<U32>(*at - '0');
    if (value > maxVlan) return false;
  }
  number = static_cast<U16>(value);
  return at != start;
}

}  // namespace

VlanIdSet::~VlanIdSet() = default;

Velo::Ptr<VlanIdSet> VlanIdSet::VlanIdSetIs() { return Velo::Ptr<VlanIdSet>(new VlanIdSet); }

Velo::Ptr<VlanIdSet> VlanIdSetIs() { return VlanIdSet::VlanIdSetIs(); }

void computeVlanSet(const Velo::Ptr<VlanIdSet>& set, const Nimbo::String& text) {
  set->multiRangeStringIs(text.view());
}

std::size_t VlanIdSet::rangeEndingAtOrAbove(U32 vlan) const noexcept {
  const auto found =
      std::lower_bound(ranges_.begin(), ranges_.end(), vlan,
                       [](const Range& range, U32 value) { return range.high < value; });
  return static_cast<std::size_t>(found - ranges_.begin());
}

bool VlanIdSet::vlan(U16 vlan) const noexcept {
  const std::size_t i = rangeEndingAtOrAbove(vlan);
  return i != ranges_.size() && ranges_[i].low <= vlan;
}

void VlanIdSet::doAdd(U16 vlan) {
  const std::size_t i = rangeEndingAtOrAbove(vlan);
  const auto above = ranges_.begin() + static_cast<std::ptrdiff_t>(i);
  if (above != ranges_.end() && above->low <= vlan) return;
  const bool meetsAbove = above != ranges_.end() && above->low == vlan + 1;
  const bool meetsBelow = above != ranges_.begin() && (above - 1)->high + 1 == vlan;
  if (meetsBelow && meetsAbove) {
    (above - 1)->high = above->high;
    ranges_.erase(above);
  } else if (meetsBelow) {
    (above - 1)->high = vlan;
  } else if (meetsAbove) {
    above->low = vlan;
  } else {
    ranges_.insert(above, Range{vlan, vlan});
  }
}

void VlanIdSet::doRemove(U16 vlan) {
  const std::size_t i = rangeEndingAtOrAbove(vlan);
  if (i == ranges_.size() || vlan < ranges_[i].low) return;
  const auto at = ranges_.begin() + static_cast<std::ptrdiff_t>(i);
  if (at->low == at->high) {
    ranges_.erase(at);
  } else if (at->low == vlan) {
    ++at->low;
  } else if (at->high == vlan) {
    --at->high;
  } else {
    const Range below{at->low, static_cast<U16>(vlan - 1)};
    at->low = static_cast<U16>(vlan + 1);
    ranges_.insert(at, below);
  }
}

Nimbo::String VlanIdSet::multiRangeString() const {
  constexpr std::size_t longestPart = 12;  // "65534-65535,"
  const auto write = [this](char* at, char* end) {
    for (const Range& range : ranges_) {
      at = std::to_chars(at, end, range.low).ptr;
      if (range.high != range.low) {
        *at++ = '-';
        at = std::to_chars(at, end, range.high).ptr;
      }
      *at++ = ',';
    }
    return ranges_.empty() ? at : at - 1;
  };
  // Most lists are short: they are written here first and copied once, in their exact length.
  char nearby[512];
  if (ranges_.size() * longestPart <= sizeof(nearby)) {
    const char* end = write(nearby, nearby + sizeof(nearby));
    return Nimbo::String(nearby, static_cast<std::size_t>(end - nearby));
  }
  std::string text(ranges_.size() * longestPart, '\0');
  text.resize(
      static_cast<std::size_t>(write(text.data(), text.data() + text.size()) - text.data()));
  return Nimbo::String(std::move(text));
}

void VlanIdSet::multiRangeStringIs(std::string_view text) {
  std::vector<Range> parsed;
  if (!text.empty()) {
    // One to each comma, one for the last part and one for the VLAN that the caller will add.
    parsed.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')) + 2);
    bool rising = true;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;; ++at) {
      Range part{};
      if (!takeNumber(at, end, part.low)) throwNotAList(text);
      part.high = part.low;
      if (at != end && *at == '-' && !takeNumber(++at, end, part.high)) throwNotAList(text);
      if (part.high < part.low) throwNotAList(text);
      if (!parsed.empty() && part.low >= parsed.back().low && part.low <= parsed.back().high + 1) {
        parsed.back().high = std::max(parsed.back().high, part.high);
      } else {
        rising = rising && (parsed.empty() || part.low > parsed.back().low);
        parsed.push_back(part);
      }
      if (at == end) break;
      if (*at != ',') throwNotAList(text);
    }
    if (!rising) {
      std::sort(parsed.begin(), parsed.end(),
                [](const Range& a, const Range& b) { return a.low < b.low; });
      std::size_t last = 0;
      for (std::size_t i = 1; i < parsed.size(); ++i) {
        if (parsed[i].low <= parsed[last].high + 1)
          parsed[last].high = std::max(parsed[last].high, parsed[i].high);
        else
          parsed[++last] = parsed[i];
      }
      parsed.resize(last + 1);
    }
  }
  ranges_.swap(parsed);
}

}  // namespace BrindleUtils
