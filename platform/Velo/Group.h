#pragma once
// What a machine or a reactor holds: one reactor, a collection of reactors, one owned machine or a
// collection of those. Each holding attribute is a group, and the groups of one owner are linked in
// order of declaration, which is the order in which activation, marking and the end walk them.

#include "platform/Velo/PtrInterface.h"

namespace Velo {

// Whether exceptions out of cleanup handlers pass on to the caller, or are kept in because an
// object is ending.
enum class CleanupFaults : U8 { pass, keep };

class Group {
 public:
  explicit Group(const char* name) : name_(name) {}
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;
  virtual ~Group() = default;

  // The attribute's name.
  const char* name() const { return name_; }

  // Builds what constructor arguments ask for.
  virtual void build() {}
  // Runs the follow steps of the reactor held here that keep `target` in line.
  virtual void fill(const Group& /*target*/) {}
  virtual void activeIs(bool active) = 0;
  virtual void zombieIs(bool /*requested*/, CleanupFaults /*faults*/) {}
  // Clears the owner back pointers of the reactors held and lets go of them.
  virtual void detach() {}
  // Lets go of owned machines.
  virtual void dropMachines() {}

 private:
  friend class Groups;
  const char* name_;
  Group* next_ = nullptr;
};

// The groups of one owner. They are members of the owner and live as long as it does.
class Groups {
 public:
  Groups() = default;
  Groups(const Groups&) = delete;
  Groups& operator=(const Groups&) = delete;

  void add(Group& group) {
    Group** end = &first_;
    while (*end != nullptr) end = &(*end)->next_;
    *end = &group;
  }
  template <class F>
  void each(F&& f) const {
    for (Group* group = first_; group != nullptr; group = group->next_) f(*group);
  }
  bool empty() const { return first_ == nullptr; }

 private:
  Group* first_ = nullptr;
};

}  // namespace Velo
