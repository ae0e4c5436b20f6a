#pragma once
// How the tests of the element machines read the model: a collection of VLANs as one line, names in
// their order, and what a generic call on a machine gives.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "entities/Fabrion.h"
#include "platform/Velo/Type.h"
#include "tests/support/TraceCapture.h"

// A namespace of its own: other folders have their own words for the same.
namespace Fabrion::Test::Elements {

using Lines = std::vector<std::string>;

inline const Client::ClientDomain red("acme", "red");
inline const Client::ClientDomain blue("acme", "blue");

template <class Map>
Lines names(const Map& map) {
  Lines result;
  for (const auto& name : map.keys()) result.push_back(std::string(name.view()));
  return result;
}

template <class Entry>
std::string held(const Entry& entry) {
  std::string result = "[";
  for (const auto& name : names(entry->referrer())) {
    result += (result.size() > 1 ? " " : "") + name;
  }
  return result + "]";
}

// "10[srv1] 5010[srv1] acme/red[srv1]; 20[]": each VLAN with its VNIs and domains, and who holds
// what.
template <class Holder>
std::string vlans(const Velo::Ptr<Holder>& holder) {
  std::ostringstream out;
  for (const auto& vlan : holder->vlan().values()) {
    if (out.tellp() > 0) out << "; ";
    out << vlan->vlanId() << held(vlan);
    for (const auto& vni : vlan->mappedVni().values()) out << ' ' << vni->vni() << held(vni);
    for (const auto& domain : vlan->domain().values()) {
      out << ' ' << domain->domain().name() << held(domain);
    }
  }
  return out.str();
}

template <class Holder>
std::string nativeVlans(const Velo::Ptr<Holder>& holder) {
  std::ostringstream out;
  for (const auto& vlan : holder->nativeVlan().values()) {
    if (out.tellp() > 0) out << "; ";
    out << vlan->vlanId() << held(vlan);
  }
  return out.str();
}

// The names of a type's attributes, in declared order; a handler's parameters in brackets.
inline Lines attributesOf(const Velo::TypeRecord& type) {
  Lines result;
  for (const auto& attribute : type.attributes) {
    std::string line = attribute.name;
    for (U32 i = 0; i < attribute.parameterCount; ++i) {
      line += std::string("(") + attribute.parameters[i].type + " " + attribute.parameters[i].name +
              ")";
    }
    result.push_back(line);
  }
  return result;
}

// Number of the named attribute of the object's type.
template <class T>
U32 attribute(const Velo::Ptr<T>& object, const char* name) {
  return Velo::attributeIndex(*object->fwkType().record(), name);
}

}  // namespace Fabrion::Test::Elements
