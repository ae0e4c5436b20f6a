#pragma once
// The notifiees of one entity.
//
// A delivery calls, in the order of registration, each notifiee that was registered when the
// delivery began and is registered and active when its turn comes. One that is added meanwhile, or
// taken off and added again, waits for the next delivery; one that is taken off or switched off
// before its turn is passed over. List, entity and notifiee may each go in a callback. Notifying
// allocates nothing.

#include "platform/Velo/PtrInterface.h"

namespace Velo {

class NotifieeList {  // NOLINT(*-member-init): one of a union
 public:
  NotifieeList() = default;  // NOLINT(*-member-init)
  NotifieeList(const NotifieeList&) = delete;
  NotifieeList& operator=(const NotifieeList&) = delete;
  ~NotifieeList();

  // Calls onAttribute of each notifiee in a frame of its own. An exception ends the delivery at
  // once. O(notifiees). The caller keeps the entity alive.
  void visit(AttributeId attribute, const void* key = nullptr) const {
    if (used_ == 1) {
      visitOnly(attribute, key);
    } else if (used_ != 0) {
      visitAll(attribute, key);
    }
  }
  // Takes every notifiee off the list.
  void deleteAll();

  bool empty() const { return live_ == 0; }
  U32 size() const { return live_; }

 private:
  friend class PtrInterface::NotifieeConst;

  // A delivery under way, on the stack of the one who delivers. All that are under way are linked,
  // thread by thread, whatever their lists, since lists are many and deliveries few; so a list may
  // go meanwhile.
  struct Walk {
    const NotifieeList* list;
    Walk* const outer;
    const bool outermost;  // of this list
    explicit Walk(const NotifieeList& l);
    ~Walk();
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
  };
  [[gnu::tls_model("initial-exec")]] static thread_local constinit Walk* innermost_;
  class Held;

  void visitOnly(AttributeId attribute, const void* key) const;
  void visitAll(AttributeId attribute, const void* key) const;
  void add(PtrInterface::NotifieeConst& notifiee);
  void remove(PtrInterface::NotifieeConst& notifiee);
  void compact() const;
  void makeRoom();
  PtrInterface::NotifieeConst** slots() const { return roomLog_ == 0 ? &one_ : many_; }

  // Slots in order of registration; null where one has left. The outermost walk closes the gaps.
  // Most entities have one notifiee or none, for which there is room here; more stand in an array.
  union {
    mutable PtrInterface::NotifieeConst* one_ = nullptr;
    PtrInterface::NotifieeConst** many_;
  };
  mutable U32 used_ = 0;
  U32 live_ : 26 = 0;
  U32 roomLog_ : 5 = 0;         // there is room for two to the power of it
  mutable U32 walked_ : 1 = 0;  // a delivery is under way
};

}  // namespace Velo
