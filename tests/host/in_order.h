#pragma once
// For the accounts that random walks are held against: they iterate as the system does.

#include <algorithm>
#include <utility>
#include <vector>

namespace Fabrion::Test {

// A small map that is walked in the order of insertion, as the collections of the entities are.
template <class Key, class Value>
class InOrder {
 public:
  using key_type = Key;

  auto begin() { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }
  auto find(const Key& key) {
    return std::find_if(begin(), end(), [&](const auto& entry) { return entry.first == key; });
  }
  auto find(const Key& key) const {
    return std::find_if(begin(), end(), [&](const auto& entry) { return entry.first == key; });
  }
  bool contains(const Key& key) const { return find(key) != end(); }
  // The value at the key; `fresh` where there was none.
  Value& at(const Key& key, Value fresh) {
    const auto found = find(key);
    if (found != end()) return found->second;
    return entries_.emplace_back(key, std::move(fresh)).second;
  }
  bool empty() const { return entries_.empty(); }
  bool erase(const Key& key) {
    return std::erase_if(entries_, [&](const auto& entry) { return entry.first == key; }) != 0;
  }

 private:
  std::vector<std::pair<Key, Value>> entries_;
};

}  // namespace Fabrion::Test
