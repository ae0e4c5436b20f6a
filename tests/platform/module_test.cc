#include "platform/Velo/Module.h"

#include <gtest/gtest.h>

#include "tests/platform/machine_toys.h"

namespace Toys {

namespace {

using Velo::AttributeRecord;
using Velo::ModuleRegistry;
using Velo::TypeRecord;
using Velo::VeloModule;

// Registration gives types their place for good, so each test that registers has records of its
// own.
constexpr AttributeRecord clockAttributes[] = {{"time"}, {"handleTime"}};
constexpr AttributeRecord renamedAttributes[] = {{"hour"}, {"handleTime"}};
const TypeRecord clockType{"Toys::Clock", clockAttributes};
const TypeRecord bellType{"Toys::Bell"};
const TypeRecord renamedClockType{"Toys::Clock", renamedAttributes};
const TypeRecord* const types[] = {&clockType, &bellType};
const TypeRecord* const swapped[] = {&bellType, &clockType};
const TypeRecord* const renamed[] = {&renamedClockType, &bellType};

const VeloModule clocks{"Clocks", types};

}  // namespace

TEST(Modules, ARegisteredModuleIsFoundByNameAndItsTypesHaveTheirPlace) {
  ModuleRegistry registry;
  EXPECT_EQ(registry.module("Clocks"), nullptr);
  EXPECT_TRUE(registry.moduleIs(clocks));
  EXPECT_EQ(registry.error(), "");
  EXPECT_EQ(registry.module("Clocks"), &clocks);
  EXPECT_EQ(clockType.module, &clocks);
  EXPECT_EQ(clockType.index, 0U);
  EXPECT_EQ(bellType.index, 1U);
  const Velo::VeloTypeBase handle(bellType);
  EXPECT_EQ(handle.module(), &clocks);
  EXPECT_EQ(handle.index(), 1U);
  EXPECT_STREQ(handle.name(), "Toys::Bell");
}

TEST(Modules, AHandleOfNoTypeIsEmpty) {
  const Velo::VeloTypeBase none;
  EXPECT_EQ(none.record(), nullptr);
  EXPECT_EQ(none.module(), nullptr);
  EXPECT_EQ(none.index(), 0U);
  EXPECT_STREQ(none.name(), "");
}

TEST(Modules, ATypeIsFoundByItsFullName) {
  EXPECT_EQ(clocks.type("Toys::Bell"), &bellType);
  EXPECT_EQ(clocks.type("Bell"), nullptr);
}

TEST(Modules, RegisteringTheSameRecordAgainIsFine) {
  ModuleRegistry registry;
  EXPECT_TRUE(registry.moduleIs(clocks));
  EXPECT_TRUE(registry.moduleIs(clocks));
}

TEST(Modules, AMissingOutsideModuleIsNamedAndNothingIsRegistered) {
  static const TypeRecord towerType{"Toys::Tower"};
  static const TypeRecord* const towerTypes[] = {&towerType};
  static constexpr const char* outside[] = {"Clocks", "Bricks"};
  static const VeloModule towers{"Towers", towerTypes, outside};
  ModuleRegistry registry;
  EXPECT_FALSE(registry.moduleIs(towers));
  EXPECT_EQ(registry.error(),
            "module Towers: the module Clocks, whose types it uses, is not registered");
  EXPECT_EQ(registry.module("Towers"), nullptr);
  EXPECT_EQ(towerType.module, nullptr);

  EXPECT_TRUE(registry.moduleIs(clocks));
  EXPECT_FALSE(registry.moduleIs(towers));
  EXPECT_EQ(registry.error(),
            "module Towers: the module Bricks, whose types it uses, is not registered");

  static const VeloModule bricks{"Bricks", {}};
  EXPECT_TRUE(registry.moduleIs(bricks));
  EXPECT_TRUE(registry.moduleIs(towers));
  EXPECT_EQ(registry.error(), "");
  EXPECT_EQ(towerType.module, &towers);
}

TEST(Modules, ANameThatIsTakenIsRefusedWithAReason) {
  static const VeloModule impostor{"Clocks", {}};
  ModuleRegistry registry;
  EXPECT_TRUE(registry.moduleIs(clocks));
  EXPECT_FALSE(registry.moduleIs(impostor));
  EXPECT_EQ(registry.error(), "module Clocks: another module of that name is registered");
  EXPECT_EQ(registry.module("Clocks"), &clocks);
}

TEST(Modules, TheRecordIsNamedAfterTheModuleAndSixteenHexadecimalDigits) {
  EXPECT_EQ(clocks.recordName().size(), std::string("Clocks_").size() + 16);
  EXPECT_EQ(clocks.recordName().find_first_not_of("0123456789abcdef", 7), std::string::npos);
  EXPECT_EQ(clocks.recordName().rfind("Clocks_", 0), 0U);
}

TEST(Modules, TheContentHashIsThatOfTheDeclarations) {
  const VeloModule same{"Clocks", types};
  EXPECT_EQ(same.contentHash(), clocks.contentHash());
  EXPECT_NE((VeloModule{"Clocks", swapped}.contentHash()), clocks.contentHash());
  EXPECT_NE((VeloModule{"Clocks", renamed}.contentHash()), clocks.contentHash());
  EXPECT_NE((VeloModule{"Clock", types}.contentHash()), clocks.contentHash());
  static constexpr const char* outside[] = {"Bricks"};
  EXPECT_NE((VeloModule{"Clocks", types, outside}.contentHash()), clocks.contentHash());
}

TEST(Modules, TheProcessHasOneRegistryWhichKeepsItsLastError) {
  static const VeloModule toys{"Toys", {}};
  static constexpr const char* outside[] = {"Nowhere"};
  static const VeloModule lost{"Lost", {}, outside};
  EXPECT_FALSE(Velo::veloModuleIs(&lost));
  EXPECT_EQ(Velo::veloModuleError(),
            "module Lost: the module Nowhere, whose types it uses, is not registered");
  EXPECT_EQ(Velo::veloModule("Lost"), nullptr);
  EXPECT_TRUE(Velo::veloModuleIs(&toys));
  EXPECT_EQ(Velo::veloModuleError(), "");
  EXPECT_EQ(Velo::veloModule("Toys"), &toys);
}

}  // namespace Toys
