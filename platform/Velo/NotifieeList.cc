#include "platform/Velo/NotifieeList.h"

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
}

void NotifieeList::visit(AttributeId attribute, const void* key) const {
  if (live_ == 0) return;
  const Walk walk(*this);
  const std::size_t end = slots_.size();
  for (std::size_t i = 0; walk.list != nullptr && i < end; ++i) {
    PtrInterface::NotifieeConst* notifiee = slots_[i];
    if (notifiee == nullptr || !notifiee->hasNotificationActive()) continue;
    const Frame frame(*notifiee);
    notifiee->onAttribute(attribute, key);
  }
}

void NotifieeList::deleteAll() {
  for (PtrInterface::NotifieeConst* notifiee : slots_) {
    if (notifiee != nullptr) notifiee->registered_ = false;
  }
  live_ = 0;
  if (walk_ == nullptr) {
    slots_.clear();
  } else {
    // A walk still counts on its slots.
    for (auto& slot : slots_) slot = nullptr;
  }
}

void NotifieeList::add(PtrInterface::NotifieeConst& notifiee) {
  notifiee.slot_ = static_cast<U32>(slots_.size());
  slots_.push_back(&notifiee);
  ++live_;
}

void NotifieeList::remove(PtrInterface::NotifieeConst& notifiee) {
  slots_[notifiee.slot_] = nullptr;
  --live_;
  // Closing gaps only when they are half of the list keeps many removals in a row linear.
  if (walk_ == nullptr && slots_.size() >= 2 * std::size_t{live_}) compact();
}

void NotifieeList::compact() const {
  if (slots_.size() == live_) return;
  U32 to = 0;
  for (PtrInterface::NotifieeConst* notifiee : slots_) {
    if (notifiee == nullptr) continue;
    notifiee->slot_ = to;
    slots_[to++] = notifiee;
  }
  slots_.resize(to);
}

}  // namespace Velo
