#include "agent/FabrionSm.h"

#include <iostream>

#include "platform/Nimbo/String.h"

namespace Fabrion::Agent {

namespace {

// The place of a type here is its index.
const Velo::TypeRecord* const types[] = {
    &switchNodeSmType,
    &physicalInterfaceSmType,
    &portGroupSmType,
    &hostResourcesSmType,
    &networkElementSmType,
    &networkElementCollectionSmType,
    &topologySmType,
    &remoteMountsStatusType,
    &clientResourcesForHostnameSmType,
    &clientResourcesForSwitchportSmType,
};

constexpr const char* outsideModules[] = {"NetworkTopologyAggregatorV3", "FabrionClient", "Fabrion",
                                          "VxlanController", "ControllerProxyAgent"};

// The three steps of loading, in their order: the standard streams are set up by the inclusion
// above, the prefix comes next, registration is last. Nothing else runs at load.
[[maybe_unused]] const Nimbo::String prefix("ns-");

}  // namespace

constinit const Velo::VeloModule fabrionSm{"FabrionSm", types, outsideModules};

namespace {
[[maybe_unused]] const bool registered = Velo::veloModuleIs(&fabrionSm);
}  // namespace

}  // namespace Fabrion::Agent
