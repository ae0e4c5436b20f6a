// Single steps of VNIs, domains, static maps and VTEPs: the operations of each, what comes out, and
// that the same operations without the rule behind them leave something else.
#include <gtest/gtest.h>

#include "tests/host/fabric_change_steps.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::After;
using Test::first;
using Test::Operations;
using Test::Steps;
using Test::steps;
using Test::swapped;
using Test::without;
using Json = nlohmann::json;

const std::string leaf1 = "switches: {leaf1: {ports: [e1, e2, e3], vteps: v1}}\n";

// A request of `client` on `port`, with what else it says.
std::string asks(const std::string& client, const std::string& port, const std::string& rest) {
  return "  - {client: " + client + ", switch: leaf1, port: " + port + ", " + rest + "}\n";
}

std::string requests(const std::string& all) { return "requests:\n" + all; }

Json mapped(const After& after, const std::string& vtep = "v1") {
  return after.outputs("leaf1")["vtepConfig"][vtep];
}

const PortRequestName acme{"acme", "leaf1", "e1"};
const DomainName red{"red", ""};

// VNIs

const std::string plain = leaf1 + requests(asks("acme", "e1", "vlans: 10-11"));
std::string withVni(const std::string& vnis) {
  return leaf1 + requests(asks("acme", "e1", "vlans: 10-11, vnis: {" + vnis + "}"));
}

TEST(FabricChangeVnis, AVniThatComesIsOneOperationAndAMapping) {
  const Steps step = steps(plain, withVni("10: 5010"));
  EXPECT_EQ(step.change, Operations{(Op::VniAdd{acme, 10, 5010})});
  EXPECT_EQ(mapped(After(step, {})), Json::object());
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
}

TEST(FabricChangeVnis, AVniThatGoesIsOneOperationAndTakesItsMapping) {
  const Steps step = steps(withVni("10-11: 5010-5011"), withVni("11: 5011"));
  EXPECT_EQ(step.change, Operations{(Op::VniDel{acme, 10, 5010})});
  EXPECT_EQ(mapped(After(step, {})), (Json{{"e1", {{"10", 5010}, {"11", 5011}}}}));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"11", 5011}}}}));
}

TEST(FabricChangeVnis, AVniThatChangesGoesBeforeItComesAndIsNoConflictInBetween) {
  const Steps step = steps(withVni("10: 5010"), withVni("10: 6010"));
  EXPECT_EQ(step.change, (Operations{Op::VniDel{acme, 10, 5010}, Op::VniAdd{acme, 10, 6010}}));
  const After after(step);
  EXPECT_EQ(mapped(after), (Json{{"e1", {{"10", 6010}}}}));
  EXPECT_FALSE(after.traced("Conflict"));
  EXPECT_TRUE(After(step, swapped<Op::VniDel, Op::VniAdd>(step.change)).traced("Conflict"));
}

TEST(FabricChangeVnis, AVniOfAHostnameFollowsItsHostToThePort) {
  const std::string host =
      leaf1 + "hosts: {srv1: {hostname: web, ports: eth0}}\nlinks: [[leaf1:e2, srv1:eth0]]\n";
  const auto asked = [&](const std::string& vnis) {
    return host + "requests: [{client: acme, hostname: web, vlans: 10, vnis: {" + vnis + "}}]\n";
  };
  const HostRequestName web{"acme", "web"};
  const Steps coming = steps(asked(""), asked("10: 5010"));
  EXPECT_EQ(coming.change, Operations{(Op::VniAdd{web, 10, 5010})});
  EXPECT_EQ(mapped(After(coming)), (Json{{"e2", {{"10", 5010}}}}));
  const Steps going = steps(asked("10: 5010"), asked(""));
  EXPECT_EQ(going.change, Operations{(Op::VniDel{web, 10, 5010})});
  EXPECT_EQ(mapped(After(going)), Json::object());
}

TEST(FabricChangeVnis, VnisGoBeforeTheirVlan) {
  const Steps step = steps(withVni("10: 5010"), leaf1 + requests(asks("acme", "e1", "vlans: 11")));
  EXPECT_EQ(step.change, (Operations{Op::VniDel{acme, 10, 5010}, Op::VlanDel{acme, 10}}));
  EXPECT_EQ(mapped(After(step)), Json::object());
}

// Domains

const std::string map = "static maps: {red: {10-19: 5010-5019}, blue: {10-19: 6010-6019}}\n";
std::string withDomain(const std::string& domains) {
  return leaf1 + map + requests(asks("acme", "e1", "vlans: 10" + domains));
}

TEST(FabricChangeVnis, ADomainThatComesBringsTheVniOfItsMap) {
  const Steps step = steps(withDomain(""), withDomain(", domains: red"));
  EXPECT_EQ(step.change, Operations{(Op::DomainAdd{acme, 10, red})});
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
}

TEST(FabricChangeVnis, ADomainThatGoesTakesTheVniOfItsMap) {
  const Steps step = steps(withDomain(", domains: red"), withDomain(""));
  EXPECT_EQ(step.change, Operations{(Op::DomainDel{acme, 10, red})});
  EXPECT_EQ(mapped(After(step, {})), (Json{{"e1", {{"10", 5010}}}}));
  EXPECT_EQ(mapped(After(step)), Json::object());
}

TEST(FabricChangeVnis, ADomainThatChangesGoesBeforeItComesAndIsNoConflictInBetween) {
  const Steps step = steps(withDomain(", domains: red"), withDomain(", domains: blue"));
  EXPECT_EQ(step.change,
            (Operations{Op::DomainDel{acme, 10, red}, Op::DomainAdd{acme, 10, {"blue", ""}}}));
  const After after(step);
  EXPECT_EQ(mapped(after), (Json{{"e1", {{"10", 6010}}}}));
  EXPECT_FALSE(after.traced("Conflict"));
  EXPECT_TRUE(After(step, swapped<Op::DomainDel, Op::DomainAdd>(step.change)).traced("Conflict"));
}

TEST(FabricChangeVnis, DomainsGoBeforeTheirClientSinceItsPortKeepsThemByTheirNames) {
  const std::string other = asks("blue", "e1", "vlans: 10");
  const Steps step =
      steps(leaf1 + map + requests(asks("acme", "e1", "vlans: 10, domains: red") + other),
            leaf1 + map + requests(other));
  EXPECT_EQ(step.change, (Operations{Op::DomainDel{acme, 10, red}, Op::RequestStop{acme}}));
  EXPECT_EQ(mapped(After(step)), Json::object());
  EXPECT_EQ(mapped(After(step, without<Op::DomainDel>(step.change))),
            (Json{{"e1", {{"10", 5010}}}}));
}

TEST(FabricChangeVnis, ADomainThatOneClientGivesUpIsFiledAgainByTheOther) {
  const std::string both = leaf1 + map +
                           requests(asks("acme", "e1", "vlans: 10, domains: red") +
                                    asks("blue", "e1", "vlans: 10, domains: red"));
  const std::string one =
      leaf1 + map +
      requests(asks("acme", "e1", "vlans: 10") + asks("blue", "e1", "vlans: 10, domains: red"));
  const Steps step = steps(both, one);
  const PortRequestName blue{"blue", "leaf1", "e1"};
  EXPECT_EQ(step.change, (Operations{Op::DomainDel{acme, 10, red}, Op::DomainDel{blue, 10, red},
                                     Op::DomainAdd{blue, 10, red}}));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
  EXPECT_EQ(mapped(After(step, {step.change.front()})), Json::object());
}

// Static maps

std::string withMap(const std::string& maps) {
  return leaf1 + "static maps: {" + maps + "}\n" +
         requests(asks("acme", "e1", "vlans: 10-12, domains: red"));
}

TEST(FabricChangeVnis, AStaticMapThatComesGivesItsVnis) {
  const Steps step = steps(withMap(""), withMap("red: {10-11: 5010-5011}"));
  EXPECT_EQ(step.change, Operations{(Op::MapAdd{red, {{{10, 11}, {5010, 5011}}}})});
  EXPECT_EQ(mapped(After(step, {})), Json::object());
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}, {"11", 5011}}}}));
}

TEST(FabricChangeVnis, AStaticMapThatGoesTakesItsVnis) {
  const Steps step = steps(withMap("red: {10-11: 5010-5011}"), withMap(""));
  EXPECT_EQ(step.change, Operations{Op::MapDel{red}});
  EXPECT_EQ(mapped(After(step)), Json::object());
}

TEST(FabricChangeVnis, ANewRangeIsSetInTheMapThatStands) {
  const Steps step =
      steps(withMap("red: {10: 5010}"), withMap("red: {10: 5010, 11-12: 5011-5012}"));
  EXPECT_EQ(step.change, Operations{(Op::RangeSet{red, {11, 12}, {5011, 5012}})});
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}, {"11", 5011}, {"12", 5012}}}}));
}

TEST(FabricChangeVnis, AMapThatLosesARangeGoesAndComesBackWhole) {
  const Steps step = steps(withMap("red: {10: 5010, 11: 5011}"), withMap("red: {10: 5010}"));
  EXPECT_EQ(step.change,
            (Operations{Op::MapDel{red}, Op::MapAdd{red, {{{10, 10}, {5010, 5010}}}}}));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
  // Of the range alone the VNIs stay.
  EXPECT_EQ(mapped(After(step, {Op::RangeDel{red, {11, 11}}})),
            (Json{{"e1", {{"10", 5010}, {"11", 5011}}}}));
}

TEST(FabricChangeVnis, AMapWhoseRangeChangesGoesAndComesBackWhole) {
  const Steps step = steps(withMap("red: {10: 5010}"), withMap("red: {10: 6010}"));
  EXPECT_EQ(step.change,
            (Operations{Op::MapDel{red}, Op::MapAdd{red, {{{10, 10}, {6010, 6010}}}}}));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 6010}}}}));
  // Beside the new VNI the old one would stay, and two are a conflict.
  EXPECT_EQ(mapped(After(step, {Op::RangeSet{red, {10, 10}, {6010, 6010}}})), Json::object());
}

// Names that several keep VNIs alive by

TEST(FabricChangeVnis, DomainsWithTheSameFirstFieldAreClaimedAgainWhenOneGoes) {
  const std::string maps = "static maps: {red/a: {10: 5010}, red/b: {10: 5010}}\n";
  const auto with = [&](const std::string& domains) {
    return leaf1 + maps + requests(asks("acme", "e1", "vlans: 10, domains: [" + domains + "]"));
  };
  const Steps step = steps(with("red/a, red/b"), with("red/b"));
  const DomainName a{"red", "a"};
  const DomainName b{"red", "b"};
  EXPECT_EQ(step.change, (Operations{Op::DomainDel{acme, 10, a}, Op::DomainDel{acme, 10, b},
                                     Op::DomainAdd{acme, 10, b}}));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
  EXPECT_EQ(mapped(After(step, {step.change.front()})), Json::object());
}

TEST(FabricChangeVnis, AClientNamedLikeADomainClaimsItsVnisAgain) {
  const std::string maps = "static maps: {acme: {10: 5010}}\n";
  const std::string own = asks("acme", "e1", "vlans: 10, vnis: {10: 5010}");
  const std::string domain = asks("blue", "e1", "vlans: 10, domains: acme");
  const Steps step = steps(leaf1 + maps + requests(own + domain),
                           leaf1 + maps + requests(own + asks("blue", "e1", "vlans: 10")));
  EXPECT_EQ(step.change,
            (Operations{Op::DomainDel{{PortRequestName{"blue", "leaf1", "e1"}}, 10, {"acme", ""}},
                        Op::VniDel{acme, 10, 5010}, Op::VniAdd{acme, 10, 5010}}));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
  EXPECT_EQ(mapped(After(step, {step.change.front()})), Json::object());
}

// Port groups and VTEPs

TEST(FabricChangeVnis, AGroupThatLosesAMemberIsMadeAnewWhereVnisAreAbout) {
  const auto with = [](const std::string& members) {
    return "switches: {leaf1: {ports: [e1, e2], vteps: v1, groups: {po1: " + members + "}}}\n" +
           requests(asks("acme", "e1", "vlans: 10, vnis: {10: 5010}") +
                    asks("acme", "e2", "vlans: 10"));
  };
  const Steps step = steps(with("[e1, e2]"), with("[e2]"));
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
  EXPECT_EQ(first<Op::GroupDel>(step.change) + 1, first<Op::GroupAdd>(step.change));
  // A member that merely leaves would leave its VNIs to the group.
  const Operations naive{Op::MemberDel{"leaf1", "po1", "e1"}, Op::VtepAdd{"leaf1", "v1"}};
  EXPECT_EQ(mapped(After(step, naive)), (Json{{"e1", {{"10", 5010}}}, {"po1", {{"10", 5010}}}}));
}

TEST(FabricChangeVnis, AVtepThatComesIsOneOperationAndFilled) {
  const auto with = [](const std::string& vteps) {
    return "switches: {leaf1: {ports: e1" + vteps + "}}\n" +
           requests(asks("acme", "e1", "vlans: 10, vnis: {10: 5010}"));
  };
  const Steps step = steps(with(""), with(", vteps: v1"));
  EXPECT_EQ(step.change, Operations{(Op::VtepAdd{"leaf1", "v1"})});
  EXPECT_EQ(mapped(After(step)), (Json{{"e1", {{"10", 5010}}}}));
  const Steps going = steps(with(", vteps: v1"), with(""));
  EXPECT_EQ(going.change, Operations{(Op::VtepDel{"leaf1", "v1"})});
}

TEST(FabricChangeVnis, OfSeveralVtepsAllAreFiledAgainSinceAChangeReachesTheFirstAlone) {
  const auto with = [](const std::string& vnis) {
    return "switches: {leaf1: {ports: e1, vteps: [v1, v2]}}\n" +
           requests(asks("acme", "e1", "vlans: 10, vnis: {" + vnis + "}"));
  };
  const Steps step = steps(with(""), with("10: 5010"));
  EXPECT_EQ(step.change, (Operations{Op::VniAdd{acme, 10, 5010}, Op::VtepAdd{"leaf1", "v1"},
                                     Op::VtepAdd{"leaf1", "v2"}}));
  const Json filled{{"e1", {{"10", 5010}}}};
  EXPECT_EQ(mapped(After(step)), filled);
  EXPECT_EQ(mapped(After(step), "v2"), filled);
  const After naive(step, without<Op::VtepAdd>(step.change));
  EXPECT_EQ(mapped(naive), filled);
  EXPECT_EQ(mapped(naive, "v2"), Json::object());
}

}  // namespace
}  // namespace Fabrion::Host

#endif
