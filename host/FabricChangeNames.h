#pragma once
// The names of operations for what stands in a fabric, and lists of which each value is looked for
// in another: shared by the two halves of `FabricChange`.

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "host/Fabric.h"
#include "host/OperationValues.h"

namespace Fabrion::Host {

inline PortRequestName nameOf(const PortRequest& request) {
  return {request.client, request.switchName, request.port};
}
inline HostRequestName nameOf(const HostnameRequest& request) {
  return {request.client, request.hostname};
}
inline PortName nameOf(const LinkEnd& end) { return {end.node, end.port}; }

template <class T>
bool holds(const std::vector<T>& list, const T& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

// The values of `list` that `other` lacks. Both rise.
template <class T>
std::vector<T> missingIn(const std::vector<T>& other, const std::vector<T>& list) {
  std::vector<T> missing;
  std::set_difference(list.begin(), list.end(), other.begin(), other.end(),
                      std::back_inserter(missing));
  return missing;
}

// The same for names, in any order; that of `list` stays.
inline std::vector<std::string> namesMissingIn(const std::vector<std::string>& other,
                                               const std::vector<std::string>& list) {
  const std::unordered_set<std::string_view> there(other.begin(), other.end());
  std::vector<std::string> missing;
  for (const std::string& name : list) {
    if (!there.contains(name)) missing.push_back(name);
  }
  return missing;
}

}  // namespace Fabrion::Host
