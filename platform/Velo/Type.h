#pragma once
// What the runtime knows of a type: its name, its place in its module, and for the types of a
// loadable module the tables through which generic access reaches their attributes and a reader
// finds their reactors.
//
// Records are plain tables of constants and function pointers. `TypeImpl.h` makes the rows from the
// members of a class; here stands only what a user of the tables needs, who may never have seen the
// class.

#include <memory>
#include <span>

#include "platform/Velo/Ptr.h"

namespace Velo {

struct VeloModule;
struct Reaction;
struct TypeRecord;

// The operations of generic access on an attribute. What `key`, `value` and `result` point to:
//   get         result: the value; of a collection the element at `key`. An entity is given as
//               Ptr<const PtrInterface>, an owned machine as Ptr<PtrInterface>, null where there
//               is none
//   set         value: as for get, but with the attribute's own pointer type
//   del         key: of the element; null takes all elements away
//   count       result: U64, number of elements
//   secondSize  result: U64, number of elements for which the collection holds memory
//   contains    result: bool
//   invoke      key: the argument; for two parameters an array of two pointers; result of a const
//               function: its return value
// An operation that needs a key and gets null counts as one that the attribute does not support.
enum class AttributeOp : U8 { get, set, del, count, secondSize, contains, invoke };

enum class AttributeKind : U8 {
  constructorArgument,
  state,
  collection,
  ownedChild,
  ownedChildren,
  handler,
  constFunction
};

struct ParameterRecord {
  const char* name = nullptr;
  const char* type = nullptr;  // as in "Nimbo::String"
};

// A walk over a collection attribute. It may outlive changes of the collection, and the collection
// itself.
class GenericIterator {
 public:
  GenericIterator() = default;
  GenericIterator(const GenericIterator&) = delete;
  GenericIterator& operator=(const GenericIterator&) = delete;
  virtual ~GenericIterator() = default;
  virtual bool nonnull() const = 0;
  // The key of the current element; of a collection of reactors the key of the entity followed, the
  // default key when the reactor follows none. Valid until the next step; null at the end.
  virtual const void* key() = 0;
  // The current element as get gives it, null when it is gone.
  virtual Ptr<const PtrInterface> object() const = 0;
  virtual void inc() = 0;
};

struct AttributeRecord {
  static constexpr int done = 0;
  static constexpr int unsupported = 1;
  static constexpr int unknown = 2;

  const char* name = nullptr;
  AttributeKind kind = AttributeKind::state;
  // Returns done or unsupported. `object` is never null.
  int (*op)(void* result, PtrInterface* object, AttributeOp op, void* key, void* value) = nullptr;
  std::unique_ptr<GenericIterator> (*iterate)(PtrInterface* object) = nullptr;  // collections alone
  ParameterRecord parameters[2] = {};
  U32 parameterCount = 0;
  // A handler that may also be invoked without its argument.
  bool argumentOptional = false;
};

// One reactor class of a machine, for those who print how a module is wired.
struct ReactorRecord {
  const char* name;          // as in "VeloInterface::VeloDynVlan"
  const TypeRecord* entity;  // the type watched
  const char* attribute;     // the machine's or the outer reactor's attribute that holds it
  std::span<const Reaction> (*reactions)();
};

struct TypeRecord {
  const char* name;  // full name, as in "Fabrion::NetworkElement"
  std::span<const AttributeRecord> attributes = {};
  // Makes an object from its constructor arguments, given as pointers; null for types without a
  // factory.
  Ptr<PtrInterface> (*construct)(void* const* args) = nullptr;
  U32 constructorArguments = 0;
  std::span<const ReactorRecord> reactors = {};
  // Set when the type's module is registered.
  mutable const VeloModule* module = nullptr;
  mutable U32 index = 0;
};

// Handle of a type: the pair of its module and its index there.
class VeloTypeBase {
 public:
  VeloTypeBase() = default;
  explicit VeloTypeBase(const TypeRecord& record) : record_(&record) {}
  const TypeRecord* record() const { return record_; }
  const VeloModule* module() const { return record_ == nullptr ? nullptr : record_->module; }
  U32 index() const { return record_ == nullptr ? 0 : record_->index; }
  const char* name() const { return record_ == nullptr ? "" : record_->name; }

 private:
  const TypeRecord* record_ = nullptr;
};

// Generic access to an object through its type. Attributes are numbered in declared order, handlers
// included. Returns AttributeRecord::done, unsupported or unknown; exceptions out of a handler or a
// mutator pass through.
int genericIfAttributeOp(void* result, PtrInterface* object, U32 attribute, AttributeOp op,
                         void* key, void* value);
// A walk over a collection attribute; null where the attribute is none.
std::unique_ptr<GenericIterator> genericIfIterator(PtrInterface* object, U32 attribute);
// Number of the attribute of that name; one past the last when there is none.
U32 attributeIndex(const TypeRecord& type, const char* name);

}  // namespace Velo
