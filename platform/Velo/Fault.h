// The end of a process that has met a state which the order of set-up rules out: a null Ptr that is
// dereferenced, or an object that had to be there and is not. Nothing is unwound, because no caller
// could put such a state right. What a caller can put right is an exception: see Exceptions.h.
#pragma once

namespace Velo {

// Writes the one line "FUNCTION: MISSING is missing" on standard error and aborts the process.
// Both texts are zero terminated; a null one prints as "?". Allocates nothing and may be called
// from any thread. Standard output is not flushed: who buffers there flushes what has to survive.
[[noreturn]] void fault(const char* function, const char* missing) noexcept;

}  // namespace Velo
