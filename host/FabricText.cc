#include "host/FabricText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>
#include <utility>

#include "host/Limits.h"

namespace Fabrion::Host {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view withoutBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

// Whether a control character starts at `at`. U+0080 to U+009F are c2 80 to c2 9f, and nothing else
// in UTF-8 holds the byte c2.
bool isControl(std::string_view text, std::size_t at) {
  const auto byte = static_cast<unsigned char>(text[at]);
  if (byte < 0x20 || byte == 0x7f) return true;
  return byte == 0xc2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xa0;
}

std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

// Length of the well-formed sequence that starts at `at`, or 0.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  const auto in = [&](std::size_t i, unsigned low, unsigned high) {
    return byte(i) >= low && byte(i) <= high;
  };
  const unsigned lead = byte(at);
  if (lead < 0x80) return 1;
  if (lead >= 0xc2 && lead <= 0xdf) return in(at + 1, 0x80, 0xbf) ? 2 : 0;
  // The second byte's bounds shut out overlong forms, surrogates and what is above U+10FFFF.
  if (lead >= 0xe0 && lead <= 0xef) {
    const bool second = in(at + 1, lead == 0xe0 ? 0xa0 : 0x80, lead == 0xed ? 0x9f : 0xbf);
    return second && in(at + 2, 0x80, 0xbf) ? 3 : 0;
  }
  if (lead >= 0xf0 && lead <= 0xf4) {
    const bool second = in(at + 1, lead == 0xf0 ? 0x90 : 0x80, lead == 0xf4 ? 0x8f : 0xbf);
    return second && in(at + 2, 0x80, 0xbf) && in(at + 3, 0x80, 0xbf) ? 4 : 0;
  }
  return 0;
}

// A port entry is texts with ranges between them: text, range, text, range, text.
struct Range {
  U32 low = 0;
  U32 high = 0;
  std::size_t width = 0;  // 0: as wide as the number is
};

struct Piece {
  std::string_view text;       // stands before the range
  std::optional<Range> range;  // absent in the last piece alone
};

Wrong notARange(std::string_view entry) {
  return {"no range of ports: " + shown(entry) +
          "; expected a [LOW-HIGH] of two numbers, at most nine digits each, as in 'e[1-8]'"};
}

std::optional<U32> number(std::string_view digits) {
  if (digits.empty() || digits.size() > 9 || !std::all_of(digits.begin(), digits.end(), isDigit)) {
    return std::nullopt;
  }
  U32 value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

// `10` or `20-29`, each from 1 to `most` without leading zeros: 010 is eight to YAML readers and
// ten to people. The range may fall.
std::optional<NumberRange> numbers(std::string_view text, U32 most) {
  const auto one = [&](std::string_view digits) -> std::optional<U32> {
    const auto value = number(withoutBlanks(digits));
    if (!value || *value < 1 || *value > most || withoutBlanks(digits)[0] == '0') return {};
    return value;
  };
  const auto dash = text.find('-');
  const auto low = one(text.substr(0, dash));
  const auto high = dash == std::string_view::npos ? low : one(text.substr(dash + 1));
  if (!low || !high) return std::nullopt;
  return NumberRange{*low, *high};
}

Wrong falling(std::string_view range, const std::string& of) {
  return {"the range " + shown(withoutBlanks(range)) + " falls; expected the lower " + of +
          " first"};
}

std::variant<std::vector<Piece>, Wrong> piecesOf(std::string_view entry) {
  std::vector<Piece> pieces;
  std::string_view rest = entry;
  for (;;) {
    const auto open = rest.find_first_of("[]");
    if (open == std::string_view::npos) {
      pieces.push_back({rest, std::nullopt});
      return pieces;
    }
    const auto close = rest.find(']', open);
    if (rest[open] == ']' || close == std::string_view::npos) return notARange(entry);
    const std::string_view inside = rest.substr(open + 1, close - open - 1);
    const auto dash = inside.find('-');
    if (dash == std::string_view::npos) return notARange(entry);
    const auto low = number(inside.substr(0, dash));
    const auto high = number(inside.substr(dash + 1));
    if (!low || !high) return notARange(entry);
    if (*high < *low) {
      return Wrong{"the range in " + shown(entry) + " falls; expected LOW not above HIGH"};
    }
    const bool padded = dash > 1 && inside[0] == '0';
    pieces.push_back({rest.substr(0, open), Range{*low, *high, padded ? dash : 0}});
    rest = rest.substr(close + 1);
  }
}

void appendNumber(std::string& text, U32 value, std::size_t width) {
  const std::string digits = std::to_string(value);
  if (digits.size() < width) text.append(width - digits.size(), '0');
  text += digits;
}

// Keystrokes from one word to the other, or more than 2.
std::size_t distance(std::string_view a, std::string_view b) {
  constexpr std::size_t far = 3;
  if (a.size() > b.size() + 2 || b.size() > a.size() + 2 || b.size() > 64) return far;
  std::array<std::size_t, 65> row{};
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0u : 1u);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

// Whether two neighbours changed places, and all else is the same.
bool isSwapped(std::string_view a, std::string_view b) {
  const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (a.size() != b.size() || a.end() - x < 2) return false;
  return x[0] == y[1] && x[1] == y[0] && std::equal(x + 2, a.end(), y + 2);
}

}  // namespace

std::string shown(std::string_view text) {
  constexpr std::size_t longest = 60;
  constexpr std::string_view hex = "0123456789abcdef";
  std::string result = "'";
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isContinuation(text[i]) && characters++ == longest) return result + "...'";
    if (!isControl(text, i)) {
      result += text[i];
      continue;
    }
    if (static_cast<unsigned char>(text[i]) == 0xc2) ++i;
    const auto byte = static_cast<unsigned char>(text[i]);
    result += "\\x";
    result += hex[byte >> 4u];
    result += hex[byte & 0xfu];
  }
  return result + "'";
}

std::optional<Wrong> checkName(std::string_view text) {
  if (text.empty()) return Wrong{"an empty name"};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isControl(text, i)) {
      return Wrong{"the name " + shown(text) + " has a control character in it"};
    }
  }
  if (characters(text) > Limits::nameCharacters) {
    return Wrong{"the name " + shown(text) + " is longer than " +
                 std::to_string(Limits::nameCharacters) + " characters"};
  }
  return std::nullopt;
}

std::optional<std::size_t> firstNonUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) return at;
    at += length;
  }
  return std::nullopt;
}

std::variant<std::vector<std::string>, Wrong> expandPorts(std::string_view text) {
  if (auto wrong = checkName(text)) return *std::move(wrong);
  auto split = piecesOf(text);
  if (auto* wrong = std::get_if<Wrong>(&split)) return std::move(*wrong);
  std::vector<std::string> names{""};
  for (const auto& [before, range] : std::get<std::vector<Piece>>(split)) {
    const std::size_t many = range ? std::size_t{range->high} - range->low + 1 : 1;
    // `names` and `many` both fit 30 bits, so the product does not wrap.
    if (names.size() * many > Limits::listEntries) {
      return Wrong{shown(text) + " stands for more than " + std::to_string(Limits::listEntries) +
                   " ports, the most that a range may"};
    }
    std::vector<std::string> longer;
    longer.reserve(names.size() * many);
    for (const std::string& name : names) {
      for (std::size_t i = 0; i < many; ++i) {
        std::string next = name + std::string(before);
        if (range) appendNumber(next, range->low + static_cast<U32>(i), range->width);
        longer.push_back(std::move(next));
      }
    }
    names = std::move(longer);
  }
  return names;
}

std::optional<Wrong> checkPortName(std::string_view text) {
  if (auto wrong = checkName(text)) return wrong;
  if (text.find_first_of("[]") == std::string_view::npos) return std::nullopt;
  return Wrong{"no name of a port: " + shown(text) + "; expected one port, and no range"};
}

std::variant<U32, Wrong> parseVlan(std::string_view text) {
  const auto value = text.size() <= 4 ? number(text) : std::nullopt;
  if (value && *value >= 1 && *value <= maxVlan && text[0] != '0') return *value;
  return Wrong{"no VLAN: " + shown(text) + "; expected a number from 1 to 4094"};
}

std::optional<Wrong> parseVlans(std::string_view text, std::vector<NumberRange>& vlans) {
  for (std::string_view rest = text;;) {
    const auto comma = rest.find(',');
    const std::string_view part = rest.substr(0, comma);
    const auto range = numbers(part, maxVlan);
    if (!range) {
      return Wrong{"no VLANs: " + shown(text) +
                   "; expected numbers from 1 to 4094 and ranges of them, as in 10 or 20-29"};
    }
    if (range->high < range->low) return falling(part, "VLAN");
    vlans.push_back(*range);
    if (comma == std::string_view::npos) return std::nullopt;
    rest = rest.substr(comma + 1);
  }
}

std::variant<NumberRange, Wrong> parseVlanRange(std::string_view text) {
  const auto range = numbers(text, maxVlan);
  if (!range) {
    return Wrong{"no VLAN or range of VLANs: " + shown(text) +
                 "; expected numbers from 1 to 4094, as in 10 or 20-29"};
  }
  if (range->high < range->low) return falling(text, "VLAN");
  return *range;
}

std::variant<NumberRange, Wrong> parseVniRange(std::string_view text) {
  const auto range = numbers(text, maxVni);
  if (!range) {
    return Wrong{"no VNI or range of VNIs: " + shown(text) +
                 "; expected numbers from 1 to 16777215, as in 10100 or 10100-10199"};
  }
  if (range->high < range->low) return falling(text, "VNI");
  return *range;
}

std::variant<DomainName, Wrong> parseDomain(std::string_view text) {
  const auto slash = text.find('/');
  const std::string_view first = text.substr(0, slash);
  // What ends in a `/` has most likely lost its second field.
  const std::string_view second = slash == std::string_view::npos ? first : text.substr(slash + 1);
  for (const std::string_view field : {first, second}) {
    const auto fault = checkName(field);
    if (!fault) continue;
    return Wrong{"no domain: " + shown(text) + ", " + fault->text +
                 (field.empty() ? " in it" : "") + "; expected FIRST or FIRST/SECOND"};
  }
  if (slash == std::string_view::npos) return DomainName{std::string(first), ""};
  return DomainName{std::string(first), std::string(second)};
}

std::string toString(const NumberRange& range) {
  const std::string low = std::to_string(range.low);
  return range.low == range.high ? low : low + "-" + std::to_string(range.high);
}

std::string toString(const DomainName& domain) {
  return domain.second.empty() ? domain.first : domain.first + "/" + domain.second;
}

std::string nearNames(std::string_view wanted, const std::vector<std::string_view>& known) {
  std::vector<std::pair<std::size_t, std::string_view>> near;
  // In a short word two keystrokes change everything, unless they only changed their order.
  const std::size_t most = wanted.size() <= 4 ? 1 : 2;
  for (const std::string_view name : known) {
    const std::size_t away = distance(wanted, name);
    if (away <= most || isSwapped(wanted, name)) near.emplace_back(away, name);
  }
  std::stable_sort(near.begin(), near.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  if (near.size() > 3) near.resize(3);
  std::string text;
  for (std::size_t i = 0; i < near.size(); ++i) {
    text += i == 0 ? "; did you mean " : i + 1 == near.size() ? " or " : ", ";
    text += shown(near[i].second);
  }
  if (!text.empty()) text += "?";
  return text;
}

}  // namespace Fabrion::Host
