#include "host/JournalFile.h"

#include <cerrno>
#include <cstring>

#include "host/JournalWriter.h"

namespace Fabrion::Host {

JournalFile::JournalFile(const std::string& path)
    : path_(path), lines_(path, std::ios::binary | std::ios::trunc) {
  if (!lines_) throw JournalFileError(path_ + ": " + std::strerror(errno));
}

void JournalFile::write(const Operation& operation) {
  lines_ << lineOf(operation) + '\n' << std::flush;
  if (!lines_) throw JournalFileError(path_ + ": " + std::strerror(errno));
}

}  // namespace Fabrion::Host
