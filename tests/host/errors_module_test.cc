// What is said of a module that cannot be loaded, is none, or is not the one that the host knows,
// word for word.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "host/Machine.h"
#include "host/Module.h"
#include "tests/host/Program.h"
#include "tests/host/Texts.h"

namespace Fabrion::Host {
namespace {

using Test::inRepository;
using Test::written;
using Velo::AttributeKind;
using Velo::AttributeRecord;

std::string mistakeOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const ModuleError& error) {
    return error.what();
  }
  return "no mistake";
}

// ---- Types of another shape

// What no access is given to.
int refuse(void* /*result*/, Velo::PtrInterface*, Velo::AttributeOp, void*, void*) {
  return AttributeRecord::unsupported;
}
constexpr AttributeRecord attributes[] = {{"closed", AttributeKind::state, &refuse}};

extern const Velo::TypeRecord bareType;

class Bare : public Velo::PtrInterface {
 public:
  Velo::VeloTypeBase fwkType() const override { return Velo::VeloTypeBase(bareType); }
};

Velo::Ptr<Velo::PtrInterface> makeBare(void* const* /*arguments*/) { return Velo::make<Bare>(); }

constinit const Velo::TypeRecord bareType{"Fabrion::Agent::Bare", attributes, &makeBare, 2};
constinit const Velo::TypeRecord unmadeType{"Fabrion::Agent::Unmade", {}, nullptr, 0};
const Velo::TypeRecord* const types[] = {&bareType, &unmadeType};
const Velo::VeloModule module{"Bares", types};

TEST(ErrorsOfModules, ATypeThatIsMissingOrMadeOtherwise) {
  const int some = 0;
  EXPECT_EQ(mistakeOf([] { Machine::make(module, "TopologySm", {}); }),
            "the module has no type Fabrion::Agent::TopologySm");
  EXPECT_EQ(mistakeOf([&] { Machine::make(module, "Bare", {&some}); }),
            "the module's Fabrion::Agent::Bare cannot be made from 1 argument(s)");
  EXPECT_EQ(mistakeOf([] { Machine::make(module, "Unmade", {}); }),
            "the module's Fabrion::Agent::Unmade cannot be made from 0 argument(s)");
}

TEST(ErrorsOfModules, AnAttributeThatIsMissingOrClosed) {
  Machine machine(Velo::make<Bare>());
  const std::string head = "the module's Fabrion::Agent::Bare ";
  EXPECT_EQ(mistakeOf([&] { machine.text("hostname"); }), head + "has no attribute hostname");
  EXPECT_EQ(mistakeOf([&] { machine.flagIs("ready", true); }), head + "has no attribute ready");
  EXPECT_EQ(mistakeOf([&] { machine.ownedNames("ports"); }), head + "has no attribute ports");
  EXPECT_EQ(mistakeOf([&] { machine.text("closed"); }), head + "does not give access to closed");
  EXPECT_EQ(mistakeOf([&] { machine.flag("closed"); }), head + "does not give access to closed");
  EXPECT_EQ(mistakeOf([&] { machine.follows("closed"); }), head + "does not give access to closed");
  EXPECT_EQ(mistakeOf([&] { machine.owned("closed"); }), head + "does not give access to closed");
  EXPECT_EQ(mistakeOf([&] { machine.owned("closed", "x"); }),
            head + "does not give access to closed");
  EXPECT_EQ(mistakeOf([&] { machine.ownedNames("closed"); }), head + "has no collection closed");
}

// ---- Files

TEST(ErrorsOfModules, AFileThatIsNotThereOrNoLibrary) {
  EXPECT_EQ(mistakeOf([] { loadModule("/nowhere/FabrionSm.so"); }),
            "there is no module /nowhere/FabrionSm.so; name it with --module");
  const std::string text = inRepository("tests/data/port-request.journal");
  const std::string path = std::filesystem::absolute(text).string();
  EXPECT_EQ(mistakeOf([&] { loadModule(text); }),
            "the module does not load: " + path + ": invalid ELF header");
  const std::string empty = written("empty.so", "");
  EXPECT_EQ(mistakeOf([&] { loadModule(empty); }),
            "the module does not load: " + empty + ": file too short");
}

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

using Test::Exit;
using Test::shell;

const std::string document = inRepository("examples/two-switches.yaml");

// Of the program `command`, which ends with `status` and says this alone.
void expectSaid(const std::string& command, int status, const std::string& said) {
  const Exit exit = shell(FABRION_BINARY " " + command + " 2>&1");
  EXPECT_EQ(exit.out, said);
  EXPECT_EQ(exit.status, status) << command;
}

TEST(ErrorsOfModules, TheProgramTellsAllOfItAndWithItsOwnStatus) {
  const std::string absent =
      "fabrion: there is no module /nowhere/FabrionSm.so; name it with --module\n";
  for (const std::string& command :
       {"run " + document, "plan " + document + " " + document, "audit --against x " + document,
        "render --target ovs " + document, "draw -o - " + document, "why " + document + " left",
        std::string("wiring")}) {
    expectSaid("--module /nowhere/FabrionSm.so " + command, 2, absent);
  }
  expectSaid("--module /nowhere/FabrionSm.so replay - </dev/null", 1, absent);
  // Relative to where the user stands.
  const std::string here = std::filesystem::current_path().string();
  expectSaid("--module no.so wiring", 2,
             "fabrion: there is no module " + here + "/no.so; name it with --module\n");
}

TEST(ErrorsOfModules, ALibraryThatIsNoModuleOfTheName) {
  const std::filesystem::path other =
      std::filesystem::path(FABRION_MODULE).parent_path() / "libfabrion_platform.so";
  expectSaid(
      "--module " + other.string() + " run " + document, 2,
      "fabrion: " + std::filesystem::absolute(other).string() + " registers no module FabrionSm\n");
}

#endif

}  // namespace
}  // namespace Fabrion::Host
