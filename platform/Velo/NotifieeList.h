#pragma once
// The notifiees of one entity.
//
// A delivery calls, in the order of registration, each notifiee that was registered when the
// delivery began and is registered and active when its turn comes. One that is added meanwhile, or
// taken off and added again, waits for the next delivery; one that is taken off or switched off
// before its turn is passed over. List, entity and notifiee may each go in a callback. Notifying
// allocates nothing.

#include <utility>

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
  // Whether visit() would call nobody, at a glance: not told of a list that all have left while a
  // delivery is under way.
  bool idle() const { return used_ == 0; }
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
  static void deliverInFrame(PtrInterface::NotifieeConst& notifiee, AttributeId attribute,
                             const void* key);
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

// A reference held by one who knows that threadSafePointers_ is not set. It gives away no address,
// so that it stands in a register.
class NotifieeList::Held {
 public:
  explicit Held(const PtrInterface* object) : object_(object) {
    if (object_ != nullptr) object_->referencesIncHere();
  }
  ~Held() { letGo(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

  void letGo() {
    const PtrInterface* const object = std::exchange(object_, nullptr);
    if (object != nullptr) object->referencesDecHere();
  }
  void is(const PtrInterface* object) {
    if (object == object_) return;
    letGo();
    object_ = object;
    if (object_ != nullptr) object_->referencesIncHere();
  }
  // Ends the object if nobody else holds it.
  void letGoOfLast() {
    if (object_ != nullptr && object_->referenceCount() == 1) [[unlikely]]
      letGo();
  }

 private:
  const PtrInterface* object_;
};

// Most lists: no walk, as there is nothing to come back to. A slot that is the only one is taken,
// since gaps are closed but under a walk, which has more. Inline, for deliveries are nested as deep
// as what one change brings about, and a processor remembers some thirty returns.
inline void NotifieeList::visitOnly(AttributeId attribute, const void* key) const {
  PtrInterface::NotifieeConst* const only = *slots();
  if (!only->hasNotificationActive()) return;
  if (VFPtrInterface::threadSafePointers_ || only->ownerIsNotifiee_ != 0) [[unlikely]] {
    deliverInFrame(*only, attribute, key);
    return;
  }
  const Held owner(only->owner_);
  const Held itself(only);
  only->onAttribute(attribute, key);
}

}  // namespace Velo
