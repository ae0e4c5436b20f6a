#pragma once
// A machine as the host sees it: an object of the module, reached through the table of its type
// alone.

#include <initializer_list>
#include <string>
#include <vector>

#include "host/OperationValues.h"
#include "platform/Nimbo/String.h"
#include "platform/Velo/Module.h"
#include "platform/Velo/Ptr.h"

namespace Fabrion::Host {

// Holds the machine by reference; may hold none. Where the type has no such attribute, or has it
// not in the form asked for, the module is not the one this host knows: ModuleError.
class Machine {
 public:
  Machine() = default;
  explicit Machine(Velo::Ptr<Velo::PtrInterface> object) : object_(std::move(object)) {}

  // Makes an object of the type "Fabrion::Agent::TYPE" from pointers to its constructor arguments,
  // which have the types of its creator. Raises ModuleError when the module cannot, and what the
  // constructor raises.
  static Machine make(const Velo::VeloModule& module, const char* type,
                      std::initializer_list<const void*> arguments);

  explicit operator bool() const { return static_cast<bool>(object_); }

  // The value of a text attribute.
  std::string text(const char* attribute) const;
  bool flag(const char* attribute) const;
  void flagIs(const char* attribute, bool value);
  // Whether a reactor follows an entity.
  bool follows(const char* attribute) const;
  // An owned machine; none when there is none.
  Machine owned(const char* attribute) const;
  Machine owned(const char* attribute, const std::string& name) const;
  // The names of the owned machines, in the order of their collection.
  std::vector<std::string> ownedNames(const char* attribute) const;

  // Runs a handler or a const function. Raises BadJournal, before anything runs, for a handler that
  // the machine does not have and a key that it does not take; and what the handler raises.
  void invoke(const std::string& handler, const HandlerKey& key);

 private:
  U32 index(const char* attribute) const;
  void operate(const char* attribute, Velo::AttributeOp op, void* result, void* key,
               void* value) const;

  Velo::Ptr<Velo::PtrInterface> object_;
};

}  // namespace Fabrion::Host
