#include "platform/Velo/NotifieeList.h"

#include <algorithm>
#include <cstddef>

#include "platform/Quillo/Slab.h"

namespace Velo {

namespace {

// A list has no more slots than its count of notifiees can tell.
constexpr U32 slotMask = (U32{1} << 29) - 1;

}  // namespace

constinit NotifieeList::Walk* NotifieeList::innermost_ = nullptr;

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

// A frame as nearly all are: of a reactor of a machine, on one thread. Of a reactor that another
// one holds, a whole Frame takes care. Its address is nobody's, so that it stands in registers.
class NotifieeList::Delivery {
 public:
  static void to(PtrInterface::NotifieeConst& notifiee, AttributeId attribute, const void* key) {
    if (VFPtrInterface::threadSafePointers_ || notifiee.ownerIsNotifiee_ != 0) [[unlikely]] {
      inFrame(notifiee, attribute, key);
      return;
    }
    const Delivery holds(notifiee);
    notifiee.onAttribute(attribute, key);
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

 private:
  explicit Delivery(PtrInterface::NotifieeConst& notifiee)
      : held_(&notifiee), owner_(notifiee.owner_) {
    held_->referencesIncHere();
    if (owner_ != nullptr) owner_->referencesIncHere();
  }
  ~Delivery() {
    held_->referencesDecHere();
    if (owner_ != nullptr) owner_->referencesDecHere();
  }
  [[gnu::noinline]] static void inFrame(PtrInterface::NotifieeConst& notifiee,
                                        AttributeId attribute, const void* key) {
    const Frame frame(notifiee);
    notifiee.onAttribute(attribute, key);
  }

  const PtrInterface* const held_;
  const PtrInterface* const owner_;
};

// Most lists: no walk, as there is nothing to come back to.
void NotifieeList::visitOnly(AttributeId attribute, const void* key) const {
  PtrInterface::NotifieeConst* const only = *slots();
  if (only != nullptr && only->hasNotificationActive()) Delivery::to(*only, attribute, key);
}

void NotifieeList::visitAll(AttributeId attribute, const void* key) const {
  const Walk walk(*this);
  const U32 end = used_;
  for (U32 i = 0; i < end; ++i) {
    PtrInterface::NotifieeConst* const notifiee = slots()[i];
    if (notifiee == nullptr || !notifiee->hasNotificationActive()) continue;
    Delivery::to(*notifiee, attribute, key);
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
