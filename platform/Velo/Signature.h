// One spelling of function signatures, so that a trace line does not tell which compiler built the
// program. The trace (`Trace.h`) is its one user.
#pragma once

#include <string>
#include <string_view>

namespace Velo {

// The signature that clang gives in __PRETTY_FUNCTION__, spelled as g++ gives it. One of g++ comes
// out as it is.
//
// Spelling is all that can be put right. Clang repeats the names of types as they were written, g++
// gives them in full, so a traced function names the types of its parameters and of its result in
// full: `const Fabrion::Client::ClientDomain&` and not `const Client::ClientDomain&`, also between
// the brackets of a template. And it is no lambda, no template, no constexpr function and no
// conversion operator: of these clang tells less than g++ prints.
std::string signatureAsGcc(std::string_view pretty);

}  // namespace Velo
