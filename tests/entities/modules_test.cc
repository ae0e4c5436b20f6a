// The modules of the entity types, which the library registers when it is loaded.

#include "platform/Velo/Module.h"

#include <gtest/gtest.h>

#include "entities/ControllerProxyAgent.h"
#include "entities/Fabrion.h"
#include "entities/NetworkTopologyAggregatorV3.h"
#include "entities/VxlanController.h"

namespace Fabrion::Test {

TEST(EntityModules, AllFiveAreRegisteredAtLoad) {
  for (const char* name : {"NetworkTopologyAggregatorV3", "FabrionClient", "Fabrion",
                           "VxlanController", "ControllerProxyAgent"}) {
    EXPECT_NE(Velo::veloModule(name), nullptr) << name;
  }
  EXPECT_EQ(Velo::veloModuleError(), "");
}

TEST(EntityModules, AnEntityKnowsItsTypeAndItsModule) {
  const auto leaf = Velo::make<NetworkElement>("leaf1");
  EXPECT_STREQ(leaf->fwkType().name(), "Fabrion::NetworkElement");
  EXPECT_EQ(leaf->fwkType().module(), Velo::veloModule("Fabrion"));
  const Velo::Ptr<Interface> port = leaf->physicalInterfaceIs("e1");
  EXPECT_STREQ(port->fwkType().name(), "Fabrion::PhysicalInterface");
}

TEST(EntityModules, EveryTypeIsFoundByItsFullNameAtItsPlace) {
  for (const char* name : {"NetworkTopologyAggregatorV3", "FabrionClient", "Fabrion",
                           "VxlanController", "ControllerProxyAgent"}) {
    const Velo::VeloModule* module = Velo::veloModule(name);
    ASSERT_NE(module, nullptr);
    EXPECT_FALSE(module->types.empty());
    for (U32 i = 0; i < module->types.size(); ++i) {
      EXPECT_EQ(module->type(module->types[i]->name), module->types[i]);
      EXPECT_EQ(module->types[i]->index, i);
    }
  }
}

}  // namespace Fabrion::Test
