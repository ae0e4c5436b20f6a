#pragma once
// An event journal that is being written, one operation after the other, for `fabrion replay` to
// run again. JournalWriter.h words the lines.

#include <fstream>
#include <stdexcept>
#include <string>

#include "host/Operation.h"

namespace Fabrion::Host {

class JournalFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class JournalFile {
 public:
  // Makes the file, or empties it. Raises JournalFileError when it cannot be written.
  explicit JournalFile(const std::string& path);

  // To be called before the operation is run: the line is the system's when this returns, so if the
  // operation takes the process down, the journal is whole and ends in it. (A power failure may
  // still lose lines: nothing waits for the disk.) Raises JournalFileError when the line cannot be
  // written.
  void write(const Operation& operation);

 private:
  const std::string path_;
  std::ofstream lines_;
};

}  // namespace Fabrion::Host
