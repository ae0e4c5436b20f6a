#include "host/FabricDocument.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <map>
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

// Reads the files of a fabric one after another.
class FileReading {
 public:
  explicit FileReading(Mistakes& mistakes) : mistakes_(mistakes) {}

  // The text of a file, or a mistake of the file as a whole. Read to its end and not by its size,
  // so that a pipe does as well.
  std::optional<std::string> read(const std::string& name, std::size_t document) {
    const Place whole{document, 0, 0};
    errno = 0;
    const std::unique_ptr<std::FILE, Close> file(std::fopen(name.c_str(), "rb"));
    if (!file) {
      mistakes_.add(whole, "cannot be opened: " + lastFault());
      return std::nullopt;
    }
    // All that stands in it would stand twice: one mistake, not as many.
    struct stat is {};
    if (fstat(fileno(file.get()), &is) == 0) {
      const auto [first, isNew] = names_.try_emplace({is.st_dev, is.st_ino}, name);
      if (!isNew) {
        mistakes_.add(whole, "given twice" +
                                 (first->second == name ? "" : ", first as " + first->second) +
                                 "; expected each file once");
        return std::nullopt;
      }
    }
    std::string text;
    char buffer[1 << 14];
    while (const std::size_t more = std::fread(buffer, 1, sizeof buffer, file.get())) {
      text.append(buffer, more);
      if (text.size() > Limits::fileBytes) {
        mistakes_.add(whole, tooLong());
        return std::nullopt;
      }
    }
    if (std::ferror(file.get()) == 0) return text;
    mistakes_.add(whole, "cannot be read: " + lastFault());
    return std::nullopt;
  }

 private:
  Mistakes& mistakes_;
  // By device and number, for a file has many paths.
  std::map<std::pair<dev_t, ino_t>, std::string> names_;
};

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
  FileReading reading(mistakes);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto text = reading.read(files[i], i);
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
