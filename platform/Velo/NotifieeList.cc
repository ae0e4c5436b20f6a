#include "platform/Velo/NotifieeList.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "platform/Quillo/Slab.h"

namespace Velo {

namespace {

// A list has fewer slots than its counts and a notifiee's can tell: makeRoom() sees to it.
constexpr U32 lastRoomLog = 25;
constexpr U32 slotMask = (U32{1} << 29) - 1;

}  // namespace

// The model is said here again, as what is optimised at link time goes by the definition.
[[gnu::tls_model(
    "initial-exec")]] thread_local constinit NotifieeList::Walk* NotifieeList::innermost_ = nullptr;

NotifieeList::Walk::Walk(const NotifieeList& l)
    : list(&l), outer(innermost_), outermost(l.walked_ == 0) {
  innermost_ = this;
  l.walked_ = 1;
}

NotifieeList::Walk::~Walk() {
  innermost_ = outer;
  if (list == nullptr || !outermost) return;
  list->walked_ = 0;
  list->compact();
}

NotifieeList::~NotifieeList() {
  if (walked_ != 0) {
    for (Walk* walk = innermost_; walk != nullptr; walk = walk->outer) {
      if (walk->list == this) walk->list = nullptr;
    }
  }
  deleteAll();
  if (roomLog_ != 0) Quillo::slabFreeOrStdFree(many_);
}

// A reactor of a reactor has more above it to be held, and threads take turns: then it takes a
// whole Frame.
void NotifieeList::deliverInFrame(PtrInterface::NotifieeConst& notifiee, AttributeId attribute,
                                  const void* key) {
  const Frame frame(notifiee);
  notifiee.onAttribute(attribute, key);
}

// Many reactors of one machine often stand side by side. The machine is held through all of them,
// and ends after the very one in which it lost its last other reference.
void NotifieeList::visitAll(AttributeId attribute, const void* key) const {
  Walk walk(*this);  // NOLINT(misc-const-correctness): the end of the list changes it
  const U32 end = used_;
  Held owner(nullptr);
  for (U32 i = 0; i < end; ++i) {
    // More than one stand in the array, wherever it is by now.
    PtrInterface::NotifieeConst* const notifiee = many_[i];
    if (notifiee == nullptr || !notifiee->hasNotificationActive()) continue;
    if (VFPtrInterface::threadSafePointers_ || notifiee->ownerIsNotifiee_ != 0) [[unlikely]] {
      owner.letGo();
      deliverInFrame(*notifiee, attribute, key);
    } else {
      owner.is(notifiee->owner_);
      {
        const Held itself(notifiee);
        notifiee->onAttribute(attribute, key);
      }
      owner.letGoOfLast();
    }
    // The end of a frame may run foreign code as well.
    if (walk.list == nullptr) return;
  }
}

void NotifieeList::deleteAll() {
  PtrInterface::NotifieeConst** const all = slots();
  for (U32 i = 0; i < used_; ++i) {
    if (all[i] != nullptr) all[i]->registered_ = 0;
    // Not closed up yet, for a walk may still count on its slots.
    all[i] = nullptr;
  }
  live_ = 0;
  if (walked_ == 0) used_ = 0;
}

void NotifieeList::add(PtrInterface::NotifieeConst& notifiee) {
  if (used_ == U32{1} << roomLog_) makeRoom();
  notifiee.slot_ = used_ & slotMask;
  slots()[used_++] = &notifiee;
  ++live_;
}

void NotifieeList::makeRoom() {
  if (roomLog_ == lastRoomLog) throw std::length_error("Velo::NotifieeList: too many notifiees");
  auto** const wider = static_cast<PtrInterface::NotifieeConst**>(
      Quillo::slabAlloc(2 * std::size_t{used_} * sizeof(PtrInterface::NotifieeConst*)));
  std::copy_n(slots(), used_, wider);
  if (roomLog_ != 0) Quillo::slabFreeOrStdFree(many_);
  many_ = wider;
  ++roomLog_;
}

void NotifieeList::remove(PtrInterface::NotifieeConst& notifiee) {
  slots()[notifiee.slot_] = nullptr;
  --live_;
  // Closing gaps only when they are half of the list keeps many removals in a row linear.
  if (walked_ == 0 && used_ >= 2 * live_) compact();
}

void NotifieeList::compact() const {
  if (used_ == live_) return;
  PtrInterface::NotifieeConst** const all = slots();
  U32 to = 0;
  for (U32 i = 0; i < used_; ++i) {
    if (all[i] == nullptr) continue;
    all[i]->slot_ = to & slotMask;
    all[to++] = all[i];
  }
  used_ = to;
}

}  // namespace Velo
