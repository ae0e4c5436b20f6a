#include "platform/Velo/NotifieeList.h"

#include <algorithm>
#include <cstddef>

#include "platform/Quillo/Slab.h"

namespace Velo {

NotifieeList::Walk::Walk(const NotifieeList& l) : list(&l), outer(l.walk_) { l.walk_ = this; }

NotifieeList::Walk::~Walk() {
  if (list == nullptr) return;
  list->walk_ = outer;
  if (outer == nullptr) list->compact();
}

NotifieeList::~NotifieeList() {
  for (Walk* walk = walk_; walk != nullptr; walk = walk->outer) walk->list = nullptr;
  deleteAll();
  if (roomLog_ != 0) Quillo::slabFreeOrStdFree(many_);
}

void NotifieeList::visit(AttributeId attribute, const void* key) const {
  if (live_ == 0) return;
  const Walk walk(*this);
  const U32 end = used_;
  for (U32 i = 0; i < end; ++i) {
    PtrInterface::NotifieeConst* const notifiee = slots()[i];
    if (notifiee == nullptr || !notifiee->hasNotificationActive()) continue;
    {
      const Frame frame(*notifiee);
      notifiee->onAttribute(attribute, key);
    }  // the end of a frame may run foreign code as well
    if (walk.list == nullptr) return;
  }
}

void NotifieeList::deleteAll() {
  PtrInterface::NotifieeConst** const all = slots();
  for (U32 i = 0; i < used_; ++i) {
    if (all[i] != nullptr) all[i]->registered_ = false;
    // Not closed up yet, for a walk may still count on its slots.
    all[i] = nullptr;
  }
  live_ = 0;
  if (walk_ == nullptr) used_ = 0;
}

void NotifieeList::add(PtrInterface::NotifieeConst& notifiee) {
  if (used_ == U32{1} << roomLog_) makeRoom();
  notifiee.slot_ = used_;
  slots()[used_++] = &notifiee;
  ++live_;
}

void NotifieeList::makeRoom() {
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
  if (walk_ == nullptr && used_ >= 2 * live_) compact();
}

void NotifieeList::compact() const {
  if (used_ == live_) return;
  PtrInterface::NotifieeConst** const all = slots();
  U32 to = 0;
  for (U32 i = 0; i < used_; ++i) {
    if (all[i] == nullptr) continue;
    all[i]->slot_ = to;
    all[to++] = all[i];
  }
  used_ = to;
}

}  // namespace Velo
