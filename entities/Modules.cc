// The modules of the entity types, registered when this library is loaded: a module of machines
// that uses the types is loaded after it.

#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/FabrionClient.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "entities/VxlanController.h"
#include "platform/Velo/Module.h"

namespace {

template <class... Entities>
constexpr const Velo::TypeRecord* typesOf[] = {&Entities::veloTypeRecord_...};

namespace N = NetworkTopologyAggregatorV3;
const Velo::VeloModule topology{"NetworkTopologyAggregatorV3",
                                typesOf<N::Status, N::Host, N::HostsByHostname, N::PortBase,
                                        N::Port, N::PortGroup, N::DirectedEdge>};

namespace C = Fabrion::Client;
const Velo::VeloModule client{
    "FabrionClient", typesOf<C::ResourcesForHostname, C::ResourcesForSwitchport, C::DynamicVlan,
                             C::MappedVni, C::Domain, C::UntaggedVlan>};

namespace F = Fabrion;
const Velo::VeloModule model{
    "Fabrion", typesOf<F::NetworkElementCollection, F::RequestedResourcesCollection,
                       F::NetworkElement, F::Interface, F::PhysicalInterface, F::PortGroup,
                       F::DynamicVlan, F::ResourcesForHostname, F::Config, F::VlanToVniMap>};

namespace V = VxlanController;
const Velo::VeloModule vtep{
    "VxlanController",
    typesOf<V::VtepConfigDirV2, V::VtepConfigV2, V::VtepStatusDirV2, V::VtepStatusV2>};

const Velo::VeloModule vlanConfig{"ControllerProxyAgent",
                                  typesOf<ControllerProxyAgent::PortVlanConfigV1>};

const bool registered = Velo::veloModuleIs(&topology) && Velo::veloModuleIs(&client) &&
                        Velo::veloModuleIs(&model) && Velo::veloModuleIs(&vtep) &&
                        Velo::veloModuleIs(&vlanConfig);

}  // namespace
