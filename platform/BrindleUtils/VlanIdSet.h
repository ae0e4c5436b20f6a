// VLAN sets and their list string, "1-3,5,10-12", the form in which the port VLAN configuration
// holds its VLANs. A handler takes such a string, changes one VLAN and writes it back, for every
// event anew. So a set is that string, and a change of one VLAN rewrites the part of it that the
// VLAN stands in: nothing is unpacked that has to be packed again.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

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

  // Adds the VLAN; one that is there stays. O(log N) to find the place, and a move of what stands
  // behind it.
  void doAdd(U16 vlan);
  // Removes the VLAN; one that is not there stays away. As doAdd().
  void doRemove(U16 vlan);
  // Whether the set holds the VLAN. O(log N).
  bool vlan(U16 vlan) const noexcept;
  bool empty() const noexcept { return size_ == 0; }

  // The list string: rising numbers and ranges, no blanks, two neighbours joined as a range, "1-2".
  // The empty set gives the empty string. O(N), a copy.
  Nimbo::String multiRangeString() const { return Nimbo::String(text_, size_); }

  // Makes this the set that `text` lists, whatever it was before. Parts may be unsorted, overlap
  // and have leading zeros. A number above 65535, a falling range and any other text raise
  // Velo::RangeException, "BrindleUtils::VlanIdSet: 'TEXT' is not a VLAN list", and leave the set
  // as it was. O(N) for sorted parts, which includes all that multiRangeString() writes.
  void multiRangeStringIs(const Nimbo::String& text);

  // Calls visit(U16) for each VLAN held from `low` to `high`, both included, in rising order.
  // `visit` may change the set: a VLAN is looked at when its turn comes.
  template <class Visit>
  void forEach(U16 low, U16 high, Visit&& visit) const {
    for (U32 next = low; next <= high;) {
      const Part part = partEndingAtOrAbove(next);
      if (part.begin == size_) return;
      next = std::max(next, part.low);
      const U32 last = std::min<U32>(part.high, high);
      for (const U32 edits = edits_; next <= last && edits == edits_; ++next) {
        visit(static_cast<U16>(next));
      }
      if (part.low > high) return;
    }
  }

  static void* operator new(std::size_t size) { return Velo::trackedNew<VlanIdSet>(size); }
  static void operator delete(void* block, std::size_t size) noexcept {
    Velo::trackedDelete<VlanIdSet>(block, size);
  }

 private:
  // One part of the list, text_[begin, end), and what it says; at the end of the list an empty one.
  struct Part {
    std::size_t begin;
    std::size_t end;
    U32 low;
    U32 high;
  };

  VlanIdSet() {}  // NOLINT: of the bytes only the first `size_` are read

  // The part that starts at `begin`, which is not the end of the list.
  Part partAt(std::size_t begin) const noexcept;
  // The part before the one that starts at `begin`, which is not the first.
  Part partBefore(std::size_t begin) const noexcept;
  // The first part that holds `vlan` or lies above it.
  Part partEndingAtOrAbove(U32 vlan) const noexcept;
  // Makes text_[begin, end) the text of `size` bytes.
  void splice(std::size_t begin, std::size_t end, const char* text, std::size_t size);
  void copyIn(std::string_view text);
  void roomIs(std::size_t size);

  // The list string. Most lists are short and stand in the object.
  char nearby_[168];
  char* text_ = nearby_;
  std::size_t size_ = 0;
  std::size_t room_ = sizeof nearby_;
  std::unique_ptr<char[]> far_;
  U32 edits_ = 0;
};

// A new empty set.
Velo::Ptr<VlanIdSet> VlanIdSetIs();

// Fills `set` from a list string; see VlanIdSet::multiRangeStringIs().
void computeVlanSet(const Velo::Ptr<VlanIdSet>& set, const Nimbo::String& text);

}  // namespace BrindleUtils
