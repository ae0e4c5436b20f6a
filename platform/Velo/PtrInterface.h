#pragma once
// The counted base of every object of the runtime, and the base of everything that is notified.
//
// One 32-bit word holds the reference count and two flags. `Ptr.h` and Frame change the count,
// `NotifieeList.h` calls notifiees, `Reactor.h` and `Machine.h` build the pattern of reactors and
// machines on top.
//
// Life: a new object has count zero. When a count falls back to zero, `handleZeroRef` first lets
// the object end its work (`zeroReferencesIs`) under a reference of its own and only then destroys
// it, so cleanup always sees a whole object. Whoever takes a reference meanwhile keeps the object.

#include <cstring>
#include <iosfwd>

#include "platform/Velo/Types.h"

namespace Velo {

class Frame;
class NotifieeList;
class VeloTypeBase;
template <class T>
class Ptr;

// What an entity type's declaration leaves of one attribute.
struct Attribute {
  const char* name;
};

// Which attribute of an entity changed. Within one entity type the name tells it, compared by a
// hash first. The address of the record is only a short cut: a program and the module that it loads
// may each have a record of their own for what a header declares.
class AttributeId {
 public:
  constexpr AttributeId() = default;
  constexpr explicit AttributeId(const Attribute& attribute)
      : attribute_(&attribute), hash_(hashOf(attribute.name)) {}
  const char* name() const { return attribute_ == nullptr ? "" : attribute_->name; }
  friend bool operator==(AttributeId a, AttributeId b) {
    if (a.hash_ != b.hash_) return false;
    return a.attribute_ == b.attribute_ || std::strcmp(a.name(), b.name()) == 0;
  }

 private:
  static constexpr U32 hashOf(const char* name) {
    U32 hash = 2166136261U;
    for (; *name != '\0'; ++name) hash = (hash ^ static_cast<unsigned char>(*name)) * 16777619U;
    return hash;
  }

  const Attribute* attribute_ = nullptr;
  U32 hash_ = hashOf("");
};

// The count word. Not virtual, so that copying a pointer costs an inlined add.
class VFPtrInterface {
 public:
  // When set, counts change by atomic read-modify-write, so pointers may be copied and dropped on
  // other threads. Set it before the first object is shared, and not while a delivery is under way;
  // nothing else becomes safe for concurrent use.
  static bool threadSafePointers_;

  // True while notifications are delivered to this object (a notifiee) or switched on (a machine).
  bool hasNotificationActive() const { return (load() & activeBit) != 0; }
  // True once the object was marked for deletion; no handler of it runs from then on.
  bool veloMarkedForDeletion() const { return (load() & markedBit) != 0; }
  // Number of references held now. For tests and diagnostics.
  U32 referenceCount() const { return load() & countMask; }

 protected:
  static constexpr U32 countMask = 0x5fffffff;
  static constexpr U32 markedBit = 0x80000000;
  static constexpr U32 activeBit = 0x20000000;

  VFPtrInterface() = default;
  VFPtrInterface(const VFPtrInterface&) = delete;
  VFPtrInterface& operator=(const VFPtrInterface&) = delete;
  ~VFPtrInterface() = default;

  U32 load() const { return __atomic_load_n(&word_, __ATOMIC_RELAXED); }
  void increment() const {
    if (threadSafePointers_) {
      __atomic_fetch_add(&word_, 1U, __ATOMIC_RELAXED);
    } else {
      ++word_;
    }
  }
  // True when no reference is left.
  bool decrement() const {
    const U32 left =
        threadSafePointers_ ? __atomic_sub_fetch(&word_, 1U, __ATOMIC_ACQ_REL) : --word_;
    return (left & countMask) == 0;
  }
  void flagIs(U32 bit, bool value) const {
    if (threadSafePointers_) {
      value ? __atomic_fetch_or(&word_, bit, __ATOMIC_RELAXED)
            : __atomic_fetch_and(&word_, ~bit, __ATOMIC_RELAXED);
    } else {
      word_ = value ? word_ | bit : word_ & ~bit;
    }
  }

 private:
  friend class PtrInterface;
  mutable U32 word_ = 0;
};

class PtrInterface : public VFPtrInterface {
 public:
  class NotifieeConst;

  // The list of those notified of this object's attributes; null for an object without notifiees.
  virtual NotifieeList* notifieeList() const;
  // Switches notification of this object, and of the reactors it holds, on or off.
  virtual void hasNotificationActiveIs(bool active);
  // Called with true when the count has reached zero, under a reference: the object ends its work
  // here.
  virtual void zeroReferencesIs(bool zero);
  // Module and index of the object's own type.
  virtual VeloTypeBase fwkType() const;
  virtual ~PtrInterface();

  // Called when the last registered notifiee has left the list of this object.
  virtual void veloUnfollowed() const;

  // Writes the object as a trace shows it: the type's full name, then the key in brackets where it
  // has one.
  virtual void veloPrint(std::ostream& out) const;

  // Sets or clears the mark. Runs nothing.
  void veloMarkedForDeletionIs(bool marked) const { flagIs(markedBit, marked); }

  // The out-of-line halves of pointer copies, for those who hold objects without a Ptr (notifiees
  // that hold their entity).
  void referencesInc() const { increment(); }
  void referencesDec() const {
    if (decrement()) handleZeroRef();
  }
  // The same for whoever knows that threadSafePointers_ is not set.
  void referencesIncHere() const { ++word_; }
  void referencesDecHere() const {
    if ((--word_ & countMask) == 0) [[unlikely]]
      handleZeroRef();
  }

 protected:
  PtrInterface() = default;
  void handleZeroRef() const;

 private:
  friend class Frame;
  template <class T>
  friend class Ptr;
};

// What is registered on an entity and told of its changes. A bound notifiee holds a counted
// reference to its entity; the owner back pointer is raw and is cleared when the owner lets go of
// it.
class PtrInterface::NotifieeConst : public PtrInterface {
 public:
  NotifieeConst(const NotifieeConst&) = delete;
  NotifieeConst& operator=(const NotifieeConst&) = delete;
  ~NotifieeConst() override;

  // Switches delivery to this notifiee on or off.
  void hasNotificationActiveIs(bool active) override;
  void zeroReferencesIs(bool zero) override;
  // Called when the last reference has gone; see zeroReferencesIs.
  virtual void onZeroReferences();
  // Delivers one change. `key` points to the key of the changed element, null for a plain
  // attribute.
  virtual void onAttribute(AttributeId attribute, const void* key) = 0;
  // Marks (true) or revives (false) this reactor and those below it; see Reactor.h.
  virtual void veloDoZombieReactors(bool requested) = 0;

  // Binds to an entity, or to none with null. Ends the registration on the entity bound before.
  void notifierIs(const PtrInterface* entity);
  // Puts this notifiee at the end of its entity's list, or takes it off. Nothing happens when
  // unbound.
  void isRegisteredNotifieeIs(bool registered);
  bool isRegisteredNotifiee() const { return registered_ != 0; }

 protected:
  NotifieeConst() = default;

  const PtrInterface* notifierBase() const { return notifier_; }
  PtrInterface* ownerBase() const { return owner_; }
  // `ownerIsNotifiee` tells that the owner is a reactor itself and has an owner in turn.
  void ownerIs(PtrInterface* owner, bool ownerIsNotifiee);
  // Holds the owner by reference from now on. For a reactor that has left its owner and has yet to
  // clean up as it dies: whoever else holds it may outlive the owner.
  void keepOwner();

 private:
  friend class ::Velo::NotifieeList;
  friend class ::Velo::Frame;

  // In one word, as there are millions of us.
  U32 slot_ : 29 = 0;  // our place in the list of notifier_, while registered
  U32 registered_ : 1 = 0;
  U32 ownerIsNotifiee_ : 1 = 0;
  U32 holdsOwner_ : 1 = 0;
  const PtrInterface* notifier_ = nullptr;
  PtrInterface* owner_ = nullptr;
};

// Holds a reactor and its owners, up to the machine, while one of them runs: a handler may drop its
// own machine and goes on safely; the object is destroyed when its own last frame ends.
class Frame {
 public:
  explicit Frame(const PtrInterface::NotifieeConst& reactor)  // NOLINT(*-member-init)
      : held_(&reactor), owner_(reactor.owner_) {
    if (VFPtrInterface::threadSafePointers_) [[unlikely]] {
      holdShared();
      return;
    }
    held_->referencesIncHere();
    if (owner_ == nullptr) return;
    owner_->referencesIncHere();
    if (reactor.ownerIsNotifiee_ != 0) holdAbove();
  }
  explicit Frame(const PtrInterface& machine)  // NOLINT(*-member-init)
      : held_(&machine), owner_(nullptr) {
    held_->increment();
  }
  // Innermost first, so that a reactor that ends here still finds its owner.
  ~Frame() {
    if (VFPtrInterface::threadSafePointers_ || aboveCount_ != 0) [[unlikely]] {
      letGo();
      return;
    }
    held_->referencesDecHere();
    if (owner_ != nullptr) owner_->referencesDecHere();
  }
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

 private:
  void holdShared();
  void holdAbove();
  void letGo();

  const PtrInterface* const held_;
  const PtrInterface* const owner_;
  U32 aboveCount_ = 0;
  // Of a reactor whose owner is one: a reactor above that, and the machine. As many as are counted.
  const PtrInterface* above_[2];
};

std::ostream& operator<<(std::ostream& out, const PtrInterface* object);

}  // namespace Velo
