#include "host/RunFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/OutputsJson.h"

namespace Fabrion::Host {

namespace {

namespace fs = std::filesystem;

// Where a file is, or would be made: the way to a new one may lead over links. Empty if nobody can
// tell.
fs::path placeOf(const std::string& path) {
  std::error_code error;
  return fs::weakly_canonical(fs::absolute(path, error), error);
}

}  // namespace

bool isThere(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

bool isOneOf(const std::string& path, const std::vector<std::string>& files) {
  const fs::path place = placeOf(path);
  return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
    std::error_code error;
    return fs::equivalent(path, file, error) || (!place.empty() && place == placeOf(file));
  });
}

void keepDocuments(const std::string& path, const char* what,
                   const std::vector<std::string>& documents) {
  if (isOneOf(path, documents)) {
    throw FileError(path + " is a document; " + what + " would overwrite it");
  }
}

void keepApart(const std::string& journal, const std::string& outputs) {
  std::error_code error;
  if (fs::exists(journal, error) && !fs::is_regular_file(journal, error)) return;
  if (isOneOf(journal, {outputs})) {
    throw FileError(outputs + " is to hold the outputs and the journal; expected a file for each");
  }
}

void writeOutputs(const std::string& path, const FabricOutputs& outputs) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file << jsonOf(outputs).dump(2) + '\n' << std::flush;
  if (!file) throw FileError(path + ": " + std::strerror(errno));
}

}  // namespace Fabrion::Host
