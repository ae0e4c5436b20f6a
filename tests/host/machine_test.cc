#include "host/Machine.h"

#include <gtest/gtest.h>

#include "entities/FabrionClient.h"
#include "host/BadJournal.h"
#include "host/Module.h"

namespace Fabrion::Host {
namespace {

using Velo::AttributeKind;
using Velo::AttributeOp;
using Velo::AttributeRecord;

extern const Velo::TypeRecord probeType;

// An object of a module that exists for these tests alone; its handlers write down what they are
// given.
class Probe : public Velo::PtrInterface {
 public:
  Velo::VeloTypeBase fwkType() const override { return Velo::VeloTypeBase(probeType); }
  std::string heard;
};

std::string textAt(const void* key) {
  return std::string(static_cast<const Nimbo::String*>(key)->view());
}

int hear(Velo::PtrInterface* object, AttributeOp op, const std::string& what) {
  if (op != AttributeOp::invoke) return AttributeRecord::unsupported;
  static_cast<Probe*>(object)->heard += what + ";";
  return AttributeRecord::done;
}

int bare(void*, Velo::PtrInterface* object, AttributeOp op, void* key, void*) {
  return hear(object, op, key == nullptr ? "none" : textAt(key));
}
int text(void*, Velo::PtrInterface* object, AttributeOp op, void* key, void*) {
  return hear(object, op, textAt(key));
}
int number(void*, Velo::PtrInterface* object, AttributeOp op, void* key, void*) {
  return hear(object, op, std::to_string(*static_cast<const U32*>(key)));
}
int domain(void*, Velo::PtrInterface* object, AttributeOp op, void* key, void*) {
  return hear(object, op,
              std::string(static_cast<const Client::ClientDomain*>(key)->name().view()));
}
int both(void*, Velo::PtrInterface* object, AttributeOp op, void* key, void*) {
  void* const* keys = static_cast<void* const*>(key);
  return hear(object, op,
              textAt(keys[0]) + "+" + std::to_string(*static_cast<const U32*>(keys[1])));
}

constexpr AttributeRecord probeAttributes[] = {
    {"bare", AttributeKind::handler, &bare},
    {"optional", AttributeKind::handler, &bare, nullptr, {{"name", "Nimbo::String"}}, 1, true},
    {"text", AttributeKind::handler, &text, nullptr, {{"name", "Nimbo::String"}}, 1},
    {"number", AttributeKind::constFunction, &number, nullptr, {{"vlanId", "U32"}}, 1},
    {"domain",
     AttributeKind::handler,
     &domain,
     nullptr,
     {{"domain", "Fabrion::Client::ClientDomain"}},
     1},
    {"both",
     AttributeKind::handler,
     &both,
     nullptr,
     {{"name", "Nimbo::String"}, {"vlanId", "U32"}},
     2},
    {"unbuilt", AttributeKind::handler},
    {"value", AttributeKind::state, &bare},
};

Velo::Ptr<Velo::PtrInterface> makeProbe(void* const* args) {
  const auto probe = Velo::make<Probe>();
  probe->heard = textAt(args[0]) + "+" + std::to_string(*static_cast<const U32*>(args[1])) + ";";
  return probe;
}

constinit const Velo::TypeRecord probeType{"Fabrion::Agent::Probe", probeAttributes, &makeProbe, 2};
const Velo::TypeRecord* const types[] = {&probeType};
const Velo::VeloModule module{"Probes", types};

class MachineTest : public testing::Test {
 protected:
  std::string mistakeOf(const char* handler, const HandlerKey& key) {
    try {
      machine_.invoke(handler, key);
    } catch (const BadJournal& bad) {
      return bad.what();
    }
    return "no mistake";
  }

  const Velo::Ptr<Probe> probe_ = Velo::make<Probe>();
  Machine machine_{probe_};
};

TEST_F(MachineTest, IsMadeByNameFromItsArgumentsInOrder) {
  const Nimbo::String name("leaf1");
  const U32 vlan = 7;
  EXPECT_TRUE(Machine::make(module, "Probe", {&name, &vlan}));
  EXPECT_THROW(Machine::make(module, "Probe", {&name}), ModuleError);
  EXPECT_THROW(Machine::make(module, "Prober", {&name, &vlan}), ModuleError);
}

TEST_F(MachineTest, HandlersAreGivenTheKeysTheyTake) {
  machine_.invoke("bare", {});
  machine_.invoke("optional", {});
  machine_.invoke("optional", "a");
  machine_.invoke("text", "b");
  machine_.invoke("number", U32{7});
  machine_.invoke("domain", DomainName{"acme", "red"});
  machine_.invoke("both", TextAndNumber{"c", 8});
  EXPECT_EQ(probe_->heard, "none;none;a;b;7;acme/red;c+8;");
}

TEST_F(MachineTest, AKeyThatTheHandlerDoesNotTakeIsRefused) {
  const HandlerKey keys[] = {{}, "a", U32{7}, DomainName{"a", "b"}, TextAndNumber{"a", 7}};
  const struct {
    const char* handler;
    std::size_t taken;
  } handlers[] = {{"bare", 0}, {"text", 1}, {"number", 2}, {"domain", 3}, {"both", 4}};
  for (const auto& [handler, taken] : handlers) {
    for (const HandlerKey& key : keys) {
      EXPECT_EQ(mistakeOf(handler, key) == "no mistake", key.index() == taken)
          << handler << key.index();
    }
  }
  EXPECT_EQ(mistakeOf("both", "a"),
            "Fabrion::Agent::Probe::both takes the key name (Nimbo::String), vlanId (U32)");
  EXPECT_EQ(mistakeOf("optional", U32{7}),
            "Fabrion::Agent::Probe::optional takes the key name (Nimbo::String) or none");
}

TEST_F(MachineTest, WhatIsNoHandlerIsRefused) {
  EXPECT_EQ(mistakeOf("nothing", {}), "Fabrion::Agent::Probe has no handler 'nothing'");
  EXPECT_EQ(mistakeOf("value", {}), "Fabrion::Agent::Probe has no handler 'value'");
  EXPECT_EQ(probe_->heard, "");
}

TEST_F(MachineTest, AHandlerThatTheModuleDoesNotBuildIsRefused) {
  EXPECT_EQ(mistakeOf("unbuilt", {}),
            "Fabrion::Agent::Probe::unbuilt cannot be invoked in this module");
}

TEST_F(MachineTest, AnAttributeThatIsNotThereIsAnotherModule) {
  EXPECT_THROW(machine_.text("hostname"), ModuleError);
  EXPECT_THROW(machine_.owned("value"), ModuleError);
  EXPECT_THROW(machine_.ownedNames("value"), ModuleError);
}

}  // namespace
}  // namespace Fabrion::Host
