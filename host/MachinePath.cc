#include "host/MachinePath.h"

#include "host/BadJournal.h"

namespace Fabrion::Host {

std::string escapedName(std::string_view name) {
  std::string escaped;
  for (const char c : name) {
    if (c == '~') {
      escaped += "~0";
    } else if (c == '/') {
      escaped += "~1";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::vector<std::string> namesOfPath(std::string_view path) {
  std::vector<std::string> names(1);
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '/') {
      names.emplace_back();
    } else if (path[i] != '~') {
      names.back() += path[i];
    } else {
      const char kind = ++i < path.size() ? path[i] : '\0';
      if (kind != '0' && kind != '1') {
        throw BadJournal("the machine " + inQuotes(std::string(path)) +
                         " has a ~ that is followed by neither 0 nor 1");
      }
      names.back() += kind == '0' ? '~' : '/';
    }
  }
  return names;
}

}  // namespace Fabrion::Host
