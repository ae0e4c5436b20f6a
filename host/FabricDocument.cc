#include "host/FabricDocument.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "host/FabricParser.h"
#include "host/Limits.h"
#include "host/Mistakes.h"
#include "host/NameChecks.h"
#include "host/PlainFabric.h"
#include "host/VniChecks.h"
#include "host/WrittenFabric.h"

namespace Fabrion::Host {

namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string lastFault() { return std::generic_category().message(errno); }

std::string tooLong() {
  return "longer than " + std::to_string(Limits::fileBytes) +
         " bytes, the most that a document may be";
}

// The text of a file, or a mistake of the file as a whole. Read to its end and not by its size, so
// that a pipe does as well.
std::optional<std::string> readFile(const std::string& name, std::size_t document,
                                    Mistakes& mistakes) {
  const Place whole{document, 0, 0};
  errno = 0;
  const std::unique_ptr<std::FILE, Close> file(std::fopen(name.c_str(), "rb"));
  if (!file) {
    mistakes.add(whole, "cannot be opened: " + lastFault());
    return std::nullopt;
  }
  std::string text;
  char buffer[1 << 14];
  while (const std::size_t more = std::fread(buffer, 1, sizeof buffer, file.get())) {
    text.append(buffer, more);
    if (text.size() > Limits::fileBytes) {
      mistakes.add(whole, tooLong());
      return std::nullopt;
    }
  }
  if (std::ferror(file.get()) == 0) return text;
  mistakes.add(whole, "cannot be read: " + lastFault());
  return std::nullopt;
}

FabricOrProblems judged(const WrittenFabric& written, Mistakes& mistakes,
                        const std::vector<std::string>& files) {
  Mistakes warnings(files, "warning: more than " + std::to_string(Limits::problems) + " warnings");
  checkNames(written, mistakes);
  checkVnis(written, mistakes, warnings);
  if (!mistakes.none()) return mistakes.sorted();
  FabricOrProblems fabric = plainFabric(written, files);
  fabric.warnings = warnings.sorted();
  return fabric;
}

}  // namespace

std::string toString(const Problem& problem) {
  std::string text = problem.file + ":";
  if (problem.line != 0) {
    text += std::to_string(problem.line) + ":" + std::to_string(problem.column) + ":";
  }
  return text + " " + problem.text;
}

FabricOrProblems parseFabric(const std::vector<DocumentText>& documents) {
  std::vector<std::string> files;
  for (const DocumentText& document : documents) files.push_back(document.file);
  Mistakes mistakes(files);
  WrittenFabric written;
  for (std::size_t i = 0; i < documents.size(); ++i) {
    if (documents[i].text.size() > Limits::fileBytes) {
      written.whole = false;
      mistakes.add({i, 0, 0}, tooLong());
      continue;
    }
    parseDocument(i, documents[i].text, written, mistakes);
  }
  return judged(written, mistakes, files);
}

FabricOrProblems readFabric(const std::vector<std::string>& files,
                            const std::function<void(std::size_t, std::size_t)>& after) {
  Mistakes mistakes(files);
  WrittenFabric written;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto text = readFile(files[i], i, mistakes);
    if (text) {
      parseDocument(i, *text, written, mistakes);
    } else {
      written.whole = false;
    }
    if (after) after(i + 1, files.size());
  }
  return judged(written, mistakes, files);
}

}  // namespace Fabrion::Host
