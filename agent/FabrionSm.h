#pragma once
// The module's record and the types in it, in their fixed order. Each type's tables stand beside
// its machine; here the machines find the record, and the record finds them, without knowing each
// other's headers.

#include "platform/Velo/Module.h"

namespace Fabrion::Agent {

extern const Velo::VeloModule fabrionSm;

extern const Velo::TypeRecord switchNodeSmType;
extern const Velo::TypeRecord physicalInterfaceSmType;
extern const Velo::TypeRecord portGroupSmType;
extern const Velo::TypeRecord hostResourcesSmType;
extern const Velo::TypeRecord networkElementSmType;
extern const Velo::TypeRecord networkElementCollectionSmType;
extern const Velo::TypeRecord topologySmType;
extern const Velo::TypeRecord remoteMountsStatusType;
extern const Velo::TypeRecord clientResourcesForHostnameSmType;
extern const Velo::TypeRecord clientResourcesForSwitchportSmType;

}  // namespace Fabrion::Agent
