#include "platform/Velo/Module.h"

#include <cstring>

namespace Velo {

namespace {

class Fingerprint {
 public:
  void add(const char* text) {
    // The terminating zero is mixed in too, so that two names never read as one.
    do {
      hash_ = (hash_ ^ static_cast<unsigned char>(*text)) * 0x100000001b3ULL;
    } while (*text++ != '\0');
  }
  U64 value() const { return hash_; }

 private:
  U64 hash_ = 0xcbf29ce484222325ULL;
};

ModuleRegistry& processRegistry() {
  // Never destroyed: modules may still be asked for while the process ends.
  static auto* registry = new ModuleRegistry;
  return *registry;
}

}  // namespace

U64 VeloModule::contentHash() const {
  Fingerprint print;
  print.add(name);
  for (const TypeRecord* type : types) {
    print.add(type->name);
    for (const AttributeRecord& attribute : type->attributes) {
      print.add(attribute.name);
      for (U32 i = 0; i < attribute.parameterCount; ++i) {
        print.add(attribute.parameters[i].name);
        print.add(attribute.parameters[i].type);
      }
    }
  }
  for (const char* outside : outsideModules) print.add(outside);
  return print.value();
}

std::string VeloModule::recordName() const {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text = std::string(name) + "_";
  const U64 hash = contentHash();
  for (int shift = 60; shift >= 0; shift -= 4) text += digits[(hash >> shift) & 0xf];
  return text;
}

const TypeRecord* VeloModule::type(const char* fullName) const {
  for (const TypeRecord* record : types) {
    if (std::strcmp(record->name, fullName) == 0) return record;
  }
  return nullptr;
}

bool ModuleRegistry::moduleIs(const VeloModule& module) {
  error_.clear();
  if (const VeloModule* present = this->module(module.name); present != nullptr) {
    if (present == &module) return true;
    error_ = std::string("module ") + module.name + ": another module of that name is registered";
    return false;
  }
  for (const char* outside : module.outsideModules) {
    if (this->module(outside) != nullptr) continue;
    error_ = std::string("module ") + module.name + ": the module " + outside +
             ", whose types it uses, is not registered";
    return false;
  }
  U32 index = 0;
  for (const TypeRecord* type : module.types) {
    type->module = &module;
    type->index = index++;
  }
  std::unique_ptr<Link>* end = &first_;
  while (*end) end = &(*end)->next;
  *end = std::make_unique<Link>(Link{&module, nullptr});
  return true;
}

const VeloModule* ModuleRegistry::module(const char* name) const {
  for (const Link* link = first_.get(); link != nullptr; link = link->next.get()) {
    if (std::strcmp(link->module->name, name) == 0) return link->module;
  }
  return nullptr;
}

bool veloModuleIs(const VeloModule* module) { return processRegistry().moduleIs(*module); }
const VeloModule* veloModule(const char* name) { return processRegistry().module(name); }
const std::string& veloModuleError() { return processRegistry().error(); }

}  // namespace Velo
