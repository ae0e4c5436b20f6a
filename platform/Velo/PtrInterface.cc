#include "platform/Velo/PtrInterface.h"

#include <iterator>
#include <ostream>

#include "platform/Velo/NotifieeList.h"
#include "platform/Velo/Type.h"

namespace Velo {

bool VFPtrInterface::threadSafePointers_ = false;

PtrInterface::~PtrInterface() = default;

NotifieeList* PtrInterface::notifieeList() const { return nullptr; }
void PtrInterface::hasNotificationActiveIs(bool active) { flagIs(activeBit, active); }
void PtrInterface::zeroReferencesIs(bool /*zero*/) {}
VeloTypeBase PtrInterface::fwkType() const { return VeloTypeBase(); }
void PtrInterface::veloUnfollowed() const {}
void PtrInterface::veloPrint(std::ostream& out) const { out << fwkType().name(); }

void PtrInterface::handleZeroRef() const {
  auto* self = const_cast<PtrInterface*>(this);
  increment();
  self->zeroReferencesIs(true);
  // Somebody took the object up again while it ended its work: it goes with that reference.
  if (!decrement()) return;
  increment();  // so that pointers made and dropped in the destructor do not end it again
  delete self;
}

PtrInterface::NotifieeConst::~NotifieeConst() {
  NotifieeConst::notifierIs(nullptr);
  ownerIs(nullptr, false);
}

void PtrInterface::NotifieeConst::hasNotificationActiveIs(bool active) {
  flagIs(activeBit, active);
}
void PtrInterface::NotifieeConst::zeroReferencesIs(bool zero) {
  if (zero) onZeroReferences();
}
void PtrInterface::NotifieeConst::onZeroReferences() {}

void PtrInterface::NotifieeConst::notifierIs(const PtrInterface* entity) {
  if (entity == notifier_) return;
  isRegisteredNotifieeIs(false);
  if (entity != nullptr) entity->referencesInc();
  const PtrInterface* old = notifier_;
  notifier_ = entity;
  if (old != nullptr) old->referencesDec();
}

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  if (registered == isRegisteredNotifiee() || notifier_ == nullptr) return;
  NotifieeList* list = notifier_->notifieeList();
  if (list == nullptr) return;
  if (registered) {
    list->add(*this);  // may throw
    registered_ = 1;
  } else {
    registered_ = 0;
    list->remove(*this);
    if (list->empty()) notifier_->veloUnfollowed();
  }
}

void PtrInterface::NotifieeConst::ownerIs(PtrInterface* owner, bool ownerIsNotifiee) {
  const PtrInterface* held = holdsOwner_ != 0 ? owner_ : nullptr;
  owner_ = owner;
  ownerIsNotifiee_ = ownerIsNotifiee ? 1 : 0;
  holdsOwner_ = 0;
  if (held != nullptr) held->referencesDec();
}

void PtrInterface::NotifieeConst::keepOwner() {
  if (owner_ == nullptr || holdsOwner_ != 0) return;
  owner_->referencesInc();
  holdsOwner_ = 1;
}

void Frame::holdShared() {
  held_->increment();
  if (owner_ == nullptr) return;
  owner_->increment();
  if (static_cast<const PtrInterface::NotifieeConst*>(held_)->ownerIsNotifiee_ != 0) holdAbove();
}

void Frame::letGo() {
  held_->referencesDec();
  if (owner_ == nullptr) return;
  owner_->referencesDec();
  for (U32 i = 0; i < aboveCount_; ++i) above_[i]->referencesDec();
}

void Frame::holdAbove() {
  const auto* below = static_cast<const PtrInterface::NotifieeConst*>(owner_);
  while (below->owner_ != nullptr && aboveCount_ < std::size(above_)) {
    above_[aboveCount_++] = below->owner_;
    below->owner_->increment();
    if (below->ownerIsNotifiee_ == 0) return;
    below = static_cast<const PtrInterface::NotifieeConst*>(below->owner_);
  }
}

std::ostream& operator<<(std::ostream& out, const PtrInterface* object) {
  if (object == nullptr) return out << "null";
  object->veloPrint(out);
  return out;
}

}  // namespace Velo
