#pragma once
// The operations on a controller, as values: everything that the outside does to the system is one
// of them.
//
// JournalReader makes them from the lines of an event journal and JournalWriter writes them as
// such, a fabric document is turned into them, and Controller runs them. They name things and hold
// nothing: whether a name resolves, the controller finds out.
//
// Each operation states its members once, in `members`, in the order in which a journal writes
// them; `required` and `optional` tell whether a journal may leave one out. An optional list that
// is empty counts as left out.

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "host/OperationValues.h"

namespace Fabrion::Host {

namespace Op {

// The parts of a declaration that all operations share.
#define FABRION_OPERATION(Type, opName)                       \
  static constexpr std::string_view op = opName;              \
  friend bool operator==(const Type&, const Type&) = default; \
  template <class Self, class Visitor>                        \
  static void members([[maybe_unused]] Self& self, [[maybe_unused]] Visitor& visit)

// Topology

struct HostNew {
  std::string host;
  std::string hostname;
  std::vector<std::string> ports = {};
  std::vector<GroupMembers> groups = {};
  FABRION_OPERATION(HostNew, "host.new") {
    visit.required("host", self.host);
    visit.required("hostname", self.hostname);
    visit.optional("ports", self.ports);
    visit.optional("groups", self.groups);
  }
};

struct HostEnter {
  std::string host;
  FABRION_OPERATION(HostEnter, "host.enter") { visit.required("host", self.host); }
};

struct HostLeave {
  std::string host;
  FABRION_OPERATION(HostLeave, "host.leave") { visit.required("host", self.host); }
};

struct PortAdd {
  std::string host;
  std::string port;
  FABRION_OPERATION(PortAdd, "port.add") {
    visit.required("host", self.host);
    visit.required("port", self.port);
  }
};

struct PortDel {
  std::string host;
  std::string port;
  FABRION_OPERATION(PortDel, "port.del") {
    visit.required("host", self.host);
    visit.required("port", self.port);
  }
};

struct GroupAdd {
  std::string host;
  std::string group;
  std::vector<std::string> ports;
  FABRION_OPERATION(GroupAdd, "group.add") {
    visit.required("host", self.host);
    visit.required("group", self.group);
    visit.required("members", self.ports);
  }
};

struct GroupDel {
  std::string host;
  std::string group;
  FABRION_OPERATION(GroupDel, "group.del") {
    visit.required("host", self.host);
    visit.required("group", self.group);
  }
};

struct MemberAdd {
  std::string host;
  std::string group;
  std::string port;
  FABRION_OPERATION(MemberAdd, "member.add") {
    visit.required("host", self.host);
    visit.required("group", self.group);
    visit.required("port", self.port);
  }
};

struct MemberDel {
  std::string host;
  std::string group;
  std::string port;
  FABRION_OPERATION(MemberDel, "member.del") {
    visit.required("host", self.host);
    visit.required("group", self.group);
    visit.required("port", self.port);
  }
};

struct EdgeAdd {
  PortName from;
  std::vector<PortName> to = {};
  FABRION_OPERATION(EdgeAdd, "edge.add") {
    visit.required("from", self.from);
    visit.optional("to", self.to);
  }
};

struct EdgeTo {
  PortName from;
  PortName to;
  bool value = true;
  FABRION_OPERATION(EdgeTo, "edge.to") {
    visit.required("from", self.from);
    visit.required("to", self.to);
    visit.required("value", self.value);
  }
};

struct EdgeToDel {
  PortName from;
  PortName to;
  FABRION_OPERATION(EdgeToDel, "edge.to.del") {
    visit.required("from", self.from);
    visit.required("to", self.to);
  }
};

struct EdgeDel {
  PortName from;
  FABRION_OPERATION(EdgeDel, "edge.del") { visit.required("from", self.from); }
};

struct HostnameAdd {
  std::string hostname;
  std::vector<std::string> hosts = {};
  FABRION_OPERATION(HostnameAdd, "hostname.add") {
    visit.required("hostname", self.hostname);
    visit.optional("hosts", self.hosts);
  }
};

struct HostnameDel {
  std::string hostname;
  FABRION_OPERATION(HostnameDel, "hostname.del") { visit.required("hostname", self.hostname); }
};

struct HostnameHostAdd {
  std::string hostname;
  std::string host;
  FABRION_OPERATION(HostnameHostAdd, "hostname.host.add") {
    visit.required("hostname", self.hostname);
    visit.required("host", self.host);
  }
};

struct HostnameHostDel {
  std::string hostname;
  std::string host;
  FABRION_OPERATION(HostnameHostDel, "hostname.host.del") {
    visit.required("hostname", self.hostname);
    visit.required("host", self.host);
  }
};

// Requests

struct RequestNew {
  RequestName request;
  FABRION_OPERATION(RequestNew, "request.new") { visit.required("request", self.request); }
};

struct RequestStart {
  RequestName request;
  // The machine's own name; the hostname where left out. A port request's machine has none.
  std::optional<std::string> name = {};
  FABRION_OPERATION(RequestStart, "request.start") {
    visit.required("request", self.request);
    visit.optional("name", self.name);
  }
};

struct RequestStop {
  RequestName request;
  FABRION_OPERATION(RequestStop, "request.stop") { visit.required("request", self.request); }
};

struct VlanAdd {
  RequestName request;
  U32 vlan = 0;
  FABRION_OPERATION(VlanAdd, "vlan.add") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
  }
};

struct VlanDel {
  RequestName request;
  U32 vlan = 0;
  FABRION_OPERATION(VlanDel, "vlan.del") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
  }
};

struct VniAdd {
  RequestName request;
  U32 vlan = 0;
  U32 vni = 0;
  FABRION_OPERATION(VniAdd, "vni.add") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
    visit.required("vni", self.vni);
  }
};

struct VniDel {
  RequestName request;
  U32 vlan = 0;
  U32 vni = 0;
  FABRION_OPERATION(VniDel, "vni.del") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
    visit.required("vni", self.vni);
  }
};

struct DomainAdd {
  RequestName request;
  U32 vlan = 0;
  DomainName domain;
  FABRION_OPERATION(DomainAdd, "domain.add") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
    visit.required("domain", self.domain);
  }
};

struct DomainDel {
  RequestName request;
  U32 vlan = 0;
  DomainName domain;
  FABRION_OPERATION(DomainDel, "domain.del") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
    visit.required("domain", self.domain);
  }
};

struct Native {
  PortRequestName request;
  // Nothing clears it; a journal writes null then.
  std::optional<U32> vlan;
  FABRION_OPERATION(Native, "native") {
    visit.required("request", self.request);
    visit.required("vlan", self.vlan);
  }
};

struct Remote {
  PortRequestName request;
  std::string hostname;
  bool value = true;
  FABRION_OPERATION(Remote, "remote") {
    visit.required("request", self.request);
    visit.required("hostname", self.hostname);
    visit.required("value", self.value);
  }
};

struct RemoteDel {
  PortRequestName request;
  std::string hostname;
  FABRION_OPERATION(RemoteDel, "remote.del") {
    visit.required("request", self.request);
    visit.required("hostname", self.hostname);
  }
};

// Static maps

struct MapAdd {
  DomainName domain;
  std::vector<RangeMapping> ranges;
  FABRION_OPERATION(MapAdd, "map.add") {
    visit.required("domain", self.domain);
    visit.required("ranges", self.ranges);
  }
};

struct MapDel {
  DomainName domain;
  FABRION_OPERATION(MapDel, "map.del") { visit.required("domain", self.domain); }
};

struct RangeSet {
  DomainName domain;
  NumberRange vlan;
  NumberRange vni;
  FABRION_OPERATION(RangeSet, "range.set") {
    visit.required("domain", self.domain);
    visit.required("vlan", self.vlan);
    visit.required("vni", self.vni);
  }
};

struct RangeDel {
  DomainName domain;
  NumberRange vlan;
  FABRION_OPERATION(RangeDel, "range.del") {
    visit.required("domain", self.domain);
    visit.required("vlan", self.vlan);
  }
};

// Switches

struct SwitchNew {
  std::string switchName;
  Outputs outputs = {};
  FABRION_OPERATION(SwitchNew, "switch.new") {
    visit.required("switch", self.switchName);
    visit.optional("outputs", self.outputs);
  }
};

struct SwitchStart {
  std::string switchName;
  FABRION_OPERATION(SwitchStart, "switch.start") { visit.required("switch", self.switchName); }
};

struct SwitchAnnounce {
  std::string switchName;
  FABRION_OPERATION(SwitchAnnounce, "switch.announce") {
    visit.required("switch", self.switchName);
  }
};

struct SwitchStop {
  std::string switchName;
  FABRION_OPERATION(SwitchStop, "switch.stop") { visit.required("switch", self.switchName); }
};

struct VtepAdd {
  std::string switchName;
  std::string vtep;
  FABRION_OPERATION(VtepAdd, "vtep.add") {
    visit.required("switch", self.switchName);
    visit.required("vtep", self.vtep);
  }
};

struct VtepDel {
  std::string switchName;
  std::string vtep;
  FABRION_OPERATION(VtepDel, "vtep.del") {
    visit.required("switch", self.switchName);
    visit.required("vtep", self.vtep);
  }
};

struct Mount {
  std::string switchName;
  MountFlag flag = MountFlag::topology;
  bool value = true;
  FABRION_OPERATION(Mount, "mount") {
    visit.required("switch", self.switchName);
    visit.required("flag", self.flag);
    visit.required("value", self.value);
  }
};

struct MountUpdate {
  std::string switchName;
  FABRION_OPERATION(MountUpdate, "mount.update") { visit.required("switch", self.switchName); }
};

// Controller

struct TopologyStart {
  FABRION_OPERATION(TopologyStart, "topology.start") {}
};

struct TopologyStop {
  FABRION_OPERATION(TopologyStop, "topology.stop") {}
};

struct ElementHold {
  std::string element;
  std::string referrer;
  FABRION_OPERATION(ElementHold, "element.hold") {
    visit.required("element", self.element);
    visit.required("referrer", self.referrer);
  }
};

struct ElementRelease {
  std::string element;
  std::string referrer;
  FABRION_OPERATION(ElementRelease, "element.release") {
    visit.required("element", self.element);
    visit.required("referrer", self.referrer);
  }
};

struct Invoke {
  // Path of the machine, such as "networkElementSm/leaf1/portGroupSm/po1"; see MachinePath.h.
  std::string machine;
  std::string handler;
  HandlerKey key = {};
  FABRION_OPERATION(Invoke, "invoke") {
    visit.required("machine", self.machine);
    visit.required("handler", self.handler);
    visit.optional("key", self.key);
  }
};

struct Dump {
  FABRION_OPERATION(Dump, "dump") {}
};

#undef FABRION_OPERATION

}  // namespace Op

using Operation =
    std::variant<Op::HostNew, Op::HostEnter, Op::HostLeave, Op::PortAdd, Op::PortDel, Op::GroupAdd,
                 Op::GroupDel, Op::MemberAdd, Op::MemberDel, Op::EdgeAdd, Op::EdgeTo, Op::EdgeToDel,
                 Op::EdgeDel, Op::HostnameAdd, Op::HostnameDel, Op::HostnameHostAdd,
                 Op::HostnameHostDel, Op::RequestNew, Op::RequestStart, Op::RequestStop,
                 Op::VlanAdd, Op::VlanDel, Op::VniAdd, Op::VniDel, Op::DomainAdd, Op::DomainDel,
                 Op::Native, Op::Remote, Op::RemoteDel, Op::MapAdd, Op::MapDel, Op::RangeSet,
                 Op::RangeDel, Op::SwitchNew, Op::SwitchStart, Op::SwitchAnnounce, Op::SwitchStop,
                 Op::VtepAdd, Op::VtepDel, Op::Mount, Op::MountUpdate, Op::TopologyStart,
                 Op::TopologyStop, Op::ElementHold, Op::ElementRelease, Op::Invoke, Op::Dump>;

// The operation's name in a journal.
inline std::string_view nameOf(const Operation& operation) {
  return std::visit([](const auto& one) { return std::remove_cvref_t<decltype(one)>::op; },
                    operation);
}

}  // namespace Fabrion::Host
