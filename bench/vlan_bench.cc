// What a handler does to the VLAN list of a port: text in, one VLAN changed, text out.

#include <roaring/roaring.h>

#include <charconv>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "bench/Rows.h"
#include "bench/Sequences.h"
#include "platform/BrindleUtils/VlanIdSet.h"

namespace Bench {
namespace {

struct Change {
  U16 vlan;
  bool isAdded;
};

// "1-2,5,9-10,13" and so on: pairs and single ones, none of which meet. The changes add to and take
// from it alike, all over the list.
struct Edits {
  explicit Edits(U32 ranges) {
    for (U32 i = 0; i < ranges; ++i) {
      const U32 low = 4 * i + 1;
      if (i > 0) text += ',';
      text += std::to_string(low);
      if (i % 2 == 0) text += '-' + std::to_string(low + 1);
    }
    for (const U32 i : rounds(ranges, 256, 6)) {
      const bool isAdded = changes.size() % 2 == 0;
      changes.push_back({static_cast<U16>(isAdded ? 4 * i + 3 : 4 * i + 1), isAdded});
    }
  }
  std::string text = {};
  std::vector<Change> changes = {};
};

Nimbo::String edited(const Nimbo::String& text, Change change) {
  const auto vlans = BrindleUtils::VlanIdSetIs();
  BrindleUtils::computeVlanSet(vlans, text);
  if (change.isAdded) {
    vlans->doAdd(change.vlan);
  } else {
    vlans->doRemove(change.vlan);
  }
  return vlans->multiRangeString();
}

// Writes the ranges as the values come by in rising order.
class RangeWriter {
 public:
  void value(U32 next) {
    if (isOpen_ && next == high_ + 1) {
      high_ = next;
      return;
    }
    close();
    low_ = high_ = next;
    isOpen_ = true;
  }
  std::string take() {
    close();
    if (!text_.empty()) text_.pop_back();
    return std::move(text_);
  }

 private:
  void close() {
    if (!isOpen_) return;
    constexpr std::ptrdiff_t digits = 10;
    char part[2 * digits + 2];
    char* at = std::to_chars(part, part + digits, low_).ptr;
    if (high_ != low_) {
      *at++ = '-';
      at = std::to_chars(at, at + digits, high_).ptr;
    }
    *at++ = ',';
    text_.append(part, static_cast<std::size_t>(at - part));
  }

  bool isOpen_ = false;
  U32 low_ = 0;
  U32 high_ = 0;
  std::string text_ = {};
};

std::string edited(const std::string& text, Change change) {
  roaring_bitmap_t* const vlans = roaring_bitmap_create();
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    U32 low = 0;
    at = std::from_chars(at, end, low).ptr;
    U32 high = low;
    if (at != end && *at == '-') at = std::from_chars(at + 1, end, high).ptr;
    roaring_bitmap_add_range_closed(vlans, low, high);
    if (at != end) ++at;
  }
  if (change.isAdded) {
    roaring_bitmap_add(vlans, change.vlan);
  } else {
    roaring_bitmap_remove(vlans, change.vlan);
  }
  RangeWriter writer;
  roaring_uint32_iterator_t values;
  roaring_init_iterator(vlans, &values);
  for (; values.has_value; roaring_advance_uint32_iterator(&values))
    writer.value(values.current_value);
  roaring_bitmap_free(vlans);
  return writer.take();
}

template <class Text>
Body edits(U32 ranges) {
  return [ranges](benchmark::State& state) {
    const Edits input(ranges);
    const Text text(input.text.data(), input.text.size());
    std::size_t at = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(edited(text, input.changes[at]));
      if (++at == input.changes.size()) at = 0;
    }
    // Both sides have to say the same.
    for (const Change& change : input.changes) {
      const Nimbo::String shown = edited(Nimbo::String(input.text), change);
      if (shown.view() != edited(input.text, change)) state.SkipWithError("the two sides differ");
    }
  };
}

const RowsOf rows(
    [](std::vector<Row>& to) {
      for (const U32 ranges : {4U, 64U, 1024U}) {
        to.push_back({"vlanset.edit." + std::to_string(ranges), edits<Nimbo::String>(ranges),
                      "roaring, charconv", edits<std::string>(ranges), 0.1});
      }
    },
    70);

}  // namespace
}  // namespace Bench
