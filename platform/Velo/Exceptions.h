// The exceptions that the runtime raises, and the functions through which all code raises them, so
// that a text is worded in one place and the cold path stays out of line. An error that no caller
// could handle ends the process instead: see Fault.h.
#pragma once

#include <stdexcept>
#include <string>

namespace Velo {

// Base of all that the runtime raises.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() override;
};

// A value type was built from a number or a text outside its range.
class RangeException : public Exception {
 public:
  using Exception::Exception;
  RangeException(const RangeException&) = default;
  RangeException& operator=(const RangeException&) = default;
  ~RangeException() override;
};

// A mutator was given a null entity.
class NullPointerException : public Exception {
 public:
  using Exception::Exception;
  NullPointerException(const NullPointerException&) = default;
  NullPointerException& operator=(const NullPointerException&) = default;
  ~NullPointerException() override;
};

// A mutator that finds or creates found, under the key, an object made for another entity.
class ReinstantiatingException : public Exception {
 public:
  using Exception::Exception;
  ReinstantiatingException(const ReinstantiatingException&) = default;
  ReinstantiatingException& operator=(const ReinstantiatingException&) = default;
  ~ReinstantiatingException() override;
};

// Raises a RangeException whose text is `message`, unchanged.
[[noreturn]] void throwRangeException(const char* message);

// Raises a NullPointerException: "TYPE.ATTRIBUTE: a null entity was given". `type` is the full name
// of the class whose mutator was called, `attribute` the name of its attribute.
[[noreturn]] void throwMutatorArgNullPointerException(const char* type, const char* attribute);

namespace Impl {

// Raises a ReinstantiatingException: "TYPE.ATTRIBUTE: 'KEY' is already there for another entity".
[[noreturn]] void throwMutatorReinstantiating(const char* type, const char* attribute,
                                              const std::string& key);

}  // namespace Impl

}  // namespace Velo
