// Loading by file as far as it fails without a module at hand, and construction by name. That a
// module loads is shown by the host's tests and by tests/embed/.

#include "platform/Velo/ModuleFile.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>

#include "platform/Nimbo/String.h"

namespace Velo {
namespace {

std::string mistakeOf(const std::string& file, const char* name) {
  try {
    loadModule(file, name);
  } catch (const ModuleException& failed) {
    return failed.what();
  }
  return "no mistake";
}

// A shared library that is there for certain, and registers no module.
std::string platformLibrary() {
  Dl_info found{};
  EXPECT_NE(dladdr(reinterpret_cast<void*>(&veloModule), &found), 0);
  return found.dli_fname;
}

TEST(ModuleFile, AFileThatIsNotThereIsNamed) {
  EXPECT_EQ(mistakeOf("/nowhere/FabrionSm.so", "FabrionSm"),
            "there is no module /nowhere/FabrionSm.so");
}

TEST(ModuleFile, ANameWithoutASlashIsAFileHereAndNoLibraryOfTheSystem) {
  const std::string mistake = mistakeOf("libc.so.6", "FabrionSm");
  EXPECT_TRUE(mistake.starts_with("there is no module /")) << mistake;
}

TEST(ModuleFile, AFileThatIsNoLibraryDoesNotLoad) {
  const std::string path = testing::TempDir() + "no-library.so";
  std::ofstream(path) << "text";
  const std::string mistake = mistakeOf(path, "FabrionSm");
  EXPECT_TRUE(mistake.starts_with("the module does not load: ")) << mistake;
}

TEST(ModuleFile, ALibraryThatRegistersNoModuleOfTheNameIsTold) {
  const std::string library = platformLibrary();
  const std::string mistake = mistakeOf(library, "Nothing");
  EXPECT_TRUE(mistake.ends_with(" registers no module Nothing")) << mistake;
}

// A type that writes down what it is made from.
struct Made : PtrInterface {
  std::string from;
};

Ptr<PtrInterface> makeOne(void* const* arguments) {
  const auto made = make<Made>();
  made->from = std::string(static_cast<const Nimbo::String*>(arguments[0])->view()) + "+" +
               std::to_string(*static_cast<const U32*>(arguments[1]));
  return made;
}
Ptr<PtrInterface> makeBare(void* const* /*arguments*/) { return make<Made>(); }

const TypeRecord made{"Test::Made", {}, &makeOne, 2};
const TypeRecord bare{"Test::Bare", {}, &makeBare, 0};
const TypeRecord closed{"Test::Closed"};
const TypeRecord* const types[] = {&made, &bare, &closed};
const VeloModule module{"Test", types};

TEST(ModuleFile, ATypeIsMadeByItsNameFromItsArgumentsInOrder) {
  const Ptr<PtrInterface> object = construct(module, "Test::Made", Nimbo::String("a"), U32{7});
  EXPECT_EQ(static_cast<const Made&>(*object).from, "a+7");
  EXPECT_EQ(object->referenceCount(), 1U);
  EXPECT_TRUE(construct(module, "Test::Bare"));
}

template <class... Arguments>
std::string mistakeOfMaking(const char* type, const Arguments&... arguments) {
  try {
    construct(module, type, arguments...);
  } catch (const ModuleException& failed) {
    return failed.what();
  }
  return "no mistake";
}

TEST(ModuleFile, WhatCannotBeMadeIsTold) {
  EXPECT_EQ(mistakeOfMaking("Test::Mad"), "the module Test has no type Test::Mad");
  EXPECT_EQ(mistakeOfMaking("Test::Made", U32{7}),
            "the type Test::Made cannot be made from 1 argument(s)");
  EXPECT_EQ(mistakeOfMaking("Test::Closed"),
            "the type Test::Closed cannot be made from 0 argument(s)");
}

}  // namespace
}  // namespace Velo
