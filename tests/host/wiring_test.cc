// The wiring of the module is on file: a machine that follows or does something else than before is
// a changed line of tests/data/wiring.txt, which `./dev fabrion wiring` writes.

#include "host/Wiring.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "host/Module.h"
#include "platform/Velo/Reaction.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::inRepository;
using Test::linesOf;
using Test::textOfFile;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using Velo::Reaction;
using Velo::Step;

TEST(Wiring, OfTheModuleIsAsOnFile) {
  EXPECT_EQ(wiringText(loadModule(FABRION_MODULE)),
            textOfFile(inRepository("tests/data/wiring.txt")));
}

// A machine with a reactor of each kind, two of which bear one attribute name.
constexpr Velo::Attribute doorAttribute{"door"};
constexpr Velo::Attribute windowAttribute{"window"};
constexpr Step call(const char* name) { return {Step::Kind::call, name}; }
constexpr Step follow(const char* name) { return {Step::Kind::follow, name}; }
constexpr Reaction houseRows[] = {
    {Reaction::Kind::change, Velo::AttributeId(doorAttribute), false, {follow("room"), call("in")}},
    {Reaction::Kind::change, Velo::AttributeId(windowAttribute), true, {call("look")}},
};
constexpr Reaction roomRows[] = {
    {Reaction::Kind::built, {}, true, {call("furnish")}},
    {Reaction::Kind::change, Velo::AttributeId(doorAttribute), false, {follow("inner")}},
    {Reaction::Kind::cleanup, {}, true, {call("sweep")}},
};
constinit const Velo::TypeRecord houseType{"Toy::House"};
constinit const Velo::TypeRecord roomType{"Toy::Room"};
constexpr Velo::ReactorRecord reactors[] = {
    {"VeloHouse", &houseType, "house", [] { return std::span<const Reaction>(houseRows); }},
    {"VeloInner", &roomType, "inner", [] { return std::span<const Reaction>(); }},
    {"VeloRoom", &roomType, "room", [] { return std::span<const Reaction>(roomRows); }},
    {"VeloRoom::VeloInner", &roomType, "inner", [] { return std::span<const Reaction>(); }},
};
constinit const Velo::TypeRecord machineType{"Toy::HouseSm", {}, nullptr, 0, reactors};
const Velo::TypeRecord* const types[] = {&houseType, &machineType};
const Velo::VeloModule toys{"Toys", types};

TEST(Wiring, ShowsEachRowWithItsStepsInOrder) {
  EXPECT_EQ(wiringText(toys),
            "Toy::HouseSm\n"
            "  VeloHouse in house on Toy::House\n"
            "    door    follow room, then call in\n"
            "    window  call look\n"
            "  VeloInner in inner on Toy::Room\n"
            "    nothing\n"
            "  VeloRoom in room on Toy::Room\n"
            "    (built)    call furnish\n"
            "    door       follow inner\n"
            "    (cleanup)  call sweep\n"
            "  VeloRoom::VeloInner in inner on Toy::Room\n"
            "    nothing\n");
}

TEST(WiringDot, AFollowStepLeadsToTheReactorThatIsNestedBeforeOneOfTheMachine) {
  const std::string dot = wiringDot(toys);
  EXPECT_THAT(dot, HasSubstr("\"Toy::HouseSm::VeloHouse\" -> \"Toy::HouseSm::VeloRoom\" "
                             "[style=dashed];\n"));
  EXPECT_THAT(dot, HasSubstr("\"Toy::HouseSm::VeloRoom\" -> \"Toy::HouseSm::VeloRoom::VeloInner\" "
                             "[style=dashed];\n"));
  EXPECT_THAT(dot, Not(HasSubstr("-> \"Toy::HouseSm::VeloInner\" [style")));
}

TEST(WiringDot, EachReactionIsAnEdgeFromTheEntityThatChanges) {
  const std::string dot = wiringDot(toys);
  EXPECT_THAT(dot, HasSubstr("\"Toy::House\" -> \"Toy::HouseSm::VeloHouse\" "
                             "[label=\"door: follow room, then call in\"];\n"));
  EXPECT_THAT(dot, HasSubstr("[label=\"VeloRoom\\n(built) call furnish\\n(cleanup) call sweep\"]"));
}

// What Graphviz asks for: every statement in the form of its language, every brace closed, and of
// us that no edge makes a node that nobody described.
void expectDot(const std::string& dot) {
  const std::string id = R"("[^"]+")";
  const std::string statement = "digraph " + id + " \\{| +subgraph " + id + " \\{| *\\}|" +
                                "  rankdir=LR;|  node \\[shape=box\\];| +label=" + id + ";| +" +
                                id + "( -> " + id + ")? \\[[a-z]+=(" + id + "|[a-z]+)\\];";
  const std::vector<std::string> lines = linesOf(dot);
  std::set<std::string> nodes;
  std::vector<std::string> ends;
  int depth = 0;
  for (const std::string& line : lines) {
    EXPECT_THAT(line, MatchesRegex(statement));
    if (line.ends_with('{')) ++depth;
    if (line.ends_with('}')) --depth;
    const std::size_t open = line.find('"');
    if (!line.ends_with("];") || open == std::string::npos) continue;
    const std::size_t arrow = line.find("\" -> \"");
    if (arrow == std::string::npos) {
      nodes.insert(line.substr(open + 1, line.find('"', open + 1) - open - 1));
    } else {
      ends.push_back(line.substr(open + 1, arrow - open - 1));
      ends.push_back(line.substr(arrow + 6, line.find('"', arrow + 6) - arrow - 6));
    }
  }
  EXPECT_EQ(depth, 0);
  EXPECT_FALSE(ends.empty());
  for (const std::string& end : ends) EXPECT_TRUE(nodes.contains(end)) << end;
}

TEST(WiringDot, IsWellFormed) {
  expectDot(wiringDot(toys));
  expectDot(wiringDot(loadModule(FABRION_MODULE)));
}

}  // namespace
}  // namespace Fabrion::Host

#endif
