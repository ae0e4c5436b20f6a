#include "platform/Velo/Exceptions.h"

namespace Velo {

// Out of line, so that each type has its one vtable and type information in this library and is
// caught by its own type wherever it was raised.
Exception::~Exception() = default;
RangeException::~RangeException() = default;
NullPointerException::~NullPointerException() = default;
ReinstantiatingException::~ReinstantiatingException() = default;

namespace {

std::string attributeName(const char* type, const char* attribute) {
  return std::string(type) + '.' + attribute;
}

}  // namespace

void throwRangeException(const char* message) { throw RangeException(message); }

void throwMutatorArgNullPointerException(const char* type, const char* attribute) {
  throw NullPointerException(attributeName(type, attribute) + ": a null entity was given");
}

namespace Impl {

void throwMutatorReinstantiating(const char* type, const char* attribute, const std::string& key) {
  throw ReinstantiatingException(attributeName(type, attribute) + ": '" + key +
                                 "' is already there for another entity");
}

}  // namespace Impl

}  // namespace Velo
