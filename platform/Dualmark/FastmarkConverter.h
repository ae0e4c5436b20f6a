// Expands the format of a trace and its arguments into one line. `Velo/Trace.h` builds the text
// trace with it, the ring trace decodes its messages with it, so the two channels cannot word a
// message differently.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/Velo/Types.h"

namespace Velo {
class PtrInterface;
}

namespace Dualmark {

// One line: first its text, piece by piece, then its arguments in order, each in place of the next
// "%s" or "%x" of the text, then the null argument. What an argument brings is never searched for
// placeholders; an argument without a placeholder is dropped, a placeholder without an argument
// stays.
//
// Works in a buffer that the thread keeps, so building a line allocates nothing once the buffer has
// grown. A converter that is made while another one of the thread is alive (an entity that traces
// while it is printed) takes a buffer of its own.
class FastmarkConverter {
 public:
  FastmarkConverter();
  ~FastmarkConverter();
  FastmarkConverter(const FastmarkConverter&) = delete;
  FastmarkConverter& operator=(const FastmarkConverter&) = delete;

  void stream(std::string_view piece);

  void argument(std::string_view text);
  // Decimal for "%s", hexadecimal in lower case without prefix for "%x".
  void argument(U64 number);
  // As Velo::operator<< writes it; may be null.
  void argument(const Velo::PtrInterface* entity);
  // Closes the line.
  void argument(std::nullptr_t);

  // Valid until the converter goes.
  std::string_view text() const;

 private:
  struct Workspace;
  static Workspace* acquire();

  // Moves to the next placeholder; false if there is none.
  bool seek();
  void replace(std::string_view rendered);

  Workspace* const workspace_;
  std::size_t position_ = 0;  // what stands before it is done
};

}  // namespace Dualmark
