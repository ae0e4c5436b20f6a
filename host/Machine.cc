#include "host/Machine.h"

#include <cstring>

#include "entities/FabrionClient.h"
#include "host/BadJournal.h"
#include "host/Module.h"

namespace Fabrion::Host {

namespace {

using Velo::AttributeKind;
using Velo::AttributeOp;
using Velo::AttributeRecord;

// What is said of a type that does not look as this host expects.
[[noreturn]] void unknownShape(const char* type, const std::string& what) {
  throw ModuleError(std::string("the module's ") + type + " " + what);
}

// The key of an invocation in the form that generic access takes.
class Key {
 public:
  explicit Key(const HandlerKey& key) {
    if (const auto* text = std::get_if<std::string>(&key)) {
      text_ = Nimbo::String(*text);
      add(&text_, "Nimbo::String");
    } else if (const auto* number = std::get_if<U32>(&key)) {
      number_ = *number;
      add(&number_, "U32");
    } else if (const auto* domain = std::get_if<DomainName>(&key)) {
      domain_ = Client::ClientDomain(Nimbo::String(domain->first), Nimbo::String(domain->second));
      add(&domain_, "Fabrion::Client::ClientDomain");
    } else if (const auto* both = std::get_if<TextAndNumber>(&key)) {
      text_ = Nimbo::String(both->text);
      number_ = both->number;
      add(&text_, "Nimbo::String");
      add(&number_, "U32");
    }
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  bool suits(const AttributeRecord& handler) const {
    if (count_ == 0) return handler.parameterCount == 0 || handler.argumentOptional;
    if (count_ != handler.parameterCount) return false;
    for (U32 i = 0; i < count_; ++i) {
      if (std::strcmp(types_[i], handler.parameters[i].type) != 0) return false;
    }
    return true;
  }

  void* get() {
    if (count_ == 0) return nullptr;
    return count_ == 1 ? parts_[0] : static_cast<void*>(parts_);
  }

 private:
  void add(void* part, const char* type) {
    parts_[count_] = part;
    types_[count_] = type;
    ++count_;
  }

  Nimbo::String text_;
  U32 number_ = 0;
  Client::ClientDomain domain_;
  void* parts_[2] = {};
  const char* types_[2] = {};
  U32 count_ = 0;
};

std::string wordsFor(const AttributeRecord& handler) {
  if (handler.parameterCount == 0) return "takes no key";
  std::string words = "takes the key ";
  for (U32 i = 0; i < handler.parameterCount; ++i) {
    if (i != 0) words += ", ";
    words += std::string(handler.parameters[i].name) + " (" + handler.parameters[i].type + ")";
  }
  return words + (handler.argumentOptional ? " or none" : "");
}

}  // namespace

Machine Machine::make(const Velo::VeloModule& module, const char* type,
                      std::initializer_list<const void*> arguments) {
  const std::string name = std::string("Fabrion::Agent::") + type;
  const Velo::TypeRecord* const record = module.type(name.c_str());
  if (record == nullptr) throw ModuleError("the module has no type " + name);
  if (record->construct == nullptr || record->constructorArguments != arguments.size()) {
    unknownShape(record->name,
                 "cannot be made from " + std::to_string(arguments.size()) + " argument(s)");
  }
  std::vector<void*> pointers;
  for (const void* argument : arguments) pointers.push_back(const_cast<void*>(argument));
  return Machine(record->construct(pointers.data()));
}

U32 Machine::index(const char* attribute) const {
  const Velo::TypeRecord& type = *object_->fwkType().record();
  const U32 index = Velo::attributeIndex(type, attribute);
  if (index == type.attributes.size())
    unknownShape(type.name, std::string("has no attribute ") + attribute);
  return index;
}

void Machine::operate(const char* attribute, AttributeOp op, void* result, void* key,
                      void* value) const {
  const int done =
      Velo::genericIfAttributeOp(result, object_.get(), index(attribute), op, key, value);
  if (done != AttributeRecord::done) {
    unknownShape(object_->fwkType().name(), std::string("does not give access to ") + attribute);
  }
}

std::string Machine::text(const char* attribute) const {
  Nimbo::String value;
  operate(attribute, AttributeOp::get, &value, nullptr, nullptr);
  return std::string(value.view());
}

bool Machine::flag(const char* attribute) const {
  bool value = false;
  operate(attribute, AttributeOp::get, &value, nullptr, nullptr);
  return value;
}

void Machine::flagIs(const char* attribute, bool value) {
  operate(attribute, AttributeOp::set, nullptr, nullptr, &value);
}

bool Machine::follows(const char* attribute) const {
  Velo::Ptr<const Velo::PtrInterface> entity;
  operate(attribute, AttributeOp::get, &entity, nullptr, nullptr);
  return static_cast<bool>(entity);
}

Machine Machine::owned(const char* attribute) const {
  Velo::Ptr<Velo::PtrInterface> machine;
  operate(attribute, AttributeOp::get, &machine, nullptr, nullptr);
  return Machine(std::move(machine));
}

Machine Machine::owned(const char* attribute, const std::string& name) const {
  Velo::Ptr<Velo::PtrInterface> machine;
  Nimbo::String key(name);
  operate(attribute, AttributeOp::get, &machine, &key, nullptr);
  return Machine(std::move(machine));
}

std::vector<std::string> Machine::ownedNames(const char* attribute) const {
  std::vector<std::string> names;
  const auto walk = Velo::genericIfIterator(object_.get(), index(attribute));
  if (walk == nullptr) {
    unknownShape(object_->fwkType().name(), std::string("has no collection ") + attribute);
  }
  for (; walk->nonnull(); walk->inc()) {
    names.emplace_back(static_cast<const Nimbo::String*>(walk->key())->view());
  }
  return names;
}

void Machine::invoke(const std::string& handler, const HandlerKey& key) {
  const Velo::TypeRecord& type = *object_->fwkType().record();
  const U32 index = Velo::attributeIndex(type, handler.c_str());
  const AttributeRecord* const record =
      index < type.attributes.size() ? &type.attributes[index] : nullptr;
  // Compared as a whole: a text with a zero byte in it names nothing.
  if (record == nullptr || handler != record->name ||
      (record->kind != AttributeKind::handler && record->kind != AttributeKind::constFunction)) {
    throw BadJournal(std::string(type.name) + " has no handler " + inQuotes(handler));
  }
  Key argument(key);
  if (!argument.suits(*record)) {
    throw BadJournal(std::string(type.name) + "::" + handler + " " + wordsFor(*record));
  }
  // The handler may drop this very machine.
  const Velo::Ptr<Velo::PtrInterface> held = object_;
  const int done = Velo::genericIfAttributeOp(nullptr, held.get(), index, AttributeOp::invoke,
                                              argument.get(), nullptr);
  if (done != AttributeRecord::done) {
    throw BadJournal(std::string(type.name) + "::" + handler + " cannot be invoked in this module");
  }
}

}  // namespace Fabrion::Host
