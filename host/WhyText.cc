#include "host/WhyText.h"

#include <algorithm>
#include <cstddef>

#include "host/FabricText.h"

namespace Fabrion::Host {

namespace {

// Enough to find a host by; a host on a shared medium may have very many.
constexpr std::size_t farEndsShown = 4;

std::string at(const Origin& origin) {
  const std::string text = toString(origin);
  return text.empty() ? text : " (" + text + ")";
}

std::string counted(const char* what, std::size_t number, const std::string& list) {
  return what + std::string(number == 1 ? " " : "s ") + list;
}

std::string counted(const char* what, NumberRange range) {
  return counted(what, lengthOf(range), toString(range));
}

std::string vlansText(const Vlans& vlans) { return counted("VLAN", vlans.size(), listOf(vlans)); }

std::string toString(const LinkEnd& end) { return end.node + ":" + end.port; }

std::string named(const std::string& name, const std::string& hostname) {
  return hostname.empty() || hostname == name ? name : name + " (" + hostname + ")";
}

// Such as "10100-10109,7", in the order of the VLANs that have them.
std::string vnisText(const std::vector<U32>& vnis) {
  std::string list;
  for (std::size_t i = 0; i < vnis.size();) {
    std::size_t end = i + 1;
    while (end < vnis.size() && vnis[end] == vnis[end - 1] + 1) ++end;
    list += (list.empty() ? "" : ",") + std::to_string(vnis[i]);
    if (end - i > 1) list += "-" + std::to_string(vnis[end - 1]);
    i = end;
  }
  return counted("VNI", vnis.size(), list);
}

// What clients do, as in "asks for VLAN 10": the same words along one chain.
struct Asking {
  std::string verb;
  std::string vlans;
};

class Writing {
 public:
  explicit Writing(const Explanation& explanation) : explanation_(explanation) {}

  std::string write() {
    std::string untouched;
    for (const PortWhy& port : explanation_.ports) {
      if (port.memberOf.empty() && port.entries.empty() && port.absences.empty()) {
        untouched += (untouched.empty() ? "" : ", ") + port.name;
      } else {
        writePort(port);
      }
    }
    if (!untouched.empty()) {
      line(0, explanation_.switchName + " " + untouched + ": nothing is asked for");
    }
    for (const WhyEntry& entry : explanation_.carried) writeCarried(entry);
    return std::move(text_);
  }

 private:
  void line(std::size_t depth, const std::string& words) {
    text_ += std::string(2 * depth, ' ') + words + '\n';
  }

  void writePort(const PortWhy& port) {
    const std::string subject = explanation_.switchName + " " + port.name + ": ";
    if (!port.memberOf.empty() && port.absences.empty()) {
      line(0, subject + "a member of " + port.memberOf + at(port.groupOrigin) +
                  ", which has what is asked for on it");
    }
    for (const WhyEntry& entry : port.entries) writeEntry(subject, entry);
    for (const Absence& absence : port.absences) writeAbsence(subject, port.name, absence);
  }

  void writeEntry(const std::string& subject, const WhyEntry& entry) {
    const std::string vlans = vlansText(entry.vlans);
    const bool several = entry.vlans.size() > 1;
    switch (entry.kind) {
      case EntryKind::native:
        line(0, subject + vlans + " is native");
        writeCauses(1, entry.because, {"asks for native " + vlans, vlans});
        return;
      case EntryKind::vni: {
        const std::string vnis = vnisText(entry.vnis);
        line(0, subject + vlans + (several ? " have " : " has ") + vnis + " on VTEP " + entry.vtep +
                    at(entry.vtepOrigin));
        writeCauses(1, entry.because, {"asks for " + vnis + " for " + vlans, vlans});
        return;
      }
      default:
        line(0, subject + vlans + (several ? " are" : " is") + " allowed");
        writeCauses(1, entry.because, {"asks for " + vlans, vlans});
        return;
    }
  }

  // Why the ports have them is told with the ports.
  void writeCarried(const WhyEntry& entry) {
    const std::string vlans = vlansText(entry.vlans);
    line(0, explanation_.switchName + ": " + vlans + (entry.vlans.size() > 1 ? " are" : " is") +
                " carried");
    std::string ports;
    std::size_t number = 0;
    std::vector<Cause> others;
    for (const Cause& cause : entry.because) {
      if (cause.kind != CauseKind::port) {
        others.push_back(cause);
        continue;
      }
      ports += (ports.empty() ? "" : ", ") + cause.name;
      ++number;
    }
    if (number > 0) line(1, "because of " + counted("port", number, ports));
    writeCauses(1, others, {"asks for " + vlans, vlans});
  }

  void writeCauses(std::size_t depth, const std::vector<Cause>& causes, const Asking& asking,
                   const char* first = "because ") {
    for (const Cause& cause : causes) {
      line(depth, first + words(cause, asking));
      const bool toDomain = cause.kind == CauseKind::staticMap;
      const Asking inner =
          toDomain ? Asking{"puts " + asking.vlans + " into domain " + cause.name, asking.vlans}
                   : asking;
      writeCauses(depth + 1, cause.because, inner);
    }
  }

  std::string words(const Cause& cause, const Asking& asking) const {
    const std::string where = at(cause.origin);
    switch (cause.kind) {
      case CauseKind::portRequest:
        return cause.client + " " + asking.verb + " on port " + cause.name + where;
      case CauseKind::hostnameRequest:
        return cause.client + " " + asking.verb + " on " + cause.name + where;
      case CauseKind::link:
        return named(cause.name, cause.hostname) + " is behind " + cause.port + ": link " +
               toString({explanation_.switchName, cause.port}) + " - " + toString(cause.farEnd) +
               where;
      case CauseKind::remoteHost:
        return cause.client + " has configured " + cause.name + " behind " + cause.port + where;
      case CauseKind::member:
        return cause.port + " is a member of " + cause.name + where;
      case CauseKind::port:
        return "of port " + cause.name;
      case CauseKind::staticMap:
        return "the static map of " + cause.name + " gives " + counted("VLAN", cause.vlans) +
               " the " + counted("VNI", cause.vnis) + where;
      case CauseKind::leftOver:
        break;
    }
    if (cause.name.empty()) return "it was left over: nothing asks for it any more";
    return "it was left over: " + cause.name + " keeps it, and no document says why";
  }

  void writeAbsence(const std::string& subject, const std::string& port, const Absence& absence) {
    const std::string vlans = vlansText(absence.vlans);
    const bool several = absence.vlans.size() > 1;
    Asking asking{"asks for " + vlans, vlans};
    switch (absence.kind) {
      case EntryKind::native:
        line(0, subject + "no native VLAN");
        asking.verb = "asks for native " + vlans;
        break;
      case EntryKind::vni:
        line(0, subject + vlans + (several ? " have" : " has") + " no VNI" +
                    (absence.vtep.empty() ? "" : " on VTEP " + absence.vtep));
        asking.verb = "asks for a VNI for " + vlans;
        break;
      default:
        line(0, subject + vlans + (several ? " are" : " is") + " not allowed");
        break;
    }
    for (const Reason& reason : absence.reasons) writeReason(port, absence, reason, asking);
  }

  void writeReason(const std::string& port, const Absence& absence, const Reason& reason,
                   Asking asking) {
    line(1, "because " + words(port, absence, reason));
    if (reason.kind == ReasonKind::nativeAlone) asking.verb = "asks for native " + asking.vlans;
    if (reason.kind == ReasonKind::noMap) {
      asking.verb = "puts " + asking.vlans + " into domain " + reason.name;
    }
    writeCauses(2, reason.asks, asking, "though ");
    for (const Claim& claim : reason.claims) {
      const std::string number = std::to_string(claim.number);
      const bool native = absence.kind == EntryKind::native;
      line(2, (native ? "VLAN " : "VNI ") + number);
      writeCauses(3, claim.because,
                  {native ? "asks for native VLAN " + number
                          : "asks for VNI " + number + " for " + asking.vlans,
                   asking.vlans});
    }
  }

  std::string words(const std::string& port, const Absence& absence, const Reason& reason) const {
    const std::string where = at(reason.origin);
    const std::string it = absence.vlans.size() > 1 ? "them" : "it";
    switch (reason.kind) {
      case ReasonKind::member:
        return port + " is a member of " + reason.name + where +
               ", which has what is asked for on it";
      case ReasonKind::noHost:
        return "no host has the hostname " + reason.name + remotely(port, reason);
      case ReasonKind::noLink:
        return "no link joins " + port + " to " + named(reason.name, reason.hostname) +
               linkedTo(reason) + remotely(port, reason);
      case ReasonKind::isSwitch:
        return reason.name + " is a switch" + where + "; ports get what is asked for on hosts";
      case ReasonKind::nativeAlone:
        return it + (absence.vlans.size() > 1 ? " are" : " is") + " asked for as native alone";
      case ReasonKind::notAsked:
        return absence.kind == EntryKind::vni ? "no request gives " + it + " a VNI or a domain"
                                              : "no request asks for " + it + " here";
      case ReasonKind::noMap:
        return where.empty() ? "domain " + reason.name + " has no static map"
                             : "the static map of " + reason.name + where + " has no VNI for " + it;
      case ReasonKind::noVtep:
        return explanation_.switchName + " has no VTEP";
      case ReasonKind::conflict:
        return std::to_string(reason.claims.size()) +
               (absence.kind == EntryKind::native
                    ? " native VLANs are asked for, and a port has one"
                    : " VNIs are asked for, and a VLAN has one");
      case ReasonKind::laterVtep:
        return "changes reach the first VTEP, " + reason.name + ", alone";
      case ReasonKind::unknown:
        break;
    }
    return "the machines have not brought " + it + " here; the documents ask for " + it;
  }

  static std::string linkedTo(const Reason& reason) {
    if (reason.farEnds.empty()) return ", which has no link";
    std::string text;
    const std::size_t shown = std::min(reason.farEnds.size(), farEndsShown);
    for (std::size_t i = 0; i < shown; ++i) {
      text += (i == 0 ? ", which is linked to " : ", ") + toString(reason.farEnds[i]);
    }
    const std::size_t more = reason.farEnds.size() - shown;
    return more == 0 ? text : text + " and " + std::to_string(more) + " more";
  }

  static std::string remotely(const std::string& port, const Reason& reason) {
    if (!reason.remote) return {};
    return "; " + reason.hostname + " behind " + port + " needs a host of that name and hostname";
  }

  const Explanation& explanation_;
  std::string text_;
};

}  // namespace

std::string textOf(const Explanation& explanation) { return Writing(explanation).write(); }

}  // namespace Fabrion::Host
