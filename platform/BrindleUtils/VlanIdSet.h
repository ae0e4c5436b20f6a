// VLAN sets and their list string, "1-3,5,10-12", the form in which the port VLAN configuration
// holds its VLANs. A handler parses such a string, changes one VLAN and writes it back, for every
// event anew; so a set is its ranges, as many as the string has parts, and never a bitmap.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/AllocTrack.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"
#include "platform/Velo/Types.h"

namespace BrindleUtils {

// A set of 16-bit VLANs; 0, 4095 and all above are VLANs like any other. N below is the number of
// ranges, the parts of the list string.
class VlanIdSet : public Velo::PtrInterface {
 public:
  // A new empty set.
  static Velo::Ptr<VlanIdSet> VlanIdSetIs();

  VlanIdSet(const VlanIdSet&) = delete;
  VlanIdSet& operator=(const VlanIdSet&) = delete;
  ~VlanIdSet() override;

  // Adds the VLAN; one that is there stays. O(N), of which the search takes log N.
  void doAdd(U16 vlan);
  // Removes the VLAN; one that is not there stays away. O(N), as doAdd().
  void doRemove(U16 vlan);
  // Whether the set holds the VLAN. O(log N).
  bool vlan(U16 vlan) const noexcept;
  bool empty() const noexcept { return ranges_.empty(); }

  // The list string: rising numbers and ranges, no blanks, two neighbours joined as a range, "1-2".
  // The empty set gives the empty string. O(N).
  Nimbo::String multiRangeString() const;

  // Makes this the set that `text` lists, whatever it was before. Parts may be unsorted, overlap
  // and have leading zeros. A number above 65535, a falling range and any other text raise
  // Velo::RangeException, "BrindleUtils::VlanIdSet: 'TEXT' is not a VLAN list", and leave the set
  // as it was. O(length) for sorted parts, which includes all that multiRangeString() writes.
  void multiRangeStringIs(std::string_view text);

  // Calls visit(U16) for each VLAN held from `low` to `high`, both included, in rising order.
  // `visit` may change the set: a VLAN is looked at when its turn comes.
  template <class Visit>
  void forEach(U16 low, U16 high, Visit&& visit) const {
    std::size_t i = 0;
    for (U32 next = low; next <= high; ++next) {
      if (i >= ranges_.size() || next < ranges_[i].low || next > ranges_[i].high) {
        i = rangeEndingAtOrAbove(next);
        if (i == ranges_.size()) return;
        next = std::max<U32>(next, ranges_[i].low);
        if (next > high) return;
      }
      visit(static_cast<U16>(next));
    }
  }

  static void* operator new(std::size_t size) { return Velo::trackedNew<VlanIdSet>(size); }
  static void operator delete(void* block) noexcept { Velo::trackedDelete<VlanIdSet>(block); }

 private:
  struct Range {
    U16 low;
    U16 high;  // included
  };

  VlanIdSet() = default;

  // Index of the first range that holds `vlan` or lies above it; the number of ranges if none does.
  std::size_t rangeEndingAtOrAbove(U32 vlan) const noexcept;

  // Sorted and disjoint, with at least one VLAN missing between two neighbours, so that one set has
  // one form.
  std::vector<Range> ranges_;
};

// A new empty set.
Velo::Ptr<VlanIdSet> VlanIdSetIs();

// Fills `set` from a list string; see VlanIdSet::multiRangeStringIs().
void computeVlanSet(const Velo::Ptr<VlanIdSet>& set, const Nimbo::String& text);

}  // namespace BrindleUtils
