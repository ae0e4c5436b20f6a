// Generic access to the whole module, by someone who has only its record: the ten types with their
// attributes as they are written down here, each attribute reached by name and by number with every
// operation.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "entities/VxlanController.h"
#include "host/Module.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

namespace Topology = NetworkTopologyAggregatorV3;
using Client::ClientDomain;
using Nimbo::String;
using Velo::AttributeKind;
using Velo::AttributeOp;
using Velo::AttributeRecord;
using Velo::make;
using Velo::Ptr;
using Velo::TypeRecord;

constexpr int done = AttributeRecord::done;
constexpr int unsupported = AttributeRecord::unsupported;

const Velo::VeloModule& module() {
  static const Velo::VeloModule& loaded = loadModule(FABRION_MODULE);
  return loaded;
}

const TypeRecord& type(const std::string& name) {
  return *module().type(("Fabrion::Agent::" + name).c_str());
}

// The table of the module

struct Row {
  std::string name;
  AttributeKind kind;
  std::vector<std::string> parameters = {};  // "name type"
  friend bool operator==(const Row&, const Row&) = default;
};
void PrintTo(const Row& row, std::ostream* out) {
  *out << row.name << " (kind " << static_cast<int>(row.kind) << ")";
  for (const std::string& parameter : row.parameters) *out << " " << parameter;
}

struct Type {
  std::string name;
  U32 constructorArguments;
  std::vector<Row> rows;
};

constexpr auto argument = AttributeKind::constructorArgument;
constexpr auto state = AttributeKind::state;
constexpr auto collection = AttributeKind::collection;
constexpr auto ownedChild = AttributeKind::ownedChild;
constexpr auto ownedChildren = AttributeKind::ownedChildren;
constexpr auto handler = AttributeKind::handler;
constexpr auto constFunction = AttributeKind::constFunction;

const std::vector<Type>& expectedTypes() {
  static const std::vector<Type> types = {
      {"SwitchNodeSm",
       6,
       {{"switchId", argument},
        {"portVlanConfig", argument},
        {"vtepConfigDir", argument},
        {"vtepStatusDir", argument},
        {"networkElementCollection", argument},
        {"config", argument},
        {"handleSwitchElement", handler},
        {"switchElement", state},
        {"isMemberInterface", constFunction, {"intfName Nimbo::String"}},
        {"interface", collection},
        {"physicalInterface", collection},
        {"handleInterface", handler, {"intfName Nimbo::String"}},
        {"handleVlan", handler, {"vlanId U32"}},
        {"handleNetworkElement", handler, {"name Nimbo::String"}},
        {"handleVtepConfig", handler, {"port Nimbo::String"}},
        {"vlanToVniMap", collection},
        {"handleStaticVniMapForDomain", handler, {"domainName Fabrion::Client::ClientDomain"}},
        {"handleVniMapConflict", handler, {"intfName Nimbo::String", "vlanId U32"}},
        {"handleNativeVlanConflict", handler, {"intfName Nimbo::String", "vlanId U32"}},
        {"doCleanup", handler},
        {"handleInitialized", handler},
        {"initialized", state}}},
      {"PhysicalInterfaceSm",
       2,
       {{"intfName", argument},
        {"physicalInterface", argument},
        {"handleIsSwitchInterface", handler},
        {"networkElement", collection},
        {"handleNetworkElement", handler, {"name Nimbo::String"}},
        {"handleConfiguredElement", handler, {"ceName Nimbo::String"}},
        {"handleDiscoveredElement", handler, {"deName Nimbo::String"}},
        {"doCleanup", handler}}},
      {"PortGroupSm",
       2,
       {{"intfName", argument},
        {"portGroup", argument},
        {"memberInterface", collection},
        {"handleMemberInterface", handler, {"intfName Nimbo::String"}},
        {"handleInitialized", handler},
        {"initialized", state},
        {"doCleanup", handler}}},
      {"HostResourcesSm",
       3,
       {{"hostname", argument},
        {"resourcesForHostname", argument},
        {"networkElement", argument},
        {"handleVlan", handler, {"vlanId U32"}},
        {"hostVlan", collection},
        {"handleInitialized", handler},
        {"initialized", state},
        {"doCleanup", handler}}},
      {"NetworkElementSm",
       2,
       {{"name", argument},
        {"networkElement", argument},
        {"topologyHost", state},
        {"physicalInterfaceSm", ownedChildren},
        {"portGroupSm", ownedChildren},
        {"hostResourcesSm", ownedChild},
        {"handleTopologyHost", handler},
        {"handleIsSwitchElement", handler},
        {"handleResourcesForHostname", handler},
        {"physicalInterface", collection},
        {"handleInterface", handler, {"intfName Nimbo::String"}},
        {"handlePhysicalInterface", handler, {"intfName Nimbo::String"}},
        {"handleNePortGroup", handler, {"intfName Nimbo::String"}},
        {"handleTopologyPortGroup", handler, {"pgName Nimbo::String"}},
        {"portGroup", collection},
        {"handleInitialized", handler},
        {"initialized", state},
        {"doCleanup", handler}}},
      {"NetworkElementCollectionSm",
       3,
       {{"networkElementCollection", argument},
        {"requestedResourcesCollection", argument},
        {"topologyStatus", argument},
        {"networkElementSm", ownedChildren},
        {"handleNetworkElement", handler, {"hostId Nimbo::String"}},
        {"handleResourcesForHostname", handler, {"hostname Nimbo::String"}},
        {"networkElement", collection},
        {"handleInitialized", handler},
        {"initialized", state}}},
      {"TopologySm",
       3,
       {{"networkElementCollection", argument},
        {"requestedResourcesCollection", argument},
        {"topologyStatus", argument},
        {"networkElementCollectionSm", ownedChild},
        {"handleHost", handler, {"hostId Nimbo::String"}},
        {"handleHostsByHostname", handler, {"hostname Nimbo::String"}},
        {"hostsByHostname", collection},
        {"directedEdge", collection},
        {"topologyEdge", collection},
        {"handleInitialized", handler},
        {"initialized", state}}},
      {"RemoteMountsStatus",
       1,
       {{"switchId", argument},
        {"topology", state},
        {"portVlanConfig", state},
        {"dynVtepConfig", state},
        {"dynVtepStatus", state},
        {"ready", state},
        {"updateReady", handler}}},
      {"ClientResourcesForHostnameSm",
       4,
       {{"name", argument},
        {"client", argument},
        {"resourcesForHostname", argument},
        {"allRequestedResourcesCollection", argument},
        {"handleVlan", handler, {"vlanId U32"}},
        {"hostVlan", collection},
        {"handleInitialized", handler},
        {"initialized", state},
        {"doCleanup", handler}}},
      {"ClientResourcesForSwitchportSm",
       4,
       {{"client", argument},
        {"intf", argument},
        {"resourcesForSwitchport", argument},
        {"networkElementCollection", argument},
        {"handleVlan", handler, {"vlanId U32"}},
        {"handleNativeVlan", handler},
        {"handleRemoteHost", handler, {"host Nimbo::String"}},
        {"hostVlan", collection},
        {"handleInitialized", handler},
        {"initialized", state},
        {"doCleanup", handler}}}};
  return types;
}

TEST(GenericAccess, TheModuleHasTenTypesInTheirOrder) {
  ASSERT_EQ(module().types.size(), 10U);
  ASSERT_EQ(expectedTypes().size(), 10U);
  for (U32 i = 0; i < 10; ++i) {
    const TypeRecord& record = *module().types[i];
    EXPECT_EQ(record.name, "Fabrion::Agent::" + expectedTypes()[i].name);
    EXPECT_EQ(record.index, i);
    EXPECT_EQ(record.module, &module());
    EXPECT_EQ(record.constructorArguments, expectedTypes()[i].constructorArguments) << record.name;
  }
}

TEST(GenericAccess, EachTypeHasItsAttributesInTheirOrder) {
  for (const Type& expected : expectedTypes()) {
    SCOPED_TRACE(expected.name);
    const TypeRecord& record = type(expected.name);
    std::vector<Row> rows;
    for (const AttributeRecord& attribute : record.attributes) {
      Row row{attribute.name, attribute.kind, {}};
      for (U32 i = 0; i < attribute.parameterCount; ++i) {
        row.parameters.push_back(std::string(attribute.parameters[i].name) + " " +
                                 attribute.parameters[i].type);
      }
      rows.push_back(row);
      // One handler alone has a form without its argument as well.
      EXPECT_EQ(attribute.argumentOptional, row.name == "handleTopologyPortGroup");
    }
    EXPECT_EQ(rows, expected.rows);
    for (U32 i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(Velo::attributeIndex(record, expected.rows[i].name.c_str()), i);
    }
    EXPECT_EQ(Velo::attributeIndex(record, "no such thing"), rows.size());
  }
}

// Objects to reach into

// A fabric of one switch, leaf1 with its port e1 in the group po1, and one host behind that.
struct Entities {
  Entities() {
    far->vlanIs(10)->referrerIs("h");
    element->referrerIs("test", true);
    port->discoveredElementIs(far);
    port->vlanIs(10)->referrerIs("srv1");
    element->interfaceIs(port);
    element->interfaceIs(group);
    group->memberInterfaceIs(port);
    merged->vlanIs(10)->referrerIs("acme");
    elements->networkElementIs("srv1")->referrerIs("test", true);

    host->hostnameIs("web");
    host->portIs(hostPort);
    hostGroup->memberPortIs(hostPort);
    hostPort->portGroupIs(hostGroup);
    host->portGroupIs(hostGroup);
    edge->toPortIs(make<Topology::Port>(*host, "e2"), true);
    byHostname->hostIs(host);
    status->hostIs(host);
    status->edgeIs(edge);
    status->hostsByHostnameIs(byHostname);

    hostRequest->vlanIs(10);
    portRequest->vlanIs(10);
    portRequest->nativeVlanIs(make<Client::UntaggedVlan>(10U));
    portRequest->remoteHostIs("srv1", true);
    config->vlanToVniMapIs(map);
  }
  ~Entities() {
    // Not over with their collections: their circles are broken here.
    port->destroy();
    group->destroy();
    element->destroy();
  }
  Entities(const Entities&) = delete;
  Entities& operator=(const Entities&) = delete;

  const Ptr<NetworkElementCollection> elements = make<NetworkElementCollection>();
  const Ptr<NetworkElement> element = elements->networkElementIs("leaf1");
  const Ptr<NetworkElement> far = make<NetworkElement>(String("srv1"));
  const Ptr<PhysicalInterface> port = element->physicalInterfaceIs("e1");
  const Ptr<PortGroup> group = element->portGroupIs("po1");
  const Ptr<RequestedResourcesCollection> requested = make<RequestedResourcesCollection>();
  const Ptr<ResourcesForHostname> merged = requested->resourcesForHostnameIs("web");

  const Ptr<Topology::Status> status = make<Topology::Status>();
  const Ptr<Topology::Host> host = make<Topology::Host>(String("leaf1"));
  const Ptr<Topology::Port> hostPort = make<Topology::Port>(*host, "e1");
  const Ptr<Topology::PortGroup> hostGroup = make<Topology::PortGroup>(String("po1"));
  const Ptr<Topology::DirectedEdge> edge =
      make<Topology::DirectedEdge>(Ptr<const Topology::PortBase>(hostPort));
  const Ptr<Topology::HostsByHostname> byHostname = make<Topology::HostsByHostname>(String("web"));

  const Ptr<Client::ResourcesForHostname> hostRequest =
      make<Client::ResourcesForHostname>(String("web"));
  const Ptr<Client::ResourcesForSwitchport> portRequest = make<Client::ResourcesForSwitchport>();
  const ClientDomain domain{"acme", "red"};
  const Ptr<Config> config = make<Config>();
  const Ptr<VlanToVniMap> map = make<VlanToVniMap>(domain);

  const Ptr<ControllerProxyAgent::PortVlanConfigV1> portVlanConfig =
      make<ControllerProxyAgent::PortVlanConfigV1>();
  const Ptr<VxlanController::VtepConfigDirV2> vtepConfigDir =
      make<VxlanController::VtepConfigDirV2>();
  const Ptr<VxlanController::VtepStatusDirV2> vtepStatusDir =
      make<VxlanController::VtepStatusDirV2>();
};

// Room for whatever an attribute gives, each in the form in which generic access gives it.
struct Given {
  String text;
  bool flag = false;
  Client::SwitchInterface intf;
  Ptr<const Velo::PtrInterface> entity;
  Ptr<Velo::PtrInterface> machine;
  U64 count = 0;
};

// How to reach one attribute.
struct Access {
  void* (*room)(Given&) = nullptr;  // where get writes
  const void* key = nullptr;
  const void* value = nullptr;
  bool settable = false;
  bool removable = false;
};

void* text(Given& given) { return &given.text; }
void* flag(Given& given) { return &given.flag; }
void* intf(Given& given) { return &given.intf; }
void* entity(Given& given) { return &given.entity; }
void* machine(Given& given) { return &given.machine; }

// An object of one type in the middle of its entities, and the way to its attributes.
struct Probe {
  Entities at;
  Ptr<Velo::PtrInterface> object;
  std::map<std::string, Access> access = {};

  // Keys and values, with addresses as long as the probe.
  const String switchId = "leaf1";
  const String portName = "e1";
  const String groupName = "po1";
  const String farName = "srv1";
  const String hostname = "web";
  const String client = "acme";
  const U32 vlan = 10;
  const bool yes = true;
  const Client::SwitchInterface switchInterface{"leaf1", "e1"};
  const void* const portAndVlan[2] = {&portName, &vlan};
  const Ptr<const NetworkElement> farValue = at.far;
  const Ptr<const PhysicalInterface> constPort = at.port;
  const Ptr<Interface> interface = at.port;
  const Ptr<const Interface> constInterface = at.port;
  const Ptr<const Topology::PortBase> portKey = at.hostPort;
  const Ptr<const Topology::DirectedEdge> edgeValue = at.edge;
  const Ptr<const Topology::Host> hostValue = at.host;
  const Ptr<const Topology::PortGroup> hostGroupValue = at.hostGroup;
  const Ptr<const Topology::HostsByHostname> byHostnameValue = at.byHostname;
  const Ptr<const DynamicVlan> mergedVlan = at.merged->vlan(10);
  const Ptr<const Client::DynamicVlan> hostVlan = at.hostRequest->vlan(10);
  const Ptr<const Client::DynamicVlan> portVlan = at.portRequest->vlan(10);
  const Ptr<const VlanToVniMap> mapValue = at.map;
  const Ptr<const NetworkElement> elementValue = at.element;
  const Ptr<const Topology::Status> status = at.status;
  const Ptr<const Config> config = at.config;
  const Ptr<const VxlanController::VtepStatusDirV2> vtepStatusDir = at.vtepStatusDir;
  const Ptr<const ResourcesForHostname> merged = at.merged;
  const Ptr<const Client::ResourcesForHostname> hostRequest = at.hostRequest;
  const Ptr<const Client::ResourcesForSwitchport> portRequest = at.portRequest;

  // Constructor arguments in order: each is its attribute's value, too.
  void construct(const std::string& name, const std::vector<const void*>& arguments) {
    std::vector<void*> pointers;
    for (const void* one : arguments) pointers.push_back(const_cast<void*>(one));
    object = type(name).construct(pointers.data());
  }
};

void onSwitchNode(Probe& probe) {
  probe.construct("SwitchNodeSm",
                  {&probe.switchId, &probe.at.portVlanConfig, &probe.at.vtepConfigDir,
                   &probe.vtepStatusDir, &probe.at.elements, &probe.config});
  probe.at.elements->networkElementAnnounce("leaf1");
  probe.access = {{"switchId", {text}},
                  {"portVlanConfig", {entity}},
                  {"vtepConfigDir", {entity}},
                  {"vtepStatusDir", {entity}},
                  {"networkElementCollection", {entity}},
                  {"config", {entity}},
                  {"switchElement", {entity, nullptr, &probe.at.element, true, true}},
                  {"isMemberInterface", {flag, &probe.portName}},
                  {"interface", {entity, &probe.portName, &probe.interface, true, true}},
                  {"physicalInterface", {entity, &probe.portName, &probe.constPort, true, true}},
                  {"handleInterface", {nullptr, &probe.portName}},
                  {"handleVlan", {nullptr, &probe.vlan}},
                  {"handleNetworkElement", {nullptr, &probe.switchId}},
                  {"handleVtepConfig", {nullptr, &probe.portName}},
                  {"vlanToVniMap", {entity, &probe.at.domain, &probe.mapValue, true, true}},
                  {"handleStaticVniMapForDomain", {nullptr, &probe.at.domain}},
                  {"handleVniMapConflict", {nullptr, &probe.portAndVlan}},
                  {"handleNativeVlanConflict", {nullptr, &probe.portAndVlan}},
                  {"initialized", {flag}}};
}

void onPhysicalInterface(Probe& probe) {
  probe.at.port->networkElementIs(probe.at.far);
  probe.construct("PhysicalInterfaceSm", {&probe.portName, &probe.at.port});
  probe.access = {{"intfName", {text}},
                  {"physicalInterface", {entity}},
                  {"networkElement", {entity, &probe.farName, &probe.farValue, true, true}},
                  {"handleNetworkElement", {nullptr, &probe.farName}},
                  {"handleConfiguredElement", {nullptr, &probe.farName}},
                  {"handleDiscoveredElement", {nullptr, &probe.farName}}};
}

void onPortGroup(Probe& probe) {
  probe.construct("PortGroupSm", {&probe.groupName, &probe.at.group});
  probe.access = {{"intfName", {text}},
                  {"portGroup", {entity}},
                  {"memberInterface", {entity, &probe.portName, &probe.constInterface, true, true}},
                  {"handleMemberInterface", {nullptr, &probe.portName}},
                  {"initialized", {flag}}};
}

void onHostResources(Probe& probe) {
  probe.construct("HostResourcesSm", {&probe.hostname, &probe.merged, &probe.at.element});
  probe.access = {{"hostname", {text}},
                  {"resourcesForHostname", {entity}},
                  {"networkElement", {entity}},
                  {"handleVlan", {nullptr, &probe.vlan}},
                  {"hostVlan", {entity, &probe.vlan, &probe.mergedVlan, true, true}},
                  {"initialized", {flag}}};
}

void onNetworkElement(Probe& probe) {
  probe.at.element->isSwitchElementIs(true);
  probe.construct("NetworkElementSm", {&probe.switchId, &probe.at.element});
  probe.at.element->resourcesForHostnameIs(probe.at.merged);
  const TypeRecord& record = type("NetworkElementSm");
  Velo::genericIfAttributeOp(nullptr, probe.object.get(),
                             Velo::attributeIndex(record, "topologyHost"), AttributeOp::set,
                             nullptr, const_cast<Ptr<const Topology::Host>*>(&probe.hostValue));
  probe.access = {{"name", {text}},
                  {"networkElement", {entity}},
                  {"topologyHost", {entity, nullptr, &probe.hostValue, true, true}},
                  {"physicalInterfaceSm", {machine, &probe.portName, nullptr, false, true}},
                  {"portGroupSm", {machine, &probe.groupName, nullptr, false, true}},
                  {"hostResourcesSm", {machine, nullptr, nullptr, false, true}},
                  {"physicalInterface", {entity, &probe.portName, &probe.at.port, true, true}},
                  {"handleInterface", {nullptr, &probe.portName}},
                  {"handlePhysicalInterface", {nullptr, &probe.portName}},
                  {"handleNePortGroup", {nullptr, &probe.groupName}},
                  {"handleTopologyPortGroup", {nullptr, &probe.groupName}},
                  {"portGroup", {entity, &probe.groupName, &probe.hostGroupValue, true, true}},
                  {"initialized", {flag}}};
}

void onCollection(Probe& probe) {
  probe.construct("NetworkElementCollectionSm",
                  {&probe.at.elements, &probe.at.requested, &probe.status});
  probe.access = {{"networkElementCollection", {entity}},
                  {"requestedResourcesCollection", {entity}},
                  {"topologyStatus", {entity}},
                  {"networkElementSm", {machine, &probe.switchId, nullptr, false, true}},
                  {"handleNetworkElement", {nullptr, &probe.switchId}},
                  {"handleResourcesForHostname", {nullptr, &probe.hostname}},
                  {"networkElement", {entity, &probe.switchId, &probe.elementValue, true, true}},
                  {"initialized", {flag}}};
}

void onTopology(Probe& probe) {
  probe.construct("TopologySm", {&probe.at.elements, &probe.at.requested, &probe.status});
  probe.access = {
      {"networkElementCollection", {entity}},
      {"requestedResourcesCollection", {entity}},
      {"topologyStatus", {entity}},
      {"networkElementCollectionSm", {machine, nullptr, nullptr, false, true}},
      {"handleHost", {nullptr, &probe.switchId}},
      {"handleHostsByHostname", {nullptr, &probe.hostname}},
      {"hostsByHostname", {entity, &probe.hostname, &probe.byHostnameValue, true, true}},
      {"directedEdge", {entity, &probe.portKey, &probe.edgeValue, true, true}},
      {"topologyEdge", {entity, &probe.portKey, &probe.edgeValue, true, true}},
      {"initialized", {flag}}};
}

void onMounts(Probe& probe) {
  probe.construct("RemoteMountsStatus", {&probe.switchId});
  probe.access = {{"switchId", {text}}};
  for (const char* name :
       {"topology", "portVlanConfig", "dynVtepConfig", "dynVtepStatus", "ready"}) {
    probe.access[name] = {flag, nullptr, &probe.yes, true, false};
  }
}

void onHostRequest(Probe& probe) {
  probe.construct("ClientResourcesForHostnameSm",
                  {&probe.hostname, &probe.client, &probe.hostRequest, &probe.at.requested});
  probe.access = {{"name", {text}},
                  {"client", {text}},
                  {"resourcesForHostname", {entity}},
                  {"allRequestedResourcesCollection", {entity}},
                  {"handleVlan", {nullptr, &probe.vlan}},
                  {"hostVlan", {entity, &probe.vlan, &probe.hostVlan, true, true}},
                  {"initialized", {flag}}};
}

void onPortRequest(Probe& probe) {
  probe.construct("ClientResourcesForSwitchportSm",
                  {&probe.client, &probe.switchInterface, &probe.portRequest, &probe.at.elements});
  probe.access = {{"client", {text}},
                  {"intf", {intf}},
                  {"resourcesForSwitchport", {entity}},
                  {"networkElementCollection", {entity}},
                  {"handleVlan", {nullptr, &probe.vlan}},
                  {"handleRemoteHost", {nullptr, &probe.farName}},
                  {"hostVlan", {entity, &probe.vlan, &probe.portVlan, true, true}},
                  {"initialized", {flag}}};
}

const std::map<std::string, void (*)(Probe&)> makers = {
    {"SwitchNodeSm", onSwitchNode},
    {"PhysicalInterfaceSm", onPhysicalInterface},
    {"PortGroupSm", onPortGroup},
    {"HostResourcesSm", onHostResources},
    {"NetworkElementSm", onNetworkElement},
    {"NetworkElementCollectionSm", onCollection},
    {"TopologySm", onTopology},
    {"RemoteMountsStatus", onMounts},
    {"ClientResourcesForHostnameSm", onHostRequest},
    {"ClientResourcesForSwitchportSm", onPortRequest},
};

// Calls f(type, row, number, probe, access) for each attribute, with an object of its own.
template <class F>
void eachAttribute(F f) {
  for (const Type& expected : expectedTypes()) {
    for (U32 number = 0; number < expected.rows.size(); ++number) {
      const Row& row = expected.rows[number];
      SCOPED_TRACE(expected.name + "." + row.name);
      Probe probe;
      makers.at(expected.name)(probe);
      ASSERT_TRUE(probe.object);
      EXPECT_EQ(probe.object->fwkType().index(), type(expected.name).index);
      f(row, number, probe, probe.access[row.name]);
    }
  }
}

int operate(Probe& probe, U32 number, AttributeOp op, const void* key, const void* value,
            void* result) {
  return Velo::genericIfAttributeOp(result, probe.object.get(), number, op, const_cast<void*>(key),
                                    const_cast<void*>(value));
}

bool isCollection(const Row& row) { return row.kind == collection || row.kind == ownedChildren; }
bool isInvocable(const Row& row) { return row.kind == handler || row.kind == constFunction; }

TEST(GenericAccess, EveryAttributeButHandlersIsGot) {
  U32 got = 0;
  eachAttribute([&](const Row& row, U32 number, Probe& probe, const Access& access) {
    Given given;
    void* const room = access.room == nullptr ? nullptr : access.room(given);
    const int result = operate(probe, number, AttributeOp::get, access.key, nullptr, room);
    EXPECT_EQ(result, isInvocable(row) ? unsupported : done);
    if (result != done) return;
    ++got;
    ASSERT_NE(room, nullptr);
    EXPECT_TRUE(room != &given.entity || given.entity);
    EXPECT_TRUE(room != &given.machine || given.machine);
    EXPECT_TRUE(room != &given.text || !given.text.empty());
    EXPECT_TRUE(room != &given.intf || given.intf == probe.switchInterface);
    if (isCollection(row)) {
      EXPECT_EQ(operate(probe, number, AttributeOp::get, nullptr, nullptr, room), unsupported);
    }
  });
  EXPECT_EQ(got, 64U);
}

TEST(GenericAccess, ConstructorArgumentsAreThoseThatWereGiven) {
  Probe probe;
  onPortRequest(probe);
  Given given;
  operate(probe, 0, AttributeOp::get, nullptr, nullptr, &given.text);
  EXPECT_EQ(given.text, "acme");
  operate(probe, 2, AttributeOp::get, nullptr, nullptr, &given.entity);
  EXPECT_EQ(given.entity, Ptr<const Velo::PtrInterface>(probe.portRequest));
  operate(probe, 3, AttributeOp::get, nullptr, nullptr, &given.entity);
  EXPECT_EQ(given.entity, Ptr<const Velo::PtrInterface>(probe.at.elements));
}

TEST(GenericAccess, FlagsAndReactorsAreSetAndNothingElse) {
  eachAttribute([&](const Row& row, U32 number, Probe& probe, const Access& access) {
    const bool mayBeSet = row.kind == collection || access.settable;
    EXPECT_EQ(mayBeSet, access.settable) << "the test knows how to set each collection";
    EXPECT_EQ(operate(probe, number, AttributeOp::set, access.key, access.value, nullptr),
              mayBeSet ? done : unsupported);
    if (row.kind == state && access.room == flag && mayBeSet) {
      Given given;
      operate(probe, number, AttributeOp::get, nullptr, nullptr, &given.flag);
      EXPECT_TRUE(given.flag);
    }
  });
}

TEST(GenericAccess, WhatIsOwnedOrFollowedIsTakenAwayAndNothingElse) {
  eachAttribute([&](const Row& row, U32 number, Probe& probe, const Access& access) {
    EXPECT_EQ(operate(probe, number, AttributeOp::del, access.key, nullptr, nullptr),
              access.removable ? done : unsupported);
    if (!access.removable) return;
    Given given;
    if (isCollection(row)) {
      bool there = true;
      operate(probe, number, AttributeOp::contains, access.key, nullptr, &there);
      EXPECT_FALSE(there);
      EXPECT_EQ(operate(probe, number, AttributeOp::del, nullptr, nullptr, nullptr), done);
      operate(probe, number, AttributeOp::count, nullptr, nullptr, &given.count);
      EXPECT_EQ(given.count, 0U);
    } else {
      operate(probe, number, AttributeOp::get, nullptr, nullptr, access.room(given));
      EXPECT_FALSE(given.entity || given.machine);
    }
    // Brought back, as a machine counts on what it follows and owns when it ends.
    if (access.settable) {
      EXPECT_EQ(operate(probe, number, AttributeOp::set, nullptr, access.value, nullptr), done);
    }
    const TypeRecord& record = *probe.object->fwkType().record();
    if (record.name == type("NetworkElementCollectionSm").name) {
      operate(probe, Velo::attributeIndex(record, "handleInitialized"), AttributeOp::invoke,
              nullptr, nullptr, nullptr);
    }
  });
}

TEST(GenericAccess, CollectionsAreCountedAndWalkedAndNothingElse) {
  eachAttribute([&](const Row& row, U32 number, Probe& probe, const Access& access) {
    const int expected = isCollection(row) ? done : unsupported;
    U64 count = 0;
    U64 room = 0;
    bool there = false;
    EXPECT_EQ(operate(probe, number, AttributeOp::count, nullptr, nullptr, &count), expected);
    EXPECT_EQ(operate(probe, number, AttributeOp::secondSize, nullptr, nullptr, &room), expected);
    EXPECT_EQ(operate(probe, number, AttributeOp::contains, access.key, nullptr, &there), expected);
    EXPECT_EQ(operate(probe, number, AttributeOp::contains, nullptr, nullptr, &there), unsupported);
    const auto walk = Velo::genericIfIterator(probe.object.get(), number);
    EXPECT_EQ(walk != nullptr, isCollection(row));
    if (walk == nullptr) return;
    EXPECT_TRUE(there);
    EXPECT_GE(count, 1U);
    EXPECT_GE(room, count);
    U64 steps = 0;
    for (; walk->nonnull(); walk->inc()) {
      EXPECT_NE(walk->key(), nullptr);
      EXPECT_TRUE(walk->object());
      ++steps;
    }
    EXPECT_EQ(steps, count);
  });
}

TEST(GenericAccess, EveryHandlerIsInvokedAndNothingElse) {
  U32 handlers = 0;
  eachAttribute([&](const Row& row, U32 number, Probe& probe, const Access& access) {
    bool result = false;
    const int expected = isInvocable(row) ? done : unsupported;
    EXPECT_EQ(operate(probe, number, AttributeOp::invoke, access.key, nullptr, &result), expected);
    if (expected == done) ++handlers;
    if (row.kind == constFunction) {
      EXPECT_FALSE(result);
      probe.at.port->portGroupIs(probe.at.group);
      operate(probe, number, AttributeOp::invoke, access.key, nullptr, &result);
      EXPECT_TRUE(result);
    }
    // One that takes an argument is not invoked without, but for the one that has both forms.
    if (!row.parameters.empty()) {
      EXPECT_EQ(operate(probe, number, AttributeOp::invoke, nullptr, nullptr, nullptr),
                row.name == "handleTopologyPortGroup" ? done : unsupported);
    }
  });
  EXPECT_EQ(handlers, 46U);
}

TEST(GenericAccess, ANumberBeyondTheTableIsUnknownForEveryOperation) {
  for (const Type& expected : expectedTypes()) {
    SCOPED_TRACE(expected.name);
    Probe probe;
    makers.at(expected.name)(probe);
    const U32 beyond = static_cast<U32>(expected.rows.size());
    for (const U32 number : {beyond, beyond + 1, ~U32{0}}) {
      for (const AttributeOp op :
           {AttributeOp::get, AttributeOp::set, AttributeOp::del, AttributeOp::count,
            AttributeOp::secondSize, AttributeOp::contains, AttributeOp::invoke}) {
        EXPECT_EQ(operate(probe, number, op, nullptr, nullptr, nullptr), AttributeRecord::unknown);
      }
      EXPECT_EQ(Velo::genericIfIterator(probe.object.get(), number), nullptr);
    }
  }
}

}  // namespace
}  // namespace Fabrion::Host

#endif
