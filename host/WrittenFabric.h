#pragma once
// A fabric as it stands in its documents, each name with its place, before names are held against
// each other. `FabricParser.h` fills it, `NameChecks.h` and `VniChecks.h` judge it, and
// `PlainFabric.h` takes the columns off. It may be incomplete where a mistake has been reported;
// the `whole` flags say where.

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/OperationValues.h"
#include "platform/Velo/Types.h"

namespace Fabrion::Host {

struct Place {
  std::size_t document = 0;  // index into the documents given
  U32 line = 0;
  U32 column = 0;
  friend auto operator<=>(const Place&, const Place&) = default;
};

struct Word {
  std::string text;
  Place place;
};

struct WrittenRange {
  NumberRange range;
  Place place;
};

struct WrittenDomain {
  DomainName name;
  Place place;
};

struct WrittenGroup {
  Word name;
  std::vector<Word> members;
};

struct WrittenNode {
  Word name;
  Word hostname;
  std::vector<Word> ports;  // ranges written out; the names of one range share its place
  std::vector<WrittenGroup> groups;
  std::vector<Word> vteps = {};
  // False when some of the ports could not be read. A port that is not listed then is no mistake:
  // one mistake shall not be reported at every place that it spoils.
  bool whole = true;
};

struct WrittenEnd {
  Word node;
  Word port;
};

// An end that could not be read is absent; the other one is checked all the same.
struct WrittenLink {
  Place place;
  std::optional<WrittenEnd> a;
  std::optional<WrittenEnd> b;
};

// Some VLANs of a request and what each of them gets.
struct WrittenVnis {
  WrittenRange vlans;
  std::vector<WrittenRange> vnis;  // each as long as `vlans`
};
struct WrittenDomains {
  Place place;
  std::optional<std::vector<WrittenRange>> vlans;  // as those of a request; none for all of them
  std::vector<WrittenDomain> domains;
};

// Without a mistake in it: a client, and either a hostname, or both a switch and a port.
struct WrittenRequest {
  Place place;
  std::optional<Word> client;
  std::optional<Word> hostname;
  std::optional<Word> switchName;
  std::optional<Word> port;
  std::vector<WrittenRange> vlans;  // rising, no two hold the same VLAN
  // The same by the lines that ask for them: lines rise, and the ranges of one line as above.
  std::vector<WrittenRange> vlansByLine;
  bool allVlans = true;  // false when some of the VLANs could not be read
  std::optional<U32> nativeVlan;
  Place nativePlace;
  std::vector<Word> remoteHosts;
  std::vector<WrittenVnis> vnis;
  std::vector<WrittenDomains> domains;
};

struct WrittenStaticRange {
  WrittenRange vlans;
  WrittenRange vnis;  // not shorter
};
struct WrittenStaticMap {
  WrittenDomain domain;
  std::vector<WrittenStaticRange> ranges;
};

struct WrittenFabric {
  std::vector<WrittenNode> switches;
  std::vector<WrittenNode> hosts;
  std::vector<WrittenLink> links;
  std::vector<WrittenRequest> requests;
  std::vector<WrittenStaticMap> staticMaps;
  bool whole = true;      // false when a document, or a node's name, could not be read at all
  std::size_t names = 0;  // how much of `Limits` is spent
  std::size_t vlans = 0;
  std::size_t vnis = 0;
  std::size_t domains = 0;
  std::size_t staticRanges = 0;
};

}  // namespace Fabrion::Host
