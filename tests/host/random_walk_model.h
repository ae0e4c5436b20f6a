#pragma once
// A second, much simpler account of what operations do: which elements, interfaces, groups, names
// and native VLANs stand in the model, and which machines. It knows nothing of notifications.
// VLANs, VNIs and domains are followed only as far as the contracts need. Of VTEPs it knows which
// configurations there are, and what a first one may keep at the end; which VNIs stand in them, on
// which ports, is foretold by ProvisioningAccount, for a fabric that does not change.
//
// The random walk asks it three things: whether an operation may be done now, what a dump shows
// after it, and at the end what the machines leave behind and by which rule.

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/Operation.h"
#include "tests/host/in_order.h"

namespace Fabrion::Test {

class WalkModel {
 public:
  using Json = nlohmann::json;

  // Why an operation may not be done.
  struct Objection {
    enum class Kind {
      refused,  // the controller refuses it and changes nothing
      fault,  // it would end the process: something is missing that the order of set-up guarantees
      avoided,  // it may end the process later, in a way that this account does not follow
    };
    Kind kind;
    std::string why;
  };

  // Nothing if the operation may be done now.
  std::optional<Objection> objection(const Host::Operation& operation) const;
  // Throws Objection and is of no use any more then.
  void apply(const Host::Operation& operation);

  // The part of a dump that the model accounts for.
  Json expected() const;
  static Json accountedFor(Json state);
  static Json namesOf(const Json& object);

  // The parts of a whole dump once no machine runs any more: what is left of the elements and of
  // the switches' outputs.
  Json elementsLeft() const;
  // With the names alone of the VTEP configurations; the second says what else is wrong with them.
  Json outputsLeft() const;
  std::string mistakeInVteps(const std::string& switchName, const Json& vteps) const;
  // The rules by which that is left, with the number of things left by each.
  std::map<std::string, U32> rests() const;

  // What there is to take away, for the end of a walk.
  bool topologyRuns() const { return topologyRuns_; }
  std::vector<Host::PortName> edges() const;
  std::vector<std::pair<std::string, std::string>> hostsOfHostnames() const;
  std::vector<std::string> hostnames() const;
  std::vector<std::string> hostsInStatus() const;
  std::vector<std::pair<std::string, std::string>> groups() const;
  std::vector<std::string> members(const std::string& host, const std::string& group) const;
  std::vector<Host::HostRequestName> runningHostRequests() const;
  std::vector<Host::PortRequestName> runningPortRequests() const;
  std::vector<std::string> remoteHosts(const Host::PortRequestName& request) const;
  std::vector<std::string> switches() const;
  bool runs(const std::string& switchName) const { return switches_.at(switchName).running; }
  std::vector<std::pair<std::string, std::string>> referrers() const;

 private:
  static constexpr int none = -1;
  using Names = std::set<std::string>;

  // The topology as it is written

  struct Port {
    int host;
    std::string name;
    int group = none;
  };
  struct Group {
    std::string name;
    std::map<std::string, int> members = {};
  };
  struct HostObject {
    std::string name;
    std::string hostname;
    InOrder<std::string, int> ports = {};
    InOrder<std::string, int> groups = {};
  };
  struct NamedHost {
    int object = none;
    std::map<std::string, int> unlisted = {};
  };
  struct Edge {
    int from;
    InOrder<int, bool> to = {};
  };

  // The model

  struct Interface {
    std::string name;
    bool isGroup = false;
    bool isSwitch = false;
    std::map<U32, Names> native = {};
    // Of a port
    bool discovered = false;
    Names discoveredElements = {};
    Names configuredElements = {};
    Names referrers = {};
    int group = none;
    std::map<U32, Names> claimed = {};  // VLANs that clients hold on the port
    // Of a port group
    std::map<std::string, int> members = {};
    bool machine = false;
  };
  struct Element {
    std::string name;
    std::string hostname = {};
    Names referrers = {};
    std::map<std::string, int> ports = {};
    std::map<std::string, int> groups = {};
    std::map<std::string, int> interfaces = {};
    bool isSwitch = false;
    int resources = none;
    bool gone = false;
    // Its machine
    bool machine = false;
    U64 registered = 0;
    int host = none;
    std::map<std::string, int> followedGroups = {};  // groups of the topology
    int hostResources = none;
    Names portMachines = {};
    std::map<std::string, int> groupMachines = {};
  };
  struct Switch {
    bool running = false;
    U64 started = 0;
    int element = none;
    U64 registered = 0;
    std::map<std::string, int> followedPorts = {};
    std::map<std::string, U32> native = {};
    InOrder<std::string, bool> statuses = {};
    // The oldest first, each with the pairs of an earlier run.
    InOrder<std::string, std::map<std::pair<std::string, U32>, U32>> vteps = {};
    std::string strayVlans = {};  // of an earlier run, that no pass looks at
  };
  struct Merged {
    std::string hostname;
    Names referrers = {};
    std::map<U32, Names> vlans = {};
  };

  // Requests

  struct AskedVlan {
    std::set<U32> vnis = {};
    std::set<std::pair<std::string, std::string>> domains = {};
  };
  struct Asked {
    std::map<U32, AskedVlan> vlans = {};
    std::optional<U32> native = {};
    std::map<std::string, bool> remoteHosts = {};
  };
  struct Request {
    int asked = none;
    int running = none;  // what the machine follows
  };

  struct Apply;

  [[noreturn]] static void refuse(const std::string& why);
  [[noreturn]] static void fault(const std::string& what);
  [[noreturn]] static void avoid(const std::string& why);

  // Topology input
  NamedHost& named(const std::string& host);
  HostObject& object(const std::string& host) { return hosts_[index(named(host).object)]; }
  int edgePort(const Host::PortName& name);
  int newestEdge(const Host::PortName& from);
  int farEnd(const Edge& edge, const Host::PortName& to) const;
  static std::size_t index(int id) { return static_cast<std::size_t>(id); }
  Port& port(int id) { return topologyPorts_[index(id)]; }
  const Port& port(int id) const { return topologyPorts_[index(id)]; }
  Group& group(int id) { return topologyGroups_[index(id)]; }
  HostObject& host(int id) { return hosts_[index(id)]; }
  const HostObject& host(int id) const { return hosts_[index(id)]; }
  Edge& edge(int id) { return topologyEdges_[index(id)]; }
  Interface& interface(int id) { return interfaces_[index(id)]; }
  const Interface& interface(int id) const { return interfaces_[index(id)]; }
  Element& element(int id) { return elementObjects_[index(id)]; }
  const Element& element(int id) const { return elementObjects_[index(id)]; }
  Merged& merged(int id) { return mergedObjects_[index(id)]; }
  const Merged& merged(int id) const { return mergedObjects_[index(id)]; }
  Asked& asked(int id) { return askedObjects_[index(id)]; }
  int elementNamed(const std::string& name) const;

  // What the topology's machine does
  void handleHost(const std::string& name);
  void handleToPort(int edgeId, int to);
  void edgeLeft(int from);
  void handleHostsByHostname(const std::string& hostname);
  void hostJoined(const std::string& hostname, const std::string& name);
  void hostParted(const std::string& name);
  void handleResources(const std::string& hostname);
  void startTopology();
  void stopTopology();

  // What the machines of elements do
  int elementIs(const std::string& name);
  void startMachine(int id);
  void endMachine(int id);
  void removeElement(int id);
  void deleteIfNotNecessary(int id);
  void addReferrer(int id, const std::string& name);
  void removeReferrer(int id, const std::string& name);
  void resourcesAre(int id, int mergedId);
  void becomesSwitch(int id);
  int portIs(int id, const std::string& name);
  void portDel(int id, const std::string& name);
  void handlePort(int id, const std::string& name);
  int groupIs(int id, const std::string& name);
  void groupDel(int id, const std::string& name);
  void groupMachineIs(int id, const std::string& name);
  void interfaceIs(int id, const std::string& name, int interfaceId);
  void interfaceDel(int id, const std::string& name);
  void portGroupOf(int portId, int groupId);
  void memberIs(int groupId, int portId);
  void memberDel(int groupId, const std::string& name);
  void memberParts(int groupId, int portId);
  void memberNative(int groupId, int portId, U32 vlan);
  void nativeChanged(int interfaceId, U32 vlan);
  void topologyHostIs(int id, int hostId);
  void topologyGroupIs(int id, int groupId);
  void handleMemberPort(int id, int groupId, const std::string& name);
  void topologyMembersChanged(int groupId, const std::string& name);

  // What the machines of switches do
  void takeElement(Switch& one, int id);
  void pass(Switch& one);
  void handleInterface(Switch& one, const std::string& name);
  void handleNative(Switch& one, const std::string& name);
  void handlePortGroup(Switch& one, const std::string& name);
  bool isMember(const Element& of, const std::string& name) const;
  void announce(const std::string& name);

  // What the machines of clients do
  int mergedIs(const std::string& hostname);
  void askHostVlan(const Host::HostRequestName& request, const Asked& what, U32 vlan);
  void startHostRequest(const Host::HostRequestName& request, const Asked& what);
  void stopHostRequest(const Host::HostRequestName& request, const Asked& what);
  int requestedPort(const Host::PortRequestName& request) const;
  void askPortVlan(const Host::PortRequestName& request, const Asked& what, U32 vlan);
  void askNative(const Host::PortRequestName& request, const Asked& what);
  void askRemote(const Host::PortRequestName& request, const Asked& what, const std::string& name);
  void startPortRequest(const Host::PortRequestName& request, const Asked& what);
  void stopPortRequest(const Host::PortRequestName& request);
  void domainChanged(const Host::RequestName& request, U32 vlan);
  Request& requestNamed(const Host::RequestName& request);
  // What the running machine of a request follows if that is what operations now name; else null.
  Asked* followed(const Host::RequestName& request);

  Json portJson(const Interface& port) const;
  Json groupJson(const Interface& group) const;
  Json elementJson(const Element& one) const;
  Json allowedLeft(const std::string& switchName) const;
  static Json namesOfVteps(const Switch& one);

  std::vector<Port> topologyPorts_;
  std::vector<Group> topologyGroups_;
  std::vector<HostObject> hosts_;
  std::vector<Edge> topologyEdges_;
  std::map<std::string, NamedHost> namedHosts_;
  InOrder<std::string, int> hostsInStatus_;
  InOrder<int, int> edgesInStatus_;  // by from-port
  std::map<Host::PortName, std::vector<int>> edgesByNames_;
  InOrder<std::string, std::map<std::string, int>> hostnames_;

  bool topologyRuns_ = false;
  U64 topologyStarted_ = 0;
  U64 registrations_ = 0;  // who was there first is told first
  std::vector<Interface> interfaces_;
  std::vector<Element> elementObjects_;
  std::map<std::string, int> elements_;
  std::vector<Merged> mergedObjects_;
  InOrder<std::string, int> merged_;
  std::map<std::string, Switch> switches_;
  std::set<std::pair<std::string, std::string>> maps_;  // their domains

  std::vector<Asked> askedObjects_;
  std::map<Host::HostRequestName, Request> hostRequests_;
  std::map<Host::PortRequestName, Request> portRequests_;
};

}  // namespace Fabrion::Test
