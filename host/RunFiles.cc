#include "host/RunFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/OutputsJson.h"

namespace Fabrion::Host {

bool isOneOf(const std::string& path, const std::vector<std::string>& files) {
  return std::any_of(files.begin(), files.end(), [&path](const std::string& file) {
    std::error_code error;
    return std::filesystem::equivalent(path, file, error);
  });
}

void keepDocuments(const std::string& path, const char* what,
                   const std::vector<std::string>& documents) {
  if (isOneOf(path, documents)) {
    throw FileError(path + " is a document; " + what + " would overwrite it");
  }
}

void keepApart(const std::string& journal, const std::string& outputs) {
  namespace fs = std::filesystem;
  std::error_code error;
  const bool isThere = fs::exists(journal, error);
  if (isThere && !fs::is_regular_file(journal, error)) return;
  // Neither need be there yet; the way to a new one may lead over links all the same.
  const auto place = [&error](const std::string& path) {
    return fs::weakly_canonical(fs::absolute(path, error), error);
  };
  const fs::path to = place(journal);
  if (isThere ? isOneOf(journal, {outputs}) : !to.empty() && to == place(outputs)) {
    throw FileError(outputs + " is to hold the outputs and the journal; expected a file for each");
  }
}

void writeOutputs(const std::string& path, const FabricOutputs& outputs) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file << jsonOf(outputs).dump(2) + '\n' << std::flush;
  if (!file) throw FileError(path + ": " + std::strerror(errno));
}

}  // namespace Fabrion::Host
