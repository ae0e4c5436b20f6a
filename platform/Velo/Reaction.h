#pragma once
// The rows of a reactor's table: what happens, step by step, when an attribute of the entity
// changes.
//
// A reactor class states its table in a static function `reactions()`, with the row makers that
// `Reactor.h` gives it:
//
//   on<attribute>(step, step...)  the steps on a change of the attribute, in their order
//   built<&handler>("name")       runs when a new reactor is built, before it is in its collection
//                                 and active
//   cleanup<&handler>("name")     runs when the reactor is marked for deletion or revived
//
// and the steps
//
//   call<&handler>("name")        calls the handler, unless the reactor is marked for deletion
//   follow<&collection>("name")   keeps a collection of reactors in line: the entity's element at
//                                 the key gets a reactor, or the reactor at the key goes; needs
//                                 the entity and the owner
//
// Rows are plain constants, read by the runtime to deliver, to build and to re-bind, and by whoever
// prints the wiring of a module.

#include <span>

#include "platform/Velo/PtrInterface.h"

namespace Velo {

class Group;

struct Step {
  enum class Kind : U8 { none, call, follow };

  Kind kind = Kind::none;
  const char* name = nullptr;
  // Runs the step for a change at `key`.
  void (*run)(PtrInterface::NotifieeConst& reactor, const void* key) = nullptr;
  // Follow steps: a reactor for each element of the entity; and away with those whose element has
  // gone.
  void (*fill)(PtrInterface::NotifieeConst& reactor) = nullptr;
  void (*prune)(PtrInterface::NotifieeConst& reactor) = nullptr;
  // Follow steps: the collection kept in line, null while the owner is unknown.
  const Group* (*target)(PtrInterface::NotifieeConst& reactor) = nullptr;
};

struct Reaction {
  enum class Kind : U8 { change, built, cleanup };
  static constexpr U32 maxSteps = 2;

  Kind kind = Kind::change;
  AttributeId attribute = {};
  bool plain = false;  // a change of the attribute has no key
  Step steps[maxSteps] = {};
};

}  // namespace Velo
