#pragma once
// Files that commands write beside their report, kept from overwriting the documents that they read
// and each other.

#include <stdexcept>
#include <string>
#include <vector>

#include "host/Outputs.h"

namespace Fabrion::Host {

class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Whether something has the name already, be it a link that leads nowhere.
bool isThere(const std::string& path);

// Whether the path leads to one of the files, by whatever name. None need be there.
bool isOneOf(const std::string& path, const std::vector<std::string>& files);

// Raises FileError for a path that leads to one of the documents; `what` would overwrite it.
void keepDocuments(const std::string& path, const char* what,
                   const std::vector<std::string>& documents);

// Raises FileError where both paths lead to one file, which the outputs would empty under the
// journal. A device may take both.
void keepApart(const std::string& journal, const std::string& outputs);

// As JSON (OutputsJson.h). Raises FileError when the file cannot be written.
void writeOutputs(const std::string& path, const FabricOutputs& outputs);

}  // namespace Fabrion::Host
