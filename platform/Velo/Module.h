#pragma once
// The registry of modules. A module describes itself by one record, which its static initialiser
// registers; a host agent finds types by module and name and needs no header of the module.

#include <span>
#include <string>

#include "platform/Velo/Type.h"

namespace Velo {

struct VeloModule {
  const char* name;
  std::span<const TypeRecord* const> types;
  // Modules whose types this one uses; they must be registered when this one is.
  std::span<const char* const> outsideModules = {};

  // Fingerprint of the tables, the same for the same declarations on any machine.
  U64 contentHash() const;
  // The module's name and its content hash in 16 hexadecimal digits.
  std::string recordName() const;
  // Null when the module has no type of that full name.
  const TypeRecord* type(const char* fullName) const;
};

// Modules by name. The process has one, `veloModuleIs`; tests make their own.
class ModuleRegistry {
 public:
  // Registers and gives the module's types their place. False, with `error()` saying why, when an
  // outside module is missing or the name is taken by another record; nothing is registered then.
  bool moduleIs(const VeloModule& module);
  const VeloModule* module(const char* name) const;
  // Why the last registration failed; empty when it did not.
  const std::string& error() const { return error_; }

 private:
  // Few and never removed, so a list of links in order of registration is enough.
  struct Link {
    const VeloModule* module;
    std::unique_ptr<Link> next;
  };
  std::unique_ptr<Link> first_;
  std::string error_;
};

// Registers in the registry of the process.
bool veloModuleIs(const VeloModule* module);
const VeloModule* veloModule(const char* name);
// Why the last registration in the process failed, for a host agent whose module did not appear.
const std::string& veloModuleError();

}  // namespace Velo
