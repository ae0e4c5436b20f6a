#pragma once
// Edits of a fabric as people make them, drawn at random: each edit is one change, or a few, that
// leaves a document without a mistake.

#include <string>
#include <vector>

#include "host/Fabric.h"
#include "host/SplitMix64.h"

namespace Fabrion::Test {

// Two hundred edits, the same ones for every test that goes through so many: so many from each of
// these seeds.
inline constexpr U64 seedsOfEdits[] = {1, 2};
inline constexpr int editsOfSeed = 100;

class RandomEdits {
 public:
  // Starts from a generated fabric.
  explicit RandomEdits(U64 seed);

  const Host::Fabric& fabric() const { return fabric_; }
  // Its document, as one text.
  std::string document() const;

  // Edits the fabric, into another one than it was.
  void edit();

 private:
  using Change = void (RandomEdits::*)(Host::Fabric&);

  void vlans(Host::Fabric& fabric);
  void vlansOfPort(Host::Fabric& fabric);
  void vnis(Host::Fabric& fabric);
  void domains(Host::Fabric& fabric);
  void nativeVlan(Host::Fabric& fabric);
  void remoteHost(Host::Fabric& fabric);
  void hostnameRequest(Host::Fabric& fabric);
  void portRequest(Host::Fabric& fabric);
  void link(Host::Fabric& fabric);
  void cable(Host::Fabric& fabric);
  void host(Host::Fabric& fabric);
  void hostname(Host::Fabric& fabric);
  void switchItself(Host::Fabric& fabric);
  void group(Host::Fabric& fabric);
  void member(Host::Fabric& fabric);
  void vtep(Host::Fabric& fabric);
  void staticMap(Host::Fabric& fabric);

  bool chance(U32 percent) { return random_.below(100) < percent; }
  template <class T>
  T& any(std::vector<T>& from) {
    return from[random_.below(static_cast<U32>(from.size()))];
  }
  template <class T>
  void dropAny(std::vector<T>& from) {
    from.erase(from.begin() + random_.below(static_cast<U32>(from.size())));
  }
  Host::LinkEnd anyEnd(std::vector<Host::Node>& nodes);
  template <class Request>
  void vlansOf(Request& request);
  template <class Request>
  void vnisOf(Request& request);

  Host::SplitMix64 random_;
  Host::Fabric fabric_;
  Host::Fabric first_;
};

}  // namespace Fabrion::Test
