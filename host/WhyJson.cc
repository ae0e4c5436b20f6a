#include "host/WhyJson.h"

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

// Sorted by name.
using Json = nlohmann::json;

constexpr int version = 1;

const char* nameOf(EntryKind kind) {
  switch (kind) {
    case EntryKind::allowed:
      return "allowed";
    case EntryKind::native:
      return "native";
    case EntryKind::vni:
      return "vni";
    case EntryKind::carried:
      break;
  }
  return "carried";
}

const char* nameOf(CauseKind kind) {
  switch (kind) {
    case CauseKind::portRequest:
      return "portRequest";
    case CauseKind::hostnameRequest:
      return "hostnameRequest";
    case CauseKind::link:
      return "link";
    case CauseKind::remoteHost:
      return "remoteHost";
    case CauseKind::member:
      return "member";
    case CauseKind::port:
      return "port";
    case CauseKind::staticMap:
      return "staticMap";
    case CauseKind::leftOver:
      break;
  }
  return "leftOver";
}

const char* nameOf(ReasonKind kind) {
  switch (kind) {
    case ReasonKind::member:
      return "member";
    case ReasonKind::noHost:
      return "noHost";
    case ReasonKind::noLink:
      return "noLink";
    case ReasonKind::isSwitch:
      return "isSwitch";
    case ReasonKind::nativeAlone:
      return "nativeAlone";
    case ReasonKind::notAsked:
      return "notAsked";
    case ReasonKind::noMap:
      return "noMap";
    case ReasonKind::noVtep:
      return "noVtep";
    case ReasonKind::conflict:
      return "conflict";
    case ReasonKind::laterVtep:
      return "laterVtep";
    case ReasonKind::unknown:
      break;
  }
  return "unknown";
}

void put(Json& json, const char* name, const std::string& text) {
  if (!text.empty()) json[name] = text;
}

void put(Json& json, const char* name, const Origin& origin) {
  if (origin.file) json[name] = {{"file", *origin.file}, {"line", origin.line}};
}

Json jsonOf(const LinkEnd& end) { return Json::array({end.node, end.port}); }

Json jsonOf(const std::vector<Cause>& causes) {
  Json list = Json::array();
  for (const Cause& cause : causes) {
    Json json{{"kind", nameOf(cause.kind)}};
    put(json, "name", cause.name);
    put(json, "client", cause.client);
    put(json, "hostname", cause.hostname);
    put(json, "port", cause.port);
    if (cause.kind == CauseKind::link) json["farEnd"] = jsonOf(cause.farEnd);
    if (cause.kind == CauseKind::staticMap) {
      json["vlans"] = toString(cause.vlans);
      Json& vnis = json["vnis"] = Json::array();
      for (U32 vni = cause.vnis.low; vni <= cause.vnis.high; ++vni) vnis.push_back(vni);
    }
    put(json, "origin", cause.origin);
    if (!cause.because.empty()) json["because"] = jsonOf(cause.because);
    list.push_back(std::move(json));
  }
  return list;
}

Json jsonOf(const WhyEntry& entry) {
  Json json{{"kind", nameOf(entry.kind)},
            {"vlans", listOf(entry.vlans)},
            {"because", jsonOf(entry.because)}};
  if (entry.kind != EntryKind::vni) return json;
  json["vtep"] = entry.vtep;
  json["vnis"] = entry.vnis;
  put(json, "vtepOrigin", entry.vtepOrigin);
  return json;
}

Json jsonOf(const Reason& reason) {
  Json json{{"kind", nameOf(reason.kind)}};
  put(json, "name", reason.name);
  put(json, "hostname", reason.hostname);
  put(json, "origin", reason.origin);
  if (reason.kind == ReasonKind::noLink) {
    Json& ends = json["farEnds"] = Json::array();
    for (const LinkEnd& end : reason.farEnds) ends.push_back(jsonOf(end));
  }
  if (!reason.asks.empty()) json["asks"] = jsonOf(reason.asks);
  for (const Claim& claim : reason.claims) {
    json["claims"].push_back({{"number", claim.number}, {"because", jsonOf(claim.because)}});
  }
  return json;
}

Json jsonOf(const Absence& absence) {
  Json json{{"kind", nameOf(absence.kind)}, {"vlans", listOf(absence.vlans)}};
  put(json, "vtep", absence.vtep);
  Json& reasons = json["reasons"] = Json::array();
  for (const Reason& reason : absence.reasons) reasons.push_back(jsonOf(reason));
  return json;
}

Json jsonOf(const PortWhy& port) {
  Json json{{"name", port.name}, {"entries", Json::array()}, {"absences", Json::array()}};
  put(json, "memberOf", port.memberOf);
  put(json, "groupOrigin", port.groupOrigin);
  for (const WhyEntry& entry : port.entries) json["entries"].push_back(jsonOf(entry));
  for (const Absence& absence : port.absences) json["absences"].push_back(jsonOf(absence));
  return json;
}

}  // namespace

nlohmann::json jsonOf(const Explanation& explanation) {
  Json json{{"fabrion", version},
            {"switch", explanation.switchName},
            {"ports", Json::array()},
            {"carried", Json::array()}};
  for (const PortWhy& port : explanation.ports) json["ports"].push_back(jsonOf(port));
  for (const WhyEntry& entry : explanation.carried) json["carried"].push_back(jsonOf(entry));
  return json;
}

}  // namespace Fabrion::Host
